// The C++ interface over the library's own open file: each File owns a private
// manager, so it shares no state with the C functions or with other Files, and the
// property and calibration answers come from the same code the C functions use.
#include "kvmcf/kvmcf.hpp"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <mutex>

#include "api/MCFIOManager.h"
#include "api/PropertyTable.h"
#include "cxx/ReadDiagnosis.h"
#include "metadata/mcfdataxml.h"

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

PropertyType TypeOf(unsigned int code) {
    switch (code) {
        case KVMCF_TYPE_INT32: return PropertyType::Int32;
        case KVMCF_TYPE_UINT32: return PropertyType::UInt32;
        case KVMCF_TYPE_UINT64: return PropertyType::UInt64;
        case KVMCF_TYPE_FLOAT: return PropertyType::Float;
        case KVMCF_TYPE_DOUBLE: return PropertyType::Double;
        case KVMCF_TYPE_STRING: return PropertyType::String;
        default: return PropertyType::Byte;
    }
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

const char* sourceName(SourceId id) {
    static const char* const kNames[kSourceCount] = {"signal", "reference", "background", "live", "source"};
    const int i = static_cast<int>(id);
    return i >= 0 && i < kSourceCount ? kNames[i] : "unknown";
}

// ---------------------------------------------------------------------------

struct File::Impl {
    TMCFIOManager manager;
    std::string path;
    OpenOptions options;
    int fd = -1;                          // path input: positioned reads
    const unsigned char* bytes = nullptr;  // byte input
    std::size_t size = 0;
    StructureVersions versions;
    // Property and time queries go through the manager, which is not written for threads.
    std::mutex queries;
    std::unique_ptr<Source::Impl> sourceImpls[kSourceCount];
    std::unique_ptr<Source> sources[kSourceCount];

    ~Impl();
    void Open();
    // The per-frame packets and time codes the extension section holds for each source.
    void ReadExtras();
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
    // Per-frame metadata packets and time codes; null when the file has none for this source.
    std::unique_ptr<TKestoImage> extras;

    ~Impl() {
        if (map) munmap(map, mapSize);
    }
    unsigned long long FrameBytes() const {
        return static_cast<unsigned long long>(image->calibImage.GetDataLength()) * 4u;
    }
    void MakeView();
};

File::Impl::~Impl() {
    if (fd >= 0) ::close(fd);
}

void File::Impl::ReadAt(unsigned long long offset, unsigned long long length, void* out) const {
    char* to = static_cast<char*>(out);
    if (fd < 0) {
        if (offset > size || length > size - offset) Fail(result::FileError, path);
        std::memcpy(to, bytes + offset, static_cast<std::size_t>(length));
        return;
    }
    const unsigned long long maxOffset = static_cast<unsigned long long>(std::numeric_limits<off_t>::max());
    if (offset > maxOffset || length > maxOffset - offset) Fail(result::FileError, path);
    while (length > 0) {
        const std::size_t chunk = static_cast<std::size_t>(std::min<unsigned long long>(length, 1ULL << 30));
        const ssize_t n = ::pread(fd, to, chunk, static_cast<off_t>(offset));
        if (n < 0 && errno == EINTR) continue;
        // Short: the file ended (it may have been truncated since it was opened).
        if (n <= 0) Fail(result::FileError, path);
        to += n;
        offset += static_cast<unsigned long long>(n);
        length -= static_cast<unsigned long long>(n);
    }
}

void File::Impl::Open() {
    TMCFIOManager::TMCF* mcf = manager.GetOpenFile();
    for (int slot = 0; slot < kSourceCount; ++slot) {
        TMCFIOManager::TImage* image = mcf->GetImage(slot);
        if (!image) continue;
        // Frames are always read from the file or the caller's bytes: once a read-all
        // open has shown the pixel block whole, its copy of the pixels is not needed.
        image->calibImage.DeleteDataArray();
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
    ReadExtras();
}

void File::Impl::ReadExtras() {
    unsigned long long total = size;
    struct stat st;
    if (fd >= 0) total = fstat(fd, &st) == 0 && st.st_size > 0 ? static_cast<unsigned long long>(st.st_size) : 0;
    if (total < 12) return;
    // The open has read this section once already, so its size is known to be sound.
    try {
        unsigned char tail[12];
        ReadAt(total - 12, 12, tail);
        if (std::memcmp(tail + 8, "MCFX", 4) != 0) return;
        unsigned long long length = 0;
        for (int i = 7; i >= 0; --i) length = (length << 8) | tail[i];
        if (length > total - 12) return;
        std::string text(static_cast<std::size_t>(length), '\0');
        ReadAt(total - 12 - length, length, &text[0]);
        TMcfDataXML xml(text.c_str());
        static const char* const kItems[kSourceCount][2] = {
            {"Signals", "Signal"}, {"References", "Reference"}, {"Backgrounds", "Background"},
            {"Lives", "Live"},     {"Sources", "Source"}};
        for (int slot = 0; slot < kSourceCount; ++slot) {
            Source::Impl* source = sourceImpls[slot].get();
            if (!source || !xml.SetFirstChildNode(kItems[slot][0])) continue;
            if (xml.SetFirstChildNode(kItems[slot][1])) {
                auto extras = std::make_unique<TKestoImage>();
                const int frames = static_cast<int>(source->image->calibImage.GetNumberImages());
                extras->GetMetaDataHandler().SetSeriesLength(frames);
                extras->GetIRIGDataHandler().SetSeriesLength(frames);
                extras->ReadXMLDataStructure(xml);
                xml.PopNode();
                source->extras = std::move(extras);
            }
            xml.PopNode();
        }
    } catch (const Error&) {
        // The file shrank since it was opened: there is nothing more to tell.
    } catch (const TMCFLoadException&) {
    }
}

File::File(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
File::File(File&& other) noexcept = default;
File& File::operator=(File&& other) noexcept = default;
File::~File() = default;

File File::open(const std::string& path, OpenOptions options) {
    auto impl = std::make_unique<Impl>();
    impl->path = path;
    impl->options = options;
    impl->fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (impl->fd < 0) FailSystem(path, errno);
    struct stat st;
    if (fstat(impl->fd, &st) != 0) FailSystem(path, errno);
    if (S_ISDIR(st.st_mode)) FailSystem(path, EISDIR);
    // Parse through our own descriptor, so the records and the pixels come from the
    // same file even if the path is replaced meanwhile.
    std::string parsed = "/proc/self/fd/" + std::to_string(impl->fd);
    if (::access(parsed.c_str(), R_OK) != 0) parsed = path;
    std::vector<char> name(parsed.begin(), parsed.end());
    name.push_back('\0');
    impl->manager.SetFileAccessMode(options.mode == ReadMode::HeaderOnly ? KVMCF_READ_HEADER_ONLY : KVMCF_READ_ALL);
    const unsigned int code = impl->manager.ReadFromFile(name.data());
    if (code == result::FormatError) FailFormat(path, ReadDiagnosis::DiagnoseFile(parsed));
    if (code != result::Success) Fail(code, path);
    if (!impl->manager.GetOpenFile()->IsKnownFormat()) FailNotMultiChannel(path);
    impl->Open();
    return File(std::move(impl));
}

File File::fromBytes(const void* bytes, std::size_t size, ReadMode mode) {
    if (bytes == nullptr) Fail(result::Argument1Invalid);
    if (size == 0 || size > std::numeric_limits<unsigned int>::max()) Fail(result::Argument2Invalid);
    auto impl = std::make_unique<Impl>();
    impl->bytes = static_cast<const unsigned char*>(bytes);
    impl->size = size;
    impl->options.mode = mode;
    impl->manager.SetFileAccessMode(mode == ReadMode::HeaderOnly ? KVMCF_READ_HEADER_ONLY : KVMCF_READ_ALL);
    unsigned int code = result::FormatError;
    try {
        // The manager only reads the bytes.
        code = impl->manager.ReadFromByteArray(const_cast<unsigned char*>(impl->bytes),
                                               static_cast<unsigned int>(size));
    } catch (const TMCFLoadException&) {
        code = result::FormatError;
    }
    if (code == result::FormatError) FailFormat(std::string(), ReadDiagnosis::DiagnoseBytes(bytes, size));
    if (code != result::Success) Fail(code);
    if (!impl->manager.GetOpenFile()->IsKnownFormat()) FailNotMultiChannel(std::string());
    impl->Open();
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
    if (file->fd < 0) {
        if (end > file->size) Fail(result::FileError, file->path);
        base = file->bytes;
    } else if (file->options.map) {
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
    p.type = TypeOf(p.typeCode);
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
    const TKestoImage* extras = impl_->extras.get();
    if (!extras || !extras->GetIRIGDataHandler().GetIRIGAvailablity()) return out;
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
    TKestoImage* extras = impl_->extras.get();
    if (!extras || !extras->GetMetaDataHandler().GetAvailablity()) return out;
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
