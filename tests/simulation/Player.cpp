#include "Player.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <memory>
#include <numeric>
#include <set>
#include <stdexcept>
#include <utility>

#include "../unit/kv7go/FailingAllocations.h"
#include "BraskSettlementAccount.h"
#include "Broker.h"
#include "CalcGOEx.h"
#include "Client.h"
#include "DrawnMarket.h"
#include "EmptyPool.h"
#include "InstrumentsReadBack.h"
#include "LibraryState.h"
#include "MarginMarket.h"
#include "MarginOrchestrator.h"
#include "ParticipantRepository.h"
#include "RandomChanges.h"
#include "SeededDraws.h"
#include "instruments/InstrumentsRepository.h"

namespace simulation {

namespace {

using quindal::test::PlaceOrder;
using quindal::test::SetHolding;

constexpr std::int32_t SomethingUnforeseen = 94808;
constexpr std::int32_t SomethingUnforeseenInABook = 94708; // of ChangePart
constexpr std::int32_t NotConnected = 94820;

/// A day that went wrong.
class Differs : public std::runtime_error
{
    using std::runtime_error::runtime_error;
};

std::string Shown(double figure)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.15g", figure);
    return text;
}

[[noreturn]] void Fail(const std::string& what, double shown, double expected)
{
    throw Differs(what + " is " + Shown(shown) + " instead of " + Shown(expected));
}

void Expect(std::int32_t code, std::int32_t expected, const std::string& call)
{
    if (code != expected)
        throw Differs(call + " gives code " + std::to_string(code) + " instead of " + std::to_string(expected));
}

template <class List>
auto& OneOf(List& list, std::uint32_t which)
{
    return list[which % list.size()];
}

/// What may be traded, and a price to trade it near.
struct Tradable
{
    std::string code;
    Isin isin = 0;
    double price = 0.0;
    double calculated = 0.0; // what a price of 0.0 stands for; not a number for a calendar spread
    bool isOption = false;
};

[[nodiscard]] Tradable ToTrade(const plain::Market& market, std::uint32_t which, bool spreadsToo)
{
    const std::size_t spreads = spreadsToo ? market.multilegs.size() : 0;
    std::size_t at = which % (market.futures.size() + market.options.size() + spreads);
    if (at < market.futures.size()) {
        const FuturesSample& futures = market.futures[at];
        const double price = plain::TradesAtSettlement(futures) ? 0.0 : futures.CalcFutPrice;
        return {futures.Code, futures.Isin, price, futures.CalcFutPrice};
    }
    at -= market.futures.size();
    if (at < market.options.size()) {
        const OptionSample& option = market.options[at];
        return {option.Code, option.Isin, option.CalcOptPrice, option.CalcOptPrice, true};
    }
    at -= market.options.size();
    const MultilegSample& multileg = market.multilegs[at];
    const plain::MarketView view(market, {});
    const double distance =
        view.FindFutures(multileg.SecondLeg)->CalcFutPrice - view.FindFutures(multileg.FirstLeg)->CalcFutPrice;
    // No two spreads have a price in common: the leg of two with one price, side and leg knows one of them only.
    return {multileg.Code, multileg.Isin, distance + 0.00001 * static_cast<double>(at + 1),
            std::numeric_limits<double>::quiet_NaN()};
}

class Player
{
public:
    Player(const Day& day, Tally& tally, const Distortion& distortion, std::vector<std::string>* story)
        : m_day(day), m_tally(tally), m_story(story), m_host(day.traced), m_plain(MakeMarket(day.seed), {}, distortion)
    {
        m_plain.ChangeTree(DrawTree(day.seed, m_plain.Market()));
        OnATurn(false, [&] { Register(Step()); });
    }

    void PlayStep(const Step& step)
    {
        ++m_tally.steps[static_cast<std::size_t>(step.kind)];
        OnATurn(step.otherThread, [&] { Do(step); });
        CompareAll();
        Host::ForgetWhatWasAsked();
    }

private:
    // ---- The library and the threads --------------------------------------------------------------------------------

    template <class Turn>
    void OnATurn(bool other, const Turn& turn)
    {
        if (!m_day.twoThreads) return turn();
        if (m_threads[0] == nullptr)
            for (std::unique_ptr<TurnTaker>& thread : m_threads)
                thread = std::make_unique<TurnTaker>();
        m_threads[other ? 1 : 0]->Take(turn);
    }

    plain::Market MakeMarket(std::uint64_t seed)
    {
        const bool byDownload = seed % 3 == 0;
        plain::Market market = DrawMarket(seed, {m_day.wideGrids, byDownload});
        OnATurn(false, [&] { m_host.Enter(market, byDownload, seed % 2 == 0); });
        return market;
    }

