// Figures of firms and settlement accounts, which no exported function hands out: positions, orders and parameters set
// through the exported functions, read from the inside.
//
// The hand market: see HandContract. One contract at 1000 has the results -200, 0, +200.
#include <cmath>
#include <map>
#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include "BraskSettlementAccount.h"
#include "Broker.h"
#include "CalcGOEx.h"
#include "Client.h"
#include "LibraryHost.h"
#include "LibraryState.h"
#include "MarginMarket.h"
#include "ParticipantRepository.h"
#include "TradingCodes.h"

namespace test::AccountFiguresTest {
namespace {

using namespace quindal::test;
using enum Enums::MarginRule;

struct Firm
{
    std::string code;
    std::string account;
    Enums::MarginRule rule;
    Enums::SpreadMarginType calendar = Enums::SpreadMarginType::Netting;
    Enums::SpreadMarginType interContract = Enums::SpreadMarginType::HalfNetting;
};
struct Account
{
    std::string id;
    Enums::MarginRule rule;
};
struct Client
{
    std::string code;
    plain::Rules rules = {};
    double goRatio = 1.0;
    double deliveryWeight = 0.5;
};
/// An account tree, to be registered as often as a test likes.
struct Tree
{
    std::vector<Account> accounts;
    std::vector<Firm> firms;
    std::vector<Client> clients;
};

/// GO of every participant by its code.
using Figures = std::map<std::string, double>;

/// Position of a participant: its level, its code, the instrument.
struct Place
{
    QuindalAccountHierarchyRecordType level;
    std::string code;
    std::string instrument;
    friend auto operator<=>(const Place&, const Place&) = default;
};
using Positions = std::map<Place, plain::Holding>;
/// Open orders by client, as its own book knows them and as the levels above do that take orders as they come: those
/// are never taken anew.
struct OrdersOfClient
{
    plain::OrderBook own;
    plain::OrderBook above;

    void Change(Isin isin, bool buy, double price, std::int64_t quantity)
    {
        own.Change(isin, buy, price, quantity);
        above.Change(isin, buy, price, quantity);
    }
};
using OpenOrders = std::map<std::string, OrdersOfClient>;

class AccountFigures : public LibraryHost
{
protected:
    void Start(const plain::Market& market)
    {
        StartAll();
        InsertMarket(calc, market);
    }

    void Register(const Tree& tree)
    {
        for (const Account& account : tree.accounts)
            ASSERT_EQ(calls::Account(calc, account.id.c_str(), static_cast<QuindalMarginRule>(account.rule)), 0);
        for (const Firm& firm : tree.firms) {
            ASSERT_EQ(RegisterFirm(calc, firm.code.c_str(), 0, 1.0, 1.0, QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY,
                                   firm.account.c_str(), static_cast<QuindalSpreadMarginType>(firm.calendar),
                                   static_cast<QuindalMarginRule>(firm.rule),
                                   static_cast<QuindalSpreadMarginType>(firm.interContract), 1.0, 0),
                      0);
            ASSERT_EQ(InsertBrokerBaseContractParam(calc, firm.code.c_str(), "SHARE", 1.5), 0);
        }
        for (const Client& client : tree.clients)
            ASSERT_EQ(RegisterClient(calc, client.code, client.rules, client.goRatio, client.deliveryWeight), 0);
    }

    void Set(const Place& place, const plain::Holding& holding)
    {
        calls::Margins margins;
        ASSERT_EQ(SetHolding(calc, place.code, place.instrument, holding, margins, place.level), 0);
    }
    void SetClient(const char* code, std::int64_t quantity, double price, const char* instrument = "FUT")
    {
        Set({QUINDAL_ACCOUNT_HIERARCHY_CLIENT, code, instrument}, {quantity, price});
    }
    void SetFirm(const char* code, std::int64_t quantity, double price)
    {
        Set({QUINDAL_ACCOUNT_HIERARCHY_BROKER, code, "FUT"}, {quantity, price});
    }
    void SetAccount(const char* code, std::int64_t quantity, double price)
    {
        Set({QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT, code, "FUT"}, {quantity, price});
    }

    void Order(const std::string& client, const std::string& instrument, bool buy, std::int64_t quantity, double price)
    {
        calls::Margins margins;
        ASSERT_EQ(PlaceOrder(calc, client, instrument, buy, price, quantity, margins), 0) << instrument;
    }
    void Buy(const char* client, std::int64_t quantity, double price, const char* instrument = "FUT")
    {
        Order(client, instrument, true, quantity, price);
    }
    void Sell(const char* client, std::int64_t quantity, double price, const char* instrument = "FUT")
    {
        Order(client, instrument, false, quantity, price);
    }
    void Change(const Client& client)
    {
        ASSERT_EQ(ChangePart(calc, client.code.c_str(), client.rules.noFutDiscount ? 1 : 0, client.rules.clearings,
                             client.deliveryWeight),
                  0);
    }
    /// The figures of all three levels that the calculator gives for an order of no contracts.
    calls::Margins AllLevels(const std::string& client, Isin isin)
    {
        calls::Margins margins;
        EXPECT_EQ(QuindalIM::GetQuindalImCalculator(calc).ChangeOrderEx(client.c_str(), isin, true, t_bprice_int(1.0),
                                                                        0, margins.volatility, margins.delivery,
                                                                        margins.part, margins.firm, margins.account),
                  0);
        return margins;
    }

