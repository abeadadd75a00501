// Records typed by hand from the record tables, shared by the record tests and the
// whole-file tests.
#ifndef KVMCF_TESTS_SUPPORT_RECORDTEXTS_H
#define KVMCF_TESTS_SUPPORT_RECORDTEXTS_H

#include <initializer_list>
#include <string>

namespace kvmcftest {

// Instrument header 1.31, every field distinct: rows 1 to 75, then row 76 and the
// file name, exactly as the writer lays them out. Head, store type, data type and
// mode hold the bytes 0, 9, 10 and 32; `headModel` must be 12 characters.
std::string HeaderRows131(unsigned int active = 2, const std::string& headModel = "Test head 76");

// The nested records of rows 78 to 84, in their own newest layouts.
const std::string& HeaderNested131();

// Little-endian float bytes, as the pixel block stores them.
std::string FloatBytes(std::initializer_list<float> values);

}  // namespace kvmcftest

#endif
