// The commands that carry data out of a file: export to TIFF, HDF5 or CSV, and a
// PNG preview. Each takes the words after the command and returns the exit code.
#ifndef KVMCF_TOOLS_EXPORTCOMMANDS_H
#define KVMCF_TOOLS_EXPORTCOMMANDS_H

#include <string>
#include <vector>

namespace kvmcftools {

int RunExport(const std::vector<std::string>& args);
int RunPreview(const std::vector<std::string>& args);

}  // namespace kvmcftools

#endif
