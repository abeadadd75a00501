// The calibration record: reading every layout, writing, and the axis vocabulary.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

#include "calib/CalibImage.h"

namespace {

// Version word and the six positional type/unit bytes, laid out as files have them.
std::string Head(const char* version, const std::string& six) {
    std::string s = std::string(version) + " ";
    for (std::size_t i = 0; i < six.size(); ++i) s += std::string(1, six[i]) + (i < 5 ? " " : "\n");
    return s;
}
const std::string kWave(std::string("\2\0\0\0\0\0", 6));
const std::string kConstants = "400 0.5 0 0\n1 2 0 0\n0 0.25 0 0\n";

std::string Bytes(const TCalibImageData& r) {
    return {char(r.GetXType()), char(r.GetXUnit()), char(r.GetYType()),
            char(r.GetYUnit()), char(r.GetZType()), char(r.GetZUnit())};
}
std::string Rest(std::istream& is) {
    std::string rest;
    std::getline(is, rest, '\0');
    return rest;
}

}  // namespace

TEST(CalibRecord, ReadsEveryLayoutAndStopsBehindIt) {
    TCalibImageData::DefaultPixel(1e-05f, 2e-05f);

    // 1.2: no Rayleigh wavelength, pixel size or flag. Bytes 32 and 10 are values here.
    const std::string bytes("\2\0\1 \4\n", 6);
    std::istringstream v12(Head("65538", bytes) + kConstants + "10\nWavelength0\n4\nRowsNEXT");
    TCalibImageData r;
    v12 >> r;
    EXPECT_EQ(r.GetVersionLow(), 2u);
    EXPECT_EQ(Bytes(r), bytes);
    EXPECT_EQ(r.GetXCalConstant(1), 0.5);
    EXPECT_EQ(r.GetYCalConstant(0), 1.0f);
    EXPECT_EQ(r.GetZCalConstant(1), 0.25f);
    EXPECT_EQ(r.GetRayleighWavelength(), 0.0f);
    EXPECT_EQ(r.GetPixelLength(), 1e-05f);
    EXPECT_EQ(r.GetPixelHeight(), 2e-05f);
    EXPECT_EQ(r.GetXIsWavelength(), 1);
    EXPECT_STREQ(r.GetXTypeText(-1), "Wavelength");
    EXPECT_STREQ(r.GetZTypeText(-1), "Rows");
    EXPECT_EQ(Rest(v12), "NEXT");

    // Without a stored flag it is 1 only for unit 0 with pixel number or wavelength.
    struct { char type, unit; int flag; } derived[] = {{1, 0, 1}, {2, 1, 0}, {3, 0, 0}, {0, 0, 0}};
    for (auto& d : derived) {
        std::istringstream is(Head("65538", std::string{d.type, d.unit, 0, 0, 0, 0}) + kConstants + "0\n0\n0\n");
        TCalibImageData x;
        is >> x;
        EXPECT_EQ(x.GetXIsWavelength(), d.flag) << int(d.type) << "/" << int(d.unit);
    }

    // 1.3 has the three floats and a derived flag; 1.4 stores the flag.
    std::istringstream v13(Head("65539", kWave) + kConstants + "532\n2.6e-05\n2.4e-05\n0\n0\n0\nNEXT");
    std::istringstream v14(Head("65540", kWave) + kConstants + "532\n2.6e-05\n2.4e-05\n0\n0\n0\n0\nNEXT");
    TCalibImageData r13, r14;
    v13 >> r13;
    v14 >> r14;
    EXPECT_EQ(r13.GetRayleighWavelength(), 532.0f);
    EXPECT_EQ(r13.GetPixelLength(), 2.6e-05f);
    EXPECT_EQ(r13.GetPixelHeight(), 2.4e-05f);
    EXPECT_EQ(r13.GetXIsWavelength(), 1);
    EXPECT_EQ(r14.GetXIsWavelength(), 0);
    EXPECT_EQ(Rest(v13) + Rest(v14), "NEXTNEXT");

    // 2.1 and 0.5: no floats (the low half counts only under a non-zero high half), but a flag.
    for (const char* version : {"131073", "5"}) {
        std::istringstream is(Head(version, kWave) + kConstants + "0\n0\n0\n3\nabcNEXT");
        TCalibImageData x;
        is >> x;
        EXPECT_EQ(x.GetPixelLength(), 1e-05f) << version;
        EXPECT_EQ(x.GetXIsWavelength(), 0) << version;
        EXPECT_STREQ(x.GetZTypeText(-1), "abc") << version;
        EXPECT_EQ(Rest(is), "NEXT") << version;
    }
    TCalibImageData::DefaultPixel(2.7e-05f, 2.7e-05f);
}

