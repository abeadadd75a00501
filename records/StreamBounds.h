// The one check every reader makes before a count, length or offset read from a file
// sizes an allocation or a seek: can the rest of the stream hold what it claims?
//
// A failed stream holds nothing. A stream that cannot tell its length (not seekable)
// is trusted, since nothing better is known; every stream this library opens can tell.
#ifndef KVMCF_RECORDS_STREAMBOUNDS_H
#define KVMCF_RECORDS_STREAMBOUNDS_H

#include <istream>

namespace StreamBounds {

// Bytes between the get position and the end of the stream; -1 when it cannot tell
// or has failed. The get position is left where it was.
long long Left(std::istream& is);

// Whether `count` items of at least `minBytes` bytes each can follow, without the
// product overflowing.
bool HoldsItems(std::istream& is, unsigned long long count, unsigned long long minBytes);

// The least text one decimal number takes after another: a separator and a digit.
const unsigned long long kMinNumberBytes = 2;

// Whether `numbers` more decimal numbers and then `extraBytes` bytes can follow.
bool HoldsNumbers(std::istream& is, unsigned long long numbers, unsigned long long extraBytes = 0);

// Whether `fixedBytes` followed by `count` items of `itemBytes` each can follow.
bool HoldsBlock(std::istream& is, unsigned long long fixedBytes, unsigned long long count,
                unsigned long long itemBytes);

}  // namespace StreamBounds

#endif