    static double GOOfClient(const std::string& code)
    {
        return QuindalIM::GetParticipantRepositoryForQuindaIM().GetClient(ClientCode::Parse(code)).GetInitialMargin();
    }
    static double GOOfFirm(const std::string& code)
    {
        return QuindalIM::GetParticipantRepositoryForQuindaIM()
            .GetBroker(BrokerCode::Parse(code), Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED)
            .GetInitialMargin();
    }
    static double GOOfAccount(const std::string& id)
    {
        return QuindalIM::GetParticipantRepositoryForQuindaIM().GetSettlementAccountById(id)->GetInitialMargin();
    }
    static Figures AllFigures(const Tree& tree)
    {
        Figures figures;
        for (const Client& client : tree.clients)
            figures[client.code] = GOOfClient(client.code);
        for (const Firm& firm : tree.firms)
            figures[firm.code] = GOOfFirm(firm.code);
        for (const Account& account : tree.accounts)
            figures[account.id] = GOOfAccount(account.id);
        return figures;
    }
};

// Two firms, three clients, records of every level:
//   client 1 of AA01   long 5 at 1000.0001    (900 - 1000.0001) * 10 = -1000.001 at the left     GO 1000.01
//   client 2 of AA01   short 2 at 1000        -400 at the right                                  GO  400.00
//   client 1 of AA02   long 5 at 1000.0001    -1000.001 at the left                              GO 1000.01
//   firm AA01          long 1 at 1000         200.00        firm AA02   short 3 at 1000          GO  600.00
//   account            long 2 at 1000.0001    (900 - 1000.0001) * 4 = -400.0004                  GO  400.01
// A HalfNetting firm adds its clients' losses point by point: AA01 -1000.001 at the left, -400 at the right: 1000.01.
// A HalfNetting account does so with the clients of all its firms, whatever their rule: -2000.002 at the left: 2000.01.
// A Gross account adds the GO of its firms as they are charged: 1000.01 twice is 2000.02, a cent more.
// A Netting level lives by its own records. A Gross firm takes its clients' losses only below a HalfNetting account and
// has no figure otherwise.
TEST_F(AccountFigures, OfTheNineCombinationsOfRulesAreTheHandWorkedOnes)
{
    struct Case
    {
        Enums::MarginRule firm;
        Enums::MarginRule account;
        double goAA01;
        double goAA02;
        double goAccount;
    };
    const Case cases[] = {
        // clang-format off
        // firm       account        AA01     AA02  account
        {HalfNetting, HalfNetting, 1000.01, 1000.01, 2000.01},
        {HalfNetting, Gross,       1000.01, 1000.01, 2000.02},
        {HalfNetting, Netting,     1000.01, 1000.01,  400.01},
        {Gross,       HalfNetting, 1000.01, 1000.01, 2000.01},
        {Gross,       Gross,          0.00,    0.00,    0.00},
        {Gross,       Netting,        0.00,    0.00,  400.01},
        {Netting,     HalfNetting,  200.00,  600.00, 2000.01},
        {Netting,     Gross,        200.00,  600.00,  800.00},
        {Netting,     Netting,      200.00,  600.00,  400.01},
        // clang-format on
    };
    Start({{HandContract("BC")}, {TwoMoneyFutures("FUT", "BC", 1)}, {}});
    for (const Case& c : cases) {
        SCOPED_TRACE("firms " + std::to_string(static_cast<int>(c.firm)) + ", account " +
                     std::to_string(static_cast<int>(c.account)));
        ASSERT_EQ(ClearParts(calc), 0);
        Register({{{"ACCOUNT", c.account}},
                  {{"AA01", "ACCOUNT", c.firm}, {"AA02", "ACCOUNT", c.firm}},
                  {{"AA01001"}, {"AA01002"}, {"AA02001"}}});
        SetAccount("ACCOUNT", 2, 1000.0001);
        SetFirm("AA01", 1, 1000.0);
        SetFirm("AA02", -3, 1000.0);
        SetClient("AA01001", 5, 1000.0001);
        SetClient("AA01002", -2, 1000.0);
        SetClient("AA02001", 5, 1000.0001);
        EXPECT_DOUBLE_EQ(GOOfClient("AA01001"), 1000.01);
        EXPECT_DOUBLE_EQ(GOOfClient("AA01002"), 400.0);
        EXPECT_DOUBLE_EQ(GOOfFirm("AA01"), c.goAA01);
        EXPECT_DOUBLE_EQ(GOOfFirm("AA02"), c.goAA02);
        EXPECT_DOUBLE_EQ(GOOfAccount("ACCOUNT"), c.goAccount);
    }
}

// The same tree with orders only. An order enters every level under Netting at once, whose own positions it is added
// to, and its losses go up to every other level:
//   client 1 of AA01   buys 5 at 1000.0001     -1000.001 at the left     GO 1000.01
//   client 2 of AA01   sells 2 at 1000         -400 at the right         GO  400.00
//   client 1 of AA02   buys 5 at 1000.0001     -1000.001 at the left     GO 1000.01
//   firm AA01          long 1 at 1000: -200, 0, 200. With the orders -1200.001 at the left    GO 1200.01
//   firm AA02          short 3 at 1000: 600, 0, -600. With the order -400.001 at the left     GO  600.00
//   account            long 2 at 1000.0001: -400.0004 at the left, with the orders -2400.0024 GO 2400.01
// Positions of the clients would not enter the levels under Netting.
TEST_F(AccountFigures, OfOrdersUnderTheNineCombinationsOfRulesAreTheHandWorkedOnes)
{
    struct Case
    {
        Enums::MarginRule firm;
        Enums::MarginRule account;
        double goAA01;
        double goAA02;
        double goAccount;
    };
    const Case cases[] = {
        // clang-format off
        // firm       account        AA01     AA02  account
        {HalfNetting, HalfNetting, 1000.01, 1000.01, 2000.01},
        {HalfNetting, Gross,       1000.01, 1000.01, 2000.02},
        {HalfNetting, Netting,     1000.01, 1000.01, 2400.01},
        {Gross,       HalfNetting, 1000.01, 1000.01, 2000.01},
        {Gross,       Gross,          0.00,    0.00,    0.00},
        {Gross,       Netting,        0.00,    0.00, 2400.01},
        {Netting,     HalfNetting, 1200.01,  600.00, 2000.01},
        {Netting,     Gross,       1200.01,  600.00, 1800.01},
        {Netting,     Netting,     1200.01,  600.00, 2400.01},
        // clang-format on
    };
    Start({{HandContract("BC")}, {TwoMoneyFutures("FUT", "BC", 1)}, {}});
    const Isin futures = QuindalIM::GetQuindalImCalculator(calc).GetIsin("FUT");
    for (const Case& c : cases) {
        SCOPED_TRACE("firms " + std::to_string(static_cast<int>(c.firm)) + ", account " +
                     std::to_string(static_cast<int>(c.account)));
        ASSERT_EQ(ClearParts(calc), 0);
        Register({{{"ACCOUNT", c.account}},
                  {{"AA01", "ACCOUNT", c.firm}, {"AA02", "ACCOUNT", c.firm}},
                  {{"AA01001"}, {"AA01002"}, {"AA02001"}}});
        SetAccount("ACCOUNT", 2, 1000.0001);
        SetFirm("AA01", 1, 1000.0);
        SetFirm("AA02", -3, 1000.0);
        const calls::Margins before = AllLevels("AA01001", futures);
        Buy("AA01001", 5, 1000.0001);
        Sell("AA01002", 2, 1000.0);
        Buy("AA02001", 5, 1000.0001);
        const calls::Margins first = AllLevels("AA01001", futures);
        EXPECT_NEAR(first.volatility, 1000.001, 1e-9);
        EXPECT_DOUBLE_EQ(first.part, 1000.01);
        EXPECT_DOUBLE_EQ(first.firm, c.goAA01);
        EXPECT_DOUBLE_EQ(first.account, c.goAccount);
        EXPECT_DOUBLE_EQ(AllLevels("AA01002", futures).part, 400.0);
        EXPECT_DOUBLE_EQ(AllLevels("AA02001", futures).firm, c.goAA02);

        Buy("AA02001", -5, 1000.0001);
        Sell("AA01002", -2, 1000.0);
        Buy("AA01001", -5, 1000.0001);
        const calls::Margins after = AllLevels("AA01001", futures);
        EXPECT_EQ(after.part, 0.0);
        EXPECT_DOUBLE_EQ(after.firm, before.firm);
        EXPECT_DOUBLE_EQ(after.account, before.account);
    }
}

// Two months, at 1000 and 1020. To buy the spread at 25 costs 10 where months net, and leg by leg 210: the near leg
// sold at 1000 loses 200 at the right, the far one bought at 1025 loses 210 at the left. Where the far month is out of
// the spread both legs are margined by themselves: 410, and each goes up in its own name.
TEST_F(AccountFigures, ASpreadOrderIsTakenByEachLevelUnderItsOwnRule)
{
    using Spread = Enums::SpreadMarginType;
    struct Case
    {
        Spread ofClient;
        Enums::MarginRule firm;
        Spread ofFirm;
        Enums::MarginRule account; // under Netting months net
        double goClient, goFirm, goAccount;
    };
    const Case cases[] = {
        // clang-format off
        {Spread::Netting,     HalfNetting, Spread::HalfNetting, HalfNetting,  10.0,  10.0,  10.0},
        {Spread::Netting,     Netting,     Spread::HalfNetting, Netting,      10.0, 210.0,  10.0},
        {Spread::HalfNetting, Netting,     Spread::Netting,     HalfNetting, 210.0,  10.0, 210.0},
        {Spread::HalfNetting, HalfNetting, Spread::Netting,     Netting,     210.0, 210.0,  10.0},
        {Spread::Unused,      Gross,       Spread::Netting,     HalfNetting,   0.0,   0.0,   0.0},
        {Spread::Unused,      Netting,     Spread::Netting,     Gross,         0.0,  10.0,  10.0},
        // clang-format on
    };
    plain::Market market{
        {HandContract("BC")}, {TwoMoneyFutures("BC-1", "BC", 1), TwoMoneyFutures("BC-2", "BC", 2, 1020.0, 1.0)}, {}};
    market.multilegs = {HandMultileg("BC-1-2", 3, market.futures.front(), market.futures.back())};
    Start(market);
    const auto expectFigures = [&](const Case& c, double ofClient, double ofFirm, double ofAccount) {
        SCOPED_TRACE(&c - cases);
        ASSERT_EQ(ClearParts(calc), 0);
        plain::Rules rules;
        rules.calendar = c.ofClient;
        Register({{{"ACCOUNT", c.account}}, {{"AA01", "ACCOUNT", c.firm, c.ofFirm}}, {{"AA01001", rules}}});
        Buy("AA01001", 1, 25.0, "BC-1-2");
        EXPECT_DOUBLE_EQ(GOOfClient("AA01001"), ofClient);
        EXPECT_DOUBLE_EQ(GOOfFirm("AA01"), ofFirm);
        EXPECT_DOUBLE_EQ(GOOfAccount("ACCOUNT"), ofAccount);
        Buy("AA01001", -1, 25.0, "BC-1-2");
        EXPECT_EQ(GOOfClient("AA01001"), 0.0);
        EXPECT_EQ(GOOfFirm("AA01"), 0.0);
        EXPECT_EQ(GOOfAccount("ACCOUNT"), 0.0);
    };
    for (const Case& c : cases)
        expectFigures(c, c.goClient, c.goFirm, c.goAccount);

    ASSERT_EQ(ClearAll(calc), 0);
    market.futures.back().SpreadAspect = Enums::SpreadAspect::NotInSpread;
    InsertMarket(calc, market);
    for (const Case& c : cases)
        expectFigures(c, 410.0, 410.0, 410.0);
}

// A buy of 3 at 990 loses (900 - 990) * 6 = 540; without discount it is bought at 1000: 600. A level that nets by
// losses follows its client, twice in a row too; one that has taken the order into its own book has a discount of its
// own.
TEST_F(AccountFigures, FollowAClientWhoseParametersChange)
{
    struct Case
    {
        Enums::MarginRule firm;
        Enums::MarginRule account;
        double goFirm;
        double goAccount;
    };
    const Case cases[] = {
        {HalfNetting, HalfNetting, 600.0, 600.0},
        {HalfNetting, Gross, 600.0, 600.0},
        {HalfNetting, Netting, 600.0, 540.0},
        {Gross, HalfNetting, 600.0, 600.0},
        {Gross, Gross, 0.0, 0.0},
        {Gross, Netting, 0.0, 540.0},
        {Netting, HalfNetting, 540.0, 600.0},
        {Netting, Gross, 540.0, 540.0},
        {Netting, Netting, 540.0, 540.0},
    };
    Start({{HandContract("BC")}, {TwoMoneyFutures("FUT", "BC", 1)}, {}});
    for (const Case& c : cases) {
        SCOPED_TRACE("firm " + std::to_string(static_cast<int>(c.firm)) + ", account " +
                     std::to_string(static_cast<int>(c.account)));
        ASSERT_EQ(ClearParts(calc), 0);
        Client client{"AA01001"};
        Register({{{"ACCOUNT", c.account}}, {{"AA01", "ACCOUNT", c.firm}}, {client}});
        Buy("AA01001", 3, 990.0);
        const double firmBefore = GOOfFirm("AA01");
        const double accountBefore = GOOfAccount("ACCOUNT");
        EXPECT_DOUBLE_EQ(GOOfClient("AA01001"), 540.0);
        for (int round = 0; round < 2; ++round) {
            client.rules.noFutDiscount = true;
            Change(client);
            EXPECT_DOUBLE_EQ(GOOfClient("AA01001"), 600.0);
            EXPECT_DOUBLE_EQ(GOOfFirm("AA01"), c.goFirm);
            EXPECT_DOUBLE_EQ(GOOfAccount("ACCOUNT"), c.goAccount);
            client.deliveryWeight += 0.125; // nothing is delivered: the same figures
            Change(client);
            EXPECT_DOUBLE_EQ(GOOfFirm("AA01"), c.goFirm);
            EXPECT_DOUBLE_EQ(GOOfAccount("ACCOUNT"), c.goAccount);
            client.rules.noFutDiscount = false;
            Change(client);
            EXPECT_DOUBLE_EQ(GOOfClient("AA01001"), 540.0);
            EXPECT_DOUBLE_EQ(GOOfFirm("AA01"), firmBefore);
            EXPECT_DOUBLE_EQ(GOOfAccount("ACCOUNT"), accountBefore);
        }
        Buy("AA01001", -3, 990.0);
        EXPECT_EQ(GOOfFirm("AA01"), 0.0);
        EXPECT_EQ(GOOfAccount("ACCOUNT"), 0.0);
    }
}

// One account over firms of all three rules. HalfNetting: the losses of all clients, -1000.001 * 3. Gross: 1000.01 of
// AA01, nothing of the Gross firm, 200 of the records of AA03.
TEST_F(AccountFigures, OfAnAccountOverFirmsOfDifferentRules)
{
    Start({{HandContract("BC")}, {TwoMoneyFutures("FUT", "BC", 1)}, {}});
    for (const auto& [rule, expected] : {std::pair{HalfNetting, 3000.01}, std::pair{Gross, 1200.01}}) {
        ASSERT_EQ(ClearParts(calc), 0);
        Register({{{"ACCOUNT", rule}},
                  {{"AA01", "ACCOUNT", HalfNetting}, {"AA02", "ACCOUNT", Gross}, {"AA03", "ACCOUNT", Netting}},
                  {{"AA01001"}, {"AA02001"}, {"AA03001"}}});
        for (const char* client : {"AA01001", "AA02001", "AA03001"})
            SetClient(client, 5, 1000.0001);
        SetFirm("AA03", 1, 1000.0);
        EXPECT_DOUBLE_EQ(GOOfAccount("ACCOUNT"), expected);
    }
}

// A firm without an account, or with one that nobody registered, has its figure like any other.
TEST_F(AccountFigures, AFirmMayStandWithoutAnAccount)
{
    Start({{HandContract("BC")}, {TwoMoneyFutures("FUT", "BC", 1)}, {}});
    Register({{}, {{"AA01", "", HalfNetting}, {"AA02", "UNKNOWN", Netting}}, {{"AA01001"}, {"AA02001"}}});
    SetClient("AA01001", 5, 1000.0001);
    SetClient("AA02001", 5, 1000.0);
    EXPECT_DOUBLE_EQ(GOOfFirm("AA01"), 1000.01);
    EXPECT_DOUBLE_EQ(GOOfFirm("AA02"), 0.0) << "its own records count, and there are none";
    SetClient("AA01001", 0, 0.0);
    EXPECT_EQ(GOOfFirm("AA01"), 0.0);
}

// An option in spread nets with its futures at the client, and only what the client loses goes up; an option alone goes
// up by itself. Client 1 holds a covered call in spread, -190, 10, 110 (long 1 at 1000: -200, 0, 200; a call at 1050
// sold for 5: 10, 10, -90). Client 2 holds the same with the call alone: -200 at the left, and far out, at 1331, the
// call loses 276 * 2 * 0.75 * 100 / 331 = 125.08. Client 3 is short 2 futures: -400 at the right. The firm adds losses
// point by point: of the futures -190 and -200 at the left, -400 at the right; of the series alone the stress point of
// client 2. 400 + 125.08, and the account the same. Without client 3: 390 + 125.08.
TEST_F(AccountFigures, OptionsGoUpWithTheirFuturesOrByThemselves)
{
    plain::Market market{{HandContract("BC")}, {TwoMoneyFutures("FUT", "BC", 1)}, {}};
    market.series = {TwoMoneySeries("IN", "FUT"), TwoMoneySeriesAlone("OUT", "FUT")};
    for (const char* const series : {"IN", "OUT"})
        market.options.push_back(NamedOption(std::string(series) + "-C1050", series, Enums::OptionType::Call, 1050.0,
                                             5.0, static_cast<Isin>(100 + market.options.size())));
    Start(market);
    Register({{{"ACCOUNT", HalfNetting}}, {{"AA01", "ACCOUNT", HalfNetting}}, {{"AA01001"}, {"AA01002"}, {"AA01003"}}});
    SetClient("AA01001", 1, 1000.0);
    SetClient("AA01001", -1, 5.0, "IN-C1050");
    SetClient("AA01002", 1, 1000.0);
    SetClient("AA01002", -1, 5.0, "OUT-C1050");
    SetClient("AA01003", -2, 1000.0);
    EXPECT_DOUBLE_EQ(GOOfClient("AA01001"), 190.0);
    EXPECT_DOUBLE_EQ(GOOfClient("AA01002"), 325.08);
    EXPECT_DOUBLE_EQ(GOOfClient("AA01003"), 400.0);
    EXPECT_DOUBLE_EQ(GOOfFirm("AA01"), 525.08);
    EXPECT_DOUBLE_EQ(GOOfAccount("ACCOUNT"), 525.08);
    SetClient("AA01003", 0, 0.0);
    EXPECT_DOUBLE_EQ(GOOfFirm("AA01"), 515.08);
    SetClient("AA01002", 0, 0.0, "OUT-C1050");
    EXPECT_DOUBLE_EQ(GOOfFirm("AA01"), 390.0);
    EXPECT_DOUBLE_EQ(GOOfAccount("ACCOUNT"), 390.0);
}

/// Three accounts, one under each rule, with three firms each, one under each rule, with two clients each. The rules of
/// the clients differ from one to the next.
Tree MixedTree()
{
    using enum Enums::SpreadMarginType;
    const Enums::SpreadMarginType types[] = {Unused, Enums::SpreadMarginType::HalfNetting,
                                             Enums::SpreadMarginType::Netting};
    Tree tree;
    const Enums::MarginRule rules[] = {Enums::MarginRule::Gross, Enums::MarginRule::HalfNetting,
                                       Enums::MarginRule::Netting};
    for (const Enums::MarginRule accountRule : rules) {
        const std::string account = "ACCOUNT-" + std::to_string(tree.accounts.size() + 1);
        tree.accounts.push_back({account, accountRule});
        for (const Enums::MarginRule firmRule : rules) {
            const std::string firm = "AA0" + std::to_string(tree.firms.size() + 1);
            tree.firms.push_back(
                {firm, account, firmRule, types[tree.firms.size() % 2 + 1], types[tree.firms.size() % 3]});
            for (int number = 1; number <= 2; ++number) {
                Client client{firm + "00" + std::to_string(number)};
                const std::size_t index = tree.clients.size();
                client.rules.level = static_cast<Enums::ClientRiskLevel>(index % 5);
                client.rules.noFutDiscount = index % 4 == 0;
                client.rules.calendar = types[index % 3];
                client.rules.interContract = types[index / 3 % 3];
                client.rules.shortChargeRatio = 0.5 + 0.5 * static_cast<double>(index % 3);
                client.rules.clearings = static_cast<std::int32_t>(index % 3);
                client.goRatio = index % 2 == 0 ? 1.0 : 1.25;
                tree.clients.push_back(client);
            }
        }
    }
    return tree;
}

std::vector<std::pair<QuindalAccountHierarchyRecordType, std::string>> Participants(const Tree& tree)
{
    std::vector<std::pair<QuindalAccountHierarchyRecordType, std::string>> all;
    for (const Client& client : tree.clients)
        all.emplace_back(QUINDAL_ACCOUNT_HIERARCHY_CLIENT, client.code);
    for (const Firm& firm : tree.firms)
        all.emplace_back(QUINDAL_ACCOUNT_HIERARCHY_BROKER, firm.code);
    for (const Account& account : tree.accounts)
        all.emplace_back(QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT, account.id);
    return all;
}

/// What the plain model finds for every participant of a tree by the positions and orders that stand. Deliveries weigh
/// wholly for firms and accounts.
class PlainTree
{
public:
    PlainTree(const plain::Market& market, const Tree& tree, const Positions& positions, const OpenOrders& orders)
        : m_market(market), m_tree(tree), m_instruments(Tradables(market)), m_positions(positions), m_orders(orders)
    {}

