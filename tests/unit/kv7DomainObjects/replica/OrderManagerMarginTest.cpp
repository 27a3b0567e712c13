// The deltas of an order's life, fed to the margin: at each moment the client's GO is that of the orders that stand,
// and behind the last event it is what it was before the first.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "MarginOrchestrator.h"
#include "OptionTree.h"
#include "OrderManager.h"

namespace test::OrderManagerMarginTest {
namespace {

using Enums::MarginRule;
using Enums::MoveOrderMode;
using margin_orchestrator::ChangeOrder;

constexpr Isin FarFutures = 3; // in spread with SpreadFutures
constexpr Isin Calendar = 91;  // sells one SpreadFutures, buys one FarFutures
constexpr std::int32_t InFutures = 1;
constexpr std::int32_t InCalendar = 2;

struct Tree : OptionTree
{
    Tree()
    {
        FuturesSample far = HandFutures("FUT3", FarFutures);
        far.SpreadAspect = Enums::SpreadAspect::InSpread;
        far.CalcFutPrice = far.RealCalcPrice = 810.0;
        Check(far.InsertInto(instruments));
        Check(instruments.InsertMultileg(Calendar, SpreadFutures, -1, 1));
        Check(instruments.InsertMultileg(Calendar, FarFutures, 1, 2));
    }

    BraskSettlementAccountPtr account = AddAccount("ID1", MarginRule::Netting);
    BraskBroker& firm = AddFirm("AA01", MarginRule::Netting, account);
    BraskClient& client = AddClient(firm, "AA01001");
};

struct OrderManagerMarginTest : testing::Test
{
    OrderManagerMarginTest()
    {
        using Type = KeyPriceType::Type;
        AccountTree::Check(COrderManager::Init(
            {{InFutures, FUT, 1, false, Type::Ordinal}, {InCalendar, Calendar, 1, false, Type::MultiLeg}},
            {{1, Enums::TradeModeStatus::Open, Enums::AuctionType::None}}));
    }
    ~OrderManagerMarginTest() override { COrderManager::ClearDictionaries(); }

    /// Feeds the deltas of one event, which must be a success, to the margin.
    void Event(Z9ERR code)
    {
        ASSERT_EQ(code, 0U);
        if (!deltas.empty()) {
            ASSERT_EQ(ChangeOrder(tree.client, deltas.front().isin, deltas.size(), deltas.data()), 0U);
        }
        deltas.clear();
    }

    [[nodiscard]] std::vector<double> Margins() const
    {
        return {tree.client.GetInitialMargin(), tree.firm.GetInitialMargin(), tree.account->GetInitialMargin()};
    }

    Tree tree;
    COrderManager& orders = tree.firm.GetOrderManager();
    DeltaOrderList deltas;
    t_id ls = 0;
};

// FUT is worth 700, 800 or 900. An order bought at 800 loses 100 a contract at worst, at 850 it loses 150, at 750 it
// loses 50.
TEST_F(OrderManagerMarginTest, GoFollowsAnOrderFromSentToGone)
{
    const std::vector<double> nothing(3, 0.0);
    ASSERT_EQ(Margins(), nothing);
    Event(orders.AddOrder(InFutures, t_bprice_int(800), {}, 10, 10, ls, deltas, "AA01001",
                          COrderManager::OrderFlags::System));
    EXPECT_EQ(Margins(), std::vector<double>(3, 1000.0)); // 10 at 800
    Event(orders.ConfirmAdd(ls, 7001));
    EXPECT_EQ(Margins(), std::vector<double>(3, 1000.0));
    Event(orders.MoveOrder(7001, MoveOrderMode::LeaveQuantities, t_bprice_int(850), 0, ls, deltas));
    EXPECT_EQ(Margins(), std::vector<double>(3, 1500.0)); // 10 at 850, the worse of the two
    Event(orders.ExecOrder(7001, 4, deltas));
    EXPECT_EQ(Margins(), std::vector<double>(3, 900.0)); // 6 at 850
    Event(orders.RejectMove(7001, ls, deltas));
    EXPECT_EQ(Margins(), std::vector<double>(3, 600.0)); // 6 at 800
    Event(orders.MoveOrder(7001, MoveOrderMode::ChangeQuantities, t_bprice_int(750), 8, ls, deltas));
    EXPECT_EQ(Margins(), std::vector<double>(3, 700.0)); // 6 at 800 and 2 at 750
    Event(orders.ConfirmMove(7001, ls, 7002, deltas));
    EXPECT_EQ(Margins(), std::vector<double>(3, 400.0)); // 8 at 750
    Event(orders.CancelOrder(7002, 3, deltas));
    EXPECT_EQ(Margins(), std::vector<double>(3, 250.0));
    Event(orders.ExecOrder(7002, 5, deltas));
    EXPECT_EQ(Margins(), nothing);
    EXPECT_EQ(orders.findOrderByNm(7002), nullptr);
}

TEST_F(OrderManagerMarginTest, GoFollowsAnOrderInASpread)
{
    Event(orders.AddOrder(InCalendar, t_bprice_int(10), {}, 10, -10, ls, deltas, "AA01001",
                          COrderManager::OrderFlags::System));
    const std::vector<double> sent = Margins();
    EXPECT_GT(sent[0], 0.0);
    Event(orders.ConfirmAdd(ls, 7001));
    Event(orders.MoveOrder(7001, MoveOrderMode::LeaveQuantities, t_bprice_int(5), 0, ls, deltas));
    EXPECT_GT(Margins()[0], sent[0]); // the seller asks for less
    Event(orders.RejectMove(7001, ls, deltas));
    EXPECT_EQ(Margins(), sent);
    Event(orders.ExecOrder(7001, 9, deltas));
    Event(orders.CancelOrder(7001, 1, deltas));
    EXPECT_EQ(Margins(), std::vector<double>(3, 0.0));
}

} // namespace
} // namespace test::OrderManagerMarginTest
