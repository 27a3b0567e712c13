/* QuindalIM.h: initial margin (GO) of derivatives portfolios, computed in the caller's process.
 *
 * The road of a caller:
 *
 *     InitQuindalIM("margin.ini", "user", "password");     log in; nothing works before this
 *     CreateQuindalIMCalculator(&calc);                    the one calculator
 *     GetInstrumentParameters(calc, NULL);                 all instruments from the server,
 *     InsertCurrency, InsertBaseContract, InsertFutures,    or one by one, parents first
 *     InsertOptionSeries, InsertOption, InsertMultileg
 *     RegisterSettlementAccount, RegisterFirm, RegisterPart the account tree, top down
 *     SetPosition(calc, ...);                              as often as positions change: the client's new GO
 *     ChangeOrder(calc, ...);                              as often as orders come and go: the GO with them
 *     ChangePart(calc, ...);                               a client's other parameters, its book follows
 *     DestroyQuindalIMCalculator(calc); DeInitQuindalIM();
 *
 * Results. Every function but the first two returns a code: 0 is success, GetErrorCodeDescription gives its text, and
 * each has a constant, QUINDAL_ERR_..., at the end of this file. Codes that any of them may return: 94808 something
 * unforeseen (the log says what), 94811 a null pointer, a null handle or a text of the wrong length, 94821
 * InitQuindalIM has not succeeded yet.
 *
 * Ownership. The caller owns every text and buffer that it passes; the library copies what it keeps, and no pointer is
 * kept after the call. The texts that the first two functions return are constants of the library. The library owns the
 * calculator. Instruments and participants live in the library until ClearAll, not only as long as the calculator.
 *
 * Null pointers. No pointer may be null unless its function says so. A null pointer is answered by 94811 and a line in
 * the error log; nothing is written or changed then. Pointers are looked at first, before the handle and before
 * whether the library is started, unless a function says otherwise.
 *
 * Out-parameters are written on code 0 only, with the exceptions that a function states; after any other code they hold
 * what the caller put there.
 *
 * Size contract of the code buffers of the GetNext... functions. ...Size is the capacity of the buffer in bytes, the
 * terminating zero included, on the way in, and the size that the code needs (its length plus one) on the way out. When
 * one capacity is too small the result is 7: all sizes are written and nothing else. The cursor has moved on by then,
 * so the entry is not offered again before the next SetOnFirst...; pass buffers that are large enough from the start.
 *
 * Threads. None of the library's own, but for those of the message-queue client. The caller makes one call at a time,
 * from whatever thread; only the first two functions may be called at any time from any thread.
 *
 * Process. SIGPIPE is left as the caller has it, and the library's own writes raise none. The locale changes no byte of
 * logs, trace and copies. After a fork the child may initialise anew if its parent had called DeInitQuindalIM before;
 * a child of a parent that was initialised must call nothing but the first two functions, and may exec. On a processor
 * without AVX2 the loader refuses the library.
 *
 * Numbers. A GO is an amount of money, 0 or more. Codes are zero-terminated bytes. Enumerations travel as integers of
 * the stated width; an int8_t flag is true when it is not 0. */
#ifndef QUINDALIM_H
#define QUINDALIM_H

#include <stdint.h>
#ifndef __cplusplus
#include <stdbool.h>
#endif

/* Version of this header. The library that a program has loaded tells its own: GetQuindalIMLibraryVersion. */
#define QUINDAL_IM_VERSION_MAJOR 9
#define QUINDAL_IM_VERSION_MINOR 9
#define QUINDAL_IM_VERSION_PATCH 64
#define QUINDAL_IM_VERSION_TEXT "9.9.64"

/* Versions as numbers that can be compared, in #if as well: two digits each for minor and patch. */
#define QUINDAL_IM_MAKE_VERSION(major, minor, patch) ((major)*10000 + (minor)*100 + (patch))
#define QUINDAL_IM_VERSION                                                                                             \
    QUINDAL_IM_MAKE_VERSION(QUINDAL_IM_VERSION_MAJOR, QUINDAL_IM_VERSION_MINOR, QUINDAL_IM_VERSION_PATCH)

/* True where this header is of the version or a later one: #if !QUINDAL_IM_VERSION_AT_LEAST(9, 9, 64) */
#define QUINDAL_IM_VERSION_AT_LEAST(major, minor, patch)                                                               \
    (QUINDAL_IM_VERSION >= QUINDAL_IM_MAKE_VERSION(major, minor, patch))

#if defined(__GNUC__)
#define QUINDAL_API __attribute__((visibility("default")))
#else
#define QUINDAL_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* How the money value of a price step is defined. */
typedef int8_t QuindalMSPType;
enum
{
    QUINDAL_MSP_FIXED_PRICE_STEP = 0,
    QUINDAL_MSP_CURRENCY_INDICATOR_PRICE_STEP = 1
};

/* Model that values the options of a base contract. */
typedef int8_t QuindalOptionModel;
enum
{
    QUINDAL_OPTION_MODEL_BLACK_SCHOLES = 0,
    QUINDAL_OPTION_MODEL_BACHELIER = 1
};

typedef int32_t QuindalAssetClass;
enum
{
    QUINDAL_ASSET_CLASS_STOCK = 1,
    QUINDAL_ASSET_CLASS_CURRENCY = 2,
    QUINDAL_ASSET_CLASS_BOND = 3,
    QUINDAL_ASSET_CLASS_INDEX = 4,
    QUINDAL_ASSET_CLASS_COMMODITY = 5,
    QUINDAL_ASSET_CLASS_PERCENTAGE = 6,
    QUINDAL_ASSET_CLASS_METAL = 7
};

/* When the premium of an option is paid: FUTURES by and by through variation margin, EQUITY in full at the purchase. */
typedef int32_t QuindalMarginStyle;
enum
{
    QUINDAL_MARGIN_STYLE_FUTURES = 0,
    QUINDAL_MARGIN_STYLE_EQUITY = 1
};

/* What an exercise brings: money, or the underlying. */
typedef int32_t QuindalSettlementType;
enum
{
    QUINDAL_SETTLEMENT_TYPE_CASH_SETTLED = 0,
    QUINDAL_SETTLEMENT_TYPE_DELIVERABLE = 1
};

typedef int32_t QuindalExerciseStyle;
enum
{
    QUINDAL_EXERCISE_STYLE_AMERICAN = 0,
    QUINDAL_EXERCISE_STYLE_EUROPEAN = 1
};

typedef int8_t QuindalOptionType;
enum
{
    QUINDAL_OPTION_TYPE_PUT = 1,
    QUINDAL_OPTION_TYPE_CALL = 2
};

/* Part of an instrument in the netting: of a futures between delivery months, of an option series with its futures. */
typedef int8_t QuindalSpreadAspect;
enum
{
    QUINDAL_SPREAD_ASPECT_NOT_IN_SPREAD = 0,
    QUINDAL_SPREAD_ASPECT_IN_SPREAD = 2
};

/* Status of a futures, a bit mask. The margin reads TAS (traded at settlement: prices are offsets from the settlement
 * price) and COLLATERAL (a spot instrument held as collateral). */
