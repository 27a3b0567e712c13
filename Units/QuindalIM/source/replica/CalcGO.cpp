// The calculator's read-back of risks: what is asked for, and of whom. RiskReadBack.cpp makes the arrays.
#include "CalcGO.h"

#include <algorithm>
#include <bit>
#include <initializer_list>

#include "BoundaryValues.h"
#include "ParticipantRepository.h"
#include "TradingCodes.h"
#include "grids/Risk.h"
#include "instruments/InstrumentsRepository.h"
#include "instruments/SpecFutures.h"
#include "instruments/SpecOption.h"
#include "instruments/SpecVirtFutures.h"
#include "kv7errors.h"

namespace QuindalIM {

namespace {

using kv7im::AccessByStatus;

[[nodiscard]] bool HasAtMostOneMatrix(eChooseRiskType riskType) noexcept
{
    return std::popcount(static_cast<std::uint32_t>(riskType) >> 1U) <= 1;
}

/// What an operation is asked for: the type, the texts and the array; its sizes on entry tell the kind of the call.
struct Request
{
    eChooseRiskType riskType;
    std::initializer_list<const char*> texts;
    double* arr;
    bool isCopyingCall;
    Enums::ClientRiskLevel level = Enums::ClientRiskLevel::Default; // of an instrument

