// The intensifier gate: its timing, mode and MCP gain.
#ifndef KVMCF_METADATA_GATERSETTING_H
#define KVMCF_METADATA_GATERSETTING_H

#include <ostream>

#include "metadata/DDGTime.h"

class TGaterSetting {
public:
    TGaterSetting() : time(), mode(5), gain(0) {}

    const __DDGTimingPair& GetTime() const { return time; }
    void SetTime(const __DDGTimingPair& t) { time = t; }
    int GetMode() const { return mode; }
    void SetMode(int m) { mode = m; }
    unsigned int GetGain() const { return gain; }
    void SetGain(unsigned int g) { gain = g; }

    // Display text of a gate mode, or null for a mode without one.
    static const char* GetModeText(int mode);

    bool operator==(const TGaterSetting& other) const {
        return gain == other.gain && mode == other.mode && time == other.time;
    }
    bool operator!=(const TGaterSetting& other) const { return !(*this == other); }

private:
    __DDGTimingPair time;
    int mode;
    unsigned int gain;
};

std::ostream& operator<<(std::ostream& os, const TGaterSetting& gater);

#endif
