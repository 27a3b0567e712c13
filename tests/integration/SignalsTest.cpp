// How runs end that do not come to their end: by a signal, by a reader who has gone away, by a disk that is full.
#include <array>
#include <atomic>
#include <functional>
#include <poll.h>
#include <pty.h>
#include <termios.h>
#include <thread>

#include "ServerProcess.h"
#include "Signals.h"
#include "SilentListener.h"
#include "TidyUp.h"
#include "WholeFile.h"

namespace test::SignalsTest {
namespace {

using namespace quindal::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::UnorderedElementsAre;

/// Runs that hang: at a router that takes connections and says nothing.
class EndedRun : public ServerProcess
{
protected:
    /// What stands in the place of the router and leads to the silent listener.
    [[nodiscard]] std::vector<std::string> SilentRouter() const
    {
        Write("nats-server", R"(#!/bin/sh
echo '{"nats":["nats://127.0.0.1:)" +
                                 std::to_string(listener.Port()) +
                                 R"("]}' > "$(dirname "$2")/nats-server_$$.ports"
exec sleep 600
)");
        ::chmod(File("nats-server").c_str(), 0700);
        return {"TMPDIR=" + temporary, "PATH=" + folder.Path().string() + ":/usr/bin:/bin"};
    }
    [[nodiscard]] std::string SilentIni() const
    {
        return Write("silent.ini",
                     "[QuindalIM::mq]\nport = " + std::to_string(listener.Port()) + "\ntimeout = 60000\n");
    }
    [[nodiscard]] static std::vector<std::string> Explain()
    {
        std::vector<std::string> arguments = Margin({"--instruments", Example("market.xml"), "--client", "CL01001"});
        arguments[1] = "explain";
        return arguments;
    }
    void ExpectNothingLeft(ChildProcess& run, pid_t router) const
    {
        EXPECT_THAT(run.ReadOut(), IsEmpty());
        EXPECT_THAT(run.Errors(), IsEmpty());
        EXPECT_THAT(LeftBehind(), IsEmpty());
        EXPECT_NE(::kill(router, 0), 0) << "the router has ended, and was waited for";
    }

    SilentListener listener;
};

TEST_F(EndedRun, EndsAsTheSignalAndLeavesNeitherFoldersNorRouterNorWords)
{
    const std::vector<std::string> commands[] = {Margin({"--instruments", Example("market.xml")}), Explain(),
                                                 ServeArguments()};
    for (const std::vector<std::string>& command : commands)
        for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
            SCOPED_TRACE(command[1] + " by signal " + std::to_string(signal));
            ChildProcess run(command, SilentRouter());
            ASSERT_TRUE(listener.HasCaller()) << run.Errors();
            EXPECT_THAT(LeftBehind(), Not(IsEmpty())) << "there is something to be removed";
            const std::vector<pid_t> routers = ChildrenOf(run.Pid());
            ASSERT_THAT(routers, SizeIs(1));
            run.Signal(signal);
            EXPECT_EQ(run.WaitForSignal(), signal);
            ExpectNothingLeft(run, routers.front());
        }
}

TEST_F(EndedRun, EndsAsTheSignalInsideTheLibrary)
{
    for (const char* word : {"margin", "status"}) {
        std::vector<std::string> arguments = Margin({"--ini", SilentIni(), "--user", "USER01"});
        if (word == std::string("status"))
            arguments = {QUINDAL_COMMAND, "status", "--ini", SilentIni(), "--user", "USER01"};
        ChildProcess run(arguments, {"QUINDAL_PASSWORD=secret", "TMPDIR=" + temporary});
        ASSERT_TRUE(listener.HasCaller()) << run.Errors();
        run.Signal(SIGINT);
        EXPECT_EQ(run.WaitForSignal(), SIGINT);
        EXPECT_THAT(run.Errors(), IsEmpty());
    }
}

