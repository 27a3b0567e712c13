// Positions: the bridge from one instrument's quantity, price and orders to the risk node that it feeds.
//
// Always true:  a node holds exactly the risk of the position's present state. A change takes the old state's risk out,
//               recomputed from the old quantity and price on today's profile, and puts the new state's in.
//               orders enter a node by their changes, which are linear in the quantity: what is cancelled goes out as
//               it came in. m_deltaOrders is empty between calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "Enums.h"
#include "book/SpareOrderEntries.h"
#include "instruments/SpecOrderList.h"
#include "nodes/RiskNodeBase.h"

namespace kv7im {

class BaseProfile;
class CSpecFutures;
class CSpecOption;
struct OptionTransform;
struct PositionTransform;
struct ViewOfSeries;
class RiskNodeFutures;
class RiskNodeOptionSeries;
class RiskParticipant;

/// Level at which an instrument nets.
enum RiskObjectLevel
{
    eRiskLevelFutures = 0, // alone: the futures is not in a spread
    eRiskLevelMCS = 1,     // in a spread, the base contract belongs to an MCS
    eRiskLevelMMS = 2,     // in a spread, no MCS
    eRiskLevelMaxSize = 3,
};

/// The level at which this futures nets.
[[nodiscard]] RiskObjectLevel NettingLevelOf(const CSpecFutures& futures);

class CSpecPosition
{
public:
    CSpecPosition(RiskParticipant* participant, const CSpecFutures& futures, std::string code);
    virtual ~CSpecPosition() = default;
    CSpecPosition(const CSpecPosition&) = delete;
    CSpecPosition& operator=(const CSpecPosition&) = delete;

    /// The instrument's grid.
    [[nodiscard]] virtual const BaseProfile& GetProfile() const = 0;

    /// Stores the new state and moves the difference of its risk into the node. quantity is signed, short below 0;
    /// price is the weighted average price; the net option value counts novQuantity contracts. When it throws, the
    /// position and the nodes are as they were.
    void UpdateInitialMarginByNewPosition(std::int64_t quantity, double price, std::int64_t novQuantity);

    /// Stores the new state and moves the difference of its risk into the node, in the mode of positions alone. price
    /// is the cost basis; it and marketPrice are quoted in the same way. A position that has lost is valued from the
    /// market price, and its paper loss goes to the nodes apart. When it throws, the position and the nodes are as they
    /// were.
    void UpdateInitialMarginByNewPosition_PositionsOnly(std::int64_t quantity, double price, double marketPrice,
                                                        std::int64_t novQuantity);

    /// A change of orders in two steps, so that the legs of a spread change together or not at all: the constructor
    /// does everything that may run out of memory, Apply the rest. A position has one such change at a time and
    /// outlives it.
    class OrderChange
    {
    public:
        /// Collects the records that have a quantity, in the given order, each added to the entry of its key.
        OrderChange(CSpecPosition& position, std::size_t count, const SClearingDeltaOrder* orders);
        /// A change that was not applied leaves nothing behind.
        ~OrderChange();
        OrderChange(const OrderChange&) = delete;
        OrderChange& operator=(const OrderChange&) = delete;

        /// Adds the change to the nodes and to the orders of the position. It never throws for a futures; when it
        /// throws for an option, nodes and orders are as they were.
        void Apply();
        /// The sum of MagnitudeOf over the changes.
        [[nodiscard]] double Magnitude() const noexcept { return m_position.MagnitudeOfOrderChanges(); }

    private:
        CSpecPosition& m_position;
    };

    /// Adds the records to the orders. Records with a quantity of 0 are passed over, and an entry that comes to 0 is
    /// dropped. When it throws, the orders and the nodes are as they were.
    void UpdateInitialMarginByOrderChanges(std::size_t count, const SClearingDeltaOrder* orders);

    /// About the most money that a cell gets of a position: its contracts, or those that the net option value counts
    /// where they are more, at their price and that of the market. NaN or infinite where the price is.
    [[nodiscard]] double MagnitudeOf(std::int64_t quantity, double price, std::int64_t novQuantity) const noexcept;
    /// Of the position, and of the orders as they will be once the collected changes are applied.
    [[nodiscard]] double MagnitudeOfPosition() const noexcept;
    [[nodiscard]] double MagnitudeOfOrders() const noexcept;

