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

std::string Text(const char* text) { return text ? std::string(text) : std::string(); }

// The typed value of a number read for a row of the given type.
template <class X>
Value Typed(unsigned int type, X x) {
    switch (type) {
        case KVMCF_TYPE_INT32: return static_cast<long long>(static_cast<int>(x));
        case KVMCF_TYPE_FLOAT:
        case KVMCF_TYPE_DOUBLE: return static_cast<double>(x);
        case KVMCF_TYPE_UINT64: return static_cast<unsigned long long>(x);
        default: return static_cast<unsigned long long>(static_cast<unsigned int>(x));  // uint32, byte codes
    }
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

unsigned int SubImageValue(const Context& c, const char* name, Value* v) {
    int field = 0;
    const unsigned int result = SubImageField(c, name, &field);
    if (result == KVMCF_SUCCESS) *v = static_cast<long long>(field);
    return result;
}

// The frame index that follows a keyword at the start of the name.
bool FrameIndex(const char* name, const char* keyword, unsigned int* index) {
    const std::size_t n = std::strlen(keyword);
    if (std::strncmp(name, keyword, n) != 0) return false;
    *index = static_cast<unsigned int>(std::atoi(name + n));
    return true;
}

// Indexed values are formatted even when the index is out of range.
unsigned int TimeStampValue(const Context& c, Value* v) {
    unsigned int index = 0;
    if (!FrameIndex(c.name, "TimeStamp", &index)) return KVMCF_P2INVALID;
    unsigned int stamp = 0;
    const unsigned int result = c.manager.GetFrameTimeStamp(c.source, index, &stamp);
    *v = static_cast<unsigned long long>(stamp);
    return result;
}

unsigned int MetadataValue(const Context& c, Value* v) {
    unsigned int index = 0;
    if (!FrameIndex(c.name, "Metadata", &index)) return KVMCF_P2INVALID;
    unsigned long long word = 0;
    const unsigned int result = c.manager.GetFrameMetadata(c.source, index, &word);
    *v = word;
    return result;
}

unsigned int HighPrecisionTimeStampValue(const Context& c, Value* v) {
    if (std::strlen(c.name) <= 21) return KVMCF_P2INVALID;
    const unsigned int index = static_cast<unsigned int>(std::atoi(c.name + 22));
    float seconds = 0.0f;
    const unsigned int result = c.manager.GetHighPrecisionTimeStamp(c.source, index, &seconds, &c.image);
    *v = static_cast<double>(seconds);
    return result;
}

unsigned int SubImageType(const Context& c, KVMCF_PropertyType* type) {
    int field = 0;
    const unsigned int result = SubImageField(c, c.name, &field);
    if (result == KVMCF_SUCCESS) *type = KVMCF_TYPE_INT32;
    return result;
}

// ----- writers for the texts the generic formatting does not give

// Printed with the standard formatting routine, not the library's own.
void WriteSeconds(const Value& value, char* text, unsigned int size) {
    // Bounded by size - 1 like the other formats, so it writes one character fewer.
    if (size > 0) std::snprintf(text, size - 1, "%0.7f", std::get<double>(value));
}

// The user text is fetched with a capacity of size - 1, terminator included.
void WriteUserText(const Value& value, char* text, unsigned int size) {
    const std::string& s = std::get<std::string>(value);
    const std::size_t k = std::min<std::size_t>(s.size() + 1, size - 1);
    if (k == 0) return;
    std::memcpy(text, s.c_str(), k);
    text[k - 1] = '\0';
}

// ----- the table

#define HDR(NAME, TYPE, FORMAT, EXPR)                                                  \
    {NAME, Match::Exact, TYPE,                                                         \
     [](const Context& c, Value* v) -> unsigned int {                                  \
         *v = Typed(TYPE, EXPR);                                                       \
         return KVMCF_SUCCESS;                                                         \
     },                                                                                \
     FORMAT, nullptr, nullptr}
#define TXT(NAME, EXPR)                                                                \
    {NAME, Match::Exact, KVMCF_TYPE_STRING,                                            \
     [](const Context& c, Value* v) -> unsigned int {                                  \
         (void)c;                                                                      \
         *v = Text(EXPR);                                                              \
         return KVMCF_SUCCESS;                                                         \
     },                                                                                \
     nullptr, nullptr, nullptr}
#define FIRST_SUB(NAME, SUBNAME)                                                                                 \
    {NAME, Match::Exact, KVMCF_TYPE_INT32,                                                                       \
     [](const Context& c, Value* v) -> unsigned int { return SubImageValue(c, SUBNAME, v); }, "%i", nullptr, \
     nullptr}
#define OUTPUT_ROWS(LETTER, I)                                                                                    \
    HDR("Output" LETTER "Enabled", KVMCF_TYPE_INT32, "%d", Intensifier(c).ExtOutEnabled[I]),                    \
    HDR("Output" LETTER "Width", KVMCF_TYPE_UINT64, "%I64u", Intensifier(c).ExtOutTime0PS[I]),                  \
    HDR("Output" LETTER "Delay", KVMCF_TYPE_UINT64, "%I64u", Intensifier(c).ExtOutTime1PS[I]),                  \
    TXT("Output" LETTER "Polarity", Intensifier(c).ExtOutPolarity[I] == 1 ? "Negative" : "Positive")

// Intensified heads report these settings from the intensifier record.
#define USB(HEAD_VALUE, ICCD_VALUE) (isUSBGelta(&c.image) ? (ICCD_VALUE) : (HEAD_VALUE))

std::string FormattedTime(const Context& c) {
    const std::time_t t = static_cast<std::time_t>(Header(c).GetTime());
    // The reentrant form: several open files may be queried from several threads.
    char buffer[64] = {};
    if (!ctime_r(&t, buffer)) return std::string();
    buffer[63] = '\0';
    const std::size_t n = std::strlen(buffer);
    if (n > 0 && buffer[n - 1] == '\n') buffer[n - 1] = '\0';
    return buffer;
}

std::string HeaderText(const Context& c, void (TKestoImageData::*get)(char*) const) {
    char buffer[TKestoImageData::kTextCapacity + 1] = {};
    (Header(c).*get)(buffer);
    return buffer;
}

const Row kRows[] = {
    HDR("Type", KVMCF_TYPE_UINT32, "%u", Header(c).GetType()),
    HDR("Active", KVMCF_TYPE_UINT32, "%u", Header(c).GetActive()),
    HDR("Version", KVMCF_TYPE_UINT32, "%u", Header(c).GetVersion()),
    HDR("Time", KVMCF_TYPE_INT32, "%d", static_cast<int>(Header(c).GetTime())),
    TXT("FormattedTime", FormattedTime(c).c_str()),
    TXT("FileName", HeaderText(c, &TKestoImageData::GetFilename).c_str()),
    HDR("Temperature", KVMCF_TYPE_FLOAT, "%g", Header(c).GetTemperature()),
    HDR("UnstabalizedTemperature", KVMCF_TYPE_FLOAT, "%g", Header(c).GetUnstabilizedTemperature()),
    HDR("Head", kByteCode, "%u", Header(c).GetHead()),
    TXT("HeadModel", HeaderText(c, &TKestoImageData::GetHeadModel).c_str()),
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
     [](const Context& c, Value* v) -> unsigned int {
         unsigned int w[4] = {};
         Header(c).GetSWVersionEx(w);
         char text[64];
         std::snprintf(text, sizeof text, "%u.%u.%u.%u", w[0], w[1], w[2], w[3]);
         *v = std::string(text);
         return KVMCF_SUCCESS;
     },
     nullptr, nullptr, nullptr},
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
     [](const Context& c, Value* v) -> unsigned int { return SubImageValue(c, c.name, v); }, "%i", nullptr,
     SubImageType},
    {"HighPrecisionTimeStamp", Match::Contains, KVMCF_TYPE_FLOAT, HighPrecisionTimeStampValue, nullptr,
     WriteSeconds, nullptr},
    HDR("ClockFrequency", KVMCF_TYPE_FLOAT, "%g", c.manager.GetClockFrequency(&c.image) / 1e6),
    {"TimeStamp", Match::Contains, KVMCF_TYPE_UINT32, TimeStampValue, "%u", nullptr, nullptr},
    // Only the low 32 bits have ever been printed; the typed value keeps the whole word.
    {"Metadata", Match::Contains, KVMCF_TYPE_UINT64, MetadataValue, "%u", nullptr, nullptr},
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
     [](const Context& c, Value* v) -> unsigned int {
         char buffer[TUserText::kCapacity + 1] = {};
         c.image.Header().GetUserText().GetText(buffer, sizeof buffer);
         *v = std::string(buffer);
         return KVMCF_SUCCESS;
     },
     nullptr, WriteUserText, nullptr},
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
     [](const Context& c, Value* v) -> unsigned int {
         // Modes beyond the table write nothing.
         const char* text = TGaterSetting::GetModeText(Intensifier(c).GaterMode);
         if (text) *v = std::string(text);
         return KVMCF_SUCCESS;
     },
     nullptr, nullptr, nullptr},
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

