/* A C client that loads the shared object with dlopen, as lab software does, and
 * opens a demo file written by the kvmcf tool. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

#include "api/kvmcfio.h"

static int failures = 0;

static void expect(int ok, const char* what) {
    if (!ok) {
        fprintf(stderr, "FAILED: %s\n", what);
        ++failures;
    }
}

/* Object pointers cannot be cast to function pointers in ISO C: copy the bits. */
#define RESOLVE(lib, fn, name) (*(void**)(&fn) = dlsym(lib, name))

int main(int argc, char** argv) {
    void* lib;
    unsigned int (*isLoaded)(int*) = NULL;
    unsigned int (*readFromFile)(char*) = NULL;
    unsigned int (*isPresent)(KVMCF_DataSource, int*) = NULL;
    int loaded = -1, present = -1;
    char path[] = "dlopen_client_demo.mcf";
    char command[1200];

    if (argc < 3) {
        fprintf(stderr, "usage: dlopen_client LIBRARY KVMCF_TOOL\n");
        return 2;
    }
    lib = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!lib) {
        fprintf(stderr, "dlopen: %s\n", dlerror());
        return 1;
    }
    expect(RESOLVE(lib, isLoaded, "KVMCF_IsLoaded") && RESOLVE(lib, readFromFile, "KVMCF_ReadFromFile") &&
               RESOLVE(lib, isPresent, "KVMCF_IsDataSourcePresent"),
           "the functions resolve");
    if (failures) return 1;

    /* The load hook created the manager: the functions answer at once. */
    expect(isLoaded(&loaded) == KVMCF_SUCCESS && loaded == 0, "nothing loaded after dlopen");
    expect(isPresent(KVMCF_SIGNAL, &present) == KVMCF_NOT_LOADED, "22004 with nothing loaded");

    snprintf(command, sizeof command, "\"%s\" --write-demo %s > /dev/null", argv[2], path);
    expect(system(command) == 0, "the tool writes the demo file");
    expect(readFromFile(path) == KVMCF_SUCCESS, "demo file opens");
    expect(isLoaded(&loaded) == KVMCF_SUCCESS && loaded == 1, "loaded after open");
    remove(path);

    /* Unloading with a file open frees it; reloading starts empty. */
    dlclose(lib);
    lib = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    expect(lib != NULL && RESOLVE(lib, isLoaded, "KVMCF_IsLoaded"), "reload");
    if (lib && isLoaded) {
        loaded = -1;
        expect(isLoaded(&loaded) == KVMCF_SUCCESS && loaded == 0, "nothing loaded after reload");
        dlclose(lib);
    }
    if (failures == 0) printf("c client: all checks passed\n");
    return failures ? 1 : 0;
}
