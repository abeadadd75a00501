// Where the bytes of a file come from: its size, and "copy these bytes at this
// offset". The parser, the frame reads and the diagnosis see only this, so a path,
// the caller's bytes and a caller's read callback are sources behind one parser.
// Positioned reads keep no shared position: several threads may read at once.
#ifndef KVMCF_API_BYTESOURCE_H
#define KVMCF_API_BYTESOURCE_H

#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>

class TByteSource {
public:
    virtual ~TByteSource();
    // Bytes the source holds now; -1 when it cannot tell.
    virtual long long Size() const = 0;
    // Copies up to n bytes at offset into dest and returns how many; fewer only at the
    // end of the source or when it fails.
    virtual std::size_t ReadAt(void* dest, std::size_t n, unsigned long long offset) const = 0;
};

// A file, read with pread; the size is asked each time, so a file that shrinks is seen.
class TFileByteSource : public TByteSource {
public:
    // Takes a descriptor open for reading, closed with the source when owned.
    TFileByteSource(int fd, bool owned) : fd_(fd), owned_(owned) {}
    // Opens path; IsOpen() tells whether the system did.
    explicit TFileByteSource(const char* path);
    ~TFileByteSource() override;
    TFileByteSource(const TFileByteSource&) = delete;
    TFileByteSource& operator=(const TFileByteSource&) = delete;

    bool IsOpen() const { return fd_ >= 0; }
    int Descriptor() const { return fd_; }
    long long Size() const override;
    std::size_t ReadAt(void* dest, std::size_t n, unsigned long long offset) const override;

private:
    int fd_ = -1;
    bool owned_ = true;
};

// The caller's bytes, not copied.
class TMemoryByteSource : public TByteSource {
public:
    TMemoryByteSource(const void* bytes, std::size_t size)
        : bytes_(static_cast<const unsigned char*>(bytes)), size_(size) {}
    const unsigned char* Bytes() const { return bytes_; }
    long long Size() const override { return static_cast<long long>(size_); }
    std::size_t ReadAt(void* dest, std::size_t n, unsigned long long offset) const override;

private:
    const unsigned char* bytes_;
    std::size_t size_;
};

// A caller's read callback over a source of known size. An exception the callback
// throws is kept (the read counts as failed) until TakeError() hands it back, so a
// stream reading through the source fails cleanly and the caller still learns why.
class TCallbackByteSource : public TByteSource {
public:
    using Read = std::function<std::size_t(unsigned long long offset, void* dest, std::size_t n)>;
    TCallbackByteSource(Read read, unsigned long long size) : read_(std::move(read)), size_(size) {}
    long long Size() const override { return static_cast<long long>(size_); }
    std::size_t ReadAt(void* dest, std::size_t n, unsigned long long offset) const override;
    // The first exception a read threw since the last call, or null.
    std::exception_ptr TakeError() const;

private:
    Read read_;
    unsigned long long size_;
    mutable std::mutex errorLock_;
    mutable std::exception_ptr error_;
};

#endif