    [[nodiscard]] std::intptr_t Calc() const { return m_host.Calculator(); }
    [[nodiscard]] const Tree& Participants() const { return m_plain.Participants(); }

    void Tell(const std::string& line)
    {
        if (m_story != nullptr) m_story->push_back("    " + line);
    }

    /// Makes a call that may fail for memory first: then it has changed nothing, which `look` looks at, and is made
    /// again. `call` gives a code.
    template <class Call, class Look>
    std::int32_t MakeTwice(const Step& step, const std::string& name, std::int32_t codeOfFailure, const Call& call,
                           const Look& look)
    {
        m_host.LookAtTheLink();
        kv7im::auxiliary::LazyMemoryPool::GiveBack();
        const std::int32_t code = WithLittleMemory(step, call);
        if (code != codeOfFailure) return code;
        ++m_tally.failures;
        Tell("  fails for memory: " + name);
        look();
        return call();
    }
    /// The same of a call that writes margins, which it gets.
    template <class Call>
    std::int32_t Make(const Step& step, const std::string& name, bool mayFail, std::int32_t codeOfFailure,
                      calls::Margins& margins, const Call& call)
    {
        Tell(name);
        if (step.memory == Step::Plenty || !mayFail) return call(margins);
        return MakeTwice(
            step, name, codeOfFailure, [&] { return call(margins); },
            [&] {
                if (margins != calls::Margins()) throw Differs(name + " has failed for memory and written figures");
                CompareAll();
            });
    }
    template <class Call>
    static std::int32_t WithLittleMemory(const Step& step, const Call& call)
    {
        if (step.failsOnce) {
            const testing_support::OneFailingAllocation memory(step.memory);
            return call();
        }
        const testing_support::RoomForAllocations memory(step.memory);
        return call();
    }

    /// Whether calls of a client may fail for memory.
    [[nodiscard]] bool MayFail(std::size_t client) const
    {
        const Firm& firm = Participants().firms[Participants().clients[client].firm];
        return Participants().LivesByRecords(firm) ? m_day.habits.failuresUnderNetting
                                                   : m_day.habits.failuresUnderLosses;
    }

    // ---- Comparison -------------------------------------------------------------------------------------------------

    [[nodiscard]] static plain::Margins MarginsOf(const ParticipantBase& participant)
    {
        return {participant.GetPortfolio().GetVolatilityInitialMargin(),
                participant.GetPortfolio().GetDeliveryVolatilityInitialMargin()};
    }
    void Compare(const std::string& code, const Figures& expected, const plain::Margins& margins, double go)
    {
        m_tally.comparisons += 3;
        if (!expected.HasMargins(margins)) {
            const bool volatility = std::abs(margins.volatility - expected.margins.volatility) > expected.rounding;
            Fail((volatility ? "the volatility margin of " : "the delivery margin of ") + code,
                 volatility ? margins.volatility : margins.delivery,
                 volatility ? expected.margins.volatility : expected.margins.delivery);
        }
        // The GO is what is charged for the margins shown, to the cent; no minus stands before a zero.
        if (go != expected.GOFor(margins) || std::signbit(go)) Fail("the GO of " + code, go, expected.GOFor(margins));
    }
    void Compare(const std::string& code, const Figures& expected, const ParticipantBase& participant)
    {
        Compare(code, expected, MarginsOf(participant), participant.GetInitialMargin());
    }

    void CompareAll()
    {
        ParticipantRepository& shown = QuindalIM::GetParticipantRepositoryForQuindaIM();
        const Tree& tree = Participants();
        for (std::size_t c = 0; c < tree.clients.size(); ++c)
            Compare(tree.clients[c].code, m_plain.OfClient(c),
                    shown.GetClient(ClientCode::Parse(tree.clients[c].code)));
        std::vector<double> goOfFirms;
        for (std::size_t f = 0; f < tree.firms.size(); ++f) {
            const BraskBroker& firm = *shown.SearchBroker(BrokerCode::Parse(tree.firms[f].code));
            Compare(tree.firms[f].code, m_plain.OfFirm(f), firm);
            goOfFirms.push_back(firm.GetInitialMargin());
        }
        for (std::size_t a = 0; a < tree.accounts.size(); ++a) {
            const BraskSettlementAccount& account = *shown.GetSettlementAccountById(tree.accounts[a].id);
            if (tree.accounts[a].rule == Enums::MarginRule::Gross)
                CompareSum(tree.accounts[a].id, account.GetInitialMargin(), m_plain.SumOfFirms(a, goOfFirms));
            else
                Compare(tree.accounts[a].id, m_plain.OfAccount(a), account);
        }
    }
    /// The changes of a sum of cents may leave a last bit, and a last bit above a cent is charged as another cent.
    void CompareSum(const std::string& code, double go, double sum)
    {
        ++m_tally.comparisons;
        constexpr double halfACent = 0.005; // what a wild number may leave behind
        const double rounding = m_day.habits.wildNumbers ? halfACent : 1e-12 * sum;
        if (go < Charged(sum - rounding) || go > Charged(sum + rounding)) Fail("the GO of " + code, go, Charged(sum));
    }
    /// What a call has written of a client, and the levels above left alone or zeroed.
    void CompareWritten(std::size_t client, const calls::Margins& written)
    {
        Compare(Participants().clients[client].code + " as it was written", m_plain.OfClient(client),
                {written.volatility, written.delivery}, written.part);
    }

