// Shared by the fuzz targets: findings, and a record read over the fuzzer's bytes.
#ifndef KVMCF_FUZZ_FUZZSUPPORT_H
#define KVMCF_FUZZ_FUZZSUPPORT_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>

#include "api/MemoryStream.h"

namespace kvmcffuzz {

// A finding: report and abort, so the fuzzer keeps the input.
[[noreturn]] void Fail(const std::string& what);
// A finding when code is not one of the allowed codes.
void Expect(const char* call, unsigned int code, std::initializer_list<unsigned int> allowed);

// Reads one record of type T from the bytes (prepare runs before, inspect after the
// read), then writes what was read, so the writer meets every state a reader leaves.
template <class T, class Prepare, class Inspect>
int ReadRecord(const std::uint8_t* data, std::size_t size, Prepare prepare, Inspect inspect) {
    TMemoryStream is(data, size);
    std::unique_ptr<T> record(new T());
    prepare(*record);
    is >> *record;
    inspect(*record);
    std::ostringstream os;
    os << *record;
    return 0;
}

template <class T>
int ReadRecord(const std::uint8_t* data, std::size_t size) {
    return ReadRecord<T>(data, size, [](T&) {}, [](T&) {});
}

}  // namespace kvmcffuzz

#endif
