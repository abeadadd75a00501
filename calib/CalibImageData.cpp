#include "calib/CalibImageData.h"

#include <cstring>

#include "records/RecordStream.h"

namespace {

// X and Z share one vocabulary: each type with its null-terminated unit list.
struct AxisTypeRow {
    const char* text;
    const char* units[6];
};

const AxisTypeRow kXZTypes[CalibAxis::XZTypeCount] = {
    {"User type", {" "}},
    {"Pixel number", {" "}},
    {"Wavelength", {" nm", " um", " cm-1", " eV"}},
    {"Raman shift", {" cm-1"}},
    {"Position", {" um", " mm", " cm", " ui", " in"}},  // " ui": micro-inches
    {"Time", {" ms", " secs"}},
    {"Sample", {" "}},
};

// Y types carry exactly one unit text each.
struct YTypeRow {
    const char* text;
    const char* unit;
};

const YTypeRow kYTypes[CalibAxis::YTypeCount] = {
    {"User type", ""},
    {"Counts", ""},
    {"Counts (Bg Corrected)", ""},
    {"Absorptance", " %"},
    {"Reflectance", " %"},
    {"Transmittance", " %"},
    {"Absorbance Units (AU)", ""},
    {"Absorption Coeff. (/m)", ""},
    {"Attenuation", " db"},
    {"Data*Ref", ""},
    {"Log(10)", ""},
    {"Irradiance", " uW/cm2/nm"},
    {"Irr. Cal.", " uW/cm2/nm"},
    {"Radiance", " uW/cm2/sr/nm"},
    {"Rad. Cal.", " uW/cm2/sr/nm"},
    {"Raman Intensity", ""},
    {"Counts (Flatfielded)", ""},
    {"Counts (per second)", ""},
    {"Counts (Bg corrected per second)", ""},
    {"Counts (Row-Row Corrected)", ""},
    {"A", ""},
    {"B", ""},
    {"C", ""},
    {"A-B", ""},
    {"A-C", ""},
    {"B-C", ""},
    {"A/B", ""},
    {"C/B", ""},
    {"(A-C)/(B-C)", ""},
    {"Electrons", ""},
    {"Photons", ""},
};

// Labels are short; a longer stored label is consumed whole but kept only this far,
// so a corrupt length never decides how much we allocate.
constexpr std::size_t kMaxLabel = 4096;

std::unique_ptr<char[]> CopyText(const char* text) {
    if (!text) return nullptr;
    const std::size_t n = std::strlen(text);
    std::unique_ptr<char[]> copy(new char[n + 1]);
    std::memcpy(copy.get(), text, n + 1);
    return copy;
}

bool IsXZType(int type) { return type >= 0 && type < CalibAxis::XZTypeCount; }

// Entry `unit` of the type's list; null past the list instead of running into the next type's.
const char* XZUnitText(int type, int unit) {
    if (!IsXZType(type) || unit < 0) return nullptr;
    const char* const* units = kXZTypes[type].units;
    for (int i = 0; i < unit; ++i)
        if (!units[i]) return nullptr;
    return units[unit];
}

// Length as unsigned, one separator byte, the bytes; length 0 is no label at all.
std::istream& ReadLabel(std::istream& is, std::unique_ptr<char[]>& text) {
    unsigned int length = 0;
    RecordStream::Read(is, length);
    char buffer[kMaxLabel];
    RecordStream::ReadCountedBytes(is, length, buffer, sizeof buffer);
    text = length > 0 ? CopyText(buffer) : nullptr;
    return is;
}

void WriteLabel(std::ostream& os, const char* text) {
    const std::size_t n = text ? std::strlen(text) : 0;
    os << n << '\n';
    os.write(text ? text : "", static_cast<std::streamsize>(n));
}

}  // namespace

float TCalibImageData::mDefaultPixelLength = 2.7e-05f;
float TCalibImageData::mDefaultPixelHeight = 2.7e-05f;

void TCalibImageData::DefaultPixel(float length, float height) {
    mDefaultPixelLength = length;
    mDefaultPixelHeight = height;
}

void TCalibImageData::SetDefaults() {
    xType = xUnit = yType = yUnit = zType = zUnit = 0;
    for (int i = 0; i < 4; ++i) {
        xCal[i] = 0.0;
        yCal[i] = 0.0f;
        zCal[i] = 0.0f;
    }
    xText.reset();
    yText.reset();
    zText.reset();
    rayleighWavelength = 0.0f;
    pixelLength = mDefaultPixelLength;
    pixelHeight = mDefaultPixelHeight;
    xIsWavelength = 1;
    versionHigh = 1;
    versionLow = 4;
}

