#include <atomic>
#include "records/RecordLexer.h"

#include <charconv>
#include <cstring>
#include <limits>
#include <locale>
#include <streambuf>

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
constexpr long kWatched = 1, kClassic = 2, kOther = 4;

void ForgetLocale(std::ios_base::event event, std::ios_base& s, int index) {
    if (event == std::ios_base::imbue_event || event == std::ios_base::copyfmt_event) s.iword(index) &= kWatched;
}

bool LookUpLocale(std::ios_base& s, long& word) {
    if (!(word & kWatched)) s.register_callback(ForgetLocale, LocaleWord());
    word = kWatched | (s.getloc() == std::locale::classic() ? kClassic : kOther);
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

// The input sentry: a stream that is not good fails; otherwise whitespace is skipped
// (unless skipws is off) and running out of bytes fails with eofbit. Returns the
// buffer standing at the field's first byte, or null when nothing may be read.
KVMCF_LEXER_INLINE std::streambuf* Start(std::istream& is) {
    State err = kGood;
    if (is.good()) {
        try {
            if (is.tie()) is.tie()->flush();
            if (is.flags() & std::ios_base::skipws) {
                std::streambuf* sb = is.rdbuf();
                int c = sb->sgetc();
                while (c != kEof && IsSpace(c)) c = sb->snextc();
                if (c == kEof) err |= kEofBit;
            }
        } catch (...) {
            MarkBad(is);
        }
    }
    if (is.good() && err == kGood) return is.rdbuf();
    is.setstate(err | kFail);
    return nullptr;
}

// One formatted read: the sentry, then `lex` on the buffer, which stores the value
// and returns the state bits to set.
template <class Lex>
std::istream& Extract(std::istream& is, Lex lex) {
    std::streambuf* sb = Start(is);
    if (!sb) return is;
    State err = kGood;
    try {
        err = lex(sb);
    } catch (...) {
        MarkBad(is);
    }
    if (err) is.setstate(err);
    return is;
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
KVMCF_LEXER_INLINE Digits LexDigits(std::streambuf* sb, unsigned long long maxPositive, unsigned long long maxNegative) {
    Digits d;
    int c = sb->sgetc();
    if (c == '-' || c == '+') {
        d.negative = c == '-';
        c = sb->snextc();
    }
    const unsigned long long max = d.negative ? maxNegative : maxPositive;
    // Nineteen digits cannot overflow 64 bits: take them unchecked, compare once.
    int count = 0;
    for (; count < 19; ++count, c = sb->snextc()) {
        const unsigned digit = static_cast<unsigned>(c - '0');
        if (digit > 9) break;
        d.magnitude = d.magnitude * 10 + digit;
    }
    d.any = count > 0;
    d.overflow = d.magnitude > max;
    if (count == 19) {
        const unsigned long long tenth = max / 10;
        for (;; c = sb->snextc()) {
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
template <class S>
State LexSigned(std::streambuf* sb, S& value) {
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
template <class U>
State LexUnsigned(std::streambuf* sb, U& value) {
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
    return Extract(is, [&](std::streambuf* sb) { return LexSigned(sb, value); });
}

template <class U>
std::istream& ReadUnsigned(std::istream& is, U& value) {
    if (!DecimalIntegers(is)) return is >> value;
    return Extract(is, [&](std::streambuf* sb) { return LexUnsigned(sb, value); });
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
template <class F>
State LexFloat(std::streambuf* sb, F& value) {
    int c = sb->sgetc();
    bool negative = false;
    if (c == '+' || c == '-') {
        negative = c == '-';
        c = sb->snextc();
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
            c = sb->snextc();
            if (c == '+' || c == '-')
                exponentNegative = c == '-';
            else
                continue;  // the byte after 'e' is examined as it stands
        } else {
            break;
        }
        c = sb->snextc();
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
    return Extract(is, [&](std::streambuf* sb) { return LexFloat(sb, value); });
}

}  // namespace

std::istream& Read(std::istream& is, int& value) {
    if (!DecimalIntegers(is)) return is >> value;
    // Read as long, then bounded to int with failure.
    return Extract(is, [&](std::streambuf* sb) {
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
    return Extract(is, [&](std::streambuf* sb) {
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
    return Extract(is, [&](std::streambuf* sb) {
        const int c = sb->sbumpc();
        if (c == kEof) return kEofBit | kFail;
        value = static_cast<char>(c);
        return kGood;
    });
}

void UseFormattedExtraction(bool on) { formattedOnly.store(on, std::memory_order_relaxed); }

}  // namespace RecordLexer
