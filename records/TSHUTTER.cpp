#include "records/TSHUTTER.h"

#include "records/RecordStream.h"

namespace {
// Modes 1, 2 and 3 are the ones that need no dynamic control.
bool IsFixedMode(char m) { return m == 1 || m == 2 || m == 3; }
}  // namespace

TShutter::TShutter()
    : Type(1),
      Mode(0),
      CustomBgMode(2),
      CustomMode(0),
      ClosingTime(0.0f),
      OpeningTime(0.0f),
      FreqLimit(0.0f),
      FreqLimitEnabled(false),
      ExternalMode(1),
      ExternalType(1),
      DynamicShutterControl(true),
      SavedMode(0) {}

void TShutter::SetMode(char m) {
    if (!DynamicShutterControl && !IsFixedMode(m)) {
        SavedMode = m;
        return;
    }
    Mode = m;
}

void TShutter::SetDynamicShutterControl(bool b) {
    if (DynamicShutterControl && !b) {
        SavedMode = Mode;
        if (!IsFixedMode(Mode)) Mode = 2;
    } else if (!DynamicShutterControl && b) {
        Mode = SavedMode;
    }
    DynamicShutterControl = b;
}

std::istream& operator>>(std::istream& is, TShutter& s) {
    unsigned int version = 0;
    RecordStream::Read(is, version);
    // Formatted char reads: unlike the header's raw bytes these skip whitespace.
    RecordStream::Read(is, s.Type);
    RecordStream::Read(is, s.Mode);
    RecordStream::Read(is, s.CustomBgMode);
    RecordStream::Read(is, s.CustomMode);
    RecordStream::Read(is, s.ClosingTime);
    s.OpeningTime = s.ClosingTime;
    // Only exactly 1.2 carries an opening time; every other version, newer ones too,
    // has a single time for both.
    if (RecordStream::Major(version) == 1 && RecordStream::Minor(version) == 2) RecordStream::Read(is, s.OpeningTime);
    return is;
}

std::ostream& operator<<(std::ostream& os, TShutter& s) {
    os << TShutter::kVersionWritten << ' ';
    RecordStream::WriteRawByte(os, static_cast<unsigned char>(s.Type));
    os << ' ';
    RecordStream::WriteRawByte(os, static_cast<unsigned char>(s.Mode));
    os << ' ';
    RecordStream::WriteRawByte(os, static_cast<unsigned char>(s.CustomBgMode));
    os << ' ';
    RecordStream::WriteRawByte(os, static_cast<unsigned char>(s.CustomMode));
    os << ' ' << s.ClosingTime << ' ' << s.OpeningTime;
    return os;
}
