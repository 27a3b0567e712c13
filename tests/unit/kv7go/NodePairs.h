// NodePairs: nodes of the engine and their plain twins under the same changes, without a book around them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "PlainSeries.h"
#include "SameNodes.h"
#include "SeriesKinds.h"
#include "nodes/RiskNode.h"

inline constexpr auto PairLevel = Enums::ClientRiskLevel::Default;
inline constexpr double PairChargeRatio = 1.7;

/// The node of one futures.
class FuturesPair
{
public:
    explicit FuturesPair(const kv7im::CSpecFutures& futures)
        : engine(futures.GetProfile(PairLevel).GetParameters(), 1.0, PairLevel, futures.IsCollateral()),
          twin(futures.GetProfile(PairLevel).GetParameters(), 1.0, PairLevel, futures.IsCollateral()),
          m_futures(futures)
    {}

    void SetPosition(std::int64_t quantity, double price)
    {
        const Holding before = std::exchange(m_held, {quantity, price});
        engine.KeepCells();
        engine.ReplacePosition(m_futures.DescribePosition(before.quantity, before.price, PairLevel),
                               m_futures.DescribePosition(quantity, price, PairLevel), PairChargeRatio);
        twin -= RiskOf(before);
        twin += RiskOf(m_held);
    }
    void AddOrders(const OrdersMap& orders, kv7type::Discount discount)
    {
        engine.KeepCells();
        engine.AddOrders(m_futures, orders, discount, PairChargeRatio);
        twin += ScaledRisk(m_futures.TransformToOrder(orders, discount, PairLevel), PairChargeRatio);
    }

    void ExpectSame(Lanes lanes = Lanes::Real) const { ASSERT_TRUE(SameNodes(engine, twin, lanes)) << "(futures)"; }
    void ExpectSameRows() const { ASSERT_TRUE(SameRows(engine, twin)) << "(futures)"; }

    kv7im::RiskNodeFutures engine;
    plain::FuturesNode twin;

private:
    struct Holding
    {
        std::int64_t quantity = 0;
        double price = 0.0;
    };
    [[nodiscard]] kv7im::Risk RiskOf(const Holding& held) const
    {
        return ScaledRisk(m_futures.TransformToPosition(held.quantity, held.price, PairLevel), PairChargeRatio);
    }

    const kv7im::CSpecFutures& m_futures;
    Holding m_held;
};

inline kv7im::Parameters DimensionsOf(const OptionFamily& family, const SeriesKind& kind)
{
    kv7im::Parameters parameters = family.Option(0).GetParameters(PairLevel);
    if (!kind.deliveries) parameters.expirationScenariosCount = 0;
    return parameters;
}

/// The node of a series of some kind, with instruments of its own.
class SeriesPair
{
public:
    explicit SeriesPair(const SeriesKind& ofKind)
        : kind(ofKind),
          family(FamilyOf(kind)),
          engine(EngineNode()),
          plainly(*family.series, DimensionsOf(family, kind), PairLevel, PairChargeRatio),
          m_held(family.options.size())
    {}

    /// A position in one option of a series that stands alone, or whose futures is not told.
    void SetPosition(std::size_t option, std::int64_t quantity, double price)
    {
        const Change change = MakeChange(option, quantity, price);
        engine.ReplacePosition(change.before, change.after, PairChargeRatio);
        plainly.SetPosition(family.Option(option), quantity, price, 0.0, nullptr);
    }
    /// A position in one option of a series in spread.
    void SetPosition(std::size_t option, std::int64_t quantity, double price, FuturesPair& futures)
    {
        const Change change = MakeChange(option, quantity, price);
        futures.engine.MakeRoomForSeries(engine, kind.lossesOnly);
        engine.ReplacePositionInSpread(change.before, change.after, PairChargeRatio, futures.engine,
                                       {kind.lossesOnly, 0.0, 0.0});
        plainly.SetPosition(family.Option(option), quantity, price, 0.0, &futures.twin);
    }
    void AddOrders(std::size_t option, const OrdersMap& orders)
    {
        engine.AddOrders(family.Option(option), orders, PairChargeRatio);
        plainly.AddOrders(family.Option(option), orders, nullptr);
    }
    void AddOrders(std::size_t option, const OrdersMap& orders, FuturesPair& futures)
    {
        futures.engine.MakeRoomForSeries(engine, kind.lossesOnly);
        engine.AddOrdersInSpread(family.Option(option), orders, PairChargeRatio, futures.engine,
                                 {kind.lossesOnly, 0.0, 0.0});
        plainly.AddOrders(family.Option(option), orders, &futures.twin);
    }

    void ExpectSame(Lanes lanes = Lanes::Real) const
    {
        ASSERT_TRUE(SameNodes(engine, plainly.node, lanes)) << "(series)";
    }
    void ExpectSameRows() const { ASSERT_TRUE(SameRows(engine, plainly.node)) << "(series)"; }
    void ExpectSameMargins()
    {
        ASSERT_TRUE(SameBits(engine.UpdateInitialMarginValue(*family.contract),
                             plainly.node.UpdateInitialMarginValue(*family.contract)));
        ASSERT_TRUE(SameBits(engine.UpdateInitialMarginDeliveryValue(*family.contract),
                             plainly.node.UpdateInitialMarginDeliveryValue(*family.contract)));
    }

    [[nodiscard]] std::size_t OptionsCount() const { return m_held.size(); }

    SeriesKind kind;
    OptionFamily family;
    kv7im::RiskNodeOptionSeries engine;
    PlainSeries plainly;

private:
    struct Holding
    {
        std::int64_t quantity = 0;
        double price = 0.0;
    };
    struct Change
    {
        kv7im::OptionTransform before;
        kv7im::OptionTransform after;
    };
    [[nodiscard]] Change MakeChange(std::size_t option, std::int64_t quantity, double price)
    {
        const Holding before = std::exchange(m_held[option], {quantity, price});
        return {family.Option(option).DescribePosition(before.quantity, before.price, PairLevel),
                family.Option(option).DescribePosition(quantity, price, PairLevel)};
    }
    [[nodiscard]] kv7im::RiskNodeOptionSeries EngineNode() const
    {
        const kv7im::Parameters parameters = DimensionsOf(family, kind);
        if (parameters.hasSubPoints()) return {parameters, family.series->GetBindingArray(PairLevel), 1.0, PairLevel};
        return {parameters, 1.0, PairLevel};
    }

    std::vector<Holding> m_held; // by option
};
