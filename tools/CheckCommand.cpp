// kvmcf check FILE... [--json]: whether each data source and image reads whole, and
// for a damaged file where reading stops and the whole frames of each source.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "cxx/ReadDiagnosis.h"
#include "tools/Commands.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {
namespace {

struct CheckOptions {
    std::vector<std::string> files;
    bool json = false;
};

// "absent", "intact", "damaged" or "not reached".
const char* SourceStateName(const ReadDiagnosis::Diagnosis& d, int slot) {
    const ReadDiagnosis::SourceState& s = d.sources[slot];
    if (!d.stop.intact && d.stop.source == slot) return "damaged";
    if (!s.reached) return "not reached";
    if (s.count <= 0) return "absent";
    return s.intact ? "intact" : "damaged";
}

// What opening it through the C++ interface says: "success" or the error's message;
// `refused` when the system will not open the path, or the bytes are not a
// multi-channel file at all. Neither is a damaged file: every verb refuses them.
std::string OpenResult(const std::string& path, const ReadDiagnosis::Diagnosis& d, bool* refused) {
    *refused = false;
    try {
        kvmcf::File::open(path, kvmcf::ReadMode::HeaderOnly);
    } catch (const kvmcf::Error& e) {
        *refused = e.systemError() != 0 || !d.formatKnown;
        return e.what();
    }
    return "success";
}

void PrintText(const std::string& path, const ReadDiagnosis::Diagnosis& d, const std::string& opens) {
    std::printf("%s: %s\n", path.c_str(), d.stop.intact ? "intact" : "damaged");
    if (!d.stop.intact) std::printf("  stops at: %s\n", d.Describe().c_str());
    for (int slot = 0; slot < 5; ++slot) {
        const ReadDiagnosis::SourceState& s = d.sources[slot];
        std::printf("  %-11s %-12s", ReadDiagnosis::SourceName(slot), SourceStateName(d, slot));
        if (s.dataStart >= 0)
            std::printf(" %u of %u frames whole, %u pixels each, pixels from byte %lld", s.wholeFrames, s.frames,
                        s.frameLength, s.dataStart);
        if (s.count > 1) std::printf(" (%d images stored; the last one counts)", s.count);
        std::printf("\n");
    }
    if (d.hasExtension) std::printf("  extension section from byte %lld\n", d.extensionOffset);
    std::printf("  open: %s\n", opens.c_str());
}

Json CheckJson(const std::string& path, const ReadDiagnosis::Diagnosis& d, const std::string& opens) {
    Json entry = {{"file", path}, {"intact", d.stop.intact}, {"size", d.fileSize}, {"open", opens}};
    if (!d.stop.intact) {
        const ReadDiagnosis::ReadStop& s = d.stop;
        entry["stop"] = {{"source", s.source >= 0 ? Json(ReadDiagnosis::SourceName(s.source)) : Json(nullptr)},
                         {"image", s.image},
                         {"record", s.record},
                         {"field", s.field.empty() ? Json(nullptr) : Json(s.field)},
                         {"offset", s.offset},
                         {"expected", s.expected},
                         {"text", d.Describe()}};
    }
    Json sources = Json::array();
    for (int slot = 0; slot < 5; ++slot) {
        const ReadDiagnosis::SourceState& s = d.sources[slot];
        Json source = {{"name", ReadDiagnosis::SourceName(slot)}, {"state", SourceStateName(d, slot)}};
        if (s.reached) source["count"] = s.count;
        if (s.dataStart >= 0) {
            source["frames"] = s.frames;
            source["whole_frames"] = s.wholeFrames;
            source["frame_length"] = s.frameLength;
            source["data_start"] = s.dataStart;
        }
        sources.push_back(std::move(source));
    }
    entry["sources"] = std::move(sources);
    entry["extension_section"] = d.hasExtension ? Json{{"offset", d.extensionOffset}} : Json(nullptr);
    return entry;
}

int RunCheck(const CheckOptions& o) {
    bool damaged = false;
    const int code = ForEachFile(o.files, o.json, [&](const std::string& path, bool json, Json* entry, std::string* why) {
        const ReadDiagnosis::Diagnosis d = ReadDiagnosis::DiagnoseFile(path);
        bool refused = false;
        const std::string opens = OpenResult(path, d, &refused);
        if (refused) {
            *why = opens;
            return false;
        }
        damaged = damaged || !d.stop.intact;
        if (json)
            *entry = CheckJson(path, d, opens);
        else
            PrintText(path, d, opens);
        return true;
    });
    return damaged ? kFileProblem : code;
}

}  // namespace

void AddCheckCommand(CLI::App& app, Run* run) {
    auto o = std::make_shared<CheckOptions>();
    CLI::App* verb = app.add_subcommand(
        "check", "Whether each source reads whole; for a damaged file the source, image (from 0), record, field "
                 "and byte where reading stops, and the whole frames of each source. Exit 1 when damaged");
    verb->add_option("FILE", o->files, "Files to check, each in turn")->required();
    verb->add_flag("--json", o->json, "One JSON document: {format_version, files: [...]}");
    verb->callback([o, run] { *run = [o] { return RunCheck(*o); }; });
}

}  // namespace kvmcftools
