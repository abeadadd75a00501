// Records typed by hand from the record tables, shared by the record tests and the
// whole-file tests.
#ifndef KVMCF_TESTS_SUPPORT_RECORDTEXTS_H
#define KVMCF_TESTS_SUPPORT_RECORDTEXTS_H

#include <initializer_list>
#include <istream>
#include <string>

namespace kvmcftest {

// Instrument header 1.31, every field distinct: rows 1 to 75, then row 76 and the
// file name, exactly as the writer lays them out. Head, store type, data type and
// mode hold the bytes 0, 9, 10 and 32; `headModel` must be 12 characters.
std::string HeaderRows131(unsigned int active = 2, const std::string& headModel = "Test head 76");

// The nested records of rows 78 to 84, in their own newest layouts.
const std::string& HeaderNested131();

// Calibration 1.4: X wavelength in nm (500 + 0.125 p), Y counts (v), Z pixel number (r),
// Rayleigh 532 nm, pixel 26 x 24 um, X-is-wavelength 1, and the three labels.
const std::string& Calibration14();

// Image data 1.5: detector columns 1..4, rows 1..2; two frames of one 2x2 sub-image;
// padding before the time stamps 5 and 7; flag 1 with metadata words 0 and 1000000.
const std::string& ImageData15();

// What a reader left unread, up to the end of the stream.
std::string Rest(std::istream& is);

// Little-endian float bytes, as the pixel block stores them.
std::string FloatBytes(std::initializer_list<float> values);

}  // namespace kvmcftest

#endif
