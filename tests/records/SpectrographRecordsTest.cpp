// Short and full spectrograph records: every version gate from typed record text,
// the writers' layout, and texts that overrun their fields.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "records/KavriSpectSave.h"
#include "records/SpectSave.h"

namespace {
std::string Rest(std::istream& is) {
    std::string rest;
    for (char c; is.get(c);) rest += c;
    return rest;
}

}  // namespace

TEST(SpectSave, VersionGatesAndBoundedDescription) {
    struct Case {
        std::string text;
        int present;
        float v1, v2;
        std::string description;
        float v3, v4;
        std::string rest;
    };
    const std::string a40 = std::string(39, 'a') + "z";
    const Case cases[] = {
        {"65536 1 250.5 600\n5 Hello\nN", 1, 250.5f, 600, "Hello", 999, 999, "\nN"},  // 1.0: no Value3/4
        {"65537 1 250.5 600\n5 Hello12.5 -3\nN", 1, 250.5f, 600, "Hello", 12.5f, -3, "\nN"},
        {"2 1 7 8\nN", 1, 500, 1200, "old", 7, 8, "\nN"},     // 0.2: no middle block, yet Value3/4
        {"0 1 7 8", 1, 500, 1200, "old", 999, 999, " 7 8"},    // 0.0: Present only
        {"131072 1 2 3\n0 4 5\nN", 1, 2, 3, "", 4, 5, "\nN"},  // length 0 takes its separator
        {"65537 1 2 3\n-4 5 6\nN", 1, 2, 3, "", 5, 6, "\nN"},  // negative: no bytes read
        {"65537 1 2 3\n40 " + a40 + "5 6\nN", 1, 2, 3, std::string(31, 'a'), 5, 6, "\nN"},
    };
    for (const Case& c : cases) {
        std::istringstream is(c.text);
        TSpectSave s;
        std::strcpy(s.Description, "old");  // a text read, even an empty one, replaces it
        is >> s;
        SCOPED_TRACE(c.text);
        EXPECT_EQ(s.Present, c.present);
        EXPECT_EQ(std::vector<float>({s.Value1, s.Value2, s.Value3, s.Value4}),
                  std::vector<float>({c.v1, c.v2, c.v3, c.v4}));
        EXPECT_EQ(std::string(s.Description), c.description);
        EXPECT_EQ(Rest(is), c.rest);
    }

    // The writer's layout is the typed 1.1 record.
    std::istringstream is("65537 1 250.5 600\n5 Hello12.5 -3\n");
    TSpectSave s;
    is >> s;
    std::ostringstream os;
    os << s;
    EXPECT_EQ(os.str(), is.str());
}

namespace {
// A record typed from the field table, cut after the fields of `minor`.
std::string KavriRecord(unsigned int version, int minor) {
    std::string r = std::to_string(version) + " 1 2 3.5 4 5 6.5 LBL\n7 8.5\n9 10 11 12 4 note 13 14 15 16 17 18 19.5";
    if (minor >= 1) r += "\n20";
    if (minor >= 2) r += " MODEL X\n";
    if (minor >= 3) r += "21 22.5\n23 24.5";
    if (minor >= 4) r += "\n25 26";
    return r + "\nN";
}
}  // namespace

TEST(KavriSpectSave, VersionGatesFromTypedRecords) {
    {  // 1.4: every field, the arrays in their stored order.
        std::istringstream is(KavriRecord(65540, 4));
        TKavriSpectSave s;
        is >> s;
        EXPECT_EQ(std::vector<int>({s.Present, s.Param1, s.Param3, s.Param4, s.Option1, s.Option2}),
                  std::vector<int>({1, 2, 4, 5, 11, 12}));
        EXPECT_EQ(std::vector<float>({s.Param2, s.Param5}), std::vector<float>({3.5f, 6.5f}));
        EXPECT_STREQ(s.Label, "LBL");
        EXPECT_STREQ(s.Note, "note");
        EXPECT_STREQ(s.Model, "MODEL X");
        EXPECT_EQ(std::vector<int>(s.PortFlag, s.PortFlag + 4), std::vector<int>({7, 21, 18, 23}));
        EXPECT_EQ(std::vector<float>(s.PortValue, s.PortValue + 4), std::vector<float>({8.5f, 22.5f, 19.5f, 24.5f}));
        EXPECT_EQ(std::vector<int>(s.Extra, s.Extra + 4), std::vector<int>({25, 9, 26, 10}));
        EXPECT_EQ(std::vector<int>(s.Counter, s.Counter + 6), std::vector<int>({13, 14, 15, 16, 17, 20}));
        EXPECT_EQ(Rest(is), "\nN");
    }
    struct Case {
        unsigned int version;
        int minor;  // fields typed
        int counter5;
        const char* model;
        float portValue3;
        int extra0;
    };
    const Case cases[] = {
        {65536, 0, 0, "TK250c", 10, 0},         // 1.0
        {65537, 1, 20, "TK250c", 10, 0},        // 1.1: no model, later ports or extras
        {65538, 2, 20, "MODEL X", 10, 0},       // 1.2
        {3, 3, 20, "MODEL X", 24.5f, 0},        // 0.3: the minor alone admits them
        {131072, 4, 20, "MODEL X", 24.5f, 25},  // 2.0: the major admits all
    };
    for (const Case& c : cases) {
        std::istringstream is(KavriRecord(c.version, c.minor));
        TKavriSpectSave s;
        is >> s;
        SCOPED_TRACE(c.version);
        EXPECT_FLOAT_EQ(s.PortValue[2], 19.5f);
        EXPECT_EQ(s.Counter[5], c.counter5);
        EXPECT_STREQ(s.Model, c.model);
        EXPECT_FLOAT_EQ(s.PortValue[3], c.portValue3);
        EXPECT_EQ(s.Extra[0], c.extra0);
        EXPECT_EQ(Rest(is), "\nN");
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
    std::ostringstream os;
    os << s;
    EXPECT_EQ(os.str(), typed.substr(0, typed.size() - 2) + " ");

    // A 50-byte label and a 45-byte note keep 31 bytes and are consumed whole.
    std::istringstream is("65536 1 2 3 4 5 6 " + std::string(50, 'T') + "\n7 8\n9 10 11 12 45 " + std::string(45, 'n') +
                          " 13 14 15 16 17 18 19\nN");
    is >> s;
    EXPECT_EQ(std::string(s.Label), std::string(31, 'T'));
    EXPECT_EQ(std::string(s.Note), std::string(31, 'n'));
    EXPECT_EQ(s.PortFlag[2], 18);
    EXPECT_EQ(Rest(is), "\nN");
}
