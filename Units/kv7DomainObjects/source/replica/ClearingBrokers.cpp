// Clearing firms, as a host that knows them registers and finds them.
#include <memory>

#include "ParticipantRegistrar.h"
#include "ParticipantRepository.h"
#include "except.h"

void ParticipantRegistrar::RegisterClearingBroker(ClearingBrokerCode code)
{
    auto& clearingBrokers = m_participantRepository.clearingBrokers_;
    if (clearingBrokers.contains(code)) return;
    clearingBrokers.emplace(code, std::make_shared<BraskClearingBroker>(code));
}

const BraskClearingBrokerPtr& ParticipantRepository::GetClearingBroker(ClearingBrokerCode code) const
{
    const auto found = clearingBrokers_.find(code);
    if (found == clearingBrokers_.end()) throw kv7base::CZ9Error(Z9ERR_DATALOAD_RF_NOT_FOUND, KV7_CURRENT_LOCATION);
    return found->second;
}
