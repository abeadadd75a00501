#include "calib/CalibImage.h"

#include "metadata/mcfdataxml.h"
#include "util/kavrimath.h"

using KavriUtility::TKavriMath;

TCalibImage::TCalibImage(const TCalibImage& other) : TCalibImageData(), TKavriImage(other) {
    SetXType(other.xType, other.xText.get());
    SetYType(other.yType, other.yText.get());
    SetZType(other.zType, other.zText.get());
    CopyValues(other);
}

std::istream& operator>>(std::istream& is, TCalibImage& image) {
    is >> static_cast<TCalibImageData&>(image);
    return is >> static_cast<TKavriImageData&>(image);
}

std::ostream& operator<<(std::ostream& os, TCalibImage& image) {
    os << static_cast<TCalibImageData&>(image);
    return os << static_cast<TKavriImageData&>(image);
}

bool TCalibImage::ReadXMLDataStructure(TMcfDataXML& xml) {
    if (!xml.SetFirstChildNode("TCalibImage")) return false;
    if (xml.SetFirstChildNode("TCalibImageData")) xml.PopNode();
    if (xml.SetFirstChildNode("TKavriImage")) {
        TKavriImageData::ReadXMLDataStructure(xml);
        xml.PopNode();
    }
    xml.PopNode();
    return true;
}

bool TCalibImage::BuildXMLDataStructure(TMcfDataXML& xml) {
    xml.AddChildNode("TCalibImage");
    xml.AddChildNode("TCalibImageData");
    xml.PopNode();
    xml.AddChildNode("TKavriImage");
    TKavriImageData::BuildXMLDataStructure(xml);
    xml.PopNode();
    xml.PopNode();
    return true;
}

// Calibrated values are compared against stored ones, so each step keeps the width
// (32 or 64 bits) in which the values were first computed.

double TCalibImage::GetXCal(float pixel) const {
    const double p = pixel;
    const double a = xCal[0] + p * xCal[1] + p * (xCal[2] * p);
    const double b = xCal[3] * p * p;
    double x = p * b + a;
    if (xIsWavelength == 1) {
        const float y = Convert(static_cast<float>(x), CalibAxis::Wavelength, CalibAxis::Nanometre, xType, xUnit,
                                rayleighWavelength);
        if (!TKavriMath::Equals(static_cast<double>(y), -1.0)) x = y;
    }
    return x;
}

double TCalibImage::GetXCal(int pixel) const { return GetXCal(static_cast<float>(pixel)); }

float TCalibImage::GetYCal(float v) const { return yCal[3] * v * v * v + (yCal[0] + yCal[1] * v + yCal[2] * v * v); }

float TCalibImage::GetZCal(float r) const {
    const LONG_RECT area = GetDetectorRect();
    if (static_cast<float>(area.bottom) <= r && r <= static_cast<float>(area.top))
        return zCal[0] + zCal[1] * r + zCal[2] * r * r + zCal[3] * r * r * r;
    return 0.0f;
}

// Bisection from below the image, over three image widths, in either direction of
// the calibration. 64-bit indices so a corrupt area cannot overflow.
int TCalibImage::GetXPixel(float value) const {
    const LONG_RECT area = GetDetectorRect();
    const long long left = area.left, right = area.right;
    const bool rising = GetXCal(static_cast<float>(right)) > GetXCal(static_cast<float>(left));
    const long long n = right - left + 1;
    long long lo = -n;
    long long step = (3 * n) >> 1;
    const double twice = value + value;
    const double below = value - 0.0001, above = value + 0.0001;

    auto cal = [this](long long pixel) { return GetXCal(static_cast<float>(pixel)); };
    for (; step > 0; step >>= 1) {
        const double c = cal(lo + step);
        if (below < c && c < above) {
            lo += step;
            break;
        }
        if (rising ? value > c : c > value) lo += step;
    }

    const double s = cal(lo) + cal(lo + 1);
    const bool up = rising ? twice > s : s > twice;
    return static_cast<int>(up ? lo + 1 : lo);
}

// Unlike X: starts at the bottom row with half the span, refuses values outside the
// calibrated range, and does not round at the ends.
int TCalibImage::GetZPixel(float value) const {
    const LONG_RECT area = GetDetectorRect();
    const long long bottom = area.bottom, top = area.top;
    const float calTop = GetZCal(static_cast<float>(top));
    const float calBottom = GetZCal(static_cast<float>(bottom));
    const bool falling = !(calTop > calBottom);
    if (falling ? (value > calBottom || value < calTop) : (value < calBottom || value > calTop)) return 0;

    auto cal = [this](long long row) { return GetZCal(static_cast<float>(row)); };
    long long lo = bottom;
    // A positive step only: an upside-down area would otherwise never end the search.
    for (long long step = (top - bottom + 1) >> 1; step > 0; step >>= 1) {
        const float c = cal(lo + step);
        if (TKavriMath::Equals(c, value)) {
            lo += step;
            break;
        }
        if (falling ? c > value : value > c) lo += step;
    }

    if (lo <= bottom || lo >= top) return static_cast<int>(lo);
    const float s = cal(lo) + cal(lo + 1);
    const float twice = value + value;
    const bool up = falling ? s > twice : twice > s;
    return static_cast<int>(up ? lo + 1 : lo);
}

