#include "FitTrade.h"

#include <algorithm>
#include <cstdlib>

#include "FitBound.h"

namespace quindal {

namespace {

double PriceOf(const std::string& instrument, double price)
{
    return price == 0.0 ? MarginSession::CalculatedPrice(instrument) : price;
}

PositionRow Nothing(const std::string& client, const std::string& instrument)
{
    PositionRow row;
    row.code = client;
    row.instrument = instrument;
    return row;
}

std::int64_t Signed(const FitItem& item, std::int64_t quantity)
{
    return (item.isBuy ? item.ratio : -item.ratio) * quantity;
}

} // namespace

PositionRow Traded(const PositionRow& held, std::int64_t quantity, double price)
{
    PositionRow row = held;
    if (quantity == 0) return row;
    row.quantity = held.quantity + quantity;
    const bool isSameSide = held.quantity == 0 || (held.quantity > 0) == (quantity > 0);
    if (isSameSide)
        row.price = (static_cast<double>(held.quantity) * held.price + static_cast<double>(quantity) * price) /
                    static_cast<double>(row.quantity);
    else if (std::abs(quantity) > std::abs(held.quantity))
        row.price = price;
    if (row.price == 0.0) row.price = 1e-300; // 0 would stand for the calculated price
    return row;
}

FitTrade::FitTrade(MarginSession& session, const PartOfBook& part, const FitQuestion& question)
    : m_session(session), m_part(part), m_as(question.as), m_level(question.level)
{
    for (const FitItem& traded : question.items) {
        const PositionRow* const held = part.Find(traded.instrument);
        m_items.push_back({traded, held == nullptr ? Nothing(part.Client(), traded.instrument) : *held});
        m_leavesTraces = m_leavesTraces || (m_as == FitAs::Order && RemembersOrders(traded.instrument));
    }
}

std::vector<PositionRow> FitTrade::Positions(std::int64_t quantity) const
{
    std::vector<PositionRow> rows;
    for (const auto& [traded, held] : m_items) {
        PositionRow known = held;
        if (quantity != 0) known.price = PriceOf(held.instrument, held.price);
        rows.push_back(Traded(known, Signed(traded, quantity), PriceOf(traded.instrument, traded.price)));
    }
    return rows;
}

void FitTrade::Order(std::int64_t quantity)
{
    for (const auto& [traded, held] : m_items)
        m_session.ChangeOrders({{},
                                m_part.Client(),
                                traded.instrument,
                                traded.isBuy,
                                traded.ratio * (quantity - m_quantity),
                                traded.price});
    m_quantity = quantity;
}

void FitTrade::SetUp(std::int64_t quantity)
{
    if (m_as == FitAs::Position) {
        m_part.SetUp(m_session, quantity == 0 ? std::vector<PositionRow>() : Positions(quantity));
        m_quantity = quantity;
        return;
    }
    m_part.SetUp(m_session);
    m_quantity = 0;
    if (quantity != 0) Order(quantity);
}

void FitTrade::ChangeTo(std::int64_t quantity)
{
    if (quantity == m_quantity) return;
    if (m_leavesTraces) return SetUp(quantity);
    if (m_as == FitAs::Order) return Order(quantity);
    for (const PositionRow& row : Positions(quantity))
        m_session.SetPosition({}, row);
    m_quantity = quantity;
}

double FitTrade::Fall() const
{
    double fall = 0.0;
    for (const auto& [traded, held] : m_items)
        fall += m_as == FitAs::Order ? FallOfOrder(m_part.Client(), traded, m_level)
                                     : FallOfPosition(m_part.Client(), traded,
                                                      {held.quantity, PriceOf(held.instrument, held.price)}, m_level);
    return fall;
}

std::vector<std::int64_t> FitTrade::Jumps() const
{
    std::vector<std::int64_t> jumps;
    if (m_as == FitAs::Order) return jumps;
    for (const auto& [traded, held] : m_items) {
        const std::int64_t one = Signed(traded, 1);
        if (held.quantity % one == 0 && held.quantity / one < 0) jumps.push_back(-held.quantity / one);
    }
    return jumps;
}

} // namespace quindal
