// The delay generator's external outputs, each with its own enable flag, timing
// and polarity.
#ifndef KVMCF_METADATA_DDGEXTOUTSETTING_H
#define KVMCF_METADATA_DDGEXTOUTSETTING_H

#include <ostream>
#include <vector>

#include "metadata/DDGTime.h"

class TDDGExtOutSetting {
public:
    explicit TDDGExtOutSetting(unsigned int outputs = 0);

    unsigned int GetNumberOfExternalOutputs() const { return static_cast<unsigned int>(enabled.size()); }

    // Callers ask for a fixed number of outputs whatever the camera has: an output
    // that does not exist reads as disabled, zero times, polarity 0, and setting it
    // does nothing.
    const __DDGTimingPair& GetTime(unsigned int i) const;
    bool GetEnabled(unsigned int i) const { return i < enabled.size() && enabled[i] != 0; }
    int GetPolarity(unsigned int i) const { return i < polarity.size() ? polarity[i] : 0; }
    void SetTime(unsigned int i, const __DDGTimingPair& t);
    void SetEnabled(unsigned int i, bool on);
    void SetPolarity(unsigned int i, int p);

    bool operator==(const TDDGExtOutSetting& other) const;
    bool operator!=(const TDDGExtOutSetting& other) const { return !(*this == other); }

private:
    std::vector<unsigned char> enabled;
    std::vector<__DDGTimingPair> time;
    std::vector<int> polarity;
};

std::ostream& operator<<(std::ostream& os, const TDDGExtOutSetting& outputs);

#endif
