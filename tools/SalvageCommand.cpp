#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "cxx/ReadDiagnosis.h"
#include "api/kvmcfio.h"
#include "tools/DiagnosisCommands.h"
#include "writer/McfFileWriter.h"
#include "tools/ToolSupport.h"

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

bool SameFile(const std::string& a, const std::string& b) {
    struct stat sa, sb;
    return stat(a.c_str(), &sa) == 0 && stat(b.c_str(), &sb) == 0 && sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

// The written file must open through the exported functions with the sources kept.
bool OpensWith(const std::string& path, const McfFileContent& content) {
    std::string name = path;
    KVMCF_SetFileAccessMode(KVMCF_READ_HEADER_ONLY);
    bool ok = KVMCF_ReadFromFile(&name[0]) == KVMCF_SUCCESS;
    for (int slot = 0; ok && slot < 5; ++slot) {
        int present = 0;
        ok = KVMCF_IsDataSourcePresent(kSourceNames[slot].source, &present) == KVMCF_SUCCESS &&
             present == (content.images[slot] ? 1 : 0);
    }
    KVMCF_CloseFile();
    return ok;
}

}  // namespace

int RunSalvage(const std::vector<std::string>& args) {
    Arguments a;
    if (!ParseArguments(args, {}, {}, &a)) return 2;
    if (a.positional.size() != 2) {
        std::fprintf(stderr, "usage: kvmcf salvage FILE OUT\n");
        return 2;
    }
    const std::string& path = a.positional[0];
    const std::string& out = a.positional[1];
    if (path == out || SameFile(path, out)) {
        std::fprintf(stderr, "kvmcf: salvage writes a new file; OUT must not be FILE\n");
        return 2;
    }

    const ReadDiagnosis::Diagnosis d = ReadDiagnosis::DiagnoseFile(path);
    if (d.fileSize < 0) {
        std::fprintf(stderr, "kvmcf: %s: cannot be opened\n", path.c_str());
        return 1;
    }
    if (!d.formatKnown) {
        std::fprintf(stderr, "kvmcf: %s: nothing can be saved: %s\n", path.c_str(),
                     d.stop.intact ? "magic line or version not recognised" : d.Describe().c_str());
        return 1;
    }

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
    if (report.empty()) {
        std::fprintf(stderr, "kvmcf: %s: nothing can be saved: %s\n", path.c_str(), d.Describe().c_str());
        return 1;
    }
    content.magic.clear();
    is.clear();
    is.seekg(0);
    std::getline(is, content.magic);
    content.extensionXml = ExtensionText(is, d);

    // Written under another name first, so OUT never holds half a file.
    const std::string temporary = out + ".salvage-part";
    if (!WriteMcfFile(temporary, content) || !OpensWith(temporary, content)) {
        std::remove(temporary.c_str());
        std::fprintf(stderr, "kvmcf: %s: cannot write a readable file\n", out.c_str());
        return 1;
    }
    if (std::rename(temporary.c_str(), out.c_str()) != 0) {
        std::remove(temporary.c_str());
        std::fprintf(stderr, "kvmcf: cannot rename %s to %s\n", temporary.c_str(), out.c_str());
        return 1;
    }
    std::printf("%s: saved %s\n", out.c_str(), report.c_str());
    if (!d.stop.intact) std::printf("  lost from %s\n", d.Describe().c_str());
    return 0;
}

}  // namespace kvmcftools
