#include "records/KestoImageData.h"

#include <cstdio>
#include <cstring>
#include <ctime>

#include "metadata/mcfdataxml.h"
#include "records/RecordStream.h"
#include "util/kavrimisc.h"

namespace {

// Copies at most capacity - 1 characters and always terminates.
void CopyText(char* dest, std::size_t capacity, const char* text) {
    if (capacity == 0) return;
    std::size_t n = 0;
    if (text) {
        while (n + 1 < capacity && text[n] != '\0') ++n;
        std::memcpy(dest, text, n);
    }
    dest[n] = '\0';
}

}  // namespace

void TKestoImageData::SetDefaults() {
    VersionHigh = RecordStream::Major(kVersionWritten);
    VersionLow = RecordStream::Minor(kVersionWritten);

    Type = 0;
    Active = 0;
    Version = 1;
    Time = static_cast<std::int64_t>(std::time(nullptr));
    Temperature = -999.0f;
    Head = 0;
    StoreType = 0;
    DataType = 0;
    Mode = 5;
    TriggerSource = 0;
    TriggerLevel = 0;
    ExposureTime = 0;
    Delay = 0;
    IntegrationCycleTime = 0;
    NoIntegrations = 0;
    AuxByteSetting = 0;
    KineticCycleTime = 0;
    PixelReadoutTime = 0;
    AuxIntSetting1 = 0;
    AuxIntSetting2 = 0;
    Gain = 0;
    AuxFloatSetting1 = 0;
    AuxFloatSetting2 = 0;
    AuxFloatSetting3 = 0;
    TrackHeight = 0;
    AuxIntSetting3 = 0;
    ReadPattern = 0;
    ShutterDelay = 0;
    CentreRow = 0;
    RowOffset = 0;
    Operation = 0;
    FlipX = 0;
    FlipY = 0;
    Clock = 0;
    AClock = 0;
    MCP = 0;
    InsertionDelay = 0;
    IOC = 0;
    Freq = 0;
    VertClockAmp = 0;
    VShiftSpeed = 1.6e-5f;
    OutputAmp = 0;
    PreAmpGain = 0;
    Serial = 0;
    NumPulses = 0;
    FrameTransferAcqMode = 1;
    UnstabilizedTemperature = -999.0f;
    BaselineClamp = 0;
    PreScan = 0;
    EMRealGain = 0;
    BaselineOffset = 0;
    AuxUnsignedSetting = 0;
    AuxIntSetting4 = -1;
    for (unsigned int& word : SWVersion) word = 0;
    SIDisplacement = 0;
    SINumberSubframes = 1;
    Baseline = 0;
    CountConvert = 0;
    CountConvertMode = 0;
    Sensitivity = 0;
    Wavelength = 0;
    FilterMode = 0;
    Threshold = 0;
    PhotonCountingEnabled = 0;
    NoThresholds = 0;
    for (float& t : PhotonCountingThresholds) t = 0;
    AveragingFilterMode = 0;
    AveragingFactor = 0;
    FrameCount = 0;
    CopyText(HeadModel, sizeof HeadModel, "Unknown");
    detector_format_x = 0;
    detector_format_z = 0;
    CopyText(Filename, sizeof Filename, "");
    AuxIntSetting5 = -1;

    CopyText(PreAmpGainText, sizeof PreAmpGainText, "");
    CopyText(SerialText, sizeof SerialText, "");
    Milliseconds = 0;
    FastKineticsOffset = -1;
    DarkThreshold = -999.0f;

    KavriSpectSave.SetDefaults();
    SpectSave.SetDefaults();
}

float TKestoImageData::GetPhotonCountingThreshold(int index) const {
    if (index < 0 || index >= kThresholdCount) return 0;
    return PhotonCountingThresholds[index];
}

void TKestoImageData::GetSWVersionEx(unsigned int* words) const {
    if (!words) return;
    for (int i = 0; i < 4; ++i) words[i] = SWVersion[i];
}

