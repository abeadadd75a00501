#include "calib/CalibImage.h"

std::istream& operator>>(std::istream& is, TCalibImage& image) {
    is >> static_cast<TCalibImageData&>(image);
    return is >> static_cast<TKavriImageData&>(image);
}

std::ostream& operator<<(std::ostream& os, TCalibImage& image) {
    os << static_cast<TCalibImageData&>(image);
    return os << static_cast<TKavriImageData&>(image);
}
