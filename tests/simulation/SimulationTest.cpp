// The simulation itself: a seed is a day, a day on which nothing is wrong finds nothing, and a fault of the plain model
// is found, shrunk to the steps that it needs, and told so that it can be repeated.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include <gmock/gmock.h>

#include "PlayInChild.h"
#include "Player.h"
#include "Report.h"
#include "Step.h"

namespace test::SimulationTest {
namespace {

using namespace simulation;
using testing::HasSubstr;
using testing::Not;

std::array<int, Kinds> CountKinds(const Habits& habits)
{
    std::array<int, Kinds> counts{};
    for (std::uint64_t seed = 1; seed <= 40; ++seed)
        for (const Step& step : MakeDay(seed, habits).steps)
            ++counts[static_cast<std::size_t>(step.kind)];
    return counts;
}

TEST(Days, AreTheSameForOneSeedAndOthersForTheNext)
{
    EXPECT_EQ(MakeDay(7).steps, MakeDay(7).steps);
    EXPECT_NE(MakeDay(7).steps, MakeDay(8).steps);
}

TEST(Days, HaveEveryKindOfStepThatTheHabitsAllow)
{
    const auto usual = CountKinds({});
    Habits wild;
    wild.wildNumbers = true;
    const auto wilder = CountKinds(wild);
    for (std::size_t kind = 0; kind < Kinds; ++kind) {
        const bool isWild = static_cast<Kind>(kind) == Kind::WildPosition;
        EXPECT_EQ(usual[kind] == 0, isWild) << NameOf(static_cast<Kind>(kind));
        EXPECT_GT(wilder[kind], 0) << NameOf(static_cast<Kind>(kind));
    }
}

// Days whose seeds stay: what they reach is reached by each run of the tests.
TEST(Days, OfFixedSeedsShowThePlainFigures)
{
    Tally tally;
    for (std::uint64_t seed = 1; seed <= 12; ++seed) {
        const Day day = MakeDay(seed);
        const std::optional<Finding> finding = Play(day, tally);
        ASSERT_FALSE(finding.has_value()) << Shrink(day, *finding);
    }
    EXPECT_GT(tally.Steps(), 2'000U);
    EXPECT_GT(tally.comparisons, 50'000U);
    EXPECT_GT(tally.failures, 50U) << "calls that failed for memory and were made again";
}

/// The first day that shows a fault of the model, and what it shows.
std::pair<Day, Finding> FirstFinding(const Distortion& distortion)
{
    Tally ignored;
    for (std::uint64_t seed = 1; seed <= 200; ++seed) {
        const Day day = MakeDay(seed);
        if (const std::optional<Finding> finding = Play(day, ignored, distortion)) return {day, *finding};
    }
    throw std::runtime_error("200 days do not show the fault");
}

// The model takes a large short position for one contract less.
TEST(AFault, OfOnePositionIsShrunkToOneStep)
{
    const Distortion fault = [](plain::Book& book, plain::Orders&) {
        for (auto& [isin, holding] : book)
            if (holding.quantity < -300) ++holding.quantity;
    };
    const auto [day, finding] = FirstFinding(fault);
    const Day shrunk = ShrunkDay(day, finding, fault);
    EXPECT_EQ(shrunk.steps.size(), 1U) << Shrink(day, finding, fault);
}

// The model forgets the orders of whoever holds the same instrument.
TEST(AFault, OfAPositionAndAnOrderIsShrunkUntilNothingCanBeLeftOut)
{
    const Distortion fault = [](plain::Book& book, plain::Orders& orders) {
        std::erase_if(orders, [&](const plain::Order& order) {
            const auto held = book.find(order.isin);
            return held != book.end() && held->second.quantity != 0;
        });
    };
    const auto [day, finding] = FirstFinding(fault);
    const Day shrunk = ShrunkDay(day, finding, fault);
    Tally ignored;
    EXPECT_TRUE(Play(shrunk, ignored, fault).has_value());
    EXPECT_GT(day.steps.size(), 100U);
    EXPECT_LE(shrunk.steps.size(), 4U) << Shrink(day, finding, fault);
    for (std::size_t i = 0; i < shrunk.steps.size(); ++i) {
        Day without = shrunk;
        without.steps.erase(without.steps.begin() + static_cast<std::ptrdiff_t>(i));
        EXPECT_FALSE(Play(without, ignored, fault).has_value()) << "without step " << i;
    }
}

// The model ends the process at a large short position.
TEST(AFault, ThatEndsTheProcessIsShrunkInChildren)
{
    const Distortion fault = [](plain::Book& book, plain::Orders&) {
        for (const auto& [isin, holding] : book)
            if (holding.quantity < -450) std::abort();
    };
    std::uint64_t seed = 1;
    while (ComesThrough(MakeDay(seed), fault))
        ++seed;
    EXPECT_EQ(ShrunkInChildren(MakeDay(seed), fault).steps.size(), 1U) << "seed " << seed;
    EXPECT_TRUE(ComesThrough(MakeDay(seed)));
}

TEST(AFault, IsToldWithItsSeedTheCommandAndTheCalls)
{
    const Distortion fault = [](plain::Book& book, plain::Orders&) {
        for (auto& [isin, holding] : book)
            holding.quantity = std::min<std::int64_t>(holding.quantity, 400);
    };
    const auto [day, finding] = FirstFinding(fault);
    const std::string text = Shrink(day, finding, fault);
    EXPECT_THAT(text, HasSubstr("The day of seed " + std::to_string(day.seed)));
    EXPECT_THAT(text, HasSubstr("simulate --days 1 --seed " + std::to_string(day.seed) + "\n"));
    EXPECT_THAT(text, HasSubstr("SetPosition "));
    EXPECT_THAT(text, HasSubstr(" instead of "));
    EXPECT_THAT(text, Not(HasSubstr("does not fail every time")));
}

TEST(TheCommand, HasTheHabitsOfTheDay)
{
    Habits habits;
    habits.wildNumbers = habits.spreadOrdersWhileOpen = true;
    EXPECT_EQ(CommandFor(MakeDay(3, habits)), "simulate --days 1 --seed 3 --wild --spread-orders");
    habits = {};
    habits.failuresUnderLosses = false;
    EXPECT_EQ(CommandFor(MakeDay(3, habits)), "simulate --days 1 --seed 3 --failures netting");
    habits.failuresUnderNetting = false;
    EXPECT_EQ(CommandFor(MakeDay(3, habits)), "simulate --days 1 --seed 3 --failures none");
}

} // namespace
} // namespace test::SimulationTest
