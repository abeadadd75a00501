// The C++ interface over the library's own open file: each File owns a private
// manager, so it shares no state with the C functions or with other Files, and the
// property and calibration answers come from the same code the C functions use.
#include "kvmcf/kvmcf.hpp"

#include <sys/mman.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <mutex>

#include "api/ByteSource.h"
#include "api/FileLayout.h"
#include "api/FileStreamBuf.h"
#include "api/MCFIOManager.h"
#include "api/PropertyTable.h"
#include "cxx/ReadDiagnosis.h"

namespace kvmcf {

namespace {

KVMCF_DataSource CSource(SourceId id) { return static_cast<KVMCF_DataSource>(KVMCF_SIGNAL + static_cast<int>(id)); }

const char* CodeText(unsigned int code) {
    switch (code) {
        case result::FormatError: return "not a readable multi-channel file";
        case result::NotLoaded: return "no file open";
        case result::FileError: return "the file could not be read";
        case result::NotPresent: return "data source not present";
        case result::Argument1Invalid: return "invalid first argument";
        case result::Argument2Invalid: return "index or name out of range";
        case result::Argument3Invalid: return "invalid third argument";
        default: return "failed";
    }
}

// A path the system would not open for reading, in the system's words.
[[noreturn]] void FailSystem(const std::string& path, int error) {
    throw Error(result::FileError, path + ": " + std::strerror(error), std::nullopt, error);
}

// Bytes whose first line or version word is not the format's: the C open takes them
// as a file without data sources, which is of no use to anyone reading frames.
[[noreturn]] void FailNotMultiChannel(const std::string& what) {
    const std::string message = "not a multi-channel file";
    throw Error(result::FormatError, what.empty() ? message : what + ": " + message);
}

[[noreturn]] void Fail(unsigned int code, const std::string& what = std::string()) {
    std::string message = CodeText(code);
    if (!what.empty()) message = what + ": " + message;
    throw Error(code, message);
}

// A format error, with where reading stopped.
[[noreturn]] void FailFormat(const std::string& what, const ReadDiagnosis::Diagnosis& d) {
    if (d.stop.intact) Fail(result::FormatError, what);
    Position where;
    where.source = d.stop.source;
    where.image = static_cast<int>(d.stop.image);
    where.record = d.stop.record;
    where.field = d.stop.field;
    where.offset = d.stop.offset;
    std::string message = CodeText(result::FormatError);
    if (!what.empty()) message = what + ": " + message;
    throw Error(result::FormatError, message + " (" + d.Describe() + ")", where);
}

// End of `count` blocks of `block` bytes from `start`; false when it would not fit in 64 bits.
bool BlockEnd(long long start, unsigned long long block, unsigned long long count, unsigned long long* end) {
    if (start < 0) return false;
    const unsigned long long max = std::numeric_limits<unsigned long long>::max();
    if (count != 0 && block > (max - static_cast<unsigned long long>(start)) / count) return false;
    *end = static_cast<unsigned long long>(start) + block * count;
    return true;
}

// Longest calibrated axis we build; a corrupt detector area could ask for billions.
const long long kMaxAxisPixels = 1LL << 24;

std::string OrEmpty(const char* text) { return text ? text : ""; }

}  // namespace

Error::Error(unsigned int code, const std::string& message, std::optional<Position> where, int systemError)
    : std::runtime_error(message), code_(code), where_(std::move(where)), systemError_(systemError) {}

const char* libraryVersion() { return KVMCF_VERSION_STRING; }

Error::~Error() = default;

static_assert(kSourceCount == FileLayout::kSourceCount, "one source list");

// The property table lists the types in the enumeration's order.
const char* typeName(PropertyType type) {
    std::size_t count = 0;
    const PropertyTable::TypeInfo* types = PropertyTable::Types(&count);
    const std::size_t i = static_cast<std::size_t>(type);
    return i < count ? types[i].name : "unknown";
}

const char* sourceName(SourceId id) {
    const int i = static_cast<int>(id);
    return i >= 0 && i < kSourceCount ? FileLayout::kSources[i].name : "unknown";
}

// ---------------------------------------------------------------------------

struct File::Impl {
    TMCFIOManager manager;
    std::string path;
    OpenOptions options;
    // Where the bytes come from: the records are parsed and the frames read through it.
    std::shared_ptr<const TByteSource> source;
    int fd = -1;                           // a path's, for mapping the pixels
    const unsigned char* bytes = nullptr;  // the caller's bytes, viewed in place
    const TCallbackByteSource* callback = nullptr;
    StructureVersions versions;
    // Property and time queries go through the manager, which is not written for threads.
    std::mutex queries;
    std::unique_ptr<Source::Impl> sourceImpls[kSourceCount];
    std::unique_ptr<Source> sources[kSourceCount];

