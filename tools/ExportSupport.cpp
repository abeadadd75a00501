#include "tools/ExportSupport.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "image/KavriImageData.h"
#include "calib/CalibImage.h"
#include "tools/Progress.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {

bool SourcePlanes(const kvmcf::Source& source, std::vector<Plane>* planes, std::string* why) {
    const std::vector<kvmcf::SubImage> subImages = source.subImages();
    const std::size_t frameLength = source.frameLength();
    planes->clear();
    for (unsigned int k = 0; k < subImages.size(); ++k) {
        const kvmcf::SubImage& s = subImages[k];
        Plane p;
        p.index = k;
        p.geometry = s;
        // Offsets come from the file, as the pixel block was laid out by them.
        p.offset = source.image().GetSubImageOffset(k);
        const long long width = static_cast<long long>(s.right) - s.left + 1;
        const long long height = static_cast<long long>(s.top) - s.bottom + 1;
        if (s.hBin > 0 && s.vBin > 0 && width > 0 && height > 0) {
            p.columns = static_cast<std::size_t>(width / s.hBin);
            p.rows = static_cast<std::size_t>(height / s.vBin);
        }
        if (p.columns == 0 || p.rows == 0 || p.offset > frameLength || p.Pixels() > frameLength - p.offset) {
            *why = "sub-image " + std::to_string(k) + " of " + source.name() + " does not lie inside its frame";
            return false;
        }
        planes->push_back(p);
    }
    if (planes->empty()) {
        *why = std::string(source.name()) + " has no sub-images";
        return false;
    }
    return true;
}

std::vector<std::vector<std::size_t>> PlaneGroups(const std::vector<Plane>& planes) {
    auto same = [](const Plane& a, const Plane& b) {
        return a.geometry.left == b.geometry.left && a.geometry.right == b.geometry.right &&
               a.geometry.hBin == b.geometry.hBin && a.rows == b.rows;
    };
    bool allSame = true;
    for (const Plane& p : planes) allSame = allSame && same(p, planes.front());
    std::vector<std::vector<std::size_t>> groups;
    if (allSame) {
        groups.emplace_back();
        for (std::size_t i = 0; i < planes.size(); ++i) groups.back().push_back(i);
    } else {
        for (std::size_t i = 0; i < planes.size(); ++i) groups.push_back({i});
    }
    return groups;
}

std::string GroupOutputName(const std::string& out, const std::vector<Plane>& planes,
                            const std::vector<std::size_t>& group, std::size_t groupCount) {
    if (groupCount <= 1) return out;
    const std::size_t slash = out.find_last_of('/');
    std::size_t dot = out.find_last_of('.');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash) || dot == slash + 1) dot = out.size();
    return out.substr(0, dot) + "-sub" + std::to_string(planes[group.front()].index) + out.substr(dot);
}

bool ParseFrameRange(const std::string& text, unsigned int frames, FrameRange* range, std::string* why,
                     const std::string& noun) {
    auto number = [](const std::string& t, unsigned long long fallback, unsigned long long* value) {
        if (t.empty()) {
            *value = fallback;
            return true;
        }
        if (t.find_first_not_of("0123456789") != std::string::npos || t.size() > 12) return false;
        *value = std::strtoull(t.c_str(), nullptr, 10);
        return true;
    };
    unsigned long long a = 0, b = frames;
    const std::size_t colon = text.find(':');
    bool ok;
    if (colon == std::string::npos) {
        ok = !text.empty() && number(text, 0, &a);
        b = a + 1;
    } else {
        ok = number(text.substr(0, colon), 0, &a) && number(text.substr(colon + 1), frames, &b);
    }
    if (!ok) {
        *why = noun + " \"" + text + "\" are not A:B, A:, :B or N (counted from 0)";
        return false;
    }
    if (a >= b || b > frames) {
        *why = noun + " " + text + " are outside the " + std::to_string(frames) + " " + noun + " (0:" +
               std::to_string(frames) + ")";
        return false;
    }
    range->first = static_cast<unsigned int>(a);
    range->count = static_cast<unsigned int>(b - a);
    return true;
}

