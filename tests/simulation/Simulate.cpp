// Simulated days: each step on the library and on the plain model, every figure of every level compared.
//   simulate [--steps N] [--seconds T] [--days D] [--seed S] [--failures KINDS] [--wild] ...
// See --help. Ends with 1 and the shrunk day at the first difference.
#include <algorithm>
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

#include "PlayInChild.h"
#include "Report.h"
#include "Step.h"

// There where a sanitizer is linked.
extern "C" __attribute__((weak)) void __sanitizer_set_death_callback(void (*callback)());

namespace {

using namespace simulation;
using Clock = std::chrono::steady_clock;

struct Options
{
    std::uint64_t steps = 0;
    std::uint64_t days = 0;
    double seconds = 0.0;
    std::uint64_t seed = 0;
    std::string failures = "all";
    Habits habits;
    bool tellsStory = false;
    bool inChildren = false;
};

// What a day that ends the process leaves behind: how to have it shrunk.
char lastWords[300] = "";
void SayLastWords() { static_cast<void>(!write(STDERR_FILENO, lastWords, std::char_traits<char>::length(lastWords))); }
extern "C" void SayLastWordsAt(int signal)
{
    SayLastWords();
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}
void HaveLastWordsSaid()
{
    // The sanitizers tell of a signal themselves.
    if (__sanitizer_set_death_callback != nullptr) return __sanitizer_set_death_callback(SayLastWords);
    for (const int signal : {SIGSEGV, SIGABRT, SIGFPE, SIGILL, SIGBUS})
        std::signal(signal, SayLastWordsAt);
}

/// Shrinks days that end the process they are played in.
void ShrinkInChildren(const Options& options)
{
    for (std::uint64_t i = 0; i < std::max<std::uint64_t>(options.days, 1); ++i) {
        const Day day = MakeDay(options.seed + i, options.habits);
        if (ComesThrough(day)) continue;
        std::string text = "The day of seed " + std::to_string(day.seed) + " does not come through:\n";
        for (const Step& step : ShrunkInChildren(day).steps)
            text += "    " + TextOf(step) + "\n";
        throw std::runtime_error(text);
    }
    std::cout << "All days come through.\n";
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
        std::snprintf(lastWords, sizeof lastWords,
                      "\nThe day ends its process. To have it shrunk:\n    %s --in-children\n",
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
    app.add_flag("--in-children", options.inChildren, "Days are played in processes of their own, and shrunk there");
}

} // namespace

int main(int argc, char** argv)
{
    HaveLastWordsSaid();
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
        options.inChildren ? ShrinkInChildren(options) : PlayDays(options);
        return 0;
    } catch (const std::exception& failure) {
        std::cout << failure.what() << std::flush;
        return 1;
    }
}
