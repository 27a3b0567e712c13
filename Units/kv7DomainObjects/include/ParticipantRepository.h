// ParticipantRepository: all participants of one calculator.
//
// Always true:  references to firms and clients stay valid until Clear. clientCount_ is the number of clients of all
//               firms.
// Lookups allocate nothing.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>

#include <boost/range/adaptor/map.hpp>

#include "BraskSettlementAccount.h"
#include "Broker.h"
#include "Client.h"
#include "CodeMap.h"
#include "Primitives.h"
#include "TradingCodes.h"

using TClearingBrokersMap = std::unordered_map<ClearingBrokerCode, BraskClearingBrokerPtr, ClearingBrokerCodeHash>;
using TSettlementAccountsMap = kv7base::CodeMap<BraskSettlementAccountPtr>;
using TBrokersMap = std::unordered_map<BrokerCode, BraskBroker, BrokerCodeHash>;

/// Result of looking a client up by its code: the firm and the client, as far as they exist.
class ClientSearchResult
{
public:
    ClientSearchResult(BraskBroker* broker, BraskClient* client, ClientCode code) noexcept
        : broker_(broker), client_(client), clientCode_(code)
    {}

    [[nodiscard]] bool BrokerFound() const noexcept { return broker_ != nullptr; }
    [[nodiscard]] bool ClientFound() const noexcept { return client_ != nullptr; }
    [[nodiscard]] BraskBroker* Broker() const noexcept { return broker_; } ///< Null when the firm is missing.
    [[nodiscard]] BraskClient* Client() const noexcept { return client_; } ///< Null when the firm has no such client.
    [[nodiscard]] ClientCode GetClientCode() const noexcept { return clientCode_; }
    /// noBroker when the firm is missing, noClient when the client is missing, otherwise Z9ERR_OK.
    [[nodiscard]] Z9ERR ReportFailure(Z9ERR noBroker, Z9ERR noClient) const noexcept;

private:
    BraskBroker* broker_;
    BraskClient* client_;
    ClientCode clientCode_;
};

class ParticipantRepository
{
public:
    ParticipantRepository() = default;
    ParticipantRepository(const ParticipantRepository&) = delete;
    ParticipantRepository& operator=(const ParticipantRepository&) = delete;
    ~ParticipantRepository();

    /// The clearing firm. Throws CZ9Error with Z9ERR_DATALOAD_RF_NOT_FOUND when it is missing.
    [[nodiscard]] const BraskClearingBrokerPtr& GetClearingBroker(ClearingBrokerCode code) const;
    /// The account. Throws CZ9Error with Z9ERR_DATALOAD_SETTLEMENT_ACCOUNT_NOT_FOUND, "Settlement Account \"<id>\" not
    /// found", when it is missing.
    [[nodiscard]] const BraskSettlementAccountPtr& GetSettlementAccountById(std::string_view id) const;
    /// The account; null when it is missing.
    [[nodiscard]] BraskSettlementAccountPtr SearchSettlementAccountById(std::string_view id) const noexcept;
    /// The firm. Throws CZ9Error with the code `error` when it is missing.
    [[nodiscard]] BraskBroker& GetBroker(BrokerCode code, Z9ERR error);
    /// The firm; null when it is missing.
    [[nodiscard]] BraskBroker* SearchBroker(BrokerCode code) noexcept;
    [[nodiscard]] bool ContainsBroker(BrokerCode code) const noexcept { return brokers_.contains(code); }
    /// The client. Throws CZ9Error: for a missing firm Z9ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED, "The broker of the
    /// Client \"<code>\" not found"; for a missing client Z9ERR_CHECK_CLIENT_NOT_FOUND, "Client \"<code>\" not found".
    [[nodiscard]] BraskClient& GetClient(ClientCode code);
    /// Looks up the firm by the code's first four characters, then the client by the other three.
    [[nodiscard]] ClientSearchResult SearchClient(ClientCode code) noexcept;

    [[nodiscard]] std::size_t GetClearingBrokerCount() const noexcept { return clearingBrokers_.size(); }
    [[nodiscard]] std::size_t GetSettlementAccountCount() const noexcept { return settlementAccounts_.size(); }
    [[nodiscard]] std::size_t GetBrokerCount() const noexcept { return brokers_.size(); }
    [[nodiscard]] std::size_t GetClientCount() const noexcept { return clientCount_.CurrentValue(); }

    // The participants of a kind, in hash order.
    [[nodiscard]] auto EnumerateBrokers() noexcept { return boost::adaptors::values(brokers_); }
    [[nodiscard]] auto EnumerateSettlementAccounts() const noexcept
    {
        return boost::adaptors::values(settlementAccounts_);
    }

    /// Destroys firms and their clients, then settlement accounts and clearing firms.
    void Clear() noexcept;

private:
    friend class ParticipantRegistrar; // the only way in

    TClearingBrokersMap clearingBrokers_;
    TSettlementAccountsMap settlementAccounts_;
    TBrokersMap brokers_; // behind the accounts: firms are destroyed first and leave their account's list
    Counter clientCount_;
};