typedef int32_t QuindalAttribute;
enum
{
    QUINDAL_ATTRIBUTE_NONE = 0,
    QUINDAL_ATTRIBUTE_SPOT = 1,
    QUINDAL_ATTRIBUTE_MAIN_SPOT = 3,
    QUINDAL_ATTRIBUTE_ANONYMOUS = 4,
    QUINDAL_ATTRIBUTE_ADDRESS = 8,
    QUINDAL_ATTRIBUTE_NEO_SPOT = 16,
    QUINDAL_ATTRIBUTE_DELIVERY = 256,
    QUINDAL_ATTRIBUTE_PAIRS_ALLOWED = 512,
    QUINDAL_ATTRIBUTE_MAIN_REPO = 1024,
    QUINDAL_ATTRIBUTE_VXL_MONEY = 2048,
    QUINDAL_ATTRIBUTE_REPO_ALLOWED = 4096,
    QUINDAL_ATTRIBUTE_RATE_QUOTING = 8192,
    QUINDAL_ATTRIBUTE_RISK = 524288,
    QUINDAL_ATTRIBUTE_TAS = 1048576,
    QUINDAL_ATTRIBUTE_COLLATERAL = 8388608,
    QUINDAL_ATTRIBUTE_STRATEGY = 134217728
};

/* Column of the risk parameters that a client is margined by. */
typedef int32_t QuindalClientRiskLevel;
enum
{
    QUINDAL_CLIENT_RISK_LEVEL_DEFAULT = 0,
    QUINDAL_CLIENT_RISK_LEVEL_LOW = 1,
    QUINDAL_CLIENT_RISK_LEVEL_MEDIUM = 2,
    QUINDAL_CLIENT_RISK_LEVEL_HIGH = 3,
    QUINDAL_CLIENT_RISK_LEVEL_EXCEPTIONAL = 4
};

/* How a participant's risk reaches the participant above. */
typedef int8_t QuindalMarginRule;
enum
{
    QUINDAL_MARGIN_RULE_GROSS = 2,
    QUINDAL_MARGIN_RULE_HALF_NETTING = 3,
    QUINDAL_MARGIN_RULE_NETTING = 4
};

/* Netting within one participant: between the futures of a base contract (calendar) or between base contracts
 * (inter-contract). */
typedef int8_t QuindalSpreadMarginType;
enum
{
    QUINDAL_SPREAD_MARGIN_TYPE_UNUSED = 0,
    QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING = 3,
    QUINDAL_SPREAD_MARGIN_TYPE_NETTING = 4
};

typedef int32_t QuindalBrokerAccountType;
enum
{
    QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY = 0,
    QUINDAL_BROKER_ACCOUNT_TYPE_TRUSTED = 1,
    QUINDAL_BROKER_ACCOUNT_TYPE_SEGREGATED = 2
};

/* Level of the account tree that a code names. */
typedef int8_t QuindalAccountHierarchyRecordType;
enum
{
    QUINDAL_ACCOUNT_HIERARCHY_SETTLEMENT_ACCOUNT = 0,
    QUINDAL_ACCOUNT_HIERARCHY_BROKER = 1,
    QUINDAL_ACCOUNT_HIERARCHY_CLIENT = 2
};

/* What a risk array would hold. Bit 0 picks the node of a position, one of the higher bits the matrix; no two of those
 * go together. */
typedef int32_t QuindalRiskType;
enum
{
    QUINDAL_RISK_TYPE_VOLATILITY_RISK_NODE = 0,
    QUINDAL_RISK_TYPE_EXPIRATION_RISK_NODE = 1,
    QUINDAL_RISK_TYPE_MATRIX_VOLATILITY = 2,
    QUINDAL_RISK_TYPE_MATRIX_INTEREST_RATE = 4,
    QUINDAL_RISK_TYPE_MATRIX_VOLAT_MISMATCH = 8,
    QUINDAL_RISK_TYPE_MATRIX_EXPIRATION = 16,
    QUINDAL_RISK_TYPE_MATRIX_FINAL = 32,                     /* the node rolled up to one row */
    QUINDAL_RISK_TYPE_MATRIX_FINAL_WITH_POSITIVE_VALUES = 64 /* that row, gains kept */
};

/* Values at the special points of a price grid, from its lowest to its highest price, and the number of its sub-points.
 * Packed: 68 bytes, on every platform. */
#pragma pack(push, 1)
typedef struct ExtraRisksInfo
{
    double DownRisk;
    double ZL;
    double PnL3D;
    double PnL2D;
    double PnL2U;
    double PnL3U;
    double ZR;
    double UpRisk;
    int32_t SubPointsCount;
} ExtraRisksInfo;
#pragma pack(pop)

/* ---- Library ---------------------------------------------------------------------------------------------------- */

/* Version of the library, "9.9.64.4654". Works before InitQuindalIM. */
QUINDAL_API const char* GetQuindalIMLibraryVersion(void);

/* Text of a code; never null, valid until the process ends. Works before InitQuindalIM. */
QUINDAL_API const char* GetErrorCodeDescription(int32_t errorCode);

/* Starts the library: opens the logs, reads the settings, connects to the local router and logs in. Blocks on the
 * network: at most 2 s for the connection, 2 s for the login, 2 s for finding the server and twice the timeout of the
 * ini file for two exchanges. Where the router demands TLS, the connection uses it.
 *   IniFile    path of the ini file; null or empty: the default ini file that the process has opened
 *   username, password  of the exchange's account; the password is not logged
 * The ini file: section [QuindalIM::mq] with port (of the router on this machine) and timeout (of a request, ms), both
 * required; [QuindalIM::options] with xmlPath (file that takes a copy of each instrument reply) and maxReplyBytes
 * (most bytes of a reply's text, where 268435456 are too few), both optional; the sections [QuindalIM::log] and
 * [QuindalIM::xplog] open the library's own log and the trace log when they are there. Logs and copies are regular
 * files, made with mode 0640 less the umask.
 * The ini file and the logs come first; a null username or password is told after them.
 * 94809 it is started already; 94814 to 94817 start, connection, login or user information failed; 94822 no port; 94823
 * no time-out; 94824 the user may register no clients; a code of the platform when the ini file or a log does not open.
 * After a failure it may be called again; logs that were opened stay open. */
QUINDAL_API int32_t InitQuindalIM(const char* IniFile, const char* username, const char* password);

/* Logs out and closes the library's own logs. The calculator and all that it holds stay, and the next InitQuindalIM and
 * CreateQuindalIMCalculator find them again. */
QUINDAL_API int32_t DeInitQuindalIM(void);

/* Gives the handle of the calculator, which it makes at the first call: there is one, and a second call gives the same
 * handle. 94812 out of memory; *QuindalIMCalculator is then 0. */
QUINDAL_API int32_t CreateQuindalIMCalculator(intptr_t* QuindalIMCalculator);

/* Destroys the calculator; its handle must not be used afterwards. Instruments, participants and positions stay in the
 * library and answer as before; what is forgotten are the isins of codes, the lists of currencies, option series,
 * options and multilegs, and the cursors. Call ClearAll first for a clean slate. 94811 also for a handle that is not
 * the calculator's. */
QUINDAL_API int32_t DestroyQuindalIMCalculator(intptr_t QuindalIMCalculator);