    // Parses the records through the source and sets up the sources; throws Error with
    // the code the C open gives (`what` names the input in messages).
    void Open(const std::string& what);
    // Copies `length` bytes at `offset` of the file into out; FileError when it does not hold them.
    void ReadAt(unsigned long long offset, unsigned long long length, void* out) const;
};

struct Source::Impl {
    File::Impl* file = nullptr;
    SourceId id = SourceId::Signal;
    TMCFIOManager::TImage* image = nullptr;
    Version header, calibration, imageData;

    std::once_flag viewOnce;
    FrameView view;
    void* map = nullptr;
    std::size_t mapSize = 0;
    std::vector<float> copy;

    ~Impl() {
        if (map) munmap(map, mapSize);
    }
    unsigned long long FrameBytes() const {
        return static_cast<unsigned long long>(image->calibImage.GetDataLength()) * FileLayout::kPixelBytes;
    }
    void MakeView();
};

void File::Impl::ReadAt(unsigned long long offset, unsigned long long length, void* out) const {
    char* to = static_cast<char*>(out);
    while (length > 0) {
        const std::size_t chunk = static_cast<std::size_t>(std::min<unsigned long long>(length, 1ULL << 30));
        const std::size_t n = source->ReadAt(to, chunk, offset);
        if (callback)
            if (std::exception_ptr e = callback->TakeError()) std::rethrow_exception(e);
        // Short: the file ended (it may have been truncated since it was opened).
        if (n == 0) Fail(result::FileError, path);
        to += n;
        offset += n;
        length -= n;
    }
}

void File::Impl::Open(const std::string& what) {
    // Headers only in either mode: frames are read from the source when asked for. The
    // image data reader has already measured each pixel block against the file's size,
    // so a short block fails here as a read-all open fails on it.
    manager.SetFileAccessMode(KVMCF_READ_HEADER_ONLY);
    const unsigned int code = manager.ReadFromStream(std::make_unique<TFileStream>(source));
    if (callback)
        if (std::exception_ptr e = callback->TakeError()) std::rethrow_exception(e);
    if (code == result::FormatError) {
        TFileStream again(source);
        FailFormat(what, ReadDiagnosis::Diagnose(again));
    }
    if (code != result::Success) Fail(code, what);
    TMCFIOManager::TMCF* mcf = manager.GetOpenFile();
    if (!mcf->IsKnownFormat()) FailNotMultiChannel(what);
    for (int slot = 0; slot < kSourceCount; ++slot) {
        TMCFIOManager::TImage* image = mcf->GetImage(slot);
        if (!image) continue;
        auto impl = std::make_unique<Source::Impl>();
        impl->file = this;
        impl->id = static_cast<SourceId>(slot);
        impl->image = image;
        impl->header = {image->Header().GetVersionHigh(), image->Header().GetVersionLow()};
        // Taken before the version query below, which rewrites the first source's calibration version.
        impl->calibration = {image->calibImage.GetVersionHigh(), image->calibImage.GetVersionLow()};
        impl->imageData = {image->calibImage.GetKavriImageVersionHigh(), image->calibImage.GetKavriImageVersionLow()};
        sources[slot].reset(new Source(impl.get()));
        sourceImpls[slot] = std::move(impl);
    }
    struct {
        KVMCF_StructureElement element;
        Version* version;
    } const elements[] = {{KVMCF_STRUCTURE_FILE, &versions.file},
                          {KVMCF_STRUCTURE_HEADER, &versions.header},
                          {KVMCF_STRUCTURE_CALIBRATION, &versions.calibration},
                          {KVMCF_STRUCTURE_IMAGE, &versions.image}};
    for (const auto& e : elements) manager.GetStructureVersion(e.element, &e.version->high, &e.version->low);
}

File::File(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
File::File(File&& other) noexcept = default;
File& File::operator=(File&& other) noexcept = default;
File::~File() = default;

File File::open(const std::string& path, OpenOptions options) {
    auto impl = std::make_unique<Impl>();
    impl->path = path;
    impl->options = options;
    auto file = std::make_shared<const TFileByteSource>(path.c_str());
    if (!file->IsOpen()) FailSystem(path, errno);
    struct stat st;
    if (fstat(file->Descriptor(), &st) != 0) FailSystem(path, errno);
    if (S_ISDIR(st.st_mode)) FailSystem(path, EISDIR);
    // The records and the pixels come from this one descriptor, even if the path is
    // replaced meanwhile.
    impl->fd = file->Descriptor();
    impl->source = std::move(file);
    impl->Open(path);
    return File(std::move(impl));
}

File File::fromBytes(const void* bytes, std::size_t size, ReadMode mode) {
    if (bytes == nullptr) Fail(result::Argument1Invalid);
    if (size == 0 || size > std::numeric_limits<unsigned int>::max()) Fail(result::Argument2Invalid);
    auto impl = std::make_unique<Impl>();
    impl->bytes = static_cast<const unsigned char*>(bytes);
    impl->source = std::make_shared<const TMemoryByteSource>(bytes, size);
    impl->options.mode = mode;
    impl->Open(std::string());
    return File(std::move(impl));
}

File File::fromReader(ReadAt read, unsigned long long size, ReadMode mode) {
    if (!read) Fail(result::Argument1Invalid);
    if (size == 0 || size > static_cast<unsigned long long>(std::numeric_limits<long long>::max()))
        Fail(result::Argument2Invalid);
    auto impl = std::make_unique<Impl>();
    auto source = std::make_shared<const TCallbackByteSource>(std::move(read), size);
    impl->callback = source.get();
    impl->source = std::move(source);
    impl->options.mode = mode;
    impl->Open(std::string());
    return File(std::move(impl));
}

const std::string& File::path() const { return impl_->path; }
ReadMode File::mode() const { return impl_->options.mode; }

Version File::version() const {
    const TMCFIOManager::TMCF* mcf = impl_->manager.GetOpenFile();
    return {mcf->GetVersionHigh(), mcf->GetVersionLow()};
}

StructureVersions File::structureVersions() const { return impl_->versions; }

bool File::has(SourceId id) const {
    const int i = static_cast<int>(id);
    return i >= 0 && i < kSourceCount && impl_->sources[i];
}

const Source& File::source(SourceId id) const {
    if (!has(id)) Fail(result::NotPresent, sourceName(id));
    return *impl_->sources[static_cast<int>(id)];
}

std::vector<const Source*> File::sources() const {
    std::vector<const Source*> present;
    for (const auto& s : impl_->sources)
        if (s) present.push_back(s.get());
    return present;
}

// ---------------------------------------------------------------------------

SourceId Source::id() const { return impl_->id; }
unsigned int Source::frameCount() const { return impl_->image->calibImage.GetNumberImages(); }
unsigned int Source::frameLength() const { return impl_->image->calibImage.GetDataLength(); }
long long Source::dataStart() const { return impl_->image->calibImage.GetDataStartOffset(); }

std::vector<SubImage> Source::subImages() const {
    const TCalibImage& data = impl_->image->calibImage;
    std::vector<SubImage> out;
    const TSubImage* subs = data.GetSubImages();
    for (unsigned int i = 0; subs && i < data.GetNumberSubImages(); ++i)
        out.push_back({subs[i].left, subs[i].bottom, subs[i].right, subs[i].top, subs[i].hBin, subs[i].vBin});
    return out;
}

void Source::readFrame(unsigned int index, float* out) const { readFrames(index, 1, out); }

void Source::readFrames(unsigned int first, unsigned int count, float* out) const {
    if (static_cast<unsigned long long>(first) + count > frameCount()) Fail(result::Argument2Invalid, name());
    const unsigned long long frameBytes = impl_->FrameBytes();
    unsigned long long start = 0, end = 0;
    if (!BlockEnd(dataStart(), frameBytes, first, &start) ||
        !BlockEnd(dataStart(), frameBytes, static_cast<unsigned long long>(first) + count, &end))
        Fail(result::FileError, impl_->file->path);
    impl_->file->ReadAt(start, end - start, out);
}

void Source::Impl::MakeView() {
    const unsigned int frames = image->calibImage.GetNumberImages();
    const unsigned int length = image->calibImage.GetDataLength();
    const long long start = image->calibImage.GetDataStartOffset();
    unsigned long long end = 0;
    if (!BlockEnd(start, FrameBytes(), frames, &end)) Fail(result::FileError, file->path);
    if (end == static_cast<unsigned long long>(start)) {
        view = FrameView(nullptr, length, frames);
        return;
    }
    const unsigned char* base = nullptr;
    if (file->bytes) {
        if (end > static_cast<unsigned long long>(file->source->Size())) Fail(result::FileError, file->path);
        base = file->bytes;
    } else if (file->fd >= 0 && file->options.map) {
        struct stat st;
        if (fstat(file->fd, &st) != 0 || st.st_size < 0 || end > static_cast<unsigned long long>(st.st_size))
            Fail(result::FileError, file->path);
        // Only what the file holds is mapped.
        void* m = mmap(nullptr, static_cast<std::size_t>(end), PROT_READ, MAP_SHARED, file->fd, 0);
        if (m == MAP_FAILED) Fail(result::FileError, file->path);
        map = m;
        mapSize = static_cast<std::size_t>(end);
        base = static_cast<const unsigned char*>(m);
    }
    if (base) {
        view = FrameView(base + start, length, frames);
        return;
    }
    copy.resize(static_cast<std::size_t>(length) * frames);
    file->ReadAt(static_cast<unsigned long long>(start), end - static_cast<unsigned long long>(start), copy.data());
    view = FrameView(reinterpret_cast<const unsigned char*>(copy.data()), length, frames);
}

FrameView Source::frames() const {
    std::call_once(impl_->viewOnce, [this] { impl_->MakeView(); });
    return impl_->view;
}

std::vector<Property> Source::properties() const {
    std::vector<Property> out;
    for (const std::string& name : PropertyTable::ListingNames(impl_->image->calibImage.GetNumberSubImages())) {
        try {
            out.push_back(property(name));
        } catch (const Error&) {
            // Per-frame names of a source without frames have no value.
        }
    }
    return out;
}

Property Source::property(const std::string& name) const {
    const PropertyTable::Row* row = PropertyTable::FindForValue(name.c_str());
    const PropertyTable::Row* typeRow = PropertyTable::FindForType(name.c_str());
    if (!row || !typeRow) Fail(result::Argument2Invalid, name);
    std::lock_guard<std::mutex> lock(impl_->file->queries);
    const PropertyTable::Context context{impl_->file->manager, CSource(impl_->id), *impl_->image, name.c_str()};
    Property p;
    p.name = name;
    unsigned int code = row->read(context, &p.value);
    if (code != result::Success) Fail(code, name);
    // Room for the longest text any row gives (the user text).
    std::vector<char> text(8192, '\0');
    PropertyTable::FormatValue(*row, p.value, text.data(), static_cast<unsigned int>(text.size()));
    p.text = text.data();
    KVMCF_PropertyType type = KVMCF_TYPE_STRING;
    if (typeRow->checkType)
        code = typeRow->checkType(context, &type);
    else
        type = static_cast<KVMCF_PropertyType>(typeRow->type);
    if (code != result::Success) Fail(code, name);
    p.typeCode = static_cast<unsigned int>(type);
    p.type = static_cast<PropertyType>(PropertyTable::TypeIndex(p.typeCode));
    return p;
}

Axis Source::xAxis() const {
    const TCalibImage& calib = impl_->image->calibImage;
    const LONG_RECT area = calib.GetDetectorRect();
    Axis axis{OrEmpty(calib.GetXTypeText(-1)), OrEmpty(calib.GetXUnitText(-1, -1)), area.left, {}};
    const long long n = static_cast<long long>(area.right) - area.left + 1;
    if (n > 0 && n <= kMaxAxisPixels) {
        axis.values.reserve(static_cast<std::size_t>(n));
        for (long long p = area.left; p <= area.right; ++p) axis.values.push_back(calib.GetXCal(static_cast<float>(p)));
    }
    return axis;
}

Axis Source::zAxis() const {
    const TCalibImage& calib = impl_->image->calibImage;
    const LONG_RECT area = calib.GetDetectorRect();
    Axis axis{OrEmpty(calib.GetZTypeText(-1)), OrEmpty(calib.GetZUnitText()), area.bottom, {}};
    const long long n = static_cast<long long>(area.top) - area.bottom + 1;
    if (n > 0 && n <= kMaxAxisPixels) {
        axis.values.reserve(static_cast<std::size_t>(n));
        for (long long r = area.bottom; r <= area.top; ++r)
            axis.values.push_back(static_cast<double>(calib.GetZCal(static_cast<float>(r))));
    }
    return axis;
}

double Source::yValue(float value) const { return static_cast<double>(impl_->image->calibImage.GetYCal(value)); }
std::string Source::yType() const { return OrEmpty(impl_->image->calibImage.GetYTypeText(-1)); }
std::string Source::yUnit() const { return OrEmpty(impl_->image->calibImage.GetYUnitText()); }

std::vector<unsigned int> Source::timeStamps() const {
    std::vector<unsigned int> out(frameCount());
    for (unsigned int i = 0; i < out.size(); ++i) out[i] = impl_->image->calibImage.GetTimeStamp(i);
    return out;
}

std::vector<std::uint64_t> Source::metadataWords() const {
    std::vector<std::uint64_t> out(frameCount());
    for (unsigned int i = 0; i < out.size(); ++i) out[i] = impl_->image->calibImage.GetMetaDataWord(i);
    return out;
}

std::vector<float> Source::kineticTimes() const {
    std::lock_guard<std::mutex> lock(impl_->file->queries);
    std::vector<float> out(frameCount());
    for (unsigned int i = 0; i < out.size(); ++i)
        impl_->file->manager.GetHighPrecisionTimeStamp(CSource(impl_->id), i, &out[i], impl_->image);
    return out;
}

std::vector<std::string> Source::irigTimes() const {
    std::vector<std::string> out;
    const TKestoImage* extras = &impl_->image->kestoImage;
    if (!extras->GetIRIGDataHandler().GetIRIGAvailablity()) return out;
    // The translation goes through the C library's local time.
    std::lock_guard<std::mutex> lock(impl_->file->queries);
    for (int f = 0; f < static_cast<int>(frameCount()); ++f) {
        unsigned char text[TIRIGDataHandler::kTranslatedTextSize] = {};
        extras->GetIRIGDataHandler().GetTranslatedIRIGData(text, f);
        std::string time(reinterpret_cast<const char*>(text));
        if (!time.empty() && time.back() == '\n') time.pop_back();
        out.push_back(time);
    }
    return out;
}

std::vector<std::uint64_t> Source::metadataTagValues(int tag) const {
    std::vector<std::uint64_t> out;
    TKestoImage* extras = &impl_->image->kestoImage;
    if (!extras->GetMetaDataHandler().GetAvailablity()) return out;
    std::lock_guard<std::mutex> lock(impl_->file->queries);
    for (unsigned int f = 1; f <= frameCount(); ++f)
        out.push_back(extras->GetMetaDataTagValue(static_cast<int>(f), tag));
    return out;
}

Version Source::headerVersion() const { return impl_->header; }
Version Source::calibrationVersion() const { return impl_->calibration; }
Version Source::imageVersion() const { return impl_->imageData; }

const TKestoImageData& Source::header() const { return impl_->image->Header(); }
const TCalibImage& Source::image() const { return impl_->image->calibImage; }

}  // namespace kvmcf
