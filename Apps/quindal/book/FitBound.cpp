#include "FitBound.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "BraskSettlementAccount.h"
#include "Broker.h"
#include "CalcGOEx.h"
#include "Client.h"
#include "LibraryState.h"
#include "MarginSession.h"
#include "ParticipantRepository.h"
#include "TradingCodes.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecBaseContract.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecMultileg.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecOrderList.h"
#include "instruments/SpecVirtFutures.h"

namespace quindal {

namespace {

using Enums::ClientRiskLevel;
using Enums::SpreadMarginType;
using kv7im::Risk;

constexpr double Unbounded = std::numeric_limits<double>::infinity();

/// Whose rules the change of a cell goes through on its way to the margin.
struct Road
{
    const ParticipantBase* participant;
    ClientRiskLevel riskLevel;
    double chargeRatio; // on the minimum charges of short options
    double marginRatio; // on the margin of the base contract, and on the whole
    bool noDiscount;
    SpreadMarginType calendar;
};

/// What the futures of a trade belongs to, and the instrument itself: one of the two.
struct Instrument
{
    const kv7im::CSpecFutures* futures = nullptr;
    const kv7im::CSpecOption* option = nullptr;

    [[nodiscard]] const kv7im::CSpecFutures& Futures() const
    {
        return option != nullptr ? *option->VirtFutures->Futures : *futures;
    }
    [[nodiscard]] const kv7im::CSpecBaseContract& Contract() const { return *Futures().BaseContract; }
    [[nodiscard]] Risk Held(std::int64_t quantity, double price, ClientRiskLevel level) const
    {
        return option != nullptr ? option->TransformToPosition(quantity, price, level)
                                 : futures->TransformToPosition(quantity, price, level);
    }
};

const kv7im::InstrumentsRepository& Instruments() { return QuindalIM::GetInstrumentsRepositoryForQuindalIM(); }

Instrument Find(const std::string& code)
{
    Instrument found;
    found.futures = Instruments().GetFutures(code);
    if (found.futures == nullptr) found.option = Instruments().GetOption(kv7im::AccessByStatus::eCurrent, code);
    return found;
}

const kv7im::CSpecMultileg* FindMultileg(const std::string& code)
{
    int isin = 0;
    double price = 0.0;
    if (QuindalIM::g_pCalcGOEx->GetIsinAndCalcPriceByCode(code.c_str(), isin, price) != Z9ERR_OK) return nullptr;
    return Instruments().GetMultileg(isin);
}

/// The roads that the margin of a level depends on: its own where it lives by its own book, that of the client where it
/// takes the client's losses. Both, since the larger bound is safe for either.
std::vector<Road> RoadsOf(const std::string& code, FitLevel level, const kv7im::CSpecBaseContract& contract)
{
    const BraskClient& client = QuindalIM::GetParticipantRepositoryForQuindaIM().GetClient(ClientCode::Parse(code));
    const auto road = [&](const ParticipantBase& participant, double ratio) {
        const double ofContract =
            std::max(participant.GetBrokerBaseContractGORatio(contract.Code),
                     contract.HasMCS() ? participant.GetBrokerBaseContractGORatioForMCS(contract.CodeMCS) : 0.0);
        return Road{&participant,       participant.GetRiskLevel(),     participant.GetShortOptionMinimumChargeRatio(),
                    ofContract * ratio, participant.GetNoFutDiscount(), participant.GetCalSpreadMarginType()};
    };
    if (level == FitLevel::Client) return {road(client, client.GetClgoRatio().AsDouble())};
    Road losses = road(client, 1.0);
    losses.marginRatio = 1.0; // it is on the client's own margin
    const BraskBroker& firm = client.GetBroker();
    return {losses, road(firm, firm.GetGORatio().AsDouble()), road(*firm.GetSettlementAccount(), 1.0)};
}

/// How far the cells of a change go down, and how far they go at all; no number is passed over.
struct Extent
{
    double down = 0.0;
    double any = 0.0;

