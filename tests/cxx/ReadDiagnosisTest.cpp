// Diagnosis of files typed by hand and damaged in known ways: the source, record,
// field and byte offset must be where the damage was put, and the open through the
// exported functions must fail on the same files.
#include <gtest/gtest.h>

#include <string>

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

unsigned int OpenResult(const std::string& bytes) {
    kvmcftest::TempFile file(bytes);
    const unsigned int result = KVMCF_ReadFromFile(file.CPath());
    KVMCF_CloseFile();
    return result;
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
    const int counts[5] = {1, 0, 1, 0, 0};
    for (int s = 0; s < 5; ++s) {
        EXPECT_EQ(d.sources[s].count, counts[s]);
        EXPECT_TRUE(d.sources[s].intact);
    }
    EXPECT_EQ(d.sources[0].frames, 3u);
    EXPECT_EQ(d.sources[0].wholeFrames, 3u);
    EXPECT_EQ(d.sources[0].frameLength, 2u);
    EXPECT_EQ(d.sources[0].dataStart, static_cast<long long>(kSignal.size() - kPixels.size()));
    EXPECT_EQ(d.sources[2].headerOffset, static_cast<long long>(kSignal.size() + 4));
    EXPECT_EQ(d.sources[2].dataStart, static_cast<long long>(kFile.size() - 4 - kPixels.size()));

    // An unknown magic line opens with no sources: nothing is damaged.
    const ReadDiagnosis::Diagnosis other = Diagnose("Some Other File\n65538\n1\n");
    EXPECT_TRUE(other.stop.intact);
    EXPECT_FALSE(other.formatKnown);
}

TEST(ReadDiagnosis, CutFilesStopAtTheCutInTheRightRecord) {
    // Inside the head model text of the signal header.
    const std::size_t model = kFile.find("Test head 76");
    ExpectStop(kFile.substr(0, model + 4), 0, Part::InstrumentHeader, "", static_cast<long long>(model + 4),
               "file ends");

    // After "0.1" of the X constants: that reads as 0.1, the next constant is missing.
    const std::size_t calib = kFile.find(kCalibration) + kCalibration.find("500 0.125");
    ExpectStop(kFile.substr(0, calib + 7), 0, Part::Calibration, "X constants", static_cast<long long>(calib + 7),
               "file ends");

    // Inside the second time stamp of the signal.
    const std::size_t stamps = kFile.find("         5\n        10");
    ExpectStop(kFile.substr(0, stamps + 14), 0, Part::ImageData, "time stamp 2", static_cast<long long>(stamps + 14),
               "file ends");

    // Inside the second frame of the background: one whole frame of 8 bytes is left.
    const long long backgroundPixels = static_cast<long long>(kFile.size() - 4 - kPixels.size());
    const std::string cut = kFile.substr(0, static_cast<std::size_t>(backgroundPixels) + 8 + 5);
    ExpectStop(cut, 2, Part::PixelBlock, "frame 2", backgroundPixels + 8, "8 bytes of frame 2 of 3, found 5");
    const ReadDiagnosis::Diagnosis d = Diagnose(cut);
    EXPECT_TRUE(d.sources[0].intact);
    EXPECT_TRUE(d.sources[1].intact);
    EXPECT_FALSE(d.sources[2].intact);
    EXPECT_EQ(d.sources[2].wholeFrames, 1u);
    EXPECT_EQ(d.sources[2].frames, 3u);
    EXPECT_FALSE(d.sources[3].reached);

    // Before the live count: the count itself is missing.
    ExpectStop(kFile.substr(0, kFile.size() - 4), 3, Part::SourceCount, "image count",
               static_cast<long long>(kFile.size() - 4), "file ends");

    for (const std::size_t size : {model + 4, calib + 7, stamps + 14, cut.size(), kFile.size() - 4})
        EXPECT_EQ(OpenResult(kFile.substr(0, size)), KVMCF_FORMAT_ERROR) << size;
}

