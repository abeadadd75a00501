// Pixel to calibrated value and back, and the axis unit conversions.
#include <gtest/gtest.h>

#include <vector>

#include "calib/CalibImage.h"

namespace {
using C = TCalibImage;
enum { User = 0, Pixel = 1, Wave = 2, Raman = 3, Pos = 4, Time = 5 };
}  // namespace

TEST(CalibConversion, UnitsAndTypes) {
    EXPECT_EQ(C::ToNM(0, Raman, 0, 532), 532.0f);
    // cm-1 and um against nanometres.
    EXPECT_NEAR(C::FromNM(500, Wave, 2, 0), 20000.0, 1e-2);
    EXPECT_NEAR(C::FromNM(500, Wave, 1, 0), 0.5, 1e-7);
    // Wavelength converts only into Raman shift; anything else is left as it is.
    EXPECT_EQ(C::Convert(550, Wave, 0, Pixel, 0, 532), 550.0f);
    // Positions: 1 in = 1 / 3.937e-5 um; times: Convert divides milliseconds by 1000.
    EXPECT_NEAR(C::Convert(1, Pos, 4, Pos, 0, 0), 25400.05, 1e-2);
    EXPECT_NEAR(C::Convert(5, Time, 0, Time, 1, 0), 0.005, 1e-9);
    // No excitation, a negative value, a wrong type or an unknown unit: -1.
    EXPECT_EQ((std::vector<float>{C::ToNM(100, Raman, 0, 0), C::ToNM(-3, Wave, 0, 0), C::FromNM(3, Time, 0, 0),
                                  C::ToUM(1, Pos, 5), C::ToUM(-1, Pos, 0), C::ToSec(5, Time, 2)}),
              std::vector<float>(6, -1.0f));
}

TEST(CalibConversion, Polynomials) {
    C c;
    c.SetXIsWavelength(0);
    c.SetXCalConstants(1, 2, 3, 4);
    c.SetYCalConstants(1, 2, 3, 4);
    EXPECT_EQ(c.GetXCal(2), 49.0);  // 1 + 2*2 + 3*4 + 4*8

    // Nanometres shown in the X axis's own type and unit; 500 + 50 = 550 nm, in eV
    // and as a Raman shift from 532 nm: (550 - 532) / (550 * 532 * 1e-7) cm-1.
    c.SetXIsWavelength(1);
    c.SetXCalConstants(500, 1, 0, 0);
    c.SetXType(Wave, nullptr);
    c.SetXUnit(3);
    EXPECT_NEAR(c.GetXCal(50.0f), 2.254276, 1e-5);
    c.SetXType(Raman, nullptr);
    c.SetXUnit(0);
    c.SetRayleighWavelength(532);
    EXPECT_NEAR(c.GetXCal(50), 615.1743, 1e-3);
    c.SetRayleighWavelength(0);
    EXPECT_EQ(c.GetXCal(50), 550.0);  // no excitation: falls back to nanometres
}

TEST(CalibConversion, PixelSearches) {
    C c;
    c.SetDetectorRect(LONG_RECT{1, 256, 1024, 1});
    c.SetXIsWavelength(0);
    // X falling 900 - 0.5 p: nearest pixel, not clamped to the columns. Z rising 2 r over
    // rows 1..256: 0 outside the rows, either way.
    c.SetXCalConstants(900, -0.5, 0, 0);
    c.SetZCalConstants(0, 2, 0, 0);
    EXPECT_EQ((std::vector<int>{c.GetXPixel(799.8f), c.GetXPixel(799.7f), c.GetXPixel(1000.0f), c.GetZPixel(21.5f),
                                c.GetZPixel(512.0f), c.GetZPixel(600.0f)}),
              (std::vector<int>{200, 201, -200, 11, 256, 0}));
    EXPECT_EQ((std::vector<float>{c.GetZCal(10.0f), c.GetZCal(0.0f), c.GetZCal(257.0f)}),
              (std::vector<float>{20, 0, 0}));
}
