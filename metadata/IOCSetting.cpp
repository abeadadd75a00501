#include "metadata/IOCSetting.h"

namespace {
const unsigned long long kMinPeriodPS = 2000000ull;            // 2 us
const unsigned long long kMaxPeriodPS = 100000000000000ull;    // 100 s
const unsigned long long kResolutionPS = 20ull;
const double kPicosecondsPerSecond = 1e12;
}  // namespace

TIOCSetting::TIOCSetting()
    : enabled(false),
      noOfPulses(0),
      actualNoOfPulses(0),
      trigger(0),
      resolution(0),
      minPeriod(0),
      maxPeriod(0),
      maxFrequency(0.0),
      minFrequency(0.0) {
    // The order matters: the limits must stand before the period is clamped to them.
    SetEnabled(false);
    SetNoOfPulses(1);
    SetActualNoOfPulses(1);
    SetMinPeriod(kMinPeriodPS);
    SetMaxPeriod(kMaxPeriodPS);
    SetResolution(kResolutionPS);
    SetPeriod(minPeriod);
    SetActualPeriod(minPeriod);
    SetTrigger(1);
}

void TIOCSetting::SetPeriod(unsigned long long ps) {
    if (ps > maxPeriod) {
        ps = maxPeriod;
    } else if (ps < minPeriod) {
        ps = minPeriod;
    }
    period.SetU64TimePS(ps);
}

void TIOCSetting::SetResolution(unsigned long long ps) {
    resolution = ps;
    if (ps == 0) return;
    const unsigned long long current = period.GetU64TimePS();
    const unsigned long long rest = current % ps;
    if (rest == 0) return;
    const unsigned long long up = ps - rest;
    // A sum past 64 bits would wrap to a short period; the maximum is what it means.
    SetPeriod(current > ~0ull - up ? ~0ull : current + up);
}

void TIOCSetting::SetMinPeriod(unsigned long long ps) {
    minPeriod = ps;
    maxFrequency = kPicosecondsPerSecond / static_cast<double>(ps);
}

void TIOCSetting::SetMaxPeriod(unsigned long long ps) {
    maxPeriod = ps;
    minFrequency = kPicosecondsPerSecond / static_cast<double>(ps);
}

bool TIOCSetting::operator==(const TIOCSetting& other) const {
    // Resolution and the limits describe the generator, not the setting.
    return noOfPulses == other.noOfPulses && period == other.period && enabled == other.enabled &&
           actualNoOfPulses == other.actualNoOfPulses && actualPeriod == other.actualPeriod &&
           trigger == other.trigger;
}

std::ostream& operator<<(std::ostream& os, const TIOCSetting& ioc) {
    os << "Number of IOC Pulses = " << ioc.GetNoOfPulses() << "\n";
    os << "Period               = " << ioc.GetPeriod() << "\n";
    return os;
}
