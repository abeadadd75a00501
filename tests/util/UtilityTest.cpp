// The utility helpers: rounding and tolerances, path splitting, 64-bit text
// conversions, bounded copies and the clock arithmetic.
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

namespace {
struct Split {
    char drive[TKavriMisc::MaxDrive];
    char dirPath[TKavriMisc::MaxDirPath];
    char dir[TKavriMisc::MaxDir];
    char name[TKavriMisc::MaxFile];
    char fileName[TKavriMisc::MaxFile];
    char ext[TKavriMisc::MaxExt];
    int flags;

    explicit Split(const char* path) {
        // Stale contents must be replaced, not kept.
        for (char* s : {drive, dirPath, dir, name, fileName, ext}) std::strcpy(s, "x");
        flags = TKavriMisc::fnSplit1(path, drive, dirPath, dir, name, fileName, ext);
    }
};
}  // namespace

TEST(KavriMath, RoundingRules) {
    // RoundDouble halves away from zero; 1.25 x 10 = 12.5 is exact.
    const struct { double in; int places; double out; } rounded[] = {
        {2.5, 0, 3}, {-2.5, 0, -3}, {2.4, 0, 2}, {1.25, 1, 1.3}, {-1.25, 1, -1.3}, {1234.5, -2, 1200}};
    for (const auto& r : rounded) EXPECT_DOUBLE_EQ(TKavriMath::RoundDouble(r.in, r.places), r.out) << r.in;

    // Round2Int adds a half in double (in float 0.49999997 would reach 1) and truncates
    // toward zero; out of range gives INT_MIN.
    EXPECT_EQ((std::vector<int>{TKavriMath::Round2Int(1.5), TKavriMath::Round2Int(-1.5), TKavriMath::Round2Int(-2.6),
                                TKavriMath::Round2Int(0.49999997f), TKavriMath::Round2Int(3e9),
                                TKavriMath::Round2Int(-3e9f)}),
              (std::vector<int>{2, -1, -2, 0, INT_MIN, INT_MIN}));

    // The fast conversion rounds halves to even.
    const struct { double in; int out; } even[] = {{0.5, 0}, {1.5, 2}, {2.5, 2}, {-2.5, -2}, {-3.5, -4}, {-1.6, -2}};
    for (const auto& c : even) EXPECT_EQ(TKavriMisc::FastDoubleToKavri32(c.in), c.out) << c.in;
}

TEST(KavriMath, TolerancesFollowTheArgumentWidth) {
    using M = TKavriMath;
    // Floats get the wider tolerance; a zero divisor is never a whole multiple.
    EXPECT_EQ((std::vector<bool>{M::IsZero(1e-17), M::IsZero(1e-8), M::IsZero(1e-8f), M::IsZero(1e-6f),
                                 M::Equals(0.1 + 0.2, 0.3), M::Equals(1.0f, 1.0f + 5e-8f), M::Equals(1.0, 1.0 + 1e-9),
                                 M::IsModulusZero(7, 3), M::IsModulusZero(5, 0), M::IsModulusZero(INT_MIN, -1),
                                 M::IsModulusZero(7.5, 2.5), M::IsModulusZero(7.0, 2.5), M::IsModulusZero(1.0, 0.0),
                                 M::IsNotWholeNumber(-3.0), M::IsNotWholeNumber(3.25)}),
              (std::vector<bool>{1, 0, 1, 0, 1, 1, 0, 0, 0, 1, 1, 0, 0, 0, 1}));
    // Coprime neighbours past 16 bits: the product does not fit 32 bits.
    EXPECT_EQ((std::vector<unsigned long long>{M::GetLowestCommonMultiple(4, 6), M::GetLowestCommonMultiple(0, 5),
                                               M::GetLowestCommonMultiple(65537, 65539)}),
              (std::vector<unsigned long long>{12, 0, 4295229443ull}));
}

