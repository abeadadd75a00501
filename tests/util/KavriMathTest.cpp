// Rounding rules, tolerances and the integer helpers.
#include <gtest/gtest.h>

#include <climits>

#include "util/kavrimath.h"

using KavriUtility::TKavriMath;

TEST(KavriMath, RoundingRules) {
    // RoundDouble halves away from zero; 1.25 x 10 = 12.5 is exact.
    const struct { double in; int places; double out; } rounded[] = {
        {2.5, 0, 3}, {-2.5, 0, -3}, {2.4, 0, 2}, {1.25, 1, 1.3}, {-1.25, 1, -1.3}, {1234.5, -2, 1200}};
    for (const auto& r : rounded) EXPECT_DOUBLE_EQ(TKavriMath::RoundDouble(r.in, r.places), r.out) << r.in;

    // Round2Int adds a half and truncates toward zero.
    EXPECT_EQ(TKavriMath::Round2Int(1.5), 2);
    EXPECT_EQ(TKavriMath::Round2Int(-1.5), -1);
    EXPECT_EQ(TKavriMath::Round2Int(-2.6), -2);
    EXPECT_EQ(TKavriMath::Round2Int(-1.5f), -1);
    // The half is added in double: in float this sum would round up to 1.
    EXPECT_EQ(TKavriMath::Round2Int(0.49999997f), 0);
    EXPECT_EQ(TKavriMath::Round2Int(3e9), INT_MIN);
    EXPECT_EQ(TKavriMath::Round2Int(-3e9f), INT_MIN);
}

TEST(KavriMath, TolerancesFollowTheArgumentWidth) {
    EXPECT_TRUE(TKavriMath::IsZero(1e-17));
    EXPECT_FALSE(TKavriMath::IsZero(1e-8));
    EXPECT_TRUE(TKavriMath::IsZero(1e-8f));
    EXPECT_FALSE(TKavriMath::IsZero(1e-6f));
    EXPECT_TRUE(TKavriMath::Equals(0.1 + 0.2, 0.3));
    EXPECT_TRUE(TKavriMath::Equals(1.0f, 1.0f + 5e-8f));
    EXPECT_FALSE(TKavriMath::Equals(1.0, 1.0 + 1e-9));

    EXPECT_TRUE(TKavriMath::IsModulusZero(6, 3));
    EXPECT_FALSE(TKavriMath::IsModulusZero(7, 3));
    EXPECT_FALSE(TKavriMath::IsModulusZero(5, 0));
    EXPECT_TRUE(TKavriMath::IsModulusZero(INT_MIN, -1));
    EXPECT_TRUE(TKavriMath::IsModulusZero(7.5, 2.5));
    EXPECT_FALSE(TKavriMath::IsModulusZero(7.0, 2.5));
    EXPECT_FALSE(TKavriMath::IsModulusZero(1.0, 0.0));
    EXPECT_FALSE(TKavriMath::IsNotWholeNumber(-3.0));
    EXPECT_TRUE(TKavriMath::IsNotWholeNumber(3.25));

    EXPECT_EQ(TKavriMath::keepWithinMinMax(5, 0, 3), 3);
    EXPECT_EQ(TKavriMath::keepWithinMinMax(-1, 0, 3), 0);

    EXPECT_EQ(TKavriMath::GetLowestCommonMultiple(4, 6), 12u);
    EXPECT_EQ(TKavriMath::GetLowestCommonMultiple(8, 2), 8u);
    EXPECT_EQ(TKavriMath::GetLowestCommonMultiple(0, 5), 0u);
    // Coprime neighbours past 16 bits: the product does not fit 32 bits.
    EXPECT_EQ(TKavriMath::GetLowestCommonMultiple(65537, 65539), 4295229443ull);
}
