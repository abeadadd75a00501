// Typed stores, their conversions at the edges, frames' float views and the
// two-entry read cache of an image.
#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <deque>
#include <memory>
#include <tuple>
#include <utility>
#include <vector>

#include "image/DataStore.h"
#include "image/Frame.h"
#include "image/KavriImage.h"
#include "util/spoolhdl_stub.h"

TEST(PixelStore, ConversionsWrapAndNeverClamp) {
    std::unique_ptr<DataStore> i32(DataStore::CreateDataStore(DataStore::Int32, 6));
    const float floats[6] = {-1.9f, 2147483648.0f, -2147483648.0f, 3e9f, NAN, 16777217.0f};
    i32->SetDataAsFloat(floats);
    // Toward zero; anything out of range or NaN is the lowest int.
    EXPECT_EQ((std::vector<int>{i32->GetAsInt(0), i32->GetAsInt(1), i32->GetAsInt(2), i32->GetAsInt(3), i32->GetAsInt(4)}),
              (std::vector<int>{-1, INT_MIN, INT_MIN, INT_MIN, INT_MIN}));
    i32->SetAsInt(5, 16777217);
    EXPECT_EQ(i32->GetAsFloat(5), 16777216.0f);  // nearest float
    i32->SetAsInt(0, -1);
    i32->SetAsInt(1, 65537);
    EXPECT_EQ((std::vector<int>{i32->GetAsUnsignedShort(0), i32->GetAsUnsignedShort(1)}), (std::vector<int>{65535, 1}));

    std::unique_ptr<DataStore> u16(DataStore::CreateDataStore(DataStore::UnsignedShort, 4));
    const float more[4] = {-1.0f, 70000.5f, 65536.0f, 5e9f};
    u16->SetDataAsFloat(more);
    // Through int, low half kept: 5e9 is the lowest int, whose low half is 0.
    EXPECT_EQ((std::vector<int>{u16->GetAsUnsignedShort(0), u16->GetAsUnsignedShort(1), u16->GetAsUnsignedShort(2),
                                u16->GetAsUnsignedShort(3)}),
              (std::vector<int>{65535, 4464, 0, 0}));
    u16->SetAsUnsignedShort(0, 65535);
    EXPECT_EQ(u16->GetAsInt(0), 65535);  // zero-extended
    EXPECT_EQ(u16->GetAsFloat(0), 65535.0f);
    EXPECT_EQ(u16->GetAsFloat(99), 0.0f);  // outside the store

    const std::int32_t ints[2] = {-2, 65536 + 7};
    std::uint16_t out[2] = {};
    EXPECT_EQ(DataStore::Copy(ints, ints + 2, out), out + 2);
    EXPECT_EQ(out[0] + 0x10000 * out[1], 65534 + 0x10000 * 7);

    EXPECT_EQ(DataStore::CreateDataStore(static_cast<DataStore::ePixelDataType>(3), 4), nullptr);
    EXPECT_EQ(DataStore::CreateDataStore(static_cast<DataStore::ePixelDataType>(-1), 4), nullptr);
}

TEST(PixelStore, RegionExtremesStayInsideTheStore) {
    // Float maximum starts at the smallest normal float: an all-negative region reports it.
    std::unique_ptr<DataStore> f(DataStore::CreateDataStore(DataStore::Float, 6));
    const float neg[6] = {-1, -2, -3, -4, -5, -6};
    f->SetDataAsFloat(neg);
    TKavriPoint at(-7, -7);
    TSubImage s(1, 2, 3, 1, 1, 1);
    EXPECT_EQ(f->GetMaximum(TKavriRect(1, 1, 3, 2), 0, s, &at), FLT_MIN);
    EXPECT_EQ(std::make_pair(at.x, at.y), std::make_pair(-7, -7));

    // hBin 2 over columns 1..4: two stored pixels per row. A region reaching past the
    // store reads nothing outside it.
    std::unique_ptr<DataStore> i(DataStore::CreateDataStore(DataStore::Int32, 4));
    const int iv[4] = {5, 8, -3, 6};
    i->SetDataAsInt(iv);
    TSubImage binned(1, 2, 4, 1, 1, 2);
    EXPECT_EQ(i->GetMinimum(TKavriRect(1, 1, 4, 50), 2, binned, &at), -3.0f);
}

