// The C++ interface against hand-typed and writer-built files, and against the C
// functions on the same files: frames, properties, calibration, errors, big files.
#include <gtest/gtest.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "api/FileStreamBuf.h"
#include "api/MCFIOManager.h"
#include "api/kvmcfio.h"
#include "kvmcf/kvmcf.hpp"
#include "support/RecordTexts.h"
#include "support/TestFiles.h"
#include "tools/ToolFiles.h"
#include "writer/DemoFile.h"

using kvmcftest::TempFile;
using kvmcf::ReadMode;
using kvmcf::SourceId;

namespace {

const std::string kMagic = "Kavri Technology Multi-Channel File\n65538\n";
const std::vector<float> kPixels = {1, 2, 3, 4, -1.5f, 0, 1e6f, 0.25f};

std::string HandPrefix(unsigned int active = 0) {
    return kMagic + "1\n" + kvmcftest::HeaderRows131(active) + kvmcftest::HeaderNested131() + "\n" +
           kvmcftest::Calibration14() + kvmcftest::ImageData15();
}
std::string HandFile() {
    return HandPrefix() + kvmcftest::FloatBytes({1, 2, 3, 4, -1.5f, 0, 1e6f, 0.25f}) + "0\n0\n0\n0\n";
}

// A square series whose pixels differ in every frame: pixel i of frame f is (7 i + f + 1) / 3.
std::string SeriesFile(unsigned int side, unsigned int frames) {
    const TSubImage whole(1, static_cast<int>(side), static_cast<int>(side), 1, 1, 1);
    TMCFIOManager::TImage image(TKavriRect(1, static_cast<int>(side), static_cast<int>(side), 1), 1, &whole, frames);
    for (unsigned int f = 1; f <= frames; ++f) {
        float* pixels = image.calibImage.ObtainWriteImagePtr(f);
        for (unsigned int i = 0; i < side * side; ++i) pixels[i] = static_cast<float>(i * 7 + f) / 3.0f;
    }
    kvmcftools::McfFileContent content;
    content.images[0] = &image;
    return kvmcftools::McfFileBytes(content);
}

// The code of the error an action throws; KVMCF_SUCCESS when it throws none.
unsigned int CodeOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const kvmcf::Error& e) {
        return e.code();
    }
    return KVMCF_SUCCESS;
}

// A reader over bytes the caller keeps, handing out at most 1000 bytes a call.
kvmcf::File::ReadAt ReaderOf(const std::string& bytes) {
    return [&bytes](unsigned long long offset, void* out, std::size_t length) -> std::size_t {
        if (offset >= bytes.size()) return 0;
        const std::size_t n = std::min<std::size_t>({length, bytes.size() - offset, 1000});
        std::memcpy(out, bytes.data() + offset, n);
        return n;
    };
}

