// The orders of a futures as a risk: what they would lose if they were filled and the market moved against them.
//
// Each entry is classified once; its loss is then added at every price of the grid, to the rate stresses and at the
// special points. Losses only: each contribution is capped at 0.
#include <cstddef>

#include "SpecFutures.h"

namespace kv7im {

namespace {

/// What an order is to the risk, by its kind, its side and the netting of its participant.
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

/// How the loss of one entry is found.
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

/// Second leg under half netting: the spread's price on top of the first leg's settlement price.
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

/// Second leg under netting: only the spread between the legs counts, so its loss is the same at every price.
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

/// Classifies an order of this price. Whatever is not a sale counts as a purchase.
OrderValuation Value(const KeyPriceType& key, const SOrderInfo& info, double price, bool noDiscount,
                     const CSpecFutures& futures) noexcept
{
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

/// Adds the loss from a rate stress, which counts for every order, one that is not valued otherwise included.
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

/// Adds the loss at the special points. DownRisk and UpRisk are charges: no price is taken from them.
void AddLossAtPoints(const OrderValuation& order, const SpecialRiskPoints& prices, SpecialRiskPoints& losses) noexcept
{
    for (std::size_t i = 0; i < SpecialRiskPoints::MappingSize; ++i) {
        const bool isCharge = i == SpecialRiskPoints::DownRisk || i == SpecialRiskPoints::UpRisk;
        const double price = prices.pData()[i];
        double loss = 0.0;
        if (order.LosesUpwards())
            loss = order.quantity * Min(0.0, isCharge ? -price : order.usedPrice - price);
        else if (order.LosesDownwards())
            loss = order.quantity * Min(0.0, isCharge ? price : price - order.usedPrice);
        else if (order.IsNettedSecondLeg())
            loss = isCharge ? 0.0 : order.secondLeg;
        losses.pData()[i] += loss * order.moneyCoef;
    }
}

} // namespace

Risk CSpecFutures::TransformToOrder(const OrdersMap& orders, kv7type::Discount discount,
                                    Enums::ClientRiskLevel level) const
{
    const Profile& prices = profile[level];
    Risk risk(Parameters(prices.GetParameters().length(), prices.GetParameters().scenariosVolatilityCount));
    // One row for all orders: every scenario starts at zero and receives the same additions in the same order.
    RiskRow losses(prices.GetParameters().length());

    for (const auto& [key, info] : orders) {
        // A trade-at-settlement order names an offset from the calculation price.
        const double offset = key.calculatedPrice.AsDouble();
        const double price = IsTAS ? offset + CalcFutPrice : offset;
        const OrderValuation order = Value(key, info, price, discount == kv7type::Discount::No, *this);
        AddLossOnGrid(order, prices.GetCentralRowOfVolatilityMatrix(), losses);
        AddLossFromRates(order, prices.InterestRateUp(), risk.GetRisk().InterestRateUp());
        AddLossFromRates(order, prices.InterestRateDown(), risk.GetRisk().InterestRateDown());
        AddLossAtPoints(order, prices.GetSpecialRiskPoints(), risk.GetSpecialRiskPoints());
    }
    risk.GetRisk().Volatility() += losses;

    SpecialRiskPoints& points = risk.GetSpecialRiskPoints();
    points.SetZL(points.GetZL() * coverZL[level]);
    points.SetZR(points.GetZR() * coverZR[level]);
    return risk;
}

} // namespace kv7im