    // ---- Single changes ---------------------------------------------------------------------------------------------

    [[nodiscard]] static double PriceOf(const Tradable& instrument, const Step& step)
    {
        const int steps = instrument.isOption ? std::abs(step.price) : step.price; // no option is worth less than 0
        return plain::OnPriceGrid(instrument.price + 0.25 * steps);
    }
    [[nodiscard]] static plain::Holding HoldingOf(const Tradable& instrument, const Step& step)
    {
        plain::Holding holding{step.quantity, PriceOf(instrument, step)};
        holding.afterLastClearing = step.seed % 4 == 0 ? step.quantity / 2 : step.quantity;
        return holding;
    }
    /// As the library takes it.
    [[nodiscard]] static plain::Holding Resolved(plain::Holding holding, const Tradable& instrument)
    {
        if (holding.price == 0.0) holding.price = instrument.calculated;
        return holding;
    }
    [[nodiscard]] static std::string NameOfCall(const std::string& function, const std::string& code,
                                                const Tradable& instrument, std::int64_t quantity, double price)
    {
        return function + " " + code + " " + instrument.code + " " + std::to_string(quantity) + " at " + Shown(price);
    }

    void SetOfClient(const Step& step, std::size_t client, const Tradable& instrument, const plain::Holding& holding)
    {
        const std::string& code = Participants().clients[client].code;
        const std::string name = NameOfCall("SetPosition", code, instrument, holding.quantity, holding.price) +
                                 ", after the last clearing " + std::to_string(holding.afterLastClearing);
        calls::Margins margins;
        const std::int32_t result =
            Make(step, name, MayFail(client), SomethingUnforeseen, margins,
                 [&](calls::Margins& written) { return SetHolding(Calc(), code, instrument.code, holding, written); });
        Expect(result, 0, name);
        m_plain.SetClient(client, instrument.isin, Resolved(holding, instrument));
        CompareWritten(client, margins);
        if (margins.firm != calls::Margins().firm || margins.account != calls::Margins().account)
            throw Differs(name + " has written figures of the levels above");
    }

    void Order(const Step& step, std::size_t client, const Tradable& instrument, bool buy, double price,
               std::int64_t quantity)
    {
        const std::string& code = Participants().clients[client].code;
        const std::string name =
            NameOfCall(buy ? "ChangeOrder to buy" : "ChangeOrder to sell", code, instrument, quantity, price);
        calls::Margins margins;
        const std::int32_t result =
            Make(step, name, MayFail(client), SomethingUnforeseen, margins, [&](calls::Margins& written) {
                return PlaceOrder(Calc(), code, instrument.code, buy, price, quantity, written);
            });
        Expect(result, 0, name);
        m_plain.ChangeOrder(client, instrument.isin, buy,
                            price == 0.0 ? plain::OnPriceGrid(instrument.calculated) : price, quantity);
        CompareWritten(client, margins);
        if (margins.firm != 0.0 || margins.account != 0.0)
            throw Differs(name + " has written other figures than 0.0 of the levels above");
    }

    [[nodiscard]] Tradable Named(Isin isin) const
    {
        const plain::Market& market = m_plain.Market();
        const std::size_t all = market.futures.size() + market.options.size() + market.multilegs.size();
        for (std::uint32_t i = 0; i < all; ++i)
            if (Tradable instrument = ToTrade(market, i, true); instrument.isin == isin) return instrument;
        throw std::logic_error("nothing has the isin " + std::to_string(isin));
    }

    // ---- Steps ------------------------------------------------------------------------------------------------------

