// The words that work on a book of positions, and their options.
#include <algorithm>
#include <array>
#include <iostream>
#include <map>
#include <memory>
#include <string>

#include "CheckCommand.h"
#include "CommandHelp.h"
#include "Commands.h"
#include "ExplainCommand.h"
#include "InputFile.h"
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

constexpr const char* ExplainExamples =
    R"(  quindal explain --client CL01001 --instruments market.xml --accounts accounts.csv \
    --positions positions.csv --svg CL01001.svg
)";
constexpr const char* CheckExamples =
    R"(  quindal check --instruments market.xml --accounts accounts.csv --positions positions.csv --orders orders.csv
  quindal check --positions -      # a file named - is standard input
)";

constexpr const char* FilesExamples = "  quindal files | less\n";

std::string About(const std::string& purpose, const Schema& schema)
{
    return purpose + " (CSV: " + schema.Columns() + ")";
}

/// Refuses "-" for more than one file: standard input can be read once.
void CheckStandardInput(std::initializer_list<const std::string*> files)
{
    if (std::count_if(files.begin(), files.end(), [](const std::string* file) { return *file == StandardInput; }) > 1)
        throw CLI::ValidationError("\"-\"", "standard input can be one of the files only");
}

/// Accepts a currency's code as ISO 4217 forms them.
CLI::Validator CurrencyCode()
{
    const auto fault = [](const std::string& code) {
        const bool isCode =
            code.size() == 3 && std::all_of(code.begin(), code.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
        return isCode ? std::string() : "\"" + code + "\": a currency's code is three capital letters, such as EUR";
    };
    return {fault, "", "currency"};
}

/// Where a book comes from.
void AddBook(CLI::App& command, const std::shared_ptr<BookOptions>& options)
{
    CLI::Option* const ini =
        command.add_option("--ini", options->iniFile, "Ini file that names a live server")->type_name("FILE");
    CLI::Option* const instruments = command
                                         .add_option("--instruments", options->instruments,
                                                     "Market file (XML), served privately for the length of the run")
                                         ->type_name("FILE");
    ini->excludes(instruments);
    command
        .add_option("--user", options->user, "User to log in as; its password comes from the environment or a prompt")
        ->type_name("NAME")
        ->check(UserName());
    command.add_option("--accounts", options->accounts, About("Accounts", AccountsSchema))
        ->type_name("FILE")
        ->required();
    command.add_option("--positions", options->positions, About("Positions", PositionsSchema))
        ->type_name("FILE")
        ->required();
    command.add_option("--password-env", options->passwordVariable, "Environment variable that holds the password")
        ->type_name("NAME")
        ->capture_default_str();
    command.add_flag("--strict", options->isStrict, "A warning ends the run without figures");
    command
        .add_option("--currency", options->currency,
                    "Currency that the margins are in, for the record: market files do not name it")
        ->type_name("CODE")
        ->check(CurrencyCode());
    command.add_flag("--provenance", options->showsProvenance,
                     "Say before the tables what they come from: market, its digest and time, library, currency");
    command.add_flag("--derive-levels", options->deriveLevels,
                     "Take the records of firms and accounts that live by their own and have none from their clients");
}

void CheckBook(BookOptions& options)
{
    if (options.iniFile.empty() && options.instruments.empty()) throw CLI::RequiredError("--ini or --instruments");
    if (!options.iniFile.empty() && options.user.empty()) throw CLI::RequiredError("--user");
    if (options.user.empty()) options.user = "demo";
}

} // namespace

Command AddMargin(CLI::App& app)
{
    static const std::map<std::string, ReportFormat> formats{
        {"table", ReportFormat::Table}, {"csv", ReportFormat::Csv}, {"json", ReportFormat::Json}};
    const auto options = std::make_shared<MarginOptions>();
    CLI::App* const margin = AddWord(app, "margin", "Compute the margin of a book of positions", MarginExamples);
    AddBook(*margin, options);
    margin
        ->add_option("--orders", options->orders,
                     About("What-ifs: orders whose effect on the margin is shown, as if they were sent", OrdersSchema))
        ->type_name("FILE");
    Choice(*margin, "--format", options->format, formats,
           "How the figures are printed; csv has one table: that of the what-ifs with --orders")
        ->default_str("table");
    margin->callback([options] {
        CheckBook(*options);
        CheckStandardInput({&options->instruments, &options->accounts, &options->positions, &options->orders});
    });
    return {margin, [options] { return RunMargin(*options); }};
}

Command AddExplain(CLI::App& app)
{
    static const std::map<std::string, ExplainFormat> formats{{"table", ExplainFormat::Table},
                                                              {"json", ExplainFormat::Json}};
    const auto options = std::make_shared<ExplainOptions>();
    CLI::App* const explain = AddWord(app, "explain", "Say why the margin of a client is what it is", ExplainExamples);
    explain->add_option("--client", options->client, "Client, one of the accounts")->type_name("CODE")->required();
    AddBook(*explain, options);
    Choice(*explain, "--format", options->format, formats, "How the explanation is printed")->default_str("table");
    explain->add_option("--svg", options->svg, "File to draw profit and loss over the price grids into (SVG)")
        ->type_name("FILE");
    explain->callback([options] {
        CheckBook(*options);
        CheckStandardInput({&options->instruments, &options->accounts, &options->positions});
    });
    return {explain, [options] { return RunExplain(*options); }};
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
