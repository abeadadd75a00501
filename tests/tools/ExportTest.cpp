// The pieces of kvmcf export the written files cannot show: frame range edges, BigTIFF
// pages, axes left uncalibrated, unfinished outputs and preview scales.
// The written files themselves are read back by other programs in test_export.py.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <tiffio.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <tuple>
#include <vector>

#include "support/TestFiles.h"
#include "writer/DemoFile.h"
#include "tools/ExportSupport.h"
#include "tools/PngPreview.h"
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
    // One past the end, empty, reversed, not numbers, and a number that would wrap.
    for (const char* bad : {"20", "5:5", "6:5", "a:b", "", "1:99999999999999999999"}) {
        why.clear();
        EXPECT_FALSE(kvmcftools::ParseFrameRange(bad, 20, &r, &why) || why.empty()) << bad;
    }
    EXPECT_FALSE(kvmcftools::ParseFrameRange("0:1", 0, &r, &why));
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

TEST(Export, OnlyRisingStraightAxesWithAUnitCalibrateTheStack) {
    // Rising lines with a unit are read back from the stacks in test_export.py.
    // Falling values or no unit: the stack stays in pixels.
    EXPECT_EQ(kvmcftools::StackDescription(1, 1, "nm", kvmcftools::LinearAxis{5, -1}, 0),
              "ImageJ=1.11a\nimages=1\nloop=false\n");
    EXPECT_EQ(kvmcftools::StackDescription(1, 1, "", kvmcftools::LinearAxis{502, 2}, 0),
              "ImageJ=1.11a\nimages=1\nloop=false\n");

    // Single-precision noise is straight; a bend of one part in 10^5 is not; one value has no step.
    EXPECT_TRUE(kvmcftools::FitLine({580.0625, 580.125f, 580.1875}));
    EXPECT_FALSE(kvmcftools::FitLine({100, 101, 102.003, 103}) || kvmcftools::FitLine({7}) ||
                 kvmcftools::FitLine({7, 7, 7}));
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
    ::unlink(out.c_str());
}

TEST(Export, PreviewStretchesBetweenPercentiles) {
    std::vector<float> ramp;
    for (int v = 1; v <= 200; ++v) ramp.push_back(static_cast<float>(v));
    ramp.push_back(std::nanf(""));  // not a value: ignored
    // Nearest ranks of 200 values: 0.005 * 199 rounds to 1, 0.995 * 199 to 198.
    EXPECT_EQ(std::make_tuple(kvmcftools::Percentile(ramp, 0.005), kvmcftools::Percentile(ramp, 0.995),
                              kvmcftools::Percentile({}, 0.5)),
              std::make_tuple(2.0f, 199.0f, 0.0f));

    // All values equal: mid-gray, not a division by zero.
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
}

}  // namespace
