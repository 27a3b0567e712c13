// ParticipantRegistrar: the only way into a ParticipantRepository. It holds what the making of a participant needs
// beside the repository: the instruments and their accounting side.
//
// Always true:  what is registered already is left as it stands, parameters included, and is given back; whether
//               that is a fault is the caller's matter. A registration that throws leaves the tables as they
//               were.
#pragma once

#include <cstdint>

#include "BraskSettlementAccount.h"
#include "Broker.h"
#include "Client.h"
#include "ParticipantRepository.h"

class ParticipantRegistrar
{
public:
    /// The repository and the dictionaries outlive the registrar, and the dictionaries the participants too.
    ParticipantRegistrar(ParticipantRepository& participantRepository,
                         kv7im::InstrumentsRepository& instrumentRepository,
                         const pos::PositionCalculatorInstruments& posCalcInstruments) noexcept;
    ParticipantRegistrar(const ParticipantRegistrar&) = delete;
    ParticipantRegistrar& operator=(const ParticipantRegistrar&) = delete;

    [[nodiscard]] ParticipantRepository& GetParticipantRepository() const noexcept { return m_participantRepository; }

    void RegisterClearingBroker(ClearingBrokerCode code);

    /// Registers a settlement account under the record's Code. Throws what BraskSettlementAccount::validateState
    /// throws.
    void RegisterSettlementAccount(const SSettlementAccountMoneyStruct& money, Enums::MarginRule rule,
                                   bool isUnitedPool, const BraskClearingBrokerPtr& owner);

    /// Makes a firm and binds it to the account. A known firm keeps its own account and is appended to this one's list.
    BraskBroker& RegisterBroker(BrokerCode code, Enums::BrokerAccountType type, Enums::MarginRule rule,
                                const BraskSettlementAccountPtr& account, std::int32_t nClr2Delivery,
                                std::int32_t nClr2DeliveryClientDefault, t_weight_int expWeight,
                                t_weight_int expWeightClientDefault, const TBaseContractGORatioMap& ratioMap = {});

    /// Registers a client by its code alone, with the defaults of BraskClient's short constructor.
    BraskClient& RegisterClient(BraskBroker& broker, ClientCode code);
    /// Registers a client with these parameters and a ratio of 1.00000.
    BraskClient& RegisterClient(BraskBroker& broker, ClientCode code, bool noFutDiscount, std::int32_t nClr2Delivery,
                                t_weight_int expWeight, Enums::ClientRiskLevel riskLevel, Enums::InvestorStatus status);
    BraskClient& RegisterClient(BraskBroker& broker, ClientCode code, t_bprice_int clgoRatio, bool noFutDiscount,
                                std::int32_t nClr2Delivery, t_weight_int expWeight, Enums::ClientRiskLevel riskLevel,
                                Enums::InvestorStatus status);
    /// Registers a copy of the client under this firm, its positions included.
    BraskClient& RegisterClient(const BraskClient& client, BraskBroker& broker);

    /// Removes all clients of a firm; the firm stays. The flag has no meaning.
    void ClearBroker(BraskBroker& broker, bool unused = false);

private:
    template <class... Arguments>
    std::pair<BraskClient&, bool> EnterClient(BraskBroker& broker, ClientCode code, Arguments&&... arguments);

    ParticipantRepository& m_participantRepository;
    kv7im::InstrumentsRepository& m_instrumentRepository;
    const pos::PositionCalculatorInstruments& m_posCalcInstruments;
};

/// The account of firms that have no settlement account; its owner is the clearing firm of all accounts. There is one
/// for the whole process, made at first use, under Gross: its gross sum takes in the GO changes of all its firms.
[[nodiscard]] const BraskSettlementAccountPtr& GetDummySettlementAccount();