    [[nodiscard]] Figures All() const
    {
        Figures figures;
        for (const Client& client : m_tree.clients) {
            const plain::Margins margins =
                plain::Model(m_market, RulesOf(client)).Of(BookOf(client.code), OrdersOf(client.code));
            const double w = client.deliveryWeight;
            figures[client.code] = Charged(((1.0 - w) * margins.volatility + w * margins.delivery) * client.goRatio);
        }
        for (const Firm& firm : m_tree.firms)
            figures[firm.code] = OfFirm(firm);
        for (const Account& account : m_tree.accounts)
            figures[account.id] = OfAccount(account, figures);
        return figures;
    }

private:
    [[nodiscard]] static plain::Rules RulesOf(const Client& client)
    {
        plain::Rules rules = client.rules;
        rules.ratios = {{"SHARE", 1.5}}; // of every firm
        return rules;
    }
    [[nodiscard]] plain::Book BookOf(const std::string& code) const
    {
        plain::Book book;
        for (const auto& [place, holding] : m_positions) {
            if (place.code != code) continue;
            for (const Tradable& instrument : m_instruments)
                if (instrument.code == place.instrument) book[instrument.isin] = holding;
        }
        return book;
    }
    [[nodiscard]] plain::Orders OrdersOf(const std::string& client) const
    {
        const auto found = m_orders.find(client);
        return found == m_orders.end() ? plain::Orders() : found->second.own.All();
    }
    /// Orders of all clients of a firm as a level above takes them that takes orders as they come.
    [[nodiscard]] plain::Orders OrdersBelow(const Firm& firm) const
    {
        plain::Orders all;
        for (const auto& [client, orders] : m_orders)
            if (client.starts_with(firm.code))
                for (const plain::Order& order : orders.above.All())
                    all.push_back(order);
        return all;
    }
    void AddLosses(plain::SumOfLosses& sum, const Firm& firm) const
    {
        for (const Client& client : m_tree.clients)
            if (client.code.starts_with(firm.code))
                sum.Add(plain::Model(m_market, RulesOf(client)).LossesOf(BookOf(client.code), OrdersOf(client.code)));
    }