TEST(CxxFile, HandTypedFileThroughEveryInput) {
    const std::string bytes = HandFile();
    TempFile disk(bytes);
    for (ReadMode mode : {ReadMode::All, ReadMode::HeaderOnly}) {
        for (int input = 0; input < 4; ++input) {
            SCOPED_TRACE(std::to_string(input) + (mode == ReadMode::All ? " all" : " header only"));
            kvmcf::File file = input == 3   ? kvmcf::File::fromReader(ReaderOf(bytes), bytes.size(), mode)
                               : input == 2 ? kvmcf::File::fromBytes(bytes.data(), bytes.size(), mode)
                                            : kvmcf::File::open(disk.Path(), kvmcf::OpenOptions{mode, input == 0});
            ASSERT_EQ(file.sources().size(), 1u);
            EXPECT_EQ(CodeOf([&] { file.source(SourceId::Live); }), KVMCF_NOT_PRESENT);
            const kvmcf::Source& s = file.source(SourceId::Signal);
            EXPECT_EQ(std::make_tuple(std::string(s.name()), s.frameCount(), s.frameLength(), s.dataStart()),
                      std::make_tuple(std::string("signal"), 2u, 4u, static_cast<long long>(HandPrefix().size())));
            ASSERT_EQ(s.subImages().size(), 1u);
            const kvmcf::SubImage sub = s.subImages()[0];
            EXPECT_EQ(std::vector<int>({sub.left, sub.bottom, sub.right, sub.top, sub.hBin, sub.vBin}),
                      (std::vector<int>{1, 1, 2, 2, 1, 1}));

            std::vector<float> frame(4), all(8);
            s.readFrame(1, frame.data());
            s.readFrames(0, 2, all.data());
            EXPECT_EQ(std::vector<float>(all.begin() + 4, all.end()), frame);
            EXPECT_EQ(all, kPixels);
            EXPECT_EQ(std::vector<float>(s.frames().begin(), s.frames().end()), kPixels);
            EXPECT_EQ(s.frames().frame(1)[2], 1e6f);
            EXPECT_EQ(CodeOf([&] { s.readFrame(2, frame.data()); }), KVMCF_P2INVALID);
            EXPECT_EQ(CodeOf([&] { s.readFrames(1, 2, all.data()); }), KVMCF_P2INVALID);

            const kvmcf::StructureVersions v = file.structureVersions();
            EXPECT_TRUE(file.version() == (kvmcf::Version{1, 2}) && v.header == (kvmcf::Version{1, 31}) &&
                        v.calibration == (kvmcf::Version{1, 4}) && v.image == (kvmcf::Version{1, 5}));

            // X = 500 + 0.125 p nm over columns 1..4; Z = r over rows 1..2; Y = v.
            const kvmcf::Axis x = s.xAxis(), z = s.zAxis();
            EXPECT_EQ(std::tie(x.type, x.unit, x.first, x.values),
                      std::make_tuple("Wavelength", " nm", 1, std::vector<double>{500.125, 500.25, 500.375, 500.5}));
            EXPECT_EQ(std::tie(z.type, z.values), std::make_tuple("Pixel number", std::vector<double>{1, 2}));
            EXPECT_EQ(std::make_tuple(s.yValue(3.5f), s.yType()), std::make_tuple(3.5, std::string("Counts")));

            EXPECT_EQ(s.timeStamps(), (std::vector<unsigned int>{5, 7}));
            EXPECT_EQ(s.metadataWords(), (std::vector<std::uint64_t>{0, 1000000}));
            // Word 0 gives the kinetic cycle time; 1000000 ticks of 10 ns are 0.01 s.
            EXPECT_EQ(s.kineticTimes(), (std::vector<float>{17.5f, 1000000.0f / 1e8f}));
        }
    }
}

TEST(CxxFile, FramesViewedInPlaceAtAnyAlignment) {
    const std::string file = HandFile();
    const std::size_t start = HandPrefix().size();
    std::vector<char> buffer(file.size() + 8);
    for (std::size_t shift = 0; shift < 4; ++shift) {
        SCOPED_TRACE(shift);
        char* at = buffer.data() + shift;
        std::memcpy(at, file.data(), file.size());
        kvmcf::File f = kvmcf::File::fromBytes(at, file.size(), ReadMode::HeaderOnly);
        const kvmcf::FrameView view = f.source(SourceId::Signal).frames();
        EXPECT_EQ(view.bytes(), reinterpret_cast<const unsigned char*>(at + start));
        EXPECT_EQ(view.data() != nullptr, reinterpret_cast<std::uintptr_t>(at + start) % 4 == 0);
        EXPECT_EQ(std::vector<float>(view.begin(), view.end()), kPixels);
        // A moved File keeps its views.
        kvmcf::File moved = std::move(f);
        EXPECT_EQ(moved.source(SourceId::Signal).frames().bytes(), view.bytes());
    }
}

