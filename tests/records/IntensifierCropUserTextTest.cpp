// Intensifier, crop and user-text records: version gates from typed record text,
// round trips, and user texts longer than the buffer or longer than the stream.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <sstream>
#include <string>

#include "records/UserText.h"
#include "records/cropsave.h"
#include "records/iccdsave.h"

namespace {
std::string Rest(std::istream& is) {
    std::string rest;
    char c;
    while (is.get(c)) rest += c;
    return rest;
}

// Typed from the field table: fixed fields, optional width step, outputs, optional aux.
std::string IntensifierRecord(const std::string& version, bool widthStep, bool aux) {
    std::string r = version + " 1 2 3 4 1 1000 18446744073709551615 1 500000 7 0 0.5 0.25";
    if (widthStep) r += " 1 1.5 2.5";
    r += "\n1 0 11 12\n0 1 21 22\n1 1 31 32";
    if (aux) r += "\n3.5 9 1";
    return r + "\nNEXT";
}
}  // namespace

TEST(ICCDSave, VersionGatesFromTypedRecords) {
    {  // 1.3: everything, the 64-bit time at its full range, period before pulses.
        std::istringstream is(IntensifierRecord("65539", true, true));
        TICCDSave s;
        is >> s;
        EXPECT_EQ(s.Present, 1);
        EXPECT_EQ(s.GaterMode, 2);
        EXPECT_EQ(s.GaterGain, 3u);
        EXPECT_EQ(s.GaterAux, 4);
        EXPECT_EQ(s.KelgateEnabled, 1);
        EXPECT_EQ(s.GaterTime1PS, 1000u);
        EXPECT_EQ(s.GaterTime0PS, 18446744073709551615ull);
        EXPECT_EQ(s.IOCEnabled, 1);
        EXPECT_EQ(s.IOCPeriod, 500000u);
        EXPECT_EQ(s.IOCNoOfPulses, 7u);
        EXPECT_EQ(s.DelayStepMode, 0);
        EXPECT_DOUBLE_EQ(s.DelayStepCoeffA, 0.5);
        EXPECT_DOUBLE_EQ(s.DelayStepCoeffB, 0.25);
        EXPECT_EQ(s.WidthStepMode, 1);
        EXPECT_DOUBLE_EQ(s.WidthStepCoeffA, 1.5);
        EXPECT_DOUBLE_EQ(s.WidthStepCoeffB, 2.5);
        for (int i = 0; i < 3; ++i) {
            EXPECT_EQ(s.ExtOutTime1PS[i], 11u + 10u * i);
            EXPECT_EQ(s.ExtOutTime0PS[i], 12u + 10u * i);
        }
        EXPECT_EQ(s.ExtOutEnabled[1], 0);
        EXPECT_EQ(s.ExtOutPolarity[1], 1);
        EXPECT_FLOAT_EQ(s.AuxFloat, 3.5f);
        EXPECT_EQ(s.AuxInt, 9);
        EXPECT_TRUE(s.AuxFlag);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    {  // 1.1: no width step, no aux fields.
        std::istringstream is(IntensifierRecord("65537", false, false));
        TICCDSave s;
        is >> s;
        EXPECT_EQ(s.WidthStepMode, 0);
        EXPECT_DOUBLE_EQ(s.WidthStepCoeffA, 0.0);
        EXPECT_DOUBLE_EQ(s.WidthStepCoeffB, 0.0);
        EXPECT_EQ(s.ExtOutEnabled[0], 1);
        EXPECT_EQ(s.ExtOutTime0PS[2], 32u);
        EXPECT_FLOAT_EQ(s.AuxFloat, 0.0f);
        EXPECT_EQ(s.AuxInt, 0);
        EXPECT_FALSE(s.AuxFlag);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    {  // 1.2: aux fields but no width step.
        std::istringstream is(IntensifierRecord("65538", false, true));
        TICCDSave s;
        is >> s;
        EXPECT_EQ(s.WidthStepMode, 0);
        EXPECT_EQ(s.AuxInt, 9);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    {  // 0.3: the minor alone admits both optional blocks.
        std::istringstream is(IntensifierRecord("3", true, true));
        TICCDSave s;
        is >> s;
        EXPECT_DOUBLE_EQ(s.WidthStepCoeffB, 2.5);
        EXPECT_EQ(s.AuxInt, 9);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    for (const char* v : {"65540", "131072"}) {  // 1.4 and 2.0: version word only
        std::istringstream is(std::string(v) + " 1 2");
        TICCDSave s;
        is >> s;
        EXPECT_EQ(s.Present, 0) << v;
        EXPECT_EQ(Rest(is), " 1 2") << v;
    }
}

TEST(ICCDSave, RoundTripWithDistinctFields) {
    TICCDSave s;
    s.Present = 1;
    s.GaterMode = 2;
    s.GaterGain = 4000000000u;
    s.GaterAux = -4;
    s.KelgateEnabled = 1;
    s.GaterTime1PS = 5000000000000ull;
    s.GaterTime0PS = 6;
    s.IOCEnabled = 1;
    s.IOCNoOfPulses = 8;
    s.IOCPeriod = 9000000000ull;
    for (int i = 0; i < 3; ++i) {
        s.ExtOutEnabled[i] = i % 2;
        s.ExtOutPolarity[i] = 1 - i % 2;
        s.ExtOutTime1PS[i] = 100 + i;
        s.ExtOutTime0PS[i] = 200 + i;
    }
    s.DelayStepMode = 3;
    s.DelayStepCoeffA = 0.125;
    s.DelayStepCoeffB = -2.5;
    s.WidthStepMode = 1;
    s.WidthStepCoeffA = 7.75;
    s.WidthStepCoeffB = 1e-3;
    s.AuxFloat = 2.25f;
    s.AuxInt = -9;
    s.AuxFlag = true;

    std::ostringstream os;
    os << s;
    std::istringstream is(os.str() + "NEXT");  // the writer ends the record with "\n"
    TICCDSave b;
    is >> b;
    EXPECT_EQ(b.Present, 1);
    EXPECT_EQ(b.GaterMode, 2);
    EXPECT_EQ(b.GaterGain, 4000000000u);
    EXPECT_EQ(b.GaterAux, -4);
    EXPECT_EQ(b.KelgateEnabled, 1);
    EXPECT_EQ(b.GaterTime1PS, 5000000000000ull);
    EXPECT_EQ(b.GaterTime0PS, 6u);
    EXPECT_EQ(b.IOCEnabled, 1);
    EXPECT_EQ(b.IOCNoOfPulses, 8u);
    EXPECT_EQ(b.IOCPeriod, 9000000000ull);
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(b.ExtOutEnabled[i], i % 2);
        EXPECT_EQ(b.ExtOutPolarity[i], 1 - i % 2);
        EXPECT_EQ(b.ExtOutTime1PS[i], 100u + i);
        EXPECT_EQ(b.ExtOutTime0PS[i], 200u + i);
    }
    EXPECT_EQ(b.DelayStepMode, 3);
    EXPECT_DOUBLE_EQ(b.DelayStepCoeffA, 0.125);
    EXPECT_DOUBLE_EQ(b.DelayStepCoeffB, -2.5);
    EXPECT_EQ(b.WidthStepMode, 1);
    EXPECT_DOUBLE_EQ(b.WidthStepCoeffA, 7.75);
    EXPECT_DOUBLE_EQ(b.WidthStepCoeffB, 1e-3);
    EXPECT_FLOAT_EQ(b.AuxFloat, 2.25f);
    EXPECT_EQ(b.AuxInt, -9);
    EXPECT_TRUE(b.AuxFlag);
    EXPECT_EQ(Rest(is), "\nNEXT");
}

TEST(CropSave, StartsAndEndsFromTypedRecords) {
    {  // 1.1 stores no starts: they become 1 even over other values.
        std::istringstream is("65537 1 2048 512 100 50 2 4\nNEXT");
        TCropSave c;
        c.SetCropXStart(7);
        c.SetCropYStart(8);
        is >> c;
        EXPECT_TRUE(c.IsCropModeEnabled());
        EXPECT_EQ(c.GetOriginalCCDXSize(), 2048);
        EXPECT_EQ(c.GetOriginalCCDYSize(), 512);
        EXPECT_EQ(c.GetCropXBin(), 2);
        EXPECT_EQ(c.GetCropYBin(), 4);
        EXPECT_EQ(c.GetCropXStart(), 1);
        EXPECT_EQ(c.GetCropYStart(), 1);
        EXPECT_EQ(c.GetCropXEnd(), 100);
        EXPECT_EQ(c.GetCropYEnd(), 50);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    // 1.2, 0.2 and 2.0 store the starts after the bins.
    for (const char* v : {"65538", "2", "131072"}) {
        std::istringstream is(std::string(v) + " 0 2048 512 20 10 1 1 11 5\nNEXT");
        TCropSave c;
        is >> c;
        EXPECT_EQ(c.GetCropXStart(), 11) << v;
        EXPECT_EQ(c.GetCropYStart(), 5) << v;
        EXPECT_EQ(c.GetCropXEnd(), 30) << v;
        EXPECT_EQ(c.GetCropYEnd(), 14) << v;
        EXPECT_EQ(c.GetCropXSize(), 20) << v;
        EXPECT_EQ(c.GetCropYSize(), 10) << v;
        EXPECT_EQ(Rest(is), "\nNEXT") << v;
    }
    {  // Hostile sizes saturate instead of overflowing.
        std::istringstream is("65538 0 0 0 2147483647 -2147483648 1 1 10 -5");
        TCropSave c;
        is >> c;
        EXPECT_EQ(c.GetCropXEnd(), INT_MAX);
        EXPECT_EQ(c.GetCropYEnd(), INT_MIN);
    }
}

TEST(CropSave, WriterStoresSizesFromStartAndEnd) {
    TCropSave c;
    c.SetCropModeEnabled(true);
    c.SetOriginalCCDXSize(2048);
    c.SetOriginalCCDYSize(512);
    c.SetCropXStart(11);
    c.SetCropXEnd(30);
    c.SetCropYStart(5);
    c.SetCropYEnd(14);
    c.SetCropXBin(2);
    c.SetCropYBin(3);
    std::ostringstream os;
    os << c;
    EXPECT_EQ(os.str(), "65538 1 2048 512 20 10 2 3 11 5");

    std::istringstream is(os.str());
    TCropSave b;
    is >> b;
    EXPECT_TRUE(b.IsCropModeEnabled());
    EXPECT_EQ(b.GetCropXEnd(), 30);
    EXPECT_EQ(b.GetCropYEnd(), 14);
    EXPECT_EQ(b.GetCropXBin(), 2);
    EXPECT_EQ(b.GetCropYBin(), 3);
}

TEST(UserText, ReaderKeepsWhatFitsAndConsumesAll) {
    {  // 3000 bytes: 2048 kept, 3000 consumed.
        std::string bytes;
        for (int i = 0; i < 3000; ++i) bytes += static_cast<char>('a' + i % 26);
        std::istringstream is("65538 3000\n" + bytes + "\nNEXT");
        TUserText t;
        is >> t;
        EXPECT_EQ(t.GetLength(), 2048u);
        EXPECT_EQ(std::string(t.GetBuffer()), bytes.substr(0, 2048));
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    {  // An embedded NUL ends the text; the bytes behind it are still consumed.
        std::istringstream is(std::string("65538 10\nabcde\0fghi\nNEXT", 24));
        TUserText t("old text", 8);
        is >> t;
        EXPECT_EQ(t.GetLength(), 5u);
        EXPECT_STREQ(t.GetBuffer(), "abcde");
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    {  // Length 0 still takes its separator byte.
        std::istringstream is("65538 0\n\nNEXT");
        TUserText t("old", 3);
        is >> t;
        EXPECT_EQ(t.GetLength(), 0u);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    {  // A count far beyond the stream fails it and keeps only what was there.
        std::istringstream is("65538 4000000000\nabc");
        TUserText t;
        is >> t;
        EXPECT_TRUE(is.fail());
        EXPECT_STREQ(t.GetBuffer(), "abc");
    }
}

TEST(UserText, WriterStoresTheWholeBuffer) {
    TUserText t("hello", 5);
    std::ostringstream os;
    os << t;
    const std::string out = os.str();
    ASSERT_EQ(out.size(), std::string("65538 2048\n").size() + 2048);
    EXPECT_EQ(out.substr(0, 16), "65538 2048\nhello");
    EXPECT_EQ(out.back(), '\0');

    std::istringstream is(out + "\nNEXT");
    TUserText b;
    is >> b;
    EXPECT_STREQ(b.GetBuffer(), "hello");
    EXPECT_EQ(b.GetLength(), 5u);
    EXPECT_EQ(Rest(is), "\nNEXT");
}

TEST(UserText, AddAndGetAreBounded) {
    TUserText t;
    EXPECT_EQ(t.SetText("abc", 3), 3u);
    EXPECT_EQ(t.AddText("defg", 2), 2u);
    EXPECT_STREQ(t.GetBuffer(), "abcde");

    char dst[8];
    std::memset(dst, 'x', sizeof dst);
    EXPECT_EQ(t.GetText(dst, 0), 0u);
    EXPECT_EQ(dst[0], 'x');
    EXPECT_EQ(t.GetText(dst, 1), 1u);
    EXPECT_STREQ(dst, "");
    EXPECT_EQ(t.GetText(dst, 3), 3u);
    EXPECT_STREQ(dst, "ab");
    EXPECT_EQ(t.GetText(dst, 8), 6u);
    EXPECT_STREQ(dst, "abcde");

    const std::string full(2047, 'x');
    t.SetText(full.c_str(), 2047);
    EXPECT_EQ(t.AddText("yz", 2), 1u);
    EXPECT_EQ(t.GetLength(), 2048u);
    EXPECT_EQ(t.AddText("z", 1), 0u);
    EXPECT_EQ(t.GetBuffer()[2047], 'y');

    TUserText copy(t);
    EXPECT_EQ(copy.GetLength(), 2048u);
    EXPECT_EQ(std::string(copy.GetBuffer()), full + "y");
}
