// Memory that ends inside an exported insertion: the caller is told, nothing is entered, and the same call may be made
// again.
#include <cstdint>

#include "../kv7go/FailingAllocations.h"
#include "FacadeFixture.h"

namespace test::InsertionFailureTest {
namespace {

using testing_support::OneFailingAllocation;
using testing_support::RoomForAllocations;

/// Inserts the currency with an allocation failing later and later, until it goes in; gives the number of failures.
template <class Memory>
long InsertUntilThereIsMemory(std::intptr_t calc, std::int32_t id, std::int32_t countBefore)
{
    for (long failures = 0; failures < 1000; ++failures) {
        std::int32_t code = 0;
        {
            const Memory memory(failures);
            code = InsertCurrency(calc, id, 0.05);
        }
        if (code == 0) return failures;
        std::int32_t count = -1;
        EXPECT_EQ(code, 94808) << failures;
        EXPECT_EQ(SetOnFirstCurrency(calc, &count), 0);
        EXPECT_EQ(count, countBefore) << failures;
        if (testing::Test::HasFailure()) break;
    }
    return -1;
}

TEST_F(CalculatorTest, ACurrencyThatMemoryEndedForIsNotInAndMayBeInsertedAgain)
{
    EXPECT_GE(InsertUntilThereIsMemory<OneFailingAllocation>(calc, 840, 0), 2) << "the list's entry, the repository's";
    EXPECT_GE(InsertUntilThereIsMemory<RoomForAllocations>(calc, 978, 1), 2);

    std::int32_t count = 0;
    ASSERT_EQ(SetOnFirstCurrency(calc, &count), 0);
    ASSERT_EQ(count, 2);
    for (const std::int32_t expected : {840, 978}) {
        std::int32_t id = 0;
        double radius = 0.0;
        ASSERT_EQ(GetNextCurrency(calc, &id, &radius), 0);
        EXPECT_EQ(id, expected);
        EXPECT_EQ(radius, 0.05);
    }
    EXPECT_EQ(InsertCurrency(calc, 840, 0.05), 94791) << "now it is in";
}

} // namespace
} // namespace test::InsertionFailureTest
