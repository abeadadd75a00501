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

// Rows: the name, its position in the type query's order, how the value query and the
// type query match it, its type, how its value is read, and how it is printed.
#define HDR_TYPED(NAME, RANK, TYPE_MATCH, TYPE, FORMAT, EXPR)                          \
    {NAME, RANK, Match::Exact, TYPE_MATCH, TYPE,                                       \
     [](const Context& c, Value* v) -> unsigned int {                                  \
         *v = Typed(TYPE, EXPR);                                                       \
         return KVMCF_SUCCESS;                                                         \
     },                                                                                \
     FORMAT, nullptr, nullptr}
#define HDR(NAME, RANK, TYPE, FORMAT, EXPR) HDR_TYPED(NAME, RANK, Match::Exact, TYPE, FORMAT, EXPR)
#define TXT(NAME, RANK, EXPR)                                                          \
    {NAME, RANK, Match::Exact, Match::Exact, KVMCF_TYPE_STRING,                        \
     [](const Context& c, Value* v) -> unsigned int {                                  \
         (void)c;                                                                      \
         *v = Text(EXPR);                                                              \
         return KVMCF_SUCCESS;                                                         \
     },                                                                                \
     nullptr, nullptr, nullptr}
#define FIRST_SUB(NAME, RANK, SUBNAME)                                                                           \
    {NAME, RANK, Match::Exact, Match::Exact, KVMCF_TYPE_INT32,                                                   \
     [](const Context& c, Value* v) -> unsigned int { return SubImageValue(c, SUBNAME, v); }, "%i", nullptr, \
     nullptr}
