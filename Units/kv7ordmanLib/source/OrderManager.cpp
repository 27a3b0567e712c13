#include "OrderManager.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

namespace {

using SOrder = COrderManager::SOrder;

const SOrder* Find(const COrderManager::COrderList& orders, t_id number) noexcept
{
    const auto found = orders.find(COrderManager::SOrderKey{number});
    return found == orders.end() ? nullptr : found->second.get();
}

std::vector<SOrder> Snapshot(const COrderManager::COrderList& orders)
{
    std::vector<std::pair<t_id, const SOrder*>> sorted;
    sorted.reserve(orders.size());
    for (const auto& [key, order] : orders)
        sorted.emplace_back(key.ordNum, order.get());
    std::sort(sorted.begin(), sorted.end());

    std::vector<SOrder> copies;
    copies.reserve(sorted.size());
    for (const auto& entry : sorted)
        copies.push_back(*entry.second);
    return copies;
}

// Makes room in the table, so that entering one more order needs no memory.
void MakeRoomForOne(COrderManager::COrderList& orders)
{
    if (orders.size() + 1 >= orders.bucket_count()) orders.reserve(2 * (orders.size() + 1));
}

void MoveBetweenTables(COrderManager::COrderList& from, COrderManager::COrderList::iterator entry,
                       COrderManager::COrderList& to, t_id number)
{
    auto node = from.extract(entry);
    node.key().ordNum = number;
    to.insert(std::move(node));
}

KeyPriceType KeyAt(const SOrder& order, t_bprice_int price) noexcept
{
    return {price, order.isBuying ? KeyPriceType::Direction::Buy : KeyPriceType::Direction::Sell, order.instrType};
}

SClearingDeltaOrder* FindDelta(const SOrder& order, t_bprice_int price, DeltaOrderList& deltas) noexcept
{
    const auto found = std::find_if(
        deltas.begin(), deltas.end(), [&order, key = KeyAt(order, price)](const SClearingDeltaOrder& delta) {
            return delta.CalculatedPrice == key && delta.isBuying == order.isBuying && delta.isin == order.isinID;
        });
    return found == deltas.end() ? nullptr : &*found;
}

bool Fits(const SOrder& order, t_bprice_int price, std::int64_t deltaQuantity, DeltaOrderList& deltas) noexcept
{
    const SClearingDeltaOrder* const delta = FindDelta(order, price, deltas);
    std::int64_t sum = 0;
    return delta == nullptr || !__builtin_add_overflow(delta->orderInfo.deltaQuantity, deltaQuantity, &sum);
}

// The new record of a change that finds no record to be added to. An order in a spread names the spread.
SClearingDeltaOrder MakeDelta(const SOrder& order, t_bprice_int price, std::int64_t deltaQuantity) noexcept
{
    SClearingDeltaOrder delta;
    delta.CalculatedPrice = KeyAt(order, price);
    delta.instrumentID = order.instrumentID;
    delta.isin = order.isinID;
    delta.isSystem = order.isSystem;
    delta.isBuying = order.isBuying;
    delta.orderInfo = SOrderInfo(SOrderInfo::InitializationType::FullFill,
                                 order.instrType == KeyPriceType::Type::MultiLeg ? order.isinID : 0, deltaQuantity);
    return delta;
}

// Makes room for the two records of an event; grows as push_back would.
void MakeRoomForTwo(DeltaOrderList& deltas)
{
    if (deltas.capacity() - deltas.size() < 2) deltas.reserve(2 * deltas.size() + 2);
}

/// Contracts that an order has standing, or shall have: at its own price, and at the price that it moves to.
struct Standing
{
    std::int64_t atPrice;
    std::int64_t atNewPrice;