const kvmcf::Source* ChooseSource(const kvmcf::File& file, const std::string& name, std::string* why) {
    const std::vector<const kvmcf::Source*> present = file.sources();
    if (name.empty()) {
        if (file.has(kvmcf::SourceId::Signal)) return &file.source(kvmcf::SourceId::Signal);
        if (!present.empty()) return present.front();
        *why = "the file holds no data source";
        return nullptr;
    }
    for (int id = 0; id < kvmcf::kSourceCount; ++id) {
        if (name != kvmcf::sourceName(static_cast<kvmcf::SourceId>(id))) continue;
        if (file.has(static_cast<kvmcf::SourceId>(id))) return &file.source(static_cast<kvmcf::SourceId>(id));
        *why = "the file has no " + name + " source";
        return nullptr;
    }
    *why = "unknown source " + name + " (signal, reference, background, live or source)";
    return nullptr;
}

namespace {

// Mean of the axis values over `count` bins of `bin` pixels from detector pixel `start`.
std::vector<double> Binned(const kvmcf::Axis& axis, long long start, std::size_t count, int bin) {
    const long long from = start - axis.first;
    const long long span = static_cast<long long>(count) * bin;
    if (bin <= 0 || from < 0 || from + span > static_cast<long long>(axis.values.size())) return {};
    std::vector<double> out(count);
    for (std::size_t i = 0; i < count; ++i) {
        double sum = 0;
        for (int j = 0; j < bin; ++j) sum += axis.values[static_cast<std::size_t>(from + i * bin + j)];
        out[i] = sum / bin;
    }
    return out;
}

}  // namespace

std::vector<double> PlaneXValues(const kvmcf::Axis& x, const Plane& plane) {
    return Binned(x, plane.geometry.left, plane.columns, plane.geometry.hBin);
}

std::vector<double> PlaneZValues(const kvmcf::Axis& z, const Plane& plane) {
    return Binned(z, plane.geometry.bottom, plane.rows, plane.geometry.vBin);
}

std::vector<double> FrameTimes(const kvmcf::Source& source, const FrameRange& range) {
    const std::vector<std::uint64_t> words = source.metadataWords();
    const std::vector<float> clock = source.kineticTimes();
    bool clocked = clock.size() >= static_cast<std::size_t>(range.first) + range.count;
    for (unsigned int i = 0; clocked && i < range.count; ++i) clocked = words[range.first + i] != 0;
    double cycle = 0;
    if (!clocked) {
        const kvmcf::Property p = source.property("KineticCycleTime");
        if (const auto* d = std::get_if<double>(&p.value)) cycle = *d;
    }
    std::vector<double> times(range.count);
    for (unsigned int i = 0; i < range.count; ++i)
        times[i] = clocked ? clock[range.first + i] : cycle * (range.first + i);
    return times;
}

std::string UnitText(const std::string& unit) {
    const std::size_t start = unit.find_first_not_of(' ');
    const std::size_t end = unit.find_last_not_of(' ');
    return start == std::string::npos ? std::string() : unit.substr(start, end - start + 1);
}

std::string AxisLabel(const kvmcf::Axis& axis) {
    const std::string unit = UnitText(axis.unit);
    const std::string type = axis.type.empty() ? "Pixel number" : axis.type;
    return unit.empty() ? type : type + " (" + unit + ")";
}

bool IsCalibrated(const kvmcf::Axis& axis) {
    return !axis.values.empty() && !UnitText(axis.unit).empty() && axis.type != "Pixel number";
}

namespace {

std::string JsonNumber(double v, bool single) {
    if (!std::isfinite(v)) return "null";
    char text[40];
    std::snprintf(text, sizeof text, single ? "%.9g" : "%.17g", v);
    return text;
}

std::string JsonValue(const kvmcf::Property& p) {
    if (const auto* i = std::get_if<long long>(&p.value)) return std::to_string(*i);
    if (const auto* u = std::get_if<unsigned long long>(&p.value)) return std::to_string(*u);
    if (const auto* d = std::get_if<double>(&p.value)) return JsonNumber(*d, p.type == kvmcf::PropertyType::Float);
    if (const auto* s = std::get_if<std::string>(&p.value)) return JsonString(*s);
    return "null";
}

std::string JsonVersion(const kvmcf::Version& v) {
    return "[" + std::to_string(v.high) + ", " + std::to_string(v.low) + "]";
}

}  // namespace

