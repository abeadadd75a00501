// Instrument header record with its nested records.
#include "fuzz/FuzzSupport.h"
#include "records/KestoImageData.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return kvmcffuzz::ReadRecord<TKestoImageData>(data, size);
}
