// What an order may lose, and the kernels of a change of orders in an option, which go once over the cells of its
// series, a block of four columns at a time, and give the bits of node += TransformToOrder(orders). The plain sequence
// stands in the tests. The kernels of orders in a futures are in FuturesOrderKernels.h.
//
// Orders only ever add loss, so a contribution is never split by sign; a cancellation is a negative quantity and takes
// out the very bits that the order had put in.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include <boost/container/small_vector.hpp>

#include "Enums.h"
#include "grids/Profile.h"
#include "grids/SpecialRiskPoints.h"
#include "instruments/SpecOrderList.h"
#include "kernels/OptionChangeKernels.h"

namespace kv7im {

class CSpecFutures;
class CSpecOption;

/// Kind of an order for the risk of a futures, by the order's kind, its side and the netting of its participant.
enum class OrderType
{
    OrdinalSell = 0,
    OrdinalBuy = 1,
    ML_HalfNetting_FirstLeg_Sell = 2,
    ML_HalfNetting_FirstLeg_Buy = 3,
    ML_HalfNetting_SecondLeg_Sell = 4,
    ML_HalfNetting_SecondLeg_Buy = 5,
    ML_Netting_SecondLeg_Sell = 6,
    ML_Netting_SecondLeg_Buy = 7,
    NotValued = 8,
};

/// How the loss of one entry of the orders in a futures is computed.
struct OrderValuation
{
    OrderType type = OrderType::NotValued;
    double usedPrice = 0.0; // the price the order is held against
    double secondLeg = 0.0; // loss of a netted second leg, for all its contracts: the same at every price
    double quantity = 0.0;  // contracts, below 0 for a cancellation
    bool isSell = false;
    double moneyCoef = 0.0;

    [[nodiscard]] bool LosesUpwards() const noexcept
    {
        return type == OrderType::OrdinalSell || type == OrderType::ML_HalfNetting_FirstLeg_Sell ||
               type == OrderType::ML_HalfNetting_SecondLeg_Sell;
    }
    [[nodiscard]] bool LosesDownwards() const noexcept
    {
        return type == OrderType::OrdinalBuy || type == OrderType::ML_HalfNetting_FirstLeg_Buy ||
               type == OrderType::ML_HalfNetting_SecondLeg_Buy;
    }
    [[nodiscard]] bool IsNettedSecondLeg() const noexcept
    {
        return type == OrderType::ML_Netting_SecondLeg_Sell || type == OrderType::ML_Netting_SecondLeg_Buy;
    }
};

/// Classifies an entry. Whatever is not a sale counts as a purchase.
[[nodiscard]] OrderValuation DescribeOrder(const CSpecFutures& futures, const KeyPriceType& key, const SOrderInfo& info,
                                           kv7type::Discount discount) noexcept;
/// Adds the loss of an entry at the special points.
void AddLossAtPoints(const OrderValuation& order, const SpecialRiskPoints& prices, SpecialRiskPoints& losses) noexcept;

/// The orders of one futures, ready for the kernels.
struct FuturesOrders
{
    const CSpecFutures& futures;
    const OrdersMap& orders;
    kv7type::Discount discount;
    Enums::ClientRiskLevel level;
};

/// Stress points of the orders, money; the two charges are multiplied by chargeRatio.
[[nodiscard]] SpecialRiskPoints PointsOfOrders(const FuturesOrders& orders, double chargeRatio) noexcept;

/// How the loss of one entry of the orders in an option is computed; the members stand in the order of the steps.
struct OptionOrder
{
    OptionOrder(const KeyPriceType& key, const SOrderInfo& info, double moneyCoef) noexcept;

