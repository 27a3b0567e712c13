// A position change in steady state touches no general heap, at any pair of rules.
#include <gtest/gtest.h>

#include "AccountTree.h"
#include "AllocationProbe.h"
#include "MarginOrchestrator.h"

using Enums::AccountHierarchyRecordType;
using Enums::MarginRule;
using margin_orchestrator::SetPositionByRecordType;

TEST(SteadyStateAllocationTest, APositionChangeAllocatesNothingAfterTheFirstOnes)
{
    for (const MarginRule firmRule : {MarginRule::Gross, MarginRule::HalfNetting, MarginRule::Netting}) {
        for (const MarginRule accountRule : {MarginRule::Gross, MarginRule::HalfNetting, MarginRule::Netting}) {
            AccountTree tree;
            const BraskSettlementAccountPtr account = tree.AddAccount("L01-00000001", accountRule);
            BraskBroker& firm = tree.AddFirm("AA01", firmRule, account);
            firm.SetNotUseNOVClientDefault(true); // the side book is kept as well
            tree.AddClient(firm, "AA01001");

            const auto setAll = [&](std::int64_t quantity) {
                Z9ERR code = 0;
                code |= SetPositionByRecordType("AA01001", AccountHierarchyRecordType::Client, FUT, quantity, 795.0, 0,
                                                tree.repository);
                code |= SetPositionByRecordType("AA01", AccountHierarchyRecordType::Broker, FUT, quantity, 795.0, 0,
                                                tree.repository);
                code |= SetPositionByRecordType("L01-00000001", AccountHierarchyRecordType::SettlementAccount, FUT,
                                                quantity, 795.0, 0, tree.repository);
                return code;
            };
            ASSERT_EQ(setAll(1), 0U);
            ASSERT_EQ(setAll(-2), 0U);

            const testing_support::AllocationProbe probe;
            for (std::int64_t quantity = -50; quantity <= 50; ++quantity)
                ASSERT_EQ(setAll(quantity), 0U);
            EXPECT_EQ(probe.Count(), 0U) << "firm " << static_cast<int>(firmRule) << ", account "
                                         << static_cast<int>(accountRule);
        }
    }
}
