// Short spectrograph record nested in the instrument header. Its values are
// carried, not interpreted; the serial and iris fields are filled only from the
// XML extension section.
#ifndef KVMCF_RECORDS_SPECTSAVE_H
#define KVMCF_RECORDS_SPECTSAVE_H

#include <istream>
#include <ostream>

class TSpectSave {
public:
    TSpectSave() { SetDefaults(); }
    void SetDefaults();

    static constexpr unsigned int kVersionWritten = 65537;  // 1.1

    int Present;
    float Value1;
    float Value2;
    float Value3;
    float Value4;
    char Description[32];
    char SerialText[20];
    int DirectIrisPresent;
    int SideIrisPresent;
    int DirectIrisPosition;
    int SideIrisPosition;

    friend std::istream& operator>>(std::istream& is, TSpectSave& s);
    friend std::ostream& operator<<(std::ostream& os, TSpectSave& s);
};

#endif
