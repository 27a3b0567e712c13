// quindal: the command line of the library.
#include <algorithm>
#include <csignal>
#include <exception>
#include <iostream>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "CommandHelp.h"
#include "Commands.h"
#include "Completion.h"
#include "Errors.h"
#include "Output.h"
#include "Signals.h"
#include "Suggestion.h"
#include "Version.h"

namespace {

using namespace quindal;

constexpr const char* Examples = R"(Examples, from the source tree, no set-up needed:
  quindal margin --instruments examples/market.xml --accounts examples/accounts.csv \
    --positions examples/positions.csv --orders examples/orders.csv
  quindal explain --client CL01001 --instruments examples/market.xml \
    --accounts examples/accounts.csv --positions examples/positions.csv
  quindal COMMAND --help    what a command takes, with examples

)";

/// Text on the known word that the writer may have meant: ": did you mean ...", or empty.
template <class Known>
std::string Meant(const std::string& word, const Known& known)
{
    Suggestion suggestion(word);
    for (const std::string& name : known)
        suggestion.Offer(name);
    const std::string text = suggestion.Text();
    return text.empty() ? text : ":" + text.substr(1);
}

/// The first argument that is no option, if it is no command.
std::string UnknownCommand(const std::vector<Command>& commands, int argc, char** argv)
{
    std::vector<std::string> names(commands.size());
    std::transform(commands.begin(), commands.end(), names.begin(),
                   [](const Command& command) { return command.word->get_name(); });
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        if (word.starts_with('-')) continue;
        if (std::find(names.begin(), names.end(), word) != names.end()) return {};
        return "unknown command \"" + word + "\"" + Meant(word, names);
    }
    return {};
}

/// The first option that the command does not have.
std::string UnknownOption(const CLI::App& command)
{
    std::vector<std::string> names;
    for (const CLI::Option* option : command.get_options())
        names.push_back(option->get_name());
    for (const std::string& word : command.remaining())
        if (word.starts_with('-')) return "unknown option \"" + word + "\"" + Meant(word, names);
    return {};
}

/// The command that the arguments name, with its options filled in; null after printing help or the version.
const Command* Parse(CLI::App& app, const std::vector<Command>& commands, int argc, char** argv)
{
    if (const std::string unknown = UnknownCommand(commands, argc, argv); !unknown.empty()) throw UsageError(unknown);
    try {
        app.parse(argc, argv);
    } catch (const CLI::Success& asked) { // --help, --version
        app.exit(asked);
        return nullptr;
    } catch (const CLI::ParseError& error) {
        for (const CLI::App* const command : app.get_subcommands())
            if (const std::string unknown = UnknownOption(*command); !unknown.empty()) throw UsageError(unknown);
        throw UsageError(error.what());
    }
    for (const Command& command : commands)
        if (app.got_subcommand(command.word)) return &command;
    throw UsageError("a command is required");
}

int Run(int argc, char** argv)
{
    CLI::App app(
        "Client-side initial margin (GO) for derivatives: what a book needs, why, and what an order would cost",
        "quindal");
    app.formatter(std::make_shared<HelpFormatter>());
    app.set_version_flag("--version", VersionText(), "Print the version and those of the parts, and exit");
    app.set_help_flag("-h,--help", "Print this and exit");
    app.footer(Examples + ExitStatuses());
    const std::vector<Command> commands{
        AddMargin(app), AddExplain(app), AddWhatIf(app), AddFit(app),   AddRelief(app), AddReconcile(app), AddDesk(app),
        AddCheck(app),  AddFiles(app),   AddFetch(app),  AddServe(app), AddStatus(app), AddCompletion(app)};
    if (argc < 2) {
        std::cerr << app.help();
        return StatusUsage;
    }
    const Command* const command = Parse(app, commands, argc, argv);
    int status = StatusGood;
    if (command != nullptr) {
        const SignalWatch watch;
        status = command->run();
    }
    FinishOutput();
    return status;
}

int Failed(ExitStatus status, const std::string& text)
{
    PrintMessage(text);
    if (status == StatusUsage) std::cerr << "Run with --help for what there is.\n";
    return status;
}

} // namespace

int main(int argc, char** argv)
{
    HoldStandardStreams();
    std::signal(SIGPIPE, SIG_IGN);
    try {
        return Run(argc, argv);
    } catch (const SignalEnd& end) {
        EndBySignal(end.signal);
    } catch (const CommandError& error) {
        return Failed(error.Status(), error.what());
    } catch (const std::bad_alloc&) {
        return Failed(StatusInternal, "memory has run out");
    } catch (const std::exception& error) {
        return Failed(StatusInternal, error.what());
    }
}
