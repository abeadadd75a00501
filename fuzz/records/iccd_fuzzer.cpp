// Intensifier record.
#include "fuzz/FuzzSupport.h"
#include "records/iccdsave.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return kvmcffuzz::ReadRecord<TICCDSave>(data, size);
}
