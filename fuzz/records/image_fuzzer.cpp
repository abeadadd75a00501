// Image data record read with its pixels, then every stored frame and sub-image touched.
#include "fuzz/FuzzSupport.h"
#include "fuzz/records/ImageTouch.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return kvmcffuzz::ReadRecord<TKavriImage>(data, size, [](TKavriImage&) {}, kvmcffuzz::TouchFrames);
}
