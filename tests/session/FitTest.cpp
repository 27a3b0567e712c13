// The search for the largest quantity, over functions of any shape that keep to their bound.
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "Draw.h"
#include "Fit.h"

namespace test::FitTest {
namespace {

using quindal::FitFound;
using quindal::FitSearch;
using quindal::LargestThatFits;

/// The search over a table of figures.
FitSearch Over(const std::vector<double>& figures, double limit, double fall)
{
    FitSearch search;
    search.most = static_cast<std::int64_t>(figures.size()) - 1;
    search.limit = limit;
    search.fall = fall;
    search.figure = [&](std::int64_t quantity) { return figures[static_cast<std::size_t>(quantity)]; };
    search.fits = [&, limit](std::int64_t quantity) { return figures[static_cast<std::size_t>(quantity)] <= limit; };
    return search;
}

std::optional<std::int64_t> Plainly(const std::vector<double>& figures, double limit)
{
    for (std::size_t i = figures.size(); i-- > 0;)
        if (figures[i] <= limit) return static_cast<std::int64_t>(i);
    return std::nullopt;
}

TEST(Fit, TakesTheTopWhereItFits)
{
    const std::vector<double> figures{5.0, 4.0, 9.0, 3.0};
    EXPECT_EQ(LargestThatFits(Over(figures, 3.0, 6.0)).quantity, 3);
}

TEST(Fit, FindsNothingWhereNothingFits)
{
    const std::vector<double> figures{5.0, 6.0, 7.0};
    const FitFound found = LargestThatFits(Over(figures, 4.0, 1.0));
    EXPECT_EQ(found.quantity, std::nullopt);
    EXPECT_GT(found.evaluations, 0U);
}

// A hole of one quantity within figures that are all over the limit.
TEST(Fit, FindsAQuantityThatStandsAlone)
{
    std::vector<double> figures(1001, 10.0);
    figures[417] = 3.0;
    EXPECT_EQ(LargestThatFits(Over(figures, 3.0, 7.0)).quantity, 417);
}

TEST(Fit, PassesOverWhatCannotFit)
{
    const std::int64_t most = 1'000'000;
    FitSearch search;
    search.most = most;
    search.limit = 123'456.7;
    search.fall = 1.0;
    search.figure = [](std::int64_t quantity) { return static_cast<double>(quantity); };
    search.fits = [](std::int64_t quantity) { return static_cast<double>(quantity) <= 123'456.7; };
    const FitFound found = LargestThatFits(search);
    EXPECT_EQ(found.quantity, 123'456);
    EXPECT_LE(found.evaluations, 4U);
}

TEST(Fit, LooksAtEachQuantityWithoutABound)
{
    std::vector<double> figures(50, 10.0);
    figures[3] = -1e300;
    EXPECT_EQ(LargestThatFits(Over(figures, 0.0, std::numeric_limits<double>::infinity())).quantity, 3);
}

TEST(Fit, AJumpIsLookedAtItself)
{
    std::vector<double> figures(100, 1000.0);
    figures[40] = 1.0;
    FitSearch search = Over(figures, 1.0, 0.5);
    EXPECT_EQ(LargestThatFits(search).quantity, std::nullopt);
    search.jumps = {70, 40, 99};
    EXPECT_EQ(LargestThatFits(search).quantity, 40);
}

// The quick figure of a quantity that does not fit may say that it does, within the tolerance, and the other way round.
TEST(Fit, TheExactFigureDecidesWithinTheTolerance)
{
    const std::vector<double> exact{0.0, 1.0, 2.0, 3.0, 4.0};
    const std::vector<double> quick{0.0, 1.01, 1.99, 2.99, 4.0};
    FitSearch search = Over(exact, 2.0, 1.0);
    search.tolerance = 0.02;
    search.figure = [&](std::int64_t quantity) { return quick[static_cast<std::size_t>(quantity)]; };
    EXPECT_EQ(LargestThatFits(search).quantity, 2);
    search.limit = 1.0;
    search.fits = [&](std::int64_t quantity) { return exact[static_cast<std::size_t>(quantity)] <= 1.0; };
    EXPECT_EQ(LargestThatFits(search).quantity, 1);
}

/// Walks that rise as they like and fall by no more than the bound: slopes, plateaus, spikes of one quantity, jumps.
struct DrawnFigures
{
    std::vector<double> figures;
    std::vector<std::int64_t> jumps;
    double fall = 0.0;

    explicit DrawnFigures(std::uint64_t seed)
    {
        replay::Draw draw(seed);
        fall = draw.Grid(0.25, 0.25, 20);
        const int size = draw.Whole(1, 400);
        double figure = draw.Grid(-20.0, 0.5, 80);
        double slope = 0.0;
        for (int i = 0; i < size; ++i) {
            if (i == 0 || draw.OnceIn(15)) slope = draw.OnceIn(3) ? 0.0 : draw.Grid(-1.0, 0.25, 9) * fall;
            // Going down by one quantity, the figure falls by what it has risen here.
            figure += draw.OnceIn(12) ? fall : draw.OnceIn(12) ? -draw.Grid(0.0, 5.0, 9) : std::min(slope, fall);
            figures.push_back(figure);
        }
        for (int i = draw.Whole(0, 2); i > 0; --i) {
            jumps.push_back(draw.Whole(0, size - 1));
            figures[static_cast<std::size_t>(jumps.back())] += draw.Grid(-50.0, 10.0, 11);
        }
    }
};

TEST(Fit, AgreesWithLookingAtEveryQuantity)
{
    for (std::uint64_t seed = 1; seed <= 3000; ++seed) {
        SCOPED_TRACE(seed);
        DrawnFigures drawn(seed);
        replay::Draw draw(seed + 1'000'000);
        const double limit = draw.OneOf(drawn.figures) + draw.OneOf({0.0, 0.0, -0.01, 0.01, -30.0});
        FitSearch search = Over(drawn.figures, limit, drawn.fall);
        search.jumps = drawn.jumps;
        search.tolerance = 1e-6; // of the sums that the figures are
        ASSERT_EQ(LargestThatFits(search).quantity, Plainly(drawn.figures, limit));
    }
}

} // namespace
} // namespace test::FitTest
