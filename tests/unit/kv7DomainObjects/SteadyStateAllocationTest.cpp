// A change of a position or of an order in steady state touches no general heap, at any pair of rules and for any kind
// of instrument.
#include <cstddef>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "AccountTree.h"
#include "AllocationProbe.h"
#include "MarginOrchestrator.h"
#include "grids/LazyMemoryPool.h"

namespace test::SteadyStateAllocationTest {
namespace {

using Enums::AccountHierarchyRecordType;
using Enums::MarginRule;
using Enums::OptionType;
using kv7im::auxiliary::LazyMemoryPool;
using margin_orchestrator::SetPositionByRecordType;

/// FUT alone, two futures in spread, spreads of two kinds, and options of every road: of a series alone, in spread,
/// with deliveries, with sub-points, by its losses only, and premium-style.
struct Market : AccountTree
{
    Market()
    {
        for (FuturesSample futures : {HandFutures("FUT2", 2), HandFutures("FUT3", 3)}) {
            futures.SpreadAspect = Enums::SpreadAspect::InSpread;
            Check(futures.InsertInto(instruments));
        }
        for (const Isin spread : spreads) {
            Check(instruments.InsertMultileg(spread, 2, -1, 1));
            Check(instruments.InsertMultileg(spread, spread == 5 ? 3 : FUT, 1, 2));
        }
        for (const char* const code : {"FUT", "FUT2"}) {
            for (const auto& series : {HandSeries("", code), InSpread(HandSeries("", code))}) {
                Add(series);
                Add(Deliverable(series));
                kv7im::OptionSeriesParameters subPoints = series;
                subPoints.SubRisk = true;
                subPoints.StrikeStep = 10.0;
                Add(subPoints);
                kv7im::OptionSeriesParameters lossesOnly = Deliverable(subPoints);
                lossesOnly.EnforceHalfNetting = true;
                Add(lossesOnly);
                kv7im::OptionSeriesParameters premium = series;
                premium.marginStyle = Enums::MarginStyle::Equity;
                Add(premium);
            }
        }
    }

    /// Two options of one more series.
    void Add(kv7im::OptionSeriesParameters series)
    {
        series.Code = "A long series code on " + series.CodeRF + ' ' + std::to_string(isins.size());
        Check(instruments.InsertVirtFutures(series));
        for (const OptionType type : {OptionType::Call, OptionType::Put}) {
            isins.push_back(static_cast<Isin>(10 + isins.size()));
            Check(HandOption(series.Code, isins.back(), type, 775.0, 30.0).InsertInto(instruments));
        }
    }

