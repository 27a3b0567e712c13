// Random deals against a ledger that keeps every deal and works everything out anew, in integers of any size.
#include <cstdint>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include <boost/multiprecision/cpp_int.hpp>
#include <gtest/gtest.h>

#include "AccountingMarket.h"

namespace test::PositionWalkTest {
namespace {

using namespace accounting;
using boost::multiprecision::cpp_int;

/// n / d, halves away from zero; 0 where d is.
cpp_int Rounded(const cpp_int& n, const cpp_int& d)
{
    if (d == 0) return 0;
    const cpp_int magnitude = (2 * abs(n) + d) / (2 * d);
    return n < 0 ? cpp_int(-magnitude) : magnitude;
}

struct LedgerDeal
{
    std::int64_t quantity;
    std::int64_t price; // plain
};

/// One isin: its deals, and the plain money of a unit of its price.
struct LedgerLine
{
    std::int64_t money = 0;
    std::vector<LedgerDeal> deals = {};

    [[nodiscard]] cpp_int Sum(int side, bool volume) const
    {
        cpp_int sum = 0;
        for (const LedgerDeal& deal : deals)
            if (deal.quantity * side > 0) sum += cpp_int(deal.quantity * side) * (volume ? deal.price : 1);
        return sum;
    }
    [[nodiscard]] cpp_int Average(int side) const { return Rounded(Sum(side, true), Sum(side, false)); }
    [[nodiscard]] cpp_int Vm() const
    {
        const cpp_int bought = Sum(1, false);
        const cpp_int sold = Sum(-1, false);
        return Rounded((sold < bought ? sold : bought) * (Average(-1) - Average(1)) * money, 100000);
    }
};

class Walk
{
public:
    explicit Walk(unsigned seed) : m_random(seed) {}

    void Step()
    {
        switch (m_random() % 5) {
        case 0:
            return TakeBack();
        case 1:
            return TradePair();
        default:
            return TradeOne();
        }
    }

    void Check()
    {
        cpp_int vm = 0;
        cpp_int vmFull = 0;
        cpp_int dollars = 0;
        cpp_int dollarsFull = 0;
        for (const auto& [isin, line] : m_ledger) {
            CheckPosition(m_book.At(isin), line);
            const bool inDollars = isin == Dollars || isin == MarginStyle || isin == PremiumStyle;
            vmFull += line.Vm();
            if (inDollars) dollarsFull += line.Vm();
            if (isin == PremiumStyle) continue;
            vm += line.Vm();
            if (inDollars) dollars += line.Vm();
        }
        ASSERT_EQ(m_book.calculator.VM.AsPlain(), vm);
        ASSERT_EQ(m_book.calculator.VMFull.AsPlain(), vmFull);
        ASSERT_EQ(m_book.calculator.VMCurr[DollarCurrency].AsPlain(), dollars);
        ASSERT_EQ(m_book.calculator.VMCurrFull[DollarCurrency].AsPlain(), dollarsFull);
    }

private:
    static void CheckPosition(const SPosition& position, const LedgerLine& line)
    {
        const cpp_int bought = line.Sum(1, false);
        const cpp_int sold = line.Sum(-1, false);
        ASSERT_EQ(position.quantity, bought - sold) << position.isin;
        ASSERT_EQ(position.buyQuantityTechnic, bought) << position.isin;
        ASSERT_EQ(position.sellQuantityTechnic, sold) << position.isin;
        ASSERT_EQ(position.buyVolume.AsPlain(), line.Sum(1, true)) << position.isin;
        ASSERT_EQ(position.sellVolume.AsPlain(), line.Sum(-1, true)) << position.isin;
        ASSERT_EQ(position.vmClose.AsPlain(), line.Vm()) << position.isin;
        ASSERT_EQ(position.waprice.AsPlain(), line.Average(sold >= bought ? -1 : 1)) << position.isin;
    }

    std::int64_t Between(std::int64_t low, std::int64_t high)
    {
        return std::uniform_int_distribution<std::int64_t>(low, high)(m_random);
    }
    /// Prices of either sign, now small, now large.
    std::int64_t AnyPrice() { return m_random() % 3 == 0 ? Between(-9, 9) : Between(-200'000'000, 900'000'000); }
    std::int64_t AnyQuantity()
    {
        const std::int64_t quantity = Between(1, m_random() % 4 == 0 ? 100'000 : 9);
        return m_random() % 2 == 0 ? quantity : -quantity;
    }

    void TradeOne()
    {
        auto line = m_ledger.begin();
        std::advance(line, Between(0, static_cast<std::int64_t>(m_ledger.size()) - 1));
        const LedgerDeal deal{AnyQuantity(), AnyPrice()};
        const auto price = t_bprice_int::FromPlain(deal.price);
        if (m_random() % 2 == 0)
            m_book.Clear(line->first, price, deal.quantity);
        else
            m_book.Trade(Trading(line->first), price, deal.quantity);
        line->second.deals.push_back(deal);
    }
    /// Ratio: two Near at their settlement of 100, three Far of the other side at (price + 200) / 3.
    void TradePair()
    {
        const std::int64_t quantity = AnyQuantity();
        const std::int64_t price = AnyPrice();
        m_book.Trade(Trading(Ratio), t_bprice_int::FromPlain(price), quantity);
        m_ledger[Near].deals.push_back({2 * quantity, 10000000});
        m_ledger[Far].deals.push_back(
            {-3 * quantity, static_cast<std::int64_t>(Rounded(cpp_int(price) + 20000000, 3))});
    }
    /// Any deal, not only the last.
    void TakeBack()
    {
        for (auto& [isin, line] : m_ledger) {
            if (line.deals.empty() || m_random() % 2 == 0) continue;
            const auto at = line.deals.begin() + Between(0, static_cast<std::int64_t>(line.deals.size()) - 1);
            m_book.Clear(isin, t_bprice_int::FromPlain(at->price), -at->quantity, true);
            line.deals.erase(at);
            return;
        }
    }

    std::mt19937 m_random;
    Book m_book;
    std::map<Isin, LedgerLine> m_ledger{{Near, {100000}},  {Far, {100000}},         {Dollars, {650000}},
                                        {Halves, {50000}}, {MarginStyle, {650000}}, {PremiumStyle, {650000}}};
};

TEST(DealWalk, StaysEqualToALedgerOfEveryDeal)
{
    for (unsigned seed = 1; seed <= 20; ++seed) {
        Walk walk(seed);
        for (int step = 0; step < 200; ++step) {
            walk.Step();
            walk.Check();
            ASSERT_FALSE(testing::Test::HasFatalFailure()) << "seed " << seed << ", step " << step;
        }
    }
}

} // namespace
} // namespace test::PositionWalkTest
