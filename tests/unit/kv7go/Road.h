// Road: one book and its plain twin under the same changes, compared bit by bit from the cells to the margins.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "EngineBook.h"
#include "PlainNodes.h"
#include "SameNodes.h"

inline constexpr Isin RoadFutures = 1;

/// Four series on one futures, two of them in spread, one with half netting enforced, one alone; deliveries,
/// sub-points, premiums and curvature. The options are 101 to 112.
inline plain::Market RoadMarket(const std::string& mcs, bool collateral, Enums::SpreadAspect aspectOfFutures)
{
    BaseContractSample contract;
    contract.CodeMCS = mcs;
    contract.RiskPointsN = 5;
    contract.VolatNum = 4;
    contract.MSPType = Enums::MSPType::CurrencyIndicatorPriceStep;
    FuturesSample futures;
    futures.SpreadAspect = aspectOfFutures;
    futures.InterestRateRiskUp = 0.2;
    futures.InterestRateRiskDown = 0.1;
    if (collateral) futures.Attribute = Enums::InstrumentStatus::Collateral;
    plain::Market market{{contract}, {futures}, {{840, 0.125}}, 0.75, {}, {}};
    Isin isin = 101;
    for (int i = 0; i < 4; ++i) {
        OptionSeriesSample series("SER" + std::to_string(i), "FUT");
        series.C = 1.0;
        series.B = 8.0;
        series.VolatilityRisk = 0.25;
        series.VolatilityRiskMismatch = 0.1;
        series.R = 0.05;
        series.InterestRateRiskUp = series.InterestRateRiskDown = 0.03;
        series.SubRisk = i != 1;
        series.EnforceHalfNetting = i == 2;
        series.SpreadAspect = i == 3 ? Enums::SpreadAspect::NotInSpread : Enums::SpreadAspect::InSpread;
        series.marginStyle = i % 2 == 0 ? Enums::MarginStyle::Equity : Enums::MarginStyle::Futures;
        series.settlementType = Enums::SettlementType::Deliverable;
        series.ExpClearingsCC = i == 0 ? 5 : 1; // of the first series nobody looks at deliveries yet
        market.series.push_back(series);
        for (const double strike : {900.0, 1000.0, 1100.0}) {
            OptionSample option;
            option.Code = series.Code + "-" + std::to_string(isin);
            option.CodeVF = series.Code;
            option.Strike = strike;
            option.OptionType = isin % 2 == 0 ? Enums::OptionType::Call : Enums::OptionType::Put;
            option.Isin = isin++;
            market.options.push_back(option);
        }
    }
    return market;
}

/// A book of the engine and its plain twins under equal changes, on every futures of a market.
struct Road
{
    Road(const plain::Market& ofMarket, const plain::Rules& rules)
        : market(ofMarket), repository(MakeRepository(market)), book(*repository, rules)
    {
        for (const FuturesSample& sample : market.futures) {
            const kv7im::CSpecFutures& futures = *repository->GetFutures(sample.Isin);
            if (twins.empty())
                twins.try_emplace(sample.Isin, futures, rules);
            else
                twins.try_emplace(sample.Isin, futures, twins.begin()->second);
        }
    }

    void SetFutures(std::int64_t quantity, double price) { SetFutures(RoadFutures, quantity, price); }
    void SetFutures(Isin isin, std::int64_t quantity, double price)
    {
        ASSERT_EQ(book.portfolio.SetPosition(isin, quantity, price, 0), 0U);
        twins.at(isin).SetPosition(quantity, price);
    }

    void SetOption(Isin isin, std::int64_t quantity, double price, std::int64_t novQuantity)
    {
        ASSERT_EQ(book.portfolio.SetPosition(isin, quantity, price, novQuantity), 0U);
        const kv7im::CSpecOption& option = *book.GetInstruments().GetOption(isin);
        const bool premium = option.VirtFutures->marginStyle == Enums::MarginStyle::Equity;
        TwinOf(option).SetOption(option, quantity, price,
                                 premium ? static_cast<double>(novQuantity) * option.CalcOptPrice * 2.0 : 0.0,
                                 book.WeHaveToCalcDeliveryRisk(&option));
    }

