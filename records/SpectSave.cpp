#include "records/SpectSave.h"

#include <cstring>

#include "records/RecordStream.h"

void TSpectSave::SetDefaults() {
    Present = 0;
    Value1 = 500.0f;
    Value2 = 1200.0f;
    Value3 = 999.0f;
    Value4 = 999.0f;
    std::memset(Description, 0, sizeof Description);
    std::memset(SerialText, 0, sizeof SerialText);
    DirectIrisPresent = 0;
    SideIrisPresent = 0;
    DirectIrisPosition = -1;
    SideIrisPosition = -1;
}

std::istream& operator>>(std::istream& is, TSpectSave& s) {
    unsigned int version = 0;
    RecordStream::Read(is, version);
    const unsigned int M = RecordStream::Major(version);
    const unsigned int m = RecordStream::Minor(version);

    RecordStream::Read(is, s.Present);
    if (M != 0) {
        RecordStream::Read(is, s.Value1);
        RecordStream::Read(is, s.Value2);
        RecordStream::ReadCountedText(is, s.Description, sizeof s.Description);
    }
    // Version 0.m with m not 0 skips the block above yet has these two.
    if (M > 1 || m != 0) {
        RecordStream::Read(is, s.Value3);
        RecordStream::Read(is, s.Value4);
    }
    return is;
}

std::ostream& operator<<(std::ostream& os, TSpectSave& s) {
    os << TSpectSave::kVersionWritten << ' ' << s.Present << ' ' << s.Value1 << ' ' << s.Value2 << '\n';
    // The text runs straight into the next number: the reader takes exactly its bytes.
    RecordStream::WriteCountedText(os, s.Description);
    os << s.Value3 << ' ' << s.Value4 << '\n';
    return os;
}