std::string PropertiesJson(const kvmcf::File& file, const kvmcf::Source& source) {
    std::string out = "{\"source\": " + JsonString(source.name());
    out += ", \"file_version\": " + JsonVersion(file.version());
    out += ", \"record_versions\": {\"header\": " + JsonVersion(source.headerVersion()) +
           ", \"calibration\": " + JsonVersion(source.calibrationVersion()) +
           ", \"image\": " + JsonVersion(source.imageVersion()) + "}";
    out += ", \"properties\": {";
    bool first = true;
    for (const kvmcf::Property& p : source.properties()) {
        out += (first ? "" : ", ") + JsonString(p.name) + ": " + JsonValue(p);
        first = false;
    }
    return out + "}}";
}

std::vector<double> DetectorPositions(std::size_t count, int start, int bin) {
    std::vector<double> v(count);
    for (std::size_t i = 0; i < count; ++i) v[i] = start + (static_cast<double>(i) + 0.5) * bin - 0.5;
    return v;
}

std::optional<LinearAxis> FitLine(const std::vector<double>& values) {
    if (values.size() < 2) return std::nullopt;
    const LinearAxis line{values.front(),
                          (values.back() - values.front()) / static_cast<double>(values.size() - 1)};
    if (!std::isfinite(line.step) || line.step == 0) return std::nullopt;
    // Axes are evaluated in single precision: a straight one stays within a few of its ulps.
    double scale = 0;
    for (double v : values) scale = std::max(scale, std::fabs(v));
    for (std::size_t i = 0; i < values.size(); ++i)
        if (!(std::fabs(values[i] - (line.origin + static_cast<double>(i) * line.step)) <= scale * 1e-6))
            return std::nullopt;
    return line;
}

namespace {

std::string JsonNumbers(const std::vector<double>& values) {
    std::string out = "[";
    for (std::size_t i = 0; i < values.size(); ++i) out += (i ? ", " : "") + JsonNumber(values[i], false);
    return out + "]";
}

std::string JsonAxis(const std::string& label, const std::string& unit, const std::vector<double>& values) {
    return "{\"label\": " + JsonString(label) + ", \"unit\": " + JsonString(unit) +
           ", \"values\": " + JsonNumbers(values) + "}";
}

}  // namespace

std::string CalibrationJson(const kvmcf::File& file, const kvmcf::Source& source, const FrameRange& range,
                            const std::vector<Plane>& planes, bool topFirst) {
    std::string out = PropertiesJson(file, source);
    out.pop_back();  // reopen the object for the placement
    out += ", \"frames\": {\"first\": " + std::to_string(range.first) + ", \"count\": " + std::to_string(range.count) + "}";
    out += ", \"times\": " + JsonNumbers(FrameTimes(source, range));

    const kvmcf::Axis xAxis = source.xAxis(), zAxis = source.zAxis();
    const Plane& shape = planes.front();
    std::vector<double> x = PlaneXValues(xAxis, shape);
    if (x.empty())
        out += ", \"x\": " + JsonAxis("Column", "", DetectorPositions(shape.columns, shape.geometry.left, shape.geometry.hBin));
    else
        out += ", \"x\": " + JsonAxis(AxisLabel(xAxis), UnitText(xAxis.unit), x);
    out += ", \"sub_images\": [";
    for (std::size_t i = 0; i < planes.size(); ++i) {
        const Plane& p = planes[i];
        const kvmcf::SubImage& g = p.geometry;
        out += std::string(i ? ", " : "") + "{\"index\": " + std::to_string(p.index) + ", \"left\": " +
               std::to_string(g.left) + ", \"bottom\": " + std::to_string(g.bottom) + ", \"right\": " +
               std::to_string(g.right) + ", \"top\": " + std::to_string(g.top) + ", \"hbin\": " +
               std::to_string(g.hBin) + ", \"vbin\": " + std::to_string(g.vBin) + ", \"z\": ";
        std::vector<double> z = PlaneZValues(zAxis, p);
        const bool covered = !z.empty();
        if (!covered) z = DetectorPositions(p.rows, g.bottom, g.vBin);
        if (topFirst) std::reverse(z.begin(), z.end());
        out += covered ? JsonAxis(AxisLabel(zAxis), UnitText(zAxis.unit), z) : JsonAxis("Row", "", z);
        out += "}";
    }
    return out + "], \"row_order\": " + JsonString(topFirst ? "top row first" : "bottom row first") + "}";
}

