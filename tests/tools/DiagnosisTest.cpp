// kvmcf check and kvmcf salvage on files cut in known places.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include "api/kvmcfio.h"
#include "support/HandTypedFile.h"
#include "support/TestFiles.h"
#include "tools/DiagnosisCommands.h"
#include "writer/McfFileWriter.h"

namespace {

std::string Slurp(const std::string& path) {
    std::ifstream is(path, std::ios::binary);
    std::ostringstream all;
    all << is.rdbuf();
    return all.str();
}

bool Exists(const std::string& path) { return std::ifstream(path).good(); }

int Command(int (*command)(const std::vector<std::string>&), const std::vector<std::string>& args, std::string* out) {
    testing::internal::CaptureStdout();
    const int rc = command(args);
    *out = testing::internal::GetCapturedStdout();
    return rc;
}

std::string Value(KVMCF_DataSource source, const std::string& name) {
    char value[64] = {};
    if (KVMCF_GetPropertyValue(source, name.c_str(), value, sizeof value) != KVMCF_SUCCESS) return "-";
    return value;
}

// Ten frames of eight pixels, time stamps 0, 100, ..., metadata words 1000, 1001, ...
std::string KineticSeries() {
    const TKavriRect detector(1, 1, 8, 1);
    const TSubImage row(1, 1, 8, 1, 1, 1);
    TMCFIOManager::TImage image(detector, 1, &row, 10);
    TCalibImage& calib = image.calibImage;
    calib.SetMetaDataFlag(1);
    for (unsigned int f = 1; f <= 10; ++f) {
        float* pixels = calib.ObtainWriteImagePtr(f);
        for (unsigned int p = 0; p < 8; ++p) pixels[p] = static_cast<float>(f) * 100.0f + static_cast<float>(p) / 8;
        calib.ReleaseImagePtr(f);
        calib.SetTimeStamp(f - 1, (f - 1) * 100);
        calib.SetMetaDataWord(f - 1, 999 + f);
    }
    kvmcftools::McfFileContent content;
    content.images[0] = &image;
    return kvmcftools::McfFileBytes(content);
}

}  // namespace

TEST(Salvage, KineticSeriesCutInItsSeventhFrameKeepsSixFramesByteExact) {
    const std::string whole = KineticSeries();
    kvmcftest::TempFile full(whole, "full.mcf");
    ASSERT_EQ(KVMCF_ReadFromFile(full.CPath()), KVMCF_SUCCESS);
    long long start = 0;
    ASSERT_EQ(KVMCF_GetDataStartBytePosition(KVMCF_SIGNAL, &start), KVMCF_SUCCESS);
    KVMCF_CloseFile();
    // Ten frames of 32 bytes, then the four absent sources' counts.
    ASSERT_EQ(whole.size(), static_cast<std::size_t>(start) + 10 * 32 + 8);

    const std::string cut = whole.substr(0, static_cast<std::size_t>(start) + 6 * 32 + 5);
    kvmcftest::TempFile damaged(cut, "cut.mcf");
    const std::string out = damaged.Path() + ".saved";
    std::string said;
    ASSERT_EQ(Command(kvmcftools::RunSalvage, {damaged.Path(), out}, &said), 0);
    EXPECT_NE(said.find("signal (6 of 10 frames)"), std::string::npos) << said;
    EXPECT_EQ(Slurp(damaged.Path()), cut);  // the original is untouched
    EXPECT_FALSE(Exists(out + ".salvage-part"));

    for (KVMCF_ReadMode mode : {KVMCF_READ_ALL, KVMCF_READ_HEADER_ONLY}) {
        KVMCF_SetFileAccessMode(mode);
        std::string name = out;
        ASSERT_EQ(KVMCF_ReadFromFile(&name[0]), KVMCF_SUCCESS);
        unsigned int frames = 0;
        EXPECT_EQ(KVMCF_GetNumberFrames(KVMCF_SIGNAL, &frames), KVMCF_SUCCESS);
        EXPECT_EQ(frames, 6u);
        for (unsigned int f = 0; f < 6; ++f) {
            float pixels[8] = {};
            ASSERT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, f, pixels, 8), KVMCF_SUCCESS);
            EXPECT_EQ(std::memcmp(pixels, whole.data() + start + f * 32, 32), 0) << "frame " << f;
        }
        EXPECT_EQ(Value(KVMCF_SIGNAL, "TimeStamp5"), "500");
        EXPECT_EQ(Value(KVMCF_SIGNAL, "Metadata5"), "1005");
        EXPECT_EQ(Value(KVMCF_SIGNAL, "TimeStamp6"), "-");
        KVMCF_CloseFile();
    }
    KVMCF_SetFileAccessMode(KVMCF_READ_ALL);
    std::remove(out.c_str());
}