TEST(CxxFile, PropertiesEqualTheExportedQueriesNameByName) {
    setenv("TZ", "UTC", 1);
    tzset();
    TempFile hand(HandFile());
    TempFile demo("", "demo.mcf");
    ASSERT_TRUE(kvmcftools::WriteDemoFile(demo.Path()));
    std::size_t compared = 0;
    for (TempFile* disk : {&hand, &demo}) {
        KVMCF_SetFileAccessMode(KVMCF_READ_ALL);
        ASSERT_EQ(KVMCF_ReadFromFile(disk->CPath()), KVMCF_SUCCESS);
        const kvmcf::File file = kvmcf::File::open(disk->Path());
        for (const kvmcf::Source* s : file.sources()) {
            const auto source = static_cast<KVMCF_DataSource>(KVMCF_SIGNAL + static_cast<int>(s->id()));
            for (const kvmcf::Property& p : s->properties()) {
                std::vector<char> text(8192, '\0');
                KVMCF_PropertyType type = KVMCF_TYPE_STRING;
                const unsigned int valueCode = KVMCF_GetPropertyValue(source, p.name.c_str(), text.data(), 8192);
                const unsigned int typeCode = KVMCF_GetPropertyType(source, p.name.c_str(), &type);
                EXPECT_EQ(std::make_tuple(valueCode, typeCode, p.text, p.typeCode),
                          std::make_tuple(KVMCF_SUCCESS, KVMCF_SUCCESS, std::string(text.data()),
                                          static_cast<unsigned int>(type)))
                    << p.name;
                ++compared;
            }
        }
        KVMCF_CloseFile();
    }
    // 118 names for the one-sub-image signals, 124 for the demo background with two.
    EXPECT_EQ(compared, 118u + 118u + 124u);

    // Typed values, from the record tables of the hand-typed header.
    const kvmcf::File file = kvmcf::File::open(hand.Path());
    const kvmcf::Source& s = file.source(SourceId::Signal);
    // "Time" is 5000000004 as a 32-bit int.
    const std::pair<const char*, kvmcf::Value> typed[] = {
        {"Time", kvmcf::Value(705032708LL)}, {"Temperature", kvmcf::Value(-5.5)}, {"Head", kvmcf::Value(0ULL)},
        {"UserText", kvmcf::Value(std::string("seventy-eight"))}, {"Metadata1", kvmcf::Value(1000000ULL)},
        {"SubImageRight1", kvmcf::Value(2LL)}};
    for (const auto& [name, v] : typed) EXPECT_EQ(s.property(name).value, v) << name;
    // A float value typed as a time stamp, as the type query has always answered.
    const kvmcf::Property hp = s.property("HighPrecisionTimeStamp1");
    EXPECT_EQ(std::tie(hp.value, hp.text, hp.type),
              std::make_tuple(kvmcf::Value(static_cast<double>(1000000.0f / 1e8f)), "0.0100000",
                              kvmcf::PropertyType::UInt32));
    for (const char* bad : {"TimeStamp12", "SubImageTop0", "NoSuchName", ""})
        EXPECT_EQ(CodeOf([&] { s.property(bad); }), KVMCF_P2INVALID) << bad;
}

TEST(CxxFile, FileAndExportedFunctionsDoNotDisturbEachOther) {
    TempFile hand(HandFile());
    TempFile demo("", "demo.mcf");
    ASSERT_TRUE(kvmcftools::WriteDemoFile(demo.Path()));
    KVMCF_SetFileAccessMode(KVMCF_READ_HEADER_ONLY);
    ASSERT_EQ(KVMCF_ReadFromFile(hand.CPath()), KVMCF_SUCCESS);
    std::vector<float> cFrame(4);
    const kvmcf::File file = kvmcf::File::open(demo.Path(), ReadMode::HeaderOnly);
    const kvmcf::Source& s = file.source(SourceId::Signal);
    std::vector<float> frame(s.frameLength());
    // Interleave: the C stream and the File's reads must not move each other. Pixel 0 of
    // demo frame f is 300 + f mod 13.
    for (unsigned int f = 0; f < 2; ++f) {
        ASSERT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 1 - f, cFrame.data(), 4), KVMCF_SUCCESS);
        EXPECT_EQ(cFrame, std::vector<float>(kPixels.begin() + 4 * (1 - f), kPixels.begin() + 4 * (2 - f)));
        s.readFrame(f + 5, frame.data());
        EXPECT_EQ(frame[0], 305.0f + static_cast<float>(f));
    }
    KVMCF_CloseFile();
    s.readFrame(12, frame.data());
    EXPECT_EQ(frame[0], 312.0f);
}

