// The word fit and its options.
#include <cmath>
#include <map>
#include <memory>

#include "BookWords.h"
#include "CommandHelp.h"
#include "Commands.h"
#include "FitCommand.h"

namespace quindal {

namespace {

constexpr const char* Examples =
    R"(  quindal fit --client CL02001 --instrument INDX-12.26 --side sell --limit 1000000 \
    --instruments market.xml --accounts accounts.csv --positions positions.csv
      # with at most 50 000 more GO, once the order is filled
  quindal fit --client CL02001 --instrument INDX-12.26 --side sell --free 50000 --as position \
    --instruments market.xml --accounts accounts.csv --positions positions.csv
  quindal fit --client CL02001 --basket basket.csv --limit 1000000 --level firm \
    --instruments market.xml --accounts accounts.csv --positions positions.csv
)";

constexpr std::int64_t MostContracts = 1'000'000'000;

/// Refuses a number beyond what the files take: not finite, or out of all proportion.
CLI::Validator Sane(const std::string& kind)
{
    const auto fault = [kind](const std::string& text) {
        constexpr double Most = 99'999'999'999.0;
        double number = 0.0;
        const bool isNumber = CLI::detail::lexical_cast(text, number);
        return isNumber && std::abs(number) <= Most ? std::string() : "\"" + text + "\" is no " + kind;
    };
    return {fault, "", kind};
}

void AddTrade(CLI::App& fit, const std::shared_ptr<FitOptions>& options)
{
    static const std::map<std::string, bool> sides{{"buy", true}, {"sell", false}};
    fit.add_option("--client", options->question.client, "Client that trades, one of the accounts")
        ->type_name("CODE")
        ->required();
    CLI::Option* const instrument =
        fit.add_option("--instrument", options->item.instrument, "Futures, option or calendar spread")
            ->type_name("CODE");
    CLI::Option* const side = Choice(fit, "--side", options->item.isBuy, sides, "What is done with it");
    CLI::Option* const price =
        fit.add_option("--price", options->item.price, "Its price; without, the calculated price of the instrument")
            ->type_name("PRICE")
            ->check(Sane("price"));
    CLI::Option* const basket =
        fit.add_option("--basket", options->basket,
                       About("Several instruments in fixed ratios, in the place of one", BasketSchema))
            ->type_name("FILE");
    instrument->needs(side);
    side->needs(instrument);
    price->needs(instrument);
    basket->excludes(instrument);
}

void AddLimit(CLI::App& fit, const std::shared_ptr<FitOptions>& options)
{
    static const std::map<std::string, FitLevel> levels{
        {"client", FitLevel::Client}, {"firm", FitLevel::Firm}, {"account", FitLevel::Account}};
    static const std::map<std::string, FitAs> kinds{{"order", FitAs::Order}, {"position", FitAs::Position}};
    CLI::Option* const limit = fit.add_option("--limit", options->question.money, "Money that the GO may come to")
                                   ->type_name("MONEY")
                                   ->check(Sane("money"));
    CLI::Option* const free = fit.add_option_function<double>(
                                     "--free",
                                     [options](double money) {
                                         options->question.money = money;
                                         options->question.isFree = true;
                                     },
                                     "Money for the GO that is added and for the premium of options that are bought")
                                  ->type_name("MONEY");
    limit->excludes(free);
    Choice(fit, "--level", options->question.level, levels, "Whose GO: the client's, its firm's, its account's")
        ->default_str("client");
    Choice(fit, "--as", options->question.as, kinds, "As an order with what it could lose, or filled")
        ->default_str("order");
    fit.add_option("--max", options->question.most, "The largest quantity that is asked for")
        ->type_name("N")
        ->check(CLI::Range(std::int64_t{0}, MostContracts).description(""))
        ->capture_default_str();
}

} // namespace

Command AddFit(CLI::App& app)
{
    const auto options = std::make_shared<FitOptions>();
    CLI::App* const fit = AddWord(app, "fit", "Say how many contracts still fit within a margin", Examples);
    AddTrade(*fit, options);
    AddLimit(*fit, options);
    AddBook(*fit, options);
    Choice(*fit, "--format", options->format, ReportFormats(), "How the answer is printed")->default_str("table");
    fit->callback([fit, options] {
        CheckBook(*options);
        CheckStandardInput({&options->instruments, &options->accounts, &options->positions, &options->basket});
        if (options->item.instrument.empty() && options->basket.empty())
            throw CLI::RequiredError("--instrument or --basket");
        if (fit->count("--limit") + fit->count("--free") == 0) throw CLI::RequiredError("--limit or --free");
    });
    return {fit, [options] { return RunFit(*options); }};
}

} // namespace quindal
