// The record lexer must give what formatted extraction gives: value bits, state bits
// and bytes consumed, for every field type, on every kind of stream.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "api/MemoryStream.h"
#include "records/RecordStream.h"

namespace {

// Shows its text through a window of `chunk` bytes that moves on at each refill, so
// numbers cross refills at every place; the lexer reads this one in place.
class ChunkedBuf : public TExposedStreamBuf {
public:
    ChunkedBuf(const std::string& text, std::size_t chunk) : text_(text), chunk_(chunk) {
        setg(&text_[0], &text_[0], &text_[0]);
    }
    long Taken() const { return static_cast<long>(gptr() - text_.data()); }

protected:
    int_type underflow() override {
        if (gptr() < egptr()) return traits_type::to_int_type(*gptr());
        char* end = &text_[0] + text_.size();
        if (gptr() == end) return traits_type::eof();
        setg(gptr(), gptr(), gptr() + std::min<std::size_t>(chunk_, static_cast<std::size_t>(end - gptr())));
        return traits_type::to_int_type(*gptr());
    }

private:
    std::string text_;
    std::size_t chunk_;
};

// Where the lexer reads from: byte by byte, in place one or eleven bytes at a time
// (long enough for whole blocks of digits), or in place from the library's memory buffer.
enum class Via { Bytes, InPlace1, InPlace11, Memory };
constexpr Via kVias[] = {Via::Bytes, Via::InPlace1, Via::InPlace11, Via::Memory};

// A text behind the buffer `via` names, read by `read`; gives the stream's state and
// how many bytes were taken.
template <class Read>
std::pair<std::ios::iostate, long> Run(const std::string& text, Via via, std::ios::iostate before, Read read) {
    std::stringbuf bytes(text);
    ChunkedBuf chunked(text, via == Via::InPlace1 ? 1 : 11);
    TMemoryStreamBuf memory(text.data(), text.size());
    std::streambuf* buf = via == Via::Bytes ? static_cast<std::streambuf*>(&bytes) : &memory;
    if (via == Via::InPlace1 || via == Via::InPlace11) buf = &chunked;
    std::istream is(buf);
    is.setstate(before);
    read(is);
    const long taken = buf == &chunked ? chunked.Taken() : static_cast<long>(buf->pubseekoff(0, std::ios::cur, std::ios::in));
    return {is.rdstate(), taken};
}

template <class T>
struct Outcome {
    T value;
    std::ios::iostate state;
    long taken;
    bool operator==(const Outcome& o) const {
        return std::memcmp(&value, &o.value, sizeof value) == 0 && state == o.state && taken == o.taken;
    }
};

// A value no read of these texts stores, to show whether a read stored anything.
template <class T>
T Unread() {
    if constexpr (std::is_same_v<T, bool>) return true;
    T value;
    std::memset(&value, 0x5A, sizeof value);
    return value;
}

template <class T>
Outcome<T> Lex(const std::string& text, bool lexer, std::ios::iostate before = std::ios::goodbit, Via via = Via::Bytes) {
    T value = Unread<T>();
    const auto [state, taken] = Run(text, via, before, [&](std::istream& is) {
        lexer ? RecordStream::Read(is, value) : RecordStream::ReadFormatted(is, value);
    });
    return {value, state, taken};
}

template <class T>
void ExpectSame(const std::string& text, std::ios::iostate before = std::ios::goodbit) {
    const Outcome<T> formatted = Lex<T>(text, false, before);
    for (Via via : kVias) {
        const Outcome<T> lexed = Lex<T>(text, true, before, via);
        ASSERT_TRUE(lexed == formatted) << "\"" << text << "\" type size " << sizeof(T) << " via " << int(via)
                                        << ": taken " << lexed.taken << " vs " << formatted.taken;
    }
}

template <class... Ts>
void ExpectSameForAll(const std::string& text) {
    (ExpectSame<Ts>(text), ...);
    (ExpectSame<Ts>(text, std::ios::failbit), ...);
}

#define ALL_TYPES int, unsigned int, long, unsigned long, long long, unsigned long long, float, double, bool, char

}  // namespace

