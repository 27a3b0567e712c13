#include "FitBook.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

#include "Fit.h"
#include "FitBound.h"
#include "FitTrade.h"

namespace quindal {

namespace {

/// Contracts beyond which a quantity is a slip of the hand, as in the files.
constexpr std::int64_t MostContracts = 1'000'000'000'000;

/// A figure in cents, of a book in place, against that of a fresh book: two steps of rounding up, and the rounding of
/// the largest sums that the search goes through.
double ToleranceOf(double fall, std::int64_t most)
{
    constexpr double Cents = 0.02;
    constexpr double Rounding = 1e-13;
    return std::isfinite(fall) ? Cents + Rounding * fall * static_cast<double>(most) : Cents;
}

double InCents(double money) { return std::round(money * 100.0) / 100.0; }

/// One question, with what is known of its book.
class Answering
{
public:
    Answering(MarginSession& session, const PartOfBook& part, const FitQuestion& question)
        : m_session(session), m_part(part), m_question(question), m_trade(session, part, question)
    {
        for (const FitItem& item : question.items)
            m_premium += PremiumOf(item);
    }

    FitAnswer Answer()
    {
        m_trade.SetUp(0);
        FitAnswer answer;
        m_before = GO();
        answer.without = m_exact.emplace(0, FiguresAt(0)).first->second;
        const FitFound found = LargestThatFits(Search());
        if (found.quantity) {
            answer.with = Exact(*found.quantity);
            if (*found.quantity < m_question.most) answer.next = Exact(*found.quantity + 1);
        }
        m_trade.SetUp(0);
        answer.evaluations = m_evaluations;
        return answer;
    }

private:
    FitSearch Search()
    {
        const double fall = m_trade.Fall();
        FitSearch search;
        search.most = m_question.most;
        search.limit = m_question.money;
        search.fall = m_question.isFree ? fall + m_premium : fall;
        search.jumps = m_trade.Jumps();
        search.tolerance = ToleranceOf(fall, m_question.most);
        search.figure = [this](std::int64_t quantity) {
            m_trade.ChangeTo(quantity);
            return Measured(FiguresAt(quantity));
        };
        search.fits = [this](std::int64_t quantity) { return Fits(Exact(quantity)); };
        return search;
    }

    double GO()
    {
        ++m_evaluations;
        const double figure = m_part.GO(m_session);
        if (std::isfinite(figure)) return figure;
        throw InputError("the margin of " + m_part.Name() +
                         " is no number: look for prices, quantities or instruments out of all proportion");
    }
    FitFigures FiguresAt(std::int64_t quantity)
    {
        const double now = quantity == 0 ? m_before : GO();
        const double premium = m_premium * static_cast<double>(quantity);
        return {quantity, now, premium, InCents(now - m_before) + premium};
    }
    /// Figures of a fresh book with the trade in it.
    const FitFigures& Exact(std::int64_t quantity)
    {
        const auto found = m_exact.find(quantity);
        if (found != m_exact.end()) return found->second;
        m_trade.SetUp(quantity);
        return m_exact.emplace(quantity, FiguresAt(quantity)).first->second;
    }
    [[nodiscard]] double Measured(const FitFigures& figures) const
    {
        return m_question.isFree ? figures.used : figures.GO;
    }
    /// Premiums have more digits than cents; the rounding of their sum does not decide.
    [[nodiscard]] bool Fits(const FitFigures& figures) const
    {
        constexpr double LessThanCents = 1e-6;
        return Measured(figures) <= m_question.money + (m_question.isFree ? LessThanCents : 0.0);
    }

    MarginSession& m_session;
    const PartOfBook& m_part;
    const FitQuestion& m_question;
    FitTrade m_trade;
    double m_premium = 0.0;
    double m_before = 0.0;
    std::map<std::int64_t, FitFigures> m_exact;
    std::size_t m_evaluations = 0;
};

void Check(const FitQuestion& question, const MarketCodes& codes)
{
    std::set<std::string> instruments;
    for (const FitItem& item : question.items) {
        const InstrumentKind* const kind = codes.Find(item.instrument);
        const auto refuse = [&](const std::string& reason) {
            throw InputError("\"" + item.instrument + "\" " + reason);
        };
        if (kind == nullptr || *kind == InstrumentKind::BaseContract || *kind == InstrumentKind::OptionSeries)
            refuse("is none of the futures, options and calendar spreads of the market");
        if (!instruments.insert(item.instrument).second) refuse("stands twice in the basket");
        if (*kind == InstrumentKind::CalendarSpread && question.as == FitAs::Position)
            refuse("is a calendar spread: only its legs are held; ask with --as order, or for a basket of its legs");
        if (*kind == InstrumentKind::CalendarSpread && item.price == 0.0)
            refuse("is a calendar spread and has no calculated price: give one (0.000001 for nothing)");
        if (item.ratio < 1 || question.most < 0 || question.most > MostContracts / item.ratio)
            refuse("would be traded in more than 10^12 contracts, or in less than one");
    }
}

} // namespace

FitBook::FitBook(MarginSession& session, const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions)
    : m_session(session), m_accounts(accounts), m_positions(positions), m_codes(MarginSession::Codes())
{}

FitAnswer FitBook::Largest(const FitQuestion& question)
{
    Check(question, m_codes);
    const PartOfBook part(m_accounts, m_positions, question.client, question.level);
    part.CheckMoves(question.as == FitAs::Order);
    return Answering(m_session, part, question).Answer();
}

} // namespace quindal