    /// A position in the mode of positions alone, in a futures or in an option.
    void SetPaper(Isin isin, std::int64_t quantity, double price, double marketPrice, std::int64_t novQuantity)
    {
        ASSERT_EQ(book.portfolio.SetPosition_PositionsOnly(isin, quantity, price, marketPrice, novQuantity), 0U);
        if (const auto twin = twins.find(isin); twin != twins.end()) {
            twin->second.SetPosition_PositionsOnly(quantity, price, marketPrice);
        } else {
            const kv7im::CSpecOption& option = *book.GetInstruments().GetOption(isin);
            TwinOf(option).SetOption_PositionsOnly(option, quantity, price, marketPrice, novQuantity,
                                                   book.WeHaveToCalcDeliveryRisk(&option));
        }
    }

    /// One entry of the orders in a futures or in one of the options changes.
    void ChangeOrder(Isin isin, const KeyPriceType& key, std::int64_t deltaQuantity)
    {
        SClearingDeltaOrder order;
        order.CalculatedPrice = key;
        order.isin = isin;
        order.isBuying = key.direction == KeyPriceType::Direction::Buy;
        order.orderInfo = SOrderInfo(SOrderInfo::InitializationType::FullFill, isin, deltaQuantity);
        ASSERT_EQ(book.portfolio.ChangeOrder(isin, 1, &order), 0U);
        if (deltaQuantity == 0) return; // no record to the engine
        const OrdersMap orders{{key, order.orderInfo}};
        if (const auto twin = twins.find(isin); twin != twins.end()) {
            twin->second.AddOrders(orders);
        } else {
            const kv7im::CSpecOption& option = *book.GetInstruments().GetOption(isin);
            TwinOf(option).AddOrders(option, orders, book.WeHaveToCalcDeliveryRisk(&option));
        }
    }

    void ExpectSameNodesAndMargins() const
    {
        for (const auto& [isin, twin] : twins) {
            const kv7im::CumulativePositionByFutures* const position = book.portfolio.GetFuturesPositionByIsin(isin);
            if (position == nullptr) continue;
            ASSERT_NO_FATAL_FAILURE(ExpectSameNodes(*position, twin)) << "futures " << isin;
        }
        const plain::Margins expected = Twin().Margins();
        ASSERT_TRUE(
            SameBits({book.Margins().volatility, book.Margins().delivery}, {expected.volatility, expected.delivery}));
    }

    [[nodiscard]] const PlainNodes& Twin(Isin isin = RoadFutures) const { return twins.at(isin); }

    plain::Market market;
    std::unique_ptr<kv7im::InstrumentsRepository> repository;
    EngineBook book;
    std::map<Isin, PlainNodes> twins; // by futures

private:
    [[nodiscard]] PlainNodes& TwinOf(const kv7im::CSpecOption& option)
    {
        return twins.at(option.VirtFutures->Futures->isin);
    }

    void ExpectSameNodes(const kv7im::CumulativePositionByFutures& position, const PlainNodes& twin) const
    {
        const kv7im::RiskNodeFutures& owner = position.GetOwnerRiskNode();
        ASSERT_TRUE(SameNodes(owner, twin.Owner()));
        for (const auto& series : market.series) {
            const PlainSeries* const plain = twin.Series(series.Code);
            if (plain == nullptr) continue;
            ASSERT_TRUE(SameNodes(*position.GetRiskNodeOptionSeriesByVFCode(series.Code), plain->node)) << series.Code;
        }
        if (owner.parent == nullptr) return;
        ASSERT_TRUE(SameNodes(*owner.parent, twin.MMS()));
        ASSERT_TRUE(SameRows(*owner.parent, twin.MMS()));
        if (owner.parent->parent == nullptr) return;
        ASSERT_TRUE(SameGroups(*owner.parent->parent, twin.MCS()));
    }
};
