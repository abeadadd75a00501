// Microsecond clock values: unit conversion and unsigned arithmetic.
#include <gtest/gtest.h>

#include "util/kavrimisc.h"
#include "util/kavritime.h"

TEST(KavriTime, CountsMicroseconds) {
    EXPECT_EQ(TKavriTime().GetTimeUs(), 0ull);
    EXPECT_EQ(TKavriTime(1999).GetTimeMs(), 1ull);
    EXPECT_EQ((TKavriTime(5000) + TKavriTime(2500)).GetTimeUs(), 7500ull);
    EXPECT_EQ((TKavriTime(5000) - TKavriTime(2500)).GetTimeUs(), 2500ull);
    EXPECT_EQ((TKavriTime(1) - TKavriTime(2)).GetTimeUs(), 18446744073709551615ull);

    const timeval before = KavriUtility::TKavriMisc::getSystemTime();
    TKavriTime now;
    now.GetCurrentSystemTime();
    const unsigned long long beforeUs = before.tv_sec * 1000000ull + before.tv_usec;
    EXPECT_GE(now.GetTimeUs(), beforeUs);
    EXPECT_LT(now.GetTimeUs() - beforeUs, 5000000ull);
}
