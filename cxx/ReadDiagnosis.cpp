#include "cxx/ReadDiagnosis.h"

#include <sys/stat.h>

#include "api/FileLayout.h"

namespace ReadDiagnosis {
namespace {

// In the order of the Part enumeration; records are named "... record" in a description.
const struct {
    const char* name;
    bool record;
} kParts[] = {
    {"", false},           {"file header", false}, {"source count", false}, {"instrument header", true},
    {"calibration", true}, {"image data", true},   {"pixel block", false},  {"extension section", false},
};
const unsigned long long kPixelBytes = FileLayout::kPixelBytes;

std::string Text(long long value) { return std::to_string(value); }

// Runs the open headers only; a format fault leaves its report behind.
template <class... Args>
TStopReport OpenReport(Args... args) {
    TStopReport report;
    try {
        TMCFIOManager::TMCF file(KVMCF_READ_HEADER_ONLY, args..., &report);
    } catch (const TMCFLoadException&) {
    }
    return report;
}

}  // namespace

const char* PartName(Part part) {
    const std::size_t i = static_cast<std::size_t>(part);
    return i < sizeof kParts / sizeof kParts[0] ? kParts[i].name : "";
}

const char* SourceName(int slot) {
    return slot >= 0 && slot < FileLayout::kSourceCount ? FileLayout::kSources[slot].name : "";
}

std::string Diagnosis::Describe() const {
    if (stop.intact) return "intact";
    std::string text;
    if (stop.source >= 0)
        text = std::string(SourceName(stop.source)) + " source, image " + Text(stop.image) + ", ";
    text += stop.record;
    if (kParts[static_cast<std::size_t>(stop.part)].record) text += " record";
    if (!stop.field.empty()) text += ", " + stop.field;
    text += ", byte " + Text(stop.offset) + ": expected " + stop.expected;
    return text;
}

Diagnosis FromReport(const TStopReport& report, long long fileSize) {
    Diagnosis d;
    d.fileSize = fileSize;
    d.formatKnown = report.formatKnown;
    d.versionWord = report.versionWord;
    d.hasExtension = report.hasExtension;
    d.extensionOffset = report.extensionOffset;
    if (report.part != Part::None) {
        d.stop.intact = false;
        d.stop.source = report.source;
        d.stop.image = report.image;
        d.stop.part = report.part;
        d.stop.record = PartName(report.part);
        d.stop.field = report.field;
        d.stop.offset = report.offset;
        d.stop.expected = report.expected;
    }
    for (int slot = 0; slot < FileLayout::kSourceCount; ++slot) {
        SourceState& s = d.sources[slot];
        static_cast<TStopReport::Source&>(s) = report.sources[slot];
        // Pixels are measured, never loaded.
        const unsigned long long frameBytes = s.frameLength * kPixelBytes;
        const unsigned long long left =
            fileSize > s.dataStart ? static_cast<unsigned long long>(fileSize - s.dataStart) : 0;
        const unsigned long long whole = frameBytes == 0 ? s.frames : left / frameBytes;
        s.wholeFrames = whole < s.frames ? static_cast<unsigned int>(whole) : s.frames;
    }
    return d;
}

Diagnosis DiagnoseBytes(const void* bytes, std::size_t size) {
    return FromReport(OpenReport(static_cast<const unsigned char*>(bytes), static_cast<unsigned int>(size)),
                      static_cast<long long>(size));
}

Diagnosis DiagnoseFile(const std::string& path) {
    struct stat info;
    const long long size = ::stat(path.c_str(), &info) == 0 ? static_cast<long long>(info.st_size) : -1;
    TStopReport report;
    if (path.empty()) {
        report.part = Part::FileHeader;
        report.offset = 0;
        report.expected = "a readable file";
    } else {
        report = OpenReport(path.c_str(), false);
    }
    // A file that cannot be read has no size to measure against.
    return FromReport(report, report.part != Part::None && report.fileSize < 0 ? -1 : size);
}

}  // namespace ReadDiagnosis
