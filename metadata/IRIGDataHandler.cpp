#include "metadata/IRIGDataHandler.h"

#include <cstdio>
#include <ctime>

namespace {
// Each frame's text also carries a final zero value after its block.
constexpr std::size_t kValuesPerFrame = TIRIGDataHandler::kBlockBytes + 1;

struct BitWeight {
    int bit;
    int weight;
};

// Binary-coded decimal fields of the time code.
constexpr BitWeight kSeconds[] = {{1, 1}, {2, 2}, {3, 4}, {4, 8}, {6, 10}, {7, 20}, {8, 40}};
constexpr BitWeight kMinutes[] = {{10, 1}, {11, 2}, {12, 4}, {13, 8}, {15, 10}, {16, 20}, {17, 40}};
constexpr BitWeight kHours[] = {{20, 1}, {21, 2}, {22, 4}, {23, 8}, {25, 10}, {26, 20}};
constexpr BitWeight kDayOfYear[] = {{30, 1},  {31, 2},  {32, 4},  {33, 8},   {35, 10},
                                    {36, 20}, {37, 40}, {38, 80}, {40, 100}, {41, 200}};
constexpr BitWeight kYearOfCentury[] = {{50, 1}, {51, 2}, {52, 4}, {53, 8}, {55, 10}, {56, 20}, {57, 40}, {58, 80}};

int Bit(const unsigned char* block, int k) {
    return (block[k / 8] >> (k % 8)) & 1;
}

template <std::size_t N>
int Decimal(const unsigned char* block, const BitWeight (&weights)[N]) {
    int value = 0;
    for (const BitWeight& w : weights) value += Bit(block, w.bit) * w.weight;
    return value;
}

unsigned int Binary(const unsigned char* block, int first, int count) {
    unsigned int value = 0;
    for (int i = count - 1; i >= 0; --i) value = (value << 1) | Bit(block, first + i);
    return value;
}

// Months from 0; a day of year past December runs on in 31-day months.
int MonthLength(int month, int year) {
    if (month == 1) return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0 ? 29 : 28;
    if (month == 3 || month == 5 || month == 8 || month == 10) return 30;
    return 31;
}
}  // namespace

TIRIGDataHandler& TIRIGDataHandler::operator=(const TIRIGDataHandler& other) {
    if (this == &other) return *this;
    seriesLength = other.seriesLength;
    CreateIRIGArray(seriesLength);
    for (int frame = 0; frame < seriesLength; ++frame) SetIRIGData(frame, other.GetIRIGData(frame));
    allFramesText = other.allFramesText;
    return *this;
}

void TIRIGDataHandler::SetSeriesLength(int n) {
    if (n == seriesLength) return;
    DeleteIRIGArray(seriesLength);
    seriesLength = n;
    CreateIRIGArray(n);
}

void TIRIGDataHandler::CreateIRIGArray(int frames) {
    allFramesText.clear();
    frameText.clear();
    blocks.Recreate(frames, kValuesPerFrame);
}

void TIRIGDataHandler::DeleteIRIGArray(int) {
    allFramesText.clear();
    frameText.clear();
    blocks.Recreate(0, kValuesPerFrame);
}

void TIRIGDataHandler::SetIRIGData(int frame, const unsigned char* block) {
    // The byte behind the block stays zero.
    blocks.Store(frame, block, kBlockBytes);
}

const char* TIRIGDataHandler::GetAllIRIGDataAsHex() {
    allFramesText.clear();
    if (blocks.Exists()) {
        for (int frame = 0; frame < seriesLength; ++frame)
            blocks.AppendFrameText(allFramesText, frame, kBlockBytes, kValuesPerFrame);
    }
    return allFramesText.c_str();
}

const char* TIRIGDataHandler::GetFrameIRIGDataAsHex(int frame) {
    frameText.clear();
    // A frame equal to the series length has no block and prints as zeros.
    if (blocks.Exists() && frame >= 0 && frame <= seriesLength)
        blocks.AppendFrameText(frameText, frame, kBlockBytes, kValuesPerFrame);
    return frameText.c_str();
}

void TIRIGDataHandler::SetAllIRIGDataAsHex(const unsigned char* text) {
    if (!blocks.Exists() || text == nullptr) return;
    allFramesText = reinterpret_cast<const char*>(text);
    ParseIRIGData();
}

void TIRIGDataHandler::ParseIRIGData() {
    blocks.ParseText(allFramesText.c_str(), kBlockBytes, kBlockBytes);
}

TIRIGTimeCode TIRIGDataHandler::DecodeIRIGBlock(const unsigned char* block) {
    TIRIGTimeCode t;
    if (block == nullptr) return t;
    t.Seconds = Decimal(block, kSeconds);
    t.Minutes = Decimal(block, kMinutes);
    t.Hours = Decimal(block, kHours);
    t.DayOfYear = Decimal(block, kDayOfYear);
    t.YearOfCentury = Decimal(block, kYearOfCentury);
    t.Hundredths = static_cast<int>(Binary(block, 100, 8));
    t.SubCount = Binary(block, 108, 20);
    return t;
}

void TIRIGDataHandler::DaysToMonths(int* day, int* month, int year) {
    if (day == nullptr || month == nullptr) return;
    int d = *day;
    int m = 0;
    int last = 0;
    while (d > 0) {
        last = MonthLength(m, year);
        d -= last;
        ++m;
    }
    *month = m;
    *day = d + last;
}

void TIRIGDataHandler::GetTranslatedIRIGData(unsigned char* out, int frame, std::size_t size) const {
    if (out == nullptr || size == 0 || !isInRange(frame) || !blocks.Holds(frame)) return;
    out[0] = '\0';
    const TIRIGTimeCode code = DecodeIRIGBlock(GetIRIGData(frame));

    int day = code.DayOfYear;
    int month = 0;
    DaysToMonths(&day, &month, 2000 + code.YearOfCentury);
    // Later years do not fit a 32-bit calendar time.
    const int year = code.YearOfCentury > 37 ? 37 : code.YearOfCentury;
    if (code.Seconds == 0 && code.Minutes == 0 && code.Hours == 0 && day == 0 && month == 0 && year == 0) return;

    std::tm fields{};
    fields.tm_sec = code.Seconds;
    fields.tm_min = code.Minutes;
    fields.tm_hour = code.Hours;
    fields.tm_mday = day;
    fields.tm_mon = month - 1;
    fields.tm_year = year + 100;
    const std::time_t when = std::mktime(&fields);
    std::tm local{};
    if (localtime_r(&when, &local) == nullptr) return;

    const float ms = 10.0f * static_cast<float>(code.Hundredths) + static_cast<float>(10.0 * code.SubCount * 1e-6);
    static const char* const kDays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
    static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    // The calendar text with the milliseconds behind the seconds.
    std::snprintf(reinterpret_cast<char*>(out), size, "%.3s %.3s%3d %.2d:%.2d:%.2d.%03d %d\n",
                  kDays[(local.tm_wday % 7 + 7) % 7], kMonths[(local.tm_mon % 12 + 12) % 12], local.tm_mday,
                  local.tm_hour, local.tm_min, local.tm_sec, static_cast<int>(ms), 1900 + local.tm_year);
}
