// How the gate delay or width grows from frame to frame in a kinetic series.
#ifndef KVMCF_METADATA_DDGSTEPSETTING_H
#define KVMCF_METADATA_DDGSTEPSETTING_H

#include <ostream>

class TDDGStepSetting {
public:
    // Increment from frame i to frame i + 1, with (a, b) the mode's coefficients.
    enum TStepMode : int {
        StepConstant = 0,     // a
        StepExponential = 1,  // a * exp(i * b)
        StepLogarithmic = 2,  // a * log(i * b)
        StepLinear = 3,       // i * b + a
        StepNone = 100
    };
    static constexpr int NumberOfModes = 4;

    TDDGStepSetting();

    TStepMode GetMode() const { return mode; }
    void SetMode(TStepMode m) { mode = m; }
    // Leaves a and b untouched for a mode without coefficients.
    void GetCoefficients(int stepMode, double& a, double& b) const;
    void SetCoefficients(int stepMode, double a, double b);

    // Total growth over the first n frames (frame 1 has none): 0 without stepping or
    // for n < 2, the largest signed 64-bit value when the sum grows past it.
    long long GetIncrement(unsigned int n) const;

    // Modes equal and every coefficient equal to one part in 10^12.
    bool operator==(const TDDGStepSetting& other) const;
    bool operator!=(const TDDGStepSetting& other) const { return !(*this == other); }

private:
    TStepMode mode;
    double coefficients[NumberOfModes][2];
};

std::ostream& operator<<(std::ostream& os, const TDDGStepSetting& step);

#endif
