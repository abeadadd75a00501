// Frames as a stack of 32-bit float TIFF pages that image programs open as a
// calibrated stack: one page per frame and sub-image, the top detector row first.
//
// Stack readers take the pixels of all pages as one block from the first page's
// data on, so the file is laid out as those programs write it: the header, the
// first directory with the description and the calibration, every page's pixels one
// after another in page order, then the other pages' directories. A general TIFF
// writer places each page's pixels before that page's directory and cannot be told
// otherwise, so these few structures are written here.
#ifndef KVMCF_TOOLS_TIFFEXPORT_H
#define KVMCF_TOOLS_TIFFEXPORT_H

#include <optional>
#include <string>

#include "tools/ExportSupport.h"

namespace kvmcftools {

// The private tag that carries the calibration and properties as JSON text.
constexpr unsigned int kTiffPropertiesTag = 65000;

// The stack description: images, channels (sub-images), frames, and for a straight
// X axis of rising values its unit and origin in pixels (the spacing goes in the
// resolution tag); interval 0 when unknown.
std::string StackDescription(unsigned int channels, unsigned int frames, const std::string& xUnit,
                             const std::optional<LinearAxis>& x, double interval);

// Classic TIFF offsets are 32-bit: larger stacks are written in the 64-bit variant
// (BigTIFF), as are smaller ones when classicLimit is lowered.
constexpr unsigned long long kClassicTiffLimit = 4000000000ULL;

bool WriteTiff(const ExportJob& job, std::string* why, unsigned long long classicLimit = kClassicTiffLimit);

}  // namespace kvmcftools

#endif
