// The calibration record: reading every layout, writing, and the axis vocabulary.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "calib/CalibImage.h"
#include "support/RecordTexts.h"

using kvmcftest::Rest;

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
    EXPECT_EQ((std::vector<double>{r.GetXCalConstant(1), r.GetYCalConstant(0), r.GetZCalConstant(1)}),
              (std::vector<double>{0.5, 1, 0.25}));
    EXPECT_EQ(r.GetXIsWavelength(), 1);
    EXPECT_STREQ(r.GetXTypeText(-1), "Wavelength");
    EXPECT_STREQ(r.GetZTypeText(-1), "Rows");
    EXPECT_EQ(Rest(v12), "NEXT");

    // Without a stored flag it is 1 only for unit 0 with pixel number or wavelength.
    // 1.3 adds the three floats, 1.4 stores the flag; 2.1 and 0.5 have no floats (the
    // low half counts only under a non-zero high half) but a flag.
    const std::string floats = "532\n2.6e-05\n2.4e-05\n";
    const struct { const char* version; std::string six, tail; float rayleigh, length, height; int flag; std::string z; } cases[] = {
        {"65538", std::string("\1\0\0\0\0\0", 6), "0\n0\n0\n", 0, 1e-05f, 2e-05f, 1, ""},
        {"65538", std::string("\2\1\0\0\0\0", 6), "0\n0\n0\n", 0, 1e-05f, 2e-05f, 0, ""},
        {"65538", std::string("\3\0\0\0\0\0", 6), "0\n0\n0\n", 0, 1e-05f, 2e-05f, 0, ""},
        {"65538", std::string(6, '\0'), "0\n0\n0\n", 0, 1e-05f, 2e-05f, 0, ""},
        {"65539", kWave, floats + "0\n0\n0\n", 532, 2.6e-05f, 2.4e-05f, 1, ""},
        {"65540", kWave, floats + "0\n0\n0\n0\n", 532, 2.6e-05f, 2.4e-05f, 0, ""},
        {"131073", kWave, "0\n0\n0\n3\nabc", 0, 1e-05f, 2e-05f, 0, "abc"},
        {"5", kWave, "0\n0\n0\n3\nabc", 0, 1e-05f, 2e-05f, 0, "abc"},
    };
    for (const auto& c : cases) {
        std::istringstream is(Head(c.version, c.six) + kConstants + c.tail + "NEXT");
        TCalibImageData x;
        is >> x;
        SCOPED_TRACE(std::string(c.version) + " type " + std::to_string(c.six[0]) + " unit " + std::to_string(c.six[1]));
        EXPECT_EQ(x.GetRayleighWavelength(), c.rayleigh);
        EXPECT_EQ(x.GetPixelLength(), c.length);
        EXPECT_EQ(x.GetPixelHeight(), c.height);
        EXPECT_EQ(x.GetXIsWavelength(), c.flag);
        if (!c.z.empty()) {
            EXPECT_STREQ(x.GetZTypeText(-1), c.z.c_str());
        }
        EXPECT_EQ(Rest(is), "NEXT");
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
