// Integrate-on-chip: a train of gate pulses within one exposure, with its period
// held between a minimum and a maximum and kept on the generator's resolution.
#ifndef KVMCF_METADATA_IOCSETTING_H
#define KVMCF_METADATA_IOCSETTING_H

#include <ostream>

#include "metadata/DDGTime.h"

class TIOCSetting {
public:
    TIOCSetting();

    bool GetEnabled() const { return enabled; }
    void SetEnabled(bool on) { enabled = on; }
    unsigned int GetNoOfPulses() const { return noOfPulses; }
    void SetNoOfPulses(unsigned int n) { noOfPulses = n; }
    unsigned int GetActualNoOfPulses() const { return actualNoOfPulses; }
    void SetActualNoOfPulses(unsigned int n) { actualNoOfPulses = n; }
    unsigned int GetTrigger() const { return trigger; }
    void SetTrigger(unsigned int t) { trigger = t; }

    // Times in picoseconds.
    unsigned long long GetActualPeriod() const { return actualPeriod.GetU64TimePS(); }
    void SetActualPeriod(unsigned long long ps) { actualPeriod.SetU64TimePS(ps); }
    unsigned long long GetPeriod() const { return period.GetU64TimePS(); }
    // Clamped to the minimum and maximum period.
    void SetPeriod(unsigned long long ps);
    unsigned long long GetResolution() const { return resolution; }
    // Raises the period to the next multiple of the new resolution.
    void SetResolution(unsigned long long ps);
    unsigned long long GetMinPeriod() const { return minPeriod; }
    void SetMinPeriod(unsigned long long ps);
    unsigned long long GetMaxPeriod() const { return maxPeriod; }
    void SetMaxPeriod(unsigned long long ps);

    // Hertz, following the period limits: the shortest period gives the highest frequency.
    double GetMaxFrequency() const { return maxFrequency; }
    double GetMinFrequency() const { return minFrequency; }

    bool operator==(const TIOCSetting& other) const;
    bool operator!=(const TIOCSetting& other) const { return !(*this == other); }

private:
    bool enabled;
    unsigned int noOfPulses;
    unsigned int actualNoOfPulses;
    unsigned int trigger;
    TDDGTime actualPeriod;
    TDDGTime period;
    unsigned long long resolution;
    unsigned long long minPeriod;
    unsigned long long maxPeriod;
    double maxFrequency;
    double minFrequency;
};

std::ostream& operator<<(std::ostream& os, const TIOCSetting& ioc);

#endif