void TKestoImageData::GetHeadModel(char* dest) const { CopyText(dest, kTextCapacity + 1, HeadModel); }
void TKestoImageData::GetFilename(char* dest) const { CopyText(dest, kTextCapacity + 1, Filename); }
void TKestoImageData::SetHeadModel(const char* text) { CopyText(HeadModel, sizeof HeadModel, text); }
void TKestoImageData::SetFilename(const char* text) { CopyText(Filename, sizeof Filename, text); }
void TKestoImageData::SetSerial(const char* text) { CopyText(SerialText, sizeof SerialText, text); }
void TKestoImageData::SetPreAmpGainText(const char* text) { CopyText(PreAmpGainText, sizeof PreAmpGainText, text); }

std::istream& operator>>(std::istream& is, TKestoImageData& h) {
    using namespace RecordStream;

    unsigned int v = 0;
    Read(is, v);
    h.VersionHigh = Major(v);
    h.VersionLow = Minor(v);

    // A newer layout than this reader knows: nothing behind the version word can be
    // placed, so the header is marked and left as it was.
    if (Minor(v) > 31) {
        h.Active = 1;
        return is;
    }

    Read(is, h.Type);
    Mark(is, "Active");  // an image not marked inactive is refused by the whole-file reader
    Read(is, h.Active);
    Read(is, h.Version);
    Read(is, h.Time);
    Read(is, h.Temperature);
    ReadRawByte(is, h.Head);
    ReadRawByte(is, h.StoreType);
    ReadRawByte(is, h.DataType);
    ReadRawByte(is, h.Mode);
    ReadRawByte(is, h.TriggerSource);
    Read(is, h.TriggerLevel);
    Read(is, h.ExposureTime);
    Read(is, h.Delay);
    Read(is, h.IntegrationCycleTime);
    Read(is, h.NoIntegrations);
    ReadRawByte(is, h.AuxByteSetting);
    Read(is, h.KineticCycleTime);
    Read(is, h.PixelReadoutTime);
    Read(is, h.AuxIntSetting1);
    Read(is, h.AuxIntSetting2);
    Read(is, h.Gain);
    Read(is, h.AuxFloatSetting1);
    Read(is, h.AuxFloatSetting2);
    if (MinorAbove(v, 5)) Read(is, h.AuxFloatSetting3);
    else h.AuxFloatSetting3 = 0;
    Read(is, h.TrackHeight);
    Read(is, h.AuxIntSetting3);
    ReadRawByte(is, h.ReadPattern);
    ReadRawByte(is, h.ShutterDelay);

    if (MinorAbove(v, 6)) {
        Read(is, h.CentreRow);
        Read(is, h.RowOffset);
        Read(is, h.Operation);
    } else {
        h.CentreRow = 0;
        h.RowOffset = 0;
        h.Operation = 0;
    }

    if (MinorAbove(v, 7)) {
        Read(is, h.FlipX);
        Read(is, h.FlipY);
        Read(is, h.Clock);
        Read(is, h.AClock);
        Read(is, h.MCP);
        Read(is, h.InsertionDelay);
        Read(is, h.IOC);
        Read(is, h.Freq);
    } else {
        h.FlipX = 0;
        h.FlipY = 0;
        h.Clock = 0;
        h.AClock = 0;
        h.MCP = 0;
        h.InsertionDelay = 0;
        h.IOC = 0;
        h.Freq = 0;
        // Layouts this old stored the gain with another meaning.
        h.Gain = 0;
    }

    if (MinorAbove(v, 8)) {
        Read(is, h.VertClockAmp);
        Read(is, h.VShiftSpeed);
    } else {
        h.VertClockAmp = 0;
        h.VShiftSpeed = 1.6e-5f;
    }

    if (MinorAbove(v, 9)) {
        Read(is, h.OutputAmp);
        Read(is, h.PreAmpGain);
    } else {
        h.OutputAmp = 0;
        h.PreAmpGain = 0;
    }

    if (MinorAbove(v, 10)) Read(is, h.Serial);
    else h.Serial = 0;

    if (MinorAbove(v, 12)) Read(is, h.NumPulses);
    else h.NumPulses = 0;

    if (MinorAbove(v, 13)) Read(is, h.FrameTransferAcqMode);
    else h.FrameTransferAcqMode = 1;

    if (MinorAbove(v, 14)) {
        Read(is, h.UnstabilizedTemperature);
        Read(is, h.BaselineClamp);
    } else {
        h.UnstabilizedTemperature = -999.0f;
        h.BaselineClamp = 0;
    }

    if (MinorAbove(v, 15)) Read(is, h.PreScan);
    else h.PreScan = 0;

    if (MinorAbove(v, 16)) Read(is, h.EMRealGain);
    else h.EMRealGain = 0;

    if (MinorAbove(v, 17)) Read(is, h.BaselineOffset);
    else h.BaselineOffset = 0;

    if (MinorAbove(v, 18)) Read(is, h.AuxUnsignedSetting);
    else h.AuxUnsignedSetting = 0;

    if (MinorAbove(v, 19)) Read(is, h.AuxIntSetting4);
    else h.AuxIntSetting4 = -1;

    for (unsigned int& word : h.SWVersion) {
        if (MinorAbove(v, 20)) Read(is, word);
        else word = 0;
    }

    if (MinorAbove(v, 22)) {
        Read(is, h.SIDisplacement);
        Read(is, h.SINumberSubframes);
    } else {
        h.SIDisplacement = 0;
        h.SINumberSubframes = 1;
    }

    // The one numeric field guarded by the major-aware form.
    if (VersionAbove(v, 23)) Read(is, h.Baseline);
    else h.Baseline = 0;

    if (MinorAbove(v, 24)) {
        Read(is, h.CountConvert);
        Read(is, h.CountConvertMode);
        Read(is, h.Sensitivity);
        Read(is, h.Wavelength);
    } else {
        h.CountConvert = 0;
        h.CountConvertMode = 0;
        h.Sensitivity = 0;
        h.Wavelength = 0;
    }

    if (MinorAbove(v, 25)) {
        Read(is, h.FilterMode);
        Read(is, h.Threshold);
    } else {
        h.FilterMode = 0;
        h.Threshold = 0;
    }

    if (MinorAbove(v, 26)) {
        Read(is, h.PhotonCountingEnabled);
        Read(is, h.NoThresholds);
        for (float& t : h.PhotonCountingThresholds) Read(is, t);
    } else {
        h.PhotonCountingEnabled = 0;
        h.NoThresholds = 0;
        for (float& t : h.PhotonCountingThresholds) t = 0;
    }

    if (MinorAbove(v, 27)) {
        Read(is, h.AveragingFilterMode);
        Read(is, h.AveragingFactor);
        Read(is, h.FrameCount);
    } else {
        h.AveragingFilterMode = 0;
        h.AveragingFactor = 1;
        h.FrameCount = 1;
    }

    // Head model: a counted text, earlier a bare number, earliest nothing at all.
    if (MinorAbove(v, 4)) {
        ReadCountedText(is, h.HeadModel, sizeof h.HeadModel);
        Read(is, h.detector_format_x);
        Read(is, h.detector_format_z);
    } else if (MinorAbove(v, 2)) {
        unsigned int model = 0;
        Read(is, model);
        Read(is, h.detector_format_x);
        Read(is, h.detector_format_z);
        std::snprintf(h.HeadModel, sizeof h.HeadModel, "%u", model);
    } else {
        CopyText(h.HeadModel, sizeof h.HeadModel, "Unknown");
        h.detector_format_x = 1024;
        h.detector_format_z = 256;
    }

    ReadCountedText(is, h.Filename, sizeof h.Filename);
    is >> h.UserText;

    if (MinorAbove(v, 3)) is >> h.Shutter;
    else h.Shutter = TShutter();

    if (VersionAbove(v, 11)) is >> h.KavriSpectSave;
    else h.KavriSpectSave.SetDefaults();

    if (VersionAbove(v, 21)) is >> h.SpectSave;
    else h.SpectSave.SetDefaults();

    if (VersionAbove(v, 28)) is >> h.ICCDSave;
    else h.ICCDSave.setDefaults();

    // Left as it stands when absent.
    if (VersionAbove(v, 29)) Read(is, h.AuxIntSetting5);

    if (VersionAbove(v, 30)) is >> h.CropSave;
    else h.CropSave.setDefaults();

    return is;
}

