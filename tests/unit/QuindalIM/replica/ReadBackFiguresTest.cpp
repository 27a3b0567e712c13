// The margins that participants are given, worked out anew from what is read back of their risks and from nothing else.
#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <rapidcheck/gtest.h>

#include "ExportCalls.h"
#include "FacadeFixture.h"
#include "HandMarket.h"
#include "LibraryState.h"
#include "RandomMarket.h"
#include "ReadBackFixture.h"

namespace test::ReadBackFiguresTest {
namespace {

using namespace read_back;
using Enums::MarginRule;
using testing::ElementsAre;

constexpr double Relative = 1e-9;

double Worst(const std::vector<double>& values)
{
    double worst = std::numeric_limits<double>::max();
    for (const double value : values)
        if (value < worst) worst = value;
    return worst;
}

/// Codes of all that a margin is summed over: what nets within itself and with nothing else.
struct TopEntities
{
    explicit TopEntities(const plain::Market& market)
    {
        for (const FuturesSample& futures : market.futures) {
            const BaseContractSample& contract = plain::MarketView(market, {}).ContractOf(futures);
            if (futures.SpreadAspect == Enums::SpreadAspect::NotInSpread)
                alone[futures.Code] = contract.Code;
            else if (contract.CodeMCS.empty())
                alone[contract.Code] = contract.Code;
            else
                groups[contract.CodeMCS].insert(contract.Code);
        }
        for (const kv7im::OptionSeriesParameters& series : market.series)
            if (series.SpreadAspect == Enums::SpreadAspect::NotInSpread)
                alone[series.Code] = plain::MarketView(market, {}).FuturesOf(series).CodeBC;
    }
    std::map<std::string, std::string> alone;            // code of a futures, a series or an MMS to its base contract
    std::map<std::string, std::set<std::string>> groups; // MCS to its base contracts with futures in spread
};

double RatioOf(const plain::Rules& rules, const std::string& contract)
{
    const auto found = rules.ratios.find(contract);
    return found == rules.ratios.end() ? 1.0 : found->second;
}
/// The largest, whether the futures of a base contract are in spread or not.
double RatioOfGroup(const plain::Rules& rules, const plain::Market& market, const std::string& mcs)
{
    double ratio = 0.0;
    for (const BaseContractSample& contract : market.baseContracts)
        if (contract.CodeMCS == mcs) ratio = std::max(ratio, RatioOf(rules, contract.Code));
    return ratio;
}

double MarginOf(const std::vector<double>& row, const Info& points)
{
    return std::abs(std::min(std::min(0.0, Worst(row)), Worst(PointsOf(points))));
}

/// Both margins of a book of positions; `read` reads it by type and code.
template <class ReadOf>
plain::Margins MarginsOfBook(const plain::Market& market, const plain::Rules& rules, const ReadOf& read)
{
    const TopEntities top(market);
    plain::Margins total;
    for (const auto& [code, contract] : top.alone) {
        const Reading volatility = read(Matrix_FinalWithPositiveValues, code);
        if (volatility.scenarios == 0) continue; // nothing is held
        const Reading delivery = read(Matrix_FinalWithPositiveValues | ExpirationRiskNode, code);
        total.volatility += MarginOf(volatility.cells, volatility.info) * RatioOf(rules, contract);
        total.delivery += MarginOf(delivery.cells, delivery.info) * RatioOf(rules, contract);
    }
    for (const auto& [code, contracts] : top.groups) {
        const Reading volatility = read(Matrix_FinalWithPositiveValues, code);
        if (volatility.scenarios == 0) continue;
        const Reading delivery = read(Matrix_FinalWithPositiveValues | ExpirationRiskNode, code);
        const double ratio = RatioOfGroup(rules, market, code);
        total.volatility += MarginOf(volatility.cells, volatility.info) * ratio;
        total.delivery += MarginOf(delivery.cells, volatility.info) * ratio; // the points of the volatility side
    }
    return total;
}

/// Both margins of a participant that is fed from below.
template <class ReadOf>
plain::Margins MarginsOfEntries(const plain::Market& market, const ReadOf& read)
{
    const TopEntities top(market);
    std::set<std::string> codes;
    for (const auto& [code, contract] : top.alone)
        codes.insert(code);
    for (const auto& [code, contracts] : top.groups)
        codes.insert(code);
    plain::Margins total;
    for (const std::string& code : codes) {
        const Reading volatility = read(Matrix_FinalWithPositiveValues, code);
        const Reading delivery = read(Matrix_FinalWithPositiveValues | ExpirationRiskNode, code);
        if (volatility.scenarios == 0) continue;
        total.volatility += MarginOf(volatility.cells, volatility.info);
        total.delivery += MarginOf(delivery.cells, delivery.info);
    }
    return total;
}

/// Sums that rounded at another place, by the largest money that went into them.
bool IsNear(double figure, double expected, double largest)
{
    return std::abs(figure - expected) <= Relative * (1.0 + std::max(std::abs(expected), largest));
}
void ExpectNear(double figure, double expected, const std::string& what, double largest = 0.0)
{
    if (!IsNear(figure, expected, largest))
        RC_FAIL(what + ": " + std::to_string(figure) + " instead of " + std::to_string(expected));
}
void ExpectNear(const plain::Margins& figures, const plain::Margins& expected, const std::string& what)
{
    ExpectNear(figures.volatility, expected.volatility, "volatility margin " + what, expected.volatility);
    ExpectNear(figures.delivery, expected.delivery, "delivery margin " + what, expected.delivery);
}
/// A GO is what it is made of, less than a hundred-thousandth off, and then whole cents from there.
void ExpectInWholeCents(double go, double unrounded, const std::string& what)
{
    if (!(go > unrounded - 1e-5 - Relative * unrounded && go < unrounded + 0.01 + 1e-5))
        RC_FAIL("GO of " + what + ": " + std::to_string(go) + " for " + std::to_string(unrounded));
}

/// An account and a firm that net their clients by losses only, and clients with books of their own.
class RandomTree
{
public:
    RandomTree()
        : m_market(random_market::Make()), m_ratios(random_market::MakeRules().ratios), m_tree(MakeRepository(m_market))
    {
        m_tree.AddAccount("ACCOUNT", MarginRule::HalfNetting);
        m_tree.AddFirm("AA01", "ACCOUNT", MarginRule::HalfNetting, m_firmWeight);
        for (const auto& [contract, ratio] : m_ratios)
            RC_ASSERT(m_tree.calculator.InsertBrokerBaseContractParam("AA01", contract.c_str(), ratio) == Z9ERR_OK);
        for (const char* const code : {"AA01001", "AA01002"})
            Enter(code);
    }

