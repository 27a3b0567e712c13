// InstrumentChecks: how the parameters of an instrument are judged before it is taken in.
//
// A check either refuses (an error line, a result code, nothing changed) or corrects (a warning line, the value
// overwritten, an alert counted). The numeric checks are tables: one row a check, one reader for all of them, top to
// bottom, and the first refusal ends the reading.
// Always true:  a value that is not a number fails every check, as each test asks for the wanted bound.
#pragma once

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

#include "Enums.h"
#include "TelemetryAlertsCollector.h"
#include "kv7errors.h"

namespace kv7im {

/// In whose name a check speaks: the operation, the instrument, and what else helps the reader of the log.
class Context
{
public:
    Context(TelemetryAlertsCollectorPtr telemetry, std::string action, std::string code);

    /// What stands behind the message; empty for a base contract.
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

    /// "CodeBC(<code of the base contract>)"
    [[nodiscard]] std::string str() const override;

private:
    std::string codeBC_;
};

/// "While <action> Code(<code>) assertion (<assertion>) failed. <name>(<value>). <context>" as an error with that code.
void logAssertFail(Z9ERR code, const std::string& assertion, const Context& context, const std::string& name,
                   const std::string& value);
/// "While <action> Code(<code>) assertion (<assertion>) failed. <name>(<value>) forcibly set to (<default>). <context>"
/// as a warning.
void logExpectFail(const std::string& assertion, const Context& context, const std::string& name,
                   const std::string& value, const std::string& defaultValue);

/// "1(Stock)" as it stands in a list of possible values.
[[nodiscard]] std::string NumberedName(std::int64_t value, std::string_view name);
/// "MSPType in [0(FixedPriceStep),1(CurrencyIndicatorPriceStep)]"
template <class Enum, std::size_t Size>
[[nodiscard]] std::string ListOfPossibleValues(const std::array<Enum, Size>& possibleValues, const std::string& name)
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

/// True when the value is among the possible ones; otherwise logs an error with that code.
template <class Enum, std::size_t Size>
[[nodiscard]] bool AssertIn(Z9ERR code, const Context& context, const std::array<Enum, Size>& possibleValues,
                            const std::string& name, Enum value)
{
    for (const Enum possible : possibleValues)
        if (value == possible) return true;
    logAssertFail(code, ListOfPossibleValues(possibleValues, name), context, name, std::string(Enums::ToString(value)));
    return false;
}

/// What is wanted of a value. Each is false for a value that is not a number.
enum class Relation
{
    Above,            // value > bound
    AtLeast,          // value >= bound
    AtMost,           // value <= bound
    MagnitudeAtLeast, // |value| >= bound; the message shows the magnitude
};

/// What becomes of a value that is not as wanted.
enum class Remedy
{
    Refuse,
    SetTo,     // the row's default
    Magnitude, // its own absolute value
};

/// One row of a table of checks on `Parameters`.
template <class Parameters>
struct Check
{
    const char* assertion; // as it stands in the log
    const char* name;      // of the parameter, as it stands in the log
    std::variant<double Parameters::*, std::int32_t Parameters::*, std::int64_t Parameters::*> field;
    Relation relation;
    double bound;
    Remedy remedy;
    Z9ERR refusal;                                // result code of Refuse
    double defaultValue;                          // of SetTo
    Alert alert;                                  // of SetTo and Magnitude
    bool (*applies)(const Parameters&) = nullptr; // null: always
};

template <class Parameters, class Field>
[[nodiscard]] constexpr Check<Parameters> RefuseUnless(const char* assertion, const char* name,
                                                       Field Parameters::*field, Relation relation, double bound,
                                                       Z9ERR refusal)
{
    return {assertion, name, field, relation, bound, Remedy::Refuse, refusal, 0.0, Alert::UnspecifiedParam};
}

template <class Parameters, class Field>
[[nodiscard]] constexpr Check<Parameters> CorrectUnless(const char* assertion, const char* name,
                                                        Field Parameters::*field, Relation relation, double bound,
                                                        double defaultValue, Alert alert)
{
    return {assertion, name, field, relation, bound, Remedy::SetTo, Z9ERR_OK, defaultValue, alert};
}

/// A value that should be above 0.0 loses its sign.
template <class Parameters>
[[nodiscard]] constexpr Check<Parameters> DropSignUnlessPositive(const char* assertion, const char* name,
                                                                 double Parameters::*field, Alert alert,
                                                                 bool (*applies)(const Parameters&) = nullptr)
{
    return {assertion, name, field, Relation::Above, 0.0, Remedy::Magnitude, Z9ERR_OK, 0.0, alert, applies};
}

[[nodiscard]] bool Holds(Relation relation, double value, double bound) noexcept;
/// "%f"
[[nodiscard]] std::string TextOf(double value);
[[nodiscard]] std::string TextOf(std::int64_t value);
inline std::string TextOf(std::int32_t value) { return TextOf(std::int64_t{value}); }

namespace check_detail {

/// Without its sign; only doubles are ever corrected in this way.
[[nodiscard]] inline double Magnitude(double value) noexcept { return std::abs(value); }
template <class Integer>
[[nodiscard]] Integer Magnitude(Integer value) noexcept
{
    return value;
}

template <class Parameters, class Field>
[[nodiscard]] Z9ERR RunOne(const Check<Parameters>& check, const Context& context, Field& value)
{
    const Field judged = check.relation == Relation::MagnitudeAtLeast ? Magnitude(value) : value;
    if (Holds(check.relation, static_cast<double>(judged), check.bound)) return Z9ERR_OK;
    if (check.remedy == Remedy::Refuse) {
        logAssertFail(check.refusal, check.assertion, context, check.name, TextOf(judged));
        return check.refusal;
    }
    const Field corrected = check.remedy == Remedy::SetTo ? static_cast<Field>(check.defaultValue) : Magnitude(value);
    logExpectFail(check.assertion, context, check.name, TextOf(value), TextOf(corrected));
    value = corrected;
    context.Notify(check.alert);
    return Z9ERR_OK;
}

} // namespace check_detail

/// Reads a table from top to bottom. Corrections are written into `parameters`; the first refusal is returned, and
/// Z9ERR_OK when there is none.
template <class Parameters, std::size_t Size>
[[nodiscard]] Z9ERR RunChecks(const Check<Parameters> (&table)[Size], const Context& context, Parameters& parameters)
{
    for (const Check<Parameters>& check : table) {
        if (check.applies != nullptr && !check.applies(parameters)) continue;
        const Z9ERR result = std::visit(
            [&](auto field) { return check_detail::RunOne(check, context, parameters.*field); }, check.field);
        if (result != Z9ERR_OK) return result;
    }
    return Z9ERR_OK;
}

} // namespace kv7im