/* ---- Instruments ------------------------------------------------------------------------------------------------ */

/* Sets the edge coefficient that futures inserted from now on take; 0.75 before it. A negative value or one that is no
 * number is replaced by 0.75. */
QUINDAL_API int32_t SetCommonParams(intptr_t QuindalIMCalculator, double EdgeCoeff);

/* Gives the edge coefficient. */
QUINDAL_API int32_t GetCommonParams(intptr_t QuindalIMCalculator, double* EdgeCoeff);

/* Inserts a currency.
 *   CurvatureRadius  share of the price by which the margin of contracts priced through this currency is widened
 * 94791 the id is there already. */
QUINDAL_API int32_t InsertCurrency(intptr_t QuindalIMCalculator, int32_t CurrencyId, double CurvatureRadius);

/* Inserts a base contract: the parameters that its futures share.
 *   MCSCode           inter-contract group that it nets in, empty for none
 *   VolatNum          number of volatility scenarios, odd, 3 or more
 *   CurrencyId        must be known where MSPType is CURRENCY_INDICATOR_PRICE_STEP
 *   ShortOptionMinimumCharge  0 to 1
 *   MarketRisk...     rates, shares of the spot, above 0: of the grid, MarketRisk1 and MarketRisk2 of positions beyond
 *                     ConcentrationLimit1 and ConcentrationLimit2, for each client risk level
 *   ConcentrationLimit1, ConcentrationLimit2  units of the underlying, 0 or more
 *   RiskPointsN       price points of the grid on each side, 1 to 500
 *   WindowSizePercentage  share of the grid within which groups of an MCS net, 0 to 1
 *   SpotPrice         above 0 for the asset class PERCENTAGE
 *   CFRisk            0 or more
 * Each parameter is checked; a bad one either refuses the contract (its code of the family CALCGO names the parameter)
 * or is corrected with a line in the log. */
QUINDAL_API int32_t InsertBaseContract(
    intptr_t QuindalIMCalculator, const char* BaseContractCode, const char* MCSCode, int32_t VolatNum,
    QuindalMSPType MSPType, int32_t CurrencyId, double ShortOptionMinimumCharge, double MarketRisk, double MarketRisk1,
    double MarketRisk2, double MarketRiskLow, double MarketRisk1Low, double MarketRisk2Low, double MarketRiskMedium,
    double MarketRisk1Medium, double MarketRisk2Medium, double MarketRiskHigh, double MarketRisk1High,
    double MarketRisk2High, double MarketRiskExceptional, double MarketRisk1Exceptional, double MarketRisk2Exceptional,
    int64_t ConcentrationLimit1, int64_t ConcentrationLimit2, int32_t RiskPointsN, double WindowSizePercentage,
    QuindalOptionModel OptionModel, double SpotPrice, QuindalAssetClass AssetClass, double CFRisk);

/* Inserts a futures of a base contract.
 *   CalcFutPrice      price that the grid is centred on; at most 11 digits before the point, 5 behind it
 *   MinStepPrice      money value of one MinStep, above 0
 *   RealCalcPrice     settlement price
 *   MinStep           smallest price step, above 0
 *   XLot              lot size, not 0
 *   InterestRateRiskUp, InterestRateRiskDown  rate shocks, shares a year, 0 or more
 *   TimeToExpiration  years, 0 or more
 *   NormalizedSpot    spot price in the units of the futures' price
 *   MRAddOnUp, MRAddOnDown  additions to the market-risk rates
 *   EnforceIMSHalfNetting   flag: between delivery months only losses count
 *   TASBaseFutCode    for a TAS futures the futures that it tracks, which may be inserted later; otherwise empty
 * 94714 the base contract is unknown; a code of the family CALCGO for a refused parameter; 94520 when the code
 * was offered before, even if it was refused. */
QUINDAL_API int32_t InsertFutures(intptr_t QuindalIMCalculator, const char* FuturesCode, const char* BaseContractCode,
                                  double CalcFutPrice, QuindalSpreadAspect SpreadAspect, double MinStepPrice,
                                  double RealCalcPrice, double MinStep, double XLot, double InterestRateRiskUp,
                                  double InterestRateRiskDown, double TimeToExpiration, double NormalizedSpot,
                                  QuindalAttribute Attribute, double MRAddOnUp, double MRAddOnDown,
                                  int8_t EnforceIMSHalfNetting, const char* TASBaseFutCode);

/* Inserts an option series: all options on one futures with one expiration, and what they share.
 *   A_Black ... E_Black  volatility smile of the Black and Scholes model, in per cent a year: level A (0 or more),
 *                     height of the wings B, their decay C (0 or more), height of the skew D, its steepness E (1 to 15)
 *   UseNullVolat      flag: the lowest volatility scenario values options at what their exercise would bring
 *   S_Black           shift of the smile, in log moneyness
 *   StrikeStep        distance between strikes, in units of their price, MinStep or more
 *   ExpClearingsSA, ExpClearingsBF, ExpClearingsCC  clearings until the expiration as settlement accounts, firms and
 *                     clients count them: deliveries of a DELIVERABLE series enter the margin of an account and of a
 *                     firm from 1 on, of a client from 1 to its NClr2Delivery; 0: never
 *   VolatilityRisk    share by which the volatility moves as a whole, 0 up to but not including 5
 *   VolatilityRiskMismatch  share by which single volatilities move beside that, 0 up to but not including 5
 *   TimeToExpiration  years; at least half an hour
 *   A_Bach ... S_Bach volatility smile and its shift of the Bachelier model, levels and heights in shares of M_Bach;
 *                     C_Bach 0 or more, E_Bach 1 or more
 *   M_Bach            scale of the Bachelier model's moneyness and volatility, price units, above 0
 *   MarginStyle       EQUITY on a futures with the attribute COLLATERAL
 *   SubRisk           flag: the price grid has points at multiples of StrikeStep / LotCoeff beside those of the futures
 *   SpreadAspect      IN_SPREAD: the series nets with its futures; otherwise it is margined by itself
 *   EnforceHalfNetting  flag: of a series in spread only the losses reach its futures
 *   MinStep           smallest price step of the options, above 0
 *   MinStepPrice      money value of one MinStep, above 0
 *   LotCoeff          units of the underlying of one option, 1 or more
 *   r                 interest rate, a share a year
 *   InterestRateRiskUp, InterestRateRiskDown  its shocks, 0 or more
 *   FixedSpotDiscount, ProjectedSpotDiscount  payments of the underlying before the expiration, known and expected,
 *                     price units, 0 or more
 *   r2                second interest rate: of the foreign currency, or what the index pays
 *   InterestRate2RiskUp, InterestRate2RiskDown  its shocks, 0 or more
 * Each parameter is checked; a bad one either refuses the series (its code of the family CALCGO names the parameter) or
 * is corrected with a line in the log. 94510 the futures is unknown, 94715 it was refused; 94519 when the code was
 * offered before, even if it was refused. The first series on a COLLATERAL futures whose base contract is of the asset
 * class BOND or PERCENTAGE makes a STOCK of that contract. */