    void Take(double cell)
    {
        if (std::isnan(cell)) return;
        down = std::max(down, -cell);
        any = std::max(any, std::abs(cell));
    }
    void Take(const kv7im::RiskMatrix& matrix)
    {
        for (std::size_t row = 0; row < matrix.RowsCount(); ++row) {
            const kv7im::RiskRowWrapper cells = matrix[row];
            for (std::size_t column = 0; column < matrix.ColsCount(); ++column)
                Take(cells[column]);
        }
    }
};

/// How much more than the edge of the grid the floor of a stress point moves (SpecialRiskPoints): by the steepest of
/// the three rates that a position is worn down by. Infinite for rates that are none.
double SteepestFloor(const kv7im::CSpecBaseContract& contract, ClientRiskLevel level)
{
    const auto ofSide = [](double rate, double rate1, double rate2, bool inOrder) {
        if (!(rate > 0.0)) return Unbounded;
        return (inOrder ? std::max({rate, rate1, rate2}) : rate + std::abs(rate1) + std::abs(rate2)) / rate;
    };
    const bool inOrder = contract.ConcentrationLimit1Spot <= contract.ConcentrationLimit2Spot;
    return std::max(
        ofSide(contract.MarketRiskDown[level], contract.MarketRisk1Down[level], contract.MarketRisk2Down[level],
               inOrder),
        ofSide(contract.MarketRiskUp[level], contract.MarketRisk1Up[level], contract.MarketRisk2Up[level], inOrder));
}

/// Money by which a margin may fall when this change is taken out of a book. Sums, minima and windows over cells never
/// make more of a change than its worst cell; a stress of rates and one of the mismatch come on top of a cell, a floor
/// of a stress point may follow the edge of the grid either way, and the curvature of a currency adds its radius.
double FallBy(const Risk& change, const Instrument& instrument, const Road& road)
{
    const kv7im::CSpecBaseContract& contract = instrument.Contract();
    const kv7im::Profile& cells = change.GetRisk();
    Extent values;
    values.Take(cells.Volatility());
    if (road.participant->WeHaveToCalcDeliveryRisk(instrument.option)) values.Take(cells.Expiration());
    Extent rates;
    rates.Take(cells.InterestRate());
    Extent mismatch;
    mismatch.Take(cells.VolatilityMismatch());
    kv7im::SpecialRiskPoints charged = change.GetSpecialRiskPoints();
    charged.ScaleCharges(road.chargeRatio);
    Extent points;
    for (std::size_t i = 0; i < kv7im::SpecialRiskPoints::size(); ++i)
        points.Take(charged.pData()[i]);

    const double radius = std::max(0.0, contract.CalculateRiskCoefficient());
    const bool isMonotone = radius <= 1.0; // beyond, a gain may cost more in curvature than it is
    const double row = isMonotone ? values.down + rates.down + mismatch.down : values.any + rates.any + mismatch.any;
    const double edge = values.any + rates.any + mismatch.any;
    const double floors = edge == 0.0 ? 0.0 : edge * SteepestFloor(contract, road.riskLevel);
    const double worst = std::max({row, isMonotone ? points.down : points.any, floors});
    return worst == 0.0 ? 0.0 : worst * (1.0 + radius) * road.marginRatio;
}

/// The record of one order in an instrument, or of a leg.
OrdersMap OneOrder(const FitItem& item, bool isBuy, KeyPriceType::Type type, SOrderInfo info)
{
    KeyPriceType key;
    const double price = item.price == 0.0 ? MarginSession::CalculatedPrice(item.instrument) : item.price;
    key.calculatedPrice = t_bprice_int(price);
    key.direction = isBuy ? KeyPriceType::Direction::Buy : KeyPriceType::Direction::Sell;
    key.type = type;
    return {{key, info}};
}

double FallOfFuturesOrder(const kv7im::CSpecFutures& futures, const OrdersMap& orders, const Road& road)
{
    const auto discount = road.noDiscount ? kv7type::Discount::No : kv7type::Discount::Yes;
    return FallBy(futures.TransformToOrder(orders, discount, road.riskLevel), {&futures, nullptr}, road);
}

/// The legs of a spread for themselves, or as they net: the worse of what the rules may make of them.
double FallOfSpreadOrder(const std::string& client, const FitItem& item, const kv7im::CSpecMultileg& multileg,
                         FitLevel level)
{
    const kv7im::CSpecFutures& first = *Instruments().GetFutures(multileg.GetFirstLegIsin());
    const kv7im::CSpecFutures& second = *Instruments().GetFutures(multileg.GetSecondLegIsin());
    SOrderInfo info;
    info.realCalcPriceFirstLeg = first.RealCalcPrice;
    info.realCalcPriceSecondLeg = second.RealCalcPrice;
    info.riskCenterFirstLeg = first.CalcFutPrice;
    info.riskCenterSecondLeg = second.CalcFutPrice;
    const bool isApart =
        multileg.IsIncompleteSpreadAspect() || first.EnforceIMSHalfNetting || second.EnforceIMSHalfNetting;
    const auto leg = [&](const kv7im::CSpecFutures& futures, std::int32_t ratio, KeyPriceType::Type type) {
        double fall = 0.0;
        for (const Road& road : RoadsOf(client, level, *futures.BaseContract)) {
            SOrderInfo ofLeg = info;
            ofLeg.deltaQuantity = std::abs(ratio);
            ofLeg.participantCalSpreadMarginType = isApart ? SpreadMarginType::HalfNetting : road.calendar;
            fall = std::max(fall,
                            FallOfFuturesOrder(futures, OneOrder(item, item.isBuy == (ratio > 0), type, ofLeg), road));
        }
        return fall;
    };
    return leg(first, multileg.qtyRatio1, KeyPriceType::Type::FirstLeg) +
           leg(second, multileg.qtyRatio2, KeyPriceType::Type::SecondLeg);
}

/// The price that a futures is valued from, where that of a position may not be better than the settlement.
void AddSettlement(const Instrument& instrument, bool noDiscount, std::vector<double>& prices)
{
    const kv7im::CSpecFutures* const futures = instrument.futures;
    if (futures == nullptr) return;
    if (futures->IsTAS)
        for (double& price : prices)
            price += futures->CalcFutPrice;
    if (noDiscount) prices.push_back(futures->RealCalcPrice);
}

} // namespace

double FallOfOrder(const std::string& client, const FitItem& item, FitLevel level)
{
    const Instrument instrument = Find(item.instrument);
    const double ratio = static_cast<double>(item.ratio);
    if (instrument.futures == nullptr && instrument.option == nullptr) {
        const kv7im::CSpecMultileg* const multileg = FindMultileg(item.instrument);
        return multileg == nullptr ? Unbounded : ratio * FallOfSpreadOrder(client, item, *multileg, level);
    }
    SOrderInfo info;
    info.deltaQuantity = 1;
    const OrdersMap order = OneOrder(item, item.isBuy, KeyPriceType::Type::Ordinal, info);
    double fall = 0.0;
    for (const Road& road : RoadsOf(client, level, instrument.Contract()))
        fall = std::max(fall, instrument.option != nullptr
                                  ? FallBy(instrument.option->TransformToOrder(order, road.riskLevel), instrument, road)
                                  : FallOfFuturesOrder(*instrument.futures, order, road));
    return ratio * fall;
}

double FallOfPosition(const std::string& client, const FitItem& item, const Held& held, FitLevel level)
{
    const Instrument instrument = Find(item.instrument);
    const double price = item.price == 0.0 ? MarginSession::CalculatedPrice(item.instrument) : item.price;
    const std::int64_t side = item.isBuy ? 1 : -1;
    double fall = 0.0;
    for (const Road& road : RoadsOf(client, level, instrument.Contract())) {
        // The quantity of the side that is traded grows at the price of the trade; that of the other side shrinks at
        // the price that it is held at.
        std::vector<double> prices{price, held.price};
        AddSettlement(instrument, road.noDiscount, prices);
        for (const double each : prices) {
            fall = std::max(fall, FallBy(instrument.Held(side, each, road.riskLevel), instrument, road));
            if (held.quantity * side >= 0) continue;
            Risk taken = instrument.Held(-side, each, road.riskLevel);
            taken *= -1.0;
            fall = std::max(fall, FallBy(taken, instrument, road));
        }
    }
    return static_cast<double>(item.ratio) * fall;
}

double PremiumOf(const FitItem& item)
{
    const kv7im::CSpecOption* const option = Find(item.instrument).option;
    if (option == nullptr || !item.isBuy || option->VirtFutures->marginStyle != Enums::MarginStyle::Equity) return 0.0;
    const double price = item.price == 0.0 ? option->CalcOptPrice : item.price;
    return static_cast<double>(item.ratio) * price * option->VirtFutures->MoneyCoef;
}

bool RemembersOrders(const std::string& instrument)
{
    const Instrument found = Find(instrument);
    if (found.futures != nullptr || found.option != nullptr) return found.Futures().IsCollateral();
    const kv7im::CSpecMultileg* const multileg = FindMultileg(instrument);
    return multileg != nullptr && (Instruments().GetFutures(multileg->GetFirstLegIsin())->IsCollateral() ||
                                   Instruments().GetFutures(multileg->GetSecondLegIsin())->IsCollateral());
}

} // namespace quindal
