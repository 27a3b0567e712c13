#include "instruments/TelemetryAlertsCollector.h"

#include <utility>

namespace kv7im {

namespace {

constexpr std::array AlertNames{
    std::string_view{"UnspecifiedParamSetDefault"},
    std::string_view{"EdgeCoeffParamSetDefault"},
    std::string_view{"VolatNumSetDefault"},
    std::string_view{"SubRiskSetDefault"},
    std::string_view{"StrikeStepSetDefault"},
    std::string_view{"SOMCSetDefault"},
    std::string_view{"RiskPointsNSetDefault"},
    std::string_view{"SpotPriceSetDefault"},
    std::string_view{"NormalizedSpotSetDefault"},
    std::string_view{"C_BlackSetDefault"},
    std::string_view{"C_BachSetDefault"},
    std::string_view{"E_BlackSetDefault"},
    std::string_view{"E_BachSetDefault"},
    std::string_view{"M_BachSetDefault"},
    std::string_view{"ExpClearingsSASetDefault"},
    std::string_view{"ExpClearingsBFSetDefault"},
    std::string_view{"ExpClearingsCCSetDefault"},
    std::string_view{"TimeToExpirationSetDefault"},
    std::string_view{"AdjustedSubRiskStepSetDefault"},
};
static_assert(AlertNames.size() == static_cast<std::size_t>(Alert::Count));

} // namespace

TelemetryAlertsCollector::TelemetryAlertsCollector(Callback callback) : m_callback(std::move(callback)) {}

std::string_view TelemetryAlertsCollector::NameOf(Alert alert) noexcept { return AlertNames[Index(alert)]; }

void TelemetryAlertsCollector::Notify(Alert alert)
{
    const std::int32_t count = ++m_counters[Index(alert)];
    if (m_callback) m_callback(std::string(NameOf(alert)), count);
}

} // namespace kv7im
