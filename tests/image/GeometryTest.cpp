// Sub-image records and the point-to-offset mapping.
#include <gtest/gtest.h>

#include <sstream>

#include "image/DataStore.h"
#include "image/SubImage.h"

TEST(Geometry, SubImageRecordIgnoresItsVersion) {
    // The sub-image version is read and ignored, whatever it is.
    for (const char* text : {"65538 1 256 1024 1 1 1", "7\n1  256 1024\r\n1 1 1"}) {
        std::istringstream is(text);
        TSubImage s;
        is >> s;
        EXPECT_FALSE(is.fail()) << text;
        EXPECT_EQ(s, TSubImage(1, 256, 1024, 1, 1, 1)) << text;
    }
}

TEST(Geometry, PointOffsetAndPixelCount) {
    // Columns 1..1024 at hBin 2 store 512 per row; (5, 9) lies in stored row 2, column 2.
    const TSubImage sub(1, 1024, 1024, 1, 4, 2);
    EXPECT_EQ(DataStore::PointOffset(TKavriPoint(5, 9), sub), 2u * 512u + 2u);

    // One division of the whole area: 3x3 at 2x2 gives 9 / 4 = 2 (per axis would give 1).
    EXPECT_EQ(TSubImage(1, 3, 3, 1, 2, 2).PixelCount(), 2u);
    EXPECT_EQ(TSubImage(5, 1, 4, 1, 1, 1).PixelCount(), 0u);  // inverted

    // A zero binning factor from a corrupt file counts as 1 instead of dividing by zero.
    const TSubImage corrupt(1, 2, 4, 1, 0, 0);
    EXPECT_EQ(corrupt.PixelCount(), 8u);
    EXPECT_EQ(DataStore::PointOffset(TKavriPoint(2, 2), corrupt), 5u);
}