// The four rows of an output, consecutive in both orders.
#define OUTPUT_ROWS(LETTER, I, RANK)                                                                              \
    HDR("Output" LETTER "Enabled", RANK, KVMCF_TYPE_INT32, "%d", Intensifier(c).ExtOutEnabled[I]),              \
    HDR("Output" LETTER "Width", RANK + 1, KVMCF_TYPE_UINT64, "%I64u", Intensifier(c).ExtOutTime0PS[I]),        \
    HDR("Output" LETTER "Delay", RANK + 2, KVMCF_TYPE_UINT64, "%I64u", Intensifier(c).ExtOutTime1PS[I]),        \
    TXT("Output" LETTER "Polarity", RANK + 3, Intensifier(c).ExtOutPolarity[I] == 1 ? "Negative" : "Positive")

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
    HDR("Type", 0, KVMCF_TYPE_UINT32, "%u", Header(c).GetType()),
    HDR("Active", 1, KVMCF_TYPE_UINT32, "%u", Header(c).GetActive()),
    HDR("Version", 2, KVMCF_TYPE_UINT32, "%u", Header(c).GetVersion()),
    HDR("Time", 3, KVMCF_TYPE_INT32, "%d", static_cast<int>(Header(c).GetTime())),
    TXT("FormattedTime", 4, FormattedTime(c).c_str()),
    TXT("FileName", 5, HeaderText(c, &TKestoImageData::GetFilename).c_str()),
    HDR("Temperature", 6, KVMCF_TYPE_FLOAT, "%g", Header(c).GetTemperature()),
    HDR("UnstabalizedTemperature", 7, KVMCF_TYPE_FLOAT, "%g", Header(c).GetUnstabilizedTemperature()),
    HDR("Head", 8, kByteCode, "%u", Header(c).GetHead()),
    TXT("HeadModel", 9, HeaderText(c, &TKestoImageData::GetHeadModel).c_str()),
    HDR("StoreType", 10, kByteCode, "%u", Header(c).GetStoreType()),
    HDR("DataType", 11, kByteCode, "%u", Header(c).GetDataType()),
    HDR("SIDisplacement", 12, KVMCF_TYPE_INT32, "%d", Header(c).GetSIDisplacement()),
    HDR("SINumberSubFrames", 13, KVMCF_TYPE_INT32, "%d", Header(c).GetSINumberSubframes()),
    HDR("PixelReadOutTime", 14, KVMCF_TYPE_FLOAT, "%g", Header(c).GetPixelReadoutTime()),
    HDR("TrackHeight", 15, KVMCF_TYPE_INT32, "%d", Header(c).GetTrackHeight()),
    HDR("ReadPattern", 16, kByteCode, "%u", Header(c).GetReadPattern()),
    TXT("ReadPatternFullName", 17, FullName(kReadPatterns, Count(kReadPatterns), Header(c).GetReadPattern())),
    HDR("ShutterDelay", 18, kByteCode, "%u", Header(c).GetShutterDelay()),
    HDR("CentreRow", 19, KVMCF_TYPE_INT32, "%d", Header(c).GetCentreRow()),
    HDR("RowOffset", 20, KVMCF_TYPE_INT32, "%d", Header(c).GetRowOffset()),
    HDR("Operation", 21, KVMCF_TYPE_INT32, "%d", Header(c).GetOperation()),
    HDR("Mode", 22, kByteCode, "%u", Header(c).GetMode()),
    TXT("ModeFullName", 23, FullName(kAcquisitionModes, Count(kAcquisitionModes), Header(c).GetMode())),
    HDR("TriggerSource", 24, kByteCode, "%u", Header(c).GetTriggerSource()),
    TXT("TriggerSourceFullName", 25, FullName(kTriggerSources, Count(kTriggerSources), Header(c).GetTriggerSource())),
    HDR("TriggerLevel", 26, KVMCF_TYPE_FLOAT, "%g", Header(c).GetTriggerLevel()),
    HDR("ExposureTime", 27, KVMCF_TYPE_FLOAT, "%g", Header(c).GetExposureTime()),
    HDR("Delay", 28, KVMCF_TYPE_FLOAT, "%g", Header(c).GetDelay()),
    HDR("IntegrationCycleTime", 29, KVMCF_TYPE_FLOAT, "%g", Header(c).GetIntegrationCycleTime()),
    HDR("NumberIntegrations", 30, KVMCF_TYPE_INT32, "%d", Header(c).GetNoIntegrations()),
    HDR("KineticCycleTime", 31, KVMCF_TYPE_FLOAT, "%g", Header(c).GetKineticCycleTime()),
    HDR("FlipX", 32, KVMCF_TYPE_INT32, "%d", Header(c).GetFlipX()),
    HDR("FlipY", 33, KVMCF_TYPE_INT32, "%d", Header(c).GetFlipY()),
    HDR("Clock", 34, KVMCF_TYPE_INT32, "%d", Header(c).GetClock()),
    HDR("AClock", 35, KVMCF_TYPE_INT32, "%d", Header(c).GetAClock()),
    HDR("IOC", 36, KVMCF_TYPE_INT32, "%d", USB(Header(c).GetIOC(), static_cast<int>(Intensifier(c).IOCEnabled))),
    HDR("Frequency", 37, KVMCF_TYPE_FLOAT, "%g",
        USB(Header(c).GetFreq(), 1e12f / static_cast<float>(Intensifier(c).IOCPeriod))),
    HDR("NumberPulses", 38, KVMCF_TYPE_INT32, "%d",
        USB(Header(c).GetNumPulses(), static_cast<int>(Intensifier(c).IOCNoOfPulses))),
    HDR("InsertionDelay", 39, KVMCF_TYPE_INT32, "%d", USB(Header(c).GetInsertionDelay(), Intensifier(c).GaterAux)),
    HDR("FrameTransferAcquisitionMode", 40, KVMCF_TYPE_INT32, "%d", Header(c).GetFrameTransferAcqMode()),
    HDR("BaselineClamp", 41, KVMCF_TYPE_INT32, "%d", Header(c).GetBaselineClamp()),
    HDR("PreScan", 42, KVMCF_TYPE_INT32, "%d", Header(c).GetPreScan()),
    HDR("EMRealGain", 43, KVMCF_TYPE_INT32, "%d", Header(c).GetEMRealGain()),
    HDR("BaselineOffset", 44, KVMCF_TYPE_INT32, "%d", Header(c).GetBaselineOffset()),
    // This name has always reported the EM gain.
    HDR("SWVersion", 45, KVMCF_TYPE_UINT32, "%d", Header(c).GetEMRealGain()),
    {"SWVersionEx", 46, Match::Exact, Match::Exact, KVMCF_TYPE_STRING,
     [](const Context& c, Value* v) -> unsigned int {
         unsigned int w[4] = {};
         Header(c).GetSWVersionEx(w);
         char text[64];
         std::snprintf(text, sizeof text, "%u.%u.%u.%u", w[0], w[1], w[2], w[3]);
         *v = std::string(text);
         return KVMCF_SUCCESS;
     },
     nullptr, nullptr, nullptr},
    HDR("MCP", 48, KVMCF_TYPE_INT32, "%d", USB(Header(c).GetMCP(), static_cast<int>(Intensifier(c).KelgateEnabled))),
    HDR("Gain", 49, KVMCF_TYPE_INT32, "%d", USB(Header(c).GetGain(), static_cast<int>(Intensifier(c).GaterGain))),
    HDR("VerticalClockAmp", 50, KVMCF_TYPE_INT32, "%d", Header(c).GetVertClockAmp()),
    HDR("VerticalShiftSpeed", 51, KVMCF_TYPE_FLOAT, "%g", Header(c).GetVShiftSpeed()),
    HDR("OutputAmplifier", 52, KVMCF_TYPE_INT32, "%d", Header(c).GetOutputAmp()),
    HDR("PreAmplifierGain", 53, KVMCF_TYPE_FLOAT, "%g", Header(c).GetPreAmpGain()),
    HDR("Serial", 54, KVMCF_TYPE_INT32, "%d", Header(c).GetSerial()),
    HDR("DetectorFormatX", 55, KVMCF_TYPE_INT32, "%d", Header(c).Getdetector_format_x()),
    HDR("DetectorFormatZ", 56, KVMCF_TYPE_INT32, "%d", Header(c).Getdetector_format_z()),
    HDR("NumberImages", 57, KVMCF_TYPE_UINT32, "%u", c.image.calibImage.GetNumberImages()),
    HDR("NumberSubImages", 58, KVMCF_TYPE_UINT32, "%u", c.image.calibImage.GetNumberSubImages()),
    FIRST_SUB("ImageHBin", 74, "SubImageHBin"),
    FIRST_SUB("ImageVBin", 75, "SubImageVBin"),
    FIRST_SUB("ImageLeft", 76, "SubImageLeft"),
    FIRST_SUB("ImageRight", 77, "SubImageRight"),
    FIRST_SUB("ImageTop", 78, "SubImageTop"),
    FIRST_SUB("ImageBottom", 79, "SubImageBottom"),
    {"SubImage", 80, Match::Contains, Match::Contains, KVMCF_TYPE_INT32,
     [](const Context& c, Value* v) -> unsigned int { return SubImageValue(c, c.name, v); }, "%i", nullptr,
     SubImageType},
    {"HighPrecisionTimeStamp", 83, Match::Contains, Match::Contains, KVMCF_TYPE_FLOAT, HighPrecisionTimeStampValue, nullptr,
     WriteSeconds, nullptr},
    // The type query has always matched this name inside longer ones too.
    HDR_TYPED("ClockFrequency", 84, Match::Contains, KVMCF_TYPE_FLOAT, "%g",
              c.manager.GetClockFrequency(&c.image) / 1e6),
    {"TimeStamp", 81, Match::Contains, Match::Contains, KVMCF_TYPE_UINT32, TimeStampValue, "%u", nullptr, nullptr},
    // Only the low 32 bits have ever been printed; the typed value keeps the whole word.
    {"Metadata", 82, Match::Contains, Match::Contains, KVMCF_TYPE_UINT64, MetadataValue, "%u", nullptr, nullptr},
    HDR("Baseline", 47, KVMCF_TYPE_INT32, "%d", Header(c).GetBaseline()),
    HDR("CCDLeft", 85, KVMCF_TYPE_INT32, "%d", c.image.calibImage.GetDetectorRect().left),
    HDR("CCDRight", 86, KVMCF_TYPE_INT32, "%d", c.image.calibImage.GetDetectorRect().right),
    HDR("CCDTop", 87, KVMCF_TYPE_INT32, "%d", c.image.calibImage.GetDetectorRect().top),
    HDR("CCDBottom", 88, KVMCF_TYPE_INT32, "%d", c.image.calibImage.GetDetectorRect().bottom),
    HDR("Sensitivity", 59, KVMCF_TYPE_FLOAT, "%g", Header(c).GetSensitivity()),
    HDR("DetectionWavelength", 60, KVMCF_TYPE_FLOAT, "%g", Header(c).GetWavelength()),
    HDR("CountConvertMode", 61, KVMCF_TYPE_INT32, "%d", Header(c).GetCountConvertMode()),
    HDR("IsCountConvert", 62, KVMCF_TYPE_UINT32, "%u", Header(c).GetCountConvert()),
    TXT("XAxisType", 89, c.image.calibImage.GetXTypeText(-1)),
    TXT("XAxisUnit", 90, c.image.calibImage.GetXUnitText(-1, -1)),
    TXT("YAxisType", 91, c.image.calibImage.GetYTypeText(-1)),
    TXT("YAxisUnit", 92, c.image.calibImage.GetYUnitText()),
    TXT("ZAxisType", 93, c.image.calibImage.GetZTypeText(-1)),
    TXT("ZAxisUnit", 94, c.image.calibImage.GetZUnitText()),
    {"UserText", 95, Match::Exact, Match::Exact, KVMCF_TYPE_STRING,
     [](const Context& c, Value* v) -> unsigned int {
         char buffer[TUserText::kCapacity + 1] = {};
         c.image.Header().GetUserText().GetText(buffer, sizeof buffer);
         *v = std::string(buffer);
         return KVMCF_SUCCESS;
     },
     nullptr, WriteUserText, nullptr},
    HDR("IsPhotonCountingEnabled", 63, KVMCF_TYPE_UINT32, "%d", Header(c).GetPhotonCountingEnabled()),
    HDR("Threshold1", 64, KVMCF_TYPE_FLOAT, "%g", Header(c).GetPhotonCountingThreshold(0)),
    HDR("Threshold2", 65, KVMCF_TYPE_FLOAT, "%g", Header(c).GetPhotonCountingThreshold(1)),
    HDR("Threshold3", 66, KVMCF_TYPE_FLOAT, "%g", Header(c).GetPhotonCountingThreshold(2)),
    HDR("Threshold4", 67, KVMCF_TYPE_FLOAT, "%g", Header(c).GetPhotonCountingThreshold(3)),
    HDR("NumberThresholds", 68, KVMCF_TYPE_INT32, "%d", Header(c).GetNoThresholds()),
    HDR("AveragingFilterMode", 69, KVMCF_TYPE_INT32, "%d", Header(c).GetAveragingFilterMode()),
    HDR("AveragingFactor", 70, KVMCF_TYPE_INT32, "%d", Header(c).GetAveragingFactor()),
    HDR("FrameCount", 71, KVMCF_TYPE_INT32, "%d", Header(c).GetFrameCount()),
    HDR("NoiseFilter", 72, KVMCF_TYPE_UINT32, "%d", Header(c).GetFilterMode()),
    HDR("Threshold", 73, KVMCF_TYPE_FLOAT, "%g", Header(c).GetThreshold()),
    OUTPUT_ROWS("A", 0, 96),
    OUTPUT_ROWS("B", 1, 100),
    OUTPUT_ROWS("C", 2, 104),
    {"GateMode", 108, Match::Exact, Match::Exact, KVMCF_TYPE_STRING,
     [](const Context& c, Value* v) -> unsigned int {
         // Modes beyond the table write nothing.
         const char* text = TGaterSetting::GetModeText(Intensifier(c).GaterMode);
         if (text) *v = std::string(text);
         return KVMCF_SUCCESS;
     },
     nullptr, nullptr, nullptr},
    HDR("GateWidth", 109, KVMCF_TYPE_UINT64, "%I64u", Intensifier(c).GaterTime0PS),
    HDR("GateDelay", 110, KVMCF_TYPE_UINT64, "%I64u", Intensifier(c).GaterTime1PS),
    HDR("GateDelayStep", 111, KVMCF_TYPE_DOUBLE, "%g", Intensifier(c).DelayStepCoeffA),
    HDR("GateWidthStep", 112, KVMCF_TYPE_DOUBLE, "%g", Intensifier(c).WidthStepCoeffA),
};

