// Memory that ends in the middle of a deal: whichever allocation fails, accounting and money are those of before the
// deal at all levels, or those of after it at all levels.
#include <gtest/gtest.h>

#include "DealTree.h"
#include "FailingAllocations.h"

namespace test::DealFailureTest {
namespace {

using Enums::MarginRule;

/// The accounting and the money of one level.
struct LevelState
{
    std::int64_t held = -1; // contracts; -1 without a record, so that one that is left behind shows
    t_bsum_int vm;
    t_bsum_int vmOfCurrency;
    t_bround_int reserve;
    t_bround_int fee;

    [[nodiscard]] friend bool operator==(const LevelState&, const LevelState&) noexcept = default;
};

LevelState StateOf(const ParticipantBase& participant)
{
    const CPositionCalculator& accounting = participant.GetPositionCalculator();
    const SPosition* const record = accounting.getPosition(CurrencyFutures);
    const auto ofCurrency = accounting.VMCurr.find(Dollar);
    return {record == nullptr ? -1 : record->quantity, accounting.VM,
            ofCurrency == accounting.VMCurr.end() ? t_bsum_int() : ofCurrency->second, participant.GetMeans().VMReserve,
            participant.GetMeans().m_fee};
}

struct TreeState
{
    explicit TreeState(const DealTree& tree)
        : client(StateOf(tree.first)),
          firm(StateOf(tree.firm)),
          account(StateOf(*tree.account)),
          counted(tree.first.GetOrdersAndPositionsQuantitiesCounter().Get(CurrencyFutures).positionQuantity)
    {}

    [[nodiscard]] friend bool operator==(const TreeState&, const TreeState&) noexcept = default;

    LevelState client;
    LevelState firm;
    LevelState account;
    std::int64_t counted;
};

constexpr std::int32_t Charged = 108; // CurrencyFutures at 0.5 a contract

struct ChargedTree : DealTree
{
    ChargedTree(MarginRule firmRule, MarginRule accountRule) : DealTree(firmRule, accountRule)
    {
        AddTradingInstrument(Charged, CurrencyFutures, 0.5);
    }
};

/// The deals of the story; the first finds no record at any level.
constexpr std::pair<double, std::int64_t> Deals[] = {{810.0, 5}, {790.0, -5}};

void MakeDeals(ChargedTree& tree, std::size_t count)
{
    for (std::size_t i = 0; i < count; ++i)
        AccountTree::Check(tree.Trade(tree.first, Charged, Deals[i].first, Deals[i].second));
}

TEST(DealFailureTest, AccountingAndMoneyMoveAtAllLevelsOrAtNone)
{
    for (const MarginRule firmRule : {MarginRule::Gross, MarginRule::HalfNetting, MarginRule::Netting})
        for (const MarginRule accountRule : {MarginRule::Gross, MarginRule::HalfNetting, MarginRule::Netting})
            for (std::size_t deal = 0; deal < std::size(Deals); ++deal) {
                ChargedTree before(firmRule, accountRule);
                ChargedTree after(firmRule, accountRule);
                MakeDeals(before, deal);
                MakeDeals(after, deal + 1);
                long failuresBefore = 0;
                bool failed = true;
                for (long room = 0; failed; ++room) {
                    ChargedTree tree(firmRule, accountRule);
                    MakeDeals(tree, deal);
                    try {
                        const testing_support::RoomForAllocations memory(room);
                        static_cast<void>(tree.Trade(tree.first, Charged, Deals[deal].first, Deals[deal].second));
                        failed = false;
                    } catch (const std::bad_alloc&) {
                    }
                    const bool isBefore = TreeState(tree) == TreeState(before);
                    ASSERT_TRUE(isBefore || TreeState(tree) == TreeState(after)) << "room for " << room;
                    ASSERT_TRUE(failed || !isBefore);
                    if (!isBefore) continue;
                    // What was refused can be done again.
                    ++failuresBefore;
                    AccountTree::Check(tree.Trade(tree.first, Charged, Deals[deal].first, Deals[deal].second));
                    ASSERT_EQ(TreeState(tree), TreeState(after));
                    ASSERT_EQ(tree.first.GetInitialMargin(), after.first.GetInitialMargin());
                    ASSERT_EQ(tree.firm.GetInitialMargin(), after.firm.GetInitialMargin());
                    ASSERT_EQ(tree.account->GetInitialMargin(), after.account->GetInitialMargin());
                }
                EXPECT_GT(failuresBefore, 0);
            }
}

} // namespace
} // namespace test::DealFailureTest
