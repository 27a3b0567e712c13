#include "DeskCommand.h"

#include <chrono>
#include <csignal>
#include <future>
#include <iostream>
#include <memory>
#include <string>

#include "BookWords.h"
#include "CommandHelp.h"
#include "Commands.h"
#include "DeskApi.h"
#include "DeskJson.h"
#include "DeskServer.h"
#include "DeskState.h"
#include "DeskTurns.h"
#include "Output.h"
#include "SessionDeskBook.h"
#include "Signals.h"

namespace quindal {

namespace {

using namespace std::chrono_literals;

constexpr auto SignalInterval = 100ms; // how often a signal is looked for

constexpr const char* DeskExamples =
    R"(  quindal desk --instruments market.xml --accounts accounts.csv --positions positions.csv
      # prints the address to be opened in a browser on this machine
)";

DeskAnswer Busy(const char* text) { return JsonAnswer({{"error", text}}, DeskBusy); }

/// A desk between the threads that answer the page and the one that calls the library.
class Desk
{
public:
    /// Answers a request and says how long that took. Called by any thread.
    DeskAnswer Ask(const std::string& name, const std::string& body)
    {
        const auto began = std::chrono::steady_clock::now();
        DeskAnswer answer = name == "state" ? m_state.Answer() : InTurn(name, body);
        const std::chrono::duration<double, std::milli> spent = std::chrono::steady_clock::now() - began;
        answer.milliseconds = spent.count();
        const bool isOfTheBook = name != "state" && answer.status != DeskUnknown && answer.status != DeskBusy;
        if (isOfTheBook) m_state.Took(name, answer.milliseconds);
        return answer;
    }

    /// Answers what is asked about the book until a signal asks for the end; returns that signal.
    int Serve(DeskBook& book)
    {
        const bool staysOnHangUp = IsIgnored(SIGHUP);
        SignalInbox inbox;
        m_api = std::make_unique<DeskApi>(book);
        m_state.SetLoaded(true);
        for (;;) {
            m_turns.DoNext(SignalInterval);
            const std::optional<int> signal = inbox.Next(0ms);
            if (!signal || (*signal == SIGHUP && staysOnHangUp)) continue;
            m_turns.End();
            return *signal;
        }
    }

    [[nodiscard]] DeskState& State() noexcept { return m_state; }

private:
    /// Waits for the turn of a request.
    DeskAnswer InTurn(const std::string& name, const std::string& body)
    {
        if (!m_state.IsLoaded()) return Busy("the book is being loaded");
        std::optional<std::future<DeskAnswer>> turn =
            m_turns.Put([this, &name, &body] { return m_api->Answer(name, body); });
        if (!turn) return Busy("too much is asked for at once; ask again");
        try {
            return turn->get();
        } catch (const std::future_error&) {
            return Busy("the desk is being closed");
        }
    }
    static bool IsIgnored(int signal)
    {
        struct sigaction action = {};
        return ::sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
    }

    DeskState m_state;
    DeskTurns m_turns;
    std::unique_ptr<DeskApi> m_api;
};

/// Fills the book, tells what the library warned of, and answers until the end.
int ServeBook(const DeskOptions& options, BookRun& run, const Book& book, Desk& desk)
{
    int signal = 0;
    run.CompleteLevels();
    run.OnProgress([&desk](const std::string& what, std::size_t done, std::size_t total) {
        desk.State().Progress(what, done, total);
    });
    bool isFilled = false;
    const auto serve = [&](MarginSession& session) {
        SessionDeskBook deskBook(run, session, book);
        isFilled = true;
        run.Told().Tell();
        if (options.isStrict && run.Told().Count() > 0)
            throw InputError("--strict makes each warning an error: no figures");
        signal = desk.Serve(deskBook);
    };
    try {
        run.With(book, serve);
    } catch (...) {
        run.Watch({}); // the library's own words about the failure
        if (!isFilled) run.Told().Tell();
        throw;
    }
    return signal;
}

} // namespace

void RunDesk(const DeskOptions& options)
{
    BookRun run(options);
    const Book book = run.Read({});
    Desk desk;
    int signal = 0;
    {
        const DeskServer server(
            options.port, [&desk](const std::string& name, const std::string& body) { return desk.Ask(name, body); });
        std::cout << "the desk is at " << server.Address() << '\n';
        FinishOutput();
        signal = ServeBook(options, run, book, desk);
    }
    if (const std::string summary = desk.State().Summary(); !summary.empty()) PrintMessage(summary);
    throw SignalEnd{signal};
}

Command AddDesk(CLI::App& app)
{
    const auto options = std::make_shared<DeskOptions>();
    CLI::App* const desk = AddWord(app, "desk", "Show a book's margins on a page and try orders in it", DeskExamples);
    AddBook(*desk, options);
    desk->add_option("--port", options->port, "Port of the page on this machine; any that is free by default")
        ->type_name("PORT")
        ->check(CLI::Range(1, 65535).description({}));
    desk->callback([options] {
        CheckBook(*options);
        CheckStandardInput({&options->instruments, &options->accounts, &options->positions});
    });
    return {desk, [options]() -> int { RunDesk(*options); }};
}

} // namespace quindal
