// Answers of ReliefBook against plain search over small books: its figures are those of fresh books, no step raises the
// margin, and no shorter list of the kinds that it promises to see is missed.
#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Draw.h"
#include "FitTrade.h"
#include "PartOfBook.h"
#include "PlayedSession.h"
#include "ReliefBook.h"

namespace test::ReliefBookTest {
namespace {

using namespace quindal;
using replay::Draw;

std::uint64_t Setting(const char* name, std::uint64_t otherwise)
{
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

using Positions = std::map<std::string, PositionRow>;

struct Trade
{
    std::string instrument;
    bool isBuy;
    std::int64_t most;
    bool isClosing;
};

/// A client of a drawn book, with few contracts of few instruments, looked at plainly.
class SmallBook
{
public:
    SmallBook(std::uint64_t seed, std::int64_t most) : m_most(most), m_book(seed), m_session(m_book.Document())
    {
        Draw draw(seed);
        for (const AccountRow& row : m_book.accounts.rows)
            if (row.level == AccountLevelClient && client.empty()) client = row.code;
        std::erase_if(m_book.positions.rows, [&](const PositionRow& row) { return row.code != client; });
        if (m_book.positions.rows.size() > 4) m_book.positions.rows.resize(4);
        for (PositionRow& row : m_book.positions.rows) {
            row.quantity = draw.Whole(-12, 12);
            row.afterLastClearing = row.quantity;
            m_held.emplace(row.instrument, row);
        }
    }

    [[nodiscard]] ReliefAnswer Ask(const ReliefQuestion& question)
    {
        ReliefAnswer answer = ReliefBook(*m_session, m_book.accounts, m_book.positions).Find(question);
        const ClientFigures left = m_session->FiguresOf(client);
        PartOfBook(m_book.accounts, m_book.positions, client, MarginLevel::Client).SetUp(*m_session);
        const ClientFigures fresh = m_session->FiguresOf(client);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(left.volatilityGO), std::bit_cast<std::uint64_t>(fresh.volatilityGO));
        EXPECT_EQ(std::bit_cast<std::uint64_t>(left.deliveryAndVolatilityGO),
                  std::bit_cast<std::uint64_t>(fresh.deliveryAndVolatilityGO));
        return answer;
    }

    /// GO of a fresh book with these positions.
    [[nodiscard]] double GO(const Positions& held)
    {
        std::vector<PositionRow> rows;
        for (const auto& [code, row] : held)
            rows.push_back(row);
        PartOfBook(m_book.accounts, m_book.positions, client, MarginLevel::Client).SetUp(*m_session, rows);
        return m_session->FiguresOf(client).GO;
    }
    [[nodiscard]] const Positions& Held() const { return m_held; }

    [[nodiscard]] Positions With(Positions held, const std::string& instrument, bool isBuy, std::int64_t quantity) const
    {
        PositionRow& row = held[instrument];
        row.code = client;
        row.instrument = instrument;
        const double price = MarginSession::CalculatedPrice(instrument);
        if (row.price == 0.0) row.price = price;
        row = Traded(row, isBuy ? quantity : -quantity, price);
        return held;
    }

    /// Closings, and hedges in whatever nets with something that is held.
    [[nodiscard]] std::vector<Trade> Trades(const Positions& held) const
    {
        const plain::MarketView view(m_book.market, {});
        const auto groupOf = [&](const std::string& instrument) {
            for (const FuturesSample& futures : m_book.market.futures)
                if (futures.Code == instrument || instrument.starts_with(futures.Code + '-')) {
                    const BaseContractSample& contract = view.ContractOf(futures);
                    return contract.CodeMCS.empty() ? contract.Code : "group " + contract.CodeMCS;
                }
            return std::string("nothing");
        };
        std::set<std::string> groups;
        std::vector<Trade> trades;
        for (const auto& [code, row] : held) {
            if (row.quantity == 0) continue;
            groups.insert(groupOf(code));
            trades.push_back({code, row.quantity < 0, std::abs(row.quantity), true});
        }
        const auto add = [&](const std::string& code) {
            if (!groups.contains(groupOf(code))) return;
            const auto own = held.find(code);
            const std::int64_t quantity = own == held.end() ? 0 : own->second.quantity;
            if (quantity >= 0) trades.push_back({code, true, m_most, false});
            if (quantity <= 0) trades.push_back({code, false, m_most, false});
        };
        for (const FuturesSample& futures : m_book.market.futures)
            if (!plain::TradesAtSettlement(futures)) add(futures.Code);
        for (const OptionSample& option : m_book.market.options)
            add(option.Code);
        return trades;
    }

    /// Whether a trade reaches the target by itself, from these positions.
    [[nodiscard]] bool Reaches(const Positions& held, double target)
    {
        for (const Trade& trade : Trades(held))
            for (std::int64_t quantity = 1; quantity <= trade.most; ++quantity)
                if (GO(With(held, trade.instrument, trade.isBuy, quantity)) <= target) return true;
        return false;
    }

    std::string client;

private:
    std::int64_t m_most;
    DrawnBook m_book;
    PlayedSession m_session;
    Positions m_held;
};

void CheckSteps(SmallBook& book, const ReliefQuestion& question, const ReliefAnswer& answer)
{
    Positions held = book.Held();
    double before = book.GO(held);
    EXPECT_EQ(answer.before, before);
    for (const ReliefStep& step : answer.steps) {
        ASSERT_GT(step.quantity, 0);
        if (step.isClosing) {
            ASSERT_TRUE(held.contains(step.instrument));
            ASSERT_LE(step.quantity, std::abs(held[step.instrument].quantity));
            ASSERT_EQ(step.isBuy, held[step.instrument].quantity < 0);
        } else {
            ASSERT_LE(step.quantity, question.mostHedged);
        }
        held = book.With(held, step.instrument, step.isBuy, step.quantity);
        EXPECT_EQ(step.before, before);
        EXPECT_EQ(step.after, book.GO(held));
        EXPECT_LE(step.after, step.before);
        before = step.after;
    }
    EXPECT_EQ(answer.after, before);
    EXPECT_EQ(answer.isReached, !question.target || answer.after <= *question.target);
    EXPECT_LE(answer.steps.size(), question.mostSteps);
}

/// One trade is found where one is enough; two are, where a closing in whole and another trade are, and neither raises
/// the margin.
void CheckShortest(SmallBook& book, double target, const ReliefAnswer& answer)
{
    if (answer.before <= target) {
        EXPECT_TRUE(answer.steps.empty());
        return;
    }
    const bool isOneEnough = book.Reaches(book.Held(), target);
    EXPECT_EQ(isOneEnough, answer.isReached && answer.steps.size() == 1);
    if (isOneEnough || (answer.isReached && answer.steps.size() == 2)) return;
    for (const Trade& first : book.Trades(book.Held())) {
        if (!first.isClosing) continue;
        const Positions held = book.With(book.Held(), first.instrument, first.isBuy, first.most);
        if (book.GO(held) > answer.before) continue;
        EXPECT_FALSE(book.Reaches(held, target)) << "after closing " << first.instrument;
    }
}

TEST(ReliefBook, MissesNoShorterListAndRaisesNothing)
{
    const std::uint64_t first = Setting("QUINDAL_RELIEF_SEED", 1);
    const std::uint64_t books = Setting("QUINDAL_RELIEF_BOOKS", 8);
    std::map<std::size_t, int> lengths;
    for (std::uint64_t seed = first; seed < first + books; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        SmallBook book(seed, 6);
        Draw draw(seed + 77);
        const double before = book.GO(book.Held());
        for (const double share : {0.8, 0.4, 0.15, draw.Grid(0.0, 0.05, 21)}) {
            ReliefQuestion question{book.client, before * share, 6};
            const ReliefAnswer answer = book.Ask(question);
            CheckSteps(book, question, answer);
            CheckShortest(book, *question.target, answer);
            if (testing::Test::HasFailure()) return;
            ++lengths[answer.steps.size()];
        }
        const ReliefQuestion least{book.client, std::nullopt, 6};
        CheckSteps(book, least, book.Ask(least));
    }
    EXPECT_GT(lengths[1], 0);
    EXPECT_GT(lengths.size(), 1U);
}

} // namespace
} // namespace test::ReliefBookTest
