// SpecOrderList: the orders of one instrument as the risk engine takes them.
//
// Orders of the same price, side and kind are one entry: the engine needs their total quantity only.
// Numbers:  calculatedPrice is a price with five decimals, 1.0 is stored as 100000. For a trade-at-settlement
//           futures it is an offset from the calculation price. deltaQuantity is in contracts and is a quantity,
//           not a signed position: the side is in the key. A cancellation is a negative deltaQuantity.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <unordered_map>
#include <vector>

#include "Enums.h"
#include "currencytype.h"

namespace kv7type {

/// Whether an order may be valued better than at the settlement price.
enum class Discount : std::int32_t
{
    Yes = 0,
    No = 1,
};

} // namespace kv7type

/// What makes two orders the same entry.
struct KeyPriceType
{
    enum class Direction : std::int32_t
    {
        Buy = 0,
        Sell = 1,
        Undefined = 2,
    };
    enum class Type : std::int32_t
    {
        Ordinal = 0,  // an order in the instrument itself
        MultiLeg = 1, // an order in a spread, as it was sent
        FirstLeg = 2, // the part of a spread order that falls on the near leg
        SecondLeg = 3,
        Undefined = 4,
    };

    t_bprice_int calculatedPrice{};
    Direction direction = Direction::Undefined;
    Type type = Type::Undefined;

    [[nodiscard]] friend bool operator==(const KeyPriceType& left, const KeyPriceType& right) noexcept
    {
        return left.calculatedPrice.AsPlain() == right.calculatedPrice.AsPlain() && left.direction == right.direction &&
               left.type == right.type;
    }
};

struct KeyPriceTypeHasher
{
    [[nodiscard]] std::size_t operator()(const KeyPriceType& key) const noexcept
    {
        // Prices are multiples of their step, so the side and the kind stay visible in the low bits.
        const auto price = static_cast<std::uint64_t>(key.calculatedPrice.AsPlain());
        const auto side = static_cast<std::uint64_t>(key.direction);
        const auto kind = static_cast<std::uint64_t>(key.type);
        return std::hash<std::uint64_t>{}((price * 0x9E3779B97F4A7C15u) ^ (side << 3) ^ kind);
    }
};

/// Quantity of an entry, and for the legs of a spread order the prices of both legs at the time it was taken in.
struct SOrderInfo
{
    enum class InitializationType : std::int32_t
    {
        OnlyDeltaQuantity = 0,
        FullFill = 1,
    };

    constexpr SOrderInfo() noexcept = default;
    /// Leg prices 0, netting unused.
    constexpr SOrderInfo(InitializationType type, int multileg, std::int64_t quantity) noexcept
        : initializationType(type), multilegIsin(multileg), deltaQuantity(quantity)
    {}

    InitializationType initializationType = InitializationType::OnlyDeltaQuantity;
    int multilegIsin = 0;
    std::int64_t deltaQuantity = 0;     // contracts; below 0 is a cancellation
    double realCalcPriceFirstLeg = 0.0; // settlement price of the first leg
    double realCalcPriceSecondLeg = 0.0;
    double riskCenterFirstLeg = 0.0; // centre of the first leg's price grid
    double riskCenterSecondLeg = 0.0;
    Enums::SpreadMarginType participantCalSpreadMarginType = Enums::SpreadMarginType::Unused;
};

/// One change of the orders in an instrument.
struct SClearingDeltaOrder
{
    KeyPriceType CalculatedPrice;
    std::int32_t instrumentID = 0;
    int isin = 0;
    bool isSystem = false;
    bool isBuying = false;
    SOrderInfo orderInfo;
};

/// Open orders of an instrument, or the changes of one call.
using OrdersMap = std::unordered_map<KeyPriceType, SOrderInfo, KeyPriceTypeHasher>;

/// The record that makes one open order: side as its key says it, quantity and prices as they are kept.
[[nodiscard]] inline SClearingDeltaOrder OrderRecordOf(Isin isin, const KeyPriceType& key,
                                                       const SOrderInfo& info) noexcept
{
    SClearingDeltaOrder record;
    record.CalculatedPrice = key;
    record.isin = isin;
    record.isBuying = key.direction == KeyPriceType::Direction::Buy;
    record.orderInfo = info;
    return record;
}

/// The records that make all these open orders of an instrument, in the order of the map.
[[nodiscard]] inline std::vector<SClearingDeltaOrder> OrderRecordsOf(Isin isin, const OrdersMap& orders)
{
    std::vector<SClearingDeltaOrder> records;
    records.reserve(orders.size());
    for (const auto& [key, info] : orders)
        records.push_back(OrderRecordOf(isin, key, info));
    return records;
}
