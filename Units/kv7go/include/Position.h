// CumulativePositionByFutures: everything that one participant holds on one futures, and the road of a change from it
// to the margin.
//
// Always true:  m_previousFuturesGroupRisks is exactly what this futures contributes to its MMS node at this moment.
#pragma once

#include <cstdint>
#include <string>

#include "Enums.h"
#include "RiskNode.h"
#include "SpecPosition.h"

namespace kv7im {

class CSpecFutures;
class Portfolio;
class RiskParticipant;

class CumulativePositionByFutures
{
public:
    /// Finds or creates the upper nodes of the futures in the portfolio.
    CumulativePositionByFutures(RiskParticipant* participant, Portfolio& portfolio, const CSpecFutures& futures);
    CumulativePositionByFutures(const CumulativePositionByFutures&) = delete;
    CumulativePositionByFutures& operator=(const CumulativePositionByFutures&) = delete;

    /// Sets the futures position and carries the change up to the portfolio's margins.
    void ChangeFuturesPosition(std::int64_t quantity, double price);

    [[nodiscard]] const CSpecPositionFutures& GetFuturesPositionSpec() const noexcept { return m_position; }
    [[nodiscard]] Isin GetIsin() const noexcept { return m_isin; }
    [[nodiscard]] const std::string& GetCode() const noexcept { return m_code; }
    [[nodiscard]] const CSpecFutures* GetFutures() const noexcept { return m_futures; }
    [[nodiscard]] bool HasLevelMMS() const noexcept { return m_riskLevel != eRiskLevelFutures; }
    [[nodiscard]] bool HasLevelMCS() const noexcept { return m_riskLevel == eRiskLevelMCS; }
    [[nodiscard]] const std::string& GetRiskNameMMS() const; ///< Code of the base contract.
    [[nodiscard]] const std::string& GetRiskNameMCS() const; ///< CodeMCS of the base contract.
    [[nodiscard]] const RiskNodeFutures& GetOwnerRiskNode() const noexcept { return m_ownerRisk; }
    /// The top node that the margin of this futures is read from.
    [[nodiscard]] const RiskNodeBase& GetFuturesGroupRisk() const noexcept;
    [[nodiscard]] const RiskNodeFutures& GetPreviousFuturesRiskNodeConsideredInMMS() const noexcept
    {
        return m_previousFuturesGroupRisks;
    }
    [[nodiscard]] RiskNodeMMS::PropertiesForICS GetPropertiesForICS() const;

private:
    void InitializeUpperLevelRiskPrivate();
    void InitialMarginCalculation();
    void ReplaceContributionToMMS();
    [[nodiscard]] RiskNodeBase& TopNode() noexcept;

    RiskParticipant* m_participant;
    Portfolio& m_portfolio;
    const CSpecFutures* m_futures;
    Isin m_isin;
    std::string m_code;
    RiskObjectLevel m_riskLevel;
    RiskNodeBase* m_parentRisk = nullptr; // MCS node, MMS node, or null where the futures stands alone
    RiskNodeFutures m_ownerRisk;
    RiskNodeFutures m_previousFuturesGroupRisks;
    CSpecPositionFutures m_position;
};

} // namespace kv7im
