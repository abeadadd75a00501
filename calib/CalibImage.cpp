#include "calib/CalibImage.h"

TCalibImage::TCalibImage(const TCalibImage& other) : TCalibImageData(), TKavriImage(other) {
    SetXType(other.xType, other.xText.get());
    SetYType(other.yType, other.yText.get());
    SetZType(other.zType, other.zText.get());
    xUnit = other.xUnit;
    yUnit = other.yUnit;
    zUnit = other.zUnit;
    for (int i = 0; i < 4; ++i) {
        xCal[i] = other.xCal[i];
        yCal[i] = other.yCal[i];
        zCal[i] = other.zCal[i];
    }
    rayleighWavelength = other.rayleighWavelength;
    pixelLength = other.pixelLength;
    pixelHeight = other.pixelHeight;
    xIsWavelength = other.xIsWavelength;
}

std::istream& operator>>(std::istream& is, TCalibImage& image) {
    is >> static_cast<TCalibImageData&>(image);
    return is >> static_cast<TKavriImageData&>(image);
}

std::ostream& operator<<(std::ostream& os, TCalibImage& image) {
    os << static_cast<TCalibImageData&>(image);
    return os << static_cast<TKavriImageData&>(image);
}
