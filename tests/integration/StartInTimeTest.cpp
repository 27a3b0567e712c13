// The start of the library as a process sees it: how long it may take whatever the router does, and what a fork means
// for it. Each start is made in a child of the test, a process that has nothing else.
#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "FakeServer.h"
#include "FreezingLine.h"
#include "QuindalIM.h"
#include "RouterFixture.h"

namespace test::StartInTimeTest {
namespace {

using namespace quindal::test;
using Clock = std::chrono::steady_clock;

constexpr int kTimeoutMs = 400;
constexpr const char* kGoodUser = R"(<root><Clients part_count="250" login_type="CLIENT"/></root>)";
constexpr int kConnectFailed = 94815;
constexpr int kLoginFailed = 94816;
constexpr int kUserInfoFailed = 94817;

int EntriesOf(const char* folder)
{
    const std::filesystem::directory_iterator all(folder);
    return static_cast<int>(std::distance(begin(all), end(all)));
}

// How many more there are than before. A thread that has been waited for may stand in the list for a moment still.
int MoreThan(int before, const char* folder)
{
    int more = EntriesOf(folder) - before;
    for (int wait = 0; more > 0 && wait < 1000; ++wait) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        more = EntriesOf(folder) - before;
    }
    return more;
}

// What a start came to.
struct Outcome
{
    int32_t code = -1;
    int32_t milliseconds = 0;
    int32_t threadsLeft = 0; // more than before
    int32_t descriptorsLeft = 0;
};

// A process of its own that starts the library once.
class Start
{
public:
    Start(const RouterFixture& router, uint16_t port, const char* password = "secret1")
    {
        const std::string ini = (router.Directory() / ("start" + std::to_string(port) + ".ini")).string();
        std::ofstream(ini) << "[QuindalIM::mq]\nport = " << port << "\ntimeout = " << kTimeoutMs << "\n";
        int ends[2];
        if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
        pid_ = ::fork();
        if (pid_ == 0) {
            const Outcome outcome = Run(ini.c_str(), password);
            ::_exit(::write(ends[1], &outcome, sizeof outcome) == sizeof outcome ? 0 : 1);
        }
        ::close(ends[1]);
        result_ = ends[0];
    }
    ~Start()
    {
        ::close(result_);
        ::waitpid(pid_, nullptr, 0);
    }
    Start(const Start&) = delete;
    Start& operator=(const Start&) = delete;

    // Waits for its end.
    [[nodiscard]] Outcome Result() const
    {
        Outcome outcome;
        return ::read(result_, &outcome, sizeof outcome) == sizeof outcome ? outcome : Outcome{};
    }

private:
    static Outcome Run(const char* ini, const char* password)
    {
        const int threads = EntriesOf("/proc/self/task");
        const int descriptors = EntriesOf("/proc/self/fd");
        const auto start = Clock::now();
        Outcome outcome;
        outcome.code = InitQuindalIM(ini, "USER01", password);
        const auto took = std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - start);
        outcome.milliseconds = static_cast<int32_t>(took.count());
        if (outcome.code == 0) outcome.code = DeInitQuindalIM();
        outcome.threadsLeft = MoreThan(threads, "/proc/self/task");
        outcome.descriptorsLeft = MoreThan(descriptors, "/proc/self/fd");
        return outcome;
    }

    pid_t pid_ = -1;
    int result_ = -1;
};

class StartInTime : public testing::Test
{
protected:
    StartInTime() { server_.SetUserInfo(kGoodUser); }

    const RouterFixture router_;
    FakeServer server_{router_.Port()};
};

// Where in the words of the router the steps of a start are behind it.
struct Steps
{
    explicit Steps(const std::string& said)
        : connected(said.find('\n') + 1),
          loggedIn(said.find("PONG\r\n") + 6),
          found(said.find("info_response")),
          all(said.size())
    {}
    std::size_t connected;
    std::size_t loggedIn;
    std::size_t found; // the server, about here
    std::size_t all;
};

// Starts with a router that hangs at each of these offsets, all at once: each of them waits most of the time.
void ExpectEachEndsInTime(const RouterFixture& router, const std::vector<std::size_t>& offsets, const Steps& steps)
{
    constexpr int kLongest = 2000 + 2000 + 2000 + 2 * kTimeoutMs;
    constexpr std::size_t kAbout = 16; // bytes by which one greeting may be longer than another
    std::vector<std::unique_ptr<FreezingLine>> lines;
    std::vector<std::unique_ptr<Start>> starts;
    for (const std::size_t offset : offsets) {
        lines.push_back(std::make_unique<FreezingLine>(router.Port(), offset));
        starts.push_back(std::make_unique<Start>(router, lines.back()->Port()));
    }
    for (std::size_t i = 0; i < offsets.size(); ++i) {
        const Outcome outcome = starts[i]->Result();
        SCOPED_TRACE("frozen after " + std::to_string(offsets[i]) + " of " + std::to_string(steps.all) + " bytes");
        EXPECT_LE(outcome.milliseconds, kLongest);
        EXPECT_EQ(outcome.threadsLeft, 0);
        EXPECT_EQ(outcome.descriptorsLeft, 0);
        EXPECT_GE(outcome.code, kConnectFailed);
        EXPECT_LE(outcome.code, kUserInfoFailed);
        if (offsets[i] + kAbout < steps.connected) {
            EXPECT_EQ(outcome.code, kConnectFailed);
        } else if (offsets[i] > steps.connected + kAbout && offsets[i] + kAbout < steps.found) {
            EXPECT_EQ(outcome.code, kLoginFailed);
        }
    }
}

