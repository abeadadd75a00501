// User-text record.
#include "fuzz/FuzzSupport.h"
#include "records/UserText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return kvmcffuzz::ReadRecord<TUserText>(data, size);
}