// The lexer against an outcome worked out by hand, and every type against formatted extraction.
template <class T>
void Expect(const std::string& text, T value, std::ios::iostate state, long taken) {
    EXPECT_TRUE((Lex<T>(text, true) == Outcome<T>{value, state, taken})) << "text \"" << text << '"';
    ExpectSameForAll<ALL_TYPES>(text);
}

TEST(RecordLexer, HandWorkedCasesMatchTheRules) {
    constexpr auto good = std::ios::goodbit, fail = std::ios::failbit, eof = std::ios::eofbit;
    // "-1" negates in unsigned arithmetic; overflow stores the bound and fails.
    Expect<unsigned>("-1 ", 4294967295u, good, 2);
    Expect<unsigned>("-4294967296", 4294967295u, fail | eof, 11);
    Expect<int>(" -2147483649x", -2147483647 - 1, fail, 12);
    Expect<int>("99999999999999999999", 2147483647, fail | eof, 20);
    Expect<long>("-9223372036854775808", -9223372036854775807L - 1, eof, 20);
    // No hex prefix: "0x1A" is 0 followed by 'x'; a lone sign is consumed and fails.
    Expect<int>("\r\n\t0x1A", 0, good, 4);
    Expect<int>("+ 5", 0, fail, 1);
    // Bools: only 0 and 1; "2" stores true and fails.
    Expect<bool>("2", true, fail | eof, 1);
    Expect<bool>("01\n", true, good, 2);
    // Floats: "1." and ".5" are numbers, "1e" is not (both bytes taken), "inf" takes nothing.
    Expect<double>("1.", 1.0, eof, 2);
    Expect<double>("+.5e-3 ", 0.0005, good, 6);
    Expect<double>("1e ", 0.0, fail, 2);
    Expect<double>("inf", 0.0, fail, 0);
    Expect<double>("1e400", 1.7976931348623157e308, fail | eof, 5);
    Expect<float>("-1e39", -3.40282347e38f, fail | eof, 5);
    Expect<double>("-1e-400", -0.0, eof, 7);
    // Only blanks, or a stream already failed: nothing stored.
    EXPECT_TRUE((Lex<int>(" \n ", true) == Outcome<int>{0x5A5A5A5A, fail | eof, 3}));
    EXPECT_TRUE((Lex<int>("7", true, fail) == Outcome<int>{0x5A5A5A5A, fail, 0}));
    for (const char* text : {"nan", "0x1p3", "1e+-5", "1.2.3", "-.", "1e5.5", "00012", "-0", "1E+0009x", " \n ",
                             // digits read in blocks: whole, cut short, and past nineteen
                             "12345678x", "1234567 ", "123456789012345678\n       ", "18446744073709551615        ",
                             "000000000000000000000000000000012 ", "-00000000000000000009223372036854775808 "})
        ExpectSameForAll<ALL_TYPES>(text);
}