TEST_F(StartInTime, EndsInTimeWhereverTheRouterHangs)
{
    FreezingLine whole(router_.Port());
    const Outcome good = Start(router_, whole.Port()).Result();
    ASSERT_EQ(good.code, 0);
    EXPECT_EQ(good.threadsLeft, 0) << "after the stop";
    EXPECT_EQ(good.descriptorsLeft, 0);
    const std::string said = whole.RouterSaid();
    const Steps steps(said);
    ASSERT_LT(steps.loggedIn, steps.found);

    // Behind each line but the last, which is what the start waits for.
    std::vector<std::size_t> offsets = {0};
    const std::size_t last = said.rfind("MSG _INBOX", said.size());
    ASSERT_NE(last, std::string::npos);
    for (std::size_t line = said.find('\n'); line < last + 200 && line + 1 < said.size() - 40;
         line = said.find('\n', line + 1))
        offsets.push_back(line + 1);
    EXPECT_GE(offsets.size(), 6u) << "two greetings, an answer to the login, one of discovery, one of the server";
    std::mt19937 random(16);
    for (int i = 0; i < 20; ++i)
        offsets.push_back(random() % (said.size() - 60));
    ExpectEachEndsInTime(router_, offsets, steps);
}

TEST_F(StartInTime, ARefusedPasswordIsKnownAtOnce)
{
    const Outcome outcome = Start(router_, router_.Port(), "wrong").Result();
    EXPECT_EQ(outcome.code, kLoginFailed);
    EXPECT_LT(outcome.milliseconds, kTimeoutMs) << "the time-out is not waited out";
    EXPECT_EQ(outcome.threadsLeft, 0);
    EXPECT_EQ(outcome.descriptorsLeft, 0);
}

// --- Forks -----------------------------------------------------------------------------------------------------------

// Exit status of a child that does this and then exits with all its exit handlers; 128 and more for a signal.
int InAChild(const std::function<int()>& work)
{
    const pid_t child = ::fork();
    if (child == 0) std::exit(work());
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

class Forks : public StartInTime
{
protected:
    [[nodiscard]] int32_t Init() const { return InitQuindalIM(ini_.c_str(), "USER01", "secret1"); }
    ~Forks() override { static_cast<void>(DeInitQuindalIM()); }

private:
    static std::string WriteIni(const RouterFixture& router)
    {
        const std::string ini = (router.Directory() / "fork.ini").string();
        std::ofstream(ini) << "[QuindalIM::mq]\nport = " << router.Port() << "\ntimeout = 3000\n";
        return ini;
    }
    const std::string ini_ = WriteIni(router_);
};

TEST_F(Forks, AChildStartsAnewAfterItsParentStopped)
{
    ASSERT_EQ(Init(), 0);
    ASSERT_EQ(DeInitQuindalIM(), 0);
    EXPECT_EQ(InAChild([&] {
                  if (Init() != 0) return 1;
                  if (DeInitQuindalIM() != 0) return 2;
                  // And so does its own child.
                  if (InAChild([&] { return Init() == 0 ? 0 : 3; }) != 0) return 4; // it exits with its session open
                  return Init() == 0 ? 0 : 5;
              }),
              0);
    EXPECT_EQ(Init(), 0) << "the parent goes on";
    EXPECT_EQ(server_.Count(111), 5u) << "each of them has asked who it is";
}

TEST_F(Forks, AChildThatNeverKnewTheLibraryStartsItBesideItsParent)
{
    EXPECT_EQ(InAChild([&] { return Init() == 0 && DeInitQuindalIM() == 0 ? 0 : 1; }), 0);
    ASSERT_EQ(Init(), 0);
}

TEST_F(Forks, AChildOfAStartedParentIsRefusedAndLeavesItsParentAlone)
{
    ASSERT_EQ(Init(), 0);
    EXPECT_EQ(InAChild([&] {
                  if (DeInitQuindalIM() != 0) return 1;
                  return Init() == 94814 ? 0 : 2;
              }),
              0);
    EXPECT_EQ(InAChild([] { return 0; }), 0) << "its exit handlers";
    std::intptr_t calculator = 0;
    ASSERT_EQ(CreateQuindalIMCalculator(&calculator), 0);
    server_.SetInstruments("<root/>");
    EXPECT_EQ(GetInstrumentParameters(calculator, nullptr), 0) << "over the parent's session";
    EXPECT_EQ(server_.Count(109), 1u);
    EXPECT_EQ(DestroyQuindalIMCalculator(calculator), 0);
}

} // namespace
} // namespace test::StartInTimeTest
