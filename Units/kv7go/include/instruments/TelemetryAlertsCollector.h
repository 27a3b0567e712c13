// TelemetryAlertsCollector: counts the instrument parameters that had to be corrected by force.
//
// Always true:  a counter only grows. The host is told the name of the alert and its new count at each one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace kv7im {

/// What was corrected, in the order of the counters.
enum class Alert : std::size_t
{
    UnspecifiedParam,
    EdgeCoeffParam,
    VolatNum,
    SubRisk, // kept for the host's list of names; nothing raises it
    StrikeStep,
    SOMC,
    RiskPointsN,
    SpotPrice,
    NormalizedSpot,
    C_Black,
    C_Bach,
    E_Black,
    E_Bach,
    M_Bach,
    ExpClearingsSA,
    ExpClearingsBF,
    ExpClearingsCC,
    TimeToExpiration,
    AdjustedSubRiskStep,
    Count,
};

class TelemetryAlertsCollector
{
public:
    /// Receives the alert's name and its new count.
    using Callback = std::function<void(const std::string& name, int count)>;

    explicit TelemetryAlertsCollector(Callback callback);

    /// Name of an alert, such as "SOMCSetDefault".
    [[nodiscard]] static std::string_view NameOf(Alert alert) noexcept;
    [[nodiscard]] std::int32_t GetCount(Alert alert) const noexcept { return m_counters[Index(alert)]; }

    /// Adds one to the counter and tells the callable, if there is one. What the callable throws passes through.
    void Notify(Alert alert);

    void NotifyUnspecifiedParamSetDefaultAlert() { Notify(Alert::UnspecifiedParam); }
    void NotifyEdgeCoeffParamSetDefaultAlert() { Notify(Alert::EdgeCoeffParam); }
    void NotifyVolatNumSetDefaultAlert() { Notify(Alert::VolatNum); }
    void NotifySubRiskSetDefaultAlert() { Notify(Alert::SubRisk); }
    void NotifyStrikeStepSetDefaultAlert() { Notify(Alert::StrikeStep); }
    void NotifySOMCSetDefaultAlert() { Notify(Alert::SOMC); }
    void NotifyRiskPointsNSetDefaultAlert() { Notify(Alert::RiskPointsN); }
    void NotifySpotPriceSetDefaultAlert() { Notify(Alert::SpotPrice); }
    void NotifyNormalizedSpotSetDefaultAlert() { Notify(Alert::NormalizedSpot); }
    void NotifyC_BlackSetDefaultAlert() { Notify(Alert::C_Black); }
    void NotifyC_BachSetDefaultAlert() { Notify(Alert::C_Bach); }
    void NotifyE_BlackSetDefaultAlert() { Notify(Alert::E_Black); }
    void NotifyE_BachSetDefaultAlert() { Notify(Alert::E_Bach); }
    void NotifyM_BachSetDefaultAlert() { Notify(Alert::M_Bach); }
    void NotifyExpClearingsSASetDefaultAlert() { Notify(Alert::ExpClearingsSA); }
    void NotifyExpClearingsBFSetDefaultAlert() { Notify(Alert::ExpClearingsBF); }
    void NotifyExpClearingsCCSetDefaultAlert() { Notify(Alert::ExpClearingsCC); }
    void NotifyTimeToExpirationSetDefaultAlert() { Notify(Alert::TimeToExpiration); }
    void NotifyAdjustedSubRiskStepSetDefaultAlert() { Notify(Alert::AdjustedSubRiskStep); }

private:
    static constexpr std::size_t AlertCount = static_cast<std::size_t>(Alert::Count);
    [[nodiscard]] static constexpr std::size_t Index(Alert alert) noexcept { return static_cast<std::size_t>(alert); }

    std::array<std::int32_t, AlertCount> m_counters{};
    Callback m_callback;
};

using TelemetryAlertsCollectorPtr = std::shared_ptr<TelemetryAlertsCollector>;

} // namespace kv7im
