// Pixels and rectangles through binned sub-images, region extremes with their
// positions, the most frequent value, and images whose geometry lies.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <initializer_list>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "image/KavriImage.h"
#include "support/RecordTexts.h"

namespace {

// Lower: columns 1..4 with 2 columns a bin, rows 1..2 -> 2 x 2 stored, offset 0.
// Upper: columns 1..6, rows 3..6 with 2 rows a bin -> 6 x 2 stored, offset 4.
const TSubImage kLayout[2] = {TSubImage(1, 2, 4, 1, 1, 2), TSubImage(1, 6, 6, 3, 2, 1)};

void Fill(TKavriImage& image, unsigned int frame, std::initializer_list<float> values) {
    float* p = image.ObtainWriteImagePtr(frame);
    ASSERT_NE(p, nullptr);
    for (float v : values) *p++ = v;
}

std::vector<float> FrameValues(TKavriImage& image, unsigned int frame) {
    const float* p = image.ObtainReadImagePtr(frame);
    std::vector<float> values(p, p + image.GetDataLength());
    image.ReleaseImagePtr(frame);
    return values;
}

// Stored order: lower row 1, lower row 2, upper rows 3-4, upper rows 5-6.
struct TwoRegions : ::testing::Test {
    TKavriImage image{TKavriRect(1, 6, 6, 1), 2, kLayout, 2, false, true, DataStore::Float};
    void SetUp() override {
        Fill(image, 1, {10, 11, 12, 13, 20, 21, 22, 23, 24, 25, 30, 31, 32, 33, 34, 35});
        Fill(image, 2, {-5, 0, 7, 7, 40, 41, 42, 43, 44, 45, 50, 51, 52, 53, 54, 55});
    }
};

}  // namespace

TEST_F(TwoRegions, ValuesThroughBinning) {
    // Columns 1 and 2 share a stored pixel, rows 3 and 4 a stored row; (5,1) lies beside
    // the lower region and below the upper one.
    const struct { int x, y; unsigned int frame; float value; } cases[] = {
        {2, 1, 1, 10}, {3, 1, 1, 11}, {4, 2, 1, 13}, {5, 4, 1, 24}, {6, 6, 2, 55},
        {5, 1, 1, 0}, {1, 7, 1, 0}, {1, 1, 0, 0}, {1, 1, 3, 0}};
    for (const auto& c : cases) EXPECT_EQ(image.GetValue(c.x, c.y, c.frame), c.value) << c.x << "," << c.y;

    float fast[5] = {};
    image.FastGetValues(TKavriRect(1, 1, 5, 1), fast, 1, 1);  // moves on right after column 1
    EXPECT_EQ(std::vector<float>(fast, fast + 5), (std::vector<float>{10, 11, 11, 12, 12}));
}

TEST_F(TwoRegions, WritingPointsRectanglesAndFrames) {
    image.SetValue(TKavriPoint(4, 2), 99, 1);
    image.SetValue(TKavriPoint(9, 9), 98, 1);  // in no region
    // A full-width rectangle takes stored pixels: rows 5..6 are one stored row.
    const float row[6] = {1, 2, 3, 4, 5, 6};
    image.SetValues(TKavriRect(1, 6, 6, 5), row, 1);
    EXPECT_EQ(FrameValues(image, 1),
              (std::vector<float>{10, 11, 12, 99, 20, 21, 22, 23, 24, 25, 1, 2, 3, 4, 5, 6}));

    std::vector<float> whole(16, 8.0f);
    image.SetImageData(whole.data(), 15, 2);  // not a whole frame
    EXPECT_EQ(FrameValues(image, 2)[4], 40.0f);
    image.SetImageData(whole.data(), 16, 2);
    EXPECT_EQ(FrameValues(image, 2), whole);
}

TEST(ImageValueAccess, RemapFromDetectorOrder) {
    // Two regions side by side on rows 1..2, one across the top on row 3.
    const TSubImage subs[3] = {TSubImage(1, 2, 2, 1, 1, 1), TSubImage(3, 2, 5, 1, 1, 1), TSubImage(1, 3, 5, 3, 1, 1)};
    TKavriImage image(TKavriRect(1, 3, 5, 1), 3, subs, 1, false, true, DataStore::Float);
    std::vector<float> detector(15);
    for (int i = 0; i < 15; ++i) detector[i] = static_cast<float>(i);
    image.Remap(detector.data());
    EXPECT_EQ(FrameValues(image, 1), (std::vector<float>{0, 1, 5, 6, 2, 3, 4, 7, 8, 9, 10, 11, 12, 13, 14}));
}

