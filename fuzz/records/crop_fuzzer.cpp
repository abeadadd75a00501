// Crop record.
#include "fuzz/FuzzSupport.h"
#include "records/cropsave.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return kvmcffuzz::ReadRecord<TCropSave>(data, size);
}