bool OpenExportInput(const std::string& path, const std::string& sourceName, ExportInput* input, std::string* why) {
    input->file.emplace(kvmcf::File::open(path, kvmcf::OpenOptions{kvmcf::ReadMode::HeaderOnly, true}));
    input->source = ChooseSource(*input->file, sourceName, why);
    if (!input->source || !SourcePlanes(*input->source, &input->planes, why)) {
        *why = path + ": " + *why;
        return false;
    }
    return true;
}

int ExportFailure(const std::string& why) {
    std::fprintf(stderr, "kvmcf: %s\n", why.c_str());
    return 1;
}

int GuardedCommand(const std::string& path, const std::function<int()>& body) {
    try {
        return body();
    } catch (const kvmcf::Error& e) {
        return ExportFailure(path + ": " + e.what());
    } catch (const std::bad_alloc&) {
        return ExportFailure(path + ": not enough memory for this");
    }
}

bool ForEachFrame(const kvmcf::File& file, const kvmcf::Source& source, const FrameRange& range, Progress* progress,
                  const std::function<bool(unsigned int, const unsigned char*)>& frame, std::string* why) {
    const std::size_t frameBytes = 4 * static_cast<std::size_t>(source.frameLength());
    return ForEachFrameBlock(file, source, range, progress, [&](unsigned int first, unsigned int count, const unsigned char* bytes) {
        for (unsigned int i = 0; i < count; ++i)
            if (!frame(first + i, bytes + frameBytes * i)) return false;
        return true;
    }, why);
}

namespace {

// Pixels go through a buffer small enough to stay in the processor's cache, as cp's
// do: read and written from there, each byte costs less than when written straight
// from a mapping of the file, whose pages the processor must look up one by one
// (measured five times slower here).
const unsigned long long kBlockBytes = 1ULL << 20;

// The file must hold the frames before a buffer is sized by them.
bool HoldsFrames(const kvmcf::File& file, const kvmcf::Source& source, const FrameRange& range, std::string* why) {
    struct stat st {};
    const unsigned long long end = static_cast<unsigned long long>(source.dataStart()) +
                                   4ULL * source.frameLength() * (static_cast<unsigned long long>(range.first) + range.count);
    if (source.dataStart() < 0 || ::stat(file.path().c_str(), &st) != 0 ||
        end > static_cast<unsigned long long>(st.st_size)) {
        *why = file.path() + " ends before the last frame of " + source.name() + " asked for";
        return false;
    }
    return true;
}

}  // namespace

bool LargeFrames(const kvmcf::Source& source) { return 4ULL * source.frameLength() > kBlockBytes; }

unsigned int FramesPerBlock(const kvmcf::Source& source) {
    return static_cast<unsigned int>(std::max<unsigned long long>(1, kBlockBytes / std::max(4ULL * source.frameLength(), 1ULL)));
}

std::size_t RowsPerRun(const Plane& plane) { return std::max<std::size_t>(1, kBlockBytes / (4 * plane.columns)); }

bool ForEachRowRun(const kvmcf::File& file, const kvmcf::Source& source, const FrameRange& range,
                   const std::vector<Plane>& planes, Progress* progress,
                   const std::function<bool(unsigned int, std::size_t, std::size_t, std::size_t, const unsigned char*)>& run,
                   std::string* why) {
    if (!HoldsFrames(file, source, range, why)) return false;
    // Rows of a frame are read where they lie, which the interface reads only whole.
    const int fd = ::open(file.path().c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        *why = "cannot read " + file.path() + ": " + std::strerror(errno);
        return false;
    }
    struct Closer {
        int fd;
        ~Closer() { ::close(fd); }
    } closer{fd};
    const unsigned long long frameBytes = 4ULL * source.frameLength();
    std::vector<unsigned char> buffer;
    for (unsigned int f = range.first; f < range.first + range.count; ++f) {
        for (std::size_t i = 0; i < planes.size(); ++i) {
            const Plane& p = planes[i];
            const std::size_t rowBytes = 4 * p.columns;
            const std::size_t perRun = RowsPerRun(p);
            buffer.resize(std::min(perRun, p.rows) * rowBytes);
            for (std::size_t end = p.rows; end > 0;) {
                const std::size_t top = (end - 1) / perRun * perRun, n = end - top;
                end = top;
                unsigned long long at = static_cast<unsigned long long>(source.dataStart()) + frameBytes * f +
                                        4ULL * p.offset + 1ULL * top * rowBytes;
                for (std::size_t done = 0; done < n * rowBytes;) {
                    const ssize_t got = ::pread(fd, buffer.data() + done, n * rowBytes - done, static_cast<off_t>(at));
                    if (got < 0 && errno == EINTR) continue;
                    if (got <= 0) {
                        *why = std::string("cannot read ") + source.name() + " frame " + std::to_string(f) + " of " +
                               file.path();
                        return false;
                    }
                    done += static_cast<std::size_t>(got);
                    at += static_cast<unsigned long long>(got);
                }
                if (!run(f, i, top, n, buffer.data())) return false;
            }
        }
        if (progress) progress->Advance();
    }
    return true;
}