    // A firm under Netting lives by its own records and its clients' orders, any other by the losses of its clients.
    // They are handed up only where the firm or its account nets by losses.
    [[nodiscard]] double OfFirm(const Firm& firm) const
    {
        if (firm.rule == Netting) {
            plain::Rules rules;
            rules.tier = plain::Tier::Firm;
            rules.calendar = firm.calendar;
            rules.interContract = firm.interContract;
            return Charged(plain::Model(m_market, rules).Of(BookOf(firm.code), OrdersBelow(firm)).delivery);
        }
        if (firm.rule != HalfNetting && RuleOfAccount(firm.account) != HalfNetting) return 0.0;
        plain::SumOfLosses losses(m_market);
        AddLosses(losses, firm);
        return Charged(losses.Total().delivery);
    }
    [[nodiscard]] double OfAccount(const Account& account, const Figures& figures) const
    {
        if (account.rule == Netting) {
            plain::Rules rules;
            rules.tier = plain::Tier::Account;
            rules.calendar = rules.interContract = Enums::SpreadMarginType::Netting;
            plain::Orders orders;
            for (const Firm& firm : m_tree.firms)
                if (firm.account == account.id)
                    for (const plain::Order& order : OrdersBelow(firm))
                        orders.push_back(order);
            return Charged(plain::Model(m_market, rules).Of(BookOf(account.id), orders).delivery);
        }
        plain::SumOfLosses losses(m_market);
        double sum = 0.0;
        for (const Firm& firm : m_tree.firms) {
            if (firm.account != account.id) continue;
            AddLosses(losses, firm);
            sum += figures.at(firm.code);
        }
        return Charged(account.rule == HalfNetting ? losses.Total().delivery : sum);
    }
    [[nodiscard]] Enums::MarginRule RuleOfAccount(const std::string& id) const
    {
        for (const Account& account : m_tree.accounts)
            if (account.id == id) return account.rule;
        return Gross;
    }

