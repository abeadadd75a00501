// kvmcf check and kvmcf salvage on files cut in known places.
#include <gtest/gtest.h>

#include <unistd.h>

#include <cstdio>
#include <string>
#include <tuple>

#include <nlohmann/json.hpp>

#include "kvmcf/kvmcf.hpp"
#include "support/HandTypedFile.h"
#include "support/TestFiles.h"
#include "tools/ToolRun.h"

namespace {

using kvmcftest::Kvmcf;
using kvmcftest::Slurp;

bool Exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

}  // namespace

TEST(Salvage, KeepsIntactSourcesAndSaysWhenNothingCanBeSaved) {
    const std::string file = kvmcftest::HandTypedFile();
    // Background cut in its second frame: the signal whole, one background frame.
    const std::size_t backgroundPixels = file.size() - 4 - kvmcftest::HandTypedPixels().size();
    kvmcftest::TempFile damaged(file.substr(0, backgroundPixels + 8 + 3));
    const std::string out = damaged.Path() + "-saved.mcf";
    const auto saved = Kvmcf({"salvage", damaged.Path(), out});
    ASSERT_EQ(saved.code, 0);
    EXPECT_NE(saved.out.find("signal (3 frames), background (1 of 3 frames)"), std::string::npos) << saved.out;
    EXPECT_EQ(Slurp(damaged.Path()), file.substr(0, backgroundPixels + 8 + 3));  // the original is untouched
    {
        const kvmcf::File f = kvmcf::File::open(out);
        const kvmcf::Source& background = f.source(kvmcf::SourceId::Background);
        float pixels[2] = {};
        background.readFrame(0, pixels);
        EXPECT_EQ(std::make_tuple(f.source(kvmcf::SourceId::Signal).frameCount(), background.frameCount(), pixels[0],
                                  pixels[1], background.property("Metadata0").text),
                  std::make_tuple(3u, 1u, 1.0f, 2.0f, std::string("1")));
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
    EXPECT_TRUE(fine.code == 0 && fine.out.find(": intact\n") != std::string::npos) << fine.out;

    // The background's time stamp 10 with a letter in it: its first image (0), time stamp 1 (from 0).
    std::string letter = file;
    const std::size_t stamp = letter.rfind("        10\n");
    letter[stamp + 8] = 'o';
    kvmcftest::TempFile damaged(letter);
    const auto json = Kvmcf({"check", damaged.Path(), "--json"});
    EXPECT_EQ(json.code, 1);
    const nlohmann::json entry = nlohmann::json::parse(json.out)["files"][0];
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
    EXPECT_TRUE(text.code == 1 && text.out.find("image data record, time stamp 1, " + where) != std::string::npos);
}