std::ostream& operator<<(std::ostream& os, TKestoImageData& h) {
    using RecordStream::WriteRawByte;

    os << TKestoImageData::kVersionWritten << ' ';
    os << h.Type << ' ';
    os << h.Active << ' ';
    os << h.Version << ' ';
    os << h.Time << ' ';
    os << h.Temperature << ' ';
    WriteRawByte(os, h.Head) << ' ';
    WriteRawByte(os, h.StoreType) << ' ';
    WriteRawByte(os, h.DataType) << ' ';
    WriteRawByte(os, h.Mode) << ' ';
    WriteRawByte(os, h.TriggerSource) << ' ';
    os << h.TriggerLevel << ' ';
    os << h.ExposureTime << ' ';
    os << h.Delay << ' ';
    os << h.IntegrationCycleTime << ' ';
    os << h.NoIntegrations << ' ';
    WriteRawByte(os, h.AuxByteSetting) << ' ';
    os << h.KineticCycleTime << ' ';
    os << h.PixelReadoutTime << ' ';
    os << h.AuxIntSetting1 << ' ';
    os << h.AuxIntSetting2 << ' ';
    os << h.Gain << ' ';
    os << h.AuxFloatSetting1 << ' ';
    os << h.AuxFloatSetting2 << ' ';
    os << h.AuxFloatSetting3 << ' ';
    os << h.TrackHeight << ' ';
    os << h.AuxIntSetting3 << ' ';
    WriteRawByte(os, h.ReadPattern) << ' ';
    WriteRawByte(os, h.ShutterDelay) << ' ';
    os << h.CentreRow << ' ';
    os << h.RowOffset << ' ';
    os << h.Operation << ' ';
    os << h.FlipX << ' ';
    os << h.FlipY << ' ';
    os << h.Clock << ' ';
    os << h.AClock << ' ';
    os << h.MCP << ' ';
    os << h.InsertionDelay << ' ';
    os << h.IOC << ' ';
    os << h.Freq << ' ';
    os << h.VertClockAmp << ' ';
    os << h.VShiftSpeed << ' ';
    os << h.OutputAmp << ' ';
    os << h.PreAmpGain << ' ';
    os << h.Serial << ' ';
    os << h.NumPulses << ' ';
    os << h.FrameTransferAcqMode << ' ';
    os << h.UnstabilizedTemperature << ' ';
    os << h.BaselineClamp << ' ';
    os << h.PreScan << ' ';
    os << h.EMRealGain << ' ';
    os << h.BaselineOffset << ' ';
    os << h.AuxUnsignedSetting << ' ';
    os << h.AuxIntSetting4 << ' ';
    for (unsigned int word : h.SWVersion) os << word << ' ';
    os << h.SIDisplacement << ' ';
    os << h.SINumberSubframes << ' ';
    os << h.Baseline << ' ';
    os << h.CountConvert << ' ';
    os << h.CountConvertMode << ' ';
    os << h.Sensitivity << ' ';
    os << h.Wavelength << ' ';
    os << h.FilterMode << ' ';
    os << h.Threshold << ' ';
    os << h.PhotonCountingEnabled << ' ';
    os << h.NoThresholds << ' ';
    for (float t : h.PhotonCountingThresholds) os << t << ' ';
    os << h.AveragingFilterMode << ' ';
    os << h.AveragingFactor << ' ';
    os << h.FrameCount << ' ';

    // The texts are framed by line breaks; the reader takes one byte after each length.
    os << static_cast<unsigned int>(std::strlen(h.HeadModel)) << '\n';
    os.write(h.HeadModel, static_cast<std::streamsize>(std::strlen(h.HeadModel)));
    os << " \n";
    os << ' ' << h.detector_format_x << ' ' << h.detector_format_z << ' ';
    os << static_cast<unsigned int>(std::strlen(h.Filename)) << '\n';
    os.write(h.Filename, static_cast<std::streamsize>(std::strlen(h.Filename)));
    os << " \n";

    os << h.UserText << '\n';
    os << h.Shutter << '\n';
    os << h.KavriSpectSave << '\n';
    os << h.SpectSave << '\n';
    os << h.ICCDSave << '\n';
    os << h.AuxIntSetting5 << '\n';
    os << h.CropSave << '\n';
    return os;
}

