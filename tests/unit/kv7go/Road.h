// Road: one book and its plain twin under the same changes, compared bit by bit from the cells to the margins.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "EngineBook.h"
#include "PlainNodes.h"

inline std::vector<double> CellsOf(const kv7im::RiskMatrix& matrix)
{
    std::vector<double> cells;
    for (std::size_t row = 0; row < matrix.RowsCount(); ++row)
        for (std::size_t column = 0; column < matrix.ColsCount(); ++column)
            cells.push_back(matrix[row][column]);
    return cells;
}

inline std::vector<double> CellsOf(const kv7im::Risk& risk)
{
    std::vector<double> cells;
    for (const kv7im::RiskMatrix* const matrix : {&risk.GetRisk().Volatility(), &risk.GetRisk().InterestRate(),
                                                  &risk.GetRisk().VolatilityMismatch(), &risk.GetRisk().Expiration()}) {
        const std::vector<double> more = CellsOf(*matrix);
        cells.insert(cells.end(), more.begin(), more.end());
    }
    const kv7im::SpecialRiskPoints& points = risk.GetSpecialRiskPoints();
    cells.insert(cells.end(), points.pData(), points.pData() + kv7im::SpecialRiskPoints::size());
    return cells;
}

inline testing::AssertionResult SameBits(const std::vector<double>& a, const std::vector<double>& b)
{
    if (a.size() != b.size()) return testing::AssertionFailure() << "sizes " << a.size() << " and " << b.size();
    for (std::size_t i = 0; i < a.size(); ++i)
        if (!(std::isnan(a[i]) && std::isnan(b[i])) &&
            std::bit_cast<std::uint64_t>(a[i]) != std::bit_cast<std::uint64_t>(b[i]))
            return testing::AssertionFailure() << "cell " << i << ": " << a[i] << " and " << b[i];
    return testing::AssertionSuccess();
}

inline testing::AssertionResult SameBits(const kv7im::RiskNodeBase& a, const kv7im::RiskNodeBase& b)
{
    if (auto same = SameBits(CellsOf(a.Volatility()), CellsOf(b.Volatility())); !same) return same << " (volatility)";
    if (auto same = SameBits(CellsOf(a.Expiration()), CellsOf(b.Expiration())); !same) return same << " (delivery)";
    return SameBits({a.GetNOVj()}, {b.GetNOVj()}) << " (net option value)";
}

inline testing::AssertionResult SameBits(const kv7im::RiskNodeBase& a, const plain::Sides& b)
{
    if (auto same = SameBits(CellsOf(a.Volatility()), CellsOf(b.volatility)); !same) return same << " (volatility)";
    if (auto same = SameBits(CellsOf(a.Expiration()), CellsOf(b.delivery)); !same) return same << " (delivery)";
    return SameBits({a.GetNOVj()}, {b.netOptionValue}) << " (net option value)";
}

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

/// The same changes in the engine and in the plain form.
struct Road
{
    Road(const plain::Market& ofMarket, const plain::Rules& rules)
        : market(ofMarket),
          repository(MakeRepository(market)),
          book(*repository, rules),
          plainly(*repository->GetFutures(RoadFutures), rules)
    {}

    void SetFutures(std::int64_t quantity, double price)
    {
        ASSERT_EQ(book.portfolio.SetPosition(RoadFutures, quantity, price, 0), 0U);
        plainly.SetPosition(quantity, price);
    }

    void SetOption(Isin isin, std::int64_t quantity, double price, std::int64_t novQuantity)
    {
        ASSERT_EQ(book.portfolio.SetPosition(isin, quantity, price, novQuantity), 0U);
        const kv7im::CSpecOption& option = *book.GetInstruments().GetOption(isin);
        const bool premium = option.VirtFutures->marginStyle == Enums::MarginStyle::Equity;
        plainly.SetOption(option, quantity, price,
                          premium ? static_cast<double>(novQuantity) * option.CalcOptPrice * 2.0 : 0.0,
                          book.WeHaveToCalcDeliveryRisk(&option));
    }

    /// One entry of the orders in the futures or in one of the options changes.
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
        if (isin == RoadFutures) {
            plainly.AddOrders(orders);
        } else {
            const kv7im::CSpecOption& option = *book.GetInstruments().GetOption(isin);
            plainly.AddOrders(option, orders, book.WeHaveToCalcDeliveryRisk(&option));
        }
    }

    void ExpectSameNodesAndMargins() const
    {
        const kv7im::CumulativePositionByFutures& position = *book.portfolio.GetFuturesPositionByIsin(RoadFutures);
        const kv7im::RiskNodeFutures& owner = position.GetOwnerRiskNode();
        ASSERT_TRUE(SameBits(owner, plainly.Owner()));
        ASSERT_TRUE(owner.parent == nullptr || SameBits(*owner.parent, plainly.MMS()));
        for (const auto& series : market.series) {
            const PlainSeries* const plain = plainly.Series(series.Code);
            if (plain == nullptr) continue;
            ASSERT_TRUE(SameBits(*position.GetRiskNodeOptionSeriesByVFCode(series.Code), plain->Sides()))
                << series.Code;
        }
        ASSERT_TRUE(SameBits({book.Margins().volatility, book.Margins().delivery},
                             {plainly.Margins().volatility, plainly.Margins().delivery}));
    }

    plain::Market market;
    std::unique_ptr<kv7im::InstrumentsRepository> repository;
    EngineBook book;
    PlainNodes plainly;
};
