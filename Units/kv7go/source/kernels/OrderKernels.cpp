#include "kernels/OrderKernels.h"

#include <algorithm>
#include <limits>

#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"
#include "kernels/FuturesKernels.h"

namespace kv7im {

namespace {

using kernels::Loss;
using kernels::StressRows;

// Calls body with a function that gives the loss of an order, in money, at the prices of four points. Zero stands first
// in each minimum: a price that is not a number stays so.
template <class Body>
void WithLossAtPrices(const OrderValuation& order, Body body) noexcept
{
    const RiskItem zero(0.0);
    const RiskItem quantity(order.quantity);
    const RiskItem moneyCoef(order.moneyCoef);
    const RiskItem usedPrice(order.usedPrice);
    if (order.LosesUpwards())
        body([=](RiskItem price) { return Mul(Mul(quantity, Min(zero, Sub(usedPrice, price))), moneyCoef); });
    else if (order.LosesDownwards())
        body([=](RiskItem price) { return Mul(Mul(quantity, Min(zero, Sub(price, usedPrice))), moneyCoef); });
    else if (order.IsNettedSecondLeg())
        body([loss = Mul(order.secondLeg, moneyCoef)](RiskItem) { return loss; });
    else
        body([=](RiskItem) { return zero; });
}

// The loss of an order from a rate stress. Every order has it, even one that has no other valuation.
struct LossFromRates
{
    explicit LossFromRates(const OrderValuation& order) noexcept
        : side(order.isSell ? -1.0 : 1.0), quantity(order.quantity), moneyCoef(order.moneyCoef)
    {}
    [[nodiscard]] RiskItem operator()(RiskItem stress) const noexcept
    {
        return Mul(Mul(quantity, Min(RiskItem(0.0), Mul(side, stress))), moneyCoef);
    }

    RiskItem side;
    RiskItem quantity;
    RiskItem moneyCoef;
};

// Prices of a futures block by block. They are those of the central scenario, since all scenarios are alike.
class BlocksOfPrices
{
public:
    explicit BlocksOfPrices(const Profile& profile) noexcept
        : m_prices(profile.GetCentralRowOfVolatilityMatrix()), m_stress(profile.InterestRate().pData())
    {}
    [[nodiscard]] std::size_t Count() const noexcept { return RegistersOf(m_prices.size()); }
    [[nodiscard]] RiskItem Price(std::size_t block) const noexcept { return m_prices.pData(block); }
    [[nodiscard]] RiskItem Stress(std::size_t block, std::size_t row) const noexcept
    {
        return m_stress[block * StressRows + row];
    }

private:
    const RiskRowWrapper m_prices;
    const RiskItem* m_stress;
};

// One side of the node of a futures, to which losses are added.
class Side
{
public:
    Side(Profile& profile, bool collateral) noexcept
        : m_values(profile.Volatility().pData()),
          m_rates(profile.InterestRate().pData()),
          m_scenarios(profile.Volatility().RowsCount()),
          m_collateral(collateral)
    {}
    void AddValue(std::size_t block, RiskItem loss) const noexcept
    {
        ForEachItem(m_values + block * m_scenarios, m_scenarios, DOps::Add{loss});
    }
    void AddRate(std::size_t block, std::size_t row, RiskItem loss) const noexcept
    {
        RiskItem& cell = m_rates[block * StressRows + row];
        cell = Add(cell, m_collateral ? Loss(loss) : loss);
    }

private:
    RiskItem* m_values;
    RiskItem* m_rates;
    std::size_t m_scenarios;
    bool m_collateral;
};

// The sum of one loss. A sum begins at zero, so that a loss of -0.0 goes in as 0.0.
[[nodiscard]] RiskItem SumOfOne(RiskItem loss) noexcept { return Add(RiskItem(0.0), loss); }

void AddOneOrder(const BlocksOfPrices& prices, const OrderValuation& order, const Side& first,
                 const Side& second) noexcept
{
    const LossFromRates fromRates(order);
    WithLossAtPrices(order, [&](auto lossAt) {
        for (std::size_t block = 0; block < prices.Count(); ++block) {
            const RiskItem loss = SumOfOne(lossAt(prices.Price(block)));
            first.AddValue(block, loss);
            second.AddValue(block, loss);
            for (std::size_t row = 0; row < StressRows; ++row) {
                const RiskItem rate = SumOfOne(fromRates(prices.Stress(block, row)));
                first.AddRate(block, row, rate);
                second.AddRate(block, row, rate);
            }
        }
    });
}

// The joint loss of some orders at some neighbouring blocks. It stands on the stack, so that any number of orders is
// added up without memory.
class Losses
{
public:
    static constexpr std::size_t MostBlocks = 64;

