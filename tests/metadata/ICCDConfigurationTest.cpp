// Intensified camera configuration: step increments and their tolerant equality,
// the pulse-train period rules, bounded output access, whole-configuration
// equality and copies, and the debug listing.
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
    EXPECT_EQ(ioc.GetPeriod(), 2000000ull);
    EXPECT_DOUBLE_EQ(ioc.GetMaxFrequency(), 500000.0);  // 1e12 / 2e6
    EXPECT_DOUBLE_EQ(ioc.GetMinFrequency(), 0.01);      // 1e12 / 1e14

    ioc.SetPeriod(1);
    EXPECT_EQ(ioc.GetPeriod(), 2000000ull);
    ioc.SetPeriod(200000000000000ull);
    EXPECT_EQ(ioc.GetPeriod(), 100000000000000ull);

    ioc.SetPeriod(2000010);
    ioc.SetResolution(20);
    EXPECT_EQ(ioc.GetPeriod(), 2000020ull);
    ioc.SetResolution(7);  // 2000020 = 7 * 285717 + 1
    EXPECT_EQ(ioc.GetPeriod(), 2000026ull);
    ioc.SetResolution(0);
    EXPECT_EQ(ioc.GetPeriod(), 2000026ull);
    // Raised past the maximum, the period stops at it.
    ioc.SetMaxPeriod(2500000);
    EXPECT_DOUBLE_EQ(ioc.GetMinFrequency(), 400000.0);
    ioc.SetResolution(1000000);
    EXPECT_EQ(ioc.GetPeriod(), 2500000ull);

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
    TDDGExtOutSetting none;
    TDDGExtOutSetting two(2);
    two.SetEnabled(1, true);
    two.SetPolarity(1, 1);
    two.SetTime(1, Pair(30, 40));
    two.SetEnabled(2, true);  // no such output
    for (unsigned int i : {0u, 1u, 2u}) {
        EXPECT_FALSE(none.GetEnabled(i));
        EXPECT_EQ(none.GetTime(i), __DDGTimingPair());
    }
    EXPECT_TRUE(two.GetEnabled(1));
    EXPECT_FALSE(two.GetEnabled(2));
    EXPECT_EQ(two.GetTime(1)[0].GetU64TimePS(), 30ull);  // element 0 is the width
    EXPECT_EQ(two.GetTime(1)[1].GetU64TimePS(), 40ull);
    EXPECT_TRUE(TDDGExtOutSetting(2) != TDDGExtOutSetting(3));
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
    a.GetDDGWidthCommands().Add("width 5");
    TICCDConfiguration b(a);
    TICCDConfiguration c(0);
    c = a;
    a.ClearDDGDelayCommands();
    EXPECT_EQ(a.GetDDGDelayCommands().GetCount(), 0u);
    EXPECT_EQ(a.GetDDGWidthCommands().GetCount(), 1u);
    for (const TICCDConfiguration* copy : {&b, &c}) {
        ASSERT_EQ(copy->GetDDGDelayCommands().GetCount(), 2u);
        EXPECT_EQ(*copy->GetDDGDelayCommands().Get(1), "delay 20");
        EXPECT_EQ(copy->GetDDGDelayCommands().Get(2), nullptr);
        EXPECT_EQ(copy->GetNoOfExternalOutputs(), 1u);
    }
}

TEST(ICCDConfiguration, DebugListing) {
    TICCDConfiguration c(1);
    c.GetGater().SetTime(Pair(100, 250));
    c.GetGater().SetMode(2);
    c.GetGater().SetGain(3000);
    c.GetExternal().SetEnabled(0, true);
    c.GetExternal().SetTime(0, Pair(7, 8));
    c.GetIOC().SetNoOfPulses(4);
    c.GetDelayStep().SetMode(TDDGStepSetting::StepLinear);
    c.GetDelayStep().SetCoefficients(3, 1.5, 2);
    c.GetWidthStep().SetCoefficients(0, 99, 99);
    c.SetOpticalWidth(true);
    std::ostringstream os;
    os << c;
    EXPECT_EQ(os.str(),
              "Gate Delay = 250\nGate Width = 100\nGate Mode  = 2\nMCP Gain   = 3000\n"
              "mui32_noOfExternalChannels = 1\n"
              "mpb_enabled[0] = 1\nexternalOutputDelay[0] = 8\nexternalOutputWidth[0] = 7\n"
              "m_externalOutputPolarity[0] = 0\n"
              "Number of IOC Pulses = 4\nPeriod               = 2000000\n"
              "Step Mode   = 3\n"
              "step_coefficient[0][0] = 0\nstep_coefficient[0][1] = 0\n"
              "step_coefficient[1][0] = 0\nstep_coefficient[1][1] = 0\n"
              "step_coefficient[2][0] = 0\nstep_coefficient[2][1] = 0\n"
              "step_coefficient[3][0] = 1.5\nstep_coefficient[3][1] = 2\n"
              "Kelgate = 0Optical width = 1\n");

    EXPECT_STREQ(TGaterSetting::GetModeText(5), "DDG on");
    EXPECT_EQ(TGaterSetting::GetModeText(6), nullptr);
    EXPECT_EQ(TGaterSetting::GetModeText(-1), nullptr);
}