    std::vector<Isin> isins{FUT, 2, 3};
    std::vector<Isin> spreads{5, 6}; // of futures in spread, and of one that is not
};

void ExpectNoAllocation(MarginRule firmRule, MarginRule accountRule)
{
    Market tree;
    const BraskSettlementAccountPtr account = tree.AddAccount("L01-00000001", accountRule);
    BraskBroker& firm = tree.AddFirm("AA01", firmRule, account);
    firm.SetNotUseNOVClientDefault(true); // the side book is kept as well
    tree.AddClient(firm, "AA01001", 0.0, 1);

    const auto set = [&](const char* code, AccountHierarchyRecordType type, Isin isin, std::int64_t quantity) {
        return SetPositionByRecordType(code, type, isin, quantity, 25.0, quantity, tree.repository);
    };
    const auto setAll = [&](std::int64_t quantity) {
        Z9ERR code = 0;
        for (const Isin isin : tree.isins) {
            code |= set("AA01001", AccountHierarchyRecordType::Client, isin, quantity);
            code |= set("AA01", AccountHierarchyRecordType::Broker, isin, quantity);
            code |= set("L01-00000001", AccountHierarchyRecordType::SettlementAccount, isin, quantity);
        }
        return code;
    };
    ASSERT_EQ(setAll(1), 0U);
    ASSERT_EQ(setAll(-2), 0U);

    const testing_support::AllocationProbe probe;
    for (std::int64_t quantity = -10; quantity <= 10; ++quantity)
        ASSERT_EQ(setAll(quantity), 0U);
    EXPECT_EQ(probe.Count(), 0U);
}

// Bids and offers in every instrument, each at a few prices, all cancelled again.
void ExpectNoAllocationForOrders(MarginRule firmRule, MarginRule accountRule)
{
    Market tree;
    const BraskSettlementAccountPtr account = tree.AddAccount("L01-00000001", accountRule);
    BraskBroker& firm = tree.AddFirm("AA01", firmRule, account);
    firm.SetNotUseNOVClientDefault(true); // premiums are reserved, and the side book is kept as well
    BraskClient& client = tree.AddClient(firm, "AA01001", 0.0, 1);

    const auto placeAndCancel = [&](double firstPrice) {
        Z9ERR code = 0;
        for (const std::vector<Isin>* const kind : {&tree.isins, &tree.spreads}) {
            for (const Isin isin : *kind) {
                for (const std::int64_t quantity : {2, -2}) {
                    for (const double price : {firstPrice, firstPrice + 5.0, firstPrice + 10.0}) {
                        code |= Buy(client, isin, price, quantity);
                        code |= Sell(client, isin, price, quantity);
                    }
                }
            }
        }
        return code;
    };
    ASSERT_EQ(placeAndCancel(20.0), 0U);
    ASSERT_EQ(placeAndCancel(25.0), 0U);

    const testing_support::AllocationProbe probe;
    for (double price = 1.0; price <= 40.0; price += 1.0)
        ASSERT_EQ(placeAndCancel(price), 0U);
    EXPECT_EQ(probe.Count(), 0U);
}

template <class Expectation>
void AtEveryPairOfRules(const Expectation& expectation)
{
    for (const MarginRule firmRule : {MarginRule::Gross, MarginRule::HalfNetting, MarginRule::Netting}) {
        for (const MarginRule accountRule : {MarginRule::Gross, MarginRule::HalfNetting, MarginRule::Netting}) {
            SCOPED_TRACE("firm " + std::to_string(static_cast<int>(firmRule)) + ", account " +
                         std::to_string(static_cast<int>(accountRule)));
            expectation(firmRule, accountRule);
        }
    }
}

TEST(SteadyStateAllocationTest, APositionChangeAllocatesNothingAfterTheFirstOnes)
{
    AtEveryPairOfRules(ExpectNoAllocation);
}

TEST(SteadyStateAllocationTest, AChangeOfAnOrderAllocatesNothingAfterTheFirstOnes)
{
    AtEveryPairOfRules(ExpectNoAllocationForOrders);
}

// An order may be placed on one thread and cancelled on another, each with an empty pool of its own.
TEST(SteadyStateAllocationTest, AnOrderThatIsCancelledOnAnotherThreadAllocatesNothingEither)
{
    Market tree;
    const BraskSettlementAccountPtr account = tree.AddAccount("L01-00000001", MarginRule::Netting);
    BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Netting, account);
    BraskClient& client = tree.AddClient(firm, "AA01001", 0.0, 1);
    ASSERT_EQ(Buy(client, FUT, 20.0, 1), 0U);
    ASSERT_EQ(Buy(client, FUT, 20.0, -1), 0U);

    const std::size_t asked = LazyMemoryPool::SystemAllocations();
    for (int round = 0; round < 100; ++round) {
        const testing_support::AllocationProbe probe;
        ASSERT_EQ(Buy(client, FUT, 20.0, 1), 0U);
        ASSERT_EQ(probe.Count(), 0U);
        std::size_t elsewhere = 1;
        std::size_t askedElsewhere = 1;
        std::thread([&] {
            const testing_support::AllocationProbe otherProbe;
            EXPECT_EQ(Buy(client, FUT, 20.0, -1), 0U);
            elsewhere = otherProbe.Count();
            askedElsewhere = LazyMemoryPool::SystemAllocations();
        }).join();
        ASSERT_EQ(elsewhere, 0U);
        ASSERT_EQ(askedElsewhere, 0U);
    }
    EXPECT_EQ(LazyMemoryPool::SystemAllocations(), asked);
}

} // namespace
} // namespace test::SteadyStateAllocationTest
