// The words of the input files for the enumerations of the library's boundary.
#pragma once

#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

#include "QuindalIM.h"

namespace quindal {

using Word = std::pair<std::string_view, std::int32_t>;

inline constexpr std::array MarginRuleWords{Word{"gross", QUINDAL_MARGIN_RULE_GROSS},
                                            Word{"half_netting", QUINDAL_MARGIN_RULE_HALF_NETTING},
                                            Word{"netting", QUINDAL_MARGIN_RULE_NETTING}};
inline constexpr std::array SpreadWords{Word{"unused", QUINDAL_SPREAD_MARGIN_TYPE_UNUSED},
                                        Word{"half_netting", QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING},
                                        Word{"netting", QUINDAL_SPREAD_MARGIN_TYPE_NETTING}};
inline constexpr std::array RiskLevelWords{
    Word{"default", QUINDAL_CLIENT_RISK_LEVEL_DEFAULT}, Word{"low", QUINDAL_CLIENT_RISK_LEVEL_LOW},
    Word{"medium", QUINDAL_CLIENT_RISK_LEVEL_MEDIUM}, Word{"high", QUINDAL_CLIENT_RISK_LEVEL_HIGH},
    Word{"exceptional", QUINDAL_CLIENT_RISK_LEVEL_EXCEPTIONAL}};
inline constexpr std::array AccountTypeWords{Word{"ordinary", QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY},
                                             Word{"trusted", QUINDAL_BROKER_ACCOUNT_TYPE_TRUSTED},
                                             Word{"segregated", QUINDAL_BROKER_ACCOUNT_TYPE_SEGREGATED}};

/// Level of an account row: the three of the account tree, and the ratio of a firm for one base contract.
enum AccountLevel : std::int32_t
{
    AccountLevelSettlementAccount,
    AccountLevelFirm,
    AccountLevelClient,
    AccountLevelRatio,
};
inline constexpr std::array AccountLevelWords{Word{"account", AccountLevelSettlementAccount},
                                              Word{"firm", AccountLevelFirm}, Word{"client", AccountLevelClient},
                                              Word{"ratio", AccountLevelRatio}};
inline constexpr std::array SideWords{Word{"buy", 1}, Word{"sell", 0}};
inline constexpr std::array PositionLevelWords{Word{"account", QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT},
                                               Word{"firm", QUINDAL_ACCOUNT_HIERARCHY_BROKER},
                                               Word{"client", QUINDAL_ACCOUNT_HIERARCHY_CLIENT}};

} // namespace quindal