    const plain::Market& m_market;
    const Tree& m_tree;
    std::vector<Tradable> m_instruments;
    const Positions& m_positions;
    const OpenOrders& m_orders;
};

/// A walk of positions and orders of a tree, and of parameters of its clients.
class AccountWalk : public AccountFigures
{
protected:
    void Begin(unsigned seed)
    {
        random.seed(seed);
        tree = MixedTree();
        positions.clear();
        orders.clear();
        ASSERT_EQ(ClearParts(calc), 0);
        Register(tree);
    }
    void Step()
    {
        const auto kind = random() % 20;
        if (kind < 9)
            SetOne();
        else if (kind < 19)
            OrderOne();
        else
            ChangeOne();
    }
    void ExpectPlainFigures()
    {
        const Figures expected = PlainTree(market, tree, positions, orders).All();
        for (const auto& [code, figure] : AllFigures(tree))
            EXPECT_NEAR(figure, expected.at(code), 1e-9 * (1.0 + expected.at(code))) << code;
    }
    /// A tree that is registered, held and ordered as this one stands.
    void MakeFresh()
    {
        ASSERT_EQ(ClearParts(calc), 0);
        Register(tree);
        for (const auto& [place, holding] : positions)
            Set(place, holding);
        for (auto& [client, ofClient] : orders) {
            for (const plain::Order& order : ofClient.own.Open())
                Order(client, CodeOf(order.isin), order.buy, order.quantity, order.price);
            ofClient.own.TakeAnew();
            ofClient.above.TakeAnew();
        }
    }
    void UnsetAll()
    {
        for (auto& [place, holding] : positions)
            Set(place, holding = {});
        for (auto& [client, ofClient] : orders)
            for (const plain::Order& order : ofClient.own.Open()) {
                ofClient.Change(order.isin, order.buy, order.price, -order.quantity);
                Order(client, CodeOf(order.isin), order.buy, -order.quantity, order.price);
            }
    }

