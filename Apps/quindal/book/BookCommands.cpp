// The words that look at a book of positions, and their options.
#include <algorithm>
#include <array>
#include <iostream>
#include <map>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "CheckCommand.h"
#include "Commands.h"
#include "ExplainCommand.h"
#include "InputFile.h"
#include "MarginCommand.h"
#include "Schema.h"

namespace quindal {

namespace {

std::string About(const std::string& purpose, const Schema& schema)
{
    return purpose + " (CSV: " + schema.Columns() + ")";
}

/// Standard input can be read once.
void CheckStandardInput(std::initializer_list<const std::string*> files)
{
    if (std::count_if(files.begin(), files.end(), [](const std::string* file) { return *file == StandardInput; }) > 1)
        throw CLI::ValidationError("\"-\"", "standard input can be one of the files only");
}

/// Where a book comes from.
void AddBook(CLI::App& command, const std::shared_ptr<BookOptions>& options)
{
    CLI::Option* const ini = command.add_option("--ini", options->iniFile, "Ini file that names a live server");
    CLI::Option* const instruments = command.add_option(
        "--instruments", options->instruments, "Market file (XML), served privately for the length of the run");
    ini->excludes(instruments);
    command.add_option("--user", options->user,
                       "User to log in as; its password comes from the environment or a prompt");
    command.add_option("--accounts", options->accounts, About("Accounts", AccountsSchema))->required();
    command.add_option("--positions", options->positions, About("Positions", PositionsSchema))->required();
    command.add_option("--password-env", options->passwordVariable, "Environment variable that holds the password")
        ->capture_default_str();
    command.add_flag("--strict", options->isStrict, "A warning ends the run without figures");
    command.add_flag("--derive-levels", options->deriveLevels,
                     "Take the records of firms and accounts that live by their own and have none from their clients");
    command.footer("A file named - is standard input, one of them. \"quindal files\" tells what the columns mean.");
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
    CLI::App* const margin = app.add_subcommand("margin", "Compute the margin of a book of positions");
    AddBook(*margin, options);
    margin->add_option(
        "--orders", options->orders,
        About("What-ifs: orders whose effect on the margin is shown, as if they were sent", OrdersSchema));
    margin
        ->add_option("--format", options->format,
                     "table, csv or json; csv has one table: that of the what-ifs with --orders")
        ->transform(CLI::CheckedTransformer(formats, CLI::ignore_case));
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
    CLI::App* const explain = app.add_subcommand("explain", "Say why the margin of a client is what it is");
    explain->add_option("--client", options->client, "Client, one of the accounts")->required();
    AddBook(*explain, options);
    explain->add_option("--format", options->format, "table or json")
        ->transform(CLI::CheckedTransformer(formats, CLI::ignore_case));
    explain->add_option("--svg", options->svg, "File to draw profit and loss over the price grids into (SVG)");
    explain->callback([options] {
        CheckBook(*options);
        CheckStandardInput({&options->instruments, &options->accounts, &options->positions});
    });
    return {explain, [options] { return RunExplain(*options); }};
}

Command AddCheck(CLI::App& app)
{
    const auto options = std::make_shared<CheckOptions>();
    CLI::App* const check = app.add_subcommand("check", "Say what is wrong with input files, without computing");
    check->add_option("--instruments", options->instruments, "Market file (XML)");
    check->add_option("--accounts", options->accounts, About("Accounts", AccountsSchema));
    check->add_option("--positions", options->positions, About("Positions", PositionsSchema));
    check->add_option("--orders", options->orders, About("What-ifs", OrdersSchema));
    check->add_option("--users", options->users, About("Users of a server", UsersSchema));
    check->add_flag("--strict", options->isStrict, "A warning is an error");
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
    CLI::App* const files = app.add_subcommand("files", "Print what may stand in the input files (Markdown)");
    return {files, [] {
                std::cout << InputFilesReference();
                return 0;
            }};
}

} // namespace quindal
