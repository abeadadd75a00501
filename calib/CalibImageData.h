// Calibration record: what the three axes mean, their units, and the cubic
// polynomials that map a pixel index to a calibrated value.
#ifndef KVMCF_CALIB_CALIBIMAGEDATA_H
#define KVMCF_CALIB_CALIBIMAGEDATA_H

#include <istream>
#include <memory>
#include <ostream>

// Indices of the X/Z type table and of the unit lists of the types that convert.
namespace CalibAxis {
enum Type { UserType = 0, PixelNumber = 1, Wavelength = 2, RamanShift = 3, Position = 4, Time = 5, Sample = 6 };
enum WavelengthUnit { Nanometre = 0, Micrometre = 1, Wavenumber = 2, ElectronVolt = 3 };
enum PositionUnit { PosMicrometre = 0, PosMillimetre = 1, PosCentimetre = 2, PosMicroInch = 3, PosInch = 4 };
enum TimeUnit { Millisecond = 0, Second = 1 };
constexpr int XZTypeCount = 7;
constexpr int YTypeCount = 31;
}  // namespace CalibAxis

class TCalibImageData {
public:
    TCalibImageData() { SetDefaults(); }
    TCalibImageData(const TCalibImageData& other);
    TCalibImageData& operator=(const TCalibImageData& other);
    virtual ~TCalibImageData() = default;

    void SetDefaults();

    // Type and unit bytes as stored.
    unsigned char GetXType() const { return xType; }
    unsigned char GetXUnit() const { return xUnit; }
    unsigned char GetYType() const { return yType; }
    unsigned char GetYUnit() const { return yUnit; }
    unsigned char GetZType() const { return zType; }
    unsigned char GetZUnit() const { return zUnit; }

    // A table type replaces the axis label with the table text; type 0 ("User type")
    // takes the given label when there is one and otherwise keeps the old label.
    void SetXType(unsigned char type, const char* text);
    void SetYType(unsigned char type, const char* text);
    void SetZType(unsigned char type, const char* text);
    // The label argument is kept for callers that pass one; units have no label.
    void SetXUnit(unsigned char unit, const char* text = nullptr);
    void SetYUnit(unsigned char unit, const char* text = nullptr);
    void SetZUnit(unsigned char unit, const char* text = nullptr);

    // -1 gives the record's own label; a table index gives the table text; null otherwise.
    const char* GetXTypeText(int type) const;
    const char* GetYTypeText(int type) const;
    const char* GetZTypeText(int type) const;
    // -1 in either argument means the record's own byte; unit 255 means the type's first unit.
    const char* GetXUnitText(int type, int unit) const;
    const char* GetYUnitText() const;
    const char* GetZUnitText() const;

    static const char* GetValidXTypeText(int type);
    static const char* GetValidXUnitText(int type, int unit);
    // Null-terminated unit list of a type, or null past the table.
    static const char* const* GetValidXUnits(unsigned char type);
    static const char* const* GetValidZUnits(unsigned char type);
    static const char* GetValidYUnits(unsigned char type);

    double GetXCalConstant(int i) const { return (i >= 0 && i < 4) ? xCal[i] : 0.0; }
    float GetYCalConstant(int i) const { return (i >= 0 && i < 4) ? yCal[i] : 0.0f; }
    float GetZCalConstant(int i) const { return (i >= 0 && i < 4) ? zCal[i] : 0.0f; }
    void SetXCalConstants(double c0, double c1, double c2, double c3);
    void SetYCalConstants(float c0, float c1, float c2, float c3);
    void SetZCalConstants(float c0, float c1, float c2, float c3);

    float GetRayleighWavelength() const { return rayleighWavelength; }
    void SetRayleighWavelength(float nm) { rayleighWavelength = nm; }
    float GetPixelLength() const { return pixelLength; }
    float GetPixelHeight() const { return pixelHeight; }
    void SetPixelLength(float length) { pixelLength = length; }
    void SetPixelHeight(float height) { pixelHeight = height; }
    int GetXIsWavelength() const { return xIsWavelength; }
    void SetXIsWavelength(int flag) { xIsWavelength = flag; }
    unsigned int GetVersionHigh() const { return versionHigh; }
    unsigned int GetVersionLow() const { return versionLow; }

    // Pixel size given to records made afterwards and to old records that lack one.
    static void DefaultPixel(float length, float height);
    static float mDefaultPixelLength;
    static float mDefaultPixelHeight;

    friend std::istream& operator>>(std::istream& is, TCalibImageData& data);
    // Stamps the record with the layout it writes.
    friend std::ostream& operator<<(std::ostream& os, TCalibImageData& data);

protected:
    using Text = std::unique_ptr<char[]>;

    // Everything but the type bytes, the labels and the version.
    void CopyValues(const TCalibImageData& other);
    static void ApplyType(unsigned char& field, Text& label, unsigned char type, const char* text,
                          const char* tableText);

    unsigned char xType, xUnit, yType, yUnit, zType, zUnit;
    double xCal[4];
    float yCal[4];
    float zCal[4];
    Text xText, yText, zText;
    float rayleighWavelength;
    float pixelLength;
    float pixelHeight;
    int xIsWavelength;  // 1: the X polynomial gives nanometres to be converted
    unsigned int versionHigh;
    unsigned int versionLow;
};

#endif
