// A whole source as a self-describing HDF5 group: a float32 (frames, rows, columns)
// dataset per sub-image with its calibrated axes and frame times as dimension scales,
// every property as a typed attribute.
#ifndef KVMCF_TOOLS_HDF5EXPORT_H
#define KVMCF_TOOLS_HDF5EXPORT_H

#include <string>
#include <vector>

#include "tools/ExportSupport.h"

namespace kvmcftools {

// Writes a group named after each job's source, with every plane of the job, into
// one new file at the first job's path; the file's versions go at the root.
bool WriteHdf5(const std::vector<ExportJob>& jobs, std::string* why);

// kvmcf export FILE OUT.h5 --source all: every present source of in into one file,
// frames given as for --frames (each source's frames; empty for all). Returns the
// exit code.
int ExportAllSourcesToHdf5(const std::string& in, const std::string& out, const std::string& frames, bool force,
                           bool quiet);

}  // namespace kvmcftools

#endif
