// kvmcf check and kvmcf salvage: where a damaged file stops, and what of it can be kept.
#ifndef KVMCF_TOOLS_DIAGNOSISCOMMANDS_H
#define KVMCF_TOOLS_DIAGNOSISCOMMANDS_H

#include <string>
#include <vector>

namespace kvmcftools {

// kvmcf check FILE [--json]: whether each data source and image reads whole, and for a
// damaged file the source, image, record, field and byte where reading stops, what
// was expected there and the whole frames of each source. Exit 0 when the file is
// intact, 1 when it is damaged or cannot be read, 2 for bad arguments.
int RunCheck(const std::vector<std::string>& args);

// kvmcf salvage FILE OUT: writes to OUT every intact data source and the whole frames
// of a cut-off pixel block, with the frame count, time stamps and metadata words
// trimmed to match. The original is never written; OUT appears only once it has been
// written completely and opens. Exit 0 when something was saved, 1 when nothing can
// be, 2 for bad arguments.
int RunSalvage(const std::vector<std::string>& args);

}  // namespace kvmcftools

#endif
