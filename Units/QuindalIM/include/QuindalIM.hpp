// QuindalIM.hpp: the functions of QuindalIM.h for C++17, in this header alone.
//
//     auto library = quindalim::Library::start("quindal.ini", "USER01", password).value();
//     auto calculator = library.calculator().value();
//     calculator.loadInstruments().value();
//     calculator.registerFirm({"AA01"}).value();
//     calculator.registerClient({"AA01001"}).value();
//     double go = calculator.setPosition({"AA01001", "INDX-12.26", 5, 3300.0}).value().go;
//
// Results.     Each call gives a Result: ask it (`if (!result) log(result.error().message())`), or take its value(),
//              which throws an Error where there is none. No other exception is thrown, but std::bad_alloc by the calls
//              that read lists and compose messages.
// Refusals.    A number that is not finite, a text with a zero byte and a code longer than CodeLength do not reach the
//              library; the error names the parameter of QuindalIM.h. All else the library checks itself.
// Lifetimes.   Library and Calculator stop and clear by themselves, the last made first. They can be moved, not copied.
// Allocations. setPosition and changeOrder take no memory from the heap.
// Threads.     As QuindalIM.h: one call at a time.
//
// Units and rules of each value stand in QuindalIM.h, under the function and the parameter of the same name.
#ifndef QUINDALIM_HPP
#define QUINDALIM_HPP

#include <QuindalIM.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace quindalim {

// ---- Enumerations --------------------------------------------------------------------------------------------------

enum class MspType : QuindalMSPType
{
    FixedPriceStep = QUINDAL_MSP_FIXED_PRICE_STEP,
    CurrencyIndicatorPriceStep = QUINDAL_MSP_CURRENCY_INDICATOR_PRICE_STEP
};

enum class OptionModel : QuindalOptionModel
{
    BlackScholes = QUINDAL_OPTION_MODEL_BLACK_SCHOLES,
    Bachelier = QUINDAL_OPTION_MODEL_BACHELIER
};

enum class AssetClass : QuindalAssetClass
{
    Stock = QUINDAL_ASSET_CLASS_STOCK,
    Currency = QUINDAL_ASSET_CLASS_CURRENCY,
    Bond = QUINDAL_ASSET_CLASS_BOND,
    Index = QUINDAL_ASSET_CLASS_INDEX,
    Commodity = QUINDAL_ASSET_CLASS_COMMODITY,
    Percentage = QUINDAL_ASSET_CLASS_PERCENTAGE,
    Metal = QUINDAL_ASSET_CLASS_METAL
};

/// When the premium of an option is paid: Futures by and by through variation margin, Equity in full at the purchase.
enum class MarginStyle : QuindalMarginStyle
{
    Futures = QUINDAL_MARGIN_STYLE_FUTURES,
    Equity = QUINDAL_MARGIN_STYLE_EQUITY
};

enum class SettlementType : QuindalSettlementType
{
    CashSettled = QUINDAL_SETTLEMENT_TYPE_CASH_SETTLED,
    Deliverable = QUINDAL_SETTLEMENT_TYPE_DELIVERABLE
};

enum class ExerciseStyle : QuindalExerciseStyle
{
    American = QUINDAL_EXERCISE_STYLE_AMERICAN,
    European = QUINDAL_EXERCISE_STYLE_EUROPEAN
};

enum class OptionType : QuindalOptionType
{
    Put = QUINDAL_OPTION_TYPE_PUT,
    Call = QUINDAL_OPTION_TYPE_CALL
};

enum class SpreadAspect : QuindalSpreadAspect
{
    NotInSpread = QUINDAL_SPREAD_ASPECT_NOT_IN_SPREAD,
    InSpread = QUINDAL_SPREAD_ASPECT_IN_SPREAD
};

/// Status of a futures; values are put together by `|`.
enum class Attribute : QuindalAttribute
{
    None = QUINDAL_ATTRIBUTE_NONE,
    Spot = QUINDAL_ATTRIBUTE_SPOT,
    MainSpot = QUINDAL_ATTRIBUTE_MAIN_SPOT,
    Anonymous = QUINDAL_ATTRIBUTE_ANONYMOUS,
    Address = QUINDAL_ATTRIBUTE_ADDRESS,
    NeoSpot = QUINDAL_ATTRIBUTE_NEO_SPOT,
    Delivery = QUINDAL_ATTRIBUTE_DELIVERY,
    PairsAllowed = QUINDAL_ATTRIBUTE_PAIRS_ALLOWED,
    MainRepo = QUINDAL_ATTRIBUTE_MAIN_REPO,
    VxlMoney = QUINDAL_ATTRIBUTE_VXL_MONEY,
    RepoAllowed = QUINDAL_ATTRIBUTE_REPO_ALLOWED,
    RateQuoting = QUINDAL_ATTRIBUTE_RATE_QUOTING,
    Risk = QUINDAL_ATTRIBUTE_RISK,
    Tas = QUINDAL_ATTRIBUTE_TAS,
    Collateral = QUINDAL_ATTRIBUTE_COLLATERAL,
    Strategy = QUINDAL_ATTRIBUTE_STRATEGY
};
[[nodiscard]] constexpr Attribute operator|(Attribute a, Attribute b) noexcept
{
    return static_cast<Attribute>(static_cast<QuindalAttribute>(a) | static_cast<QuindalAttribute>(b));
}
[[nodiscard]] constexpr Attribute operator&(Attribute a, Attribute b) noexcept
{
    return static_cast<Attribute>(static_cast<QuindalAttribute>(a) & static_cast<QuindalAttribute>(b));
}

/// Column of the risk parameters that a client is margined by.
enum class ClientRiskLevel : QuindalClientRiskLevel
{
    Default = QUINDAL_CLIENT_RISK_LEVEL_DEFAULT,
    Low = QUINDAL_CLIENT_RISK_LEVEL_LOW,
    Medium = QUINDAL_CLIENT_RISK_LEVEL_MEDIUM,
    High = QUINDAL_CLIENT_RISK_LEVEL_HIGH,
    Exceptional = QUINDAL_CLIENT_RISK_LEVEL_EXCEPTIONAL
};

/// How a participant's risk reaches the participant above.
enum class MarginRule : QuindalMarginRule
{
    Gross = QUINDAL_MARGIN_RULE_GROSS,
    HalfNetting = QUINDAL_MARGIN_RULE_HALF_NETTING,
    Netting = QUINDAL_MARGIN_RULE_NETTING
};

