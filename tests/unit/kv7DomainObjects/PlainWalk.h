// PlainWalk: an account tree that is changed at random, and plain loops over all that it holds, which every level has
// to agree with.
//
// The loops know nothing of increments: they add up what each position and each open order gains or loses at the three
// prices of HandMarket.h, entity by entity. An order counts with its losses only.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "MarginOrchestrator.h"
#include "OptionTree.h"

namespace plain_walk {

using Cells = std::array<double, 3>; // at 700, 800 and 900
inline constexpr Cells Prices{700.0, 800.0, 900.0};

/// What nets together: a group of futures in spread, a futures alone with its series in spread, or a series alone.
enum Entity
{
    Group,
    FuturesAlone,
    SeriesAlone,
    DeliverableSeries,
    EntityCount
};

struct Instrument
{
    ::Isin Isin;
    Entity entity;
    char kind; // f, c, p
    double strike;
    bool lossesOnly; // of a series that enforces half netting
};

// Besides the instruments of OptionTree: a series of its own on SpreadFutures, and one on FUT that enforces half
// netting.
inline const std::vector<Instrument> Instruments = {
    {SpreadFutures, Group, 'f', 0.0, false},
    {Call850, Group, 'c', 850.0, false},
    {PremiumPut850, Group, 'p', 850.0, false},
    {FUT, FuturesAlone, 'f', 0.0, false},
    {21, FuturesAlone, 'c', 775.0, true},
    {22, FuturesAlone, 'p', 825.0, true},
    {31, SeriesAlone, 'c', 725.0, false},
    {32, SeriesAlone, 'p', 775.0, false},
    {Call825, DeliverableSeries, 'c', 825.0, false},
    {42, DeliverableSeries, 'p', 775.0, false},
};

/// A spread that sells one SpreadFutures and buys two FUT. FUT stands alone, so its orders are margined leg by leg: the
/// first leg at its settlement price, the second at that plus the price of the spread.
inline constexpr Isin Spread = 90;

struct Lot
{
    double quantity; // contracts; of a position short below 0
    double price;
};

/// Open orders of one instrument, each a purchase (+1.0) or a sale (-1.0).
struct Order
{
    double side;
    Lot lot;
};

struct Holding
{
    Lot position{0.0, 0.0};
    std::vector<Order> orders;

    /// What is gained or lost where one contract is worth so much.
    [[nodiscard]] double ResultAt(double worth) const
    {
        double result = position.quantity * (worth - position.price);
        for (const Order& order : orders)
            result += order.lot.quantity * std::min(order.side * (worth - order.lot.price), 0.0);
        return result;
    }
};
using Book = std::map<Isin, Holding>;

inline double Worth(const Instrument& instrument, double price)
{
    if (instrument.kind == 'f') return price;
    return std::max(instrument.kind == 'c' ? price - instrument.strike : instrument.strike - price, 0.0);
}

/// Outcome of an option at a price near a delivery: exercised by the price of the delivery, not by its own.
inline double Outcome(const Instrument& option, double delivery, double price)
{
    if (option.kind == 'c') return delivery > option.strike ? price - option.strike : 0.0;
    return option.strike > delivery ? option.strike - price : 0.0;
}

/// Result of an entity by price; of the series that enforce half netting only the losses come in, at each price.
inline Cells ResultOf(const Book& book, Entity entity)
{
    Cells whole{};
    Cells losses{};
    for (const Instrument& instrument : Instruments) {
        const auto found = book.find(instrument.Isin);
        if (instrument.entity != entity || found == book.end()) continue;
        Cells& cells = instrument.lossesOnly ? losses : whole;
        for (std::size_t i = 0; i < cells.size(); ++i)
            cells[i] += found->second.ResultAt(Worth(instrument, Prices[i]));
    }
    for (std::size_t i = 0; i < whole.size(); ++i)
        whole[i] += std::min(losses[i], 0.0);
    return whole;
}

/// The worse of the result by price and of every delivery within 50 of the price.
inline Cells ResultWithDeliveries(const Book& book, Entity entity)
{
    Cells worst = ResultOf(book, entity);
    if (entity != DeliverableSeries) return worst;
    for (const double delivery : {750.0, 800.0, 850.0}) {
        for (std::size_t i = 0; i < worst.size(); ++i) {
            if (std::abs(Prices[i] - delivery) > 50.0) continue;
            double result = 0.0;
            for (const Instrument& instrument : Instruments) {
                const auto found = book.find(instrument.Isin);
                if (instrument.entity == entity && found != book.end())
                    result += found->second.ResultAt(Outcome(instrument, delivery, Prices[i]));
            }
            worst[i] = std::min(worst[i], result);
        }
    }
    return worst;
}

/// Losses of some books, added price by price; the worst price of every entity.
inline double Margin(const std::vector<const Book*>& books, Cells (*resultOf)(const Book&, Entity))
{
    double margin = 0.0;
    for (int entity = 0; entity < EntityCount; ++entity) {
        Cells losses{};
        for (const Book* const book : books) {
            const Cells result = resultOf(*book, static_cast<Entity>(entity));
            for (std::size_t i = 0; i < losses.size(); ++i)
                losses[i] += std::min(result[i], 0.0);
        }
        margin -= std::min({losses[0], losses[1], losses[2]});
    }
    return margin;
}

/// Two firms of two clients each, on one account. The clients weigh both margins alike, the firms take the one with
/// deliveries.
class Walk : public OptionTree
{
public:
    Walk(Enums::MarginRule firmRule, Enums::MarginRule accountRule)
        : account(AddAccount("ID1", accountRule)), ruleOfFirms(firmRule)
    {
        kv7im::OptionSeriesParameters lossesOnly = InSpread(HandSeries("LOSS"));
        lossesOnly.EnforceHalfNetting = true;
        Check(instruments.InsertVirtFutures(lossesOnly));
        Check(instruments.InsertVirtFutures(HandSeries("ALONE", "FUT2")));
        AddOption("LOSS", 21, Enums::OptionType::Call, 775.0);
        AddOption("LOSS", 22, Enums::OptionType::Put, 825.0);
        AddOption("ALONE", 31, Enums::OptionType::Call, 725.0);
        AddOption("ALONE", 32, Enums::OptionType::Put, 775.0);
        AddOption("DEL", 42, Enums::OptionType::Put, 775.0);
        Check(instruments.InsertMultileg(Spread, SpreadFutures, -1, 1));
        Check(instruments.InsertMultileg(Spread, FUT, 2, 2));
        for (const std::string code : {"AA01", "AA02"}) {
            BraskBroker& firm = AddFirm(code, firmRule, account, 1.0);
            firms.push_back(&firm);
            for (const char* const client : {"001", "002"})
                clients.push_back(&AddClient(firm, code + client, 0.5, 1));
        }
        books.resize(clients.size());
        firmBooks.resize(firms.size());
    }

