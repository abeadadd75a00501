#include <cstdio>
#include <string>

#include "cxx/ReadDiagnosis.h"
#include "api/kvmcfio.h"
#include "tools/DiagnosisCommands.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {
namespace {

// "absent", "intact", "damaged" or "not reached".
const char* SourceStateName(const ReadDiagnosis::Diagnosis& d, int slot) {
    const ReadDiagnosis::SourceState& s = d.sources[slot];
    if (!d.stop.intact && d.stop.source == slot) return "damaged";
    if (!s.reached) return "not reached";
    if (s.count <= 0) return "absent";
    return s.intact ? "intact" : "damaged";
}

// The open through the exported functions, headers only, as a second opinion.
unsigned int OpenResult(const std::string& path) {
    std::string name = path;
    KVMCF_SetFileAccessMode(KVMCF_READ_HEADER_ONLY);
    const unsigned int result = KVMCF_ReadFromFile(&name[0]);
    KVMCF_CloseFile();
    return result;
}

void PrintText(const std::string& path, const ReadDiagnosis::Diagnosis& d, unsigned int opens) {
    std::printf("%s: %s\n", path.c_str(), d.stop.intact ? "intact" : "damaged");
    if (!d.stop.intact) std::printf("  stops at: %s\n", d.Describe().c_str());
    if (!d.formatKnown) {
        if (d.stop.intact) std::printf("  no data sources: magic line or version not recognised\n");
    } else {
        for (int slot = 0; slot < 5; ++slot) {
            const ReadDiagnosis::SourceState& s = d.sources[slot];
            std::printf("  %-11s %-12s", ReadDiagnosis::SourceName(slot), SourceStateName(d, slot));
            if (s.dataStart >= 0)
                std::printf(" %u of %u frames whole, %u pixels each, pixels from byte %lld", s.wholeFrames, s.frames,
                            s.frameLength, s.dataStart);
            if (s.count > 1) std::printf(" (%d images stored; the last one counts)", s.count);
            std::printf("\n");
        }
    }
    if (d.hasExtension) std::printf("  extension section from byte %lld\n", d.extensionOffset);
    std::printf("  open: %s (%u)\n", ResultText(opens), opens);
}

void PrintJson(const std::string& path, const ReadDiagnosis::Diagnosis& d, unsigned int opens) {
    std::printf("{\"file\": %s, \"intact\": %s, \"size\": %lld, \"format_known\": %s, \"open_result\": %u",
                JsonString(path).c_str(), d.stop.intact ? "true" : "false", d.fileSize,
                d.formatKnown ? "true" : "false", opens);
    if (!d.stop.intact) {
        const ReadDiagnosis::ReadStop& s = d.stop;
        std::printf(
            ",\n \"stop\": {\"source\": %s, \"image\": %u, \"record\": %s, \"field\": %s, \"offset\": %lld, "
            "\"expected\": %s, \"text\": %s}",
            s.source >= 0 ? JsonString(ReadDiagnosis::SourceName(s.source)).c_str() : "null", s.image + 1,
            JsonString(s.record).c_str(), s.field.empty() ? "null" : JsonString(s.field).c_str(), s.offset,
            JsonString(s.expected).c_str(), JsonString(d.Describe()).c_str());
    }
    std::printf(",\n \"sources\": [");
    for (int slot = 0; slot < 5; ++slot) {
        const ReadDiagnosis::SourceState& s = d.sources[slot];
        std::printf("%s\n  {\"name\": \"%s\", \"state\": \"%s\"", slot ? "," : "", ReadDiagnosis::SourceName(slot),
                    SourceStateName(d, slot));
        if (s.reached) std::printf(", \"count\": %d", s.count);
        if (s.dataStart >= 0)
            std::printf(", \"frames\": %u, \"whole_frames\": %u, \"frame_length\": %u, \"data_start\": %lld", s.frames,
                        s.wholeFrames, s.frameLength, s.dataStart);
        std::printf("}");
    }
    std::printf("\n ],\n \"extension_section\": ");
    if (d.hasExtension)
        std::printf("{\"offset\": %lld}}\n", d.extensionOffset);
    else
        std::printf("null}\n");
}

}  // namespace

int RunCheck(const std::vector<std::string>& args) {
    Arguments a;
    if (!ParseArguments(args, {"--json"}, {}, &a)) return 2;
    if (a.positional.size() != 1) {
        std::fprintf(stderr, "usage: kvmcf check FILE [--json]\n");
        return 2;
    }
    const std::string& path = a.positional[0];
    const ReadDiagnosis::Diagnosis d = ReadDiagnosis::DiagnoseFile(path);
    if (d.fileSize < 0) {
        std::fprintf(stderr, "kvmcf: %s: cannot be opened\n", path.c_str());
        return 1;
    }
    const unsigned int opens = OpenResult(path);
    if (a.Has("--json"))
        PrintJson(path, d, opens);
    else
        PrintText(path, d, opens);
    return d.stop.intact ? 0 : 1;
}

}  // namespace kvmcftools
