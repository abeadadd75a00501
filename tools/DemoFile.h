// The demo file the tool shows when it is given no file.
#ifndef KVMCF_TOOLS_DEMOFILE_H
#define KVMCF_TOOLS_DEMOFILE_H

#include <string>

namespace kvmcftools {

// Writes the demo acquisition to path; false when it could not be written.
bool WriteDemoFile(const std::string& path);

}  // namespace kvmcftools

#endif
