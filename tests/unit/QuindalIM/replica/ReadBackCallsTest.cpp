// Calls of the read-back: what kind of call it is, what is written when, which arguments are refused with which code,
// and that none of them changes a figure.
#include <cstddef>
#include <functional>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include <gmock/gmock.h>

#include "ReadBackMarket.h"
#include "except.h"
#include "kv7errors.h"

namespace test::ReadBackCallsTest {
namespace {

using namespace read_back;
using Enums::AccountHierarchyRecordType;
using Enums::MarginRule;
using testing::Each;
using testing::ElementsAre;

/// All twelve operations with sizes, of things that exist. The final ones put the count of scenarios in themselves.
struct NamedOperation
{
    std::string name;
    bool isFinal;
    std::function<std::int32_t(eChooseRiskType, const char* instrument, const char* code, double*, std::size_t&,
                               std::size_t&, Info&)>
        call;
    const char* instrument = "FUT";
    const char* code = "AA01001";
};

class ReadBackCalls : public testing::Test
{
protected:
    [[nodiscard]] NamedOperation Make(const std::string& name, MatricesOperation operation, const char* instrument,
                                      const char* code) const
    {
        return {name, false,
                [this, operation](eChooseRiskType type, const char* instr, const char* who, double* arr,
                                  std::size_t& points, std::size_t& scenarios, Info& info) {
                    return (tree.calculator.*operation)(type, instr, who, arr, points, scenarios, info);
                },
                instrument, code};
    }
    [[nodiscard]] NamedOperation Make(const std::string& name, FinalOperation operation, const char* instrument,
                                      const char* code) const
    {
        return {name, true,
                [this, operation](eChooseRiskType type, const char* instr, const char* who, double* arr,
                                  std::size_t& points, std::size_t&, Info& info) {
                    return (tree.calculator.*operation)(type, instr, who, arr, points, info);
                },
                instrument, code};
    }

    [[nodiscard]] std::vector<NamedOperation> OfParticipants() const
    {
        using C = QuindalIM::CCalcGO;
        return {Make("GetClientVfRisksArray", &C::GetClientVfRisksArray, "ALONE", client),
                Make("GetClientDeliveryRisksArray", &C::GetClientDeliveryRisksArray, "DEL", client),
                Make("GetClientFutRisksArray", &C::GetClientFutRisksArray, "FUT", client),
                Make("GetClientMmsRisksArray", &C::GetClientMmsRisksArray, "NET", client),
                Make("GetClientMcsRisksArray", &C::GetClientMcsRisksArray, "GROUP", client),
                Make("GetBrokerRisksArray", &C::GetBrokerRisksArray, "FUT", "AA01"),
                Make("GetSettlementAccountRisksArray", &C::GetSettlementAccountRisksArray, "FUT", "ACCOUNT"),
                Make("GetClientRiskFinalRiskArray", &C::GetClientRiskFinalRiskArray, "NET", client),
                Make("GetBrokerRiskFinalRiskArray", &C::GetBrokerRiskFinalRiskArray, "GROUP", "AA01"),
                Make("GetSettlementAccountFinalRiskArray", &C::GetSettlementAccountFinalRiskArray, "NET", "ACCOUNT")};
    }
    /// The instrument operations look at no participant; a null code is a null instrument to them.
    [[nodiscard]] std::vector<NamedOperation> All() const
    {
        std::vector<NamedOperation> all = OfParticipants();
        for (const bool isOption : {false, true})
            all.push_back({"GetRiskPoints", false,
                           [this, isOption](eChooseRiskType type, const char* instrument, const char* code, double* arr,
                                            std::size_t& points, std::size_t& scenarios, Info& info) {
                               return tree.calculator.GetRiskPoints(type, code == nullptr ? code : instrument, isOption,
                                                                    arr, points, scenarios, info,
                                                                    Enums::ClientRiskLevel::Default);
                           },
                           isOption ? "ALONE-11" : "FUT", "none"});
        all.push_back({"GetOptionRisksArray", false,
                       [this](eChooseRiskType type, const char* instrument, const char* code, double* arr,
                              std::size_t& points, std::size_t& scenarios, Info& info) {
                           return tree.calculator.GetOptionRisksArray(type, code == nullptr ? code : instrument, arr,
                                                                      points, scenarios, info,
                                                                      Enums::ClientRiskLevel::High);
                       },
                       "DEL-12", "none"});
        return all;
    }

