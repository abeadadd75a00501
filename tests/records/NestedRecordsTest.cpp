// The records nested in the instrument header: version gates from typed record text,
// the writers' layout, and texts that overrun their fields or the stream.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "records/KavriSpectSave.h"
#include "records/SpectSave.h"
#include "records/TSHUTTER.h"
#include "records/UserText.h"
#include "records/cropsave.h"
#include "records/iccdsave.h"
#include "support/RecordTexts.h"

using kvmcftest::Rest;

namespace {
using U64 = unsigned long long;
using U64s = std::vector<U64>;
using Ints = std::vector<long long>;
using Doubles = std::vector<double>;

// A literal with its embedded NULs.
template <std::size_t N>
std::string Bytes(const char (&s)[N]) {
    return std::string(s, N - 1);
}

template <class Record>
std::string Written(Record& r) {
    std::ostringstream os;
    os << r;
    return os.str();
}

// Typed from the field table: fixed fields, optional width step, outputs, optional aux.
std::string IntensifierRecord(const std::string& version, bool widthStep, bool aux) {
    std::string r = version + " 1 2 3 4 1 1000 18446744073709551615 1 500000 7 0 0.5 0.25";
    if (widthStep) r += " 1 1.5 2.5";
    r += "\n1 0 11 12\n0 1 21 22\n1 1 31 32";
    if (aux) r += "\n3.5 9 1";
    return r + "\nN";
}

// A full spectrograph record typed from the field table, cut after the fields of `minor`.
std::string KavriRecord(unsigned int version, int minor) {
    std::string r = std::to_string(version) + " 1 2 3.5 4 5 6.5 LBL\n7 8.5\n9 10 11 12 4 note 13 14 15 16 17 18 19.5";
    if (minor >= 1) r += "\n20";
    if (minor >= 2) r += " MODEL X\n";
    if (minor >= 3) r += "21 22.5\n23 24.5";
    if (minor >= 4) r += "\n25 26";
    return r + "\nN";
}
}  // namespace

TEST(ICCDSave, VersionGatesFromTypedRecordsAndWriterLayout) {
    // 1.3 has both blocks, 1.2 only aux, 1.1 neither; 0.3 has both by its minor alone.
    const struct { const char* version; bool widthStep, aux; } cases[] = {
        {"65539", true, true}, {"65538", false, true}, {"65537", false, false}, {"3", true, true}};
    for (const auto& c : cases) {
        std::istringstream is(IntensifierRecord(c.version, c.widthStep, c.aux));
        TICCDSave s;
        is >> s;
        SCOPED_TRACE(c.version);
        EXPECT_EQ(Ints({s.Present, s.GaterMode, s.GaterGain, s.GaterAux, s.KelgateEnabled, s.IOCEnabled,
                        s.IOCNoOfPulses, s.DelayStepMode}),
                  Ints({1, 2, 3, 4, 1, 1, 7, 0}));
        // The period stands before the pulse count; the 64-bit range is kept.
        EXPECT_EQ(U64s({s.GaterTime1PS, s.GaterTime0PS, s.IOCPeriod}), U64s({1000, 18446744073709551615ull, 500000}));
        EXPECT_EQ(Doubles({s.DelayStepCoeffA, s.DelayStepCoeffB}), Doubles({0.5, 0.25}));
        U64s outputs;
        for (int i = 0; i < 3; ++i)
            outputs.insert(outputs.end(), {U64(s.ExtOutEnabled[i]), U64(s.ExtOutPolarity[i]), s.ExtOutTime1PS[i], s.ExtOutTime0PS[i]});
        EXPECT_EQ(outputs, U64s({1, 0, 11, 12, 0, 1, 21, 22, 1, 1, 31, 32}));
        const double w = c.widthStep ? 1 : 0;
        EXPECT_EQ(Doubles({double(s.WidthStepMode), s.WidthStepCoeffA, s.WidthStepCoeffB}), Doubles({w, 1.5 * w, 2.5 * w}));
        EXPECT_EQ(Doubles({s.AuxFloat, double(s.AuxInt), double(s.AuxFlag)}), c.aux ? Doubles({3.5, 9, 1}) : Doubles(3));
        EXPECT_EQ(Rest(is), "\nN");
        if (std::string(c.version) != "65539") continue;
        s.GaterGain = 4000000000u;
        s.DelayStepCoeffB = -1e-3;
        EXPECT_EQ(Written(s), "65539 1 2 4000000000 4 1 1000 18446744073709551615 1 500000 7 0 0.5 -0.001 1 1.5 2.5\n"
                              "1 0 11 12\n0 1 21 22\n1 1 31 32\n3.5 9 1\n");
    }
    for (const char* v : {"65540", "131072"}) {  // 1.4 and 2.0: version word only
        std::istringstream is(std::string(v) + " 1 2");
        TICCDSave s;
        is >> s;
        EXPECT_EQ(Rest(is), " 1 2") << v;
    }
}

