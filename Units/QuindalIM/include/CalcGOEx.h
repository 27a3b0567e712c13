// CCalcGOEx: the calculator behind the handle. It owns neither instruments nor participants. It adds names to the
// repositories: every instrument code gets an isin of this calculator, each insertion goes to the accounting dictionary
// and then to the risk repository, and the flat cursors of the boundary stand here.
//
// Always true:  one isin stands for one code, whatever the kind of the instrument; isins begin at 1 and only grow.
//               Option series have none.
//               A code keeps its isin when a repository refuses the instrument.
//               m_empty is true until the first instrument, participant or position; currencies do not count.
// Errors:       a Z9ERR as result, or CZ9Error where a conversion, a lookup or the accounting dictionary throws.
// Read first:   the operations in the order of the groups below; each is behind the exported function of its name.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <stack>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>

#include "CalcGO.h"
#include "CodeMap.h"
#include "Enums.h"
#include "TableRecords.h"
#include "TablesData.h"
#include "currencytype.h"
#include "instruments/InstrumentsStorages.h"
#include "kv7errors.h"

class BraskClient;
namespace kv7im {
class CSpecMultileg;
class CSpecOption;
class CSpecVirtFutures;
struct BaseContractParameters;
struct FuturesParameters;
struct OptionSeriesParameters;
} // namespace kv7im

namespace QuindalIM {

class CCalcGOEx final : public CCalcGO
{
public:
    CCalcGOEx(ParticipantRepository& participantRepository, kv7im::InstrumentsRepository& instrumentsRepository,
              pos::PositionCalculatorInstruments& posCalcInstruments);

    /// Makes a calculator that Destroy takes back. Z9ERR_QUINDAL_IM_NOT_ENOUGH_MEMORY leaves `calculator` null.
    [[nodiscard]] static Z9ERR Create(CCalcGOEx*& calculator, ParticipantRepository& participantRepository,
                                      kv7im::InstrumentsRepository& instrumentsRepository,
                                      pos::PositionCalculatorInstruments& posCalcInstruments);
    static void Destroy(CCalcGOEx* calculator) noexcept;

    // Common parameters and instruments, in the order in which parents come before children.

    /// Sets the edge coefficient of futures inserted from now on. A value that the repository corrects is not reported.
    void SetCommonParams(double EdgeCoeff);
    [[nodiscard]] double GetCommonParams() const;

    [[nodiscard]] Z9ERR InsertCurrency(std::int32_t CurrencyId, double CurvatureRadius);

    /// Inserts a base contract; its IsinVCB is the isin that its code takes. Even when the repository refuses it, the
    /// code has its isin and the calculator is no longer empty.
    [[nodiscard]] Z9ERR InsertBaseContractEx(kv7im::BaseContractParameters parameters);

    /// Inserts a futures; its two isins are found by the codes. TASBaseFutCode is empty for none; a tracked futures
    /// that is not inserted yet gets its isin here.
    [[nodiscard]] Z9ERR InsertFutures(kv7im::FuturesParameters parameters, const std::string& TASBaseFutCode);

    /// Inserts an option series. Even when the repository refuses it, the series is listed and the calculator is no
    /// longer empty.
    [[nodiscard]] Z9ERR InsertOptionSeries(const kv7im::OptionSeriesParameters& parameters);
    /// Inserts an option. A refused option is not listed and leaves an empty calculator empty; the code has its isin
    /// either way.
    [[nodiscard]] Z9ERR InsertOption(const char* OptionCode, const char* OptionSeriesCode, double Strike,
                                     Enums::OptionType OptionType, double CalcOptPrice);

    /// Inserts a calendar spread by its code, PREFIX-NEAR-FAR: the futures PREFIX-NEAR is sold and PREFIX-FAR bought. A
    /// refused multileg is not listed and leaves an empty calculator empty.
    /// Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS for a code without two "-",
    /// Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND for a leg of an unknown code.
    [[nodiscard]] Z9ERR InsertMultileg(const char* MultilegCode);
    /// Inserts a leg from a download. Two calls in succession make one multileg, whose isin is the next one of this
    /// calculator; the two isins of the server are not used. The caller makes sure that the leg is a futures.
    /// Z9ERR_CALCGO_API_COMMON_ERROR when a code has that isin already, Z9ERR_CALCGO_API_ERROR_FUTURES_ALREADY_EXIST
    /// when a completed record has it; otherwise the repository's code.
    [[nodiscard]] Z9ERR InsertMultileg(int Isin, int IsinLeg, const char* legCode, int ratio, unsigned char legOrder);
    /// Keeps a multileg row of a download until all instruments are in.
    void PreloadMultileg(const SMultilegDictionaryStruct& row);
    /// Inserts the kept rows, the last row of each multileg first. Rows of unknown legs and lone rows are dropped.
    void ValidateAndInsertMultilegs();

