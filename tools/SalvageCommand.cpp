#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "cxx/ReadDiagnosis.h"
#include "tools/Commands.h"
#include "tools/ExportSupport.h"
#include "tools/ToolSupport.h"
#include "writer/McfFileWriter.h"

namespace kvmcftools {
namespace {

using Image = TMCFIOManager::TImage;

const unsigned long long kPixelBytes = FileLayout::kPixelBytes;

// An intact source's last image, read whole as the open sequence reads it.
std::unique_ptr<Image> ReadWhole(std::istream& is, long long headerOffset) {
    auto image = std::make_unique<Image>();
    is.clear();
    is.seekg(headerOffset);
    is >> *image;
    return is ? std::move(image) : nullptr;
}

// A source cut inside its pixel block: its records as stored, then only the first
// `whole` frames, with the frame count, time stamps and metadata words cut to match.
std::unique_ptr<Image> ReadWholeFrames(std::istream& is, const ReadDiagnosis::SourceState& state) {
    auto image = std::make_unique<Image>();
    TCalibImage& calib = image->calibImage;
    // Text only: the pixel block is not all there, so the reader must not look at it.
    calib.SetSpooledDAT(true);
    calib.SetSpoolMode(true);
    is.clear();
    is.seekg(state.headerOffset);
    is >> *image;
    if (!is) return nullptr;
    calib.SetSpooledDAT(false);

    const unsigned int whole = state.wholeFrames;
    std::vector<unsigned int> stamps(whole);
    std::vector<unsigned long long> words(whole);
    for (unsigned int i = 0; i < whole; ++i) {
        stamps[i] = calib.GetTimeStamp(i);
        words[i] = calib.GetMetaDataWord(i);
    }
    calib.AllocateDataMemory(state.frameLength, whole);
    for (unsigned int i = 0; i < whole; ++i) {
        calib.SetTimeStamp(i, stamps[i]);
        calib.SetMetaDataWord(i, words[i]);
    }

    is.seekg(state.dataStart);
    const std::streamsize frameBytes = static_cast<std::streamsize>(state.frameLength * kPixelBytes);
    for (unsigned int n = 1; n <= whole && is; ++n) {
        float* pixels = calib.ObtainWriteImagePtr(n);
        if (pixels) is.read(reinterpret_cast<char*>(pixels), frameBytes);
        calib.ReleaseImagePtr(n);
    }
    return is ? std::move(image) : nullptr;
}

std::string ExtensionText(std::istream& is, const ReadDiagnosis::Diagnosis& d) {
    if (!d.hasExtension) return "";
    std::string text(static_cast<std::size_t>(d.fileSize - 12 - d.extensionOffset), '\0');
    is.clear();
    is.seekg(d.extensionOffset);
    is.read(&text[0], static_cast<std::streamsize>(text.size()));
    return is ? text : "";
}

// The written file must open with the sources kept.
bool OpensWith(const std::string& path, const McfFileContent& content) {
    std::string why;
    const std::optional<kvmcf::File> file = OpenFile(path, &why);
    for (int slot = 0; file && slot < kvmcf::kSourceCount; ++slot)
        if (file->has(static_cast<kvmcf::SourceId>(slot)) != (content.images[slot] != nullptr)) return false;
    return file.has_value();
}

struct SalvageOptions {
    std::string file, out;
    bool force = false;
};


int RunSalvage(const SalvageOptions& o) {
    const std::string& path = o.file;
    const std::string& out = o.out;
    std::string why;
    if (!ExtensionAgrees(out, OutputFormat::Mcf, &why)) {
        std::fprintf(stderr, "kvmcf: %s\n", why.c_str());
        return kUsageProblem;
    }
    if (!OutputAllowed(out, {path}, o.force, &why)) return Fail(why);
    // A path the system will not open is said in its words, as every verb says it.
    try {
        kvmcf::File::open(path, kvmcf::ReadMode::HeaderOnly);
    } catch (const kvmcf::Error& e) {
        if (e.systemError() != 0) return Fail(e.what());
    }

    const ReadDiagnosis::Diagnosis d = ReadDiagnosis::DiagnoseFile(path);
    if (d.fileSize < 0 || !d.formatKnown) return Fail(path + ": not a multi-channel file");

    std::ifstream is(path, std::ios::in | std::ios::binary);
    std::unique_ptr<Image> kept[5];
    McfFileContent content;
    std::string report;
    for (int slot = 0; slot < 5; ++slot) {
        const ReadDiagnosis::SourceState& s = d.sources[slot];
        const bool cutInPixels = !d.stop.intact && d.stop.source == slot &&
                                 d.stop.part == ReadDiagnosis::Part::PixelBlock && s.wholeFrames > 0;
        if (s.intact && s.count > 0)
            kept[slot] = ReadWhole(is, s.headerOffset);
        else if (cutInPixels)
            kept[slot] = ReadWholeFrames(is, s);
        if (!kept[slot]) continue;
        content.images[slot] = kept[slot].get();
        report += std::string(report.empty() ? "" : ", ") + ReadDiagnosis::SourceName(slot) + " (" +
                  std::to_string(kept[slot]->calibImage.GetNumberImages()) +
                  (cutInPixels ? " of " + std::to_string(s.frames) : std::string()) + " frames)";
    }
    if (report.empty()) return Fail(path + ": nothing can be saved: " + d.Describe());
    content.magic.clear();
    is.clear();
    is.seekg(0);
    std::getline(is, content.magic);
    content.extensionXml = ExtensionText(is, d);

    // Written under another name first, so OUT never holds half a file.
    OutputFile output(out);
    if (!output.Prepare(o.force, &why)) return Fail(why);
    RemoveOutputsOnInterrupt();
    if (!WriteMcfFile(output.TempPath(), content) || !OpensWith(output.TempPath(), content))
        return Fail(out + ": cannot write a readable file");
    if (!output.Commit(&why)) return Fail(why);
    std::printf("%s: saved %s\n", out.c_str(), report.c_str());
    if (!d.stop.intact) std::printf("  lost from %s\n", d.Describe().c_str());
    return 0;
}

}  // namespace

void AddSalvageCommand(CLI::App& app, Run* run) {
    auto o = std::make_shared<SalvageOptions>();
    CLI::App* verb = app.add_subcommand(
        "salvage", "Write every intact source and the whole frames of a cut-off pixel block to OUT, with the frame "
                   "count, time stamps and metadata words trimmed to match. FILE is never written");
    verb->add_option("FILE", o->file, "The damaged file")->required();
    verb->add_option("OUT", o->out, "The new file (refused if it exists, unless --force; never FILE)")->required();
    verb->add_flag("--force", o->force, "Replace an existing OUT (never FILE itself)");
    verb->callback([o, run] { *run = [o] { return RunSalvage(*o); }; });
}

}  // namespace kvmcftools