#undef HDR
#undef HDR_TYPED
#undef TXT
#undef FIRST_SUB
#undef OUTPUT_ROWS
#undef USB

bool Matches(const char* key, Match match, const char* name) {
    return match == Match::Exact ? std::strcmp(key, name) == 0 : std::strstr(name, key) != nullptr;
}

const std::size_t kRowCount = sizeof kRows / sizeof kRows[0];

// The rows in the type query's order. Because "TimeStamp" is tested before
// "HighPrecisionTimeStamp", every high-precision name is typed as a time stamp.
const std::vector<const Row*>& TypeOrder() {
    static const std::vector<const Row*> order = [] {
        std::vector<const Row*> rows(kRowCount, nullptr);
        for (const Row& row : kRows)
            if (row.typeRank < kRowCount) rows[row.typeRank] = &row;
        return rows;
    }();
    return order;
}

const TypeInfo kTypes[] = {
    {KVMCF_TYPE_INT32, "int32"}, {KVMCF_TYPE_UINT32, "uint32"}, {KVMCF_TYPE_UINT64, "uint64"},
    {KVMCF_TYPE_FLOAT, "float"}, {KVMCF_TYPE_DOUBLE, "double"}, {KVMCF_TYPE_STRING, "string"},
    {kByteCode, "byte"},
};
const std::size_t kTypeCount = sizeof kTypes / sizeof kTypes[0];

}  // namespace

const TypeInfo* Types(std::size_t* count) {
    *count = kTypeCount;
    return kTypes;
}

std::size_t TypeIndex(unsigned int code) {
    for (std::size_t i = 0; i < kTypeCount; ++i)
        if (kTypes[i].code == code) return i;
    return kTypeCount - 1;
}

const Row* ValueRows(std::size_t* count) {
    *count = kRowCount;
    return kRows;
}

const Row* FindForValue(const char* name) {
    for (const Row& row : kRows)
        if (Matches(row.name, row.match, name)) return &row;
    return nullptr;
}

const Row* FindForType(const char* name) {
    for (const Row* row : TypeOrder())
        if (row && Matches(row->name, row->typeMatch, name)) return row;
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
