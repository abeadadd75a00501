// The utility helpers the readers lean on: tolerances and bounded copies.
#include <gtest/gtest.h>

#include <vector>

#include "util/kavrimath.h"
#include "util/kavrimisc.h"

using KavriUtility::TKavriMath;
using KavriUtility::TKavriMisc;

TEST(KavriMath, Tolerances) {
    using M = TKavriMath;
    // Floats get the wider tolerance.
    EXPECT_EQ((std::vector<bool>{M::IsZero(1e-17), M::IsZero(1e-8), M::IsZero(1e-8f), M::IsZero(1e-6f),
                                 M::Equals(0.1 + 0.2, 0.3), M::Equals(1.0f, 1.0f + 5e-8f), M::Equals(1.0, 1.0 + 1e-9)}),
              (std::vector<bool>{1, 0, 1, 0, 1, 1, 0}));
}

TEST(KavriMisc, BoundedCopies) {
    char dst[4] = {'q', 'q', 'q', 'q'};
    EXPECT_EQ(TKavriMisc::mbstotcs(dst, "abcdef", sizeof dst), 3u);
    EXPECT_EQ(TKavriMisc::mbstotcs(dst, "z", 0), 0u);
    EXPECT_STREQ(dst, "abc");
    EXPECT_EQ(TKavriMisc::strncpy(dst, nullptr, 4), dst);  // a null source leaves dst alone
    EXPECT_STREQ(dst, "abc");
}
