// kvmcf info FILE... [--source NAME] [--json]: every named property of each source,
// then the values only the file's extension section carries.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "calib/CalibImage.h"
#include "records/KestoImageData.h"
#include "tools/Commands.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {
namespace {

struct InfoOptions {
    std::vector<std::string> files;
    std::string source;
    bool json = false;
};

// The values that come from the extension section: those differing from what a record
// read without one holds, so empty when it gave none.
Json ExtensionValues(const kvmcf::Source& s) {
    static const TKestoImageData plainHeader;
    static const TCalibImage plainImage;
    const TKestoImageData& h = s.header();
    Json values = Json::object();
    if (*h.GetSerialText()) values["serial_number"] = h.GetSerialText();
    if (*h.GetPreAmpGainText()) values["pre_amplifier_gain"] = h.GetPreAmpGainText();
    if (h.GetDarkThreshold() != plainHeader.GetDarkThreshold()) values["dark_threshold"] = FloatJson(h.GetDarkThreshold());
    if (h.GetMilliseconds() != plainHeader.GetMilliseconds()) values["milliseconds"] = h.GetMilliseconds();
    if (h.GetFastKineticsOffset() != plainHeader.GetFastKineticsOffset())
        values["fast_kinetics_offset"] = h.GetFastKineticsOffset();
    const TCalibImage& image = s.image();
    if (image.GetKavriImagePortReadoutMode() != plainImage.GetKavriImagePortReadoutMode() ||
        image.GetKavriImageReadoutDirection() != plainImage.GetKavriImageReadoutDirection()) {
        char text[64];
        image.GetReadoutPortString(text, sizeof text);
        values["readout_port"] = text;
        image.GetReadoutDirectionString(text, sizeof text);
        values["readout_direction"] = text;
    }
    if (image.GetTickInterval() != plainImage.GetTickInterval()) values["tick_interval_ns"] = image.GetTickInterval();
    if (image.GetFastKineticsStorageMode() != plainImage.GetFastKineticsStorageMode())
        values["fast_kinetics_storage_mode"] = image.GetFastKineticsStorageMode();
    if (image.GetFastKineticsTimeScanMode() != plainImage.GetFastKineticsTimeScanMode())
        values["fast_kinetics_time_scan_mode"] = image.GetFastKineticsTimeScanMode();
    return values;
}

std::vector<const kvmcf::Source*> Chosen(const kvmcf::File& file, const std::string& source, std::string* why) {
    if (source.empty()) return file.sources();
    const kvmcf::SourceId id = *SourceNamed(source);
    if (!file.has(id)) {
        *why = file.path() + ": no " + source + " source in this file";
        return {};
    }
    return {&file.source(id)};
}

Json FileJson(const kvmcf::File& file, const std::vector<const kvmcf::Source*>& sources) {
    Json entry = {{"file", file.path()}, {"sources", Json::array()}};
    for (const kvmcf::Source* s : sources) {
        Json properties = Json::object();
        for (const kvmcf::Property& p : s->properties())
            properties[p.name] = {{"type", PropertyTypeName(p)}, {"value", PropertyJson(p)}};
        Json source = {{"name", s->name()}, {"properties", std::move(properties)}};
        Json extension = ExtensionValues(*s);
        if (!extension.empty()) source["extension"] = std::move(extension);
        entry["sources"].push_back(std::move(source));
    }
    return entry;
}

void PrintText(const std::vector<const kvmcf::Source*>& sources) {
    // The one place the tool counts from 1: the vocabulary's own names.
    if (!sources.empty()) std::printf("(names such as SubImageLeft1 count sub-images from 1, as the vocabulary does)\n");
    for (std::size_t i = 0; i < sources.size(); ++i) {
        const kvmcf::Source& s = *sources[i];
        std::printf("%s[%s]\n", i ? "\n" : "", s.name());
        for (const kvmcf::Property& p : s.properties()) {
            const Json value = PropertyJson(p);
            // Texts as the file holds them; numbers as their JSON, so floats read back exactly.
            const std::string text = value.is_string() ? value.get<std::string>() : value.dump();
            std::printf("  %-30s %-7s %s\n", p.name.c_str(), PropertyTypeName(p), text.c_str());
        }
        const Json extension = ExtensionValues(s);
        for (const auto& [key, value] : extension.items())
            std::printf("  %-30s %-7s %s\n", key.c_str(), "section",
                        value.is_string() ? value.get<std::string>().c_str() : value.dump().c_str());
    }
}

int RunInfo(const InfoOptions& o) {
    return ForEachFile(o.files, o.json, [&](const std::string& path, bool json, Json* entry, std::string* why) {
        std::optional<kvmcf::File> file = OpenFile(path, why);
        if (!file) return false;
        const std::vector<const kvmcf::Source*> sources = Chosen(*file, o.source, why);
        if (!why->empty()) return false;
        if (json) {
            *entry = FileJson(*file, sources);
        } else {
            if (o.files.size() > 1) std::printf("== %s ==\n", path.c_str());
            PrintText(sources);
        }
        return true;
    });
}

}  // namespace

void AddInfoCommand(CLI::App& app, Run* run) {
    auto o = std::make_shared<InfoOptions>();
    CLI::App* verb = app.add_subcommand(
        "info", "Every named property of each source (names with a sub-image number count it from 1, as the "
                "property vocabulary does), and the values of the extension section");
    verb->add_option("FILE", o->files, "Files to show, each in turn")->required();
    verb->add_option("--source", o->source, "Only this source: " + SourceNameList())
        ->check(SourceCheck());
    verb->add_flag("--json", o->json, "One JSON document: {format_version, files: [...]}");
    verb->callback([o, run] { *run = [o] { return RunInfo(*o); }; });
}

}  // namespace kvmcftools
