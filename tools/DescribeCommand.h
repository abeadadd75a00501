// kvmcf describe: size, extremes with their positions, mean and most frequent value
// of regions of one frame, in detector coordinates.
#ifndef KVMCF_TOOLS_DESCRIBECOMMAND_H
#define KVMCF_TOOLS_DESCRIBECOMMAND_H

#include <string>
#include <vector>

namespace kvmcftools {

// kvmcf describe FILE [--source NAME] [--frame N] [--region LEFT,BOTTOM,RIGHT,TOP] [--json]
// Source: the first present; frame: 1 (counted from 1); region: each whole
// sub-image. Exit code 0, 1 for a file or a choice it cannot satisfy, 2 for usage.
int RunDescribe(const std::vector<std::string>& args);

}  // namespace kvmcftools

#endif
