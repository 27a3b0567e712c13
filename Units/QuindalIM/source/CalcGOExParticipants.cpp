// The calculator's participants: registration, changed parameters, positions, orders and the resulting margins.
#include "CalcGOEx.h"

#include <string>

#include "BoundaryValues.h"
#include "MarginOrchestrator.h"
#include "ParticipantRegistrar.h"
#include "ParticipantRepository.h"
#include "TradingCodes.h"
#include "except.h"
#include "instruments/SpecOrderList.h"
#include "z9bcd.h"

namespace QuindalIM {

namespace {

[[nodiscard]] bool IsMarginRule(Enums::MarginRule rule) noexcept
{
    using enum Enums::MarginRule;
    return rule == Gross || rule == HalfNetting || rule == Netting;
}

[[nodiscard]] bool IsSpreadMarginType(Enums::SpreadMarginType type) noexcept
{
    using enum Enums::SpreadMarginType;
    return type == Unused || type == HalfNetting || type == Netting;
}

void SetSpreadParameters(ParticipantBase& participant, Enums::SpreadMarginType calendarSpreadMarginType,
                         Enums::SpreadMarginType interContractSpreadMarginType, double shortOptionMinimumChargeRatio)
{
    participant.SetCalSpreadMarginType(calendarSpreadMarginType);
    participant.SetInterContractSpreadMarginType(interContractSpreadMarginType);
    participant.SetShortOptionMinimumChargeRatio(shortOptionMinimumChargeRatio);
}

} // namespace

std::size_t CCalcGOEx::GetClientCount() const { return participantRepository_.GetClientCount(); }

Z9ERR CCalcGOEx::RegisterSettlementAccount(const char* SettlementAccountId, Enums::MarginRule marginRule,
                                           Enums::SpreadMarginType calendarSpreadMarginType,
                                           Enums::SpreadMarginType interContractSpreadMarginType,
                                           double ShortOptionMinimumChargeRatio)
{
    const AccountId id(SettlementAccountId);
    if (participantRepository_.SearchSettlementAccountById(id.c_str()) != nullptr)
        return Z9ERR_CALCGO_API_ERROR_SETTLEMENT_ACCOUNT_ALREADY_EXIST;
    if (!IsMarginRule(marginRule) || !IsSpreadMarginType(calendarSpreadMarginType))
        return Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS;

    SSettlementAccountMoneyStruct money;
    std::copy_n(id.c_str(), sizeof money.Code, money.Code);
    ParticipantRegistrar registrar(participantRepository_, instrumentsRepository_, posCalcInstruments_);
    registrar.RegisterSettlementAccount(money, marginRule, false, GetDummySettlementAccount()->GetOwner());

    SetSpreadParameters(*participantRepository_.GetSettlementAccountById(id.c_str()), calendarSpreadMarginType,
                        interContractSpreadMarginType, ShortOptionMinimumChargeRatio);
    m_empty = false;
    return Z9ERR_OK;
}

Z9ERR CCalcGOEx::RegisterBroker(const char* BrokerCode, std::int32_t NClr2Delivery, double ExpWeight,
                                double ExpWeightClientDefault, Enums::BrokerAccountType brokerAccountType,
                                const char* SettlementAccountId, Enums::SpreadMarginType calendarSpreadMarginType,
                                Enums::MarginRule marginRule, Enums::SpreadMarginType interContractSpreadMarginType,
                                double ShortOptionMinimumChargeRatio)
{
    const ::BrokerCode code = CodeParser<::BrokerCode>(BrokerCode).Parse();
    if (participantRepository_.ContainsBroker(code)) return Z9ERR_CALCGO_API_ERROR_FIRM_ALREADY_EXIST;

    BraskSettlementAccountPtr account =
        participantRepository_.SearchSettlementAccountById(AccountId(SettlementAccountId).c_str());
    if (account == nullptr) account = GetDummySettlementAccount(); // a firm may stand without an account of its own

    const t_weight_int expWeight = ToWeightInt(ExpWeight); // in this order: either may be refused
    const t_weight_int expWeightClientDefault = ToWeightInt(ExpWeightClientDefault);
    constexpr std::int32_t nClr2DeliveryClientDefault = 0;
    ParticipantRegistrar registrar(participantRepository_, instrumentsRepository_, posCalcInstruments_);
    BraskBroker& broker = registrar.RegisterBroker(code, brokerAccountType, marginRule, account, NClr2Delivery,
                                                   nClr2DeliveryClientDefault, expWeight, expWeightClientDefault);

    SetSpreadParameters(broker, calendarSpreadMarginType, interContractSpreadMarginType, ShortOptionMinimumChargeRatio);
    m_empty = false;
    return Z9ERR_OK;
}

Z9ERR CCalcGOEx::RegisterClient(const char* ClientCode, bool NoFutDiscount, std::int32_t NClr2Delivery,
                                double ExpWeight, Enums::SpreadMarginType calendarSpreadMarginType,
                                Enums::SpreadMarginType interContractSpreadMarginType, double GORatio,
                                double ShortOptionMinimumChargeRatio, Enums::ClientRiskLevel clientRiskLevel)
{
    const ::ClientCode code = CodeParser<::ClientCode>(ClientCode).Parse();
    const ClientSearchResult found = participantRepository_.SearchClient(code);
    if (!found.BrokerFound()) return Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND;
    if (found.ClientFound()) return Z9ERR_CALCGO_API_ERROR_PART_ALREADY_EXIST;

    // A ratio that is no number has no fixed-point form, and a level outside the five has no parameters to margin by.
    const t_bprice_int ratio(GORatio);
    if (ratio.IsNAN() || !IsClientRiskLevel(clientRiskLevel)) return Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS;

    ParticipantRegistrar registrar(participantRepository_, instrumentsRepository_, posCalcInstruments_);
    BraskClient& client =
        registrar.RegisterClient(*found.Broker(), code, NoFutDiscount, NClr2Delivery, ToWeightInt(ExpWeight),
                                 clientRiskLevel, Enums::InvestorStatus::None);

    SetSpreadParameters(client, calendarSpreadMarginType, interContractSpreadMarginType, ShortOptionMinimumChargeRatio);
    client.SetClgoRatio(ratio);
    m_empty = false;
    return Z9ERR_OK;
}

Z9ERR CCalcGOEx::InsertBrokerBaseContractParam(const char* Code, const char* CodeBC, double GORatio)
{
    const BrokerCode code = CodeParser<BrokerCode>(Code).Parse();
    participantRepository_.GetBroker(code, Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND)
        .SetBaseContractGORatio(CodeBC, GORatio);
    return Z9ERR_OK;
}

Z9ERR CCalcGOEx::ChangeClient(const char* Code, bool NoFutDiscount, std::int32_t NClr2Delivery, double ExpWeight)
{
    const ClientSearchResult found = participantRepository_.SearchClient(CodeParser<ClientCode>(Code).Parse());
    if (!found.ClientFound()) return Z9ERR_CALCGO_API_ERROR_PART_NOT_FOUND;

    try {
        ClientRiskParameters parameters = found.Client()->GetRiskParameters();
        parameters.noFutDiscount = NoFutDiscount;
        parameters.nClr2Delivery = NClr2Delivery;
        parameters.expWeight = ToWeightInt(ExpWeight);
        found.Client()->SetRiskParameters(parameters);
        return Z9ERR_OK;
    } catch (const kv7base::CZ9Error& error) {
        // Exhausted memory is one failure, whichever allocation noticed it.
        if (error.GetCode() != Z9ERR_COMMON_NO_MEMORY) return error.GetCode();
    } catch (...) { // the log says what it was
    }
    return Z9ERR_CALCGO_API_COMMON_ERROR;
}

Z9ERR CCalcGOEx::SetPositionEx(const char* Code, Isin isin, std::int64_t Quantity, double WAPrice,
                               double& VolatilityPartGO, double& DeliveryAndVolatilityPartGO, double& PartGO,
                               double& FirmGO, double& SettlementAccountGO,
                               Enums::AccountHierarchyRecordType accountHierarchy,
                               std::int64_t afterLastClearingQuantity)
{
    using enum Enums::AccountHierarchyRecordType;
    const bool namesAccount = accountHierarchy != Client && accountHierarchy != Broker;
    const AccountId accountId(namesAccount ? Code : "");

    margin_orchestrator::NamedParticipant named;
    const Z9ERR result = margin_orchestrator::SetPositionByRecordType(
        namesAccount ? accountId.c_str() : Code, accountHierarchy, isin, Quantity, WAPrice, afterLastClearingQuantity,
        participantRepository_, &named);
    if (result != Z9ERR_OK) return result;

    if (accountHierarchy == Client) {
        GetClientAndBrokerInitialMargin(*named.client, VolatilityPartGO, DeliveryAndVolatilityPartGO, PartGO, FirmGO,
                                        SettlementAccountGO);
    } else if (accountHierarchy == Broker) {
        FirmGO = named.broker->GetInitialMargin();
        SettlementAccountGO = named.broker->GetSettlementAccount()->GetInitialMargin();
    } else if (accountHierarchy == SettlementAccount) {
        SettlementAccountGO = named.account->GetInitialMargin();
    }
    m_empty = false;
    return Z9ERR_OK;
}

Z9ERR CCalcGOEx::ChangeOrderEx(const char* Code, Isin isin, bool isBuying, t_bprice_int price,
                               std::int64_t DeltaQuantity, double& VolatilityPartGO,
                               double& DeliveryAndVolatilityPartGO, double& PartGO, double& FirmGO,
                               double& SettlementAccountGO)
{
    SClearingDeltaOrder order;
    order.CalculatedPrice.calculatedPrice = price;
    order.CalculatedPrice.direction = isBuying ? KeyPriceType::Direction::Buy : KeyPriceType::Direction::Sell;
    order.CalculatedPrice.type = KeyPriceType::Type::Ordinal; // a multileg makes its legs' kinds of it
    order.isin = isin;
    order.isBuying = isBuying;
    order.orderInfo = SOrderInfo(SOrderInfo::InitializationType::FullFill, isin, DeltaQuantity);

    BraskClient& client = participantRepository_.GetClient(CodeParser<ClientCode>(Code).Parse());
    const Z9ERR result = margin_orchestrator::ChangeOrder(client, isin, 1, &order);
    if (result != Z9ERR_OK) return result;

    GetClientAndBrokerInitialMargin(client, VolatilityPartGO, DeliveryAndVolatilityPartGO, PartGO, FirmGO,
                                    SettlementAccountGO);
    return Z9ERR_OK;
}

void CCalcGOEx::GetClientAndBrokerInitialMargin(const BraskClient& client, double& VolatilityPartGO,
                                                double& DeliveryAndVolatilityPartGO, double& PartGO, double& FirmGO,
                                                double& SettlementAccountGO)
{
    VolatilityPartGO = client.GetPortfolio().GetVolatilityInitialMargin();
    DeliveryAndVolatilityPartGO = client.GetPortfolio().GetDeliveryVolatilityInitialMargin();
    PartGO = client.GetInitialMargin();
    FirmGO = client.GetBroker().GetInitialMargin();
    SettlementAccountGO = client.GetBroker().GetSettlementAccount()->GetInitialMargin();
}

} // namespace QuindalIM