QUINDAL_API int32_t InsertOptionSeries(
    intptr_t QuindalIMCalculator, const char* OptionSeriesCode, const char* FuturesCode, double A_Black, double B_Black,
    double C_Black, double D_Black, double E_Black, int8_t UseNullVolat, double S_Black, double StrikeStep,
    int32_t ExpClearingsSA, int32_t ExpClearingsBF, int32_t ExpClearingsCC, double VolatilityRisk,
    double VolatilityRiskMismatch, double TimeToExpiration, double A_Bach, double B_Bach, double C_Bach, double D_Bach,
    double E_Bach, double S_Bach, double M_Bach, QuindalMarginStyle MarginStyle, QuindalSettlementType SettlementType,
    QuindalExerciseStyle ExerciseStyle, int8_t SubRisk, QuindalSpreadAspect SpreadAspect, int8_t EnforceHalfNetting,
    double MinStep, double MinStepPrice, int32_t LotCoeff, double r, double InterestRateRiskUp,
    double InterestRateRiskDown, double FixedSpotDiscount, double ProjectedSpotDiscount, double r2,
    double InterestRate2RiskUp, double InterestRate2RiskDown);

/* Inserts an option of a series. Its values over the price grid are worked out when a position first needs them.
 *   Strike        at most 11 digits before the point, 5 behind it; otherwise 14, or 2 for what is no number
 *   OptionType    PUT; anything else is a call
 *   CalcOptPrice  settlement price
 * 94515 the series is unknown, 94715 it was refused; 94521 when the code was offered before, even if it was refused. */
QUINDAL_API int32_t InsertOption(intptr_t QuindalIMCalculator, const char* OptionCode, const char* OptionSeriesCode,
                                 double Strike, QuindalOptionType OptionType, double CalcOptPrice);

/* Inserts a multileg: a calendar spread of two futures that is traded as one instrument. Only orders stand in it; a
 * position that it leaves behind is one in each of the two futures.
 *   MultilegCode  PREFIX-NEAR-FAR: the legs are the futures PREFIX-NEAR and PREFIX-FAR, both inserted before. To buy
 *                 the multileg is to sell one contract of the first and to buy one of the second.
 * 94723 the code has fewer than two "-"; 94715 a leg is unknown or was refused; 94792 the multileg is there already;
 * 94754 an earlier try under this code ended at its second leg. */
QUINDAL_API int32_t InsertMultileg(intptr_t QuindalIMCalculator, const char* MultilegCode);

/* Fetches all instruments from the server; blocks for one exchange.
 *   DataTime  moment of the dictionary, such as "2026/11/21/10/15/30"; null or empty for the present one
 * 94995 an instrument, a participant or a position was entered before: call ClearAll first; 94808 the exchange failed
 * (the log says why), and the instruments inserted up to then stay. */
QUINDAL_API int32_t GetInstrumentParameters(intptr_t QuindalIMCalculator, const char* DataTime);

/* Removes everything: participants with their positions, and instruments. The edge coefficient goes back to 0.75. */
QUINDAL_API int32_t ClearAll(intptr_t QuindalIMCalculator);

/* Removes all participants with their positions. Instruments stay. */
QUINDAL_API int32_t ClearParts(intptr_t QuindalIMCalculator);

/* ---- Reading instruments back ----------------------------------------------------------------------------------- */

/* SetOnFirst...: puts the cursor of its kind on the first entry and gives the number of entries. GetNext...: gives the
 * entry at the cursor and moves on; 94810 at the end, where nothing is written. There is one cursor a kind. It has to
 * be set before the first GetNext... and again after ClearAll. */

/* Currencies, in the order of insertion. */
QUINDAL_API int32_t SetOnFirstCurrency(intptr_t QuindalIMCalculator, int32_t* count);
QUINDAL_API int32_t GetNextCurrency(intptr_t QuindalIMCalculator, int32_t* CurrencyId, double* CurvatureRadius);

/* Base contracts, in no promised order. The values are those stored, corrections included; PointsNum is the value given
 * as RiskPointsN. Code buffers: see the size contract above; 7 when one is too small. */
QUINDAL_API int32_t SetOnFirstBaseContract(intptr_t QuindalIMCalculator, int32_t* count);
QUINDAL_API int32_t GetNextBaseContract(intptr_t QuindalIMCalculator, char* BaseContractCode,
                                        int32_t* BaseContractCodeSize, char* MCSCode, int32_t* MCSCodeSize,
                                        int32_t* VolatNum, int32_t* PointsNum, QuindalMSPType* MSPType,
                                        int32_t* CurrencyId, double* ShortOptionMinimumCharge, double* MarketRisk,
                                        double* MarketRisk1, double* MarketRisk2, double* MarketRiskLow,
                                        double* MarketRisk1Low, double* MarketRisk2Low, double* MarketRiskMedium,
                                        double* MarketRisk1Medium, double* MarketRisk2Medium, double* MarketRiskHigh,
                                        double* MarketRisk1High, double* MarketRisk2High, double* MarketRiskExceptional,
                                        double* MarketRisk1Exceptional, double* MarketRisk2Exceptional,
                                        int64_t* ConcentrationLimit1, int64_t* ConcentrationLimit2,
                                        double* WindowSizePercentage, QuindalOptionModel* OptionModel,
                                        double* SpotPrice, QuindalAssetClass* AssetClass, double* CFRisk);

/* Futures, in no promised order. Code buffers: see the size contract above; 7 when one is too small.
 *   ClientRiskLevel        in: the level that Limit is asked for
 *   Limit                  half the way from the centre of the price grid to its end at that level, price units; not a
 *                          number for a level outside 0 to 4
 *   EnforceIMSHalfNetting  0 or 1
 *   TASBaseFutCode         empty when the futures tracks no other
 * 94813 the code of the tracked futures is not known to this calculator; nothing is written, the cursor has moved on.
 */
QUINDAL_API int32_t SetOnFirstFutures(intptr_t QuindalIMCalculator, int32_t* count);
QUINDAL_API int32_t GetNextFutures(intptr_t QuindalIMCalculator, QuindalClientRiskLevel ClientRiskLevel,
                                   char* FuturesCode, int32_t* FuturesCodeSize, char* BaseContractCode,
                                   int32_t* BaseContractCodeSize, double* Limit, double* CalcFutPrice,
                                   QuindalSpreadAspect* SpreadAspect, double* MinStepPrice, double* RealCalcPrice,
                                   double* MinStep, double* XLot, double* InterestRateRiskUp,
                                   double* InterestRateRiskDown, double* TimeToExpiration, double* NormalizedSpot,
                                   QuindalAttribute* Attribute, double* MRAddOnUp, double* MRAddOnDown,
                                   int8_t* EnforceIMSHalfNetting, char* TASBaseFutCode, int32_t* TASBaseFutCodeSize);

/* Option series, in the order of insertion. The values are those stored, corrections included. Code buffers: see the
 * size contract above; 7 when one is too small.
 *   SqrtT         square root of TimeToExpiration
 *   UseNullVolat, SubRisk, EnforceHalfNetting  0 or 1
 *   SpreadAspect  IN_SPREAD or NOT_IN_SPREAD
 * A series that was refused is counted, and has its place among the entries: 94716 there; nothing is written, the
 * cursor has moved on. */
