// Pieces every kvmcf command shares: source names, result texts, opening a file,
// JSON text.
#ifndef KVMCF_TOOLS_TOOLSUPPORT_H
#define KVMCF_TOOLS_TOOLSUPPORT_H

#include <optional>
#include <string>
#include <vector>

#include "api/kvmcfio.h"
#include "kvmcf/kvmcf.hpp"

namespace kvmcftools {

struct SourceName {
    KVMCF_DataSource source;
    const char* name;
};

// In file order.
extern const SourceName kSourceNames[5];

// The source called `name` ("signal", ...); false for an unknown name.
bool SourceByName(const std::string& name, KVMCF_DataSource* source);

// A sentence for a result code, for messages.
const char* ResultText(unsigned int code);

// Opens path; on failure prints one line to stderr (with where a damaged file stops
// reading) and returns nothing.
std::optional<kvmcf::File> OpenOrSay(const std::string& path, kvmcf::ReadMode mode = kvmcf::ReadMode::HeaderOnly);

// JSON string literal for any bytes (control and non-ASCII bytes escaped).
std::string JsonString(const std::string& text);

// Arguments after the command word, split into flags (--x, --x=v, --x v for the
// flags that take a value) and positional words.
struct Arguments {
    std::vector<std::string> positional;
    std::vector<std::pair<std::string, std::string>> flags;

    bool Has(const std::string& flag) const;
    std::string Value(const std::string& flag, const std::string& fallback = "") const;
};
// False (with a message) for a flag not in `known`; `withValue` lists the flags that take a value.
bool ParseArguments(const std::vector<std::string>& words, const std::vector<std::string>& known,
                    const std::vector<std::string>& withValue, Arguments* out);

}  // namespace kvmcftools

#endif
