// A random walk over a small market: after every change each level equals what plain loops over all positions give.
#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <random>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "AccountTree.h"
#include "MarginOrchestrator.h"

namespace test::MarginRoadTest {
namespace {

using Enums::MarginRule;
using margin_orchestrator::SetPositionClient;

using Cells = std::array<double, 3>; // result at 700, 800 and 900

Cells ResultOf(std::int64_t quantity, double price)
{
    const auto q = static_cast<double>(quantity);
    return {q * (700 - price), q * (800 - price), q * (900 - price)};
}

double WorstOf(const Cells& cells) { return -std::min({0.0, cells[0], cells[1], cells[2]}); }

/// Two firms of three clients each, on one account, over two futures that stand alone.
struct Walk
{
    static constexpr int Firms = 2;
    static constexpr int ClientsOfAFirm = 3;
    static constexpr std::array<Isin, 2> Futures{FUT, 2};

    explicit Walk(MarginRule accountRule)
    {
        AccountTree::Check(HandFutures("FUT2", 2).InsertInto(tree.instruments));
        account = tree.AddAccount("ID1", accountRule);
        for (int f = 1; f <= Firms; ++f) {
            const std::string code = "AA0" + std::to_string(f);
            BraskBroker& firm = tree.AddFirm(code, MarginRule::HalfNetting, account);
            firms.push_back(&firm);
            for (int c = 1; c <= ClientsOfAFirm; ++c)
                clients.push_back(&tree.AddClient(firm, code + "00" + std::to_string(c)));
        }
    }

    void Step(std::mt19937& random)
    {
        const std::size_t client = random() % clients.size();
        const Isin isin = Futures[random() % Futures.size()];
        const std::int64_t quantity = static_cast<std::int64_t>(random() % 11) - 5;
        const double price = 720.0 + 10.0 * static_cast<double>(random() % 17);
        ASSERT_EQ(SetPositionClient(*clients[client], isin, quantity, price, 0), 0U);
        positions[{client, isin}] = ResultOf(quantity, price);
    }

    /// Futures standing alone do not net: a client's margin is the sum over its futures.
    [[nodiscard]] double PlainMarginOfClient(std::size_t client) const
    {
        double margin = 0;
        for (const Isin isin : Futures) {
            const auto found = positions.find({client, isin});
            if (found != positions.end()) margin += WorstOf(found->second);
        }
        return margin;
    }

    /// Losses of the clients from first to last, added price by price, the worst price of each futures.
    [[nodiscard]] double PlainMarginOfLosses(std::size_t first, std::size_t last) const
    {
        double margin = 0;
        for (const Isin isin : Futures) {
            Cells losses{};
            for (std::size_t client = first; client < last; ++client) {
                const auto found = positions.find({client, isin});
                if (found == positions.end()) continue;
                for (std::size_t i = 0; i < losses.size(); ++i)
                    losses[i] += std::min(found->second[i], 0.0);
            }
            margin += WorstOf(losses);
        }
        return margin;
    }

    AccountTree tree;
    BraskSettlementAccountPtr account;
    std::vector<BraskBroker*> firms;
    std::vector<BraskClient*> clients;
    std::map<std::pair<std::size_t, Isin>, Cells> positions;
};

void WalkAndCompare(MarginRule accountRule)
{
    for (unsigned seed = 1; seed <= 10; ++seed) {
        std::mt19937 random(seed);
        Walk walk(accountRule);
        for (int step = 0; step < 200; ++step) {
            SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
            walk.Step(random);
            for (std::size_t i = 0; i < walk.clients.size(); ++i)
                ASSERT_NEAR(walk.clients[i]->GetInitialMargin(), walk.PlainMarginOfClient(i), 1e-9);
            double firmsTogether = 0;
            for (std::size_t f = 0; f < walk.firms.size(); ++f) {
                const double plain = walk.PlainMarginOfLosses(f * Walk::ClientsOfAFirm, (f + 1) * Walk::ClientsOfAFirm);
                ASSERT_NEAR(walk.firms[f]->GetInitialMargin(), plain, 1e-9);
                firmsTogether += plain;
            }
            const double plainOfAccount =
                accountRule == MarginRule::Gross ? firmsTogether : walk.PlainMarginOfLosses(0, walk.clients.size());
            ASSERT_NEAR(walk.account->GetInitialMargin(), plainOfAccount, 1e-9);
            ASSERT_EQ(walk.account->GetMeans().BlockedMoney.AsPlain(), std::llround(plainOfAccount * 100));
            // Adding losses only never charges less than netting them, nor more than each client alone.
            ASSERT_LE(plainOfAccount, firmsTogether + 1e-9);
        }
    }
}

TEST(MarginRoadTest, AGrossAccountIsTheSumOfItsFirmsAtEveryStep) { WalkAndCompare(MarginRule::Gross); }

TEST(MarginRoadTest, AHalfNettingAccountIsTheSumOfAllLossesAtEveryStep) { WalkAndCompare(MarginRule::HalfNetting); }

} // namespace
} // namespace test::MarginRoadTest