    void ExpectMarginsFromReadings()
    {
        for (const Client& client : m_clients)
            ExpectClientsMargins(client);
        ExpectFirmsMargins();
        ExpectAccountsMargins();
    }
    void ExpectRowsOfThePlainModel();

private:
    struct Client
    {
        const char* code;
        plain::Rules rules;
        double weight;
        double goRatio;
        plain::Book book;
        Tree::Margins last; // as the last change of its book gave them
    };

    void Enter(const char* code)
    {
        Client client{code, random_market::MakeRules(), random_market::Grid(0.0, 0.25, 5), 1.5, {}, {}};
        client.rules.tier = plain::Tier::Client;
        client.rules.ratios = m_ratios;
        m_tree.AddClient(code, client.rules, client.weight, client.goRatio);
        for (const FuturesSample& futures : m_market.futures)
            if (!random_market::OnceIn(3)) Hold(client, futures.Isin, random_market::MakeHolding(futures));
        for (const OptionSample& option : m_market.options)
            if (!random_market::OnceIn(3)) Hold(client, option.Isin, random_market::MakeHolding(option));
        m_clients.push_back(client);
    }
    void Hold(Client& client, Isin isin, const plain::Holding& holding)
    {
        client.book[isin] = holding;
        client.last = m_tree.Set(client.code, isin, holding);
    }

