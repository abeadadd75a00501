#include "records/RecordStream.h"

#include <algorithm>
#include <cstring>

#include "records/StreamBounds.h"

namespace RecordStream {

std::istream& SkipSeparator(std::istream& is) {
    is.get();
    return is;
}

std::istream& ReadRawByte(std::istream& is, unsigned char& value) {
    char c = 0;
    is.get();
    if (is.get(c)) value = static_cast<unsigned char>(c);
    return is;
}

std::istream& ReadRawByte(std::istream& is, char& value) {
    unsigned char u = static_cast<unsigned char>(value);
    ReadRawByte(is, u);
    value = static_cast<char>(u);
    return is;
}

std::istream& ReadCountedBytes(std::istream& is, long long length, char* dest, std::size_t capacity) {
    is.get();
    if (capacity == 0) return is;
    dest[0] = '\0';
    if (length <= 0 || !is) return is;

    const long long keep = std::min<long long>(length, static_cast<long long>(capacity - 1));
    is.read(dest, keep);
    const long long got = is.gcount();
    dest[got] = '\0';
    if (got < keep) return is;  // read() has failed the stream already

    // Consume the rest in bounded steps; a short tail fails the stream like a short read.
    long long rest = length - keep;
    while (rest > 0 && is) {
        const std::streamsize step = static_cast<std::streamsize>(std::min<long long>(rest, 1 << 20));
        is.ignore(step);
        if (is.gcount() < step) {
            is.setstate(std::ios::failbit);
            break;
        }
        rest -= step;
    }
    return is;
}

std::istream& ReadCountedText(std::istream& is, char* dest, std::size_t capacity) {
    int length = 0;
    if (!Read(is, length)) {
        if (capacity) dest[0] = '\0';
        return is;
    }
    return ReadCountedBytes(is, length, dest, capacity);
}

std::istream& ReadCountedTextUnsigned(std::istream& is, char* dest, std::size_t capacity) {
    unsigned int length = 0;
    if (!Read(is, length)) {
        if (capacity) dest[0] = '\0';
        return is;
    }
    return ReadCountedBytes(is, length, dest, capacity);
}

std::istream& ReadTokenText(std::istream& is, char* dest, std::size_t capacity) {
    if (capacity) dest[0] = '\0';
    is.get();
    std::size_t n = 0;
    char c = 0;
    while (is.good() && is.get(c)) {
        if (c == '\n' || c == ' ') break;
        if (n + 1 < capacity) dest[n++] = c;
    }
    if (capacity) dest[n] = '\0';
    return is;
}

std::istream& ReadLineText(std::istream& is, char* dest, std::size_t maxChars) {
    dest[0] = '\0';
    is.get();
    is.getline(dest, static_cast<std::streamsize>(maxChars + 1));
    return is;
}

std::ostream& WriteCountedText(std::ostream& os, const char* text) {
    const std::size_t n = std::strlen(text);
    os << n << ' ';
    os.write(text, static_cast<std::streamsize>(n));
    return os;
}

std::ostream& WriteRawByte(std::ostream& os, unsigned char value) {
    os.put(static_cast<char>(value));
    return os;
}

int PadFile(std::ostream& os, unsigned int count) {
    char spaces[1024];
    std::memset(spaces, ' ', sizeof spaces);
    spaces[1023] = '\n';
    while (count >= 1024) {
        os.write(spaces, 1024);
        count -= 1024;
    }
    if (count > 0) {
        os.write(spaces, count - 1);
        os.put('\n');
    }
    return 0;
}

namespace {

int TrailWord() {
    static const int index = std::ios_base::xalloc();
    return index;
}

// The row in slices of a sixteenth of what is left, each after telling the buffer the
// text that still lies ahead: a slice of numbers of at most 20 digits stays within it.
template <class T>
std::istream& ReadInSlices(std::istream& is, T* values, std::size_t n) {
    std::size_t done = 0;
    while (done < n && !is.fail()) {
        const std::size_t left = n - done;
        TextAhead(is, 2ULL * left);
        const std::size_t slice = left < 16 ? 1 : left / 16;
        ReadArray(is, values + done, slice);
        done += slice;
    }
    return is;
}

template <class T>
std::istream& NamedArray(std::istream& is, const char* name, T* values, std::size_t n) {
    Trail* trail = Following(is);
    if (!trail || trail->ended || is.fail() || n == 0) return ReadInSlices(is, values, n);
    Field(is, name, 0);
    if (trail->ended) return ReadInSlices(is, values, n);  // its first element fails
    const std::streampos start = is.tellg();
    ReadInSlices(is, values, n);
    if (!is.fail() || start == std::streampos(-1)) return is;
    // Which element failed: read again one at a time, then stand where reading stopped.
    const std::ios::iostate state = is.rdstate();
    is.clear();
    const std::streampos stop = is.tellg();
    is.seekg(start);
    T scratch{};
    std::size_t i = 0;
    while (i + 1 < n && Read(is, scratch)) ++i;
    trail->index = static_cast<long long>(i);
    is.clear();
    is.seekg(stop);
    is.setstate(state);
    return is;
}

}  // namespace

void Follow(std::istream& is, Trail* trail) { is.pword(TrailWord()) = trail; }

Trail* Following(std::istream& is) { return static_cast<Trail*>(is.pword(TrailWord())); }

void Mark(std::istream& is, const char* name) {
    Trail* trail = Following(is);
    if (!trail || trail->ended || is.fail()) return;
    is >> std::ws;  // what the number's own read skips first
    Field(is, name);
    if (is.good()) trail->mark = static_cast<long long>(is.tellg());
}

std::istream& ReadNamedArray(std::istream& is, const char* name, unsigned int* values, std::size_t n) {
    return NamedArray(is, name, values, n);
}

std::istream& ReadNamedArray(std::istream& is, const char* name, unsigned long long* values, std::size_t n) {
    return NamedArray(is, name, values, n);
}

void TextAhead(std::istream& is, unsigned long long bytes) {
    if (auto* sb = dynamic_cast<TExposedStreamBuf*>(is.rdbuf())) sb->TextAhead(bytes);
}

std::istream& Refuse(std::istream& is) {
    is.setstate(std::ios::failbit);
    return is;
}

bool HoldsBlock(std::istream& is, const char* name, unsigned long long count, unsigned long long size) {
    Field(is, name);
    if (StreamBounds::HoldsItems(is, count, size)) return true;
    Trail* trail = Following(is);
    if (trail && trail->field == name && !is.fail()) {
        const long long left = Remaining(is);
        const unsigned long long whole = left < 0 ? 0 : static_cast<unsigned long long>(left) / size;
        trail->index = static_cast<long long>(std::min(whole, count));
        trail->mark = static_cast<long long>(is.tellg());
        trail->items = count;
        trail->itemBytes = size;
    }
    Refuse(is);
    return false;
}

std::istream& SkipBlock(std::istream& is, unsigned long long count, unsigned long long size) {
    if (count > 0 && size > 0) is.seekg(static_cast<std::streamoff>(count * size), std::ios::cur);
    return is;
}

std::istream& ReadBytes(std::istream& is, char* dest, unsigned long long size) {
    return is.read(dest, static_cast<std::streamsize>(size));
}

long long StopOffset(std::istream& is) {
    const std::ios::iostate state = is.rdstate();
    is.clear();
    const long long here = static_cast<long long>(is.tellg());
    is.setstate(state);
    return here;
}

long long Remaining(std::istream& is) {
    if (!is) return -1;
    std::streambuf* sb = is.rdbuf();
    if (!sb) return -1;
    const std::streampos here = sb->pubseekoff(0, std::ios::cur, std::ios::in);
    if (here == std::streampos(-1)) return -1;
    const std::streampos end = sb->pubseekoff(0, std::ios::end, std::ios::in);
    sb->pubseekpos(here, std::ios::in);
    if (end == std::streampos(-1)) return -1;
    return static_cast<long long>(end - here);
}

}  // namespace RecordStream
