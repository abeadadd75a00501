// kvmcf frames FILE... [--source NAME] [--json]: one row per frame with its times,
// metadata word and, where the extension section carries them, the time code and
// the metadata packet's tagged values.
#include <cinttypes>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tools/Commands.h"
#include "tools/ExportSupport.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {
namespace {

// Tags a metadata packet may hold (0 ends a packet).
constexpr int kFirstTag = 1, kLastTag = 11;

struct FramesOptions {
    std::vector<std::string> files;
    std::string source;
    bool json = false;
};

struct FrameRows {
    std::vector<float> kinetic;
    std::vector<unsigned int> stamps;
    std::vector<std::uint64_t> words;
    std::vector<Json> precise;
    std::vector<std::string> irig;
    std::map<int, std::vector<std::uint64_t>> tags;  // only tags some frame holds

    explicit FrameRows(const kvmcf::Source& s)
        : kinetic(s.kineticTimes()), stamps(s.timeStamps()), words(s.metadataWords()), irig(s.irigTimes()) {
        for (unsigned int f = 0; f < s.frameCount(); ++f)
            precise.push_back(PropertyJson(s.property("HighPrecisionTimeStamp" + std::to_string(f))));
        for (int tag = kFirstTag; tag <= kLastTag; ++tag) {
            std::vector<std::uint64_t> values = s.metadataTagValues(tag);
            for (std::uint64_t v : values)
                if (v != 0) {
                    tags[tag] = std::move(values);
                    break;
                }
        }
    }
    template <class T>
    static const T* At(const std::vector<T>& v, unsigned int f) { return f < v.size() ? &v[f] : nullptr; }
};

Json FramesJson(const kvmcf::File& file, const kvmcf::Source& s) {
    const FrameRows rows(s);
    Json frames = Json::array();
    for (unsigned int f = 0; f < s.frameCount(); ++f) {
        Json row = {{"index", f}};
        row["kinetic_time"] = FrameRows::At(rows.kinetic, f) ? FloatJson(rows.kinetic[f]) : Json(nullptr);
        row["time_stamp"] = FrameRows::At(rows.stamps, f) ? Json(rows.stamps[f]) : Json(nullptr);
        row["metadata_word"] = FrameRows::At(rows.words, f) ? Json(rows.words[f]) : Json(nullptr);
        row["high_precision_time_stamp"] = rows.precise[f];
        if (!rows.irig.empty()) row["irig_time"] = rows.irig[f].empty() ? Json(nullptr) : Json(rows.irig[f]);
        if (!rows.tags.empty()) {
            Json tags = Json::object();
            for (const auto& [tag, values] : rows.tags) tags[std::to_string(tag)] = values[f];
            row["metadata_tags"] = std::move(tags);
        }
        frames.push_back(std::move(row));
    }
    return {{"file", file.path()}, {"source", s.name()}, {"frames", std::move(frames)}};
}

void PrintText(const kvmcf::File& file, const kvmcf::Source& s) {
    const FrameRows rows(s);
    std::printf("%s: %s, %u frame%s (from 0)\n", file.path().c_str(), s.name(), s.frameCount(),
                s.frameCount() == 1 ? "" : "s");
    std::printf("%7s %14s %12s %20s %14s", "frame", "time (s)", "time stamp", "metadata word", "precise (s)");
    if (!rows.irig.empty()) std::printf("  %-28s", "time code");
    for (const auto& entry : rows.tags) std::printf(" %8s", ("tag " + std::to_string(entry.first)).c_str());
    std::printf("\n");
    for (unsigned int f = 0; f < s.frameCount(); ++f) {
        const Json precise = rows.precise[f];
        std::printf("%7u %14s %12s %20s %14s", f,
                    FrameRows::At(rows.kinetic, f) ? FloatText(rows.kinetic[f]).c_str() : "-",
                    FrameRows::At(rows.stamps, f) ? std::to_string(rows.stamps[f]).c_str() : "-",
                    FrameRows::At(rows.words, f) ? std::to_string(rows.words[f]).c_str() : "-",
                    precise.is_null() ? "-" : precise.dump().c_str());
        if (!rows.irig.empty()) std::printf("  %-28s", rows.irig[f].empty() ? "-" : rows.irig[f].c_str());
        for (const auto& entry : rows.tags) std::printf(" %8" PRIu64, entry.second[f]);
        std::printf("\n");
    }
}

int RunFrames(const FramesOptions& o) {
    return ForEachFile(o.files, o.json, [&](const std::string& path, bool json, Json* entry, std::string* why) {
        std::optional<kvmcf::File> file = OpenFile(path, why);
        if (!file) return false;
        const kvmcf::Source* source = ChooseSource(*file, o.source, why);
        if (!source) {
            *why = path + ": " + *why;
            return false;
        }
        if (json)
            *entry = FramesJson(*file, *source);
        else
            PrintText(*file, *source);
        return true;
    });
}

}  // namespace

void AddFramesCommand(CLI::App& app, Run* run) {
    auto o = std::make_shared<FramesOptions>();
    CLI::App* verb = app.add_subcommand(
        "frames", "One row per frame (from 0): seconds since frame 0, time stamp, metadata word, high-precision "
                  "time stamp, and the time code and metadata tags where the file's extension section has them");
    verb->add_option("FILE", o->files, "Files to show, each in turn")->required();
    verb->add_option("--source", o->source, "The source (default: signal, else the first present)")
        ->check(SourceCheck());
    verb->add_flag("--json", o->json, "One JSON document: {format_version, files: [...]}");
    verb->callback([o, run] { *run = [o] { return RunFrames(*o); }; });
}

}  // namespace kvmcftools
