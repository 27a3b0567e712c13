/* A caller in C: the header compiles as C99 with every warning on, every export can be linked and called, with nulls
 * wherever a pointer stands, and answers with a code. Ends with the number of answers that were not expected. */
#include "QuindalIM.h"

#include <stddef.h>
#include <string.h>

/* What crosses the boundary in one piece has the same size for every compiler. */
typedef char extra_risks_info_is_packed[sizeof(ExtraRisksInfo) == 68 ? 1 : -1];

/* The version may be asked for by the preprocessor. */
#if !QUINDAL_IM_VERSION_AT_LEAST(9, 9, 64) || QUINDAL_IM_VERSION_AT_LEAST(9, 10, 0)
#error "the version of QuindalIM.h is another one"
#endif

static int unexpected;

static void expect(int32_t code, int32_t expected)
{
    if (code != expected) ++unexpected;
}

int main(void)
{
    const int32_t nullPointer = QUINDAL_ERR_WRONG_ARGUMENTS;
    const int32_t notInitialized = QUINDAL_ERR_NOT_INITIALIZED;
    const int32_t notSupported = QUINDAL_ERR_NOT_SUPPORTED;

    if (strcmp(GetQuindalIMLibraryVersion(), "9.9.64.4654") != 0) ++unexpected;
    if (strcmp(GetErrorCodeDescription(nullPointer), "QuindalIM wrong arguments") != 0) ++unexpected;

    expect(InitQuindalIM(NULL, NULL, NULL), nullPointer);
    expect(DeInitQuindalIM(), notInitialized);
    expect(CreateQuindalIMCalculator(NULL), nullPointer);
    expect(DestroyQuindalIMCalculator(0), notInitialized);

    expect(SetCommonParams(0, 0.5), notInitialized);
    expect(GetCommonParams(0, NULL), nullPointer);
    expect(InsertCurrency(0, 840, 0.05), notInitialized);
    expect(InsertBaseContract(0, NULL, NULL, 3, QUINDAL_MSP_FIXED_PRICE_STEP, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                              0, 0, 0, 0, 0, 0, 0, QUINDAL_OPTION_MODEL_BLACK_SCHOLES, 0, QUINDAL_ASSET_CLASS_STOCK, 0),
           nullPointer);
    expect(InsertFutures(0, NULL, NULL, 0, QUINDAL_SPREAD_ASPECT_IN_SPREAD, 0, 0, 0, 0, 0, 0, 0, 0,
                         QUINDAL_ATTRIBUTE_NONE, 0, 0, 0, NULL),
           nullPointer);
    expect(InsertOptionSeries(0, NULL, NULL, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0,
                              QUINDAL_MARGIN_STYLE_EQUITY, QUINDAL_SETTLEMENT_TYPE_DELIVERABLE,
                              QUINDAL_EXERCISE_STYLE_EUROPEAN, 0, QUINDAL_SPREAD_ASPECT_IN_SPREAD, 0, 0, 0, 0, 0, 0, 0,
                              0, 0, 0, 0, 0),
           nullPointer);
    expect(InsertOption(0, NULL, NULL, 0, QUINDAL_OPTION_TYPE_PUT, 0), nullPointer);
    expect(InsertMultileg(0, NULL), nullPointer);
    expect(GetInstrumentParameters(0, NULL), notInitialized);
    expect(ClearAll(0), notInitialized);
    expect(ClearParts(0), notInitialized);

    expect(SetOnFirstCurrency(0, NULL), nullPointer);
    expect(SetOnFirstBaseContract(0, NULL), nullPointer);
    expect(SetOnFirstFutures(0, NULL), nullPointer);
    expect(GetNextCurrency(0, NULL, NULL), nullPointer);
    expect(GetNextBaseContract(0, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL,
                               NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL,
                               NULL, NULL),
           nullPointer);
    expect(GetNextFutures(0, QUINDAL_CLIENT_RISK_LEVEL_DEFAULT, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL,
                          NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL),
           nullPointer);

    expect(SetOnFirstOptionSeries(0, NULL), nullPointer);
    expect(SetOnFirstOption(0, NULL), nullPointer);
    expect(GetNextOptionSeries(0, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL,
                               NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL,
                               NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL),
           nullPointer);
    expect(GetNextOption(0, NULL, NULL, NULL, NULL, NULL, NULL, NULL), nullPointer);
    expect(SetOnFirstMultileg(0, NULL), nullPointer);
    expect(GetNextMultileg(0, NULL, NULL), nullPointer);

    expect(RegisterSettlementAccount(0, NULL, QUINDAL_MARGIN_RULE_NETTING, QUINDAL_SPREAD_MARGIN_TYPE_NETTING,
                                     QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1),
           nullPointer);
    expect(RegisterFirm(0, NULL, 0, 0, 0, QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY, NULL,
                        QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_MARGIN_RULE_NETTING,
                        QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1, 0),
           nullPointer);
    expect(RegisterPart(0, NULL, 0, 0, 0, QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1, 1,
                        QUINDAL_CLIENT_RISK_LEVEL_DEFAULT, 0),
           nullPointer);
    expect(ChangePart(0, NULL, 0, 0, 0), nullPointer);
    expect(InsertBrokerBaseContractParam(0, NULL, NULL, 1), nullPointer);
    expect(SetPosition(0, NULL, NULL, 0, 0, NULL, NULL, NULL, NULL, NULL, QUINDAL_ACCOUNT_HIERARCHY_CLIENT, 0),
           nullPointer);
    expect(ChangeOrder(0, NULL, NULL, 1, 0, 0, NULL, NULL, NULL, NULL, NULL), nullPointer);

    expect(GetClientVfRisksArray(0, QUINDAL_RISK_TYPE_MATRIX_VOLATILITY, NULL, NULL, NULL, NULL, NULL, NULL),
           notSupported);
    expect(GetClientDeliveryRisksArray(0, QUINDAL_RISK_TYPE_MATRIX_EXPIRATION, NULL, NULL, NULL, NULL, NULL, NULL),
           notSupported);
    expect(GetClientFutRisksArray(0, QUINDAL_RISK_TYPE_MATRIX_INTEREST_RATE, NULL, NULL, NULL, NULL, NULL, NULL),
           notSupported);
    expect(GetClientMmsRisksArray(0, QUINDAL_RISK_TYPE_MATRIX_VOLAT_MISMATCH, NULL, NULL, NULL, NULL, NULL, NULL),
           notSupported);
    expect(GetClientMcsRisksArray(0, QUINDAL_RISK_TYPE_EXPIRATION_RISK_NODE, NULL, NULL, NULL, NULL, NULL, NULL),
           notSupported);
    expect(GetBrokerRisksArray(0, QUINDAL_RISK_TYPE_VOLATILITY_RISK_NODE, NULL, NULL, NULL, NULL, NULL, NULL),
           notSupported);
    expect(GetClientFinalRisksArray(0, QUINDAL_RISK_TYPE_MATRIX_FINAL, NULL, NULL, NULL, NULL, NULL), notSupported);
    expect(GetClientFinalRisksArrayWithPositiveValue(0, QUINDAL_RISK_TYPE_MATRIX_FINAL_WITH_POSITIVE_VALUES, NULL, NULL,
                                                     NULL, NULL, NULL),
           notSupported);
    expect(GetBrokerFinalRisksArray(0, QUINDAL_RISK_TYPE_MATRIX_FINAL, NULL, NULL, NULL, NULL, NULL), notSupported);
    expect(GetBrokerFinalRisksArrayWithPositiveValue(0, QUINDAL_RISK_TYPE_MATRIX_FINAL_WITH_POSITIVE_VALUES, NULL, NULL,
                                                     NULL, NULL, NULL),
           notSupported);
    expect(GetSettlementAccountFinalRisksArray(0, QUINDAL_RISK_TYPE_MATRIX_FINAL, NULL, NULL, NULL, NULL, NULL),
           notSupported);
    expect(GetSettlementAccountFinalRisksArrayWithPositiveValue(0, QUINDAL_RISK_TYPE_MATRIX_FINAL_WITH_POSITIVE_VALUES,
                                                                NULL, NULL, NULL, NULL, NULL),
           notSupported);
    expect(GetRiskPoints(0, QUINDAL_RISK_TYPE_MATRIX_VOLATILITY, NULL, true, NULL, NULL, NULL, NULL,
                         QUINDAL_CLIENT_RISK_LEVEL_DEFAULT),
           notSupported);
    expect(GetOptionRisksArray(0, QUINDAL_RISK_TYPE_MATRIX_VOLATILITY, NULL, NULL, NULL, NULL, NULL,
                               QUINDAL_CLIENT_RISK_LEVEL_DEFAULT),
           notSupported);
    return unexpected;
}
