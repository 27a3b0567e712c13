// CCalcGOEx: the calculator behind the handle. It owns neither instruments nor participants. What it adds to the
// repositories is names: every instrument code gets an isin of ours, each insertion goes to the accounting dictionary
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

    /// Makes a calculator, which Destroy takes back. Z9ERR_QUINDAL_IM_NOT_ENOUGH_MEMORY leaves `calculator` null.
    [[nodiscard]] static Z9ERR Create(CCalcGOEx*& calculator, ParticipantRepository& participantRepository,
                                      kv7im::InstrumentsRepository& instrumentsRepository,
                                      pos::PositionCalculatorInstruments& posCalcInstruments);
    static void Destroy(CCalcGOEx* calculator) noexcept;

    // Common parameters and instruments, in the order in which parents come before children.

    /// Edge coefficient of futures inserted from now on; what the repository corrects is corrected in silence.
    void SetCommonParams(double EdgeCoeff);
    [[nodiscard]] double GetCommonParams() const;

    [[nodiscard]] Z9ERR InsertCurrency(std::int32_t CurrencyId, double CurvatureRadius);

    /// Whatever the repository says, the code has taken an isin and the calculator is no longer empty. The isin is the
    /// contract's IsinVCB.
    [[nodiscard]] Z9ERR InsertBaseContractEx(kv7im::BaseContractParameters parameters);

    /// The two isins of the futures are found by the codes. TASBaseFutCode: empty for none; a futures that is not
    /// inserted yet takes its isin here.
    [[nodiscard]] Z9ERR InsertFutures(kv7im::FuturesParameters parameters, const std::string& TASBaseFutCode);

    /// Whatever the repository says, the series has its entry in the list and the calculator is no longer empty.
    [[nodiscard]] Z9ERR InsertOptionSeries(const kv7im::OptionSeriesParameters& parameters);
    /// Only an option that is taken is listed and ends the emptiness; the code has its isin either way.
    [[nodiscard]] Z9ERR InsertOption(const char* OptionCode, const char* OptionSeriesCode, double Strike,
                                     Enums::OptionType OptionType, double CalcOptPrice);

    /// A calendar spread by its code, PREFIX-NEAR-FAR: the futures PREFIX-NEAR is sold and PREFIX-FAR bought. Only a
    /// multileg that is taken is listed and ends the emptiness. Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS for a
    /// code without two "-", Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND for a leg of no known code.
    [[nodiscard]] Z9ERR InsertMultileg(const char* MultilegCode);
    /// A leg from a download; two calls in succession make one multileg, whose isin is the next one of ours. The two
    /// isins of the server are not used. The caller has seen to it that the leg is a futures.
    /// Z9ERR_CALCGO_API_COMMON_ERROR where a code has that isin already,
    /// Z9ERR_CALCGO_API_ERROR_FUTURES_ALREADY_EXIST where a completed record has it; otherwise the repository's code.
    [[nodiscard]] Z9ERR InsertMultileg(int Isin, int IsinLeg, const char* legCode, int ratio, unsigned char legOrder);
    /// Keeps a row of a download until all its instruments are in.
    void PreloadMultileg(const SMultilegDictionaryStruct& row);
    /// Inserts the rows that are kept, each multileg's last one first. Rows of unknown legs and lone rows drop out.
    void ValidateAndInsertMultilegs();

    /// Participants before instruments: positions point at instruments. Every cursor is to be set on first again.
    void ClearAll();
    /// Instruments stay, and the calculator does not become empty by it.
    void RemoveAllParticipants();

    // Cursors, one a kind, which stand on the end until they are set on first. SetOnFirst... gives the number of
    // entries; GetNext... moves on and says null (or Z9ERR_QUINDAL_IM_END_OF_DATA) at the end.

    std::int32_t SetOnFirstCurrency() noexcept; ///< Order of insertion.
    [[nodiscard]] Z9ERR GetNextCurrency(std::int32_t& CurrencyId, double& CurvatureRadius);
    std::int32_t SetOnFirstBaseContract(); ///< No promised order, as the next.
    [[nodiscard]] const kv7im::CSpecBaseContract* GetNextBaseContract();
    std::int32_t SetOnFirstFutures();
    [[nodiscard]] const kv7im::CSpecFutures* GetNextFutures();
    std::int32_t SetOnFirstOptionSeries() noexcept; ///< Order of insertion, as the next; refused series count.
    /// Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_NOT_FOUND at a series that the repository does not hold; the cursor moves on.
    [[nodiscard]] Z9ERR GetNextOptionSeries(const kv7im::CSpecVirtFutures*& series);
    std::int32_t SetOnFirstOption() noexcept;
    /// Z9ERR_CALCGO_API_ERROR_OPTION_NOT_FOUND likewise.
    [[nodiscard]] Z9ERR GetNextOption(const kv7im::CSpecOption*& option);

    std::int32_t SetOnFirstMultileg() noexcept; ///< Order of insertion.
    /// The end of the data leaves `code` alone.
    [[nodiscard]] Z9ERR GetNextMultileg(std::string& code);

    // Codes and isins.

    /// The isin of the code; a new code gets the next one.
    [[nodiscard]] std::int32_t GetIsin(const std::string& code);
    /// 0, or Z9ERR_QUINDAL_IM_NOT_FOUND, which leaves `code` alone.
    [[nodiscard]] Z9ERR GetCodeByIsin(int isin, std::string& code) const;
    /// Isin and CalcFutPrice of a futures, isin and CalcOptPrice of an option; of any other known code the isin only,
    /// and `price` stays as the caller set it. Z9ERR_QUINDAL_IM_NOT_FOUND, or Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS for
    /// null.
    [[nodiscard]] Z9ERR GetIsinAndCalcPriceByCode(const char* code, int& isin, double& price) const;

    [[nodiscard]] bool IsEmpty() const noexcept { return m_empty; }
    [[nodiscard]] std::size_t GetClientCount() const;
    /// Tables and isins of the server, filled by a download.
    [[nodiscard]] Dictionary& GetTablesData() noexcept { return m_TablesData; }
    [[nodiscard]] RealIsinStorage& GetRealIsinStorage() noexcept { return m_RealIsinStorage; }

    // Participants, top down. The first 12 characters of a settlement account's id count.

    [[nodiscard]] Z9ERR RegisterSettlementAccount(const char* SettlementAccountId, Enums::MarginRule marginRule,
                                                  Enums::SpreadMarginType calendarSpreadMarginType,
                                                  Enums::SpreadMarginType interContractSpreadMarginType,
                                                  double ShortOptionMinimumChargeRatio);
    /// Weights as shares, 0.25 is a quarter. An unknown account: the firm stands under the dummy one.
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

    /// Gives a client other parameters and takes its book anew under them. Nothing is checked.
    /// Z9ERR_CALCGO_API_ERROR_PART_NOT_FOUND for an unknown client; the code of a CZ9Error from within, and
    /// Z9ERR_CALCGO_API_COMMON_ERROR for anything else from there.
    [[nodiscard]] Z9ERR ChangeClient(const char* Code, bool NoFutDiscount, std::int32_t NClr2Delivery,
                                     double ExpWeight);

    // Margin.

    /// Sets the position of a client, a firm or a settlement account and gives the margins of its level and of those
    /// above: a client all five, a firm the last two, an account the last. Results that are not given, and all five
    /// after a failure, stay as they are.
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
    /// The two margins of the client's portfolio, unrounded, and the GO of the client, its firm and its account, in
    /// whole cents.
    static void GetClientAndBrokerInitialMargin(const BraskClient& client, double& VolatilityPartGO,
                                                double& DeliveryAndVolatilityPartGO, double& PartGO, double& FirmGO,
                                                double& SettlementAccountGO);

