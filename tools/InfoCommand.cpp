#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "api/PropertyTable.h"
#include "tools/Commands.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {

std::vector<std::string> ListingNames(unsigned int subImages) { return PropertyTable::ListingNames(subImages); }

namespace {

// Numbers as JSON numbers where the text is one; everything else as a string.
std::string JsonValue(unsigned int type, const std::string& text) {
    if (type != KVMCF_TYPE_STRING && !text.empty()) {
        char* end = nullptr;
        const double v = std::strtod(text.c_str(), &end);
        if (end && *end == '\0' && std::isfinite(v) && text.find_first_of("xXnN") == std::string::npos) return text;
    }
    return JsonString(text);
}

}  // namespace

namespace {

// One file's block, after `before`; false (with nothing printed) when the file cannot be shown.
bool ShowFile(const std::string& path, const Arguments& a, KVMCF_DataSource only, bool json, bool several,
              const std::string& before) {
    const std::optional<kvmcf::File> file = OpenOrSay(path);
    if (!file) return false;
    std::vector<const kvmcf::Source*> sources = file->sources();
    if (a.Has("--source")) {
        const kvmcf::SourceId id = static_cast<kvmcf::SourceId>(only - KVMCF_SIGNAL);
        if (!file->has(id)) {
            std::fprintf(stderr, "kvmcf: %s: no %s source in this file\n", path.c_str(), a.Value("--source").c_str());
            return false;
        }
        sources = {&file->source(id)};
    }
    std::printf("%s", before.c_str());

    if (json) std::printf("{\"file\": %s, \"sources\": {", JsonString(path).c_str());
    for (std::size_t si = 0; si < sources.size(); ++si) {
        const kvmcf::Source& s = *sources[si];
        if (json)
            std::printf("%s\n  %s: {", si ? "," : "", JsonString(s.name()).c_str());
        else
            std::printf("%s[%s]\n", si ? "\n" : "", s.name());
        bool first = true;
        for (const kvmcf::Property& p : s.properties()) {
            if (json) {
                std::printf("%s\n    %s: {\"type\": \"%s\", \"value\": %s}", first ? "" : ",",
                            JsonString(p.name).c_str(), kvmcf::typeName(p.type), JsonValue(p.typeCode, p.text).c_str());
            } else {
                std::printf("  %-30s %-7s %s\n", p.name.c_str(), kvmcf::typeName(p.type), p.text.c_str());
            }
            first = false;
        }
        if (json) std::printf("\n  }");
    }
    if (json) std::printf("\n}}%s", several ? "" : "\n");
    return true;
}

}  // namespace

int RunInfo(const std::vector<std::string>& args) {
    Arguments a;
    if (!ParseArguments(args, {"--json"}, {"--source"}, &a)) return 2;
    if (a.positional.empty()) {
        std::fprintf(stderr, "usage: kvmcf info FILE... [--source NAME] [--json]\n");
        return 2;
    }
    KVMCF_DataSource only = KVMCF_SIGNAL;
    if (a.Has("--source") && !SourceByName(a.Value("--source"), &only)) {
        std::fprintf(stderr, "kvmcf: unknown source %s\n", a.Value("--source").c_str());
        return 2;
    }
    // One file shows as before; several show one block each, headed by the path (a
    // JSON array of the per-file objects).
    const bool json = a.Has("--json");
    const bool several = a.positional.size() > 1;
    if (json && several) std::printf("[");
    int code = 0;
    bool shown = false;
    for (const std::string& path : a.positional) {
        std::string before;
        if (json && several && shown) before = ",\n";
        if (!json && several) before = (shown ? "\n== " : "== ") + path + " ==\n";
        if (ShowFile(path, a, only, json, several, before))
            shown = true;
        else
            code = 1;
    }
    if (json && several) std::printf("]\n");
    return code;
}

}  // namespace kvmcftools