/// Netting within one participant: between the futures of a base contract, or between base contracts.
enum class SpreadMarginType : QuindalSpreadMarginType
{
    Unused = QUINDAL_SPREAD_MARGIN_TYPE_UNUSED,
    HalfNetting = QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING,
    Netting = QUINDAL_SPREAD_MARGIN_TYPE_NETTING
};

enum class BrokerAccountType : QuindalBrokerAccountType
{
    Ordinary = QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY,
    Trusted = QUINDAL_BROKER_ACCOUNT_TYPE_TRUSTED,
    Segregated = QUINDAL_BROKER_ACCOUNT_TYPE_SEGREGATED
};

/// Level of the account tree that a code names.
enum class AccountLevel : QuindalAccountHierarchyRecordType
{
    SettlementAccount = QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT,
    Firm = QUINDAL_ACCOUNT_HIERARCHY_BROKER,
    Client = QUINDAL_ACCOUNT_HIERARCHY_CLIENT
};

enum class Side : std::int32_t
{
    Sell = 0,
    Buy = 1
};

// ---- Results -------------------------------------------------------------------------------------------------------

/// Version of the library that the process has loaded, "9.9.64.4654".
[[nodiscard]] inline std::string_view libraryVersion() noexcept { return GetQuindalIMLibraryVersion(); }

/// The library's text of a code.
[[nodiscard]] inline const char* textOf(std::int32_t code) noexcept { return GetErrorCodeDescription(code); }

/// Name of the constant of a code, "QUINDAL_ERR_NOT_FOUND" of 94813; "QUINDAL_ERR_?" for a code without one.
[[nodiscard]] inline const char* nameOf(std::int32_t code) noexcept
{
    struct Row
    {
        std::int32_t code;
        const char* name;
    };
#define QUINDAL_IM_ROW(name, number, text) Row{number, #name},
    static constexpr Row rows[] = {QUINDAL_IM_CODES(QUINDAL_IM_ROW)};
#undef QUINDAL_IM_ROW
    for (const Row& row : rows)
        if (row.code == code) return row.name;
    return "QUINDAL_ERR_?";
}

/// Why a call did not succeed.
struct Failure
{
    std::int32_t code = QUINDAL_OK;
    const char* function = "";       // of QuindalIM.h
    const char* parameter = nullptr; // of that function, where the call was refused before the library was asked
    const char* reason = nullptr;    // what was refused; null where the code is the library's

    /// Name of the code, "QUINDAL_ERR_NOT_FOUND".
    [[nodiscard]] const char* name() const noexcept { return nameOf(code); }
    /// What was refused, or the library's text of the code.
    [[nodiscard]] const char* text() const noexcept { return reason != nullptr ? reason : textOf(code); }
    /// All in one line: "SetPosition: WAPrice is not a finite number (2, QUINDAL_ERR_COMMON_WRONG_ARGUMENTS)".
    [[nodiscard]] std::string message() const
    {
        std::string line = std::string(function) + ": ";
        if (parameter != nullptr) line.append(parameter).append(" ");
        return line.append(text()).append(" (").append(std::to_string(code)).append(", ").append(name()).append(")");
    }
};

/// What value() throws.
class Error : public std::exception
{
public:
    explicit Error(const Failure& failure) : m_failure(failure), m_message(failure.message()) {}

    [[nodiscard]] const char* what() const noexcept override { return m_message.c_str(); }
    [[nodiscard]] const Failure& failure() const noexcept { return m_failure; }
    [[nodiscard]] std::int32_t code() const noexcept { return m_failure.code; }
    [[nodiscard]] const char* name() const noexcept { return m_failure.name(); }
    [[nodiscard]] const char* text() const noexcept { return m_failure.text(); }

private:
    Failure m_failure;
    std::string m_message;
};

/// A value, or why there is none.
template <class T>
class [[nodiscard]] Result
{
public:
    Result(T value) : m_state(std::in_place_index<0>, std::move(value)) {}
    Result(const Failure& failure) : m_state(std::in_place_index<1>, failure) {}

    /// True where there is a value.
    explicit operator bool() const noexcept { return m_state.index() == 0; }
    /// The value; throws an Error where there is none.
    [[nodiscard]] T& value() &
    {
        requireValue();
        return *std::get_if<0>(&m_state);
    }
    [[nodiscard]] const T& value() const&
    {
        requireValue();
        return *std::get_if<0>(&m_state);
    }
    [[nodiscard]] T value() &&
    {
        requireValue();
        return std::move(*std::get_if<0>(&m_state));
    }
    /// Why there is none; of a value, a failure of code 0.
    [[nodiscard]] Failure error() const noexcept { return *this ? Failure{} : *std::get_if<1>(&m_state); }
    /// Code of the call, 0 where there is a value.
    [[nodiscard]] std::int32_t code() const noexcept { return error().code; }

private:
    void requireValue() const
    {
        if (!*this) throw Error(*std::get_if<1>(&m_state));
    }

    std::variant<T, Failure> m_state;
};

/// Success, or why there was none.
template <>
class [[nodiscard]] Result<void>
{
public:
    Result() noexcept = default;
    Result(const Failure& failure) noexcept : m_failure(failure) {}

    explicit operator bool() const noexcept { return m_failure.code == QUINDAL_OK; }
    /// Throws an Error where the call did not succeed.
    void value() const
    {
        if (!*this) throw Error(m_failure);
    }
    [[nodiscard]] Failure error() const noexcept { return m_failure; }
    [[nodiscard]] std::int32_t code() const noexcept { return m_failure.code; }

private:
    Failure m_failure;
};

// ---- Records -------------------------------------------------------------------------------------------------------

struct Currency
{
    std::int32_t currencyId = 0;
    double curvatureRadius = 0.0;
};

/// Rates of market risk at one client risk level: of the grid, and of positions beyond the concentration limits.
struct MarketRisk
{
    double marketRisk = 0.0;
    double marketRisk1 = 0.0;
    double marketRisk2 = 0.0;
};

struct BaseContract
{
    std::string code = {};
    std::string mcsCode = {}; // empty: it nets with no other
    std::int32_t volatNum = 3;
    MspType mspType = MspType::FixedPriceStep;
    std::int32_t currencyId = 0;
    double shortOptionMinimumCharge = 0.0;
    MarketRisk standard = {}; // at ClientRiskLevel::Default
    MarketRisk low = {};
    MarketRisk medium = {};
    MarketRisk high = {};
    MarketRisk exceptional = {};
    std::int64_t concentrationLimit1 = 0;
    std::int64_t concentrationLimit2 = 0;
    std::int32_t riskPointsN = 1;
    double windowSizePercentage = 0.0;
    OptionModel optionModel = OptionModel::BlackScholes;
    double spotPrice = 0.0;
    AssetClass assetClass = AssetClass::Stock;
    double cfRisk = 0.0;
};

