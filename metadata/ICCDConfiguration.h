// Gating configuration of an intensified camera: the gate, the external outputs,
// the pulse train, delay and width stepping, and the generator's command lists.
// The intensifier record copies its values from here and never writes back.
#ifndef KVMCF_METADATA_ICCDCONFIGURATION_H
#define KVMCF_METADATA_ICCDCONFIGURATION_H

#include <ostream>
#include <string>
#include <vector>

#include "metadata/DDGExtOutSetting.h"
#include "metadata/DDGStepSetting.h"
#include "metadata/GaterSetting.h"
#include "metadata/IOCSetting.h"

class TICCDConfiguration {
public:
    // Commands the generator is sent for a delay or width sequence, kept as opaque
    // texts. The entry array always holds one null slot behind the last command, so
    // clearing may free entries 0 to count inclusive.
    class TDDGCommandList {
    public:
        TDDGCommandList() : entries(1, nullptr), count(0) {}
        TDDGCommandList(const TDDGCommandList& other);
        TDDGCommandList& operator=(const TDDGCommandList& other);
        ~TDDGCommandList() { Clear(); }

        unsigned int GetCount() const { return count; }
        // Null when i is not below the count.
        const std::string* Get(unsigned int i) const { return i < count ? entries[i] : nullptr; }
        void Add(const std::string& command);
        void Clear();

    private:
        std::vector<std::string*> entries;
        unsigned int count;
    };

    explicit TICCDConfiguration(unsigned int externalOutputs = 0);

    const TGaterSetting& GetGater() const { return gater; }
    TGaterSetting& GetGater() { return gater; }
    const TDDGExtOutSetting& GetExternal() const { return external; }
    TDDGExtOutSetting& GetExternal() { return external; }
    const TIOCSetting& GetIOC() const { return ioc; }
    TIOCSetting& GetIOC() { return ioc; }
    const TDDGStepSetting& GetDelayStep() const { return delayStep; }
    TDDGStepSetting& GetDelayStep() { return delayStep; }
    const TDDGStepSetting& GetWidthStep() const { return widthStep; }
    TDDGStepSetting& GetWidthStep() { return widthStep; }
    unsigned int GetNoOfExternalOutputs() const { return external.GetNumberOfExternalOutputs(); }

    bool GetKelgateEnabled() const { return kelgateEnabled; }
    void SetKelgateEnabled(bool on) { kelgateEnabled = on; }
    bool GetOpticalWidth() const { return opticalWidth; }
    void SetOpticalWidth(bool on) { opticalWidth = on; }

    // Values whose meaning belongs to the camera, carried as data. Per-output bytes
    // of a missing output read as 0 and cannot be set.
    int GetSettingWord() const { return settingWord; }
    void SetSettingWord(int v) { settingWord = v; }
    unsigned char GetOutputByte(unsigned int i) const { return i < outputBytes.size() ? outputBytes[i] : 0; }
    void SetOutputByte(unsigned int i, unsigned char v);
    int GetValue(unsigned int i) const { return i < 2 ? values[i] : 0; }
    void SetValue(unsigned int i, int v);

    const TDDGCommandList& GetDDGDelayCommands() const { return delayCommands; }
    TDDGCommandList& GetDDGDelayCommands() { return delayCommands; }
    const TDDGCommandList& GetDDGWidthCommands() const { return widthCommands; }
    TDDGCommandList& GetDDGWidthCommands() { return widthCommands; }
    void ClearDDGDelayCommands() { delayCommands.Clear(); }
    void ClearDDGWidthCommands() { widthCommands.Clear(); }

    // The command lists and the two carried values take no part.
    bool operator==(const TICCDConfiguration& other) const;
    bool operator!=(const TICCDConfiguration& other) const { return !(*this == other); }

private:
    TGaterSetting gater;
    TDDGExtOutSetting external;
    TIOCSetting ioc;
    TDDGStepSetting delayStep;
    TDDGStepSetting widthStep;
    int settingWord;
    std::vector<unsigned char> outputBytes;
    bool kelgateEnabled;
    bool opticalWidth;
    int values[2];
    TDDGCommandList delayCommands;
    TDDGCommandList widthCommands;
};

// Debug listing; the width step is left out.
std::ostream& operator<<(std::ostream& os, const TICCDConfiguration& config);

#endif
