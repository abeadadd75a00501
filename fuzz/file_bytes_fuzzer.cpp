// Whole files through the C++ interface: File::fromBytes in both read modes, every
// query of every present source, and every frame read three ways (one at a time, all
// at once, through the view). Each answer must be one the interface documents: the
// listed error codes, a property typed as its type says, per-frame lists one entry per
// frame, frames that are the file's own bytes.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/FuzzSupport.h"
#include "kvmcf/kvmcf.hpp"

// Named, so the regression replay can compile every target into one program.
namespace filebytesfuzz {

using kvmcffuzz::Fail;

// Runs a query that may throw Error with one of `allowed`; true when it answered.
template <class Query>
bool Answers(const char* what, std::initializer_list<unsigned int> allowed, Query query) {
    try {
        query();
        return true;
    } catch (const kvmcf::Error& e) {
        for (unsigned int a : allowed)
            if (e.code() == a) return false;
        Fail(std::string(what) + " threw code " + std::to_string(e.code()) + ": " + e.what());
    }
}

// The variant alternative each type must hold (or none, where the query writes no text).
void CheckProperty(const kvmcf::Property& p) {
    using T = kvmcf::PropertyType;
    bool fits = std::holds_alternative<std::monostate>(p.value);
    switch (p.type) {
        case T::Int32: fits = fits || std::holds_alternative<long long>(p.value); break;
        case T::UInt32:
        case T::UInt64:
        case T::Byte: fits = fits || std::holds_alternative<unsigned long long>(p.value); break;
        case T::Float:
        case T::Double: fits = fits || std::holds_alternative<double>(p.value); break;
        case T::String: fits = fits || std::holds_alternative<std::string>(p.value); break;
    }
    // The type query names every high-precision stamp a time stamp (uint32) while the
    // value is the float the value query gives: a quirk the C functions keep.
    fits = fits || (p.name.find("HighPrecisionTimeStamp") != std::string::npos &&
                    std::holds_alternative<double>(p.value) && p.type == T::UInt32);
    if (!fits) Fail("property " + p.name + " holds a value of another type than it reports");
    if (p.type == T::Byte ? p.typeCode != 1 : p.typeCode == 1)
        Fail("property " + p.name + " reports type code " + std::to_string(p.typeCode));
}

void CheckAxis(const char* what, const kvmcf::Axis& axis) {
    if (axis.values.size() > (std::size_t(1) << 24)) Fail(std::string(what) + " longer than 2^24 pixels");
}

// Per-frame lists: one entry per frame, or (for the extension section's lists) none.
template <class List>
void CheckPerFrame(const char* what, const List& list, unsigned int frames, bool mayBeEmpty) {
    if (list.size() == frames || (mayBeEmpty && list.empty())) return;
    Fail(std::string(what) + " has " + std::to_string(list.size()) + " entries for " + std::to_string(frames) +
         " frames");
}

// Every frame, compared with the bytes at its place in the input.
void ReadFrames(const kvmcf::Source& s, const std::uint8_t* data, std::size_t size, bool readAll) {
    const unsigned int frames = s.frameCount();
    const unsigned long long length = s.frameLength();
    const unsigned long long frameBytes = 4 * length;
    const long long start = s.dataStart();
    // Whether the input holds every frame: a read-all open promises it does.
    const unsigned long long room = start >= 0 && static_cast<unsigned long long>(start) <= size
                                        ? size - static_cast<unsigned long long>(start)
                                        : 0;
    // Frames 0 .. n-1 lie inside the input.
    auto holds = [&](unsigned long long n) {
        return start >= 0 && static_cast<unsigned long long>(start) <= size && (frameBytes == 0 || n <= room / frameBytes);
    };
    const bool whole = holds(frames);
    if (readAll && !whole) Fail("a read-all open accepted a pixel block the input does not hold");

    // No buffer sized past the input: a frame longer than that must fail before writing.
    std::vector<float> frame(static_cast<std::size_t>(std::min<unsigned long long>(length, size / 4 + 1)));
    for (unsigned int i = 0; i < frames; ++i) {
        const bool read = Answers("readFrame", {kvmcf::result::FileError}, [&] { s.readFrame(i, frame.data()); });
        if (read != holds(i + 1ULL)) Fail("readFrame " + std::to_string(i) + (read ? " read" : " refused") + " a frame");
        if (read && length > 0 && std::memcmp(frame.data(), data + start + frameBytes * i, frameBytes) != 0)
            Fail("readFrame " + std::to_string(i) + " differs from the file's bytes");
    }
    Answers("readFrame past the last", {kvmcf::result::Argument2Invalid}, [&] {
        s.readFrame(frames, frame.data());
        Fail("readFrame past the last frame answered");
    });

    kvmcf::FrameView view;
    const bool viewed = Answers("frames", {kvmcf::result::FileError}, [&] { view = s.frames(); });
    if (viewed != whole) Fail(std::string("frames() ") + (viewed ? "viewed" : "refused") + " the pixel block");
    if (!viewed) return;
    if (view.frameCount() != frames || view.frameLength() != length) Fail("the view's shape differs from the source's");
    if (view.size() > 0 && std::memcmp(view.bytes(), data + start, 4 * view.size()) != 0)
        Fail("the view differs from the file's bytes");
    if (frames > 0 && whole && frameBytes * frames <= size) {
        std::vector<float> all(static_cast<std::size_t>(length * frames));
        s.readFrames(0, frames, all.data());
        if (frameBytes > 0 && std::memcmp(all.data(), view.bytes(), frameBytes * frames) != 0)
            Fail("readFrames differs from the view");
    }
}

void Walk(const kvmcf::Source& s, const std::uint8_t* data, std::size_t size, bool readAll) {
    if (std::strcmp(s.name(), kvmcf::sourceName(s.id())) != 0) Fail("a source's name is not its id's");
    const unsigned int frames = s.frameCount();
    const std::vector<kvmcf::SubImage> subs = s.subImages();

    for (const kvmcf::Property& p : s.properties()) {
        CheckProperty(p);
        // The single query gives the same answer as the listing.
        const kvmcf::Property again = s.property(p.name);
        if (again.text != p.text || again.typeCode != p.typeCode) Fail("property " + p.name + " answers twice differently");
    }
    const std::string indexed[] = {"TimeStamp" + std::to_string(frames), "SubImageLeft" + std::to_string(subs.size() + 1),
                                   "SubImageLeft0", "NoSuchProperty", ""};
    for (const std::string& name : indexed)
        Answers("property", {kvmcf::result::Argument2Invalid, kvmcf::result::Argument3Invalid,
                             kvmcf::result::NotPresent, kvmcf::result::FileError},
                [&] { CheckProperty(s.property(name)); });

    CheckAxis("xAxis", s.xAxis());
    CheckAxis("zAxis", s.zAxis());
    (void)s.yValue(1.5f);
    (void)s.yType();
    (void)s.yUnit();
    CheckPerFrame("timeStamps", s.timeStamps(), frames, false);
    CheckPerFrame("metadataWords", s.metadataWords(), frames, false);
    CheckPerFrame("kineticTimes", s.kineticTimes(), frames, false);
    CheckPerFrame("irigTimes", s.irigTimes(), frames, true);
    for (int tag : {0, 1, 7, -1, 255}) CheckPerFrame("metadataTagValues", s.metadataTagValues(tag), frames, true);
    (void)s.headerVersion();
    (void)s.calibrationVersion();
    (void)s.imageVersion();
    ReadFrames(s, data, size, readAll);
}

struct Shape {
    unsigned int frames, length;
    long long start;
    bool operator!=(const Shape& o) const { return frames != o.frames || length != o.length || start != o.start; }
};

// Opens and walks; the sources' shapes, or nothing when the open refused the input.
std::optional<std::vector<std::optional<Shape>>> OpenAndWalk(const std::uint8_t* data, std::size_t size,
                                                             kvmcf::ReadMode mode) {
    std::optional<kvmcf::File> file;
    try {
        file.emplace(kvmcf::File::fromBytes(data, size, mode));
    } catch (const kvmcf::Error& e) {
        // The C byte open's codes: a format error, or a file error for a stream the read left failed.
        if (e.code() != kvmcf::result::FormatError && e.code() != kvmcf::result::FileError)
            Fail("fromBytes threw code " + std::to_string(e.code()));
        if (const auto& where = e.position())
            if (where->offset < -1 || where->offset > static_cast<long long>(size) || where->source < -1 ||
                where->source >= kvmcf::kSourceCount)
                Fail("a format error's position lies outside the file");
        return std::nullopt;
    }
    if (!file->path().empty() || file->mode() != mode) Fail("a byte open reports another path or mode");
    (void)file->version();
    (void)file->structureVersions();

    std::vector<std::optional<Shape>> shapes(kvmcf::kSourceCount);
    std::size_t present = 0;
    for (int id = 0; id < kvmcf::kSourceCount; ++id) {
        const auto sid = static_cast<kvmcf::SourceId>(id);
        const bool has = file->has(sid);
        const bool got = Answers("source", {kvmcf::result::NotPresent}, [&] { (void)file->source(sid); });
        if (has != got) Fail("has() and source() disagree");
        if (!has) continue;
        ++present;
        const kvmcf::Source& s = file->source(sid);
        if (s.id() != sid) Fail("source() gave another source");
        Walk(s, data, size, mode == kvmcf::ReadMode::All);
        shapes[id] = Shape{s.frameCount(), s.frameLength(), s.dataStart()};
    }
    if (file->sources().size() != present) Fail("sources() lists another number of sources than has() finds");
    if (file->has(static_cast<kvmcf::SourceId>(kvmcf::kSourceCount))) Fail("has() knows a sixth source");

    // Views live on in the File a File moves to.
    if (!file->sources().empty()) {
        const kvmcf::Source& first = *file->sources().front();
        kvmcf::FrameView view;
        if (Answers("frames", {kvmcf::result::FileError}, [&] { view = first.frames(); })) {
            kvmcf::File moved(std::move(*file));
            file.reset();
            float sum = 0;
            for (float v : view) sum += v;
            (void)sum;
        }
    }
    return shapes;
}

}  // namespace filebytesfuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace filebytesfuzz;
    if (size == 0) {
        Answers("fromBytes of nothing", {kvmcf::result::Argument2Invalid}, [&] {
            kvmcf::File::fromBytes(data, 0);
            Fail("fromBytes opened an empty input");
        });
        return 0;
    }
    // A copy exactly as long as the input, so reading past it is caught.
    const std::vector<std::uint8_t> bytes(data, data + size);
    const auto all = OpenAndWalk(bytes.data(), size, kvmcf::ReadMode::All);
    const auto headerOnly = OpenAndWalk(bytes.data(), size, kvmcf::ReadMode::HeaderOnly);
    // A header-only open reads less than a read-all one, so it refuses no file that one accepts.
    if (all && !headerOnly) Fail("a header-only open refused a file a read-all open accepted");
    if (all && headerOnly)
        for (int id = 0; id < kvmcf::kSourceCount; ++id)
            if ((*all)[id].has_value() != (*headerOnly)[id].has_value() ||
                ((*all)[id] && *(*all)[id] != *(*headerOnly)[id]))
                Fail("the read modes disagree on a source's frames");
    return 0;
}
