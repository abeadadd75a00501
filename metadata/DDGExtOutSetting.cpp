#include "metadata/DDGExtOutSetting.h"

TDDGExtOutSetting::TDDGExtOutSetting(unsigned int outputs) : enabled(outputs, 0), time(outputs), polarity(outputs, 0) {}

const __DDGTimingPair& TDDGExtOutSetting::GetTime(unsigned int i) const {
    static const __DDGTimingPair none;
    return i < time.size() ? time[i] : none;
}

void TDDGExtOutSetting::SetTime(unsigned int i, const __DDGTimingPair& t) {
    if (i < time.size()) time[i] = t;
}

void TDDGExtOutSetting::SetEnabled(unsigned int i, bool on) {
    if (i < enabled.size()) enabled[i] = on ? 1 : 0;
}

void TDDGExtOutSetting::SetPolarity(unsigned int i, int p) {
    if (i < polarity.size()) polarity[i] = p;
}

bool TDDGExtOutSetting::operator==(const TDDGExtOutSetting& other) const {
    return enabled == other.enabled && time == other.time && polarity == other.polarity;
}

std::ostream& operator<<(std::ostream& os, const TDDGExtOutSetting& outputs) {
    const unsigned int n = outputs.GetNumberOfExternalOutputs();
    os << "mui32_noOfExternalChannels = " << n << "\n";
    for (unsigned int i = 0; i < n; ++i) {
        os << "mpb_enabled[" << i << "] = " << (outputs.GetEnabled(i) ? 1 : 0) << "\n";
        os << "externalOutputDelay[" << i << "] = " << outputs.GetTime(i).delay << "\n";
        os << "externalOutputWidth[" << i << "] = " << outputs.GetTime(i).width << "\n";
        os << "m_externalOutputPolarity[" << i << "] = " << outputs.GetPolarity(i) << "\n";
    }
    return os;
}
