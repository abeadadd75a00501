#include "records/UserText.h"

#include <algorithm>
#include <cstring>

#include "records/RecordStream.h"

TUserText::TUserText(const TUserText& other) { *this = other; }

TUserText& TUserText::operator=(const TUserText& other) {
    if (this == &other) return *this;
    Length = other.Length;
    std::memcpy(Buffer, other.Buffer, kCapacity);
    Buffer[kCapacity] = '\0';
    return *this;
}

int TUserText::ClearText() {
    Length = 0;
    std::memset(Buffer, 0, sizeof Buffer);
    return 0;
}

unsigned int TUserText::AddText(const char* text, unsigned int n) {
    const unsigned int k = std::min(kCapacity - Length, n);
    if (k != 0) {
        std::memcpy(Buffer + Length, text, k);
        Length += k;
        Buffer[Length] = '\0';
    }
    Length = static_cast<unsigned int>(std::strlen(Buffer));
    return k;
}

unsigned int TUserText::SetText(const char* text, unsigned int n) {
    ClearText();
    return AddText(text, n);
}

unsigned int TUserText::GetText(char* dst, unsigned int capacity) const {
    const unsigned int k = std::min(Length + 1, capacity);
    if (k == 0) return 0;
    std::memcpy(dst, Buffer, k);
    dst[k - 1] = '\0';
    return k;
}

std::istream& operator>>(std::istream& is, TUserText& t) {
    t.ClearText();
    unsigned int version = 0;
    unsigned int n = 0;
    RecordStream::Read(is, version);
    RecordStream::Read(is, n);
    // All n bytes are consumed; only what fits is kept, so no buffer follows n.
    char kept[TUserText::kCapacity + 1] = {};
    RecordStream::ReadCountedBytes(is, n, kept, sizeof kept);
    t.AddText(kept, std::min(n, TUserText::kCapacity));
    return is;
}

std::ostream& operator<<(std::ostream& os, TUserText& t) {
    os << TUserText::kVersionWritten << ' ' << TUserText::kCapacity << '\n';
    // The whole buffer, whatever the text's length: readers expect 2048 bytes.
    os.write(t.Buffer, TUserText::kCapacity);
    return os;
}
