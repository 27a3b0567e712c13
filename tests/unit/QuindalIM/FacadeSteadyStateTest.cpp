// A position or an order through the exports in steady state touches no general heap while the trace log is closed.
#include <cstddef>
#include <cstdint>

#include <gtest/gtest.h>

#include "AllocationProbe.h"
#include "ExportCalls.h"
#include "FacadeFixture.h"
#include "QLTracer.h"

namespace test::FacadeSteadyStateTest {
namespace {

using calls::Margins;

/// A futures and an option on it; a client under a firm with an account of its own.
class FacadeSteadyStateTest : public CalculatorTest
{
protected:
    FacadeSteadyStateTest()
    {
        EXPECT_EQ(calls::BaseContract(calc, "BC"), 0);
        EXPECT_EQ(calls::Futures(calc, "FUT", "BC"), 0);
        EXPECT_EQ(calls::OptionSeries(calc, "SERIES", "FUT"), 0);
        EXPECT_EQ(calls::Option(calc, "OPT", "SERIES"), 0);
        EXPECT_EQ(calls::Account(calc, "ACC"), 0);
        EXPECT_EQ(calls::Firm(calc, "AA00", "ACC"), 0);
        EXPECT_EQ(calls::Part(calc, "AA00001"), 0);
        TheLink().steps.reserve(100000); // the link of the test writes down each call
        for (std::int64_t quantity = 1; quantity <= 3; ++quantity)
            EXPECT_EQ(CodesOfRound(quantity), 0);
    }

    [[nodiscard]] std::int32_t CodesOfRound(std::int64_t quantity) const
    {
        Margins margins;
        std::int32_t codes = 0;
        for (const char* const instrument : {"FUT", "OPT"}) {
            codes |= calls::Position(calc, "AA00001", instrument, quantity, 1000.5, margins);
            codes |= calls::Order(calc, "AA00001", instrument, 1, 990.25, quantity, margins);
            codes |= calls::Order(calc, "AA00001", instrument, 1, 990.25, -quantity, margins);
        }
        return codes;
    }

    [[nodiscard]] std::size_t AllocationsOfRounds() const
    {
        const testing_support::AllocationProbe probe;
        std::int32_t codes = 0;
        for (std::int64_t quantity = -50; quantity <= 50; ++quantity)
            codes |= CodesOfRound(quantity);
        EXPECT_EQ(codes, 0);
        return probe.Count();
    }
};

TEST_F(FacadeSteadyStateTest, WithTheTraceLogClosedNothingIsAllocated)
{
    kv7base::QLTracer::DeInit();
    EXPECT_EQ(CodesOfRound(1), 0); // sets the start of time again
    EXPECT_EQ(AllocationsOfRounds(), 0U);
}

} // namespace
} // namespace test::FacadeSteadyStateTest
