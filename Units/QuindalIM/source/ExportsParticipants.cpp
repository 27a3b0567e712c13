// Exported functions: the account tree, positions and orders.
#include "QuindalIM.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>

#include "CalcGOConsts.h"
#include "Enums.h"
#include "ExportFrame.h"
#include "LibraryState.h"
#include "z9bcd.h"
#include "z9log.h"

using namespace QuindalIM;

namespace {

/// False, with a line in the log and the outcome recorded, when the code has another length.
[[nodiscard]] bool HasLength(ExportCall& call, const char* name, const char* code, std::size_t length)
{
    if (std::strlen(code) == length) return true;
    KV7TRACE_ERROR_EX(LogCategory, "%s: Length of %s must be %d symbols", call.Name(), name, static_cast<int>(length));
    call.SetError(Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS);
    return false;
}

/// False, with a line in the log, when the exchange allows this user no further client.
[[nodiscard]] bool HasRoomForClient(const ExportCall& call, const CCalcGOEx& calculator)
{
    const std::int32_t limit = g_mq_core.m_part_count;
    if (limit == -1 || (limit > 0 && static_cast<std::size_t>(limit) > calculator.GetClientCount())) return true;
    KV7TRACE_ERROR_EX(LogCategory, "%s: Exceeded limit on number of participants (max %d)", call.Name(), limit);
    return false;
}

/// False, with a line in the log and the outcome recorded, when the link to the server is down.
[[nodiscard]] bool HasConnection(ExportCall& call)
{
    if (g_mq_core.CheckPing()) return true;
    KV7TRACE_ERROR_WITH_CODE_EX(Z9ERR_QUINDAL_IM_NOT_CONNECTED, LogCategory, "%s: Check connection failed: %s (%R)",
                                call.Name(), g_mq_core.GetLastError(), g_mq_core.GetLastErrorCode());
    call.SetError(Z9ERR_QUINDAL_IM_NOT_CONNECTED);
    return false;
}

/// The way of a position and of an order: the link, the handle, the instrument, then change(calculator, isin, price). A
/// price of 0.0 becomes the instrument's own price, which is NaN for a multileg; any other price stays.
template <class Change>
[[nodiscard]] Z9ERR ChangeAtInstrument(ExportCall& call, intptr_t QuindalIMCalculator, const char* InstrCode,
                                       double price, const Change& change)
{
    if (!HasConnection(call)) return Z9ERR_QUINDAL_IM_NOT_CONNECTED;
    CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);

    Isin isin = 0;
    double calculatedPrice = std::numeric_limits<double>::quiet_NaN();
    const Z9ERR found = calculator.GetIsinAndCalcPriceByCode(InstrCode, isin, calculatedPrice);
    if (found != Z9ERR_OK) return call.SetError(found);
    return call.SetError(change(calculator, isin, price == 0.0 ? calculatedPrice : price));
}

void RecordMargins(ExportCall& call, const double* VolatilityPartGO, const double* DeliveryAndVolatilityPartGO,
                   const double* PartGO, const double* FirmGO, const double* SettlementAccountGO)
{
    call.Params()
        .Add("VolatilityPartGO", VolatilityPartGO)
        .Add("DeliveryAndVolatilityPartGO", DeliveryAndVolatilityPartGO)
        .Add("PartGO", PartGO)
        .Add("FirmGO", FirmGO)
        .Add("SettlementAccountGO", SettlementAccountGO);
}

} // namespace

int32_t RegisterSettlementAccount(intptr_t QuindalIMCalculator, const char* SettlementAccountId,
                                  QuindalMarginRule marginRule, QuindalSpreadMarginType calendarSpreadMarginType,
                                  QuindalSpreadMarginType interContractSpreadMarginType,
                                  double ShortOptionMinimumChargeRatio)
{
    return Export(
        "RegisterSettlementAccount",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator)
                .Add("SettlementAccountId", SettlementAccountId)
                .Add("marginRule", marginRule)
                .Add("calendarSpreadMarginType", calendarSpreadMarginType)
                .Add("interContractSpreadMarginType", interContractSpreadMarginType)
                .Add("ShortOptionMinimumChargeRatio", ShortOptionMinimumChargeRatio);
        },
        {{"SettlementAccountId", SettlementAccountId}},
        [&](ExportCall& call) {
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            return call.SetError(calculator.RegisterSettlementAccount(
                SettlementAccountId, static_cast<Enums::MarginRule>(marginRule),
                static_cast<Enums::SpreadMarginType>(calendarSpreadMarginType),
                static_cast<Enums::SpreadMarginType>(interContractSpreadMarginType), ShortOptionMinimumChargeRatio));
        });
}

