// SessionDeskBook: the book of a desk in a session of the library.
//
// The figures of the whole book are taken once it is filled. From then on the session has the part of the book that a
// request is about, registered and set anew as WhatIf.h says, so that each answer is that of a book that nobody has
// asked anything yet.
#pragma once

#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

#include "BookRun.h"
#include "DeskBook.h"
#include "WhatIf.h"

namespace quindal {

class SessionDeskBook : public DeskBook
{
public:
    /// The session holds the book. Run and session outlive it.
    SessionDeskBook(BookRun& run, MarginSession& session, const Book& book);

    [[nodiscard]] const Rows<AccountRow>& Accounts() const override { return m_book.accounts; }
    [[nodiscard]] bool HasClient(const std::string& client) const override { return m_clients.contains(client); }
    [[nodiscard]] const Rows<PositionRow>& Positions() const override { return m_book.positions; }
    [[nodiscard]] const MarketCodes& Instruments() const override { return m_instruments; }
    [[nodiscard]] Provenance Origin() const override { return m_run.Origin(); }
    [[nodiscard]] std::vector<std::string> Warnings() const override;
    [[nodiscard]] const MarginFigures& Figures() const override { return m_figures; }
    [[nodiscard]] double CalculatedPrice(const std::string& instrument) const override;
    [[nodiscard]] QuindalIM::MarginExplanation Explain(const std::string& client) override;
    [[nodiscard]] std::vector<WhatIfFigures> Try(const Rows<OrderRow>& orders) override;
    [[nodiscard]] FitAnswer Largest(const FitQuestion& question) override;
    void Replace(Rows<PositionRow> positions) override;

private:
    /// Fills the session with the book and takes its figures.
    void Take();

    BookRun& m_run;
    MarginSession& m_session;
    Book m_book;
    std::unordered_set<std::string> m_clients;
    MarketCodes m_instruments;
    MarginFigures m_figures;
    std::unique_ptr<WhatIfBook> m_parts;
    std::unique_ptr<FitBook> m_fits;
};

} // namespace quindal