    void Do(const Step& step)
    {
        const std::size_t client = step.who % Participants().clients.size();
        switch (step.kind) {
        case Kind::SetPosition:
            return SetOfClient(step, client, Held(step), HoldingOf(Held(step), step));
        case Kind::SetFirmPosition:
            return SetOfFirm(step);
        case Kind::SetAccountPosition:
            return SetOfAccount(step);
        case Kind::PlaceOrder:
            return Place(step, client);
        case Kind::CancelOrder:
            return Cancel(step, client);
        case Kind::ExecuteOrder:
            return Execute(step, client);
        case Kind::WhatIfPosition:
            return TryPosition(step, client);
        case Kind::WhatIfOrder:
            return TryOrder(step, client);
        case Kind::ChangePart:
            return ChangeParameters(step, client);
        case Kind::ChangeRatio:
            return ChangeRatio(step, client);
        case Kind::ReadFigures:
            return ReadFigures();
        case Kind::ReadInstruments:
            return ReadInstruments();
        case Kind::Refuse:
            return OfferNonsense(step, client);
        case Kind::InsertOptions:
            return InsertOptions(step);
        case Kind::InsertFutures:
            return InsertOneFutures(step);
        case Kind::ChangeMarket:
            return ChangeMarket(step);
        case Kind::CommitMarket:
            return CommitMarket(step);
        case Kind::JumpClock:
            return JumpClock(step);
        case Kind::LoseLink:
            return LoseLink(step, client);
        case Kind::Restart:
            return Restart(step, client);
        case Kind::ClearParts:
            return ClearAllParts(step);
        case Kind::NewMarket:
            return EnterAnotherMarket(step, false);
        case Kind::NewLife:
            return EnterAnotherMarket(step, true);
        case Kind::WildPosition:
            return TryWildPosition(step, client);
        case Kind::Count:
            break;
        }
        throw std::logic_error("a step of no kind");
    }

    [[nodiscard]] Tradable Held(const Step& step) const { return ToTrade(m_plain.Market(), step.what, false); }
    [[nodiscard]] Tradable Ordered(const Step& step) const
    {
        return ToTrade(m_plain.Market(), step.what, SpreadsMayMove());
    }
    [[nodiscard]] bool SpreadsMayMove() const { return !m_opened || m_day.habits.spreadOrdersWhileOpen; }
    /// Open orders of a client that may go now.
    [[nodiscard]] plain::Orders Cancellable(std::size_t client) const
    {
        plain::Orders open = m_plain.OpenOrders(client);
        if (!SpreadsMayMove()) std::erase_if(open, [&](const plain::Order& order) { return IsSpread(order.isin); });
        return open;
    }
    [[nodiscard]] bool IsSpread(Isin isin) const
    {
        return plain::MarketView(m_plain.Market(), {}).FindMultileg(isin) != nullptr;
    }

    void SetOfFirm(const Step& step)
    {
        const std::size_t firm = step.who % Participants().firms.size();
        SetOfLevel(step, Participants().firms[firm].code, QUINDAL_ACCOUNT_HIERARCHY_BROKER,
                   [&](Isin isin, const plain::Holding& holding) { m_plain.SetFirm(firm, isin, holding); });
    }
    void SetOfAccount(const Step& step)
    {
        const std::size_t account = step.who % Participants().accounts.size();
        SetOfLevel(step, Participants().accounts[account].id, QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT,
                   [&](Isin isin, const plain::Holding& holding) { m_plain.SetAccount(account, isin, holding); });
    }
    template <class SetPlain>
    void SetOfLevel(const Step& step, const std::string& code, QuindalAccountHierarchyRecordType level,
                    const SetPlain& setPlain)
    {
        const Tradable instrument = Held(step);
        const plain::Holding holding = HoldingOf(instrument, step);
        const std::string name = NameOfCall("SetPosition", code, instrument, holding.quantity, holding.price) +
                                 ", after the last clearing " + std::to_string(holding.afterLastClearing);
        calls::Margins margins;
        const std::int32_t result = Make(step, name, m_day.habits.failuresUnderNetting, SomethingUnforeseen, margins,
                                         [&](calls::Margins& written) {
                                             return SetHolding(Calc(), code, instrument.code, holding, written, level);
                                         });
        Expect(result, 0, name);
        setPlain(instrument.isin, Resolved(holding, instrument));
        if (margins != calls::Margins()) throw Differs(name + " has written figures");
    }

    void Place(const Step& step, std::size_t client)
    {
        Order(step, client, Ordered(step), step.seed % 2 == 0, PriceOf(Ordered(step), step),
              1 + std::abs(step.quantity));
    }
    void Cancel(const Step& step, std::size_t client)
    {
        const plain::Orders open = Cancellable(client);
        if (open.empty()) return;
        const plain::Order& order = OneOf(open, step.what);
        Order(step, client, Named(order.isin), order.buy, order.price, -PartOf(order, step));
    }
    /// All of an order, or some.
    [[nodiscard]] static std::int64_t PartOf(const plain::Order& order, const Step& step)
    {
        return step.seed % 3 == 0 ? 1 + step.seed % order.quantity : order.quantity;
    }