struct Futures
{
    std::string code = {};
    std::string baseContractCode = {};
    double calcFutPrice = 0.0;
    SpreadAspect spreadAspect = SpreadAspect::InSpread;
    double minStepPrice = 0.0;
    double realCalcPrice = 0.0;
    double minStep = 0.0;
    double xLot = 1.0;
    double interestRateRiskUp = 0.0;
    double interestRateRiskDown = 0.0;
    double timeToExpiration = 0.0;
    double normalizedSpot = 0.0;
    Attribute attribute = Attribute::None;
    double mrAddOnUp = 0.0;
    double mrAddOnDown = 0.0;
    bool enforceImsHalfNetting = false;
    std::string tasBaseFutCode = {}; // empty: it tracks no other
    double limit = 0.0;              // read back only: half the way from the centre of the price grid to its end
};

/// A volatility smile.
struct Smile
{
    double a = 0.0;
    double b = 0.0;
    double c = 0.0;
    double d = 0.0;
    double e = 1.0;
    double s = 0.0;
};

struct OptionSeries
{
    std::string code = {};
    std::string futuresCode = {};
    Smile black = {};
    Smile bachelier = {};
    double mBach = 1.0;
    bool useNullVolat = false;
    double strikeStep = 0.0;
    std::int32_t expClearingsSA = 0;
    std::int32_t expClearingsBF = 0;
    std::int32_t expClearingsCC = 0;
    double volatilityRisk = 0.0;
    double volatilityRiskMismatch = 0.0;
    double timeToExpiration = 0.0;
    MarginStyle marginStyle = MarginStyle::Futures;
    SettlementType settlementType = SettlementType::CashSettled;
    ExerciseStyle exerciseStyle = ExerciseStyle::American;
    bool subRisk = false;
    SpreadAspect spreadAspect = SpreadAspect::InSpread;
    bool enforceHalfNetting = false;
    double minStep = 0.0;
    double minStepPrice = 0.0;
    std::int32_t lotCoeff = 1;
    double r = 0.0;
    double interestRateRiskUp = 0.0;
    double interestRateRiskDown = 0.0;
    double fixedSpotDiscount = 0.0;
    double projectedSpotDiscount = 0.0;
    double r2 = 0.0;
    double interestRate2RiskUp = 0.0;
    double interestRate2RiskDown = 0.0;
    double sqrtT = 0.0; // read back only: square root of timeToExpiration
};

struct Option
{
    std::string code = {};
    std::string optionSeriesCode = {};
    double strike = 0.0;
    OptionType optionType = OptionType::Call;
    double calcOptPrice = 0.0;
};

struct Multileg
{
    std::string code = {};
};

struct SettlementAccount
{
    std::string id = {};
    MarginRule marginRule = MarginRule::Netting;
    SpreadMarginType calendarSpread = SpreadMarginType::Netting;
    SpreadMarginType interContractSpread = SpreadMarginType::HalfNetting;
    double shortOptionMinimumChargeRatio = 1.0;
};

struct Firm
{
    std::string code = {};
    std::string settlementAccountId = {}; // empty: it stands without one
    MarginRule marginRule = MarginRule::HalfNetting;
    SpreadMarginType calendarSpread = SpreadMarginType::Netting;
    SpreadMarginType interContractSpread = SpreadMarginType::HalfNetting;
    double expWeight = 1.0;
    double expWeightClientDefault = 1.0;
    std::int32_t nClr2Delivery = 0;
    double shortOptionMinimumChargeRatio = 1.0;
    BrokerAccountType accountType = BrokerAccountType::Ordinary;
};

struct Client
{
    std::string code = {};
    SpreadMarginType calendarSpread = SpreadMarginType::Netting;
    SpreadMarginType interContractSpread = SpreadMarginType::HalfNetting;
    double expWeight = -1.0;         // -1: the firm's default
    std::int32_t nClr2Delivery = -1; // -1: never
    bool noFutDiscount = false;
    double goRatio = 1.0;
    double shortOptionMinimumChargeRatio = 1.0;
    ClientRiskLevel riskLevel = ClientRiskLevel::Default;
};

/// The whole position in an instrument, not a change. The texts are used during the call.
struct Position
{
    std::string_view code = {}; // of a client, a firm or a settlement account
    std::string_view instrument = {};
    std::int64_t quantity = 0;                          // contracts, short below 0
    double price = 0.0;                                 // average price; 0: the calculated one of the instrument
    std::optional<std::int64_t> afterLastClearing = {}; // contracts that the last clearing left; none: all of them
};

/// A change of a client's open orders. The texts are used during the call.
struct OrderChange
{
    std::string_view client = {};
    std::string_view instrument = {};
    Side side = Side::Buy;
    double price = 0.0;             // 0: the calculated one of the instrument; a multileg has none
    std::int64_t deltaQuantity = 0; // contracts that are added; below 0: cancelled or executed; 0: shows the margin
};

/// A client's margin.
struct Margins
{
    double volatility = 0.0; // VolatilityPartGO, not rounded
    double delivery = 0.0;   // DeliveryAndVolatilityPartGO, not rounded
    double go = 0.0;         // PartGO: the margin to be covered
};

/// Longest code that is handed to the library, in bytes.
inline constexpr std::size_t CodeLength = 255;
/// Largest size of a price or a quantity of an order or a position: what is larger would spoil a book for good.
inline constexpr double LargestAmount = 1e12;

// ---- Inside --------------------------------------------------------------------------------------------------------

namespace detail {

/// One calculator has one owner in a process.
inline std::atomic<bool> calculatorIsOwned{false};

/// True for a number, also in a program that is compiled with -ffast-math.
[[nodiscard]] inline bool isFinite(double value) noexcept
{
    std::uint64_t bits = 0;
    static_assert(sizeof bits == sizeof value);
    std::memcpy(&bits, &value, sizeof bits);
    constexpr std::uint64_t exponent = 0x7FF0'0000'0000'0000u;
    return (bits & exponent) != exponent;
}

/// A text with a zero at its end, in a place of its own.
template <std::size_t Length>
class ZeroEnded
{
public:
    explicit ZeroEnded(std::string_view text) noexcept : m_fits(text.size() <= Length)
    {
        const std::size_t taken = m_fits ? text.copy(m_bytes.data(), Length) : 0;
        m_bytes[taken] = '\0';
        m_hasZero = m_fits && std::memchr(m_bytes.data(), 0, taken) != nullptr;
    }
    ZeroEnded(const ZeroEnded&) = delete;
    ZeroEnded& operator=(const ZeroEnded&) = delete;