    [[nodiscard]] bool IsNothing() const noexcept { return atPrice == 0 && atNewPrice == 0; }
};

Standing StandingOf(const SOrder& order) noexcept { return {order.curQuantity, order.newQuantity}; }

// Reserve of an order that moves. Until the exchange answers, a move to a worse price is reserved there, a move to a
// better one where the order is; contracts beyond the present ones can only stand at the new price.
Standing ReserveOfMove(const SOrder& order, t_bprice_int newPrice, std::int64_t quantity,
                       std::int64_t movedQuantity) noexcept
{
    const std::int64_t larger = std::max(quantity, movedQuantity);
    return order.isPriceWorse(newPrice, order.isReverse) ? Standing{0, larger} : Standing{quantity, larger - quantity};
}

// Adds the changes of an event at either price to the list; the two changes or none. The quantities of a standing add
// up to 64 bits, so their changes do.
Z9ERR AddDeltas(const SOrder& order, t_bprice_int newPrice, Standing after, DeltaOrderList& deltas)
{
    const Standing before = StandingOf(order);
    struct Change
    {
        t_bprice_int price;
        std::int64_t quantity;
    };
    std::array<Change, 2> changes{Change{order.price, after.atPrice - before.atPrice},
                                  Change{newPrice, after.atNewPrice - before.atNewPrice}};
    if (newPrice == order.price) changes[0].quantity += std::exchange(changes[1].quantity, 0);

    for (const Change& change : changes)
        if (!Fits(order, change.price, change.quantity, deltas)) return Z9ERR_CHECK_ORDER_WRONG_QUANTITY;
    MakeRoomForTwo(deltas);
    for (const Change& change : changes)
        static_cast<void>(order.addDelta(change.price, change.quantity, deltas)); // found to fit, with room
    return Z9ERR_OK;
}

void Stand(SOrder& order, Standing standing) noexcept
{
    order.curQuantity = standing.atPrice;
    order.newQuantity = standing.atNewPrice;
}

void EndMove(SOrder& order) noexcept
{
    order.isMoving = false;
    order.lsOrderID = 0;
    order.newPrice = {};
    order.movedQuantity = 0;
}

std::int64_t TradedOf(const SOrder& order) noexcept { return order.orgQuantity - order.quantity; }

/// Contracts left of an order once its move is confirmed, or why the move is refused.
struct MovedQuantity
{
    Z9ERR code;
    std::int64_t quantity;
};

MovedQuantity QuantityAfterMove(const SOrder& order, Enums::MoveOrderMode mode, std::int64_t newQuantity) noexcept
{
    using enum Enums::MoveOrderMode;
    if (mode == LeaveQuantities) return {Z9ERR_OK, order.quantity};
    if (mode != ChangeQuantities && mode != CheckQuantities && mode != ChangeQuantitiesWOMatched)
        return {Z9ERR_COMMON_WRONG_ARGUMENTS, 0};
    if (newQuantity <= 0) return {Z9ERR_CHECK_ORDER_WRONG_QUANTITY, 0};
    if (mode == CheckQuantities && order.quantity < newQuantity) return {Z9ERR_CHECK_ORDER_WRONG_QUANTITY, 0};

    const std::int64_t left = mode == ChangeQuantitiesWOMatched ? newQuantity - TradedOf(order) : newQuantity;
    std::int64_t whole = 0;
    if (left <= 0 || __builtin_add_overflow(TradedOf(order), left, &whole))
        return {Z9ERR_CHECK_ORDER_WRONG_QUANTITY, 0};
    return {Z9ERR_OK, left};
}

void CopyClientCode(std::string_view text, t_code& code) noexcept { code[text.copy(code, sizeof code - 1)] = '\0'; }

void Show(const SOrder& order, SOrder* state) noexcept
{
    if (state != nullptr) *state = order;
}

} // namespace

bool COrderManager::SOrder::isPriceWorse(t_bprice_int otherPrice, bool reverse) const noexcept
{
    return isBuying != reverse ? otherPrice > price : otherPrice < price;
}

