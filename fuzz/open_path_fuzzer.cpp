// Whole files opened from a path in both read modes, then every exported query.
// Nothing may be thrown out of the path open: an escaping exception is a finding.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "api/kvmcfio.h"
#include "fuzz/ExportedQueries.h"
#include "fuzz/FuzzSupport.h"

namespace {

std::string tempPath;

void RemoveTempFile() {
    if (!tempPath.empty()) std::remove(tempPath.c_str());
}

// One temporary file per process, rewritten for every input.
const std::string& TempPath() {
    if (tempPath.empty()) {
        const char* dir = std::getenv("TMPDIR");
        std::string templ = std::string(dir && *dir ? dir : "/tmp") + "/kvmcf-fuzz-XXXXXX";
        const int fd = mkstemp(&templ[0]);
        if (fd < 0) std::abort();
        close(fd);
        tempPath = templ;
        std::atexit(RemoveTempFile);
    }
    return tempPath;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string path = TempPath();
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) std::abort();
    if (size > 0 && std::fwrite(data, 1, size, f) != size) std::abort();
    std::fclose(f);

    const KVMCF_ReadMode modes[] = {KVMCF_READ_ALL, KVMCF_READ_HEADER_ONLY};
    for (KVMCF_ReadMode mode : modes) {
        KVMCF_SetFileAccessMode(mode);
        const unsigned int code = KVMCF_ReadFromFile(&path[0]);
        kvmcffuzz::Expect("ReadFromFile", code, {KVMCF_SUCCESS, KVMCF_FORMAT_ERROR, KVMCF_FILE_ERROR});
        int loaded = -1;
        KVMCF_IsLoaded(&loaded);
        if ((code == KVMCF_FORMAT_ERROR) != (loaded == 0)) kvmcffuzz::Fail("open state disagrees with the result");
        // Only the frames depend on the read mode; the rest is walked once.
        if (mode == KVMCF_READ_ALL)
            kvmcffuzz::QueryWalker(kvmcffuzz::Fail).Everything();
        else
            kvmcffuzz::QueryWalker(kvmcffuzz::Fail).Frames();
        KVMCF_CloseFile();
    }
    return 0;
}
