// A day of a host, in which each allocation of each call fails once: alone, or with all that follow within the call.
// The call is then made again. From there on every answer is that of the day on which nothing failed, so a call that
// failed for memory has changed nothing that shows, at no level of the account tree.
//
// The margins of clients, firms and accounts are read from the inside after each call: no exported function hands all
// of them out. The day is the same under every rule of the firm and of the account.
#include <array>
#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "../kv7go/FailingAllocations.h"
#include "BraskSettlementAccount.h"
#include "Broker.h"
#include "Client.h"
#include "ExportCalls.h"
#include "FacadeFixture.h"
#include "LibraryState.h"
#include "ParticipantRepository.h"
#include "grids/LazyMemoryPool.h"

namespace test::FailureStoryTest {
namespace {

using testing_support::OneFailingAllocation;
using testing_support::RoomForAllocations;

constexpr std::int32_t SomethingUnforeseen = 94808;
constexpr std::int32_t SomethingUnforeseenInABook = 94708; // of ChangePart

/// GO and blocked money of both clients, the firm and the account; zeros where there is none.
using Tree = std::array<double, 8>;

/// What a call gave back, and what the tree held afterwards.
struct Answer
{
    std::int32_t code = 0;
    calls::Margins margins;
    Tree tree{};

    friend bool operator==(const Answer&, const Answer&) = default;
    friend std::ostream& operator<<(std::ostream& out, const Answer& answer)
    {
        const calls::Margins& m = answer.margins;
        out << answer.code << ": " << m.volatility << ' ' << m.delivery << ' ' << m.part << ' ' << m.firm << ' '
            << m.account << "; tree";
        for (const double figure : answer.tree)
            out << ' ' << figure;
        return out;
    }
};

Tree LookAtTheTree()
{
    Tree tree{};
    std::size_t next = 0;
    const auto look = [&](ParticipantBase& participant) {
        tree[next++] = participant.GetInitialMargin();
        tree[next++] = participant.GetMeans().BlockedMoney.AsDouble();
    };
    ParticipantRepository& participants = QuindalIM::GetParticipantRepositoryForQuindaIM();
    for (BraskBroker& firm : participants.EnumerateBrokers()) {
        look(firm);
        look(*firm.GetSettlementAccount());
        for (const char* const code : {"AA01001", "AA01002"})
            if (BraskClient* const client = firm.SearchClient(ClientCode::Parse(code))) look(*client);
    }
    return tree;
}

/// Rules of the firm and of its account.
struct Rules
{
    QuindalMarginRule firm;
    QuindalMarginRule account;
};

struct Call
{
    std::string name;
    std::function<std::int32_t(std::intptr_t, calls::Margins&)> make;