bool ForEachFrameBlock(const kvmcf::File& file, const kvmcf::Source& source, const FrameRange& range,
                       Progress* progress,
                       const std::function<bool(unsigned int, unsigned int, const unsigned char*)>& frames,
                       std::string* why) {
    if (!HoldsFrames(file, source, range, why)) return false;
    const unsigned int block = std::min(range.count, FramesPerBlock(source));
    std::vector<float> buffer(static_cast<std::size_t>(block) * source.frameLength());
    for (unsigned int done = 0; done < range.count;) {
        const unsigned int n = std::min(block, range.count - done);
        try {
            source.readFrames(range.first + done, n, buffer.data());
        } catch (const kvmcf::Error& e) {
            *why = std::string("cannot read ") + source.name() + " frames: " + e.what();
            return false;
        }
        if (!frames(range.first + done, n, reinterpret_cast<const unsigned char*>(buffer.data()))) return false;
        if (progress) progress->Advance(n);
        done += n;
    }
    return true;
}

namespace {

// Paths of outputs not yet committed, for the signal handler, which may only use
// what is already in memory.
const int kSlots = 64;
char gTempPaths[kSlots][4096];
volatile std::sig_atomic_t gTempUsed[kSlots];

extern "C" void RemoveAndRaise(int signal) {
    for (int i = 0; i < kSlots; ++i)
        if (gTempUsed[i]) ::unlink(gTempPaths[i]);
    std::signal(signal, SIG_DFL);
    std::raise(signal);
}

}  // namespace

void RemoveOutputsOnInterrupt() {
    std::signal(SIGINT, RemoveAndRaise);
    std::signal(SIGTERM, RemoveAndRaise);
    std::signal(SIGHUP, RemoveAndRaise);
}

OutputFile::OutputFile(std::string path) : path_(std::move(path)) {}

OutputFile::~OutputFile() {
    if (slot_ >= 0) gTempUsed[slot_] = 0;
    if (!temp_.empty() && !committed_) ::unlink(temp_.c_str());
}

bool OutputFile::Prepare(bool force, std::string* why) {
    struct stat st {};
    if (::stat(path_.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode)) {
            *why = path_ + " is a folder";
            return false;
        }
        if (!force) {
            *why = path_ + " exists (use --force to replace it)";
            return false;
        }
    }
    const std::size_t slash = path_.find_last_of('/');
    const std::string dir = slash == std::string::npos ? "" : path_.substr(0, slash + 1);
    const std::string base = slash == std::string::npos ? path_ : path_.substr(slash + 1);
    const std::string temp = dir + "." + base + ".part" + std::to_string(::getpid());
    if (temp.size() >= sizeof gTempPaths[0]) {
        *why = "cannot write " + path_ + ": the name is too long";
        return false;
    }
    const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0666);
    if (fd < 0) {
        *why = "cannot write " + path_ + ": " + std::strerror(errno);
        return false;
    }
    ::close(fd);
    temp_ = temp;
    for (int i = 0; i < kSlots; ++i)
        if (!gTempUsed[i]) {
            std::memcpy(gTempPaths[i], temp.c_str(), temp.size() + 1);
            gTempUsed[i] = 1;
            slot_ = i;
            break;
        }
    return true;
}

bool OutputFile::Commit(std::string* why) {
    if (::rename(temp_.c_str(), path_.c_str()) != 0) {
        *why = "cannot write " + path_ + ": " + std::strerror(errno);
        return false;
    }
    committed_ = true;
    if (slot_ >= 0) gTempUsed[slot_] = 0;
    slot_ = -1;
    return true;
}

}  // namespace kvmcftools
