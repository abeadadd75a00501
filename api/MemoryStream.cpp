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

TFixedStream::Buf::Buf(std::size_t capacity) : data_(new char[capacity]), capacity_(capacity) {
    setp(data_, data_ + capacity_);
    setg(data_, data_, data_);
}

TFixedStream::Buf::~Buf() { delete[] data_; }

// Reads see what has been written so far.
TFixedStream::Buf::int_type TFixedStream::Buf::underflow() {
    if (gptr() < pptr()) {
        setg(data_, gptr(), pptr());
        return traits_type::to_int_type(*gptr());
    }
    return traits_type::eof();
}

TFixedStream::Buf::pos_type TFixedStream::Buf::seekoff(off_type off, std::ios_base::seekdir dir,
                                                       std::ios_base::openmode which) {
    const off_type written = pptr() - data_;
    const off_type base = dir == std::ios_base::beg ? 0 : dir == std::ios_base::end ? written
                          : (which & std::ios_base::in) ? gptr() - data_ : written;
    const off_type target = base + off;
    if (target < 0 || target > written) return pos_type(off_type(-1));
    if (which & std::ios_base::in) setg(data_, data_ + target, pptr());
    return pos_type(target);
}

TFixedStream::Buf::pos_type TFixedStream::Buf::seekpos(pos_type pos, std::ios_base::openmode which) {
    return seekoff(off_type(pos), std::ios_base::beg, which);
}

TFixedStream::TFixedStream(std::size_t capacity) : std::iostream(nullptr), buf_(capacity) { rdbuf(&buf_); }

TFixedStream::~TFixedStream() = default;
