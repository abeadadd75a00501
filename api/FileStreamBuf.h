// Read-only input stream over a file or any other random-access byte source, with a
// large buffer the record lexer reads in place. Frames are read straight into the
// caller's memory, past the buffer.
#ifndef KVMCF_API_FILESTREAMBUF_H
#define KVMCF_API_FILESTREAMBUF_H

#include <cstddef>
#include <istream>
#include <memory>

#include "api/ByteSource.h"

#include "records/RecordLexer.h"

class TFileStreamBuf : public TExposedStreamBuf {
public:
    static constexpr std::size_t kDefaultBufferSize = std::size_t(1) << 17;
    // Reading ahead starts with this many bytes and doubles with every fill that
    // follows the last, up to the buffer's size: a small file's records are read
    // without the pixels after them, a long series' records at full size.
    static constexpr std::size_t kFirstFill = std::size_t(1) << 10;

    // A path that cannot be opened leaves the buffer closed: every read finds the end.
    explicit TFileStreamBuf(const char* path, std::size_t bufferSize = kDefaultBufferSize);
    // Reads through a source the caller may share (frames are read from it too).
    explicit TFileStreamBuf(std::shared_ptr<const TByteSource> source, std::size_t bufferSize = kDefaultBufferSize);
    ~TFileStreamBuf() override;
    TFileStreamBuf(const TFileStreamBuf&) = delete;
    TFileStreamBuf& operator=(const TFileStreamBuf&) = delete;

    bool IsOpen() const { return source_ != nullptr; }
    void TextAhead(unsigned long long bytes) override;

protected:
    int_type underflow() override;
    std::streamsize xsgetn(char* s, std::streamsize n) override;
    std::streamsize showmanyc() override;
    pos_type seekoff(off_type off, std::ios_base::seekdir dir, std::ios_base::openmode which) override;
    pos_type seekpos(pos_type pos, std::ios_base::openmode which) override;

private:
    off_type Position() const;
    off_type FileSize() const;
    // Reads up to n bytes at a file offset; 0 at the end of the file or on an error.
    std::size_t ReadAt(char* dest, std::size_t n, off_type at) const;
    void MoveTo(off_type target);

    std::shared_ptr<const TByteSource> source_;
    std::unique_ptr<char[]> buffer_;
    std::size_t capacity_;
    // The buffer holds the file's bytes [bufferStart_, bufferStart_ + bufferLength_).
    off_type bufferStart_ = 0;
    std::size_t bufferLength_ = 0;
    // After a seek outside the buffer the get area is empty and this is the position.
    bool detached_ = false;
    off_type detachedPosition_ = 0;
    // Where the last fill ended, and its size: the next fill from there doubles it.
    off_type filledTo_ = -1;
    std::size_t window_ = 0;
    // Record text is known to reach this far (-1: not known).
    off_type textEnd_ = -1;
};

// The stream is not good when the path cannot be opened.
class TFileStream : public std::istream {
public:
    explicit TFileStream(const char* path);
    explicit TFileStream(std::shared_ptr<const TByteSource> source);

private:
    TFileStreamBuf buf_;
};

#endif
