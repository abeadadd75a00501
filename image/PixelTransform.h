// Per-pixel rules of the in-place image transforms: the float/integer conversion
// the bit masks go through, and the guarded point functions.
#ifndef KVMCF_IMAGE_PIXELTRANSFORM_H
#define KVMCF_IMAGE_PIXELTRANSFORM_H

namespace PixelTransform {

// A pixel as an unsigned 64-bit integer, the way the processor converts: from 2^63
// up, (p - 2^63) with the top bit set; below, truncated toward zero, negatives in
// two's complement. What the processor cannot represent (NaN, beyond 2^64 or
// below -2^63) gives the top bit alone.
unsigned long long ToBits(float p);
// Back to float as an unsigned value, rounded to nearest.
float FromBits(unsigned long long bits);

// The logarithms and the root give 0 outside 0 < p < the largest finite float.
float Log(float p);
float Log10(float p);
float Sqrt(float p);
// No guard: overflow gives +infinity.
float Exp(float p);
// Computed in double precision, then rounded to float.
float Pow10(float p);

}  // namespace PixelTransform

#endif
