// The kernels of a change of orders in a futures: cell = cell + loss, where the losses of the orders are added up in
// their order first.
//
// Orders only ever add loss, so a contribution is never split by sign; a cancellation is a negative quantity and takes
// out the very bits that the order had put in.
#pragma once

#include <algorithm>
#include <cstddef>

#include "kernels/FuturesKernels.h"
#include "kernels/OrderKernels.h"

namespace kv7im::kernels {

// Calls body with a function that gives the loss of an order, in money, at the prices of four points. Zero stands first
// in each minimum: a price that is not a number stays so.
template <class Body>
void WithLossAtPrices(const OrderValuation& order, const Body& body) noexcept
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

/// One order. LossAt gives its loss at the prices of four points.
template <class LossAt>
class OneOrder
{
public:
    /// collateral: of the rate stress only losses count.
    OneOrder(const BlocksOfPrices& grid, const OrderValuation& order, const LossAt& lossAt, bool collateral) noexcept
        : m_grid(grid), m_lossAt(lossAt), m_fromRates(order), m_collateral(collateral)
    {}
    [[nodiscard]] Addition Value(std::size_t block) const noexcept { return {SumOfOne(m_lossAt(m_grid.Price(block)))}; }
    [[nodiscard]] Addition Rate(std::size_t block, std::size_t row) const noexcept
    {
        return OfStress(m_grid.Stress(block, row));
    }
    [[nodiscard]] Addition FlatRate(std::size_t block) const noexcept { return OfStress(m_grid.FlatStress(block)); }

private:
    // The sum of one loss. A sum begins at zero, so that a loss of -0.0 goes in as 0.0.
    [[nodiscard]] static RiskItem SumOfOne(RiskItem loss) noexcept { return Add(RiskItem(0.0), loss); }
    [[nodiscard]] Addition OfStress(RiskItem stress) const noexcept
    {
        const RiskItem loss = SumOfOne(m_fromRates(stress));
        return {m_collateral ? Loss(loss) : loss};
    }

    BlocksOfPrices m_grid;
    LossAt m_lossAt;
    LossFromRates m_fromRates;
    bool m_collateral;
};

/// The joint loss of some orders at some neighbouring blocks. It stands on the stack, so that any number of orders is
/// added up without memory.
class Losses
{
public:
    static constexpr std::size_t MostBlocks = 64;

    Losses(const BlocksOfPrices& grid, std::size_t count, std::size_t firstBlock, bool collateral) noexcept
        : m_grid(grid), m_blocks{firstBlock, std::min(count, firstBlock + MostBlocks)}, m_collateral(collateral)
    {
        const std::size_t held = m_blocks.last - m_blocks.first;
        std::fill_n(m_values, held, RiskItem(0.0));
        for (RiskItem* const rates : m_rates)
            std::fill_n(rates, held, RiskItem(0.0));
    }
    void Take(const OrderValuation& order) noexcept
    {
        const LossFromRates fromRates(order);
        WithLossAtPrices(order, [&](const auto& lossAt) {
            for (std::size_t block = m_blocks.first; block < m_blocks.last; ++block)
                AddTo(m_values[block - m_blocks.first], lossAt(m_grid.Price(block)));
        });
        for (std::size_t row = 0; row < StressRows; ++row)
            for (std::size_t block = m_blocks.first; block < m_blocks.last; ++block)
                AddTo(m_rates[row][block - m_blocks.first], fromRates(m_grid.Stress(block, row)));
    }
    [[nodiscard]] Blocks Where() const noexcept { return m_blocks; }
    [[nodiscard]] Addition Value(std::size_t block) const noexcept { return {m_values[block - m_blocks.first]}; }
    [[nodiscard]] Addition Rate(std::size_t block, std::size_t row) const noexcept
    {
        const RiskItem loss = m_rates[row][block - m_blocks.first];
        return {m_collateral ? Loss(loss) : loss};
    }
    [[nodiscard]] Addition FlatRate(std::size_t block) const noexcept
    {
        return {Add(Rate(block, 0).in, Rate(block, 1).in)};
    }

private:
    static void AddTo(RiskItem& sum, RiskItem loss) noexcept { sum = Add(sum, loss); }

    BlocksOfPrices m_grid;
    Blocks m_blocks;
    bool m_collateral;
    RiskItem m_values[MostBlocks];
    RiskItem m_rates[StressRows][MostBlocks];
};

/// Passes a Losses by value without a copy of its sums.
struct LossesOf
{
    [[nodiscard]] Addition Value(std::size_t block) const noexcept { return losses.Value(block); }
    [[nodiscard]] Addition Rate(std::size_t block, std::size_t row) const noexcept { return losses.Rate(block, row); }
    [[nodiscard]] Addition FlatRate(std::size_t block) const noexcept { return losses.FlatRate(block); }

    const Losses& losses;
};

/// Calls body(change, blocks) with what the orders of a futures add to its cells, once for all blocks or for some at a
/// time. Nearly every change is that of one order.
template <class Body>
void ForFuturesOrders(const FuturesOrders& orders, bool collateral, const Body& body) noexcept
{
    const Profile& profile = orders.futures.GetProfile(orders.level);
    const BlocksOfPrices grid(profile);
    const std::size_t count = profile.Volatility().GetColsRegister();
    if (orders.orders.size() == 1) {
        const auto& [key, info] = *orders.orders.begin();
        const OrderValuation order = DescribeOrder(orders.futures, key, info, orders.discount);
        return WithLossAtPrices(order, [&](const auto& lossAt) {
            body(OneOrder(grid, order, lossAt, collateral), Blocks{0, count});
        });
    }
    for (std::size_t block = 0; block < count; block += Losses::MostBlocks) {
        Losses losses(grid, count, block, collateral);
        for (const auto& [key, info] : orders.orders)
            losses.Take(DescribeOrder(orders.futures, key, info, orders.discount));
        body(LossesOf{losses}, losses.Where());
    }
}

} // namespace kv7im::kernels
