#include "metadata/FrameBlobStore.h"

#include <algorithm>
#include <cstring>

namespace {
int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

void AppendHex(std::string& text, unsigned char value) {
    static const char kDigits[] = "0123456789abcdef";
    if (value >= 16) text += kDigits[value >> 4];
    text += kDigits[value & 15];
    text += ',';
}
}  // namespace

void TFrameBlobStore::Recreate(int frameCount, std::size_t bytesPerFrame) {
    blobs.clear();
    blobs.shrink_to_fit();
    frames = 0;
    bytes = 0;
    // Callers of Frame() read a whole blob even from frames the store lacks.
    zeros.assign(std::max<std::size_t>(1, std::min(bytesPerFrame, kMaxTotalBytes)), 0);
    if (frameCount < 1 || bytesPerFrame < 1 || bytesPerFrame > kMaxTotalBytes / frameCount) return;
    frames = frameCount;
    bytes = bytesPerFrame;
    blobs.assign(bytes * frames, 0);
}

const unsigned char* TFrameBlobStore::Frame(int frame) const {
    if (!Holds(frame)) return zeros.data();
    return blobs.data() + bytes * frame;
}

void TFrameBlobStore::Store(int frame, const unsigned char* src, std::size_t count) {
    if (!Holds(frame) || src == nullptr) return;
    std::memcpy(blobs.data() + bytes * frame, src, std::min(count, bytes));
}

void TFrameBlobStore::AppendFrameText(std::string& text, int frame, std::size_t taken, std::size_t count) const {
    if (!Holds(frame)) taken = 0;
    taken = std::min(taken, bytes);
    const unsigned char* blob = Frame(frame);
    for (std::size_t i = 0; i < count; ++i) AppendHex(text, i < taken ? blob[i] : 0);
    text += '|';
}

void TFrameBlobStore::ParseText(const char* text, std::size_t valuesPerFrame, std::size_t stored) {
    if (text == nullptr || !Exists()) return;
    stored = std::min(stored, bytes);
    // Values land in a zeroed scratch blob, so a short frame leaves the rest zero.
    std::vector<unsigned char> scratch(std::max(valuesPerFrame, stored), 0);
    int frame = 0;
    const char* p = text;
    while (*p != '\0' && frame < frames) {
        if (*p == '|') {  // empty frame
            ++p;
            continue;
        }
        std::fill(scratch.begin(), scratch.end(), 0);
        std::size_t values = 0;
        while (*p != '\0' && *p != '|') {
            if (*p == ',') {  // empty value
                ++p;
                continue;
            }
            const unsigned char value = HexToByte(p);
            if (values < valuesPerFrame) scratch[values] = value;
            ++values;
            while (*p != '\0' && *p != '|' && *p != ',') ++p;
        }
        Store(frame, scratch.data(), stored);
        ++frame;
    }
}

unsigned char TFrameBlobStore::HexToByte(const char* text) {
    if (text == nullptr) return 0;
    const char* p = text;
    while (*p == ' ' || (*p >= '\t' && *p <= '\r')) ++p;
    bool negative = false;
    if (*p == '+' || *p == '-') negative = (*p++ == '-');
    if (p[0] == '0' && (p[1] == 'x' || p[1] == 'X') && HexDigit(p[2]) >= 0) p += 2;
    if (HexDigit(*p) < 0) return 0;
    unsigned int value = 0;
    for (; HexDigit(*p) >= 0; ++p) value = ((value << 4) | HexDigit(*p)) & 0xFFFFu;
    if (negative) value = (0x10000u - value) & 0xFFFFu;
    return static_cast<unsigned char>(value & 0xFF);
}
