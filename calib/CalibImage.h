// Calibrated image: calibration record over the image data and its pixels.
#ifndef KVMCF_CALIB_CALIBIMAGE_H
#define KVMCF_CALIB_CALIBIMAGE_H

#include "calib/CalibImageData.h"
#include "image/KavriImage.h"

class TCalibImage : public TCalibImageData, public TKavriImage {
public:
    TCalibImage() = default;
    // Labels go through the type setters again, so their rules apply to the copy;
    // the copy keeps the default record version.
    TCalibImage(const TCalibImage& other);
    TCalibImage& operator=(const TCalibImage& other) = default;
};

// Calibration record, then image data record with its pixel block.
std::istream& operator>>(std::istream& is, TCalibImage& image);
std::ostream& operator<<(std::ostream& os, TCalibImage& image);

#endif
