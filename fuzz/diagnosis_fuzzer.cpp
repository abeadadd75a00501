// The stop report and salvage on whole files. The report must agree with the open
// (a file opens read-all exactly when the report finds it intact, with the same
// sources and frames) and be the same from bytes and from a path; salvage must write
// either nothing or a file that opens and holds exactly the frames its message
// reports, each one the input's own bytes, and must save every source of an intact file.
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "cxx/ReadDiagnosis.h"
#include "fuzz/FuzzSupport.h"
#include "kvmcf/kvmcf.hpp"
#include "tools/Commands.h"

// Named, so the regression replay can compile every target into one program.
namespace diagnosisfuzz {

using kvmcffuzz::Fail;
using ReadDiagnosis::Diagnosis;

void CheckReport(const Diagnosis& d, std::size_t size) {
    const ReadDiagnosis::ReadStop& s = d.stop;
    if (d.fileSize != static_cast<long long>(size)) Fail("the report measures another file size");
    if (s.intact) {
        if (d.Describe() != "intact") Fail("an intact file is described as " + d.Describe());
        return;
    }
    if (s.part == ReadDiagnosis::Part::None || s.record != ReadDiagnosis::PartName(s.part))
        Fail("a stop names no part, or another record than its part");
    if (s.source < -1 || s.source > 4 || s.offset < 0 || s.offset > static_cast<long long>(size))
        Fail("a stop lies outside the file: " + d.Describe());
    if (s.expected.empty()) Fail("a stop says nothing of what was expected");
}

// The report against the open: read-all opens the file exactly when it is intact.
void CheckAgainstOpen(const Diagnosis& d, const std::uint8_t* data, std::size_t size) {
    std::optional<kvmcf::File> file;
    try {
        file.emplace(kvmcf::File::fromBytes(data, size, kvmcf::ReadMode::All));
    } catch (const kvmcf::Error& e) {
        // The interface refuses what does not start as a multi-channel file, which the
        // report takes for a file without sources; the C open's own code comes first
        // (a file error for one shorter than the closing marker).
        const bool notOurs = !d.formatKnown;
        if (d.stop.intact && !notOurs) Fail(std::string("the report finds intact a file the open refuses: ") + e.what());
        return;
    }
    if (!d.stop.intact) Fail("the open reads a file the report finds damaged: " + d.Describe());
    if (!d.formatKnown) return;
    for (int slot = 0; slot < 5; ++slot) {
        const ReadDiagnosis::SourceState& s = d.sources[slot];
        const auto id = static_cast<kvmcf::SourceId>(slot);
        if (file->has(id) != (s.count > 0)) Fail(std::string("the report and the open disagree on ") + ReadDiagnosis::SourceName(slot));
        if (!file->has(id)) continue;
        const kvmcf::Source& source = file->source(id);
        if (source.frameCount() != s.frames || s.wholeFrames != s.frames || source.frameLength() != s.frameLength ||
            source.dataStart() != s.dataStart)
            Fail(std::string("the report and the open disagree on the frames of ") + ReadDiagnosis::SourceName(slot));
    }
}

// "OUT: saved signal (3 frames), reference (1 of 2 frames)" as frames per source slot.
std::vector<long long> SavedFrames(const std::string& text, const std::string& out) {
    std::vector<long long> saved(5, -1);
    const std::string lead = out + ": saved ";
    const std::size_t at = text.find(lead);
    if (at == std::string::npos) Fail("salvage succeeded without saying what it saved: " + text);
    const std::string line = text.substr(at + lead.size(), text.find('\n', at) - at - lead.size());
    std::size_t pos = 0;
    while (pos < line.size()) {
        const std::size_t open = line.find(" (", pos);
        if (open == std::string::npos) Fail("salvage's message cannot be read: " + line);
        const std::string name = line.substr(pos, open - pos);
        int slot = 0;
        while (slot < 5 && name != ReadDiagnosis::SourceName(slot)) ++slot;
        if (slot == 5 || saved[slot] >= 0) Fail("salvage's message names a source twice or an unknown one: " + line);
        saved[slot] = std::stoll(line.substr(open + 2));
        const std::size_t close = line.find(')', open);
        if (close == std::string::npos) Fail("salvage's message cannot be read: " + line);
        pos = close + 1;
        if (line.compare(pos, 2, ", ") == 0) pos += 2;
    }
    return saved;
}

void CheckSalvage(const Diagnosis& d, const std::uint8_t* data, std::size_t size) {
    const std::string folder = kvmcffuzz::ScratchFolder();
    const std::string in = folder + "/in.mcf", out = folder + "/out.mcf";
    kvmcffuzz::WriteBytes(in, data, size);
    std::remove(out.c_str());
    const Diagnosis fromPath = ReadDiagnosis::DiagnoseFile(in);
    if (fromPath.Describe() != d.Describe() || fromPath.formatKnown != d.formatKnown)
        Fail("the report from a path differs from the one from bytes: " + fromPath.Describe());

    int code = 0;
    std::string text;
    {
        kvmcffuzz::CapturedOutput captured;
        const char* argv[] = {"kvmcf", "salvage", in.c_str(), out.c_str()};
        code = kvmcftools::RunTool(4, argv);
        text = captured.Text();
    }
    if (kvmcffuzz::Entries(folder) != std::vector<std::string>{".captured", "in.mcf", "out.mcf"} &&
        kvmcffuzz::Entries(folder) != std::vector<std::string>{".captured", "in.mcf"})
        Fail("salvage left a file behind");
    if (kvmcffuzz::ReadBytes(in) != std::string(reinterpret_cast<const char*>(data), size)) Fail("salvage changed its input");

    bool anySource = false;
    for (const ReadDiagnosis::SourceState& s : d.sources) anySource = anySource || s.count > 0;
    if (code != 0) {
        if (code != 1) Fail("salvage exited with " + std::to_string(code));
        if (kvmcffuzz::Exists(out)) Fail("a failed salvage left its output");
        if (d.stop.intact && d.formatKnown && anySource) Fail("salvage saved nothing of an intact file: " + text);
        return;
    }
    const std::vector<long long> saved = SavedFrames(text, out);
    const std::string bytes = kvmcffuzz::ReadBytes(out);
    std::optional<kvmcf::File> file;
    try {
        file.emplace(kvmcf::File::fromBytes(bytes.data(), bytes.size(), kvmcf::ReadMode::All));
    } catch (const kvmcf::Error& e) {
        Fail(std::string("the salvaged file does not open: ") + e.what());
    }
    for (int slot = 0; slot < 5; ++slot) {
        const auto id = static_cast<kvmcf::SourceId>(slot);
        const ReadDiagnosis::SourceState& s = d.sources[slot];
        if (d.stop.intact && s.count > 0 && saved[slot] != s.frames) Fail("salvage dropped frames of an intact file");
        if (file->has(id) != (saved[slot] >= 0)) Fail("the salvaged file's sources are not the ones reported");
        if (!file->has(id)) continue;
        const kvmcf::Source& source = file->source(id);
        if (source.frameCount() != saved[slot] || saved[slot] > s.wholeFrames || source.frameLength() != s.frameLength)
            Fail("the salvaged file holds other frames than reported");
        const unsigned long long frameBytes = 4ULL * s.frameLength;
        for (unsigned int i = 0; i < source.frameCount(); ++i) {
            std::vector<float> frame(s.frameLength);
            source.readFrame(i, frame.data());
            if (frameBytes > 0 && std::memcmp(frame.data(), data + s.dataStart + frameBytes * i, frameBytes) != 0)
                Fail("a salvaged frame differs from the input's");
        }
    }
}

}  // namespace diagnosisfuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace diagnosisfuzz;
    if (size == 0) return 0;
    const std::vector<std::uint8_t> bytes(data, data + size);
    const Diagnosis d = ReadDiagnosis::DiagnoseBytes(bytes.data(), size);
    CheckReport(d, size);
    CheckAgainstOpen(d, bytes.data(), size);
    CheckSalvage(d, bytes.data(), size);
    return 0;
}