    void Execute(const Step& step, std::size_t client)
    {
        const plain::Orders open = Cancellable(client);
        if (open.empty()) return;
        const plain::Order& order = OneOf(open, step.what);
        const std::int64_t quantity = PartOf(order, step);
        Order(step, client, Named(order.isin), order.buy, order.price, -quantity);
        const std::int64_t bought = order.buy ? quantity : -quantity;
        const plain::MarketView view(m_plain.Market(), {});
        const MultilegSample* const spread = view.FindMultileg(order.isin);
        if (spread == nullptr) return Deal(step, client, Named(order.isin), bought, order.price);
        const double near = view.FindFutures(spread->FirstLeg)->RealCalcPrice;
        Deal(step, client, Named(spread->FirstLeg), bought * spread->FirstRatio, near);
        Deal(step, client, Named(spread->SecondLeg), bought * spread->SecondRatio, near + order.price);
    }
    /// A deal changes a position and its average price.
    void Deal(const Step& step, std::size_t client, const Tradable& instrument, std::int64_t bought, double price)
    {
        plain::Holding held = m_plain.HeldBy(client, instrument.isin);
        const std::int64_t after = held.quantity + bought;
        const bool grows = std::abs(after) > std::abs(held.quantity);
        if (grows && held.quantity != 0 && (held.quantity > 0) == (bought > 0))
            held.price = (static_cast<double>(held.quantity) * held.price + static_cast<double>(bought) * price) /
                         static_cast<double>(after);
        else if (grows)
            held.price = price;
        held.quantity = after;
        SetOfClient(step, client, instrument, held);
    }

    /// A position is tried and put back.
    void TryPosition(const Step& step, std::size_t client)
    {
        const Tradable instrument = Held(step);
        const plain::Holding before = m_plain.HeldBy(client, instrument.isin);
        SetOfClient(step, client, instrument, HoldingOf(instrument, step));
        CompareAll();
        SetOfClient(step, client, instrument, before);
    }
    /// So are some orders, in instruments that follow one another.
    void TryOrder(const Step& step, std::size_t client)
    {
        Step tried = step;
        for (const bool places : {true, false})
            for (std::uint32_t i = 0; i <= step.seed % 3; ++i) {
                tried.what = step.what + i;
                const std::int64_t quantity = 1 + std::abs(step.quantity);
                Order(tried, client, Ordered(tried), i % 2 == 0, PriceOf(Ordered(tried), tried),
                      places ? quantity : -quantity);
                CompareAll();
            }
    }

    void ChangeParameters(const Step& step, std::size_t client)
    {
        if (Cancellable(client).size() != m_plain.OpenOrders(client).size())
            return; // its spreads would be entered anew
        const bool noFutDiscount = step.seed % 2 == 0;
        const auto clearings = static_cast<std::int32_t>(step.seed / 2 % 6) - 1;
        const double weight =
            step.seed / 12 % 6 == 5 ? Client::WeightOfFirm : 0.25 * static_cast<double>(step.seed / 12 % 6);
        const std::string& code = Participants().clients[client].code;
        const std::string name = "ChangePart " + code + (noFutDiscount ? " without discount, " : " with discount, ") +
                                 std::to_string(clearings) + " clearings, weight " + Shown(weight);
        calls::Margins none;
        const std::int32_t result =
            Make(step, name, MayFail(client), SomethingUnforeseenInABook, none, [&](calls::Margins&) {
                return ChangePart(Calc(), code.c_str(), noFutDiscount ? 1 : 0, clearings, weight);
            });
        Expect(result, 0, name);
        m_plain.ChangeClient(client, noFutDiscount, clearings, weight);
    }
    void ChangeRatio(const Step& step, std::size_t client)
    {
        const double ratio = 0.5 + 0.25 * static_cast<double>(step.seed % 8);
        Tell("GO ratio of " + Participants().clients[client].code + " " + Shown(ratio));
        BraskClient& shown = InTheLibrary(client);
        ClientRiskParameters parameters = shown.GetRiskParameters();
        parameters.clgoRatio = t_bprice_int(ratio);
        shown.SetRiskParameters(parameters);
        m_plain.ChangeRatio(client, ratio);
    }
    [[nodiscard]] BraskClient& InTheLibrary(std::size_t client) const
    {
        return QuindalIM::GetParticipantRepositoryForQuindaIM().GetClient(
            ClientCode::Parse(Participants().clients[client].code));
    }

