// Instrument header record: the acquisition settings of the camera, intensifier,
// spectrograph and shutter, with the user's text. Older layouts are accepted and
// the fields they lack take fixed defaults, so a header in memory is always complete.
#ifndef KVMCF_RECORDS_KESTOIMAGEDATA_H
#define KVMCF_RECORDS_KESTOIMAGEDATA_H

#include <cstddef>
#include <cstdint>
#include <istream>
#include <ostream>

#include "records/KavriSpectSave.h"
#include "records/SpectSave.h"
#include "records/TSHUTTER.h"
#include "records/UserText.h"
#include "records/cropsave.h"
#include "records/iccdsave.h"

class TMcfDataXML;

class TKestoImageData {
public:
    // Characters of HeadModel, Filename and the pre-amplifier gain text; buffers
    // handed to GetHeadModel and GetFilename must hold kTextCapacity + 1 bytes.
    static constexpr std::size_t kTextCapacity = 271;
    static constexpr std::size_t kSerialCapacity = 64;
    static constexpr unsigned int kVersionWritten = 65567;  // 1.31
    static constexpr int kThresholdCount = 4;

    TKestoImageData() { SetDefaults(); }
    virtual ~TKestoImageData() = default;

    void SetDefaults();

    unsigned int GetVersionHigh() const { return VersionHigh; }
    unsigned int GetVersionLow() const { return VersionLow; }
    unsigned int GetType() const { return Type; }
    unsigned int GetActive() const { return Active; }
    unsigned int GetVersion() const { return Version; }
    std::int64_t GetTime() const { return Time; }
    float GetTemperature() const { return Temperature; }
    float GetUnstabilizedTemperature() const { return UnstabilizedTemperature; }
    unsigned char GetHead() const { return Head; }
    unsigned char GetStoreType() const { return StoreType; }
    unsigned char GetDataType() const { return DataType; }
    unsigned char GetMode() const { return Mode; }
    unsigned char GetTriggerSource() const { return TriggerSource; }
    float GetTriggerLevel() const { return TriggerLevel; }
    float GetExposureTime() const { return ExposureTime; }
    float GetDelay() const { return Delay; }
    float GetIntegrationCycleTime() const { return IntegrationCycleTime; }
    int GetNoIntegrations() const { return NoIntegrations; }
    float GetKineticCycleTime() const { return KineticCycleTime; }
    float GetPixelReadoutTime() const { return PixelReadoutTime; }
    int GetTrackHeight() const { return TrackHeight; }
    unsigned char GetReadPattern() const { return ReadPattern; }
    unsigned char GetShutterDelay() const { return ShutterDelay; }
    int GetCentreRow() const { return CentreRow; }
    int GetRowOffset() const { return RowOffset; }
    int GetOperation() const { return Operation; }
    int GetFlipX() const { return FlipX; }
    int GetFlipY() const { return FlipY; }
    int GetClock() const { return Clock; }
    int GetAClock() const { return AClock; }
    int GetGain() const { return Gain; }
    int GetMCP() const { return MCP; }
    int GetInsertionDelay() const { return InsertionDelay; }
    int GetIOC() const { return IOC; }
    float GetFreq() const { return Freq; }
    int GetNumPulses() const { return NumPulses; }
    int GetFrameTransferAcqMode() const { return FrameTransferAcqMode; }
    int GetBaselineClamp() const { return BaselineClamp; }
    int GetPreScan() const { return PreScan; }
    int GetEMRealGain() const { return EMRealGain; }
    int GetBaselineOffset() const { return BaselineOffset; }
    int GetBaseline() const { return Baseline; }
    int GetVertClockAmp() const { return VertClockAmp; }
    float GetVShiftSpeed() const { return VShiftSpeed; }
    int GetOutputAmp() const { return OutputAmp; }
    float GetPreAmpGain() const { return PreAmpGain; }
    int GetSerial() const { return Serial; }
    int GetSIDisplacement() const { return SIDisplacement; }
    int GetSINumberSubframes() const { return SINumberSubframes; }
    int GetCountConvertMode() const { return CountConvertMode; }
    unsigned int GetCountConvert() const { return CountConvert; }
    int GetPhotonCountingEnabled() const { return PhotonCountingEnabled; }
    unsigned int GetFilterMode() const { return FilterMode; }
    float GetThreshold() const { return Threshold; }
    // 0 for an index outside 0..3.
    float GetPhotonCountingThreshold(int index) const;
    int GetNoThresholds() const { return NoThresholds; }
    int GetAveragingFilterMode() const { return AveragingFilterMode; }
    int GetAveragingFactor() const { return AveragingFactor; }
    int GetFrameCount() const { return FrameCount; }
    float GetSensitivity() const { return Sensitivity; }
    float GetWavelength() const { return Wavelength; }
    // Fills four words.
    void GetSWVersionEx(unsigned int* words) const;
    int Getdetector_format_x() const { return detector_format_x; }
    int Getdetector_format_z() const { return detector_format_z; }
    // dest holds kTextCapacity + 1 bytes.
    void GetHeadModel(char* dest) const;
    void GetFilename(char* dest) const;

