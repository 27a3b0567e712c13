// Enums: the enumerations of the instrument layer and of the account model, with the widths that the exchange's records
// and the exported functions give them. They stand on the lowest floor because every unit speaks in them.
//
// A value that arrives from outside may lie outside its enumeration; the checks of the layer that takes it in say what
// becomes of it.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// Number that names an instrument inside the library, handed out from 1.
using Isin = std::int32_t;

namespace Enums {

/// The values of a table whose rows begin with one, in the order of the rows.
template <class Row, std::size_t Size>
[[nodiscard]] consteval auto ValuesOf(const std::array<Row, Size>& rows)
{
    std::array<decltype(Row::value), Size> values{};
    for (std::size_t i = 0; i < Size; ++i)
        values[i] = rows[i].value;
    return values;
}

/// True when the values are 0, 1, 2 and so on.
template <class Enumeration, std::size_t Size>
[[nodiscard]] consteval bool CountFromZero(const std::array<Enumeration, Size>& values)
{
    for (std::size_t i = 0; i < Size; ++i)
        if (static_cast<std::size_t>(values[i]) != i) return false;
    return true;
}

/// Column of the risk parameters that a participant is margined by.
enum class ClientRiskLevel : std::int32_t
{
    Default = 0,
    Low = 1,
    Medium = 2,
    High = 3,
    Exceptional = 4,
};

/// A row of the table of risk levels.
struct ClientRiskLevelRow
{
    ClientRiskLevel value;
    std::string_view name;
    std::string_view columnSuffix; // a column of rates is named "MarketRisk", "MarketRiskLow", ...
};

/// The risk levels in order. Code that spells the levels out asserts how many there were.
inline constexpr std::array ClientRiskLevels{
    ClientRiskLevelRow{ClientRiskLevel::Default, "Default", ""}, ClientRiskLevelRow{ClientRiskLevel::Low, "Low", "Low"},
    ClientRiskLevelRow{ClientRiskLevel::Medium, "Medium", "Medium"},
    ClientRiskLevelRow{ClientRiskLevel::High, "High", "High"},
    ClientRiskLevelRow{ClientRiskLevel::Exceptional, "Exceptional", "Exceptional"}};

/// Every level in order, for the loops over levels.
inline constexpr std::array PossibleClientRiskLevelValues = ValuesOf(ClientRiskLevels);
static_assert(CountFromZero(PossibleClientRiskLevelValues), "a level is its place in an array of levels");

/// How a participant's risk reaches the participant above.
enum class MarginRule : std::int8_t
{
    Gross = 2,
    HalfNetting = 3,
    Netting = 4,
};

/// Netting within one participant, between futures of a base contract or between base contracts.
enum class SpreadMarginType : std::int8_t
{
    Unused = 0,
    HalfNetting = 3,
    Netting = 4,
};

enum class BrokerAccountType : std::int32_t
{
    Ordinary = 0,
    Trusted = 1,
    Segregated = 2,
};

/// Level of the account tree that an exported call names.
enum class AccountHierarchyRecordType : std::int8_t
{
    SettlementAccount = 0,
    Broker = 1,
    Client = 2,
};

enum class InvestorStatus : std::int64_t
{
    None = 0,
    Accredited = 1099511627776,
};

/// Mode of a change of a trading limit.
enum class ChangeMoneyMode : std::int32_t
{
    DelMoney = 9,
    DelPledge = 10,
    DelAll = 11,
    Set = 12,
    ChangeBy = 13,
};

enum class AssetClass : std::int32_t
{
    Stock = 1,
    Currency = 2,
    Bond = 3,
    Index = 4,
    Commodity = 5,
    Percentage = 6,
    Metal = 7,
};
inline constexpr std::array PossibleAssetClassValues{AssetClass::Stock, AssetClass::Currency,  AssetClass::Bond,
                                                     AssetClass::Index, AssetClass::Commodity, AssetClass::Percentage,
                                                     AssetClass::Metal};

/// How the money value of a price step is defined.
enum class MSPType : std::int8_t
{
    FixedPriceStep = 0,
    CurrencyIndicatorPriceStep = 1,
};
inline constexpr std::array PossibleMSPTypeValues{MSPType::FixedPriceStep, MSPType::CurrencyIndicatorPriceStep};

enum class OptionModel : std::int8_t
{
    BlackScholes = 0,
    Bachelier = 1,
};

/// A row of the table of pricing models.
struct OptionModelRow
{
    OptionModel value;
    std::string_view name; // as in messages
};

/// The pricing models in order. The calculators of a model stand in kv7go, in valuation/OptionCalculators.h; code that
/// spells the models or their smiles out asserts how many there were.
inline constexpr std::array OptionModels{OptionModelRow{OptionModel::BlackScholes, "BlackScholes"},
                                         OptionModelRow{OptionModel::Bachelier, "Bachelier"}};
inline constexpr std::array PossibleOptionModelValues = ValuesOf(OptionModels);

enum class MarginStyle : std::int32_t
{
    Futures = 0,
    Equity = 1,
};
inline constexpr std::array PossibleMarginStyleValues{MarginStyle::Futures, MarginStyle::Equity};

enum class SettlementType : std::int32_t
{
    CashSettled = 0,
    Deliverable = 1,
};
inline constexpr std::array PossibleSettlementTypeValues{SettlementType::CashSettled, SettlementType::Deliverable};

enum class ExerciseStyle : std::int32_t
{
    American = 0,
    European = 1,
};
inline constexpr std::array PossibleExerciseStyleValues{ExerciseStyle::American, ExerciseStyle::European};

/// Part of an instrument in inter-month netting.
enum class SpreadAspect : std::int8_t
{
    NotInSpread = 0,
    InSpread = 2,
};

enum class OptionType : std::int8_t
{
    Undefined = 0,
    Put = 1,
    Call = 2,
};

enum class BaseContractSigns : std::int32_t
{
    None = 0,
    ForAccreditedInvestors = 8,
};

/// Status bit mask of a futures; the margin reads TAS and Collateral only.
enum class InstrumentStatus : std::int32_t
{
    None = 0,
    Spot = 1,
    MainSpot = 3,
    Anonymous = 4,
    Address = 8,
    NeoSpot = 16,
    Delivery = 256,
    PairsAllowed = 512,
    MainREPO = 1024,
    VxlMoney = 2048,
    REPOAllowed = 4096,
    RateQuoting = 8192,
    Risk = 524288,
    TAS = 1048576,        // bit 20
    Collateral = 8388608, // bit 23
    Strategy = 134217728,
};

/// True when every bit of `bit` stands in `mask`.
[[nodiscard]] constexpr bool HasStatus(InstrumentStatus mask, InstrumentStatus bit) noexcept
{
    return (static_cast<std::int32_t>(mask) & static_cast<std::int32_t>(bit)) == static_cast<std::int32_t>(bit);
}

/// Kind of a clearing instrument in the position accounting.
enum class InstrumentType : std::int32_t
{
    Undefined = -1,
    Futures = 0,
    Option = 1,
    MultiLeg = 2,
};

/// Kind of a trading instrument.
enum class TradingInstrType : std::int32_t
{
    Futures = 0,
    Option = 1,
    Multileg = 2,
};

/// Status bit mask of a trade.
enum class Status : std::int64_t
{
    None = 0,
    SecondLeg = 0x4000, // the far leg of a trade in a spread
};

/// Whether a trade mode takes orders.
enum class TradeModeStatus : std::int32_t
{
    Closed = 0,
    Open = 1,
};

/// How the price of an order is given.
enum class PriceType : std::int32_t
{
    Price = 0,  // as the instrument is quoted
    Offset = 1, // against the settlement price
};

enum class AuctionType : std::int32_t
{
    None = 0, // continuous trading
    Opening = 1,
    Closing = 2,
};

/// How a move of an order treats its quantity.
enum class MoveOrderMode : std::int32_t
{
    LeaveQuantities = 0,
    ChangeQuantities = 1,
    CheckQuantities = 2,           // the move is refused where less is left
    ChangeQuantitiesWOMatched = 3, // the new quantity counts what has traded since
};

/// Outcome that a report of the trading core carries, by its number; 0 is success.
enum class RptCode : std::int32_t
{
    Ok = 0,
};

/// Names as they stand in messages; "<unknown>" for a value outside the enumeration.
[[nodiscard]] std::string_view ToString(AssetClass value) noexcept;
[[nodiscard]] std::string_view ToString(MSPType value) noexcept;
[[nodiscard]] std::string_view ToString(OptionModel value) noexcept;
[[nodiscard]] std::string_view ToString(MarginStyle value) noexcept;
[[nodiscard]] std::string_view ToString(SettlementType value) noexcept;
[[nodiscard]] std::string_view ToString(ExerciseStyle value) noexcept;

} // namespace Enums