int32_t RegisterFirm(intptr_t QuindalIMCalculator, const char* BrokerCode, int32_t NClr2Delivery, double ExpWeight,
                     double ExpWeightClientDefault, QuindalBrokerAccountType brokerAccountType,
                     const char* SettlementAccountId, QuindalSpreadMarginType calendarSpreadMarginType,
                     QuindalMarginRule marginRule, QuindalSpreadMarginType interContractSpreadMarginType,
                     double ShortOptionMinimumChargeRatio, int8_t)
{
    const char* const accountId = SettlementAccountId != nullptr ? SettlementAccountId : ""; // null names no account
    return Export(
        "RegisterFirm",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator)
                .Add("BrokerCode", BrokerCode)
                .Add("NClr2Delivery", NClr2Delivery)
                .Add("ExpWeight", ExpWeight)
                .Add("ExpWeightClientDefault", ExpWeightClientDefault)
                .Add("brokerAccountType", brokerAccountType)
                .Add("SettlementAccountId", accountId)
                .Add("calendarSpreadMarginType", calendarSpreadMarginType)
                .Add("marginRule", marginRule)
                .Add("interContractSpreadMarginType", interContractSpreadMarginType)
                .Add("ShortOptionMinimumChargeRatio", ShortOptionMinimumChargeRatio);
        },
        {{"BrokerCode", BrokerCode}},
        [&](ExportCall& call) -> Z9ERR {
            if (!HasLength(call, "BrokerCode", BrokerCode, 4)) return Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS;
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            return call.SetError(calculator.RegisterBroker(
                BrokerCode, NClr2Delivery, ExpWeight, ExpWeightClientDefault,
                static_cast<Enums::BrokerAccountType>(brokerAccountType), accountId,
                static_cast<Enums::SpreadMarginType>(calendarSpreadMarginType),
                static_cast<Enums::MarginRule>(marginRule),
                static_cast<Enums::SpreadMarginType>(interContractSpreadMarginType), ShortOptionMinimumChargeRatio));
        });
}

int32_t RegisterPart(intptr_t QuindalIMCalculator, const char* ClientCode, int32_t NoFutDiscount, int32_t NClr2Delivery,
                     double ExpWeight, QuindalSpreadMarginType calendarSpreadMarginType,
                     QuindalSpreadMarginType interContractSpreadMarginType, double GORatio,
                     double ShortOptionMinimumChargeRatio, QuindalClientRiskLevel clientRiskLevel, int8_t)
{
    return Export(
        "RegisterPart",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator)
                .Add("ClientCode", ClientCode)
                .Add("NoFutDiscount", NoFutDiscount)
                .Add("NClr2Delivery", NClr2Delivery)
                .Add("ExpWeight", ExpWeight)
                .Add("calendarSpreadMarginType", calendarSpreadMarginType)
                .Add("interContractSpreadMarginType", interContractSpreadMarginType)
                .Add("GORatio", GORatio)
                .Add("ShortOptionMinimumChargeRatio", ShortOptionMinimumChargeRatio)
                .Add("clientRiskLevel", clientRiskLevel);
        },
        {{"ClientCode", ClientCode}},
        [&](ExportCall& call) -> Z9ERR {
            if (!HasLength(call, "ClientCode", ClientCode, 7)) return Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS;
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            if (!HasRoomForClient(call, calculator))
                return call.SetError(Z9ERR_QUINDAL_IM_EXCEEDED_LIMIT_OF_PARTICIPANTS);
            return call.SetError(calculator.RegisterClient(
                ClientCode, NoFutDiscount != 0, NClr2Delivery, ExpWeight,
                static_cast<Enums::SpreadMarginType>(calendarSpreadMarginType),
                static_cast<Enums::SpreadMarginType>(interContractSpreadMarginType), GORatio,
                ShortOptionMinimumChargeRatio, static_cast<Enums::ClientRiskLevel>(clientRiskLevel)));
        });
}

int32_t ChangePart(intptr_t QuindalIMCalculator, const char* Code, int32_t NoFutDiscount, int32_t NClr2Delivery,
                   double ExpWeight)
{
    return Export(
        "ChangePart",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator)
                .Add("Code", Code)
                .Add("NoFutDiscount", NoFutDiscount)
                .Add("NClr2Delivery", NClr2Delivery)
                .Add("ExpWeight", ExpWeight);
        },
        {{"Code", Code}},
        [&](ExportCall& call) -> Z9ERR {
            if (!HasLength(call, "Code", Code, 7)) return Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS;
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            return call.SetError(calculator.ChangeClient(Code, NoFutDiscount != 0, NClr2Delivery, ExpWeight));
        });
}

