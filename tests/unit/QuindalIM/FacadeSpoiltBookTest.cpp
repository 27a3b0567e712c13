// A position that no market has, as a price that is no number or more contracts than there are, and how a host gets its
// figures back afterwards.
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "BraskSettlementAccount.h"
#include "Broker.h"
#include "ExportCalls.h"
#include "FacadeFixture.h"
#include "LibraryState.h"
#include "ParticipantRepository.h"
#include "TradingCodes.h"

namespace test::FacadeSpoiltBookTest {
namespace {

using calls::Margins;
using testing::Each;

struct Mistake
{
    const char* name;
    std::int64_t quantity;
    double price;
};
const Mistake mistakes[] = {
    {"a price that is no number", 10, std::numeric_limits<double>::quiet_NaN()},
    {"an infinite price", 10, std::numeric_limits<double>::infinity()},
    {"an infinite price below 0", 10, -std::numeric_limits<double>::infinity()},
    {"a price of 300 digits", 10, 1e300},
    {"the largest quantity", std::numeric_limits<std::int64_t>::max(), 0.0},
    {"the largest short quantity", std::numeric_limits<std::int64_t>::min(), 0.0},
};

/// Futures A and B of two base contracts, each with the grid 900, 1000, 1100. AA00001 has bought 10 of A at 990 and
/// sold 2 of B at 1000, and has an order for 3 of A at 1000; AA00002 has bought 5 of A at 1000. The firm and the
/// account take in what their clients lose.
class FacadeSpoiltBookTest : public CalculatorTest
{
protected:
    FacadeSpoiltBookTest()
    {
        for (const char* const code : {"A", "B"}) {
            const std::string baseContract = std::string("BC") + code;
            EXPECT_EQ(calls::BaseContract(calc, baseContract.c_str()), 0);
            EXPECT_EQ(calls::Futures(calc, code, baseContract.c_str()), 0);
        }
        Enter();
    }

    void Enter()
    {
        EXPECT_EQ(calls::Account(calc, "ACC", QUINDAL_MARGIN_RULE_HALF_NETTING), 0);
        EXPECT_EQ(RegisterFirm(calc, "AA00", 0, 1.0, 1.0, QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY, "ACC",
                               QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_MARGIN_RULE_HALF_NETTING,
                               QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1.0, 0),
                  0);
        EXPECT_EQ(calls::Part(calc, "AA00001"), 0);
        EXPECT_EQ(calls::Part(calc, "AA00002"), 0);
        Margins margins;
        EXPECT_EQ(calls::Position(calc, "AA00002", "A", 5, 1000.0, margins), 0);
        EXPECT_EQ(calls::Position(calc, "AA00001", "B", -2, 1000.0, margins), 0);
        EXPECT_EQ(calls::Order(calc, "AA00001", "A", 1, 1000.0, 3, margins), 0);
        EXPECT_EQ(calls::Position(calc, "AA00001", "A", 10, 990.0, margins), 0);
    }

    /// The GO of a client by now; an order of no contracts changes nothing.
    [[nodiscard]] double Present(const char* client) const
    {
        Margins margins;
        EXPECT_EQ(calls::Order(calc, client, "A", 1, 1000.0, 0, margins), 0);
        return margins.part;
    }

    /// Of the two clients: 10 x (990 - 900) + 2 x (1100 - 1000) + 3 x (1000 - 900), and 5 x (1000 - 900).
    [[nodiscard]] std::vector<double> OfClients() const { return {Present("AA00001"), Present("AA00002")}; }
    const std::vector<double> right{1400.0, 500.0};

    /// Of the levels above, which no exported function hands out: both clients' losses, 1900.
    [[nodiscard]] static std::vector<double> OfLevels()
    {
        ParticipantRepository& repository = QuindalIM::GetParticipantRepositoryForQuindaIM();
        return {repository.GetBroker(CodeParser<BrokerCode>("AA00").Parse(), Z9ERR_COMMON_ERROR).GetInitialMargin(),
                repository.GetSettlementAccountById("ACC")->GetInitialMargin()};
    }
};

TEST_F(FacadeSpoiltBookTest, ClearPartsAndTheBookAgainBringAllFiguresBack)
{
    EXPECT_EQ(OfClients(), right);
    EXPECT_THAT(OfLevels(), Each(1900.0));
    for (const Mistake& mistake : mistakes) {
        Margins margins;
        EXPECT_EQ(calls::Position(calc, "AA00001", "A", mistake.quantity, mistake.price, margins), 0) << mistake.name;
        ASSERT_EQ(ClearParts(calc), 0) << mistake.name;
        Enter();
        EXPECT_EQ(OfClients(), right) << mistake.name;
        EXPECT_THAT(OfLevels(), Each(1900.0)) << mistake.name;
    }
}

// The book of this client alone is taken anew, as ChangePart does where a parameter differs; then back again.
TEST_F(FacadeSpoiltBookTest, ThePositionAndChangePartThereAndBackBringTheClientsFiguresBack)
{
    for (const Mistake& mistake : mistakes) {
        Margins margins;
        EXPECT_EQ(calls::Position(calc, "AA00001", "A", mistake.quantity, mistake.price, margins), 0) << mistake.name;
        EXPECT_EQ(calls::Position(calc, "AA00001", "A", 10, 990.0, margins), 0) << mistake.name;
        EXPECT_EQ(ChangePart(calc, "AA00001", 1, 0, 0.5), 0) << mistake.name;
        EXPECT_EQ(Present("AA00001"), 1500.0) << mistake.name << ": 10 x (1000 - 900) without the discount";
        EXPECT_EQ(ChangePart(calc, "AA00001", 0, 0, 0.5), 0) << mistake.name;
        EXPECT_EQ(OfClients(), right) << mistake.name;
        // It goes on from there.
        EXPECT_EQ(calls::Position(calc, "AA00001", "A", 1, 990.0, margins), 0);
        EXPECT_EQ(margins.part, 590.0) << mistake.name; // 90 + 200 + 300
        EXPECT_EQ(calls::Position(calc, "AA00001", "A", 10, 990.0, margins), 0);
        EXPECT_EQ(OfClients(), right) << mistake.name;
    }
}

TEST_F(FacadeSpoiltBookTest, OtherClientsAreNotTouched)
{
    for (const Mistake& mistake : mistakes) {
        Margins margins;
        EXPECT_EQ(calls::Position(calc, "AA00001", "A", mistake.quantity, mistake.price, margins), 0) << mistake.name;
        EXPECT_EQ(Present("AA00002"), 500.0) << mistake.name;
        EXPECT_EQ(calls::Position(calc, "AA00002", "A", 6, 1000.0, margins), 0);
        EXPECT_EQ(margins.part, 600.0) << mistake.name;
        EXPECT_EQ(calls::Position(calc, "AA00002", "A", 5, 1000.0, margins), 0);
    }
}

} // namespace
} // namespace test::FacadeSpoiltBookTest
