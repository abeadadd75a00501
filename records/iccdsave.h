// Intensifier record nested in the instrument header: gater, intensifier output
// control, external outputs and the delay/width stepping of an intensified camera.
// Times are picoseconds. Every time pair keeps element 1 before element 0.
#ifndef KVMCF_RECORDS_ICCDSAVE_H
#define KVMCF_RECORDS_ICCDSAVE_H

#include <istream>
#include <ostream>

class TICCDConfiguration;

class TICCDSave {
public:
    TICCDSave() { setDefaults(); }
    void setDefaults();
    // Copies the configuration's values in; the configuration is only read. A null
    // configuration leaves the record as it is.
    void LoadICCDInfo(const TICCDConfiguration* config);

    static constexpr unsigned int kVersionWritten = 65539;  // 1.3
    static constexpr int kExternalOutputs = 3;

    int Present;
    int GaterMode;
    unsigned int GaterGain;
    int GaterAux;
    int KelgateEnabled;
    unsigned long long GaterTime1PS;
    unsigned long long GaterTime0PS;
    int IOCEnabled;
    unsigned int IOCNoOfPulses;
    unsigned long long IOCPeriod;
    int ExtOutEnabled[kExternalOutputs];
    int ExtOutPolarity[kExternalOutputs];
    unsigned long long ExtOutTime1PS[kExternalOutputs];
    unsigned long long ExtOutTime0PS[kExternalOutputs];
    int DelayStepMode;
    double DelayStepCoeffA;
    double DelayStepCoeffB;
    int WidthStepMode;
    double WidthStepCoeffA;
    double WidthStepCoeffB;
    float AuxFloat;
    int AuxInt;
    bool AuxFlag;

    friend std::istream& operator>>(std::istream& is, TICCDSave& s);
    friend std::ostream& operator<<(std::ostream& os, TICCDSave& s);
};

#endif