TEST(RecordLexer, LongMantissasRoundAsTheWholeText) {
    // 1 + 2^-53 and 1 + 2^-24 lie halfway between neighbours: exactly halfway rounds to
    // even (1), any non-zero digit far behind rounds up, past the kept digits too.
    const std::string halfD = "1.00000000000000011102230246251565404236316680908203125";
    const std::string halfF = "1.000000059604644775390625";
    const std::string tail = std::string(900, '0') + "1";
    EXPECT_EQ(Lex<double>(halfD, true).value, 1.0);
    EXPECT_EQ(Lex<double>(halfD + tail, true).value, 1.0 + 0x1p-52);
    EXPECT_EQ(Lex<float>(halfF, true).value, 1.0f);
    EXPECT_EQ(Lex<float>(halfF + tail, true).value, 1.0f + 0x1p-23f);
    // Half the smallest denormal, 2^-1075 = 5^1075 / 10^1075, has 752 significant
    // digits: exactly it rounds to even (0), a digit behind it up to 2^-1074.
    std::string five(1, '1');
    for (int n = 0; n < 1075; ++n) {
        int carry = 0;
        for (auto it = five.rbegin(); it != five.rend(); ++it) {
            const int v = (*it - '0') * 5 + carry;
            *it = static_cast<char>('0' + v % 10), carry = v / 10;
        }
        if (carry) five.insert(five.begin(), static_cast<char>('0' + carry));
    }
    const std::string halfDenormal = "0." + std::string(1075 - five.size(), '0') + five;
    EXPECT_EQ(Lex<double>(halfDenormal, true).value, 0.0);
    EXPECT_EQ(Lex<double>(halfDenormal + "0001", true).value, 0x1p-1074);
    const std::string zeros(2000, '0');
    for (const std::string& text : std::vector<std::string>{halfD, halfD + tail, halfDenormal, halfDenormal + "1",
                                    halfF, halfF + tail, "1" + zeros, "0." + zeros + "1e2003",
                                    "-" + zeros + "." + zeros + "7e-310", "2.4703282292062327e-324",
                                    "2.4703282292062328e-324", "7.006492321624085e-46", "3.4028235677973366e38",
                                    "1.7976931348623158e308", "1.7976931348623159e308", "1e99999999999999999999",
                                    "1e-99999999999999999999", "0e99999999999"})
        ExpectSameForAll<float, double>(text);
}

namespace {

template <class T>
struct ArrayOutcome {
    std::vector<T> values;
    std::ios::iostate state;
    long taken;
};

template <class T>
ArrayOutcome<T> LexArray(const std::string& text, std::size_t n, Via via, std::ios::iostate before = std::ios::goodbit) {
    std::vector<T> values(n, T(42));
    const auto [state, taken] = Run(text, via, before, [&](std::istream& is) { RecordStream::ReadArray(is, values.data(), n); });
    return {values, state, taken};
}

}  // namespace

TEST(RecordLexer, ArraysReadAsSingleReadsDo) {
    constexpr auto good = std::ios::goodbit, fail = std::ios::failbit, eof = std::ios::eofbit;
    const unsigned max32 = 4294967295u;
    const unsigned long long max64 = 18446744073709551615ull;
    for (Via via : kVias) {
        const auto check = [&](const auto& got, const auto& values, std::ios::iostate state, long taken) {
            EXPECT_TRUE(got.values == values && got.state == state && got.taken == taken)
                << "via " << static_cast<int>(via) << " state " << got.state << " taken " << got.taken;
        };
        using U = std::vector<unsigned>;
        using W = std::vector<unsigned long long>;
        // Overflow stores the maximum and stops; the value after it is untouched.
        check(LexArray<unsigned>(" 12\n  7 4294967296 9", 4, via), U{12, 7, max32, 42}, fail, 18);
        // Data ending in a number: the read after it fails at its sentry.
        check(LexArray<unsigned>("5 6 7", 5, via), U{5, 6, 7, 42, 42}, eof | fail, 5);
        check(LexArray<unsigned>("5 6 7 ", 5, via), U{5, 6, 7, 42, 42}, eof | fail, 6);
        // ...unless it was the last one asked for.
        check(LexArray<unsigned long long>("-1 \t3", 2, via), W{max64, 3}, eof, 5);
        check(LexArray<unsigned long long>("         8\n  99999999999999999999\n", 2, via), W{8, max64}, fail, 33);
        // A byte that is not a number stores 0 and stops there.
        check(LexArray<unsigned>("1 x 2", 3, via), U{1, 0, 42}, fail, 2);
        // Nothing asked, or a stream already failed: nothing read.
        check(LexArray<unsigned>("1 2", 0, via), U{}, good, 0);
        check(LexArray<unsigned>("1 2", 2, via, fail), U{42, 42}, fail, 0);
    }
}