QUINDAL_API int32_t SetOnFirstOptionSeries(intptr_t QuindalIMCalculator, int32_t* count);
QUINDAL_API int32_t GetNextOptionSeries(
    intptr_t QuindalIMCalculator, char* OptionSeriesCode, int32_t* OptionSeriesCodeSize, char* FuturesCode,
    int32_t* FuturesCodeSize, double* SqrtT, double* A_Black, double* B_Black, double* C_Black, double* D_Black,
    double* E_Black, int8_t* UseNullVolat, double* S_Black, double* StrikeStep, int32_t* ExpClearingsSA,
    int32_t* ExpClearingsBF, int32_t* ExpClearingsCC, double* VolatilityRisk, double* VolatilityRiskMismatch,
    double* TimeToExpiration, double* A_Bach, double* B_Bach, double* C_Bach, double* D_Bach, double* E_Bach,
    double* S_Bach, double* M_Bach, QuindalMarginStyle* MarginStyle, QuindalSettlementType* SettlementType,
    QuindalExerciseStyle* ExerciseStyle, int8_t* SubRisk, QuindalSpreadAspect* SpreadAspect, int8_t* EnforceHalfNetting,
    double* MinStep, double* MinStepPrice, int32_t* LotCoeff, double* r, double* InterestRateRiskUp,
    double* InterestRateRiskDown, double* FixedSpotDiscount, double* ProjectedSpotDiscount, double* r2,
    double* InterestRate2RiskUp, double* InterestRate2RiskDown);

/* Options, in the order of insertion; refused ones are not among them. Code buffers: see the size contract above; 7
 * when one is too small.
 *   OptionType  PUT or CALL */
QUINDAL_API int32_t SetOnFirstOption(intptr_t QuindalIMCalculator, int32_t* count);
QUINDAL_API int32_t GetNextOption(intptr_t QuindalIMCalculator, char* OptionCode, int32_t* OptionCodeSize,
                                  char* OptionSeriesCode, int32_t* OptionSeriesCodeSize, double* Strike,
                                  QuindalOptionType* OptionType, double* CalcOptPrice);

/* Multilegs, in the order of insertion. Code buffer: see the size contract above; 7 when it is too small. */
QUINDAL_API int32_t SetOnFirstMultileg(intptr_t QuindalIMCalculator, int32_t* count);
QUINDAL_API int32_t GetNextMultileg(intptr_t QuindalIMCalculator, char* MultilegCode, int32_t* MultilegCodeSize);

/* ---- Participants ----------------------------------------------------------------------------------------------- */

/* Registers a settlement account.
 *   SettlementAccountId  its first 12 characters count
 *   marginRule           how the firms below reach it
 *   ShortOptionMinimumChargeRatio  factor on the minimum charge of short options, 1.0 leaves it
 * 94723 marginRule or calendarSpreadMarginType is none of its values; 94740 the id is there already;
 * 94314 it is empty. */
QUINDAL_API int32_t RegisterSettlementAccount(intptr_t QuindalIMCalculator, const char* SettlementAccountId,
                                              QuindalMarginRule marginRule,
                                              QuindalSpreadMarginType calendarSpreadMarginType,
                                              QuindalSpreadMarginType interContractSpreadMarginType,
                                              double ShortOptionMinimumChargeRatio);

/* Registers a firm.
 *   BrokerCode           4 characters
 *   NClr2Delivery        clearings before the delivery from which deliveries count; kept only: for the margin of a firm
 *                        the ExpClearingsBF of an option series decides
 *   ExpWeight            weight of the delivery margin, 0 to 1
 *   ExpWeightClientDefault  weight of the delivery margin for clients that have none of their own, 0 to 1
 *   SettlementAccountId  account above; null, empty or unknown: the firm stands without one
 *   Reserved             not used
 * 94811 for a code of another length; 94719 the firm is there already; 14 a weight rounds to 10.00 or more in
 * magnitude, 2 it is no number. Other bad parameters are repaired with a line in the log. */
QUINDAL_API int32_t RegisterFirm(intptr_t QuindalIMCalculator, const char* BrokerCode, int32_t NClr2Delivery,
                                 double ExpWeight, double ExpWeightClientDefault,
                                 QuindalBrokerAccountType brokerAccountType, const char* SettlementAccountId,
                                 QuindalSpreadMarginType calendarSpreadMarginType, QuindalMarginRule marginRule,
                                 QuindalSpreadMarginType interContractSpreadMarginType,
                                 double ShortOptionMinimumChargeRatio, int8_t Reserved);

/* Registers a client ("part") of the firm that the first 4 characters of its code name.
 *   ClientCode      7 characters
 *   NoFutDiscount   not 0: a futures position is never valued better than at the settlement price
 *   NClr2Delivery   deliveries of options count from so many clearings before the expiration on; -1: as the firm has
 *                   it, which is never
 *   ExpWeight       weight of the delivery margin, 0 to 1; -1: the firm's default
 *   GORatio         factor on the client's GO, 1.0 leaves it
 *   Reserved        not used
 * 94811 for a code of another length; 94818 the number of clients that the exchange allows is reached; 94720 the firm
 * is not registered; 94717 the client is there already; 94723 GORatio is no usable number or the risk level is none of
 * its values; 14 ExpWeight rounds to 10.00 or more in magnitude, 2 it is no number. Nothing is registered then. */
QUINDAL_API int32_t RegisterPart(intptr_t QuindalIMCalculator, const char* ClientCode, int32_t NoFutDiscount,
                                 int32_t NClr2Delivery, double ExpWeight,
                                 QuindalSpreadMarginType calendarSpreadMarginType,
                                 QuindalSpreadMarginType interContractSpreadMarginType, double GORatio,
                                 double ShortOptionMinimumChargeRatio, QuindalClientRiskLevel clientRiskLevel,
                                 int8_t Reserved);

/* Gives a client other parameters. Its positions and orders are valued again under them, and its firm and settlement
 * account follow; the next SetPosition or ChangeOrder shows the GO. The present parameters change nothing.
 *   Code           7 characters
 *   NoFutDiscount, NClr2Delivery, ExpWeight  as in RegisterPart, and not checked: nothing is repaired
 * 94811 for a code of another length; 94718 the client is not registered; 14 ExpWeight rounds to 10.00 or more in
 * magnitude, 2 it is no number; 94708 something unforeseen while the book was valued again (the log says what). */
QUINDAL_API int32_t ChangePart(intptr_t QuindalIMCalculator, const char* Code, int32_t NoFutDiscount,
                               int32_t NClr2Delivery, double ExpWeight);

/* Sets a firm's ratio on the margin of one base contract, 0 to 10; anything else becomes 1.0 with a line in the log.
 *   Code    firm, 4 characters;  CodeBC  base contract
 * 94720 the firm is not registered; 2 the code has neither 2 nor 4 characters. */
QUINDAL_API int32_t InsertBrokerBaseContractParam(intptr_t QuindalIMCalculator, const char* Code, const char* CodeBC,
                                                  double GORatio);

/* ---- Margin ----------------------------------------------------------------------------------------------------- */

