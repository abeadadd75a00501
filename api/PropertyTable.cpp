#include "api/PropertyTable.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "metadata/GaterSetting.h"
#include "util/kavrimisc.h"

namespace PropertyTable {
namespace {

using KavriUtility::TKavriMisc;
using Image = TMCFIOManager::TImage;

const unsigned int kByteCode = 1;  // the bare type of the one-byte codes, outside the enumeration

// Bounded formatting: at most size - 1 characters, always terminated.
unsigned int Put(char* value, unsigned int size, const char* format, ...) {
    if (size > 1) {
        va_list args;
        va_start(args, format);
        TKavriMisc::vsnprintf(value, size, format, args);
        va_end(args);
    }
    return KVMCF_SUCCESS;
}

unsigned int PutText(char* value, unsigned int size, const char* text) {
    if (size > 1) TKavriMisc::strncpy(value, text ? text : "", size - 1);
    return KVMCF_SUCCESS;
}

const TKestoImageData& Header(const Context& c) { return c.image.Header(); }
const TICCDSave& Intensifier(const Context& c) { return c.image.Header().GetICCDSave(); }

const char* FullName(const char* const* names, std::size_t count, unsigned int code) {
    return code < count && names[code] ? names[code] : "Unknown";
}

const char* const kReadPatterns[] = {"Full Vertical Binning", "Multi-Track", "Random-Track", "Single-Track",
                                     "Image"};
const char* const kAcquisitionModes[] = {nullptr, "Single Scan", "Accumulate", "Kinetics", "Run Till Abort",
                                         nullptr, nullptr,       nullptr,      nullptr,    "Time Delayed Integration"};
const char* const kTriggerSources[] = {"Internal", "External", nullptr, nullptr,           nullptr, nullptr,
                                       "External Start", "External Exposure", nullptr, "External FVB EM",
                                       "Software"};

template <std::size_t N>
constexpr std::size_t Count(const char* const (&)[N]) {
    return N;
}

// ----- indexed names

// Sub-image names carry a 1-based index in trailing digits; none means the first.
unsigned int SubImageField(const Context& c, const char* name, int* field) {
    const std::size_t length = std::strlen(name);
    std::size_t digits = length;
    while (digits > 0 && name[digits - 1] >= '0' && name[digits - 1] <= '9') --digits;
    long index = 1;
    if (digits < length) index = std::strtol(name + digits, nullptr, 10);
    const TCalibImage& data = c.image.calibImage;
    if (index <= 0 || static_cast<unsigned long>(index) > data.GetNumberSubImages()) return KVMCF_P2INVALID;
    const TSubImage& sub = data.GetSubImages()[index - 1];
    const std::string base(name, digits);
    if (base == "SubImageHBin") *field = sub.hBin;
    else if (base == "SubImageVBin") *field = sub.vBin;
    else if (base == "SubImageLeft") *field = sub.left;
    else if (base == "SubImageRight") *field = sub.right;
    else if (base == "SubImageTop") *field = sub.top;
    else if (base == "SubImageBottom") *field = sub.bottom;
    else return KVMCF_P2INVALID;
    return KVMCF_SUCCESS;
}

unsigned int SubImageValue(const Context& c, const char* name, char* value, unsigned int size) {
    int field = 0;
    const unsigned int result = SubImageField(c, name, &field);
    if (result != KVMCF_SUCCESS) return result;
    return Put(value, size, "%i", field);
}

// The frame index that follows a keyword at the start of the name.
bool FrameIndex(const char* name, const char* keyword, unsigned int* index) {
    const std::size_t n = std::strlen(keyword);
    if (std::strncmp(name, keyword, n) != 0) return false;
    *index = static_cast<unsigned int>(std::atoi(name + n));
    return true;
}

unsigned int TimeStampValue(const Context& c, char* value, unsigned int size) {
    unsigned int index = 0;
    if (!FrameIndex(c.name, "TimeStamp", &index)) return KVMCF_P2INVALID;
    unsigned int stamp = 0;
    const unsigned int result = c.manager.GetFrameTimeStamp(c.source, index, &stamp);
    Put(value, size, "%u", stamp);
    return result;
}

unsigned int MetadataValue(const Context& c, char* value, unsigned int size) {
    unsigned int index = 0;
    if (!FrameIndex(c.name, "Metadata", &index)) return KVMCF_P2INVALID;
    unsigned long long word = 0;
    const unsigned int result = c.manager.GetFrameMetadata(c.source, index, &word);
    // Only the low 32 bits have ever been printed.
    Put(value, size, "%u", static_cast<unsigned int>(word));
    return result;
}

unsigned int HighPrecisionTimeStampValue(const Context& c, char* value, unsigned int size) {
    if (std::strlen(c.name) <= 21) return KVMCF_P2INVALID;
    const unsigned int index = static_cast<unsigned int>(std::atoi(c.name + 22));
    float seconds = 0.0f;
    const unsigned int result = c.manager.GetHighPrecisionTimeStamp(c.source, index, &seconds, &c.image);
    if (size > 1) std::snprintf(value, size, "%0.7f", seconds);
    return result;
}

unsigned int SubImageType(const Context& c, KVMCF_PropertyType* type) {
    int field = 0;
    const unsigned int result = SubImageField(c, c.name, &field);
    if (result == KVMCF_SUCCESS) *type = KVMCF_TYPE_INT32;
    return result;
}

// ----- the table

#define HDR(NAME, TYPE, FORMAT, EXPR)                                                                \
    {NAME, Match::Exact, TYPE,                                                                       \
     [](const Context& c, char* v, unsigned int n) -> unsigned int { return Put(v, n, FORMAT, EXPR); }, \
     nullptr}
#define TXT(NAME, EXPR)                                                                                  \
    {NAME, Match::Exact, KVMCF_TYPE_STRING,                                                              \
     [](const Context& c, char* v, unsigned int n) -> unsigned int { (void)c; return PutText(v, n, EXPR); }, \
     nullptr}
#define FIRST_SUB(NAME, SUBNAME)                                                                                 \
    {NAME, Match::Exact, KVMCF_TYPE_INT32,                                                                       \
     [](const Context& c, char* v, unsigned int n) -> unsigned int { return SubImageValue(c, SUBNAME, v, n); }, \
     nullptr}
#define OUTPUT_ROWS(LETTER, I)                                                                                    \
    HDR("Output" LETTER "Enabled", KVMCF_TYPE_INT32, "%d", Intensifier(c).ExtOutEnabled[I]),                    \
    HDR("Output" LETTER "Width", KVMCF_TYPE_UINT64, "%I64u", Intensifier(c).ExtOutTime0PS[I]),                  \
    HDR("Output" LETTER "Delay", KVMCF_TYPE_UINT64, "%I64u", Intensifier(c).ExtOutTime1PS[I]),                  \
    TXT("Output" LETTER "Polarity", Intensifier(c).ExtOutPolarity[I] == 1 ? "Negative" : "Positive")

// Intensified heads report these settings from the intensifier record.
#define USB(HEAD_VALUE, ICCD_VALUE) (isUSBGelta(&c.image) ? (ICCD_VALUE) : (HEAD_VALUE))

char* FormattedTime(const Context& c, char* buffer) {
    const std::time_t t = static_cast<std::time_t>(Header(c).GetTime());
    char* text = std::ctime(&t);
    buffer[0] = '\0';
    if (text) {
        std::strncpy(buffer, text, 63);
        buffer[63] = '\0';
        const std::size_t n = std::strlen(buffer);
        if (n > 0 && buffer[n - 1] == '\n') buffer[n - 1] = '\0';
    }
    return buffer;
}

const Row kRows[] = {
    HDR("Type", KVMCF_TYPE_UINT32, "%u", Header(c).GetType()),
    HDR("Active", KVMCF_TYPE_UINT32, "%u", Header(c).GetActive()),
    HDR("Version", KVMCF_TYPE_UINT32, "%u", Header(c).GetVersion()),
    HDR("Time", KVMCF_TYPE_INT32, "%d", static_cast<int>(Header(c).GetTime())),
    {"FormattedTime", Match::Exact, KVMCF_TYPE_STRING,
     [](const Context& c, char* v, unsigned int n) -> unsigned int {
         char buffer[64];
         return PutText(v, n, FormattedTime(c, buffer));
     },
     nullptr},
    {"FileName", Match::Exact, KVMCF_TYPE_STRING,
     [](const Context& c, char* v, unsigned int n) -> unsigned int {
         char buffer[TKestoImageData::kTextCapacity + 1] = {};
         Header(c).GetFilename(buffer);
         return PutText(v, n, buffer);
     },
     nullptr},
    HDR("Temperature", KVMCF_TYPE_FLOAT, "%g", Header(c).GetTemperature()),
    HDR("UnstabalizedTemperature", KVMCF_TYPE_FLOAT, "%g", Header(c).GetUnstabilizedTemperature()),
    HDR("Head", kByteCode, "%u", Header(c).GetHead()),
    {"HeadModel", Match::Exact, KVMCF_TYPE_STRING,
     [](const Context& c, char* v, unsigned int n) -> unsigned int {
         char buffer[TKestoImageData::kTextCapacity + 1] = {};
         Header(c).GetHeadModel(buffer);
         return PutText(v, n, buffer);
     },
     nullptr},
    HDR("StoreType", kByteCode, "%u", Header(c).GetStoreType()),
    HDR("DataType", kByteCode, "%u", Header(c).GetDataType()),
    HDR("SIDisplacement", KVMCF_TYPE_INT32, "%d", Header(c).GetSIDisplacement()),
    HDR("SINumberSubFrames", KVMCF_TYPE_INT32, "%d", Header(c).GetSINumberSubframes()),
    HDR("PixelReadOutTime", KVMCF_TYPE_FLOAT, "%g", Header(c).GetPixelReadoutTime()),
    HDR("TrackHeight", KVMCF_TYPE_INT32, "%d", Header(c).GetTrackHeight()),
    HDR("ReadPattern", kByteCode, "%u", Header(c).GetReadPattern()),
    TXT("ReadPatternFullName", FullName(kReadPatterns, Count(kReadPatterns), Header(c).GetReadPattern())),
    HDR("ShutterDelay", kByteCode, "%u", Header(c).GetShutterDelay()),
    HDR("CentreRow", KVMCF_TYPE_INT32, "%d", Header(c).GetCentreRow()),
    HDR("RowOffset", KVMCF_TYPE_INT32, "%d", Header(c).GetRowOffset()),
    HDR("Operation", KVMCF_TYPE_INT32, "%d", Header(c).GetOperation()),
    HDR("Mode", kByteCode, "%u", Header(c).GetMode()),
    TXT("ModeFullName", FullName(kAcquisitionModes, Count(kAcquisitionModes), Header(c).GetMode())),
    HDR("TriggerSource", kByteCode, "%u", Header(c).GetTriggerSource()),
    TXT("TriggerSourceFullName", FullName(kTriggerSources, Count(kTriggerSources), Header(c).GetTriggerSource())),
    HDR("TriggerLevel", KVMCF_TYPE_FLOAT, "%g", Header(c).GetTriggerLevel()),
    HDR("ExposureTime", KVMCF_TYPE_FLOAT, "%g", Header(c).GetExposureTime()),
    HDR("Delay", KVMCF_TYPE_FLOAT, "%g", Header(c).GetDelay()),
    HDR("IntegrationCycleTime", KVMCF_TYPE_FLOAT, "%g", Header(c).GetIntegrationCycleTime()),
    HDR("NumberIntegrations", KVMCF_TYPE_INT32, "%d", Header(c).GetNoIntegrations()),
    HDR("KineticCycleTime", KVMCF_TYPE_FLOAT, "%g", Header(c).GetKineticCycleTime()),
    HDR("FlipX", KVMCF_TYPE_INT32, "%d", Header(c).GetFlipX()),
    HDR("FlipY", KVMCF_TYPE_INT32, "%d", Header(c).GetFlipY()),
    HDR("Clock", KVMCF_TYPE_INT32, "%d", Header(c).GetClock()),
    HDR("AClock", KVMCF_TYPE_INT32, "%d", Header(c).GetAClock()),
    HDR("IOC", KVMCF_TYPE_INT32, "%d", USB(Header(c).GetIOC(), static_cast<int>(Intensifier(c).IOCEnabled))),
    HDR("Frequency", KVMCF_TYPE_FLOAT, "%g",
        USB(Header(c).GetFreq(), 1e12f / static_cast<float>(Intensifier(c).IOCPeriod))),
    HDR("NumberPulses", KVMCF_TYPE_INT32, "%d",
        USB(Header(c).GetNumPulses(), static_cast<int>(Intensifier(c).IOCNoOfPulses))),
    HDR("InsertionDelay", KVMCF_TYPE_INT32, "%d", USB(Header(c).GetInsertionDelay(), Intensifier(c).GaterAux)),
    HDR("FrameTransferAcquisitionMode", KVMCF_TYPE_INT32, "%d", Header(c).GetFrameTransferAcqMode()),
    HDR("BaselineClamp", KVMCF_TYPE_INT32, "%d", Header(c).GetBaselineClamp()),
    HDR("PreScan", KVMCF_TYPE_INT32, "%d", Header(c).GetPreScan()),
    HDR("EMRealGain", KVMCF_TYPE_INT32, "%d", Header(c).GetEMRealGain()),
    HDR("BaselineOffset", KVMCF_TYPE_INT32, "%d", Header(c).GetBaselineOffset()),
    // This name has always reported the EM gain.
    HDR("SWVersion", KVMCF_TYPE_UINT32, "%d", Header(c).GetEMRealGain()),
    {"SWVersionEx", Match::Exact, KVMCF_TYPE_STRING,
     [](const Context& c, char* v, unsigned int n) -> unsigned int {
         unsigned int w[4] = {};
         Header(c).GetSWVersionEx(w);
         return Put(v, n, "%u.%u.%u.%u", w[0], w[1], w[2], w[3]);
     },
     nullptr},
    HDR("MCP", KVMCF_TYPE_INT32, "%d", USB(Header(c).GetMCP(), static_cast<int>(Intensifier(c).KelgateEnabled))),
    HDR("Gain", KVMCF_TYPE_INT32, "%d", USB(Header(c).GetGain(), static_cast<int>(Intensifier(c).GaterGain))),
    HDR("VerticalClockAmp", KVMCF_TYPE_INT32, "%d", Header(c).GetVertClockAmp()),
    HDR("VerticalShiftSpeed", KVMCF_TYPE_FLOAT, "%g", Header(c).GetVShiftSpeed()),
    HDR("OutputAmplifier", KVMCF_TYPE_INT32, "%d", Header(c).GetOutputAmp()),
    HDR("PreAmplifierGain", KVMCF_TYPE_FLOAT, "%g", Header(c).GetPreAmpGain()),
    HDR("Serial", KVMCF_TYPE_INT32, "%d", Header(c).GetSerial()),
    HDR("DetectorFormatX", KVMCF_TYPE_INT32, "%d", Header(c).Getdetector_format_x()),
    HDR("DetectorFormatZ", KVMCF_TYPE_INT32, "%d", Header(c).Getdetector_format_z()),
    HDR("NumberImages", KVMCF_TYPE_UINT32, "%u", c.image.calibImage.GetNumberImages()),
    HDR("NumberSubImages", KVMCF_TYPE_UINT32, "%u", c.image.calibImage.GetNumberSubImages()),
    FIRST_SUB("ImageHBin", "SubImageHBin"),
    FIRST_SUB("ImageVBin", "SubImageVBin"),
    FIRST_SUB("ImageLeft", "SubImageLeft"),
    FIRST_SUB("ImageRight", "SubImageRight"),
    FIRST_SUB("ImageTop", "SubImageTop"),
    FIRST_SUB("ImageBottom", "SubImageBottom"),
    {"SubImage", Match::Contains, KVMCF_TYPE_INT32,
     [](const Context& c, char* v, unsigned int n) -> unsigned int { return SubImageValue(c, c.name, v, n); },
     SubImageType},
    {"HighPrecisionTimeStamp", Match::Contains, KVMCF_TYPE_FLOAT, HighPrecisionTimeStampValue, nullptr},
    HDR("ClockFrequency", KVMCF_TYPE_FLOAT, "%g", c.manager.GetClockFrequency(&c.image) / 1e6),
    {"TimeStamp", Match::Contains, KVMCF_TYPE_UINT32, TimeStampValue, nullptr},
    {"Metadata", Match::Contains, KVMCF_TYPE_UINT64, MetadataValue, nullptr},
    HDR("Baseline", KVMCF_TYPE_INT32, "%d", Header(c).GetBaseline()),
    HDR("CCDLeft", KVMCF_TYPE_INT32, "%d", c.image.calibImage.GetDetectorRect().left),
    HDR("CCDRight", KVMCF_TYPE_INT32, "%d", c.image.calibImage.GetDetectorRect().right),
    HDR("CCDTop", KVMCF_TYPE_INT32, "%d", c.image.calibImage.GetDetectorRect().top),
    HDR("CCDBottom", KVMCF_TYPE_INT32, "%d", c.image.calibImage.GetDetectorRect().bottom),
    HDR("Sensitivity", KVMCF_TYPE_FLOAT, "%g", Header(c).GetSensitivity()),
    HDR("DetectionWavelength", KVMCF_TYPE_FLOAT, "%g", Header(c).GetWavelength()),
    HDR("CountConvertMode", KVMCF_TYPE_INT32, "%d", Header(c).GetCountConvertMode()),
    HDR("IsCountConvert", KVMCF_TYPE_UINT32, "%u", Header(c).GetCountConvert()),
    TXT("XAxisType", c.image.calibImage.GetXTypeText(-1)),
    TXT("XAxisUnit", c.image.calibImage.GetXUnitText(-1, -1)),
    TXT("YAxisType", c.image.calibImage.GetYTypeText(-1)),
    TXT("YAxisUnit", c.image.calibImage.GetYUnitText()),
    TXT("ZAxisType", c.image.calibImage.GetZTypeText(-1)),
    TXT("ZAxisUnit", c.image.calibImage.GetZUnitText()),
    {"UserText", Match::Exact, KVMCF_TYPE_STRING,
     [](const Context& c, char* v, unsigned int n) -> unsigned int {
         c.image.Header().GetUserText().GetText(v, n - 1);
         return KVMCF_SUCCESS;
     },
     nullptr},
    HDR("IsPhotonCountingEnabled", KVMCF_TYPE_UINT32, "%d", Header(c).GetPhotonCountingEnabled()),
    HDR("Threshold1", KVMCF_TYPE_FLOAT, "%g", Header(c).GetPhotonCountingThreshold(0)),
    HDR("Threshold2", KVMCF_TYPE_FLOAT, "%g", Header(c).GetPhotonCountingThreshold(1)),
    HDR("Threshold3", KVMCF_TYPE_FLOAT, "%g", Header(c).GetPhotonCountingThreshold(2)),
    HDR("Threshold4", KVMCF_TYPE_FLOAT, "%g", Header(c).GetPhotonCountingThreshold(3)),
    HDR("NumberThresholds", KVMCF_TYPE_INT32, "%d", Header(c).GetNoThresholds()),
    HDR("AveragingFilterMode", KVMCF_TYPE_INT32, "%d", Header(c).GetAveragingFilterMode()),
    HDR("AveragingFactor", KVMCF_TYPE_INT32, "%d", Header(c).GetAveragingFactor()),
    HDR("FrameCount", KVMCF_TYPE_INT32, "%d", Header(c).GetFrameCount()),
    HDR("NoiseFilter", KVMCF_TYPE_UINT32, "%d", Header(c).GetFilterMode()),
    HDR("Threshold", KVMCF_TYPE_FLOAT, "%g", Header(c).GetThreshold()),
    OUTPUT_ROWS("A", 0),
    OUTPUT_ROWS("B", 1),
    OUTPUT_ROWS("C", 2),
    {"GateMode", Match::Exact, KVMCF_TYPE_STRING,
     [](const Context& c, char* v, unsigned int n) -> unsigned int {
         // Modes beyond the table write nothing.
         const char* text = TGaterSetting::GetModeText(Intensifier(c).GaterMode);
         if (text) PutText(v, n, text);
         return KVMCF_SUCCESS;
     },
     nullptr},
    HDR("GateWidth", KVMCF_TYPE_UINT64, "%I64u", Intensifier(c).GaterTime0PS),
    HDR("GateDelay", KVMCF_TYPE_UINT64, "%I64u", Intensifier(c).GaterTime1PS),
    HDR("GateDelayStep", KVMCF_TYPE_DOUBLE, "%g", Intensifier(c).DelayStepCoeffA),
    HDR("GateWidthStep", KVMCF_TYPE_DOUBLE, "%g", Intensifier(c).WidthStepCoeffA),
};

#undef HDR
#undef TXT
#undef FIRST_SUB
#undef OUTPUT_ROWS
#undef USB

struct TypeEntry {
    const char* name;
    Match match;
};

// The type query's order. Because "TimeStamp" is tested before
// "HighPrecisionTimeStamp", every high-precision name is typed as a time stamp.
const TypeEntry kTypeOrder[] = {
    {"Type", Match::Exact}, {"Active", Match::Exact}, {"Version", Match::Exact}, {"Time", Match::Exact},
    {"FormattedTime", Match::Exact}, {"FileName", Match::Exact}, {"Temperature", Match::Exact},
    {"UnstabalizedTemperature", Match::Exact}, {"Head", Match::Exact}, {"HeadModel", Match::Exact},
    {"StoreType", Match::Exact}, {"DataType", Match::Exact}, {"SIDisplacement", Match::Exact},
    {"SINumberSubFrames", Match::Exact}, {"PixelReadOutTime", Match::Exact}, {"TrackHeight", Match::Exact},
    {"ReadPattern", Match::Exact}, {"ReadPatternFullName", Match::Exact}, {"ShutterDelay", Match::Exact},
    {"CentreRow", Match::Exact}, {"RowOffset", Match::Exact}, {"Operation", Match::Exact}, {"Mode", Match::Exact},
    {"ModeFullName", Match::Exact}, {"TriggerSource", Match::Exact}, {"TriggerSourceFullName", Match::Exact},
    {"TriggerLevel", Match::Exact}, {"ExposureTime", Match::Exact}, {"Delay", Match::Exact},
    {"IntegrationCycleTime", Match::Exact}, {"NumberIntegrations", Match::Exact},
    {"KineticCycleTime", Match::Exact}, {"FlipX", Match::Exact}, {"FlipY", Match::Exact}, {"Clock", Match::Exact},
    {"AClock", Match::Exact}, {"IOC", Match::Exact}, {"Frequency", Match::Exact}, {"NumberPulses", Match::Exact},
    {"InsertionDelay", Match::Exact}, {"FrameTransferAcquisitionMode", Match::Exact},
    {"BaselineClamp", Match::Exact}, {"PreScan", Match::Exact}, {"EMRealGain", Match::Exact},
    {"BaselineOffset", Match::Exact},
    {"SWVersion", Match::Exact}, {"SWVersionEx", Match::Exact}, {"Baseline", Match::Exact}, {"MCP", Match::Exact},
    {"Gain", Match::Exact}, {"VerticalClockAmp", Match::Exact}, {"VerticalShiftSpeed", Match::Exact},
    {"OutputAmplifier", Match::Exact}, {"PreAmplifierGain", Match::Exact}, {"Serial", Match::Exact},
    {"DetectorFormatX", Match::Exact}, {"DetectorFormatZ", Match::Exact}, {"NumberImages", Match::Exact},
    {"NumberSubImages", Match::Exact}, {"Sensitivity", Match::Exact}, {"DetectionWavelength", Match::Exact},
    {"CountConvertMode", Match::Exact}, {"IsCountConvert", Match::Exact}, {"IsPhotonCountingEnabled", Match::Exact},
    {"Threshold1", Match::Exact}, {"Threshold2", Match::Exact}, {"Threshold3", Match::Exact},
    {"Threshold4", Match::Exact}, {"NumberThresholds", Match::Exact}, {"AveragingFilterMode", Match::Exact},
    {"AveragingFactor", Match::Exact}, {"FrameCount", Match::Exact}, {"NoiseFilter", Match::Exact},
    {"Threshold", Match::Exact},
    {"ImageHBin", Match::Exact}, {"ImageVBin", Match::Exact}, {"ImageLeft", Match::Exact},
    {"ImageRight", Match::Exact}, {"ImageTop", Match::Exact}, {"ImageBottom", Match::Exact},
    {"SubImage", Match::Contains}, {"TimeStamp", Match::Contains}, {"Metadata", Match::Contains},
    {"HighPrecisionTimeStamp", Match::Contains}, {"ClockFrequency", Match::Contains},
    {"CCDLeft", Match::Exact}, {"CCDRight", Match::Exact}, {"CCDTop", Match::Exact}, {"CCDBottom", Match::Exact},
    {"XAxisType", Match::Exact}, {"XAxisUnit", Match::Exact}, {"YAxisType", Match::Exact},
    {"YAxisUnit", Match::Exact}, {"ZAxisType", Match::Exact}, {"ZAxisUnit", Match::Exact},
    {"UserText", Match::Exact},
    {"OutputAEnabled", Match::Exact}, {"OutputAWidth", Match::Exact}, {"OutputADelay", Match::Exact},
    {"OutputAPolarity", Match::Exact}, {"OutputBEnabled", Match::Exact}, {"OutputBWidth", Match::Exact},
    {"OutputBDelay", Match::Exact}, {"OutputBPolarity", Match::Exact}, {"OutputCEnabled", Match::Exact},
    {"OutputCWidth", Match::Exact}, {"OutputCDelay", Match::Exact}, {"OutputCPolarity", Match::Exact},
    {"GateMode", Match::Exact}, {"GateWidth", Match::Exact}, {"GateDelay", Match::Exact},
    {"GateDelayStep", Match::Exact}, {"GateWidthStep", Match::Exact},
};

bool Matches(const char* key, Match match, const char* name) {
    return match == Match::Exact ? std::strcmp(key, name) == 0 : std::strstr(name, key) != nullptr;
}

const Row* RowNamed(const char* key) {
    for (const Row& row : kRows)
        if (std::strcmp(row.name, key) == 0) return &row;
    return nullptr;
}

}  // namespace

const Row* ValueRows(std::size_t* count) {
    *count = sizeof kRows / sizeof kRows[0];
    return kRows;
}

const Row* FindForValue(const char* name) {
    for (const Row& row : kRows)
        if (Matches(row.name, row.match, name)) return &row;
    return nullptr;
}

const Row* FindForType(const char* name) {
    for (const TypeEntry& entry : kTypeOrder)
        if (Matches(entry.name, entry.match, name)) return RowNamed(entry.name);
    return nullptr;
}

bool IsIndexed(const Row& row) { return row.match == Match::Contains; }

void getReadPatternFullName(unsigned char code, char* value, unsigned int size) {
    value[size - 1] = '\0';
    PutText(value, size, FullName(kReadPatterns, Count(kReadPatterns), code));
}

void getAcquisitionModeFullName(unsigned char code, char* value, unsigned int size) {
    value[size - 1] = '\0';
    PutText(value, size, FullName(kAcquisitionModes, Count(kAcquisitionModes), code));
}

void getTriggerSourceFullName(unsigned char code, char* value, unsigned int size) {
    value[size - 1] = '\0';
    PutText(value, size, FullName(kTriggerSources, Count(kTriggerSources), code));
}

bool isUSBGelta(TMCFIOManager::TImage* image) {
    char model[240] = {};
    char buffer[TKestoImageData::kTextCapacity + 1] = {};
    image->Header().GetHeadModel(buffer);
    // Only the first 239 characters have ever been looked at.
    std::memcpy(model, buffer, std::min(std::strlen(buffer), sizeof model - 1));
    return std::strstr(model, "QM7") != nullptr || std::strstr(model, "Gelta") != nullptr;
}

}  // namespace PropertyTable