TCalibImageData::TCalibImageData(const TCalibImageData& other) { *this = other; }

TCalibImageData& TCalibImageData::operator=(const TCalibImageData& other) {
    if (this == &other) return *this;
    xType = other.xType;
    yType = other.yType;
    zType = other.zType;
    xText = CopyText(other.xText.get());
    yText = CopyText(other.yText.get());
    zText = CopyText(other.zText.get());
    CopyValues(other);
    versionHigh = other.versionHigh;
    versionLow = other.versionLow;
    return *this;
}

void TCalibImageData::CopyValues(const TCalibImageData& other) {
    xUnit = other.xUnit;
    yUnit = other.yUnit;
    zUnit = other.zUnit;
    for (int i = 0; i < 4; ++i) {
        xCal[i] = other.xCal[i];
        yCal[i] = other.yCal[i];
        zCal[i] = other.zCal[i];
    }
    rayleighWavelength = other.rayleighWavelength;
    pixelLength = other.pixelLength;
    pixelHeight = other.pixelHeight;
    xIsWavelength = other.xIsWavelength;
}

// Type 0 takes a given label; a table type takes its table label.
void TCalibImageData::ApplyType(unsigned char& field, Text& label, unsigned char type, const char* text,
                                const char* tableText) {
    field = type;
    if (type != 0)
        label = CopyText(tableText);
    else if (text && *text)
        label = CopyText(text);
}

// Types past the table (255 among them) become "User type" with its table label.
void TCalibImageData::SetXType(unsigned char type, const char* text) {
    if (!IsXZType(type)) {
        type = CalibAxis::UserType;
        text = kXZTypes[CalibAxis::UserType].text;
    }
    ApplyType(xType, xText, type, text, kXZTypes[type].text);
}

void TCalibImageData::SetZType(unsigned char type, const char* text) {
    if (!IsXZType(type)) {
        type = CalibAxis::UserType;
        text = kXZTypes[CalibAxis::UserType].text;
    }
    ApplyType(zType, zText, type, text, kXZTypes[type].text);
}

void TCalibImageData::SetYType(unsigned char type, const char* text) {
    if (type >= CalibAxis::YTypeCount) type = 1;  // "Counts"
    ApplyType(yType, yText, type, text, kYTypes[type].text);
}

void TCalibImageData::SetXUnit(unsigned char unit, const char*) { xUnit = unit; }
void TCalibImageData::SetYUnit(unsigned char unit, const char*) { yUnit = unit; }
void TCalibImageData::SetZUnit(unsigned char unit, const char*) { zUnit = unit; }

const char* TCalibImageData::GetXTypeText(int type) const {
    if (type == -1) return xText.get();
    return GetValidXTypeText(type);
}

const char* TCalibImageData::GetZTypeText(int type) const {
    if (type == -1) return zText.get();
    return GetValidXTypeText(type);
}

const char* TCalibImageData::GetYTypeText(int type) const {
    if (type == -1) return yText.get();
    return (type >= 0 && type < CalibAxis::YTypeCount) ? kYTypes[type].text : nullptr;
}

const char* TCalibImageData::GetXUnitText(int type, int unit) const {
    if (type == -1) type = xType;
    if (unit == -1) unit = xUnit;
    if (unit == 255) unit = 0;
    return XZUnitText(type, unit);
}

const char* TCalibImageData::GetYUnitText() const { return GetValidYUnits(yType); }

const char* TCalibImageData::GetZUnitText() const { return XZUnitText(zType, zUnit); }

const char* TCalibImageData::GetValidXTypeText(int type) {
    return IsXZType(type) ? kXZTypes[type].text : nullptr;
}

const char* TCalibImageData::GetValidXUnitText(int type, int unit) { return XZUnitText(type, unit); }

const char* const* TCalibImageData::GetValidXUnits(unsigned char type) {
    return IsXZType(type) ? kXZTypes[type].units : nullptr;
}

const char* const* TCalibImageData::GetValidZUnits(unsigned char type) { return GetValidXUnits(type); }

const char* TCalibImageData::GetValidYUnits(unsigned char type) {
    return type < CalibAxis::YTypeCount ? kYTypes[type].unit : nullptr;
}