    const plain::Market market = BusyMarket();
    Tree tree;
    Positions positions;
    OpenOrders orders;

private:
    [[nodiscard]] std::string CodeOf(Isin isin) const
    {
        for (const Tradable& instrument : orderables)
            if (instrument.isin == isin) return instrument.code;
        return {};
    }
    double PriceNear(const Tradable& instrument)
    {
        return instrument.price + instrument.step * (static_cast<double>(random() % 41) - 20.0);
    }
    void SetOne()
    {
        const auto participants = Participants(tree);
        const auto& [level, code] = participants[random() % participants.size()];
        const Tradable& instrument = holdables[random() % holdables.size()];
        const std::int64_t quantity = random() % 4 == 0 ? 0 : static_cast<std::int64_t>(random() % 401) - 200;
        const plain::Holding holding{quantity, PriceNear(instrument), random() % 4 == 0 ? quantity / 2 : quantity};
        const Place place{level, code, instrument.code};
        positions[place] = holding;
        Set(place, holding);
    }
    /// An open order goes, or a new one comes.
    void OrderOne()
    {
        const std::string& client = tree.clients[random() % tree.clients.size()].code;
        const plain::Orders open = orders[client].own.Open();
        if (!open.empty() && random() % 2 == 0) {
            const plain::Order& order = open[random() % open.size()];
            Order(client, order.isin, order.buy, order.price, -order.quantity);
            return;
        }
        const Tradable& instrument = orderables[random() % orderables.size()];
        const bool buy = random() % 2 == 0;
        const double price = plain::OnPriceGrid(PriceNear(instrument));
        Order(client, instrument.isin, buy, price, 1 + static_cast<std::int64_t>(random() % 200));
    }
    using AccountFigures::Order;
    void Order(const std::string& client, Isin isin, bool buy, double price, std::int64_t quantity)
    {
        orders[client].Change(isin, buy, price, quantity);
        Order(client, CodeOf(isin), buy, quantity, price);
    }
    /// Nothing came from the accounting: premium-style options have no value until they are set again.
    void ChangeOne()
    {
        Client& client = tree.clients[random() % tree.clients.size()];
        if (random() % 2 == 0) client.rules.noFutDiscount = !client.rules.noFutDiscount;
        client.rules.clearings = static_cast<std::int32_t>(random() % 4);
        client.deliveryWeight = client.deliveryWeight == 0.75 ? 0.25 : client.deliveryWeight + 0.25;
        Change(client);
        for (auto& [place, holding] : positions)
            if (place.code == client.code) holding.afterLastClearing = 0;
        orders[client.code].own.TakeAnew();
    }

