// The utility helpers the readers lean on: tolerances, bounded copies and 64-bit
// formatting, plus the rounding rules.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <vector>

#include "util/kavrimath.h"
#include "util/kavrimisc.h"

using KavriUtility::TKavriMath;
using KavriUtility::TKavriMisc;

TEST(KavriMath, RoundingAndTolerances) {
    using M = TKavriMath;
    // RoundDouble halves away from zero (1.25 x 10 = 12.5 is exact); Round2Int adds a
    // half in double (in float 0.49999997 would reach 1) and truncates toward zero, out
    // of range giving INT_MIN.
    EXPECT_EQ((std::vector<double>{M::RoundDouble(-2.5, 0), M::RoundDouble(-1.25, 1), M::RoundDouble(1234.5, -2)}),
              (std::vector<double>{-3, -1.3, 1200}));
    EXPECT_EQ((std::vector<int>{M::Round2Int(1.5), M::Round2Int(-1.5), M::Round2Int(0.49999997f), M::Round2Int(3e9)}),
              (std::vector<int>{2, -1, 0, INT_MIN}));
    // Floats get the wider tolerance.
    EXPECT_EQ((std::vector<bool>{M::IsZero(1e-17), M::IsZero(1e-8), M::IsZero(1e-8f), M::IsZero(1e-6f),
                                 M::Equals(0.1 + 0.2, 0.3), M::Equals(1.0f, 1.0f + 5e-8f), M::Equals(1.0, 1.0 + 1e-9)}),
              (std::vector<bool>{1, 0, 1, 0, 1, 1, 0}));
}

TEST(KavriMisc, BoundedCopiesAndSixtyFourBitFormatting) {
    char dst[4] = {'q', 'q', 'q', 'q'};
    EXPECT_EQ(TKavriMisc::mbstotcs(dst, "abcdef", sizeof dst), 3u);
    EXPECT_EQ(TKavriMisc::mbstotcs(dst, "z", 0), 0u);
    EXPECT_STREQ(dst, "abc");
    EXPECT_EQ(TKavriMisc::strncpy(dst, nullptr, 4), dst);  // a null source leaves dst alone
    EXPECT_STREQ(dst, "abc");

    char buf[64];
    TKavriMisc::snprintf(buf, sizeof buf, "%5I64u|%%I64u|%I64d|%g|%I64u", 7ull, -3ll, 0.5, 18446744073709551615ull);
    EXPECT_STREQ(buf, "    7|%I64u|-3|0.5|18446744073709551615");
    // Cut to the buffer, terminated, and the full length reported.
    char small[8];
    EXPECT_EQ(TKavriMisc::snprintf(small, sizeof small, "%I64u", 1234567890123ull), 13);
    EXPECT_STREQ(small, "1234567");
}