    /// An order of no contracts shows a client's figures, and those of the levels above within.
    void ReadFigures()
    {
        for (std::size_t c = 0; c < Participants().clients.size(); ++c) {
            const Client& client = Participants().clients[c];
            calls::Margins margins;
            Expect(PlaceOrder(Calc(), client.code, m_plain.Market().futures.front().Code, true, 1.0, 0, margins), 0,
                   "ChangeOrder " + client.code + " of no contracts");
            CompareWritten(c, margins);
        }
    }
    void ReadInstruments()
    {
        Tell("read the instruments back");
        const std::string differences = DifferencesReadBack(Calc(), m_plain.Market());
        if (!differences.empty()) throw Differs("read back: " + differences);
    }

    void OfferNonsense(const Step& step, std::size_t client)
    {
        const std::string& code = Participants().clients[client].code;
        const std::string futures = m_plain.Market().futures.front().Code;
        const double nan = std::numeric_limits<double>::quiet_NaN();
        calls::Margins margins;
        const auto refused = [&](std::int32_t result, std::int32_t expected, const std::string& name) {
            Tell(name + " is refused");
            Expect(result, expected, name);
            if (margins != calls::Margins()) throw Differs(name + " has written figures");
        };
        switch (step.seed % 10) {
        case 0:
            return refused(SetHolding(Calc(), "ZZ99001", futures, {1, 1.0}, margins), 94312, "SetPosition ZZ99001");
        case 1:
            return refused(SetHolding(Calc(), code, "NOTHING", {1, 1.0}, margins), 94813, "SetPosition NOTHING");
        case 2:
            return refused(PlaceOrder(Calc(), code, futures, true, nan, 1, margins), 2, "ChangeOrder at no number");
        case 3:
            return refused(PlaceOrder(Calc(), code, futures, false, 1e12, 1, margins), 14, "ChangeOrder at 1e12");
        case 4:
            return refused(RegisterPart(Calc(), code.c_str(), 0, 0, 0.5, 4, 4, 1.0, 1.0, 0, 0), 94717,
                           "RegisterPart of a known client");
        case 5:
            return refused(RegisterPart(Calc(), "ZZ99001", 0, 0, 0.5, 4, 4, 1.0, 1.0, 0, 0), 94720,
                           "RegisterPart below no firm");
        case 6:
            return refused(GetInstrumentParameters(Calc(), nullptr), 94995, "GetInstrumentParameters");
        case 7:
            return refused(ChangePart(Calc(), code.c_str(), 0, 0, 100.0), 14, "ChangePart with a weight of 100");
        case 8:
            return refused(SetPosition(Calc(), code.c_str(), futures.c_str(), 1, 1.0, nullptr, &margins.delivery,
                                       &margins.part, &margins.firm, &margins.account, QUINDAL_ACCOUNT_HIERARCHY_CLIENT,
                                       0),
                           94811, "SetPosition with a null pointer");
        default:
            return refused(InitQuindalIM("", "", ""), 94809, "InitQuindalIM of a library that runs");
        }
    }

    // ---- The market -------------------------------------------------------------------------------------------------

    [[nodiscard]] kv7im::InstrumentsRepository& Instruments() const
    {
        return QuindalIM::GetInstrumentsRepositoryForQuindalIM();
    }
    /// Into the market that counts, and into the one that is being made of it.
    void AddToMarkets(const std::function<void(plain::Market&)>& add)
    {
        m_plain.AddToMarket(add);
        if (m_opened) add(*m_opened);
    }

    template <class Call>
    void Insert(const Step& step, const std::string& name, const Call& call)
    {
        calls::Margins none;
        const bool mayFail = m_day.habits.failuresUnderNetting;
        const std::int32_t result =
            Make(step, name, mayFail, SomethingUnforeseen, none, [&](calls::Margins&) { return call(); });
        Expect(result, 0, name);
    }
    void InsertOptions(const Step& step)
    {
        if (step.seed % 3 != 0) {
            if (const auto option = DrawOption(step.seed, m_plain.Market())) InsertOne(step, *option);
            return;
        }
        auto drawn = DrawSeries(step.seed, m_plain.Market());
        if (!drawn) return;
        Insert(step, "InsertOptionSeries " + drawn->series.Code,
               [&] { return quindal::test::details::Insert(Calc(), drawn->series); });
        AddToMarkets([&](plain::Market& market) { market.series.push_back(drawn->series); });
        InsertOne(step, drawn->option);
    }
    void InsertOne(const Step& step, OptionSample option)
    {
        Insert(step, "InsertOption " + option.Code, [&] { return quindal::test::details::Insert(Calc(), option); });
        option.Isin = m_host.IsinOf(option.Code);
        AddToMarkets([&](plain::Market& market) { market.options.push_back(option); });
    }
    void InsertOneFutures(const Step& step)
    {
        FuturesSample futures = DrawFutures(step.seed, m_plain.Market());
        Insert(step, "InsertFutures " + futures.Code,
               [&] { return quindal::test::details::Insert(Calc(), futures, ""); });
        futures.Isin = m_host.IsinOf(futures.Code);
        AddToMarkets([&](plain::Market& market) { market.futures.push_back(futures); });
    }

