/* The boundary as a caller in C meets it: each of the exported functions with a null in every place where a pointer
 * stands, with a zero handle, before the library is started and after it was stopped, and as it is meant to be called.
 * What each must answer stands in one table, `exports`. Then the size contract of every code buffer.
 *   exports_boundary_test INI USER PASSWORD   INI leads to a live server; ends with 1 when an answer was another
 *   exports_boundary_test --names             prints the names that the table covers */
#include "QuindalIM.h"

#include <stddef.h>
#include <stdio.h>
#include <string.h>

enum
{
    OK = 0,
    BUFFER_TOO_SMALL = 7,
    ALREADY_INITIALIZED = 94809,
    END_OF_DATA = 94810,
    WRONG_ARGUMENTS = 94811,
    NOT_SUPPORTED = 94819,
    NOT_CONNECTED = 94820,
    NOT_INITIALIZED = 94821,
    ALREADY_LOADED = 94995,
    NO_HANDLE = -1 /* the function takes none */
};

/* ---- How the functions are called ------------------------------------------------------------------------------- */

static const char* ini_file;
static const char* user;
static const char* word;

/* Everything that the functions may write into, in cells that no two arguments of a call share. */
static struct
{
    char text[3][64];
    int32_t size[3];
    double real[32];
    int32_t number[9];
    int64_t large[2];
    int8_t small[5];
    intptr_t handle;
    ExtraRisksInfo risks;
} room, before;

static void fill_room(void)
{
    unsigned char* const bytes = (unsigned char*)&room;
    for (size_t i = 0; i < sizeof room; ++i)
        bytes[i] = 0x5A;
    for (int i = 0; i < 3; ++i)
        room.size[i] = (int32_t)sizeof room.text[i];
}

/* Both to the last byte, what lies between the cells included. */
static void remember_room(void)
{
    const unsigned char* const now = (const unsigned char*)&room;
    unsigned char* const then = (unsigned char*)&before;
    for (size_t i = 0; i < sizeof room; ++i)
        then[i] = now[i];
}
static int is_untouched(void)
{
    const unsigned char* const now = (const unsigned char*)&room;
    const unsigned char* const then = (const unsigned char*)&before;
    for (size_t i = 0; i < sizeof room; ++i)
        if (now[i] != then[i]) return 0;
    return 1;
}

static int null_place;   /* the pointer that is null in this call, counted from 0 along the signature; -1: none */
static int places_taken; /* pointers that the call has */

static int is_null(int place)
{
    if (place >= places_taken) places_taken = place + 1;
    return place == null_place;
}

#define P(place, pointer) (is_null(place) ? NULL : (pointer))
#define T(place, i) P(place, room.text[i])
#define S(place, i) P(place, &room.size[i])
#define R(place, i) P(place, &room.real[i])
#define N(place, i) P(place, &room.number[i])
#define L(place, i) P(place, &room.large[i])
#define B(place, i) P(place, &room.small[i])
#define X(place) P(place, &room.risks)