    [[nodiscard]] Answer Make(std::intptr_t calc) const
    {
        Answer answer;
        answer.code = make(calc, answer.margins);
        return answer; // the tree is looked at where memory is there again
    }
};

std::int32_t FuturesInSpread(std::intptr_t calc, const char* code, const char* baseContract, double price, double time)
{
    return InsertFutures(calc, code, baseContract, price, QUINDAL_SPREAD_ASPECT_IN_SPREAD, 1.0, price, 1.0, 1.0, 0.01,
                         0.02, time, 1000.0, QUINDAL_ATTRIBUTE_NONE, 0.0, 0.0, 0, "");
}

/// Delivered, with sub-points, within its futures.
std::int32_t WideSeries(std::intptr_t calc, const char* code, const char* futures)
{
    calls::OptionSeriesArguments values;
    values.ExpClearingsSA = values.ExpClearingsBF = values.ExpClearingsCC = 1;
    values.SettlementType = QUINDAL_SETTLEMENT_TYPE_DELIVERABLE;
    values.SpreadAspect = QUINDAL_SPREAD_ASPECT_IN_SPREAD;
    values.SubRisk = 1;
    values.StrikeStep = 20.0;
    return values.Insert(calc, code, futures);
}

/// A call that gives a code only.
Call Step(std::string name, std::function<std::int32_t(std::intptr_t)> make)
{
    return {std::move(name), [make = std::move(make)](std::intptr_t calc, calls::Margins&) { return make(calc); }};
}

Call Position(const char* code, const char* instrument, std::int64_t quantity, double price,
              QuindalAccountHierarchyRecordType level = QUINDAL_ACCOUNT_HIERARCHY_CLIENT)
{
    return {"SetPosition " + std::string(code) + " " + instrument + " " + std::to_string(quantity),
            [=](std::intptr_t calc, calls::Margins& margins) {
                return calls::Position(calc, code, instrument, quantity, price, margins, level);
            }};
}

Call Order(const char* code, const char* instrument, bool isBuy, double price, std::int64_t quantity)
{
    return {"ChangeOrder " + std::string(code) + " " + instrument + " " + std::to_string(quantity),
            [=](std::intptr_t calc, calls::Margins& margins) {
                return calls::Order(calc, code, instrument, isBuy ? 1 : 0, price, quantity, margins);
            }};
}

std::vector<Call> Instruments()
{
    using Handle = std::intptr_t;
    return {
        Step("InsertCurrency", [](Handle c) { return InsertCurrency(c, 840, 0.05); }),
        Step("InsertBaseContract A", [](Handle c) { return calls::BaseContract(c, "AAAA", "MCS1"); }),
        Step("InsertBaseContract B", [](Handle c) { return calls::BaseContract(c, "BBBB", "MCS1", 3); }),
        Step("InsertBaseContract C", [](Handle c) { return calls::BaseContract(c, "CCCC"); }),
        Step("InsertFutures far", [](Handle c) { return FuturesInSpread(c, "AAAA-3.27", "AAAA", 1010.0, 0.5); }),
        Step("InsertFutures near", [](Handle c) { return FuturesInSpread(c, "AAAA-12.26", "AAAA", 1000.0, 0.25); }),
        Step("InsertFutures B", [](Handle c) { return FuturesInSpread(c, "BBBB-12.26", "BBBB", 990.0, 0.25); }),
        Step("InsertFutures C", [](Handle c) { return calls::Futures(c, "CCCC-12.26", "CCCC"); }),
        Step("InsertOptionSeries wide", [](Handle c) { return WideSeries(c, "AAAA-W", "AAAA-12.26"); }),
        Step("InsertOptionSeries alone", [](Handle c) { return calls::OptionSeries(c, "CCCC-S", "CCCC-12.26"); }),
        Step("InsertOption wide call", [](Handle c) { return calls::Option(c, "AAAA-C1000", "AAAA-W", 1000.0); }),
        Step("InsertOption wide put",
             [](Handle c) { return calls::Option(c, "AAAA-P980", "AAAA-W", 980.0, QUINDAL_OPTION_TYPE_PUT); }),
        Step("InsertOption alone", [](Handle c) { return calls::Option(c, "CCCC-C1000", "CCCC-S", 1000.0); }),
        Step("InsertMultileg", [](Handle c) { return InsertMultileg(c, "AAAA-12.26-3.27"); }),
    };
}

std::int32_t FirmUnder(std::intptr_t calc, const char* code, const char* account, QuindalMarginRule rule)
{
    return RegisterFirm(calc, code, 0, 1.0, 1.0, QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY, account,
                        QUINDAL_SPREAD_MARGIN_TYPE_NETTING, rule, QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1.0, 0);
}

std::vector<Call> Registrations(const Rules& rules)
{
    using Handle = std::intptr_t;
    return {
        Step("RegisterSettlementAccount", [=](Handle c) { return calls::Account(c, "ACCOUNT1", rules.account); }),
        Step("RegisterFirm", [=](Handle c) { return FirmUnder(c, "AA01", "ACCOUNT1", rules.firm); }),
        Step("InsertBrokerBaseContractParam",
             [](Handle c) { return InsertBrokerBaseContractParam(c, "AA01", "AAAA", 1.25); }),
        Step("RegisterPart 1", [](Handle c) { return calls::Part(c, "AA01001"); }),
        Step("RegisterPart 2", [](Handle c) { return calls::Part(c, "AA01002", 2.0); }),
    };
}

std::vector<Call> Book()
{
    return {
        Position("AA01001", "AAAA-12.26", 5, 1000.0),
        Position("AA01001", "AAAA-3.27", -5, 1010.0),
        Position("AA01001", "AAAA-C1000", -3, 12.0),
        Position("AA01001", "AAAA-P980", 4, 9.0),
        Position("AA01001", "BBBB-12.26", 10, 991.0),
        Position("AA01001", "CCCC-C1000", -2, 11.0),
        Order("AA01001", "AAAA-12.26", true, 999.0, 3),
        Order("AA01001", "AAAA-C1000", false, 13.0, 2),
        Order("AA01001", "CCCC-C1000", true, 10.0, 2),
        Order("AA01001", "AAAA-12.26-3.27", true, 9.0, 4),
        Order("AA01001", "AAAA-12.26", true, 999.0, -1),
        Position("AA01002", "CCCC-12.26", 7, 1001.0),
        Order("AA01002", "CCCC-12.26", false, 1003.0, 20),
        Step("ChangePart", [](std::intptr_t c) { return ChangePart(c, "AA01001", 1, 1, 0.75); }),
        Position("AA01001", "AAAA-12.26", 6, 1000.5),
        Order("AA01001", "AAAA-3.27", true, 1009.0, 1),
        Position("AA01002", "CCCC-12.26", 0, 0.0),
        Order("AA01002", "CCCC-12.26", false, 1003.0, -20),
        Position("AA01", "AAAA-12.26", 6, 1000.5, QUINDAL_ACCOUNT_HIERARCHY_BROKER),
        Position("AA01", "AAAA-C1000", -3, 12.0, QUINDAL_ACCOUNT_HIERARCHY_BROKER),
        Position("ACCOUNT1", "AAAA-12.26", 6, 1000.5, QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT),
        Position("ACCOUNT1", "BBBB-12.26", 10, 991.0, QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT),
        Order("AA01001", "BBBB-12.26", true, 1.0, 0),
        Order("AA01002", "BBBB-12.26", true, 1.0, 0),
    };
}

std::vector<Call> Day(const Rules& rules)
{
    std::vector<Call> day = Instruments();
    for (const std::vector<Call>& part : {Registrations(rules), Book()})
        day.insert(day.end(), part.begin(), part.end());
    day.push_back(Step("ClearParts", [](std::intptr_t c) { return ClearParts(c); }));
    for (const std::vector<Call>& part : {Registrations(rules), Book()}) // once more, with the instruments that stayed
        day.insert(day.end(), part.begin(), part.end());
    return day;
}

class FailureStory : public CalculatorTest, public testing::WithParamInterface<Rules>
{
protected:
    FailureStory()
    {
        for (const Call& call : m_day)
            m_undisturbed.push_back(Make(call));
    }