TEST(PixelStore, FrameViews) {
    Frame frame(DataStore::Int32, 3, true);
    static_cast<int*>(frame.GetDataStore()->Get())[1] = -5;
    float* a = frame.GetReadBuffer();
    float* b = frame.GetReadBuffer();
    EXPECT_EQ(std::make_tuple(b, a[1], frame.GetReadCount()), std::make_tuple(a, -5.0f, 2u));
    frame.ReleaseReadBuffer();
    ASSERT_NE(frame.GetFloatCopy(), nullptr);
    // Writing adopts the existing float copy instead of converting again.
    float* w = frame.GetWriteBuffer();
    EXPECT_EQ(std::make_tuple(w, frame.GetDataStore()->GetType(), frame.GetFloatCopy()),
              std::make_tuple(a, DataStore::Float, static_cast<DataStore*>(nullptr)));
    // A float frame hands out its own array and keeps no count.
    EXPECT_EQ(frame.GetReadBuffer(), w);
    EXPECT_EQ(frame.GetReadCount(), 0u);
}

TEST(PixelStore, ReadCacheKeepsTwoMostRecentFrames) {
    const TSubImage sub(1, 1, 2, 1, 1, 1);
    TKavriImage image(TKavriRect(1, 1, 2, 1), 1, &sub, 3, false, true, DataStore::UnsignedShort);
    Frame* f1 = image.GetFrame(1);
    Frame* f2 = image.GetFrame(2);
    Frame* f3 = image.GetFrame(3);

    // Two callers and the cache.
    ASSERT_NE(image.ObtainReadImagePtr(1), nullptr);
    ASSERT_NE(image.ObtainReadImagePtr(1), nullptr);
    EXPECT_EQ(f1->GetReadCount(), 3u);
    image.ReleaseImagePtr(1);
    image.ReleaseImagePtr(1);
    EXPECT_EQ(f1->GetReadCount(), 1u);
    EXPECT_NE(f1->GetFloatCopy(), nullptr);

    // Reading 2, 1 again, then 3 evicts 2 (least recent), not 1.
    for (unsigned int n : {2u, 1u, 3u}) {
        ASSERT_NE(image.ObtainReadImagePtr(n), nullptr);
        image.ReleaseImagePtr(n);
    }
    EXPECT_EQ(image.GetReadCache(), (std::deque<Frame*>{f1, f3}));
    EXPECT_EQ(std::make_pair(f2->GetFloatCopy(), f1->GetReadCount()),
              std::make_pair(static_cast<DataStore*>(nullptr), 1u));

    EXPECT_EQ(image.ObtainReadImagePtr(4), nullptr);
    EXPECT_EQ(image.ObtainReadSubImagePtr(1, 0), nullptr);
    EXPECT_EQ(image.ObtainReadSubImagePtr(2, 1), nullptr);
    image.ReleaseImagePtr(0);
    image.ReleaseImagePtr(99);  // out of range: nothing happens
}

namespace {
// Records which 0-based frames the image asks for.
class RecordingSpool : public SpoolHandler {
public:
    RecordingSpool() : SpoolHandler(2, 4, 3, false) {}
    float* ObtainReadImagePtr(unsigned int frame) override {
        lastRead = frame;
        return pixels;
    }
    void ReleaseImagePtr(unsigned int frame) override { lastRelease = frame; }
    void Persist() override { ++persisted; }
    float pixels[4] = {};
    unsigned int lastRead = 99, lastRelease = 99;
    int persisted = 0;
};
}  // namespace

TEST(PixelStore, SpoolModeServesFramesFromTheHandler) {
    const TSubImage subs[2] = {TSubImage(1, 1, 2, 1, 1, 1), TSubImage(5, 1, 6, 1, 1, 1)};
    TKavriImage image(TKavriRect(), 2, subs, 3, true, false, DataStore::Float);
    auto* spool = new RecordingSpool;
    image.SetSpoolHandler(spool);
    EXPECT_EQ(image.ObtainReadImagePtr(3), spool->pixels);
    EXPECT_EQ(spool->lastRead, 2u);
    EXPECT_EQ(image.ObtainReadSubImagePtr(2, 1), spool->pixels + 2);
    EXPECT_EQ(spool->lastRead, 0u);
    image.ReleaseImagePtr(1);
    EXPECT_EQ(spool->lastRelease, 0u);
    EXPECT_TRUE(image.GetReadCache().empty());
    image.Persist();
    EXPECT_EQ(spool->persisted, 1);
}