/* Sets a participant's position in an instrument and gives the new GO. The first call after 20 seconds asks the server
 * whether the link is alive and waits for the answer: one `timeout` of the ini file where none comes, five at the very
 * worst. A host that cannot wait keeps the library on a thread of its own, which calls ChangeOrder with a DeltaQuantity
 * of 0 while it is idle: that asks too, and changes nothing.
 *   Code, accountHierarchy     whose position: of a client, a firm or a settlement account
 *   InstrCode                  futures or option. A multileg has no position: 0, and nothing changes
 *   Quantity                   contracts, short below 0; the whole position, not a change. Not checked, see WAPrice
 *   WAPrice                    weighted average price of the position; 0.0: the CalcFutPrice of the futures, the
 *                              CalcOptPrice of the option. Not checked: with a price that is no number, infinite or
 *                              as large as 1e300 (or a Quantity like 2^63-1) the figures of this client, its firm and
 *                              its account mean nothing as long as the position stands. The right position brings
 *                              all of them back: the call values the book again, which takes as long as ChangePart
 *   afterLastClearingQuantity  contracts that the last clearing left. The net option value of an option whose premium
 *                              is paid up front (EQUITY) is computed from it; other instruments ignore it
 * Written for a client; a position of a firm or an account leaves all five as they are:
 *   VolatilityPartGO             margin of the client's portfolio, not rounded
 *   DeliveryAndVolatilityPartGO  margin of the client's portfolio with the outcomes of deliveries, not rounded
 *   PartGO                       GO of the client: both weighted by ExpWeight, times GORatio, rounded up to cents
 *   FirmGO, SettlementAccountGO  must not be null, and are left as they are
 * 94820 no link to the server (looked at before the handle is, and before whether the library is started); 94813 the
 * instrument is unknown; 94260 the code names nothing a position can stand in; 94309, 94312, 94395 the client, the
 * firm, the account is unknown; 2 Code has a length that no code of its level has. */
QUINDAL_API int32_t SetPosition(intptr_t QuindalIMCalculator, const char* Code, const char* InstrCode, int64_t Quantity,
                                double WAPrice, double* VolatilityPartGO, double* DeliveryAndVolatilityPartGO,
                                double* PartGO, double* FirmGO, double* SettlementAccountGO,
                                QuindalAccountHierarchyRecordType accountHierarchy, int64_t afterLastClearingQuantity);

/* Adds to a client's open orders or takes from them, and gives the GO of its positions and orders together: what an
 * order would cost is known before it is sent. Orders stand until they are taken out by the opposite DeltaQuantity; the
 * contracts of an executed order then enter by SetPosition. Asks the server as SetPosition does.
 *   Code           client, 7 characters; firms and accounts have no orders of their own
 *   InstrCode      futures, option or multileg
 *   IsBuy          not 0: a buy
 *   Price          price of the order: at most 11 digits before the point, rounded to 5 behind it, halves away from
 *                  zero. Of a multileg: second leg less first leg. Of a TAS futures: the offset from its CalcFutPrice.
 *                  0.0 stands for the CalcFutPrice of the futures, of a TAS futures too, or for the CalcOptPrice of the
 *                  option. A multileg has no such price. For a price of zero pass 0.000001.
 *   DeltaQuantity  contracts that are added; below 0 for contracts that are cancelled or were executed. Orders of one
 *                  price and side count as one; 0 changes nothing and shows the present GO
 * Written:
 *   VolatilityPartGO, DeliveryAndVolatilityPartGO, PartGO  as SetPosition does for a client
 *   FirmGO, SettlementAccountGO                            0.0
 * 94820 no link to the server (looked at before the handle is, and before whether the library is started); 94813 the
 * instrument is unknown; 94260 the code names nothing an order can stand in; 2 the price is no number, or is 0.0 for a
 * multileg, or Code has a length that no client's code has; 14 the price is too large; 94309, 94312 the client, its
 * firm is unknown. */
QUINDAL_API int32_t ChangeOrder(intptr_t QuindalIMCalculator, const char* Code, const char* InstrCode, int32_t IsBuy,
                                double Price, int64_t DeltaQuantity, double* VolatilityPartGO,
                                double* DeliveryAndVolatilityPartGO, double* PartGO, double* FirmGO,
                                double* SettlementAccountGO);

/* ---- Risk arrays ------------------------------------------------------------------------------------------------ */

/* Not supported. These fourteen are here so that programs written for the whole interface link and run: each answers
 * 94819, always, before InitQuindalIM and with a zero handle or null pointers as well. None of them looks at anything
 * or writes anything; the error log has a line, "QuindalIM::GetBrokerRisksArray error - Not supported". The parameters
 * are those of an array of scenarioNum rows (one a volatility scenario) of pointsNum values (one a price point). */
QUINDAL_API int32_t GetClientVfRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType, const char* instrCode,
                                          const char* Code, double* arr, int32_t* pointsNum, int32_t* scenarioNum,
                                          ExtraRisksInfo* xInfo);
QUINDAL_API int32_t GetClientDeliveryRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType,
                                                const char* instrCode, const char* Code, double* arr,
                                                int32_t* pointsNum, int32_t* scenarioNum, ExtraRisksInfo* xInfo);
QUINDAL_API int32_t GetClientFutRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType,
                                           const char* instrCode, const char* Code, double* arr, int32_t* pointsNum,
                                           int32_t* scenarioNum, ExtraRisksInfo* xInfo);
QUINDAL_API int32_t GetClientMmsRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType,
                                           const char* instrCode, const char* Code, double* arr, int32_t* pointsNum,
                                           int32_t* scenarioNum, ExtraRisksInfo* xInfo);
QUINDAL_API int32_t GetClientMcsRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType,
                                           const char* instrCode, const char* Code, double* arr, int32_t* pointsNum,
                                           int32_t* scenarioNum, ExtraRisksInfo* xInfo);
QUINDAL_API int32_t GetBrokerRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType, const char* instrCode,
                                        const char* brokerCode, double* arr, int32_t* pointsNum, int32_t* scenarioNum,
                                        ExtraRisksInfo* xInfo);
QUINDAL_API int32_t GetClientFinalRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType,
                                             const char* instrCode, const char* Code, double* arr, int32_t* pointsNum,
                                             ExtraRisksInfo* xInfo);
QUINDAL_API int32_t GetClientFinalRisksArrayWithPositiveValue(intptr_t QuindalIMCalculator, QuindalRiskType riskType,
                                                              const char* instrCode, const char* Code, double* arr,
                                                              int32_t* pointsNum, ExtraRisksInfo* xInfo);
QUINDAL_API int32_t GetBrokerFinalRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType,
                                             const char* instrCode, const char* brokerCode, double* arr,
                                             int32_t* pointsNum, ExtraRisksInfo* xInfo);
QUINDAL_API int32_t GetBrokerFinalRisksArrayWithPositiveValue(intptr_t QuindalIMCalculator, QuindalRiskType riskType,
                                                              const char* instrCode, const char* brokerCode,
                                                              double* arr, int32_t* pointsNum, ExtraRisksInfo* xInfo);
QUINDAL_API int32_t GetSettlementAccountFinalRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType riskType,
                                                        const char* instrCode, const char* Code, double* arr,
                                                        int32_t* pointsNum, ExtraRisksInfo* xInfo);
