#include "ReliefBook.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>
#include <utility>

#include "PartOfBook.h"
#include "ReliefCandidates.h"
#include "ReliefTrial.h"

namespace quindal {

namespace {

/// A trade of some quantity.
struct Part
{
    ReliefCandidate trade;
    std::int64_t quantity = 0;

    [[nodiscard]] double Turnover() const { return static_cast<double>(quantity) * trade.turnover; }
};
using Parts = std::vector<Part>;

double TurnoverOf(const Parts& parts)
{
    double sum = 0.0;
    for (const Part& part : parts)
        sum += part.Turnover();
    return sum;
}

/// What a trade frees, and for what turnover.
struct Worth
{
    Part part;
    double freed = 0.0;

    /// Freed for each unit of turnover; what is had for nothing comes first.
    [[nodiscard]] double Ratio() const
    {
        const double turnover = part.Turnover();
        return turnover > 0.0 ? freed / turnover : std::numeric_limits<double>::max();
    }
};

/// What a step is chosen for.
enum class Choose
{
    Rate,  // most for its turnover
    Money, // most
};

/// One question, with the book that is tried.
class Relieving
{
public:
    Relieving(MarginSession& session, const PartOfBook& part, const Rows<PositionRow>& positions,
              const MarketCodes& codes, const ReliefQuestion& question)
        : m_codes(codes), m_question(question), m_trial(session, part, positions), m_start(m_trial.Held())
    {}

    ReliefAnswer Answer()
    {
        m_before = m_trial.Exact();
        Parts best;
        if (!m_question.target) {
            best = Merged(Greedy(Choose::Rate));
        } else if (m_before > *m_question.target) {
            best = One();
            if (best.empty()) best = Two();
            if (best.empty()) best = Many();
            if (StepsOf(best).after > Target())
                if (Parts share = ShareOfAll(); share.size() <= m_question.mostSteps && IsWayDown(share))
                    best = std::move(share);
        }
        ReliefAnswer answer = StepsOf(best);
        answer.isReached = !m_question.target || answer.after <= *m_question.target;
        m_trial.ReturnTo(m_start);
        answer.evaluations = m_trial.Evaluations();
        return answer;
    }

private:
    [[nodiscard]] double Target() const { return *m_question.target; }
    [[nodiscard]] std::vector<ReliefCandidate> Candidates() const
    {
        return CandidatesOf(m_trial.Held(), m_codes, m_question.mostHedged);
    }

    /// The trade of least turnover that reaches the target by itself; its smallest quantity.
    std::optional<Part> Cheapest(const std::vector<ReliefCandidate>& candidates)
    {
        std::optional<Part> best;
        for (const ReliefCandidate& trade : candidates) {
            const std::optional<std::int64_t> quantity = m_trial.Smallest(trade, Target());
            if (!quantity) continue;
            const Part part{trade, *quantity};
            if (!best || part.Turnover() < best->Turnover()) best = part;
        }
        return best;
    }

    Parts One()
    {
        const std::optional<Part> best = Cheapest(Candidates());
        return best ? Parts{*best} : Parts{};
    }

    /// Two trades: the first a closing in whole, or one of those that free most for their turnover.
    Parts Two()
    {
        Parts best;
        for (const Part& first : Firsts()) {
            m_trial.Make(first.trade, first.quantity);
            const std::optional<Part> second = Cheapest(Candidates());
            m_trial.ReturnTo(m_start);
            if (!second) continue;
            for (Parts pair : {Parts{first, *second}, Parts{*second, first}}) {
                if (!best.empty() && TurnoverOf(pair) >= TurnoverOf(best)) break;
                if (IsWayDown(pair)) best = std::move(pair);
            }
        }
        return best;
    }
    Parts Firsts()
    {
        constexpr std::size_t BestHedges = 10;
        Parts firsts;
        std::vector<Worth> worths;
        for (const ReliefCandidate& trade : Candidates()) {
            if (trade.isClosing) firsts.push_back({trade, trade.most});
            if (const std::optional<Worth> worth = WorthOf(trade, m_before, Choose::Rate)) worths.push_back(*worth);
        }
        std::stable_sort(worths.begin(), worths.end(),
                         [](const Worth& a, const Worth& b) { return a.Ratio() > b.Ratio(); });
        for (std::size_t i = 0; i < std::min(BestHedges, worths.size()); ++i)
            firsts.push_back(worths[i].part);
        return firsts;
    }