static int32_t get_version(intptr_t calc)
{
    (void)calc;
    return strcmp(GetQuindalIMLibraryVersion(), "9.9.64.4654");
}
static int32_t get_description(intptr_t calc)
{
    (void)calc;
    return strcmp(GetErrorCodeDescription(WRONG_ARGUMENTS), "QuindalIM wrong arguments");
}
static int32_t init(intptr_t calc)
{
    (void)calc;
    return InitQuindalIM(P(0, ini_file), P(1, user), P(2, word));
}
static int32_t deinit(intptr_t calc)
{
    (void)calc;
    return DeInitQuindalIM();
}
static int32_t create(intptr_t calc)
{
    (void)calc;
    return CreateQuindalIMCalculator(P(0, &room.handle));
}
static int32_t set_common(intptr_t calc) { return SetCommonParams(calc, 0.5); }
static int32_t get_common(intptr_t calc) { return GetCommonParams(calc, R(0, 0)); }
static int32_t insert_currency(intptr_t calc) { return InsertCurrency(calc, 840, 0.05); }
static int32_t insert_base_contract(intptr_t calc)
{
    return InsertBaseContract(calc, P(0, "IX"), P(1, "GROUP"), 3, QUINDAL_MSP_FIXED_PRICE_STEP, 0, 0.1, 0.1, 0.1, 0.1,
                              0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 0.1, 1000, 5000, 2, 0.5,
                              QUINDAL_OPTION_MODEL_BLACK_SCHOLES, 1000.0, QUINDAL_ASSET_CLASS_INDEX, 0.0);
}
static int32_t insert_futures_of(intptr_t calc, const char* code, const char* contract, const char* tracked)
{
    return InsertFutures(calc, code, contract, 1000.0, QUINDAL_SPREAD_ASPECT_IN_SPREAD, 1.0, 1000.0, 1.0, 1.0, 0.0, 0.0,
                         0.25, 1000.0, QUINDAL_ATTRIBUTE_NONE, 0.0, 0.0, 0, tracked);
}
static int32_t insert_futures(intptr_t calc) { return insert_futures_of(calc, P(0, "IX-3.27"), P(1, "IX"), P(2, "")); }
static int32_t insert_option_series(intptr_t calc)
{
    return InsertOptionSeries(calc, P(0, "IX-3.27M"), P(1, "IX-3.27"), 20.0, 0.0, 0.0, 0.0, 1.0, 0, 0.0, 100.0, 0, 0, 0,
                              0.25, 0.0, 0.25, 1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 100.0, QUINDAL_MARGIN_STYLE_FUTURES,
                              QUINDAL_SETTLEMENT_TYPE_CASH_SETTLED, QUINDAL_EXERCISE_STYLE_EUROPEAN, 0,
                              QUINDAL_SPREAD_ASPECT_IN_SPREAD, 0, 1.0, 1.0, 1, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0);
}
static int32_t insert_option(intptr_t calc)
{
    return InsertOption(calc, P(0, "IX-3.27MC1000"), P(1, "IX-3.27M"), 1000.0, QUINDAL_OPTION_TYPE_CALL, 10.0);
}
static int32_t insert_multileg(intptr_t calc) { return InsertMultileg(calc, P(0, "IX-3.27-6.27")); }
static int32_t get_instruments(intptr_t calc) { return GetInstrumentParameters(calc, P(0, "")); }
static int32_t clear_all(intptr_t calc) { return ClearAll(calc); }
static int32_t clear_parts(intptr_t calc) { return ClearParts(calc); }

static int32_t first_currency(intptr_t calc) { return SetOnFirstCurrency(calc, N(0, 0)); }
static int32_t first_base_contract(intptr_t calc) { return SetOnFirstBaseContract(calc, N(0, 0)); }
static int32_t first_futures(intptr_t calc) { return SetOnFirstFutures(calc, N(0, 0)); }
static int32_t first_option_series(intptr_t calc) { return SetOnFirstOptionSeries(calc, N(0, 0)); }
static int32_t first_option(intptr_t calc) { return SetOnFirstOption(calc, N(0, 0)); }
static int32_t first_multileg(intptr_t calc) { return SetOnFirstMultileg(calc, N(0, 0)); }