void TCalibImageData::SetXCalConstants(double c0, double c1, double c2, double c3) {
    xCal[0] = c0;
    xCal[1] = c1;
    xCal[2] = c2;
    xCal[3] = c3;
}

void TCalibImageData::SetYCalConstants(float c0, float c1, float c2, float c3) {
    yCal[0] = c0;
    yCal[1] = c1;
    yCal[2] = c2;
    yCal[3] = c3;
}

void TCalibImageData::SetZCalConstants(float c0, float c1, float c2, float c3) {
    zCal[0] = c0;
    zCal[1] = c1;
    zCal[2] = c2;
    zCal[3] = c3;
}

std::istream& operator>>(std::istream& is, TCalibImageData& data) {
    namespace rs = RecordStream;
    const unsigned int version = rs::ReadVersionWord(is, data.versionHigh, data.versionLow);

    // Type and unit bytes are positional: a blank or newline is a legal value.
    rs::Field(is, "axis types and units");
    if (is.good()) {
        rs::ReadRawByte(is, data.xType);
        rs::ReadRawByte(is, data.xUnit);
        rs::ReadRawByte(is, data.yType);
        rs::ReadRawByte(is, data.yUnit);
        rs::ReadRawByte(is, data.zType);
        rs::ReadRawByte(is, data.zUnit);
    }

    if (is.good()) {
        rs::Field(is, "X constants");
        for (double& c : data.xCal) rs::Read(is, c);
        rs::Field(is, "Y constants");
        for (float& c : data.yCal) rs::Read(is, c);
        rs::Field(is, "Z constants");
        for (float& c : data.zCal) rs::Read(is, c);
    }

    if (rs::MinorAbove(version, 2)) {
        rs::Field(is, "Rayleigh wavelength");
        rs::Read(is, data.rayleighWavelength);
        rs::Field(is, "pixel length");
        rs::Read(is, data.pixelLength);
        rs::Field(is, "pixel height");
        rs::Read(is, data.pixelHeight);
    } else {
        data.rayleighWavelength = 0.0f;
        data.pixelLength = TCalibImageData::mDefaultPixelLength;
        data.pixelHeight = TCalibImageData::mDefaultPixelHeight;
    }

    // Not the shared major-aware gate: a major-0 record with minor above 3 has the flag too.
    if (data.versionHigh > 1 || data.versionLow > 3) {
        rs::Field(is, "wavelength flag");
        rs::Read(is, data.xIsWavelength);
    } else {
        data.xIsWavelength =
            (data.xUnit == 0 && (data.xType == CalibAxis::PixelNumber || data.xType == CalibAxis::Wavelength)) ? 1
                                                                                                             : 0;
    }

    rs::Field(is, "X label");
    ReadLabel(is, data.xText);
    rs::Field(is, "Y label");
    ReadLabel(is, data.yText);
    rs::Field(is, "Z label");
    ReadLabel(is, data.zText);
    return is;
}

std::ostream& operator<<(std::ostream& os, TCalibImageData& data) {
    namespace rs = RecordStream;
    data.versionHigh = 1;
    data.versionLow = 4;
    os << rs::MakeVersion(1, 4) << ' ';

    const unsigned char bytes[6] = {data.xType, data.xUnit, data.yType, data.yUnit, data.zType, data.zUnit};
    for (int i = 0; i < 6; ++i) {
        rs::WriteRawByte(os, bytes[i]);
        os << (i < 5 ? ' ' : '\n');
    }

    const std::streamsize precision = os.precision(15);
    os << data.xCal[0] << ' ' << data.xCal[1] << ' ' << data.xCal[2] << ' ' << data.xCal[3] << '\n';
    os << data.yCal[0] << ' ' << data.yCal[1] << ' ' << data.yCal[2] << ' ' << data.yCal[3] << '\n';
    os << data.zCal[0] << ' ' << data.zCal[1] << ' ' << data.zCal[2] << ' ' << data.zCal[3] << '\n';
    os.precision(precision);

    os << data.rayleighWavelength << '\n' << data.pixelLength << '\n' << data.pixelHeight << '\n';
    os << data.xIsWavelength << '\n';

    WriteLabel(os, data.xText.get());
    WriteLabel(os, data.yText.get());
    WriteLabel(os, data.zText.get());
    return os;
}
