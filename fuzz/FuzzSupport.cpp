#include "fuzz/FuzzSupport.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

// Present when a sanitizer runtime is linked in (fuzz and sanitizer builds).
extern "C" void __sanitizer_set_report_fd(void* fd) __attribute__((weak));

namespace kvmcffuzz {

namespace {
// Where findings are written: the real standard error, also while it is captured.
int reportFd = 2;
}  // namespace

void Fail(const std::string& what) {
    dprintf(reportFd, "finding: %s\n", what.c_str());
    std::abort();
}

void Expect(const char* call, unsigned int code, std::initializer_list<unsigned int> allowed) {
    for (unsigned int a : allowed)
        if (code == a) return;
    Fail(std::string(call) + " returned " + std::to_string(code));
}

namespace {

std::string scratch;

void RemoveScratch() {
    std::error_code ec;
    if (!scratch.empty()) std::filesystem::remove_all(scratch, ec);
}

const std::string& CapturePath() {
    static const std::string path = ScratchFolder() + "/.captured";
    return path;
}

}  // namespace

const std::string& ScratchFolder() {
    if (scratch.empty()) {
        const char* dir = std::getenv("TMPDIR");
        std::string templ = std::string(dir && *dir ? dir : "/tmp") + "/kvmcf-fuzz-XXXXXX";
        if (!mkdtemp(&templ[0])) std::abort();
        scratch = templ;
        std::atexit(RemoveScratch);
    }
    return scratch;
}

void WriteBytes(const std::string& path, const std::uint8_t* data, std::size_t size) {
    std::FILE* f = std::fopen(path.c_str(), "wb");
    if (!f || (size > 0 && std::fwrite(data, 1, size, f) != size) || std::fclose(f) != 0) {
        std::perror(path.c_str());
        std::abort();
    }
}

std::string ReadBytes(const std::string& path) {
    std::ifstream is(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(is), std::istreambuf_iterator<char>());
}

bool Exists(const std::string& path) {
    std::error_code ec;
    return std::filesystem::exists(path, ec);
}

std::vector<std::string> Entries(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(folder, ec)) names.push_back(e.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

CapturedOutput::CapturedOutput() {
    std::fflush(stdout);
    std::fflush(stderr);
    savedOut_ = dup(1);
    savedErr_ = dup(2);
    if (reportFd == 2) {
        reportFd = dup(2);
        if (__sanitizer_set_report_fd) __sanitizer_set_report_fd(reinterpret_cast<void*>(static_cast<std::intptr_t>(reportFd)));
    }
    const int fd = open(CapturePath().c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0 || savedOut_ < 0 || savedErr_ < 0) std::abort();
    dup2(fd, 1);
    dup2(fd, 2);
    close(fd);
}

CapturedOutput::~CapturedOutput() {
    std::fflush(stdout);
    std::fflush(stderr);
    dup2(savedOut_, 1);
    dup2(savedErr_, 2);
    close(savedOut_);
    close(savedErr_);
}

std::string CapturedOutput::Text() {
    std::fflush(stdout);
    std::fflush(stderr);
    return ReadBytes(CapturePath());
}

}  // namespace kvmcffuzz
