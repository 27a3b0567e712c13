// BraskBroker: a firm. It owns its clients and is tied to one settlement account.
//
// Always true:  clients stand at their addresses until Clear. settlementAccount is never null.
// Numbers:      GORatio_ multiplies the firm's own GO, 1.00000 leaves it. The map of base contract ratios acts on the
//               margin of the firm's clients, not on its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include <boost/range/adaptor/map.hpp>

#include "BraskSettlementAccount.h"
#include "Client.h"
#include "OrderManager.h"
#include "ParticipantBase.h"
#include "TradingCodes.h"

/// Base contract code to the multiplier of its margin, 0.0 to 10.0.
using TBaseContractGORatioMap = std::unordered_map<std::string, double>;
using TClientsMap = std::unordered_map<ClientCode, BraskClient, ShortClientCodeHash, ShortClientCodeEqual>;
/// Futures isin to the clients that hold or held a position on it.
using TClientsByIsinsToRecalc = std::unordered_map<Isin, std::set<BraskClient*>>;

class BraskBroker final : public ParticipantBase
{
public:
    /// The figures that a firm's GO is made of, kept while the firm changes.
    struct MarginFigures
    {
        t_weight_int expWeight;
        double volatility; // money, not rounded
        double delivery;
        t_bprice_int ratio;

        /// ((1 - w) V + w D) times the ratio, rounded.
        [[nodiscard]] double InitialMargin() const noexcept;
    };

    /// Corrects parameters that are out of range, each with a warning; the ratios are taken as they are. Throws
    /// CZ9Error with Z9ERR_CHECK_BROKER_IS_NOT_LINKED_TO_SETTLEMENT_ACCOUNT for a null account. Does not bind the firm
    /// to the account.
    BraskBroker(BrokerCode code, Enums::BrokerAccountType type, Enums::MarginRule rule,
                BraskSettlementAccountPtr account, std::int32_t nClr2Delivery, std::int32_t nClr2DeliveryClientDefault,
                t_weight_int expWeight, t_weight_int expWeightClientDefault, const TBaseContractGORatioMap& ratioMap,
                kv7im::InstrumentsRepository& instrumentsRepository,
                const pos::PositionCalculatorInstruments& positionInstruments);
    ~BraskBroker() override;

    [[nodiscard]] const char* GetParticipantCode() const noexcept override { return brokerCode_.c_str(); }
    [[nodiscard]] double GetInitialMargin() const override { return GetMarginFigures().InitialMargin(); }
    [[nodiscard]] MarginFigures GetMarginFigures() const noexcept;
    /// Deliveries of a series count from the first of its clearings for firms.
    [[nodiscard]] bool WeHaveToCalcDeliveryRisk(const kv7im::CSpecOption* option) const override;

    [[nodiscard]] BrokerCode GetBrokerCode() const noexcept { return brokerCode_; }
    [[nodiscard]] Enums::BrokerAccountType GetBrokerType() const noexcept { return brokerType; }
    [[nodiscard]] const BraskSettlementAccountPtr& GetSettlementAccount() const noexcept { return settlementAccount; }

    /// Enters the firm in the account's list, once more for each call, until the firm is destroyed. Any account may
    /// list the firm; its own account stays the one that it was made with.
    void BindTo(const BraskSettlementAccountPtr& account);

    /// Multiplier of the firm's own GO.
    [[nodiscard]] t_bprice_int GetGORatio() const noexcept { return GORatio_; }
    void SetGORatio(t_bprice_int value) noexcept { GORatio_ = value; }
    /// Weight of the delivery margin for clients whose ExpWeight is -1.00.
    [[nodiscard]] t_weight_int GetExpWeightClientDefault() const noexcept { return expWeightClientDefault_; }
    [[nodiscard]] std::int32_t GetNClr2DeliveryClientDefault() const noexcept { return NClr2DeliveryClientDefault_; }
    [[nodiscard]] bool GetNotUseNOVClientDefault() const noexcept { return m_notUseNOVClientDefault; }
    void SetNotUseNOVClientDefault(bool value) noexcept { m_notUseNOVClientDefault = value; }
    [[nodiscard]] bool GetNotUseNOVClientDefaultNextSession() const noexcept
    {
        return m_notUseNOVClientDefaultNextSession;
    }
    void SetNotUseNOVClientDefaultNextSession(bool value) noexcept { m_notUseNOVClientDefaultNextSession = value; }