unsigned int Row::format(const Context& context, char* value, unsigned int size) const {
    Value typed;
    const unsigned int result = read(context, &typed);
    FormatValue(*this, typed, value, size);
    return result;
}

void FormatValue(const Row& row, const Value& value, char* text, unsigned int size) {
    if (std::holds_alternative<std::monostate>(value)) return;
    if (row.write) {
        row.write(value, text, size);
    } else if (const auto* s = std::get_if<std::string>(&value)) {
        PutText(text, size, s->c_str());
    } else if (const auto* i = std::get_if<long long>(&value)) {
        Put(text, size, row.pattern, static_cast<int>(*i));
    } else if (const auto* u = std::get_if<unsigned long long>(&value)) {
        // Only the 64-bit format prints the whole word.
        if (std::strstr(row.pattern, "I64"))
            Put(text, size, row.pattern, *u);
        else
            Put(text, size, row.pattern, static_cast<unsigned int>(*u));
    } else {
        Put(text, size, row.pattern, std::get<double>(value));
    }
}

bool IsIndexed(const Row& row) { return row.match == Match::Contains; }

std::vector<std::string> ListingNames(unsigned int subImages) {
    static const char* const kSubImageFields[] = {"SubImageLeft", "SubImageBottom", "SubImageRight",
                                                  "SubImageTop",  "SubImageHBin",   "SubImageVBin"};
    std::vector<std::string> names;
    for (const Row& row : kRows) {
        const std::string name = row.name;
        if (!IsIndexed(row)) {
            names.push_back(name);
        } else if (name == "SubImage") {
            for (unsigned int s = 1; s <= subImages; ++s)
                for (const char* field : kSubImageFields) names.push_back(field + std::to_string(s));
        } else {
            names.push_back(name + "0");
        }
    }
    return names;
}

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
