// OrderDesk: one firm's order manager with its dictionaries, told what happens in words, and the deltas of each event
// in words again.
//
// The desk follows one order. Prices and quantities are whole numbers:
//   buy 10 100 | sell 10 100       sends an order for 10 at 100
//   taken 7001 | refused           the exchange takes it as number 7001, or refuses it
//   cancel 4   | trade 4           4 contracts withdrawn, or traded
//   move leave 105                 asks for the price 105
//   move change 105 6              and for the quantity 6; also check and total (newQuantity counts what has traded)
//   moved 7002 | stays             the exchange makes the move under number 7002, or refuses it
// An answer goes to the latest local number, every other event to the latest number of the exchange.
#pragma once

#include <cstdint>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include "OrderManager.h"

namespace desk {

// The instruments of the desk.
inline constexpr std::int32_t Plain = 1;
inline constexpr std::int32_t Reverse = 2; // buyers want it dear
inline constexpr std::int32_t Spread = 3;
inline constexpr std::int32_t WithoutMode = 4; // its trade mode is nobody's

inline constexpr Isin FirstIsin = 100; // an instrument's isin is this and its id

/// The dictionaries, open while it lives.
struct Dictionaries
{
    Dictionaries()
    {
        using Type = KeyPriceType::Type;
        const Z9ERR code = COrderManager::Init({{Plain, FirstIsin + Plain, 1, false, Type::Ordinal},
                                                {Reverse, FirstIsin + Reverse, 1, true, Type::Ordinal},
                                                {Spread, FirstIsin + Spread, 1, false, Type::MultiLeg},
                                                {WithoutMode, FirstIsin + WithoutMode, 2, false, Type::Ordinal}},
                                               {{1, Enums::TradeModeStatus::Open, Enums::AuctionType::None}});
        if (code != 0) throw std::runtime_error("the dictionaries are refused with code " + std::to_string(code));
    }
    ~Dictionaries() { COrderManager::ClearDictionaries(); }
    Dictionaries(const Dictionaries&) = delete;
    Dictionaries& operator=(const Dictionaries&) = delete;
};

inline std::string At(std::int64_t quantity, t_bprice_int price)
{
    return std::to_string(quantity) + "@" + std::to_string(price.AsInt64());
}

/// "+10@100 -3@105", by the order in the list.
inline std::string Words(const DeltaOrderList& deltas)
{
    std::string words;
    for (const SClearingDeltaOrder& delta : deltas) {
        const std::int64_t quantity = delta.orderInfo.deltaQuantity;
        words += (words.empty() ? "" : " ") + std::string(quantity > 0 ? "+" : "") +
                 At(quantity, delta.CalculatedPrice.calculatedPrice);
    }
    return words;
}

/// "8@100 of 10": what stands, and what that is the rest of. A moving order says what stands at either price, and what
/// is left of it if the move is refused, or made.
inline std::string Words(const COrderManager::SOrder* order)
{
    if (order == nullptr) return "gone";
    const std::string stands = At(order->curQuantity, order->price);
    const std::string whole = " of " + std::to_string(order->orgQuantity);
    if (!order->isMoving) return stands + whole;
    return stands + " " + At(order->newQuantity, order->newPrice) + " then " + std::to_string(order->quantity) +
           " or " + std::to_string(order->movedQuantity) + whole;
}

/// What stands by the deltas of a life, at each price and side; nothing for what came back to 0.
using Sums = std::map<std::pair<std::int64_t, bool>, std::int64_t>;

inline void Add(Sums& sums, t_bprice_int price, bool isBuying, std::int64_t quantity)
{
    if ((sums[{price.AsPlain(), isBuying}] += quantity) == 0) sums.erase({price.AsPlain(), isBuying});
}

inline void Add(Sums& sums, const DeltaOrderList& deltas)
{
    for (const SClearingDeltaOrder& delta : deltas)
        Add(sums, delta.CalculatedPrice.calculatedPrice, delta.isBuying, delta.orderInfo.deltaQuantity);
}

inline void Add(Sums& sums, const COrderManager::SOrder& order)
{
    Add(sums, order.price, order.isBuying, order.curQuantity);
    Add(sums, order.newPrice, order.isBuying, order.newQuantity);
}

/// What stands by the tables.
inline Sums StandingIn(const COrderManager& manager)
{
    Sums sums;
    for (const auto& orders : {manager.GetOrdersLsSnapshot(), manager.GetOrdersNmSnapshot()})
        for (const COrderManager::SOrder& order : orders)
            Add(sums, order);
    return sums;
}

inline Enums::MoveOrderMode ModeOf(const std::string& word)
{
    using enum Enums::MoveOrderMode;
    if (word == "leave") return LeaveQuantities;
    if (word == "change") return ChangeQuantities;
    if (word == "check") return CheckQuantities;
    if (word == "total") return ChangeQuantitiesWOMatched;
    throw std::invalid_argument(word);
}

class OrderDesk
{
public:
    explicit OrderDesk(std::int32_t instrument = Plain) : m_instrument(instrument) {}

    /// Tells the manager of an event; its deltas are added to the list.
    Z9ERR Tell(const std::string& event, DeltaOrderList& deltas)
    {
        std::istringstream words(event);
        std::string word;
        words >> word;
        if (word == "buy" || word == "sell") return Send(word == "buy" ? 1 : -1, words, deltas);
        if (word == "move") return Move(words, deltas);
        if (word == "refused") return manager.RejectAdd(ls, deltas);
        if (word == "stays") return manager.RejectMove(nm, ls, deltas);
        std::int64_t number = 0;
        words >> number;
        if (word == "taken") return Renumber(manager.ConfirmAdd(ls, number), number);
        if (word == "moved") return Renumber(manager.ConfirmMove(nm, ls, number, deltas), number);
        if (word == "cancel") return manager.CancelOrder(nm, number, deltas, &state);
        if (word == "trade") return manager.ExecOrder(nm, number, deltas, &state);
        throw std::invalid_argument(event);
    }

    /// The order where it stands; null when it is gone.
    [[nodiscard]] const COrderManager::SOrder* Order() const
    {
        const COrderManager::SOrder* const confirmed = manager.findOrderByNm(nm);
        return confirmed != nullptr ? confirmed : manager.findOrderByLS(ls);
    }

    COrderManager manager;
    t_id ls = 0; // of the order, then of its latest move
    t_id nm = 0;
    COrderManager::SOrder state; // as the latest cancellation, trade or move gave it

private:
    Z9ERR Send(int side, std::istream& words, DeltaOrderList& deltas)
    {
        std::int64_t quantity = 0;
        std::int64_t price = 0;
        words >> quantity >> price;
        return manager.AddOrder(m_instrument, t_bprice_int(price), {}, quantity, side * quantity, ls, deltas, "AA01001",
                                COrderManager::OrderFlags::System);
    }
    Z9ERR Move(std::istream& words, DeltaOrderList& deltas)
    {
        std::string mode;
        std::int64_t price = 0;
        std::int64_t quantity = 0;
        words >> mode >> price >> quantity;
        return manager.MoveOrder(nm, ModeOf(mode), t_bprice_int(price), quantity, ls, deltas, &state);
    }
    Z9ERR Renumber(Z9ERR code, t_id number)
    {
        if (code == 0) nm = number;
        return code;
    }

    std::int32_t m_instrument;
};

} // namespace desk