    // Text setters copy at most their field's capacity; a null text clears the field.
    void SetHeadModel(const char* text);
    void SetFilename(const char* text);

    // Values that only the XML extension section carries.
    void SetSerial(const char* text);  // the full serial number text
    const char* GetSerialText() const { return SerialText; }
    void SetPreAmpGainText(const char* text);
    const char* GetPreAmpGainText() const { return PreAmpGainText; }
    float GetDarkThreshold() const { return DarkThreshold; }
    void SetDarkThreshold(float value) { DarkThreshold = value; }
    int GetMilliseconds() const { return Milliseconds; }
    void SetMilliseconds(int value) { Milliseconds = value; }
    int GetFastKineticsOffset() const { return FastKineticsOffset; }
    void SetFastKineticsOffset(int value) { FastKineticsOffset = value; }

    // Nested records.
    TUserText& GetUserText() { return UserText; }
    const TUserText& GetUserText() const { return UserText; }
    TShutter& GetShutter() { return Shutter; }
    const TShutter& GetShutter() const { return Shutter; }
    TKavriSpectSave& GetKavriSpectSave() { return KavriSpectSave; }
    const TKavriSpectSave& GetKavriSpectSave() const { return KavriSpectSave; }
    TSpectSave& GetSpectSave() { return SpectSave; }
    const TSpectSave& GetSpectSave() const { return SpectSave; }
    TICCDSave& GetICCDSave() { return ICCDSave; }
    const TICCDSave& GetICCDSave() const { return ICCDSave; }
    TCropSave& GetCropSave() { return CropSave; }
    const TCropSave& GetCropSave() const { return CropSave; }

    // The header's element of the XML extension section. Reading returns false and
    // changes nothing when the element is missing; a missing value takes its default.
    bool ReadXMLDataStructure(TMcfDataXML& xml);
    bool BuildXMLDataStructure(TMcfDataXML& xml);

    friend std::istream& operator>>(std::istream& is, TKestoImageData& data);
    friend std::ostream& operator<<(std::ostream& os, TKestoImageData& data);

protected:
    unsigned int VersionHigh;
    unsigned int VersionLow;

    unsigned int Type;
    unsigned int Active;
    unsigned int Version;
    std::int64_t Time;  // seconds since 1970
    float Temperature;
    unsigned char Head;
    unsigned char StoreType;
    unsigned char DataType;
    unsigned char Mode;
    unsigned char TriggerSource;
    float TriggerLevel;
    float ExposureTime;
    float Delay;
    float IntegrationCycleTime;
    int NoIntegrations;
    unsigned char AuxByteSetting;
    float KineticCycleTime;
    float PixelReadoutTime;
    int AuxIntSetting1;
    int AuxIntSetting2;
    int Gain;
    float AuxFloatSetting1;
    float AuxFloatSetting2;
    float AuxFloatSetting3;
    int TrackHeight;
    int AuxIntSetting3;
    unsigned char ReadPattern;
    unsigned char ShutterDelay;
    int CentreRow;
    int RowOffset;
    int Operation;
    int FlipX;
    int FlipY;
    int Clock;
    int AClock;
    int MCP;
    int InsertionDelay;
    int IOC;
    float Freq;
    int VertClockAmp;
    float VShiftSpeed;
    int OutputAmp;
    float PreAmpGain;
    int Serial;
    int NumPulses;
    int FrameTransferAcqMode;
    float UnstabilizedTemperature;
    int BaselineClamp;
    int PreScan;
    int EMRealGain;
    int BaselineOffset;
    unsigned int AuxUnsignedSetting;
    int AuxIntSetting4;
    unsigned int SWVersion[4];
    int SIDisplacement;
    int SINumberSubframes;
    int Baseline;
    unsigned int CountConvert;
    int CountConvertMode;
    float Sensitivity;
    float Wavelength;
    unsigned int FilterMode;
    float Threshold;
    int PhotonCountingEnabled;
    int NoThresholds;
    float PhotonCountingThresholds[kThresholdCount];
    int AveragingFilterMode;
    int AveragingFactor;
    int FrameCount;
    char HeadModel[kTextCapacity + 1];
    int detector_format_x;
    int detector_format_z;
    char Filename[kTextCapacity + 1];
    int AuxIntSetting5;

    // Filled from the XML extension section only.
    char PreAmpGainText[kTextCapacity + 1];
    char SerialText[kSerialCapacity + 1];
    int Milliseconds;
    int FastKineticsOffset;
    float DarkThreshold;

    TUserText UserText;
    TShutter Shutter;
    TKavriSpectSave KavriSpectSave;
    TSpectSave SpectSave;
    TICCDSave ICCDSave;
    TCropSave CropSave;
};

#endif
