// Answers of FitBook against looking at every quantity, each in a book that is made anew, over books of every kind.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "Draw.h"
#include "FitBook.h"
#include "FitBound.h"
#include "FitTrade.h"
#include "MarginMarket.h"
#include "PlayedSession.h"

namespace test::FitBookTest {
namespace {

using namespace quindal;
using replay::Draw;

/// How many books a test looks at: more by QUINDAL_FIT_BOOKS, from QUINDAL_FIT_SEED on.
std::uint64_t Setting(const char* name, std::uint64_t otherwise)
{
    const char* const text = std::getenv(name);
    return text == nullptr ? otherwise : std::strtoull(text, nullptr, 10);
}

FitItem AnyItem(Draw& draw, const plain::Market& market, FitAs as)
{
    FitItem item;
    const int kind = draw.Whole(0, as == FitAs::Order ? 2 : 1);
    item.isBuy = draw.OnceIn(2);
    if (kind == 2 && !market.multilegs.empty()) {
        const MultilegSample& spread = draw.OneOf(market.multilegs);
        item.instrument = spread.Code;
        item.price = draw.Grid(-10.0, 0.25, 81) + 0.125;
    } else if (kind == 1 && !market.options.empty()) {
        const OptionSample& option = draw.OneOf(market.options);
        item.instrument = option.Code;
        item.price = draw.OnceIn(3) ? 0.0 : option.CalcOptPrice + draw.Grid(0.0, 0.25, 17);
    } else {
        const FuturesSample& futures = draw.OneOf(market.futures);
        item.instrument = futures.Code;
        const double centre = plain::TradesAtSettlement(futures) ? 0.125 : futures.CalcFutPrice;
        item.price = draw.OnceIn(3) ? 0.0 : centre + draw.Grid(-6.0, 0.25, 49);
    }
    return item;
}

/// A book, a question about one of its clients, and the figures of all quantities.
class Asked
{
public:
    Asked(MarginSession& session, const DrawnBook& book, Draw& draw) : m_session(session), m_book(book)
    {
        std::vector<std::string> clients;
        for (const AccountRow& row : book.accounts.rows)
            if (row.level == AccountLevelClient) clients.push_back(row.code);
        question.client = draw.OneOf(clients);
        question.as = draw.OneOf({FitAs::Order, FitAs::Position});
        question.level = draw.OneOf({FitLevel::Client, FitLevel::Client, FitLevel::Firm, FitLevel::Account});
        question.isFree = draw.OnceIn(3);
        question.most = draw.OneOf({0, 1, 20, 300, 2000});
        for (int i = draw.OnceIn(4) ? 2 : 1; i > 0; --i) {
            FitItem item = AnyItem(draw, book.market, question.as);
            item.ratio = draw.OnceIn(3) ? draw.Whole(2, 7) : 1;
            const auto same = [&](const FitItem& other) { return other.instrument == item.instrument; };
            if (std::none_of(question.items.begin(), question.items.end(), same)) question.items.push_back(item);
        }
    }

    /// False where nothing that the client trades moves the level.
    [[nodiscard]] bool Moves() const
    {
        try {
            const PartOfBook part(m_book.accounts, m_book.positions, question.client, question.level);
            part.CheckMoves(question.as == FitAs::Order);
        } catch (const InputError&) {
            return false;
        }
        return true;
    }

    /// GO of the level with the trade so many times, in a session that has nothing else; by the calls of an
    /// application.
    [[nodiscard]] double GOWith(std::int64_t quantity)
    {
        m_session.RemoveAccounts();
        for (const AccountLevel level :
             {AccountLevelSettlementAccount, AccountLevelFirm, AccountLevelRatio, AccountLevelClient})
            for (const AccountRow& row : m_book.accounts.rows)
                if (row.level == level) m_session.Register({}, row);
        for (const PositionRow& row : m_book.positions.rows)
            m_session.SetPosition(
                {}, question.as == FitAs::Position && row.code == question.client ? WithTrade(row, quantity) : row);
        if (quantity != 0) Trade(quantity);
        switch (question.level) {
        case FitLevel::Client:
            return m_session.FiguresOf(question.client).GO;
        case FitLevel::Firm:
            return MarginSession::GOOfFirm(FirmOf(question.client));
        default:
            return MarginSession::GOOfAccount(Account());
        }
    }

    FitQuestion question;

private:
    [[nodiscard]] static double PriceOf(const std::string& instrument, double price)
    {
        return price == 0.0 ? MarginSession::CalculatedPrice(instrument) : price;
    }
    [[nodiscard]] PositionRow WithTrade(PositionRow row, std::int64_t quantity) const
    {
        for (const FitItem& item : question.items) {
            if (item.instrument != row.instrument || quantity == 0) continue;
            row.price = PriceOf(row.instrument, row.price);
            return Traded(row, (item.isBuy ? 1 : -1) * item.ratio * quantity, PriceOf(item.instrument, item.price));
        }
        return row;
    }
    void Trade(std::int64_t quantity)
    {
        for (const FitItem& item : question.items) {
            if (question.as == FitAs::Order) {
                static_cast<void>(m_session.PlaceOrder(
                    {{}, question.client, item.instrument, item.isBuy, item.ratio * quantity, item.price}));
                continue;
            }
            const auto isIt = [&](const PositionRow& row) {
                return row.code == question.client && row.instrument == item.instrument;
            };
            if (std::any_of(m_book.positions.rows.begin(), m_book.positions.rows.end(), isIt)) continue;
            PositionRow nothing;
            nothing.code = question.client;
            nothing.instrument = item.instrument;
            m_session.SetPosition({}, WithTrade(nothing, quantity));
        }
    }
    [[nodiscard]] std::string Account() const
    {
        for (const AccountRow& row : m_book.accounts.rows)
            if (row.level == AccountLevelFirm && row.code == FirmOf(question.client)) return row.parent;
        return {};
    }

