#include "cxx/ReadDiagnosis.h"

#include <cstring>
#include <memory>

#include "api/FileStreamBuf.h"
#include "api/MCFIOManager.h"
#include "api/MemoryStream.h"
#include "image/LongRect.h"
#include "image/SubImage.h"
#include "records/RecordStream.h"
#include "records/StreamBounds.h"

namespace ReadDiagnosis {
namespace {

const char* const kMagics[] = {"Kavri Technology Multi-Channel File", "Halvi Instruments Multi-Channel File"};
// In the order of Part; records are named "... record" in a description.
const struct {
    const char* name;
    bool record;
} kParts[] = {
    {"", false},           {"file header", false}, {"source count", false}, {"instrument header", true},
    {"calibration", true}, {"image data", true},   {"pixel block", false},  {"extension section", false},
};
const char* const kSourceNames[5] = {"signal", "reference", "background", "live", "source"};
const unsigned long long kPixelBytes = 4;
// A sub-image line is its record (version and six ints) and its offset.
const unsigned long long kSubImageNumbers = 8;

std::string Text(long long value) { return std::to_string(value); }

// The byte at the stop, shown so a reader of the message can find it.
std::string Shown(int c) {
    if (c >= 0x21 && c < 0x7F) return std::string("'") + static_cast<char>(c) + "'";
    static const char hex[] = "0123456789abcdef";
    return std::string("byte 0x") + hex[(c >> 4) & 15] + hex[c & 15];
}

// Position after a failed read: clearing the state makes the stream tell again.
long long StopPosition(std::istream& is, long long fallback) {
    is.clear();
    const long long here = static_cast<long long>(is.tellg());
    return here < 0 ? fallback : here;
}

// Fields of a record read one at a time; the first that fails is the one named.
class FieldWalk {
   public:
    explicit FieldWalk(std::istream& is) : is_(is) {}

    template <class Reader>
    bool Step(const std::string& name, Reader read) {
        if (!failed_.empty()) return false;
        read(is_);
        if (is_.fail()) failed_ = name;
        return failed_.empty();
    }
    void Fail(const std::string& name) {
        if (failed_.empty()) failed_ = name;
    }
    bool Ok() const { return failed_.empty(); }
    const std::string& Failed() const { return failed_; }

