// Helpers for tests that need files on disk or byte images of files.
#ifndef KVMCF_TESTS_SUPPORT_TESTFILES_H
#define KVMCF_TESTS_SUPPORT_TESTFILES_H

#include <string>

namespace kvmcftest {

// A file in a fresh temporary folder, removed with the object.
class TempFile {
public:
    explicit TempFile(const std::string& bytes, const std::string& name = "test.mcf");
    ~TempFile();
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    const std::string& Path() const { return path_; }
    // The path as the C interface takes it.
    char* CPath() { return &path_[0]; }

private:
    std::string dir_;
    std::string path_;
};

// Magic line, version word and five source counts, with no images.
std::string EmptyFileBytes(const std::string& magic, unsigned int version, const int counts[5]);

}  // namespace kvmcftest

#endif
