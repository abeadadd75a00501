#include "metadata/DDGStepSetting.h"

#include <climits>
#include <cmath>

namespace {
bool HasRow(int stepMode) { return stepMode >= 0 && stepMode < TDDGStepSetting::NumberOfModes; }
}  // namespace

TDDGStepSetting::TDDGStepSetting() : mode(StepNone), coefficients() {}

void TDDGStepSetting::GetCoefficients(int stepMode, double& a, double& b) const {
    if (!HasRow(stepMode)) return;
    a = coefficients[stepMode][0];
    b = coefficients[stepMode][1];
}

void TDDGStepSetting::SetCoefficients(int stepMode, double a, double b) {
    if (!HasRow(stepMode)) return;
    coefficients[stepMode][0] = a;
    coefficients[stepMode][1] = b;
}

long long TDDGStepSetting::GetIncrement(unsigned int n) const {
    if (mode == StepNone || n < 2) return 0;
    double a = 0.0;
    double b = 0.0;
    GetCoefficients(mode, a, b);
    // 2^63: the first double above every signed 64-bit value.
    const double limit = 9223372036854775808.0;
    double sum = 0.0;
    for (unsigned int i = 1; i < n; ++i) {
        switch (mode) {
            case StepConstant: sum += a; break;
            case StepExponential: sum += a * std::exp(i * b); break;
            case StepLogarithmic: sum += a * std::log(i * b); break;
            case StepLinear: sum += i * b + a; break;
            default: break;
        }
        if (sum >= limit) return LLONG_MAX;
    }
    // A sum with no value (log of a negative) or below the range has no increment to give.
    if (std::isnan(sum)) return 0;
    if (sum < -limit) return LLONG_MIN;
    return static_cast<long long>(sum);
}

bool TDDGStepSetting::operator==(const TDDGStepSetting& other) const {
    if (mode != other.mode) return false;
    for (int i = 0; i < NumberOfModes; ++i) {
        for (int j = 0; j < 2; ++j) {
            const double x = coefficients[i][j];
            const double y = other.coefficients[i][j];
            // Relative difference, measured against the other object's value.
            const double d = (x != 0.0) ? (x - y) / y : x - y;
            if (std::fabs(d) > 1e-12) return false;
        }
    }
    return true;
}

std::ostream& operator<<(std::ostream& os, const TDDGStepSetting& step) {
    os << "Step Mode   = " << step.GetMode() << "\n";
    for (int i = 0; i < TDDGStepSetting::NumberOfModes; ++i) {
        double ab[2] = {0.0, 0.0};
        step.GetCoefficients(i, ab[0], ab[1]);
        for (int j = 0; j < 2; ++j) os << "step_coefficient[" << i << "][" << j << "] = " << ab[j] << "\n";
    }
    return os;
}