   private:
    std::istream& is_;
    std::string failed_;
};

template <class T>
auto Into(T& value) {
    return [&value](std::istream& is) { RecordStream::Read(is, value); };
}

std::string Ordinal(const char* what, unsigned long long index0) {
    return what + (" " + Text(static_cast<long long>(index0 + 1)));
}

// The calibration record's fields, in the order its reader takes them.
std::string CalibrationField(std::istream& is) {
    FieldWalk walk(is);
    unsigned int version = 0;
    walk.Step("version word", Into(version));
    for (int i = 0; i < 6; ++i) {
        unsigned char byte = 0;
        walk.Step("axis types and units", [&byte](std::istream& s) { RecordStream::ReadRawByte(s, byte); });
    }
    double x = 0;
    float yz = 0;
    for (int i = 0; i < 4; ++i) walk.Step("X constants", Into(x));
    for (int i = 0; i < 4; ++i) walk.Step("Y constants", Into(yz));
    for (int i = 0; i < 4; ++i) walk.Step("Z constants", Into(yz));
    if (RecordStream::MinorAbove(version, 2)) {
        walk.Step("Rayleigh wavelength", Into(yz));
        walk.Step("pixel length", Into(yz));
        walk.Step("pixel height", Into(yz));
    }
    if (RecordStream::Major(version) > 1 || RecordStream::Minor(version) > 3) {
        int flag = 0;
        walk.Step("wavelength flag", Into(flag));
    }
    for (const char* label : {"X label", "Y label", "Z label"}) {
        unsigned int length = 0;
        char sink[1];
        walk.Step(label, Into(length));
        walk.Step(label, [&](std::istream& s) { RecordStream::ReadCountedBytes(s, length, sink, sizeof sink); });
    }
    return walk.Failed();
}

// The image data record's text fields, in the order its reader takes them.
std::string ImageDataField(std::istream& is) {
    FieldWalk walk(is);
    unsigned int version = 0, frames = 0, subImages = 0, total = 0, frameLength = 0;
    walk.Step("version word", Into(version));
    LONG_RECT detector;
    walk.Step("detector rectangle", [&detector](std::istream& s) { s >> detector; });
    walk.Step("number of images", Into(frames));
    walk.Step("number of sub-images", Into(subImages));
    walk.Step("total length", Into(total));
    walk.Step("frame length", Into(frameLength));
    if (!walk.Ok()) return walk.Failed();
    // The reader refuses counts the rest of the file cannot hold before anything else.
    if (!StreamBounds::HoldsNumbers(is, subImages * kSubImageNumbers + frames, 1)) {
        walk.Fail("number of images and sub-images");
        return walk.Failed();
    }
    for (unsigned int k = 0; k < subImages && walk.Ok(); ++k) {
        TSubImage sub;
        unsigned int offset = 0;
        walk.Step(Ordinal("sub-image", k), [&sub](std::istream& s) { s >> sub; });
        walk.Step(Ordinal("offset of sub-image", k), Into(offset));
    }
    for (unsigned int i = 0; i < frames && walk.Ok(); ++i) {
        unsigned int stamp = 0;
        walk.Step(Ordinal("time stamp", i), Into(stamp));
    }
    const unsigned int high = RecordStream::Major(version), low = RecordStream::Minor(version);
    int flag = high == 1 && low == 4 ? 1 : 0;
    if (high == 1 && low > 4) walk.Step("metadata flag", Into(flag));
    for (unsigned int i = 0; flag == 1 && i < frames && walk.Ok(); ++i) {
        unsigned long long word = 0;
        walk.Step(Ordinal("metadata word", i), Into(word));
    }
    walk.Step("newline before the pixel block", [](std::istream& s) { RecordStream::SkipSeparator(s); });
    return walk.Failed();
}

class Diagnoser {
   public:
    Diagnoser(std::istream& is, Diagnosis& d) : is_(is), d_(d) {}

    void Run() {
        is_.clear();
        is_.seekg(0, std::ios::end);
        d_.fileSize = static_cast<long long>(is_.tellg());
        is_.seekg(0, std::ios::beg);
        if (!is_ || d_.fileSize < 0) {
            Stop(-1, 0, Part::FileHeader, "", 0, "a readable, seekable file");
            return;
        }
        if (!ReadFileHeader()) return;
        if (!d_.formatKnown) {
            // Other files open with no sources, but only if the stream is still good.
            if (!is_.good())
                Stop(-1, 0, Part::FileHeader, magicKnown_ ? "version word" : "magic line", d_.fileSize, "");
            else
                CheckExtension();  // the open reads the section whatever the magic line says
            return;
        }
        for (int slot = 0; slot < 5; ++slot)
            if (!ReadSource(slot)) return;
        CheckExtension();
    }

   private:
    // Records the first stop; the expected text is filled from the byte there when
    // the caller has nothing more precise.
    bool Stop(int source, unsigned int image, Part part, const std::string& field, long long offset,
              std::string expected) {
        ReadStop& s = d_.stop;
        s.intact = false;
        s.source = source;
        s.image = image;
        s.part = part;
        s.record = PartName(part);
        s.field = field;
        s.offset = offset;
        if (expected.empty()) expected = ExpectedAt(offset);
        s.expected = expected;
        return false;
    }

    std::string ExpectedAt(long long offset) {
        if (offset >= d_.fileSize) return "more bytes: the file ends here";
        is_.clear();
        is_.seekg(offset);
        const int c = is_.get();
        if (!is_) return "more bytes";
        return "a decimal number, found " + Shown(c);
    }