static int32_t next_currency(intptr_t calc) { return GetNextCurrency(calc, N(0, 0), R(1, 0)); }
static int32_t next_base_contract(intptr_t calc)
{
    return GetNextBaseContract(calc, T(0, 0), S(1, 0), T(2, 1), S(3, 1), N(4, 0), N(5, 1), B(6, 0), N(7, 2), R(8, 0),
                               R(9, 1), R(10, 2), R(11, 3), R(12, 4), R(13, 5), R(14, 6), R(15, 7), R(16, 8), R(17, 9),
                               R(18, 10), R(19, 11), R(20, 12), R(21, 13), R(22, 14), R(23, 15), L(24, 0), L(25, 1),
                               R(26, 16), B(27, 1), R(28, 17), N(29, 3), R(30, 18));
}
static int32_t next_futures(intptr_t calc)
{
    return GetNextFutures(calc, QUINDAL_CLIENT_RISK_LEVEL_DEFAULT, T(0, 0), S(1, 0), T(2, 1), S(3, 1), R(4, 0), R(5, 1),
                          B(6, 0), R(7, 2), R(8, 3), R(9, 4), R(10, 5), R(11, 6), R(12, 7), R(13, 8), R(14, 9),
                          N(15, 0), R(16, 10), R(17, 11), B(18, 1), T(19, 2), S(20, 2));
}
static int32_t next_option_series(intptr_t calc)
{
    return GetNextOptionSeries(calc, T(0, 0), S(1, 0), T(2, 1), S(3, 1), R(4, 0), R(5, 1), R(6, 2), R(7, 3), R(8, 4),
                               R(9, 5), B(10, 0), R(11, 6), R(12, 7), N(13, 0), N(14, 1), N(15, 2), R(16, 8), R(17, 9),
                               R(18, 10), R(19, 11), R(20, 12), R(21, 13), R(22, 14), R(23, 15), R(24, 16), R(25, 17),
                               N(26, 3), N(27, 4), N(28, 5), B(29, 1), B(30, 2), B(31, 3), R(32, 18), R(33, 19),
                               N(34, 6), R(35, 20), R(36, 21), R(37, 22), R(38, 23), R(39, 24), R(40, 25), R(41, 26),
                               R(42, 27));
}
static int32_t next_option(intptr_t calc)
{
    return GetNextOption(calc, T(0, 0), S(1, 0), T(2, 1), S(3, 1), R(4, 0), B(5, 0), R(6, 1));
}
static int32_t next_multileg(intptr_t calc) { return GetNextMultileg(calc, T(0, 0), S(1, 0)); }

static int32_t register_account(intptr_t calc)
{
    return RegisterSettlementAccount(calc, P(0, "ACCOUNT"), QUINDAL_MARGIN_RULE_NETTING,
                                     QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1.0);
}
static int32_t register_firm_of(intptr_t calc, const char* code, const char* account)
{
    return RegisterFirm(calc, code, 0, 1.0, 1.0, QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY, account,
                        QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_MARGIN_RULE_NETTING,
                        QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1.0, 0);
}
static int32_t register_firm(intptr_t calc) { return register_firm_of(calc, P(0, "AA01"), P(1, "ACCOUNT")); }
static int32_t register_part_of(intptr_t calc, const char* code)
{
    return RegisterPart(calc, code, 0, 0, 1.0, QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_SPREAD_MARGIN_TYPE_NETTING,
                        1.0, 1.0, QUINDAL_CLIENT_RISK_LEVEL_DEFAULT, 0);
}
static int32_t register_part(intptr_t calc) { return register_part_of(calc, P(0, "AA01001")); }
static int32_t change_part(intptr_t calc) { return ChangePart(calc, P(0, "AA01001"), 1, 0, 0.5); }
static int32_t insert_ratio(intptr_t calc)
{
    return InsertBrokerBaseContractParam(calc, P(0, "AA01"), P(1, "IX"), 1.5);
}
static int32_t set_position(intptr_t calc)
{
    return SetPosition(calc, P(0, "AA01001"), P(1, "IX-3.27"), 2, 0.0, R(2, 0), R(3, 1), R(4, 2), R(5, 3), R(6, 4),
                       QUINDAL_ACCOUNT_HIERARCHY_CLIENT, 0);
}
static int32_t change_order(intptr_t calc)
{
    return ChangeOrder(calc, P(0, "AA01001"), P(1, "IX-3.27-6.27"), 1, 5.0, 3, R(2, 0), R(3, 1), R(4, 2), R(5, 3),
                       R(6, 4));
}

