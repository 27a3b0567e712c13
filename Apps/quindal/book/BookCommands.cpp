// The words that look at a book of positions, and their options.
#include <map>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>

#include "Commands.h"
#include "ExplainCommand.h"
#include "MarginCommand.h"

namespace quindal {

namespace {

/// Where a book comes from.
void AddBook(CLI::App& command, const std::shared_ptr<BookOptions>& options)
{
    CLI::Option* const ini = command.add_option("--ini", options->iniFile, "Ini file that names a live server");
    CLI::Option* const instruments = command.add_option(
        "--instruments", options->instruments, "Market file (XML), served privately for the length of the run");
    ini->excludes(instruments);
    command.add_option("--user", options->user,
                       "User to log in as; its password comes from the environment or a prompt");
    command.add_option("--accounts", options->accounts, "Accounts (CSV)")->required();
    command.add_option("--positions", options->positions, "Positions (CSV)")->required();
    command.add_option("--password-env", options->passwordVariable, "Environment variable that holds the password")
        ->capture_default_str();
    command.callback([options] {
        if (options->iniFile.empty() && options->instruments.empty())
            throw CLI::RequiredError("--ini or --instruments");
        if (!options->iniFile.empty() && options->user.empty()) throw CLI::RequiredError("--user");
        if (options->user.empty()) options->user = "demo";
    });
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
        "What-ifs (CSV: what_if,client,instrument,side,quantity,price): orders whose effect on the margin is shown, "
        "as if they were sent");
    margin->add_option("--format", options->format, "table, csv or json")
        ->transform(CLI::CheckedTransformer(formats, CLI::ignore_case));
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
    return {explain, [options] { return RunExplain(*options); }};
}

} // namespace quindal
