// Record numbers at buffer speed.
//
// Formatted extraction spends most of its time in locale facets and iterator
// plumbing, which a kinetic series of a million frames (two number lines per frame)
// pays for millions of times before its first pixel. These readers produce exactly
// what `is >> value` produces on a stream in the classic locale: the same value
// bits, the same state bits, the same bytes consumed. They read through the
// streambuf's one-byte calls only (sgetc, snextc), so nothing is taken from the
// buffer that formatted extraction would have left there.
//
// A stream that is not in the classic locale, or whose flags ask for another base,
// for no whitespace skipping or for alphabetic bools, is read by formatted
// extraction itself, so the result never differs.
#ifndef KVMCF_RECORDS_RECORDLEXER_H
#define KVMCF_RECORDS_RECORDLEXER_H

#include <istream>

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

}  // namespace RecordLexer

#endif