#define RISKS(function)                                                                                                \
    static int32_t call_##function(intptr_t calc)                                                                      \
    {                                                                                                                  \
        return function(calc, QUINDAL_RISK_TYPE_MATRIX_VOLATILITY, P(0, "IX"), P(1, "AA01001"), R(2, 0), N(3, 0),      \
                        N(4, 1), X(5));                                                                                \
    }
RISKS(GetClientVfRisksArray)
RISKS(GetClientDeliveryRisksArray)
RISKS(GetClientFutRisksArray)
RISKS(GetClientMmsRisksArray)
RISKS(GetClientMcsRisksArray)
RISKS(GetBrokerRisksArray)

#define FINAL_RISKS(function)                                                                                          \
    static int32_t call_##function(intptr_t calc)                                                                      \
    {                                                                                                                  \
        return function(calc, QUINDAL_RISK_TYPE_MATRIX_FINAL, P(0, "IX"), P(1, "AA01001"), R(2, 0), N(3, 0), X(4));    \
    }
FINAL_RISKS(GetClientFinalRisksArray)
FINAL_RISKS(GetClientFinalRisksArrayWithPositiveValue)
FINAL_RISKS(GetBrokerFinalRisksArray)
FINAL_RISKS(GetBrokerFinalRisksArrayWithPositiveValue)
FINAL_RISKS(GetSettlementAccountFinalRisksArray)
FINAL_RISKS(GetSettlementAccountFinalRisksArrayWithPositiveValue)

static int32_t risk_points(intptr_t calc)
{
    return GetRiskPoints(calc, QUINDAL_RISK_TYPE_EXPIRATION_RISK_NODE, P(0, "IX-3.27"), false, R(1, 0), N(2, 0),
                         N(3, 1), X(4), QUINDAL_CLIENT_RISK_LEVEL_DEFAULT);
}
static int32_t option_risks(intptr_t calc)
{
    return GetOptionRisksArray(calc, QUINDAL_RISK_TYPE_VOLATILITY_RISK_NODE, P(0, "IX-3.27MC1000"), R(1, 0), N(2, 0),
                               N(3, 1), X(4), QUINDAL_CLIENT_RISK_LEVEL_DEFAULT);
}

/* ---- What they must answer -------------------------------------------------------------------------------------- */

struct answers
{
    int32_t null;  /* a null in any place that may not be null */
    int32_t whole; /* no null */
};

struct export
{
    const char* name;
    int32_t (*call)(intptr_t calc);
    int pointers;           /* number of its pointers, the handle not counted */
    int may_be_null;        /* the one that may be, -1: none */
    struct answers stopped; /* before the start, and after the stop, whatever the handle */
    struct answers started; /* with the handle; called one after the other in the order of the table */
    int32_t zero_handle;    /* started, no null but the handle */
};

/* Pointers are looked at first, then whether the library is started, then the handle. */
#define CODE(result) {WRONG_ARGUMENTS, NOT_INITIALIZED}, {WRONG_ARGUMENTS, result}, WRONG_ARGUMENTS
/* The link is looked at between the pointers and whether the library is started. */
#define LINKED {WRONG_ARGUMENTS, NOT_CONNECTED}, {WRONG_ARGUMENTS, OK}, WRONG_ARGUMENTS
/* Nothing is looked at. */
#define NEVER {NOT_SUPPORTED, NOT_SUPPORTED}, {NOT_SUPPORTED, NOT_SUPPORTED}, NOT_SUPPORTED
/* No handle, no pointer, no state. */
#define ALWAYS {OK, OK}, {OK, OK}, NO_HANDLE