    [[nodiscard]] bool IsWrongInput() const noexcept
    {
        return std::ranges::find(texts, nullptr) != texts.end() || !HasAtMostOneMatrix(riskType) ||
               !IsClientRiskLevel(level);
    }
};

/// The book that the client's margin is made of: the one without premium-style options where they stay out of the
/// margin.
[[nodiscard]] const kv7im::Portfolio& MarginBookOf(const BraskClient& client) noexcept
{
    return client.IsNotUseNOV() ? client.GetPortfolioWithoutEquityOptions() : client.GetPortfolio();
}

/// The course of every operation: the checks, then `find`, which returns a code and fills in the result, then a copy of
/// the whole result, whatever the sizes were on entry.
template <class Find>
[[nodiscard]] std::int32_t Answer(const Request& request, const Find& find)
{
    Z9ERR code = Z9ERR_OK;
    if (request.IsWrongInput()) {
        code = Z9ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS;
    } else if (request.isCopyingCall && request.arr == nullptr) {
        code = Z9ERR_QUINDAL_IM_WRONG_ARGUMENTS;
    } else {
        std::vector<double> result;
        code = find(result);
        if (code == Z9ERR_OK && request.isCopyingCall) std::ranges::copy(result, request.arr);
    }
    return static_cast<std::int32_t>(code);
}

} // namespace

std::int32_t CCalcGO::GetClientVfRisksArray(eChooseRiskType riskType, const char* instrCode, const char* Code,
                                            double* arr, std::size_t& pointsNum, std::size_t& scenarioNum,
                                            _ExtraRisksInfo& xInfo) const
{
    return GetClientVfOrDeliveryRisksArray(riskType, instrCode, Code, arr, pointsNum, scenarioNum, xInfo);
}

std::int32_t CCalcGO::GetClientDeliveryRisksArray(eChooseRiskType riskType, const char* instrCode, const char* Code,
                                                  double* arr, std::size_t& pointsNum, std::size_t& scenarioNum,
                                                  _ExtraRisksInfo& xInfo) const
{
    return GetClientVfOrDeliveryRisksArray(riskType, instrCode, Code, arr, pointsNum, scenarioNum, xInfo);
}

std::int32_t CCalcGO::GetClientFutRisksArray(eChooseRiskType riskType, const char* instrCode, const char* Code,
                                             double* arr, std::size_t& pointsNum, std::size_t& scenarioNum,
                                             _ExtraRisksInfo& xInfo) const
{
    return GetFutOrMcsOrMmsRisksArray(riskType, instrCode, Code, arr, pointsNum, scenarioNum, xInfo);
}

std::int32_t CCalcGO::GetClientMmsRisksArray(eChooseRiskType riskType, const char* instrCode, const char* Code,
                                             double* arr, std::size_t& pointsNum, std::size_t& scenarioNum,
                                             _ExtraRisksInfo& xInfo) const
{
    return GetFutOrMcsOrMmsRisksArray(riskType, instrCode, Code, arr, pointsNum, scenarioNum, xInfo);
}

std::int32_t CCalcGO::GetClientMcsRisksArray(eChooseRiskType riskType, const char* instrCode, const char* Code,
                                             double* arr, std::size_t& pointsNum, std::size_t& scenarioNum,
                                             _ExtraRisksInfo& xInfo) const
{
    return GetFutOrMcsOrMmsRisksArray(riskType, instrCode, Code, arr, pointsNum, scenarioNum, xInfo);
}

std::int32_t CCalcGO::GetClientVfOrDeliveryRisksArray(eChooseRiskType riskType, const char* instrCode, const char* Code,
                                                      double* arr, std::size_t& pointsNum, std::size_t& scenarioNum,
                                                      _ExtraRisksInfo& xInfo) const
{
    const bool isCopyingCall = pointsNum != 0 && scenarioNum != 0;
    return Answer({riskType, {instrCode, Code}, arr, isCopyingCall}, [&](std::vector<double>& result) -> Z9ERR {
        if (!instrumentsRepository_.VirtualFuturesExists(instrCode))
            return Z9ERR_CALCGO_API_ERROR_VIRTFUTURES_NOT_FOUND;
        const BraskClient* client = nullptr;
        const Z9ERR missing = FindClient(Code, client);
        if (missing != Z9ERR_OK) return missing;

        const NodeWithMatrices found = FindNodeOfSeries(MarginBookOf(*client), instrCode);
        if (found.node != nullptr)
            result = ToVector(*found.node, *found.baseContract, riskType, pointsNum, scenarioNum, xInfo);
        else
            pointsNum = scenarioNum = 0;
        return Z9ERR_OK;
    });
}

std::int32_t CCalcGO::GetFutOrMcsOrMmsRisksArray(eChooseRiskType riskType, const char* instrCode, const char* Code,
                                                 double* arr, std::size_t& pointsNum, std::size_t& scenarioNum,
                                                 _ExtraRisksInfo& xInfo) const
{
    const bool isCopyingCall = pointsNum != 0 && scenarioNum != 0;
    return Answer({riskType, {instrCode, Code}, arr, isCopyingCall}, [&](std::vector<double>& result) -> Z9ERR {
        const BraskClient* client = nullptr;
        const Z9ERR missing = FindClient(Code, client);
        if (missing != Z9ERR_OK) return missing;
        result = ToVector(client, MarginBookOf(*client), instrCode, riskType, pointsNum, scenarioNum, xInfo);
        return Z9ERR_OK;
    });
}

Z9ERR CCalcGO::FindClient(const char* code, const BraskClient*& client) const
{
    const ClientSearchResult found = participantRepository_.SearchClient(CodeParser<ClientCode>(code).Parse());
    client = found.Client();
    return found.ReportFailure(Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND, Z9ERR_CALCGO_API_ERROR_PART_NOT_FOUND);
}

std::int32_t CCalcGO::GetBrokerRisksArray(eChooseRiskType riskType, const char* instrCode, const char* brokerCode,
                                          double* arr, std::size_t& pointsNum, std::size_t& scenarioNum,
                                          _ExtraRisksInfo& xInfo) const
{
    const bool isCopyingCall = pointsNum != 0 && scenarioNum != 0;
    return Answer({riskType, {instrCode, brokerCode}, arr, isCopyingCall}, [&](std::vector<double>& result) -> Z9ERR {
        const BraskBroker* const broker =
            participantRepository_.SearchBroker(CodeParser<BrokerCode>(brokerCode).Parse());
        if (broker == nullptr) return Z9ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND;
        result = ToVector(broker, broker->GetPortfolio(), instrCode, riskType, pointsNum, scenarioNum, xInfo);
        return Z9ERR_OK;
    });
}

std::int32_t CCalcGO::GetSettlementAccountRisksArray(eChooseRiskType riskType, const char* instrCode, const char* Code,
                                                     double* arr, std::size_t& pointsNum, std::size_t& scenarioNum,
                                                     _ExtraRisksInfo& xInfo) const
{
    const bool isCopyingCall = pointsNum != 0 && scenarioNum != 0;
    return Answer({riskType, {instrCode, Code}, arr, isCopyingCall}, [&](std::vector<double>& result) -> Z9ERR {
        const BraskSettlementAccountPtr account =
            participantRepository_.SearchSettlementAccountById(AccountId(Code).c_str());
        if (account == nullptr) return Z9ERR_DATALOAD_SETTLEMENT_ACCOUNT_NOT_FOUND;
        result = ToVector(account.get(), account->GetPortfolio(), instrCode, riskType, pointsNum, scenarioNum, xInfo);
        return Z9ERR_OK;
    });
}

// The final operations pass a scenario count of their own, so that the points alone make a copying call.

std::int32_t CCalcGO::GetClientRiskFinalRiskArray(eChooseRiskType riskType, const char* instrCode, const char* Code,
                                                  double* arr, std::size_t& pointsNum, _ExtraRisksInfo& xInfo) const
{
    std::size_t scenarioNum = 1;
    return GetFutOrMcsOrMmsRisksArray(riskType, instrCode, Code, arr, pointsNum, scenarioNum, xInfo);
}

std::int32_t CCalcGO::GetBrokerRiskFinalRiskArray(eChooseRiskType riskType, const char* instrCode,
                                                  const char* brokerCode, double* arr, std::size_t& pointsNum,
                                                  _ExtraRisksInfo& xInfo) const
{
    std::size_t scenarioNum = 1;
    return GetBrokerRisksArray(riskType, instrCode, brokerCode, arr, pointsNum, scenarioNum, xInfo);
}

std::int32_t CCalcGO::GetSettlementAccountFinalRiskArray(eChooseRiskType riskType, const char* instrCode,
                                                         const char* Code, double* arr, std::size_t& pointsNum,
                                                         _ExtraRisksInfo& xInfo) const
{
    std::size_t scenarioNum = 1;
    return GetSettlementAccountRisksArray(riskType, instrCode, Code, arr, pointsNum, scenarioNum, xInfo);
}

std::int32_t CCalcGO::GetRiskPoints(eChooseRiskType riskType, const char* instrCode, bool isOption, double* arr,
                                    std::size_t& pointsNum, std::size_t& scenarioCount, _ExtraRisksInfo& xInfo,
                                    Enums::ClientRiskLevel level) const
{
    if (isOption) return GetOptionRisksArray(riskType, instrCode, arr, pointsNum, scenarioCount, xInfo, level);

    const bool isCopyingCall = pointsNum != 0 && scenarioCount != 0;
    return Answer({riskType, {instrCode}, arr, isCopyingCall, level}, [&](std::vector<double>& result) -> Z9ERR {
        const kv7im::CSpecFutures* const futures =
            instrumentsRepository_.GetFutures(AccessByStatus::eCurrent, instrCode);
        if (futures == nullptr) return Z9ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND;
        result = ToVector(kv7im::Risk(*futures, level), riskType, pointsNum, scenarioCount, xInfo);
        return Z9ERR_OK;
    });
}

std::int32_t CCalcGO::GetOptionRisksArray(eChooseRiskType choosenRiskType, const char* InstrCode, double* arr,
                                          std::size_t& pointsCount, std::size_t& scenarioCount, _ExtraRisksInfo& xInfo,
                                          Enums::ClientRiskLevel level) const
{
    const bool isCopyingCall = pointsCount != 0 && scenarioCount != 0;
    return Answer({choosenRiskType, {InstrCode}, arr, isCopyingCall, level}, [&](std::vector<double>& result) -> Z9ERR {
        const kv7im::CSpecOption* const option = instrumentsRepository_.GetOption(AccessByStatus::eCurrent, InstrCode);
        if (option == nullptr) return Z9ERR_CALCGO_API_ERROR_OPTION_NOT_FOUND;
        result = ToVector(kv7im::Risk(*option, level), choosenRiskType, pointsCount, scenarioCount, xInfo);
        return Z9ERR_OK;
    });
}

} // namespace QuindalIM
