// The word reconcile and its options.
#include <charconv>
#include <cmath>
#include <memory>
#include <string>

#include "BookWords.h"
#include "CommandHelp.h"
#include "Commands.h"
#include "ReconcileCommand.h"

namespace quindal {

namespace {

constexpr const char* ReconcileExamples =
    R"(  quindal reconcile --report clearing.csv --tolerance 0.05 --instruments market.xml \
    --accounts accounts.csv --positions positions.csv
  quindal reconcile --report clearing.csv --tolerance 0.5% --other-instruments yesterday.xml \
    --instruments market.xml --accounts accounts.csv --positions positions.csv
)";

/// A tolerance as people write it: "0.05" is money, "0.5%" a share of the clearing's margin.
Tolerance ReadTolerance(const std::string& text)
{
    Tolerance tolerance;
    tolerance.isShare = text.ends_with('%');
    const std::string number = text.substr(0, text.size() - (tolerance.isShare ? 1 : 0));
    const auto [end, error] = std::from_chars(number.data(), number.data() + number.size(), tolerance.amount);
    const bool isGood = error == std::errc{} && end == number.data() + number.size() && tolerance.amount >= 0.0 &&
                        std::isfinite(tolerance.amount);
    if (!isGood)
        throw CLI::ValidationError("--tolerance",
                                   '"' + text + "\" is neither money, such as 0.05, nor a share, such as 0.5%");
    if (tolerance.isShare) tolerance.amount /= 100.0;
    return tolerance;
}

} // namespace

Command AddReconcile(CLI::App& app)
{
    const auto options = std::make_shared<ReconcileOptions>();
    CLI::App* const reconcile =
        AddWord(app, "reconcile", "Compare margins with the clearing's and say what would explain differences",
                ReconcileExamples);
    reconcile->add_option("--report", options->report, About("The clearing's margins", ClearingSchema))
        ->type_name("FILE")
        ->required();
    reconcile
        ->add_option_function<std::string>(
            "--tolerance", [options](const std::string& text) { options->tolerance = ReadTolerance(text); },
            "How far a margin may be from the clearing's and still agree: money, or per cent of the clearing's")
        ->type_name("MONEY|PERCENT%")
        ->default_str("0");
    reconcile->add_option("--explain", options->explained, "How many clients that are off to look into")
        ->type_name("N")
        ->capture_default_str();
    reconcile
        ->add_option("--other-positions", options->otherPositions,
                     "Positions that the clearing may have had instead; tried as an explanation")
        ->type_name("FILE");
    reconcile
        ->add_option("--other-instruments", options->otherInstruments,
                     "Market file (XML) that it may have had instead, such as an older one; likewise")
        ->type_name("FILE");
    AddBook(*reconcile, options);
    Choice(*reconcile, "--format", options->format, ReportFormats(), "How the report is printed")->default_str("table");
    reconcile->callback([options] {
        CheckBook(*options);
        CheckStandardInput({&options->instruments, &options->accounts, &options->positions, &options->report,
                            &options->otherPositions, &options->otherInstruments});
    });
    return {reconcile, [options] { return RunReconcile(*options); }};
}

} // namespace quindal
