// The kvmcf commands. Each takes the words after the command and returns the exit code.
#ifndef KVMCF_TOOLS_COMMANDS_H
#define KVMCF_TOOLS_COMMANDS_H

#include <string>
#include <vector>

namespace kvmcftools {

// Sources with frames, frame size, sub-images, calibration range and frame statistics.
int RunSummary(const std::vector<std::string>& args);
// Every named property of every present source, as a table or as JSON.
int RunInfo(const std::vector<std::string>& args);

// The property names a listing shows for a source with `subImages` sub-images:
// every plain name, each sub-image field by number, the per-frame names for frame 0.
std::vector<std::string> ListingNames(unsigned int subImages);

// The reference set of a file's pixels for zarr, as JSON.
int RunRefs(const std::vector<std::string>& args);

}  // namespace kvmcftools

#endif