TEST_F(TwoRegions, ExtremesWithPositions) {
    TKavriPoint at(-7, -7);
    using Found = std::tuple<float, int, int>;
    auto found = [&](float value) { return Found(value, at.x, at.y); };
    // Rows 4..6 snap back to row 3 on the 2-row grid: rows 3 and 5, columns 2..3.
    EXPECT_EQ(found(image.GetSubImageMinimum(TKavriRect(2, 6, 3, 4), 2, 1, &at)), Found(21, 2, 3));
    // Ties keep the first in scan order: 7 at (1,2) and (3,2).
    EXPECT_EQ(found(image.GetMaximum(TKavriRect(1, 2, 4, 1), 2, at)), Found(7, 1, 2));
    // Over all frames the value is the overall extreme, the position that of the
    // last region searched (frame 2, upper region).
    EXPECT_EQ(found(image.GetMinimum(TKavriRect(1, 6, 6, 1), 0, at)), Found(-5, 1, 3));
    // Meeting no region: the fixed value, the position reset to (1,1).
    EXPECT_EQ(found(image.GetMaximum(TKavriRect(7, 1, 9, 2), 1, at)), Found(1, 1, 1));

    // Infinities and NaN never count; a region of nothing else is "nothing found".
    Fill(image, 1, {-INFINITY, 3, NAN, 4});
    EXPECT_EQ(found(image.GetMinimum(TKavriRect(1, 2, 4, 1), 1, at)), Found(3, 3, 1));
    Fill(image, 1, {INFINITY, INFINITY, INFINITY, INFINITY});
    EXPECT_EQ(image.GetMinimum(TKavriRect(1, 2, 4, 1), 1, at), 0.0f);
}

TEST(ImageValueAccess, ModeValue) {
    const TSubImage strip(1, 1, 5, 1, 1, 1);
    TKavriImage image(TKavriRect(1, 1, 5, 1), 1, &strip, 3, false, true, DataStore::Float);
    Fill(image, 1, {3, 1, 2, 3, 2});  // 2 and 3 twice each: the smaller wins
    // Frame 3 was created zeroed; frame 4 does not exist.
    std::vector<float> modes;
    for (unsigned int f : {1, 3, 4}) modes.push_back(image.GetModeValue(f));
    EXPECT_EQ(modes, (std::vector<float>{2, 0, 1}));
}

TEST(ImageValueAccess, LyingGeometryStaysInsideTheFrame) {
    // One frame of 4 pixels. The second region claims 8 pixels from offset 3, the
    // third starts past the frame, the fourth spans every int with no binning.
    const std::string record =
        "65541 1 4 4 1 1 4 4 4\n"
        "65538 1 2 2 1 1 1 0\n"
        "65538 1 4 4 3 1 1 3\n"
        "65538 1 9 1 9 1 1 4\n"
        "65538 -2147483648 2147483647 2147483647 -2147483648 0 0 1\n"
        "         0\n0\n" +
        kvmcftest::FloatBytes({1, 2, 3, 4});
    std::istringstream is(record);
    TKavriImage image;
    is >> image;
    ASSERT_FALSE(is.fail());

    EXPECT_EQ(image.GetValue(1, 3, 1), 4.0f);  // the one pixel of region 2 inside the frame
    EXPECT_EQ(image.GetValue(4, 4, 1), 0.0f);
    image.SetValue(TKavriPoint(4, 4), 9, 1);
    float fast[4] = {};
    image.FastGetValues(TKavriRect(1, 3, 4, 3), fast, 2, 1);
    EXPECT_EQ(std::vector<float>(fast, fast + 4), (std::vector<float>{4, 0, 0, 0}));
    std::vector<float> region;
    image.GetSubimageValues(TKavriRect(1, 3, 4, 4), 2, 1, region);
    EXPECT_EQ(region, std::vector<float>{4});
    image.GetSubimageValues(TKavriRect(1, 9, 1, 9), 3, 1, region);
    EXPECT_TRUE(region.empty());

    TKavriPoint at;
    EXPECT_EQ(image.GetMaximum(TKavriRect(-5, -5, 9, 9), 0, at), 4.0f);
    // The fourth region's walk stops at the frame's end: it holds 2, 3, 4 from offset 1.
    EXPECT_EQ(image.GetMinimum(TKavriRect(INT32_MIN, INT32_MIN, INT32_MAX, INT32_MAX), 1, at), 1.0f);
    EXPECT_EQ(std::make_pair(at.x, at.y), std::make_pair(INT32_MIN, INT32_MIN));  // found there last
    EXPECT_EQ(image.GetModeValue(1), 1.0f);  // 1, 2, 3, 4 once each

    // Region 1 takes its count from region 2 (8 pixels), the frame holds 4; region
    // 4's second stored row would start 2^32 pixels in.
    image.Sqrt(1u, 1u);
    image.Sqrt(2, 4, 1);
    EXPECT_EQ(FrameValues(image, 1), (std::vector<float>{1, std::sqrt(2.0f), std::sqrt(3.0f), 2}));

    // Frames made shorter than the frame length are read only as far as they go.
    image.CreateDataArray(DataStore::Float, 1, 2, true);
    EXPECT_EQ(image.GetModeValue(1), 0.0f);
    EXPECT_EQ(image.GetValue(1, 3, 1), 0.0f);
    image.Remap(std::vector<float>(4, 1.0f).data());
}
