// Time codes stay in the file's extension section when a file is opened; this reads
// them for one source with the library's own section and record readers.
#ifndef KVMCF_PYTHON_EXTENSIONTIMECODES_H
#define KVMCF_PYTHON_EXTENSIONTIMECODES_H

#include <optional>
#include <string>
#include <vector>

#include "kvmcf/kvmcf.hpp"
#include "metadata/IRIGDataHandler.h"

namespace kvmcfpy {

// The time code of every frame of the source, or nothing when the file carries none
// for it. Frames the section has no block for decode as all zero.
std::optional<std::vector<TIRIGTimeCode>> ExtensionTimeCodes(const std::string& path, const kvmcf::Source& source);
std::optional<std::vector<TIRIGTimeCode>> ExtensionTimeCodesFromBytes(const std::string& bytes,
                                                                      const kvmcf::Source& source);

}  // namespace kvmcfpy

#endif
