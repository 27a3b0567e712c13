#include "instruments/InstrumentChecks.h"

#include <charconv>
#include <utility>

#include "z9log.h"

namespace kv7im {

namespace {

constexpr const char* LogCategory = "InstrumentsRepository";

} // namespace

Context::Context(TelemetryAlertsCollectorPtr telemetry, std::string action, std::string code)
    : telemetry_(std::move(telemetry)), action_(std::move(action)), code_(std::move(code))
{}

std::string Context::str() const { return {}; }

void Context::Notify(Alert alert) const
{
    if (telemetry_ != nullptr) telemetry_->Notify(alert);
}

FuturesContext::FuturesContext(TelemetryAlertsCollectorPtr telemetry, std::string action, std::string code,
                               std::string codeBC)
    : Context(std::move(telemetry), std::move(action), std::move(code)), codeBC_(std::move(codeBC))
{}

std::string FuturesContext::str() const { return "CodeBC(" + codeBC_ + ")"; }

VirtFuturesContext::VirtFuturesContext(TelemetryAlertsCollectorPtr telemetry, std::string action, std::string code,
                                       std::string codeRF, std::string codeBC, bool isCollateral)
    : Context(std::move(telemetry), std::move(action), std::move(code)),
      codeRF_(std::move(codeRF)),
      codeBC_(std::move(codeBC)),
      isCollateral_(isCollateral)
{}

std::string VirtFuturesContext::str() const
{
    return "CodeRF(" + codeRF_ + ") CodeBC(" + codeBC_ + ")" + (isCollateral_ ? " Collateral" : "Non Collateral");
}

void logAssertFail(Z9ERR code, const std::string& assertion, const Context& context, const std::string& name,
                   const std::string& value)
{
    KV7TRACE_ERROR_WITH_CODE_EX(code, LogCategory, "While %s Code(%s) assertion (%s) failed. %s(%s). %s",
                                context.GetAction().c_str(), context.GetCode().c_str(), assertion.c_str(), name.c_str(),
                                value.c_str(), context.str().c_str());
}

void logExpectFail(const std::string& assertion, const Context& context, const std::string& name,
                   const std::string& value, const std::string& defaultValue)
{
    KV7TRACE_WARNING_EX(LogCategory, "While %s Code(%s) assertion (%s) failed. %s(%s) forcibly set to (%s). %s",
                        context.GetAction().c_str(), context.GetCode().c_str(), assertion.c_str(), name.c_str(),
                        value.c_str(), defaultValue.c_str(), context.str().c_str());
}

std::string NumberedName(std::int64_t value, std::string_view name)
{
    std::string text = TextOf(value);
    text += '(';
    text += name;
    text += ')';
    return text;
}

bool Holds(Relation relation, double value, double bound) noexcept
{
    return relation == Relation::Above    ? value > bound
           : relation == Relation::Below  ? value < bound
           : relation == Relation::AtMost ? value <= bound
                                          : value >= bound; // a magnitude comes without its sign
}

std::string TextOf(double value)
{
    char text[384]; // the largest double has 309 digits before the point
    const auto end = std::to_chars(std::begin(text), std::end(text), value, std::chars_format::fixed, 6).ptr;
    return {text, end};
}

std::string TextOf(std::int64_t value) { return std::to_string(value); }

} // namespace kv7im