QUINDAL_API int32_t GetSettlementAccountFinalRisksArrayWithPositiveValue(intptr_t QuindalIMCalculator,
                                                                         QuindalRiskType riskType,
                                                                         const char* instrCode, const char* Code,
                                                                         double* arr, int32_t* pointsNum,
                                                                         ExtraRisksInfo* xInfo);
QUINDAL_API int32_t GetRiskPoints(intptr_t QuindalIMCalculator, QuindalRiskType riskType, const char* instrCode,
                                  bool isOption, double* arr, int32_t* pointsNum, int32_t* scenarioCount,
                                  ExtraRisksInfo* xInfo, QuindalClientRiskLevel level);
QUINDAL_API int32_t GetOptionRisksArray(intptr_t QuindalIMCalculator, QuindalRiskType choosenRiskType,
                                        const char* InstrCode, double* arr, int32_t* pointsCount,
                                        int32_t* scenarioCount, ExtraRisksInfo* xInfo, QuindalClientRiskLevel level);

/* ---- Codes ------------------------------------------------------------------------------------------------------ */

/* Every code that a function of this library returns: CODE(name, number, text). The names are constants (enum below);
 * the text is that of GetErrorCodeDescription. A table of a program's own is made by a macro of its own for CODE:
 *
 *     #define ROW(name, number, text) {number, #name},
 *     static const struct { int32_t code; const char* name; } names[] = {QUINDAL_IM_CODES(ROW)};
 *
 * A platform library in place of libZ9Sys may have codes and texts of its own for ini files and logs. */