float TCalibImage::ToNM(float v, int type, int unit, float rayleigh) {
    const double w = v;
    switch (type) {
    case CalibAxis::Wavelength:
        if (TKavriMath::IsZero(v)) return v;
        if (v < 0.0f) return -1.0f;
        switch (unit) {
        case CalibAxis::Wavenumber: return static_cast<float>(1.0 / (w * 1e-7));
        case CalibAxis::ElectronVolt: return static_cast<float>(1239.852 / w);
        case CalibAxis::Micrometre: return static_cast<float>(w / 0.001);
        default: return v;
        }
    case CalibAxis::RamanShift: {
        if (v == 0.0f) return rayleigh;
        if (!(rayleigh > 0.0f)) return -1.0f;
        // 1/nm = 1/rayleigh - shift
        const float absolute = static_cast<float>(1.0 / (w * 1e-7));
        return absolute * rayleigh / (absolute - rayleigh);
    }
    default:
        return -1.0f;
    }
}

float TCalibImage::FromNM(float v, int type, int unit, float rayleigh) {
    if (TKavriMath::IsZero(v)) return 0.0f;
    const double w = v;
    if (type == CalibAxis::Wavelength) {
        switch (unit) {
        case CalibAxis::Wavenumber: return static_cast<float>(1.0 / (w * 1e-7));
        case CalibAxis::ElectronVolt: return static_cast<float>(1239.852 / w);
        case CalibAxis::Micrometre: return static_cast<float>(w * 0.001);
        default: return v;
        }
    }
    if (type == CalibAxis::RamanShift && rayleigh > 0.0f) {
        const float difference = v - rayleigh;
        const float product = v * rayleigh;
        return static_cast<float>(difference / (product * 1e-7));
    }
    return -1.0f;
}

namespace {

// Micrometres per unit of the position list, as divisors.
double PerMicrometre(int unit) {
    switch (unit) {
    case CalibAxis::PosMillimetre: return 0.001;
    case CalibAxis::PosCentimetre: return 0.0001;
    case CalibAxis::PosMicroInch: return 39.37;
    case CalibAxis::PosInch: return 3.937e-5;
    default: return 1.0;
    }
}

}  // namespace

float TCalibImage::ToUM(float v, int type, int unit) {
    if (type != CalibAxis::Position) return -1.0f;
    if (TKavriMath::IsZero(v)) return 0.0f;
    if (v < 0.0f) return -1.0f;
    if (unit < CalibAxis::PosMicrometre || unit > CalibAxis::PosInch) return -1.0f;
    return static_cast<float>(static_cast<double>(v) / PerMicrometre(unit));
}

// Milliseconds times 1000: the inverse of the factor Convert uses, kept as files expect it.
float TCalibImage::ToSec(float v, int type, int unit) {
    if (type != CalibAxis::Time) return -1.0f;
    if (TKavriMath::IsZero(v)) return 0.0f;
    if (v < 0.0f) return -1.0f;
    if (unit == CalibAxis::Second) return v;
    if (unit == CalibAxis::Millisecond) return v * 1000.0f;
    return -1.0f;
}

float TCalibImage::Convert(float v, int fromType, int fromUnit, int toType, int toUnit, float rayleigh) {
    // Wavelength and Raman shift convert only into each other; other mismatches take fromType's branch.
    if (fromType != toType) {
        if (fromType == CalibAxis::Wavelength && toType != CalibAxis::RamanShift) return v;
        if (fromType == CalibAxis::RamanShift && toType != CalibAxis::Wavelength) return v;
    }
    switch (fromType) {
    case CalibAxis::Wavelength:
    case CalibAxis::RamanShift:
        return FromNM(ToNM(v, fromType, fromUnit, rayleigh), toType, toUnit, rayleigh);
    case CalibAxis::Position: {
        const float um = static_cast<float>(static_cast<double>(v) / PerMicrometre(fromUnit));
        return static_cast<float>(static_cast<double>(um) * PerMicrometre(toUnit));
    }
    case CalibAxis::Time:
        if (fromUnit == CalibAxis::Millisecond) v = static_cast<float>(static_cast<double>(v) * 0.001);
        if (toUnit == CalibAxis::Millisecond) v = v * 1000.0f;
        return v;
    default:
        return v;
    }
}