// The C byte-array open lets a format error out as an exception: that is 22003.
unsigned int CBytesCode(std::string bytes) {
    try {
        const unsigned int code = KVMCF_ReadFromByteArray(reinterpret_cast<unsigned char*>(&bytes[0]),
                                                          static_cast<unsigned int>(bytes.size()));
        KVMCF_CloseFile();
        return code;
    } catch (const TMCFLoadException&) {
        return KVMCF_FORMAT_ERROR;
    }
}

TEST(CxxFile, RefusesWhatTheExportedPathRefusesWithTheSameCode) {
    const std::string whole = HandFile(), prefix = HandPrefix();
    const std::string foreign = "not a multi-channel file at all\n";
    const std::string header = whole.substr(0, 300), cut = prefix.substr(0, prefix.size() - 20);
    // Cut inside the magic line, the header, the image data record and the pixel block; "Active"
    // not 0; an extension section longer than the file.
    const std::vector<std::string> inputs = {"", foreign, whole.substr(0, 30), header, cut, prefix + "\x01\x02",
                                             HandPrefix(2) + whole.substr(prefix.size()), whole,
                                             whole + std::string(8, '\xff') + "MCFX"};
    for (ReadMode mode : {ReadMode::All, ReadMode::HeaderOnly}) {
        for (const std::string& input : inputs) {
            SCOPED_TRACE(input.size());
            TempFile disk(input);
            KVMCF_SetFileAccessMode(mode == ReadMode::All ? KVMCF_READ_ALL : KVMCF_READ_HEADER_ONLY);
            const unsigned int cPath = KVMCF_ReadFromFile(disk.CPath());
            KVMCF_CloseFile();
            // Another first line opens in C as a file with no data source; here it is refused.
            EXPECT_EQ(CodeOf([&] { kvmcf::File::open(disk.Path(), mode); }),
                      input == foreign ? KVMCF_FORMAT_ERROR : cPath);
            if (input.empty()) continue;
            const unsigned int bytesCode = input == foreign ? KVMCF_FORMAT_ERROR : CBytesCode(input);
            EXPECT_EQ(CodeOf([&] { kvmcf::File::fromBytes(input.data(), input.size(), mode); }), bytesCode);
            EXPECT_EQ(CodeOf([&] { kvmcf::File::fromReader(ReaderOf(input), input.size(), mode); }), bytesCode);
        }
    }
    EXPECT_EQ(CodeOf([] { kvmcf::File::fromBytes(nullptr, 10); }), KVMCF_P1INVALID);
    EXPECT_EQ(CodeOf([&] { kvmcf::File::fromBytes(whole.data(), 0); }), KVMCF_P2INVALID);
    // An unknown version opens with no sources in C; here it is not a file to read from.
    const char old[] = "Kavri Technology Multi-Channel File\n65537\n";
    EXPECT_EQ(CodeOf([&] { kvmcf::File::fromBytes(old, 42); }), KVMCF_FORMAT_ERROR);
}

TEST(CxxFile, FileTruncatedOrReplacedAfterOpening) {
    const std::string bytes = SeriesFile(16, 8);
    std::vector<float> frame(256);
    for (bool map : {true, false}) {
        TempFile disk(bytes);
        const kvmcf::File file = kvmcf::File::open(disk.Path(), kvmcf::OpenOptions{ReadMode::HeaderOnly, map});
        const kvmcf::Source& s = file.source(SourceId::Signal);
        // Cut the file inside frame 3: frames 0 to 2 still read, the rest fail.
        ASSERT_EQ(truncate(disk.Path().c_str(), s.dataStart() + 3 * 1024 + 100), 0);
        s.readFrame(2, frame.data());
        EXPECT_EQ(frame[1], (7.0f + 3.0f) / 3.0f);
        EXPECT_EQ(std::make_tuple(CodeOf([&] { s.readFrame(3, frame.data()); }),
                                  CodeOf([&] { s.readFrames(0, 8, std::vector<float>(2048).data()); }),
                                  CodeOf([&] { s.frames(); })),
                  std::make_tuple(KVMCF_FILE_ERROR, KVMCF_FILE_ERROR, KVMCF_FILE_ERROR));
    }
    // A file replaced on disk: the open File keeps reading the one it opened.
    TempFile disk(bytes);
    const kvmcf::File file = kvmcf::File::open(disk.Path(), ReadMode::HeaderOnly);
    TempFile other(SeriesFile(16, 2));
    ASSERT_EQ(std::rename(other.Path().c_str(), disk.Path().c_str()), 0);
    file.source(SourceId::Signal).readFrame(7, frame.data());
    EXPECT_EQ(frame[0], 8.0f / 3.0f);
}

