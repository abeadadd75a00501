#include "image/SubImage.h"

#include "records/RecordStream.h"

namespace {
const unsigned int kSubImageVersion = 65538;
}

unsigned int TSubImage::PixelCount() const {
    const long long width = static_cast<long long>(right) - left + 1;
    const long long height = static_cast<long long>(top) - bottom + 1;
    if (width <= 0 || height <= 0) return 0;
    // Each side is at most 2^32, so only the full 2^32 x 2^32 product overflows.
    const unsigned long long w = static_cast<unsigned long long>(width);
    const unsigned long long h = static_cast<unsigned long long>(height);
    if (w > ~0ULL / h) return ~0u;
    const unsigned long long bins = static_cast<unsigned long long>(VBinStep()) * HBinStep();
    return static_cast<unsigned int>((w * h) / bins);
}

std::istream& operator>>(std::istream& is, TSubImage& sub) {
    unsigned int version = 0;  // carries nothing: any value is accepted
    RecordStream::Read(is, version);
    RecordStream::Read(is, sub.left);
    RecordStream::Read(is, sub.top);
    RecordStream::Read(is, sub.right);
    RecordStream::Read(is, sub.bottom);
    RecordStream::Read(is, sub.vBin);
    RecordStream::Read(is, sub.hBin);
    return is;
}

std::ostream& operator<<(std::ostream& os, const TSubImage& sub) {
    return os << kSubImageVersion << ' ' << sub.left << ' ' << sub.top << ' ' << sub.right << ' ' << sub.bottom
              << ' ' << sub.vBin << ' ' << sub.hBin;
}