    MarginSession& m_session;
    const DrawnBook& m_book;
};

double InCents(double money) { return std::round(money * 100.0) / 100.0; }

class FitBooks : public testing::Test
{
protected:
    /// Asks a question of each book and checks the answer; so many books.
    static void Ask(std::uint64_t first, std::uint64_t books)
    {
        int moved = 0;
        for (std::uint64_t seed = first; seed < first + books; ++seed) {
            SCOPED_TRACE("seed " + std::to_string(seed));
            const DrawnBook book(seed);
            PlayedSession session(book.Document());
            Draw draw(seed);
            for (int i = 0; i < 3; ++i) {
                Asked asked(*session, book, draw);
                if (!asked.Moves()) {
                    FitBook fit(*session, book.accounts, book.positions);
                    EXPECT_THROW(static_cast<void>(fit.Largest(asked.question)), InputError);
                    continue;
                }
                ++moved;
                CheckAnswer(*session, book, asked, draw);
                if (HasFatalFailure()) return;
            }
        }
        EXPECT_GT(moved, 0);
    }

private:
    static void CheckAnswer(MarginSession& session, const DrawnBook& book, Asked& asked, Draw& draw)
    {
        FitQuestion& question = asked.question;
        double premium = 0.0;
        for (const FitItem& item : question.items)
            premium += PremiumOf(item);
        std::vector<double> GO;
        for (std::int64_t quantity = 0; quantity <= question.most + 1; ++quantity)
            GO.push_back(asked.GOWith(quantity));
        CheckBound(session, book, question, GO);
        if (HasFatalFailure()) return;

        const auto measured = [&](std::size_t quantity) {
            return question.isFree ? InCents(GO[quantity] - GO[0]) + premium * static_cast<double>(quantity)
                                   : GO[quantity];
        };
        for (int i = 0; i < 4; ++i) {
            const std::size_t aim = static_cast<std::size_t>(draw.Whole(0, static_cast<int>(question.most)));
            question.money = measured(aim) + draw.OneOf({0.0, 0.0, 0.01, -0.01, 1000.0});
            FitBook fit(session, book.accounts, book.positions);
            const FitAnswer answer = fit.Largest(question);
            std::optional<std::size_t> expected;
            for (std::size_t quantity = 0; quantity <= static_cast<std::size_t>(question.most); ++quantity)
                if (measured(quantity) <= question.money + (question.isFree ? 1e-6 : 0.0)) expected = quantity;
            ASSERT_EQ(answer.with.has_value(), expected.has_value());
            EXPECT_EQ(answer.without.GO, GO[0]);
            if (!expected) continue;
            ASSERT_EQ(answer.with->quantity, static_cast<std::int64_t>(*expected));
            EXPECT_EQ(answer.with->GO, GO[*expected]);
            ASSERT_EQ(answer.next.has_value(), answer.with->quantity < question.most);
            if (answer.next) {
                EXPECT_EQ(answer.next->GO, GO[*expected + 1]);
            }
            CheckLeft(session, book, question);
        }
    }

    /// No figure falls by more than the bound from one quantity to the next lower one, but at the jumps.
    static void CheckBound(MarginSession& session, const DrawnBook& book, const FitQuestion& question,
                           const std::vector<double>& GO)
    {
        const PartOfBook part(book.accounts, book.positions, question.client, question.level);
        part.SetUp(session);
        const FitTrade trade(session, part, question);
        const double fall = trade.Fall();
        const std::vector<std::int64_t> jumps = trade.Jumps();
        for (std::size_t quantity = 1; quantity < GO.size(); ++quantity) {
            const auto isJump = [&](std::int64_t jump) {
                return jump == static_cast<std::int64_t>(quantity) || jump + 1 == static_cast<std::int64_t>(quantity);
            };
            if (std::any_of(jumps.begin(), jumps.end(), isJump)) continue;
            ASSERT_LE(GO[quantity] - GO[quantity - 1], fall + 0.0101 + 1e-12 * GO[quantity])
                << question.items.front().instrument << (question.items.front().isBuy ? " bought " : " sold ")
                << quantity << (question.as == FitAs::Order ? " as order" : " as position");
        }
    }

    /// The session has the part of the book as it was, to the last bit.
    static void CheckLeft(MarginSession& session, const DrawnBook& book, const FitQuestion& question)
    {
        const ClientFigures left = session.FiguresOf(question.client);
        const PartOfBook part(book.accounts, book.positions, question.client, question.level);
        part.SetUp(session);
        const ClientFigures fresh = session.FiguresOf(question.client);
        EXPECT_EQ(std::bit_cast<std::uint64_t>(left.volatilityGO), std::bit_cast<std::uint64_t>(fresh.volatilityGO));
        EXPECT_EQ(std::bit_cast<std::uint64_t>(left.deliveryAndVolatilityGO),
                  std::bit_cast<std::uint64_t>(fresh.deliveryAndVolatilityGO));
    }
};

TEST_F(FitBooks, AnswerAsLookingAtEveryQuantityDoes)
{
    Ask(Setting("QUINDAL_FIT_SEED", 1), Setting("QUINDAL_FIT_BOOKS", 4));
}

} // namespace
} // namespace test::FitBookTest
