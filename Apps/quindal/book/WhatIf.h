// WhatIf: what the margin of clients would be, had they orders that nobody has sent.
//
// Each what-if starts from the book without orders, to the last bit. To cancel its orders would not lead back there:
// what was added to a sum and taken out of it again leaves the rounding of both, and a collateral instrument keeps a
// part of a cancelled order until its client's book is made anew. So the book is made anew. Of the whole book only a
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

/// Rows of one label make one what-if; a row without stands alone and is labelled # and its number among the what-ifs.
[[nodiscard]] std::vector<WhatIf> WhatIfsOf(const Rows<OrderRow>& orders);

/// A book of positions in which what-ifs are tried, one after the other.
class WhatIfBook
{
public:
    /// The session has its instruments; what else it has goes with the first what-if. It and the rows outlive the book.
    WhatIfBook(MarginSession& session, const Rows<AccountRow>& accounts, const Rows<PositionRow>& positions);

    /// Figures before and after, one entry a client, in the order in which the what-if names them. The accounts have
    /// all of its clients. Throws CallError.
    [[nodiscard]] std::vector<WhatIfFigures> Try(const WhatIf& whatIf);

private:
    /// The book without orders, as far as these clients go.
    void Restore(const std::vector<std::string>& clients);

    MarginSession& m_session;
    const Rows<AccountRow>& m_accounts;
    const Rows<PositionRow>& m_positions;
    std::vector<const AccountRow*> m_order; // as they are registered
    std::map<std::string, std::vector<const PositionRow*>, std::less<>> m_positionsOfClients;
};

} // namespace quindal
