// Intensified camera configuration: step increments, the pulse-train period rules
// and bounded output access.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <string>
#include <vector>

#include "metadata/ICCDConfiguration.h"

namespace {
TDDGStepSetting Step(TDDGStepSetting::TStepMode mode, double a, double b) {
    TDDGStepSetting s;
    s.SetMode(mode);
    s.SetCoefficients(mode, a, b);
    return s;
}

__DDGTimingPair Pair(unsigned long long width, unsigned long long delay) {
    __DDGTimingPair p;
    p.width.SetU64TimePS(width);
    p.delay.SetU64TimePS(delay);
    return p;
}
}  // namespace

TEST(DDGStepSetting, IncrementSumsTheModeFormula) {
    using S = TDDGStepSetting;
    // Linear 1, 2 over 3 frames: (1*2 + 1) + (2*2 + 1); exponential: exp(0) twice;
    // logarithmic: 2 log(e) + 2 log(2e) = 5.386...; truncation is towards zero.
    const struct { S::TStepMode mode; double a, b; int frames; long long increment; } steps[] = {
        {S::StepLinear, 1, 2, 3, 8},         {S::StepExponential, 1, 0, 3, 2}, {S::StepLogarithmic, 2, std::exp(1.0), 3, 5},
        {S::StepConstant, -1.5, 0, 2, -1},   {S::StepConstant, 1e19, 0, 2, LLONG_MAX}, {S::StepNone, 1, 2, 10, 0}};
    for (const auto& t : steps) EXPECT_EQ(Step(t.mode, t.a, t.b).GetIncrement(t.frames), t.increment) << t.mode;
}

TEST(IOCSetting, PeriodStaysWithinLimitsAndOnTheResolution) {
    // Clamped to 2e6..1e14, then raised to the next multiple of the resolution, but not
    // past the maximum.
    TIOCSetting ioc;
    std::vector<unsigned long long> periods;
    ioc.SetPeriod(1);
    periods.push_back(ioc.GetPeriod());
    ioc.SetPeriod(200000000000000ull);
    periods.push_back(ioc.GetPeriod());
    ioc.SetPeriod(2000020);
    ioc.SetResolution(7);  // 2000020 = 7 * 285717 + 1
    periods.push_back(ioc.GetPeriod());
    EXPECT_EQ(periods, (std::vector<unsigned long long>{2000000, 100000000000000ull, 2000026}));
}

TEST(ICCDConfiguration, MissingOutputsReadAsDefaults) {
    TDDGExtOutSetting two(2);
    two.SetEnabled(1, true);
    two.SetTime(1, Pair(30, 40));
    two.SetEnabled(2, true);  // no such output
    EXPECT_EQ((std::vector<bool>{two.GetEnabled(1), two.GetEnabled(2), two.GetTime(1) == Pair(30, 40),
                                 two.GetTime(2) == __DDGTimingPair(), TDDGExtOutSetting(2) == TDDGExtOutSetting(3)}),
              (std::vector<bool>{true, false, true, true, false}));
    EXPECT_STREQ(TGaterSetting::GetModeText(5), "DDG on");
    EXPECT_EQ(TGaterSetting::GetModeText(6), nullptr);
}