    /// Sets a position of a client.
    void SetPosition(std::mt19937& random)
    {
        const std::size_t client = random() % clients.size();
        const Instrument& instrument = AnyInstrument(random);
        const Lot lot = AnyPosition(random, instrument);
        ASSERT_EQ(
            margin_orchestrator::SetPositionClient(*clients[client], instrument.Isin, Contracts(lot), lot.price, 0),
            0U);
        books[client][instrument.Isin].position = lot;
    }

    /// Sets a position of a firm or of the account by a record of its own, which counts under Netting only.
    void SetOwnRecord(std::mt19937& random)
    {
        const std::size_t level = random() % (firms.size() + 1);
        const Instrument& instrument = AnyInstrument(random);
        const Lot lot = AnyPosition(random, instrument);
        if (level == firms.size()) {
            ASSERT_EQ(margin_orchestrator::SetPositionSettlementAccount(*account, instrument.Isin, Contracts(lot),
                                                                        lot.price, 0),
                      0U);
            accountBook[instrument.Isin].position = lot;
        } else {
            ASSERT_EQ(
                margin_orchestrator::SetPositionBroker(*firms[level], instrument.Isin, Contracts(lot), lot.price, 0),
                0U);
            firmBooks[level][instrument.Isin].position = lot;
        }
    }

    /// Places an order of a client, or cancels one, whole.
    void ChangeOrder(std::mt19937& random)
    {
        if (!open.empty() && random() % 3 == 0) {
            const std::size_t which = random() % open.size();
            ASSERT_NO_FATAL_FAILURE(Send(open[which], -1));
            open.erase(open.begin() + static_cast<std::ptrdiff_t>(which));
        } else {
            open.push_back(AnyOrder(random));
            ASSERT_NO_FATAL_FAILURE(Send(open.back(), 1));
        }
    }
    void CancelAll()
    {
        for (const OpenOrder& order : open)
            ASSERT_NO_FATAL_FAILURE(Send(order, -1));
        open.clear();
    }

    /// Every level against the plain loops.
    void Compare() const
    {
        std::vector<Book> withOrders = books;
        std::vector<Book> firmsOwn = firmBooks;
        Book accountsOwn = accountBook;
        for (const OpenOrder& order : open)
            for (Book* const book : {&withOrders[order.client], &firmsOwn[order.client / 2], &accountsOwn})
                AddTo(*book, order);

        std::vector<const Book*> all;
        double firmsTogether = 0.0;
        for (std::size_t f = 0; f < firms.size(); ++f) {
            const Book& one = withOrders[2 * f];
            const Book& other = withOrders[2 * f + 1];
            all.insert(all.end(), {&one, &other});
            for (std::size_t c = 2 * f; c < 2 * f + 2; ++c)
                ASSERT_NEAR(clients[c]->GetInitialMargin(),
                            0.5 * Margin({&withOrders[c]}, ResultOf) +
                                0.5 * Margin({&withOrders[c]}, ResultWithDeliveries),
                            1e-9);
            const double plain = PlainOfFirm({&one, &other}, firmsOwn[f]);
            ASSERT_NEAR(firms[f]->GetInitialMargin(), plain, 1e-9);
            firmsTogether += plain;
        }
        ASSERT_NEAR(account->GetInitialMargin(), PlainOfAccount(all, accountsOwn, firmsTogether), 1e-9);
    }

