#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "api/PropertyTable.h"
#include "tools/Commands.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {

const char* TypeName(unsigned int type) {
    switch (type) {
        case KVMCF_TYPE_INT32: return "int32";
        case KVMCF_TYPE_UINT32: return "uint32";
        case KVMCF_TYPE_UINT64: return "uint64";
        case KVMCF_TYPE_FLOAT: return "float";
        case KVMCF_TYPE_DOUBLE: return "double";
        case KVMCF_TYPE_STRING: return "string";
        case 1: return "byte";
        default: return "unknown";
    }
}

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

int RunInfo(const std::vector<std::string>& args) {
    Arguments a;
    if (!ParseArguments(args, {"--json"}, {"--source"}, &a)) return 2;
    if (a.positional.size() != 1) {
        std::fprintf(stderr, "usage: kvmcf info FILE [--source NAME] [--json]\n");
        return 2;
    }
    const std::string& path = a.positional[0];
    KVMCF_DataSource only = KVMCF_SIGNAL;
    if (a.Has("--source") && !SourceByName(a.Value("--source"), &only)) {
        std::fprintf(stderr, "kvmcf: unknown source %s\n", a.Value("--source").c_str());
        return 2;
    }
    if (!OpenOrSay(path, KVMCF_READ_HEADER_ONLY)) return 1;

    std::vector<SourceName> sources = PresentSources();
    if (a.Has("--source")) {
        std::vector<SourceName> chosen;
        for (const SourceName& s : sources)
            if (s.source == only) chosen.push_back(s);
        if (chosen.empty()) {
            std::fprintf(stderr, "kvmcf: %s: no %s source in this file\n", path.c_str(), a.Value("--source").c_str());
            KVMCF_CloseFile();
            return 1;
        }
        sources = chosen;
    }

    const bool json = a.Has("--json");
    if (json) std::printf("{\"file\": %s, \"sources\": {", JsonString(path).c_str());
    for (std::size_t si = 0; si < sources.size(); ++si) {
        const SourceName& s = sources[si];
        unsigned int subImages = 0;
        KVMCF_GetNumberSubImages(s.source, &subImages);
        if (json)
            std::printf("%s\n  %s: {", si ? "," : "", JsonString(s.name).c_str());
        else
            std::printf("%s[%s]\n", si ? "\n" : "", s.name);
        bool first = true;
        for (const std::string& name : ListingNames(subImages)) {
            unsigned int code = 0;
            const std::string value = Property(s.source, name, &code);
            KVMCF_PropertyType type = KVMCF_TYPE_STRING;
            if (code != KVMCF_SUCCESS || KVMCF_GetPropertyType(s.source, name.c_str(), &type) != KVMCF_SUCCESS)
                continue;
            if (json) {
                std::printf("%s\n    %s: {\"type\": \"%s\", \"value\": %s}", first ? "" : ",",
                            JsonString(name).c_str(), TypeName(type), JsonValue(type, value).c_str());
            } else {
                std::printf("  %-30s %-7s %s\n", name.c_str(), TypeName(type), value.c_str());
            }
            first = false;
        }
        if (json) std::printf("\n  }");
    }
    if (json) std::printf("\n}}\n");
    KVMCF_CloseFile();
    return 0;
}

}  // namespace kvmcftools
