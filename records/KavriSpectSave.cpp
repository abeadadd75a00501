#include "records/KavriSpectSave.h"

#include <cstring>

#include "records/RecordStream.h"

void TKavriSpectSave::SetDefaults() {
    Present = 0;
    Param1 = 0;
    Param2 = 500.0f;
    Param3 = 0;
    Param4 = 0;
    Param5 = 1200.0f;
    std::memset(Label, 0, sizeof Label);
    std::strcpy(Label, "1200");
    std::memset(Model, 0, sizeof Model);
    std::strcpy(Model, "TK250c");
    for (int i = 0; i < 4; ++i) {
        PortFlag[i] = 0;
        PortValue[i] = 10.0f;
        Extra[i] = 0;
    }
    Option1 = 0;
    Option2 = 0;
    std::memset(Note, 0, sizeof Note);
    for (int& c : Counter) c = 0;
    std::memset(SerialText, 0, sizeof SerialText);
}

std::istream& operator>>(std::istream& is, TKavriSpectSave& s) {
    unsigned int version = 0;
    RecordStream::Read(is, version);
    const unsigned int M = RecordStream::Major(version);
    const unsigned int m = RecordStream::Minor(version);
    // Any major with minor 5 or more: nothing more is known, whatever follows.
    if (m >= 5) return is;

    RecordStream::Read(is, s.Present);
    RecordStream::Read(is, s.Param1);
    RecordStream::Read(is, s.Param2);
    RecordStream::Read(is, s.Param3);
    RecordStream::Read(is, s.Param4);
    RecordStream::Read(is, s.Param5);
    RecordStream::ReadTokenText(is, s.Label, sizeof s.Label);
    RecordStream::Read(is, s.PortFlag[0]);
    RecordStream::Read(is, s.PortValue[0]);
    RecordStream::Read(is, s.Extra[1]);
    RecordStream::Read(is, s.Extra[3]);
    RecordStream::Read(is, s.Option1);
    RecordStream::Read(is, s.Option2);
    RecordStream::ReadCountedText(is, s.Note, sizeof s.Note);
    for (int i = 0; i < 5; ++i) RecordStream::Read(is, s.Counter[i]);
    RecordStream::Read(is, s.PortFlag[2]);
    RecordStream::Read(is, s.PortValue[2]);
    if (m != 0 || M >= 2) RecordStream::Read(is, s.Counter[5]);
    if (m > 1 || M >= 2) RecordStream::ReadLineText(is, s.Model, sizeof s.Model - 1);
    if (m > 2 || M >= 2) {
        RecordStream::Read(is, s.PortFlag[1]);
        RecordStream::Read(is, s.PortValue[1]);
        RecordStream::Read(is, s.PortFlag[3]);
        RecordStream::Read(is, s.PortValue[3]);
    }
    if (m >= 4 || M >= 2) {
        RecordStream::Read(is, s.Extra[0]);
        RecordStream::Read(is, s.Extra[2]);
    }
    return is;
}

std::ostream& operator<<(std::ostream& os, TKavriSpectSave& s) {
    os << TKavriSpectSave::kVersionWritten << ' ' << s.Present << ' ' << s.Param1 << ' ' << s.Param2 << ' ' << s.Param3
       << ' ' << s.Param4 << ' ' << s.Param5 << ' ';
    // The space above is the byte the reader drops before the token.
    os << s.Label << '\n';
    os << s.PortFlag[0] << ' ' << s.PortValue[0] << '\n';
    os << s.Extra[1] << ' ' << s.Extra[3] << ' ';
    os << s.Option1 << ' ' << s.Option2 << ' ';
    RecordStream::WriteCountedText(os, s.Note);
    os << ' ';
    for (int i = 0; i < 5; ++i) os << s.Counter[i] << ' ';
    os << s.PortFlag[2] << ' ' << s.PortValue[2] << '\n';
    os << s.Counter[5] << ' ' << s.Model << '\n';
    os << s.PortFlag[1] << ' ' << s.PortValue[1] << '\n';
    os << s.PortFlag[3] << ' ' << s.PortValue[3] << '\n';
    os << s.Extra[0] << ' ' << s.Extra[2] << ' ';
    return os;
}
