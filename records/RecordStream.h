// Lexical rules shared by every record reader and writer.
//
// Records are decimal text mixed with raw bytes. Numbers are read as formatted
// extraction reads them (any whitespace run before them is skipped); raw bytes and counted
// texts consume exactly one separator byte and never skip whitespace. Readers never
// test the stream or throw: a failed read leaves the stream failed, every later read
// is then a no-op, and the open sequence checks the stream once at the end.
//
// Every record reader goes through these helpers and nothing else touches the
// stream, so the rules live in one place.
#ifndef KVMCF_RECORDS_RECORDSTREAM_H
#define KVMCF_RECORDS_RECORDSTREAM_H

#include <cstddef>
#include <istream>
#include <ostream>

#include "records/RecordLexer.h"

namespace RecordStream {

// Version word: major in the high 16 bits, minor in the low 16 bits.
inline unsigned int Major(unsigned int version) { return version >> 16; }
inline unsigned int Minor(unsigned int version) { return version & 0xFFFFu; }
inline unsigned int MakeVersion(unsigned int major, unsigned int minor) { return (major << 16) | (minor & 0xFFFFu); }

// Minor-only gate: present when major is not 0 and minor > n. A major-2 file with a
// small minor lacks the field under this form; that is how those files were written.
inline bool MinorAbove(unsigned int version, unsigned int n) { return Major(version) != 0 && Minor(version) > n; }

// Major-aware gate: present from major 2 on, or in major 1 when minor > n.
inline bool VersionAbove(unsigned int version, unsigned int n) {
    return Major(version) >= 2 || (Major(version) == 1 && Minor(version) > n);
}

// Formatted extraction itself: the reference the record lexer is held to.
template <class T>
inline std::istream& ReadFormatted(std::istream& is, T& value) {
    return is >> value;
}

// One numeric, bool or formatted char field: the record lexer for int, unsigned int,
// long, unsigned long, long long, unsigned long long, float, double, bool and char,
// which gives what formatted extraction gives at buffer speed; formatted extraction
// for any other type.
using RecordLexer::Read;
template <class T>
inline std::istream& Read(std::istream& is, T& value) {
    return ReadFormatted(is, value);
}

// n numeric fields in a row (per-frame arrays): the outcome of n single reads,
// stopping at the first that fails, at less cost per value.
using RecordLexer::ReadArray;

// Consumes exactly one byte (a separator), whatever it is.
std::istream& SkipSeparator(std::istream& is);

// Raw single-byte field: one separator byte, then the value byte, no whitespace skipped.
std::istream& ReadRawByte(std::istream& is, unsigned char& value);
std::istream& ReadRawByte(std::istream& is, char& value);

// Counted text after its length has been read: one separator byte, then `length`
// raw bytes. At most capacity - 1 bytes are kept and NUL-terminated; the rest are
// consumed unread so the stream ends behind the whole text. A negative length reads
// no bytes. A length beyond what the stream holds fails the stream, as the short
// read would, without allocating for it.
std::istream& ReadCountedBytes(std::istream& is, long long length, char* dest, std::size_t capacity);

// Length (as int) followed by the counted bytes.
std::istream& ReadCountedText(std::istream& is, char* dest, std::size_t capacity);
// Same, with the length stored as unsigned int.
std::istream& ReadCountedTextUnsigned(std::istream& is, char* dest, std::size_t capacity);

// Token text: one separator byte, then bytes up to "\n" or " " (consumed, dropped)
// or until the stream stops being good. Bytes beyond capacity - 1 are consumed and dropped.
std::istream& ReadTokenText(std::istream& is, char* dest, std::size_t capacity);

// Line text: one separator byte, then a line read of at most maxChars characters up
// to "\n" (a longer line fails the stream, as a line read does). dest holds maxChars + 1.
std::istream& ReadLineText(std::istream& is, char* dest, std::size_t maxChars);

// Writers.
// Length, one " ", the bytes. The caller writes the separator that follows.
std::ostream& WriteCountedText(std::ostream& os, const char* text);
// The byte itself.
std::ostream& WriteRawByte(std::ostream& os, unsigned char value);

// Exactly `count` bytes of padding: 1024-byte blocks of 1023 spaces and "\n", then
// for a remainder r, r - 1 spaces and "\n". Returns 0.
int PadFile(std::ostream& os, unsigned int count);

// Where reading stopped. A reader of a whole file attaches a trail to its stream; the
// record readers name each field as they come to it. Naming stores a pointer in the
// stream's own word and stops once the stream has failed, so the name left is that of
// the field that failed. A stream that reached its end without failing has its next
// named field fail, so naming stops there too. Streams without a trail name nothing.
struct Trail {
    const char* field = "";
    long long index = -1;   // element of a counted field (sub-image, frame), 0-based
    long long mark = -1;    // where the marked field starts
    bool ended = false;     // the stream reached its end: the field named last fails
    // A block found short: where it starts, its items and their size.
    unsigned long long items = 0, itemBytes = 0;
    void Reset() { *this = Trail(); }
};
void Follow(std::istream& is, Trail* trail);
Trail* Following(std::istream& is);

// Names the field read next; element `index` of a counted field.
inline void Field(std::istream& is, const char* name, long long index = -1) {
    Trail* trail = Following(is);
    if (!trail || trail->ended || is.fail()) return;
    trail->field = name;
    trail->index = index;
    trail->ended = is.eof();
}
// The record version word that starts every record, split into its halves; returns it whole.
inline unsigned int ReadVersionWord(std::istream& is, unsigned int& high, unsigned int& low) {
    unsigned int version = 0;
    Field(is, "version word");
    Read(is, version);
    high = Major(version);
    low = Minor(version);
    return version;
}
// Names the field and notes where it starts, for a field the whole-file reader may
// refuse by its value.
void Mark(std::istream& is, const char* name);

// n numbers in a row named `name`: on a failure the trail names the element that failed.
// Each number and the separator after it take two bytes at least, which bounds the text
// still ahead: the buffer is told so as the row is read, and stops at its end.
std::istream& ReadNamedArray(std::istream& is, const char* name, unsigned int* values, std::size_t n);
std::istream& ReadNamedArray(std::istream& is, const char* name, unsigned long long* values, std::size_t n);

// At least `bytes` bytes of record text follow where the stream stands (see
// TExposedStreamBuf::TextAhead); streams that read ahead then stop short of the bytes after it.
void TextAhead(std::istream& is, unsigned long long bytes);
// Refuses what was read: the stream fails where it stands.
std::istream& Refuse(std::istream& is);

// A block of `count` items of `size` raw bytes each (frames of pixels) must be all
// there before anything is sized by it or seeks over it: otherwise the stream is
// refused and the trail names `name`, with the first item not whole as its element,
// and keeps where the block starts (mark), its items and their size.
bool HoldsBlock(std::istream& is, const char* name, unsigned long long count, unsigned long long size);
// Passes over such a block, known to be there, in one seek.
std::istream& SkipBlock(std::istream& is, unsigned long long count, unsigned long long size);
// `size` raw bytes into dest; a short read fails the stream.
std::istream& ReadBytes(std::istream& is, char* dest, unsigned long long size);

// Byte offset where a failed stream stopped: its get position once cleared. The
// stream's state is left as it was.
long long StopOffset(std::istream& is);

// Bytes left between the get position and the end of the stream, or -1 when the
// stream cannot tell (not seekable, failed). Used to refuse counts no stream can hold
// before anything is allocated for them.
long long Remaining(std::istream& is);

}  // namespace RecordStream

#endif
