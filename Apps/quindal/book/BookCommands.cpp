// The words that work on a book of positions, and their options.
#include <algorithm>
#include <array>
#include <iostream>
#include <map>
#include <memory>
#include <string>

#include "BookWords.h"
#include "CheckCommand.h"
#include "CommandHelp.h"
#include "Commands.h"
#include "MarginCommand.h"
#include "Schema.h"

namespace quindal {

namespace {

constexpr const char* MarginExamples =
    R"(  quindal margin --instruments market.xml --accounts accounts.csv --positions positions.csv
      # all in one: router and server are private and end with the run
  quindal margin --instruments market.xml --accounts accounts.csv --positions positions.csv \
    --orders orders.csv --format json
  QUINDAL_PASSWORD=secret quindal margin --ini quindal.ini --user USER01 \
    --accounts accounts.csv --positions positions.csv
  quindal files      # what the columns mean; one of the files may be standard input, named -
)";

constexpr const char* CheckExamples =
    R"(  quindal check --instruments market.xml --accounts accounts.csv --positions positions.csv --orders orders.csv
  quindal check --positions -      # a file named - is standard input
)";

constexpr const char* FilesExamples = "  quindal files | less\n";

} // namespace

Command AddMargin(CLI::App& app)
{
    const auto options = std::make_shared<MarginOptions>();
    CLI::App* const margin = AddWord(app, "margin", "Compute the margin of a book of positions", MarginExamples);
    AddBook(*margin, options);
    margin
        ->add_option("--orders", options->orders,
                     About("What-ifs: orders whose effect on the margin is shown, as if they were sent", OrdersSchema))
        ->type_name("FILE");
    CLI::Option* const orders = margin->get_option("--orders");
    CLI::Option* const limits =
        margin
            ->add_option("--limits", options->limits,
                         About("Margins that are not to be exceeded; where one is, the exit status is 5", LimitsSchema))
            ->type_name("FILE");
    Choice(*margin, "--format", options->format, ReportFormats(),
           "How the figures are printed; csv has one table: that of the what-ifs with --orders, of the limits with "
           "--limits")
        ->default_str("table");
    margin->callback([options, orders, limits] {
        CheckBook(*options);
        CheckStandardInput(
            {&options->instruments, &options->accounts, &options->positions, &options->orders, &options->limits});
        if (options->format == ReportFormat::Csv && orders->count() > 0 && limits->count() > 0)
            throw CLI::ValidationError("--format csv", "has one table: ask for --orders or for --limits");
    });
    return {margin, [options] { return RunMargin(*options); }};
}

Command AddCheck(CLI::App& app)
{
    const auto options = std::make_shared<CheckOptions>();
    CLI::App* const check =
        AddWord(app, "check", "Say what is wrong with input files, without computing", CheckExamples);
    check->add_option("--instruments", options->instruments, "Market file (XML)")->type_name("FILE");
    check->add_option("--accounts", options->accounts, About("Accounts", AccountsSchema))->type_name("FILE");
    check->add_option("--positions", options->positions, About("Positions", PositionsSchema))->type_name("FILE");
    check->add_option("--orders", options->orders, About("What-ifs", OrdersSchema))->type_name("FILE");
    check->add_option("--users", options->users, About("Users of a server", UsersSchema))->type_name("FILE");
    check->add_flag("--strict", options->isStrict, "A warning is an error");
    check->add_flag("--provenance", options->showsProvenance, "Say the market file's digest and time, too")
        ->needs("--instruments");
    check->callback([options] {
        const std::array files{&options->instruments, &options->accounts, &options->positions, &options->orders,
                               &options->users};
        if (std::all_of(files.begin(), files.end(), [](const std::string* file) { return file->empty(); }))
            throw CLI::RequiredError("a file to check");
        CheckStandardInput({files[0], files[1], files[2], files[3], files[4]});
    });
    return {check, [options] { return RunCheck(*options); }};
}

Command AddFiles(CLI::App& app)
{
    CLI::App* const files =
        AddWord(app, "files", "Print what may stand in the input files, column by column (Markdown)", FilesExamples);
    return {files, [] {
                std::cout << InputFilesReference();
                return 0;
            }};
}

} // namespace quindal
