#include "MarginCommand.h"

#include <iostream>
#include <utility>
#include <vector>

#include "Progress.h"
#include "WhatIf.h"

namespace quindal {

namespace {

std::vector<WhatIfFigures> TryAll(BookRun& run, MarginSession& session, const Book& book)
{
    const std::vector<WhatIf> whatIfs = WhatIfsOf(*book.orders);
    WhatIfBook tried(session, book.accounts, book.positions);
    std::vector<WhatIfFigures> figures;
    Progress progress("what-ifs", whatIfs.size());
    for (const WhatIf& whatIf : whatIfs) {
        for (WhatIfFigures& ofClient : tried.Try(whatIf))
            figures.push_back(std::move(ofClient));
        run.Watch("what-if " + whatIf.label);
        progress.Step();
    }
    return figures;
}

} // namespace

int RunMargin(const MarginOptions& options)
{
    MarginFigures figures;
    Provenance provenance;
    Reported(
        options,
        [&](BookRun& run) {
            const Book book = run.Read(options.orders);
            run.CompleteLevels();
            run.With(book, [&](MarginSession& session) {
                figures = session.Figures();
                if (book.orders) figures.whatIfs = TryAll(run, session, book);
            });
            provenance = run.Origin();
        },
        [&] {
            if (options.showsProvenance && options.format == ReportFormat::Table)
                WriteProvenance(std::cout, provenance);
            WriteReport(std::cout, figures, provenance, options.format);
        });
    return StatusGood;
}

} // namespace quindal