    // The cell stands second in the maximum and in the minimum: a NaN stays one.
    [[nodiscard]] RiskItem OfValue(RiskItem cell) const noexcept
    {
        return LossOf(Max(bound, Mul(Sub(cell, price), side)));
    }
    [[nodiscard]] RiskItem OfStress(RiskItem cell) const noexcept { return LossOf(Mul(cell, side)); }
    [[nodiscard]] RiskItem OfOutcome(RiskItem cell) const noexcept { return LossOf(Mul(Sub(cell, price), side)); }
    [[nodiscard]] RiskItem LossOf(RiskItem cell) const noexcept { return Mul(Min(RiskItem(0.0), cell), scale); }

    double price; // taken from values, special points 1 to 6 and delivery outcomes
    double side;  // -1.0 for a sale; a product with 1.0 is exact
    double bound; // of a purchase no value is below -price; minus infinity bounds nothing
    double scale; // what is left of the loss times this: contracts times money per price unit
};

/// Stress points of the orders, money; the two charges are multiplied by chargeRatio.
[[nodiscard]] SpecialRiskPoints PointsOfOrders(const CSpecOption& option, const OptionGrid& grid,
                                               Enums::ClientRiskLevel level, std::span<const OptionOrder> orders,
                                               double chargeRatio) noexcept;

/// Adds the orders of one option: cell = cell + risk, where the losses of the entries are added up in their order
/// first.
template <class Entries>
class OptionOrderChange
{
public:
    OptionOrderChange(const CSpecOption& ofOption, Enums::ClientRiskLevel atLevel, const Entries& entries)
        : option(&ofOption), grid(&ofOption.GetGrid(atLevel)), level(atLevel), m_entries(entries)
    {}
    [[nodiscard]] kernels::Addition OfValue(RiskItem value) const noexcept
    {
        return Sum([value](const OptionOrder& entry) { return entry.OfValue(value); });
    }
    [[nodiscard]] kernels::Addition OfStress(RiskItem stress) const noexcept
    {
        return Sum([stress](const OptionOrder& entry) { return entry.OfStress(stress); });
    }
    [[nodiscard]] kernels::Addition OfOutcome(RiskItem outcome) const noexcept
    {
        return Sum([outcome](const OptionOrder& entry) { return entry.OfOutcome(outcome); });
    }
    void Points(SpecialRiskPoints& points, double chargeRatio) const noexcept
    {
        points += PointsOfOrders(*option, *grid, level, {m_entries.data(), m_entries.size()}, chargeRatio);
    }
    [[nodiscard]] bool IsNothing() const noexcept { return m_entries.empty(); }
    [[nodiscard]] bool IsOfNumbers() const noexcept
    {
        return std::ranges::all_of(m_entries, [this](const OptionOrder& entry) {
            return kernels::AreNumbers(*grid, entry.price, entry.scale);
        });
    }

    const CSpecOption* option;
    const OptionGrid* grid;
    Enums::ClientRiskLevel level;

private:
    template <class Contribution>
    [[nodiscard]] kernels::Addition Sum(Contribution contributionOf) const noexcept
    {
        RiskItem sum(0.0);
        for (const OptionOrder& entry : m_entries)
            sum = Add(sum, contributionOf(entry));
        return {sum};
    }

    Entries m_entries;
};

/// Calls body with the change that these orders of an option make. Throws, before body is called, when the option
/// cannot be valued. The form for a single entry serves nearly every change.
template <class Body>
void WithOrderChange(const CSpecOption& option, const OrdersMap& orders, Enums::ClientRiskLevel level, Body body)
{
    const double moneyCoef = option.VirtFutures->MoneyCoef;
    if (orders.size() == 1) {
        const auto& [key, info] = *orders.begin();
        return body(OptionOrderChange<std::array<OptionOrder, 1>>(option, level, {OptionOrder(key, info, moneyCoef)}));
    }
    boost::container::small_vector<OptionOrder, 8> entries;
    entries.reserve(orders.size());
    for (const auto& [key, info] : orders)
        entries.emplace_back(key, info, moneyCoef);
    body(OptionOrderChange<std::span<const OptionOrder>>(option, level, {entries.data(), entries.size()}));
}

} // namespace kv7im