TEST(CropSave, StartsAndEndsAreDerived) {
    // 1.1 stores no starts: they become 1 even over other values.
    std::istringstream v11("65537 1 2048 512 100 50 2 4\nN");
    TCropSave c;
    c.SetCropXStart(7);
    c.SetCropYStart(8);
    v11 >> c;
    EXPECT_EQ(Ints({c.IsCropModeEnabled(), c.GetOriginalCCDXSize(), c.GetOriginalCCDYSize(), c.GetCropXBin(),
                    c.GetCropYBin(), c.GetCropXStart(), c.GetCropYStart(), c.GetCropXEnd(), c.GetCropYEnd()}),
              Ints({1, 2048, 512, 2, 4, 1, 1, 100, 50}));
    EXPECT_EQ(Rest(v11), "\nN");
    // 1.2, 0.2 and 2.0 store the starts after the bins.
    for (const std::string v : {"65538", "2", "131072"}) {
        std::istringstream is(v + " 0 2048 512 20 10 2 3 11 5\nN");
        is >> c;
        SCOPED_TRACE(v);
        EXPECT_EQ(Ints({c.GetCropXStart(), c.GetCropYStart(), c.GetCropXEnd(), c.GetCropYEnd(), c.GetCropXSize(),
                        c.GetCropYSize()}),
                  Ints({11, 5, 30, 14, 20, 10}));
        EXPECT_EQ(Rest(is), "\nN");
        // The writer stores sizes from the ends, so a changed end shows in the text.
        c.SetCropXEnd(40);
        EXPECT_EQ(Written(c), "65538 0 2048 512 30 10 2 3 11 5");
    }
    // Hostile sizes saturate instead of overflowing.
    std::istringstream hostile("65538 0 0 0 2147483647 -2147483648 1 1 10 -5");
    hostile >> c;
    EXPECT_EQ(Ints({c.GetCropXEnd(), c.GetCropYEnd()}), Ints({INT_MAX, INT_MIN}));
}

TEST(UserText, ReaderKeepsWhatFitsAndConsumesAll) {
    std::string bytes;
    for (int i = 0; i < 3000; ++i) bytes += static_cast<char>('a' + i % 26);
    const struct { std::string text; unsigned int length; std::string kept; } cases[] = {
        {"65538 3000\n" + bytes + "\nN", 2048, bytes.substr(0, 2048)},
        {std::string("65538 10\nabcde\0fghi\nN", 21), 5, "abcde"},  // a NUL ends the text, the rest is consumed
        {"65538 0\n\nN", 0, ""},                                      // length 0 still takes its separator
    };
    TUserText t;
    for (const auto& c : cases) {
        std::istringstream is(c.text);
        is >> t;
        EXPECT_EQ(std::make_tuple(t.GetLength(), std::string(t.GetBuffer()), Rest(is)), std::make_tuple(c.length, c.kept, "\nN"));
    }
    std::istringstream beyond("65538 4000000000\nabc");  // fails, keeps what was there
    beyond >> t;
    EXPECT_TRUE(beyond.fail());
    EXPECT_STREQ(t.GetBuffer(), "abc");

    // The writer stores all 2048 bytes whatever the length; they read back as the text.
    t.SetText("hello", 5);
    std::istringstream back(Written(t));
    EXPECT_EQ(back.str(), "65538 2048\nhello" + std::string(2043, '\0'));
    TUserText b;
    back >> b;
    EXPECT_EQ(b.GetLength(), 5u);
    char dst[2] = "x";  // no room at all: nothing written
    EXPECT_EQ(b.GetText(dst, 0), 0u);
    EXPECT_EQ(dst[0], 'x');
}

