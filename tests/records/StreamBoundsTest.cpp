#include <gtest/gtest.h>

#include <sstream>

#include "records/StreamBounds.h"

namespace sb = StreamBounds;

TEST(StreamBounds, ClaimsAreComparedWithTheBytesLeftWithoutOverflow) {
    std::istringstream is("0123456789");
    is.ignore(2);  // 8 bytes left
    EXPECT_EQ(sb::Left(is), 8);
    EXPECT_TRUE(sb::HoldsBlock(is, 2, 3, 2));   // 2 + 3 x 2 = 8: fits exactly
    EXPECT_FALSE(sb::HoldsBlock(is, 2, 4, 2));  // 10
    EXPECT_FALSE(sb::HoldsBlock(is, 9, 0, 0));  // the fixed part alone is too long
    EXPECT_TRUE(sb::HoldsNumbers(is, 4));       // 4 x 2 = 8
    EXPECT_FALSE(sb::HoldsNumbers(is, 4, 1));
    // 2^63 items of 2 bytes would wrap to 0 if multiplied.
    EXPECT_FALSE(sb::HoldsItems(is, 1ull << 63, 2));
    EXPECT_FALSE(sb::HoldsItems(is, 1, ~0ull));
    EXPECT_TRUE(sb::HoldsItems(is, ~0ull, 0));  // empty items take no bytes
    EXPECT_EQ(is.tellg(), 2);                   // asking does not move the stream

    is.setstate(std::ios::failbit);
    EXPECT_FALSE(sb::HoldsItems(is, 0, 0));  // a failed stream holds nothing
}