    [[nodiscard]] const char* c_str() const noexcept { return m_bytes.data(); }
    /// What keeps the library from taking the text as it is; null: nothing.
    [[nodiscard]] const char* fault() const noexcept
    {
        return !m_fits ? "is too long" : m_hasZero ? "has a zero byte" : nullptr;
    }
    /// Overwrites a secret, in a way that the optimizer keeps.
    void wipe() noexcept
    {
        volatile char* bytes = m_bytes.data();
        for (std::size_t i = 0; i < m_bytes.size(); ++i)
            bytes[i] = '\0';
    }

private:
    std::array<char, Length + 1> m_bytes;
    bool m_fits;
    bool m_hasZero = false;
};
using Code = ZeroEnded<CodeLength>;

/// Looks at the arguments of a function; the first one that is refused is told.
class Arguments
{
public:
    explicit Arguments(const char* function) noexcept { m_failure.function = function; }

    [[nodiscard]] bool refused() const noexcept { return m_failure.code != QUINDAL_OK; }
    [[nodiscard]] const Failure& why() const noexcept { return m_failure; }

    template <std::size_t Length>
    void text(const char* parameter, const ZeroEnded<Length>& text) noexcept
    {
        if (text.fault() != nullptr) refuse(QUINDAL_ERR_WRONG_ARGUMENTS, parameter, text.fault());
    }
    void text(const char* parameter, const std::string& text) noexcept
    {
        if (text.size() > CodeLength) refuse(QUINDAL_ERR_WRONG_ARGUMENTS, parameter, "is too long");
        if (text.find('\0') != std::string::npos) refuse(QUINDAL_ERR_WRONG_ARGUMENTS, parameter, "has a zero byte");
    }
    void numbers(std::initializer_list<std::pair<const char*, double>> numbers) noexcept
    {
        for (const auto& [parameter, value] : numbers)
            if (!isFinite(value)) refuse(QUINDAL_ERR_COMMON_WRONG_ARGUMENTS, parameter, "is not a finite number");
    }
    void amount(const char* parameter, double value) noexcept
    {
        numbers({{parameter, value}});
        if (value < -LargestAmount || value > LargestAmount)
            refuse(QUINDAL_ERR_COMMON_WRONG_ARGUMENTS, parameter, "is not from -1e12 to 1e12");
    }
    void amount(const char* parameter, std::int64_t value) noexcept { amount(parameter, static_cast<double>(value)); }

private:
    void refuse(std::int32_t code, const char* parameter, const char* reason) noexcept
    {
        if (refused()) return;
        m_failure.code = code;
        m_failure.parameter = parameter;
        m_failure.reason = reason;
    }

    Failure m_failure;
};

/// A code as a GetNext... function writes it.
struct CodeBuffer
{
    std::array<char, CodeLength + 1> bytes{};
    std::int32_t size = static_cast<std::int32_t>(CodeLength + 1);

    [[nodiscard]] std::string text() const { return bytes.data(); }
};

[[nodiscard]] inline Result<void> outcome(const char* function, std::int32_t code) noexcept
{
    return Failure{code, function, nullptr, nullptr};
}

/// The value of an enumeration as the library takes it.
template <class Enumeration>
[[nodiscard]] constexpr auto raw(Enumeration value) noexcept
{
    return static_cast<std::underlying_type_t<Enumeration>>(value);
}

} // namespace detail

// ---- The calculator ------------------------------------------------------------------------------------------------

/// Instruments, accounts, positions, orders, and the margin that they need. Library::calculator makes it. Its end
/// removes all that was entered and destroys the calculator.
class Calculator
{
public:
    Calculator(Calculator&& other) noexcept : m_handle(std::exchange(other.m_handle, 0)) {}
    Calculator& operator=(Calculator&& other) noexcept
    {
        if (this != &other) {
            static_cast<void>(close());
            m_handle = std::exchange(other.m_handle, 0);
        }
        return *this;
    }
    Calculator(const Calculator&) = delete;
    Calculator& operator=(const Calculator&) = delete;
    ~Calculator() { static_cast<void>(close()); }

    /// Removes all that was entered and destroys the calculator, which is of no use afterwards. A second call does
    /// nothing.
    Result<void> close() noexcept
    {
        if (m_handle == 0) return {};
        static_cast<void>(clearAll());
        const std::intptr_t handle = std::exchange(m_handle, 0);
        detail::calculatorIsOwned = false;
        return detail::outcome("DestroyQuindalIMCalculator", DestroyQuindalIMCalculator(handle));
    }

    /// Handle for the functions of QuindalIM.h; 0 after close().
    [[nodiscard]] std::intptr_t handle() const noexcept { return m_handle; }

    // Instruments: all from the server, or one by one, parents first.

    /// Fetches all instruments. `moment`, such as "2026/11/21/10/15/30": those of then; empty: those of now.
    Result<void> loadInstruments(std::string_view moment = {}) const
    {
        const detail::Code text(moment);
        detail::Arguments arguments("GetInstrumentParameters");
        arguments.text("DataTime", text);
        if (arguments.refused()) return arguments.why();
        return detail::outcome("GetInstrumentParameters", GetInstrumentParameters(m_handle, text.c_str()));
    }

    /// Edge coefficient of futures that are inserted from now on.
    Result<void> setEdgeCoefficient(double value) const
    {
        detail::Arguments arguments("SetCommonParams");
        arguments.numbers({{"EdgeCoeff", value}});
        if (arguments.refused()) return arguments.why();
        return detail::outcome("SetCommonParams", SetCommonParams(m_handle, value));
    }
    Result<double> edgeCoefficient() const
    {
        double value = 0.0;
        const std::int32_t code = GetCommonParams(m_handle, &value);
        if (code != QUINDAL_OK) return Failure{code, "GetCommonParams", nullptr, nullptr};
        return value;
    }

