/* The example of docs/api/positions-and-orders.md: a market of two futures, and the figures that are worked out there
 * by hand. Prints what differs, and ends with the number of differences. */
#include <QuindalIM.h>
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

static intptr_t calc;
static int differences;

static void Check(int32_t code, const char* function)
{
    if (code == 0) return;
    fprintf(stderr, "%s: %d %s\n", function, (int)code, GetErrorCodeDescription(code));
    exit(100);
}
#define CALL(function, ...) Check(function(__VA_ARGS__), #function)

/* One contract of 10 money a price unit; the ends of the grid are 10 below and above the price. */
static void EnterFutures(const char* code, double price, double years)
{
    CALL(InsertFutures, calc, code, "ABC", price, QUINDAL_SPREAD_ASPECT_IN_SPREAD, 10, price, 1, 1, 0, 0, years, 100,
         QUINDAL_ATTRIBUTE_NONE, 0, 0, 0, "");
}

static void EnterMarket(void)
{
    CALL(InsertBaseContract, calc, "ABC", "", 3, QUINDAL_MSP_FIXED_PRICE_STEP, 0, 0.0, 0.1, 0.15, 0.2, 0.1, 0.15, 0.2,
         0.1, 0.15, 0.2, 0.1, 0.15, 0.2, 0.1, 0.15, 0.2, 1000000, 1000000, 2, 0.0, QUINDAL_OPTION_MODEL_BLACK_SCHOLES,
         100, QUINDAL_ASSET_CLASS_COMMODITY, 0);
    EnterFutures("ABC-3.27", 100, 0.25);
    EnterFutures("ABC-6.27", 102, 0.5);
    CALL(InsertMultileg, calc, "ABC-3.27-6.27");
}

/* A client that has bought 3 of the near futures at 100. */
static void EnterClient(const char* code, QuindalSpreadMarginType calendar, int32_t noDiscount)
{
    double volatility, delivery, margin, firm, account;
    CALL(RegisterPart, calc, code, noDiscount, -1, -1, calendar, QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1, 1,
         QUINDAL_CLIENT_RISK_LEVEL_DEFAULT, 0);
    CALL(SetPosition, calc, code, "ABC-3.27", 3, 100, &volatility, &delivery, &margin, &firm, &account,
         QUINDAL_ACCOUNT_HIERARCHY_CLIENT, 3);
}

static double Order(const char* client, const char* instrument, int32_t isBuy, double price, int64_t quantity)
{
    double volatility, delivery, margin, firm, account;
    CALL(ChangeOrder, calc, client, instrument, isBuy, price, quantity, &volatility, &delivery, &margin, &firm,
         &account);
    return margin;
}

static void Expect(const char* what, double figure, double expected)
{
    if (fabs(figure - expected) < 1e-9) return;
    printf("%s: %.5f instead of %.2f\n", what, figure, expected);
    ++differences;
}

/* The figure with the order, and 300 again when it is gone. */
static void ExpectOrder(const char* client, const char* instrument, int32_t isBuy, double price, double expected)
{
    char what[96];
    snprintf(what, sizeof what, "%s, %s %s at %g", client, isBuy ? "buy of" : "sell of", instrument, price);
    Expect(what, Order(client, instrument, isBuy, price, 2), expected);
    Expect(what, Order(client, instrument, isBuy, price, -2), 300);
}

int main(int argc, char** argv)
{
    if (argc != 4) return 101; /* ini user password */
    CALL(InitQuindalIM, argv[1], argv[2], argv[3]);
    CALL(CreateQuindalIMCalculator, &calc);
    EnterMarket();
    CALL(RegisterFirm, calc, "AA01", 0, 1, 1, QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY, NULL,
         QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_MARGIN_RULE_NETTING, QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1, 0);
    EnterClient("AA01NET", QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 0);
    EnterClient("AA01DIS", QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1);
    EnterClient("AA01HLF", QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING, 0);

    ExpectOrder("AA01NET", "ABC-3.27", 1, 98, 460);  /* 300 + 2 x 10 x (98 - 90) */
    ExpectOrder("AA01DIS", "ABC-3.27", 1, 98, 500);  /* the same at the settlement price of 100 */
    ExpectOrder("AA01NET", "ABC-3.27", 0, 101, 300); /* loses at 110, where the position gains more */

    ExpectOrder("AA01NET", "ABC-3.27-6.27", 1, 3, 320); /* 300 + 2 x 10 x (3 - 2) */
    ExpectOrder("AA01NET", "ABC-3.27-6.27", 1, 2, 300);
    ExpectOrder("AA01HLF", "ABC-3.27-6.27", 1, 3, 520); /* 300 + 2 x 10 x (103 - 92) */

    Order("AA01NET", "ABC-3.27", 0, 100, 2); /* the legs as two orders */
    ExpectOrder("AA01NET", "ABC-6.27", 1, 103, 520);
    Expect("the legs cancelled", Order("AA01NET", "ABC-3.27", 0, 100, -2), 300);

    CALL(DestroyQuindalIMCalculator, calc);
    return DeInitQuindalIM() == 0 ? differences : 102;
}
