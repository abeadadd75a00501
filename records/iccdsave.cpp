#include "records/iccdsave.h"

#include "metadata/ICCDConfiguration.h"
#include "records/RecordStream.h"

void TICCDSave::setDefaults() {
    Present = 0;
    GaterMode = 0;
    GaterGain = 0;
    GaterAux = 0;
    KelgateEnabled = 0;
    GaterTime1PS = 0;
    GaterTime0PS = 0;
    IOCEnabled = 0;
    IOCNoOfPulses = 0;
    IOCPeriod = 0;
    for (int i = 0; i < kExternalOutputs; ++i) {
        ExtOutEnabled[i] = 0;
        ExtOutPolarity[i] = 0;
        ExtOutTime1PS[i] = 0;
        ExtOutTime0PS[i] = 0;
    }
    DelayStepMode = 0;
    DelayStepCoeffA = 0.0;
    DelayStepCoeffB = 0.0;
    WidthStepMode = 0;
    WidthStepCoeffA = 0.0;
    WidthStepCoeffB = 0.0;
    AuxFloat = 0.0f;
    AuxInt = 0;
    AuxFlag = false;
}

void TICCDSave::LoadICCDInfo(const TICCDConfiguration* config) {
    if (!config) return;
    Present = 1;
    const TGaterSetting& gater = config->GetGater();
    GaterMode = gater.GetMode();
    GaterGain = gater.GetGain();
    KelgateEnabled = config->GetKelgateEnabled();
    GaterTime1PS = gater.GetTime()[1].GetU64TimePS();
    GaterTime0PS = gater.GetTime()[0].GetU64TimePS();

    const TIOCSetting& ioc = config->GetIOC();
    IOCEnabled = ioc.GetEnabled();
    IOCNoOfPulses = ioc.GetNoOfPulses();
    IOCPeriod = ioc.GetPeriod();

    // A configuration with fewer outputs answers 0 for the missing ones.
    const TDDGExtOutSetting& external = config->GetExternal();
    for (int i = 0; i < kExternalOutputs; ++i) {
        ExtOutEnabled[i] = external.GetEnabled(i);
        ExtOutPolarity[i] = external.GetPolarity(i);
        ExtOutTime1PS[i] = external.GetTime(i)[1].GetU64TimePS();
        ExtOutTime0PS[i] = external.GetTime(i)[0].GetU64TimePS();
    }

    // Without stepping the coefficients are left as they were.
    DelayStepMode = config->GetDelayStep().GetMode();
    config->GetDelayStep().GetCoefficients(DelayStepMode, DelayStepCoeffA, DelayStepCoeffB);
    WidthStepMode = config->GetWidthStep().GetMode();
    config->GetWidthStep().GetCoefficients(WidthStepMode, WidthStepCoeffA, WidthStepCoeffB);
}

std::istream& operator>>(std::istream& is, TICCDSave& s) {
    unsigned int version = 0;
    RecordStream::Read(is, version);
    // 1.4 and later are unknown: nothing but the version word is taken.
    if (RecordStream::VersionAbove(version, 3)) return is;
    const unsigned int m = RecordStream::Minor(version);

    RecordStream::Read(is, s.Present);
    RecordStream::Read(is, s.GaterMode);
    RecordStream::Read(is, s.GaterGain);
    RecordStream::Read(is, s.GaterAux);
    RecordStream::Read(is, s.KelgateEnabled);
    RecordStream::Read(is, s.GaterTime1PS);
    RecordStream::Read(is, s.GaterTime0PS);
    RecordStream::Read(is, s.IOCEnabled);
    // The period precedes the pulse count on the stream.
    RecordStream::Read(is, s.IOCPeriod);
    RecordStream::Read(is, s.IOCNoOfPulses);
    RecordStream::Read(is, s.DelayStepMode);
    RecordStream::Read(is, s.DelayStepCoeffA);
    RecordStream::Read(is, s.DelayStepCoeffB);
    if (m > 2) {
        RecordStream::Read(is, s.WidthStepMode);
        RecordStream::Read(is, s.WidthStepCoeffA);
        RecordStream::Read(is, s.WidthStepCoeffB);
    }
    for (int i = 0; i < TICCDSave::kExternalOutputs; ++i) {
        RecordStream::Read(is, s.ExtOutEnabled[i]);
        RecordStream::Read(is, s.ExtOutPolarity[i]);
        RecordStream::Read(is, s.ExtOutTime1PS[i]);
        RecordStream::Read(is, s.ExtOutTime0PS[i]);
    }
    if (m > 1) {
        RecordStream::Read(is, s.AuxFloat);
        RecordStream::Read(is, s.AuxInt);
        RecordStream::Read(is, s.AuxFlag);
    }
    return is;
}

std::ostream& operator<<(std::ostream& os, TICCDSave& s) {
    os << TICCDSave::kVersionWritten << ' ' << s.Present << ' ' << s.GaterMode << ' ' << s.GaterGain << ' '
       << s.GaterAux << ' ' << s.KelgateEnabled << ' ' << s.GaterTime1PS << ' ' << s.GaterTime0PS << ' '
       << s.IOCEnabled << ' ' << s.IOCPeriod << ' ' << s.IOCNoOfPulses << ' ' << s.DelayStepMode << ' '
       << s.DelayStepCoeffA << ' ' << s.DelayStepCoeffB << ' ' << s.WidthStepMode << ' ' << s.WidthStepCoeffA << ' '
       << s.WidthStepCoeffB << '\n';
    for (int i = 0; i < TICCDSave::kExternalOutputs; ++i) {
        os << s.ExtOutEnabled[i] << ' ' << s.ExtOutPolarity[i] << ' ' << s.ExtOutTime1PS[i] << ' '
           << s.ExtOutTime0PS[i] << '\n';
    }
    os << s.AuxFloat << ' ' << s.AuxInt << ' ' << s.AuxFlag << '\n';
    return os;
}
