// CumulativePositionByFutures: everything that one participant holds on one futures, and how a change of it reaches the
// margin.
//
// Always true:  the node of a series in spread is contained in the node of the futures; a series standing alone reaches
//               no node above it, its margin is added as it is.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "Enums.h"
#include "book/SpecPosition.h"
#include "nodes/RiskNode.h"

namespace kv7im {

class CSpecFutures;
class CSpecOption;
class Portfolio;
class RiskParticipant;

class CumulativePositionByFutures
{
public:
    using RisksMap = std::unordered_map<std::string, std::shared_ptr<RiskNodeOptionSeries>>;
    using OptionsMap = std::unordered_map<Isin, std::shared_ptr<CSpecPositionOptionsBase>>;

    /// Finds or creates the upper nodes of the futures in the portfolio.
    CumulativePositionByFutures(RiskParticipant* participant, Portfolio& portfolio, const CSpecFutures& futures);
    CumulativePositionByFutures(const CumulativePositionByFutures&) = delete;
    CumulativePositionByFutures& operator=(const CumulativePositionByFutures&) = delete;

    /// Sets the futures position and carries the change up to the portfolio's margins.
    void ChangeFuturesPosition(std::int64_t quantity, double price);
    /// Sets a position in an option of this futures and carries the change up to the portfolio's margins. The net
    /// option value counts novQuantity contracts.
    void ChangeOptionPosition(const CSpecOption& option, std::int64_t quantity, double price, std::int64_t novQuantity);
    /// The same of a position that MakeRoomForOption has given.
    void ChangeOptionPosition(CSpecPositionOptionsBase& position, std::int64_t quantity, double price,
                              std::int64_t novQuantity);

    /// Sets the futures position in the mode of positions alone, which values it by its cost basis and a market price
    /// and keeps the paper loss apart. A book runs in one mode or the other. When it throws, position and nodes are as
    /// they were.
    void ChangeFuturesPosition_PositionsOnly(std::int64_t quantity, double price, double marketPrice);
    /// Sets the position in an option in the mode of positions alone. The net option value counts novQuantity
    /// contracts. When it throws, position and nodes are as they were.
    void ChangeOptionPosition_PositionsOnly(const CSpecOption& option, std::int64_t quantity, double price,
                                            double marketPrice, std::int64_t novQuantity);

    /// Adds the records to the orders in the futures and carries the change up to the portfolio's margins. When it
    /// throws, nothing has changed.
    void ChangeFuturesOrders(std::size_t count, const SClearingDeltaOrder* orders);
    /// Adds one change of the futures' orders with the quantity, the leg prices and the netting type of `info`.
    void ChangeFuturesOrders(bool isBuying, const KeyPriceType& key, const SOrderInfo& info);
    /// The futures position, with all the memory that a change of it or of its orders will take.
    [[nodiscard]] CSpecPositionFutures& MakeRoomForFutures();
    /// The position in an option, with all the memory that a change of it or of its orders will take. A missing one is
    /// made flat, and the option is valued.
    [[nodiscard]] CSpecPositionOptionsBase& MakeRoomForOption(const CSpecOption& option);
    /// Makes a prepared change of the futures' orders, which cannot fail, and carries it up to the portfolio's margins.
    void ChangeFuturesOrders(CSpecPosition::OrderChange& prepared);
    /// Makes a prepared change of the orders in an option, which cannot fail, and carries it up.
    void ChangeOptionOrders(const CSpecOption& option, CSpecPosition::OrderChange& prepared);
    /// Adds the records to the orders in an option of this futures and carries the change up. When it throws, nothing
    /// has changed.
    void ChangeOptionOrders(const CSpecOption& option, std::size_t count, const SClearingDeltaOrder* orders);
    /// Adds one change of an option's orders with the quantity, the leg prices and the netting type of `info`.
    void ChangeOptionOrders(const CSpecOption& option, bool isBuying, const KeyPriceType& key, const SOrderInfo& info);

