#include "MarginCommand.h"

#include <iostream>
#include <optional>
#include <utility>
#include <vector>

#include "Progress.h"
#include "WhatIf.h"

namespace quindal {

namespace {

std::vector<WhatIfFigures> TryAll(MarginSession& session, const BookTables& tables, const std::vector<WhatIf>& whatIfs)
{
    WhatIfBook book(session, tables.accounts, tables.positions);
    std::vector<WhatIfFigures> figures;
    Progress progress("what-ifs", whatIfs.size());
    for (const WhatIf& whatIf : whatIfs) {
        for (WhatIfFigures& ofClient : book.Try(whatIf))
            figures.push_back(std::move(ofClient));
        progress.Step();
    }
    return figures;
}

} // namespace

int RunMargin(const MarginOptions& options)
{
    return Reported([&] {
        const BookTables tables(options);
        std::optional<std::vector<WhatIf>> whatIfs;
        if (!options.orders.empty()) {
            whatIfs = ReadWhatIfs(options.orders);
            CheckClients(*whatIfs, tables.accounts);
        }
        MarginFigures figures;
        WithBook(options, tables, [&](MarginSession& session) {
            figures = session.Figures();
            if (whatIfs) figures.whatIfs = TryAll(session, tables, *whatIfs);
        });
        WriteReport(std::cout, figures, options.format);
    });
}

} // namespace quindal
