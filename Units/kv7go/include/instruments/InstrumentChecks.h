// InstrumentChecks: how the parameters of an instrument are judged before it is taken in.
//
// A check either refuses (an error line, a result code, nothing changed) or corrects (a warning line, the value
// overwritten, an alert counted). The checks are tables: one row a check, one reader for all of them, top to bottom,
// and the first refusal ends the reading. A row asks a number for a bound (Check) or an enumeration for one of a few
// values (Membership).
//
// Always true:  a value that is not a number fails every check, as each test asks for the wanted bound.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>

#include "Enums.h"
#include "grids/RiskLevelIndexedArray.h"
#include "instruments/TelemetryAlertsCollector.h"
#include "kv7errors.h"

namespace kv7im {

/// In whose name a check speaks: the operation, the instrument, and what else helps the reader of the log.
class Context
{
public:
    Context(TelemetryAlertsCollectorPtr telemetry, std::string action, std::string code);

    /// Text that stands behind the message; empty for a base contract.
    [[nodiscard]] virtual std::string str() const;
    virtual ~Context() = default;

    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;

    [[nodiscard]] const std::string& GetAction() const noexcept { return action_; }
    [[nodiscard]] const std::string& GetCode() const noexcept { return code_; }
    /// Counts a correction; does nothing where no collector is set.
    void Notify(Alert alert) const;

private:
    TelemetryAlertsCollectorPtr telemetry_;
    std::string action_;
    std::string code_;
};

class FuturesContext final : public Context
{
public:
    FuturesContext(TelemetryAlertsCollectorPtr telemetry, std::string action, std::string code, std::string codeBC);

    /// Text behind the message: "CodeBC(<code of the base contract>)".
    [[nodiscard]] std::string str() const override;

private:
    std::string codeBC_;
};

class VirtFuturesContext final : public Context
{
public:
    VirtFuturesContext(TelemetryAlertsCollectorPtr telemetry, std::string action, std::string code, std::string codeRF,
                       std::string codeBC, bool isCollateral);

    /// Text behind the message: "CodeRF(<code of the futures>) CodeBC(<code of the base contract>) Collateral", or with
    /// "Non Collateral", which has no blank before it.
    [[nodiscard]] std::string str() const override;

private:
    std::string codeRF_;
    std::string codeBC_;
    bool isCollateral_;
};

/// Logs "While <action> Code(<code>) assertion (<assertion>) failed. <name>(<value>). <context>" as an error with that
/// code.
void logAssertFail(Z9ERR code, const std::string& assertion, const Context& context, const std::string& name,
                   const std::string& value);
/// Logs "While <action> Code(<code>) assertion (<assertion>) failed. <name>(<value>) forcibly set to (<default>).
/// <context>" as a warning.
void logExpectFail(const std::string& assertion, const Context& context, const std::string& name,
                   const std::string& value, const std::string& defaultValue);

/// A value of an enumeration as a list of possible values shows it: "1(Stock)".
[[nodiscard]] std::string NumberedName(std::int64_t value, std::string_view name);
/// Text of the possible values: "MSPType in [0(FixedPriceStep),1(CurrencyIndicatorPriceStep)]".
template <class Enum>
[[nodiscard]] std::string ListOfPossibleValues(std::span<const Enum> possibleValues, const std::string& name)
{
    std::string text = name + " in ";
    char separator = '[';
    for (const Enum possible : possibleValues) {
        text += separator;
        text += NumberedName(static_cast<std::int64_t>(possible), Enums::ToString(possible));
        separator = ',';
    }
    text += ']';
    return text;
}

template <class Enum>
[[nodiscard]] bool IsIn(std::span<const Enum> possibleValues, Enum value) noexcept
{
    for (const Enum possible : possibleValues)
        if (value == possible) return true;
    return false;
}

/// True when the value is among the possible ones; otherwise logs an error with that code.
template <class Enum>
[[nodiscard]] bool AssertIn(Z9ERR code, const Context& context,
                            std::type_identity_t<std::span<const Enum>> possibleValues, const std::string& name,
                            Enum value)
{
    if (IsIn(possibleValues, value)) return true;
    logAssertFail(code, ListOfPossibleValues(possibleValues, name), context, name, std::string(Enums::ToString(value)));
    return false;
}

/// Relation that a check asks for. Every relation is false for a value that is not a number.
enum class Relation
{
    Above,            // value > bound
    Below,            // value < bound
    AtLeast,          // value >= bound
    AtMost,           // value <= bound
    MagnitudeAtLeast, // |value| >= bound; the message shows the magnitude
};

/// Treatment of a value that fails its check.
enum class Remedy
{
    Refuse,
    SetTo,     // the row's default
    Magnitude, // its own absolute value
};

/// A bound or a default: a number, or another parameter as it stands when the row is read.
template <class Parameters>
class Amount
{
public:
    constexpr Amount(double number) noexcept : number_(number) {} // NOLINT(*-explicit-*): a row reads like the rule
    constexpr Amount(double Parameters::*field) noexcept : field_(field) {} // NOLINT(*-explicit-*)

