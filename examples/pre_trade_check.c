/* Looks at orders before they are sent: what would the client's margin (GO) be with each, and is that within the limit?
 *
 *     pre_trade_check INI USER LIMIT <orders
 *
 * An order is a line of standard input: buy or sell, contracts, instrument, price; a price of 0 is the calculated price
 * of the instrument. Each order is looked at alone. The password is in QUINDAL_PASSWORD. Client and book are CL02001's
 * of accounts.csv and positions.csv. The exit status is 0 when each order is within the limit, 1 when one is not, 2
 * when something else went wrong. */
#include <QuindalIM.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static const char client[] = "CL02001";
static intptr_t calc;

/* Ends the program where a function has failed. */
static void Check(int32_t code, const char* function)
{
    if (code == QUINDAL_OK) return;
    fprintf(stderr, "%s: %s (%d)\n", function, GetErrorCodeDescription(code), (int)code);
    exit(2);
}
#define CALL(function, ...) Check(function(__VA_ARGS__), #function)

static void EnterBook(void)
{
    double volatility, delivery, go, firm, account;
    CALL(RegisterSettlementAccount, calc, "CLIENTS", QUINDAL_MARGIN_RULE_HALF_NETTING,
         QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING, 1.0);
    CALL(RegisterFirm, calc, "CL02", 0, 1.0, 0.5, QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY, "CLIENTS",
         QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_MARGIN_RULE_GROSS, QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING, 1.0,
         0);
    CALL(InsertBrokerBaseContractParam, calc, "CL02", "ALFA", 1.25);
    CALL(RegisterPart, calc, client, 0, -1, -1.0, QUINDAL_SPREAD_MARGIN_TYPE_NETTING,
         QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING, 1.0, 1.0, QUINDAL_CLIENT_RISK_LEVEL_LOW, 0);
    CALL(SetPosition, calc, client, "ALFA-SPOT", 30, 26480.0, &volatility, &delivery, &go, &firm, &account,
         QUINDAL_ACCOUNT_HIERARCHY_CLIENT, 30);
    CALL(SetPosition, calc, client, "ALFA-3.27", -30, 27490.0, &volatility, &delivery, &go, &firm, &account,
         QUINDAL_ACCOUNT_HIERARCHY_CLIENT, -30);
}

/* Adds an order to the book, takes it out again by a quantity below 0, shows the margin by one of 0. */
static int32_t ChangeBook(const char* instrument, int32_t isBuy, double price, int64_t quantity, double* go)
{
    double volatility, delivery, firm, account;
    return ChangeOrder(calc, client, instrument, isBuy, price, quantity, &volatility, &delivery, go, &firm, &account);
}

/* Looks at one order; true when it is within the limit. */
static int IsWithin(double limit, const char* side, long quantity, const char* instrument, double price)
{
    const int32_t isBuy = strcmp(side, "buy") == 0;
    double with, without;
    const int32_t code = ChangeBook(instrument, isBuy, price, quantity, &with);
    if (code != QUINDAL_OK) { /* the order is wrong, or the link is lost; the book is as it was */
        printf("%-4s %8ld  %-20s %9.2f  %s\n", side, quantity, instrument, price, GetErrorCodeDescription(code));
        return 0;
    }
    Check(ChangeBook(instrument, isBuy, price, -quantity, &without), "ChangeOrder");
    printf("%-4s %8ld  %-20s %9.2f %12.2f %12.2f  %s\n", side, quantity, instrument, price, without, with,
           with <= limit ? "within the limit" : "over the limit");
    return with <= limit;
}

int main(int argc, char** argv)
{
    const char* password = getenv("QUINDAL_PASSWORD");
    if (argc != 4 || password == NULL) {
        fprintf(stderr, "usage: QUINDAL_PASSWORD=... pre_trade_check INI USER LIMIT <orders\n");
        return 2;
    }
    CALL(InitQuindalIM, argv[1], argv[2], password);
    CALL(CreateQuindalIMCalculator, &calc);
    CALL(GetInstrumentParameters, calc, NULL);
    EnterBook();

    printf("Side Quantity  Instrument               Price   GO without      GO with\n");
    int result = 0;
    char line[256];
    while (fgets(line, sizeof line, stdin) != NULL) {
        char side[5], instrument[64];
        long quantity;
        double price;
        if (sscanf(line, "%4s %ld %63s %lf", side, &quantity, instrument, &price) != 4 || quantity < 1 ||
            (strcmp(side, "buy") != 0 && strcmp(side, "sell") != 0)) {
            fprintf(stderr, "no order: %s", line);
            result = 2;
        } else if (!IsWithin(strtod(argv[3], NULL), side, quantity, instrument, price) && result == 0) {
            result = 1;
        }
    }
    CALL(DestroyQuindalIMCalculator, calc);
    Check(DeInitQuindalIM(), "DeInitQuindalIM");
    return result;
}
