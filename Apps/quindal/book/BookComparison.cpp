#include "BookComparison.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <map>
#include <numeric>
#include <optional>

#include "BookSelection.h"

namespace quindal {

namespace {

std::int64_t CentsOf(double money) { return std::llround(money * 100.0); }
double MoneyOf(std::int64_t cents) { return static_cast<double>(cents) / 100.0; }

/// A row and the file that messages name for it.
struct Placed
{
    const PositionRow* row;
    std::string where;
};

using Positions = std::vector<Placed>; // in the order in which they are set

Positions PositionsOf(const std::string& client, const Rows<PositionRow>& rows)
{
    Positions positions;
    for (const PositionRow& row : rows.rows)
        if (row.level == QUINDAL_ACCOUNT_HIERARCHY_CLIENT && row.code == client)
            positions.push_back({&row, rows.Where(row)});
    return positions;
}

bool IsAlike(const PositionRow& a, const PositionRow& b)
{
    return a.quantity == b.quantity && a.price == b.price && a.afterLastClearing == b.afterLastClearing;
}

/// The position in an instrument in either book; null where it is not there.
struct Pair
{
    const Placed* before = nullptr;
    const Placed* after = nullptr;
};

std::map<std::string, Pair> DifferencesOf(const Positions& before, const Positions& after)
{
    std::map<std::string, Pair> pairs;
    for (const Placed& position : before)
        pairs[position.row->instrument].before = &position;
    for (const Placed& position : after)
        pairs[position.row->instrument].after = &position;
    std::erase_if(pairs, [](const auto& entry) {
        const Pair& pair = entry.second;
        return pair.before != nullptr && pair.after != nullptr && IsAlike(*pair.before->row, *pair.after->row);
    });
    return pairs;
}

class Walk
{
public:
    Walk(MarginSession& session, const std::string& client, const Rows<AccountRow>& accounts, const Positions& before,
         const Positions& after)
        : m_session(session), m_client(client), m_accounts(accounts), m_before(before), m_after(after)
    {}

    /// GO of a book that is made anew, in cents.
    [[nodiscard]] std::int64_t CentsWith(const Positions& positions)
    {
        m_session.RemoveAccounts();
        for (const AccountRow* const row : InOrderOfRegistration(m_accounts))
            m_session.Register(m_accounts.Where(*row), *row);
        for (const Placed& position : positions)
            m_session.SetPosition(position.where, *position.row);
        return CentsOf(m_session.FiguresOf(m_client).GO);
    }

    /// What each step changes on the way through the instruments, in their order. The way begins and ends with the two
    /// books as their files have them.
    [[nodiscard]] std::vector<std::int64_t> Steps(const std::vector<std::string>& instruments, std::int64_t begin,
                                                  std::int64_t end)
    {
        std::vector<std::int64_t> steps;
        std::map<std::string, bool, std::less<>> isChanged;
        for (const std::string& instrument : instruments)
            isChanged[instrument] = false;
        std::int64_t was = begin;
        for (std::size_t i = 0; i < instruments.size(); ++i) {
            isChanged[instruments[i]] = true;
            const std::int64_t now = i + 1 == instruments.size() ? end : CentsWith(Between(isChanged));
            steps.push_back(now - was);
            was = now;
        }
        return steps;
    }

private:
    /// The book in which some of the differing positions are as they will be.
    [[nodiscard]] Positions Between(const std::map<std::string, bool, std::less<>>& isChanged) const
    {
        Positions positions;
        const auto add = [&](const Positions& rows, bool asItWillBe) {
            for (const Placed& position : rows) {
                const auto differing = isChanged.find(position.row->instrument);
                const bool isTaken = differing == isChanged.end() ? asItWillBe : differing->second == asItWillBe;
                if (isTaken) positions.push_back(position);
            }
        };
        add(m_after, true);
        add(m_before, false);
        return positions;
    }

    MarginSession& m_session;
    const std::string& m_client;
    const Rows<AccountRow>& m_accounts;
    const Positions& m_before;
    const Positions& m_after;
};

PositionDifference Described(const std::string& instrument, const Pair& pair, std::int64_t part)
{
    PositionDifference described;
    described.instrument = instrument;
    if (pair.before != nullptr) {
        described.quantityBefore = pair.before->row->quantity;
        described.priceBefore = pair.before->row->price;
    }
    if (pair.after != nullptr) {
        described.quantityAfter = pair.after->row->quantity;
        described.priceAfter = pair.after->row->price;
    }
    described.part = MoneyOf(part);
    return described;
}

} // namespace

std::vector<std::int64_t> AveragedParts(const std::vector<std::int64_t>& onWay,
                                        const std::vector<std::int64_t>& otherWay)
{
    std::vector<std::int64_t> parts;
    for (std::size_t i = 0; i < onWay.size(); ++i) {
        const std::int64_t twice = onWay[i] + otherWay[i];
        parts.push_back(twice / 2 - (twice % 2 < 0 ? 1 : 0)); // the cent below a half
    }
    if (parts.empty()) return parts;
    const std::int64_t left = std::reduce(onWay.begin(), onWay.end()) - std::reduce(parts.begin(), parts.end());
    *std::ranges::max_element(parts, {}, [](std::int64_t part) { return std::abs(part); }) += left;
    return parts;
}

BookDifference CompareBooks(MarginSession& session, const std::string& client, const Rows<AccountRow>& accounts,
                            const Rows<PositionRow>& before, const Rows<PositionRow>& after)
{
    const Positions rowsBefore = PositionsOf(client, before);
    const Positions rowsAfter = PositionsOf(client, after);
    const std::map<std::string, Pair> pairs = DifferencesOf(rowsBefore, rowsAfter);
    Walk walk(session, client, accounts, rowsBefore, rowsAfter);
    const std::int64_t begin = walk.CentsWith(rowsBefore);
    const std::int64_t end = walk.CentsWith(rowsAfter);

    std::vector<std::string> instruments;
    instruments.reserve(pairs.size());
    for (const auto& [instrument, pair] : pairs)
        instruments.push_back(instrument);
    const std::vector<std::int64_t> onWay = walk.Steps(instruments, begin, end);
    std::ranges::reverse(instruments);
    std::vector<std::int64_t> otherWay = walk.Steps(instruments, begin, end);
    std::ranges::reverse(otherWay);
    const std::vector<std::int64_t> parts = AveragedParts(onWay, otherWay);

    BookDifference difference{client, before.file, after.file, MoneyOf(begin), MoneyOf(end), MoneyOf(end - begin), {}};
    std::size_t i = 0;
    for (const auto& [instrument, pair] : pairs)
        difference.positions.push_back(Described(instrument, pair, parts[i++]));
    return difference;
}

} // namespace quindal
