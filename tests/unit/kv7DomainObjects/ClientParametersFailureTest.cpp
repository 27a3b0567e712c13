// Memory that ends in the middle of a change: whichever allocation fails, the client's book and its parameters are both
// those of before the change or both those of after it, and what follows comes out as if nothing had happened.
#include <cmath>
#include <cstdint>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EmptyPool.h"
#include "FailingAllocations.h"
#include "MarginOrchestrator.h"
#include "OptionTree.h"

namespace test::ClientParametersFailureTest {
namespace {

using Enums::MarginRule;
using margin_orchestrator::SetPositionClient;

constexpr Isin MixedCalendar = 92;

/// What the client is margined by: the first as it is registered, the second as it is changed.
ClientRiskParameters Registered()
{
    ClientRiskParameters parameters;
    parameters.clgoRatio = t_bprice_int(1);
    return parameters;
}
ClientRiskParameters Changed()
{
    ClientRiskParameters parameters = Registered();
    parameters.noFutDiscount = true;
    parameters.nClr2Delivery = 1;
    parameters.expWeight = t_weight_int(0.5);
    return parameters;
}

struct Tree : OptionTree
{
    explicit Tree(const ClientRiskParameters& parameters)
        : account(AddAccount("ID1", MarginRule::HalfNetting)),
          firm(AddFirm("AA01", MarginRule::HalfNetting, account)),
          client(registrar.RegisterClient(firm, ClientCode::Parse("AA01001"), parameters.noFutDiscount,
                                          parameters.nClr2Delivery, parameters.expWeight,
                                          Enums::ClientRiskLevel::Default, Enums::InvestorStatus::None))
    {
        Check(instruments.InsertMultileg(MixedCalendar, SpreadFutures, -1, 1));
        Check(instruments.InsertMultileg(MixedCalendar, FUT, 1, 2));
    }

    void Trade()
    {
        for (const Isin isin : {FUT, SpreadFutures, Call825, Call850})
            Check(SetPositionClient(client, isin, 2, isin <= SpreadFutures ? 770.0 : 12.0, 0));
        Check(Buy(client, MixedCalendar, 4.0, 1));
        Check(Sell(client, FUT, 840.0, 1));
        Check(Buy(client, Call825, 20.0, 1));
    }
    void Close()
    {
        Check(Buy(client, MixedCalendar, 4.0, -1));
        Check(Sell(client, FUT, 840.0, -1));
        Check(Buy(client, Call825, 20.0, -1));
        for (const Isin isin : {FUT, SpreadFutures, Call825, Call850})
            Check(SetPositionClient(client, isin, 0, 0.0, 0));
    }

    [[nodiscard]] bool HasBookOf(const Tree& other) const
    {
        const kv7im::Portfolio& a = client.GetPortfolio();
        const kv7im::Portfolio& b = other.client.GetPortfolio();
        return std::abs(a.GetVolatilityInitialMargin() - b.GetVolatilityInitialMargin()) < 1e-9 &&
               std::abs(a.GetDeliveryVolatilityInitialMargin() - b.GetDeliveryVolatilityInitialMargin()) < 1e-9;
    }
    [[nodiscard]] bool HasParametersOf(const Tree& other) const
    {
        const ClientRiskParameters a = client.GetRiskParameters();
        const ClientRiskParameters b = other.client.GetRiskParameters();
        return a.noFutDiscount == b.noFutDiscount && a.nClr2Delivery == b.nClr2Delivery && a.expWeight == b.expWeight;
    }

