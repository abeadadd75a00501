#include "records/KestoImageData.h"

void TKestoImageData::SetDefaults() {
    VersionHigh = 0;
    VersionLow = 0;
    Active = 0;
}

std::istream& operator>>(std::istream& is, TKestoImageData&) {
    is.setstate(std::ios::failbit);
    return is;
}

std::ostream& operator<<(std::ostream& os, TKestoImageData&) { return os; }