    bool ReadFileHeader() {
        char magic[80] = {};
        is_.getline(magic, sizeof magic);
        if (!is_) {
            const bool empty = d_.fileSize == 0;
            return Stop(-1, 0, Part::FileHeader, "magic line", empty ? 0 : StopPosition(is_, 0),
                        empty ? "the magic line" : "a first line of at most 79 characters");
        }
        bool known = false;
        for (const char* m : kMagics) known = known || std::strcmp(magic, m) == 0;
        magicKnown_ = known;
        if (!known) return true;  // opens with every source absent

        const long long at = static_cast<long long>(is_.tellg());
        unsigned int version = 0;
        RecordStream::Read(is_, version);
        d_.versionWord = version;
        if (!is_) return Stop(-1, 0, Part::FileHeader, "version word", StopPosition(is_, at), "");
        d_.formatKnown = RecordStream::Major(version) == 1 && RecordStream::Minor(version) == 2;
        return true;
    }

    bool ReadSource(int slot) {
        SourceState& state = d_.sources[slot];
        state.reached = true;
        const long long at = static_cast<long long>(is_.tellg());
        RecordStream::Read(is_, state.count);
        if (!is_) return Stop(slot, 0, Part::SourceCount, "image count", StopPosition(is_, at), "");
        RecordStream::SkipSeparator(is_);
        if (!is_) return Stop(slot, 0, Part::SourceCount, "separator after the count", StopPosition(is_, at), "");
        for (int i = 0; i < state.count; ++i)
            if (!ReadImage(slot, static_cast<unsigned int>(i))) return false;
        state.intact = true;
        return true;
    }

    bool ReadImage(int slot, unsigned int index) {
        SourceState& state = d_.sources[slot];
        state.dataStart = -1;
        state.frames = state.wholeFrames = state.frameLength = 0;
        // Pixels are measured, never loaded: the image data reader takes the text only.
        auto image = std::make_unique<TMCFIOManager::TImage>();
        TCalibImage& calib = image->calibImage;
        calib.SetSpooledDAT(true);
        calib.SetSpoolMode(true);

        const long long headerAt = static_cast<long long>(is_.tellg());
        state.headerOffset = headerAt;
        is_ >> image->Header();
        if (!is_) return Stop(slot, index, Part::InstrumentHeader, "", StopPosition(is_, headerAt), "");
        if (image->Header().GetActive() != 0) return ActiveStop(slot, index, headerAt);

        const long long calibAt = static_cast<long long>(is_.tellg());
        is_ >> static_cast<TCalibImageData&>(calib);
        if (!is_) {
            const long long stop = StopPosition(is_, calibAt);
            is_.seekg(calibAt);
            return Stop(slot, index, Part::Calibration, CalibrationField(is_), stop, "");
        }

        const long long imageAt = static_cast<long long>(is_.tellg());
        is_ >> static_cast<TKavriImageData&>(calib);
        if (!is_) {
            const long long stop = StopPosition(is_, imageAt);
            is_.seekg(imageAt);
            const std::string field = ImageDataField(is_);
            const std::string expected =
                field == "number of images and sub-images"
                    ? "counts that the remaining " + Text(d_.fileSize - stop) + " bytes can hold"
                    : "";
            return Stop(slot, index, Part::ImageData, field, stop, expected);
        }

        state.dataStart = calib.GetDataStartOffset();
        state.frames = calib.GetNumberImages();
        state.frameLength = calib.GetDataLength();
        const unsigned long long frameBytes = state.frameLength * kPixelBytes;
        const unsigned long long left =
            d_.fileSize > state.dataStart ? static_cast<unsigned long long>(d_.fileSize - state.dataStart) : 0;
        const unsigned long long whole = frameBytes == 0 ? state.frames : left / frameBytes;
        state.wholeFrames = whole < state.frames ? static_cast<unsigned int>(whole) : state.frames;
        if (state.wholeFrames < state.frames) {
            const long long stop = state.dataStart + static_cast<long long>(state.wholeFrames * frameBytes);
            return Stop(slot, index, Part::PixelBlock, Ordinal("frame", state.wholeFrames), stop,
                        Text(static_cast<long long>(frameBytes)) + " bytes of frame " + Text(state.wholeFrames + 1LL) +
                            " of " + Text(state.frames) + ", found " + Text(d_.fileSize - stop));
        }
        is_.clear();
        is_.seekg(state.dataStart + static_cast<long long>(state.frames * frameBytes));
        return true;
    }

