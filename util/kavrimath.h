// Tolerant floating comparisons, rounding and small integer helpers.
#ifndef KVMCF_UTIL_KAVRIMATH_H
#define KVMCF_UTIL_KAVRIMATH_H

namespace KavriUtility {

class TKavriMath {
public:
    // Zero within the machine epsilon of the argument's width.
    static bool IsZero(double x);
    static bool IsZero(float x);
    static bool Equals(double a, double b) { return IsZero(a - b); }
    static bool Equals(float a, float b) { return IsZero(a - b); }

    // x + 0.5 truncated towards zero, so -1.5 gives -1. Values beyond int give
    // INT_MIN, as the float-to-int conversion of the pixel stores does.
    static int Round2Int(float x);
    static int Round2Int(double x);
    // Rounds to the given number of decimals, halves away from zero.
    static double RoundDouble(double x, int digits);

    template <class T>
    static T keepWithinMinMax(T x, T min, T max) {
        if (x > max) return max;
        if (min > x) return min;
        return x;
    }

    // A zero divisor is never a divisor of anything.
    static bool IsModulusZero(int a, int b);
    static bool IsModulusZero(double a, double b);
    static bool IsNotWholeNumber(double x);

    template <class T>
    static void SetHighestAndLowestNumber(T a, T b, T& high, T& low) {
        if (a > b) {
            high = a;
            low = b;
        } else {
            high = b;
            low = a;
        }
    }
    // The smallest multiple of the higher number that the lower one divides; a when
    // both are equal, 0 when either is 0.
    static unsigned long long GetLowestCommonMultiple(unsigned int a, unsigned int b);
};

}  // namespace KavriUtility

#endif