    /// Starts the day anew, with a pool that has to ask the system.
    void Begin()
    {
        ASSERT_EQ(ClearAll(calc), 0);
        kv7im::auxiliary::LazyMemoryPool::GiveBack();
        static_cast<void>(log.Take());
    }
    [[nodiscard]] const Answer& Undisturbed(std::size_t i) const { return m_undisturbed[i]; }
    [[nodiscard]] const std::vector<Call>& Calls() const { return m_day; }
    [[nodiscard]] Answer Make(const Call& call)
    {
        Answer answer = call.Make(calc);
        answer.tree = LookAtTheTree();
        return answer;
    }
    void MakeUndisturbed(std::size_t first, std::size_t last)
    {
        for (std::size_t i = first; i < last; ++i)
            EXPECT_EQ(Make(m_day[i]), m_undisturbed[i]) << "call " << i << ", " << m_day[i].name;
    }
    /// The day with one call failing behind so many allocations; false when it does not fail any more.
    template <class Memory>
    bool DayWithAFailure(std::size_t failing, long allocations)
    {
        Begin();
        MakeUndisturbed(0, failing);
        const Tree before = LookAtTheTree();
        Answer disturbed;
        {
            const Memory memory(allocations);
            disturbed = m_day[failing].Make(calc);
        }
        disturbed.tree = LookAtTheTree();
        if (disturbed == m_undisturbed[failing]) return false;
        EXPECT_EQ(disturbed.code,
                  m_day[failing].name == "ChangePart" ? SomethingUnforeseenInABook : SomethingUnforeseen);
        EXPECT_EQ(disturbed.margins, calls::Margins()) << "nothing is written";
        EXPECT_EQ(disturbed.tree, before) << "nothing has changed";
        MakeUndisturbed(failing, m_day.size());
        return true;
    }
    /// The number of failures over all calls.
    template <class Memory>
    long FailEachAllocationOfTheDay()
    {
        long failures = 0;
        for (std::size_t failing = 0; failing < m_day.size(); ++failing) {
            for (long allocations = 0; DayWithAFailure<Memory>(failing, allocations); ++allocations) {
                ++failures;
                if (!HasFailure()) continue;
                ADD_FAILURE() << "after allocation " << allocations << " failed in call " << failing << ", "
                              << m_day[failing].name;
                return failures;
            }
        }
        return failures;
    }

private:
    std::vector<Call> m_day = Day(GetParam());
    std::vector<Answer> m_undisturbed;
};

std::string NameOf(QuindalMarginRule rule)
{
    switch (rule) {
    case QUINDAL_MARGIN_RULE_NETTING:
        return "Netting";
    case QUINDAL_MARGIN_RULE_HALF_NETTING:
        return "HalfNetting";
    default:
        return "Gross";
    }
}

std::vector<Rules> AllRules()
{
    std::vector<Rules> all;
    for (const auto firm : {QUINDAL_MARGIN_RULE_NETTING, QUINDAL_MARGIN_RULE_HALF_NETTING, QUINDAL_MARGIN_RULE_GROSS})
        for (const auto account :
             {QUINDAL_MARGIN_RULE_NETTING, QUINDAL_MARGIN_RULE_HALF_NETTING, QUINDAL_MARGIN_RULE_GROSS})
            all.push_back({firm, account});
    return all;
}

INSTANTIATE_TEST_SUITE_P(UnderEachRule, FailureStory, testing::ValuesIn(AllRules()), [](const auto& rules) {
    return NameOf(rules.param.firm) + "Below" + NameOf(rules.param.account);
});

TEST_P(FailureStory, OfAnUndisturbedDayHasNoErrorsAndIsRepeatable)
{
    Begin();
    MakeUndisturbed(0, Calls().size());
    for (std::size_t i = 0; i < Calls().size(); ++i)
        EXPECT_EQ(Undisturbed(i).code, 0) << Calls()[i].name;
}

TEST_P(FailureStory, OneAllocationThatFailsLeavesEverythingAsItWas)
{
    EXPECT_GT(FailEachAllocationOfTheDay<OneFailingAllocation>(), 500);
}

TEST_P(FailureStory, MemoryThatEndsWithinACallLeavesEverythingAsItWas)
{
    EXPECT_GT(FailEachAllocationOfTheDay<RoomForAllocations>(), 500);
}

// The start of the library --------------------------------------------------------------------------------------------

/// Starts the library again and again, one allocation failing each time, until none fails any more. In between it is
/// not started, and the end is a library that works. Gives the number of failures.
template <class Memory>
long FailEachAllocationOfTheStart(const std::string& ini)
{
    constexpr std::int32_t OutOfMemory = 1; // of the platform, where the ini file or a log is opened
    constexpr std::int32_t NotInitialized = 94821;
    for (long allocations = 0;; ++allocations) {
        std::int32_t code = 0;
        {
            const Memory memory(allocations);
            code = InitQuindalIM(ini.c_str(), "user", "secret");
        }
        std::intptr_t calc = 0;
        if (code == 0) {
            EXPECT_EQ(CreateQuindalIMCalculator(&calc), 0);
            return allocations;
        }
        EXPECT_TRUE(code == SomethingUnforeseen || code == OutOfMemory) << code << " after " << allocations;
        EXPECT_EQ(CreateQuindalIMCalculator(&calc), NotInitialized);
        kv7base::QLTracer::DeInit(); // the logs are opened anew by the next try
        if (testing::Test::HasFailure()) return allocations;
    }
}

using StartStory = LibraryTest;

TEST_F(StartStory, AnAllocationThatFailsLeavesTheLibraryNotStartedAndTheNextTryStartsIt)
{
    EXPECT_GT(FailEachAllocationOfTheStart<OneFailingAllocation>(GoodIni()), 10);
}

TEST_F(StartStory, MemoryThatEndsWithinTheStartLeavesTheLibraryNotStarted)
{
    EXPECT_GT(FailEachAllocationOfTheStart<RoomForAllocations>(GoodIni()), 10);
}

} // namespace
} // namespace test::FailureStoryTest
