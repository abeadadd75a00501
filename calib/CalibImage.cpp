#include "calib/CalibImage.h"

TCalibImage::TCalibImage(const TCalibImage& other) : TCalibImageData(), TKavriImage(other) {
    SetXType(other.xType, other.xText.get());
    SetYType(other.yType, other.yText.get());
    SetZType(other.zType, other.zText.get());
    CopyValues(other);
}

std::istream& operator>>(std::istream& is, TCalibImage& image) {
    is >> static_cast<TCalibImageData&>(image);
    return is >> static_cast<TKavriImageData&>(image);
}

std::ostream& operator<<(std::ostream& os, TCalibImage& image) {
    os << static_cast<TCalibImageData&>(image);
    return os << static_cast<TKavriImageData&>(image);
}
