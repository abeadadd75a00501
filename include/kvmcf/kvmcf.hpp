// kvmcf: the C++ interface to multi-channel files. Any number of files may be open
// at once, each independent of the others and of the C functions of kvmcfio.h.
//
//     kvmcf::File file = kvmcf::File::open("run.mcf", kvmcf::ReadMode::HeaderOnly);
//     const kvmcf::Source& signal = file.source(kvmcf::SourceId::Signal);
//     std::vector<float> frame(signal.frameLength());
//     signal.readFrame(0, frame.data());
//
// Thread safety: every const member function of File and Source may be called from
// several threads at once on the same File. Frames are read with positioned reads
// (or copied from memory), never through a shared stream position.
#ifndef KVMCF_KVMCF_HPP
#define KVMCF_KVMCF_HPP

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#if defined(__GNUC__)
#define KVMCF_CXX_API __attribute__((visibility("default")))
#else
#define KVMCF_CXX_API
#endif

// The record objects, for callers who need every field. Their member functions are
// linked from the static library (kvmcfio::static); the shared libkvmcfio++ exports
// only the kvmcf namespace.
class TKestoImageData;
class TCalibImage;

namespace kvmcf {

// Result codes, the same numbers the C functions return.
namespace result {
constexpr unsigned int Success = 22002;
constexpr unsigned int FormatError = 22003;
constexpr unsigned int NotLoaded = 22004;
constexpr unsigned int FileError = 22006;
constexpr unsigned int NotPresent = 22007;
constexpr unsigned int Argument1Invalid = 22101;
constexpr unsigned int Argument2Invalid = 22102;
constexpr unsigned int Argument3Invalid = 22103;
}  // namespace result

// The five data sources, in file order.
enum class SourceId { Signal = 0, Reference = 1, Background = 2, Live = 3, Source = 4 };
constexpr int kSourceCount = 5;
// "signal", "reference", "background", "live", "source".
KVMCF_CXX_API const char* sourceName(SourceId id);

// ReadAll reads every pixel while opening, so a short pixel block fails the open as
// it does in C; HeaderOnly reads only the records. Either way frames are then read
// from the file (or the caller's bytes) when asked for, and no copy is kept.
enum class ReadMode { All, HeaderOnly };

// Where reading stopped in a file that failed to parse; fields that are not known
// are -1 or empty.
struct Position {
    int source = -1;          // SourceId value
    int image = -1;           // image of that source, from 0
    std::string record;       // the record being read
    std::string field;        // the field, where it is known
    long long offset = -1;    // byte offset in the file
};

// Thrown by every failing operation. code() is the result code the C functions
// give for the same failure, except for a path the system cannot open (missing, a
// directory, no permission): FileError, with the system's error number in
// systemError() and its words in the message ("run.mcf: No such file or directory").
// Bytes that do not start as a multi-channel file (another magic line or file
// version) are FormatError "not a multi-channel file", where the C open reports a
// file with no data source.
class KVMCF_CXX_API Error : public std::runtime_error {
public:
    Error(unsigned int code, const std::string& message, std::optional<Position> where = std::nullopt,
          int systemError = 0);
    ~Error() override;
    unsigned int code() const noexcept { return code_; }
    // For format errors, where reading stopped, when it is known.
    const std::optional<Position>& position() const noexcept { return where_; }
    // The errno of a failed system call, 0 for anything else.
    int systemError() const noexcept { return systemError_; }

private:
    unsigned int code_;
    std::optional<Position> where_;
    int systemError_;
};

// The library's version, "MAJOR.MINOR.PATCH".
KVMCF_CXX_API const char* libraryVersion();

// What a named property holds: int32 values are long long, the unsigned types and the
// one-byte codes unsigned long long, float and double double, texts std::string.
// monostate: the value query writes no text for this name.
using Value = std::variant<std::monostate, long long, unsigned long long, double, std::string>;

// The type a property query reports; Byte for the one-byte codes (reported as 1).
enum class PropertyType { Int32, UInt32, UInt64, Float, Double, String, Byte };

// One named property: its type, typed value and the exact text and type code the C
// value and type queries give for the same name.
struct Property {
    std::string name;
    PropertyType type = PropertyType::String;
    unsigned int typeCode = 0;   // KVMCF_PropertyType value, or 1 for the one-byte codes
    Value value;
    std::string text;
};

// A sub-image: detector columns left..right, rows bottom..top, binning.
struct SubImage {
    int left = 0, bottom = 0, right = 0, top = 0, hBin = 0, vBin = 0;
};

// A version word's halves: major (high) and minor (low).
struct Version {
    unsigned int high = 0, low = 0;
    bool operator==(const Version& o) const { return high == o.high && low == o.low; }
};

// A calibrated axis: the calibrated value of every pixel from `first` on, with the
// axis's type and unit texts. Empty values when the detector range is empty or
// larger than 2^24 pixels.
struct Axis {
    std::string type;
    std::string unit;
    int first = 0;
    std::vector<double> values;
};

// A read-only view of every pixel of a source: frameCount() frames of frameLength()
// floats, one after another, in place (no copy). The pixel block may start at any
// byte of the file, so the floats need not be aligned: read them through operator[],
// frame() or the iterators; data() gives a float pointer only where they are
// aligned. Views stay valid while their File lives (a moved-from File hands its
// views on to the File it moved to).
class KVMCF_CXX_API FrameView {
public:
    // Iterates the floats of a view, loading each from its bytes.
    class Iterator {
    public:
        using iterator_category = std::random_access_iterator_tag;
        using value_type = float;
        using difference_type = std::ptrdiff_t;
        using pointer = const float*;
        using reference = float;
        explicit Iterator(const unsigned char* at = nullptr) : at_(at) {}
        float operator*() const { return load(at_); }
        float operator[](difference_type i) const { return load(at_ + 4 * i); }
        Iterator& operator++() { at_ += 4; return *this; }
        Iterator operator++(int) { Iterator old = *this; at_ += 4; return old; }
        Iterator& operator--() { at_ -= 4; return *this; }
        Iterator& operator+=(difference_type n) { at_ += 4 * n; return *this; }
        Iterator operator+(difference_type n) const { return Iterator(at_ + 4 * n); }
        Iterator operator-(difference_type n) const { return Iterator(at_ - 4 * n); }
        difference_type operator-(const Iterator& o) const { return (at_ - o.at_) / 4; }
        bool operator==(const Iterator& o) const { return at_ == o.at_; }
        bool operator!=(const Iterator& o) const { return at_ != o.at_; }
        bool operator<(const Iterator& o) const { return at_ < o.at_; }

