#include "image/KavriImageData.h"

std::istream& operator>>(std::istream& is, TKavriImageData&) {
    is.setstate(std::ios::failbit);
    return is;
}

std::ostream& operator<<(std::ostream& os, TKavriImageData&) { return os; }