    /// Nothing shows before the changes are committed.
    void ChangeMarket(const Step& step)
    {
        Tell("instruments change, drawn by " + std::to_string(step.seed));
        if (!m_opened) m_opened = m_plain.Market();
        Instruments().AdoptNewcomers(); // what has come to an open family cannot change before
        const SeededDraws draws(step.seed);
        random_changes::Day(Instruments(), *m_opened).ChangeSome();
    }
    /// A call of the inside that may be repeated after it has failed for memory: by a code, or by what it throws.
    template <class Call>
    void Repeat(const Step& step, const std::string& name, const Call& call)
    {
        if (step.memory != Step::Plenty && m_day.habits.failuresUnderLosses) {
            try {
                if (WithLittleMemory(step, call) == 0) return;
            } catch (const std::exception&) { // repeated like one that gives a code
            }
            ++m_tally.failures;
            Tell("  fails for memory: " + name);
        }
        Expect(call(), 0, name);
    }
    void CommitMarket(const Step& step)
    {
        if (!m_opened) return;
        const bool settles = step.seed % 2 == 0;
        Tell(settles ? "the changes are committed, positions are settled" : "the changes are committed");
        Repeat(step, "UpdateComplete", [&] { return static_cast<std::int32_t>(Instruments().UpdateComplete()); });
        std::set<Isin> open;
        for (const kv7im::FuturesNode& node : Instruments().RangeFuturesByIsin())
            if (node.GetStatus() == kv7im::Status::WasChanged) open.insert(node.GetIsin());
        Repeat(step, "RecalcChangedInstruments", [&] {
            return static_cast<std::int32_t>(margin_orchestrator::RecalcChangedInstruments(
                QuindalIM::GetParticipantRepositoryForQuindaIM(), Instruments(), settles));
        });
        m_plain.ChangeMarket(*m_opened, open, settles);
        m_opened.reset();
    }

    // ---- The link and the lives of the library ----------------------------------------------------------------------

