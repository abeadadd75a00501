#include "support/TestFiles.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <unistd.h>

namespace kvmcftest {

TempFile::TempFile(const std::string& bytes, const std::string& name) {
    const char* base = std::getenv("TMPDIR");
    std::string templ = std::string(base && *base ? base : "/tmp") + "/kvmcftest.XXXXXX";
    if (!mkdtemp(&templ[0])) throw std::runtime_error("mkdtemp failed");
    dir_ = templ;
    path_ = dir_ + "/" + name;
    std::ofstream os(path_, std::ios::binary);
    os.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!os.flush()) throw std::runtime_error("cannot write " + path_);
}

TempFile::~TempFile() {
    std::remove(path_.c_str());
    rmdir(dir_.c_str());
}

std::string EmptyFileBytes(const std::string& magic, unsigned int version, const int counts[5]) {
    std::ostringstream os;
    os << magic << '\n' << version << '\n';
    for (int i = 0; i < 5; ++i) os << counts[i] << '\n';
    return os.str();
}

}  // namespace kvmcftest