// Bytes the process has read through system calls so far; -1 where the system does not tell.
long long BytesReadByProcess() {
    std::ifstream io("/proc/self/io");
    for (std::string key; io >> key;) {
        long long value = -1;
        io >> value;
        if (key == "rchar:") return value;
    }
    return -1;
}

// A signal of 256 frames of 1024 x 1024 pixels (1 GiB), the pixel block sparse on disk,
// followed by a 4 MiB extension section.
struct GibibyteFile {
    static constexpr unsigned long long kFrameBytes = 1024ULL * 1024 * 4;
    static constexpr unsigned long long kPixelBytes = 256 * kFrameBytes;
    std::string records;  // up to the first pixel
    std::string tail;     // the other sources' counts and the section
    std::string section;  // the section's text
    std::string path = kvmcftools::ScratchPath("gibibyte.mcf");

    GibibyteFile() {
        const TSubImage whole(1, 1024, 1024, 1, 1, 1);
        TMCFIOManager::TImage image(TKavriRect(1, 1024, 1024, 1), 1, &whole, 256, DataStore::Float, false);
        image.calibImage.SetHeaderOnly(true);
        kvmcftools::McfFileContent content;
        content.images[0] = &image;
        const std::string counts = "0\n0\n0\n0\n";
        records = kvmcftools::McfFileBytes(content);
        records.resize(records.size() - counts.size());
        section = "<?xml version=\"1.0\" ?><Signals><Signal><TKestoImageData><Note>" + std::string(4 << 20, 'n') +
                  "</Note></TKestoImageData></Signal></Signals>";
        std::ostringstream framed;
        kvmcftools::WriteExtensionSection(framed, section);
        tail = counts + framed.str();
        FILE* f = std::fopen(path.c_str(), "wb");
        const bool written = f && std::fwrite(records.data(), 1, records.size(), f) == records.size() &&
                             fseeko(f, static_cast<off_t>(records.size() + kPixelBytes), SEEK_SET) == 0 &&
                             std::fwrite(tail.data(), 1, tail.size(), f) == tail.size();
        if (f) std::fclose(f);
        EXPECT_TRUE(written);
    }
    ~GibibyteFile() { std::remove(path.c_str()); }
    unsigned long long PixelsEnd() const { return records.size() + kPixelBytes; }
    unsigned long long Size() const { return PixelsEnd() + tail.size(); }
    unsigned long long SectionStart() const { return Size() - 12 - section.size(); }
    // The file's bytes at offset (zeros in the pixel block), as a reader serves them.
    std::size_t Serve(unsigned long long offset, void* out, std::size_t length) const {
        char* to = static_cast<char*>(out);
        for (std::size_t i = 0; i < length; ++i) {
            const unsigned long long at = offset + i;
            to[i] = at < records.size() ? records[at] : at < PixelsEnd() ? 0 : tail[at - PixelsEnd()];
        }
        return length;
    }
};

