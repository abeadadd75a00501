// Image data record read headers only: the pixel block is skipped, never stored.
#include "fuzz/FuzzSupport.h"
#include "fuzz/records/ImageTouch.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return kvmcffuzz::ReadRecord<TKavriImage>(
        data, size, [](TKavriImage& image) { image.SetHeaderOnly(true); }, kvmcffuzz::TouchFrames);
}
