// In-place transforms: scalars, masks, image with image, moving sums over a series
// and point functions, with the values worked out by hand.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <initializer_list>
#include <vector>

#include "image/KavriImage.h"
#include "image/PixelTransform.h"

namespace {

// A series of `frames` frames of one strip of `pixels` unbinned pixels.
struct Series {
    TSubImage strip;
    TKavriImage image;
    Series(unsigned int frames, int pixels)
        : strip(1, 1, pixels, 1, 1, 1), image(TKavriRect(1, 1, pixels, 1), 1, &strip, frames, false, true, DataStore::Float) {}

    void Fill(unsigned int frame, std::initializer_list<float> values) {
        std::copy(values.begin(), values.end(), image.ObtainWriteImagePtr(frame));
    }
    std::vector<float> Frame(unsigned int frame) {
        const float* p = image.ObtainReadImagePtr(frame);
        std::vector<float> values(p, p + image.GetDataLength());
        image.ReleaseImagePtr(frame);
        return values;
    }
};

using V = std::vector<float>;

}  // namespace

TEST(PixelTransform, ScalarsOverFrameScope) {
    Series s(2, 3);
    s.Fill(1, {1, -2, 0.5f});
    s.Fill(2, {4, 8, -1});
    EXPECT_TRUE(s.image.Add(1.5f, 0));  // every frame
    EXPECT_TRUE(s.image.Multiply(-2, 2));  // frame 2 only
    EXPECT_FALSE(s.image.Add(100, 3));  // past the series: nothing changes
    EXPECT_EQ(s.Frame(1), (V{2.5f, -0.5f, 2}));
    EXPECT_EQ(s.Frame(2), (V{-11, -19, -1}));
}

TEST(PixelTransform, MasksOnPixelsAsIntegers) {
    const float twoTo63 = 9223372036854775808.0f;
    // -1 in two's complement; NaN and infinity as the lowest 64-bit int.
    std::vector<unsigned long long> bits;
    for (float f : {255.7f, -1.0f, twoTo63, NAN, INFINITY}) bits.push_back(PixelTransform::ToBits(f));
    const unsigned long long low = 1ULL << 63;
    EXPECT_EQ(bits, (std::vector<unsigned long long>{255, ~0ULL, low, low, low}));

    Series s(1, 4);
    s.Fill(1, {255.7f, -1, 3.9f, twoTo63});
    EXPECT_TRUE(s.image.And(0x0F, 0));
    EXPECT_EQ(s.Frame(1), (V{15, 15, 3, 0}));
    // Logic: 0.5 truncates to 0, -3 is non-zero.
    s.Fill(1, {0.5f, 2, 0, -3});
    EXPECT_TRUE(s.image.LogicAnd(1, 1));
    EXPECT_EQ(s.Frame(1), (V{0, 1, 0, 1}));
}

TEST(PixelTransform, BackgroundAndFlatField) {
    Series signal(2, 3), background(2, 3), flat(2, 3);
    signal.Fill(1, {110, 120, 130});
    signal.Fill(2, {210, 220, 230});
    background.Fill(1, {10, 20, 30});
    background.Fill(2, {10, 20, 30});
    flat.Fill(1, {2, 4, 0});
    flat.Fill(2, {0.5f, 1, 2});
    EXPECT_TRUE(signal.image.Subtract(background.image, true));
    EXPECT_TRUE(signal.image.Divide(flat.image, true));
    EXPECT_EQ(signal.Frame(1), (V{50, 25, INFINITY}));  // no zero test
    EXPECT_EQ(signal.Frame(2), (V{400, 200, 100}));
    Series shorter(1, 5);
    EXPECT_FALSE(signal.image.Add(shorter.image, false));
}

TEST(PixelTransform, MovingSumsAtTheSeriesEdges) {
    Series s(5, 1);
    for (unsigned int f = 1; f <= 5; ++f) s.Fill(f, {static_cast<float>(f)});
    // Windows not below the frame count, rounding to 0, or negative.
    EXPECT_FALSE(s.image.MovingAverage(5.0f, 0) || s.image.MovingAverage(0.4f, 0) || s.image.MovingAverage(-3.0f, 0));
    EXPECT_TRUE(s.image.MovingAverage(3.0f, 0));
    V series;
    for (unsigned int f = 1; f <= 5; ++f) series.push_back(s.Frame(f)[0]);
    EXPECT_EQ(series, (V{1, 2, 2, 3, 4}));
}

TEST(PixelTransform, PointFunctions) {
    EXPECT_FLOAT_EQ(PixelTransform::Log(static_cast<float>(M_E)), 1.0f);
    // Out of the domain gives 0; for the logarithms the upper bound FLT_MAX is excluded.
    EXPECT_EQ((V{PixelTransform::Log(0.0f), PixelTransform::Log(-3.0f), PixelTransform::Log(INFINITY),
                 PixelTransform::Log10(FLT_MAX), PixelTransform::Sqrt(-4.0f), PixelTransform::Sqrt(16.0f),
                 PixelTransform::Exp(100.0f), PixelTransform::Pow10(39.0f)}),
              (V{0, 0, 0, 0, 0, 4, INFINITY, INFINITY}));

    Series s(2, 2);
    s.Fill(1, {3, 4});
    s.Fill(2, {5, 6});
    s.image.Zero(0);  // changes nothing
    s.image.Zero(1);
    EXPECT_EQ(s.Frame(1), (V{0, 0}));
    EXPECT_EQ(s.Frame(2), (V{5, 6}));
}
