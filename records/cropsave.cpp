#include "records/cropsave.h"

#include <climits>

#include "records/RecordStream.h"

namespace {
// Sizes and starts come from the file: sum them wide and clamp, so hostile values
// cannot overflow an int.
int ClampedInt(long long v) {
    if (v > INT_MAX) return INT_MAX;
    if (v < INT_MIN) return INT_MIN;
    return static_cast<int>(v);
}
}  // namespace

void TCropSave::setDefaults() {
    CropModeEnabled = false;
    OriginalCCDXSize = 0;
    OriginalCCDYSize = 0;
    CropXStart = 1;
    CropYStart = 1;
    CropXEnd = 0;
    CropYEnd = 0;
    CropXSize = 0;
    CropYSize = 0;
    CropXBin = 1;
    CropYBin = 1;
}

int TCropSave::GetCropXSize() {
    CropXSize = ClampedInt(static_cast<long long>(CropXEnd) - CropXStart + 1);
    return CropXSize;
}

int TCropSave::GetCropYSize() {
    CropYSize = ClampedInt(static_cast<long long>(CropYEnd) - CropYStart + 1);
    return CropYSize;
}

std::istream& operator>>(std::istream& is, TCropSave& c) {
    unsigned int version = 0;
    RecordStream::Read(is, version);
    const unsigned int M = RecordStream::Major(version);
    const unsigned int m = RecordStream::Minor(version);

    RecordStream::Read(is, c.CropModeEnabled);
    RecordStream::Read(is, c.OriginalCCDXSize);
    RecordStream::Read(is, c.OriginalCCDYSize);
    RecordStream::Read(is, c.CropXSize);
    RecordStream::Read(is, c.CropYSize);
    RecordStream::Read(is, c.CropXBin);
    RecordStream::Read(is, c.CropYBin);
    if (m > 1 || M >= 2) {
        RecordStream::Read(is, c.CropXStart);
        RecordStream::Read(is, c.CropYStart);
    } else {
        c.CropXStart = 1;
        c.CropYStart = 1;
    }
    c.CropXEnd = ClampedInt(static_cast<long long>(c.CropXSize) + c.CropXStart - 1);
    c.CropYEnd = ClampedInt(static_cast<long long>(c.CropYSize) + c.CropYStart - 1);
    return is;
}

std::ostream& operator<<(std::ostream& os, TCropSave& c) {
    os << TCropSave::kVersionWritten << ' ' << c.CropModeEnabled << ' ' << c.OriginalCCDXSize << ' '
       << c.OriginalCCDYSize << ' ' << c.GetCropXSize() << ' ' << c.GetCropYSize() << ' ' << c.CropXBin << ' '
       << c.CropYBin << ' ' << c.CropXStart << ' ' << c.CropYStart;
    return os;
}
