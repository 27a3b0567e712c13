// DeskBook: the book of positions that a page looks at. The page's requests need no more than this, so that they can be
// tested without a library that is logged in.
#pragma once

#include <string>
#include <vector>

#include "FitBook.h"
#include "MarginExplanation.h"
#include "MarginSession.h"
#include "MarketCodes.h"
#include "Provenance.h"
#include "Rows.h"

namespace quindal {

class DeskBook
{
public:
    virtual ~DeskBook() = default;

    [[nodiscard]] virtual const Rows<AccountRow>& Accounts() const = 0;
    /// Whether a client is among the accounts; does not take longer for many.
    [[nodiscard]] virtual bool HasClient(const std::string& client) const = 0;
    [[nodiscard]] virtual const Rows<PositionRow>& Positions() const = 0;
    [[nodiscard]] virtual const MarketCodes& Instruments() const = 0;
    [[nodiscard]] virtual Provenance Origin() const = 0;
    /// What the library has warned of while the book was filled.
    [[nodiscard]] virtual std::vector<std::string> Warnings() const = 0;
    /// Figures of the whole book.
    [[nodiscard]] virtual const MarginFigures& Figures() const = 0;
    /// The calculated price of a futures or an option; 0 for anything else.
    [[nodiscard]] virtual double CalculatedPrice(const std::string& instrument) const = 0;

    /// Explains the GO of a client of the accounts.
    [[nodiscard]] virtual QuindalIM::MarginExplanation Explain(const std::string& client) = 0;
    /// Figures with orders and without. Rows of one label are one what-if, a row without a label is one of its own.
    /// Clients and instruments are known. Throws CommandError for orders that the library refuses.
    [[nodiscard]] virtual std::vector<WhatIfFigures> Try(const Rows<OrderRow>& orders) = 0;
    /// The largest quantity that fits. Client and instruments are known. Throws CommandError for a question that the
    /// library refuses.
    [[nodiscard]] virtual FitAnswer Largest(const FitQuestion& question) = 0;
    /// Puts other positions in the place of all there are. Holders and instruments are known. Throws CommandError for
    /// positions that the library refuses; those before them stay then.
    virtual void Replace(Rows<PositionRow> positions) = 0;
};

} // namespace quindal