static const struct export exports[] = {
    {"GetQuindalIMLibraryVersion", get_version, 0, -1, ALWAYS},
    {"GetErrorCodeDescription", get_description, 0, -1, ALWAYS},
    /* Stopped, without a null, it starts. Null instead of an ini file: the process has opened no default one. */
    {"InitQuindalIM", init, 3, -1, {WRONG_ARGUMENTS, OK}, {ALREADY_INITIALIZED, ALREADY_INITIALIZED}, NO_HANDLE},
    {"CreateQuindalIMCalculator", create, 1, -1, {WRONG_ARGUMENTS, NOT_INITIALIZED}, {WRONG_ARGUMENTS, OK}, NO_HANDLE},
    {"SetCommonParams", set_common, 0, -1, CODE(OK)},
    {"GetCommonParams", get_common, 1, -1, CODE(OK)},
    {"InsertCurrency", insert_currency, 0, -1, CODE(OK)},
    {"InsertBaseContract", insert_base_contract, 2, -1, CODE(OK)},
    {"InsertFutures", insert_futures, 3, -1, CODE(OK)},
    {"InsertOptionSeries", insert_option_series, 2, -1, CODE(OK)},
    {"InsertOption", insert_option, 2, -1, CODE(OK)},
    {"InsertMultileg", insert_multileg, 1, -1, CODE(OK)},
    {"GetInstrumentParameters", get_instruments, 1, 0, CODE(ALREADY_LOADED)},
    {"SetOnFirstCurrency", first_currency, 1, -1, CODE(OK)},
    {"SetOnFirstBaseContract", first_base_contract, 1, -1, CODE(OK)},
    {"SetOnFirstFutures", first_futures, 1, -1, CODE(OK)},
    {"SetOnFirstOptionSeries", first_option_series, 1, -1, CODE(OK)},
    {"SetOnFirstOption", first_option, 1, -1, CODE(OK)},
    {"SetOnFirstMultileg", first_multileg, 1, -1, CODE(OK)},
    {"GetNextCurrency", next_currency, 2, -1, CODE(OK)},
    {"GetNextBaseContract", next_base_contract, 31, -1, CODE(OK)},
    {"GetNextFutures", next_futures, 21, -1, CODE(OK)},
    {"GetNextOptionSeries", next_option_series, 43, -1, CODE(OK)},
    {"GetNextOption", next_option, 7, -1, CODE(OK)},
    {"GetNextMultileg", next_multileg, 2, -1, CODE(OK)},
    {"RegisterSettlementAccount", register_account, 1, -1, CODE(OK)},
    {"RegisterFirm", register_firm, 2, 1, CODE(OK)}, /* without an account above it */
    {"RegisterPart", register_part, 1, -1, CODE(OK)},
    {"InsertBrokerBaseContractParam", insert_ratio, 2, -1, CODE(OK)},
    {"SetPosition", set_position, 7, -1, LINKED},
    {"ChangeOrder", change_order, 7, -1, LINKED},
    {"ChangePart", change_part, 1, -1, CODE(OK)},
    {"GetClientVfRisksArray", call_GetClientVfRisksArray, 6, -1, NEVER},
    {"GetClientDeliveryRisksArray", call_GetClientDeliveryRisksArray, 6, -1, NEVER},
    {"GetClientFutRisksArray", call_GetClientFutRisksArray, 6, -1, NEVER},
    {"GetClientMmsRisksArray", call_GetClientMmsRisksArray, 6, -1, NEVER},
    {"GetClientMcsRisksArray", call_GetClientMcsRisksArray, 6, -1, NEVER},
    {"GetBrokerRisksArray", call_GetBrokerRisksArray, 6, -1, NEVER},
    {"GetClientFinalRisksArray", call_GetClientFinalRisksArray, 5, -1, NEVER},
    {"GetClientFinalRisksArrayWithPositiveValue", call_GetClientFinalRisksArrayWithPositiveValue, 5, -1, NEVER},
    {"GetBrokerFinalRisksArray", call_GetBrokerFinalRisksArray, 5, -1, NEVER},
    {"GetBrokerFinalRisksArrayWithPositiveValue", call_GetBrokerFinalRisksArrayWithPositiveValue, 5, -1, NEVER},
    {"GetSettlementAccountFinalRisksArray", call_GetSettlementAccountFinalRisksArray, 5, -1, NEVER},
    {"GetSettlementAccountFinalRisksArrayWithPositiveValue", call_GetSettlementAccountFinalRisksArrayWithPositiveValue,
     5, -1, NEVER},
    {"GetRiskPoints", risk_points, 5, -1, NEVER},
    {"GetOptionRisksArray", option_risks, 5, -1, NEVER},
    {"ClearParts", clear_parts, 0, -1, CODE(OK)},
    {"ClearAll", clear_all, 0, -1, CODE(OK)},
    /* Whether the library is started comes before its handle, which is no pointer here. */
    {"DestroyQuindalIMCalculator", DestroyQuindalIMCalculator, 0, -1, CODE(OK)},
    {"DeInitQuindalIM", deinit, 0, -1, {OK, NOT_INITIALIZED}, {OK, OK}, NO_HANDLE},
};
enum
{
    EXPORTS = sizeof exports / sizeof *exports
};