    [[nodiscard]] std::int64_t GetQuantity() const noexcept { return m_state.quantity; }
    [[nodiscard]] double GetWAPrice() const noexcept { return m_state.WAPrice; }
    /// Contracts that the net option value of an option counts.
    [[nodiscard]] std::int64_t GetNovQuantity() const noexcept { return m_state.novQuantity; }
    /// Net option value, money; 0 for anything but a premium-style option.
    [[nodiscard]] double GetNOVi() const noexcept { return m_state.NOVi; }
    /// Market price given last in the mode of positions alone; 0 for a position that was never in that mode.
    [[nodiscard]] double GetMarketPrice() const noexcept { return m_state.marketPrice; }
    /// Open orders, one entry for each price, side and kind.
    [[nodiscard]] const OrdersMap& GetOrders() const noexcept { return m_orders; }
    [[nodiscard]] Isin GetFutIsin() const noexcept { return m_futIsin; }
    [[nodiscard]] const std::string& GetCode() const noexcept { return m_code; }
    [[nodiscard]] RiskObjectLevel GetRiskLevel() const noexcept { return m_positionInstrumentRiskLevel; }

protected:
    /// What a position is valued by.
    struct State
    {
        std::int64_t quantity = 0;          // short below 0
        double WAPrice = 0.0;               // price units, cost basis
        double marketPrice = 0.0;           // price units, last one of the mode of positions alone
        double NOVi = 0.0;                  // money, net option value
        std::int64_t novQuantity = 0;       // contracts that it counts
        double cumulativePerformance = 0.0; // money, paper loss in the mode of positions alone
    };

    /// Takes the risk of the old state out of the node and puts the risk of the present state in. When it throws, the
    /// nodes are as they were.
    virtual void CalculatePosRisk(const State& old, MarginMode mode) = 0;
    /// Adds the risk of m_deltaOrders to the node. When it throws the nodes are as they were.
    virtual void UpdateRisksByOrderChanges() = 0;
    /// Net option value of the position, money; 0 for anything that is not an option.
    [[nodiscard]] virtual double CalculateNOVi(std::int64_t quantity) const;
    /// Paper loss of the position at a price against its cost basis, money, 0 or more.
    [[nodiscard]] virtual double CalculateCumulativePerformance(double price) const = 0;
    /// Change of the position's share in a node's sum, money: of its net option value or its paper loss. A flat
    /// position has no share there.
    [[nodiscard]] double ChangeOfShare(const State& old, double State::*share) const noexcept;
    [[nodiscard]] double PaperLoss(double price, double moneyCoef) const noexcept;
    /// Money of a contract at a price and at that of the market, about the most that a cell gets of it.
    [[nodiscard]] virtual double MagnitudeOfContract(double price) const noexcept = 0;

    RiskParticipant* m_participant; // not owned
    Isin m_futIsin;
    std::string m_code;
    State m_state;
    RiskObjectLevel m_positionInstrumentRiskLevel;
    OrdersMap m_orders;      // open orders; no entry has a quantity of 0
    OrdersMap m_deltaOrders; // the changes of the call under way

private:
    [[nodiscard]] double MagnitudeOfOrderChanges() const noexcept;
    void MoveTo(const State& state, std::int64_t novQuantity, MarginMode mode);
    void CollectDeltaOrders(std::size_t count, const SClearingDeltaOrder* orders);
    void UpdateOrders() noexcept;
    void ForgetDeltaOrders() noexcept;

    SpareOrderEntries m_spareEntries; // shared by m_orders and m_deltaOrders
};

class CSpecPositionFutures final : public CSpecPosition
{
public:
    CSpecPositionFutures(RiskParticipant* participant, const CSpecFutures& futures, RiskNodeFutures& futuresRisk);

    [[nodiscard]] const BaseProfile& GetProfile() const override;

