// The known name that was meant.
#include <string>

#include <gtest/gtest.h>

#include "Suggestion.h"

namespace test::SuggestionTest {
namespace {

using quindal::Distance;
using quindal::Suggestion;

TEST(Distance, CountsLettersToBeChangedPutInLeftOutOrExchanged)
{
    const struct
    {
        const char* a;
        const char* b;
        std::size_t distance;
    } cases[] = {{"", "", 0},
                 {"HOUSE", "HOUSE", 0},
                 {"HOUSE", "HOUES", 1},
                 {"HOUSE", "HOSE", 1},
                 {"HOUSE", "HOUSES", 1},
                 {"HOUSE", "MOUSE", 1},
                 {"HOUSE", "HORSES", 2},
                 {"", "ab", 2},
                 {"ca", "abc", 3}}; // not 2: an exchanged pair stays together
    for (const auto& [a, b, distance] : cases) {
        EXPECT_EQ(Distance(a, b, 9), distance) << a << ' ' << b;
        EXPECT_EQ(Distance(b, a, 9), distance) << b << ' ' << a;
    }
    EXPECT_GT(Distance("HOUSE", "CLIENTS", 2), 2U);
}

std::string Suggested(const std::string& meant)
{
    Suggestion suggestion(meant);
    for (const char* const known : {"client", "firm", "account", "INDX-12.26", "INDX-3.27"})
        suggestion.Offer(known);
    return suggestion.Text();
}

TEST(Suggestion, IsTheClosestNameWhenOneIsClose)
{
    EXPECT_EQ(Suggested("clinet"), "; did you mean \"client\"?");
    EXPECT_EQ(Suggested("firms"), "; did you mean \"firm\"?");
    EXPECT_EQ(Suggested("INDX-12.62"), "; did you mean \"INDX-12.26\"?");
    EXPECT_EQ(Suggested("broker"), "");
    EXPECT_EQ(Suggested(""), "");
}

} // namespace
} // namespace test::SuggestionTest
