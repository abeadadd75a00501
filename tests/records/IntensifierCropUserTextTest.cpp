// Intensifier, crop and user-text records: version gates from typed record text,
// writers, and user texts longer than the buffer or than the stream.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "metadata/ICCDConfiguration.h"
#include "records/UserText.h"
#include "records/cropsave.h"
#include "records/iccdsave.h"

namespace {
using U64s = std::vector<unsigned long long>;
using Ints = std::vector<long long>;

std::string Rest(std::istream& is) {
    std::string rest;
    for (char c; is.get(c);) rest += c;
    return rest;
}

// Typed from the field table: fixed fields, optional width step, outputs, optional aux.
std::string IntensifierRecord(const std::string& version, bool widthStep, bool aux) {
    std::string r = version + " 1 2 3 4 1 1000 18446744073709551615 1 500000 7 0 0.5 0.25";
    if (widthStep) r += " 1 1.5 2.5";
    r += "\n1 0 11 12\n0 1 21 22\n1 1 31 32";
    if (aux) r += "\n3.5 9 1";
    return r + "\nN";
}
}  // namespace

TEST(ICCDSave, VersionGatesFromTypedRecords) {
    struct Case {
        const char* version;
        bool widthStep, aux;
    };
    // 1.3 has both blocks, 1.2 only aux, 1.1 neither; 0.3 has both by its minor alone.
    for (const Case& c : {Case{"65539", true, true}, Case{"65538", false, true}, Case{"65537", false, false},
                          Case{"3", true, true}}) {
        std::istringstream is(IntensifierRecord(c.version, c.widthStep, c.aux));
        TICCDSave s;
        is >> s;
        SCOPED_TRACE(c.version);
        EXPECT_EQ(Ints({s.Present, s.GaterMode, s.GaterGain, s.GaterAux, s.KelgateEnabled, s.IOCEnabled,
                        s.IOCNoOfPulses, s.DelayStepMode}),
                  Ints({1, 2, 3, 4, 1, 1, 7, 0}));
        // The period stands before the pulse count; the 64-bit range is kept.
        EXPECT_EQ(U64s({s.GaterTime1PS, s.GaterTime0PS, s.IOCPeriod}), U64s({1000, 18446744073709551615ull, 500000}));
        EXPECT_EQ(std::vector<double>({s.DelayStepCoeffA, s.DelayStepCoeffB}), std::vector<double>({0.5, 0.25}));
        EXPECT_EQ(Ints({s.ExtOutEnabled[0], s.ExtOutPolarity[0], s.ExtOutEnabled[1], s.ExtOutPolarity[1],
                        s.ExtOutEnabled[2], s.ExtOutPolarity[2]}),
                  Ints({1, 0, 0, 1, 1, 1}));
        EXPECT_EQ(U64s(s.ExtOutTime1PS, s.ExtOutTime1PS + 3), U64s({11, 21, 31}));
        EXPECT_EQ(U64s(s.ExtOutTime0PS, s.ExtOutTime0PS + 3), U64s({12, 22, 32}));
        const double w = c.widthStep ? 1 : 0;
        EXPECT_EQ(std::vector<double>({double(s.WidthStepMode), s.WidthStepCoeffA, s.WidthStepCoeffB}),
                  std::vector<double>({w, 1.5 * w, 2.5 * w}));
        EXPECT_EQ(std::vector<double>({s.AuxFloat, double(s.AuxInt), double(s.AuxFlag)}),
                  c.aux ? std::vector<double>({3.5, 9, 1}) : std::vector<double>({0, 0, 0}));
        EXPECT_EQ(Rest(is), "\nN");
    }
    for (const char* v : {"65540", "131072"}) {  // 1.4 and 2.0: version word only
        std::istringstream is(std::string(v) + " 1 2");
        TICCDSave s;
        is >> s;
        EXPECT_EQ(Rest(is), " 1 2") << v;
    }
}

