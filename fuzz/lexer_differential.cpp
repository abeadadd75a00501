// The record lexer against formatted extraction on the same bytes: every read must
// store the same value bits, set the same state bits and stop at the same byte.
// The lexer reads in place from a buffer of exactly the input's size, whole or in
// windows of a few bytes, so a read past its end is caught by the sanitizer.
#include <cstdint>
#include <cstring>
#include <memory>
#include <sstream>
#include <string>

#include "api/MemoryStream.h"
#include "fuzz/FuzzSupport.h"
#include "records/RecordStream.h"

namespace {

// Shows its bytes through a window of `chunk` bytes that moves on at each refill.
class ChunkedBuf : public TExposedStreamBuf {
public:
    ChunkedBuf(char* data, std::size_t size, std::size_t chunk) : end_(data + size), chunk_(chunk) {
        setg(data, data, data);
    }

protected:
    int_type underflow() override {
        if (gptr() < egptr()) return traits_type::to_int_type(*gptr());
        if (gptr() == end_) return traits_type::eof();
        const std::size_t left = static_cast<std::size_t>(end_ - gptr());
        setg(gptr(), gptr(), gptr() + (left < chunk_ ? left : chunk_));
        return traits_type::to_int_type(*gptr());
    }
    pos_type seekoff(off_type, std::ios_base::seekdir, std::ios_base::openmode) override {
        return pos_type(off_type(-1));
    }

private:
    char* end_;
    std::size_t chunk_;
};

struct Pair {
    std::istream& lexed;
    std::istream& formatted;
    const char* begin;  // of the lexer's bytes, to tell where it stopped

    long long LexedAt() const { return lexed.rdbuf()->sgetc() == EOF ? -1 : Where(); }
    long long Where() const {
        // The get pointer of either kind of buffer: the next byte's address.
        auto* exposed = static_cast<TExposedStreamBuf*>(lexed.rdbuf());
        return exposed->ReadBegin() - begin;
    }
    long long FormattedAt() const {
        return formatted.rdbuf()->sgetc() == EOF ? -1
                                                 : static_cast<long long>(formatted.rdbuf()->pubseekoff(
                                                       0, std::ios::cur, std::ios::in));
    }
    void Same(const char* what) const {
        if (lexed.rdstate() != formatted.rdstate())
            kvmcffuzz::Fail(std::string(what) + ": state " + std::to_string(lexed.rdstate()) + " against " +
                            std::to_string(formatted.rdstate()));
        if (LexedAt() != FormattedAt())
            kvmcffuzz::Fail(std::string(what) + ": stopped at " + std::to_string(LexedAt()) + " against " +
                            std::to_string(FormattedAt()));
    }
};

// What neither read stores unless it stores something: "Z", true, 23130.
template <class T>
constexpr T kUnread = static_cast<T>(0x5A5A);

template <class T>
void One(const Pair& p, const char* name) {
    T a = kUnread<T>, b = kUnread<T>;
    RecordStream::Read(p.lexed, a);
    RecordStream::ReadFormatted(p.formatted, b);
    if (std::memcmp(&a, &b, sizeof a) != 0) kvmcffuzz::Fail(std::string(name) + ": values differ");
    p.Same(name);
}

template <class T>
void Array(const Pair& p, std::size_t n, const char* name) {
    T a[4], b[4];
    for (std::size_t i = 0; i < 4; ++i) a[i] = b[i] = kUnread<T>;
    RecordStream::ReadArray(p.lexed, a, n);
    for (std::size_t i = 0; i < n; ++i) RecordStream::ReadFormatted(p.formatted, b[i]);
    if (std::memcmp(a, b, sizeof a) != 0) kvmcffuzz::Fail(std::string(name) + ": values differ");
    p.Same(name);
}

}  // namespace

// The first byte chooses the buffer (whole, or windows of 1 to 17 bytes) and where
// the sequence of field types starts; the rest is the text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    static const std::size_t windows[8] = {0, 1, 2, 3, 5, 9, 12, 17};
    const std::size_t chunk = windows[data[0] & 7u];
    const unsigned start = data[0] >> 3;
    const std::size_t n = size - 1;
    std::unique_ptr<char[]> bytes(new char[n]);
    if (n > 0) std::memcpy(bytes.get(), data + 1, n);

    TMemoryStreamBuf memory(bytes.get(), n);
    ChunkedBuf chunked(bytes.get(), n, chunk);
    std::istream lexed(chunk == 0 ? static_cast<std::streambuf*>(&memory) : &chunked);
    std::istringstream formatted(std::string(bytes.get(), n));
    const Pair p{lexed, formatted, bytes.get()};

    for (unsigned i = 0; i < 64 && formatted.good(); ++i) {
        switch ((start + i) % 13) {
            case 0: One<int>(p, "int"); break;
            case 1: One<unsigned int>(p, "unsigned int"); break;
            case 2: One<long>(p, "long"); break;
            case 3: One<unsigned long>(p, "unsigned long"); break;
            case 4: One<long long>(p, "long long"); break;
            case 5: One<unsigned long long>(p, "unsigned long long"); break;
            case 6: One<float>(p, "float"); break;
            case 7: One<double>(p, "double"); break;
            case 8: One<bool>(p, "bool"); break;
            case 9: One<char>(p, "char"); break;
            case 10: Array<unsigned int>(p, 1 + i % 4, "unsigned int array"); break;
            case 11: Array<unsigned long long>(p, 1 + i % 4, "unsigned long long array"); break;
            default: Array<unsigned int>(p, 0, "empty array"); break;
        }
    }
    // Once failed, both stay failed and read nothing more.
    One<double>(p, "after the end");
    return 0;
}
