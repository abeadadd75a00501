// A point in time as microseconds since the epoch.
#ifndef KVMCF_UTIL_KAVRITIME_H
#define KVMCF_UTIL_KAVRITIME_H

class TKavriTime {
public:
    TKavriTime() : microseconds(0) {}
    explicit TKavriTime(unsigned long long us) : microseconds(us) {}

    // Reads the time of day into time, or into this object.
    static void GetCurrentSystemTime(TKavriTime& time);
    void GetCurrentSystemTime() { GetCurrentSystemTime(*this); }

    unsigned long long GetTimeUs() const { return microseconds; }
    unsigned long long GetTimeMs() const { return microseconds / 1000; }

    // Counts add and subtract as unsigned values: an earlier minus a later time wraps.
    TKavriTime operator+(const TKavriTime& other) const { return TKavriTime(microseconds + other.microseconds); }
    TKavriTime operator-(const TKavriTime& other) const { return TKavriTime(microseconds - other.microseconds); }

private:
    unsigned long long microseconds;
};

#endif
