// The calibration record: reading every layout, writing, and the axis vocabulary.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <tuple>
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
    EXPECT_EQ(std::make_tuple(r.GetVersionLow(), Bytes(r), r.GetXCalConstant(1), r.GetYCalConstant(0), r.GetZCalConstant(1),
                              r.GetXIsWavelength(), std::string(r.GetXTypeText(-1)), std::string(r.GetZTypeText(-1)), Rest(v12)),
              std::make_tuple(2u, bytes, 0.5, 1.0f, 0.25f, 1, std::string("Wavelength"), std::string("Rows"), std::string("NEXT")));

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
        EXPECT_EQ(std::make_tuple(x.GetRayleighWavelength(), x.GetPixelLength(), x.GetPixelHeight(), x.GetXIsWavelength(),
                                  std::string(c.z.empty() ? "" : x.GetZTypeText(-1)), Rest(is)),
                  std::make_tuple(c.rayleigh, c.length, c.height, c.flag, c.z, std::string("NEXT")))
            << c.version << " type " << int(c.six[0]) << " unit " << int(c.six[1]);
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
    EXPECT_EQ(std::make_pair(os.precision(), r.GetVersionLow()), std::make_pair(std::streamsize(6), 4u));

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
    EXPECT_EQ(std::make_tuple(Bytes(back), back.GetYCalConstant(0), std::string(back.GetYTypeText(-1)), Rest(is)),
              std::make_tuple(std::string("\2 \0\n\0\xff", 6), 0.1f, std::string("Signal"), std::string("NEXT")));
    for (int i = 0; i < 4; ++i)
        EXPECT_NEAR(back.GetXCalConstant(i), r.GetXCalConstant(i), std::abs(r.GetXCalConstant(i)) * 1e-14) << i;
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
    // An empty label keeps the old one, a table type ignores the label, an unknown type
    // becomes the user type; then units past a type's own list.
    TCalibImage c;
    std::vector<std::string> texts;
    c.SetXType(0, "My axis");
    c.SetXType(0, "");
    texts.push_back(c.GetXTypeText(-1));
    c.SetXType(3, "ignored");
    texts.push_back(c.GetXTypeText(-1));
    c.SetXType(255, "x");
    texts.push_back(c.GetXTypeText(-1));
    c.SetYType(13, nullptr);
    texts.push_back(c.GetYUnitText());
    c.SetZType(5, nullptr);
    c.SetZUnit(1);
    texts.insert(texts.end(), {c.GetZUnitText(), c.GetYTypeText(28)});
    c.SetXType(2, nullptr);
    c.SetXUnit(3);
    texts.insert(texts.end(), {c.GetXUnitText(-1, -1), c.GetXUnitText(4, 3), c.GetXUnitText(4, 255)});
    EXPECT_EQ(texts, (std::vector<std::string>{"My axis", "Raman shift", "User type", " uW/cm2/sr/nm", " secs",
                                               "(A-C)/(B-C)", " eV", " ui", " um"}));
    EXPECT_EQ(c.GetXUnitText(2, 4), nullptr);
}