    [[nodiscard]] double Of(const Parameters& parameters) const noexcept
    {
        return field_ == nullptr ? number_ : parameters.*field_;
    }

private:
    double number_ = 0.0;
    double Parameters::*field_ = nullptr;
};

/// Decides whether a row is read at all; null: always.
template <class Parameters>
using Condition = bool (*)(const Parameters&);

/// A check of a number.
template <class Parameters>
struct Check
{
    const char* assertion; // as it stands in the log
    const char* name;      // of the parameter, as it stands in the log
    std::variant<double Parameters::*, std::int32_t Parameters::*, std::int64_t Parameters::*,
                 LevelOf<double, Parameters>>
        field;
    Relation relation;
    Amount<Parameters> bound;
    Remedy remedy;
    Z9ERR refusal;                   // result code of Refuse
    Amount<Parameters> defaultValue; // of SetTo
    Alert alert;                     // of SetTo and Magnitude
    Condition<Parameters> applies = nullptr;
};

/// A check of an enumeration.
template <class Parameters, class Enum>
struct Membership
{
    const char* assertion; // as it stands in the log; null: made of the list
    const char* name;
    Enum Parameters::*field;
    std::span<const Enum> possibleValues;
    Remedy remedy; // Refuse or SetTo
    Z9ERR refusal; // result code of Refuse
    Enum defaultValue{};
    Alert alert = Alert::UnspecifiedParam;
    Condition<Parameters> applies = nullptr;
};

/// A row of a table that mixes checks of numbers and of enumerations.
template <class Parameters>
using AnyCheck =
    std::variant<Check<Parameters>, Membership<Parameters, Enums::MarginStyle>,
                 Membership<Parameters, Enums::SettlementType>, Membership<Parameters, Enums::ExerciseStyle>,
                 Membership<Parameters, Enums::AssetClass>, Membership<Parameters, Enums::OptionModel>>;

// The words that tables are written in. Each takes `Parameters` explicitly, since a field may belong to its base class.

template <class Parameters, class Owner, class Field>
[[nodiscard]] constexpr Check<Parameters> RefuseUnless(const char* assertion, const char* name, Field Owner::*field,
                                                       Relation relation, Amount<Parameters> bound, Z9ERR refusal)
{
    return {.assertion = assertion,
            .name = name,
            .field = static_cast<Field Parameters::*>(field),
            .relation = relation,
            .bound = bound,
            .remedy = Remedy::Refuse,
            .refusal = refusal,
            .defaultValue = 0.0,
            .alert = Alert::UnspecifiedParam};
}

template <class Parameters, class Owner, class Field>
[[nodiscard]] constexpr Check<Parameters> CorrectUnless(const char* assertion, const char* name, Field Owner::*field,
                                                        Relation relation, Amount<Parameters> bound,
                                                        Amount<Parameters> defaultValue, Alert alert)
{
    return {.assertion = assertion,
            .name = name,
            .field = static_cast<Field Parameters::*>(field),
            .relation = relation,
            .bound = bound,
            .remedy = Remedy::SetTo,
            .refusal = Z9ERR_OK,
            .defaultValue = defaultValue,
            .alert = alert};
}

/// A check that refuses a rate of market risk unless it is above 0.0.
template <class Parameters, class Owner>
[[nodiscard]] constexpr Check<Parameters> RefuseUnlessPositive(const char* assertion, const char* name,
                                                               RiskLevelIndexedArray<double> Owner::*rates,
                                                               Enums::ClientRiskLevel level, Z9ERR refusal)
{
    return {.assertion = assertion,
            .name = name,
            .field = LevelOf<double, Parameters>{rates, level},
            .relation = Relation::Above,
            .bound = 0.0,
            .remedy = Remedy::Refuse,
            .refusal = refusal,
            .defaultValue = 0.0,
            .alert = Alert::UnspecifiedParam};
}

/// A check that drops the sign of a value that should be above 0.0.
template <class Parameters, class Owner>
[[nodiscard]] constexpr Check<Parameters> DropSignUnlessPositive(const char* assertion, const char* name,
                                                                 double Owner::*field, Alert alert,
                                                                 Condition<Parameters> applies = nullptr)
{
    return {.assertion = assertion,
            .name = name,
            .field = field,
            .relation = Relation::Above,
            .bound = 0.0,
            .remedy = Remedy::Magnitude,
            .refusal = Z9ERR_OK,
            .defaultValue = 0.0,
            .alert = alert,
            .applies = applies};
}

template <class Parameters, class Owner, class Enum, std::size_t Size>
[[nodiscard]] constexpr Membership<Parameters, Enum> RefuseUnlessIn(const std::array<Enum, Size>& possibleValues,
                                                                    const char* name, Enum Owner::*field, Z9ERR refusal)
{
    return {.assertion = nullptr,
            .name = name,
            .field = field,
            .possibleValues = possibleValues,
            .remedy = Remedy::Refuse,
            .refusal = refusal};
}

/// A check that sets a value outside the list to its default; a null assertion is made from the list.
template <class Parameters, class Owner, class Enum, std::size_t Size>
[[nodiscard]] constexpr Membership<Parameters, Enum>
CorrectUnlessIn(const std::array<Enum, Size>& possibleValues, const char* assertion, const char* name,
                Enum Owner::*field, Enum defaultValue, Alert alert, Condition<Parameters> applies)
{
    return {.assertion = assertion,
            .name = name,
            .field = field,
            .possibleValues = possibleValues,
            .remedy = Remedy::SetTo,
            .refusal = Z9ERR_OK,
            .defaultValue = defaultValue,
            .alert = alert,
            .applies = applies};
}

[[nodiscard]] bool Holds(Relation relation, double value, double bound) noexcept;
/// Text of a number as "%f" prints it.
[[nodiscard]] std::string TextOf(double value);
[[nodiscard]] std::string TextOf(std::int64_t value);
inline std::string TextOf(std::int32_t value) { return TextOf(std::int64_t{value}); }

namespace check_detail {

/// The value without its sign; only doubles are ever corrected in this way.
[[nodiscard]] inline double Magnitude(double value) noexcept { return std::abs(value); }
template <class Integer>
[[nodiscard]] Integer Magnitude(Integer value) noexcept
{
    return value;
}

template <class Parameters, class Field>
[[nodiscard]] Z9ERR RunOn(Field& value, const Check<Parameters>& check, const Context& context,
                          const Parameters& parameters)
{
    const Field judged = check.relation == Relation::MagnitudeAtLeast ? Magnitude(value) : value;
    if (Holds(check.relation, static_cast<double>(judged), check.bound.Of(parameters))) return Z9ERR_OK;
    if (check.remedy == Remedy::Refuse) {
        logAssertFail(check.refusal, check.assertion, context, check.name, TextOf(judged));
        return check.refusal;
    }
    const Field corrected =
        check.remedy == Remedy::SetTo ? static_cast<Field>(check.defaultValue.Of(parameters)) : Magnitude(value);
    logExpectFail(check.assertion, context, check.name, TextOf(value), TextOf(corrected));
    value = corrected;
    context.Notify(check.alert);
    return Z9ERR_OK;
}

template <class Parameters>
[[nodiscard]] Z9ERR RunOne(const Check<Parameters>& check, const Context& context, Parameters& parameters)
{
    if (check.applies != nullptr && !check.applies(parameters)) return Z9ERR_OK;
    return std::visit([&](auto field) { return RunOn(std::invoke(field, parameters), check, context, parameters); },
                      check.field);
}

template <class Parameters, class Enum>
[[nodiscard]] Z9ERR RunOne(const Membership<Parameters, Enum>& check, const Context& context, Parameters& parameters)
{
    if (check.applies != nullptr && !check.applies(parameters)) return Z9ERR_OK;
    Enum& value = parameters.*check.field;
    if (IsIn(check.possibleValues, value)) return Z9ERR_OK;

    const std::string assertion =
        check.assertion != nullptr ? check.assertion : ListOfPossibleValues(check.possibleValues, check.name);
    const std::string text(Enums::ToString(value));
    if (check.remedy == Remedy::Refuse) {
        logAssertFail(check.refusal, assertion, context, check.name, text);
        return check.refusal;
    }
    logExpectFail(assertion, context, check.name, text, std::string(Enums::ToString(check.defaultValue)));
    value = check.defaultValue;
    context.Notify(check.alert);
    return Z9ERR_OK;
}

template <class Parameters>
[[nodiscard]] Z9ERR RunOne(const AnyCheck<Parameters>& row, const Context& context, Parameters& parameters)
{
    return std::visit([&](const auto& check) { return RunOne(check, context, parameters); }, row);
}

} // namespace check_detail

/// Reads a table from top to bottom. Corrections are written into `parameters`; the first refusal is returned, and
/// Z9ERR_OK when there is none.
template <class Row, class Parameters, std::size_t Size>
[[nodiscard]] Z9ERR RunChecks(const Row (&table)[Size], const Context& context, Parameters& parameters)
{
    for (const Row& row : table)
        if (const Z9ERR refusal = check_detail::RunOne(row, context, parameters); refusal != Z9ERR_OK) return refusal;
    return Z9ERR_OK;
}

} // namespace kv7im
