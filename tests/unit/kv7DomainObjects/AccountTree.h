// AccountTree: a market to work by hand, and an account tree over it.
//
// The futures FUT of the base contract BC stands alone: one contract at 800, bought or sold, has a margin of 100
// (HandMarket.h). Without deliveries both margin figures are the same.
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "Broker.h"
#include "Client.h"
#include "HandMarket.h"
#include "MarginOrchestrator.h"
#include "ParticipantRegistrar.h"
#include "ParticipantRepository.h"
#include "PositionCalculatorInstruments.h"
#include "except.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecOrderList.h"

inline constexpr Isin UnknownIsin = 99;

[[nodiscard]] inline SSettlementAccountMoneyStruct AccountRecord(const std::string& id)
{
    SSettlementAccountMoneyStruct record;
    id.copy(record.Code, sizeof record.Code);
    return record;
}

/// A change of orders as an application asks for it: contracts of an instrument at a price, below 0 to cancel.
[[nodiscard]] inline SClearingDeltaOrder MakeOrder(Isin isin, bool isBuying, double price, std::int64_t deltaQuantity)
{
    SClearingDeltaOrder order;
    order.CalculatedPrice = {t_bprice_int(price),
                             isBuying ? KeyPriceType::Direction::Buy : KeyPriceType::Direction::Sell,
                             KeyPriceType::Type::Ordinal};
    order.isin = isin;
    order.isBuying = isBuying;
    order.orderInfo = SOrderInfo(SOrderInfo::InitializationType::FullFill, isin, deltaQuantity);
    return order;
}
[[nodiscard]] inline Z9ERR Buy(BraskClient& client, Isin isin, double price, std::int64_t deltaQuantity)
{
    const SClearingDeltaOrder order = MakeOrder(isin, true, price, deltaQuantity);
    return margin_orchestrator::ChangeOrder(client, isin, 1, &order);
}
[[nodiscard]] inline Z9ERR Sell(BraskClient& client, Isin isin, double price, std::int64_t deltaQuantity)
{
    const SClearingDeltaOrder order = MakeOrder(isin, false, price, deltaQuantity);
    return margin_orchestrator::ChangeOrder(client, isin, 1, &order);
}

/// What the exception says of itself.
struct Failure
{
    Z9ERR code = 0;
    std::string text;
};
/// The CZ9Error that the call ends in; code 0 when it does not.
template <class Call>
[[nodiscard]] Failure FailureOf(Call&& call)
{
    try {
        call();
    } catch (const kv7base::CZ9Error& error) {
        return {error.GetCode(), error.what()};
    }
    return {};
}

struct AccountTree
{
    AccountTree()
    {
        Check(instruments.SetEdgeCoeff(0.0)); // no tails
        Check(HandBaseContract().InsertInto(instruments));
        Check(HandFutures().InsertInto(instruments));
        positionInstruments.InsertBaseContract(1, false, 0);
        positionInstruments.InsertFutures("FUT", FUT, 1, 1.0, 1.0, t_bprice(800.0), 0.5, Enums::InstrumentStatus::None,
                                          100.0);
    }

    static void Check(Z9ERR code)
    {
        if (code != 0) throw std::runtime_error("the sample market is refused with code " + std::to_string(code));
    }

    BraskSettlementAccountPtr AddAccount(const std::string& id, Enums::MarginRule rule)
    {
        registrar.RegisterSettlementAccount(AccountRecord(id), rule, false, GetDummySettlementAccount()->GetOwner());
        return repository.GetSettlementAccountById(id);
    }

    BraskBroker& AddFirm(const std::string& code, Enums::MarginRule rule, const BraskSettlementAccountPtr& account,
                         double expWeight = 0.0, double expWeightClientDefault = 0.0,
                         std::int32_t nClr2DeliveryClientDefault = 0)
    {
        return registrar.RegisterBroker(BrokerCode::Parse(code), Enums::BrokerAccountType::Ordinary, rule, account, 0,
                                        nClr2DeliveryClientDefault, t_weight_int(expWeight),
                                        t_weight_int(expWeightClientDefault));
    }

    BraskClient& AddClient(BraskBroker& firm, const std::string& code, double expWeight = 0.0,
                           std::int32_t nClr2Delivery = 0)
    {
        return registrar.RegisterClient(firm, ClientCode::Parse(code), false, nClr2Delivery, t_weight_int(expWeight),
                                        Enums::ClientRiskLevel::Default, Enums::InvestorStatus::None);
    }

    kv7im::InstrumentsRepository instruments;
    pos::PositionCalculatorInstruments positionInstruments;
    ParticipantRepository repository;
    ParticipantRegistrar registrar{repository, instruments, positionInstruments};
};