    /// Removes participants, then instruments, since positions point at instruments. Every cursor has to be set on
    /// first again.
    void ClearAll();
    /// Removes all participants. Instruments stay, and the calculator does not become empty.
    void RemoveAllParticipants();

    // Cursors, one a kind. A cursor stands on the end until it is set on first. SetOnFirst... returns the number of
    // entries; GetNext... moves on and returns null (or Z9ERR_QUINDAL_IM_END_OF_DATA) at the end.

    std::int32_t SetOnFirstCurrency() noexcept; ///< Order of insertion.
    [[nodiscard]] Z9ERR GetNextCurrency(std::int32_t& CurrencyId, double& CurvatureRadius);
    std::int32_t SetOnFirstBaseContract(); ///< In no promised order.
    [[nodiscard]] const kv7im::CSpecBaseContract* GetNextBaseContract();
    /// Number of futures. They come in no promised order.
    std::int32_t SetOnFirstFutures();
    [[nodiscard]] const kv7im::CSpecFutures* GetNextFutures();
    std::int32_t SetOnFirstOptionSeries() noexcept; ///< In the order of insertion; refused series count.
    /// The series at the cursor. Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_NOT_FOUND when the repository does not hold it; the
    /// cursor moves on.
    [[nodiscard]] Z9ERR GetNextOptionSeries(const kv7im::CSpecVirtFutures*& series);
    /// Number of listed options. They come in the order of insertion.
    std::int32_t SetOnFirstOption() noexcept;
    /// The option at the cursor. Z9ERR_CALCGO_API_ERROR_OPTION_NOT_FOUND when the repository does not hold it; the
    /// cursor moves on.
    [[nodiscard]] Z9ERR GetNextOption(const kv7im::CSpecOption*& option);

    std::int32_t SetOnFirstMultileg() noexcept; ///< Order of insertion.
    /// Code of the multileg at the cursor; `code` stays at the end of the data.
    [[nodiscard]] Z9ERR GetNextMultileg(std::string& code);

    // Codes and isins.

    /// The isin of the code; a new code gets the next one.
    [[nodiscard]] std::int32_t GetIsin(const std::string& code);
    /// Code of an isin. Returns 0, or Z9ERR_QUINDAL_IM_NOT_FOUND, which leaves `code` alone.
    [[nodiscard]] Z9ERR GetCodeByIsin(int isin, std::string& code) const;
    /// Isin and CalcFutPrice of a futures, isin and CalcOptPrice of an option. Any other known code gives its isin
    /// only, and `price` stays. Z9ERR_QUINDAL_IM_NOT_FOUND for an unknown code, Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS for
    /// null.
    [[nodiscard]] Z9ERR GetIsinAndCalcPriceByCode(const char* code, int& isin, double& price) const;

    [[nodiscard]] bool IsEmpty() const noexcept { return m_empty; }
    [[nodiscard]] std::size_t GetClientCount() const;
    /// The server's instruments as text, filled by a download.
    [[nodiscard]] Dictionary& GetTablesData() noexcept { return m_TablesData; }
    [[nodiscard]] RealIsinStorage& GetRealIsinStorage() noexcept { return m_RealIsinStorage; }

    // Participants, top down. The first 12 characters of a settlement account's id count.

    [[nodiscard]] Z9ERR RegisterSettlementAccount(const char* SettlementAccountId, Enums::MarginRule marginRule,
                                                  Enums::SpreadMarginType calendarSpreadMarginType,
                                                  Enums::SpreadMarginType interContractSpreadMarginType,
                                                  double ShortOptionMinimumChargeRatio);
    /// Registers a firm. Weights are shares, 0.25 is a quarter. A firm with an unknown account stands under the dummy
    /// account.
    [[nodiscard]] Z9ERR RegisterBroker(const char* BrokerCode, std::int32_t NClr2Delivery, double ExpWeight,
                                       double ExpWeightClientDefault, Enums::BrokerAccountType brokerAccountType,
                                       const char* SettlementAccountId,
                                       Enums::SpreadMarginType calendarSpreadMarginType, Enums::MarginRule marginRule,
                                       Enums::SpreadMarginType interContractSpreadMarginType,
                                       double ShortOptionMinimumChargeRatio);
    [[nodiscard]] Z9ERR RegisterClient(const char* ClientCode, bool NoFutDiscount, std::int32_t NClr2Delivery,
                                       double ExpWeight, Enums::SpreadMarginType calendarSpreadMarginType,
                                       Enums::SpreadMarginType interContractSpreadMarginType, double GORatio,
                                       double ShortOptionMinimumChargeRatio, Enums::ClientRiskLevel clientRiskLevel);
    [[nodiscard]] Z9ERR InsertBrokerBaseContractParam(const char* Code, const char* CodeBC, double GORatio);