// As nohup and shells have it, which start what must outlive them.
TEST_F(EndedRun, ASignalThatWasIgnoredStaysIgnored)
{
    std::vector<std::string> arguments{"/bin/sh", "-c", "trap '' HUP INT; exec \"$0\" \"$@\""};
    for (const std::string& argument : Margin({"--ini", SilentIni(), "--user", "USER01"}))
        arguments.push_back(argument);
    ChildProcess run(arguments, {"QUINDAL_PASSWORD=secret"});
    ASSERT_TRUE(listener.HasCaller()) << run.Errors();
    // The lower number comes first of those that wait.
    run.Signal(SIGHUP);
    run.Signal(SIGINT);
    run.Signal(SIGTERM);
    EXPECT_EQ(run.WaitForSignal(), SIGTERM);
}

TEST_F(EndedRun, AReaderThatHasGoneAwayEndsItAsABrokenPipeInSilence)
{
    for (const std::vector<std::string>& command : {Margin({"--instruments", Example("market.xml")}), Explain()}) {
        ChildProcess run(command, {"TMPDIR=" + temporary});
        run.CloseOut();
        EXPECT_EQ(run.WaitForSignal(), SIGPIPE);
        EXPECT_THAT(run.Errors(), IsEmpty());
        EXPECT_THAT(LeftBehind(), IsEmpty());
    }
}

TEST_F(EndedRun, FiguresThatCannotBeWrittenAreNoSuccess)
{
    const std::pair<const char*, const char*> cases[] = {
        {"exec \"$0\" \"$@\" >/dev/full", "quindal: the output could not be written: No space left on device\n"},
        {"exec \"$0\" \"$@\" >&-", "quindal: the output could not be written: Bad file descriptor\n"}};
    for (const auto& [script, text] : cases) {
        std::vector<std::string> arguments{"/bin/sh", "-c", script};
        for (const std::string& argument : Margin({"--instruments", Example("market.xml")}))
            arguments.push_back(argument);
        const Finished finished = RunToEnd(arguments);
        EXPECT_EQ(finished.status, 4);
        EXPECT_EQ(finished.errors, text);
    }
}

/// A program at a terminal of its own.
class AtATerminal
{
public:
    explicit AtATerminal(std::vector<std::string> arguments)
    {
        std::vector<char*> pointers;
        for (std::string& argument : arguments)
            pointers.push_back(argument.data());
        pointers.push_back(nullptr);
        m_pid = ::forkpty(&m_terminal, nullptr, nullptr, nullptr);
        if (m_pid == 0) {
            ::execv(pointers[0], pointers.data());
            ::_exit(127);
        }
    }
    ~AtATerminal()
    {
        if (m_pid > 0) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
        ::close(m_terminal);
    }
    AtATerminal(const AtATerminal&) = delete;
    AtATerminal& operator=(const AtATerminal&) = delete;