TEST(CalibRecord, WritesTheNewestLayoutAndReadsItBack) {
    TCalibImageData r;
    std::istringstream old(Head("65538", std::string(6, '\0')) + kConstants + "0\n0\n0\n");
    old >> r;  // type 0, so the derived flag is 0
    r.SetXType(2, nullptr);
    r.SetXUnit(1);
    r.SetYType(0, "Signal");
    r.SetXCalConstants(1.0 / 3.0, 2, 0, 0);
    r.SetYCalConstants(0.1f, 0, 0, 0);
    r.SetZCalConstants(0, 0, 0, 0);
    r.SetRayleighWavelength(532.5f);
    std::ostringstream os;
    os << r;
    EXPECT_EQ(os.str(), std::string("65540 \2 \1 \0 \0 \0 \0\n", 18) +
                            "0.333333333333333 2 0 0\n0.100000001490116 0 0 0\n0 0 0 0\n"
                            "532.5\n2.7e-05\n2.7e-05\n0\n10\nWavelength6\nSignal0\n");
    EXPECT_EQ(os.precision(), 6);
    EXPECT_EQ(r.GetVersionLow(), 4u);

    // Whitespace and 255 as type/unit bytes, and 15-digit constants, survive.
    r.SetXUnit(32);
    r.SetYUnit(10);
    r.SetZUnit(255);
    r.SetXCalConstants(1234.56789012345, -3.14159265358979e-05, 2.71828182845905e-09, -1e-12);
    std::ostringstream again;
    again << r << "NEXT";
    std::istringstream is(again.str());
    TCalibImageData back;
    is >> back;
    EXPECT_EQ(Bytes(back), std::string("\2 \0\n\0\xff", 6));
    for (int i = 0; i < 4; ++i)
        EXPECT_NEAR(back.GetXCalConstant(i), r.GetXCalConstant(i), std::abs(r.GetXCalConstant(i)) * 1e-14) << i;
    EXPECT_EQ(back.GetYCalConstant(0), 0.1f);
    EXPECT_STREQ(back.GetYTypeText(-1), "Signal");
    EXPECT_EQ(Rest(is), "NEXT");
}

TEST(CalibRecord, BadInputFailsTheStreamWithoutHarm) {
    const std::string whole = Head("65540", kWave) + kConstants + "532\n2.6e-05\n2.4e-05\n1\n1\nX2\nYY3\nZZZ";
    for (std::size_t n = 0; n < whole.size(); ++n) {
        std::istringstream is(whole.substr(0, n));
        TCalibImageData r;
        is >> r;
        EXPECT_TRUE(is.fail()) << n;
    }

    // A count far beyond the stream fails it; a genuine long label is consumed whole, kept in part.
    std::istringstream huge(Head("65540", kWave) + kConstants + "0\n0\n0\n1\n4000000000\nshort");
    std::istringstream longLabel(Head("65540", kWave) + kConstants + "0\n0\n0\n1\n10000\n" +
                                 std::string(10000, 'a') + "0\n0\nNEXT");
    TCalibImageData h, l;
    huge >> h;
    longLabel >> l;
    EXPECT_TRUE(huge.fail());
    EXPECT_EQ(std::strlen(l.GetXTypeText(-1)), 4095u);
    EXPECT_EQ(Rest(longLabel), "NEXT");
}

TEST(CalibVocabulary, SettersTextsAndCopies) {
    TCalibImage c;
    c.SetXType(0, "My axis");
    c.SetXType(0, "");
    EXPECT_STREQ(c.GetXTypeText(-1), "My axis");  // an empty label keeps the old one
    c.SetXType(3, "ignored");
    EXPECT_STREQ(c.GetXTypeText(-1), "Raman shift");
    c.SetXType(255, "x");
    EXPECT_EQ(c.GetXType(), 0);
    EXPECT_STREQ(c.GetXTypeText(-1), "User type");
    c.SetYType(31, nullptr);
    EXPECT_STREQ(c.GetYTypeText(-1), "Counts");
    c.SetYType(13, nullptr);
    EXPECT_STREQ(c.GetYUnitText(), " uW/cm2/sr/nm");
    c.SetZType(5, nullptr);
    c.SetZUnit(1);
    EXPECT_STREQ(c.GetZUnitText(), " secs");
    EXPECT_STREQ(c.GetYTypeText(28), "(A-C)/(B-C)");

    c.SetXType(2, nullptr);
    c.SetXUnit(3);
    EXPECT_STREQ(c.GetXUnitText(-1, -1), " eV");
    EXPECT_STREQ(c.GetXUnitText(4, 3), " ui");
    EXPECT_STREQ(c.GetXUnitText(4, 255), " um");
    EXPECT_EQ(c.GetXUnitText(2, 4), nullptr);  // past the type's own list
    const char* const* units = TCalibImage::GetValidXUnits(2);
    for (const char* w : {" nm", " um", " cm-1", " eV"}) EXPECT_STREQ(*units++, w);
    EXPECT_EQ(*units, nullptr);

    // A copy applies the setters again: a table type gets its label, a user label is duplicated.
    TCalibImage a;
    std::istringstream v12(Head("65538", std::string("\0\0\3\0\0\0", 6)) + kConstants + "6\nCustom0\n0\n");
    v12 >> static_cast<TCalibImageData&>(a);
    TCalibImage b(a);
    a.SetXType(0, "Changed");
    EXPECT_STREQ(b.GetXTypeText(-1), "Custom");
    EXPECT_STREQ(b.GetYTypeText(-1), "Absorptance");
    EXPECT_EQ(b.GetVersionLow(), 4u);
}
