// kvmcf check and kvmcf salvage on files cut in known places.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>

#include <nlohmann/json.hpp>

#include "kvmcf/kvmcf.hpp"
#include "support/HandTypedFile.h"
#include "support/TestFiles.h"
#include "tools/ToolRun.h"
#include "writer/McfFileWriter.h"

namespace {

using kvmcftest::Kvmcf;
using kvmcftest::Slurp;

bool Exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

std::string Value(const kvmcf::Source& source, const std::string& name) {
    try {
        return source.property(name).text;
    } catch (const kvmcf::Error&) {
        return "-";
    }
}

// Ten frames of eight pixels, time stamps 0, 100, ..., metadata words 1000, 1001, ...
std::string KineticSeries() {
    const TSubImage row(1, 1, 8, 1, 1, 1);
    TMCFIOManager::TImage image(TKavriRect(1, 1, 8, 1), 1, &row, 10);
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
    const auto saved = Kvmcf({"salvage", damaged.Path(), out});
    ASSERT_EQ(saved.code, 0);
    EXPECT_NE(saved.out.find("signal (6 of 10 frames)"), std::string::npos) << saved.out;
    EXPECT_EQ(Slurp(damaged.Path()), cut);  // the original is untouched

    const kvmcf::File file = kvmcf::File::open(out);
    const kvmcf::Source& signal = file.source(kvmcf::SourceId::Signal);
    EXPECT_EQ(signal.frameCount(), 6u);
    EXPECT_EQ(std::memcmp(signal.frames().bytes(), whole.data() + start, 6 * 32), 0);
    EXPECT_EQ(Value(signal, "TimeStamp5"), "500");
    EXPECT_EQ(Value(signal, "Metadata5"), "1005");
    EXPECT_EQ(Value(signal, "TimeStamp6"), "-");
    // Once saved, the same command is refused: OUT exists.
    EXPECT_EQ(Kvmcf({"salvage", damaged.Path(), out}).code, 1);
    std::remove(out.c_str());
}

TEST(Salvage, KeepsIntactSourcesAndSaysWhenNothingCanBeSaved) {
    const std::string file = kvmcftest::HandTypedFile();
    // Background cut in its second frame: the signal whole, one background frame.
    const std::size_t backgroundPixels = file.size() - 4 - kvmcftest::HandTypedPixels().size();
    kvmcftest::TempFile damaged(file.substr(0, backgroundPixels + 8 + 3));
    const std::string out = damaged.Path() + "-saved.mcf";
    const auto saved = Kvmcf({"salvage", damaged.Path(), out});
    ASSERT_EQ(saved.code, 0);
    EXPECT_NE(saved.out.find("signal (3 frames), background (1 of 3 frames)"), std::string::npos) << saved.out;
    {
        const kvmcf::File f = kvmcf::File::open(out);
        EXPECT_EQ(f.source(kvmcf::SourceId::Signal).frameCount(), 3u);
        const kvmcf::Source& background = f.source(kvmcf::SourceId::Background);
        EXPECT_EQ(background.frameCount(), 1u);
        float pixels[2] = {};
        background.readFrame(0, pixels);
        EXPECT_EQ(std::vector<float>(pixels, pixels + 2), (std::vector<float>{1, 2}));
        EXPECT_EQ(Value(background, "Metadata0"), "1");
    }
    std::remove(out.c_str());

    // Cut inside the signal's header, or in its first frame: nothing whole, nothing written.
    for (std::size_t size : {file.find("Test head 76") + 3, kvmcftest::HandTypedSignalPart().size() - 20}) {
        kvmcftest::TempFile cut(file.substr(0, size));
        EXPECT_EQ(Kvmcf({"salvage", cut.Path(), out}).code, 1) << size;
        EXPECT_FALSE(Exists(out)) << size;
    }
    // The original is never the output, not even with --force.
    EXPECT_EQ(Kvmcf({"salvage", damaged.Path(), damaged.Path(), "--force"}).code, 1);
}

TEST(Check, NamesSourceRecordAndOffset) {
    const std::string file = kvmcftest::HandTypedFile();
    kvmcftest::TempFile intact(file);
    const auto fine = Kvmcf({"check", intact.Path()});
    EXPECT_EQ(fine.code, 0);
    EXPECT_NE(fine.out.find(": intact\n"), std::string::npos) << fine.out;

    // The background's time stamp 10 with a letter in it: its first image (0), time stamp 1 (from 0).
    std::string letter = file;
    const std::size_t stamp = letter.rfind("        10\n");
    letter[stamp + 8] = 'o';
    kvmcftest::TempFile damaged(letter);
    const auto json = Kvmcf({"check", damaged.Path(), "--json"});
    EXPECT_EQ(json.code, 1);
    const nlohmann::json entry = nlohmann::json::parse(json.out)["files"][0];
    EXPECT_EQ(entry["intact"], false);
    const std::string where = "byte " + std::to_string(stamp + 8) + ": expected a decimal number, found 'o'";
    EXPECT_EQ(entry["stop"], (nlohmann::json{{"source", "background"},
                                             {"image", 0},
                                             {"record", "image data"},
                                             {"field", "time stamp 1"},
                                             {"offset", stamp + 8},
                                             {"expected", "a decimal number, found 'o'"},
                                             {"text", "background source, image 0, image data record, "
                                                      "time stamp 1, " + where}}));
    const std::size_t pixels = kvmcftest::HandTypedSignalPart().size() - kvmcftest::HandTypedPixels().size();
    EXPECT_EQ(entry["sources"][0], (nlohmann::json{{"name", "signal"}, {"state", "intact"}, {"count", 1}, {"frames", 3},
                                                   {"whole_frames", 3}, {"frame_length", 2}, {"data_start", pixels}}));
    EXPECT_EQ(entry["sources"][2]["state"], "damaged");
    EXPECT_EQ(entry["sources"][3], (nlohmann::json{{"name", "live"}, {"state", "not reached"}}));
    EXPECT_NE(entry["open"].get<std::string>().find("not a readable multi-channel file"), std::string::npos);

    const auto text = Kvmcf({"check", damaged.Path()});
    EXPECT_EQ(text.code, 1);
    EXPECT_NE(text.out.find("image data record, time stamp 1, " + where), std::string::npos) << text.out;
    EXPECT_EQ(Kvmcf({"check"}).code, 2);
}