    /// The position in an option of this futures. A missing one is made flat, together with the node of its series.
    CSpecPositionOptionsBase& FindOrCreateOptionPosition(const CSpecOption& option);
    /// Finds or makes the position in an option and, where its series stands alone, marks the series' node as the one
    /// that the next margin calculation is for.
    CSpecPositionOptionsBase& FindOrCreateOptionPositionAndMarkChanged(const CSpecOption& option);
    /// The position under an option's isin, made where there is none yet; null when no option has this isin.
    CSpecPositionOptionsBase* GetOptionPositionSpec(Isin isin);
    /// The position under an option's isin; null when there is none. Creates nothing.
    [[nodiscard]] const CSpecPositionOptionsBase* FindOptionPosition(Isin isin) const;
    /// The node of a series, null when no position stands in it.
    [[nodiscard]] const RiskNodeOptionSeries* GetRiskNodeOptionSeriesByVFCode(const std::string& code) const;
    /// All option positions by isin, in no particular order.
    [[nodiscard]] const OptionsMap& RangeOptions() const noexcept { return m_optionsMap; }
    [[nodiscard]] std::size_t GetOptionPositionCount() const noexcept { return m_optionsMap.size(); }

    /// Volatility margin, money: the margins of the series standing alone plus that of the top node.
    [[nodiscard]] double GetTotalVolatilityInitialMargin() const noexcept;
    /// Delivery margin, money: the margins of the series standing alone plus that of the top node.
    [[nodiscard]] double GetTotalDeliveryVolatilityInitialMargin() const noexcept;
    /// Forgets the margins of the futures' node, of its series and of the series standing alone; the nodes above keep
    /// theirs.
    void ZeroMarginValue() noexcept;

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
    [[nodiscard]] RiskNodeMMS::PropertiesForICS GetPropertiesForICS() const;
    /// True when only the losses of this futures reach its group, so that its gains relieve no other month.
    [[nodiscard]] bool GivesLossesOnly() const;

private:
    void InitializeUpperLevelRiskPrivate();
    RiskNodeOptionSeries& InitializeOptionSeriesRisk(const CSpecOption& option);
    void MarkChanged(CSpecPositionOptionsBase& position) noexcept;
    // Makes a change and carries it up to the margins. The mark of a series standing alone belongs to one call: a step
    // that throws takes it along.
    template <class Step>
    void Change(MarginMode mode, const Step& step);
    void InitialMarginCalculation(MarginMode mode);
    void ReportMarginChange(bool ofSeriesWithoutSpread, const MarginChanges& changes) noexcept;
    void CarryToGroups(MarginMode mode);
    [[nodiscard]] RiskNodeBase& TopNode() noexcept;

    RiskParticipant* m_participant;
    Portfolio& m_portfolio;
    const CSpecFutures* m_futures;
    Isin m_isin;
    std::string m_code;
    RiskObjectLevel m_riskLevel;
    RisksMap m_optionSeriesRiskMap;       // by series code
    RiskNodeBase* m_parentRisk = nullptr; // MCS node, MMS node, or null where the futures stands alone
    RiskNodeFutures m_ownerRisk;
    CSpecPositionFutures m_position;
    OptionsMap m_optionsMap;                                          // by option isin
    double m_volatilityInitialMarginOptionSeriesSWithoutSpread = 0.0; // money, sum over the series standing alone
    double m_deliveryInitialMarginOptionSeriesSWithoutSpread = 0.0;
    RiskNodeOptionSeries* m_changedOptionSeriesNodeWithoutSpread = nullptr; // marked by this call
};

template <class Step>
void CumulativePositionByFutures::Change(MarginMode mode, const Step& step)
{
    try {
        m_ownerRisk.SetNetting(GivesLossesOnly(), mode);
        step();
    } catch (...) {
        m_changedOptionSeriesNodeWithoutSpread = nullptr;
        throw;
    }
    InitialMarginCalculation(mode);
}

} // namespace kv7im
