// CCalcGO: the base of a calculator. It refers to the three repositories, which it does not own, and reads risks back:
// it copies the matrices and rows that a margin is made of into flat arrays.
//
// Reading:      creates nothing and changes nothing. An array is a picture of the moment.
// Shapes:       an array is row-major: scenarioNum rows, one a volatility scenario from the lowest to the highest, of
//               pointsNum doubles, one a price point from the lowest to the highest price, the sub-points of an option
//               series behind them. A final array is one row.
// Numbers:      of a participant money, a loss is negative; of an instrument prices. NaN in an expiration matrix: the
//               price point is out of that delivery scenario.
// Margins:      a margin is |min(0, worst cell, worst point)| times the ratio of the base contract, of the row and the
//               special points under Matrix_FinalWithPositiveValues; that of an MCS takes the points of the volatility
//               side beside either row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "Enums.h"
#include "Z9Types.h"

class BraskClient;
class ParticipantBase;
class ParticipantRepository;
namespace kv7im {
class avxarray;
class CSpecBaseContract;
class InstrumentsRepository;
class Portfolio;
class Risk;
class RiskMatrix;
class RiskNodeBase;
class SpecialRiskPoints;
} // namespace kv7im
namespace pos {
class PositionCalculatorInstruments;
}

namespace QuindalIM {

/// What a read-back returns. Bit 0 selects the side of the node, the bits above it the matrix; at most one of those is
/// set.
enum class eChooseRiskType : std::int32_t
{
    VolatilityRiskNode = 0,
    ExpirationRiskNode = 1, // with the outcomes of deliveries mixed in
    Matrix_Volatility = 2,
    Matrix_InterestRate = 4,
    Matrix_VolatMismatch = 8,
    Matrix_Expiration = 16, // one row a delivery price
    // The node rolled up to one row, with corrected special points and curvature. Cells that gain count as 0 before the
    // curvature, and the correction sees those zeros at the ends of the grid.
    Matrix_Final = 32,
    Matrix_FinalWithPositiveValues = 64, // Matrix_Final with the gains kept, as the margin reads it
};

[[nodiscard]] constexpr eChooseRiskType operator|(eChooseRiskType a, eChooseRiskType b) noexcept
{
    return static_cast<eChooseRiskType>(static_cast<std::int32_t>(a) | static_cast<std::int32_t>(b));
}

/// Results at the special points, and the number of sub-points among the columns of the array.
struct _ExtraRisksInfo
{
    double DownRisk = 0.0;
    double ZL = 0.0;
    double PnL3D = 0.0;
    double PnL2D = 0.0;
    double PnL2U = 0.0;
    double PnL3U = 0.0;
    double ZR = 0.0;
    double UpRisk = 0.0;
    std::int32_t SubPointsCount = 0;

    static void Fill(_ExtraRisksInfo& info, const kv7im::SpecialRiskPoints& points,
                     std::size_t subPointsCount) noexcept;
};

class CCalcGO
{
public:
    CCalcGO(ParticipantRepository& participantRepository, kv7im::InstrumentsRepository& instrumentsRepository,
            pos::PositionCalculatorInstruments& posCalcInstruments) noexcept
        : participantRepository_(participantRepository),
          instrumentsRepository_(instrumentsRepository),
          posCalcInstruments_(posCalcInstruments)
    {}
    CCalcGO(const CCalcGO&) = delete;
    CCalcGO& operator=(const CCalcGO&) = delete;

    /// Does nothing, since a CCalcGO owns nothing; CCalcGOEx::ClearAll clears the repositories.
    void ClearAll() const noexcept {}

    // Read-back. Rules of every operation:
    //
    // The kind of a call. It is a copying call, which writes the whole result to `arr`, when both sizes are not 0 on
    // entry (in the final operations: the one size). Otherwise it is a sizing call, which leaves `arr` alone and may
    // pass null. The sizes on entry say nothing else: they are not compared with those of the result, so ask for the
    // sizes first and give room for pointsNum x scenarioNum doubles.
    //
    // What is written. The sizes become those of the result, and xInfo its special points. When nothing is known under
    // the instrument, both sizes are 0 and xInfo stays. When the type names no matrix where matrices are read, only
    // xInfo is written and the sizes stay. For a matrix without rows scenarioNum is 0 and pointsNum stays.
    //
    // Codes, in this order, with nothing written: Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS for a null text or a
    // type with two bits above bit 0; Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS for a copying call without `arr`; then those of
    // the operation. A participant's code of an impossible form throws CZ9Error(Z9ERR_COMMON_WRONG_ARGUMENTS).

