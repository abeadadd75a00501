#include "metadata/ICCDConfiguration.h"

TICCDConfiguration::TDDGCommandList::TDDGCommandList(const TDDGCommandList& other) : entries(1, nullptr), count(0) {
    for (unsigned int i = 0; i < other.count; ++i) Add(*other.entries[i]);
}

TICCDConfiguration::TDDGCommandList& TICCDConfiguration::TDDGCommandList::operator=(const TDDGCommandList& other) {
    if (this == &other) return *this;
    TDDGCommandList copy(other);
    Clear();
    entries.swap(copy.entries);
    count = copy.count;
    copy.count = 0;
    return *this;
}

void TICCDConfiguration::TDDGCommandList::Add(const std::string& command) {
    entries.back() = new std::string(command);
    entries.push_back(nullptr);
    ++count;
}

void TICCDConfiguration::TDDGCommandList::Clear() {
    for (unsigned int i = 0; i <= count; ++i) delete entries[i];
    entries.assign(1, nullptr);
    count = 0;
}

TICCDConfiguration::TICCDConfiguration(unsigned int externalOutputs)
    : gater(),
      external(externalOutputs),
      ioc(),
      delayStep(),
      widthStep(),
      settingWord(0),
      outputBytes(externalOutputs, 1),
      kelgateEnabled(false),
      opticalWidth(false),
      values{1, 1} {}

void TICCDConfiguration::SetOutputByte(unsigned int i, unsigned char v) {
    if (i < outputBytes.size()) outputBytes[i] = v;
}

void TICCDConfiguration::SetValue(unsigned int i, int v) {
    if (i < 2) values[i] = v;
}

bool TICCDConfiguration::operator==(const TICCDConfiguration& other) const {
    return gater == other.gater && external == other.external && ioc == other.ioc &&
           delayStep == other.delayStep && widthStep == other.widthStep && settingWord == other.settingWord &&
           kelgateEnabled == other.kelgateEnabled && opticalWidth == other.opticalWidth &&
           outputBytes == other.outputBytes;
}

std::ostream& operator<<(std::ostream& os, const TICCDConfiguration& config) {
    os << config.GetGater() << config.GetExternal() << config.GetIOC() << config.GetDelayStep();
    // The two flags share one line.
    os << "Kelgate = " << (config.GetKelgateEnabled() ? 1 : 0) << "Optical width = " << (config.GetOpticalWidth() ? 1 : 0)
       << "\n";
    return os;
}
