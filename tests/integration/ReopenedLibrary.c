/* A host that loads the library for each of its books and unloads it after: instruments, accounts, positions, orders
 * and the link each time. Nothing may stay behind in its process: no mapped library, no thread, no descriptor, no
 * memory. reopened_library INI USER PASSWORD <libQuindalIM_Client.so> [ROUNDS] */
#include <dirent.h>
#include <dlfcn.h>
#include <malloc.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <QuindalIM.h>

enum
{
    WARM_UP = 10, /* rounds after which everything that is made once has been made */
    ROUNDS = 60,
    KEPT_BY_THE_HEAP = 65536 /* bytes that its own lists take and give back; less than two tables of texts */
};

static void* Function(void* library, const char* name)
{
    void* const found = dlsym(library, name);
    if (found == NULL) {
        fprintf(stderr, "%s is missing\n", name);
        exit(2);
    }
    return found;
}

static void Check(int32_t code, const char* step)
{
    if (code == 0) return;
    fprintf(stderr, "%s: code %d\n", step, code);
    exit(2);
}

/* Declares a pointer to an exported function, by its name in the header. */
#define LOAD(name)                                                                                                     \
    __typeof__(&name) p##name;                                                                                         \
    *(void**)&p##name = Function(library, #name)

/* One book, from the loading of the library to its unloading; returns the client's GO. */
static double Round(const char* path, char** login)
{
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        exit(2);
    }
    LOAD(InitQuindalIM);
    LOAD(CreateQuindalIMCalculator);
    LOAD(GetInstrumentParameters);
    LOAD(RegisterFirm);
    LOAD(RegisterPart);
    LOAD(SetPosition);
    LOAD(ChangeOrder);
    LOAD(ClearAll);
    LOAD(DestroyQuindalIMCalculator);
    LOAD(DeInitQuindalIM);

    intptr_t calculator;
    double volatility;
    double delivery;
    double margin;
    double firm;
    double account;
    Check(pInitQuindalIM(login[0], login[1], login[2]), "InitQuindalIM");
    Check(pCreateQuindalIMCalculator(&calculator), "CreateQuindalIMCalculator");
    Check(pGetInstrumentParameters(calculator, NULL), "GetInstrumentParameters");
    Check(pRegisterFirm(calculator, "AA01", 0, 1.0, 1.0, QUINDAL_BROKER_ACCOUNT_TYPE_ORDINARY, "",
                        QUINDAL_SPREAD_MARGIN_TYPE_NETTING, QUINDAL_MARGIN_RULE_HALF_NETTING,
                        QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING, 1.0, 0),
          "RegisterFirm");
    Check(pRegisterPart(calculator, "AA01001", 0, -1, -1.0, QUINDAL_SPREAD_MARGIN_TYPE_NETTING,
                        QUINDAL_SPREAD_MARGIN_TYPE_HALF_NETTING, 1.0, 1.0, QUINDAL_CLIENT_RISK_LEVEL_DEFAULT, 0),
          "RegisterPart");
    Check(pSetPosition(calculator, "AA01001", "INDX-12.26", 5, 3300.0, &volatility, &delivery, &margin, &firm, &account,
                       QUINDAL_ACCOUNT_HIERARCHY_CLIENT, 5),
          "SetPosition in a futures");
    Check(pSetPosition(calculator, "AA01001", "CRUD-17DEC26-C74", -3, 2.0, &volatility, &delivery, &margin, &firm,
                       &account, QUINDAL_ACCOUNT_HIERARCHY_CLIENT, -3),
          "SetPosition in an option");
    Check(pChangeOrder(calculator, "AA01001", "INDX-3.27", 1, 3369.0, 5, &volatility, &delivery, &margin, &firm,
                       &account),
          "ChangeOrder");
    Check(pClearAll(calculator), "ClearAll");
    Check(pDestroyQuindalIMCalculator(calculator), "DestroyQuindalIMCalculator");
    Check(pDeInitQuindalIM(), "DeInitQuindalIM");
    if (dlclose(library) != 0) exit(2);
    if (dlopen(path, RTLD_NOLOAD | RTLD_NOW) != NULL) {
        fprintf(stderr, "the library is still loaded after dlclose\n");
        exit(1);
    }
    return margin;
}

static long EntriesOf(const char* folder)
{
    long count = 0;
    DIR* const entries = opendir(folder);
    while (readdir(entries) != NULL)
        ++count;
    closedir(entries);
    return count;
}

/* What a round may not leave behind. */
struct State
{
    long threads;
    long descriptors;
    long mappings; /* lines of the map of the process */
    long heap;     /* bytes of the heap in use */
};

static struct State Now(void)
{
    struct State state = {EntriesOf("/proc/self/task"), EntriesOf("/proc/self/fd"), 0, 0};
    FILE* const map = fopen("/proc/self/maps", "r");
    for (int c = fgetc(map); c != EOF; c = fgetc(map))
        state.mappings += c == '\n';
    fclose(map);
    const struct mallinfo2 info = mallinfo2();
    state.heap = (long)(info.uordblks + info.hblkhd);
    return state;
}

static int Grew(const char* what, long before, long after, long most)
{
    printf("%s: %ld after the first rounds, %ld at the end\n", what, before, after);
    return after > before + most;
}

int main(int argc, char** argv)
{
    if (argc < 5) return 2;
    const int rounds = argc > 5 ? atoi(argv[5]) : ROUNDS;
    double first = 0.0;
    struct State before = {0, 0, 0, 0};
    for (int i = 0; i < WARM_UP + rounds; ++i) {
        const double margin = Round(argv[4], argv + 1);
        if (i == 0) first = margin;
        if (i == WARM_UP - 1) before = Now();
        if (!(margin > 0.0) || margin != first) {
            fprintf(stderr, "round %d: %f, and %f in the first\n", i, margin, first);
            return 1;
        }
    }
    const struct State after = Now();
    int grew = Grew("threads", before.threads, after.threads, 0);
    grew += Grew("descriptors", before.descriptors, after.descriptors, 0);
    grew += Grew("mappings", before.mappings, after.mappings, 4);
    grew += Grew("heap bytes", before.heap, after.heap, KEPT_BY_THE_HEAP);
    return grew != 0;
}
