// kvmcf check and kvmcf salvage on files cut in known places.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>

#include <nlohmann/json.hpp>

#include "kvmcf/kvmcf.hpp"
#include "support/HandTypedFile.h"
#include "support/TestFiles.h"
#include "tools/ToolRun.h"
#include "writer/McfFileWriter.h"

namespace {

using kvmcftest::Slurp;

bool Exists(const std::string& path) { return std::ifstream(path).good(); }

// kvmcf VERB ARGS; what it printed on stdout goes to *out.
int Command(const std::string& verb, const std::vector<std::string>& args, std::string* out) {
    std::vector<std::string> words{verb};
    words.insert(words.end(), args.begin(), args.end());
    const kvmcftest::ToolResult r = kvmcftest::Kvmcf(words);
    *out = r.out;
    return r.code;
}

std::string Value(const kvmcf::Source& source, const std::string& name) {
    try {
        return source.property(name).text;
    } catch (const kvmcf::Error&) {
        return "-";
    }
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
    const long long start = kvmcf::File::open(full.Path()).source(kvmcf::SourceId::Signal).dataStart();
    // Ten frames of 32 bytes, then the four absent sources' counts.
    ASSERT_EQ(whole.size(), static_cast<std::size_t>(start) + 10 * 32 + 8);

    const std::string cut = whole.substr(0, static_cast<std::size_t>(start) + 6 * 32 + 5);
    kvmcftest::TempFile damaged(cut, "cut.mcf");
    const std::string out = damaged.Path() + "-saved.mcf";
    std::string said;
    ASSERT_EQ(Command("salvage", {damaged.Path(), out}, &said), 0);
    EXPECT_NE(said.find("signal (6 of 10 frames)"), std::string::npos) << said;
    EXPECT_EQ(Slurp(damaged.Path()), cut);  // the original is untouched

    for (kvmcf::ReadMode mode : {kvmcf::ReadMode::All, kvmcf::ReadMode::HeaderOnly}) {
        const kvmcf::File saved = kvmcf::File::open(out, mode);
        const kvmcf::Source& signal = saved.source(kvmcf::SourceId::Signal);
        EXPECT_EQ(signal.frameCount(), 6u);
        for (unsigned int f = 0; f < 6; ++f) {
            float pixels[8] = {};
            signal.readFrame(f, pixels);
            EXPECT_EQ(std::memcmp(pixels, whole.data() + start + f * 32, 32), 0) << "frame " << f;
        }
        EXPECT_EQ(Value(signal, "TimeStamp5"), "500");
        EXPECT_EQ(Value(signal, "Metadata5"), "1005");
        EXPECT_EQ(Value(signal, "TimeStamp6"), "-");
    }
    // Once saved, the same command is refused: OUT exists.
    EXPECT_EQ(Command("salvage", {damaged.Path(), out}, &said), 1);
    std::remove(out.c_str());
}

TEST(Salvage, KeepsIntactSourcesAndSaysWhenNothingCanBeSaved) {
    const std::string file = kvmcftest::HandTypedFile();
    // Background cut in its second frame: the signal whole, one background frame.
    const std::size_t backgroundPixels = file.size() - 4 - kvmcftest::HandTypedPixels().size();
    kvmcftest::TempFile damaged(file.substr(0, backgroundPixels + 8 + 3));
    const std::string out = damaged.Path() + "-saved.mcf";
    std::string said;
    ASSERT_EQ(Command("salvage", {damaged.Path(), out}, &said), 0);
    EXPECT_NE(said.find("signal (3 frames), background (1 of 3 frames)"), std::string::npos) << said;
    {
        const kvmcf::File saved = kvmcf::File::open(out);
        EXPECT_EQ(saved.source(kvmcf::SourceId::Signal).frameCount(), 3u);
        const kvmcf::Source& background = saved.source(kvmcf::SourceId::Background);
        EXPECT_EQ(background.frameCount(), 1u);
        float pixels[2] = {};
        background.readFrame(0, pixels);
        EXPECT_EQ(pixels[0], 1.0f);
        EXPECT_EQ(pixels[1], 2.0f);
        EXPECT_EQ(Value(background, "Metadata0"), "1");
    }
    std::remove(out.c_str());

    // Cut inside the signal's header: nothing is whole, nothing is written.
    kvmcftest::TempFile header(file.substr(0, file.find("Test head 76") + 3));
    EXPECT_EQ(Command("salvage", {header.Path(), out}, &said), 1);
    EXPECT_FALSE(Exists(out));
    // Cut in the signal's first frame: no whole frame to keep.
    kvmcftest::TempFile firstFrame(file.substr(0, kvmcftest::HandTypedSignalPart().size() - 20));
    EXPECT_EQ(Command("salvage", {firstFrame.Path(), out}, &said), 1);
    EXPECT_FALSE(Exists(out));
    // The original is never the output, not even with --force.
    EXPECT_EQ(Command("salvage", {damaged.Path(), damaged.Path(), "--force"}, &said), 1);
}

TEST(Check, NamesSourceRecordAndOffset) {
    const std::string file = kvmcftest::HandTypedFile();
    kvmcftest::TempFile intact(file);
    std::string said;
    EXPECT_EQ(Command("check", {intact.Path()}, &said), 0);
    EXPECT_NE(said.find(": intact\n"), std::string::npos) << said;

    // The background's time stamp 10 with a letter in it: its first image (0), time stamp 1 (from 0).
    std::string letter = file;
    const std::size_t stamp = letter.rfind("        10\n");
    letter[stamp + 8] = 'o';
    kvmcftest::TempFile damaged(letter);
    EXPECT_EQ(Command("check", {damaged.Path(), "--json"}, &said), 1);
    const nlohmann::json entry = nlohmann::json::parse(said)["files"][0];
    EXPECT_EQ(entry["intact"], false);
    const nlohmann::json& stop = entry["stop"];
    EXPECT_EQ(stop["source"], "background");
    EXPECT_EQ(stop["image"], 0);
    EXPECT_EQ(stop["record"], "image data");
    EXPECT_EQ(stop["field"], "time stamp 1");
    EXPECT_EQ(stop["offset"], stamp + 8);
    EXPECT_EQ(stop["expected"], "a decimal number, found 'o'");
    const nlohmann::json& signal = entry["sources"][0];
    EXPECT_EQ(signal["name"], "signal");
    EXPECT_EQ(signal["state"], "intact");
    EXPECT_EQ(signal["count"], 1);
    EXPECT_EQ(signal["frames"], 3);
    EXPECT_EQ(signal["whole_frames"], 3);
    EXPECT_EQ(entry["sources"][2]["state"], "damaged");
    EXPECT_EQ(entry["sources"][3], (nlohmann::json{{"name", "live"}, {"state", "not reached"}}));
    EXPECT_NE(entry["open"].get<std::string>().find("not a readable multi-channel file"), std::string::npos);

    EXPECT_EQ(Command("check", {damaged.Path()}, &said), 1);
    EXPECT_NE(said.find("image data record, time stamp 1, byte " + std::to_string(stamp + 8)), std::string::npos)
        << said;
    EXPECT_EQ(Command("check", {}, &said), 2);
}
