// Counts, lengths and offsets that claim more than the file holds must fail before
// anything is allocated or sought for them. Each open runs in a child process whose
// address space is limited to 256 MiB; since a reader may catch the failed allocation
// and still report a format error, the child also exits with its own code the moment
// anything asks for more than that limit in one piece.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <new>
#include <string>

#include "api/MCFIOManager.h"
#include "api/kvmcfio.h"
#include "support/HandTypedFile.h"
#include "support/TestFiles.h"

#if defined(__SANITIZE_ADDRESS__)
#define KVMCF_ASAN 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KVMCF_ASAN 1
#endif
#endif

namespace {

const rlim_t kAddressSpace = 256ull << 20;
const int kSecondsAllowed = 5;  // a claim walked a step at a time takes far longer
const int kAllocatedForClaim = 254;
bool gWatchAllocations = false;

}  // namespace

#ifndef KVMCF_ASAN
void* operator new(std::size_t size) {
    if (gWatchAllocations && size > kAddressSpace) _exit(kAllocatedForClaim);
    if (void* p = std::malloc(size ? size : 1)) return p;
    throw std::bad_alloc();
}
void operator delete(void* p) noexcept { std::free(p); }
void operator delete(void* p, std::size_t) noexcept { std::free(p); }
#endif

namespace {

// The result code of one open in a limited child; -1 when the child was killed (by
// the alarm too) or failed in another way, -2 when it asked for more memory than the
// limit in one piece.
int OpenInChild(const std::string& bytes, KVMCF_ReadMode mode, bool fromBytes) {
    kvmcftest::TempFile file(bytes);
    const pid_t pid = fork();
    if (pid == 0) {
        const rlimit limit = {kAddressSpace, kAddressSpace};
        setrlimit(RLIMIT_AS, &limit);
        alarm(kSecondsAllowed);
        gWatchAllocations = true;
        unsigned int result = 0;
        try {
            KVMCF_SetFileAccessMode(mode);
            std::string copy = bytes;
            result = fromBytes ? KVMCF_ReadFromByteArray(reinterpret_cast<unsigned char*>(&copy[0]),
                                                         static_cast<unsigned int>(copy.size()))
                               : KVMCF_ReadFromFile(file.CPath());
        } catch (const TMCFLoadException&) {
            result = KVMCF_FORMAT_ERROR;
        } catch (...) {
            _exit(255);
        }
        _exit(static_cast<int>(result - 22000));
    }
    int status = 0;
    waitpid(pid, &status, 0);
    if (!WIFEXITED(status) || WEXITSTATUS(status) == 255) return -1;
    if (WEXITSTATUS(status) == kAllocatedForClaim) return -2;
    return 22000 + WEXITSTATUS(status);
}

std::string Replaced(std::string text, const std::string& anchor, std::size_t at, std::size_t n, const char* with) {
    const std::size_t found = text.find(anchor);
    return found == std::string::npos ? "" : text.replace(found + at, n, with);
}

}  // namespace

TEST(BoundedMemory, HugeClaimsFailPromptlyWithTheirCodes) {
#ifdef KVMCF_ASAN
    GTEST_SKIP() << "the address sanitizer reserves terabytes of shadow memory: no address-space limit fits";
#endif
    const std::string file = kvmcftest::HandTypedFile();
    // The signal's image data counts: frames at 14, sub-images at 16, frame length at 20.
    const std::string counts = "\n65541 1 1 2 1 3 1 6 2\n";
    const struct {
        const char* what;
        std::string bytes;
        unsigned int code;
    } cases[] = {
        {"2^31 frames", Replaced(file, counts, 15, 1, "2147483648"), KVMCF_FORMAT_ERROR},
        {"2^31 sub-images", Replaced(file, counts, 17, 1, "2147483648"), KVMCF_FORMAT_ERROR},
        {"frame length 2^32 - 1", Replaced(file, counts, 21, 1, "4294967295"), KVMCF_FORMAT_ERROR},
        {"text of 2^31 - 1 bytes", Replaced(file, "12\nTest head 76", 0, 2, "2147483647"), KVMCF_FORMAT_ERROR},
        // Offsets before the start of the file fail the stream: a file error, not a format error.
        {"section of 2^63 bytes", file + "<x/>" + std::string("\0\0\0\0\0\0\0\x80", 8) + "MCFX", KVMCF_FILE_ERROR},
        {"the file unharmed", file, KVMCF_SUCCESS},
    };
    for (const auto& c : cases)
        for (KVMCF_ReadMode mode : {KVMCF_READ_ALL, KVMCF_READ_HEADER_ONLY})
            for (bool fromBytes : {false, true}) {
                SCOPED_TRACE(std::string(c.what) + (fromBytes ? ", byte array" : ", path") + ", mode " +
                             std::to_string(mode));
                ASSERT_FALSE(c.bytes.empty());
                EXPECT_EQ(OpenInChild(c.bytes, mode, fromBytes), static_cast<int>(c.code));
            }
}
