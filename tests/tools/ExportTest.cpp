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
    for (const auto& [text, first, count] : good)
        EXPECT_TRUE(kvmcftools::ParseFrameRange(text, 20, &r, &why) && r.first == first && r.count == count) << text;
    // Past the end, empty, reversed, not numbers, and a number that would wrap.
    for (const char* bad : {"15:21", "20", "5:5", "6:5", "a:b", "-1:3", "", "1:99999999999999999999"}) {
        why.clear();
        EXPECT_FALSE(kvmcftools::ParseFrameRange(bad, 20, &r, &why) || why.empty()) << bad;
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
    // Columns 101-164 unbinned and 401-528 binned 2 x 2: the same size over different
    // detector columns, so one output each, named by sub-image.
    const auto groups = kvmcftools::PlaneGroups(planes);
    ASSERT_EQ(groups.size(), 2u);
    EXPECT_EQ(kvmcftools::GroupOutputName("run.v2/bg.tif", planes, groups[1], 2) + " " +
                  kvmcftools::GroupOutputName("run.v2/bg", planes, groups[0], 2) + " " +
                  kvmcftools::GroupOutputName("bg.tif", planes, groups[0], 1),
              "run.v2/bg-sub1.tif run.v2/bg-sub0 bg.tif");

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
    ASSERT_TRUE(tif && TIFFIsBigTIFF(tif));
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

    const kvmcf::Axis pixels{"Pixel number", " ", 1, {1, 2}};
    EXPECT_EQ(kvmcftools::AxisLabel(axis) + "|" + kvmcftools::AxisLabel(pixels), "Position (um)|Pixel number");
    EXPECT_TRUE(kvmcftools::IsCalibrated(axis) && !kvmcftools::IsCalibrated(pixels));
}

TEST(Export, StraightAxesAndStackDescription) {
    // Rising lines with a unit are read back from the stacks in test_export.py.
    const auto line = kvmcftools::FitLine({502, 504, 506, 508});
    ASSERT_TRUE(line);
    EXPECT_EQ(std::make_pair(line->origin, line->step), std::make_pair(502.0, 2.0));
    // Falling values or no unit: the stack stays in pixels.
    EXPECT_EQ(kvmcftools::StackDescription(1, 1, "nm", kvmcftools::LinearAxis{5, -1}, 0),
              "ImageJ=1.11a\nimages=1\nloop=false\n");
    EXPECT_EQ(kvmcftools::StackDescription(1, 1, "", line, 0), "ImageJ=1.11a\nimages=1\nloop=false\n");

    // Single-precision noise is straight; a bend of one part in 10^5 is not; one value has no step.
    EXPECT_TRUE(kvmcftools::FitLine({580.0625, 580.125f, 580.1875}));
    EXPECT_FALSE(kvmcftools::FitLine({100, 101, 102.003, 103}) || kvmcftools::FitLine({7}) ||
                 kvmcftools::FitLine({7, 7, 7}));
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
        EXPECT_TRUE(Exists(temp) && !Exists(out));
    }
    kvmcftools::OutputFile o(out);
    EXPECT_TRUE(!Exists(temp) && o.Prepare(false, &why) && o.Commit(&why) && !Exists(o.TempPath()) && Exists(out));
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
    EXPECT_EQ(std::make_tuple(kvmcftools::Percentile(ramp, 0.005), kvmcftools::Percentile(ramp, 0.995),
                              kvmcftools::Percentile({}, 0.5)),
              std::make_tuple(2.0f, 199.0f, 0.0f));

    // Bottom row 0, 10; top row 20, 30; the ends of four values are 0 and 30.
    const float stored[4] = {0, 10, 20, 30};
    EXPECT_EQ(kvmcftools::ImagePreview(stored, 2, 2).pixels, (std::vector<std::uint8_t>{170, 255, 0, 85}));
    const float flat[3] = {5, 5, 5};
    EXPECT_EQ(kvmcftools::ImagePreview(flat, 3, 1).pixels, (std::vector<std::uint8_t>{128, 128, 128}));

    // Log between 10 and 1000: 100 lies halfway (127.5 rounds up); from a low of 0,
    // ln(1 + 9) / ln(1 + 99) is halfway too.
    // Linear 9 of 0..99 is 9 / 99 * 255 = 23.2; below the low end and NaN are black.
    using kvmcftools::Gray;
    using kvmcftools::PreviewScale;
    EXPECT_EQ((std::vector<int>{Gray(100, 10, 1000, PreviewScale::Log), Gray(9, 0, 99, PreviewScale::Log),
                                Gray(9, 0, 99, PreviewScale::Linear), Gray(5, 10, 1000, PreviewScale::Log),
                                Gray(std::nanf(""), 0, 1, PreviewScale::Linear)}),
              (std::vector<int>{128, 128, 23, 0, 0}));

    kvmcftools::Stretch s;
    std::string why;
    ASSERT_TRUE(kvmcftools::ParseClip("2,98.5", &s, &why));
    EXPECT_EQ(std::make_pair(s.lowPercent, s.highPercent), std::make_pair(2.0, 98.5));
    for (const char* bad : {"5", "5,", ",5", "50,10", "-1,50", "1,101", "a,b", "1,2,3"})
        EXPECT_FALSE(kvmcftools::ParseClip(bad, &s, &why)) << bad;
}

TEST(Export, KineticPreviewBandsPerFrame) {
    // 3 frames of 2 columns: 66 rows per frame (200 / 3), 200 pixels per column (400 / 2).
    const float values[6] = {0, 10, 20, 30, 40, 50};
    kvmcftools::KineticLayout layout;
    const kvmcftools::GrayImage img = kvmcftools::KineticPreview(
        {1, 2}, values, 2, 3, 4, {0.0, 0.5, 1.0}, "nm", "X", {kvmcftools::PreviewScale::Linear, 0, 100}, &layout);
    EXPECT_EQ(std::make_tuple(layout.rowsPerFrame, layout.pixelsPerColumn, img.height),
              std::make_tuple(66u, 200u, 48u + 3 * 66 + 34));
    auto at = [&](std::size_t frame, std::size_t column) {
        return img.pixels[(layout.top + frame * 66 + 65) * img.width + layout.left + column * 200 + 199];
    };
    // 0, 10 and 40 of 0..50.
    EXPECT_EQ((std::vector<int>{at(0, 0), at(0, 1), at(2, 0), at(2, 1)}), (std::vector<int>{0, 51, 204, 255}));
}

}  // namespace