    private:
        const unsigned char* at_;
    };

    FrameView() = default;
    FrameView(const unsigned char* bytes, std::size_t frameLength, unsigned int frameCount)
        : bytes_(bytes), frameLength_(frameLength), frameCount_(frameCount) {}
    // Floats in all.
    std::size_t size() const { return frameLength_ * frameCount_; }
    // Floats per frame, and frames.
    std::size_t frameLength() const { return frameLength_; }
    unsigned int frameCount() const { return frameCount_; }
    // Pixel i of the whole block; no range check.
    float operator[](std::size_t i) const { return load(bytes_ + 4 * i); }
    // The pixels of frame `index` (from 0); no range check.
    Iterator frame(unsigned int index) const { return Iterator(bytes_ + 4 * frameLength_ * index); }
    // The whole block, for range loops and algorithms.
    Iterator begin() const { return Iterator(bytes_); }
    Iterator end() const { return Iterator(bytes_ + 4 * size()); }
    // The first pixel's bytes.
    const unsigned char* bytes() const { return bytes_; }
    // The pixels as floats when they are aligned for it; null otherwise.
    const float* data() const {
        return reinterpret_cast<std::uintptr_t>(bytes_) % alignof(float) == 0 ? reinterpret_cast<const float*>(bytes_)
                                                                               : nullptr;
    }

private:
    static float load(const unsigned char* at) {
        float v;
        std::memcpy(&v, at, sizeof v);
        return v;
    }
    const unsigned char* bytes_ = nullptr;
    std::size_t frameLength_ = 0;
    unsigned int frameCount_ = 0;
};

class File;

// One data source of an open file. Owned by its File; references stay valid while
// the File lives.
class KVMCF_CXX_API Source {
public:
    // Which source this is, and its name ("signal", ...).
    SourceId id() const;
    const char* name() const { return sourceName(id()); }

    // Frames in the series.
    unsigned int frameCount() const;
    // Pixels per frame.
    unsigned int frameLength() const;
    // Detector area and binning of each sub-image of a frame.
    std::vector<SubImage> subImages() const;
    // Byte offset of the first pixel in the file.
    long long dataStart() const;