// Adds a change at a price. Whether the order is one to the market at large is ignored: the margin does not tell such
// orders apart.
Z9ERR COrderManager::SOrder::addDelta(t_bprice_int atPrice, std::int64_t deltaQuantity, DeltaOrderList& list) const
{
    if (deltaQuantity == 0) return Z9ERR_OK;
    if (!Fits(*this, atPrice, deltaQuantity, list)) return Z9ERR_CHECK_ORDER_WRONG_QUANTITY;
    if (SClearingDeltaOrder* const delta = FindDelta(*this, atPrice, list))
        delta->orderInfo.deltaQuantity += deltaQuantity;
    else
        list.push_back(MakeDelta(*this, atPrice, deltaQuantity));
    return Z9ERR_OK;
}

Z9ERR COrderManager::SOrder::addDelta(std::int64_t deltaQuantity, DeltaOrderList& list) const
{
    return addDelta(price, deltaQuantity, list);
}

COrderManager::COrderManager(std::size_t lsBuckets, std::size_t nmBuckets)
{
    m_orders.orders_ls.rehash(lsBuckets);
    m_orders.orders_nm.rehash(nmBuckets);
}

Z9ERR COrderManager::AddOrder(std::int32_t instrumentID, t_bprice_int price, t_bprice_int price1, std::int64_t quantity,
                              std::int64_t signedQuantity, t_id& lsOrderId, DeltaOrderList& deltas,
                              std::string_view clientCode, OrderFlags flags)
{
    const SInstrument* const instrument = FindInstrument(instrumentID);
    if (instrument == nullptr) return Z9ERR_INSTRUMENT_ABSENT;
    if (FindTradeMode(instrument->TradeModeID) == nullptr) return Z9ERR_CHECK_TRADEMODES_NOT_FOUND;
    if (signedQuantity == std::numeric_limits<std::int64_t>::min()) return Z9ERR_CHECK_ORDER_WRONG_QUANTITY;
    const std::int64_t placed = signedQuantity < 0 ? -signedQuantity : signedQuantity;
    if (quantity < 1 || quantity > placed) return Z9ERR_CHECK_ORDER_WRONG_QUANTITY;

    auto made = std::make_unique<SOrder>();
    SOrder& order = *made;
    CopyClientCode(clientCode, order.clientCode);
    order.price = price;
    order.price1 = price1;
    order.instrumentID = instrumentID;
    order.isinID = instrument->Isin;
    order.quantity = quantity;
    order.orgQuantity = placed;
    order.isSystem = flags == OrderFlags::System;
    order.isBuying = signedQuantity > 0;
    order.instrType = instrument->InstrType;
    order.isReverse = instrument->IsReverse;

    // A number that is drawn stays drawn, so it is the last thing done: the order waits for it under 0, nobody's
    // number unless somebody has restored an order under it.
    MakeRoomForTwo(deltas);
    if (!Fits(order, price, quantity, deltas)) return Z9ERR_CHECK_ORDER_WRONG_QUANTITY;
    const auto [entry, isNew] = m_orders.orders_ls.try_emplace(SOrderKey{0}, std::move(made));
    if (!isNew) return Z9ERR_COMMON_DUPLICATE;
    static_cast<void>(order.addDelta(quantity, deltas));
    order.curQuantity = quantity;
    lsOrderId = DrawFreeNumber(order);
    MoveBetweenTables(m_orders.orders_ls, entry, m_orders.orders_ls, lsOrderId);
    return Z9ERR_OK;
}

Z9ERR COrderManager::RejectAdd(t_id lsOrderId, DeltaOrderList& deltas)
{
    const auto entry = m_orders.orders_ls.find(SOrderKey{lsOrderId});
    if (entry == m_orders.orders_ls.end()) return Z9ERR_DEL_ORDER_NOT_EXIST;
    if (const Z9ERR code = entry->second->addDelta(-entry->second->curQuantity, deltas); code != Z9ERR_OK) return code;
    m_orders.orders_ls.erase(entry);
    return Z9ERR_OK;
}