TEST(ReadDiagnosis, DamagedBytesAreNamedWhereTheyStand) {
    // A digit of the Rayleigh wavelength turned into a letter: "5" still reads, then
    // the pixel length meets the letter.
    std::string letter = kFile;
    const std::size_t rayleigh = letter.find(kCalibration) + kCalibration.find("532\n");
    letter[rayleigh + 1] = 'x';
    ExpectStop(letter, 0, Part::Calibration, "pixel length", static_cast<long long>(rayleigh + 1), "found 'x'");

    // A letter in the background's third metadata word.
    std::string word = kFile;
    const std::size_t third = word.rfind("                   3\n");
    word[third + 19] = 'z';
    ExpectStop(word, 2, Part::ImageData, "metadata word 3", static_cast<long long>(third + 19), "found 'z'");

    // A frame count the rest of the file cannot hold is refused at the counts.
    std::string counts = kFile;
    const std::size_t header = counts.find("65541 1 1 2 1 3");
    counts.replace(header + 14, 1, "9999999");
    ExpectStop(counts, 0, Part::ImageData, "number of images and sub-images", static_cast<long long>(header + 27),
               "bytes can hold");

    // An extension section whose length points before the start of the file.
    const std::string section = kFile + "<x/>" + "\xff\xff\xff\x7f\x00\x00\x00\x00"s + "MCFX";
    ExpectStop(section, -1, Part::ExtensionSection, "length", static_cast<long long>(section.size() - 12),
               "at most " + std::to_string(section.size() - 12) + " bytes");
    const std::string fine = kFile + "<x/>" + "\x04\x00\x00\x00\x00\x00\x00\x00"s + "MCFX";
    EXPECT_TRUE(Diagnose(fine).hasExtension);
    EXPECT_EQ(Diagnose(fine).extensionOffset, static_cast<long long>(kFile.size()));

    EXPECT_EQ(OpenResult(letter), KVMCF_FORMAT_ERROR);
    EXPECT_EQ(OpenResult(word), KVMCF_FORMAT_ERROR);
    EXPECT_EQ(OpenResult(counts), KVMCF_FORMAT_ERROR);
    EXPECT_EQ(OpenResult(section), KVMCF_FILE_ERROR);
    EXPECT_EQ(OpenResult(fine), KVMCF_SUCCESS);
}

TEST(ReadDiagnosis, FileHeaderFaults) {
    ExpectStop("", -1, Part::FileHeader, "magic line", 0, "magic line");
    ExpectStop(std::string(100, 'K') + "\n", -1, Part::FileHeader, "magic line", 79, "at most 79");
    ExpectStop("Kavri Technology Multi-Channel File\nv2\n", -1, Part::FileHeader, "version word", 36, "found 'v'");
    const ReadDiagnosis::Diagnosis missing = ReadDiagnosis::DiagnoseFile("/nonexistent/file.mcf");
    EXPECT_FALSE(missing.stop.intact);
    EXPECT_EQ(missing.stop.expected, "a readable file");
}

// The diagnosis re-reads with the same readers as the open, so the two must agree on
// every file: intact exactly when the open succeeds, and a stop inside the file.
TEST(ReadDiagnosis, AgreesWithTheOpenOnEveryCutAndChangedByte) {
    auto opens = [](std::string bytes) {
        try {
            const unsigned int code = KVMCF_ReadFromByteArray(reinterpret_cast<unsigned char*>(&bytes[0]),
                                                              static_cast<unsigned int>(bytes.size()));
            KVMCF_CloseFile();
            return code == KVMCF_SUCCESS;
        } catch (const TMCFLoadException&) {
            return false;
        }
    };
    auto check = [&](const std::string& bytes, const std::string& what) {
        const ReadDiagnosis::Diagnosis d = Diagnose(bytes);
        EXPECT_EQ(d.stop.intact, opens(bytes)) << what << ": " << d.Describe();
        if (!d.stop.intact) {
            EXPECT_GE(d.stop.offset, 0) << what;
            EXPECT_LE(d.stop.offset, static_cast<long long>(bytes.size())) << what;
        }
    };
    for (std::size_t size = 1; size < kFile.size(); ++size)
        check(kFile.substr(0, size), "cut at " + std::to_string(size));
    // A letter, a blank, a sign and a digit put in every place.
    for (std::size_t at = 0; at < kFile.size(); ++at) {
        for (char c : {'q', ' ', '-', '9'}) {
            std::string changed = kFile;
            changed[at] = c;
            check(changed, std::string(1, c) + " at " + std::to_string(at));
        }
    }
}
