#include "api/FileStreamBuf.h"

#include <algorithm>
#include <cstring>
#include <limits>

TFileStreamBuf::TFileStreamBuf(const char* path, std::size_t bufferSize)
    : capacity_(bufferSize > 0 ? bufferSize : 1) {
    auto file = std::make_shared<const TFileByteSource>(path);
    if (file->IsOpen()) source_ = std::move(file);
}

TFileStreamBuf::TFileStreamBuf(std::shared_ptr<const TByteSource> source, std::size_t bufferSize)
    : source_(std::move(source)), capacity_(bufferSize > 0 ? bufferSize : 1) {}

TFileStreamBuf::~TFileStreamBuf() = default;

TFileStreamBuf::off_type TFileStreamBuf::Position() const {
    return detached_ ? detachedPosition_ : bufferStart_ + (gptr() - eback());
}

TFileStreamBuf::off_type TFileStreamBuf::FileSize() const { return source_ ? source_->Size() : -1; }

std::size_t TFileStreamBuf::ReadAt(char* dest, std::size_t n, off_type at) const {
    if (!source_ || at < 0) return 0;
    return source_->ReadAt(dest, n, static_cast<unsigned long long>(at));
}

// Within the bytes held the buffer is kept, so telling, and seeking back after
// measuring the file, cost no read.
void TFileStreamBuf::MoveTo(off_type target) {
    if (buffer_ && target >= bufferStart_ && target <= bufferStart_ + static_cast<off_type>(bufferLength_)) {
        detached_ = false;
        char* b = buffer_.get();
        setg(b, b + (target - bufferStart_), b + bufferLength_);
        return;
    }
    detached_ = true;
    detachedPosition_ = target;
    textEnd_ = -1;
    char* b = buffer_.get();
    setg(b, b, b);
}

void TFileStreamBuf::TextAhead(unsigned long long bytes) {
    const off_type at = Position();
    textEnd_ = bytes > static_cast<unsigned long long>(std::numeric_limits<off_type>::max() - at)
                   ? std::numeric_limits<off_type>::max()
                   : at + static_cast<off_type>(bytes);
}

TFileStreamBuf::int_type TFileStreamBuf::underflow() {
    if (gptr() < egptr()) return traits_type::to_int_type(*gptr());
    const off_type at = Position();
    if (!buffer_) buffer_.reset(new char[capacity_]);
    std::size_t want = 1;
    if (textEnd_ < 0) {
        window_ = at == filledTo_ && window_ > 0 ? std::min(capacity_, 2 * window_) : std::min(capacity_, kFirstFill);
        want = window_;
    } else if (at < textEnd_) {
        // Up to the end of the known text; past it only the byte asked for.
        want = static_cast<std::size_t>(std::min<off_type>(textEnd_ - at, static_cast<off_type>(capacity_)));
    }
    bufferLength_ = ReadAt(buffer_.get(), want, at);
    bufferStart_ = at;
    filledTo_ = at + static_cast<off_type>(bufferLength_);
    detached_ = false;
    char* b = buffer_.get();
    setg(b, b, b + bufferLength_);
    return bufferLength_ > 0 ? traits_type::to_int_type(*b) : traits_type::eof();
}

std::streamsize TFileStreamBuf::xsgetn(char* s, std::streamsize n) {
    if (textEnd_ >= 0) {  // raw bytes: the text has ended, and reading ahead starts again
        textEnd_ = -1;
        window_ = 0;
    }
    std::streamsize done = 0;
    while (done < n) {
        const std::streamsize held = egptr() - gptr();
        if (held > 0) {
            const std::streamsize take = n - done < held ? n - done : held;
            std::memcpy(s + done, gptr(), static_cast<std::size_t>(take));
            setg(eback(), gptr() + take, egptr());  // gbump takes an int
            done += take;
            continue;
        }
        const std::size_t want = static_cast<std::size_t>(n - done);
        if (want >= capacity_) {
            // Large reads go straight to the caller; the buffer stays as it was.
            const off_type at = Position();
            const std::size_t got = ReadAt(s + done, want, at);
            done += static_cast<std::streamsize>(got);
            MoveTo(at + static_cast<off_type>(got));
            if (got < want) break;
            continue;
        }
        if (traits_type::eq_int_type(underflow(), traits_type::eof())) break;
    }
    return done;
}

std::streamsize TFileStreamBuf::showmanyc() {
    const std::streamsize held = egptr() - gptr();
    if (held > 0) return held;
    const off_type size = FileSize();
    if (size < 0) return 0;
    const off_type left = size - Position();
    return left > 0 ? static_cast<std::streamsize>(left) : -1;
}

// Like a file stream, a position past the end may be set; reads there find the end.
TFileStreamBuf::pos_type TFileStreamBuf::seekoff(off_type off, std::ios_base::seekdir dir,
                                                 std::ios_base::openmode which) {
    if (!(which & std::ios_base::in) || !source_) return pos_type(off_type(-1));
    off_type base = 0;
    if (dir == std::ios_base::cur) {
        base = Position();
    } else if (dir == std::ios_base::end) {
        base = FileSize();
        if (base < 0) return pos_type(off_type(-1));
    }
    if (off > 0 && base > std::numeric_limits<off_type>::max() - off) return pos_type(off_type(-1));
    const off_type target = base + off;
    if (target < 0) return pos_type(off_type(-1));
    if (!(dir == std::ios_base::cur && off == 0)) MoveTo(target);
    return pos_type(target);
}

TFileStreamBuf::pos_type TFileStreamBuf::seekpos(pos_type pos, std::ios_base::openmode which) {
    return seekoff(off_type(pos), std::ios_base::beg, which);
}

TFileStream::TFileStream(const char* path) : std::istream(nullptr), buf_(path) {
    rdbuf(&buf_);
    if (!buf_.IsOpen()) setstate(std::ios_base::failbit);
}

TFileStream::TFileStream(std::shared_ptr<const TByteSource> source) : std::istream(nullptr), buf_(std::move(source)) {
    rdbuf(&buf_);
    if (!buf_.IsOpen()) setstate(std::ios_base::failbit);
}
