// What the host has decided about signals holds while the link does its work.
#include "Z9Signals.h"

#include <csignal>
#include <gtest/gtest.h>

namespace test::Z9SignalsTest {
namespace {

using z9::mq::SignalsBlocked;

int g_handled = 0;

// A host with a handler for SIGPIPE.
class HostWithHandler : public testing::Test
{
protected:
    HostWithHandler()
    {
        g_handled = 0;
        struct sigaction own = {};
        own.sa_handler = [](int) { ++g_handled; };
        ::sigaction(SIGPIPE, &own, &before_);
    }
    ~HostWithHandler() override { ::sigaction(SIGPIPE, &before_, nullptr); }

    static bool PipeIsBlocked()
    {
        sigset_t mask;
        ::pthread_sigmask(SIG_BLOCK, nullptr, &mask);
        return sigismember(&mask, SIGPIPE) == 1;
    }

private:
    struct sigaction before_ = {};
};

TEST_F(HostWithHandler, NeverHearsOfABrokenPipeOfOurs)
{
    for (int kind = 0; kind < 2; ++kind) {
        const SignalsBlocked blocked = kind == 0 ? SignalsBlocked::Pipe() : SignalsBlocked::All();
        ::raise(SIGPIPE);
    }
    EXPECT_EQ(g_handled, 0);
    EXPECT_FALSE(PipeIsBlocked());
    ::raise(SIGPIPE);
    EXPECT_EQ(g_handled, 1) << "its own it hears as before";
}

TEST_F(HostWithHandler, KeepsABrokenPipeOfItsOwnThatWaits)
{
    sigset_t pipe;
    sigemptyset(&pipe);
    sigaddset(&pipe, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
    ::raise(SIGPIPE);
    {
        const SignalsBlocked blocked = SignalsBlocked::Pipe();
    }
    EXPECT_TRUE(PipeIsBlocked());
    EXPECT_EQ(g_handled, 0);
    ::pthread_sigmask(SIG_UNBLOCK, &pipe, nullptr);
    EXPECT_EQ(g_handled, 1);
}

TEST_F(HostWithHandler, HearsOtherSignalsWhileAWriteIsGuarded)
{
    struct sigaction own = {};
    struct sigaction before = {};
    own.sa_handler = [](int) { ++g_handled; };
    ::sigaction(SIGUSR1, &own, &before);
    {
        const SignalsBlocked blocked = SignalsBlocked::Pipe();
        ::raise(SIGUSR1);
        EXPECT_EQ(g_handled, 1);
    }
    {
        const SignalsBlocked blocked = SignalsBlocked::All();
        ::raise(SIGUSR1);
        EXPECT_EQ(g_handled, 1) << "not on a thread that is about to start others";
    }
    EXPECT_EQ(g_handled, 2) << "but late";
    ::sigaction(SIGUSR1, &before, nullptr);
}

} // namespace
} // namespace test::Z9SignalsTest