    // The open sequence refuses an image whose header is not marked inactive (0); a
    // header newer than the reader knows is marked that way too.
    bool ActiveStop(int slot, unsigned int index, long long headerAt) {
        is_.clear();
        is_.seekg(headerAt);
        unsigned int version = 0, type = 0;
        RecordStream::Read(is_, version);
        if (RecordStream::Minor(version) > 31)
            return Stop(slot, index, Part::InstrumentHeader, "version word", headerAt,
                        "a header layout this reader knows (minor version 31 or below)");
        RecordStream::Read(is_, type);
        is_ >> std::ws;
        return Stop(slot, index, Part::InstrumentHeader, "Active", StopPosition(is_, headerAt), "0");
    }

    // Mirrors the open sequence's look at the file's end: a marker with a length the
    // file cannot hold fails the open.
    void CheckExtension() {
        const long long size = d_.fileSize;
        if (size < 4) return;
        char marker[4] = {};
        is_.clear();
        is_.seekg(size - 4);
        is_.read(marker, 4);
        if (!is_ || std::memcmp(marker, "MCFX", 4) != 0) return;
        if (size < 12) {
            Stop(-1, 0, Part::ExtensionSection, "length", 0, "8 length bytes before the marker");
            return;
        }
        unsigned char bytes[8] = {};
        is_.seekg(size - 12);
        is_.read(reinterpret_cast<char*>(bytes), 8);
        unsigned long long length = 0;
        for (int i = 7; i >= 0; --i) length = (length << 8) | bytes[i];
        if (length > static_cast<unsigned long long>(size - 12)) {
            Stop(-1, 0, Part::ExtensionSection, "length", size - 12,
                 "a length of at most " + Text(size - 12) + " bytes, found " + std::to_string(length));
            return;
        }
        d_.hasExtension = true;
        d_.extensionOffset = size - 12 - static_cast<long long>(length);
    }

    std::istream& is_;
    Diagnosis& d_;
    bool magicKnown_ = false;
};

}  // namespace

const char* PartName(Part part) {
    const std::size_t i = static_cast<std::size_t>(part);
    return i < sizeof kParts / sizeof kParts[0] ? kParts[i].name : "";
}

const char* SourceName(int slot) { return slot >= 0 && slot < 5 ? kSourceNames[slot] : ""; }

std::string Diagnosis::Describe() const {
    if (stop.intact) return "intact";
    std::string text;
    if (stop.source >= 0)
        text = std::string(SourceName(stop.source)) + " source, image " + Text(stop.image + 1LL) + ", ";
    text += stop.record;
    if (kParts[static_cast<std::size_t>(stop.part)].record) text += " record";
    if (!stop.field.empty()) text += ", " + stop.field;
    text += ", byte " + Text(stop.offset) + ": expected " + stop.expected;
    return text;
}

Diagnosis Diagnose(std::istream& is) {
    Diagnosis d;
    Diagnoser(is, d).Run();
    return d;
}

Diagnosis DiagnoseBytes(const void* bytes, std::size_t size) {
    TMemoryStream stream(bytes, size);
    return Diagnose(stream);
}

Diagnosis DiagnoseFile(const std::string& path) {
    // The same file stream the open uses, so diagnosis reads the bytes the same way.
    TFileStream stream(path.c_str());
    if (!stream) {
        Diagnosis d;
        d.stop.intact = false;
        d.stop.part = Part::FileHeader;
        d.stop.record = PartName(Part::FileHeader);
        d.stop.offset = 0;
        d.stop.expected = "a readable file";
        return d;
    }
    return Diagnose(stream);
}

}  // namespace ReadDiagnosis