    Losses(const BlocksOfPrices& prices, std::size_t firstBlock) noexcept
        : m_prices(prices), m_first(firstBlock), m_count(std::min(MostBlocks, prices.Count() - firstBlock))
    {
        std::fill_n(m_values, m_count, RiskItem(0.0));
        for (RiskItem* const rates : m_rates)
            std::fill_n(rates, m_count, RiskItem(0.0));
    }
    void Take(const OrderValuation& order) noexcept
    {
        const LossFromRates fromRates(order);
        WithLossAtPrices(order, [&](auto lossAt) {
            for (std::size_t i = 0; i < m_count; ++i)
                m_values[i] = Add(m_values[i], lossAt(m_prices.Price(m_first + i)));
        });
        for (std::size_t row = 0; row < StressRows; ++row)
            for (std::size_t i = 0; i < m_count; ++i)
                m_rates[row][i] = Add(m_rates[row][i], fromRates(m_prices.Stress(m_first + i, row)));
    }
    void AddTo(const Side& side) const noexcept
    {
        for (std::size_t i = 0; i < m_count; ++i) {
            side.AddValue(m_first + i, m_values[i]);
            for (std::size_t row = 0; row < StressRows; ++row)
                side.AddRate(m_first + i, row, m_rates[row][i]);
        }
    }

private:
    const BlocksOfPrices& m_prices;
    std::size_t m_first;
    std::size_t m_count;
    RiskItem m_values[MostBlocks];
    RiskItem m_rates[StressRows][MostBlocks];
};

void AddSomeOrders(const BlocksOfPrices& prices, const FuturesOrders& orders, const Side& first,
                   const Side& second) noexcept
{
    for (std::size_t block = 0; block < prices.Count(); block += Losses::MostBlocks) {
        Losses losses(prices, block);
        for (const auto& [key, info] : orders.orders)
            losses.Take(DescribeOrder(orders.futures, key, info, orders.discount));
        losses.AddTo(first);
        losses.AddTo(second);
    }
}

// Multiplies the far points of a sum of orders by their cover factors and its charges by chargeRatio.
void WeighPoints(SpecialRiskPoints& points, const CSpecFutures& futures, Enums::ClientRiskLevel level,
                 double chargeRatio) noexcept
{
    points.CoverFarPoints(futures.GetCoverZL(level), futures.GetCoverZR(level));
    points.ScaleCharges(chargeRatio);
}

} // namespace

// Nearly every change is that of one order.
void AddOrdersInCells(Profile& volatility, Profile& expiration, const FuturesOrders& orders, bool collateral) noexcept
{
    const BlocksOfPrices prices(orders.futures.GetProfile(orders.level));
    const Side first(volatility, collateral);
    const Side second(expiration, collateral);
    if (orders.orders.size() != 1) return AddSomeOrders(prices, orders, first, second);
    const auto& [key, info] = *orders.orders.begin();
    AddOneOrder(prices, DescribeOrder(orders.futures, key, info, orders.discount), first, second);
}

SpecialRiskPoints PointsOfOrders(const FuturesOrders& orders, double chargeRatio) noexcept
{
    const SpecialRiskPoints& prices = orders.futures.GetProfile(orders.level).GetSpecialRiskPoints();
    SpecialRiskPoints losses;
    for (const auto& [key, info] : orders.orders)
        AddLossAtPoints(DescribeOrder(orders.futures, key, info, orders.discount), prices, losses);
    WeighPoints(losses, orders.futures, orders.level, chargeRatio);
    return losses;
}

OptionOrder::OptionOrder(const KeyPriceType& key, const SOrderInfo& info, double moneyCoef) noexcept
    : price(key.calculatedPrice.AsDouble()),
      side(key.direction == KeyPriceType::Direction::Sell ? -1.0 : 1.0),
      bound(key.direction == KeyPriceType::Direction::Buy ? -price : -std::numeric_limits<double>::infinity()),
      scale(static_cast<double>(info.deltaQuantity) * moneyCoef)
{}

SpecialRiskPoints PointsOfOrders(const CSpecOption& option, const OptionGrid& grid, Enums::ClientRiskLevel level,
                                 std::span<const OptionOrder> orders, double chargeRatio) noexcept
{
    SpecialRiskPoints losses;
    for (const OptionOrder& order : orders) {
        SpecialRiskPoints points = grid.points;
        points -= order.price;
        points *= order.side;
        points.BoundValuesFromAbove(0.0);
        points *= order.scale;
        losses += points;
    }
    WeighPoints(losses, *option.VirtFutures->Futures, level, chargeRatio);
    return losses;
}

} // namespace kv7im
