// The word explain of the command line, and its options.
#include <cstdint>
#include <memory>
#include <string>

#include "BookWords.h"
#include "CommandHelp.h"
#include "Commands.h"
#include "ExplainCommand.h"

namespace quindal {

namespace {

constexpr const char* ExplainExamples =
    R"(  quindal explain --client CL01001 --instruments market.xml --accounts accounts.csv \
    --positions positions.csv --svg CL01001.svg
  quindal explain --firm CL01 --instruments market.xml --accounts accounts.csv --positions positions.csv
  quindal explain --client CL01001 --instruments market.xml --accounts accounts.csv \
    --positions today.csv --compare yesterday.csv
)";

/// Accepts a number of things to list.
CLI::Validator SomeOf()
{
    constexpr std::uint64_t most = 1'000'000;
    const auto fault = [](const std::string& text) {
        std::uint64_t number = 0;
        const bool isNumber = CLI::detail::lexical_cast(text, number) && number >= 1 && number <= most;
        return isNumber ? std::string() : "\"" + text + "\": a whole number from 1 to " + std::to_string(most);
    };
    return {fault, "", "number"};
}

void AddHolders(CLI::App& explain, const std::shared_ptr<ExplainOptions>& options)
{
    CLI::Option* const client =
        explain.add_option("--client", options->client, "Client, one of the accounts")->type_name("CODE");
    CLI::Option* const firm =
        explain.add_option("--firm", options->firm, "Or a firm, one of the accounts")->type_name("CODE");
    CLI::Option* const account =
        explain.add_option("--account", options->account, "Or a settlement account, one of the accounts")
            ->type_name("CODE");
    firm->excludes(client);
    account->excludes(client)->excludes(firm);
}

void AddContents(CLI::App& explain, const std::shared_ptr<ExplainOptions>& options)
{
    CLI::Option* const orders =
        explain
            .add_option("--orders", options->orders,
                        About("Orders that are placed before, all of the holder's clients together", OrdersSchema))
            ->type_name("FILE");
    CLI::Option* const compare =
        explain
            .add_option(
                "--compare", options->compare,
                About("Positions of the book before: says instead what changed the margin since then", PositionsSchema))
            ->type_name("FILE");
    CLI::Option* const svg =
        explain.add_option("--svg", options->svg, "File to draw profit and loss over the price grids into (SVG)")
            ->type_name("FILE");
    CLI::Option* const pdf =
        explain.add_option("--pdf", options->pdf, "The same as pages to print (PDF)")->type_name("FILE");
    CLI::Option* const html =
        explain.add_option("--html", options->html, "File for the explanation as a page with its pictures (HTML)")
            ->type_name("FILE");
    for (const char* const holder : {"--firm", "--account"})
        compare->excludes(explain.get_option(holder));
    compare->excludes(orders)->excludes(svg)->excludes(pdf)->excludes(html);
    explain
        .add_option("--top", options->top,
                    "List so many shares, the largest first, and draw so many contracts; otherwise all, and ten")
        ->type_name("N")
        ->check(SomeOf());
}

void Complete(ExplainOptions& options)
{
    if (options.client.empty() && options.firm.empty() && options.account.empty())
        throw CLI::RequiredError("--client, --firm or --account");
    CheckBook(options);
    CheckStandardInput(
        {&options.instruments, &options.accounts, &options.positions, &options.orders, &options.compare});
}

} // namespace

Command AddExplain(CLI::App& app)
{
    const auto options = std::make_shared<ExplainOptions>();
    CLI::App* const explain =
        AddWord(app, "explain", "Say why the margin of a client, firm or account is what it is", ExplainExamples);
    AddHolders(*explain, options);
    AddBook(*explain, options);
    Choice(*explain, "--format", options->format, ReportFormats(),
           "How the explanation is printed; csv has the table of the shares")
        ->default_str("table");
    AddContents(*explain, options);
    explain->callback([options] { Complete(*options); });
    return {explain, [options] { return RunExplain(*options); }};
}

} // namespace quindal
