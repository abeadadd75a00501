// Shutter record nested in the instrument header, with the rule that keeps the
// shutter mode sensible while dynamic shutter control is off.
#ifndef KVMCF_RECORDS_TSHUTTER_H
#define KVMCF_RECORDS_TSHUTTER_H

#include <istream>
#include <ostream>

class TShutter {
public:
    TShutter();

    static constexpr unsigned int kVersionWritten = 65538;  // 1.2

    char GetType() const { return Type; }
    void SetType(char v) { Type = v; }
    char GetMode() const { return Mode; }
    void SetMode(char m);
    char GetCustomBgMode() const { return CustomBgMode; }
    void SetCustomBgMode(char v) { CustomBgMode = v; }
    char GetCustomMode() const { return CustomMode; }
    void SetCustomMode(char v) { CustomMode = v; }
    float GetClosingTime() const { return ClosingTime; }
    void SetClosingTime(float v) { ClosingTime = v; }
    float GetOpeningTime() const { return OpeningTime; }
    void SetOpeningTime(float v) { OpeningTime = v; }
    float GetFreqLimit() const { return FreqLimit; }
    void SetFreqLimit(float v) { FreqLimit = v; }
    bool IsFreqLimitEnabled() const { return FreqLimitEnabled; }
    void EnableFreqLimit(bool v) { FreqLimitEnabled = v; }
    char GetExternalMode() const { return ExternalMode; }
    void SetExternalMode(char v) { ExternalMode = v; }
    char GetExternalType() const { return ExternalType; }
    void SetExternalType(char v) { ExternalType = v; }
    bool GetDynamicShutterControl() const { return DynamicShutterControl; }
    void SetDynamicShutterControl(bool b);

    friend std::istream& operator>>(std::istream& is, TShutter& s);
    friend std::ostream& operator<<(std::ostream& os, TShutter& s);

private:
    char Type;
    char Mode;
    char CustomBgMode;
    char CustomMode;
    float ClosingTime;
    float OpeningTime;
    float FreqLimit;
    bool FreqLimitEnabled;
    char ExternalMode;
    char ExternalType;
    bool DynamicShutterControl;
    char SavedMode;  // the mode asked for while dynamic control was off
};

#endif
