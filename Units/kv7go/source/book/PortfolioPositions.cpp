// How a position enters a portfolio: in two steps, or with the book taken anew.
#include "book/RefreshedPortfolio.h"

namespace kv7im {

Portfolio::PreparedPosition::PreparedPosition(Portfolio& book, Isin isin, std::int64_t quantity, double price,
                                              std::int64_t novQuantity)
    : m_book(book), m_isin(isin), m_quantity(quantity), m_price(price), m_novQuantity(novQuantity)
{
    Find();
    if (m_position == nullptr || !book.IsSuspect()) return;
    const double rest = book.MagnitudeOfHoldings(m_position) + m_position->MagnitudeOf(quantity, price, novQuantity);
    if (book.IsSpoiltFor(rest)) TakeAnew();
}

Portfolio::PreparedPosition::~PreparedPosition() = default;

// The position, with all the memory that its change will take.
void Portfolio::PreparedPosition::Find()
{
    m_found = m_book.FindByIsin(m_isin);
    if (m_found.FuturesFound())
        m_position = &m_found.GetPositionPtr()->MakeRoomForFutures();
    else if (m_found.OptionFound())
        m_position = &m_found.GetPositionPtr()->MakeRoomForOption(*m_found.GetOptionPtr());
}

void Portfolio::PreparedPosition::Change()
{
    m_book.NoteMagnitude(m_position->MagnitudeOf(m_quantity, m_price, m_novQuantity));
    if (m_found.FuturesFound())
        m_found.GetPositionPtr()->ChangeFuturesPosition(m_quantity, m_price);
    else
        m_found.GetPositionPtr()->ChangeOptionPosition(static_cast<CSpecPositionOptionsBase&>(*m_position), m_quantity,
                                                       m_price, m_novQuantity);
}

// The change is made in a copy of the book, and the copy is taken anew from what it holds then.
void Portfolio::PreparedPosition::TakeAnew()
{
    m_before = std::make_unique<Refreshed>(m_book, Refreshed::Because::CellsAreSpoilt);
    Find();
    Change();
    Refreshed(m_book, Refreshed::Because::CellsAreSpoilt).Keep();
    Find();
}

Z9ERR Portfolio::PreparedPosition::Apply()
{
    if (TakesAnew())
        m_before->Keep();
    else if (m_position != nullptr)
        Change();
    return m_found.ErrorToZ9ErrorCode();
}

} // namespace kv7im
