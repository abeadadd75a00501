#include "util/kavrimath.h"

#include <climits>
#include <cmath>
#include <limits>

namespace KavriUtility {

namespace {
int TruncateToInt(double x) {
    // Also false for NaN.
    if (!(x > static_cast<double>(INT_MIN) - 1.0 && x < static_cast<double>(INT_MAX) + 1.0)) return INT_MIN;
    return static_cast<int>(x);
}
}  // namespace

bool TKavriMath::IsZero(double x) { return std::fabs(x) < std::numeric_limits<double>::epsilon(); }

bool TKavriMath::IsZero(float x) { return std::fabs(x) < std::numeric_limits<float>::epsilon(); }

int TKavriMath::Round2Int(float x) { return TruncateToInt(static_cast<double>(x) + 0.5); }

int TKavriMath::Round2Int(double x) { return TruncateToInt(x + 0.5); }

double TKavriMath::RoundDouble(double x, int digits) {
    const double p = std::pow(10.0, digits);
    double y = x * p;
    const double f = y - std::trunc(y);
    if (f > 0) {
        y = f >= 0.5 ? std::ceil(y) : std::floor(y);
    } else if (f < 0) {
        y = f <= -0.5 ? std::floor(y) : std::ceil(y);
    }
    return y / p;
}

bool TKavriMath::IsModulusZero(int a, int b) {
    if (b == 0) return false;
    if (b == -1) return true;  // INT_MIN % -1 would trap
    return a % b == 0;
}

bool TKavriMath::IsModulusZero(double a, double b) { return IsZero(std::fmod(a, b)); }

bool TKavriMath::IsNotWholeNumber(double x) { return !IsZero(std::fmod(x, 1.0)); }

unsigned long long TKavriMath::GetLowestCommonMultiple(unsigned int a, unsigned int b) {
    if (a == b) return a;
    unsigned int high = 0;
    unsigned int low = 0;
    SetHighestAndLowestNumber(a, b, high, low);
    if (low == 0) return 0;
    // Stepping by the higher number until the lower one divides the total ends at
    // high * low / gcd; computing it directly keeps coprime inputs from looping
    // billions of times.
    unsigned int x = high;
    unsigned int y = low;
    while (y != 0) {
        const unsigned int r = x % y;
        x = y;
        y = r;
    }
    return static_cast<unsigned long long>(high) / x * low;
}

}  // namespace KavriUtility
