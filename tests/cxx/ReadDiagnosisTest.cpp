// Diagnosis of files typed by hand: what it adds to the open's stop report (the whole
// frames each source holds, the file that cannot be read) and its one-line description.
#include <gtest/gtest.h>

#include <string>
#include <tuple>

#include "api/MCFIOManager.h"
#include "cxx/ReadDiagnosis.h"
#include "api/kvmcfio.h"
#include "support/HandTypedFile.h"
#include "support/TestFiles.h"

using namespace std::string_literals;
using ReadDiagnosis::Part;

namespace {

const std::string kCalibration = kvmcftest::HandTypedCalibration();
const std::string kPixels = kvmcftest::HandTypedPixels();
const std::string kSignal = kvmcftest::HandTypedSignalPart();
const std::string kFile = kvmcftest::HandTypedFile();

ReadDiagnosis::Diagnosis Diagnose(const std::string& bytes) {
    return ReadDiagnosis::DiagnoseBytes(bytes.data(), bytes.size());
}

void ExpectStop(const std::string& bytes, int source, Part part, const std::string& field, long long offset,
                const std::string& expected) {
    const ReadDiagnosis::Diagnosis d = Diagnose(bytes);
    EXPECT_FALSE(d.stop.intact);
    EXPECT_EQ(d.stop.source, source);
    EXPECT_EQ(d.stop.part, part) << d.Describe();
    EXPECT_EQ(d.stop.field, field) << d.Describe();
    EXPECT_EQ(d.stop.offset, offset) << d.Describe();
    EXPECT_NE(d.stop.expected.find(expected), std::string::npos) << d.Describe();
}

}  // namespace

TEST(ReadDiagnosis, IntactFileCountsEverySourceAndFrame) {
    const ReadDiagnosis::Diagnosis d = Diagnose(kFile);
    ASSERT_TRUE(d.stop.intact) << d.Describe();
    EXPECT_EQ(d.Describe(), "intact");
    EXPECT_TRUE(d.formatKnown);
    for (int s = 0; s < 5; ++s) {
        EXPECT_EQ(d.sources[s].count, s == 0 || s == 2 ? 1 : 0);
        EXPECT_TRUE(d.sources[s].intact);
    }
    EXPECT_EQ(std::make_tuple(d.sources[0].frames, d.sources[0].wholeFrames, d.sources[0].frameLength),
              std::make_tuple(3u, 3u, 2u));
    EXPECT_EQ(d.sources[0].dataStart, static_cast<long long>(kSignal.size() - kPixels.size()));
    EXPECT_EQ(d.sources[2].headerOffset, static_cast<long long>(kSignal.size() + 4));
    EXPECT_EQ(d.sources[2].dataStart, static_cast<long long>(kFile.size() - 4 - kPixels.size()));

    // An unknown magic line opens with no sources: nothing is damaged.
    const ReadDiagnosis::Diagnosis other = Diagnose("Some Other File\n65538\n1\n");
    EXPECT_TRUE(other.stop.intact);
    EXPECT_FALSE(other.formatKnown);
}

// The whole frames a short pixel block still holds, counted from the open's stop.
TEST(ReadDiagnosis, ShortPixelBlockKeepsItsWholeFrames) {
    const long long backgroundPixels = static_cast<long long>(kFile.size() - 4 - kPixels.size());
    const std::string cut = kFile.substr(0, static_cast<std::size_t>(backgroundPixels) + 8 + 5);
    ExpectStop(cut, 2, Part::PixelBlock, "frame 1", backgroundPixels + 8, "8 bytes of frame 1 (3 frames, from 0), found 5");
    const ReadDiagnosis::Diagnosis d = Diagnose(cut);
    EXPECT_EQ(d.Describe(), "background source, image 0, pixel block, frame 1, byte " +
                                std::to_string(backgroundPixels + 8) + ": expected 8 bytes of frame 1 (3 frames, from 0), found 5");
    EXPECT_TRUE(d.sources[0].intact);
    EXPECT_EQ(d.sources[0].wholeFrames, 3u);
    EXPECT_FALSE(d.sources[2].intact);
    EXPECT_EQ(d.sources[2].wholeFrames, 1u);
    EXPECT_EQ(d.sources[2].frames, 3u);
    kvmcftest::TempFile disk(cut);
    EXPECT_EQ(KVMCF_ReadFromFile(disk.CPath()), KVMCF_FORMAT_ERROR);
    KVMCF_CloseFile();

    std::string word = kFile;
    const std::size_t third = word.rfind("                   3\n");
    word[third + 19] = 'z';
    EXPECT_EQ(Diagnose(word).Describe(), "background source, image 0, image data record, metadata word 2, byte " +
                                             std::to_string(third + 19) + ": expected a decimal number, found 'z'");
    const std::string fine = kFile + "<x/>" + "\x04\x00\x00\x00\x00\x00\x00\x00"s + "MCFX";
    EXPECT_TRUE(Diagnose(fine).hasExtension);
    EXPECT_EQ(Diagnose(fine).extensionOffset, static_cast<long long>(kFile.size()));
}

TEST(ReadDiagnosis, FileHeaderFaults) {
    ExpectStop("", -1, Part::FileHeader, "magic line", 0, "magic line");
    const ReadDiagnosis::Diagnosis missing = ReadDiagnosis::DiagnoseFile("/nonexistent/file.mcf");
    EXPECT_FALSE(missing.stop.intact);
    EXPECT_EQ(missing.stop.expected, "a readable file");
}
