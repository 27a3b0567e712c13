// COrderManager: the orders of one firm. An order is known by the firm's local number until the exchange confirms it,
// and by the exchange's number from then on.
//
// Every event adds to a list of deltas what it changes in the orders that stand, price by price: the input of the
// margin. While an order moves it stands where it costs more. A move to a worse price (for the order's owner) is
// reserved at the new price at once; a move to a better one leaves the order at its old price until it is confirmed.
// Whichever quantity is larger, the one before or the one after, is reserved.
//
//   buy 10 at 100, asked to move to 105, rejected:   +10 at 100 | -10 at 100, +10 at 105 | +10 at 100, -10 at 105
//   buy 10 at 100, asked to move to 95, confirmed:   +10 at 100 | nothing                | -10 at 100, +10 at 95
//
// Always true:  an order stands in exactly one of the two tables, under the number that the table goes by, and has a
//               quantity left. The deltas of an order add up, at each price, to what it has standing there: curQuantity
//               at price and newQuantity at newPrice; those of an order that is gone add up to nothing.
//               An event that fails, or throws for want of memory, changes nothing and adds no delta.
//               Local numbers may be drawn by several threads; the orders themselves belong to one. The dictionaries
//               are of the whole process: they are filled before orders come, by one thread.
// Numbers:      quantities are contracts, and as a side is kept beside them never negative; prices are t_bprice_int.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "DenseDictionary.h"
#include "Enums.h"
#include "TradingCodes.h"
#include "currencytype.h"
#include "instruments/SpecOrderList.h"
#include "kv7errors.h"

using t_id = std::int64_t; // order number
/// Changes of the orders in one instrument, in the order in which their prices came up first.
using DeltaOrderList = std::vector<SClearingDeltaOrder>;

class COrderManager
{
public:
    struct SOrder
    {
        t_id ordnum = 0;     // the exchange's number, 0 until confirmed
        t_code clientCode{}; // seven characters and a zero
        t_id lsOrderID = 0;  // local number that waits for confirmation, of the order or of its move; else 0
        t_bprice_int price;
        t_bprice_int price1;   // second price of a two-legged order
        t_bprice_int newPrice; // while the order is being moved
        std::int32_t instrumentID = 0;
        Isin isinID = 0;
        std::int64_t quantity = 0;    // contracts left to trade; while it is moved, if the move is rejected
        std::int64_t curQuantity = 0; // contracts standing at price
        std::int64_t newQuantity = 0; // contracts standing at newPrice
        std::int64_t orgQuantity = 0; // contracts as placed or since changed: traded plus left
        bool isMoving = false;
        bool isSystem = false;
        bool isBuying = false;
        KeyPriceType::Type instrType = KeyPriceType::Type::Undefined;
        bool isReverse = false;         // a better price for a buyer is a higher one
        std::int64_t movedQuantity = 0; // contracts left to trade if the move is confirmed

        /// True when another price costs the order's owner more: a higher one for a buyer, a lower one for a seller,
        /// the other way round with `reverse`. An equal price is not worse.
        [[nodiscard]] bool isPriceWorse(t_bprice_int otherPrice, bool reverse) const noexcept;
        /// Adds a change of the order at a price to the list: to the record of this price, kind and side if there is
        /// one, otherwise as a new record. deltaQuantity is below 0 for contracts that no longer stand.
        /// Z9ERR_CHECK_ORDER_WRONG_QUANTITY, and nothing added, for a sum beyond 64 bits.
        [[nodiscard]] Z9ERR addDelta(t_bprice_int atPrice, std::int64_t deltaQuantity, DeltaOrderList& list) const;
        /// Adds a change of the order at its own price to the list. Z9ERR_CHECK_ORDER_WRONG_QUANTITY for a sum beyond
        /// 64 bits.
        [[nodiscard]] Z9ERR addDelta(std::int64_t deltaQuantity, DeltaOrderList& list) const;
    };

    struct SOrderKey
    {
        t_id ordNum = 0;

        struct HashFcn
        {
            [[nodiscard]] std::size_t operator()(SOrderKey key) const noexcept
            {
                return static_cast<std::size_t>(key.ordNum);
            }
        };
        [[nodiscard]] friend bool operator==(SOrderKey a, SOrderKey b) noexcept = default;
    };

    using COrderList = std::unordered_map<SOrderKey, std::unique_ptr<SOrder>, SOrderKey::HashFcn>;

    struct SOrdersData
    {
        COrderList orders_ls;           // awaiting confirmation, by local number
        COrderList orders_nm;           // confirmed, by the exchange's number
        std::atomic<t_id> lsorderID{0}; // the last local number given
    };

