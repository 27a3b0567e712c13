// The words that look at a book of positions, and their options.
#include <map>
#include <memory>
#include <string>

#include "CommandHelp.h"
#include "Commands.h"
#include "ExplainCommand.h"
#include "MarginCommand.h"

namespace quindal {

namespace {

constexpr const char* MarginExamples =
    R"(  quindal margin --instruments market.xml --accounts accounts.csv --positions positions.csv
      # all in one: router and server are private and end with the run
  quindal margin --instruments market.xml --accounts accounts.csv --positions positions.csv \
    --orders orders.csv --format json
  QUINDAL_PASSWORD=secret quindal margin --ini quindal.ini --user USER01 \
    --accounts accounts.csv --positions positions.csv
)";

constexpr const char* ExplainExamples =
    R"(  quindal explain --client CL01001 --instruments market.xml --accounts accounts.csv \
    --positions positions.csv --svg CL01001.svg
)";

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
    command.add_option("--accounts", options->accounts, "Accounts (CSV)")->type_name("FILE")->required();
    command.add_option("--positions", options->positions, "Positions (CSV)")->type_name("FILE")->required();
    command.add_option("--password-env", options->passwordVariable, "Environment variable that holds the password")
        ->type_name("NAME")
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
    CLI::App* const margin = AddWord(app, "margin", "Compute the margin of a book of positions", MarginExamples);
    AddBook(*margin, options);
    margin
        ->add_option("--orders", options->orders,
                     "What-ifs (CSV: what_if,client,instrument,side,quantity,price): orders whose effect on the margin "
                     "is shown, "
                     "as if they were sent")
        ->type_name("FILE");
    Choice(*margin, "--format", options->format, formats, "How the figures are printed")->default_str("table");
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
    return {explain, [options] { return RunExplain(*options); }};
}

} // namespace quindal
