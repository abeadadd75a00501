// Pixel to calibrated value and back, and the axis unit conversions.
#include <gtest/gtest.h>

#include <vector>

#include "calib/CalibImage.h"

namespace {
using C = TCalibImage;
enum { User = 0, Pixel = 1, Wave = 2, Raman = 3, Pos = 4, Time = 5 };
}  // namespace

TEST(CalibConversion, UnitsAndTypes) {
    // Raman shift at 532 nm: 550 nm is (550 - 532) / (550 * 532 * 1e-7) cm-1.
    EXPECT_NEAR(C::FromNM(550, Raman, 0, 532), 615.1743, 1e-3);
    EXPECT_NEAR(C::Convert(550, Wave, 0, Raman, 0, 532), 615.1743, 1e-3);
    EXPECT_EQ(C::ToNM(0, Raman, 0, 532), 532.0f);
    EXPECT_EQ(C::FromNM(0, Raman, 0, 532), 0.0f);

    // eV, cm-1 and um against nanometres.
    EXPECT_NEAR(C::ToNM(2, Wave, 3, 0), 619.926, 1e-3);
    EXPECT_NEAR(C::FromNM(550, Wave, 3, 0), 2.254276, 1e-5);
    EXPECT_NEAR(C::ToNM(20000, Wave, 2, 0), 500.0, 1e-3);
    EXPECT_NEAR(C::FromNM(500, Wave, 2, 0), 20000.0, 1e-2);
    EXPECT_NEAR(C::ToNM(0.5f, Wave, 1, 0), 500.0, 1e-4);
    EXPECT_NEAR(C::FromNM(500, Wave, 1, 0), 0.5, 1e-7);
    // Wavelength converts only into Raman shift; anything else is left as it is.
    EXPECT_EQ(C::Convert(550, Wave, 0, Pixel, 0, 532), 550.0f);
    EXPECT_EQ(C::Convert(615, Raman, 0, Pos, 0, 532), 615.0f);

    // Positions: 1 in = 1 / 3.937e-5 um, 1 ui = 1 / 39.37 um.
    EXPECT_NEAR(C::ToUM(1, Pos, 4), 25400.05, 1e-2);
    EXPECT_NEAR(C::ToUM(1000, Pos, 3), 25.40005, 1e-4);
    EXPECT_NEAR(C::Convert(1, Pos, 4, Pos, 0, 0), 25400.05, 1e-2);
    EXPECT_NEAR(C::Convert(3, Pos, 2, Pos, 1, 0), 30.0, 1e-4);  // cm to mm

    // Times: Convert divides milliseconds by 1000, ToSec multiplies them.
    EXPECT_NEAR(C::Convert(5, Time, 0, Time, 1, 0), 0.005, 1e-9);
    EXPECT_NEAR(C::Convert(5, Time, 1, Time, 0, 0), 5000.0, 1e-3);
    EXPECT_EQ(C::ToSec(5, Time, 0), 5000.0f);

    // No excitation, a negative value, a wrong type or an unknown unit: -1.
    EXPECT_EQ((std::vector<float>{C::ToNM(100, Raman, 0, 0), C::ToNM(-3, Wave, 0, 0), C::ToNM(3, Pos, 0, 0),
                                  C::FromNM(3, Time, 0, 0), C::ToUM(1, Pos, 5), C::ToUM(-1, Pos, 0), C::ToUM(1, Time, 0),
                                  C::ToSec(-5, Time, 1), C::ToSec(5, Time, 2)}),
              std::vector<float>(9, -1.0f));
}

TEST(CalibConversion, Polynomials) {
    C c;
    c.SetXIsWavelength(0);
    c.SetXCalConstants(1, 2, 3, 4);
    c.SetYCalConstants(1, 2, 3, 4);
    EXPECT_EQ(c.GetXCal(2), 49.0);  // 1 + 2*2 + 3*4 + 4*8
    EXPECT_EQ(c.GetYCal(2.0f), 49.0f);

    // Nanometres shown in the X axis's own type and unit; 500 + 50 = 550 nm.
    c.SetXIsWavelength(1);
    c.SetXCalConstants(500, 1, 0, 0);
    c.SetXType(Wave, nullptr);
    EXPECT_EQ(c.GetXCal(50), 550.0);
    c.SetXUnit(3);
    EXPECT_NEAR(c.GetXCal(50.0f), 2.254276, 1e-5);
    c.SetXType(Raman, nullptr);
    c.SetXUnit(0);
    c.SetRayleighWavelength(532);
    EXPECT_NEAR(c.GetXCal(50), 615.1743, 1e-3);
    c.SetRayleighWavelength(0);
    EXPECT_EQ(c.GetXCal(50), 550.0);  // no excitation: falls back to nanometres
    c.SetXType(Pixel, nullptr);
    EXPECT_EQ(c.GetXCal(50), 550.0);
}

TEST(CalibConversion, PixelSearches) {
    C c;
    c.SetDetectorRect(LONG_RECT{1, 256, 1024, 1});
    c.SetXIsWavelength(0);

    // X rising 400 + 0.5 p, falling 900 - 0.5 p: nearest pixel, not clamped to the columns.
    // Z rising 2 r, falling 600 - 2 r over rows 1..256: 0 outside the rows.
    const struct { double c0, c1; char axis; float value; int pixel; } searches[] = {
        {400, 0.5, 'x', 500.0f, 200}, {400, 0.5, 'x', 500.2f, 200}, {400, 0.5, 'x', 500.3f, 201},
        {400, 0.5, 'x', 912.0f, 1024}, {400, 0.5, 'x', 300.0f, -200}, {900, -0.5, 'x', 799.8f, 200},
        {900, -0.5, 'x', 799.7f, 201}, {900, -0.5, 'x', 1000.0f, -200}, {0, 2, 'z', 21.5f, 11},
        {0, 2, 'z', 512.0f, 256}, {0, 2, 'z', 2.0f, 1}, {0, 2, 'z', 600.0f, 0},
        {600, -2, 'z', 578.5f, 11}, {600, -2, 'z', 700.0f, 0}, {600, -2, 'z', 50.0f, 0}};
    for (const auto& t : searches) {
        if (t.axis == 'x') c.SetXCalConstants(t.c0, t.c1, 0, 0);
        else c.SetZCalConstants(static_cast<float>(t.c0), static_cast<float>(t.c1), 0, 0);
        EXPECT_EQ(t.axis == 'x' ? c.GetXPixel(t.value) : c.GetZPixel(t.value), t.pixel) << t.c0 << " " << t.value;
    }
    c.SetZCalConstants(0, 2, 0, 0);
    EXPECT_EQ(c.GetZCal(10.0f), 20.0f);
    EXPECT_EQ(c.GetZCal(0.0f), 0.0f);
    EXPECT_EQ(c.GetZCal(257.0f), 0.0f);

    // Rows upside down: every value is unreachable, and the search still ends.
    c.SetDetectorRect(LONG_RECT{1, 0, 1024, 5});
    EXPECT_EQ(c.GetZPixel(0.0f), 5);
}
