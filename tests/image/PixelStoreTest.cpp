// Typed stores and their conversions at the edges, region extremes, and frames asked
// for outside the series.
#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <memory>
#include <utility>
#include <vector>

#include "image/DataStore.h"
#include "image/KavriImage.h"

TEST(PixelStore, ConversionsWrapAndNeverClamp) {
    std::unique_ptr<DataStore> i32(DataStore::CreateDataStore(DataStore::Int32, 5));
    const float floats[5] = {-1.9f, 2147483648.0f, -2147483648.0f, 3e9f, NAN};
    i32->SetDataAsFloat(floats);
    // Toward zero; anything out of range or NaN is the lowest int.
    EXPECT_EQ((std::vector<int>{i32->GetAsInt(0), i32->GetAsInt(1), i32->GetAsInt(2), i32->GetAsInt(3), i32->GetAsInt(4)}),
              (std::vector<int>{-1, INT_MIN, INT_MIN, INT_MIN, INT_MIN}));
    EXPECT_EQ(i32->GetAsFloat(99), 0.0f);  // outside the store

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

TEST(PixelStore, FramesOutsideTheSeriesGiveNothing) {
    const TSubImage sub(1, 1, 2, 1, 1, 1);
    TKavriImage image(TKavriRect(1, 1, 2, 1), 1, &sub, 3, false, true, DataStore::Float);
    EXPECT_EQ(image.ObtainReadImagePtr(4), nullptr);
    EXPECT_EQ(image.ObtainReadSubImagePtr(1, 0), nullptr);
    EXPECT_EQ(image.ObtainReadSubImagePtr(2, 1), nullptr);
    image.ReleaseImagePtr(0);
    image.ReleaseImagePtr(99);  // out of range: nothing happens
}
