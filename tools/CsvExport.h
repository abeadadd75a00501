// Spectra as a table for spreadsheets: one line per stored column with its calibrated
// X value, then one value per frame (and per sub-image and row where there are several).
#ifndef KVMCF_TOOLS_CSVEXPORT_H
#define KVMCF_TOOLS_CSVEXPORT_H

#include <string>

#include "tools/ExportSupport.h"

namespace kvmcftools {

// rows: stored rows of each plane, from the bottom row 0. Planes of more than one row
// need rows given (count > 0): an image is not a spectrum.
bool WriteCsv(const ExportJob& job, const FrameRange& rows, std::string* why);

// Most values one table may hold; larger exports are refused before reading.
constexpr unsigned long long kCsvMaxValues = 1ULL << 28;

}  // namespace kvmcftools

#endif