/* ---- The checks ------------------------------------------------------------------------------------------------- */

static int failures;

static void expect(const char* state, const char* what, int place, int32_t answer, int32_t expected)
{
    if (answer == expected) return;
    ++failures;
    fprintf(stderr, "%s: %s", state, what);
    if (place >= 0) fprintf(stderr, " with a null in place %d", place);
    fprintf(stderr, " answers %d and not %d\n", (int)answer, (int)expected);
}

/* One call. What is refused leaves everything as the caller had it. */
static void check(const char* state, const struct export* function, intptr_t calc, int place, int32_t expected)
{
    fill_room();
    remember_room();
    null_place = place;
    places_taken = 0;
    expect(state, function->name, place, function->call(calc), expected);
    null_place = -1;
    if (places_taken != function->pointers)
        expect(state, "pointers of the table", -1, places_taken, function->pointers);
    if (expected != OK && !is_untouched()) {
        ++failures;
        fprintf(stderr, "%s: %s refuses and writes all the same\n", state, function->name);
    }
}

static void check_nulls(const char* state, const struct export* function, intptr_t calc, const struct answers* answers)
{
    for (int place = 0; place < function->pointers; ++place)
        if (place != function->may_be_null) check(state, function, calc, place, answers->null);
}

/* The library is not started: no handle opens anything. */
static void check_stopped(const char* state, intptr_t calc)
{
    const intptr_t handles[] = {0, 12345, calc};
    for (size_t i = 0; i < EXPORTS; ++i) {
        const struct export* function = &exports[i];
        for (size_t h = 0; h < sizeof handles / sizeof *handles; ++h) {
            check_nulls(state, function, handles[h], &function->stopped);
            if (function->call == init) continue;
            check(state, function, handles[h], -1, function->stopped.whole);
            if (function->may_be_null >= 0)
                check(state, function, handles[h], function->may_be_null, function->stopped.whole);
        }
    }
}

/* Started, with a calculator that holds nothing yet. */
static void check_refusals(intptr_t calc)
{
    for (size_t i = 0; i < EXPORTS; ++i) {
        const struct export* function = &exports[i];
        check_nulls("started", function, calc, &function->started);
        check_nulls("started, zero handle", function, 0, &function->started);
        if (function->zero_handle != NO_HANDLE) check("started, zero handle", function, 0, -1, function->zero_handle);
    }
    expect("started", "DestroyQuindalIMCalculator of another handle", -1, DestroyQuindalIMCalculator(12345),
           WRONG_ARGUMENTS);
}

