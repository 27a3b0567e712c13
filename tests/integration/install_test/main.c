/* The ten lines of the first page: log in, load the market, register a client, ask for a margin. */
#include <QuindalIM.h>
#include <stdio.h>

#define CALL(call)                                                                                                     \
    do {                                                                                                               \
        int32_t code = (call);                                                                                         \
        if (code) {                                                                                                    \
            fprintf(stderr, #call ": %d %s\n", (int)code, GetErrorCodeDescription(code));                              \
            return 1;                                                                                                  \
        }                                                                                                              \
    } while (0)

int main(int argc, char** argv)
{
    if (argc != 5) return 2; /* ini user password futures */
    intptr_t calc;
    double volatility, delivery, margin, firm, account;
    CALL(InitQuindalIM(argv[1], argv[2], argv[3]));
    CALL(CreateQuindalIMCalculator(&calc));
    CALL(GetInstrumentParameters(calc, NULL));
    CALL(RegisterFirm(calc, "AA01", 0, 1, 1, QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY, NULL,
                      QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_MARGIN_RULE_NETTING,
                      QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1, 0));
    CALL(RegisterPart(calc, "AA01001", 0, -1, -1, QUINDAL_SPREAD_MARGIN_TYPE_NETTING,
                      QUINDAL_SPREAD_MARGIN_TYPE_NETTING, 1, 1, QUINDAL_CLIENT_RISK_LEVEL_DEFAULT, 0));
    CALL(SetPosition(calc, "AA01001", argv[4], 10, 0, &volatility, &delivery, &margin, &firm, &account,
                     QUINDAL_ACCOUNT_HIERARCHY_CLIENT, 10));
    printf("margin %.2f\n", margin);
    CALL(DestroyQuindalIMCalculator(calc));
    CALL(DeInitQuindalIM());
    return 0;
}
