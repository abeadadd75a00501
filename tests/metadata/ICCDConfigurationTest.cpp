// Intensified camera configuration: step increments and their tolerant equality,
// the pulse-train period rules, bounded output access and whole-configuration equality.
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

TEST(DDGStepSetting, IncrementSumsTheModeFormulaAndEqualityIsTolerant) {
    using S = TDDGStepSetting;
    // Linear 1, 2 over 3 frames: (1*2 + 1) + (2*2 + 1); exponential: exp(0) twice;
    // logarithmic: 2 log(e) + 2 log(2e) = 5.386...; truncation is towards zero.
    const struct { S::TStepMode mode; double a, b; int frames; long long increment; } steps[] = {
        {S::StepLinear, 1, 2, 3, 8},         {S::StepExponential, 1, 0, 3, 2}, {S::StepLogarithmic, 2, std::exp(1.0), 3, 5},
        {S::StepConstant, -1.5, 0, 2, -1},   {S::StepConstant, 1e19, 0, 2, LLONG_MAX}, {S::StepNone, 1, 2, 10, 0}};
    for (const auto& t : steps) EXPECT_EQ(Step(t.mode, t.a, t.b).GetIncrement(t.frames), t.increment) << t.mode;
    TDDGStepSetting s = Step(S::StepLinear, 1, 2);
    s.SetMode(S::StepConstant);
    EXPECT_EQ(s.GetIncrement(5), 0);  // each mode reads its own row

    // One part in 10^12. A zero on the left is compared absolutely, a non-zero one
    // against the other side, so equality is not symmetric around zero.
    const struct { double a1; S::TStepMode mode2; double a2; bool equal; } pairs[] = {
        {1.0 + 1e-13, S::StepConstant, 1.0, true}, {1.0 + 1e-11, S::StepConstant, 1.0, false},
        {1.0, S::StepLinear, 1.0, false}, {0.0, S::StepConstant, 1e-13, true}, {1e-13, S::StepConstant, 0.0, false}};
    for (const auto& p : pairs)
        EXPECT_EQ(Step(S::StepConstant, p.a1, 3) == Step(p.mode2, p.a2, 3), p.equal) << p.a1 << " " << p.a2;
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
    ioc.SetMaxPeriod(2500000);
    ioc.SetResolution(1000000);
    periods.push_back(ioc.GetPeriod());
    EXPECT_EQ(periods, (std::vector<unsigned long long>{2000000, 100000000000000ull, 2000026, 2500000}));
    EXPECT_DOUBLE_EQ(ioc.GetMinFrequency(), 400000.0);  // 1e12 / 2.5e6
}

TEST(ICCDConfiguration, MissingOutputsReadAsDefaultsAndEqualityIgnoresLimits) {
    TDDGExtOutSetting two(2);
    two.SetEnabled(1, true);
    two.SetTime(1, Pair(30, 40));
    two.SetEnabled(2, true);  // no such output
    EXPECT_EQ((std::vector<bool>{two.GetEnabled(1), two.GetEnabled(2), two.GetTime(1) == Pair(30, 40),
                                 two.GetTime(2) == __DDGTimingPair(), TDDGExtOutSetting(2) == TDDGExtOutSetting(3)}),
              (std::vector<bool>{true, false, true, true, false}));

    // Generator limits, carried values and commands are not part of the identity.
    const TICCDConfiguration base(3);
    TICCDConfiguration c(base);
    c.GetIOC().SetResolution(40);
    c.SetValue(0, 7);
    c.GetDDGDelayCommands().Add("D1");
    EXPECT_TRUE(c == base);
    c.GetWidthStep().SetCoefficients(3, 0.0, 1.0);
    EXPECT_TRUE(c != base);
    TICCDConfiguration copy(0);
    copy = c;
    EXPECT_EQ(*copy.GetDDGDelayCommands().Get(0), "D1");
    EXPECT_STREQ(TGaterSetting::GetModeText(5), "DDG on");
    EXPECT_EQ(TGaterSetting::GetModeText(6), nullptr);
}
