#include "writer/McfFileWriter.h"

#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace kvmcftools {

void WriteExtensionSection(std::ostream& os, const std::string& xml) {
    os.write(xml.data(), static_cast<std::streamsize>(xml.size()));
    unsigned long long length = xml.size();
    for (int i = 0; i < 8; ++i) os.put(static_cast<char>((length >> (8 * i)) & 0xFF));
    os.write(FileLayout::kSectionMarker, FileLayout::kSectionMarkerBytes);
}

bool WriteMcfFile(std::ostream& os, const McfFileContent& content) {
    os << content.magic << '\n' << content.versionWord << '\n';
    for (TMCFIOManager::TImage* image : content.images) {
        os << (image ? 1 : 0) << '\n';
        if (image) os << *image;
    }
    if (!content.extensionXml.empty()) WriteExtensionSection(os, content.extensionXml);
    return static_cast<bool>(os);
}

bool WriteMcfFile(const std::string& path, const McfFileContent& content) {
    std::ofstream os(path, std::ios::binary);
    return WriteMcfFile(os, content) && static_cast<bool>(os.flush());
}

std::string McfFileBytes(const McfFileContent& content) {
    std::ostringstream os(std::ios::binary);
    WriteMcfFile(os, content);
    return os.str();
}

std::string ScratchPath(const std::string& what) {
    const char* dir = std::getenv("TMPDIR");
    return std::string(dir && *dir ? dir : "/tmp") + "/kvmcf-" + std::to_string(getpid()) + "-" + what;
}

bool WriteSyntheticSeries(const std::string& path, unsigned int width, unsigned int height, unsigned int frames) {
    const TSubImage all(1, static_cast<int>(height), static_cast<int>(width), 1, 1, 1);
    TMCFIOManager::TImage image(TKavriRect(1, static_cast<int>(height), static_cast<int>(width), 1), 1, &all, frames);
    const unsigned int length = image.calibImage.GetDataLength();
    for (unsigned int f = 1; f <= frames; ++f) {
        float* pixels = image.calibImage.ObtainWriteImagePtr(f);
        if (!pixels) return false;
        for (unsigned int i = 0; i < length; ++i) pixels[i] = static_cast<float>(f * 3 + i % 977);
    }
    McfFileContent content;
    content.images[0] = &image;
    return WriteMcfFile(path, content);
}

}  // namespace kvmcftools
