// Sensor crop record nested in the instrument header. The file stores sizes and
// starts; the ends are derived from them. Coordinates are 1-based, ends inclusive.
#ifndef KVMCF_RECORDS_CROPSAVE_H
#define KVMCF_RECORDS_CROPSAVE_H

#include <istream>
#include <ostream>

class TCropSave {
public:
    TCropSave() { setDefaults(); }
    void setDefaults();

    static constexpr unsigned int kVersionWritten = 65538;  // 1.2

    bool IsCropModeEnabled() const { return CropModeEnabled; }
    void SetCropModeEnabled(bool v) { CropModeEnabled = v; }
    int GetOriginalCCDXSize() const { return OriginalCCDXSize; }
    void SetOriginalCCDXSize(int v) { OriginalCCDXSize = v; }
    int GetOriginalCCDYSize() const { return OriginalCCDYSize; }
    void SetOriginalCCDYSize(int v) { OriginalCCDYSize = v; }
    int GetCropXStart() const { return CropXStart; }
    void SetCropXStart(int v) { CropXStart = v; }
    int GetCropYStart() const { return CropYStart; }
    void SetCropYStart(int v) { CropYStart = v; }
    int GetCropXEnd() const { return CropXEnd; }
    void SetCropXEnd(int v) { CropXEnd = v; }
    int GetCropYEnd() const { return CropYEnd; }
    void SetCropYEnd(int v) { CropYEnd = v; }
    // Recomputed from start and end, stored, and returned.
    int GetCropXSize();
    int GetCropYSize();
    int GetCropXBin() const { return CropXBin; }
    void SetCropXBin(int v) { CropXBin = v; }
    int GetCropYBin() const { return CropYBin; }
    void SetCropYBin(int v) { CropYBin = v; }

    friend std::istream& operator>>(std::istream& is, TCropSave& c);
    friend std::ostream& operator<<(std::ostream& os, TCropSave& c);

private:
    bool CropModeEnabled;
    int OriginalCCDXSize;
    int OriginalCCDYSize;
    int CropXStart;
    int CropYStart;
    int CropXEnd;
    int CropYEnd;
    int CropXSize;
    int CropYSize;
    int CropXBin;
    int CropYBin;
};

#endif