    [[nodiscard]] pid_t Pid() const { return m_pid; }
    void Type(const std::string& text) const
    {
        EXPECT_EQ(::write(m_terminal, text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }
    /// Reads what the terminal shows until it has shown this; whether it has.
    bool Shows(const std::string& text)
    {
        pollfd state{m_terminal, POLLIN, 0};
        while (m_shown.find(text) == std::string::npos && ::poll(&state, 1, 10'000) == 1 && Fill()) {
        }
        return m_shown.find(text) != std::string::npos;
    }
    /// Everything that it has shown when the program has ended, and how that was, as waitpid has it.
    std::pair<std::string, int> End()
    {
        while (Fill()) {
        }
        int status = 0;
        ::waitpid(m_pid, &status, 0);
        m_pid = -1;
        return {m_shown, status};
    }
    [[nodiscard]] bool Echoes() const
    {
        termios state{};
        return ::tcgetattr(m_terminal, &state) == 0 && (state.c_lflag & ECHO) != 0;
    }

private:
    bool Fill()
    {
        std::array<char, 4096> bytes{};
        const ssize_t count = ::read(m_terminal, bytes.data(), bytes.size());
        if (count > 0) m_shown.append(bytes.data(), static_cast<std::size_t>(count));
        return count > 0;
    }

    int m_terminal = -1;
    pid_t m_pid = -1;
    std::string m_shown;
};

TEST_F(EndedRun, ASignalAtThePromptLeavesTheTerminalWithItsEcho)
{
    const std::vector<std::string> command{QUINDAL_COMMAND, "status", "--ini", SilentIni(), "--user", "USER01"};
    const std::pair<int, std::function<void(AtATerminal&)>> cases[] = {
        {SIGINT, [](AtATerminal& run) { run.Type("\x03"); }}, // Ctrl-C
        {SIGQUIT, [](AtATerminal& run) { run.Type("\x1C"); }},
        {SIGTERM, [](AtATerminal& run) { ::kill(run.Pid(), SIGTERM); }}};
    for (const auto& [signal, send] : cases) {
        AtATerminal run(command);
        EXPECT_TRUE(run.Echoes());
        ASSERT_TRUE(run.Shows("Password of USER01: "));
        ASSERT_TRUE(Eventually([&] { return !run.Echoes(); }));
        send(run);
        // The terminal is looked at while somebody holds it.
        EXPECT_TRUE(Eventually([&] { return run.Echoes(); }));
        const auto [shown, status] = run.End();
        EXPECT_TRUE(WIFSIGNALED(status));
        EXPECT_EQ(WTERMSIG(status), signal);
        EXPECT_EQ(shown, "Password of USER01: \r\n");
    }
}

TEST_F(EndedRun, APasswordMayBeTypedAndIsNotShown)
{
    Start();
    AtATerminal run({QUINDAL_COMMAND, "status", "--ini", ini, "--user", "USER01"});
    ASSERT_TRUE(run.Shows("Password of USER01: "));
    ASSERT_TRUE(Eventually([&] { return !run.Echoes(); }));
    run.Type(std::string(Password) + "\n");
    const auto [shown, status] = run.End();
    EXPECT_EQ(status, 0) << shown;
    EXPECT_THAT(shown, AllOf(HasSubstr("USER01 may log in"), Not(HasSubstr(Password))));
}

// A file of which half is written when the signal comes. Where the file is complete before the signal is taken it is
// there whole, which is as good. The folder is no TemporaryFolder: the signal would remove it.
TEST(TidyUpDeathTest, ASignalLeavesNoHalfWrittenFile)
{
    std::string path = testing::TempDir() + "quindal-half-XXXXXX";
    ASSERT_NE(::mkdtemp(path.data()), nullptr);
    EXPECT_EXIT(
        {
            const quindal::SignalWatch watch;
            const std::string content(32 << 20, 'x');
            std::thread impatient([&path] {
                while (std::filesystem::is_empty(path)) {
                }
                ::kill(::getpid(), SIGTERM);
            });
            quindal::WriteWhole(path + "/drawing.svg", content);
            impatient.join();
            ::pause();
        },
        testing::KilledBySignal(SIGTERM), "");
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
        EXPECT_EQ(entry.path().filename(), "drawing.svg");
        EXPECT_EQ(entry.file_size(), 32U << 20U);
    }
    std::filesystem::remove_all(path);
}

TEST(TidyUp, UndoesOnceTheNewestFirstAndNothingThatIsKept)
{
    std::string done;
    {
        quindal::TidyUp first([&] { done += "+a"; }, [&] { done += "-a"; });
        quindal::TidyUp second([&] { done += "+b"; }, [&] { done += "-b"; });
        quindal::TidyUp kept([&] { done += "+c"; }, [&] { done += "-c"; });
        kept.Keep([&] { done += "!c"; });
        EXPECT_THROW(quindal::TidyUp([] { throw std::runtime_error("not made"); }, [&] { done += "-d"; }),
                     std::runtime_error);
    }
    EXPECT_EQ(done, "+a+b+c!c-b-a");
}

TEST(TidyUp, AThingThatCannotBeKeptIsUndone)
{
    std::string done;
    {
        quindal::TidyUp thing([] {}, [&] { done += "-a"; });
        EXPECT_THROW(thing.Keep([] { throw std::runtime_error("not kept"); }), std::runtime_error);
    }
    EXPECT_EQ(done, "-a");
}

} // namespace
} // namespace test::SignalsTest
