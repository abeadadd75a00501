// Calibration record.
#include "fuzz/FuzzSupport.h"
#include "calib/CalibImageData.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    return kvmcffuzz::ReadRecord<TCalibImageData>(data, size);
}
