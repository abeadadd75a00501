// Calibration record. (Shell: the reader arrives with the calibration record.)
#ifndef KVMCF_CALIB_CALIBIMAGEDATA_H
#define KVMCF_CALIB_CALIBIMAGEDATA_H

#include <istream>
#include <ostream>

class TCalibImageData {
public:
    TCalibImageData() { SetDefaults(); }
    virtual ~TCalibImageData() = default;
    void SetDefaults() {}

    friend std::istream& operator>>(std::istream& is, TCalibImageData& data);
    friend std::ostream& operator<<(std::ostream& os, TCalibImageData& data);
};

#endif