Z9ERR COrderManager::ConfirmAdd(t_id lsOrderId, t_id ordNum)
{
    const auto entry = m_orders.orders_ls.find(SOrderKey{lsOrderId});
    if (entry == m_orders.orders_ls.end()) return Z9ERR_DEL_ORDER_NOT_EXIST;
    if (ordNum == 0) return Z9ERR_COMMON_WRONG_ARGUMENTS;
    if (findOrderByNm(ordNum) != nullptr) return Z9ERR_COMMON_DUPLICATE;

    MakeRoomForOne(m_orders.orders_nm);
    entry->second->ordnum = ordNum;
    entry->second->lsOrderID = 0;
    MoveBetweenTables(m_orders.orders_ls, entry, m_orders.orders_nm, ordNum);
    return Z9ERR_OK;
}

Z9ERR COrderManager::CancelOrder(t_id ordNum, std::int64_t quantity, DeltaOrderList& deltas, SOrder* state)
{
    const auto entry = m_orders.orders_nm.find(SOrderKey{ordNum});
    if (entry == m_orders.orders_nm.end()) return Z9ERR_DEL_ORDER_NOT_EXIST;
    Show(*entry->second, state);
    if (quantity < 1) return Z9ERR_CHECK_ORDER_WRONG_QUANTITY;
    return TakeOff(entry, quantity, false, deltas, state);
}

Z9ERR COrderManager::ExecOrder(t_id ordNum, std::int64_t quantity, DeltaOrderList& deltas, SOrder* state)
{
    const auto entry = m_orders.orders_nm.find(SOrderKey{ordNum});
    if (entry == m_orders.orders_nm.end()) return Z9ERR_DEL_ORDER_NOT_EXIST;
    const SOrder& order = *entry->second;
    Show(order, state);
    if (quantity < 1) return Z9ERR_CHECK_ORDER_WRONG_QUANTITY;
    if (quantity > order.curQuantity + order.newQuantity) return Z9ERR_OK;
    return TakeOff(entry, quantity, true, deltas, state);
}

// Takes contracts off an order. While it moves, a contract that is gone is one less whatever the exchange will answer.
Z9ERR COrderManager::TakeOff(COrderList::iterator entry, std::int64_t taken, bool traded, DeltaOrderList& deltas,
                             SOrder* state)
{
    constexpr std::int64_t nothing = 0;
    SOrder& order = *entry->second;
    const std::int64_t left = std::max(nothing, order.quantity - taken);
    const std::int64_t movedLeft = std::max(nothing, order.movedQuantity - taken);
    const Standing after = order.isMoving ? ReserveOfMove(order, order.newPrice, left, movedLeft) : Standing{left, 0};
    if (const Z9ERR code = AddDeltas(order, order.newPrice, after, deltas); code != Z9ERR_OK) return code;

    order.orgQuantity = TradedOf(order) + (traded ? taken : 0) + left;
    order.quantity = left;
    order.movedQuantity = movedLeft;
    Stand(order, after);
    Show(order, state);
    if (after.IsNothing()) m_orders.orders_nm.erase(entry);
    return Z9ERR_OK;
}

Z9ERR COrderManager::MoveOrder(t_id ordNum, Enums::MoveOrderMode mode, t_bprice_int newPrice, std::int64_t newQuantity,
                               t_id& lsOrderId, DeltaOrderList& deltas, SOrder* state)
{
    const auto entry = m_orders.orders_nm.find(SOrderKey{ordNum});
    if (entry == m_orders.orders_nm.end()) return Z9ERR_MOVE_ORDER_NOT_EXIST;
    SOrder& order = *entry->second;
    Show(order, state);
    if (order.isMoving) return Z9ERR_ORDER_IS_BEING_MOVED;
    const MovedQuantity moved = QuantityAfterMove(order, mode, newQuantity);
    if (moved.code != Z9ERR_OK) return moved.code;
    const Standing reserve = ReserveOfMove(order, newPrice, order.quantity, moved.quantity);
    if (const Z9ERR code = AddDeltas(order, newPrice, reserve, deltas); code != Z9ERR_OK) return code;

    order.isMoving = true;
    order.newPrice = newPrice;
    order.movedQuantity = moved.quantity;
    Stand(order, reserve);
    lsOrderId = DrawFreeNumber(order);
    Show(order, state);
    return Z9ERR_OK;
}