    Result<void> insert(const Currency& currency) const
    {
        detail::Arguments arguments("InsertCurrency");
        arguments.numbers({{"CurvatureRadius", currency.curvatureRadius}});
        if (arguments.refused()) return arguments.why();
        return detail::outcome("InsertCurrency",
                               InsertCurrency(m_handle, currency.currencyId, currency.curvatureRadius));
    }
    Result<void> insert(const BaseContract& contract) const
    {
        detail::Arguments arguments("InsertBaseContract");
        arguments.text("BaseContractCode", contract.code);
        arguments.text("MCSCode", contract.mcsCode);
        arguments.numbers({{"ShortOptionMinimumCharge", contract.shortOptionMinimumCharge},
                           {"MarketRisk", contract.standard.marketRisk},
                           {"MarketRisk1", contract.standard.marketRisk1},
                           {"MarketRisk2", contract.standard.marketRisk2},
                           {"MarketRiskLow", contract.low.marketRisk},
                           {"MarketRisk1Low", contract.low.marketRisk1},
                           {"MarketRisk2Low", contract.low.marketRisk2},
                           {"MarketRiskMedium", contract.medium.marketRisk},
                           {"MarketRisk1Medium", contract.medium.marketRisk1},
                           {"MarketRisk2Medium", contract.medium.marketRisk2},
                           {"MarketRiskHigh", contract.high.marketRisk},
                           {"MarketRisk1High", contract.high.marketRisk1},
                           {"MarketRisk2High", contract.high.marketRisk2},
                           {"MarketRiskExceptional", contract.exceptional.marketRisk},
                           {"MarketRisk1Exceptional", contract.exceptional.marketRisk1},
                           {"MarketRisk2Exceptional", contract.exceptional.marketRisk2},
                           {"WindowSizePercentage", contract.windowSizePercentage},
                           {"SpotPrice", contract.spotPrice},
                           {"CFRisk", contract.cfRisk}});
        if (arguments.refused()) return arguments.why();
        return detail::outcome(
            "InsertBaseContract",
            InsertBaseContract(m_handle, contract.code.c_str(), contract.mcsCode.c_str(), contract.volatNum,
                               detail::raw(contract.mspType), contract.currencyId, contract.shortOptionMinimumCharge,
                               contract.standard.marketRisk, contract.standard.marketRisk1,
                               contract.standard.marketRisk2, contract.low.marketRisk, contract.low.marketRisk1,
                               contract.low.marketRisk2, contract.medium.marketRisk, contract.medium.marketRisk1,
                               contract.medium.marketRisk2, contract.high.marketRisk, contract.high.marketRisk1,
                               contract.high.marketRisk2, contract.exceptional.marketRisk,
                               contract.exceptional.marketRisk1, contract.exceptional.marketRisk2,
                               contract.concentrationLimit1, contract.concentrationLimit2, contract.riskPointsN,
                               contract.windowSizePercentage, detail::raw(contract.optionModel), contract.spotPrice,
                               detail::raw(contract.assetClass), contract.cfRisk));
    }
    Result<void> insert(const Futures& futures) const
    {
        detail::Arguments arguments("InsertFutures");
        arguments.text("FuturesCode", futures.code);
        arguments.text("BaseContractCode", futures.baseContractCode);
        arguments.text("TASBaseFutCode", futures.tasBaseFutCode);
        arguments.numbers({{"CalcFutPrice", futures.calcFutPrice},
                           {"MinStepPrice", futures.minStepPrice},
                           {"RealCalcPrice", futures.realCalcPrice},
                           {"MinStep", futures.minStep},
                           {"XLot", futures.xLot},
                           {"InterestRateRiskUp", futures.interestRateRiskUp},
                           {"InterestRateRiskDown", futures.interestRateRiskDown},
                           {"TimeToExpiration", futures.timeToExpiration},
                           {"NormalizedSpot", futures.normalizedSpot},
                           {"MRAddOnUp", futures.mrAddOnUp},
                           {"MRAddOnDown", futures.mrAddOnDown}});
        if (arguments.refused()) return arguments.why();
        return detail::outcome("InsertFutures",
                               InsertFutures(m_handle, futures.code.c_str(), futures.baseContractCode.c_str(),
                                             futures.calcFutPrice, detail::raw(futures.spreadAspect),
                                             futures.minStepPrice, futures.realCalcPrice, futures.minStep, futures.xLot,
                                             futures.interestRateRiskUp, futures.interestRateRiskDown,
                                             futures.timeToExpiration, futures.normalizedSpot,
                                             detail::raw(futures.attribute), futures.mrAddOnUp, futures.mrAddOnDown,
                                             futures.enforceImsHalfNetting ? 1 : 0, futures.tasBaseFutCode.c_str()));
    }
    Result<void> insert(const OptionSeries& series) const
    {
        detail::Arguments arguments("InsertOptionSeries");
        arguments.text("OptionSeriesCode", series.code);
        arguments.text("FuturesCode", series.futuresCode);
        arguments.numbers({{"A_Black", series.black.a},
                           {"B_Black", series.black.b},
                           {"C_Black", series.black.c},
                           {"D_Black", series.black.d},
                           {"E_Black", series.black.e},
                           {"S_Black", series.black.s},
                           {"StrikeStep", series.strikeStep},
                           {"VolatilityRisk", series.volatilityRisk},
                           {"VolatilityRiskMismatch", series.volatilityRiskMismatch},
                           {"TimeToExpiration", series.timeToExpiration},
                           {"A_Bach", series.bachelier.a},
                           {"B_Bach", series.bachelier.b},
                           {"C_Bach", series.bachelier.c},
                           {"D_Bach", series.bachelier.d},
                           {"E_Bach", series.bachelier.e},
                           {"S_Bach", series.bachelier.s},
                           {"M_Bach", series.mBach},
                           {"MinStep", series.minStep},
                           {"MinStepPrice", series.minStepPrice},
                           {"r", series.r},
                           {"InterestRateRiskUp", series.interestRateRiskUp},
                           {"InterestRateRiskDown", series.interestRateRiskDown},
                           {"FixedSpotDiscount", series.fixedSpotDiscount},
                           {"ProjectedSpotDiscount", series.projectedSpotDiscount},
                           {"r2", series.r2},
                           {"InterestRate2RiskUp", series.interestRate2RiskUp},
                           {"InterestRate2RiskDown", series.interestRate2RiskDown}});
        if (arguments.refused()) return arguments.why();
        return detail::outcome(
            "InsertOptionSeries",
            InsertOptionSeries(
                m_handle, series.code.c_str(), series.futuresCode.c_str(), series.black.a, series.black.b,
                series.black.c, series.black.d, series.black.e, series.useNullVolat ? 1 : 0, series.black.s,
                series.strikeStep, series.expClearingsSA, series.expClearingsBF, series.expClearingsCC,
                series.volatilityRisk, series.volatilityRiskMismatch, series.timeToExpiration, series.bachelier.a,
                series.bachelier.b, series.bachelier.c, series.bachelier.d, series.bachelier.e, series.bachelier.s,
                series.mBach, detail::raw(series.marginStyle), detail::raw(series.settlementType),
                detail::raw(series.exerciseStyle), series.subRisk ? 1 : 0, detail::raw(series.spreadAspect),
                series.enforceHalfNetting ? 1 : 0, series.minStep, series.minStepPrice, series.lotCoeff, series.r,
                series.interestRateRiskUp, series.interestRateRiskDown, series.fixedSpotDiscount,
                series.projectedSpotDiscount, series.r2, series.interestRate2RiskUp, series.interestRate2RiskDown));
    }
    Result<void> insert(const Option& option) const
    {
        detail::Arguments arguments("InsertOption");
        arguments.text("OptionCode", option.code);
        arguments.text("OptionSeriesCode", option.optionSeriesCode);
        arguments.numbers({{"Strike", option.strike}, {"CalcOptPrice", option.calcOptPrice}});
        if (arguments.refused()) return arguments.why();
        return detail::outcome("InsertOption",
                               InsertOption(m_handle, option.code.c_str(), option.optionSeriesCode.c_str(),
                                            option.strike, detail::raw(option.optionType), option.calcOptPrice));
    }
    Result<void> insert(const Multileg& multileg) const
    {
        detail::Arguments arguments("InsertMultileg");
        arguments.text("MultilegCode", multileg.code);
        if (arguments.refused()) return arguments.why();
        return detail::outcome("InsertMultileg", InsertMultileg(m_handle, multileg.code.c_str()));
    }

