// Assembles whole multi-channel files from record objects, with the library's own
// record writers. Used by the demo file, the tests and the benchmarks.
#ifndef KVMCF_TOOLS_MCFFILEWRITER_H
#define KVMCF_TOOLS_MCFFILEWRITER_H

#include <ostream>
#include <string>
#include <vector>

#include "api/FileLayout.h"
#include "api/MCFIOManager.h"

namespace kvmcftools {

inline constexpr const char* kMagicLine = FileLayout::kMagicLines[0];

struct McfFileContent {
    // One image per source slot (signal, reference, background, live, source); null = absent.
    TMCFIOManager::TImage* images[5] = {};
    unsigned int versionWord = FileLayout::kVersionWord;
    std::string magic = kMagicLine;
    std::string extensionXml;  // written with its framing when not empty
};

// Writes the file; returns false when the stream failed.
bool WriteMcfFile(std::ostream& os, const McfFileContent& content);
bool WriteMcfFile(const std::string& path, const McfFileContent& content);
std::string McfFileBytes(const McfFileContent& content);

// A path for a scratch file under $TMPDIR (or /tmp), unique to this process.
std::string ScratchPath(const std::string& what);

// A signal-only series of `frames` frames of width x height float pixels (value
// 3 f + i mod 977), for benchmarks and large-file tests. False when it cannot be written.
bool WriteSyntheticSeries(const std::string& path, unsigned int width, unsigned int height, unsigned int frames);

// The extension section framing: text, 8-byte little-endian length, "MCFX".
void WriteExtensionSection(std::ostream& os, const std::string& xml);

}  // namespace kvmcftools

#endif
