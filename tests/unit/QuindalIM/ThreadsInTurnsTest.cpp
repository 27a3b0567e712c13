// Threads that take turns, one call at a time: one reports positions and orders all day, the other clears the book in
// the evening and registers everybody anew. Each gives back what the other took, day after day, so the memory of the
// process stays where it is. The figures of a day are those of the first one, on whatever threads it is spent.
#include <cmath>
#include <cstdint>
#include <functional>
#include <semaphore>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "AddressSanitizer.h"
#include "ExportCalls.h"
#include "FacadeFixture.h"
#include "QLTracer.h"
#include "ResidentBytes.h"

namespace test::ThreadsInTurnsTest {
namespace {

constexpr bool memoryIsOurs = !addressSanitizerWatches && !threadSanitizerWatches;
constexpr int Rounds = memoryIsOurs ? 1000 : 100;
constexpr int WarmUp = Rounds / 10; // rounds after which everything that is made once has been made
constexpr double Megabyte = 1 << 20;

using Turn = std::function<void()>;

/// A thread that works when it is told to, and is waited for.
class Worker
{
public:
    Worker() = default;
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    ~Worker()
    {
        m_turn = nullptr;
        m_begin.release();
        m_thread.join();
    }

    void Do(const Turn& turn)
    {
        m_turn = &turn;
        m_begin.release();
        m_end.acquire();
    }

private:
    void Run()
    {
        for (m_begin.acquire(); m_turn != nullptr; m_begin.acquire()) {
            (*m_turn)();
            m_end.release();
        }
    }

    const Turn* m_turn = nullptr;
    std::binary_semaphore m_begin{0};
    std::binary_semaphore m_end{0};
    std::thread m_thread{[this] { Run(); }}; // last: it uses everything above
};

/// Does a turn on a thread that ends with it.
void DoOnANewThread(const Turn& turn) { std::thread(turn).join(); }

const std::vector<std::string> Clients = {"AA01001", "AA01002", "AA01003", "AA01004"};

class ThreadsInTurns : public CalculatorTest
{
protected:
    ThreadsInTurns()
    {
        kv7base::QLTracer::DeInit(); // a trace of each call would be most of the work
        EXPECT_EQ(calls::BaseContract(calc, "AAAA"), 0);
        EXPECT_EQ(calls::Futures(calc, "AAAA-12.26", "AAAA"), 0);
        EXPECT_EQ(calls::Futures(calc, "AAAA-3.27", "AAAA"), 0);
        calls::OptionSeriesArguments series; // delivered, with sub-points: wide arrays
        series.SubRisk = 1;
        series.StrikeStep = 20.0;
        series.SettlementType = QUINDAL_SETTLEMENT_TYPE_DELIVERABLE;
        series.ExpClearingsSA = series.ExpClearingsBF = series.ExpClearingsCC = 1;
        EXPECT_EQ(series.Insert(calc, "AAAA-S", "AAAA-12.26"), 0);
        EXPECT_EQ(calls::Option(calc, "AAAA-C1000", "AAAA-S"), 0);
        EXPECT_EQ(calls::Option(calc, "AAAA-P980", "AAAA-S", 980.0, QUINDAL_OPTION_TYPE_PUT), 0);
        Register();
    }

    /// What a day's reports answer, in their order.
    [[nodiscard]] std::vector<calls::Margins> Report() const
    {
        std::vector<calls::Margins> answers;
        std::int32_t codes = 0;
        std::int64_t quantity = 0;
        for (const std::string& client : Clients) {
            ++quantity;
            codes |= calls::Position(calc, client.c_str(), "AAAA-12.26", quantity, 990.0, answers.emplace_back());
            codes |= calls::Position(calc, client.c_str(), "AAAA-C1000", -quantity, 12.0, answers.emplace_back());
            codes |= calls::Position(calc, client.c_str(), "AAAA-P980", 2 * quantity, 9.0, answers.emplace_back());
            codes |= calls::Order(calc, client.c_str(), "AAAA-3.27", 1, 1001.0, 5, answers.emplace_back());
            codes |= calls::Order(calc, client.c_str(), "AAAA-C1000", 0, 13.0, 3, answers.emplace_back());
            codes |= calls::Order(calc, client.c_str(), "AAAA-3.27", 1, 1001.0, -2, answers.emplace_back());
        }
        EXPECT_EQ(codes, 0);
        return answers;
    }
    void ClearAndRegister() const
    {
        EXPECT_EQ(ClearParts(calc), 0);
        Register();
    }
    void Register() const
    {
        EXPECT_EQ(calls::Account(calc, "ACCOUNT1"), 0);
        EXPECT_EQ(calls::Firm(calc, "AA01", "ACCOUNT1"), 0);
        for (const std::string& client : Clients)
            EXPECT_EQ(calls::Part(calc, client.c_str()), 0);
    }

    /// Days whose reports and evenings are done where the two say.
    template <class Day, class Evening>
    void SpendDays(Day day, Evening evening)
    {
        std::vector<calls::Margins> first;
        double resident = 0.0;
        for (int round = 0; round < Rounds; ++round) {
            if (round == WarmUp) resident = bench::ResidentBytes();
            std::vector<calls::Margins> answers;
            day([&] { answers = Report(); });
            evening([&] { ClearAndRegister(); });
            if (round == 0) first = answers;
            ASSERT_EQ(answers, first) << "round " << round;
            TheLink().steps.clear(); // the link of the test writes down each call
        }
        ASSERT_FALSE(first.empty());
        for (const calls::Margins& answer : first)
            EXPECT_GT(answer.part, 0.0);
        if (memoryIsOurs) {
            EXPECT_LT(std::abs(bench::ResidentBytes() - resident), Megabyte);
        }
    }
};

TEST_F(ThreadsInTurns, AreTwoThatStay)
{
    Worker day;
    Worker evening;
    SpendDays([&](const Turn& turn) { day.Do(turn); }, [&](const Turn& turn) { evening.Do(turn); });
}

TEST_F(ThreadsInTurns, AreANewOneForEachTurn) { SpendDays(DoOnANewThread, DoOnANewThread); }

} // namespace
} // namespace test::ThreadsInTurnsTest
