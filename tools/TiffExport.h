// Frames as a stack of 32-bit float TIFF pages that image programs open as a
// calibrated stack: one page per frame and sub-image, the top detector row first.
#ifndef KVMCF_TOOLS_TIFFEXPORT_H
#define KVMCF_TOOLS_TIFFEXPORT_H

#include <string>

#include "tools/ExportSupport.h"

namespace kvmcftools {

// The private tag that carries the properties as JSON text.
constexpr unsigned int kTiffPropertiesTag = 65000;

// The stack description: images, channels (sub-images), frames, unit, frame interval.
// xUnit/yUnit empty when that axis is not calibrated; interval 0 when unknown.
std::string StackDescription(unsigned int channels, unsigned int frames, const std::string& xUnit,
                             const std::string& yUnit, double interval);

bool WriteTiff(const ExportJob& job, std::string* why);

}  // namespace kvmcftools

#endif