TEST(Salvage, KeepsIntactSourcesAndSaysWhenNothingCanBeSaved) {
    const std::string file = kvmcftest::HandTypedFile();
    // Background cut in its second frame: the signal whole, one background frame.
    const std::size_t backgroundPixels = file.size() - 4 - kvmcftest::HandTypedPixels().size();
    kvmcftest::TempFile damaged(file.substr(0, backgroundPixels + 8 + 3));
    const std::string out = damaged.Path() + ".saved";
    std::string said;
    ASSERT_EQ(Command(kvmcftools::RunSalvage, {damaged.Path(), out}, &said), 0);
    EXPECT_NE(said.find("signal (3 frames), background (1 of 3 frames)"), std::string::npos) << said;
    std::string name = out;
    ASSERT_EQ(KVMCF_ReadFromFile(&name[0]), KVMCF_SUCCESS);
    unsigned int frames[2] = {};
    EXPECT_EQ(KVMCF_GetNumberFrames(KVMCF_SIGNAL, &frames[0]), KVMCF_SUCCESS);
    EXPECT_EQ(KVMCF_GetNumberFrames(KVMCF_BACKGROUND, &frames[1]), KVMCF_SUCCESS);
    EXPECT_EQ(frames[0], 3u);
    EXPECT_EQ(frames[1], 1u);
    float pixels[2] = {};
    EXPECT_EQ(KVMCF_GetFrame(KVMCF_BACKGROUND, 0, pixels, 2), KVMCF_SUCCESS);
    EXPECT_EQ(pixels[0], 1.0f);
    EXPECT_EQ(pixels[1], 2.0f);
    EXPECT_EQ(Value(KVMCF_BACKGROUND, "Metadata0"), "1");
    KVMCF_CloseFile();
    std::remove(out.c_str());

    // Cut inside the signal's header: nothing is whole, nothing is written.
    kvmcftest::TempFile header(file.substr(0, file.find("Test head 76") + 3));
    EXPECT_EQ(Command(kvmcftools::RunSalvage, {header.Path(), out}, &said), 1);
    EXPECT_FALSE(Exists(out));
    // Cut in the signal's first frame: no whole frame to keep.
    kvmcftest::TempFile firstFrame(file.substr(0, kvmcftest::HandTypedSignalPart().size() - 20));
    EXPECT_EQ(Command(kvmcftools::RunSalvage, {firstFrame.Path(), out}, &said), 1);
    EXPECT_FALSE(Exists(out));
    // The original is never the output.
    EXPECT_EQ(Command(kvmcftools::RunSalvage, {damaged.Path(), damaged.Path()}, &said), 2);
}

TEST(Check, NamesSourceRecordAndOffset) {
    const std::string file = kvmcftest::HandTypedFile();
    kvmcftest::TempFile intact(file);
    std::string said;
    EXPECT_EQ(Command(kvmcftools::RunCheck, {intact.Path()}, &said), 0);
    EXPECT_NE(said.find(": intact\n"), std::string::npos) << said;

    // The background's time stamp 10 with a letter in it.
    std::string letter = file;
    const std::size_t stamp = letter.rfind("        10\n");
    letter[stamp + 8] = 'o';
    kvmcftest::TempFile damaged(letter);
    EXPECT_EQ(Command(kvmcftools::RunCheck, {damaged.Path(), "--json"}, &said), 1);
    for (const std::string& part : std::vector<std::string>{
             "\"source\": \"background\"", "\"image\": 1", "\"record\": \"image data\"", "\"field\": \"time stamp 2\"",
             "\"offset\": " + std::to_string(stamp + 8) + ",", "\"expected\": \"a decimal number, found 'o'\"",
             "{\"name\": \"signal\", \"state\": \"intact\", \"count\": 1, \"frames\": 3, \"whole_frames\": 3",
             "{\"name\": \"background\", \"state\": \"damaged\"", "{\"name\": \"live\", \"state\": \"not reached\"}",
             "\"open_result\": 22003"})
        EXPECT_NE(said.find(part), std::string::npos) << part << "\n" << said;

    EXPECT_EQ(Command(kvmcftools::RunCheck, {damaged.Path()}, &said), 1);
    EXPECT_NE(said.find("stops at: background source, image 0, image data record, time stamp 2, byte " +
                        std::to_string(stamp + 8)),
              std::string::npos)
        << said;
    EXPECT_EQ(Command(kvmcftools::RunCheck, {}, &said), 2);
}