    void ExpectClientsMargins(const Client& client)
    {
        const plain::Margins read =
            MarginsOfBook(m_market, client.rules, [&](eChooseRiskType type, const std::string& code) {
                return m_tree.OfClient(type, code, client.code);
            });
        const std::string code = client.code;
        ExpectNear(read, {client.last.volatility, client.last.delivery}, "of " + code + " against the one given");
        ExpectNear(read, plain::Model(m_market, client.rules).Of(client.book), "of " + code + " against the plain one");
        const double weighed = (1.0 - client.weight) * read.volatility + client.weight * read.delivery;
        ExpectInWholeCents(client.last.part, weighed * client.goRatio, code);
    }
    void ExpectFirmsMargins()
    {
        const plain::Margins read = MarginsOfEntries(
            m_market, [&](eChooseRiskType type, const std::string& code) { return m_tree.OfFirm(type, code, "AA01"); });
        const kv7im::Portfolio& book = m_tree.Firm("AA01").GetPortfolio();
        ExpectNear(read, {book.GetVolatilityInitialMargin(), book.GetDeliveryVolatilityInitialMargin()}, "of the firm");
        ExpectInWholeCents(m_clients.back().last.firm, m_firmWeight == 0.0 ? read.volatility : read.delivery,
                           "the firm");
    }
    void ExpectAccountsMargins()
    {
        const plain::Margins read = MarginsOfEntries(m_market, [&](eChooseRiskType type, const std::string& code) {
            return m_tree.OfAccount(type, code, "ACCOUNT");
        });
        const kv7im::Portfolio& book = m_tree.Account("ACCOUNT").GetPortfolio();
        ExpectNear(read, {book.GetVolatilityInitialMargin(), book.GetDeliveryVolatilityInitialMargin()},
                   "of the account");
        ExpectInWholeCents(m_clients.back().last.account, read.delivery, "the account");
    }

