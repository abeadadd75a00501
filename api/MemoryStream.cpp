#include "api/MemoryStream.h"

#include <cstring>

// std::streambuf wants char* get pointers; the buffer is never written through them.
TMemoryStreamBuf::TMemoryStreamBuf(const char* data, std::size_t size)
    : begin_(const_cast<char*>(data)), end_(const_cast<char*>(data) + size) {
    setg(begin_, begin_, end_);
}

TMemoryStreamBuf::pos_type TMemoryStreamBuf::seekoff(off_type off, std::ios_base::seekdir dir,
                                                     std::ios_base::openmode which) {
    if (!(which & std::ios_base::in)) return pos_type(off_type(-1));
    const off_type size = end_ - begin_;
    off_type base = 0;
    if (dir == std::ios_base::cur)
        base = gptr() - begin_;
    else if (dir == std::ios_base::end)
        base = size;
    const off_type target = base + off;
    if (target < 0 || target > size) return pos_type(off_type(-1));
    setg(begin_, begin_ + target, end_);
    return pos_type(target);
}

TMemoryStreamBuf::pos_type TMemoryStreamBuf::seekpos(pos_type pos, std::ios_base::openmode which) {
    return seekoff(off_type(pos), std::ios_base::beg, which);
}

std::streamsize TMemoryStreamBuf::xsgetn(char* s, std::streamsize n) {
    const std::streamsize avail = egptr() - gptr();
    const std::streamsize take = n < avail ? n : avail;
    if (take > 0) {
        std::memcpy(s, gptr(), static_cast<std::size_t>(take));
        setg(eback(), gptr() + take, egptr());  // gbump takes an int; arrays may pass 2 GiB
    }
    return take;
}

std::streamsize TMemoryStreamBuf::showmanyc() {
    const std::streamsize avail = egptr() - gptr();
    return avail > 0 ? avail : -1;
}

TMemoryStream::TMemoryStream(const void* data, std::size_t size)
    : std::istream(nullptr), buf_(static_cast<const char*>(data), size) {
    rdbuf(&buf_);
}
