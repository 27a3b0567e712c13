#include "SessionDeskBook.h"

#include <iterator>
#include <utility>

namespace quindal {

SessionDeskBook::SessionDeskBook(BookRun& run, MarginSession& session, const Book& book)
    : m_run(run),
      m_session(session),
      m_book{book.accounts, book.positions, {}, {}},
      m_instruments(MarginSession::Codes()),
      m_figures(session.Figures()),
      m_parts(std::make_unique<WhatIfBook>(session, m_book.accounts, m_book.positions)),
      m_fits(std::make_unique<FitBook>(session, m_book.accounts, m_book.positions))
{
    for (const AccountRow& row : m_book.accounts.rows)
        if (row.level == AccountLevelClient) m_clients.insert(row.code);
}

std::vector<std::string> SessionDeskBook::Warnings() const { return m_run.Told().Texts(); }

double SessionDeskBook::CalculatedPrice(const std::string& instrument) const
{
    return MarginSession::CalculatedPrice(instrument);
}

QuindalIM::MarginExplanation SessionDeskBook::Explain(const std::string& client)
{
    m_parts->Restore({client});
    return m_session.Explain(client);
}

std::vector<WhatIfFigures> SessionDeskBook::Try(const Rows<OrderRow>& orders)
{
    std::vector<WhatIfFigures> figures;
    for (const WhatIf& whatIf : WhatIfsOf(orders)) {
        std::vector<WhatIfFigures> tried = m_parts->Try(whatIf);
        figures.insert(figures.end(), std::make_move_iterator(tried.begin()), std::make_move_iterator(tried.end()));
    }
    return figures;
}

FitAnswer SessionDeskBook::Largest(const FitQuestion& question) { return m_fits->Largest(question); }

void SessionDeskBook::Take()
{
    m_run.Refill(m_session, m_book);
    m_figures = m_session.Figures();
    m_parts = std::make_unique<WhatIfBook>(m_session, m_book.accounts, m_book.positions);
    m_fits = std::make_unique<FitBook>(m_session, m_book.accounts, m_book.positions);
}

void SessionDeskBook::Replace(Rows<PositionRow> positions)
{
    std::swap(m_book.positions, positions);
    try {
        Take();
    } catch (const CommandError&) {
        std::swap(m_book.positions, positions);
        Take();
        throw;
    }
}

} // namespace quindal
