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

// A series of `frames` frames of one strip of `pixels` unbinned pixels, or of the
// given sub-images.
struct Series {
    TSubImage strip;
    TKavriImage image;
    Series(unsigned int frames, int pixels)
        : strip(1, 1, pixels, 1, 1, 1), image(TKavriRect(1, 1, pixels, 1), 1, &strip, frames, false, true, DataStore::Float) {}
    Series(unsigned int frames, const TSubImage (&subs)[2])
        : image(TKavriRect(1, 6, 6, 1), 2, subs, frames, false, true, DataStore::Float) {}

    void Fill(unsigned int frame, std::initializer_list<float> values) { Fill(frame, std::vector<float>(values)); }
    void Fill(unsigned int frame, const std::vector<float>& values) {
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
    EXPECT_EQ(s.Frame(1), (V{2.5f, -0.5f, 2}));
    EXPECT_EQ(s.Frame(2), (V{5.5f, 9.5f, 0.5f}));
    EXPECT_TRUE(s.image.Multiply(-2, 2));  // frame 2 only
    EXPECT_TRUE(s.image.Subtract(0.5f, 1));
    EXPECT_EQ(s.Frame(1), (V{2, -1, 1.5f}));
    EXPECT_EQ(s.Frame(2), (V{-11, -19, -1}));
    EXPECT_FALSE(s.image.Add(100, 3));  // past the series: nothing changes
    EXPECT_EQ(s.Frame(1), (V{2, -1, 1.5f}));

    // Division by zero is not tested for.
    s.Fill(1, {1, -1, 0});
    EXPECT_TRUE(s.image.Divide(0, 1));
    const V divided = s.Frame(1);
    EXPECT_EQ(divided[0], INFINITY);
    EXPECT_EQ(divided[1], -INFINITY);
    EXPECT_TRUE(std::isnan(divided[2]));

    // Inverse stops at the first pixel near 0; what came before stays changed.
    s.Fill(1, {2, 0, 4});
    s.Fill(2, {4, 5, 8});
    EXPECT_FALSE(s.image.Inverse(1, 0));
    EXPECT_EQ(s.Frame(1), (V{0.5f, 0, 4}));
    EXPECT_EQ(s.Frame(2), (V{4, 5, 8}));  // never reached
}

TEST(PixelTransform, MasksOnPixelsAsIntegers) {
    const float twoTo63 = 9223372036854775808.0f;
    // -1 in two's complement; NaN and infinity as the lowest 64-bit int.
    std::vector<unsigned long long> bits;
    for (float f : {255.7f, -1.0f, twoTo63, 1.5f * twoTo63, NAN, INFINITY}) bits.push_back(PixelTransform::ToBits(f));
    const unsigned long long low = 1ULL << 63;
    EXPECT_EQ(bits, (std::vector<unsigned long long>{255, ~0ULL, low, 0xC000000000000000ULL, low, low}));

    Series s(1, 4);
    s.Fill(1, {255.7f, -1, 3.9f, twoTo63});
    EXPECT_TRUE(s.image.And(0x0F, 0));
    EXPECT_EQ(s.Frame(1), (V{15, 15, 3, 0}));
    s.Fill(1, {255.7f, -1, 3.9f, twoTo63});
    EXPECT_TRUE(s.image.Or(0x100, 1));
    // -1 stays all ones, 2^64 - 1, which rounds to 2^64 as a float; the 256 added
    // to 2^63 is lost in rounding.
    EXPECT_EQ(s.Frame(1), (V{511, 18446744073709551616.0f, 259, twoTo63}));
    s.Fill(1, {15, 0, 240, 1});
    EXPECT_TRUE(s.image.Eor(0xFF, 1));
    EXPECT_EQ(s.Frame(1), (V{240, 255, 15, 254}));

    // Logic: 0.5 truncates to 0, -3 is non-zero.
    auto logic = [&](bool (TKavriImage::*op)(unsigned long, unsigned int), unsigned long mask) {
        s.Fill(1, {0.5f, 2, 0, -3});
        EXPECT_TRUE((s.image.*op)(mask, 1));
        return s.Frame(1);
    };
    EXPECT_EQ(logic(&TKavriImage::LogicAnd, 1), (V{0, 1, 0, 1}));
    EXPECT_EQ(logic(&TKavriImage::LogicAnd, 0), (V{0, 0, 0, 0}));
    EXPECT_EQ(logic(&TKavriImage::LogicOr, 0), (V{0, 1, 0, 1}));
    EXPECT_EQ(logic(&TKavriImage::LogicOr, 7), (V{1, 1, 1, 1}));
    EXPECT_FALSE(s.image.And(1, 2));
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

    // One frame of each: frame 2 plus the other's frame 1.
    EXPECT_TRUE(signal.image.Add(2, background.image, 1, true));
    EXPECT_EQ(signal.Frame(2), (V{410, 220, 130}));
    EXPECT_FALSE(signal.image.Add(0, background.image, 1, true));
    EXPECT_FALSE(signal.image.Add(1, background.image, 3, true));

    // Six pixels in one frame against two frames of three: the same total, so it
    // matches without the geometry test, place by place in the series.
    Series wide(1, 6);
    wide.Fill(1, {1, 2, 3, 4, 5, 6});
    EXPECT_FALSE(signal.image.Multiply(wide.image, true));
    EXPECT_TRUE(signal.image.Multiply(wide.image, false));
    EXPECT_EQ(signal.Frame(2), (V{1640, 1100, 780}));
    EXPECT_FALSE(signal.image.Multiply(1, wide.image, 1, false));  // frame lengths differ
    Series shorter(1, 5);
    EXPECT_FALSE(signal.image.Add(shorter.image, false));
}

TEST(PixelTransform, MovingSumsAtTheSeriesEdges) {
    Series s(5, 1);
    for (unsigned int f = 1; f <= 5; ++f) s.Fill(f, {static_cast<float>(f)});
    auto series = [&] {
        V out;
        for (unsigned int f = 1; f <= 5; ++f) out.push_back(s.Frame(f)[0]);
        return out;
    };
    // Windows not below the frame count, rounding to 0, or negative.
    EXPECT_FALSE(s.image.MovingAverage(5.0f, 0) || s.image.MovingAverage(0.4f, 0) || s.image.MovingAverage(-3.0f, 0));
    EXPECT_EQ(series(), (V{1, 2, 3, 4, 5}));

    EXPECT_TRUE(s.image.MovingAverage(3.0f, 0));
    EXPECT_EQ(series(), (V{1, 2, 2, 3, 4}));

    // 2.4 sums two frames and divides by 2.4 itself.
    for (unsigned int f = 1; f <= 5; ++f) s.Fill(f, {static_cast<float>(f)});
    EXPECT_TRUE(s.image.MovingAverage(2.4f, 1));
    EXPECT_EQ(series(), (V{1, 3, 5, 7, 9}));
    for (unsigned int f = 1; f <= 5; ++f) s.Fill(f, {static_cast<float>(f)});
    EXPECT_TRUE(s.image.MovingAverage(2.4f, 0));
    EXPECT_EQ(s.Frame(1)[0], 1.0f);
    EXPECT_FLOAT_EQ(s.Frame(2)[0], 3 / 2.4f);
    EXPECT_FLOAT_EQ(s.Frame(5)[0], 9 / 2.4f);
}

TEST(PixelTransform, PointFunctions) {
    EXPECT_FLOAT_EQ(PixelTransform::Log(static_cast<float>(M_E)), 1.0f);
    // Out of the domain gives 0; for the logarithms the upper bound FLT_MAX is excluded.
    EXPECT_EQ((V{PixelTransform::Log(0.0f), PixelTransform::Log(-3.0f), PixelTransform::Log(INFINITY),
                 PixelTransform::Log10(FLT_MAX), PixelTransform::Sqrt(-4.0f), PixelTransform::Sqrt(16.0f),
                 PixelTransform::Exp(100.0f), PixelTransform::Pow10(39.0f)}),
              (V{0, 0, 0, 0, 0, 4, INFINITY, INFINITY}));

    // Lower region 4 stored pixels at offset 0, upper 12 at offset 4; all hold 16.
    const TSubImage layout[2] = {TSubImage(1, 2, 4, 1, 1, 2), TSubImage(1, 6, 6, 3, 2, 1)};
    Series s(2, layout);
    TKavriImage& image = s.image;
    auto frame = [&](unsigned int n) { return s.Frame(n); };
    s.Fill(1, V(16, 16));
    s.Fill(2, V(16, 16));
    // Region 1 counts its pixels from the entry after it: 12, from offset 0.
    image.Sqrt(1, 1);
    EXPECT_EQ(frame(1), (V{4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 4, 16, 16, 16, 16}));
    image.Sqrt(2, 0);  // the last region has no entry after it: nothing
    image.Sqrt(3, 0);
    EXPECT_EQ(frame(2), V(16, 16));
    // The row form uses the region's own geometry: stored row 2 of region 2.
    image.Log10(2, 2, 2);
    image.Log10(3, 2, 2);  // not a stored row
    image.Log10(0, 2, 2);
    const V logged = frame(2);
    for (int i = 0; i < 16; ++i) EXPECT_FLOAT_EQ(logged[i], i < 10 ? 16.0f : 1.20411998f) << i;

    image.Zero(0);  // changes nothing
    image.Zero(1);
    EXPECT_EQ(frame(1), V(16, 0.0f));
    EXPECT_EQ(frame(2)[0], 16.0f);
    image.Zero();
    EXPECT_EQ(frame(2), V(16, 0.0f));
}