    /// Removes instruments, and participants with their positions and orders.
    Result<void> clearAll() const noexcept { return detail::outcome("ClearAll", ClearAll(m_handle)); }

    // Instruments as they are stored, corrections included.

    Result<std::vector<Currency>> currencies() const
    {
        return readAll<Currency>("SetOnFirstCurrency", SetOnFirstCurrency, "GetNextCurrency", [this](Currency& entry) {
            return GetNextCurrency(m_handle, &entry.currencyId, &entry.curvatureRadius);
        });
    }
    Result<std::vector<BaseContract>> baseContracts() const
    {
        return readAll<BaseContract>("SetOnFirstBaseContract", SetOnFirstBaseContract, "GetNextBaseContract",
                                     [this](BaseContract& entry) { return next(entry); });
    }
    /// The field `limit` is that of a level.
    Result<std::vector<Futures>> futures(ClientRiskLevel level = ClientRiskLevel::Default) const
    {
        return readAll<Futures>("SetOnFirstFutures", SetOnFirstFutures, "GetNextFutures",
                                [this, level](Futures& entry) { return next(entry, level); });
    }
    /// Series that were refused are left out.
    Result<std::vector<OptionSeries>> optionSeries() const
    {
        return readAll<OptionSeries>("SetOnFirstOptionSeries", SetOnFirstOptionSeries, "GetNextOptionSeries",
                                     [this](OptionSeries& entry) { return next(entry); });
    }
    Result<std::vector<Option>> options() const
    {
        return readAll<Option>("SetOnFirstOption", SetOnFirstOption, "GetNextOption",
                               [this](Option& entry) { return next(entry); });
    }
    Result<std::vector<Multileg>> multilegs() const
    {
        return readAll<Multileg>("SetOnFirstMultileg", SetOnFirstMultileg, "GetNextMultileg", [this](Multileg& entry) {
            detail::CodeBuffer code;
            const std::int32_t result = GetNextMultileg(m_handle, code.bytes.data(), &code.size);
            entry.code = code.text();
            return result;
        });
    }

    // Participants, top down.

    Result<void> registerSettlementAccount(const SettlementAccount& account) const
    {
        detail::Arguments arguments("RegisterSettlementAccount");
        arguments.text("SettlementAccountId", account.id);
        arguments.numbers({{"ShortOptionMinimumChargeRatio", account.shortOptionMinimumChargeRatio}});
        if (arguments.refused()) return arguments.why();
        return detail::outcome("RegisterSettlementAccount",
                               RegisterSettlementAccount(m_handle, account.id.c_str(), detail::raw(account.marginRule),
                                                         detail::raw(account.calendarSpread),
                                                         detail::raw(account.interContractSpread),
                                                         account.shortOptionMinimumChargeRatio));
    }
    Result<void> registerFirm(const Firm& firm) const
    {
        detail::Arguments arguments("RegisterFirm");
        arguments.text("BrokerCode", firm.code);
        arguments.text("SettlementAccountId", firm.settlementAccountId);
        arguments.numbers({{"ExpWeight", firm.expWeight},
                           {"ExpWeightClientDefault", firm.expWeightClientDefault},
                           {"ShortOptionMinimumChargeRatio", firm.shortOptionMinimumChargeRatio}});
        if (arguments.refused()) return arguments.why();
        return detail::outcome("RegisterFirm",
                               RegisterFirm(m_handle, firm.code.c_str(), firm.nClr2Delivery, firm.expWeight,
                                            firm.expWeightClientDefault, detail::raw(firm.accountType),
                                            firm.settlementAccountId.c_str(), detail::raw(firm.calendarSpread),
                                            detail::raw(firm.marginRule), detail::raw(firm.interContractSpread),
                                            firm.shortOptionMinimumChargeRatio, 0));
    }
    /// Registers a client of the firm that the first 4 characters of its code name.
    Result<void> registerClient(const Client& client) const
    {
        detail::Arguments arguments("RegisterPart");
        arguments.text("ClientCode", client.code);
        arguments.numbers({{"ExpWeight", client.expWeight},
                           {"GORatio", client.goRatio},
                           {"ShortOptionMinimumChargeRatio", client.shortOptionMinimumChargeRatio}});
        if (arguments.refused()) return arguments.why();
        return detail::outcome("RegisterPart",
                               RegisterPart(m_handle, client.code.c_str(), client.noFutDiscount ? 1 : 0,
                                            client.nClr2Delivery, client.expWeight, detail::raw(client.calendarSpread),
                                            detail::raw(client.interContractSpread), client.goRatio,
                                            client.shortOptionMinimumChargeRatio, detail::raw(client.riskLevel), 0));
    }
    /// Gives a client the noFutDiscount, nClr2Delivery and expWeight of a record; its book follows. The other fields
    /// of a client stay as they were registered.
    Result<void> changeClient(const Client& client) const
    {
        detail::Arguments arguments("ChangePart");
        arguments.text("Code", client.code);
        arguments.numbers({{"ExpWeight", client.expWeight}});
        if (arguments.refused()) return arguments.why();
        return detail::outcome("ChangePart", ChangePart(m_handle, client.code.c_str(), client.noFutDiscount ? 1 : 0,
                                                        client.nClr2Delivery, client.expWeight));
    }
    /// Sets the ratio of a firm on the margin of one base contract.
    Result<void> setFirmRatio(std::string_view firm, std::string_view baseContract, double goRatio) const
    {
        const detail::Code code(firm);
        const detail::Code contract(baseContract);
        detail::Arguments arguments("InsertBrokerBaseContractParam");
        arguments.text("Code", code);
        arguments.text("CodeBC", contract);
        arguments.numbers({{"GORatio", goRatio}});
        if (arguments.refused()) return arguments.why();
        return detail::outcome("InsertBrokerBaseContractParam",
                               InsertBrokerBaseContractParam(m_handle, code.c_str(), contract.c_str(), goRatio));
    }
    /// Removes participants with their positions and orders; instruments stay.
    Result<void> clearParticipants() const noexcept { return detail::outcome("ClearParts", ClearParts(m_handle)); }

