// RecalculationTree: an account tree over a market that may change, what its levels hold, and whether two such trees
// show the same figures at every level.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "AccountTree.h"
#include "EngineBook.h"
#include "HandMarket.h"
#include "MarginOrchestrator.h"
#include "PlainOrders.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"

namespace recalculation {

inline constexpr std::size_t Firms = 2;
inline constexpr std::size_t Clients = 4; // two of each firm

/// How the levels of a tree are margined.
struct Rules
{
    Enums::MarginRule firm = Enums::MarginRule::HalfNetting;
    Enums::MarginRule account = Enums::MarginRule::HalfNetting;
    Enums::SpreadMarginType calendar = Enums::SpreadMarginType::Netting; // of clients and account
    Enums::SpreadMarginType interContract = Enums::SpreadMarginType::Netting;
    bool noFutDiscount = false;
    Enums::ClientRiskLevel level = Enums::ClientRiskLevel::Default;
};

[[nodiscard]] inline Rules RulesOf(Enums::MarginRule firm, Enums::MarginRule account)
{
    Rules rules;
    rules.firm = firm;
    rules.account = account;
    return rules;
}

inline constexpr Isin NEXT = 2;
inline constexpr Isin FAR = 3; // of another contract

/// Two months of a contract in spread, FUT at 800 and NEXT at 820, and a futures of another contract in spread at 800.
[[nodiscard]] inline plain::Market ThreeFutures(const std::string& group = "")
{
    plain::Market market{{HandBaseContract("BC", group), HandBaseContract("FAR")}, {}, {}, 0.0};
    market.futures = {HandFutures(), HandFutures("NEXT", NEXT), HandFutures("FAR", FAR, "FAR")};
    for (FuturesSample& futures : market.futures) {
        futures.SpreadAspect = Enums::SpreadAspect::InSpread;
        futures.TimeToExpiration = 0.25 * futures.Isin;
    }
    market.futures[1].CalcFutPrice = market.futures[1].RealCalcPrice = 820.0;
    return market;
}

/// What all levels hold: positions of clients, firms and account by isin, and the open orders of the clients.
struct Books
{
    using Positions = std::map<Isin, plain::Holding>;
    std::vector<Positions> clients = std::vector<Positions>(Clients);
    std::vector<Positions> firms = std::vector<Positions>(Firms); // records of their own, which count under Netting
    Positions account;
    std::vector<std::pair<std::size_t, plain::Order>> orders; // client, order

    /// Settlement prices take the place of the average ones in all that stands on these futures.
    void SettleOn(const kv7im::InstrumentsRepository& instruments, const std::set<Isin>& futures)
    {
        const auto settle = [&](Positions& positions) {
            for (auto& [isin, holding] : positions) {
                const kv7im::CSpecOption* const option = instruments.GetOption(kv7im::AccessByStatus::eNew, isin);
                if (!futures.contains(option != nullptr ? option->GetFuturesIsin() : isin)) continue;
                holding.price = option != nullptr
                                    ? option->CalcOptPrice
                                    : instruments.GetFutures(kv7im::AccessByStatus::eNew, isin)->RealCalcPrice;
            }
        };
        for (Positions& positions : clients)
            settle(positions);
        for (Positions& positions : firms)
            settle(positions);
        settle(account);
    }
};

class Tree
{
public:
    Tree(kv7im::InstrumentsRepository& instruments_, const Rules& rules)
        : instruments(instruments_), registrar(participants, instruments_, positionInstruments)
    {
        registrar.RegisterSettlementAccount(AccountRecord("ID1"), rules.account, false,
                                            GetDummySettlementAccount()->GetOwner());
        account = participants.GetSettlementAccountById("ID1");
        account->SetCalSpreadMarginType(rules.calendar);
        account->SetInterContractSpreadMarginType(rules.interContract);
        for (std::size_t f = 0; f < Firms; ++f) {
            const std::string code = "AA0" + std::to_string(f + 1);
            firms.push_back(&registrar.RegisterBroker(
                BrokerCode::Parse(code), Enums::BrokerAccountType::Ordinary, rules.firm, account, 0, 1,
                t_weight_int(rules.firm == Enums::MarginRule::HalfNetting ? 1.0 : 0.5), t_weight_int(0.25)));
            firms.back()->SetBaseContractGORatio("A", 1.25);
            AddClient(code + "001", rules, 1);
            AddClient(code + "002", rules, 2);
            clients.back()->SetNotUseNOV(1); // leaves premium-style options out
        }
    }

