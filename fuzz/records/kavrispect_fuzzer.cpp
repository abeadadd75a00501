// Full spectrograph record: counted, token and line texts.
#include "fuzz/FuzzSupport.h"
#include "records/KavriSpectSave.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return kvmcffuzz::ReadRecord<TKavriSpectSave>(data, size);
}
