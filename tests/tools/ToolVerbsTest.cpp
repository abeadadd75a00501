// Each kvmcf verb run as a program on the demo file and on small files whose figures
// are worked out here from the pixels and times they were written with.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <string>
#include <tuple>
#include <vector>

#include <nlohmann/json.hpp>

#include "kvmcf/kvmcf.hpp"
#include "support/TestFiles.h"
#include "tools/ToolFiles.h"
#include "tools/ToolRun.h"
#include "writer/DemoFile.h"

namespace {

using kvmcftest::Kvmcf;
using nlohmann::json;

std::string Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos ? "" : "missing \"" + part + "\" in:\n" + text;
}

// sqrt of the population variance of 0..15: sqrt((16^2 - 1) / 12).
const double kSpreadOfSixteen = std::sqrt(255.0 / 12.0);

TEST(ToolVerbs, SummaryCountsFramesAndSubImagesFromZero) {
    kvmcftest::TempFile demo("", "demo.mcf");
    ASSERT_TRUE(kvmcftools::WriteDemoFile(demo.Path()));
    const auto r = Kvmcf({demo.Path()});
    EXPECT_EQ(r.code, 0);
    // X = 580 + 0.0625 p - 1.5e-6 p^2 at columns 1 and 1024; the background's second sub-image
    // is 128 x 64 binned 2 x 2, its pixels 95 + (i mod 17) / 2: 95 to 103.
    for (const char* part : {"signal: 20 frames of 1024 pixels, 1 sub-image\n",
                             "sub-image 0: columns 1-1024, rows 1-256, binning 1x256",
                             "Wavelength nm, 580.062 to 642.427 over columns 1-1024",
                             "sub-image 1: columns 401-528, rows 137-200, binning 2x2",
                             "frame 0:       min 95  max 103"})
        EXPECT_EQ(Has(r.out, part), "");
    EXPECT_EQ(r.out.find("sub-image 2"), std::string::npos);
}

TEST(ToolVerbs, InfoTypesValuesFromTheTypedProperty) {
    // Metadata words above 32 bits: 0x123456789 = 4886718345, then one more.
    kvmcftest::TempFile file(kvmcftest::TwoSourceFile(kvmcftest::SectionXml(), 0x123456789ULL), "info.mcf");
    const auto r = Kvmcf({"info", file.Path(), "--json"});
    ASSERT_EQ(r.code, 0) << r.err;
    const json sources = json::parse(r.out)["files"][0]["sources"];
    const json p = sources[0]["properties"];
    // 0.05 as a float32 prints as 0.05, not as the double 0.05000000074505806.
    EXPECT_EQ(p["Metadata0"], (json{{"type", "uint64"}, {"value", 4886718345ULL}}));
    EXPECT_EQ(p["ExposureTime"], (json{{"type", "float"}, {"value", 0.05}}));
    EXPECT_EQ(p["Head"]["type"], "byte");
    // A float value is named a float, whatever the type query says.
    EXPECT_EQ(p["HighPrecisionTimeStamp0"]["type"], "float");

    const auto table = Kvmcf({"info", file.Path(), "--source", "background"});
    for (const char* part :
         {"count sub-images from 1", "[background]\n", "ExposureTime                   float   0.05\n"})
        EXPECT_EQ(Has(table.out, part), "");
    EXPECT_EQ(table.out.find("[signal]"), std::string::npos);

    // Image data settings only the section carries: port 2 and direction 4 name table
    // entries "Bottom Right" and "Up (Sequential)"; a 25 ns tick.
    const json e = sources[0]["extension"];
    // An element the section leaves out reads as 0, where a file without one holds -1.
    EXPECT_EQ(std::make_tuple(e["readout_port"], e["readout_direction"], e["tick_interval_ns"],
                              e["fast_kinetics_storage_mode"], e["fast_kinetics_time_scan_mode"]),
              std::make_tuple(json("Bottom Right"), json("Up (Sequential)"), json(25.0), json(1), json(0)));
    // The background's record had no such element: nothing to add.
    EXPECT_FALSE(sources[1].contains("extension"));
}