    void SetPosition(std::size_t client, Isin isin, const plain::Holding& holding)
    {
        Clear(*clients[client], isin, holding);
        Check(margin_orchestrator::SetPositionClient(*clients[client], isin, holding.quantity, holding.price,
                                                     holding.afterLastClearing));
    }
    void ChangeOrder(std::size_t client, const plain::Order& order, std::int64_t quantity)
    {
        const SClearingDeltaOrder record = MakeOrder(order.isin, order.buy, order.price, quantity);
        Check(margin_orchestrator::ChangeOrder(*clients[client], order.isin, 1, &record));
    }
    /// Orders first: what a spread over two contracts has told of its first leg only, the positions make up for.
    void Enter(const Books& books)
    {
        for (const auto& [client, order] : books.orders)
            ChangeOrder(client, order, order.quantity);
        for (std::size_t c = 0; c < Clients; ++c)
            for (const auto& [isin, holding] : books.clients[c])
                SetPosition(c, isin, holding);
        for (std::size_t f = 0; f < Firms; ++f)
            for (const auto& [isin, holding] : books.firms[f]) {
                Clear(*firms[f], isin, holding);
                Check(margin_orchestrator::SetPositionBroker(*firms[f], isin, holding.quantity, holding.price,
                                                             holding.afterLastClearing));
            }
        for (const auto& [isin, holding] : books.account) {
            Clear(*account, isin, holding);
            Check(margin_orchestrator::SetPositionSettlementAccount(*account, isin, holding.quantity, holding.price,
                                                                    holding.afterLastClearing));
        }
    }

    static void Check(Z9ERR code)
    {
        if (code != 0) throw std::runtime_error("code " + std::to_string(code));
    }

    kv7im::InstrumentsRepository& instruments;
    pos::PositionCalculatorInstruments positionInstruments;
    ParticipantRepository participants;
    ParticipantRegistrar registrar;
    BraskSettlementAccountPtr account;
    std::vector<BraskBroker*> firms;
    std::vector<BraskClient*> clients;

private:
    void AddClient(const std::string& code, const Rules& rules, std::int32_t nClr2Delivery)
    {
        clients.push_back(&registrar.RegisterClient(*firms.back(), ClientCode::Parse(code), rules.noFutDiscount,
                                                    nClr2Delivery, t_weight_int(0.5), rules.level,
                                                    Enums::InvestorStatus::None));
        clients.back()->SetCalSpreadMarginType(rules.calendar);
        clients.back()->SetInterContractSpreadMarginType(rules.interContract);
    }

    // What the accounting says that the last clearing left, which a book taken anew goes by.
    static void Clear(ParticipantBase& participant, Isin isin, const plain::Holding& holding)
    {
        CPositionCalculator& calculator = participant.GetPositionCalculator();
        if (SPosition* const known = calculator.getPosition(isin)) {
            known->afterLastClearingQuantity = holding.afterLastClearing;
            return;
        }
        SPosition position{};
        position.isin = isin;
        position.quantity = holding.quantity;
        position.afterLastClearingQuantity = holding.afterLastClearing;
        calculator.InsertPositionForHalfNettingAndGross(position);
    }
};

/// Collects what differs between two trees, by name.
class Difference
{
public:
    Difference(const Tree& a, const Tree& b)
    {
        for (std::size_t c = 0; c < Clients; ++c)
            Clients_(*a.clients[c], *b.clients[c]);
        for (std::size_t f = 0; f < Firms; ++f)
            Levels(*a.firms[f], *b.firms[f]);
        Levels(*a.account, *b.account);
        Compare("gross sum", a.account->GetPortfolio().GetGrossInitialMargin(),
                b.account->GetPortfolio().GetGrossInitialMargin(), Cent);
        for (const std::string& code : CodesOf(a.instruments)) {
            for (std::size_t f = 0; f < Firms; ++f)
                Entries("firm's entry " + code, a.firms[f]->GetPortfolio(), b.firms[f]->GetPortfolio(), code);
            Entries("account's entry " + code, a.account->GetPortfolio(), b.account->GetPortfolio(), code);
            for (std::size_t c = 0; c < Clients; ++c)
                Entries("client's entry " + code, a.clients[c]->GetPortfolio(), b.clients[c]->GetPortfolio(), code);
        }
    }

    [[nodiscard]] const std::string& Text() const noexcept { return m_text; }

private:
    // Rounding up to cents may part two figures that are the same but for the last bits.
    static constexpr double Cent = 0.0100001;

