// A whole source as a self-describing HDF5 group: a float32 (frames, rows, columns)
// dataset per sub-image with its calibrated axes and frame times as dimension scales,
// every property as a typed attribute.
#ifndef KVMCF_TOOLS_HDF5EXPORT_H
#define KVMCF_TOOLS_HDF5EXPORT_H

#include <string>

#include "tools/ExportSupport.h"

namespace kvmcftools {

// Writes the group named after the source, with every plane of the job, into a new file.
bool WriteHdf5(const ExportJob& job, std::string* why);

}  // namespace kvmcftools

#endif
