#include "ReliefTrial.h"

#include <cmath>
#include <vector>

#include "Fit.h"
#include "FitBound.h"
#include "FitTrade.h"

namespace quindal {

namespace {

PositionRow WithPrice(PositionRow row)
{
    if (row.price == 0.0) row.price = MarginSession::CalculatedPrice(row.instrument);
    return row;
}

PositionRow Flat(const std::string& client, const std::string& instrument)
{
    PositionRow row;
    row.code = client;
    row.instrument = instrument;
    return row;
}

} // namespace

ReliefTrial::ReliefTrial(MarginSession& session, const PartOfBook& part, const Rows<PositionRow>& positions)
    : m_session(session), m_part(part)
{
    for (const PositionRow& row : positions.rows)
        if (row.level == QUINDAL_ACCOUNT_HIERARCHY_CLIENT && row.code == part.Client())
            m_held.emplace(row.instrument, row);
    m_part.SetUp(m_session);
}

PositionRow ReliefTrial::RowOf(const ReliefCandidate& trade, std::int64_t quantity) const
{
    const auto held = m_held.find(trade.item.instrument);
    PositionRow row = held == m_held.end() ? Flat(m_part.Client(), trade.item.instrument) : held->second;
    if (quantity == 0) return row;
    return Traded(WithPrice(row), trade.item.isBuy ? quantity : -quantity,
                  MarginSession::CalculatedPrice(trade.item.instrument));
}

double ReliefTrial::GO()
{
    ++m_evaluations;
    const double figure = m_part.GO(m_session);
    if (std::isfinite(figure)) return figure;
    throw InputError("the margin of " + m_part.Name() +
                     " is no number: look for prices, quantities or instruments out of all proportion");
}

double ReliefTrial::Quick(const ReliefCandidate& trade, std::int64_t quantity)
{
    m_session.SetPosition({}, RowOf(trade, quantity));
    return GO();
}

void ReliefTrial::SetUp()
{
    std::vector<PositionRow> rows;
    for (const auto& [code, row] : m_held)
        rows.push_back(row);
    m_part.SetUp(m_session, rows);
}

double ReliefTrial::Exact(const ReliefCandidate& trade, std::int64_t quantity)
{
    const Holdings before = m_held;
    m_held[trade.item.instrument] = RowOf(trade, quantity);
    SetUp();
    m_held = before;
    return GO();
}

double ReliefTrial::Exact()
{
    SetUp();
    return GO();
}

void ReliefTrial::TakeBack(const ReliefCandidate& trade) { m_session.SetPosition({}, RowOf(trade, 0)); }

void ReliefTrial::Make(const ReliefCandidate& trade, std::int64_t quantity)
{
    const PositionRow row = RowOf(trade, quantity);
    m_session.SetPosition({}, row);
    m_held[trade.item.instrument] = row;
}

void ReliefTrial::ReturnTo(const Holdings& held)
{
    m_held = held;
    SetUp();
}

std::optional<std::int64_t> ReliefTrial::Search(const ReliefCandidate& trade, double limit, bool fromBelow)
{
    // From below the search is that from the top, of the quantity that is left of the most.
    const auto quantityOf = [&](std::int64_t place) { return fromBelow ? trade.most - place : place + 1; };
    const PositionRow held = WithPrice(RowOf(trade, 0));
    FitSearch search;
    search.most = trade.most - 1;
    search.limit = limit;
    if (fromBelow) { // one contract more is one less of the other side
        FitItem other = trade.item;
        other.isBuy = !other.isBuy;
        search.fall = FallOfPosition(m_part.Client(), other, {trade.item.isBuy ? 1 : -1, held.price}, FitLevel::Client);
    } else {
        search.fall = FallOfPosition(m_part.Client(), trade.item, {held.quantity, held.price}, FitLevel::Client);
    }
    if (trade.isClosing) search.jumps = {fromBelow ? 0 : trade.most - 1};
    search.tolerance =
        0.02 + 1e-13 * (std::isfinite(search.fall) ? search.fall : 0.0) * static_cast<double>(trade.most);
    search.figure = [&](std::int64_t place) { return Quick(trade, quantityOf(place)); };
    search.fits = [&](std::int64_t place) { return Exact(trade, quantityOf(place)) <= limit; };
    const FitFound found = LargestThatFits(search);
    TakeBack(trade);
    if (!found.quantity) return std::nullopt;
    return quantityOf(*found.quantity);
}

std::optional<std::int64_t> ReliefTrial::Largest(const ReliefCandidate& trade, double limit)
{
    return Search(trade, limit, false);
}

std::optional<std::int64_t> ReliefTrial::Smallest(const ReliefCandidate& trade, double limit)
{
    return Search(trade, limit, true);
}

} // namespace quindal
