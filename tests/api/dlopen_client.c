/* A C client that loads the shared object with dlopen, as lab software does, and
 * opens a demo file written by the kvmcf tool. */
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "api/kvmcfio.h"

typedef unsigned int (*IsLoadedFn)(int*);
typedef unsigned int (*ReadFromFileFn)(char*);
typedef unsigned int (*CloseFileFn)(void);
typedef unsigned int (*IsPresentFn)(KVMCF_DataSource, int*);
typedef unsigned int (*SetModeFn)(KVMCF_ReadMode);

static int failures = 0;

static void expect(int ok, const char* what) {
    if (!ok) {
        fprintf(stderr, "FAILED: %s\n", what);
        ++failures;
    }
}

int main(int argc, char** argv) {
    void* lib;
    IsLoadedFn isLoaded;
    ReadFromFileFn readFromFile;
    CloseFileFn closeFile;
    IsPresentFn isPresent;
    SetModeFn setMode;
    int loaded = -1;
    int present = -1;
    char path[512];
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
    *(void**)(&isLoaded) = dlsym(lib, "KVMCF_IsLoaded");
    *(void**)(&readFromFile) = dlsym(lib, "KVMCF_ReadFromFile");
    *(void**)(&closeFile) = dlsym(lib, "KVMCF_CloseFile");
    *(void**)(&isPresent) = dlsym(lib, "KVMCF_IsDataSourcePresent");
    *(void**)(&setMode) = dlsym(lib, "KVMCF_SetFileAccessMode");
    expect(isLoaded && readFromFile && closeFile && isPresent && setMode, "all functions resolve");
    expect(dlsym(lib, "InitialiseLibrary") == NULL, "internal functions stay hidden");
    if (failures) return 1;

    /* The load hook created the manager: the functions answer at once. */
    expect(isLoaded(&loaded) == KVMCF_SUCCESS && loaded == 0, "nothing loaded after dlopen");
    expect(isPresent(KVMCF_SIGNAL, &present) == KVMCF_NOT_LOADED, "22004 with nothing loaded");
    expect(setMode((KVMCF_ReadMode)0x40000002) == KVMCF_P1INVALID, "bad mode rejected");

    snprintf(path, sizeof path, "dlopen_client_demo.mcf");
    snprintf(command, sizeof command, "cd . && \"%s\" --write-demo %s > /dev/null", argv[2], path);
    expect(system(command) == 0, "the tool writes the demo file");
    expect(readFromFile(path) == KVMCF_SUCCESS, "demo file opens");
    expect(isLoaded(&loaded) == KVMCF_SUCCESS && loaded == 1, "loaded after open");
    remove(path);

    /* Unloading with a file open frees it; reloading starts empty. */
    dlclose(lib);
    lib = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    expect(lib != NULL, "reload");
    if (lib) {
        *(void**)(&isLoaded) = dlsym(lib, "KVMCF_IsLoaded");
        loaded = -1;
        expect(isLoaded(&loaded) == KVMCF_SUCCESS && loaded == 0, "nothing loaded after reload");
        dlclose(lib);
    }
    if (failures == 0) printf("c client: all checks passed\n");
    return failures ? 1 : 0;
}
