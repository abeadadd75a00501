// Intensified camera configuration: step increments and their tolerant equality,
// the pulse-train period rules, bounded output access, whole-configuration
// equality and copies.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <functional>
#include <sstream>
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
        {S::StepLinear, 1, 2, 3, 8},          {S::StepConstant, 5, 0, 4, 15},
        {S::StepExponential, 1, 0, 3, 2},     {S::StepLogarithmic, 2, std::exp(1.0), 3, 5},
        {S::StepConstant, -1.5, 0, 2, -1},    {S::StepConstant, 1e19, 0, 2, LLONG_MAX},
        {S::StepLinear, 1, 2, 1, 0},          {S::StepNone, 1, 2, 10, 0}};
    for (const auto& t : steps) EXPECT_EQ(Step(t.mode, t.a, t.b).GetIncrement(t.frames), t.increment) << t.mode;

    // Each mode reads its own row.
    TDDGStepSetting s = Step(S::StepLinear, 1, 2);
    s.SetMode(S::StepConstant);
    EXPECT_EQ(s.GetIncrement(5), 0);
    double a = 7, b = 8;
    s.GetCoefficients(S::StepNone, a, b);  // no row: outputs untouched
    EXPECT_EQ(a + b, 15);
    s.GetCoefficients(S::StepLinear, a, b);
    EXPECT_TRUE(a == 1 && b == 2);

    // One part in 10^12. A zero on the left is compared absolutely, a non-zero one
    // against the other side, so equality is not symmetric around zero.
    const struct { double a1, b1; S::TStepMode mode2; double a2, b2; bool equal; } pairs[] = {
        {1.0 + 1e-13, 3.0, S::StepConstant, 1.0, 3.0, true}, {1.0 + 1e-11, 3.0, S::StepConstant, 1.0, 3.0, false},
        {1e6 * (1.0 + 5e-13), 0.0, S::StepConstant, 1e6, 0.0, true}, {1.0, 3.0, S::StepLinear, 1.0, 3.0, false},
        {0.0, 0.0, S::StepConstant, 1e-13, 0.0, true}, {1e-13, 0.0, S::StepConstant, 0.0, 0.0, false},
        {1.0, 3.0, S::StepConstant, 2.0, 3.0, false}};
    for (const auto& p : pairs) {
        const TDDGStepSetting left = Step(S::StepConstant, p.a1, p.b1), right = Step(p.mode2, p.a2, p.b2);
        EXPECT_EQ(left == right, p.equal) << p.a1 << " " << p.a2;
        EXPECT_EQ(left != right, !p.equal) << p.a1 << " " << p.a2;
    }
}

TEST(IOCSetting, PeriodStaysWithinLimitsAndOnTheResolution) {
    TIOCSetting ioc;
    EXPECT_DOUBLE_EQ(ioc.GetMaxFrequency(), 500000.0);  // 1e12 / 2e6
    // Clamped to 2e6..1e14, then raised to the next multiple of the resolution, but not
    // past the maximum; resolution 0 leaves it alone.
    std::vector<unsigned long long> periods;
    ioc.SetPeriod(1);
    periods.push_back(ioc.GetPeriod());
    ioc.SetPeriod(200000000000000ull);
    periods.push_back(ioc.GetPeriod());
    ioc.SetPeriod(2000020);
    ioc.SetResolution(7);  // 2000020 = 7 * 285717 + 1
    periods.push_back(ioc.GetPeriod());
    ioc.SetResolution(0);
    periods.push_back(ioc.GetPeriod());
    ioc.SetMaxPeriod(2500000);
    ioc.SetResolution(1000000);
    periods.push_back(ioc.GetPeriod());
    EXPECT_EQ(periods, (std::vector<unsigned long long>{2000000, 100000000000000ull, 2000026, 2000026, 2500000}));
    EXPECT_DOUBLE_EQ(ioc.GetMinFrequency(), 400000.0);

    // Generator limits are not part of the setting's identity.
    TIOCSetting a;
    TIOCSetting b;
    b.SetResolution(40);
    b.SetMinPeriod(1000);
    EXPECT_TRUE(a == b);
    b.SetTrigger(2);
    EXPECT_TRUE(a != b);
}

TEST(DDGExtOutSetting, MissingOutputsReadAsDefaults) {
    TDDGExtOutSetting two(2);
    two.SetEnabled(1, true);
    two.SetTime(1, Pair(30, 40));
    two.SetEnabled(2, true);  // no such output
    EXPECT_EQ((std::vector<bool>{two.GetEnabled(1), two.GetEnabled(2), TDDGExtOutSetting().GetEnabled(0)}),
              (std::vector<bool>{true, false, false}));
    EXPECT_EQ(two.GetTime(1), Pair(30, 40));
    EXPECT_EQ(two.GetTime(2), __DDGTimingPair());
    EXPECT_TRUE(TDDGExtOutSetting(2) != TDDGExtOutSetting(3));
    EXPECT_STREQ(TGaterSetting::GetModeText(5), "DDG on");
    EXPECT_EQ(TGaterSetting::GetModeText(6), nullptr);
}

TEST(ICCDConfiguration, EqualityCopiesAndCommands) {
    const TICCDConfiguration base(3);
    EXPECT_EQ(base.GetGater().GetMode(), 5);

    const std::vector<std::function<void(TICCDConfiguration&)>> changes = {
        [](TICCDConfiguration& c) { c.GetGater().SetGain(1); },
        [](TICCDConfiguration& c) { c.GetGater().SetTime(Pair(0, 1)); },
        [](TICCDConfiguration& c) { c.GetExternal().SetPolarity(2, 1); },
        [](TICCDConfiguration& c) { c.GetIOC().SetNoOfPulses(4); },
        [](TICCDConfiguration& c) { c.GetDelayStep().SetMode(TDDGStepSetting::StepConstant); },
        [](TICCDConfiguration& c) { c.GetWidthStep().SetCoefficients(3, 0.0, 1.0); },
        [](TICCDConfiguration& c) { c.SetSettingWord(9); },
        [](TICCDConfiguration& c) { c.SetKelgateEnabled(true); },
        [](TICCDConfiguration& c) { c.SetOpticalWidth(true); },
        [](TICCDConfiguration& c) { c.SetOutputByte(2, 0); },
    };
    for (std::size_t i = 0; i < changes.size(); ++i) {
        TICCDConfiguration c(base);
        EXPECT_TRUE(c == base) << i;
        changes[i](c);
        EXPECT_TRUE(c != base) << i;
    }
    {  // Carried values and commands are not compared.
        TICCDConfiguration c(base);
        c.SetValue(0, 7);
        c.GetDDGDelayCommands().Add("D1");
        EXPECT_TRUE(c == base);
    }

    TICCDConfiguration a(1);
    a.GetDDGDelayCommands().Add("delay 10");
    a.GetDDGDelayCommands().Add("delay 20");
    TICCDConfiguration b(a);
    TICCDConfiguration c(0);
    c = a;
    a.ClearDDGDelayCommands();
    for (const TICCDConfiguration* copy : {&b, &c}) {
        ASSERT_EQ(copy->GetDDGDelayCommands().GetCount(), 2u);
        EXPECT_EQ(*copy->GetDDGDelayCommands().Get(1), "delay 20");
        EXPECT_EQ(copy->GetNoOfExternalOutputs(), 1u);
    }
}