    // The book. A client is read from the book that its margin is made of: the book without premium-style options where
    // these stay out of the margin (IsNotUseNOV). A firm and a settlement account have one book.

    // Option series in a client's book, by the code of the series. Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_NOT_FOUND for an
    // unknown series, before the client is looked for; then Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND and
    // Z9ERR_CALCGO_API_ERROR_PART_NOT_FOUND. The two operations differ in name only: the type selects the side.

    [[nodiscard]] std::int32_t GetClientVfRisksArray(eChooseRiskType riskType, const char* instrCode, const char* Code,
                                                     double* arr, std::size_t& pointsNum, std::size_t& scenarioNum,
                                                     _ExtraRisksInfo& xInfo) const;
    [[nodiscard]] std::int32_t GetClientDeliveryRisksArray(eChooseRiskType riskType, const char* instrCode,
                                                           const char* Code, double* arr, std::size_t& pointsNum,
                                                           std::size_t& scenarioNum, _ExtraRisksInfo& xInfo) const;

    // Any node of a participant's book, by its code. Of several nodes under one code the first in this order counts:
    // under HalfNetting the rolled-up entry from below; a futures; an option series; an MMS, that is a base contract
    // with futures in spread; an MCS. Rolled-up entries and an MCS have rows only, ready for the margin, and are given
    // as one row for every type.
    // Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND, Z9ERR_CALCGO_API_ERROR_PART_NOT_FOUND,
    // Z9ERR_DATALOAD_SETTLEMENT_ACCOUNT_NOT_FOUND.

    [[nodiscard]] std::int32_t GetClientFutRisksArray(eChooseRiskType riskType, const char* instrCode, const char* Code,
                                                      double* arr, std::size_t& pointsNum, std::size_t& scenarioNum,
                                                      _ExtraRisksInfo& xInfo) const;
    [[nodiscard]] std::int32_t GetClientMmsRisksArray(eChooseRiskType riskType, const char* instrCode, const char* Code,
                                                      double* arr, std::size_t& pointsNum, std::size_t& scenarioNum,
                                                      _ExtraRisksInfo& xInfo) const;
    [[nodiscard]] std::int32_t GetClientMcsRisksArray(eChooseRiskType riskType, const char* instrCode, const char* Code,
                                                      double* arr, std::size_t& pointsNum, std::size_t& scenarioNum,
                                                      _ExtraRisksInfo& xInfo) const;
    [[nodiscard]] std::int32_t GetBrokerRisksArray(eChooseRiskType riskType, const char* instrCode,
                                                   const char* brokerCode, double* arr, std::size_t& pointsNum,
                                                   std::size_t& scenarioNum, _ExtraRisksInfo& xInfo) const;
    /// Any node of a settlement account's book. The first 12 characters of the account's id count.
    [[nodiscard]] std::int32_t GetSettlementAccountRisksArray(eChooseRiskType riskType, const char* instrCode,
                                                              const char* Code, double* arr, std::size_t& pointsNum,
                                                              std::size_t& scenarioNum, _ExtraRisksInfo& xInfo) const;

    // Final row of any node of a participant's book. scenarioNum is 1 and not reported. A type that is not final is
    // accepted too, and a copying call then writes all rows of its matrix.

    [[nodiscard]] std::int32_t GetClientRiskFinalRiskArray(eChooseRiskType riskType, const char* instrCode,
                                                           const char* Code, double* arr, std::size_t& pointsNum,
                                                           _ExtraRisksInfo& xInfo) const;
    [[nodiscard]] std::int32_t GetBrokerRiskFinalRiskArray(eChooseRiskType riskType, const char* instrCode,
                                                           const char* brokerCode, double* arr, std::size_t& pointsNum,
                                                           _ExtraRisksInfo& xInfo) const;
    [[nodiscard]] std::int32_t GetSettlementAccountFinalRiskArray(eChooseRiskType riskType, const char* instrCode,
                                                                  const char* Code, double* arr, std::size_t& pointsNum,
                                                                  _ExtraRisksInfo& xInfo) const;

    // Profile of one contract of an instrument at a level, in prices. A level outside the enumeration is refused with
    // the null texts: Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS, before `arr` is looked at.

