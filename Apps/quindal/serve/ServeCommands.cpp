// The words that start a server or ask one, and their options.
#include <functional>
#include <memory>
#include <utility>

#include "CommandHelp.h"
#include "Commands.h"
#include "Errors.h"
#include "FetchCommand.h"
#include "ServeCommand.h"
#include "StatusCommand.h"

namespace quindal {

namespace {

constexpr const char* ServeExamples =
    R"(  quindal serve --instruments market.xml --users users.csv --write-ini quindal.ini
      # on a router of its own, at a free port that quindal.ini then names
  quindal serve --instruments market.xml --users users.csv --port 4222 --access-log access.log
  QUINDAL_SERVER_PASSWORD=secret quindal serve --instruments market.xml --users users.csv --router-port 4222
      # at a router that runs already
  kill -HUP PID     # reads the market file again; one that is no market is refused and the old one stays
)";

constexpr const char* FetchExamples =
    R"(  QUINDAL_PASSWORD=secret quindal fetch --ini quindal.ini --user USER01 --out market.xml
  quindal margin --instruments market.xml --accounts accounts.csv --positions positions.csv
)";

constexpr const char* StatusExamples =
    R"(  QUINDAL_PASSWORD=secret quindal status --ini quindal.ini --user USER01 || echo "no client can work"
  quindal status --ini quindal.ini --user USER01 --format json --max-market-age 86400
)";

/// The action of a command that returns success, since every failure is thrown.
template <class Options>
std::function<int()> Running(void (*run)(const Options&), std::shared_ptr<const Options> options)
{
    return [run, options = std::move(options)] {
        run(*options);
        return StatusGood;
    };
}

void AddLive(CLI::App& word, LiveOptions& options)
{
    word.add_option("--ini", options.iniFile, "Ini file that names the server's port and the time-out")
        ->type_name("FILE")
        ->required();
    word.add_option("--user", options.user, "User to log in as")->type_name("NAME")->check(UserName())->required();
    word.add_option("--password-env", options.passwordVariable,
                    "Environment variable that holds the password; without it a prompt asks")
        ->type_name("NAME")
        ->capture_default_str();
}

} // namespace

Command AddServe(CLI::App& app)
{
    const auto options = std::make_shared<ServeOptions>();
    CLI::App* const serve = AddWord(app, "serve", "Answer clients until a signal ends it", ServeExamples);
    const auto port = CLI::Range(1, 65535).description({});
    serve->add_option("--instruments", options->instruments, "Market file (XML)")->type_name("FILE")->required();
    serve->add_option("--users", options->users, "Users (CSV: user,part_count,login_type,password)")
        ->type_name("FILE")
        ->required();
    CLI::Option* const own =
        serve->add_option("--port", options->port, "Port of the router that is started; without it a free one")
            ->type_name("N")
            ->check(port);
    CLI::Option* const running =
        serve->add_option("--router-port", options->routerPort, "Port of a running router; none is started then")
            ->type_name("N")
            ->check(port)
            ->excludes(own);
    serve
        ->add_option("--router-timeout", options->routerTimeout,
                     "Seconds that a running router may be away before the run ends with status 3")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 86400).description({}))
        ->capture_default_str()
        ->needs(running);
    serve->add_option("--write-ini", options->iniFile, "Write an ini file for clients, when they may come")
        ->type_name("FILE");
    serve->add_option("--access-log", options->accessLog, "Append a line for each request; without it to stderr")
        ->type_name("FILE");
    serve->add_option("--server-user", options->serverUser, "The server's own user at the router")
        ->type_name("NAME")
        ->check(UserName())
        ->capture_default_str();
    serve
        ->add_option("--password-env", options->passwordVariable,
                     "Environment variable that holds the server's password at a running router")
        ->type_name("NAME")
        ->capture_default_str();
    serve->add_option("--service", options->service, "Name of the service")
        ->type_name("NAME")
        ->check(UserName())
        ->capture_default_str();
    serve->add_flag("--plain", options->plain, "Never compress replies");
    return {serve, Running<ServeOptions>(&Serve, options)};
}

Command AddFetch(CLI::App& app)
{
    const auto options = std::make_shared<FetchOptions>();
    CLI::App* const fetch =
        AddWord(app, "fetch", "Save the market that a live server hands out, to be used offline", FetchExamples);
    AddLive(*fetch, *options);
    fetch->add_option("--out", options->out, "Market file to be written, whole or not at all; - for stdout")
        ->type_name("FILE")
        ->required();
    return {fetch, Running<FetchOptions>(&Fetch, options)};
}

Command AddStatus(CLI::App& app)
{
    const auto options = std::make_shared<StatusOptions>();
    CLI::App* const status =
        AddWord(app, "status", "Tell whether a client could work now: exit status 0, else 3", StatusExamples);
    AddLive(*status, *options);
    Choice<StatusFormat>(*status, "--format", options->format,
                         {{"table", StatusFormat::Table}, {"json", StatusFormat::Json}},
                         "Format of what is printed; table without it");
    status
        ->add_option("--max-market-age", options->maxMarketAge,
                     "Seconds since the server has read its market after which the status is 3")
        ->type_name("SECONDS")
        ->check(CLI::Range(1, 31'536'000).description({}));
    return {status, Running<StatusOptions>(&ShowStatus, options)};
}

} // namespace quindal
