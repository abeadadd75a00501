// Read-only input stream over a caller's bytes. The bytes are not copied.
#ifndef KVMCF_API_MEMORYSTREAM_H
#define KVMCF_API_MEMORYSTREAM_H

#include <cstddef>
#include <istream>
#include <streambuf>

#include "records/RecordLexer.h"

// The record lexer reads its numbers in place.
class TMemoryStreamBuf : public TExposedStreamBuf {
public:
    TMemoryStreamBuf(const char* data, std::size_t size);

protected:
    pos_type seekoff(off_type off, std::ios_base::seekdir dir, std::ios_base::openmode which) override;
    pos_type seekpos(pos_type pos, std::ios_base::openmode which) override;
    std::streamsize xsgetn(char* s, std::streamsize n) override;
    std::streamsize showmanyc() override;

private:
    char* begin_;
    char* end_;
};

class TMemoryStream : public std::istream {
public:
    TMemoryStream(const void* data, std::size_t size);

private:
    TMemoryStreamBuf buf_;
};

// A read-write stream over a fixed buffer: writing past its end fails the stream.
class TFixedStream : public std::iostream {
public:
    explicit TFixedStream(std::size_t capacity);
    ~TFixedStream() override;

private:
    class Buf : public std::streambuf {
    public:
        explicit Buf(std::size_t capacity);
        ~Buf() override;

    protected:
        int_type underflow() override;
        pos_type seekoff(off_type off, std::ios_base::seekdir dir, std::ios_base::openmode which) override;
        pos_type seekpos(pos_type pos, std::ios_base::openmode which) override;

    private:
        char* data_;
        std::size_t capacity_;
    };
    Buf buf_;
};

#endif
