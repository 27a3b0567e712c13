// A random walk of deals: after each the ledger of every level equals what plain sums over all deals give.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <map>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "DealTree.h"

namespace test::DealWalkTest {
namespace {

using Enums::MarginRule;

constexpr MarginRule Rules[] = {MarginRule::Gross, MarginRule::HalfNetting, MarginRule::Netting};

/// All deals in one isin, of one client or of several netted.
struct PlainPosition
{
    std::int64_t bought = 0;
    std::int64_t sold = 0;
    std::int64_t boughtFor = 0; // units of 0.00001
    std::int64_t soldFor = 0;

    void Add(std::int64_t price, std::int64_t quantity)
    {
        (quantity > 0 ? bought : sold) += std::abs(quantity);
        (quantity > 0 ? boughtFor : soldFor) += std::abs(quantity) * price;
    }
    /// All prices are above 0, and one unit of price is one unit of money.
    [[nodiscard]] static std::int64_t Average(std::int64_t volume, std::int64_t quantity)
    {
        return quantity == 0 ? 0 : (2 * volume + quantity) / (2 * quantity);
    }
    [[nodiscard]] std::int64_t Closed() const
    {
        return std::min(bought, sold) * (Average(soldFor, sold) - Average(boughtFor, bought));
    }
};

/// What a level has closed, in all and in the contract that keeps it in Dollar.
struct PlainVM
{
    std::int64_t total = 0;
    std::int64_t ofDollar = 0;

    PlainVM& operator+=(const PlainVM& other)
    {
        total += other.total;
        ofDollar += other.ofDollar;
        return *this;
    }
    /// A tenth of the dollars may go; what is left is brought down to cents.
    [[nodiscard]] std::int64_t Reserve() const
    {
        const auto atRisk = std::llround(std::abs(static_cast<double>(ofDollar) / 100000 * 0.1) * 100000);
        const std::int64_t left = total - atRisk;
        return -(left >= 0 ? left / 1000 : -((-left + 999) / 1000));
    }
};

struct PlainLedger
{
    [[nodiscard]] PlainVM VM() const
    {
        PlainVM vm;
        for (const auto& [isin, position] : positions) {
            vm.total += position.Closed();
            if (isin == CurrencyFutures) vm.ofDollar += position.Closed();
        }
        return vm;
    }
    [[nodiscard]] std::int64_t Holds(Isin isin) const
    {
        const auto found = positions.find(isin);
        return found == positions.end() ? 0 : found->second.bought - found->second.sold;
    }

    std::map<Isin, PlainPosition> positions;
    std::int64_t fee = 0; // cents
};

/// Two firms of two clients below one account.
struct Walk : DealTree
{
    Walk(MarginRule firstRule, MarginRule secondRule, MarginRule accountRule) : DealTree(firstRule, accountRule)
    {
        BraskBroker& other = AddFirm("AA02", secondRule, account);
        firms = {&firm, &other};
        clients = {&first, &second, &AddClient(other, "AA02001"), &AddClient(other, "AA02002")};
    }

    void Step(std::mt19937& random)
    {
        const std::size_t client = random() % clients.size();
        const std::int64_t quantity = static_cast<std::int64_t>(random() % 9) - 4;
        const double price = 700.0 + static_cast<double>(random() % 20001) / 100.0; // 700.00 to 900.00
        const std::int32_t instrument = std::array{TradeFutures, TradeCall, TradeSpread, TradeCurrency}[random() % 4];
        ASSERT_EQ(Trade(*clients[client], instrument, price, quantity), Z9ERR_OK);
        // A contract of TradeFutures costs 0.125, rounded to cents for each deal.
        const std::int64_t fee = instrument == TradeFutures ? (std::abs(quantity) * 125 + 5) / 10 : 0;
        const std::int64_t units = std::llround(price * 100000);
        for (PlainLedger* const ledger : {&ofClient[client], &ofFirm[client / 2], &ofAccount}) {
            ledger->fee += fee;
            switch (instrument) {
            case TradeFutures:
                ledger->positions[FUT].Add(units, quantity);
                break;
            case TradeCall:
                ledger->positions[Call850].Add(units, quantity);
                break;
            case TradeSpread: // the first leg at its settlement price
                ledger->positions[FUT].Add(80'000'000, -quantity);
                ledger->positions[SpreadFutures].Add(80'000'000 + units, quantity);
                break;
            default:
                ledger->positions[CurrencyFutures].Add(units, quantity);
            }
        }
    }

