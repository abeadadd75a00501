// Where the open stops on a file damaged inside each record kind: the source, record,
// field and byte offset are where the damage was put, and what was expected names
// the byte found there. Offsets are counted in the hand-typed file.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "api/MCFIOManager.h"
#include "support/HandTypedFile.h"
#include "support/RecordTexts.h"
#include "support/TestFiles.h"

using namespace std::string_literals;

namespace {

const std::string kFile = kvmcftest::HandTypedFile();
const std::string kCalibration = kvmcftest::Calibration14();
const std::string kPixels = kvmcftest::HandTypedPixels();

// The open refuses the file in both read modes and stops at the same place.
void ExpectStop(const std::string& bytes, int source, TFilePart part, const std::string& field, std::size_t offset,
                const std::string& expected, unsigned int code = KVMCF_FORMAT_ERROR) {
    kvmcftest::TempFile file(bytes);
    for (KVMCF_ReadMode mode : {KVMCF_READ_ALL, KVMCF_READ_HEADER_ONLY}) {
        TMCFIOManager manager;
        manager.SetFileAccessMode(mode);
        const unsigned int opened = manager.ReadFromFile(file.CPath());
        const TStopReport& r = manager.GetStopReport();
        EXPECT_EQ(std::make_tuple(opened, r.part, r.source, r.image, r.field, r.offset, r.expected),
                  std::make_tuple(code, part, source, 0u, field, static_cast<long long>(offset), expected));
    }
}

// An 'x' put at `at`.
std::string Lettered(std::size_t at) {
    std::string bytes = kFile;
    bytes[at] = 'x';
    return bytes;
}

}  // namespace

TEST(StopReport, HeaderAndEachSubRecordAreTheInstrumentHeader) {
    // The version word of each nested record turned into a letter: the header is
    // reported as a whole, at the letter.
    for (const char* record : {"65538 13\nseventy", "65538 \x04 \x03", "65540 1 81", "65537 1 1.5", "65539 1 2 3",
                               "65538 1 2000"}) {
        const std::size_t at = kFile.find(record);
        ASSERT_NE(at, std::string::npos) << record;
        ExpectStop(Lettered(at), 0, TFilePart::InstrumentHeader, "", at, "a decimal number, found 'x'");
    }
}

TEST(StopReport, CalibrationAndImageDataNameTheirField) {
    const std::size_t calib = kFile.find(kCalibration);
    // After "0.1" of the X constants the next constant is missing.
    const std::size_t x = calib + kCalibration.find("500 0.125");
    ExpectStop(kFile.substr(0, x + 7), 0, TFilePart::Calibration, "X constants", x + 7,
               "more bytes: the file ends here");

    // The signal's sub-image lettered in its bottom row.
    const std::size_t sub = kFile.find("65538 1 1 2 1 1 1 0") + 8;
    ExpectStop(Lettered(sub), 0, TFilePart::ImageData, "sub-image 0", sub, "a decimal number, found 'x'");

    // 9999999 frames: the counts are refused behind the frame length ("2"), with what is left.
    std::string counts = kFile;
    const std::size_t header = counts.find("65541 1 1 2 1 3");
    counts.replace(header + 14, 1, "9999999");
    ExpectStop(counts, 0, TFilePart::ImageData, "number of images and sub-images", header + 27,
               "counts that the remaining " + std::to_string(counts.size() - header - 27) + " bytes can hold");
}

TEST(StopReport, APixelBlockCountsItsWholeFrames) {
    // Cut 5 bytes into the background's second frame of 8 bytes.
    const std::size_t pixels = kFile.size() - 4 - kPixels.size();
    ExpectStop(kFile.substr(0, pixels + 8 + 5), 2, TFilePart::PixelBlock, "frame 1", pixels + 8,
               "8 bytes of frame 1 (3 frames, from 0), found 5");
}

TEST(StopReport, FileHeaderSourceCountAndSection) {
    ExpectStop(std::string(100, 'K') + "\n", -1, TFilePart::FileHeader, "magic line", 79,
               "a first line of at most 79 characters");
    ExpectStop("Kavri Technology Multi-Channel File\nv2\n", -1, TFilePart::FileHeader, "version word", 36,
               "a decimal number, found 'v'");
    // The live count missing at the end.
    ExpectStop(kFile.substr(0, kFile.size() - 4), 3, TFilePart::SourceCount, "image count", kFile.size() - 4,
               "more bytes: the file ends here");
    // A section length pointing before the file's start leaves the file open with a file error.
    const std::string section = kFile + "<x/>" + "\xff\xff\xff\x7f\x00\x00\x00\x00"s + "MCFX";
    ExpectStop(section, -1, TFilePart::ExtensionSection, "length", section.size() - 12,
               "a length of at most " + std::to_string(section.size() - 12) + " bytes, found 2147483647",
               KVMCF_FILE_ERROR);
}