TEST(Shutter, ReaderVersionsAndWriterBytes) {
    const auto fields = [](const TShutter& s) {
        return std::vector<double>{double(s.GetType()), double(s.GetMode()), double(s.GetCustomBgMode()),
                                   double(s.GetCustomMode()), s.GetClosingTime(), s.GetOpeningTime()};
    };
    // Only 1.2 stores the opening time; 1.1, 1.3 and 2.2 copy the closing time and leave
    // the next number unread. A whitespace value byte is skipped and the fields shift:
    // '1' of "1.5" becomes a mode.
    const struct { std::string text; std::vector<double> fields; char next; } cases[] = {
        {Bytes("65538 \x01 \x03 \x02 \x00 1.5 2.5X"), {1, 3, 2, 0, 1.5, 2.5}, 'X'},
        {Bytes("65537 \x05 \x04 \x03 \x02 1.5 2.5"), {5, 4, 3, 2, 1.5, 1.5}, ' '},
        {Bytes("65539 \x05 \x04 \x03 \x02 1.5 2.5"), {5, 4, 3, 2, 1.5, 1.5}, ' '},
        {Bytes("131074 \x05 \x04 \x03 \x02 1.5 2.5"), {5, 4, 3, 2, 1.5, 1.5}, ' '},
        {Bytes("65538 \t \x01 \x02 \x03 1.5 2.5X"), {1, 2, 3, '1', 0.5, 2.5}, 'X'},
    };
    for (const auto& c : cases) {
        std::istringstream is(c.text);
        TShutter s;
        is >> s;
        EXPECT_EQ(fields(s), c.fields) << c.text;
        EXPECT_EQ(is.get(), c.next) << c.text;
    }
    // Written back, the typed 1.2 record comes out byte for byte.
    std::istringstream typed(Bytes("65538 \x04 \x03 \x05 \x06 0.5 0.25"));
    TShutter s;
    typed >> s;
    EXPECT_EQ(Written(s), typed.str());
}

TEST(SpectSave, VersionGatesAndBoundedDescription) {
    const std::string a40 = std::string(39, 'a') + "z";
    const struct { std::string text; std::vector<float> values; std::string description, rest; } cases[] = {
        {"65536 1 250.5 600\n5 Hello\nN", {250.5f, 600, 999, 999}, "Hello", "\nN"},  // 1.0: no Value3/4
        {"65537 1 250.5 600\n5 Hello12.5 -3\nN", {250.5f, 600, 12.5f, -3}, "Hello", "\nN"},
        {"2 1 7 8\nN", {500, 1200, 7, 8}, "old", "\nN"},   // 0.2: no middle block, yet Value3/4
        {"0 1 7 8", {500, 1200, 999, 999}, "old", " 7 8"},  // 0.0: Present only
        {"131072 1 2 3\n0 4 5\nN", {2, 3, 4, 5}, "", "\nN"},  // length 0 takes its separator
        {"65537 1 2 3\n-4 5 6\nN", {2, 3, 5, 6}, "", "\nN"},  // negative: no bytes read
        {"65537 1 2 3\n40 " + a40 + "5 6\nN", {2, 3, 5, 6}, std::string(31, 'a'), "\nN"},
    };
    for (const auto& c : cases) {
        std::istringstream is(c.text);
        TSpectSave s;
        std::strcpy(s.Description, "old");  // a text read, even an empty one, replaces it
        is >> s;
        EXPECT_EQ(std::make_tuple(std::vector<float>({s.Value1, s.Value2, s.Value3, s.Value4}), std::string(s.Description),
                                  Rest(is)),
                  std::make_tuple(c.values, c.description, c.rest)) << c.text;
    }
    // The writer's layout is the typed 1.1 record.
    std::istringstream is("65537 1 250.5 600\n5 Hello12.5 -3\n");
    TSpectSave s;
    is >> s;
    EXPECT_EQ(Written(s), is.str());
}