    // Margin.

    /// Sets a client's position; gives its margin.
    Result<Margins> setPosition(const Position& position) const { return setPosition(AccountLevel::Client, position); }
    /// Sets a record of a firm's or a settlement account's own, which counts under the netting rule.
    Result<void> setLevelPosition(AccountLevel level, const Position& position) const
    {
        return setPosition(level, position).error();
    }
    /// Adds to a client's open orders or takes from them; gives the margin of its positions and orders together.
    Result<Margins> changeOrder(const OrderChange& order) const
    {
        const detail::Code client(order.client);
        const detail::Code instrument(order.instrument);
        detail::Arguments arguments("ChangeOrder");
        arguments.text("Code", client);
        arguments.text("InstrCode", instrument);
        arguments.amount("Price", order.price);
        arguments.amount("DeltaQuantity", order.deltaQuantity);
        if (arguments.refused()) return arguments.why();
        Margins margins;
        double firm = 0.0;
        double account = 0.0;
        const std::int32_t code =
            ChangeOrder(m_handle, client.c_str(), instrument.c_str(), detail::raw(order.side), order.price,
                        order.deltaQuantity, &margins.volatility, &margins.delivery, &margins.go, &firm, &account);
        if (code != QUINDAL_OK) return Failure{code, "ChangeOrder", nullptr, nullptr};
        return margins;
    }

private:
    friend class Library;
    explicit Calculator(std::intptr_t handle) noexcept : m_handle(handle) {}

    Result<Margins> setPosition(AccountLevel level, const Position& position) const
    {
        const detail::Code participant(position.code);
        const detail::Code instrument(position.instrument);
        const std::int64_t afterLastClearing = position.afterLastClearing.value_or(position.quantity);
        detail::Arguments arguments("SetPosition");
        arguments.text("Code", participant);
        arguments.text("InstrCode", instrument);
        arguments.amount("Quantity", position.quantity);
        arguments.amount("WAPrice", position.price);
        arguments.amount("afterLastClearingQuantity", afterLastClearing);
        if (arguments.refused()) return arguments.why();
        Margins margins;
        double firm = 0.0;
        double account = 0.0;
        const std::int32_t code = SetPosition(m_handle, participant.c_str(), instrument.c_str(), position.quantity,
                                              position.price, &margins.volatility, &margins.delivery, &margins.go,
                                              &firm, &account, detail::raw(level), afterLastClearing);
        if (code != QUINDAL_OK) return Failure{code, "SetPosition", nullptr, nullptr};
        return margins;
    }

    /// All entries of a kind. A series that was refused has its place among them, and nothing to tell.
    template <class Record, class Next>
    Result<std::vector<Record>> readAll(const char* firstName, std::int32_t (*setOnFirst)(std::intptr_t, std::int32_t*),
                                        const char* nextName, const Next& next) const
    {
        std::int32_t count = 0;
        const std::int32_t first = setOnFirst(m_handle, &count);
        if (first != QUINDAL_OK) return Failure{first, firstName, nullptr, nullptr};
        std::vector<Record> records;
        records.reserve(static_cast<std::size_t>(count));
        for (; count > 0; --count) {
            Record record;
            const std::int32_t code = next(record);
            if (code == QUINDAL_ERR_CALCGO_API_ERROR_VIRTFUTURES_NOT_FOUND) continue;
            if (code != QUINDAL_OK) return Failure{code, nextName, nullptr, nullptr};
            records.push_back(std::move(record));
        }
        return records;
    }

    // The entry at the cursor. What the library has not written stays as it was.

