// The layout facts of a multi-channel file, in one place: the first line, the version
// of the only layout whose sources are read, the five data sources with every name
// they go by, the framing of the extension section at the file's end and the size of
// a pixel. Readers, writers, the diagnosis and every interface take them from here.
#ifndef KVMCF_API_FILELAYOUT_H
#define KVMCF_API_FILELAYOUT_H

#include <cstddef>

namespace FileLayout {

// The first line of a file, without its newline: either maker's name opens it.
inline constexpr const char* kMagicLines[] = {"Kavri Technology Multi-Channel File",
                                              "Halvi Instruments Multi-Channel File"};

// Only files of version 1.2 hold data sources; the word is major << 16 | minor.
inline constexpr unsigned int kVersionHigh = 1;
inline constexpr unsigned int kVersionLow = 2;
inline constexpr unsigned int kVersionWord = kVersionHigh << 16 | kVersionLow;

// The data sources in file order: the name the tool, JSON and Python use, and the
// list and item elements that hold the source in the extension section.
struct SourceNames {
    const char* name;
    const char* sectionList;
    const char* sectionItem;
};
inline constexpr int kSourceCount = 5;
inline constexpr SourceNames kSources[kSourceCount] = {
    {"signal", "Signals", "Signal"},
    {"reference", "References", "Reference"},
    {"background", "Backgrounds", "Background"},
    {"live", "Lives", "Live"},
    {"source", "Sources", "Source"},
};

// The extension section ends the file: its text, the text's length in 8 bytes
// (little-endian), then the 4-byte marker.
inline constexpr char kSectionMarker[] = "MCFX";
inline constexpr std::size_t kSectionMarkerBytes = sizeof kSectionMarker - 1;
inline constexpr std::size_t kSectionLengthBytes = 8;
inline constexpr std::size_t kSectionTailBytes = kSectionLengthBytes + kSectionMarkerBytes;

// Pixels are little-endian 32-bit floats.
inline constexpr unsigned int kPixelBytes = 4;

}  // namespace FileLayout

#endif
