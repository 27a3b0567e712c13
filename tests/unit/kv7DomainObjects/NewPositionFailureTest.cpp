// Memory that ends while a book takes its first position on a futures: a client whose firm could not note that it holds
// the futures does not hold it, so the call that is made again is noted.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "FailingAllocations.h"
#include "OptionTree.h"

namespace test::NewPositionFailureTest {
namespace {

using Enums::MarginRule;
using margin_orchestrator::SetPositionClient;
using testing::ElementsAre;

TEST(NewPositionFailureTest, TheFirmKnowsOfEveryFuturesThatItsClientHolds)
{
    for (const Isin isin : {FUT, Call825}) { // an option is noted under its futures, which is FUT
        OptionTree tree;
        BraskBroker& firm = tree.AddFirm("AA01", MarginRule::Netting, tree.AddAccount("ID1", MarginRule::Netting));
        BraskClient& client = tree.AddClient(firm, "AA01001");
        const long failures = testing_support::FailAtEachAllocation(
            [&] { return SetPositionClient(client, isin, 1, 20.0, 0); },
            [&] { EXPECT_EQ(firm.EnumerateClientsToRecalc(FUT).size(), client.GetPortfolio().GetPositionCount()); });
        EXPECT_GT(failures, 2);
        EXPECT_THAT(firm.EnumerateClientsToRecalc(FUT), ElementsAre(&client));
    }
}

} // namespace
} // namespace test::NewPositionFailureTest