    BraskSettlementAccountPtr account;
    Enums::MarginRule ruleOfFirms;
    std::vector<BraskBroker*> firms;
    std::vector<BraskClient*> clients; // two of each firm
    std::vector<Book> books;           // positions of the clients
    std::vector<Book> firmBooks;       // positions by the firms' own records
    Book accountBook;

private:
    struct OpenOrder
    {
        std::size_t client;
        ::Isin Isin;
        bool isBuying;
        double price;
        std::int64_t quantity;
    };

    static std::int64_t Contracts(const Lot& lot) { return static_cast<std::int64_t>(lot.quantity); }
    static const Instrument& AnyInstrument(std::mt19937& random) { return Instruments[random() % Instruments.size()]; }
    static Lot AnyPosition(std::mt19937& random, const Instrument& instrument)
    {
        return {static_cast<double>(random() % 11) - 5.0, instrument.kind == 'f'
                                                              ? 720.0 + static_cast<double>(random() % 161)
                                                              : static_cast<double>(random() % 120)};
    }

    OpenOrder AnyOrder(std::mt19937& random) const
    {
        OpenOrder order{random() % clients.size(), Spread, random() % 2 == 0, static_cast<double>(random() % 41) - 20.0,
                        static_cast<std::int64_t>(1 + random() % 5)};
        if (random() % 4 == 0) return order;
        const Instrument& instrument = AnyInstrument(random);
        order.Isin = instrument.Isin;
        order.price = AnyPosition(random, instrument).price;
        return order;
    }

    void Send(const OpenOrder& order, std::int64_t sign) const
    {
        const auto send = order.isBuying ? Buy : Sell;
        ASSERT_EQ(send(*clients[order.client], order.Isin, order.price, sign * order.quantity), 0U);
    }

    static void AddTo(Book& book, const OpenOrder& order)
    {
        const double side = order.isBuying ? 1.0 : -1.0;
        const auto quantity = static_cast<double>(order.quantity);
        if (order.Isin != Spread) {
            book[order.Isin].orders.push_back({side, {quantity, order.price}});
            return;
        }
        book[SpreadFutures].orders.push_back({-side, {quantity, 800.0}});
        book[FUT].orders.push_back({side, {2.0 * quantity, 800.0 + order.price}});
    }

    [[nodiscard]] double PlainOfFirm(const std::vector<const Book*>& ofClients, const Book& own) const
    {
        if (ruleOfFirms == Enums::MarginRule::Netting) return Margin({&own}, ResultWithDeliveries);
        const bool takesLosses =
            ruleOfFirms == Enums::MarginRule::HalfNetting || account->GetMarginRule() == Enums::MarginRule::HalfNetting;
        return takesLosses ? Margin(ofClients, ResultWithDeliveries) : 0.0;
    }
    [[nodiscard]] double PlainOfAccount(const std::vector<const Book*>& all, const Book& own,
                                        double firmsTogether) const
    {
        switch (account->GetMarginRule()) {
        case Enums::MarginRule::Netting:
            return Margin({&own}, ResultWithDeliveries);
        case Enums::MarginRule::HalfNetting:
            return Margin(all, ResultWithDeliveries);
        default:
            return firmsTogether;
        }
    }

    std::vector<OpenOrder> open;
};

/// Runs a story on a fresh tree at every pair of rules, with a few seeds.
template <class Story>
void AtEveryPairOfRules(const Story& story)
{
    using Enums::MarginRule;
    for (const MarginRule firmRule : {MarginRule::Gross, MarginRule::HalfNetting, MarginRule::Netting}) {
        for (const MarginRule accountRule : {MarginRule::Gross, MarginRule::HalfNetting, MarginRule::Netting}) {
            for (unsigned seed = 1; seed <= 3; ++seed) {
                SCOPED_TRACE("firm " + std::to_string(static_cast<int>(firmRule)) + ", account " +
                             std::to_string(static_cast<int>(accountRule)) + ", seed " + std::to_string(seed));
                std::mt19937 random(seed);
                Walk walk(firmRule, accountRule);
                ASSERT_NO_FATAL_FAILURE(story(walk, random));
            }
        }
    }
}

} // namespace plain_walk