// ---------------------------------------------------------------------------
// XML extension section

namespace {

// Room the section's texts are given, bounded again by each destination.
constexpr std::size_t kPreAmpGainTextRoom = 100;
constexpr std::size_t kSpectrographSerialRoom = 100;
constexpr std::size_t kFullSerialRoom = 65;

template <std::size_t N>
void CopySectionText(char (&dest)[N], const char* text, std::size_t room) {
    KavriUtility::TKavriMisc::mbstotcs(dest, text, room < N ? room : N);
}

}  // namespace

bool TKestoImageData::ReadXMLDataStructure(TMcfDataXML& xml) {
    if (!xml.SetFirstChildNode("TKestoImageData")) return false;

    CopySectionText(PreAmpGainText, xml.GetStringData("PreAmpGainText", ""), kPreAmpGainTextRoom);
    const char* spectrographSerial = xml.GetStringData("SpectrographSerial", "");
    if (KavriSpectSave.Present != 0) {
        CopySectionText(KavriSpectSave.SerialText, spectrographSerial, kSpectrographSerialRoom);
    } else if (SpectSave.Present != 0) {
        CopySectionText(SpectSave.SerialText, spectrographSerial, kSpectrographSerialRoom);
    }
    Milliseconds = xml.GetIntData("mSec", 0);
    // Both direct-iris values land in the position, the second winning: files rely on
    // the present flag surviving a read.
    SpectSave.DirectIrisPosition = xml.GetIntData("DIRECT_IRIS_PRESENT", -1);
    SpectSave.DirectIrisPosition = xml.GetIntData("DIRECT_IRIS_POSITION", -1);
    SpectSave.SideIrisPresent = xml.GetIntData("SIDE_IRIS_PRESENT", -1);
    SpectSave.SideIrisPosition = xml.GetIntData("SIDE_IRIS_POSITION", -1);
    CopySectionText(SerialText, xml.GetStringData("FullSerialNumber", ""), kFullSerialRoom);
    DarkThreshold = xml.GetFloatData("DARKTHRESHOLD", 0.0f);
    FastKineticsOffset = xml.GetIntData("FAST_KINETICS_OFFSET", -1);

    xml.PopNode();
    return true;
}

