/* A host on any x86-64 processor: loads a library, and says what the loader says when it will not be loaded.
 *   load_library <libQuindalIM_Client.so> */
#include <dlfcn.h>
#include <stdio.h>

int main(int argc, char** argv)
{
    void* const library = argc == 2 ? dlopen(argv[1], RTLD_NOW) : NULL;
    if (library == NULL) {
        fprintf(stderr, "%s\n", dlerror());
        return 1;
    }
    /* POSIX's own way to a function. */
    const char* (*version)(void) = NULL;
    *(void**)&version = dlsym(library, "GetQuindalIMLibraryVersion");
    if (version == NULL) return 2;
    puts(version());
    return dlclose(library) == 0 ? 0 : 3;
}
