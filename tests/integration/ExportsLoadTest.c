/* A caller that binds at run time, as a foreign-function interface does: every name is found, a login that finds no
 * router fails with its code, and the library can be unloaded afterwards and loaded again.
 *   exports_load_test <libQuindalIM_Client.so> */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

typedef const char* (*Version)(void);
typedef int32_t (*Init)(const char*, const char*, const char*);
typedef int32_t (*Create)(intptr_t*);

static const char* const names[] = {"GetQuindalIMLibraryVersion",
                                    "GetErrorCodeDescription",
                                    "InitQuindalIM",
                                    "DeInitQuindalIM",
                                    "CreateQuindalIMCalculator",
                                    "DestroyQuindalIMCalculator",
                                    "SetCommonParams",
                                    "GetCommonParams",
                                    "InsertCurrency",
                                    "InsertBaseContract",
                                    "InsertFutures",
                                    "InsertOptionSeries",
                                    "InsertOption",
                                    "InsertMultileg",
                                    "GetInstrumentParameters",
                                    "ClearAll",
                                    "ClearParts",
                                    "SetOnFirstCurrency",
                                    "GetNextCurrency",
                                    "SetOnFirstBaseContract",
                                    "GetNextBaseContract",
                                    "SetOnFirstFutures",
                                    "GetNextFutures",
                                    "SetOnFirstOptionSeries",
                                    "GetNextOptionSeries",
                                    "SetOnFirstOption",
                                    "GetNextOption",
                                    "SetOnFirstMultileg",
                                    "GetNextMultileg",
                                    "RegisterSettlementAccount",
                                    "RegisterFirm",
                                    "RegisterPart",
                                    "ChangePart",
                                    "InsertBrokerBaseContractParam",
                                    "SetPosition",
                                    "ChangeOrder",
                                    "GetClientVfRisksArray",
                                    "GetClientDeliveryRisksArray",
                                    "GetClientFutRisksArray",
                                    "GetClientMmsRisksArray",
                                    "GetClientMcsRisksArray",
                                    "GetBrokerRisksArray",
                                    "GetClientFinalRisksArray",
                                    "GetClientFinalRisksArrayWithPositiveValue",
                                    "GetBrokerFinalRisksArray",
                                    "GetBrokerFinalRisksArrayWithPositiveValue",
                                    "GetSettlementAccountFinalRisksArray",
                                    "GetSettlementAccountFinalRisksArrayWithPositiveValue",
                                    "GetRiskPoints",
                                    "GetOptionRisksArray"};

static int fail(const char* what)
{
    fprintf(stderr, "%s\n", what);
    return 1;
}

/* ISO C does not turn an object pointer into a function pointer by a cast; POSIX lets the bytes be copied. */
static void bind(void* library, const char* name, void* function)
{
    void* const address = dlsym(library, name);
    memcpy(function, &address, sizeof address);
}

static int use(void* library, const char* ini)
{
    for (size_t i = 0; i < sizeof names / sizeof *names; ++i)
        if (dlsym(library, names[i]) == NULL) return fail(names[i]);

    Version version;
    Init init;
    Create create;
    bind(library, "GetQuindalIMLibraryVersion", &version);
    bind(library, "InitQuindalIM", &init);
    bind(library, "CreateQuindalIMCalculator", &create);
    if (strcmp(version(), "9.9.64.4654") != 0) return fail("version");
    if (init(ini, "USER01", "secret") != 94815) return fail("a login without a router must end in 94815");
    intptr_t calculator = 5;
    if (create(&calculator) != 94821 || calculator != 5) return fail("a calculator without a login");
    return 0;
}

int main(int argc, char** argv)
{
    if (argc != 2) return fail("usage: exports_load_test LIBRARY");
    char ini[] = "/tmp/quindal-load-XXXXXX";
    const int file = mkstemp(ini);
    static const char text[] = "[QuindalIM::mq]\nport = 1\ntimeout = 200\n"; /* nobody listens on port 1 */
    if (file < 0 || write(file, text, sizeof text - 1) != (ssize_t)(sizeof text - 1)) return fail("no ini file");
    close(file);

    int result = 0;
    for (int round = 0; round < 3 && result == 0; ++round) {
        void* const library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
        if (library == NULL) {
            result = fail(dlerror());
            break;
        }
        result = use(library, ini);
        dlclose(library);
    }
    unlink(ini);
    return result;
}
