#include "api/ByteSource.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

TByteSource::~TByteSource() = default;

TFileByteSource::TFileByteSource(const char* path) {
    if (!path) return;
    do {
        fd_ = ::open(path, O_RDONLY | O_CLOEXEC);
    } while (fd_ < 0 && errno == EINTR);
}

TFileByteSource::~TFileByteSource() {
    if (owned_ && fd_ >= 0) ::close(fd_);
}

long long TFileByteSource::Size() const {
    struct stat st {};
    if (fd_ < 0 || ::fstat(fd_, &st) != 0) return -1;
    return st.st_size;
}

std::size_t TFileByteSource::ReadAt(void* dest, std::size_t n, unsigned long long offset) const {
    const unsigned long long maxOffset = static_cast<unsigned long long>(std::numeric_limits<off_t>::max());
    if (fd_ < 0 || offset > maxOffset) return 0;
    n = static_cast<std::size_t>(std::min<unsigned long long>(n, maxOffset - offset));
    char* to = static_cast<char*>(dest);
    std::size_t got = 0;
    while (got < n) {
        const ssize_t r = ::pread(fd_, to + got, n - got, static_cast<off_t>(offset + got));
        if (r < 0 && errno == EINTR) continue;
        if (r <= 0) break;
        got += static_cast<std::size_t>(r);
    }
    return got;
}

std::size_t TMemoryByteSource::ReadAt(void* dest, std::size_t n, unsigned long long offset) const {
    if (offset >= size_) return 0;
    const std::size_t take = std::min<std::size_t>(n, size_ - static_cast<std::size_t>(offset));
    std::memcpy(dest, bytes_ + offset, take);
    return take;
}

std::size_t TCallbackByteSource::ReadAt(void* dest, std::size_t n, unsigned long long offset) const {
    if (offset >= size_) return 0;
    // Never more than the source holds, whatever the callback would give.
    n = static_cast<std::size_t>(std::min<unsigned long long>(n, size_ - offset));
    char* to = static_cast<char*>(dest);
    std::size_t got = 0;
    try {
        // A callback may give fewer bytes than asked for; it has ended when it gives none.
        while (got < n) {
            const std::size_t r = std::min(read_(offset + got, to + got, n - got), n - got);
            if (r == 0) break;
            got += r;
        }
        return got;
    } catch (...) {
        std::lock_guard<std::mutex> lock(errorLock_);
        if (!error_) error_ = std::current_exception();
    }
    return 0;
}

std::exception_ptr TCallbackByteSource::TakeError() const {
    std::lock_guard<std::mutex> lock(errorLock_);
    std::exception_ptr e = error_;
    error_ = nullptr;
    return e;
}
