/* A caller that binds every name at once, as foreign-function interfaces do, over a platform library that has what is
 * documented of it and nothing else.
 *   platform_names_test <that libZ9Sys.so> <libQuindalIM_Client.so>
 * The platform comes first: the client then finds a library of that name loaded and looks for no other. */
#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

typedef const char* (*Version)(void);

static int fail(const char* what)
{
    fprintf(stderr, "%s\n", what);
    return 1;
}

/* True when every libZ9Sys of this process is the given one, and there is one. */
static int is_only_platform(const char* path)
{
    FILE* const maps = fopen("/proc/self/maps", "r");
    if (maps == NULL) return 0;
    char line[8192];
    int is_only = 1;
    int count = 0;
    while (fgets(line, sizeof line, maps) != NULL) {
        if (strstr(line, "/libZ9Sys.so") == NULL) continue;
        ++count;
        if (strstr(line, path) == NULL) is_only = 0;
    }
    fclose(maps);
    return is_only && count > 0;
}

int main(int argc, char** argv)
{
    if (argc != 3) return fail("usage: platform_names_test PLATFORM LIBRARY");
    if (dlopen(argv[1], RTLD_NOW | RTLD_GLOBAL) == NULL) return fail(dlerror());
    void* const library = dlopen(argv[2], RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) return fail(dlerror());
    if (!is_only_platform(argv[1])) return fail("another libZ9Sys has come along");

    /* ISO C does not turn an object pointer into a function pointer by a cast; POSIX lets the bytes be copied. */
    Version version;
    void* const address = dlsym(library, "GetQuindalIMLibraryVersion");
    memcpy(&version, &address, sizeof address);
    if (address == NULL || strcmp(version(), "9.9.64.4654") != 0) return fail("the version is not known");
    return 0;
}
