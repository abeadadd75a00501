// The utility helpers: rounding rules, path splitting, 64-bit text conversions and
// the clock arithmetic.
#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "util/kavrimath.h"
#include "util/kavrimisc.h"
#include "util/kavritime.h"

using KavriUtility::TKavriMath;
using KavriUtility::TKavriMisc;

TEST(KavriMath, RoundingAndTolerances) {
    using M = TKavriMath;
    // RoundDouble halves away from zero (1.25 x 10 = 12.5 is exact); Round2Int adds a
    // half in double (in float 0.49999997 would reach 1) and truncates toward zero, out
    // of range giving INT_MIN; the fast conversion rounds halves to even.
    EXPECT_EQ((std::vector<double>{M::RoundDouble(-2.5, 0), M::RoundDouble(-1.25, 1), M::RoundDouble(1234.5, -2)}),
              (std::vector<double>{-3, -1.3, 1200}));
    EXPECT_EQ((std::vector<int>{M::Round2Int(1.5), M::Round2Int(-1.5), M::Round2Int(0.49999997f), M::Round2Int(3e9),
                                TKavriMisc::FastDoubleToKavri32(2.5), TKavriMisc::FastDoubleToKavri32(-3.5)}),
              (std::vector<int>{2, -1, 0, INT_MIN, 2, -4}));
    // Floats get the wider tolerance; a zero divisor is never a whole multiple.
    EXPECT_EQ((std::vector<bool>{M::IsZero(1e-8), M::IsZero(1e-8f), M::Equals(1.0f, 1.0f + 5e-8f),
                                 M::Equals(1.0, 1.0 + 1e-9), M::IsModulusZero(5, 0), M::IsModulusZero(INT_MIN, -1),
                                 M::IsModulusZero(7.5, 2.5), M::IsModulusZero(1.0, 0.0), M::IsNotWholeNumber(-3.0)}),
              (std::vector<bool>{0, 1, 1, 0, 0, 1, 1, 0, 0}));
    // Coprime neighbours past 16 bits: the product does not fit 32 bits.
    EXPECT_EQ(M::GetLowestCommonMultiple(65537, 65539), 4295229443ull);
}

TEST(KavriMisc, SplitsPathsWithinTheOutputs) {
    // Flags: 1 extension, 2 file name, 4 folder, 8 drive, 16 wild name, 32 wild folder.
    const std::string longDir = "/" + std::string(400, 'd') + "/";
    const struct { std::string path; int flags; std::vector<std::string> parts; } cases[] = {
        {"C:/data/run*.mcf", 31, {"C:", "C:/data/", "/data/", "run*", "run*.mcf", ".mcf"}},
        {"C:..", 12, {"C:", "C:../", "../", "", "", ""}},  // dots alone are a folder
        {"a/b?/c.tar.gz", 39, {"", "a/b?/", "a/b?/", "c.tar", "c.tar.gz", ".gz"}},  // the last dot splits
        // Parts longer than their outputs are cut, not overrun.
        {longDir + "f.x", 7, {"", longDir.substr(0, TKavriMisc::MaxDirPath - 1), longDir.substr(0, TKavriMisc::MaxDir - 1),
                              "f", "f.x", ".x"}},
    };
    for (const auto& c : cases) {
        char drive[TKavriMisc::MaxDrive], dirPath[TKavriMisc::MaxDirPath], dir[TKavriMisc::MaxDir];
        char name[TKavriMisc::MaxFile], fileName[TKavriMisc::MaxFile], ext[TKavriMisc::MaxExt];
        for (char* s : {drive, dirPath, dir, name, fileName, ext}) std::strcpy(s, "x");  // stale contents go
        EXPECT_EQ(TKavriMisc::fnSplit1(c.path.c_str(), drive, dirPath, dir, name, fileName, ext), c.flags) << c.path;
        EXPECT_EQ((std::vector<std::string>{drive, dirPath, dir, name, fileName, ext}), c.parts) << c.path;
    }
    EXPECT_EQ(TKavriMisc::fnSplit1("C:/data/run*.mcf", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 31);
    EXPECT_EQ(TKavriMisc::fnSplit1(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
}

TEST(KavriMisc, SixtyFourBitTextBothWays) {
    char buf[64];
    TKavriMisc::snprintf(buf, sizeof buf, "%5I64u|%%I64u|%I64d|%g|%I64u", 7ull, -3ll, 0.5, 18446744073709551615ull);
    EXPECT_STREQ(buf, "    7|%I64u|-3|0.5|18446744073709551615");
    // Cut to the buffer, terminated, and the full length reported.
    char small[8];
    EXPECT_EQ(TKavriMisc::snprintf(small, sizeof small, "%I64u", 1234567890123ull), 13);
    EXPECT_STREQ(small, "1234567");
    wchar_t wide[8];
    TKavriMisc::snwprintf(wide, 8, L"%I64u", 1234567890123ull);
    EXPECT_EQ(wide[7], L'\0');

    std::memset(small, 'x', sizeof small);
    TKavriMisc::UI64ToString(0, small, sizeof small);
    EXPECT_EQ(std::string(small, 8), std::string(8, '\0'));  // 0 is the empty text
    EXPECT_STREQ(TKavriMisc::UI64ToString(1234, small, 3), "12");
    // Past the maximum the last digit is dropped; leading blanks skipped, a sign stops.
    EXPECT_EQ((std::vector<unsigned long long>{TKavriMisc::StringToUI64("  18446744073709551616"),
                                               TKavriMisc::StringToUI64("\t\n 42abc"), TKavriMisc::StringToUI64("-5"),
                                               TKavriMisc::StringToUI64(nullptr)}),
              (std::vector<unsigned long long>{1844674407370955161ull, 42, 0, 0}));
}

TEST(KavriMisc, ClockArithmetic) {
    setenv("TZ", "UTC", 1);
    tzset();
    timeval t = {951782400, 123999};  // 2000-02-29 00:00:00, a Tuesday
    KavriUtility::SYSTEMTIME st = TKavriMisc::TimeValToSYSTEMTIME(t);
    // The month counts from 0; milliseconds truncate.
    EXPECT_EQ((std::vector<int>{st.wYear, st.wMonth, st.wDay, st.wDayOfWeek, st.wHour, st.wMilliseconds}),
              (std::vector<int>{2000, 1, 29, 2, 0, 123}));
    timeval a = TKavriMisc::getSystemTimeOffset({10, 900000}, 200000);
    timeval b = TKavriMisc::getSystemTimeOffset({10, 100000}, -2200000);
    EXPECT_EQ((std::vector<long>{a.tv_sec, a.tv_usec, b.tv_sec, b.tv_usec}), (std::vector<long>{11, 100000, 7, 900000}));
    EXPECT_EQ((TKavriTime(1) - TKavriTime(2)).GetTimeUs(), 18446744073709551615ull);  // wraps, as unsigned does
}