    // Copies frame index (from 0) as frameLength() floats into out. Throws Error:
    // Argument2Invalid for an index past the frames, FileError when the file no longer
    // holds the frame (truncated after opening, or a pixel block the file never held).
    void readFrame(unsigned int index, float* out) const;
    // Frames first .. first + count - 1, one after another; the same errors.
    void readFrames(unsigned int first, unsigned int count, float* out) const;
    // Every pixel without a copy: the caller's bytes, or a read-only mapping of the
    // file made on the first call (only the bytes the file holds are mapped). Throws
    // FileError when the file does not hold the whole pixel block. A mapped file that
    // another program truncates while the view is in use makes the system stop the
    // process (SIGBUS) when a lost page is touched; open with map = false where files
    // can shrink, and frames() reads the pixels into memory once instead.
    // Pixels are viewed in the file's (little-endian) byte order.
    FrameView frames() const;

    // Every name of the property vocabulary (sub-image fields by number, the per-frame
    // names for frame 0), in the value query's order.
    std::vector<Property> properties() const;
    // Any name the value query takes, indexed ones too ("TimeStamp12",
    // "SubImageLeft2"). Throws Error with the value query's code when it fails.
    Property property(const std::string& name) const;

    // Calibrated X of every detector column, Z of every detector row.
    Axis xAxis() const;
    Axis zAxis() const;
    // The calibrated value of a data value on the Y axis, and the axis's texts.
    double yValue(float value) const;
    std::string yType() const;
    std::string yUnit() const;

    // Per frame: time stamps, metadata words, and the seconds since the first frame
    // from the metadata clock (the kinetic cycle time where a word is 0).
    std::vector<unsigned int> timeStamps() const;
    std::vector<std::uint64_t> metadataWords() const;
    std::vector<float> kineticTimes() const;
    // Per frame, from the file's extension section: the time code as local time text
    // ("Tue Mar  3 14:05:09.250 2015"; empty for a frame without one), and the value of
    // metadata packet tag `tag` (0 where a packet lacks it). Empty when the file has none.
    std::vector<std::string> irigTimes() const;
    std::vector<std::uint64_t> metadataTagValues(int tag) const;

    // Record versions of this source: instrument header, calibration, image data.
    Version headerVersion() const;
    Version calibrationVersion() const;
    Version imageVersion() const;

    // The record objects themselves (their frame store holds no pixels).
    const TKestoImageData& header() const;
    const TCalibImage& image() const;

private:
    friend class File;
    struct Impl;
    explicit Source(Impl* impl) : impl_(impl) {}
    Impl* impl_;
};

// Structure versions as the C version query reports them.
struct StructureVersions {
    Version file, header, calibration, image;
};

// How a path is opened.
struct OpenOptions {
    ReadMode mode = ReadMode::All;
    // frames() maps the file; false reads the pixels into memory on the first call.
    bool map = true;
};

// An open multi-channel file. Movable, not copyable; closes on destruction.
class KVMCF_CXX_API File {
public:
    // Opens a file on disk. Throws Error with the code the C open would return.
    static File open(const std::string& path, OpenOptions options = {});
    static File open(const std::string& path, ReadMode mode) { return open(path, OpenOptions{mode, true}); }
    // Opens a file held in memory, of less than 4 GiB as for the C open. The bytes are
    // not copied: keep them valid and unchanged while the File lives. A format error is
    // Error(FormatError) here, where the C byte open lets an exception out.
    static File fromBytes(const void* bytes, std::size_t size, ReadMode mode = ReadMode::All);

    File(File&& other) noexcept;
    File& operator=(File&& other) noexcept;
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    ~File();

    // The path, empty for bytes.
    const std::string& path() const;
    // The read mode it was opened with.
    ReadMode mode() const;
    // The two halves of the file's version word.
    Version version() const;
    // The versions the C version query reports.
    StructureVersions structureVersions() const;

    // Whether the file holds the source.
    bool has(SourceId id) const;
    // Throws Error(NotPresent) for an absent source.
    const Source& source(SourceId id) const;
    // The present sources, in file order.
    std::vector<const Source*> sources() const;

    struct Impl;

private:
    explicit File(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace kvmcf

#endif
