// Shutter record.
#include "fuzz/FuzzSupport.h"
#include "records/TSHUTTER.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return kvmcffuzz::ReadRecord<TShutter>(data, size);
}