    TreeWithBook tree;
    static constexpr const char* client = "AA01001";
};

TEST_F(ReadBackCalls, ASizingCallWritesTheSizesAndLeavesTheArrayAlone)
{
    for (const NamedOperation& operation : All()) {
        SCOPED_TRACE(operation.name);
        const eChooseRiskType type = operation.isFinal ? Matrix_Final : Matrix_Volatility;
        std::size_t points = 0;
        std::size_t scenarios = operation.isFinal ? 0 : 5; // one of the two is enough
        double arr[2] = {Guard, Guard};
        Info info;
        ASSERT_EQ(operation.call(type, operation.instrument, operation.code, arr, points, scenarios, info), 0);
        EXPECT_EQ(points, 3U);
        EXPECT_THAT(arr, Each(Guard));
        if (operation.isFinal) continue;
        const std::size_t rows = scenarios;
        EXPECT_THAT(rows, testing::AnyOf(1U, 3U));

        points = 7;
        scenarios = 0;
        ASSERT_EQ(operation.call(type, operation.instrument, operation.code, nullptr, points, scenarios, info), 0);
        EXPECT_EQ(points, 3U);
        EXPECT_EQ(scenarios, rows);
    }
}

// The sizes on entry only say what kind of call it is.
TEST_F(ReadBackCalls, ACopyingCallCopiesTheWholeResultWhateverSizesItCameWith)
{
    for (const NamedOperation& operation : All()) {
        const eChooseRiskType type = operation.isFinal ? Matrix_Final : Matrix_Volatility;
        for (const std::size_t size : {1U, 2U, 50U}) {
            SCOPED_TRACE(operation.name + ", " + std::to_string(size));
            std::size_t points = size;
            std::size_t scenarios = operation.isFinal ? 0 : size;
            std::vector<double> arr(12, Guard);
            Info info;
            ASSERT_EQ(operation.call(type, operation.instrument, operation.code, arr.data(), points, scenarios, info),
                      0);
            EXPECT_EQ(points, 3U);
            const auto written = static_cast<std::ptrdiff_t>(operation.isFinal ? 3 : 3 * scenarios);
            EXPECT_EQ(std::count(arr.begin(), arr.begin() + written, Guard), 0);
            EXPECT_EQ(std::count(arr.begin() + written, arr.end(), Guard), 12 - written);
        }
    }
}

TEST_F(ReadBackCalls, ACopyingCallNeedsAnArray)
{
    for (const NamedOperation& operation : All()) {
        SCOPED_TRACE(operation.name);
        std::size_t points = 1;
        std::size_t scenarios = 1;
        Info info;
        info.ZR = 3.0;
        EXPECT_EQ(operation.call(Matrix_Final, operation.instrument, operation.code, nullptr, points, scenarios, info),
                  Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS);
        EXPECT_EQ(std::tuple(points, scenarios, info.ZR), std::tuple(1U, 1U, 3.0));
    }
}

TEST_F(ReadBackCalls, NullTextsAreWrongInput)
{
    for (const NamedOperation& operation : All()) {
        SCOPED_TRACE(operation.name);
        for (const auto& [instrument, code] : {std::pair<const char*, const char*>(nullptr, operation.code),
                                               {operation.instrument, nullptr},
                                               {nullptr, nullptr}}) {
            std::size_t points = 1;
            std::size_t scenarios = 1;
            Info info;
            EXPECT_EQ(operation.call(Matrix_Final, instrument, code, nullptr, points, scenarios, info),
                      Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS)
                << "before the array is asked for";
            EXPECT_EQ(std::pair(points, scenarios), std::pair(std::size_t{1}, std::size_t{1}));
        }
    }
}

// Bit 0 goes with everything; of the bits above it one at most, whether it means anything or not.
TEST_F(ReadBackCalls, OfAllTypesThoseWithTwoMatricesAreRefused)
{
    std::vector<int> types = {128, 129, 130, 3 << 29, std::numeric_limits<int>::min(), -1};
    for (int type = 0; type < 128; ++type)
        types.push_back(type);
    for (const NamedOperation& operation : All()) {
        for (const int type : types) {
            int bitsAboveBitZero = 0;
            for (int bit = 1; bit < 32; ++bit)
                if ((static_cast<unsigned>(type) >> bit) % 2 == 1) ++bitsAboveBitZero;
            std::size_t points = 0;
            std::size_t scenarios = 0;
            Info info;
            EXPECT_EQ(operation.call(static_cast<eChooseRiskType>(type), operation.instrument, operation.code, nullptr,
                                     points, scenarios, info),
                      bitsAboveBitZero > 1 ? static_cast<int>(Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS) : 0)
                << operation.name << ", type " << type;
        }
        std::size_t points = 1;
        std::size_t scenarios = 1;
        Info info;
        EXPECT_EQ(operation.call(Matrix_Volatility | Matrix_InterestRate, operation.instrument, operation.code, nullptr,
                                 points, scenarios, info),
                  Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS)
            << "before the array is asked for";
    }
}

// Deliberate: the type is passed on as it is, and the scenarios are not told.
TEST_F(ReadBackCalls, AFinalOperationTakesOtherTypesTooAndWritesTheirWholeMatrix)
{
    std::size_t points = 3;
    std::vector<double> arr(9, Guard);
    Info info;
    ASSERT_EQ(tree.calculator.GetClientRiskFinalRiskArray(Matrix_Volatility, "FUT", client, arr.data(), points, info),
              0);
    EXPECT_EQ(points, 3U);
    EXPECT_THAT(arr, ElementsAre(-200, 0, 200, -200, 0, 200, -200, 0, 200));
}

TEST_F(ReadBackCalls, MissingParticipantsHaveTheirCodes)
{
    struct Case
    {
        const char* who;
        std::size_t from, to; // operations
        Z9ERR code;
    };
    const Case cases[] = {
        {"ZZ01001", 0, 5, Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND},
        {"ZZ01001", 7, 8, Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND},
        {"AA01999", 0, 5, Z9ERR_CALCGO_API_ERROR_PART_NOT_FOUND},
        {"AA01999", 7, 8, Z9ERR_CALCGO_API_ERROR_PART_NOT_FOUND},
        {"AA01", 0, 5, Z9ERR_CALCGO_API_ERROR_PART_NOT_FOUND}, // a firm's code parses, and names no client
        {"AA", 0, 5, Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND},
        {"ZZ01", 5, 6, Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND},
        {"ZZ01", 8, 9, Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND},
        {"NOBODY", 6, 7, Z9ERR_DATALOAD_SETTLEMENT_ACCOUNT_NOT_FOUND},
        {"", 6, 7, Z9ERR_DATALOAD_SETTLEMENT_ACCOUNT_NOT_FOUND},
        {"NOBODY", 9, 10, Z9ERR_DATALOAD_SETTLEMENT_ACCOUNT_NOT_FOUND},
    };
    const std::vector<NamedOperation> operations = OfParticipants();
    for (const Case& c : cases) {
        for (std::size_t i = c.from; i < c.to; ++i) {
            std::size_t points = 2;
            std::size_t scenarios = 2;
            double arr[1] = {Guard};
            Info info;
            EXPECT_EQ(operations[i].call(Matrix_Final, operations[i].instrument, c.who, arr, points, scenarios, info),
                      static_cast<int>(c.code))
                << operations[i].name << " " << c.who;
            EXPECT_EQ(std::pair(points, scenarios), std::pair(std::size_t{2}, std::size_t{2}));
            EXPECT_THAT(arr, Each(Guard));
        }
    }
}

TEST_F(ReadBackCalls, ATextThatIsNoCodeThrows)
{
    const std::vector<NamedOperation> operations = OfParticipants();
    const auto codeThrownBy = [&](const NamedOperation& operation, const char* instrument, const char* who,
                                  eChooseRiskType type, std::size_t size) {
        std::size_t points = size;
        std::size_t scenarios = size;
        Info info;
        try {
            return operation.call(type, instrument, who, nullptr, points, scenarios, info);
        } catch (const kv7base::CZ9Error& error) {
            return -static_cast<int>(error.GetCode());
        }
    };
    for (const NamedOperation& operation : operations) {
        if (std::string(operation.code) == "ACCOUNT") continue; // an id has no form
        for (const char* const who : {"", "A", "AA010", "AA01001X"}) {
            SCOPED_TRACE(operation.name + " " + who);
            EXPECT_EQ(codeThrownBy(operation, operation.instrument, who, Matrix_Final, 0),
                      -static_cast<int>(Z9ERR_COMMON_WRONG_ARGUMENTS));
            // Behind the checks of the call.
            EXPECT_EQ(codeThrownBy(operation, operation.instrument, who, Matrix_Final, 1),
                      static_cast<int>(Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS));
            EXPECT_EQ(codeThrownBy(operation, nullptr, who, Matrix_Final, 0),
                      static_cast<int>(Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS));
        }
    }
    // A series is looked for before its client.
    EXPECT_EQ(codeThrownBy(operations.front(), "NOBODY", "A", Matrix_Final, 0),
              static_cast<int>(Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_NOT_FOUND));
}

TEST_F(ReadBackCalls, OfAnAccountsIdTheFirstTwelveCharactersCount)
{
    tree.AddAccount("ABCDEFGHIJKL", MarginRule::Netting);
    tree.Set("ABCDEFGHIJKL", FUT, {1, 800.0}, AccountHierarchyRecordType::SettlementAccount);
    EXPECT_THAT(tree.OfAccount(Matrix_Final, "FUT", "ABCDEFGHIJKLMNOP").cells, ElementsAre(-100, 0, 0));
    EXPECT_EQ(tree.OfAccount(Matrix_Final, "FUT", "ABCDEFGHIJK").code, Z9ERR_DATALOAD_SETTLEMENT_ACCOUNT_NOT_FOUND);
}

// A twin that was never read takes the same positions: to the bit the same margins.
TEST_F(ReadBackCalls, ReadingCreatesNothingAndChangesNoFigure)
{
    const kv7im::Portfolio& book = tree.Client(client).GetPortfolio();
    const std::size_t positions = book.GetPositionCount();
    const double volatility = book.GetVolatilityInitialMargin();
    const double delivery = book.GetDeliveryVolatilityInitialMargin();
    for (const NamedOperation& operation : All())
        for (int type = 0; type < 128; ++type)
            for (const char* const instrument :
                 {"FUT", "NET-1", "NET", "GROUP", "DEL", "FINE", "TWIN", "TWIN-1", "DEL-12"}) {
                std::size_t points = 0;
                std::size_t scenarios = 0;
                Info info;
                static_cast<void>(operation.call(static_cast<eChooseRiskType>(type), instrument, operation.code,
                                                 nullptr, points, scenarios, info));
            }
    EXPECT_EQ(book.GetPositionCount(), positions);
    EXPECT_EQ(tree.Firm("AA01").GetPortfolio().GetPositionCount(), 0U);
    EXPECT_EQ(book.GetFuturesPositionByIsin(TwinFutures), nullptr);
    EXPECT_EQ(book.GetVolatilityInitialMargin(), volatility);
    EXPECT_EQ(book.GetDeliveryVolatilityInitialMargin(), delivery);

    const std::pair<Isin, plain::Holding> changes[] = {{DeliveredCall, {4, 12.0}}, {FineCall, {1, 2.0}},
                                                       {NetPut, {3, 33.0}},        {GroupTwo, {5, 777.0}},
                                                       {FUT, {-3, 811.0}},         {AloneCall, {2, 41.0}}};
    TreeWithBook untouched;
    for (const auto& [isin, holding] : changes) {
        const Tree::Margins read = tree.Set(client, isin, holding);
        static_cast<void>(tree.OfClient(Matrix_Final | ExpirationRiskNode, "DEL", client));
        static_cast<void>(tree.OfClient(Matrix_FinalWithPositiveValues, "NET", client));
        const Tree::Margins unread = untouched.Set(client, isin, holding);
        EXPECT_EQ(read.volatility, unread.volatility);
        EXPECT_EQ(read.delivery, unread.delivery);
        EXPECT_EQ(read.firm, unread.firm);
        EXPECT_EQ(read.account, unread.account);
    }
}

// Types, texts and sizes drawn at random: a code or a CZ9Error, and never a write behind what a call before has sized.
TEST_F(ReadBackCalls, SurviveArbitraryArguments)
{
    std::mt19937 random(20251121);
    const char* const instruments[] = {
        nullptr, "",     "FUT",  "NET-1",  "NET",     "GROUP", "G1",   "ALONE",
        "DEL",   "FINE", "TWIN", "TWIN-1", "FINE-14", "X",     "\xff", "a very long text indeed"};
    const char* const codes[] = {
        nullptr,         "", "A", "AA", "AA01", "AA01001", "AA01002", "ZZ01", "ZZ01001", "ACCOUNT", "ABCDEFGHIJKLMNOP",
        "AA01001AA01001"};
    const std::vector<NamedOperation> operations = All();
    int copies = 0;
    for (int round = 0; round < 20000; ++round) {
        const NamedOperation& operation = operations[random() % operations.size()];
        const auto type =
            static_cast<eChooseRiskType>(random() % 4 == 0 ? random() : 1U << random() % 8 | random() % 2);
        const char* const instrument = instruments[random() % std::size(instruments)];
        const char* const code = codes[random() % std::size(codes)];
        const auto call = [&](double* arr, std::size_t& points, std::size_t& scenarios) {
            Info info;
            try {
                return operation.call(type, instrument, code, arr, points, scenarios, info);
            } catch (const kv7base::CZ9Error& error) {
                return static_cast<std::int32_t>(error.GetCode());
            }
        };
        std::size_t points = 0;
        std::size_t scenarios = random() % 2 * random();
        const std::int32_t sized = call(nullptr, points, scenarios);
        if (sized != 0) continue;
        // A final operation does not tell the scenarios: there are five at most.
        std::vector<double> arr(points * (operation.isFinal ? 5 : scenarios % 1000) + 1, Guard);
        std::size_t pointsAgain = 1 + random() % 5;
        std::size_t scenariosAgain = 1 + random() % 5;
        ASSERT_EQ(call(arr.data(), pointsAgain, scenariosAgain), 0);
        ASSERT_EQ(arr.back(), Guard);
        ++copies;
    }
    EXPECT_GT(copies, 500);
}

} // namespace
} // namespace test::ReadBackCallsTest
