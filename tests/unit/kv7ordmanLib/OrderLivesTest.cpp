// Many orders at once, events at random, late and senseless ones among them, against a plain book kept here: at every
// moment the deltas add up to what stands, and to nothing once all orders are gone.
#include <algorithm>
#include <cstdint>
#include <map>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "OrderDesk.h"

namespace test::OrderLivesTest {
namespace {

using namespace desk;
using Enums::MoveOrderMode;

/// An order as its owner would write it on paper.
struct PlainOrder
{
    bool buys;
    bool reverse;
    std::int64_t price;
    std::int64_t left;       // by the terms that the exchange has confirmed
    std::int64_t traded = 0; // up to now
    bool moves = false;
    std::int64_t priceAsked = 0;
    std::int64_t leftAsked = 0; // by the terms that were asked for
    t_id ls = 0;

    [[nodiscard]] bool AsksForWorse() const
    {
        const bool dearer = priceAsked > price;
        const bool cheaper = priceAsked < price;
        if (reverse) return buys ? cheaper : dearer;
        return buys ? dearer : cheaper;
    }
    [[nodiscard]] std::int64_t Standing() const { return moves ? std::max(left, leftAsked) : left; }
    void TakeOff(std::int64_t quantity)
    {
        left = left > quantity ? left - quantity : 0;
        leftAsked = leftAsked > quantity ? leftAsked - quantity : 0;
    }
    void AddTo(Sums& sums) const
    {
        const bool allAsked = moves && AsksForWorse();
        Add(sums, t_bprice_int(price), buys, allAsked ? 0 : left);
        if (moves) Add(sums, t_bprice_int(priceAsked), buys, allAsked ? Standing() : Standing() - left);
    }
};

class Walk
{
public:
    Walk(unsigned seed, std::int32_t instrument) : m_random(seed), m_instrument(instrument) {}

    void Step()
    {
        switch (Random(0, 8)) {
        case 0:
        case 1:
            return Send();
        case 2:
            return AnswerSent(true);
        case 3:
            return AnswerSent(Random(0, 3) != 0);
        case 4:
            return Trade();
        case 5:
            return Cancel(Random(1, 6));
        case 6:
            return Move();
        default:
            return AnswerMove(Random(0, 1) == 0);
        }
    }

    void Check() const
    {
        Sums expected;
        for (const auto& orders : {m_sent, m_taken})
            for (const auto& [number, order] : orders)
                order.AddTo(expected);
        Sums ofDeltas;
        Add(ofDeltas, m_deltas);
        ASSERT_EQ(ofDeltas, expected);
        ASSERT_EQ(StandingIn(m_manager), expected);
        ASSERT_EQ(m_manager.GetOrdersLsSnapshot().size(), m_sent.size());
        ASSERT_EQ(m_manager.GetOrdersNmSnapshot().size(), m_taken.size());
        for (const auto& [number, order] : m_taken)
            ASSERT_EQ(m_manager.findOrderByNm(number)->orgQuantity, order.traded + order.left);
    }

    void EndAll()
    {
        while (!m_sent.empty())
            AnswerSent(false);
        while (!m_taken.empty())
            Cancel(1000);
    }

private:
    using Book = std::map<t_id, PlainOrder>;

    std::int64_t Random(std::int64_t from, std::int64_t to)
    {
        return std::uniform_int_distribution<std::int64_t>(from, to)(m_random);
    }
    // Now and then an order that is not there.
    Book::iterator Some(Book& book)
    {
        const auto index = Random(0, static_cast<std::int64_t>(book.size()) + (Random(0, 9) == 0 ? 1 : -1));
        return index >= static_cast<std::int64_t>(book.size()) || index < 0 ? book.end()
                                                                            : std::next(book.begin(), index);
    }
    static t_id NumberOf(const Book& book, Book::const_iterator order)
    {
        return order == book.end() ? -5 : order->first;
    }