    /// Profile of a futures, Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND for an unknown one; with isOption what
    /// GetOptionRisksArray gives.
    [[nodiscard]] std::int32_t GetRiskPoints(eChooseRiskType riskType, const char* instrCode, bool isOption,
                                             double* arr, std::size_t& pointsNum, std::size_t& scenarioCount,
                                             _ExtraRisksInfo& xInfo, Enums::ClientRiskLevel level) const;
    /// Profile of an option, Z9ERR_CALCGO_API_ERROR_OPTION_NOT_FOUND for an unknown one. Values the option at its first
    /// use.
    [[nodiscard]] std::int32_t GetOptionRisksArray(eChooseRiskType choosenRiskType, const char* InstrCode, double* arr,
                                                   std::size_t& pointsCount, std::size_t& scenarioCount,
                                                   _ExtraRisksInfo& xInfo, Enums::ClientRiskLevel level) const;

protected:
    ~CCalcGO() = default;

    ParticipantRepository& participantRepository_;
    kv7im::InstrumentsRepository& instrumentsRepository_;
    pos::PositionCalculatorInstruments& posCalcInstruments_;

private:
    [[nodiscard]] std::int32_t GetClientVfOrDeliveryRisksArray(eChooseRiskType riskType, const char* instrCode,
                                                               const char* Code, double* arr, std::size_t& pointsNum,
                                                               std::size_t& scenarioNum, _ExtraRisksInfo& xInfo) const;
    [[nodiscard]] std::int32_t GetFutOrMcsOrMmsRisksArray(eChooseRiskType riskType, const char* instrCode,
                                                          const char* Code, double* arr, std::size_t& pointsNum,
                                                          std::size_t& scenarioNum, _ExtraRisksInfo& xInfo) const;
    /// Finds a client. Returns the code of what is missing: the firm or the client.
    [[nodiscard]] Z9ERR FindClient(const char* code, const BraskClient*& client) const;

    // Flat copies. They write the sizes of the result where these are known.

    [[nodiscard]] static std::vector<double> ToVector(const kv7im::avxarray& row, std::size_t& pointsNum);
    [[nodiscard]] static std::vector<double> ToVector(const kv7im::RiskMatrix& matrix, std::size_t& pointsNum,
                                                      std::size_t& scenarioNum);
    /// Copies the matrix that the type selects. Without one the result is empty and the sizes stay.
    [[nodiscard]] static std::vector<double> ToVector(const kv7im::Risk& risk, eChooseRiskType riskType,
                                                      std::size_t& pointsNum, std::size_t& scenarioNum,
                                                      _ExtraRisksInfo& xInfo);
    /// Copies a row that is stored together with its special points.
    [[nodiscard]] static std::vector<double> ToVector(const kv7im::avxarray& row,
                                                      const kv7im::SpecialRiskPoints& points, std::size_t& pointsNum,
                                                      std::size_t& scenarioNum, _ExtraRisksInfo& xInfo);
    /// Copies one matrix of a node, or its final row.
    [[nodiscard]] static std::vector<double> ToVector(const kv7im::RiskNodeBase& node,
                                                      const kv7im::CSpecBaseContract& baseContract,
                                                      eChooseRiskType riskType, std::size_t& pointsNum,
                                                      std::size_t& scenarioNum, _ExtraRisksInfo& xInfo);
    /// Finds the node of `instrument` in a book of the participant and copies what the type selects.
    [[nodiscard]] std::vector<double> ToVector(const ParticipantBase* participant, const kv7im::Portfolio& book,
                                               const std::string& instrument, eChooseRiskType riskType,
                                               std::size_t& pointsNum, std::size_t& scenarioNum,
                                               _ExtraRisksInfo& xInfo) const;

    /// A node with matrices and the base contract that corrects its points; two nulls when nothing was found.
    struct NodeWithMatrices
    {
        const kv7im::RiskNodeBase* node = nullptr;
        const kv7im::CSpecBaseContract* baseContract = nullptr;
    };
    [[nodiscard]] NodeWithMatrices FindNodeOfFutures(const kv7im::Portfolio& book, const std::string& code) const;
    [[nodiscard]] NodeWithMatrices FindNodeOfSeries(const kv7im::Portfolio& book, const std::string& code) const;
    [[nodiscard]] NodeWithMatrices FindNodeOfMMS(const kv7im::Portfolio& book, const std::string& code) const;
    [[nodiscard]] NodeWithMatrices FindNodeWithMatrices(const kv7im::Portfolio& book, const std::string& code) const;
};

} // namespace QuindalIM