int32_t InsertBrokerBaseContractParam(intptr_t QuindalIMCalculator, const char* Code, const char* CodeBC,
                                      double GORatio)
{
    return Export(
        "InsertBrokerBaseContractParam",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator)
                .Add("Code", Code)
                .Add("CodeBC", CodeBC)
                .Add("GORatio", GORatio);
        },
        {{"Code", Code}, {"CodeBC", CodeBC}},
        [&](ExportCall& call) {
            CCalcGOEx& calculator = GetQuindalImCalculator(QuindalIMCalculator);
            return call.SetError(calculator.InsertBrokerBaseContractParam(Code, CodeBC, GORatio));
        });
}

int32_t SetPosition(intptr_t QuindalIMCalculator, const char* Code, const char* InstrCode, int64_t Quantity,
                    double WAPrice, double* VolatilityPartGO, double* DeliveryAndVolatilityPartGO, double* PartGO,
                    double* FirmGO, double* SettlementAccountGO, QuindalAccountHierarchyRecordType accountHierarchy,
                    int64_t afterLastClearingQuantity)
{
    return Export(
        "SetPosition",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator)
                .Add("Code", Code)
                .Add("InstrCode", InstrCode)
                .Add("Quantity", Quantity)
                .Add("WAPrice", WAPrice)
                .Add("accountHierarchy", accountHierarchy)
                .Add("afterLastClearingQuantity", afterLastClearingQuantity);
        },
        {{"InstrCode", InstrCode}, // looked at before Code, unlike in the signature
         {"Code", Code},
         {"VolatilityPartGO", VolatilityPartGO},
         {"DeliveryAndVolatilityPartGO", DeliveryAndVolatilityPartGO},
         {"PartGO", PartGO},
         {"FirmGO", FirmGO},
         {"SettlementAccountGO", SettlementAccountGO}},
        [&](ExportCall& call) {
            const auto change = [&](CCalcGOEx& calculator, Isin isin, double price) {
                double goAboveClient = 0.0; // of the firm and of the account: this interface does not hand them out
                const Z9ERR result = calculator.SetPositionEx(
                    Code, isin, Quantity, price, *VolatilityPartGO, *DeliveryAndVolatilityPartGO, *PartGO,
                    goAboveClient, goAboveClient, static_cast<Enums::AccountHierarchyRecordType>(accountHierarchy),
                    afterLastClearingQuantity);
                if (result == Z9ERR_OK)
                    RecordMargins(call, VolatilityPartGO, DeliveryAndVolatilityPartGO, PartGO, nullptr, nullptr);
                return result;
            };
            return ChangeAtInstrument(call, QuindalIMCalculator, InstrCode, WAPrice, change);
        });
}

int32_t ChangeOrder(intptr_t QuindalIMCalculator, const char* Code, const char* InstrCode, int32_t IsBuy, double Price,
                    int64_t DeltaQuantity, double* VolatilityPartGO, double* DeliveryAndVolatilityPartGO,
                    double* PartGO, double* FirmGO, double* SettlementAccountGO)
{
    return Export(
        "ChangeOrder",
        [&](ParamsBuilder params) {
            params.Add("QuindalIMCalculator", QuindalIMCalculator)
                .Add("Code", Code)
                .Add("InstrCode", InstrCode)
                .Add("IsBuy", IsBuy)
                .Add("Price", Price)
                .Add("DeltaQuantity", DeltaQuantity);
        },
        {{"Code", Code}, // in the order of the signature, unlike in SetPosition
         {"InstrCode", InstrCode},
         {"VolatilityPartGO", VolatilityPartGO},
         {"DeliveryAndVolatilityPartGO", DeliveryAndVolatilityPartGO},
         {"PartGO", PartGO},
         {"FirmGO", FirmGO},
         {"SettlementAccountGO", SettlementAccountGO}},
        [&](ExportCall& call) {
            const auto change = [&](CCalcGOEx& calculator, Isin isin, double price) {
                double goAboveClient = 0.0; // of the firm and of the account: this interface does not hand them out
                const Z9ERR result = calculator.ChangeOrderEx(Code, isin, IsBuy != 0, ToPriceInt(price), DeltaQuantity,
                                                              *VolatilityPartGO, *DeliveryAndVolatilityPartGO, *PartGO,
                                                              goAboveClient, goAboveClient);
                if (result != Z9ERR_OK) return result;

                *FirmGO = 0.0; // SetPosition leaves these two alone; the difference is meant
                *SettlementAccountGO = 0.0;
                RecordMargins(call, VolatilityPartGO, DeliveryAndVolatilityPartGO, PartGO, FirmGO, SettlementAccountGO);
                return result;
            };
            return ChangeAtInstrument(call, QuindalIMCalculator, InstrCode, Price, change);
        });
}