TEST(ICCDSave, WriterLayout) {
    std::istringstream is(IntensifierRecord("65539", true, true));
    TICCDSave s;
    is >> s;
    s.GaterGain = 4000000000u;
    s.DelayStepCoeffB = -1e-3;
    std::ostringstream os;
    os << s;
    EXPECT_EQ(os.str(),
              "65539 1 2 4000000000 4 1 1000 18446744073709551615 1 500000 7 0 0.5 -0.001 1 1.5 2.5\n"
              "1 0 11 12\n0 1 21 22\n1 1 31 32\n3.5 9 1\n");
}

TEST(CropSave, StartsAndEndsAreDerived) {
    {  // 1.1 stores no starts: they become 1 even over other values.
        std::istringstream is("65537 1 2048 512 100 50 2 4\nN");
        TCropSave c;
        c.SetCropXStart(7);
        c.SetCropYStart(8);
        is >> c;
        EXPECT_EQ(Ints({c.IsCropModeEnabled(), c.GetOriginalCCDXSize(), c.GetOriginalCCDYSize(), c.GetCropXBin(),
                        c.GetCropYBin(), c.GetCropXStart(), c.GetCropYStart(), c.GetCropXEnd(), c.GetCropYEnd()}),
                  Ints({1, 2048, 512, 2, 4, 1, 1, 100, 50}));
        EXPECT_EQ(Rest(is), "\nN");
    }
    // 1.2, 0.2 and 2.0 store the starts after the bins.
    for (const std::string v : {"65538", "2", "131072"}) {
        std::istringstream is(v + " 0 2048 512 20 10 2 3 11 5\nN");
        TCropSave c;
        is >> c;
        EXPECT_EQ(Ints({c.GetCropXStart(), c.GetCropYStart(), c.GetCropXEnd(), c.GetCropYEnd(), c.GetCropXSize(),
                        c.GetCropYSize()}),
                  Ints({11, 5, 30, 14, 20, 10}))
            << v;
        EXPECT_EQ(Rest(is), "\nN") << v;
        // The writer stores sizes from the ends, so a changed end shows in the text.
        c.SetCropXEnd(40);
        std::ostringstream os;
        os << c;
        EXPECT_EQ(os.str(), "65538 0 2048 512 30 10 2 3 11 5") << v;
    }
    {  // Hostile sizes saturate instead of overflowing.
        std::istringstream is("65538 0 0 0 2147483647 -2147483648 1 1 10 -5");
        TCropSave c;
        is >> c;
        EXPECT_EQ(Ints({c.GetCropXEnd(), c.GetCropYEnd()}), Ints({INT_MAX, INT_MIN}));
    }
}

TEST(UserText, ReaderKeepsWhatFitsAndConsumesAll) {
    std::string bytes;
    for (int i = 0; i < 3000; ++i) bytes += static_cast<char>('a' + i % 26);
    std::istringstream big("65538 3000\n" + bytes + "\nN");
    TUserText t;
    big >> t;
    EXPECT_EQ(t.GetLength(), 2048u);
    EXPECT_EQ(std::string(t.GetBuffer()), bytes.substr(0, 2048));
    EXPECT_EQ(Rest(big), "\nN");

    // An embedded NUL ends the text; the bytes behind it are still consumed.
    std::istringstream nul(std::string("65538 10\nabcde\0fghi\nN", 21));
    nul >> t;
    EXPECT_EQ(t.GetLength(), 5u);
    EXPECT_STREQ(t.GetBuffer(), "abcde");
    EXPECT_EQ(Rest(nul), "\nN");

    std::istringstream empty("65538 0\n\nN");  // length 0 still takes its separator
    empty >> t;
    EXPECT_EQ(t.GetLength(), 0u);
    EXPECT_EQ(Rest(empty), "\nN");

    std::istringstream beyond("65538 4000000000\nabc");  // fails, keeps what was there
    beyond >> t;
    EXPECT_TRUE(beyond.fail());
    EXPECT_STREQ(t.GetBuffer(), "abc");

    // The writer stores all 2048 bytes whatever the length; they read back as the text.
    t.SetText("hello", 5);
    std::ostringstream os;
    os << t;
    EXPECT_EQ(os.str(), "65538 2048\nhello" + std::string(2043, '\0'));
    std::istringstream back(os.str());
    TUserText b;
    back >> b;
    EXPECT_STREQ(b.GetBuffer(), "hello");
    EXPECT_EQ(b.GetLength(), 5u);
}