TEST(KavriSpectSave, VersionGatesFromTypedRecords) {
    {  // 1.4: every field, the arrays in their stored order.
        std::istringstream is(KavriRecord(65540, 4));
        TKavriSpectSave s;
        is >> s;
        EXPECT_EQ(Ints({s.Present, s.Param1, s.Param3, s.Param4, s.Option1, s.Option2}), Ints({1, 2, 4, 5, 11, 12}));
        EXPECT_EQ(std::vector<float>({s.Param2, s.Param5}), std::vector<float>({3.5f, 6.5f}));
        EXPECT_EQ(std::string(s.Label) + "|" + s.Note + "|" + s.Model, "LBL|note|MODEL X");
        Doubles arrays;
        for (int i = 0; i < 4; ++i) arrays.insert(arrays.end(), {double(s.PortFlag[i]), s.PortValue[i], double(s.Extra[i])});
        EXPECT_EQ(arrays, Doubles({7, 8.5, 25, 21, 22.5, 9, 18, 19.5, 26, 23, 24.5, 10}));
        EXPECT_EQ(Ints(s.Counter, s.Counter + 6), Ints({13, 14, 15, 16, 17, 20}));
        EXPECT_EQ(Rest(is), "\nN");
    }
    const struct { unsigned int version; int minor, counter5; const char* model; float portValue3; int extra0; } cases[] = {
        {65536, 0, 0, "TK250c", 10, 0},         // 1.0
        {65537, 1, 20, "TK250c", 10, 0},        // 1.1: no model, later ports or extras
        {65538, 2, 20, "MODEL X", 10, 0},       // 1.2
        {3, 3, 20, "MODEL X", 24.5f, 0},        // 0.3: the minor alone admits them
        {131072, 4, 20, "MODEL X", 24.5f, 25},  // 2.0: the major admits all
    };
    for (const auto& c : cases) {
        std::istringstream is(KavriRecord(c.version, c.minor));
        TKavriSpectSave s;
        is >> s;
        EXPECT_EQ(std::make_tuple(s.PortValue[2], s.Counter[5], std::string(s.Model), s.PortValue[3], s.Extra[0], Rest(is)),
                  std::make_tuple(19.5f, c.counter5, std::string(c.model), c.portValue3, c.extra0, std::string("\nN")))
            << c.version;
    }
    for (unsigned int v : {65541u, 131077u}) {  // minor 5 or more: version word only
        std::istringstream is(std::to_string(v) + " 1 2");
        TKavriSpectSave s;
        is >> s;
        EXPECT_EQ(Rest(is), " 1 2");
    }
}

TEST(KavriSpectSave, WriterLayoutAndOverlongTexts) {
    // Written back, the typed 1.4 record comes out as typed, with a trailing separator.
    const std::string typed = KavriRecord(65540, 4);
    std::istringstream in(typed);
    TKavriSpectSave s;
    in >> s;
    EXPECT_EQ(Written(s), typed.substr(0, typed.size() - 2) + " ");

    // A 50-byte label and a 45-byte note keep 31 bytes and are consumed whole.
    std::istringstream is("65536 1 2 3 4 5 6 " + std::string(50, 'T') + "\n7 8\n9 10 11 12 45 " + std::string(45, 'n') +
                          " 13 14 15 16 17 18 19\nN");
    is >> s;
    EXPECT_EQ(std::make_tuple(std::string(s.Label), std::string(s.Note), s.PortFlag[2], Rest(is)),
              std::make_tuple(std::string(31, 'T'), std::string(31, 'n'), 18, std::string("\nN")));
}