#define QUINDAL_IM_CODES(CODE)                                                                                         \
    CODE(QUINDAL_OK, 0, "Success")                                                                                     \
    CODE(QUINDAL_ERR_COMMON_WRONG_ARGUMENTS, 2, "Wrong arguments")                                                     \
    CODE(QUINDAL_ERR_COMMON_INTERNAL_ERROR, 3, "Internal error")                                                       \
    CODE(QUINDAL_ERR_COMMON_BUFFER_TOO_SMALL, 7, "Buffer is too small")                                                \
    CODE(QUINDAL_ERR_COMMON_OVERFLOW, 14, "Overflow")                                                                  \
    CODE(QUINDAL_ERR_INI_CANNOT_OPEN, 16385, "Ini file cannot be opened")                                              \
    CODE(QUINDAL_ERR_LOG_CANNOT_OPEN, 20481, "Log file cannot be opened")                                              \
    CODE(QUINDAL_ERR_LOG_WRONG_PARAMETER, 20482, "Wrong log parameter")                                                \
    CODE(QUINDAL_ERR_INSTRUMENT_ABSENT, 94260, "Instrument is absent")                                                 \
    CODE(QUINDAL_ERR_CHECK_CLIENT_NOT_FOUND, 94309, "Client not found")                                                \
    CODE(QUINDAL_ERR_CHECK_BROKER_NOT_FOUND_OR_DELETED, 94312, "Broker not found")                                     \
    CODE(QUINDAL_ERR_CHECK_INVALID_SETTLEMENT_ACCOUNT_ID, 94314, "Settlement Account ID not found")                    \
    CODE(QUINDAL_ERR_DATALOAD_SETTLEMENT_ACCOUNT_NOT_FOUND, 94395, "Settlement Account not found")                     \
    CODE(QUINDAL_ERR_POSITION_CALCULATOR_BASECONTRACT_NOT_FOUND, 94509, "BaseContract not found")                      \
    CODE(QUINDAL_ERR_POSITION_CALCULATOR_FUTURES_NOT_FOUND, 94510, "Futures not found")                                \
    CODE(QUINDAL_ERR_POSITION_CALCULATOR_VIRTFUTURES_NOT_FOUND, 94515, "VirtFutures not found")                        \
    CODE(QUINDAL_ERR_POSITION_CALCULATOR_BASECONTRACT_ALREADY_EXISTS, 94517,                                           \
         "BaseContract already exists, cannot reinsert")                                                               \
    CODE(QUINDAL_ERR_POSITION_CALCULATOR_VIRTFUTURES_ALREADY_EXISTS, 94519,                                            \
         "VirtFutures already exists, cannot reinsert")                                                                \
    CODE(QUINDAL_ERR_POSITION_CALCULATOR_FUTURES_ALREADY_EXISTS, 94520, "Futures already exists, cannot reinsert")     \
    CODE(QUINDAL_ERR_POSITION_CALCULATOR_OPTION_ALREADY_EXISTS, 94521, "Option already exists, cannot reinsert")       \
    CODE(QUINDAL_ERR_CALCGO_API_COMMON_ERROR, 94708, "CalcGO unknown error")                                           \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_BC_ALREADY_EXIST, 94709, "Base contract already exists")                         \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_FUTURES_ALREADY_EXIST, 94710, "Futures already exists")                          \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_VIRTFUTURES_ALREADY_EXIST, 94711, "Virtual futures already exists")              \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_OPTION_ALREADY_EXIST, 94712, "Option already exists")                            \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_BC_NOT_FOUND, 94714, "CalcGO: Base contract not found")                          \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_FUTURES_NOT_FOUND, 94715, "Futures not found")                                   \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_VIRTFUTURES_NOT_FOUND, 94716, "Virtual futures not found")                       \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_PART_ALREADY_EXIST, 94717, "Participant already exists")                         \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_PART_NOT_FOUND, 94718, "Participant not found")                                  \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_FIRM_ALREADY_EXIST, 94719, "Firm already exists")                                \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_FIRM_NOT_FOUND, 94720, "Firm not found")                                         \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_WRONG_INPUT_PARAMETERS, 94723, "CalcGo API error wrong input parameters")        \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_CURRENCY_NOT_FOUND, 94724, "CALCGO_API_ERROR_CURRENCY_NOT_FOUND")                \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_SETTLEMENT_ACCOUNT_ALREADY_EXIST, 94740, "Settlement Account already exists")    \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_OPTION_NOT_FOUND, 94749, "CalcGO: Option not found")                             \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_LEGORDERNUM_ALREADY_EXISTS_IN_MULTILEG, 94754,                                   \
         "CALCGO_API_ERROR_LEGORDERNUM_ALREADY_EXISTS_IN_MULTILEG")                                                    \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR_MUST_BE_POSITIVE, 94757, "MarketRisk must be positive")                       \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR1_MUST_BE_POSITIVE, 94758, "MarketRisk1 must be positive")                     \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR2_MUST_BE_POSITIVE, 94759, "MarketRisk2 must be positive")                     \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_CL1_CANNOT_BE_NEGATIVE, 94760, "ConcentrationLimit1 cannot be negative")         \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_CL2_CANNOT_BE_NEGATIVE, 94761, "ConcentrationLimit2 cannot be negative")         \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_RISKPOINTSN_IN_MCS_NOT_EQUAL, 94762,                                             \
         "Base contracts from the same MCS has different RiskPointsN")                                                 \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_IR_UP_CANNOT_BE_NEGATIVE, 94763, "InterestRateRiskUp cannot be negative")        \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_IR_DOWN_CANNOT_BE_NEGATIVE, 94764, "InterestRateRiskDown cannot be negative")    \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_TIME_TO_EXPIRATION_CANNOT_BE_NEGATIVE, 94765,                                    \
         "TimeToExpiration cannot be negative")                                                                        \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_VOLATILITY_RISK_OUT_OF_RANGE, 94766,                                             \
         "VolatilityRisk out of range (VR must be greater than or equal to 0 and less than 5)")                        \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_VOLATILITY_RISK_MISMATCH_OUT_OF_RANGE, 94767,                                    \
         "VolatilityRiskMismatch out of range (VVR must be greater than or equal to 0 and less than 5)")               \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_VOLATNUM_MUST_BE_ODD, 94771, "CALCGO_API_ERROR_VOLATNUM_MUST_BE_ODD")            \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_WINDOW_SIZE_PERCENTAGE_OUT_OF_RANGE, 94773,                                      \
         "CALCGO_API_ERROR_WINDOW_SIZE_PERCENTAGE_OUT_OF_RANGE")                                                       \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_LOT_CANNOT_BE_ZERO, 94774, "Lot cannot be zero")                                 \
    CODE(QUINDAL_ERR_CALCGO_API_OPTION_MODEL_INCORRECT, 94779, "Z9ERR_CALCGO_API_OPTION_MODEL_INCORRECT")              \
    CODE(QUINDAL_ERR_CALCGO_LOTCOEFF_OUT_OF_RANGE, 94780, "LotCoeff is out of range")                                  \
    CODE(QUINDAL_ERR_CALCGO_MARGIN_STYLE_OUT_OF_RANGE, 94781, "Margin style is out of range")                          \
    CODE(QUINDAL_ERR_CALCGO_SETTLEMENT_TYPE_OUT_OF_RANGE, 94782, "Settlement style is out of range")                   \
    CODE(QUINDAL_ERR_CALCGO_EXERCISE_STYLE_OUT_OF_RANGE, 94783, "Exercise style is out of range")                      \
    CODE(QUINDAL_ERR_CALCGO_INTEREST_RATE_RISK_UP_OUT_OF_RANGE, 94784, "InterestRateRiskUp is out of range")           \
    CODE(QUINDAL_ERR_CALCGO_INTEREST_RATE_RISK_DOWN_OUT_OF_RANGE, 94785, "InterestRateRiskDown is out of range")       \
    CODE(QUINDAL_ERR_CALCGO_INVALID_MSPTYPE, 94787,                                                                    \
         "Invalid BaseContract MSPType, valid values are FixedPriceStep(0) and CurrencyIndicatorPriceStep(1)")         \
    CODE(QUINDAL_ERR_CALCGO_INVALID_ASSET_CLASS, 94788, "Invalid BaseContract AssetClass")                             \
    CODE(QUINDAL_ERR_CALCGO_INTEREST_RATE_2_RISK_UP_OUT_OF_RANGE, 94789, "InterestRate2RiskUp is out of range")        \
    CODE(QUINDAL_ERR_CALCGO_INTEREST_RATE_2_RISK_DOWN_OUT_OF_RANGE, 94790, "InterestRate2RiskDown is out of range")    \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_CURRENCY_ALREADY_EXIST, 94791, "Currency already exists")                        \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MULTILEG_ALREADY_EXISTS, 94792, "Multileg already exists")                       \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR_LOW_MUST_BE_POSITIVE, 94793, "MarketRiskLow must be positive")                \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR1_LOW_MUST_BE_POSITIVE, 94794, "MarketRisk1Low must be positive")              \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR2_LOW_MUST_BE_POSITIVE, 94795, "MarketRisk2Low must be positive")              \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR_MEDIUM_MUST_BE_POSITIVE, 94796, "MarketRiskMedium must be positive")          \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR1_MEDIUM_MUST_BE_POSITIVE, 94797, "MarketRisk1Medium must be positive")        \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR2_MEDIUM_MUST_BE_POSITIVE, 94798, "MarketRisk2Medium must be positive")        \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR_HIGH_MUST_BE_POSITIVE, 94799, "MarketRiskHigh must be positive")              \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR1_HIGH_MUST_BE_POSITIVE, 94800, "MarketRisk1High must be positive")            \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR2_HIGH_MUST_BE_POSITIVE, 94801, "MarketRisk2High must be positive")            \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR_EXCEPTIONAL_MUST_BE_POSITIVE, 94802,                                          \
         "MarketRiskExceptional must be positive")                                                                     \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR1_EXCEPTIONAL_MUST_BE_POSITIVE, 94803,                                         \
         "MarketRisk1Exceptional must be positive")                                                                    \
    CODE(QUINDAL_ERR_CALCGO_API_ERROR_MR2_EXCEPTIONAL_MUST_BE_POSITIVE, 94804,                                         \
         "MarketRisk2Exceptional must be positive")                                                                    \
    CODE(QUINDAL_ERR_COMMON_ERROR, 94808, "QuindalIM common error")                                                    \
    CODE(QUINDAL_ERR_ALREADY_INITIALIZED, 94809, "QuindalIM already initialized")                                      \
    CODE(QUINDAL_ERR_END_OF_DATA, 94810, "QuindalIM end of data")                                                      \
    CODE(QUINDAL_ERR_WRONG_ARGUMENTS, 94811, "QuindalIM wrong arguments")                                              \
    CODE(QUINDAL_ERR_NOT_ENOUGH_MEMORY, 94812, "QuindalIM not enough memory")                                          \
    CODE(QUINDAL_ERR_NOT_FOUND, 94813, "QuindalIM not found")                                                          \
    CODE(QUINDAL_ERR_STARTUP_ERROR, 94814, "QuindalIM startup error")                                                  \
    CODE(QUINDAL_ERR_CONNECT_ERROR, 94815, "QuindalIM connect error")                                                  \
    CODE(QUINDAL_ERR_LOGIN_ERROR, 94816, "QuindalIM login error")                                                      \
    CODE(QUINDAL_ERR_GET_USER_INFO_ERROR, 94817, "QuindalIM get user info error")                                      \
    CODE(QUINDAL_ERR_EXCEEDED_LIMIT_OF_PARTICIPANTS, 94818, "QuindalIM exceeded limit of participants")                \
    CODE(QUINDAL_ERR_NOT_SUPPORTED, 94819, "QuindalIM operation is not supported")                                     \
    CODE(QUINDAL_ERR_NOT_CONNECTED, 94820, "QuindalIM is not connected")                                               \
    CODE(QUINDAL_ERR_NOT_INITIALIZED, 94821, "QuindalIM is not initialized")                                           \
    CODE(QUINDAL_ERR_WRONG_PORT, 94822, "QuindalIM wrong port")                                                        \
    CODE(QUINDAL_ERR_WRONG_MQ_TIMEOUT, 94823, "QuindalIM wrong MQ timeout")                                            \
    CODE(QUINDAL_ERR_WRONG_PART_COUNT, 94824, "QuindalIM wrong part count")                                            \
    CODE(QUINDAL_ERR_INSTRUMENTS_ALREADY_LOADED, 94995, "Instruments already loaded. Please call ClearAll()")

#define QUINDAL_IM_CONSTANT(name, number, text) name = (number),
enum
{
    QUINDAL_IM_CODES(QUINDAL_IM_CONSTANT)
};
#undef QUINDAL_IM_CONSTANT

#ifdef __cplusplus
}
#endif
#endif