TEST(ToolVerbs, FramesShowTimesTimeCodesAndTagsFromTheSection) {
    setenv("TZ", "UTC", 1);
    kvmcftest::TempFile file(kvmcftest::TwoSourceFile(kvmcftest::SectionXml()), "xml.mcf");
    const auto r = Kvmcf({"frames", file.Path(), "--json"});
    ASSERT_EQ(r.code, 0) << r.err;
    const json rows = json::parse(r.out)["files"][0]["frames"];
    ASSERT_EQ(rows.size(), 2u);
    // No metadata words: each frame's time is the kinetic cycle time.
    for (unsigned int f = 0; f < 2; ++f)
        EXPECT_EQ(std::make_tuple(rows[f]["index"], rows[f]["kinetic_time"], rows[f]["time_stamp"]),
                  std::make_tuple(json(f), json(0.25), json(100 * f + 7)));
    EXPECT_EQ(rows[0]["irig_time"], "Tue Mar  3 14:05:09.250 2015");
    EXPECT_TRUE(rows[1]["irig_time"].is_null());
    EXPECT_EQ(rows[0]["metadata_tags"], (json{{"3", 5}, {"6", 0x1234}}));
    EXPECT_EQ(rows[1]["metadata_tags"], (json{{"3", 3}, {"6", 0}}));

    EXPECT_EQ(Has(Kvmcf({"frames", file.Path()}).out, "signal, 2 frames (from 0)"), "");

    // The 64-bit words whole.
    kvmcftest::TempFile words(kvmcftest::TwoSourceFile("", 0x123456789ULL), "words.mcf");
    const json w = json::parse(Kvmcf({"frames", words.Path(), "--json"}).out)["files"][0]["frames"];
    EXPECT_EQ(w[1]["metadata_word"].get<std::uint64_t>(), 4886718346ULL);
    EXPECT_FALSE(w[0].contains("irig_time"));
}

TEST(ToolVerbs, StatsOfFramesRegionsAndTheDifferenceOfTwoSources) {
    kvmcftest::TempFile file(kvmcftest::TwoSourceFile(), "two.mcf");
    auto stats = [&](std::vector<std::string> extra) {
        std::vector<std::string> args{"stats", file.Path(), "--json"};
        args.insert(args.end(), extra.begin(), extra.end());
        const auto r = Kvmcf(args);
        EXPECT_EQ(r.code, 0) << r.err;
        return json::parse(r.out)["files"][0];
    };

    // Frame 1 is 110 + i / 2; all differ, so the mode is the smallest.
    json one = stats({"--frames", "1"});
    ASSERT_EQ(one["frames"].size(), 1u);
    EXPECT_EQ(one["frames"][0]["index"], 1);
    json s = one["frames"][0]["regions"][0];
    EXPECT_EQ(std::make_tuple(s["mode"], s["nan"]), std::make_tuple(json(110), json(0)));
    EXPECT_DOUBLE_EQ(s["std"].get<double>(), 0.5 * kSpreadOfSixteen);

    // Frame 0 holds a NaN (pixel 5) and an infinity (pixel 6): the 14 others are measured.
    s = stats({"--frames", "0"})["frames"][0]["regions"][0];
    EXPECT_EQ(std::make_tuple(s["nan"], s["infinite"], s["pixels"]), std::make_tuple(json(1), json(1), json(16)));
    EXPECT_DOUBLE_EQ(s["mean"].get<double>(), 100 + (120.0 - 5 - 6) / 2 / 14);

    // Signal minus background: 110 + i / 2 - i / 4 = 110 + i / 4.
    json minus = stats({"--frames", "1", "--minus", "background"});
    EXPECT_EQ(minus["minus"], "background");
    s = minus["frames"][0]["regions"][0];
    EXPECT_EQ(s["maximum"], (json{{"value", 113.75}, {"x", 4}, {"y", 4}}));
    EXPECT_DOUBLE_EQ(s["mean"].get<double>(), 111.875);

    // Larger than the detector: clipped, and said.
    json clipped = stats({"--frames", "1", "--region", "0,0,9,9"});
    EXPECT_EQ(std::make_tuple(clipped["region_clipped"], clipped["frames"][0]["regions"][0]["right"]),
              std::make_tuple(json(true), json(4)));
    const auto text = Kvmcf({"stats", file.Path(), "--frames", "1", "--region", "0,0,9,9"});
    for (const char* part : {"region clipped to the sub-images: columns 1-4, rows 1-4", "minimum    110 at (1, 1)"})
        EXPECT_EQ(Has(text.out, part), "");
}

