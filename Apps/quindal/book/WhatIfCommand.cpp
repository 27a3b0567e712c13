#include "WhatIfCommand.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <memory>

#include "ActionTrials.h"
#include "BookCheck.h"
#include "BookWords.h"
#include "CommandHelp.h"
#include "Commands.h"
#include "Progress.h"
#include "WhatIfReport.h"

namespace quindal {

namespace {

constexpr const char* WhatIfExamples =
    R"(  quindal what-if --actions actions.csv --instruments market.xml --accounts accounts.csv \
    --positions positions.csv
  quindal what-if --actions - ... <<END
  what_if,action,code,instrument,side,quantity,price,parameter,value
  less,close,CL01001,CRUD-12.26,,,,,
  other level,set,CL01002,,,,,risk_level,low
  END
)";

std::vector<TriedLevel> TryAll(BookRun& run, ActionTrials& trials, const Rows<ActionRow>& actions)
{
    const std::vector<ActionsOfWhatIf> whatIfs = WhatIfsOf(actions);
    std::vector<TriedLevel> tried;
    Progress progress("what-ifs", whatIfs.size());
    for (const ActionsOfWhatIf& whatIf : whatIfs) {
        const std::string what = "what-if " + whatIf.label;
        TriedWhatIf result = trials.Try(whatIf);
        std::move(result.levels.begin(), result.levels.end(), std::back_inserter(tried));
        for (const std::string& level : result.withoutRecords)
            run.Told().Add(what, level + ": under the netting rule a level lives by records of its own, and there are "
                                         "none; --derive-levels takes them from the clients");
        run.Watch(what);
        progress.Step();
    }
    return tried;
}

} // namespace

int RunWhatIf(const WhatIfOptions& options)
{
    std::vector<TriedLevel> tried;
    Provenance provenance;
    Reported(
        options,
        [&](BookRun& run) {
            Rows<ActionRow> actions;
            const auto readActions = [&](const Book& read, Problems& problems) {
                actions = ReadActions(ReadInput(options.actions), problems);
                CheckActors(read.accounts, actions, problems);
            };
            const auto checkNames = [&](const MarketCodes& codes, Problems& problems) {
                CheckInstruments(codes, actions, problems);
            };
            const Book book = run.Read({}, {readActions, checkNames});
            run.CompleteLevels();
            run.With(book, [&](MarginSession& session) {
                ActionTrials trials(session, book, actions, options.deriveLevels);
                tried = TryAll(run, trials, actions);
            });
            provenance = run.Origin();
        },
        [&] {
            if (options.showsProvenance && options.format == ReportFormat::Table)
                WriteProvenance(std::cout, provenance);
            WriteWhatIfs(std::cout, tried, provenance, options.format);
        });
    return StatusGood;
}

Command AddWhatIf(CLI::App& app)
{
    const auto options = std::make_shared<WhatIfOptions>();
    CLI::App* const whatIf = AddWord(
        app, "what-if", "Say what orders, trades, closings and other parameters would do to margins", WhatIfExamples);
    whatIf->add_option("--actions", options->actions, About("What would be done", ActionsSchema))
        ->type_name("FILE")
        ->required();
    AddBook(*whatIf, options);
    Choice(*whatIf, "--format", options->format, ReportFormats(), "How the figures are printed")->default_str("table");
    whatIf->callback([options] {
        CheckBook(*options);
        CheckStandardInput({&options->instruments, &options->accounts, &options->positions, &options->actions});
    });
    return {whatIf, [options] { return RunWhatIf(*options); }};
}

} // namespace quindal
