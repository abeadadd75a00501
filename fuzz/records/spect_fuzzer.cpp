// Spectrograph record.
#include "fuzz/FuzzSupport.h"
#include "records/SpectSave.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return kvmcffuzz::ReadRecord<TSpectSave>(data, size);
}
