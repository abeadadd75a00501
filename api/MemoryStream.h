// Read-only input stream over a caller's bytes. The bytes are not copied.
#ifndef KVMCF_API_MEMORYSTREAM_H
#define KVMCF_API_MEMORYSTREAM_H

#include <cstddef>
#include <istream>
#include <streambuf>

class TMemoryStreamBuf : public std::streambuf {
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

#endif