    void Compare(const std::string& what, double a, double b, double allowance = 0.0)
    {
        if (std::abs(a - b) <= 1e-9 * (1.0 + m_largest + std::max(std::abs(a), std::abs(b))) + allowance) return;
        m_text += what + ": " + std::to_string(a) + " and " + std::to_string(b) + "\n";
    }
    void Portfolios(const std::string& what, const kv7im::Portfolio& a, const kv7im::Portfolio& b)
    {
        Compare(what + " volatility margin", a.GetVolatilityInitialMargin(), b.GetVolatilityInitialMargin());
        Compare(what + " delivery margin", a.GetDeliveryVolatilityInitialMargin(),
                b.GetDeliveryVolatilityInitialMargin());
    }
    void Levels(const ParticipantBase& a, const ParticipantBase& b)
    {
        const std::string name = a.GetParticipantCode();
        m_largest = std::max(m_largest, b.GetPortfolio().GetVolatilityInitialMargin());
        Portfolios(name, a.GetPortfolio(), b.GetPortfolio());
        Compare(name + " GO", a.GetInitialMargin(), b.GetInitialMargin(), Cent);
        Compare(name + " blocked money", a.GetMeans().BlockedMoney.AsDouble(), a.GetInitialMargin());
        Compare(name + " free money", a.GetMeans().FreeMoney.AsDouble(), b.GetMeans().FreeMoney.AsDouble(), Cent);
    }
    void Clients_(const BraskClient& a, const BraskClient& b)
    {
        Levels(a, b);
        Portfolios(std::string(a.GetParticipantCode()) + " side book", a.GetPortfolioWithoutEquityOptions(),
                   b.GetPortfolioWithoutEquityOptions());
    }

    static std::set<std::string> CodesOf(const kv7im::InstrumentsRepository& instruments)
    {
        std::set<std::string> codes;
        for (const kv7im::BaseContractNode& node : instruments.RangeBaseContractByCode())
            codes.insert({node.GetCode(), node.GetMCS()});
        for (const kv7im::FuturesNode& node : instruments.RangeFuturesByCode())
            codes.insert(node.GetCode());
        for (const auto& [code, node] : instruments.RangeVirtualFuturesByCode())
            codes.insert(code);
        return codes;
    }
    // An entry that is not there is one of zeros. Profits of a client's entry count for nothing, and may stand or not.
    void Entries(const std::string& what, const kv7im::Portfolio& a, const kv7im::Portfolio& b, const std::string& code)
    {
        const kv7im::RolledUpRiskNode* const ofA = a.GetHalfNettingRisksByCode(code);
        const kv7im::RolledUpRiskNode* const ofB = b.GetHalfNettingRisksByCode(code);
        const auto loss = [](const kv7im::RolledUpRiskNode* node, std::size_t i, bool expiration) {
            if (node == nullptr) return 0.0;
            return std::min((expiration ? node->Expiration() : node->Volatility())[i], 0.0);
        };
        const auto pointLoss = [](const kv7im::RolledUpRiskNode* node, std::size_t i, bool expiration) {
            if (node == nullptr) return 0.0;
            return std::min((expiration ? node->ExpirationPoints() : node->VolatilityPoints()).pData()[i], 0.0);
        };
        const kv7im::RolledUpRiskNode* const any = ofA != nullptr ? ofA : ofB;
        for (std::size_t i = 0; any != nullptr && i < any->PointsNum(); ++i)
            for (const bool expiration : {false, true})
                Compare(what + " row", loss(ofA, i, expiration), loss(ofB, i, expiration));
        for (std::size_t i = 0; any != nullptr && i < any->VolatilityPoints().size(); ++i)
            for (const bool expiration : {false, true})
                Compare(what + " points", pointLoss(ofA, i, expiration), pointLoss(ofB, i, expiration));
    }

    double m_largest = 0.0;
    std::string m_text;
};

[[nodiscard]] inline std::string DifferencesOf(const Tree& a, const Tree& b) { return Difference(a, b).Text(); }

/// Futures that an open transaction reaches.
[[nodiscard]] inline std::set<Isin> FuturesOfOpenFamilies(const kv7im::InstrumentsRepository& instruments)
{
    std::set<Isin> open;
    for (const kv7im::FuturesNode& node : instruments.RangeFuturesByIsin())
        if (node.GetStatus() == kv7im::Status::WasChanged) open.insert(node.GetIsin());
    return open;
}

} // namespace recalculation