    /// Price that values a position: a TAS price is an offset from CalcFutPrice; without discount the price is never
    /// better for the holder than RealCalcPrice.
    [[nodiscard]] double UsableWAPrice(std::int64_t quantity, double price) const;
    /// Price that values a position in the mode of positions alone: UsableWAPrice, but no higher than the market price
    /// for a purchase and no lower for a sale. The loss between the two prices is the paper loss.
    [[nodiscard]] double UsableWAPrice_PositionsOnly(std::int64_t quantity, double price, double marketPrice) const;

protected:
    void CalculatePosRisk(const State& old, MarginMode mode) override;
    [[nodiscard]] double CalculateCumulativePerformance(double price) const override;
    [[nodiscard]] double MagnitudeOfContract(double price) const noexcept override;
    void UpdateRisksByOrderChanges() override;

private:
    [[nodiscard]] PositionTransform Describe(const State& state, MarginMode mode) const;
    [[nodiscard]] double WithOffset(double price) const noexcept; // a TAS price is an offset from CalcFutPrice

    const CSpecFutures& m_futures;
    RiskNodeFutures& m_futuresRisk;
};

/// A position in an option; it feeds the node of its series.
class CSpecPositionOptionsBase : public CSpecPosition
{
public:
    CSpecPositionOptionsBase(RiskParticipant* participant, const CSpecOption& option,
                             RiskNodeOptionSeries& optionSeriesRisk);

    [[nodiscard]] const BaseProfile& GetProfile() const override;
    [[nodiscard]] const CSpecOption& GetOption() const noexcept { return m_options; }
    [[nodiscard]] Isin GetOptIsin() const noexcept { return m_optIsin; }
    [[nodiscard]] const RiskNodeOptionSeries& GetOptionSeriesRisk() const noexcept { return m_optionSeriesRisk; }
    [[nodiscard]] RiskNodeOptionSeries& GetOptionSeriesRisk() noexcept { return m_optionSeriesRisk; }
    /// Whether the series nets with its futures.
    [[nodiscard]] bool IsInSpread() const noexcept;
    /// Price that values a position in the mode of positions alone: the higher of the two prices for a short position,
    /// otherwise the lower one. The loss between the two prices is the paper loss.
    [[nodiscard]] static double UsableWAPrice_PositionsOnly(std::int64_t quantity, double price,
                                                            double marketPrice) noexcept;

protected:
    /// Net option value, money: quantity times settlement price for a premium-style option, 0 for any other. A position
    /// with a paper loss takes the market price instead where its value is higher by it.
    [[nodiscard]] double CalculateNOVi(std::int64_t quantity) const override;
    [[nodiscard]] double CalculateCumulativePerformance(double price) const override;
    [[nodiscard]] double MagnitudeOfContract(double price) const noexcept override;
    /// Moves the change of this position's net option value and paper loss into the node of the series.
    void UpdateFiguresOfSeries(const State& old) noexcept;
    /// The risk of a state. Valued here, before any node is touched: an option is valued at its first use, which may
    /// fail.
    [[nodiscard]] OptionTransform Describe(const State& state, MarginMode mode) const;
    [[nodiscard]] double PriceOfPaperLoss() const noexcept; // price that the net option value counts at a paper loss

    Isin m_optIsin;
    const CSpecOption& m_options;
    RiskNodeOptionSeries& m_optionSeriesRisk;
};

/// An option of a series in spread: the change of the series goes on into the node of the futures.
class CSpecPositionOptions final : public CSpecPositionOptionsBase
{
public:
    CSpecPositionOptions(RiskParticipant* participant, const CSpecOption& option,
                         RiskNodeOptionSeries& optionSeriesRisk, RiskNodeFutures& futuresRisk);

protected:
    void CalculatePosRisk(const State& old, MarginMode mode) override;
    void UpdateRisksByOrderChanges() override;

private:
    void MoveFigures(const State& old) noexcept;
    [[nodiscard]] ViewOfSeries ViewFrom(double ceilingBefore, MarginMode mode) const noexcept;

    RiskNodeFutures& m_futuresRisk;
};

/// An option of a series that is margined by itself.
class CSpecPositionOptionsWithoutSpread final : public CSpecPositionOptionsBase
{
public:
    using CSpecPositionOptionsBase::CSpecPositionOptionsBase;

protected:
    void CalculatePosRisk(const State& old, MarginMode mode) override;
    void UpdateRisksByOrderChanges() override;
};

} // namespace kv7im