    std::vector<BraskBroker*> firms;
    std::vector<BraskClient*> clients;
    std::array<PlainLedger, 4> ofClient;
    std::array<PlainLedger, 2> ofFirm;
    PlainLedger ofAccount;
};

void ExpectLedger(const ParticipantBase& level, const PlainLedger& ledger, const PlainVM& vm, std::int64_t reserve)
{
    SCOPED_TRACE(level.GetParticipantCode());
    ASSERT_EQ(level.GetVMCloseTotal().AsPlain(), vm.total);
    const auto ofDollar = level.GetVMCloseByCurrencies().find(Dollar);
    ASSERT_EQ(ofDollar == level.GetVMCloseByCurrencies().end() ? 0 : ofDollar->second.AsPlain(), vm.ofDollar);
    ASSERT_EQ(level.GetMeans().VMReserve.AsPlain(), reserve);
    ASSERT_EQ(level.GetMeans().m_fee.AsPlain(), ledger.fee);
    ASSERT_EQ(level.GetMeans().BlockedMoneyNonIM.AsPlain(), reserve + ledger.fee);
    ASSERT_EQ(level.GetMeans().BlockedMoney, t_bround_int(level.GetInitialMargin()));
    for (const auto& [isin, record] : level.GetPositionCalculator().GetPositions())
        ASSERT_EQ(record.quantity, ledger.Holds(isin)) << isin;
    if (level.GetMarginRule() != MarginRule::Netting) return;
    for (const auto& [isin, position] : ledger.positions)
        ASSERT_EQ(margin_orchestrator::GetPositionQuantity(level, isin), ledger.Holds(isin)) << isin;
}

void ExpectAllLedgers(const Walk& walk)
{
    for (std::size_t i = 0; i < walk.clients.size(); ++i) {
        const PlainVM vm = walk.ofClient[i].VM();
        ASSERT_NO_FATAL_FAILURE(ExpectLedger(*walk.clients[i], walk.ofClient[i], vm, vm.Reserve()));
    }
    PlainVM ofFirms;
    std::int64_t reserveOfFirms = 0;
    for (std::size_t i = 0; i < walk.firms.size(); ++i) {
        PlainVM vm = walk.ofClient[2 * i].VM();
        vm += walk.ofClient[2 * i + 1].VM();
        if (walk.firms[i]->GetMarginRule() == MarginRule::Netting) vm = walk.ofFirm[i].VM();
        ASSERT_NO_FATAL_FAILURE(ExpectLedger(*walk.firms[i], walk.ofFirm[i], vm, vm.Reserve()));
        ofFirms += vm;
        reserveOfFirms += vm.Reserve();
    }
    const bool nets = walk.account->GetMarginRule() == MarginRule::Netting;
    const PlainVM ofAccount = nets ? walk.ofAccount.VM() : ofFirms;
    ExpectLedger(*walk.account, walk.ofAccount, ofAccount, nets ? ofAccount.Reserve() : reserveOfFirms);
}

/// A client that is given the positions that the walk left, and nothing else, is charged the same.
void ExpectMarginOfItsPositions(Walk& walk)
{
    for (BraskClient* const client : walk.clients) {
        BraskClient& fresh =
            walk.AddClient(client->GetBroker(), client->GetBroker().GetBrokerCode().c_str() + std::string("9") +
                                                    std::string(client->GetParticipantCode() + 5));
        for (const auto& [isin, record] : client->GetPositionCalculator().GetPositions())
            ASSERT_EQ(
                margin_orchestrator::SetPositionClient(fresh, isin, record.quantity, record.waprice.AsDouble(), 0),
                Z9ERR_OK);
        EXPECT_NEAR(client->GetInitialMargin(), fresh.GetInitialMargin(), 0.01 + 1e-9); // a cent by a last bit
    }
}

TEST(DealWalkTest, TheLedgersOfAllLevelsAreThePlainSumsOfTheDeals)
{
    unsigned seed = 0;
    for (const MarginRule firstRule : Rules)
        for (const MarginRule secondRule : Rules)
            for (const MarginRule accountRule : Rules) {
                std::mt19937 random(++seed);
                Walk walk(firstRule, secondRule, accountRule);
                for (int step = 0; step < 60; ++step) {
                    SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(step));
                    ASSERT_NO_FATAL_FAILURE(walk.Step(random));
                    ASSERT_NO_FATAL_FAILURE(ExpectAllLedgers(walk));
                }
                ASSERT_NO_FATAL_FAILURE(ExpectMarginOfItsPositions(walk));
            }
}

} // namespace
} // namespace test::DealWalkTest