    /// As many trades as it takes: chosen for their rates or for the money that they free, whichever list reaches the
    /// target, and then the shorter one, and the one of less turnover.
    Parts Many()
    {
        const auto rank = [this](const Parts& parts) {
            const double after = StepsOf(parts).after;
            const bool isReached = after <= Target();
            return std::tuple(!isReached, isReached ? 0.0 : after, parts.size(), TurnoverOf(parts));
        };
        Parts byRate = Pruned(Merged(Greedy(Choose::Rate)));
        Parts byMoney = Pruned(Merged(Greedy(Choose::Money)));
        return rank(byMoney) < rank(byRate) ? byMoney : byRate;
    }
    /// The smallest share of everything that is held, in hundredths.
    Parts ShareOfAll()
    {
        Parts parts;
        for (std::int64_t share = 1; share <= 100; ++share) {
            parts.clear();
            for (const ReliefCandidate& trade : Candidates())
                if (trade.isClosing) parts.push_back({trade, (trade.most * share + 99) / 100});
            if (StepsOf(parts).after <= Target()) break;
        }
        return parts;
    }
    Parts Greedy(Choose choose)
    {
        constexpr std::size_t TurnsForAStep = 3; // several of one instrument become one step
        const auto better = [choose](const Worth& a, const Worth& b) {
            return choose == Choose::Rate ? a.Ratio() > b.Ratio() : a.freed > b.freed;
        };
        Parts parts;
        double now = m_before;
        for (std::size_t turn = 0; turn < TurnsForAStep * m_question.mostSteps; ++turn) {
            if (m_question.target && now <= Target()) break;
            const bool isFull = Together(parts).size() >= m_question.mostSteps;
            std::optional<Worth> best;
            for (const ReliefCandidate& trade : Candidates()) {
                if ((isFull && !Has(parts, trade, true)) || Has(parts, trade, false)) continue;
                const std::optional<Worth> worth = WorthOf(trade, now, choose);
                if (worth && (!best || better(*worth, *best))) best = worth;
            }
            if (!best) break;
            if (m_question.target && now - best->freed <= Target())
                if (const auto enough = m_trial.Smallest(best->part.trade, Target())) best->part.quantity = *enough;
            m_trial.Make(best->part.trade, best->part.quantity);
            const double after = m_trial.Exact();
            if (after >= now) break; // freed less than the rounding
            now = after;
            parts.push_back(best->part);
        }
        m_trial.ReturnTo(m_start);
        return parts;
    }

    static bool IsSame(const ReliefCandidate& a, const ReliefCandidate& b)
    {
        return a.item.instrument == b.item.instrument && a.item.isBuy == b.item.isBuy && a.isClosing == b.isClosing;
    }
    /// Whether a trade is among the parts, or one that would undo it.
    static bool Has(const Parts& parts, const ReliefCandidate& trade, bool sameSide)
    {
        return std::any_of(parts.begin(), parts.end(), [&](const Part& part) {
            return part.trade.item.instrument == trade.item.instrument &&
                   (part.trade.item.isBuy == trade.item.isBuy) == sameSide;
        });
    }
    /// Trades of one instrument and side as one, in the place of the first.
    static Parts Together(const Parts& parts)
    {
        Parts together;
        for (const Part& part : parts) {
            const auto same = std::find_if(together.begin(), together.end(),
                                           [&](const Part& other) { return IsSame(part.trade, other.trade); });
            if (same == together.end())
                together.push_back(part);
            else
                same->quantity += part.quantity;
        }
        return together;
    }
    /// The parts with two of one instrument as one, in the place of either, where that is good enough.
    std::optional<Parts> AsOne(const Parts& parts, std::size_t i, std::size_t j, double enough)
    {
        for (const auto& [kept, gone] : {std::pair(i, j), std::pair(j, i)}) {
            Parts fewer = parts;
            Part& sum = fewer[kept];
            sum.quantity += fewer[gone].quantity;
            if (!sum.trade.isClosing && sum.quantity > m_question.mostHedged) continue;
            fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(gone));
            const ReliefAnswer answer = StepsOf(fewer);
            if (answer.after <= enough && !Raises(answer)) return fewer;
        }
        return std::nullopt;
    }
    /// The same with fewer steps: trades of one instrument become one, where that frees as much and raises nothing;
    /// no more than are allowed.
    Parts Merged(Parts parts)
    {
        constexpr double Rounding = 0.011;
        const double enough = m_question.target ? Target() : StepsOf(parts).after + Rounding;
        for (std::size_t i = 0; i < parts.size();) {
            std::optional<Parts> fewer;
            for (std::size_t j = i + 1; j < parts.size() && !fewer; ++j)
                if (IsSame(parts[i].trade, parts[j].trade)) fewer = AsOne(parts, i, j, enough);
            if (fewer)
                parts = std::move(*fewer);
            else
                ++i;
        }
        if (parts.size() > m_question.mostSteps) parts.resize(m_question.mostSteps);
        return parts;
    }

