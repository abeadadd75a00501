// Shared by the fuzz targets: findings, and a record read over the fuzzer's bytes.
#ifndef KVMCF_FUZZ_FUZZSUPPORT_H
#define KVMCF_FUZZ_FUZZSUPPORT_H

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "api/MemoryStream.h"

namespace kvmcffuzz {

// A finding: report and abort, so the fuzzer keeps the input.
[[noreturn]] void Fail(const std::string& what);
// A finding when code is not one of the allowed codes.
void Expect(const char* call, unsigned int code, std::initializer_list<unsigned int> allowed);

// Reads one record of type T from the bytes (prepare runs before, inspect after the
// read), then writes what was read, so the writer meets every state a reader leaves.
// A folder of this process's own, removed at exit; inputs and outputs of the targets
// that go through files live there.
const std::string& ScratchFolder();
void WriteBytes(const std::string& path, const std::uint8_t* data, std::size_t size);
// The whole file; empty when it cannot be read.
std::string ReadBytes(const std::string& path);
bool Exists(const std::string& path);
// Names of the folder's entries, sorted.
std::vector<std::string> Entries(const std::string& folder);

// While alive, the process's standard output and error go to a file, so a tool's
// messages can be checked; sanitizer reports still reach the real standard error.
class CapturedOutput {
public:
    CapturedOutput();
    ~CapturedOutput();
    CapturedOutput(const CapturedOutput&) = delete;
    CapturedOutput& operator=(const CapturedOutput&) = delete;
    // What was written so far to standard output and error.
    std::string Text();

private:
    int savedOut_, savedErr_;
};

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
