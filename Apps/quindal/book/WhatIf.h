// WhatIf: the margin that clients would have with orders that nobody has sent.
//
// Each what-if starts from the book without orders, to the last bit. Cancelling its orders would not lead back there:
// adding to a sum and subtracting again leaves the rounding of both, and a collateral instrument keeps a part of a
// cancelled order until its client's book is rebuilt. So the book is rebuilt. Of the whole book only a
// small part is needed: a client's margin is made of its own positions and of the parameters of its firm, nothing that
// other clients hold enters into it, and nothing but the clients' margin is asked for. The accounts, and the clients of
// the what-if with their firms, are registered again and these clients' positions set in their order, which adds the
// same numbers in the same sequence. A what-if costs as much as its own clients hold, however large the book.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "MarginSession.h"
#include "Rows.h"

namespace quindal {

/// Orders that are placed together.
struct WhatIf
{
    std::string label;
    std::vector<Order> orders; // in the order of the file, which is that in which they are placed
};

/// The what-ifs of some orders: rows of one label make one what-if. A row without a label is a what-if of its own,
/// labelled # and its number among the what-ifs.
[[nodiscard]] std::vector<WhatIf> WhatIfsOf(const Rows<OrderRow>& orders);

/// A book of positions in which what-ifs are tried, one after the other.
class WhatIfBook
{
public:
    /// The session has its instruments loaded; everything else in it is replaced by the first what-if. Session and rows
    /// outlive the book.
    WhatIfBook(MarginSession& session, const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions);

    /// Figures before and after the orders, one entry a client, in the order in which the what-if names the clients.
    /// The accounts contain all of them. Throws CallError.
    [[nodiscard]] std::vector<WhatIfFigures> Try(const WhatIf& whatIf);
    /// Brings the part of the book that concerns these clients back to its state without orders.
    void Restore(const std::vector<std::string>& clients);

private:
    MarginSession& m_session;
    const Rows<AccountRow>& m_accounts;
    const Rows<PositionRow>& m_positions;
    std::vector<const AccountRow*> m_order; // in the order of registration
    std::map<std::string, std::vector<const PositionRow*>, std::less<>> m_positionsOfClients;
};

} // namespace quindal
