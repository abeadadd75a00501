// Shared by the fuzz targets: a record read over the fuzzer's bytes, and a walk
// over every exported query that fails loudly on a result code the query may not give.
#ifndef KVMCF_FUZZ_FUZZSUPPORT_H
#define KVMCF_FUZZ_FUZZSUPPORT_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <sstream>

#include "api/MemoryStream.h"

namespace kvmcffuzz {

// Aborts (a finding) when code is not one of the allowed codes.
void Expect(const char* call, unsigned int code, std::initializer_list<unsigned int> allowed);

// Every exported query on whatever is open, in the manager's current read mode.
void QueryEverything();
// Only the frame queries: used again after the read mode changed under an open file.
void QueryFrames();

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
