// The shrinker by itself, on lists of numbers that fail for reasons that are known.
#include "Shrinker.h"

#include <algorithm>
#include <numeric>
#include <vector>

#include <gmock/gmock.h>

namespace test::ShrinkerTest {
namespace {

using simulation::Shrunk;
using simulation::Simplified;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<int> UpTo(int count)
{
    std::vector<int> numbers(static_cast<std::size_t>(count));
    std::iota(numbers.begin(), numbers.end(), 1);
    return numbers;
}

bool Contains(const std::vector<int>& list, int number) { return std::ranges::count(list, number) != 0; }

TEST(Shrinker, KeepsTheOneElementThatFails)
{
    for (const int guilty : {1, 2, 50, 99, 100})
        EXPECT_THAT(Shrunk(UpTo(100), [&](const std::vector<int>& list) { return Contains(list, guilty); }),
                    ElementsAre(guilty));
}

TEST(Shrinker, KeepsTheElementsThatFailTogetherInTheirOrder)
{
    const auto fails = [](const std::vector<int>& list) {
        return Contains(list, 3) && Contains(list, 64) && Contains(list, 97);
    };
    EXPECT_THAT(Shrunk(UpTo(100), fails), ElementsAre(3, 64, 97));
}

// Of a sum nothing can be left out in the end, whichever elements are left.
TEST(Shrinker, LeavesNothingThatCouldBeLeftOut)
{
    const auto fails = [](const std::vector<int>& list) { return std::accumulate(list.begin(), list.end(), 0) > 300; };
    const std::vector<int> shrunk = Shrunk(UpTo(100), fails);
    ASSERT_TRUE(fails(shrunk));
    for (std::size_t i = 0; i < shrunk.size(); ++i) {
        std::vector<int> without = shrunk;
        without.erase(without.begin() + static_cast<std::ptrdiff_t>(i));
        EXPECT_FALSE(fails(without)) << "without element " << i;
    }
}

TEST(Shrinker, KeepsAllWhereAllIsNeededAndNothingWhereNothingIs)
{
    EXPECT_THAT(Shrunk(UpTo(3), [](const std::vector<int>& list) { return list.size() == 3; }), ElementsAre(1, 2, 3));
    EXPECT_THAT(Shrunk(UpTo(7), [](const std::vector<int>&) { return true; }), IsEmpty());
    EXPECT_THAT(Shrunk(std::vector<int>(), [](const std::vector<int>&) { return true; }), IsEmpty());
}

TEST(Shrinker, AsksSomeHundredTimesAboutAThousandElements)
{
    int asked = 0;
    const auto fails = [&](const std::vector<int>& list) {
        ++asked;
        return Contains(list, 777) && Contains(list, 12);
    };
    EXPECT_THAT(Shrunk(UpTo(1000), fails), ElementsAre(12, 777));
    EXPECT_LT(asked, 200);
}

TEST(Shrinker, MakesElementsPlainerWhereTheListStillFails)
{
    const auto plainer = [](int number) { return std::vector<int>{0, number / 10 * 10}; };
    const auto fails = [](const std::vector<int>& list) { return list[0] >= 40 && list[2] == 77; };
    EXPECT_THAT(Simplified(std::vector<int>{47, 55, 77}, plainer, fails), ElementsAre(40, 0, 77));
}

} // namespace
} // namespace test::ShrinkerTest
