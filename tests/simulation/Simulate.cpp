// Simulated days: each step on the library and on the plain model, every figure of every level compared.
//   simulate [--steps N] [--seconds T] [--days D] [--seed S] [--failures KINDS] [--wild] ...
// See --help. Ends with 1 and the shrunk day at the first difference.
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <iostream>
#include <random>
#include <string>

#include <CLI/CLI.hpp>
#include <unistd.h>

#include "Report.h"
#include "Step.h"

namespace {

using namespace simulation;
using Clock = std::chrono::steady_clock;

struct Options
{
    std::uint64_t steps = 0;
    std::uint64_t days = 0;
    double seconds = 0.0;
    std::uint64_t seed = 0;
    std::string failures = "netting";
    Habits habits;
    bool tellsStory = false;
};

// What a day that ends the process leaves behind: how to play it again.
char lastWords[200] = "";
extern "C" void SayLastWords(int signal)
{
    static_cast<void>(!write(STDERR_FILENO, lastWords, std::char_traits<char>::length(lastWords)));
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

void PlayDays(const Options& options)
{
    const auto begin = Clock::now();
    const auto seconds = [&] { return std::chrono::duration<double>(Clock::now() - begin).count(); };
    const auto isOver = [&](std::uint64_t days, std::uint64_t steps) {
        return (options.days != 0 && days >= options.days) || (options.steps != 0 && steps >= options.steps) ||
               (options.seconds > 0.0 && seconds() >= options.seconds);
    };
    Tally tally;
    std::uint64_t days = 0;
    for (; !isOver(days, tally.Steps()); ++days) {
        const Day day = MakeDay(options.seed + days, options.habits);
        std::snprintf(lastWords, sizeof lastWords, "The process ended within the day of `%s`.\n",
                      CommandFor(day).c_str());
        if (options.tellsStory) std::cout << StoryOf(day);
        if (const auto finding = Play(day, tally)) {
            std::cout << TextOf(tally, days + 1) << std::flush;
            throw std::runtime_error(Shrink(day, *finding));
        }
    }
    std::cout << TextOf(tally, days) << "Seeds " << options.seed << " to " << options.seed + days - 1 << ", "
              << static_cast<int>(seconds()) << " s: nothing differs.\n";
}

void Parse(CLI::App& app, Options& options)
{
    app.add_option("--steps", options.steps, "Days are played until so many steps are made");
    app.add_option("--days", options.days, "At most so many days");
    app.add_option("--seconds", options.seconds, "No day begins after so many seconds");
    app.add_option("--seed", options.seed, "Seed of the first day; each next day has the next one. Drawn without it");
    app.add_option("--failures", options.failures, "Calls that allocations fail in, by the rules of the levels above")
        ->check(CLI::IsMember({"none", "netting", "all"}))
        ->capture_default_str();
    app.add_flag("--wild", options.habits.wildNumbers, "Prices that are no number, quantities beyond all measure");
    app.add_flag("--spread-orders", options.habits.spreadOrdersWhileOpen,
                 "Orders in calendar spreads come and go while changes are not committed");
    app.add_flag("--story", options.tellsStory, "Each day is told call by call");
}

} // namespace

int main(int argc, char** argv)
{
    for (const int signal : {SIGSEGV, SIGABRT, SIGFPE, SIGILL, SIGBUS})
        std::signal(signal, SayLastWords);
    CLI::App app("Simulated days against the plain margin model");
    Options options;
    options.seed = std::random_device()();
    Parse(app, options);
    CLI11_PARSE(app, argc, argv);
    if (options.steps == 0 && options.days == 0 && options.seconds == 0.0) options.days = 1;
    options.habits.failuresUnderNetting = options.failures != "none";
    options.habits.failuresUnderLosses = options.failures == "all";
    try {
        std::cout << "The first seed is " << options.seed << ".\n" << std::flush;
        PlayDays(options);
        return 0;
    } catch (const std::exception& failure) {
        std::cout << failure.what() << std::flush;
        return 1;
    }
}
