// Delay generator times: picosecond counts, and the width/delay pair that times a
// gate or an output.
#ifndef KVMCF_METADATA_DDGTIME_H
#define KVMCF_METADATA_DDGTIME_H

#include <ostream>

class TDDGTime {
public:
    TDDGTime() : picoseconds(0) {}
    explicit TDDGTime(unsigned long long ps) : picoseconds(ps) {}

    unsigned long long GetU64TimePS() const { return picoseconds; }
    void SetU64TimePS(unsigned long long ps) { picoseconds = ps; }

    bool operator==(const TDDGTime& other) const { return picoseconds == other.picoseconds; }
    bool operator!=(const TDDGTime& other) const { return !(*this == other); }

private:
    unsigned long long picoseconds;
};

// Prints the picosecond count in decimal.
std::ostream& operator<<(std::ostream& os, const TDDGTime& time);

// Element 0 is the width, element 1 the delay.
struct __DDGTimingPair {
    TDDGTime width;
    TDDGTime delay;

    // Any index above 1 names the delay, so no index reads outside the pair.
    TDDGTime& operator[](unsigned int i) { return i == 0 ? width : delay; }
    const TDDGTime& operator[](unsigned int i) const { return i == 0 ? width : delay; }

    bool operator==(const __DDGTimingPair& other) const { return width == other.width && delay == other.delay; }
    bool operator!=(const __DDGTimingPair& other) const { return !(*this == other); }
};

#endif