    std::int32_t next(BaseContract& entry) const
    {
        detail::CodeBuffer code;
        detail::CodeBuffer mcs;
        auto mspType = detail::raw(entry.mspType);
        auto optionModel = detail::raw(entry.optionModel);
        auto assetClass = detail::raw(entry.assetClass);
        const std::int32_t result = GetNextBaseContract(
            m_handle, code.bytes.data(), &code.size, mcs.bytes.data(), &mcs.size, &entry.volatNum, &entry.riskPointsN,
            &mspType, &entry.currencyId, &entry.shortOptionMinimumCharge, &entry.standard.marketRisk,
            &entry.standard.marketRisk1, &entry.standard.marketRisk2, &entry.low.marketRisk, &entry.low.marketRisk1,
            &entry.low.marketRisk2, &entry.medium.marketRisk, &entry.medium.marketRisk1, &entry.medium.marketRisk2,
            &entry.high.marketRisk, &entry.high.marketRisk1, &entry.high.marketRisk2, &entry.exceptional.marketRisk,
            &entry.exceptional.marketRisk1, &entry.exceptional.marketRisk2, &entry.concentrationLimit1,
            &entry.concentrationLimit2, &entry.windowSizePercentage, &optionModel, &entry.spotPrice, &assetClass,
            &entry.cfRisk);
        entry.code = code.text();
        entry.mcsCode = mcs.text();
        entry.mspType = static_cast<MspType>(mspType);
        entry.optionModel = static_cast<OptionModel>(optionModel);
        entry.assetClass = static_cast<AssetClass>(assetClass);
        return result;
    }
    std::int32_t next(Futures& entry, ClientRiskLevel level) const
    {
        detail::CodeBuffer code;
        detail::CodeBuffer baseContract;
        detail::CodeBuffer tracked;
        auto spreadAspect = detail::raw(entry.spreadAspect);
        auto attribute = detail::raw(entry.attribute);
        std::int8_t halfNetting = 0;
        const std::int32_t result =
            GetNextFutures(m_handle, detail::raw(level), code.bytes.data(), &code.size, baseContract.bytes.data(),
                           &baseContract.size, &entry.limit, &entry.calcFutPrice, &spreadAspect, &entry.minStepPrice,
                           &entry.realCalcPrice, &entry.minStep, &entry.xLot, &entry.interestRateRiskUp,
                           &entry.interestRateRiskDown, &entry.timeToExpiration, &entry.normalizedSpot, &attribute,
                           &entry.mrAddOnUp, &entry.mrAddOnDown, &halfNetting, tracked.bytes.data(), &tracked.size);
        entry.code = code.text();
        entry.baseContractCode = baseContract.text();
        entry.tasBaseFutCode = tracked.text();
        entry.spreadAspect = static_cast<SpreadAspect>(spreadAspect);
        entry.attribute = static_cast<Attribute>(attribute);
        entry.enforceImsHalfNetting = halfNetting != 0;
        return result;
    }
    std::int32_t next(OptionSeries& entry) const
    {
        detail::CodeBuffer code;
        detail::CodeBuffer futuresCode;
        auto marginStyle = detail::raw(entry.marginStyle);
        auto settlementType = detail::raw(entry.settlementType);
        auto exerciseStyle = detail::raw(entry.exerciseStyle);
        auto spreadAspect = detail::raw(entry.spreadAspect);
        std::int8_t nullVolat = 0;
        std::int8_t subRisk = 0;
        std::int8_t halfNetting = 0;
        const std::int32_t result = GetNextOptionSeries(
            m_handle, code.bytes.data(), &code.size, futuresCode.bytes.data(), &futuresCode.size, &entry.sqrtT,
            &entry.black.a, &entry.black.b, &entry.black.c, &entry.black.d, &entry.black.e, &nullVolat, &entry.black.s,
            &entry.strikeStep, &entry.expClearingsSA, &entry.expClearingsBF, &entry.expClearingsCC,
            &entry.volatilityRisk, &entry.volatilityRiskMismatch, &entry.timeToExpiration, &entry.bachelier.a,
            &entry.bachelier.b, &entry.bachelier.c, &entry.bachelier.d, &entry.bachelier.e, &entry.bachelier.s,
            &entry.mBach, &marginStyle, &settlementType, &exerciseStyle, &subRisk, &spreadAspect, &halfNetting,
            &entry.minStep, &entry.minStepPrice, &entry.lotCoeff, &entry.r, &entry.interestRateRiskUp,
            &entry.interestRateRiskDown, &entry.fixedSpotDiscount, &entry.projectedSpotDiscount, &entry.r2,
            &entry.interestRate2RiskUp, &entry.interestRate2RiskDown);
        entry.code = code.text();
        entry.futuresCode = futuresCode.text();
        entry.marginStyle = static_cast<MarginStyle>(marginStyle);
        entry.settlementType = static_cast<SettlementType>(settlementType);
        entry.exerciseStyle = static_cast<ExerciseStyle>(exerciseStyle);
        entry.spreadAspect = static_cast<SpreadAspect>(spreadAspect);
        entry.useNullVolat = nullVolat != 0;
        entry.subRisk = subRisk != 0;
        entry.enforceHalfNetting = halfNetting != 0;
        return result;
    }
    std::int32_t next(Option& entry) const
    {
        detail::CodeBuffer code;
        detail::CodeBuffer series;
        auto optionType = detail::raw(entry.optionType);
        const std::int32_t result = GetNextOption(m_handle, code.bytes.data(), &code.size, series.bytes.data(),
                                                  &series.size, &entry.strike, &optionType, &entry.calcOptPrice);
        entry.code = code.text();
        entry.optionSeriesCode = series.text();
        entry.optionType = static_cast<OptionType>(optionType);
        return result;
    }

    std::intptr_t m_handle;
};

// ---- The library ---------------------------------------------------------------------------------------------------

/// The library between its start and its stop. There is one in a process.
class Library
{
public:
    /// Opens the logs, reads the ini file, connects to the local router and logs in. The password is kept nowhere.
    [[nodiscard]] static Result<Library> start(std::string_view iniFile, std::string_view user,
                                               std::string_view password)
    {
        const detail::ZeroEnded<4095> path(iniFile);
        const detail::Code name(user);
        detail::Code secret(password);
        detail::Arguments arguments("InitQuindalIM");
        arguments.text("IniFile", path);
        arguments.text("username", name);
        arguments.text("password", secret);
        if (arguments.refused()) return arguments.why();
        const std::int32_t code = InitQuindalIM(path.c_str(), name.c_str(), secret.c_str());
        secret.wipe();
        if (code != QUINDAL_OK) return Failure{code, "InitQuindalIM", nullptr, nullptr};
        return Library();
    }

    Library(Library&& other) noexcept : m_isStarted(std::exchange(other.m_isStarted, false)) {}
    Library& operator=(Library&& other) noexcept
    {
        if (this != &other) {
            static_cast<void>(stop());
            m_isStarted = std::exchange(other.m_isStarted, false);
        }
        return *this;
    }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
    ~Library() { static_cast<void>(stop()); }

    /// Logs out and closes the logs. A second call does nothing. A calculator that is still there is of use again
    /// after the next start.
    Result<void> stop() noexcept
    {
        if (!std::exchange(m_isStarted, false)) return {};
        return detail::outcome("DeInitQuindalIM", DeInitQuindalIM());
    }

    /// Makes the calculator. There is one at a time: a second is refused with QUINDAL_ERR_ALREADY_INITIALIZED.
    [[nodiscard]] Result<Calculator> calculator() const
    {
        constexpr const char* function = "CreateQuindalIMCalculator";
        if (detail::calculatorIsOwned.exchange(true))
            return Failure{QUINDAL_ERR_ALREADY_INITIALIZED, function, nullptr, "there is a calculator already"};
        std::intptr_t handle = 0;
        const std::int32_t code = CreateQuindalIMCalculator(&handle);
        if (code == QUINDAL_OK) return Calculator(handle);
        detail::calculatorIsOwned = false;
        return Failure{code, function, nullptr, nullptr};
    }

private:
    Library() noexcept = default;

    bool m_isStarted = true;
};

} // namespace quindalim

#endif
