// Calibrated image: calibration record over the image data and its pixels.
#ifndef KVMCF_CALIB_CALIBIMAGE_H
#define KVMCF_CALIB_CALIBIMAGE_H

#include "calib/CalibImageData.h"
#include "image/KavriImage.h"

class TMcfDataXML;

class TCalibImage : public TCalibImageData, public TKavriImage {
public:
    TCalibImage() = default;
    // A calibrated image built from scratch, with a default calibration record.
    TCalibImage(TKavriRect detector, unsigned int subImageCount, const TSubImage* subs, unsigned int frameCount,
                bool spool, bool allocate, DataStore::ePixelDataType type)
        : TKavriImage(detector, subImageCount, subs, frameCount, spool, allocate, type) {}
    // Labels go through the type setters again, so their rules apply to the copy;
    // the copy keeps the default record version.
    TCalibImage(const TCalibImage& other);
    TCalibImage& operator=(const TCalibImage&) = delete;  // as the image data below it

    void Persist() { TKavriImage::Persist(); }

    // The calibrated image's element of the XML extension section: an empty element
    // for the calibration record (which lives in the record stream) and the image
    // data's readout settings. Reading returns false when the element is missing.
    bool ReadXMLDataStructure(TMcfDataXML& xml);
    bool BuildXMLDataStructure(TMcfDataXML& xml);

    // Calibrated value of a pixel. With the X-is-wavelength flag set the polynomial
    // gives nanometres, shown in the X axis's own type and unit where that converts.
    double GetXCal(float pixel) const;
    double GetXCal(int pixel) const;
    float GetYCal(float value) const;
    // 0 outside the image rows.
    float GetZCal(float row) const;

    // Pixel whose calibrated value is nearest. X is not clamped to the image and may
    // lie outside it; Z gives 0 for a value the calibration never reaches.
    int GetXPixel(float value) const;
    int GetYPixel(float) const { return 0; }
    int GetZPixel(float value) const;

    // Conversions between the X/Z axis types and units; -1 when a value does not convert.
    static float Convert(float value, int fromType, int fromUnit, int toType, int toUnit, float rayleigh);
    static float ToNM(float value, int type, int unit, float rayleigh);
    static float FromNM(float value, int type, int unit, float rayleigh);
    static float ToUM(float value, int type, int unit);
    static float ToSec(float value, int type, int unit);
};

// Calibration record, then image data record with its pixel block.
std::istream& operator>>(std::istream& is, TCalibImage& image);
std::ostream& operator<<(std::ostream& os, TCalibImage& image);

#endif