TEST(ToolVerbs, StatsPlaceBinnedPixelsAtTheFirstDetectorPixelOfTheirBin) {
    // Sub-image 0: columns 1..4, rows 1..2, unbinned. Sub-image 1: columns 1..8, rows
    // 5..8, binned 2 x 2 into 4 x 2 stored pixels, stored column c at detector 1 + 2c.
    const TSubImage subs[2] = {TSubImage(1, 2, 4, 1, 1, 1), TSubImage(1, 8, 8, 5, 2, 2)};
    TMCFIOManager::TImage signal(TKavriRect(1, 8, 8, 1), 2, subs, 1);
    const float pixels[16] = {5, 1, 7, 1, 9, 9, 2, 3, 4, 4, 6, 0.5f, 4, 8, 8, -1};
    signal.calibImage.SetImageData(pixels, 16, 1);
    kvmcftools::McfFileContent content;
    content.images[0] = &signal;
    kvmcftest::TempFile file(kvmcftools::McfFileBytes(content), "binned.mcf");
    const auto r = Kvmcf({"stats", file.Path(), "--json"});
    ASSERT_EQ(r.code, 0) << r.err;
    const json regions = json::parse(r.out)["files"][0]["frames"][0]["regions"];
    ASSERT_EQ(regions.size(), 2u);
    // 5 1 7 1 / 9 9 2 3: 1 twice and 9 twice, the smaller is the mode.
    EXPECT_EQ(std::make_tuple(regions[0]["minimum"], regions[0]["maximum"], regions[0]["mode"]),
              std::make_tuple(json{{"value", 1}, {"x", 2}, {"y", 1}}, json{{"value", 9}, {"x", 1}, {"y", 2}}, json(1)));
    EXPECT_DOUBLE_EQ(regions[0]["mean"].get<double>(), 37.0 / 8);
    // 4 4 6 0.5 / 4 8 8 -1: -1 is stored pixel (3, 1), 8 first at (1, 1).
    EXPECT_EQ(std::make_tuple(regions[1]["sub_images"], regions[1]["minimum"], regions[1]["maximum"], regions[1]["mode"]),
              std::make_tuple(json::array({1}), json{{"value", -1}, {"x", 7}, {"y", 7}},
                              json{{"value", 8}, {"x", 3}, {"y", 7}}, json(4)));
    // Columns 2..5, rows 1..6: 1 7 1 / 9 2 3 below, and above the bins starting at
    // columns 3 and 5 of row 5: 4 6.
    const json across =
        json::parse(Kvmcf({"stats", file.Path(), "--region", "5,6,2,1", "--json"}).out)["files"][0]["frames"][0];
    const json& a = across["regions"][0];
    EXPECT_EQ(std::make_tuple(a["sub_images"], a["pixels"], a["maximum"]),
              std::make_tuple(json::array({0, 1}), json(8), json{{"value", 9}, {"x", 2}, {"y", 2}}));
    EXPECT_DOUBLE_EQ(a["mean"].get<double>(), 33.0 / 8);
}

TEST(ToolVerbs, HelpVersionAndUsageErrors) {
    EXPECT_EQ(Has(Kvmcf({"--help"}).out, "count from 0"), "");
    EXPECT_EQ(Has(Kvmcf({"export", "--help"}).out, "Usage: kvmcf export"), "");
    const auto version = Kvmcf({"--version"});
    EXPECT_EQ(std::make_tuple(version.code, version.out), std::make_tuple(0, std::string(kvmcf::libraryVersion()) + "\n"));

    for (const std::vector<std::string>& bad :
         {std::vector<std::string>{"info", "x.mcf", "--bogus"}, {"info"}, {"info", "x.mcf", "--source", "nowhere"},
          {"stats", "x.mcf", "--region", "1,2"}, {"--bogus"}}) {
        const auto r = Kvmcf(bad);
        EXPECT_EQ(std::make_tuple(r.code, r.ErrLines(), r.out), std::make_tuple(2, 1L, std::string())) << r.err;
    }
}

}  // namespace
