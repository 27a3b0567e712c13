#include "Enums.h"

namespace Enums {

namespace {

constexpr std::string_view unknown = "<unknown>";

} // namespace

std::string_view ToString(AssetClass value) noexcept
{
    switch (value) {
    case AssetClass::Stock:
        return "Stock";
    case AssetClass::Currency:
        return "Currency";
    case AssetClass::Bond:
        return "Bond";
    case AssetClass::Index:
        return "Index";
    case AssetClass::Commodity:
        return "Commodity";
    case AssetClass::Percentage:
        return "Percentage";
    case AssetClass::Metal:
        return "Metal";
    }
    return unknown;
}

std::string_view ToString(MSPType value) noexcept
{
    switch (value) {
    case MSPType::FixedPriceStep:
        return "FixedPriceStep";
    case MSPType::CurrencyIndicatorPriceStep:
        return "CurrencyIndicatorPriceStep";
    }
    return unknown;
}

std::string_view ToString(OptionModel value) noexcept
{
    for (const OptionModelRow& row : OptionModels)
        if (row.value == value) return row.name;
    return unknown;
}

std::string_view ToString(MarginStyle value) noexcept
{
    switch (value) {
    case MarginStyle::Futures:
        return "Futures";
    case MarginStyle::Equity:
        return "Equity";
    }
    return unknown;
}

std::string_view ToString(SettlementType value) noexcept
{
    switch (value) {
    case SettlementType::CashSettled:
        return "CashSettled";
    case SettlementType::Deliverable:
        return "Deliverable";
    }
    return unknown;
}

std::string_view ToString(ExerciseStyle value) noexcept
{
    switch (value) {
    case ExerciseStyle::American:
        return "American";
    case ExerciseStyle::European:
        return "European";
    }
    return unknown;
}

} // namespace Enums
