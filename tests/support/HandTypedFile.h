// A small whole file typed by hand from the record tables, for the tests that damage
// files on purpose: signal and background present, each one image of three frames.
#ifndef KVMCF_TESTS_SUPPORT_HANDTYPEDFILE_H
#define KVMCF_TESTS_SUPPORT_HANDTYPEDFILE_H

#include <string>

#include "support/RecordTexts.h"

namespace kvmcftest {

// Frames {1, 2}, {3, 4}, {5, 6}.
inline const std::string& HandTypedPixels() {
    static const std::string pixels = FloatBytes({1, 2, 3, 4, 5, 6});
    return pixels;
}

// Header 1.31, calibration 1.4 (X 500 + 0.125 p, Rayleigh 532, three labels), then
// image data 1.5: detector 2 x 1, one sub-image, three frames of two pixels, time
// stamps 5, 10, 15, flag 1 and metadata words 1, 2, 3; then the pixels.
inline std::string HandTypedImage() {
    return HeaderRows131(0) + HeaderNested131() + "\n" + Calibration14() +
           "\n65541 1 1 2 1 3 1 6 2\n65538 1 1 2 1 1 1 0\n"
           "         5\n        10\n        15\n1\n"
           "                   1\n                   2\n                   3\n" +
           HandTypedPixels();
}

// Everything up to and including the signal's pixels.
inline std::string HandTypedSignalPart() {
    return "Kavri Technology Multi-Channel File\n65538\n1\n" + HandTypedImage();
}

// Signal, reference absent, background, live and source absent.
inline std::string HandTypedFile() { return HandTypedSignalPart() + "0\n1\n" + HandTypedImage() + "0\n0\n"; }

}  // namespace kvmcftest

#endif