    /// Sets the multiplier for the margin of the clients' positions on this base contract, 0.0 to 10.0. Anything else,
    /// NaN included, becomes 1.0 with a warning. Existing nodes keep the ratio that they were made with.
    void SetBaseContractGORatio(const std::string& baseContractCode, double ratio);
    /// Multiplier agreed for the base contract, otherwise 1.0.
    [[nodiscard]] double GetBaseContractGORatio(const std::string& baseContractCode) const;

    /// The client with this code; null when the firm has none. Only the client's own part of the code is looked at.
    [[nodiscard]] BraskClient* SearchClient(ClientCode code) noexcept;
    [[nodiscard]] std::size_t GetClientCount() const noexcept { return clients_.size(); }
    /// All clients, in hash order.
    [[nodiscard]] auto EnumerateClients() noexcept { return boost::adaptors::values(clients_); }
    /// Builds a client in the table from the code and the other arguments of a constructor. Returns the client under
    /// the code, and true when it is new. A constructor that throws leaves the table as it was.
    template <class... Arguments>
    std::pair<BraskClient&, bool> EmplaceClient(ClientCode code, Arguments&&... arguments)
    {
        const auto [entry, isNew] = clients_.try_emplace(code, std::forward<Arguments>(arguments)...);
        return {entry->second, isNew};
    }

    /// Enters the client once under the isin of a futures that it has begun to hold, however often it is called.
    void MarkClientToRecalc(Isin isin, BraskClient& client);
    /// Clients that hold or held this futures.
    [[nodiscard]] const std::set<BraskClient*>& EnumerateClientsToRecalc(Isin isin) const;

    /// Destroys the clients.
    void Clear() noexcept;

    // Replica: the firm's orders, and what the host asks of it before it hands a deal in.

    [[nodiscard]] const COrderManager& GetOrderManager() const noexcept { return orderManager; }
    [[nodiscard]] COrderManager& GetOrderManager() noexcept { return orderManager; }
    /// Destroys a client of the firm that nothing else knows yet.
    void RemoveClient(BraskClient& client) noexcept;

    /// Stores two answers for the host, which asks for them before it hands a deal in and writes a calculated money:
    /// whether the firm's limit moves with the deal (money_orchestrator::UpdateMoney), and whether its free money is
    /// checked (BraskCollateralChecker::CheckCollateral). Nothing in here reads them. They are true until they are set.
    void InitFlags(bool changeLimit_, bool checkLimit_) noexcept
    {
        changeLimit = changeLimit_;
        checkLimit = checkLimit_;
    }
    [[nodiscard]] bool GetChangeLimit() const noexcept { return changeLimit; }
    [[nodiscard]] bool GetCheckLimit() const noexcept { return checkLimit; }
    using ParticipantBase::ChangeTradingLimits;

private:
    void UpdateMoneyCalculatorRelatedFields();

    const Enums::BrokerAccountType brokerType;
    const BraskSettlementAccountPtr settlementAccount;
    std::vector<BraskSettlementAccountPtr>
        otherAccounts_; // accounts that also list the firm, kept alive to be told of its end
    COrderManager orderManager;
    const BrokerCode brokerCode_;
    bool changeLimit = true; // a deal moves the firm's limit; carried for the host
    bool checkLimit = true;  // its free money is looked at; carried for the host
    TClientsMap clients_;
    t_weight_int expWeightClientDefault_; // for clients with ExpWeight -1.00
    t_bprice_int GORatio_{1};             // multiplier of the firm's GO
    std::int32_t NClr2DeliveryClientDefault_;
    TClientsByIsinsToRecalc clientsToRecalc_;
    TBaseContractGORatioMap baseContractGORatioMap;
    bool m_notUseNOVClientDefault = false;
    bool m_notUseNOVClientDefaultNextSession = false;
};
