// Calibrated image: calibration record over the image data and its pixels.
#ifndef KVMCF_CALIB_CALIBIMAGE_H
#define KVMCF_CALIB_CALIBIMAGE_H

#include "calib/CalibImageData.h"
#include "image/KavriImage.h"

class TCalibImage : public TCalibImageData, public TKavriImage {
public:
    TCalibImage() = default;
};

// Calibration record, then image data record with its pixel block.
std::istream& operator>>(std::istream& is, TCalibImage& image);
std::ostream& operator<<(std::ostream& os, TCalibImage& image);

#endif
