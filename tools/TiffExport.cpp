#include "tools/TiffExport.h"

#include <fcntl.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <numeric>

namespace kvmcftools {

namespace {

// Directories are gathered into writes of about this size.
const std::size_t kDirectoryBytes = 4u << 20;

enum FieldType : std::uint16_t { kAscii = 2, kShort = 3, kLong = 4, kRational = 5, kLong8 = 16 };

void Put(std::string& out, std::uint64_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
}

std::string Le(std::uint64_t v, int bytes) {
    std::string out;
    Put(out, v, bytes);
    return out;
}

// One directory entry with its value as the file holds it, little-endian.
struct Entry {
    std::uint16_t tag;
    std::uint16_t type;
    std::uint64_t count;
    std::string value;
};

Entry Short(std::uint16_t tag, unsigned int v) { return {tag, kShort, 1, Le(v, 2)}; }
Entry Long(std::uint16_t tag, std::uint32_t v) { return {tag, kLong, 1, Le(v, 4)}; }
Entry Ascii(std::uint16_t tag, const std::string& text) {
    return {tag, kAscii, text.size() + 1, text + std::string(1, '\0')};
}

// A positive number as a fraction of 32-bit integers, as precise as they allow.
Entry Rational(std::uint16_t tag, double r) {
    std::uint64_t numerator = 1, denominator = 1;
    if (std::isfinite(r) && r > 0 && r < 4e9) {
        while (denominator < 1000000000ULL && r * static_cast<double>(denominator) * 10 < 4294967295.0)
            denominator *= 10;
        numerator = std::max<std::uint64_t>(1, static_cast<std::uint64_t>(std::llround(r * static_cast<double>(denominator))));
        const std::uint64_t common = std::gcd(numerator, denominator);
        numerator /= common;
        denominator /= common;
    }
    return {tag, kRational, 1, Le(numerator, 4) + Le(denominator, 4)};
}

// A directory placed at `at` with the values that do not fit an entry right after it;
// next is the following directory, 0 for the last. Every size here is even, so values
// stay on word boundaries.
std::string Directory(bool big, std::uint64_t at, const std::vector<Entry>& entries, std::uint64_t next) {
    const int countBytes = big ? 8 : 2, entryBytes = big ? 20 : 12, offsetBytes = big ? 8 : 4;
    std::string d, values;
    Put(d, entries.size(), countBytes);
    const std::uint64_t valuesAt = at + countBytes + entries.size() * entryBytes + offsetBytes;
    for (const Entry& e : entries) {
        Put(d, e.tag, 2);
        Put(d, e.type, 2);
        Put(d, e.count, offsetBytes);
        if (e.value.size() <= static_cast<std::size_t>(offsetBytes)) {
            d += e.value;
            d.append(offsetBytes - e.value.size(), '\0');
        } else {
            Put(d, valuesAt + values.size(), offsetBytes);
            values += e.value;
            if (values.size() % 2) values.push_back('\0');
        }
    }
    Put(d, next, offsetBytes);
    return d + values;
}

// What every page shares, and what only the first page carries.
struct PageTags {
    std::uint32_t width = 0, height = 0;
    double xResolution = 1, yResolution = 1;
    std::string description, json;
};

// A page's entries in tag order, its pixels as one strip at dataOffset.
std::vector<Entry> PageEntries(bool big, const PageTags& tags, bool first, std::uint64_t dataOffset) {
    const std::uint64_t bytes = 4ULL * tags.width * tags.height;
    const auto offset = [&](std::uint16_t tag, std::uint64_t v) {
        return big ? Entry{tag, kLong8, 1, Le(v, 8)} : Long(tag, static_cast<std::uint32_t>(v));
    };
    std::vector<Entry> e{Long(256, tags.width), Long(257, tags.height), Short(258, 32), Short(259, 1),
                         Short(262, 1)};  // 32 bits, uncompressed, zero is black
    if (first) e.push_back(Ascii(270, tags.description));
    e.push_back(offset(273, dataOffset));
    e.push_back(Short(277, 1));
    e.push_back(Long(278, tags.height));  // one strip per page
    e.push_back(offset(279, bytes));
    e.push_back(Rational(282, tags.xResolution));
    e.push_back(Rational(283, tags.yResolution));
    e.push_back(Short(284, 1));  // contiguous samples
    e.push_back(Short(296, 1));  // resolution in the description's unit
    if (first) e.push_back(Ascii(305, "kvmcf export"));
    e.push_back(Short(339, 3));  // IEEE floating point
    if (first) e.push_back(Ascii(static_cast<std::uint16_t>(kTiffPropertiesTag), tags.json));
    return e;
}

// Writes the pieces in order at pos, however many calls the system takes; the
// pieces are used up.
bool WritePieces(int fd, std::vector<iovec>& pieces, std::uint64_t& pos) {
    std::size_t i = 0;
    while (i < pieces.size()) {
        if (pieces[i].iov_len == 0) {
            ++i;
            continue;
        }
        const int n = static_cast<int>(std::min<std::size_t>(pieces.size() - i, IOV_MAX));
        const ssize_t written = ::pwritev(fd, &pieces[i], n, static_cast<off_t>(pos));
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return false;
        pos += static_cast<std::uint64_t>(written);
        std::size_t left = static_cast<std::size_t>(written);
        while (left > 0) {
            if (left >= pieces[i].iov_len) {
                left -= pieces[i].iov_len;
                ++i;
            } else {
                pieces[i].iov_base = static_cast<char*>(pieces[i].iov_base) + left;
                pieces[i].iov_len -= left;
                left = 0;
            }
        }
    }
    pieces.clear();
    return true;
}

bool WriteBytes(int fd, const std::string& bytes, std::uint64_t& pos) {
    std::vector<iovec> one{{const_cast<char*>(bytes.data()), bytes.size()}};
    return WritePieces(fd, one, pos);
}

// Adds bytes to the pieces, joining them to the last piece when they follow it in memory.
void AddPiece(std::vector<iovec>& pieces, const unsigned char* bytes, std::size_t size) {
    if (!pieces.empty() && static_cast<const unsigned char*>(pieces.back().iov_base) + pieces.back().iov_len == bytes) {
        pieces.back().iov_len += size;
        return;
    }
    pieces.push_back({const_cast<unsigned char*>(bytes), size});
}

class Descriptor {
public:
    explicit Descriptor(int fd) : fd_(fd) {}
    ~Descriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    int get() const { return fd_; }
    bool Close() {
        const int fd = fd_;
        fd_ = -1;
        return ::close(fd) == 0;
    }

private:
    int fd_;
};

}  // namespace

std::string StackDescription(unsigned int channels, unsigned int frames, const std::string& xUnit,
                             const std::optional<LinearAxis>& x, double interval) {
    std::string d = "ImageJ=1.11a\nimages=" + std::to_string(channels * frames) + "\n";
    if (channels > 1) d += "channels=" + std::to_string(channels) + "\n";
    if (frames > 1) d += "frames=" + std::to_string(frames) + "\n";
    if (channels > 1 && frames > 1) d += "hyperstack=true\n";
    char text[64];
    if (!xUnit.empty() && x && x->step > 0) {
        // Stack programs compute value = (column - xorigin) * pixel width.
        std::snprintf(text, sizeof text, "unit=%s\nyunit=pixel\nxorigin=%.17g\n", xUnit.c_str(), -x->origin / x->step);
        d += text;
    }
    if (frames > 1 && interval > 0) {
        std::snprintf(text, sizeof text, "finterval=%.7g\n", interval);
        d += text;
    }
    return d + "loop=false\n";
}

bool WriteTiff(const ExportJob& job, std::string* why, unsigned long long classicLimit) {
    const kvmcf::Source& source = *job.source;
    const Plane& shape = job.planes.front();
    auto failed = [&]() {
        *why = "cannot write " + job.name + ": " + std::strerror(errno);
        return false;
    };
    if (shape.columns > UINT32_MAX || shape.rows > UINT32_MAX) {
        *why = "cannot write " + job.name + ": a page of " + std::to_string(shape.columns) + " columns is too large";
        return false;
    }

    PageTags tags;
    tags.width = static_cast<std::uint32_t>(shape.columns);
    tags.height = static_cast<std::uint32_t>(shape.rows);
    const kvmcf::Axis xAxis = source.xAxis();
    const std::optional<LinearAxis> x = FitLine(PlaneXValues(xAxis, shape));
    const bool xCal = IsCalibrated(xAxis) && x && x->step > 0;
    if (xCal) tags.xResolution = 1 / x->step;
    const std::vector<double> times = FrameTimes(source, job.range);
    const double interval =
        times.size() > 1 ? (times.back() - times.front()) / static_cast<double>(times.size() - 1) : 0;
    tags.description = StackDescription(static_cast<unsigned int>(job.planes.size()), job.range.count,
                                        xCal ? UnitText(xAxis.unit) : "", x, interval);
    tags.json = CalibrationJson(*job.file, source, job.range, job.planes, true);

    const std::uint64_t pageBytes = 4ULL * shape.Pixels();
    const std::uint64_t pages = static_cast<std::uint64_t>(job.range.count) * job.planes.size();
    const std::uint64_t dataBytes = pageBytes * pages;
    // Sizes do not depend on the offsets written into them: lay out once with zeros.
    auto layout = [&](bool big, std::uint64_t* dataStart, std::uint64_t* otherSize) {
        const std::uint64_t header = big ? 16 : 8;
        const std::uint64_t first = Directory(big, header, PageEntries(big, tags, true, 0), 0).size();
        *dataStart = (header + first + 4095) / 4096 * 4096;
        *otherSize = Directory(big, 0, PageEntries(big, tags, false, 0), 0).size();
        return *dataStart + dataBytes + (pages - 1) * *otherSize;
    };
    std::uint64_t dataStart = 0, otherSize = 0;
    const bool big = layout(false, &dataStart, &otherSize) > classicLimit;
    layout(big, &dataStart, &otherSize);
    const std::uint64_t othersStart = dataStart + dataBytes;

    // The output is new and empty: truncating it would make the file system start
    // writing it back on close, as it does for a file replaced by truncation.
    Descriptor fd(::open(job.path.c_str(), O_WRONLY | O_CLOEXEC));
    if (fd.get() < 0) return failed();
    std::string head = big ? std::string("II\x2B\0\x08\0\0\0", 8) + Le(16, 8) : std::string("II\x2A\0", 4) + Le(8, 4);
    head += Directory(big, head.size(), PageEntries(big, tags, true, dataStart), pages > 1 ? othersStart : 0);
    head.resize(dataStart, '\0');
    std::uint64_t pos = 0;
    if (!WriteBytes(fd.get(), head, pos)) return failed();

    // Every page's rows, top row first, from the buffer the frames are read into.
    const std::size_t rowBytes = 4 * shape.columns;
    const std::size_t frameBytes = 4 * static_cast<std::size_t>(source.frameLength());
    std::vector<iovec> pieces;
    auto large = [&](unsigned int frame, std::size_t plane, std::size_t first, std::size_t count,
                     const unsigned char* rows) {
        const std::uint64_t page = (frame - job.range.first) * job.planes.size() + plane;
        std::uint64_t at = dataStart + page * pageBytes + (shape.rows - first - count) * rowBytes;
        for (std::size_t r = count; r-- > 0;) AddPiece(pieces, rows + r * rowBytes, rowBytes);
        return WritePieces(fd.get(), pieces, at) || failed();
    };
    const bool ok = LargeFrames(source) ? ForEachRowRun(*job.file, source, job.range, job.planes, job.progress, large, why)
                                        : ForEachFrameBlock(*job.file, source, job.range, job.progress,
                                      [&](unsigned int, unsigned int count, const unsigned char* block) {
        for (unsigned int f = 0; f < count; ++f)
            for (const Plane& p : job.planes) {
                const unsigned char* plane = PlaneBytes(block + frameBytes * f, p);
                for (std::size_t r = p.rows; r-- > 0;) {
                    AddPiece(pieces, plane + r * rowBytes, rowBytes);
                    if (pieces.size() >= IOV_MAX && !WritePieces(fd.get(), pieces, pos)) return failed();
                }
            }
        // A read buffer is reused after this call: its bytes go now.
        return WritePieces(fd.get(), pieces, pos) || failed();
    }, why);
    if (!ok) return false;

    std::string directories;
    pos = othersStart;
    for (std::uint64_t k = 1; k < pages; ++k) {
        const std::uint64_t at = othersStart + (k - 1) * otherSize;
        directories += Directory(big, at, PageEntries(big, tags, false, dataStart + k * pageBytes),
                                 k + 1 < pages ? at + otherSize : 0);
        if (directories.size() >= kDirectoryBytes || k + 1 == pages) {
            if (!WriteBytes(fd.get(), directories, pos)) return failed();
            directories.clear();
        }
    }
    if (!fd.Close()) return failed();
    return true;
}

}  // namespace kvmcftools