TEST(UserText, AddAndGetAreBounded) {
    TUserText t;
    EXPECT_EQ(t.SetText("abc", 3), 3u);
    EXPECT_EQ(t.AddText("defg", 2), 2u);
    char dst[8] = "xxxxxxx";
    EXPECT_EQ(t.GetText(dst, 0), 0u);
    EXPECT_STREQ(dst, "xxxxxxx");
    EXPECT_EQ(t.GetText(dst, 3), 3u);
    EXPECT_STREQ(dst, "ab");
    EXPECT_EQ(t.GetText(dst, 8), 6u);
    EXPECT_STREQ(dst, "abcde");

    const std::string full(2047, 'x');
    t.SetText(full.c_str(), 2047);
    EXPECT_EQ(t.AddText("yz", 2), 1u);
    EXPECT_EQ(t.AddText("z", 1), 0u);
    TUserText copy(t);
    EXPECT_EQ(copy.GetLength(), 2048u);
    EXPECT_EQ(std::string(copy.GetBuffer()), full + "y");
}

TEST(ICCDSave, LoadICCDInfoTakesDelayBeforeWidth) {
    TICCDConfiguration config(2);  // the third output does not exist
    __DDGTimingPair gate;
    gate.width.SetU64TimePS(5000);  // element 0
    gate.delay.SetU64TimePS(7000);  // element 1
    config.GetGater().SetTime(gate);
    config.GetGater().SetMode(2);
    config.GetGater().SetGain(3000);
    config.SetKelgateEnabled(true);
    config.GetIOC().SetEnabled(true);
    config.GetIOC().SetNoOfPulses(12);
    config.GetIOC().SetPeriod(4000000);
    __DDGTimingPair out;
    out.width.SetU64TimePS(100);
    out.delay.SetU64TimePS(200);
    config.GetExternal().SetTime(1, out);
    config.GetExternal().SetEnabled(1, true);
    config.GetExternal().SetPolarity(1, 1);
    config.GetDelayStep().SetMode(TDDGStepSetting::StepLinear);
    config.GetDelayStep().SetCoefficients(3, 0.5, 2.0);
    config.GetWidthStep().SetCoefficients(0, 9.0, 9.0);  // mode stays 100: not copied

    TICCDSave s;
    s.GaterAux = 4;
    s.WidthStepCoeffA = 1.25;
    s.LoadICCDInfo(&config);
    EXPECT_EQ(Ints({s.Present, s.GaterMode, s.GaterGain, s.GaterAux, s.KelgateEnabled, s.IOCEnabled, s.IOCNoOfPulses}),
              Ints({1, 2, 3000, 4, 1, 1, 12}));
    EXPECT_EQ(U64s({s.GaterTime1PS, s.GaterTime0PS, s.IOCPeriod}), U64s({7000, 5000, 4000000}));
    EXPECT_EQ(Ints({s.ExtOutEnabled[0], s.ExtOutEnabled[1], s.ExtOutEnabled[2], s.ExtOutPolarity[1]}),
              Ints({0, 1, 0, 1}));
    EXPECT_EQ(U64s({s.ExtOutTime1PS[1], s.ExtOutTime0PS[1], s.ExtOutTime1PS[2]}), U64s({200, 100, 0}));
    EXPECT_EQ(Ints({s.DelayStepMode, s.WidthStepMode}), Ints({3, 100}));
    EXPECT_EQ(std::vector<double>({s.DelayStepCoeffA, s.DelayStepCoeffB, s.WidthStepCoeffA}),
              std::vector<double>({0.5, 2.0, 1.25}));
}