    void JumpClock(const Step& step)
    {
        constexpr std::int64_t jumps[] = {21'000, -21'000, 19'900, 100'000'000, -100'000'000, 1};
        const std::int64_t jump = jumps[step.seed % std::size(jumps)];
        Tell("the clock moves by " + std::to_string(jump) + " ms");
        Host::MoveClock(jump);
        ReadFigures();
    }
    /// Once a server has not answered, there is no link until the library is started anew.
    void LoseLink(const Step& step, std::size_t client)
    {
        Tell("the server does not answer, and the library is started anew");
        Host::SetServerAnswers(false);
        Host::MoveClock(21'000);
        ExpectNoLink(step, client);
        Host::SetServerAnswers(true);
        ExpectNoLink(step, client);
        CompareAll();
        m_host.Restart();
    }
    void ExpectNoLink(const Step& step, std::size_t client)
    {
        const std::string& code = Participants().clients[client].code;
        const Tradable instrument = Held(step);
        calls::Margins margins;
        Expect(SetHolding(Calc(), code, instrument.code, HoldingOf(instrument, step), margins), NotConnected,
               "SetPosition without a link");
        Expect(PlaceOrder(Calc(), code, instrument.code, true, 1.0, 5, margins), NotConnected,
               "ChangeOrder without a link");
        if (margins != calls::Margins()) throw Differs("figures are written without a link");
    }
    void Restart(const Step& step, std::size_t client)
    {
        Tell("DeInitQuindalIM and InitQuindalIM");
        Require(DeInitQuindalIM(), "DeInitQuindalIM");
        Expect(DeInitQuindalIM(), 94821, "a second DeInitQuindalIM");
        ExpectNoLink(step, client);
        m_host.StartAgain();
    }

    void Register(const Step& step)
    {
        const bool mayFail = step.memory != Step::Plenty && m_day.habits.failuresUnderNetting;
        m_host.Register(m_plain.Participants(), [&](const std::string& name, const auto& call) {
            return mayFail ? MakeTwice(step, name, SomethingUnforeseen, call, [] {}) : call();
        });
    }
    void ClearAllParts(const Step& step)
    {
        Tell("ClearParts, and a tree drawn by " + std::to_string(step.seed));
        Require(ClearParts(Calc()), "ClearParts");
        m_plain.ChangeTree(DrawTree(step.seed, m_plain.Market()));
        Register(step);
    }
    void EnterAnotherMarket(const Step& step, bool newLife)
    {
        const bool byDownload = step.seed % 3 != 0;
        Tell(std::string(newLife ? "a new calculator" : "ClearAll") + ", a market and a tree drawn by " +
             std::to_string(step.seed) + (byDownload ? ", downloaded" : ", inserted"));
        m_opened.reset();
        if (newLife)
            m_host.BeginNewLife();
        else
            Require(ClearAll(Calc()), "ClearAll");
        if (step.seed % 5 == 0) {
            Expect(m_host.DownloadSomethingBroken(), SomethingUnforeseen, "a download that breaks off");
            Require(ClearAll(Calc()), "ClearAll");
        }
        plain::Market market = DrawMarket(step.seed, {m_day.wideGrids, byDownload});
        m_host.Enter(market, byDownload, step.seed % 2 == 0);
        m_plain.ChangeTree({});
        m_plain.ChangeMarket(market, {}, false);
        m_plain.ChangeTree(DrawTree(step.seed, market));
        Register(step);
    }

    /// A price that is no number or a quantity beyond all measure, then what was held before.
    void TryWildPosition(const Step& step, std::size_t client)
    {
        constexpr double prices[] = {std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity(),
                                     1e300};
        if (Cancellable(client).size() != m_plain.OpenOrders(client).size())
            return; // its spreads would be entered anew
        const Tradable instrument = Held(step);
        const std::string& code = Participants().clients[client].code;
        plain::Holding wild = HoldingOf(instrument, step);
        wild.quantity = 1 + std::abs(wild.quantity);
        if (step.seed % 4 == 3)
            wild.quantity = 1'000'000'000'000;
        else
            wild.price = prices[step.seed % 4];
        Tell(NameOfCall("SetPosition", code, instrument, wild.quantity, wild.price));
        calls::Margins ignored;
        Expect(SetHolding(Calc(), code, instrument.code, wild, ignored), 0, "a wild SetPosition");
        // Setting the position right takes the book anew, unless the number was not as wild as that. It does not fail:
        // the plain model knows nothing of what stands before it.
        Step plenty = step;
        plenty.memory = Step::Plenty;
        if (IsSuspect(client)) m_plain.TakeAnew(client);
        SetOfClient(plenty, client, instrument, m_plain.HeldBy(client, instrument.isin));
        if (IsSuspect(client)) throw Differs(code + " still remembers the wild number");
    }
    [[nodiscard]] bool IsSuspect(std::size_t client) const
    {
        return QuindalIM::GetParticipantRepositoryForQuindaIM()
            .GetClient(ClientCode::Parse(Participants().clients[client].code))
            .GetPortfolio()
            .IsSuspect();
    }

    const Day& m_day;
    Tally& m_tally;
    std::vector<std::string>* m_story;
    Host m_host;
    std::array<std::unique_ptr<TurnTaker>, 2> m_threads; // of a day with two; they end before the library does
    PlainTree m_plain;
    std::optional<plain::Market> m_opened; // what the market becomes when the open transaction is committed
};

std::optional<Finding> PlayDay(const Day& day, Tally& tally, const Distortion& distortion,
                               std::vector<std::string>* story)
{
    std::size_t at = 0;
    try {
        Player player(day, tally, distortion, story);
        for (; at < day.steps.size(); ++at) {
            if (story != nullptr) story->push_back(TextOf(day.steps[at]));
            player.PlayStep(day.steps[at]);
        }
    } catch (const std::exception& failure) {
        return Finding{at, failure.what()};
    } catch (const rc::detail::CaseResult& refused) {
        return Finding{at, "a change of the market is refused: " + refused.description};
    }
    return std::nullopt;
}

} // namespace

std::uint64_t Tally::Steps() const { return std::accumulate(steps.begin(), steps.end(), std::uint64_t{0}); }

Tally& Tally::operator+=(const Tally& other)
{
    for (std::size_t i = 0; i < steps.size(); ++i)
        steps[i] += other.steps[i];
    comparisons += other.comparisons;
    failures += other.failures;
    return *this;
}

std::optional<Finding> Play(const Day& day, Tally& tally, const Distortion& distortion)
{
    return PlayDay(day, tally, distortion, nullptr);
}

std::optional<Finding> Play(const Day& day, Tally& tally, const Distortion& distortion, std::vector<std::string>& story)
{
    return PlayDay(day, tally, distortion, &story);
}

} // namespace simulation
