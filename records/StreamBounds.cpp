#include "records/StreamBounds.h"

#include "records/RecordStream.h"

namespace StreamBounds {

long long Left(std::istream& is) { return RecordStream::Remaining(is); }

bool HoldsItems(std::istream& is, unsigned long long count, unsigned long long minBytes) {
    return HoldsBlock(is, 0, count, minBytes);
}

bool HoldsNumbers(std::istream& is, unsigned long long numbers, unsigned long long extraBytes) {
    return HoldsBlock(is, extraBytes, numbers, kMinNumberBytes);
}

bool HoldsBlock(std::istream& is, unsigned long long fixedBytes, unsigned long long count,
                unsigned long long itemBytes) {
    if (!is) return false;
    const long long left = Left(is);
    if (left < 0) return true;
    const unsigned long long have = static_cast<unsigned long long>(left);
    if (fixedBytes > have) return false;
    if (count == 0 || itemBytes == 0) return true;
    // Divide rather than multiply: counts and sizes from a file may be near 2^64.
    return count <= (have - fixedBytes) / itemBytes;
}

}  // namespace StreamBounds