    BraskSettlementAccountPtr account;
    BraskBroker& firm;
    BraskClient& client;
};

/// Runs the change with room for so many allocations. False when there was enough.
template <class Change>
bool FailsWithRoomFor(long count, const Change& change)
{
    try {
        const testing_support::RoomForAllocations room(count);
        change();
        return false;
    } catch (...) {
        return true;
    }
}

/// The story with room for 0, 1, 2 ... allocations until there is enough; each time with a pool that is empty at the
/// start. Gives how often it failed.
template <class Story>
long FailAtEveryAllocation(const Story& story)
{
    bool fails = true;
    long count = 0;
    for (; fails && !testing::Test::HasFailure(); ++count) {
        SCOPED_TRACE("room for " + std::to_string(count));
        testing_support::WithAnEmptyPool([&] { fails = story(count); });
    }
    return count - 1;
}

TEST(ClientParametersFailureTest, BookAndParametersChangeTogetherOrNotAtAll)
{
    bool keptTheOld = false;
    const long failures = FailAtEveryAllocation([&](long count) {
        Tree before(Registered());
        Tree after(Changed());
        Tree tree(Registered());
        for (Tree* const each : {&before, &after, &tree})
            each->Trade();
        const bool fails = FailsWithRoomFor(count, [&] { tree.client.SetRiskParameters(Changed()); });
        const bool old = tree.HasParametersOf(before);
        keptTheOld |= fails && old;
        EXPECT_TRUE(tree.HasBookOf(old ? before : after));
        EXPECT_TRUE(fails || !old);

        tree.client.SetRiskParameters(Changed()); // a second try
        EXPECT_TRUE(tree.HasParametersOf(after));
        EXPECT_TRUE(tree.HasBookOf(after));
        tree.Close();
        EXPECT_EQ(tree.client.GetInitialMargin(), 0.0);
        return fails;
    });
    EXPECT_GT(failures, 10);
    EXPECT_TRUE(keptTheOld);
}

TEST(ClientParametersFailureTest, AnOrderIsInTheClientsBookOrIsNot)
{
    const long failures = FailAtEveryAllocation([&](long count) {
        Tree before(Registered());
        Tree after(Registered());
        Tree tree(Registered());
        const auto place = [](Tree& where) { return Buy(where.client, Call850, 20.0, 7); };
        EXPECT_EQ(place(after), 0U);
        const bool fails = FailsWithRoomFor(count, [&] { EXPECT_EQ(place(tree), 0U); });
        const kv7im::CSpecPosition* const position = tree.client.GetPortfolio().GetSpecPosition(Call850);
        const bool placed = position != nullptr && !position->GetOrders().empty();
        EXPECT_TRUE(tree.HasBookOf(placed ? after : before));
        EXPECT_TRUE(fails || placed);
        return fails;
    });
    EXPECT_GT(failures, 5);
}

TEST(ClientParametersFailureTest, AClientThatCannotBeCopiedIsNotRegistered)
{
    const long failures = FailAtEveryAllocation([&](long count) {
        Tree source(Registered());
        source.Trade();
        OptionTree target;
        AccountTree::Check(target.instruments.InsertMultileg(MixedCalendar, SpreadFutures, -1, 1));
        AccountTree::Check(target.instruments.InsertMultileg(MixedCalendar, FUT, 1, 2));
        BraskBroker& firm = target.AddFirm("AA01", MarginRule::HalfNetting, GetDummySettlementAccount());
        const auto copy = [&] { target.registrar.RegisterClient(source.client, firm); };
        const bool fails = FailsWithRoomFor(count, copy);
        EXPECT_EQ(target.repository.GetClientCount(), fails ? 0U : 1U);
        EXPECT_EQ(firm.GetClientCount(), fails ? 0U : 1U);
        EXPECT_EQ(firm.EnumerateClientsToRecalc(FUT).size(), fails ? 0U : 1U);

        copy(); // a second try
        const BraskClient& copied = target.repository.GetClient(ClientCode::Parse("AA01001"));
        EXPECT_EQ(target.repository.GetClientCount(), 1U);
        EXPECT_NEAR(copied.GetPortfolio().GetVolatilityInitialMargin(),
                    source.client.GetPortfolio().GetVolatilityInitialMargin(), 1e-9);
        EXPECT_THAT(firm.EnumerateClientsToRecalc(FUT), testing::ElementsAre(&copied));
        return fails;
    });
    EXPECT_GT(failures, 10);
}

} // namespace
} // namespace test::ClientParametersFailureTest