    /// Sets a client's parameters and rebuilds its book under them. Nothing is checked.
    /// Z9ERR_CALCGO_API_ERROR_PART_NOT_FOUND for an unknown client; the code of a CZ9Error thrown meanwhile,
    /// Z9ERR_CALCGO_API_COMMON_ERROR for any other exception.
    [[nodiscard]] Z9ERR ChangeClient(const char* Code, bool NoFutDiscount, std::int32_t NClr2Delivery,
                                     double ExpWeight);

    // Margin.

    /// Sets the position of a client, a firm or a settlement account and gives the margins of its level and of the
    /// levels above: all five for a client, the last two for a firm, the last one for an account. The other results
    /// stay as they are, and so do all five after a failure.
    [[nodiscard]] Z9ERR SetPositionEx(const char* Code, Isin isin, std::int64_t Quantity, double WAPrice,
                                      double& VolatilityPartGO, double& DeliveryAndVolatilityPartGO, double& PartGO,
                                      double& FirmGO, double& SettlementAccountGO,
                                      Enums::AccountHierarchyRecordType accountHierarchy,
                                      std::int64_t afterLastClearingQuantity);
    /// Adds DeltaQuantity contracts to the client's orders in an instrument at a price, below 0 to cancel, and gives
    /// the five margins. After a failure all five stay as they are.
    [[nodiscard]] Z9ERR ChangeOrderEx(const char* Code, Isin isin, bool isBuying, t_bprice_int price,
                                      std::int64_t DeltaQuantity, double& VolatilityPartGO,
                                      double& DeliveryAndVolatilityPartGO, double& PartGO, double& FirmGO,
                                      double& SettlementAccountGO);
    /// Gives the two margins of the client's portfolio, money, unrounded, and the GO of the client, its firm and its
    /// account, money in whole cents.
    static void GetClientAndBrokerInitialMargin(const BraskClient& client, double& VolatilityPartGO,
                                                double& DeliveryAndVolatilityPartGO, double& PartGO, double& FirmGO,
                                                double& SettlementAccountGO);

private:
    using BaseContractIterator = kv7im::StorageBaseContract::index<kv7im::ByCode>::type::const_iterator;
    using FuturesIterator = kv7im::StorageFutures::index<kv7im::ByCode>::type::const_iterator;

    /// Lists a multileg of a download under a code made of its legs' codes. Its isin is used up already.
    void EnterCompletedMultileg(const kv7im::CSpecMultileg& multileg, std::int32_t isin);
    /// The parts before and after the "-" of a code with exactly one "-"; otherwise two empty texts.
    [[nodiscard]] static std::pair<std::string, std::string> GetFuturesParts(const std::string& code);
    /// Makes PREFIX-NEAR-FAR from PREFIX-NEAR and PREFIX-FAR.
    [[nodiscard]] static std::string MakeMultilegCode(const std::string& first, const std::string& second);
    void PutCursorsOnEnd();

    RealIsinStorage m_RealIsinStorage;
    Dictionary m_TablesData;
    BaseContractIterator m_iBaseContract; // over the repository's index by code
    FuturesIterator m_iFutures;
    std::list<std::int32_t> m_currencyIndex; // in the order of insertion
    std::list<std::int32_t>::const_iterator m_currentCurrency;
    std::list<std::string> m_VirtFuturesCodeIndex; // in the order of insertion
    std::list<std::string> m_OptionCodeIndex;
    std::list<std::string>::const_iterator m_currentVirtualFutures;
    std::list<std::string>::const_iterator m_currentOption;
    std::list<std::string> m_MultilegCodeIndex;
    std::list<std::string>::const_iterator m_currentMultileg;
    std::int32_t m_Isin = 1; // next isin to hand out
    kv7base::CodeMap<std::int32_t> m_Code_Isin_uMap;
    std::unordered_map<std::int32_t, std::string> m_Isin_Code_uMap;
    /// Rows of a download by the isin that the server gives their multileg.
    std::unordered_map<std::int32_t, std::stack<SMultilegDictionaryStruct>> preloadedMultilegCache;
    bool m_empty = true;
};

} // namespace QuindalIM