/* All of them as they are meant to be called, one after the other; the last two end it. */
static void check_whole(intptr_t calc)
{
    for (size_t i = 0; i < EXPORTS; ++i) {
        check("started", &exports[i], calc, -1, exports[i].started.whole);
        if (exports[i].call == insert_futures) /* the multileg's other leg */
            expect("started", "InsertFutures", -1, insert_futures_of(calc, "IX-6.27", "IX", ""), OK);
        if (exports[i].call == register_firm)
            expect("started", "RegisterFirm without an account", -1, register_firm_of(calc, "AA02", NULL), OK);
    }
}

static void check_download(intptr_t calc)
{
    expect("started", "GetInstrumentParameters", 0, GetInstrumentParameters(calc, NULL), OK);
    expect("started", "GetInstrumentParameters again", 0, GetInstrumentParameters(calc, NULL), ALREADY_LOADED);
    expect("started", "ClearAll", -1, ClearAll(calc), OK);
}

/* A code of another length is refused before the handle is looked at, and before whether the library is started. */
static void check_code_lengths(const char* state)
{
    expect(state, "RegisterFirm of 3 characters", -1, register_firm_of(0, "AA0", ""), WRONG_ARGUMENTS);
    expect(state, "RegisterFirm of 5 characters", -1, register_firm_of(0, "AA012", ""), WRONG_ARGUMENTS);
    expect(state, "RegisterPart of 6 characters", -1, register_part_of(0, "AA0100"), WRONG_ARGUMENTS);
    expect(state, "RegisterPart of 8 characters", -1, register_part_of(0, "AA010011"), WRONG_ARGUMENTS);
    expect(state, "ChangePart of 6 characters", -1, ChangePart(0, "AA0100", 0, 0, 0.0), WRONG_ARGUMENTS);
    expect(state, "ChangePart of 8 characters", -1, ChangePart(0, "AA010011", 0, 0, 0.0), WRONG_ARGUMENTS);
}

/* ---- The size contract of the code buffers ---------------------------------------------------------------------- */

/* A cursor with one entry, and its codes. */
struct cursor
{
    const char* name;
    int32_t (*first)(intptr_t calc);
    int32_t (*next)(intptr_t calc);
    const char* codes[3]; /* null behind the last */
};

static void expect_true(const char* what, const char* name, int buffer, int capacity, int holds)
{
    if (holds) return;
    ++failures;
    fprintf(stderr, "%s, buffer %d of capacity %d: %s\n", name, buffer, capacity, what);
}

static void check_capacity(intptr_t calc, const struct cursor* cursor, int buffer, int capacity)
{
    const int length = (int)strlen(cursor->codes[buffer]);
    const int fits = capacity > length;
    first_currency(calc); /* another kind's cursor: it must not matter */
    expect("sizes", cursor->name, -1, cursor->first(calc), OK);
    fill_room();
    room.size[buffer] = capacity;
    remember_room();
    expect("sizes", cursor->name, -1, cursor->next(calc), fits ? OK : BUFFER_TOO_SMALL);

    for (int i = 0; i < 3 && cursor->codes[i] != NULL; ++i) {
        const int needed = (int)strlen(cursor->codes[i]) + 1;
        expect_true("the needed size is given", cursor->name, buffer, capacity, room.size[i] == needed);
        before.size[i] = needed;
        if (!fits) continue;
        expect_true("the code is given", cursor->name, buffer, capacity, strcmp(room.text[i], cursor->codes[i]) == 0);
    }
    if (fits) {
        const size_t behind = (size_t)capacity;
        expect_true(
            "nothing is written behind the capacity", cursor->name, buffer, capacity,
            memcmp(room.text[buffer] + behind, before.text[buffer] + behind, sizeof room.text[buffer] - behind) == 0);
    } else {
        expect_true("only sizes are given", cursor->name, buffer, capacity, is_untouched());
    }
    fill_room();
    remember_room();
    expect("sizes", cursor->name, -1, cursor->next(calc), END_OF_DATA); /* the entry is not offered again */
    expect_true("nothing is written at the end", cursor->name, buffer, capacity, is_untouched());
}

