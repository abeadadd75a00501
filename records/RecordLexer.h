// Record numbers at buffer speed.
//
// Formatted extraction spends most of its time in locale facets and iterator
// plumbing, which a kinetic series of a million frames (two number lines per frame)
// pays for millions of times before its first pixel. These readers produce exactly
// what `is >> value` produces on a stream in the classic locale: the same value
// bits, the same state bits, the same bytes consumed. They read through the
// streambuf's one-byte calls only (sgetc, snextc), so nothing is taken from the
// buffer that formatted extraction would have left there. A buffer that lets the
// lexer see its get area (TExposedStreamBuf) is read in place instead, with the
// same outcome.
//
// A stream that is not in the classic locale, or whose flags ask for another base,
// for no whitespace skipping or for alphabetic bools, is read by formatted
// extraction itself, so the result never differs.
#ifndef KVMCF_RECORDS_RECORDLEXER_H
#define KVMCF_RECORDS_RECORDLEXER_H

#include <cstddef>
#include <istream>
#include <streambuf>

// A stream buffer whose get area the record lexer may read in place: it scans the
// bytes between ReadBegin() and ReadEnd(), sets the get pointer with ReadTo(), and
// asks for more through sgetc() when it reaches the end.
class TExposedStreamBuf : public std::streambuf {
public:
    const char* ReadBegin() const { return gptr(); }
    const char* ReadEnd() const { return egptr(); }
    // p lies within [ReadBegin(), ReadEnd()].
    void ReadTo(const char* p) { setg(eback(), const_cast<char*>(p), egptr()); }
    // At least `bytes` bytes of record text follow the read position. A buffer that
    // reads ahead may fill that far, and beyond it only what it is asked for, so the
    // raw bytes after the text (pixels) are not read with it. A raw read or a seek ends it.
    virtual void TextAhead(unsigned long long /*bytes*/) {}
};

namespace RecordLexer {

// Makes every read take formatted extraction instead, process-wide: the reference
// the benchmarks compare against.
void UseFormattedExtraction(bool on);

std::istream& Read(std::istream& is, int& value);
std::istream& Read(std::istream& is, unsigned int& value);
std::istream& Read(std::istream& is, long& value);
std::istream& Read(std::istream& is, unsigned long& value);
std::istream& Read(std::istream& is, long long& value);
std::istream& Read(std::istream& is, unsigned long long& value);
std::istream& Read(std::istream& is, float& value);
std::istream& Read(std::istream& is, double& value);
std::istream& Read(std::istream& is, bool& value);
// Formatted character extraction: whitespace skipped, then one byte.
std::istream& Read(std::istream& is, char& value);

// n reads in a row, with the outcome of n single reads: reading stops at the first
// one that fails and later values are left untouched.
std::istream& ReadArray(std::istream& is, unsigned int* values, std::size_t n);
std::istream& ReadArray(std::istream& is, unsigned long long* values, std::size_t n);

}  // namespace RecordLexer

#endif