    std::mt19937 random;
    const std::vector<Tradable> holdables = Tradables(market);
    const std::vector<Tradable> orderables = Orderables(market);
};

// After any walk over any mix of rules every figure is what the plain model finds for what is held and ordered, and so
// it is in a tree made anew, and where nothing is left nothing is charged; but for what cancelled orders leave in
// collateral instruments, which stays in the levels that took them into their own books.
TEST_F(AccountWalk, EqualsThePlainModelAndAFreshTreeAndEndsAtZero)
{
    Start(market);
    for (unsigned seed = 1; seed <= 6; ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Begin(seed);
        for (int step = 1; step <= 600; ++step) {
            Step();
            if (step % 150 == 0) ExpectPlainFigures();
        }
        MakeFresh();
        ExpectPlainFigures();
        UnsetAll();
        ExpectPlainFigures();

        for (Client& client : tree.clients) {
            client.deliveryWeight = 0.125;
            Change(client);
            orders[client.code].own.TakeAnew();
        }
        const Figures expected = PlainTree(market, tree, positions, orders).All();
        for (const auto& [code, figure] : AllFigures(tree)) {
            EXPECT_DOUBLE_EQ(figure, expected.at(code)) << code;
            EXPECT_FALSE(std::signbit(figure)) << code << ": a minus before a zero would be printed";
        }
        for (const Client& client : tree.clients)
            EXPECT_EQ(expected.at(client.code), 0.0) << client.code;
    }
}

} // namespace
} // namespace test::AccountFiguresTest