    void Send()
    {
        const bool buys = Random(0, 1) == 0;
        const std::int64_t quantity = Random(1, 8);
        const std::int64_t traded = Random(0, 2);
        const std::int64_t price = Random(98, 102);
        t_id ls = 0;
        ASSERT_EQ(m_manager.AddOrder(m_instrument, t_bprice_int(price), {}, quantity,
                                     (quantity + traded) * (buys ? 1 : -1), ls, m_deltas, "AA01001",
                                     COrderManager::OrderFlags::None),
                  0U);
        m_sent[ls] = {buys, m_instrument == Reverse, price, quantity, traded};
    }
    void AnswerSent(bool taken)
    {
        const auto order = Some(m_sent);
        const t_id ls = NumberOf(m_sent, order);
        const t_id number = ++m_lastNumber;
        const Z9ERR code = taken ? m_manager.ConfirmAdd(ls, number) : m_manager.RejectAdd(ls, m_deltas);
        ASSERT_EQ(code, order == m_sent.end() ? Z9ERR_DEL_ORDER_NOT_EXIST : Z9ERR_OK);
        if (order == m_sent.end()) return;
        if (taken) m_taken[number] = order->second;
        m_sent.erase(order);
    }
    void Trade()
    {
        const auto order = Some(m_taken);
        const std::int64_t quantity = Random(1, 9);
        const Z9ERR code = m_manager.ExecOrder(NumberOf(m_taken, order), quantity, m_deltas);
        ASSERT_EQ(code, order == m_taken.end() ? Z9ERR_DEL_ORDER_NOT_EXIST : Z9ERR_OK);
        if (order == m_taken.end() || quantity > order->second.Standing()) return;
        order->second.traded += quantity;
        order->second.TakeOff(quantity);
        if (order->second.Standing() == 0) m_taken.erase(order);
    }
    void Cancel(std::int64_t quantity)
    {
        const auto order = Some(m_taken);
        const Z9ERR code = m_manager.CancelOrder(NumberOf(m_taken, order), quantity, m_deltas);
        ASSERT_EQ(code, order == m_taken.end() ? Z9ERR_DEL_ORDER_NOT_EXIST : Z9ERR_OK);
        if (order == m_taken.end()) return;
        order->second.TakeOff(quantity);
        if (order->second.Standing() == 0) m_taken.erase(order);
    }
    void Move()
    {
        const auto entry = Some(m_taken);
        const auto mode = static_cast<MoveOrderMode>(Random(0, 3));
        const std::int64_t price = Random(98, 102);
        const std::int64_t quantity = Random(1, 12);
        t_id ls = 0;
        const Z9ERR code =
            m_manager.MoveOrder(NumberOf(m_taken, entry), mode, t_bprice_int(price), quantity, ls, m_deltas);
        if (entry == m_taken.end()) {
            ASSERT_EQ(code, Z9ERR_MOVE_ORDER_NOT_EXIST);
            return;
        }
        PlainOrder& order = entry->second;
        if (order.moves) {
            ASSERT_EQ(code, Z9ERR_ORDER_IS_BEING_MOVED);
            return;
        }
        std::int64_t asked = quantity;
        if (mode == MoveOrderMode::LeaveQuantities) asked = order.left;
        if (mode == MoveOrderMode::CheckQuantities && order.left < quantity) asked = 0;
        if (mode == MoveOrderMode::ChangeQuantitiesWOMatched) asked = quantity - order.traded;
        ASSERT_EQ(code, asked > 0 ? Z9ERR_OK : Z9ERR_CHECK_ORDER_WRONG_QUANTITY);
        if (asked <= 0) return;
        order.moves = true;
        order.priceAsked = price;
        order.leftAsked = asked;
        order.ls = ls;
    }
    void AnswerMove(bool made)
    {
        const auto entry = Some(m_taken);
        const bool late = Random(0, 5) == 0;
        const t_id number = NumberOf(m_taken, entry);
        const t_id newNumber = Random(0, 1) == 0 ? number : ++m_lastNumber;
        const t_id ls = entry == m_taken.end() ? 1 : entry->second.ls - (late ? 1 : 0);
        const Z9ERR code =
            made ? m_manager.ConfirmMove(number, ls, newNumber, m_deltas) : m_manager.RejectMove(number, ls, m_deltas);
        const bool counts = entry != m_taken.end() && entry->second.moves && !late;
        ASSERT_EQ(code, counts ? Z9ERR_OK : Z9ERR_MOVE_ORDER_NOT_EXIST);
        if (!counts) return;
        PlainOrder order = entry->second;
        m_taken.erase(entry);
        if (made) {
            order.price = order.priceAsked;
            order.left = order.leftAsked;
        }
        order.moves = false;
        order.leftAsked = 0;
        if (order.left > 0) m_taken[made ? newNumber : number] = order;
    }

    std::mt19937 m_random;
    std::int32_t m_instrument;
    COrderManager m_manager;
    DeltaOrderList m_deltas; // of all events so far
    Book m_sent;
    Book m_taken;
    t_id m_lastNumber = 7000;
};

TEST(OrderLives, DeltasAddUpToWhatStandsAndToNothingInTheEnd)
{
    const Dictionaries dictionaries;
    for (const std::int32_t instrument : {Plain, Reverse, Spread})
        for (unsigned seed = 1; seed <= 30; ++seed) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", instrument " + std::to_string(instrument));
            Walk walk(seed, instrument);
            for (int step = 0; step < 400; ++step) {
                walk.Step();
                walk.Check();
                if (testing::Test::HasFatalFailure()) return;
            }
            walk.EndAll();
            walk.Check();
        }
}

} // namespace
} // namespace test::OrderLivesTest
