// Full spectrograph record nested in the instrument header. The values are
// carried, not interpreted; the array elements sit on the stream in the order the
// record grew, not in index order.
#ifndef KVMCF_RECORDS_KAVRISPECTSAVE_H
#define KVMCF_RECORDS_KAVRISPECTSAVE_H

#include <istream>
#include <ostream>

class TKavriSpectSave {
public:
    TKavriSpectSave() { SetDefaults(); }
    void SetDefaults();

    static constexpr unsigned int kVersionWritten = 65540;  // 1.4

    int Present;
    int Param1;
    float Param2;
    int Param3;
    int Param4;
    float Param5;
    char Label[32];  // stored as a token: must not hold a space or line break
    char Model[32];
    int PortFlag[4];
    float PortValue[4];
    int Extra[4];
    int Option1;
    int Option2;
    char Note[32];
    int Counter[6];
    char SerialText[100];  // filled from the XML extension section only

    friend std::istream& operator>>(std::istream& is, TKavriSpectSave& s);
    friend std::ostream& operator<<(std::ostream& os, TKavriSpectSave& s);
};

#endif
