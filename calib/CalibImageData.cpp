#include "calib/CalibImageData.h"

std::istream& operator>>(std::istream& is, TCalibImageData&) {
    is.setstate(std::ios::failbit);
    return is;
}

std::ostream& operator<<(std::ostream& os, TCalibImageData&) { return os; }
