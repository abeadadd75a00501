// After an image data record was read: every frame pointer and sub-image pointer the
// record hands out must point at storage it owns.
#ifndef KVMCF_FUZZ_RECORDS_IMAGETOUCH_H
#define KVMCF_FUZZ_RECORDS_IMAGETOUCH_H

#include "image/KavriImage.h"

namespace kvmcffuzz {

inline void TouchFrames(TKavriImage& image) {
    volatile float sink = 0;
    const unsigned int frames = image.GetNumberImages();
    const unsigned int length = image.GetDataLength();
    const unsigned int subs = image.GetNumberSubImages();
    for (unsigned int n = 0; n <= frames + 1 && n < 8; ++n) {
        if (const float* pixels = image.ObtainReadImagePtr(n)) {
            if (length > 0) sink = pixels[0] + pixels[length - 1];
            image.ReleaseImagePtr(n);
        }
        for (unsigned int sub = 0; sub <= subs + 1 && sub < 8; ++sub) {
            if (const float* pixels = image.ObtainReadSubImagePtr(sub, n)) {
                sink = pixels[0];
                image.ReleaseImagePtr(n);
            }
        }
    }
    (void)sink;
}

}  // namespace kvmcffuzz

#endif
