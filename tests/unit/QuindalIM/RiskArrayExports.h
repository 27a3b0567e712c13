// The exported functions for arrays of risks, by signature: what asks for a whole matrix, and what asks for its last
// row.
#pragma once

#include <array>

#include "QuindalIM.h"

namespace calls {

inline constexpr std::array RiskMatrices{GetClientVfRisksArray,  GetClientDeliveryRisksArray, GetClientFutRisksArray,
                                         GetClientMmsRisksArray, GetClientMcsRisksArray,      GetBrokerRisksArray};
inline constexpr std::array RiskRows{GetClientFinalRisksArray,
                                     GetClientFinalRisksArrayWithPositiveValue,
                                     GetBrokerFinalRisksArray,
                                     GetBrokerFinalRisksArrayWithPositiveValue,
                                     GetSettlementAccountFinalRisksArray,
                                     GetSettlementAccountFinalRisksArrayWithPositiveValue};

} // namespace calls