    /// The quantity of a trade that frees most, at no less than half its best rate where rates count; none where none
    /// frees anything.
    std::optional<Worth> WorthOf(const ReliefCandidate& trade, double now, Choose choose)
    {
        constexpr double LeastMoney = 0.02; // beyond the rounding of cents
        std::vector<Worth> worths;
        for (const std::int64_t quantity : QuantitiesOf(trade)) {
            const double freed = now - m_trial.Quick(trade, quantity);
            if (freed > LeastMoney) worths.push_back({{trade, quantity}, freed});
        }
        m_trial.TakeBack(trade);
        double rate = 0.0;
        for (const Worth& worth : worths)
            rate = std::max(rate, worth.Ratio());
        const double least = choose == Choose::Rate ? rate / 2 : 0.0;
        std::optional<Worth> best;
        for (const Worth& worth : worths)
            if (worth.Ratio() >= least && (!best || worth.freed > best->freed)) best = worth;
        return best;
    }
    static std::vector<std::int64_t> QuantitiesOf(const ReliefCandidate& trade)
    {
        constexpr std::int64_t Shares = 8;
        std::vector<std::int64_t> quantities;
        for (std::int64_t quantity = 1; quantity < trade.most; quantity *= 2)
            quantities.push_back(quantity);
        for (std::int64_t share = 1; trade.isClosing && share < Shares; ++share)
            quantities.push_back(std::max<std::int64_t>(1, trade.most * share / Shares));
        quantities.push_back(trade.most);
        return quantities;
    }

    /// Without the trades that the target does not need.
    Parts Pruned(Parts parts)
    {
        for (std::size_t i = 0; i < parts.size();) {
            Parts fewer = parts;
            fewer.erase(fewer.begin() + static_cast<std::ptrdiff_t>(i));
            if (StepsOf(fewer).after <= Target() && IsWayDown(fewer))
                parts = std::move(fewer);
            else
                ++i;
        }
        return parts;
    }

    /// Whether no step raises the margin and the target is reached.
    bool IsWayDown(const Parts& parts)
    {
        const ReliefAnswer answer = StepsOf(parts);
        return answer.after <= Target() && (m_question.allowsDetour || !Raises(answer));
    }
    static bool Raises(const ReliefAnswer& answer)
    {
        return std::any_of(answer.steps.begin(), answer.steps.end(),
                           [](const ReliefStep& step) { return step.after > step.before; });
    }

    /// The figures of each step, by books that are set up anew.
    ReliefAnswer StepsOf(const Parts& parts)
    {
        m_trial.ReturnTo(m_start);
        ReliefAnswer answer;
        answer.before = answer.after = m_before;
        for (const Part& part : parts) {
            m_trial.Make(part.trade, part.quantity);
            const double after = m_trial.Exact();
            answer.steps.push_back({part.trade.item.instrument, part.trade.item.isBuy, part.trade.isClosing,
                                    part.quantity, answer.after, after, part.Turnover()});
            answer.after = after;
        }
        m_trial.ReturnTo(m_start);
        return answer;
    }

    const MarketCodes& m_codes;
    const ReliefQuestion& m_question;
    ReliefTrial m_trial;
    Holdings m_start;
    double m_before = 0.0;
};

} // namespace

ReliefBook::ReliefBook(MarginSession& session, const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions)
    : m_session(session), m_accounts(accounts), m_positions(positions), m_codes(MarginSession::Codes())
{}

ReliefAnswer ReliefBook::Find(const ReliefQuestion& question)
{
    const PartOfBook part(m_accounts, m_positions, question.client, MarginLevel::Client);
    ReliefAnswer answer = Relieving(m_session, part, m_positions, m_codes, question).Answer();
    part.SetUp(m_session);
    return answer;
}

} // namespace quindal
