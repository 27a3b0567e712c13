// Exported functions: the arrays of risks, none of which is supported. Each records its arguments and says so in the
// log, and neither reads nor writes anything of the caller; so the library need not be started and no pointer is
// checked.
#include "QuindalIM.h"

#include "CalcGOConsts.h"
#include "ExportFrame.h"
#include "grids/StressPoints.h"
#include "z9log.h"

using namespace QuindalIM;

static_assert(sizeof(ExtraRisksInfo) == 68 && sizeof(QuindalRiskType) == 4, "they cross the boundary as they are");
static_assert(sizeof(ExtraRisksInfo) == kv7im::stress::Points.size() * sizeof(double) + sizeof(int32_t),
              "each stress point crosses the boundary");

namespace {

/// Names of a function in the trace and in the log. The arrays of final risks have one body for the plain ones and for
/// those with positive values; the trace names the body, the log the plain function.
struct ReadBack
{
    const char* inTrace;
    const char* inLog = inTrace;
};

constexpr ReadBack ClientFinal{"GetClientFinalRisksArrayPrivate", "GetClientFinalRisksArray"};
constexpr ReadBack BrokerFinal{"GetBrokerFinalRisksArrayPrivate", "GetBrokerFinalRisksArray"};
constexpr ReadBack AccountFinal{"GetSettlementAccountFinalRisksArrayPrivate", "GetSettlementAccountFinalRisksArray"};

template <class Inputs>
[[nodiscard]] int32_t NotSupported(const ReadBack& function, const Inputs& recordInputs)
{
    return Export(function.inTrace, recordInputs, {}, [&](ExportCall& call) {
        KV7TRACE_ERROR_WITH_CODE_EX(Z9ERR_QUINDAL_IM_NOT_SUPPORTED, LogCategory, "QuindalIM::%s error - Not supported",
                                    function.inLog);
        return call.SetError(Z9ERR_QUINDAL_IM_NOT_SUPPORTED);
    });
}

/// Code of a participant, under the name that the signature gives it.
struct ParticipantCode
{
    const char* name;
    const char* value;
};

[[nodiscard]] int32_t NotSupported(const ReadBack& function, intptr_t QuindalIMCalculator, QuindalRiskType riskType,
                                   const char* instrCode, const ParticipantCode& code)
{
    return NotSupported(function, [&](ParamsBuilder params) {
        params.Add("QuindalIMCalculator", QuindalIMCalculator)
            .Add("riskType", riskType)
            .Add("instrCode", instrCode)
            .Add(code.name, code.value);
    });
}

} // namespace

int32_t GetClientVfRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType, const char* instrCode,
                              const char* Code, double*, int32_t*, int32_t*, ExtraRisksInfo*)
{
    return NotSupported({"GetClientVfRisksArray"}, QuindalIMCalculator, riskType, instrCode, {"Code", Code});
}

int32_t GetClientDeliveryRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType, const char* instrCode,
                                    const char* Code, double*, int32_t*, int32_t*, ExtraRisksInfo*)
{
    return NotSupported({"GetClientDeliveryRisksArray"}, QuindalIMCalculator, riskType, instrCode, {"Code", Code});
}

int32_t GetClientFutRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType, const char* instrCode,
                               const char* Code, double*, int32_t*, int32_t*, ExtraRisksInfo*)
{
    return NotSupported({"GetClientFutRisksArray"}, QuindalIMCalculator, riskType, instrCode, {"Code", Code});
}

int32_t GetClientMmsRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType, const char* instrCode,
                               const char* Code, double*, int32_t*, int32_t*, ExtraRisksInfo*)
{
    return NotSupported({"GetClientMmsRisksArray"}, QuindalIMCalculator, riskType, instrCode, {"Code", Code});
}

int32_t GetClientMcsRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType, const char* instrCode,
                               const char* Code, double*, int32_t*, int32_t*, ExtraRisksInfo*)
{
    return NotSupported({"GetClientMcsRisksArray"}, QuindalIMCalculator, riskType, instrCode, {"Code", Code});
}

int32_t GetBrokerRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType, const char* instrCode,
                            const char* brokerCode, double*, int32_t*, int32_t*, ExtraRisksInfo*)
{
    return NotSupported({"GetBrokerRisksArray"}, QuindalIMCalculator, riskType, instrCode, {"brokerCode", brokerCode});
}

int32_t GetClientFinalRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType, const char* instrCode,
                                 const char* Code, double*, int32_t*, ExtraRisksInfo*)
{
    return NotSupported(ClientFinal, QuindalIMCalculator, riskType, instrCode, {"Code", Code});
}

int32_t GetClientFinalRisksArrayWithPositiveValue(intptr_t QuindalIMCalculator, QuindalRiskType riskType,
                                                  const char* instrCode, const char* Code, double*, int32_t*,
                                                  ExtraRisksInfo*)
{
    return NotSupported(ClientFinal, QuindalIMCalculator, riskType, instrCode, {"Code", Code});
}

int32_t GetBrokerFinalRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType, const char* instrCode,
                                 const char* brokerCode, double*, int32_t*, ExtraRisksInfo*)
{
    return NotSupported(BrokerFinal, QuindalIMCalculator, riskType, instrCode, {"brokerCode", brokerCode});
}

int32_t GetBrokerFinalRisksArrayWithPositiveValue(intptr_t QuindalIMCalculator, QuindalRiskType riskType,
                                                  const char* instrCode, const char* brokerCode, double*, int32_t*,
                                                  ExtraRisksInfo*)
{
    return NotSupported(BrokerFinal, QuindalIMCalculator, riskType, instrCode, {"brokerCode", brokerCode});
}

int32_t GetSettlementAccountFinalRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType,
                                            const char* instrCode, const char* Code, double*, int32_t*, ExtraRisksInfo*)
{
    return NotSupported(AccountFinal, QuindalIMCalculator, riskType, instrCode, {"Code", Code});
}

int32_t GetSettlementAccountFinalRisksArrayWithPositiveValue(intptr_t QuindalIMCalculator, QuindalRiskType riskType,
                                                             const char* instrCode, const char* Code, double*, int32_t*,
                                                             ExtraRisksInfo*)
{
    return NotSupported(AccountFinal, QuindalIMCalculator, riskType, instrCode, {"Code", Code});
}

int32_t GetRiskPoints(intptr_t QuindalIMCalculator, QuindalRiskType riskType, const char* instrCode, bool isOption,
                      double*, int32_t*, int32_t*, ExtraRisksInfo*, QuindalClientRiskLevel level)
{
    return NotSupported({"GetRiskPoints"}, [&](ParamsBuilder params) {
        params.Add("QuindalIMCalculator", QuindalIMCalculator)
            .Add("riskType", riskType)
            .Add("instrCode", instrCode)
            .Add("isOption", isOption)
            .Add("level", level);
    });
}

int32_t GetOptionRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType choosenRiskType, const char* InstrCode,
                            double*, int32_t*, int32_t*, ExtraRisksInfo*, QuindalClientRiskLevel level)
{
    return NotSupported({"GetOptionRisksArray"}, [&](ParamsBuilder params) {
        params.Add("QuindalIMCalculator", QuindalIMCalculator)
            .Add("choosenRiskType", choosenRiskType)
            .Add("InstrCode", InstrCode)
            .Add("level", level);
    });
}
