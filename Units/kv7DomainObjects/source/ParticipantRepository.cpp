#include "ParticipantRepository.h"

#include "except.h"

Z9ERR ClientSearchResult::ReportFailure(Z9ERR noBroker, Z9ERR noClient) const noexcept
{
    if (!BrokerFound()) return noBroker;
    return ClientFound() ? Z9ERR_OK : noClient;
}

ParticipantRepository::~ParticipantRepository() { Clear(); }

const BraskSettlementAccountPtr& ParticipantRepository::GetSettlementAccountById(std::string_view id) const
{
    const auto found = settlementAccounts_.find(id);
    if (found == settlementAccounts_.end())
        throw kv7base::CZ9Error(Z9ERR_DATALOAD_SETTLEMENT_ACCOUNT_NOT_FOUND, KV7_CURRENT_LOCATION)
            .Fmt("Settlement Account \"%.*s\" not found", static_cast<int>(id.size()), id.data());
    return found->second;
}

BraskSettlementAccountPtr ParticipantRepository::SearchSettlementAccountById(std::string_view id) const noexcept
{
    const auto found = settlementAccounts_.find(id);
    return found == settlementAccounts_.end() ? nullptr : found->second;
}

BraskBroker& ParticipantRepository::GetBroker(BrokerCode code, Z9ERR error)
{
    BraskBroker* const broker = SearchBroker(code);
    if (broker == nullptr) throw kv7base::CZ9Error(error, KV7_CURRENT_LOCATION);
    return *broker;
}

BraskBroker* ParticipantRepository::SearchBroker(BrokerCode code) noexcept
{
    const auto found = brokers_.find(code);
    return found == brokers_.end() ? nullptr : &found->second;
}

BraskClient& ParticipantRepository::GetClient(ClientCode code)
{
    const ClientSearchResult result = SearchClient(code);
    if (!result.BrokerFound())
        throw kv7base::CZ9Error(Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED, KV7_CURRENT_LOCATION)
            .Fmt("The broker of the Client \"%s\" not found", code.c_str());
    if (!result.ClientFound())
        throw kv7base::CZ9Error(Z9ERR_CHECK_CLIENT_NOT_FOUND, KV7_CURRENT_LOCATION)
            .Fmt("Client \"%s\" not found", code.c_str());
    return *result.Client();
}

ClientSearchResult ParticipantRepository::SearchClient(ClientCode code) noexcept
{
    BraskBroker* const broker = SearchBroker(code.GetBrokerCode());
    return {broker, broker == nullptr ? nullptr : broker->SearchClient(code), code};
}

void ParticipantRepository::Clear() noexcept
{
    brokers_.clear(); // each firm leaves the lists of its accounts
    settlementAccounts_.clear();
    clearingBrokers_.clear();
    clientCount_.Reset();
}
