// Whole files opened from memory in both read modes, then every exported query.
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "api/MCFIOManager.h"
#include "api/kvmcfio.h"
#include "fuzz/ExportedQueries.h"
#include "fuzz/FuzzSupport.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    // The library reads the caller's array in place; give it a copy it may keep.
    std::vector<unsigned char> bytes(data, data + size);
    const KVMCF_ReadMode modes[] = {KVMCF_READ_ALL, KVMCF_READ_HEADER_ONLY};
    for (KVMCF_ReadMode mode : modes) {
        KVMCF_SetFileAccessMode(mode);
        unsigned int code = 0;
        try {
            code = KVMCF_ReadFromByteArray(bytes.data(), static_cast<unsigned int>(bytes.size()));
        } catch (const TMCFLoadException&) {
            // The byte-array open lets format errors out by design, with nothing left open.
            int loaded = -1;
            KVMCF_IsLoaded(&loaded);
            if (loaded != 0) kvmcffuzz::Fail("a failed open left a file open");
            continue;
        }
        kvmcffuzz::Expect("ReadFromByteArray", code, {KVMCF_SUCCESS, KVMCF_FILE_ERROR});
        // Only the frames depend on the read mode; the rest is walked once.
        if (mode == KVMCF_READ_ALL)
            kvmcffuzz::QueryWalker(kvmcffuzz::Fail).Everything();
        else
            kvmcffuzz::QueryWalker(kvmcffuzz::Fail).Frames();
        // The frame queries follow the manager's current mode, not the one the file was opened in.
        KVMCF_SetFileAccessMode(mode == KVMCF_READ_ALL ? KVMCF_READ_HEADER_ONLY : KVMCF_READ_ALL);
        kvmcffuzz::QueryWalker(kvmcffuzz::Fail).Frames();
        KVMCF_CloseFile();
    }
    return 0;
}
