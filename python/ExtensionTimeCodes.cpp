#include "python/ExtensionTimeCodes.h"

#include <cstdint>
#include <cstring>
#include <fstream>

#include "metadata/mcfdataxml.h"
#include "records/KestoImage.h"

namespace kvmcfpy {
namespace {

const char kMarker[] = "MCFX";
const std::size_t kTail = 12;  // 8-byte length and the marker

// The section's length from the 12 bytes that end the file; 0 when there is none.
std::uint64_t SectionLength(const unsigned char* tail, std::uint64_t fileSize) {
    if (std::memcmp(tail + 8, kMarker, 4) != 0) return 0;
    std::uint64_t length = 0;
    for (int i = 7; i >= 0; --i) length = (length << 8) | tail[i];
    return length <= fileSize - kTail ? length : 0;
}

std::optional<std::vector<TIRIGTimeCode>> Decode(const std::string& xmlText, const kvmcf::Source& source) {
    static const char* const kLists[kvmcf::kSourceCount][2] = {
        {"Signals", "Signal"}, {"References", "Reference"}, {"Backgrounds", "Background"},
        {"Lives", "Live"},     {"Sources", "Source"}};
    const auto& names = kLists[static_cast<int>(source.id())];
    TMcfDataXML xml(xmlText.c_str());
    if (!xml.SetFirstChildNode(names[0]) || !xml.SetFirstChildNode(names[1])) return std::nullopt;

    // Every frame written takes at least one character, so a lying frame count
    // cannot make the handler allocate more than the text could fill.
    const unsigned int frames = source.frameCount();
    const int series = static_cast<int>(std::min<std::uint64_t>(frames, xmlText.size()));
    TKestoImage image;
    TIRIGDataHandler& handler = image.GetIRIGDataHandler();
    handler.SetSeriesLength(series);
    image.ReadXMLDataStructure(xml);
    if (!handler.GetIRIGAvailablity()) return std::nullopt;

    std::vector<TIRIGTimeCode> codes(frames);
    for (int i = 0; i < series; ++i) {
        const unsigned char* block = handler.GetIRIGData(i);
        if (block) codes[static_cast<std::size_t>(i)] = TIRIGDataHandler::DecodeIRIGBlock(block);
    }
    return codes;
}

}  // namespace

std::optional<std::vector<TIRIGTimeCode>> ExtensionTimeCodesFromBytes(const std::string& bytes,
                                                                      const kvmcf::Source& source) {
    if (bytes.size() < kTail) return std::nullopt;
    const auto* end = reinterpret_cast<const unsigned char*>(bytes.data()) + bytes.size();
    const std::uint64_t length = SectionLength(end - kTail, bytes.size());
    if (length == 0) return std::nullopt;
    return Decode(bytes.substr(bytes.size() - kTail - length, length), source);
}

std::optional<std::vector<TIRIGTimeCode>> ExtensionTimeCodes(const std::string& path, const kvmcf::Source& source) {
    std::ifstream in(path, std::ios::binary);
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    if (!in || size < static_cast<std::streamoff>(kTail)) return std::nullopt;
    unsigned char tail[kTail];
    in.seekg(size - static_cast<std::streamoff>(kTail));
    in.read(reinterpret_cast<char*>(tail), kTail);
    const std::uint64_t length = in ? SectionLength(tail, static_cast<std::uint64_t>(size)) : 0;
    if (length == 0) return std::nullopt;
    std::string text(static_cast<std::size_t>(length), '\0');
    in.seekg(size - static_cast<std::streamoff>(kTail + length));
    in.read(&text[0], static_cast<std::streamsize>(length));
    if (!in) return std::nullopt;
    return Decode(text, source);
}

}  // namespace kvmcfpy