// The order under that number with that move. An answer to a move that is over must not close the move under way: its
// local number tells them apart.
COrderManager::COrderList::iterator COrderManager::FindMove(t_id ordNum, t_id lsOrderId) noexcept
{
    const auto entry = m_orders.orders_nm.find(SOrderKey{ordNum});
    const bool isUnderWay =
        entry != m_orders.orders_nm.end() && entry->second->isMoving && entry->second->lsOrderID == lsOrderId;
    return isUnderWay ? entry : m_orders.orders_nm.end();
}

Z9ERR COrderManager::RejectMove(t_id ordNum, t_id lsOrderId, DeltaOrderList& deltas)
{
    const auto entry = FindMove(ordNum, lsOrderId);
    if (entry == m_orders.orders_nm.end()) return Z9ERR_MOVE_ORDER_NOT_EXIST;
    SOrder& order = *entry->second;
    const Standing after{order.quantity, 0};
    if (const Z9ERR code = AddDeltas(order, order.newPrice, after, deltas); code != Z9ERR_OK) return code;

    Stand(order, after);
    EndMove(order);
    if (after.IsNothing()) m_orders.orders_nm.erase(entry);
    return Z9ERR_OK;
}

Z9ERR COrderManager::ConfirmMove(t_id ordNum, t_id lsOrderId, t_id newOrdNum, DeltaOrderList& deltas)
{
    const auto entry = FindMove(ordNum, lsOrderId);
    if (entry == m_orders.orders_nm.end()) return Z9ERR_MOVE_ORDER_NOT_EXIST;
    if (newOrdNum == 0) return Z9ERR_COMMON_WRONG_ARGUMENTS;
    if (newOrdNum != ordNum && findOrderByNm(newOrdNum) != nullptr) return Z9ERR_COMMON_DUPLICATE;
    SOrder& order = *entry->second;
    if (const Z9ERR code = AddDeltas(order, order.newPrice, {0, order.movedQuantity}, deltas); code != Z9ERR_OK)
        return code;

    order.orgQuantity = TradedOf(order) + order.movedQuantity;
    order.quantity = order.movedQuantity;
    order.price = order.newPrice;
    order.ordnum = newOrdNum;
    Stand(order, {order.quantity, 0});
    EndMove(order);
    if (order.quantity == 0)
        m_orders.orders_nm.erase(entry);
    else if (newOrdNum != ordNum)
        MoveBetweenTables(m_orders.orders_nm, entry, m_orders.orders_nm, newOrdNum);
    return Z9ERR_OK;
}

// The order itself may wait under 0, which is passed over like any number that an order has.
t_id COrderManager::DrawFreeNumber(SOrder& order) noexcept
{
    while (findOrderByLS(nextLSOrderId(order, 0)) != nullptr) {
    }
    return order.lsOrderID;
}

t_id COrderManager::nextLSOrderId(SOrder& order, t_id number) noexcept
{
    std::atomic<t_id>& last = m_orders.lsorderID;
    if (number == 0) return order.lsOrderID = ++last;
    for (t_id seen = last.load(); seen < number && !last.compare_exchange_weak(seen, number);) {
    }
    return order.lsOrderID = number;
}

void COrderManager::Clear(int lastLsOrderId) noexcept
{
    m_orders.orders_ls.clear();
    m_orders.orders_nm.clear();
    m_orders.lsorderID.store(std::max(0, lastLsOrderId));
}

const COrderManager::SOrder* COrderManager::findOrderByLS(t_id lsOrderId) const noexcept
{
    return Find(m_orders.orders_ls, lsOrderId);
}

const COrderManager::SOrder* COrderManager::findOrderByNm(t_id ordNum) const noexcept
{
    return Find(m_orders.orders_nm, ordNum);
}

std::vector<COrderManager::SOrder> COrderManager::GetOrdersLsSnapshot() const { return Snapshot(m_orders.orders_ls); }

std::vector<COrderManager::SOrder> COrderManager::GetOrdersNmSnapshot() const { return Snapshot(m_orders.orders_nm); }
