// Instrument header record. (Shell: the reader arrives with the header records.)
#ifndef KVMCF_RECORDS_KESTOIMAGEDATA_H
#define KVMCF_RECORDS_KESTOIMAGEDATA_H

#include <istream>
#include <ostream>

class TKestoImageData {
public:
    TKestoImageData() { SetDefaults(); }
    virtual ~TKestoImageData() = default;
    void SetDefaults();
    unsigned int GetVersionHigh() const { return VersionHigh; }
    unsigned int GetVersionLow() const { return VersionLow; }
    unsigned int GetActive() const { return Active; }

    friend std::istream& operator>>(std::istream& is, TKestoImageData& data);
    friend std::ostream& operator<<(std::ostream& os, TKestoImageData& data);

private:
    unsigned int VersionHigh = 0;
    unsigned int VersionLow = 0;
    unsigned int Active = 0;
};

#endif
