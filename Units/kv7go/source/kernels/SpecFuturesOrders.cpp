// The orders of a futures as a risk: their loss if they were filled and the market moved against them.
//
// Each entry is classified once; its loss is then added at every price of the grid, to the rate stresses and at the
// special points. Losses only: each contribution is capped at 0.
#include <cstddef>

#include "instruments/SpecFutures.h"
#include "kernels/OrderKernels.h"

namespace kv7im {

namespace {

/// Values the second leg under half netting: the spread's price on top of the first leg's settlement price.
void ValueHalfNettedSecondLeg(const SOrderInfo& info, double price, bool noDiscount, OrderValuation& valuation) noexcept
{
    const double legPrice = price + info.realCalcPriceFirstLeg;
    const double settlement = info.realCalcPriceSecondLeg;
    if (valuation.isSell) {
        valuation.type = OrderType::ML_HalfNetting_SecondLeg_Sell;
        valuation.usedPrice = noDiscount ? Min(settlement, legPrice) : legPrice;
    } else {
        valuation.type = OrderType::ML_HalfNetting_SecondLeg_Buy;
        valuation.usedPrice = noDiscount ? Max(settlement, legPrice) : legPrice;
    }
}

/// Values the second leg under netting: only the spread between the legs counts, so its loss is equal at every price.
void ValueNettedSecondLeg(const SOrderInfo& info, double price, bool noDiscount, OrderValuation& valuation) noexcept
{
    const double c1 = info.riskCenterFirstLeg;
    const double c2 = info.riskCenterSecondLeg;
    const double r1 = info.realCalcPriceFirstLeg;
    const double r2 = info.realCalcPriceSecondLeg;
    // The order of the additions is part of the figure.
    if (valuation.isSell) {
        valuation.type = OrderType::ML_Netting_SecondLeg_Sell;
        valuation.secondLeg =
            valuation.quantity *
            (noDiscount ? Min(0.0, Min(0.0, price + r1 - r2) - (c2 - c1 + r1 - r2)) : Min(0.0, price + c1 - c2));
    } else {
        valuation.type = OrderType::ML_Netting_SecondLeg_Buy;
        valuation.secondLeg = valuation.quantity * (noDiscount ? Min(0.0, c2 - c1 + r1 - r2 - Max(0.0, price + r1 - r2))
                                                               : Min(0.0, (c2 - c1) - price));
    }
}

/// Adds the loss at every price of the grid to the row. The 0 stands first in each minimum: padding stays NaN.
void AddLossOnGrid(const OrderValuation& order, const RiskRowWrapper& prices, RiskRow& losses) noexcept
{
    const RiskItem zero(0.0);
    const RiskItem quantity(order.quantity);
    const RiskItem moneyCoef(order.moneyCoef);
    const RiskItem usedPrice(order.usedPrice);
    RiskItem* cells = losses.pData();
    const auto addEverywhere = [&](auto contributionAt) {
        for (std::size_t block = 0; block < losses.GetRegisterCount(); ++block)
            cells[block] = Add(cells[block], Mul(contributionAt(prices.pData(block)), moneyCoef));
    };
    if (order.LosesUpwards())
        addEverywhere([&](RiskItem price) { return Mul(quantity, Min(zero, Sub(usedPrice, price))); });
    else if (order.LosesDownwards())
        addEverywhere([&](RiskItem price) { return Mul(quantity, Min(zero, Sub(price, usedPrice))); });
    else if (order.IsNettedSecondLeg())
        addEverywhere([&](RiskItem) { return RiskItem(order.secondLeg); });
}

/// Adds the loss from a rate stress. Every order has it, even one that has no other valuation.
void AddLossFromRates(const OrderValuation& order, const RiskRowWrapper& stress, RiskRowWrapper losses) noexcept
{
    const RiskItem zero(0.0);
    const RiskItem side(order.isSell ? -1.0 : 1.0);
    const RiskItem quantity(order.quantity);
    const RiskItem moneyCoef(order.moneyCoef);
    for (std::size_t block = 0; block < RegistersOf(losses.size()); ++block) {
        const RiskItem value = Mul(side, stress.pData(block));
        losses.pData(block) = Add(losses.pData(block), Mul(Mul(quantity, Min(zero, value)), moneyCoef));
    }
}

} // namespace

OrderValuation DescribeOrder(const CSpecFutures& futures, const KeyPriceType& key, const SOrderInfo& info,
                             kv7type::Discount discount) noexcept
{
    // A trade-at-settlement order names an offset from the calculation price.
    const double offset = key.calculatedPrice.AsDouble();
    const double price = futures.IsTAS ? offset + futures.CalcFutPrice : offset;
    const bool noDiscount = discount == kv7type::Discount::No;
    OrderValuation valuation;
    valuation.quantity = static_cast<double>(info.deltaQuantity);
    valuation.isSell = key.direction == KeyPriceType::Direction::Sell;
    valuation.moneyCoef = futures.MoneyCoef;
    const bool isSell = valuation.isSell;
    const bool halfNetting = info.participantCalSpreadMarginType == Enums::SpreadMarginType::HalfNetting;
    const bool netting = info.participantCalSpreadMarginType == Enums::SpreadMarginType::Netting;

    if (key.type == KeyPriceType::Type::Ordinal) {
        const double settlement = futures.RealCalcPrice;
        valuation.type = isSell ? OrderType::OrdinalSell : OrderType::OrdinalBuy;
        valuation.usedPrice = !noDiscount ? price : isSell ? Min(price, settlement) : Max(price, settlement);
    } else if (key.type == KeyPriceType::Type::FirstLeg && halfNetting) {
        valuation.type = isSell ? OrderType::ML_HalfNetting_FirstLeg_Sell : OrderType::ML_HalfNetting_FirstLeg_Buy;
        valuation.usedPrice = info.realCalcPriceFirstLeg;
    } else if (key.type == KeyPriceType::Type::SecondLeg && halfNetting) {
        ValueHalfNettedSecondLeg(info, price, noDiscount, valuation);
    } else if (key.type == KeyPriceType::Type::SecondLeg && netting) {
        ValueNettedSecondLeg(info, price, noDiscount, valuation);
    }
    return valuation;
}

// No price is taken from a charge.
void AddLossAtPoints(const OrderValuation& order, const SpecialRiskPoints& prices, SpecialRiskPoints& losses) noexcept
{
    for (const stress::Point& row : stress::Points) {
        const bool isCharge = !row.IsPrice();
        const double price = prices[row.point];
        double loss = 0.0;
        if (order.LosesUpwards())
            loss = order.quantity * Min(0.0, isCharge ? -price : order.usedPrice - price);
        else if (order.LosesDownwards())
            loss = order.quantity * Min(0.0, isCharge ? price : price - order.usedPrice);
        else if (order.IsNettedSecondLeg())
            loss = isCharge ? 0.0 : order.secondLeg;
        losses[row.point] += loss * order.moneyCoef;
    }
}

Risk CSpecFutures::TransformToOrder(const OrdersMap& orders, kv7type::Discount discount,
                                    Enums::ClientRiskLevel level) const
{
    const Profile& prices = profile[level];
    Risk risk(Parameters(prices.GetParameters().length(), prices.GetParameters().scenariosVolatilityCount));
    // One row for all orders: every scenario starts at zero and receives the same additions in the same order.
    RiskRow losses(prices.GetParameters().length());

    for (const auto& [key, info] : orders) {
        const OrderValuation order = DescribeOrder(*this, key, info, discount);
        AddLossOnGrid(order, prices.GetCentralRowOfVolatilityMatrix(), losses);
        AddLossFromRates(order, prices.InterestRateUp(), risk.GetRisk().InterestRateUp());
        AddLossFromRates(order, prices.InterestRateDown(), risk.GetRisk().InterestRateDown());
        AddLossAtPoints(order, prices.GetSpecialRiskPoints(), risk.GetSpecialRiskPoints());
    }
    risk.GetRisk().Volatility() += losses;

    risk.GetSpecialRiskPoints().CoverFarPoints(coverZL[level], coverZR[level]);
    return risk;
}

} // namespace kv7im
