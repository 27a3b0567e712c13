#include "BookWords.h"

#include <algorithm>
#include <cmath>

#include "CommandHelp.h"
#include "InputFile.h"

namespace quindal {

namespace {

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

} // namespace

const std::map<std::string, ReportFormat>& ReportFormats()
{
    static const std::map<std::string, ReportFormat> formats{
        {"table", ReportFormat::Table}, {"csv", ReportFormat::Csv}, {"json", ReportFormat::Json}};
    return formats;
}

std::string About(const std::string& purpose, const Schema& schema)
{
    return purpose + " (CSV: " + schema.Columns() + ")";
}

CLI::Validator SaneNumber(const std::string& kind)
{
    const auto fault = [kind](const std::string& text) {
        constexpr double Most = 99'999'999'999.0;
        double number = 0.0;
        const bool isNumber = CLI::detail::lexical_cast(text, number);
        return isNumber && std::abs(number) <= Most ? std::string() : "\"" + text + "\" is no " + kind;
    };
    return {fault, "", kind};
}

void CheckStandardInput(std::initializer_list<const std::string*> files)
{
    if (std::count_if(files.begin(), files.end(), [](const std::string* file) { return *file == StandardInput; }) > 1)
        throw CLI::ValidationError("\"-\"", "standard input can be one of the files only");
}

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

} // namespace quindal