private:
    using BaseContractIterator = kv7im::StorageBaseContract::index<kv7im::ByCode>::type::const_iterator;
    using FuturesIterator = kv7im::StorageFutures::index<kv7im::ByCode>::type::const_iterator;

    /// Gives a multileg of a download its code, made of its legs' codes, and lists it. The isin is used up already.
    void EnterCompletedMultileg(const kv7im::CSpecMultileg& multileg, std::int32_t isin);
    /// Both parts of a code with one "-", otherwise two empty texts.
    [[nodiscard]] static std::pair<std::string, std::string> GetFuturesParts(const std::string& code);
    /// PREFIX-NEAR and PREFIX-FAR make PREFIX-NEAR-FAR.
    [[nodiscard]] static std::string MakeMultilegCode(const std::string& first, const std::string& second);
    void PutCursorsOnEnd();

    RealIsinStorage m_RealIsinStorage;
    Dictionary m_TablesData;
    BaseContractIterator m_iBaseContract; // over the repository's index by code
    FuturesIterator m_iFutures;
    std::list<std::int32_t> m_currencyIndex; // in the order of insertion
    std::list<std::int32_t>::const_iterator m_currentCurrency;
    std::list<std::string> m_VirtFuturesCodeIndex; // in the order of insertion, as the next
    std::list<std::string> m_OptionCodeIndex;
    std::list<std::string>::const_iterator m_currentVirtualFutures;
    std::list<std::string>::const_iterator m_currentOption;
    std::list<std::string> m_MultilegCodeIndex;
    std::list<std::string>::const_iterator m_currentMultileg;
    std::int32_t m_Isin = 1; // next to hand out
    kv7base::CodeMap<std::int32_t> m_Code_Isin_uMap;
    std::unordered_map<std::int32_t, std::string> m_Isin_Code_uMap;
    /// Rows of a download by the isin that the server gives their multileg.
    std::unordered_map<std::int32_t, std::stack<SMultilegDictionaryStruct>> preloadedMultilegCache;
    bool m_empty = true;
};

} // namespace QuindalIM