    /// The properties of a trading instrument that orders need.
    struct SInstrument
    {
        std::int32_t InstrumentID = 0;
        ::Isin Isin = 0;
        std::int32_t TradeModeID = 0;
        bool IsReverse = false;                                     // a better price for a buyer is a higher one
        KeyPriceType::Type InstrType = KeyPriceType::Type::Ordinal; // MultiLeg for a spread
    };

    struct STradeMode
    {
        std::int32_t TradeModeID = 0;
        Enums::TradeModeStatus Status = Enums::TradeModeStatus::Closed;
        Enums::AuctionType AuctionType = Enums::AuctionType::None;
    };

    enum class OrderFlags : std::uint32_t
    {
        None = 0,
        System = 1, // to the market at large; otherwise to a named counterparty
    };

    COrderManager() = default;
    /// lsBuckets and nmBuckets: places in the tables of unconfirmed and of confirmed orders.
    COrderManager(std::size_t lsBuckets, std::size_t nmBuckets);

    // Dictionaries. A row with the id NoDictionaryId is refused with Z9ERR_COMMON_WRONG_ARGUMENTS.

    /// Opens the dictionaries without rows; does nothing while they are open. With a code other than 0 they stay
    /// closed.
    [[nodiscard]] static Z9ERR Init();
    /// Opens the dictionaries with these rows; does nothing while they are open. With a code other than 0 (a repeated
    /// id: Z9ERR_COMMON_DUPLICATE) they stay closed.
    [[nodiscard]] static Z9ERR Init(const std::vector<SInstrument>& instrumentRows,
                                    const std::vector<STradeMode>& tradeModeRows);
    /// Adds a trading instrument. Z9ERR_COMMON_NOT_INITIALIZED before Init, Z9ERR_COMMON_DUPLICATE for an id that is
    /// there.
    [[nodiscard]] static Z9ERR InsertInstrument(const SInstrument& instrument);
    [[nodiscard]] static Z9ERR InsertTradeMode(const STradeMode& tradeMode);
    /// The trading instrument of an id; null when there is none.
    [[nodiscard]] static const SInstrument* FindInstrument(std::int32_t instrumentID);
    [[nodiscard]] static const STradeMode* FindTradeMode(std::int32_t tradeModeID);
    [[nodiscard]] static bool AreDictionariesInited() noexcept { return dictionariesInited; }
    /// Empties and closes the dictionaries; existing orders keep what they have read.
    static void ClearDictionaries() noexcept;

    // Events. `state`, unless null, receives the order after the event, or the untouched order that refused it; an
    // order that is gone shows a quantity of 0. Where there is no such order `state` is left alone.

