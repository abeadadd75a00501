#include <atomic>
#include "records/RecordLexer.h"

#include <charconv>
#include <cstdint>
#include <cstring>
#include <limits>
#include <locale>
#include <streambuf>
#include <typeinfo>

// The sentry and the digit loop are inlined into each reader, so that the buffer and
// the stream stay in registers across one number; the call alone is a fifth of it.
#if defined(__GNUC__)
#define KVMCF_LEXER_INLINE __attribute__((always_inline)) inline
#else
#define KVMCF_LEXER_INLINE inline
#endif

namespace RecordLexer {
namespace {

using State = std::ios_base::iostate;
constexpr State kGood = std::ios_base::goodbit;
constexpr State kFail = std::ios_base::failbit;
constexpr State kEofBit = std::ios_base::eofbit;
constexpr int kEof = std::char_traits<char>::eof();

// Whitespace of the classic locale: space, \t, \n, \v, \f, \r.
inline bool IsSpace(int c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// Whether a stream is in the classic locale is remembered in one of its words: the
// lookup costs more than a short number. Imbuing or copying formats forgets it.
// The index is taken on first use, so streams read during static initialisation
// elsewhere still get a word of their own.
int LocaleWord() {
    static const int index = std::ios_base::xalloc();
    return index;
}
constexpr long kWatched = 1, kClassic = 2, kOther = 4, kExposed = 8;

void ForgetLocale(std::ios_base::event event, std::ios_base& s, int index) {
    if (event == std::ios_base::imbue_event || event == std::ios_base::copyfmt_event) {
        s.iword(index) &= kWatched;
        s.pword(index) = nullptr;
    }
}

bool LookUpLocale(std::ios_base& s, long& word) {
    if (!(word & kWatched)) s.register_callback(ForgetLocale, LocaleWord());
    word = (word & kExposed) | kWatched | (s.getloc() == std::locale::classic() ? kClassic : kOther);
    return word & kClassic;
}

std::atomic<bool> formattedOnly{false};

inline bool ClassicLocale(std::ios_base& s) {
    if (formattedOnly.load(std::memory_order_relaxed)) return false;
    long& word = s.iword(LocaleWord());
    if (word & kClassic) return true;
    if (word & kOther) return false;
    return LookUpLocale(s, word);
}

inline bool DecimalIntegers(std::ios_base& s) {
    return (s.flags() & std::ios_base::basefield) == std::ios_base::dec && ClassicLocale(s);
}

// An exception from the buffer marks the stream bad and goes on only when the
// stream's exception mask asks for badbit, as inside formatted extraction.
void MarkBad(std::istream& is) {
    if (is.exceptions() & std::ios_base::badbit) {
        try {
            is.setstate(std::ios_base::badbit);
        } catch (...) {
        }
        throw;
    }
    is.setstate(std::ios_base::badbit);
}

// Eight bytes at a time, first byte lowest.
constexpr bool kLittleEndian = __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__;
constexpr std::uint64_t kSpaces = 0x2020202020202020ull, kZeros = 0x3030303030303030ull;
constexpr unsigned long long kPowersOfTen[9] = {1, 10, 100, 1000, 10000, 100000, 1000000, 10000000, 100000000};

inline std::uint64_t Load8(const char* p) {
    std::uint64_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// How many of the eight bytes, from the first, are decimal digits.
inline int LeadingDigits(std::uint64_t chunk) {
    // A byte is non-zero here unless its high nibble is 3 and its low nibble at most 9.
    const std::uint64_t odd = (chunk & 0xF0F0F0F0F0F0F0F0ull) ^ kZeros;
    const std::uint64_t above9 = ((chunk & 0x0F0F0F0F0F0F0F0Full) + 0x0606060606060606ull) & 0x1010101010101010ull;
    const std::uint64_t bad = odd | above9;
    // The top bit of each byte that is non-zero, without carries between bytes.
    const std::uint64_t flags = (((bad & 0x7F7F7F7F7F7F7F7Full) + 0x7F7F7F7F7F7F7F7Full) | bad) & 0x8080808080808080ull;
    return flags ? __builtin_ctzll(flags) / 8 : 8;
}

// How many of the eight bytes, from the first, are whitespace (IsSpace).
inline int LeadingBlanks(std::uint64_t chunk) {
    constexpr std::uint64_t high = 0x8080808080808080ull, low7 = 0x7F7F7F7F7F7F7F7Full, ones = 0x0101010101010101ull;
    // The top bit of each byte that is not ' ', without carries between bytes...
    const std::uint64_t x = chunk ^ kSpaces;
    const std::uint64_t notSpace = (((x & low7) + low7) | x) & high;
    // ...and of each byte in '\t'..'\r': seven low bits at least 9 and below 14, top bit clear.
    const std::uint64_t low = chunk & low7;
    const std::uint64_t control = ((low + (0x80 - 9) * ones) & ~(low + (0x80 - 14) * ones) & ~chunk) & high;
    const std::uint64_t flags = notSpace & ~control;
    return flags ? __builtin_ctzll(flags) / 8 : 8;
}

// The first n (1 to 7) digits, after 8 - n leading '0's.
inline std::uint64_t KeepFirst(std::uint64_t chunk, int n) { return (chunk << (8 * (8 - n))) | (kZeros >> (8 * n)); }

// The value of eight digits, the first the most significant.
inline std::uint64_t EightDigits(std::uint64_t chunk) {
    std::uint64_t v = chunk - kZeros;
    v = (v * 10 + (v >> 8)) & 0x00FF00FF00FF00FFull;
    v = (v * 100 + (v >> 16)) & 0x0000FFFF0000FFFFull;
    return (v * 10000 + (v >> 32)) & 0xFFFFFFFFull;
}

// The bytes of a number are taken one call at a time from a buffer that hides its
// get area...
class BufferCursor {
public:
    explicit BufferCursor(std::streambuf* sb) : sb_(sb) {}
    int Get() { return sb_->sgetc(); }
    int Next() { return sb_->snextc(); }
    int Bump() { return sb_->sbumpc(); }
    KVMCF_LEXER_INLINE int SkipSpace() {
        int c = sb_->sgetc();
        while (c != kEof && IsSpace(c)) c = sb_->snextc();
        return c;
    }
    int TakeDigits(unsigned long long&, int) { return 0; }
    void Done() {}

private:
    std::streambuf* sb_;
};

// ...and straight from memory when the buffer shows it. The get pointer is set
// before every refill, so an exception from the buffer leaves it where a byte-wise
// reader would have left it.
class MemoryCursor {
public:
    explicit MemoryCursor(TExposedStreamBuf* sb) : sb_(sb), p_(sb->ReadBegin()), end_(sb->ReadEnd()) {}
    int Get() { return p_ != end_ ? Byte() : Refill(); }
    // Only called while standing on a byte.
    int Next() { return ++p_ != end_ ? Byte() : Refill(); }
    int Bump() {
        const int c = Get();
        if (c != kEof) ++p_;
        return c;
    }
    KVMCF_LEXER_INLINE int SkipSpace() {
        for (;;) {
            // Fields are padded to their width with spaces: eight bytes at a time.
            while (end_ - p_ >= 8) {
                const std::uint64_t blanks = LeadingBlanks(Load8(p_));
                p_ += blanks;
                if (blanks < 8) return Byte();
            }
            while (p_ != end_ && IsSpace(Byte())) ++p_;
            if (p_ != end_) return Byte();
            if (Refill() == kEof) return kEof;
        }
    }
    // Up to `limit` decimal digits, eight at a time while eight bytes are there to
    // look at, standing on the first; the caller goes on byte by byte from where
    // this stops.
    KVMCF_LEXER_INLINE int TakeDigits(unsigned long long& magnitude, int limit) {
        int taken = 0;
        if (!kLittleEndian) return taken;
        while (limit - taken > 0 && end_ - p_ >= 8) {
            const std::uint64_t chunk = Load8(p_);
            const int digits = LeadingDigits(chunk);
            const int take = digits < limit - taken ? digits : limit - taken;
            if (take > 0) {
                magnitude = magnitude * kPowersOfTen[take] + EightDigits(take == 8 ? chunk : KeepFirst(chunk, take));
                p_ += take;
                taken += take;
            }
            if (take < 8) break;
        }
        return taken;
    }
    // The usual array value, all in the buffer: at most 24 blanks, then at most 16
    // digits and a byte that is not one. Stores it and returns true, or leaves
    // everything as it was for the general path.
    template <class U>
    KVMCF_LEXER_INLINE bool QuickValue(U& value) {
        if (!kLittleEndian || end_ - p_ < 48) return false;
        const char* q = p_;
        for (int blocks = 0;; ++blocks) {
            const int blanks = LeadingBlanks(Load8(q));
            q += blanks;
            if (blanks < 8) break;
            if (blocks == 2) return false;
        }
        const std::uint64_t first = Load8(q);
        const int leading = LeadingDigits(first);
        if (leading == 0) return false;
        std::uint64_t magnitude;
        if (leading < 8) {
            magnitude = EightDigits(KeepFirst(first, leading));
            q += leading;
        } else {
            const std::uint64_t second = Load8(q + 8);
            const int more = LeadingDigits(second);
            if (more == 8) return false;
            magnitude = EightDigits(first);
            if (more > 0) magnitude = magnitude * kPowersOfTen[more] + EightDigits(KeepFirst(second, more));
            q += 8 + more;
        }
        if (magnitude > std::numeric_limits<U>::max()) return false;
        value = static_cast<U>(magnitude);
        p_ = q;
        return true;
    }
    void Done() { sb_->ReadTo(p_); }

private:
    int Byte() const { return static_cast<unsigned char>(*p_); }
    int Refill() {
        sb_->ReadTo(p_);
        const int c = sb_->sgetc();
        p_ = sb_->ReadBegin();
        end_ = sb_->ReadEnd();
        return c;
    }

    TExposedStreamBuf* sb_;
    const char* p_;
    const char* end_;
};

// One formatted read: the input sentry (a stream that is not good fails; otherwise
// whitespace is skipped unless skipws is off, and running out of bytes fails with
// eofbit), then `lex` on the cursor, which stores the value and returns the state
// bits to set.
template <class Cursor, class Buffer, class Lex>
KVMCF_LEXER_INLINE std::istream& ExtractWith(std::istream& is, Buffer* sb, Lex& lex) {
    if (!is.good()) {
        is.setstate(kFail);
        return is;
    }
    State err = kGood;
    Cursor cursor(sb);
    try {
        if (is.tie()) is.tie()->flush();
        cursor = Cursor(sb);
        if ((is.flags() & std::ios_base::skipws) && cursor.SkipSpace() == kEof) err = kEofBit;
    } catch (...) {
        MarkBad(is);
    }
    if (err || !is.good()) {
        is.setstate(err | kFail);
        return is;
    }
    try {
        err = lex(cursor);
        cursor.Done();
    } catch (...) {
        MarkBad(is);
    }
    if (err) is.setstate(err);
    return is;
}

// Whether the buffer shows its get area. A cast costs more than a short number, so
// the answer is kept in the stream's word for the buffer's dynamic type.
TExposedStreamBuf* Exposed(std::ios_base& s, std::streambuf* sb) {
    if (!sb) return nullptr;
    const std::type_info* type = &typeid(*sb);
    void*& seen = s.pword(LocaleWord());
    long& word = s.iword(LocaleWord());
    if (seen != type) {
        seen = const_cast<std::type_info*>(type);
        word = (word & ~kExposed) | (dynamic_cast<TExposedStreamBuf*>(sb) ? kExposed : 0);
    }
    return (word & kExposed) ? static_cast<TExposedStreamBuf*>(sb) : nullptr;
}

template <class Lex>
std::istream& Extract(std::istream& is, Lex lex) {
    std::streambuf* sb = is.rdbuf();
    if (auto* exposed = Exposed(is, sb)) return ExtractWith<MemoryCursor>(is, exposed, lex);
    return ExtractWith<BufferCursor>(is, sb, lex);
}

// ---- integers ----

struct Digits {
    unsigned long long magnitude = 0;  // not meaningful once overflowed
    bool negative = false;
    bool any = false;
    bool overflow = false;
    bool atEnd = false;
};

// Optional sign, then decimal digits up to the first byte that is not one. The limit
// is the largest magnitude the target holds for the sign read; digits go on being
// consumed after an overflow.
template <class Cursor>
KVMCF_LEXER_INLINE Digits LexDigits(Cursor& sb, unsigned long long maxPositive, unsigned long long maxNegative) {
    Digits d;
    int c = sb.Get();
    if (c == '-' || c == '+') {
        d.negative = c == '-';
        c = sb.Next();
    }
    const unsigned long long max = d.negative ? maxNegative : maxPositive;
    // Nineteen digits cannot overflow 64 bits: take them unchecked, compare once.
    int count = sb.TakeDigits(d.magnitude, 19);
    if (count > 0) c = sb.Get();
    for (; count < 19; ++count, c = sb.Next()) {
        const unsigned digit = static_cast<unsigned>(c - '0');
        if (digit > 9) break;
        d.magnitude = d.magnitude * 10 + digit;
    }
    d.any = count > 0;
    d.overflow = d.magnitude > max;
    if (count == 19) {
        const unsigned long long tenth = max / 10;
        for (;; c = sb.Next()) {
            const unsigned digit = static_cast<unsigned>(c - '0');
            if (digit > 9) break;
            if (d.magnitude > tenth) {
                d.overflow = true;
            } else {
                d.magnitude *= 10;
                d.overflow |= d.magnitude > max - digit;
                d.magnitude += digit;
            }
        }
    }
    d.atEnd = c == kEof;
    return d;
}

inline State EndBits(const Digits& d, State err) { return d.atEnd ? err | kEofBit : err; }

// Signed target: no digits stores 0, overflow stores the bound of the sign.
template <class S, class Cursor>
State LexSigned(Cursor& sb, S& value) {
    using U = unsigned long long;
    const Digits d = LexDigits(sb, static_cast<U>(std::numeric_limits<S>::max()),
                               static_cast<U>(std::numeric_limits<S>::max()) + 1);
    State err = kGood;
    if (!d.any) {
        value = 0;
        err = kFail;
    } else if (d.overflow) {
        value = d.negative ? std::numeric_limits<S>::min() : std::numeric_limits<S>::max();
        err = kFail;
    } else {
        value = static_cast<S>(d.negative ? 0 - d.magnitude : d.magnitude);
    }
    return EndBits(d, err);
}

// Unsigned target: a minus sign negates in the target's own arithmetic, so "-1" is
// its maximum and no failure; overflow stores the maximum whatever the sign.
template <class U, class Cursor>
KVMCF_LEXER_INLINE State LexUnsigned(Cursor& sb, U& value) {
    const Digits d = LexDigits(sb, std::numeric_limits<U>::max(), std::numeric_limits<U>::max());
    State err = kGood;
    if (!d.any) {
        value = 0;
        err = kFail;
    } else if (d.overflow) {
        value = std::numeric_limits<U>::max();
        err = kFail;
    } else {
        const U magnitude = static_cast<U>(d.magnitude);
        value = d.negative ? static_cast<U>(U(0) - magnitude) : magnitude;
    }
    return EndBits(d, err);
}

template <class S>
std::istream& ReadSigned(std::istream& is, S& value) {
    if (!DecimalIntegers(is)) return is >> value;
    return Extract(is, [&](auto& sb) { return LexSigned(sb, value); });
}

template <class U>
std::istream& ReadUnsigned(std::istream& is, U& value) {
    if (!DecimalIntegers(is)) return is >> value;
    return Extract(is, [&](auto& sb) { return LexUnsigned(sb, value); });
}

// ---- floating point ----

// Significant digits kept. Every rounding boundary of a double (midpoints between
// neighbours, the overflow and underflow thresholds) has at most 767 significant
// digits, so 800 digits plus one sticky digit for whatever non-zero tail was dropped
// round exactly as the whole text would.
constexpr int kKeptDigits = 800;
// Beyond this decimal exponent every non-zero value overflows or rounds to zero.
constexpr long long kExponentClamp = 100000;
constexpr long long kExponentCap = 1000000000000LL;

// Collects a float text byte by byte as formatted extraction does: optional sign,
// digits with at most one point, then 'e' or 'E' (only after a digit) with an
// optional sign and digits. A text without a mantissa digit, or an exponent without a
// digit, fails and stores 0 after consuming what was collected. Overflow stores the
// type's largest finite value of that sign and fails; underflow stores the rounded
// value (denormal or zero) without failing. Only a bounded digit buffer is kept
// however long the text runs.
template <class F, class Cursor>
State LexFloat(Cursor& sb, F& value) {
    int c = sb.Get();
    bool negative = false;
    if (c == '+' || c == '-') {
        negative = c == '-';
        c = sb.Next();
    }

    char digits[kKeptDigits];
    int kept = 0;
    bool sticky = false;       // a non-zero digit dropped beyond those kept
    bool significant = false;  // a non-zero digit has been seen
    long long shift = 0;       // value = 0.<digits> x 10^(shift + exponent)
    bool mantissa = false, point = false, scientific = false;
    bool exponentDigits = false, exponentNegative = false;
    long long exponent = 0;

    while (c != kEof) {
        const unsigned digit = static_cast<unsigned>(c - '0');
        if (digit <= 9) {
            if (scientific) {
                exponentDigits = true;
                if (exponent < kExponentCap) exponent = exponent * 10 + digit;
            } else {
                mantissa = true;
                if (digit != 0 || significant) {
                    significant = true;
                    if (!point) ++shift;
                    if (kept < kKeptDigits)
                        digits[kept++] = static_cast<char>(c);
                    else if (digit != 0)
                        sticky = true;
                } else if (point) {
                    --shift;  // a zero between the point and the first significant digit
                }
            }
        } else if (c == '.' && !point && !scientific) {
            point = true;
        } else if ((c == 'e' || c == 'E') && !scientific && mantissa) {
            scientific = true;
            c = sb.Next();
            if (c == '+' || c == '-')
                exponentNegative = c == '-';
            else
                continue;  // the byte after 'e' is examined as it stands
        } else {
            break;
        }
        c = sb.Next();
    }
    const State end = c == kEof ? kEofBit : kGood;

    if (!mantissa || (scientific && !exponentDigits)) {
        value = 0;
        return kFail | end;
    }

    char text[kKeptDigits + 40];
    char* p = text;
    if (negative) *p++ = '-';
    long long scale = 0;
    if (!significant) {
        *p++ = '0';
    } else {
        *p++ = '0';
        *p++ = '.';
        std::memcpy(p, digits, static_cast<std::size_t>(kept));
        p += kept;
        if (sticky) *p++ = '1';
        scale = shift + (exponentNegative ? -exponent : exponent);
        if (scale > kExponentClamp) scale = kExponentClamp;
        if (scale < -kExponentClamp) scale = -kExponentClamp;
        *p++ = 'e';
        p = std::to_chars(p, text + sizeof text, scale).ptr;
    }

    F parsed = 0;
    const std::from_chars_result r = std::from_chars(text, p, parsed);
    if (r.ec == std::errc::result_out_of_range) {
        // 0.d x 10^scale: a positive scale can only overflow, any other only underflow.
        if (scale > 0) {
            value = negative ? -std::numeric_limits<F>::max() : std::numeric_limits<F>::max();
            return kFail | end;
        }
        value = negative ? -F(0) : F(0);
        return end;
    }
    value = parsed;
    return end;
}

template <class F>
std::istream& ReadFloat(std::istream& is, F& value) {
    if (!ClassicLocale(is)) return is >> value;
    return Extract(is, [&](auto& sb) { return LexFloat(sb, value); });
}

// Values in a row from a buffer read in place: one sentry's worth of checks for the
// whole run. Streams this does not cover take n single reads.
template <class U>
std::istream& ReadUnsignedArray(std::istream& is, U* values, std::size_t n) {
    auto* exposed = dynamic_cast<TExposedStreamBuf*>(is.rdbuf());
    if (!exposed || !DecimalIntegers(is) || !(is.flags() & std::ios_base::skipws) || is.tie() || is.exceptions()) {
        std::size_t i = 0;
        for (; i < n && is.good(); ++i) Read(is, values[i]);
        if (i < n) Read(is, values[i]);  // fails at its sentry, as every later one would
        return is;
    }
    if (n == 0) return is;
    if (!is.good()) {
        is.setstate(kFail);
        return is;
    }
    State err = kGood;
    std::size_t i = 0;
    bool lexing = false;
    MemoryCursor cursor(exposed);
    try {
        for (; i < n; ++i) {
            if (cursor.QuickValue(values[i])) continue;
            lexing = false;
            if (cursor.SkipSpace() == kEof) {
                err = kEofBit | kFail;
                break;
            }
            lexing = true;
            err = LexUnsigned(cursor, values[i]);
            if (err) {
                ++i;
                break;
            }
        }
        cursor.Done();
    } catch (...) {
        // The read that threw marks the stream bad, and failed too when still in
        // its sentry; a read after it fails at its own.
        err = std::ios_base::badbit;
        if (!lexing || i + 1 < n) err |= kFail;
        is.setstate(err);
        return is;
    }
    // A value ending the data sets eofbit alone; the read after it fails.
    if (err && !(err & kFail) && i < n) err |= kFail;
    if (err) is.setstate(err);
    return is;
}

}  // namespace

std::istream& Read(std::istream& is, int& value) {
    if (!DecimalIntegers(is)) return is >> value;
    // Read as long, then bounded to int with failure.
    return Extract(is, [&](auto& sb) {
        long wide = 0;
        State err = LexSigned(sb, wide);
        if (wide < std::numeric_limits<int>::min()) {
            value = std::numeric_limits<int>::min();
            err |= kFail;
        } else if (wide > std::numeric_limits<int>::max()) {
            value = std::numeric_limits<int>::max();
            err |= kFail;
        } else {
            value = static_cast<int>(wide);
        }
        return err;
    });
}

std::istream& Read(std::istream& is, unsigned int& value) { return ReadUnsigned(is, value); }
std::istream& Read(std::istream& is, long& value) { return ReadSigned(is, value); }
std::istream& Read(std::istream& is, unsigned long& value) { return ReadUnsigned(is, value); }
std::istream& Read(std::istream& is, long long& value) { return ReadSigned(is, value); }
std::istream& Read(std::istream& is, unsigned long long& value) { return ReadUnsigned(is, value); }
std::istream& Read(std::istream& is, float& value) { return ReadFloat(is, value); }
std::istream& Read(std::istream& is, double& value) { return ReadFloat(is, value); }

std::istream& Read(std::istream& is, bool& value) {
    if (!DecimalIntegers(is) || (is.flags() & std::ios_base::boolalpha)) return is >> value;
    // Read as long: only 0 and 1 are bools; anything else stores true and fails.
    return Extract(is, [&](auto& sb) {
        long wide = -1;
        const State err = LexSigned(sb, wide);
        if (wide == 0 || wide == 1) {
            value = wide == 1;
            return err;
        }
        value = true;
        return kFail | (err & kEofBit);
    });
}

std::istream& Read(std::istream& is, char& value) {
    if (!ClassicLocale(is)) return is >> value;
    return Extract(is, [&](auto& sb) {
        const int c = sb.Bump();
        if (c == kEof) return kEofBit | kFail;
        value = static_cast<char>(c);
        return kGood;
    });
}

std::istream& ReadArray(std::istream& is, unsigned int* values, std::size_t n) {
    return ReadUnsignedArray(is, values, n);
}
std::istream& ReadArray(std::istream& is, unsigned long long* values, std::size_t n) {
    return ReadUnsignedArray(is, values, n);
}

void UseFormattedExtraction(bool on) { formattedOnly.store(on, std::memory_order_relaxed); }

}  // namespace RecordLexer
