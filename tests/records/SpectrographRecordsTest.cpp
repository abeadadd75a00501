// Short and full spectrograph records: every version gate from typed record text,
// the writers' exact layout, and counted and token texts that overrun their fields.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

#include "records/KavriSpectSave.h"
#include "records/SpectSave.h"

namespace {
std::string Rest(std::istream& is) {
    std::string rest;
    char c;
    while (is.get(c)) rest += c;
    return rest;
}
}  // namespace

TEST(SpectSave, VersionGatesFromTypedRecords) {
    {  // 1.0: no Value3/Value4 on the stream.
        std::istringstream is("65536 1 250.5 600\n5 Hello\nNEXT");
        TSpectSave s;
        is >> s;
        EXPECT_EQ(s.Present, 1);
        EXPECT_FLOAT_EQ(s.Value1, 250.5f);
        EXPECT_FLOAT_EQ(s.Value2, 600.0f);
        EXPECT_STREQ(s.Description, "Hello");
        EXPECT_FLOAT_EQ(s.Value3, 999.0f);
        EXPECT_FLOAT_EQ(s.Value4, 999.0f);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    {  // 1.1: the text's bytes run straight into Value3.
        std::istringstream is("65537 1 250.5 600\n5 Hello12.5 -3\nNEXT");
        TSpectSave s;
        is >> s;
        EXPECT_STREQ(s.Description, "Hello");
        EXPECT_FLOAT_EQ(s.Value3, 12.5f);
        EXPECT_FLOAT_EQ(s.Value4, -3.0f);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    {  // 0.2: the middle block is absent but Value3/Value4 are there.
        std::istringstream is("2 1 7 8\nNEXT");
        TSpectSave s;
        is >> s;
        EXPECT_EQ(s.Present, 1);
        EXPECT_FLOAT_EQ(s.Value1, 500.0f);
        EXPECT_FLOAT_EQ(s.Value2, 1200.0f);
        EXPECT_FLOAT_EQ(s.Value3, 7.0f);
        EXPECT_FLOAT_EQ(s.Value4, 8.0f);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    {  // 0.0: Present only.
        std::istringstream is("0 1 7 8");
        TSpectSave s;
        is >> s;
        EXPECT_EQ(s.Present, 1);
        EXPECT_FLOAT_EQ(s.Value3, 999.0f);
        EXPECT_EQ(Rest(is), " 7 8");
    }
    {  // 2.0 has everything; a zero length still consumes its separator.
        std::istringstream is("131072 1 2 3\n0 4 5\nNEXT");
        TSpectSave s;
        is >> s;
        EXPECT_STREQ(s.Description, "");
        EXPECT_FLOAT_EQ(s.Value3, 4.0f);
        EXPECT_FLOAT_EQ(s.Value4, 5.0f);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
}

TEST(SpectSave, CountedDescriptionIsBounded) {
    {  // A negative length clears an old text and reads no bytes.
        std::istringstream is("65537 1 2 3\n-4 5 6\n");
        TSpectSave s;
        std::strcpy(s.Description, "old");
        is >> s;
        EXPECT_STREQ(s.Description, "");
        EXPECT_FLOAT_EQ(s.Value3, 5.0f);
        EXPECT_FLOAT_EQ(s.Value4, 6.0f);
        EXPECT_TRUE(is.good());
    }
    {  // 40 bytes stored: 31 kept, all 40 consumed.
        std::string text(40, 'a');
        text[39] = 'z';
        std::istringstream is("65537 1 2 3\n40 " + text + "5 6\n");
        TSpectSave s;
        is >> s;
        EXPECT_EQ(std::string(s.Description), std::string(31, 'a'));
        EXPECT_FLOAT_EQ(s.Value3, 5.0f);
        EXPECT_FLOAT_EQ(s.Value4, 6.0f);
    }
    {  // More than the stream holds fails it.
        std::istringstream is("65537 1 2 3\n2000000000 abc");
        TSpectSave s;
        is >> s;
        EXPECT_TRUE(is.fail());
        EXPECT_LT(std::strlen(s.Description), sizeof s.Description);
    }
}

TEST(SpectSave, WriterLayoutAndRoundTrip) {
    TSpectSave s;
    s.Present = 1;
    s.Value1 = 250.5f;
    s.Value2 = 600.0f;
    s.Value3 = 12.5f;
    s.Value4 = -3.0f;
    std::strcpy(s.Description, "Hello");
    std::ostringstream os;
    os << s;
    EXPECT_EQ(os.str(), "65537 1 250.5 600\n5 Hello12.5 -3\n");

    std::istringstream is(os.str());
    TSpectSave back;
    is >> back;
    EXPECT_EQ(back.Present, 1);
    EXPECT_FLOAT_EQ(back.Value1, 250.5f);
    EXPECT_FLOAT_EQ(back.Value2, 600.0f);
    EXPECT_STREQ(back.Description, "Hello");
    EXPECT_FLOAT_EQ(back.Value3, 12.5f);
    EXPECT_FLOAT_EQ(back.Value4, -3.0f);
}

namespace {
// A 1.x record typed from the field table, cut after the fields of `minor`.
std::string KavriRecord(unsigned int version, int minor) {
    std::string r = std::to_string(version) + " 1 2 3.5 4 5 6.5 LBL\n7 8.5\n9 10 11 12 4 note 13 14 15 16 17 18 19.5";
    if (minor >= 1) r += "\n20";
    if (minor >= 2) r += " MODEL-X\n";
    if (minor >= 3) r += "21 22.5\n23 24.5";
    if (minor >= 4) r += "\n25 26";
    return r + "\nNEXT";
}
}  // namespace

TEST(KavriSpectSave, VersionGatesFromTypedRecords) {
    {  // 1.4: every field, arrays in their stored order.
        std::istringstream is(KavriRecord(65540, 4));
        TKavriSpectSave s;
        is >> s;
        EXPECT_EQ(s.Present, 1);
        EXPECT_EQ(s.Param1, 2);
        EXPECT_FLOAT_EQ(s.Param2, 3.5f);
        EXPECT_EQ(s.Param3, 4);
        EXPECT_EQ(s.Param4, 5);
        EXPECT_FLOAT_EQ(s.Param5, 6.5f);
        EXPECT_STREQ(s.Label, "LBL");
        EXPECT_EQ(s.PortFlag[0], 7);
        EXPECT_FLOAT_EQ(s.PortValue[0], 8.5f);
        EXPECT_EQ(s.Extra[1], 9);
        EXPECT_EQ(s.Extra[3], 10);
        EXPECT_EQ(s.Option1, 11);
        EXPECT_EQ(s.Option2, 12);
        EXPECT_STREQ(s.Note, "note");
        for (int i = 0; i < 5; ++i) EXPECT_EQ(s.Counter[i], 13 + i);
        EXPECT_EQ(s.PortFlag[2], 18);
        EXPECT_FLOAT_EQ(s.PortValue[2], 19.5f);
        EXPECT_EQ(s.Counter[5], 20);
        EXPECT_STREQ(s.Model, "MODEL-X");
        EXPECT_EQ(s.PortFlag[1], 21);
        EXPECT_FLOAT_EQ(s.PortValue[1], 22.5f);
        EXPECT_EQ(s.PortFlag[3], 23);
        EXPECT_FLOAT_EQ(s.PortValue[3], 24.5f);
        EXPECT_EQ(s.Extra[0], 25);
        EXPECT_EQ(s.Extra[2], 26);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    {  // 1.1: Counter[5] but no model, later ports or extras.
        std::istringstream is(KavriRecord(65537, 1));
        TKavriSpectSave s;
        is >> s;
        EXPECT_EQ(s.Counter[5], 20);
        EXPECT_STREQ(s.Model, "TK250c");
        EXPECT_FLOAT_EQ(s.PortValue[1], 10.0f);
        EXPECT_FLOAT_EQ(s.PortValue[3], 10.0f);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    {  // 1.0 stops after the second port pair.
        std::istringstream is(KavriRecord(65536, 0));
        TKavriSpectSave s;
        is >> s;
        EXPECT_FLOAT_EQ(s.PortValue[2], 19.5f);
        EXPECT_EQ(s.Counter[5], 0);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    {  // 0.3 (major 0): the minor alone admits Counter[5], the model and the ports.
        std::istringstream is(KavriRecord(3, 3));
        TKavriSpectSave s;
        is >> s;
        EXPECT_STREQ(s.Model, "MODEL-X");
        EXPECT_FLOAT_EQ(s.PortValue[3], 24.5f);
        EXPECT_EQ(s.Extra[0], 0);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    {  // 2.0: the major admits every field.
        std::istringstream is(KavriRecord(131072, 4));
        TKavriSpectSave s;
        is >> s;
        EXPECT_EQ(s.Extra[2], 26);
        EXPECT_EQ(Rest(is), "\nNEXT");
    }
    for (unsigned int v : {65541u, 131077u}) {  // minor 5 or more: version word only
        std::istringstream is(std::to_string(v) + " 1 2");
        TKavriSpectSave s;
        is >> s;
        EXPECT_EQ(s.Present, 0);
        EXPECT_EQ(Rest(is), " 1 2");
    }
}

TEST(KavriSpectSave, OverlongTextsAreCutAndConsumed) {
    std::string token(50, 'T');
    std::string note(45, 'n');
    std::istringstream is("65536 1 2 3 4 5 6 " + token + "\n7 8\n9 10 11 12 45 " + note +
                          " 13 14 15 16 17 18 19\nNEXT");
    TKavriSpectSave s;
    is >> s;
    EXPECT_EQ(std::string(s.Label), std::string(31, 'T'));
    EXPECT_EQ(std::string(s.Note), std::string(31, 'n'));
    EXPECT_EQ(s.PortFlag[0], 7);
    EXPECT_EQ(s.PortFlag[2], 18);
    EXPECT_EQ(Rest(is), "\nNEXT");
}

TEST(KavriSpectSave, RoundTripWithDistinctFieldsAndEmptyLabel) {
    TKavriSpectSave s;
    s.Present = 1;
    s.Param1 = 2;
    s.Param2 = 3.5f;
    s.Param3 = 4;
    s.Param4 = 5;
    s.Param5 = 6.5f;
    std::strcpy(s.Label, "600");
    std::strcpy(s.Model, "Model with spaces");
    for (int i = 0; i < 4; ++i) {
        s.PortFlag[i] = 10 + i;
        s.PortValue[i] = 20.25f + i;
        s.Extra[i] = 30 + i;
    }
    s.Option1 = 40;
    s.Option2 = 41;
    std::strcpy(s.Note, "a note");
    for (int i = 0; i < 6; ++i) s.Counter[i] = 50 + i;

    std::ostringstream os;
    os << s << "\nNEXT";
    std::istringstream is(os.str());
    TKavriSpectSave b;
    std::strcpy(b.Model, "stale");
    is >> b;
    EXPECT_EQ(b.Present, 1);
    EXPECT_EQ(b.Param1, 2);
    EXPECT_FLOAT_EQ(b.Param2, 3.5f);
    EXPECT_EQ(b.Param3, 4);
    EXPECT_EQ(b.Param4, 5);
    EXPECT_FLOAT_EQ(b.Param5, 6.5f);
    EXPECT_STREQ(b.Label, "600");
    EXPECT_STREQ(b.Model, "Model with spaces");
    for (int i = 0; i < 4; ++i) {
        EXPECT_EQ(b.PortFlag[i], 10 + i);
        EXPECT_FLOAT_EQ(b.PortValue[i], 20.25f + i);
        EXPECT_EQ(b.Extra[i], 30 + i);
    }
    EXPECT_EQ(b.Option1, 40);
    EXPECT_EQ(b.Option2, 41);
    EXPECT_STREQ(b.Note, "a note");
    for (int i = 0; i < 6; ++i) EXPECT_EQ(b.Counter[i], 50 + i);
    EXPECT_EQ(Rest(is), " \nNEXT");

    // An empty label puts the line break right behind the separator.
    s.Label[0] = '\0';
    std::ostringstream empty;
    empty << s;
    EXPECT_NE(empty.str().find("6.5 \n10 20.25\n"), std::string::npos);
    std::istringstream again(empty.str());
    again >> b;
    EXPECT_STREQ(b.Label, "");
    EXPECT_EQ(b.PortFlag[0], 10);
    EXPECT_EQ(b.Extra[2], 32);
}