    /// Sends an order: a purchase when signedQuantity, the contracts as placed, is above 0, a sale when it is below;
    /// `quantity` of them are left to trade. price1 is the second price of a two-legged order. Of clientCode at most
    /// seven characters are taken. Gives the order's local number. Z9ERR_INSTRUMENT_ABSENT,
    /// Z9ERR_CHECK_TRADEMODES_NOT_FOUND (the instrument's trade mode is unknown), Z9ERR_CHECK_ORDER_WRONG_QUANTITY for
    /// a quantity outside 1 to
    /// signedQuantity
    /// or too large for the list, Z9ERR_COMMON_DUPLICATE while a restored order stands under 0.
    [[nodiscard]] Z9ERR AddOrder(std::int32_t instrumentID, t_bprice_int price, t_bprice_int price1,
                                 std::int64_t quantity, std::int64_t signedQuantity, t_id& lsOrderId,
                                 DeltaOrderList& deltas, std::string_view clientCode, OrderFlags flags);
    /// Removes a sent order that the exchange refuses. Z9ERR_DEL_ORDER_NOT_EXIST.
    [[nodiscard]] Z9ERR RejectAdd(t_id lsOrderId, DeltaOrderList& deltas);
    /// Confirms an order under the exchange's number. Z9ERR_DEL_ORDER_NOT_EXIST, Z9ERR_COMMON_DUPLICATE for a number
    /// that another order has, Z9ERR_COMMON_WRONG_ARGUMENTS for the number 0.
    [[nodiscard]] Z9ERR ConfirmAdd(t_id lsOrderId, t_id ordNum);
    /// Withdraws `quantity` contracts, or those that are left, since a trade may have come first. An order with nothing
    /// left is gone, moving or not. Z9ERR_DEL_ORDER_NOT_EXIST, Z9ERR_CHECK_ORDER_WRONG_QUANTITY below 1.
    [[nodiscard]] Z9ERR CancelOrder(t_id ordNum, std::int64_t quantity, DeltaOrderList& deltas,
                                    SOrder* state = nullptr);
    /// Takes off `quantity` traded contracts. More than stands is ignored: code 0, nothing changed. A trade while the
    /// order moves lowers its old and its new quantity alike, contracts at the old price first.
    /// Z9ERR_DEL_ORDER_NOT_EXIST, Z9ERR_CHECK_ORDER_WRONG_QUANTITY below 1.
    [[nodiscard]] Z9ERR ExecOrder(t_id ordNum, std::int64_t quantity, DeltaOrderList& deltas, SOrder* state = nullptr);
    /// Asks the exchange for another price and, by the mode, another quantity:
    ///   LeaveQuantities            the quantity left stays; newQuantity is ignored
    ///   ChangeQuantities           newQuantity will be left
    ///   CheckQuantities            newQuantity will be left; refused where less than that is left
    ///   ChangeQuantitiesWOMatched  newQuantity less all that has traded will be left
    /// Gives the move's local number. Z9ERR_MOVE_ORDER_NOT_EXIST, Z9ERR_ORDER_IS_BEING_MOVED,
    /// Z9ERR_COMMON_WRONG_ARGUMENTS for another mode, Z9ERR_CHECK_ORDER_WRONG_QUANTITY where nothing would be left, or
    /// more than can be counted.
    [[nodiscard]] Z9ERR MoveOrder(t_id ordNum, Enums::MoveOrderMode mode, t_bprice_int newPrice,
                                  std::int64_t newQuantity, t_id& lsOrderId, DeltaOrderList& deltas,
                                  SOrder* state = nullptr);
    /// Ends a move, given by its local number, that the exchange refuses: the order is back at its old price with the
    /// rest of its old quantity; it is gone when all that has traded. Z9ERR_MOVE_ORDER_NOT_EXIST where there is no such
    /// move, as for a late answer to a move that is over.
    [[nodiscard]] Z9ERR RejectMove(t_id ordNum, t_id lsOrderId, DeltaOrderList& deltas);
    /// Ends a move that the exchange has made; the order goes by newOrdNum from now on, which may be its old number.
    /// Z9ERR_MOVE_ORDER_NOT_EXIST where there is no such move, Z9ERR_COMMON_DUPLICATE for a number that another order
    /// has, Z9ERR_COMMON_WRONG_ARGUMENTS for the number 0.
    [[nodiscard]] Z9ERR ConfirmMove(t_id ordNum, t_id lsOrderId, t_id newOrdNum, DeltaOrderList& deltas);

    /// Gives the order a local number: the next one for 0, otherwise `number` itself, after which the numbering goes
    /// on; it never goes back. May be called from any thread.
    t_id nextLSOrderId(SOrder& order, t_id number) noexcept;

    /// Deletes all orders; local numbers go on after the one given, which counts as 0 when it is below 0.
    void Clear(int lastLsOrderId = 0) noexcept;

    /// The unconfirmed order of a local number; null when there is none.
    [[nodiscard]] const SOrder* findOrderByLS(t_id lsOrderId) const noexcept;
    /// The confirmed order of an exchange's number; null when there is none.
    [[nodiscard]] const SOrder* findOrderByNm(t_id ordNum) const noexcept;

    /// Copies of the unconfirmed orders, by ascending number.
    [[nodiscard]] std::vector<SOrder> GetOrdersLsSnapshot() const;
    /// Copies of the confirmed orders, by ascending number.
    [[nodiscard]] std::vector<SOrder> GetOrdersNmSnapshot() const;
    [[nodiscard]] t_id GetLsOrderIdSnapshot() const noexcept { return m_orders.lsorderID.load(); }

    [[nodiscard]] const SOrdersData& GetOrders() const noexcept { return m_orders; }
    /// Tables to restore orders into: each order whole, under its number, which is not 0, and with the numbering behind
    /// all of them. Where the numbering is not, numbers that an order has are passed over.
    [[nodiscard]] SOrdersData& GetOrdersForUpdate() noexcept { return m_orders; }

private:
    [[nodiscard]] Z9ERR TakeOff(COrderList::iterator entry, std::int64_t taken, bool traded, DeltaOrderList& deltas,
                                SOrder* state);
    /// The next local number that no order waits under.
    t_id DrawFreeNumber(SOrder& order) noexcept;
    [[nodiscard]] COrderList::iterator FindMove(t_id ordNum, t_id lsOrderId) noexcept;

    static DenseDictionary<SInstrument> instruments;
    static DenseDictionary<STradeMode> trademodes;
    static bool dictionariesInited;

    SOrdersData m_orders;
};