    plain::Market m_market;
    std::map<std::string, double> m_ratios;
    Tree m_tree;
    double m_firmWeight = random_market::OnceIn(2) ? 0.0 : 1.0; // under HalfNetting nothing between
    std::vector<Client> m_clients;
};

/// Cells and points against those of a plain outline, where `bound` takes gains away.
void ExpectSide(const Reading& reading, const std::vector<double>& row, const std::vector<double>& points, bool bound,
                const std::string& what)
{
    const auto loss = [&](double value) { return bound ? std::min(value, 0.0) : value; };
    // Rounding goes by what was added, of which the margin knows nothing: by the largest figure on the sheet.
    double largest = 0.0;
    for (const double value : reading.cells)
        largest = std::max(largest, std::abs(value));
    for (const double value : PointsOf(reading.info))
        largest = std::max(largest, std::abs(value));
    RC_ASSERT(reading.scenarios == 1U);
    RC_ASSERT(reading.points == row.size());
    for (std::size_t i = 0; i < row.size(); ++i)
        ExpectNear(loss(reading.cells[i]), row[i], what + ", point " + std::to_string(i), largest);
    const std::vector<double> read = PointsOf(reading.info);
    for (std::size_t i = 0; i < points.size(); ++i)
        ExpectNear(loss(read[i]), points[i], what + ", special point " + std::to_string(i), largest);
}

// Of clients the rows themselves, of the firm and the account their losses summed, code by code.
void RandomTree::ExpectRowsOfThePlainModel()
{
    constexpr eChooseRiskType delivery = Matrix_FinalWithPositiveValues | ExpirationRiskNode;
    plain::Outlines sums;
    for (const Client& client : m_clients) {
        for (const auto& [code, outline] : plain::Model(m_market, client.rules).LossesOf(client.book)) {
            ExpectSide(m_tree.OfClient(Matrix_FinalWithPositiveValues, code, client.code), outline.row, outline.point,
                       true, client.code + (" " + code));
            ExpectSide(m_tree.OfClient(delivery, code, client.code), outline.deliveryRow, outline.deliveryPoint, true,
                       client.code + (" deliveries " + code));
            plain::Outline& sum = sums.try_emplace(code, outline.row.size()).first->second;
            plain::details::Add(sum.row, outline.row);
            plain::details::Add(sum.deliveryRow, outline.deliveryRow);
            plain::details::Add(sum.point, outline.point);
            plain::details::Add(sum.deliveryPoint, outline.deliveryPoint);
        }
    }
    for (const auto& [code, sum] : sums) {
        for (const eChooseRiskType type : {VolatilityRiskNode, Matrix_Volatility, Matrix_FinalWithPositiveValues}) {
            ExpectSide(m_tree.OfFirm(type, code, "AA01"), sum.row, sum.point, false, "firm " + code);
            ExpectSide(m_tree.OfAccount(type, code, "ACCOUNT"), sum.row, sum.point, false, "account " + code);
        }
        ExpectSide(m_tree.OfFirm(delivery, code, "AA01"), sum.deliveryRow, sum.deliveryPoint, false,
                   "firm, deliveries " + code);
    }
}

RC_GTEST_PROP(ReadBackFigures, OfAllLevelsMakeTheMarginsThatTheyWereGiven, ())
{
    RandomTree().ExpectMarginsFromReadings();
}

/// A firm or an account that lives by positions of its own.
template <class ReadOf>
void ExpectOwnMargins(const plain::Market& market, Tree& tree, const char* code, plain::Tier tier,
                      Enums::AccountHierarchyRecordType level, const kv7im::Portfolio& portfolio, const ReadOf& read)
{
    plain::Rules rules;
    rules.interContract = Enums::SpreadMarginType::Netting;
    rules.tier = tier;
    plain::Book book;
    for (const FuturesSample& futures : market.futures)
        tree.Set(code, futures.Isin, book[futures.Isin] = random_market::MakeHolding(futures), level);
    for (const OptionSample& option : market.options)
        tree.Set(code, option.Isin, book[option.Isin] = random_market::MakeHolding(option), level);

    const plain::Margins figures = MarginsOfBook(market, rules, read);
    ExpectNear(figures, {portfolio.GetVolatilityInitialMargin(), portfolio.GetDeliveryVolatilityInitialMargin()},
               std::string("of ") + code);
    ExpectNear(figures, plain::Model(market, rules).Of(book), std::string("against the plain one of ") + code);
}

RC_GTEST_PROP(ReadBackFigures, OfAFirmAndAnAccountUnderNettingMakeTheirOwnMargins, ())
{
    using enum Enums::AccountHierarchyRecordType;
    const plain::Market market = random_market::Make();
    Tree tree(MakeRepository(market));
    tree.AddAccount("ACCOUNT", MarginRule::Netting);
    tree.AddFirm("AA01", "ACCOUNT", MarginRule::Netting);
    ExpectOwnMargins(market, tree, "AA01", plain::Tier::Firm, Broker, tree.Firm("AA01").GetPortfolio(),
                     [&](eChooseRiskType type, const std::string& code) { return tree.OfFirm(type, code, "AA01"); });
    ExpectOwnMargins(
        market, tree, "ACCOUNT", plain::Tier::Account, SettlementAccount, tree.Account("ACCOUNT").GetPortfolio(),
        [&](eChooseRiskType type, const std::string& code) { return tree.OfAccount(type, code, "ACCOUNT"); });
}

// A client whose margin leaves premium-style options out is given the book without them.
RC_GTEST_PROP(ReadBackFigures, OfAClientWithoutPremiumStyleOptionsMakeTheMarginWithoutThem, ())
{
    constexpr const char* client = "AA01001";
    constexpr double weight = 0.5;
    const plain::Market market = random_market::Make();
    plain::Rules rules = random_market::MakeRules();
    rules.tier = plain::Tier::Client;
    rules.ratios.clear();
    Tree tree(MakeRepository(market));
    tree.AddAccount("ACCOUNT", MarginRule::Gross);
    tree.AddFirm("AA01", "ACCOUNT", MarginRule::Gross);
    tree.AddClient(client, rules, weight);
    tree.Client(client).SetNotUseNOV(1);

    std::set<std::string> left; // out of the margin
    for (const kv7im::OptionSeriesParameters& series : market.series)
        if (series.marginStyle == Enums::MarginStyle::Equity) left.insert(series.Code);
    plain::Book counted;
    for (const FuturesSample& futures : market.futures)
        tree.Set(client, futures.Isin, counted[futures.Isin] = random_market::MakeHolding(futures));
    for (const OptionSample& option : market.options) {
        const plain::Holding holding = random_market::MakeHolding(option);
        tree.Set(client, option.Isin, holding);
        if (!left.contains(option.CodeVF)) counted[option.Isin] = holding;
    }

    const plain::Margins read = MarginsOfBook(market, rules, [&](eChooseRiskType type, const std::string& code) {
        return tree.OfClient(type, code, client);
    });
    ExpectNear(read, plain::Model(market, rules).Of(counted), "of the book without them");
    ExpectInWholeCents(tree.Client(client).GetInitialMargin(),
                       (1.0 - weight) * read.volatility + weight * read.delivery, client);
    for (const std::string& code : left)
        RC_ASSERT(tree.OfClient(Matrix_Volatility, code, client).scenarios == 0U);
}

RC_GTEST_PROP(ReadBackFigures, AreTheRowsAndPointsThatAPlainModelFinds, ())
{
    RandomTree().ExpectRowsOfThePlainModel();
}

// Through the exported functions: the grid is 900, 1000, 1100. Two contracts bought at 990 bring -180, 20, 220, which
// are 180 of margin; three sold at 1000 on the other futures 300, 0, -300.
TEST_F(CalculatorTest, TheMarginsOfTheExportedFunctionsStandInTheRowsBehindThem)
{
    ASSERT_EQ(calls::BaseContract(calc, "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "FUT1", "BC"), 0);
    ASSERT_EQ(calls::Futures(calc, "FUT2", "BC"), 0);
    ASSERT_EQ(calls::Account(calc, "ACCOUNT", QUINDAL_MARGIN_RULE_HALF_NETTING), 0);
    ASSERT_EQ(calls::Firm(calc, "AA01", "ACCOUNT"), 0);
    ASSERT_EQ(calls::Part(calc, "AA01001"), 0);
    calls::Margins margins;
    ASSERT_EQ(calls::Position(calc, "AA01001", "FUT1", 2, 990.0, margins), 0);
    ASSERT_EQ(calls::Position(calc, "AA01001", "FUT2", -3, 1000.0, margins), 0);
    EXPECT_DOUBLE_EQ(margins.volatility, 480.0);
    EXPECT_DOUBLE_EQ(margins.part, 480.0);

    const QuindalIM::CCalcGOEx& calculator = QuindalIM::GetQuindalImCalculator(calc);
    const auto rowOf = [&](const char* instrument) {
        return Read([&, instrument](double* arr, std::size_t& points, std::size_t& scenarios, Info& info) {
            scenarios = 1;
            return calculator.GetClientRiskFinalRiskArray(Matrix_FinalWithPositiveValues, instrument, "AA01001", arr,
                                                          points, info);
        });
    };
    EXPECT_THAT(rowOf("FUT1").cells, ElementsAre(-180.0, 20.0, 220.0));
    EXPECT_THAT(rowOf("FUT2").cells, ElementsAre(300.0, 0.0, -300.0));
    EXPECT_DOUBLE_EQ(
        QuindalIM::GetParticipantRepositoryForQuindaIM().GetSettlementAccountById("ACCOUNT")->GetInitialMargin(),
        480.0);
    const Reading account = Read([&](double* arr, std::size_t& points, std::size_t& scenarios, Info& info) {
        return calculator.GetSettlementAccountRisksArray(VolatilityRiskNode, "FUT1", "ACCOUNT", arr, points, scenarios,
                                                         info);
    });
    EXPECT_THAT(account.cells, ElementsAre(-180.0, 0.0, 0.0)) << "losses only";
}

} // namespace
} // namespace test::ReadBackFiguresTest