static void check_sizes_of(intptr_t calc, const struct cursor* cursor)
{
    for (int buffer = 0; buffer < 3 && cursor->codes[buffer] != NULL; ++buffer) {
        const int length = (int)strlen(cursor->codes[buffer]);
        check_capacity(calc, cursor, buffer, -1);
        check_capacity(calc, cursor, buffer, 0);
        check_capacity(calc, cursor, buffer, length);
        check_capacity(calc, cursor, buffer, length + 1);
        check_capacity(calc, cursor, buffer, length + 2);
    }
}

static void check_sizes(intptr_t calc)
{
    static const struct cursor contract = {
        "GetNextBaseContract", first_base_contract, next_base_contract, {"IX", "GROUP", NULL}};
    static const struct cursor tracking = {"GetNextFutures", first_futures, next_futures, {"IX-3.27", "IX", "IX-3.28"}};
    static const struct cursor series = {
        "GetNextOptionSeries", first_option_series, next_option_series, {"IX-3.27M", "IX-3.27", NULL}};
    static const struct cursor option = {
        "GetNextOption", first_option, next_option, {"IX-3.27MC1000", "IX-3.27M", NULL}};
    static const struct cursor multileg = {
        "GetNextMultileg", first_multileg, next_multileg, {"IX-3.27-6.27", NULL, NULL}};
    null_place = -1;

    expect("sizes", "InsertBaseContract", -1, insert_base_contract(calc), OK);
    check_sizes_of(calc, &contract);
    expect("sizes", "InsertFutures", -1, insert_futures_of(calc, "IX-3.27", "IX", "IX-3.28"), OK); /* only named */
    check_sizes_of(calc, &tracking);
    expect("sizes", "InsertOptionSeries", -1, insert_option_series(calc), OK);
    check_sizes_of(calc, &series);
    expect("sizes", "InsertOption", -1, insert_option(calc), OK);
    check_sizes_of(calc, &option);
    expect("sizes", "InsertFutures", -1, insert_futures_of(calc, "IX-6.27", "IX", ""), OK);
    expect("sizes", "InsertMultileg", -1, insert_multileg(calc), OK);
    check_sizes_of(calc, &multileg);
    expect("sizes", "ClearAll", -1, ClearAll(calc), OK);
}

/* ---- The story -------------------------------------------------------------------------------------------------- */

static intptr_t start(void)
{
    intptr_t calc = 0;
    expect("start", "InitQuindalIM", -1, InitQuindalIM(ini_file, user, word), OK);
    expect("start", "CreateQuindalIMCalculator", -1, CreateQuindalIMCalculator(&calc), OK);
    return calc;
}

static void check_everything(void)
{
    check_stopped("not started yet", 0);
    check_code_lengths("not started yet");

    const intptr_t first = start();
    check_refusals(first);
    check_code_lengths("started");
    check_download(first);
    check_sizes(first);
    check_whole(first);
    check_stopped("stopped, the calculator destroyed", first);

    const intptr_t second = start();
    expect("stop", "DeInitQuindalIM", -1, DeInitQuindalIM(), OK);
    check_stopped("stopped, the calculator still there", second);
    if (start() != second) expect("start", "the same calculator", -1, 1, 0);
    expect("stop", "DestroyQuindalIMCalculator", -1, DestroyQuindalIMCalculator(second), OK);
    expect("stop", "DeInitQuindalIM", -1, DeInitQuindalIM(), OK);
}

int main(int argc, char** argv)
{
    if (argc == 2 && strcmp(argv[1], "--names") == 0) {
        for (size_t i = 0; i < EXPORTS; ++i)
            puts(exports[i].name);
        return 0;
    }
    if (argc != 4) {
        fputs("usage: exports_boundary_test INI USER PASSWORD | --names\n", stderr);
        return 2;
    }
    ini_file = argv[1];
    user = argv[2];
    word = argv[3];
    check_everything();
    return failures == 0 ? 0 : 1;
}