TEST(KavriMisc, SplitsPaths) {
    // Flags: 1 extension, 2 file name, 4 folder, 8 drive, 16 wild name, 32 wild folder.
    const struct { const char* path; int flags; const char* parts[6]; } cases[] = {
        {"C:/data/run*.mcf", 31, {"C:", "C:/data/", "/data/", "run*", "run*.mcf", ".mcf"}},
        {"C:..", 12, {"C:", "C:../", "../", "", "", ""}},  // dots alone are a folder
        {"a/b?/c.tar.gz", 39, {"", "a/b?/", "a/b?/", "c.tar", "c.tar.gz", ".gz"}},  // the last dot splits
        {"readme", 2, {"", "", "", "readme", "readme", ""}},
        {"/tmp/", 4, {"", "/tmp/", "/tmp/", "", "", ""}},
    };
    for (const auto& c : cases) {
        Split s(c.path);
        EXPECT_EQ(s.flags, c.flags) << c.path;
        EXPECT_EQ((std::vector<std::string>{s.drive, s.dirPath, s.dir, s.name, s.fileName, s.ext}),
                  std::vector<std::string>(c.parts, c.parts + 6)) << c.path;
    }
    {  // Parts longer than their outputs are cut, not overrun.
        const std::string longDir = "/" + std::string(400, 'd') + "/";
        Split s((longDir + "f.x").c_str());
        EXPECT_EQ(std::strlen(s.dir), TKavriMisc::MaxDir - 1);
        EXPECT_EQ(std::strlen(s.dirPath), TKavriMisc::MaxDirPath - 1);
        EXPECT_STREQ(s.name, "f");
    }
    // Null outputs are skipped; the flags are the same.
    EXPECT_EQ(TKavriMisc::fnSplit1("C:/data/run*.mcf", nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 31);
    EXPECT_EQ(TKavriMisc::fnSplit1(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), 0);
    char dir[TKavriMisc::MaxDir];
    char name[TKavriMisc::MaxFile];
    char ext[TKavriMisc::MaxExt];
    EXPECT_EQ(TKavriMisc::fnsplit("x/y.z", nullptr, dir, name, ext), 4 + 2 + 1);
    EXPECT_STREQ(dir, "x/");
    EXPECT_STREQ(name, "y.z");  // the short form's name is the whole file name
    EXPECT_STREQ(ext, ".z");
}

TEST(KavriMisc, SixtyFourBitTextBothWaysAndBoundedCopies) {
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
    EXPECT_EQ(TKavriMisc::UI64ToString(5, nullptr, 10), nullptr);
    // Past the maximum the last digit is dropped; leading blanks skipped, a sign stops.
    EXPECT_EQ((std::vector<unsigned long long>{TKavriMisc::StringToUI64("  18446744073709551616"),
                                               TKavriMisc::StringToUI64("\t\n 42abc"), TKavriMisc::StringToUI64("-5"),
                                               TKavriMisc::StringToUI64(nullptr)}),
              (std::vector<unsigned long long>{1844674407370955161ull, 42, 0, 0}));

    char dst[4] = {'q', 'q', 'q', 'q'};
    EXPECT_EQ(TKavriMisc::tcstombs(dst, "abcdef", sizeof dst), 3u);
    EXPECT_EQ(TKavriMisc::mbstotcs(dst, "z", 0), 0u);
    EXPECT_STREQ(dst, "abc");
    EXPECT_EQ(TKavriMisc::stricmp("Signal", "sIGNAL"), 0);
    EXPECT_LT(TKavriMisc::stricmp("abc", "ABD"), 0);
    char odd[] = "abc";
    EXPECT_STREQ(TKavriMisc::ReverseString(odd), "cba");
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
    EXPECT_EQ((std::vector<long>{a.tv_sec, a.tv_usec, b.tv_sec, b.tv_usec}),
              (std::vector<long>{11, 100000, 7, 900000}));
}

TEST(KavriTime, CountsMicroseconds) {
    EXPECT_EQ(TKavriTime(1999).GetTimeMs(), 1ull);
    EXPECT_EQ((TKavriTime(1) - TKavriTime(2)).GetTimeUs(), 18446744073709551615ull);  // wraps, as unsigned does
    const timeval before = KavriUtility::TKavriMisc::getSystemTime();
    TKavriTime now;
    now.GetCurrentSystemTime();
    const unsigned long long beforeUs = before.tv_sec * 1000000ull + before.tv_usec;
    EXPECT_GE(now.GetTimeUs(), beforeUs);
    EXPECT_LT(now.GetTimeUs() - beforeUs, 5000000ull);
}
