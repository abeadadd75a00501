// The pieces of kvmcf export that decide what goes where: frame ranges, sub-images as
// planes, binned axes, output names, the stack description and the progress line.
// The written files themselves are read back by other programs in test_export.py.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <tiffio.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <tuple>
#include <vector>

#include "support/TestFiles.h"
#include "writer/DemoFile.h"
#include "tools/ExportSupport.h"
#include "tools/PngPreview.h"
#include "tools/Progress.h"
#include "tools/TiffExport.h"

namespace {

using kvmcftools::FrameRange;

bool Exists(const std::string& path) {
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0;
}

TEST(Export, FrameRangesCountFromZeroAndStopBeforeTheEnd) {
    FrameRange r;
    std::string why;
    const std::tuple<const char*, unsigned int, unsigned int> good[] = {
        {"2:5", 2, 3}, {":4", 0, 4}, {"18:", 18, 2}, {"19", 19, 1}};
    for (const auto& [text, first, count] : good) {
        ASSERT_TRUE(kvmcftools::ParseFrameRange(text, 20, &r, &why)) << text;
        EXPECT_EQ(std::make_pair(r.first, r.count), std::make_pair(first, count)) << text;
    }
    // Past the end, empty, reversed, not numbers, and a number that would wrap.
    for (const char* bad : {"15:21", "20", "5:5", "6:5", "a:b", "-1:3", "", "1:99999999999999999999"}) {
        why.clear();
        EXPECT_FALSE(kvmcftools::ParseFrameRange(bad, 20, &r, &why)) << bad;
        EXPECT_FALSE(why.empty()) << bad;
    }
    EXPECT_FALSE(kvmcftools::ParseFrameRange("0:1", 0, &r, &why));
}

TEST(Export, DemoBackgroundPlanesAndTheirOutputNames) {
    kvmcftest::TempFile file("", "demo.mcf");
    ASSERT_TRUE(kvmcftools::WriteDemoFile(file.Path()));
    const kvmcf::File f = kvmcf::File::open(file.Path(), kvmcf::ReadMode::HeaderOnly);
    std::vector<kvmcftools::Plane> planes;
    std::string why;
    ASSERT_TRUE(kvmcftools::SourcePlanes(f.source(kvmcf::SourceId::Background), &planes, &why)) << why;
    // Columns 101-164 by rows 49-80 unbinned; columns 401-528 by rows 137-200 binned 2 x 2.
    ASSERT_EQ(planes.size(), 2u);
    for (unsigned int i = 0; i < 2; ++i)
        EXPECT_EQ(std::make_tuple(planes[i].columns, planes[i].rows, planes[i].offset),
                  std::make_tuple(64u, 32u, 2048u * i));

    // Same size, different detector columns: one output each, named by sub-image.
    const auto groups = kvmcftools::PlaneGroups(planes);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(kvmcftools::GroupOutputName("run.v2/bg.tif", planes, groups[1], 2), "run.v2/bg-sub1.tif");
    EXPECT_EQ(kvmcftools::GroupOutputName("run.v2/bg", planes, groups[0], 2), "run.v2/bg-sub0");
    EXPECT_EQ(kvmcftools::GroupOutputName("bg.tif", planes, groups[0], 1), "bg.tif");

    // Tracks over the same columns share one output.
    EXPECT_EQ(kvmcftools::PlaneGroups(std::vector<kvmcftools::Plane>(3, planes[0])).size(), 1u);
}

TEST(Export, BigTiffKeepsPagesContiguous) {
    kvmcftest::TempFile demo("", "demo.mcf");
    ASSERT_TRUE(kvmcftools::WriteDemoFile(demo.Path()));
    const kvmcf::File f = kvmcf::File::open(demo.Path(), kvmcf::ReadMode::HeaderOnly);
    kvmcftools::ExportJob job;
    job.file = &f;
    job.source = &f.source(kvmcf::SourceId::Signal);
    job.range = {4, 3};
    std::string why;
    ASSERT_TRUE(kvmcftools::SourcePlanes(*job.source, &job.planes, &why)) << why;
    const std::string out = demo.Path() + ".tif";
    job.path = job.name = out;
    std::fclose(std::fopen(out.c_str(), "w"));
    // Any stack past the limit is BigTIFF; a limit of 0 makes this one so.
    ASSERT_TRUE(kvmcftools::WriteTiff(job, &why, 0)) << why;

    TIFF* tif = TIFFOpen(out.c_str(), "r");
    ASSERT_NE(tif, nullptr);
    EXPECT_TRUE(TIFFIsBigTIFF(tif));
    char* description = nullptr;
    ASSERT_TRUE(TIFFGetField(tif, TIFFTAG_IMAGEDESCRIPTION, &description));
    EXPECT_NE(std::strstr(description, "images=3\n"), nullptr);
    uint64_t first = 0;
    std::vector<float> page(1024), frame(1024);
    for (unsigned int k = 0; k < 3; ++k) {
        ASSERT_TRUE(TIFFSetDirectory(tif, static_cast<tdir_t>(k)));
        uint64_t* offsets = nullptr;
        ASSERT_TRUE(TIFFGetField(tif, TIFFTAG_STRIPOFFSETS, &offsets));
        if (k == 0) first = offsets[0];
        EXPECT_EQ(offsets[0], first + 4096ULL * k);  // one 1024-pixel spectrum a page
        ASSERT_EQ(TIFFReadEncodedStrip(tif, 0, page.data(), 4096), 4096);
        job.source->readFrame(4 + k, frame.data());
        EXPECT_EQ(page, frame);
        EXPECT_EQ(page[0], 300.0f + (4 + k) % 13);
    }
    EXPECT_FALSE(TIFFReadDirectory(tif));  // three pages, no more
    TIFFClose(tif);
    ::unlink(out.c_str());
}

TEST(Export, BinnedAxisValuesAreTheMeanOfTheirDetectorPixels) {
    // Detector pixels 1..8 valued 10, 20, ..., 80.
    kvmcf::Axis axis{"Position", " um", 1, {10, 20, 30, 40, 50, 60, 70, 80}};
    kvmcftools::Plane p;
    p.geometry.left = 3;
    p.geometry.hBin = 2;
    p.columns = 3;  // pixels 3-4, 5-6, 7-8
    EXPECT_EQ(kvmcftools::PlaneXValues(axis, p), (std::vector<double>{35, 55, 75}));
    p.columns = 4;  // would need pixels up to 10
    EXPECT_TRUE(kvmcftools::PlaneXValues(axis, p).empty());
    p.geometry.bottom = 2;
    p.geometry.vBin = 3;
    p.rows = 2;  // rows 2-4 and 5-7
    EXPECT_EQ(kvmcftools::PlaneZValues(axis, p), (std::vector<double>{30, 60}));

    EXPECT_EQ(kvmcftools::AxisLabel(axis), "Position (um)");
    EXPECT_TRUE(kvmcftools::IsCalibrated(axis));
    const kvmcf::Axis pixels{"Pixel number", " ", 1, {1, 2}};
    EXPECT_EQ(kvmcftools::AxisLabel(pixels), "Pixel number");
    EXPECT_FALSE(kvmcftools::IsCalibrated(pixels));
}

TEST(Export, StraightAxesAndStackDescription) {
    // 502, 504, ... from column 0: value = (column - xorigin) * 2 puts xorigin at -251.
    const auto line = kvmcftools::FitLine({502, 504, 506, 508});
    ASSERT_TRUE(line);
    EXPECT_EQ(line->origin, 502);
    EXPECT_EQ(line->step, 2);
    EXPECT_EQ(kvmcftools::StackDescription(1, 20, "nm", line, 0.1),
              "ImageJ=1.11a\nimages=20\nframes=20\nunit=nm\nyunit=pixel\nxorigin=-251\nfinterval=0.1\nloop=false\n");
    EXPECT_EQ(kvmcftools::StackDescription(2, 3, "um", kvmcftools::LinearAxis{-1.5, 0.5}, 0),
              "ImageJ=1.11a\nimages=6\nchannels=2\nframes=3\nhyperstack=true\nunit=um\nyunit=pixel\nxorigin=3\n"
              "loop=false\n");
    // Falling values or no unit: the stack stays in pixels.
    EXPECT_EQ(kvmcftools::StackDescription(1, 1, "nm", kvmcftools::LinearAxis{5, -1}, 0),
              "ImageJ=1.11a\nimages=1\nloop=false\n");
    EXPECT_EQ(kvmcftools::StackDescription(1, 1, "", line, 0), "ImageJ=1.11a\nimages=1\nloop=false\n");

    // Single-precision noise is straight; a bend of one part in 10^5 is not; one value has no step.
    EXPECT_TRUE(kvmcftools::FitLine({580.0625, 580.125f, 580.1875}));
    EXPECT_FALSE(kvmcftools::FitLine({100, 101, 102.003, 103}));
    EXPECT_FALSE(kvmcftools::FitLine({7}));
    EXPECT_FALSE(kvmcftools::FitLine({7, 7, 7}));
}

TEST(Export, ProgressLine) {
    // 5 of 20 in 2 s: 2.5 frames/s, 15 left take 6 s.
    EXPECT_EQ(kvmcftools::Progress::Line("export", 5, 20, 2.0, 8),
              "export [##      ] 5/20 frames, 2.5 frames/s, 0:06 left");
    EXPECT_EQ(kvmcftools::Progress::Line("export", 0, 7200, 0.0, 2), "export [  ] 0/7200 frames, 0.0 frames/s, ? left");
    EXPECT_EQ(kvmcftools::Progress::Line("x", 1, 3601, 1.0, 1), "x [ ] 1/3601 frames, 1.0 frames/s, 1:00:00 left");
}

TEST(Export, OutputsAppearOnlyWhenCommitted) {
    kvmcftest::TempFile dir("", "unused");
    const std::string out = dir.Path() + ".tif";
    std::string why, temp;
    {
        kvmcftools::OutputFile o(out);
        ASSERT_TRUE(o.Prepare(false, &why)) << why;
        temp = o.TempPath();
        EXPECT_TRUE(Exists(temp));
        EXPECT_FALSE(Exists(out));
    }
    EXPECT_FALSE(Exists(temp));
    {
        kvmcftools::OutputFile o(out);
        ASSERT_TRUE(o.Prepare(false, &why));
        ASSERT_TRUE(o.Commit(&why));
        EXPECT_FALSE(Exists(o.TempPath()));
    }
    EXPECT_TRUE(Exists(out));
    kvmcftools::OutputFile again(out);
    EXPECT_FALSE(again.Prepare(false, &why));
    EXPECT_NE(why.find("--force"), std::string::npos);
    EXPECT_TRUE(again.Prepare(true, &why));
    ::unlink(out.c_str());
}

TEST(Export, PreviewStretchesBetweenPercentilesTopRowFirst) {
    std::vector<float> ramp;
    for (int v = 1; v <= 200; ++v) ramp.push_back(static_cast<float>(v));
    ramp.push_back(std::nanf(""));  // not a value: ignored
    // Nearest ranks of 200 values: 0.005 * 199 rounds to 1, 0.995 * 199 to 198.
    EXPECT_EQ(kvmcftools::Percentile(ramp, 0.005), 2.0f);
    EXPECT_EQ(kvmcftools::Percentile(ramp, 0.995), 199.0f);
    EXPECT_EQ(kvmcftools::Percentile({}, 0.5), 0.0f);

    // Bottom row 0, 10; top row 20, 30; the ends of four values are 0 and 30.
    const float stored[4] = {0, 10, 20, 30};
    const kvmcftools::GrayImage img = kvmcftools::ImagePreview(stored, 2, 2);
    EXPECT_EQ(img.pixels, (std::vector<std::uint8_t>{170, 255, 0, 85}));
    const float flat[3] = {5, 5, 5};
    EXPECT_EQ(kvmcftools::ImagePreview(flat, 3, 1).pixels, (std::vector<std::uint8_t>{128, 128, 128}));

    // Log between 10 and 1000: 100 lies halfway (127.5 rounds up); from a low of 0,
    // ln(1 + 9) / ln(1 + 99) is halfway too.
    using kvmcftools::PreviewScale;
    EXPECT_EQ(kvmcftools::Gray(100, 10, 1000, PreviewScale::Log), 128);
    EXPECT_EQ(kvmcftools::Gray(9, 0, 99, PreviewScale::Log), 128);
    EXPECT_EQ(kvmcftools::Gray(9, 0, 99, PreviewScale::Linear), 23);  // 9 / 99 * 255 = 23.2
    EXPECT_EQ(kvmcftools::Gray(5, 10, 1000, PreviewScale::Log), 0);
    EXPECT_EQ(kvmcftools::Gray(std::nanf(""), 0, 1, PreviewScale::Linear), 0);

    kvmcftools::Stretch s;
    std::string why;
    ASSERT_TRUE(kvmcftools::ParseClip("2,98.5", &s, &why));
    EXPECT_EQ(s.lowPercent, 2);
    EXPECT_EQ(s.highPercent, 98.5);
    for (const char* bad : {"5", "5,", ",5", "50,10", "-1,50", "1,101", "a,b", "1,2,3"})
        EXPECT_FALSE(kvmcftools::ParseClip(bad, &s, &why)) << bad;
}

TEST(Export, KineticPreviewBandsPerFrame) {
    // 3 frames of 2 columns: 66 rows per frame (200 / 3), 200 pixels per column (400 / 2).
    const float values[6] = {0, 10, 20, 30, 40, 50};
    kvmcftools::KineticLayout layout;
    const kvmcftools::GrayImage img = kvmcftools::KineticPreview(
        {1, 2}, values, 2, 3, 4, {0.0, 0.5, 1.0}, "nm", "X", {kvmcftools::PreviewScale::Linear, 0, 100}, &layout);
    EXPECT_EQ(layout.rowsPerFrame, 66u);
    EXPECT_EQ(layout.pixelsPerColumn, 200u);
    EXPECT_EQ(img.height, 48u + 3 * 66 + 34);
    auto at = [&](std::size_t frame, std::size_t column) {
        return img.pixels[(layout.top + frame * 66 + 65) * img.width + layout.left + column * 200 + 199];
    };
    EXPECT_EQ(at(0, 0), 0);
    EXPECT_EQ(at(0, 1), 51);   // 10 of 0..50
    EXPECT_EQ(at(2, 0), 204);  // 40
    EXPECT_EQ(at(2, 1), 255);
}

}  // namespace
