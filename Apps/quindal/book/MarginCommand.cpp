#include "MarginCommand.h"

#include <algorithm>
#include <iostream>
#include <utility>
#include <vector>

#include "BookCheck.h"
#include "Limits.h"
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

/// Says how many limits are exceeded, if any are.
ExitStatus StatusOf(const std::vector<LimitUse>& limits)
{
    const auto exceeded =
        std::count_if(limits.begin(), limits.end(), [](const LimitUse& use) { return use.IsExceeded(); });
    if (exceeded == 0) return StatusGood;
    std::cerr << "quindal: " << exceeded << " of " << limits.size() << " limits are exceeded\n";
    return StatusDoesNotHold;
}

} // namespace

int RunMargin(const MarginOptions& options)
{
    MarginReport report;
    Provenance provenance;
    Reported(
        options,
        [&](BookRun& run) {
            Rows<MoneyRow> limits;
            const auto readLimits = [&](const Book& read, Problems& problems) {
                if (options.limits.empty()) return;
                limits = ReadLimits(ReadInput(options.limits), problems);
                CheckLimits(read.accounts, limits, problems);
            };
            const Book book = run.Read(options.orders, {readLimits});
            run.CompleteLevels();
            run.With(book, [&](MarginSession& session) {
                report.figures = session.Figures();
                if (book.orders) report.whatIfs = TryAll(run, session, book);
            });
            if (!options.limits.empty()) report.limits = UsesOf(limits, report.figures);
            provenance = run.Origin();
        },
        [&] {
            if (options.showsProvenance && options.format == ReportFormat::Table)
                WriteProvenance(std::cout, provenance);
            WriteReport(std::cout, report, provenance, options.format);
        });
    return report.limits ? StatusOf(*report.limits) : StatusGood;
}

} // namespace quindal