bool TKestoImageData::BuildXMLDataStructure(TMcfDataXML& xml) {
    xml.AddChildNode("TKestoImageData");

    xml.SetData("PreAmpGainText", PreAmpGainText);
    // With no spectrograph the gain text goes out again in the serial's place, as
    // files from the acquisition software have it.
    const char* spectrographSerial = PreAmpGainText;
    if (KavriSpectSave.Present != 0) {
        spectrographSerial = KavriSpectSave.SerialText;
    } else if (SpectSave.Present != 0) {
        spectrographSerial = SpectSave.SerialText;
    }
    xml.SetData("SpectrographSerial", spectrographSerial);
    xml.SetData("mSec", Milliseconds);
    xml.SetData("DIRECT_IRIS_PRESENT", SpectSave.DirectIrisPresent);
    xml.SetData("DIRECT_IRIS_POSITION", SpectSave.DirectIrisPosition);
    xml.SetData("SIDE_IRIS_PRESENT", SpectSave.SideIrisPresent);
    xml.SetData("SIDE_IRIS_POSITION", SpectSave.SideIrisPosition);
    xml.SetData("FullSerialNumber", SerialText);
    xml.SetData("DARKTHRESHOLD", DarkThreshold);
    xml.SetData("FAST_KINETICS_OFFSET", FastKineticsOffset);

    xml.PopNode();
    return true;
}