TEST(CxxFile, OpenReadsNoPixelByteInEitherModeAndTheSectionOnce) {
    const GibibyteFile big;
    const unsigned long long pixelsStart = big.records.size();
    for (ReadMode mode : {ReadMode::All, ReadMode::HeaderOnly}) {
        // From the path, as the system counts it: the records and the section once, no pixel.
        const long long before = BytesReadByProcess();
        if (before < 0) GTEST_SKIP() << "the system does not count the bytes read";
        {
            const kvmcf::File file = kvmcf::File::open(big.path, mode);
            // A little of the tail is read twice, and the count includes reading /proc/self/io.
            const long long read = BytesReadByProcess() - before;
            const long long least = static_cast<long long>(big.records.size() + big.tail.size());
            EXPECT_GE(read, least);
            EXPECT_LE(read, least + 4096);
            const kvmcf::Source& s = file.source(SourceId::Signal);
            EXPECT_EQ(std::make_tuple(s.frameCount(), s.dataStart()),
                      std::make_tuple(256u, static_cast<long long>(pixelsStart)));
        }

        // Through a reader: the section's text is read once, no pixel while opening,
        // and a frame is one read of exactly its bytes.
        std::vector<std::pair<unsigned long long, std::size_t>> reads;
        std::mutex lock;
        auto counting = [&](unsigned long long offset, void* out, std::size_t length) {
            std::lock_guard<std::mutex> hold(lock);
            reads.emplace_back(offset, length);
            return big.Serve(offset, out, length);
        };
        const kvmcf::File file = kvmcf::File::fromReader(counting, big.Size(), mode);
        unsigned long long pixelBytes = 0, sectionBytes = 0;
        for (const auto& [offset, length] : reads) {
            const unsigned long long end = offset + length;
            auto overlap = [&](unsigned long long a, unsigned long long b) {
                return std::min(end, b) > std::max(offset, a) ? std::min(end, b) - std::max(offset, a) : 0;
            };
            pixelBytes += overlap(pixelsStart, big.PixelsEnd());
            sectionBytes += overlap(big.SectionStart(), big.SectionStart() + big.section.size());
        }
        // The buffer after the pixels may run on into the section's text: nothing more.
        const unsigned long long buffer = TFileStreamBuf::kDefaultBufferSize;
        EXPECT_EQ(pixelBytes, 0u);
        EXPECT_GE(sectionBytes, big.section.size());
        EXPECT_LE(sectionBytes, big.section.size() + buffer);
        reads.clear();
        std::vector<float> frame(1024 * 1024, 1.0f);
        file.source(SourceId::Signal).readFrame(255, frame.data());
        EXPECT_EQ(reads, (std::vector<std::pair<unsigned long long, std::size_t>>{
                             {pixelsStart + 255 * GibibyteFile::kFrameBytes, GibibyteFile::kFrameBytes}}));
        EXPECT_EQ(frame[12345], 0.0f);
    }
}

TEST(CxxFile, ReaderErrorsReachTheCaller) {
    const std::string bytes = HandFile();
    EXPECT_EQ(CodeOf([] { kvmcf::File::fromReader(nullptr, 10); }), KVMCF_P1INVALID);
    EXPECT_EQ(CodeOf([&] { kvmcf::File::fromReader(ReaderOf(bytes), 0); }), KVMCF_P2INVALID);
    // A size larger than the reader serves: the end, where a section would be, cannot be read.
    EXPECT_EQ(CodeOf([&] { kvmcf::File::fromReader(ReaderOf(bytes), bytes.size() + 100); }), KVMCF_FILE_ERROR);

    // The reader's own exception, whether it comes while opening or while reading frames.
    struct Unreachable : std::runtime_error {
        Unreachable() : std::runtime_error("host unreachable") {}
    };
    unsigned long long failFrom = 0;
    auto flaky = [&](unsigned long long offset, void* out, std::size_t length) -> std::size_t {
        if (offset + length > failFrom) throw Unreachable();
        return ReaderOf(bytes)(offset, out, length);
    };
    EXPECT_THROW(kvmcf::File::fromReader(flaky, bytes.size()), Unreachable);
    failFrom = bytes.size();
    const kvmcf::File file = kvmcf::File::fromReader(flaky, bytes.size(), ReadMode::HeaderOnly);
    std::vector<float> frame(4);
    file.source(SourceId::Signal).readFrame(0, frame.data());
    EXPECT_EQ(frame, std::vector<float>(kPixels.begin(), kPixels.begin() + 4));
    failFrom = 0;
    EXPECT_THROW(file.source(SourceId::Signal).readFrame(1, frame.data()), Unreachable);
}

}  // namespace
