// The word relief and its options.
#include <memory>

#include "BookWords.h"
#include "CommandHelp.h"
#include "Commands.h"
#include "ReliefCommand.h"

namespace quindal {

namespace {

constexpr const char* ReliefExamples =
    R"(  quindal relief --client CL01002 --target 2000000 \
    --instruments market.xml --accounts accounts.csv --positions positions.csv
)";

constexpr std::int64_t MostOfHedge = 1'000'000;
constexpr std::size_t MostSteps = 100;

} // namespace

Command AddRelief(CLI::App& app)
{
    const auto options = std::make_shared<ReliefOptions>();
    CLI::App* const relief = AddWord(app, "relief", "Say what to close or to hedge to free margin", ReliefExamples);
    ReliefQuestion& question = options->question;
    relief->add_option("--client", question.client, "Client, one of the accounts")->type_name("CODE")->required();
    relief->add_option("--target", question.target, "Money that the GO is to come to; without, as little as it can be")
        ->type_name("MONEY")
        ->check(SaneNumber("money"));
    relief->add_option("--max", question.mostHedged, "The largest quantity of one hedge")
        ->type_name("N")
        ->check(CLI::Range(std::int64_t{1}, MostOfHedge).description(""))
        ->capture_default_str();
    relief->add_option("--steps", question.mostSteps, "The largest number of trades")
        ->type_name("N")
        ->check(CLI::Range(std::size_t{1}, MostSteps).description(""))
        ->capture_default_str();
    relief->add_flag("--allow-detour", question.allowsDetour,
                     "A trade may raise the GO on the way, if a later one frees more");
    AddBook(*relief, options);
    Choice(*relief, "--format", options->format, ReportFormats(), "How the answer is printed")->default_str("table");
    relief->callback([options] {
        CheckBook(*options);
        CheckStandardInput({&options->instruments, &options->accounts, &options->positions});
    });
    return {relief, [options] { return RunRelief(*options); }};
}

} // namespace quindal
