// The C++ interface against hand-typed and writer-built files, and against the C
// functions on the same files: frames, properties, calibration, errors, threads.
#include <gtest/gtest.h>

#include <cerrno>
#include <tuple>

#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "api/MCFIOManager.h"
#include "api/kvmcfio.h"
#include "kvmcf/kvmcf.hpp"
#include "support/RecordTexts.h"
#include "support/TestFiles.h"
#include "writer/DemoFile.h"

using kvmcftest::TempFile;

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

// A square series whose pixels differ in every frame.
std::string SeriesFile(unsigned int side, unsigned int frames, const std::string& extensionXml = "") {
    const TSubImage whole(1, static_cast<int>(side), static_cast<int>(side), 1, 1, 1);
    TMCFIOManager::TImage image(TKavriRect(1, static_cast<int>(side), static_cast<int>(side), 1), 1, &whole, frames);
    for (unsigned int f = 1; f <= frames; ++f) {
        float* pixels = image.calibImage.ObtainWriteImagePtr(f);
        for (unsigned int i = 0; i < side * side; ++i) pixels[i] = static_cast<float>(i * 7 + f) / 3.0f;
    }
    kvmcftools::McfFileContent content;
    content.images[0] = &image;
    content.extensionXml = extensionXml;
    return kvmcftools::McfFileBytes(content);
}

std::string DemoBytes() {
    TempFile file("", "demo.mcf");
    EXPECT_TRUE(kvmcftools::WriteDemoFile(file.Path()));
    FILE* f = std::fopen(file.Path().c_str(), "rb");
    std::string bytes;
    char chunk[65536];
    for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, f)) > 0;) bytes.append(chunk, n);
    std::fclose(f);
    return bytes;
}

// Every frame of every present source, as the C functions read them from the path.
std::vector<std::vector<float>> FramesThroughC(TempFile& file, KVMCF_DataSource source) {
    KVMCF_SetFileAccessMode(KVMCF_READ_HEADER_ONLY);
    EXPECT_EQ(KVMCF_ReadFromFile(file.CPath()), KVMCF_SUCCESS);
    unsigned int frames = 0, length = 0;
    KVMCF_GetNumberFrames(source, &frames);
    KVMCF_GetFrameSize(source, &length);
    std::vector<std::vector<float>> out(frames, std::vector<float>(length));
    for (unsigned int f = 0; f < frames; ++f)
        EXPECT_EQ(KVMCF_GetFrame(source, f, out[f].data(), length), KVMCF_SUCCESS);
    KVMCF_CloseFile();
    return out;
}

unsigned int CodeOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const kvmcf::Error& e) {
        return e.code();
    }
    return KVMCF_SUCCESS;
}

bool SameBytes(const std::vector<float>& a, const void* b) { return std::memcmp(a.data(), b, a.size() * 4) == 0; }

TEST(CxxFile, HandTypedFileThroughEveryInput) {
    const std::string bytes = HandFile();
    TempFile disk(bytes);
    using kvmcf::ReadMode;
    for (ReadMode mode : {ReadMode::All, ReadMode::HeaderOnly}) {
        for (int input = 0; input < 3; ++input) {
            SCOPED_TRACE(std::to_string(input) + (mode == ReadMode::All ? " all" : " header only"));
            kvmcf::File file = input == 2 ? kvmcf::File::fromBytes(bytes.data(), bytes.size(), mode)
                                          : kvmcf::File::open(disk.Path(), kvmcf::OpenOptions{mode, input == 0});
            ASSERT_EQ(file.sources().size(), 1u);
            EXPECT_FALSE(file.has(kvmcf::SourceId::Reference));
            EXPECT_EQ(CodeOf([&] { file.source(kvmcf::SourceId::Live); }), KVMCF_NOT_PRESENT);
            const kvmcf::Source& s = file.source(kvmcf::SourceId::Signal);
            EXPECT_STREQ(s.name(), "signal");
            EXPECT_EQ(s.frameCount(), 2u);
            EXPECT_EQ(s.frameLength(), 4u);
            EXPECT_EQ(s.dataStart(), static_cast<long long>(HandPrefix().size()));
            ASSERT_EQ(s.subImages().size(), 1u);
            const kvmcf::SubImage sub = s.subImages()[0];
            EXPECT_EQ(std::vector<int>({sub.left, sub.bottom, sub.right, sub.top, sub.hBin, sub.vBin}),
                      (std::vector<int>{1, 1, 2, 2, 1, 1}));

            std::vector<float> frame(4), all(8);
            s.readFrame(1, frame.data());
            EXPECT_EQ(frame, std::vector<float>(kPixels.begin() + 4, kPixels.end()));
            s.readFrames(0, 2, all.data());
            EXPECT_EQ(all, kPixels);
            const kvmcf::FrameView view = s.frames();
            EXPECT_EQ(std::vector<float>(view.begin(), view.end()), kPixels);
            EXPECT_EQ(view.frame(1)[2], 1e6f);
            EXPECT_EQ(CodeOf([&] { s.readFrame(2, frame.data()); }), KVMCF_P2INVALID);
            EXPECT_EQ(CodeOf([&] { s.readFrames(1, 2, all.data()); }), KVMCF_P2INVALID);

            EXPECT_TRUE(file.version() == (kvmcf::Version{1, 2}));
            const kvmcf::StructureVersions v = file.structureVersions();
            EXPECT_TRUE(v.header == (kvmcf::Version{1, 31}));
            EXPECT_TRUE(v.calibration == (kvmcf::Version{1, 4}));
            EXPECT_TRUE(v.image == (kvmcf::Version{1, 5}));
            EXPECT_TRUE(s.headerVersion() == (kvmcf::Version{1, 31}));
            EXPECT_TRUE(s.calibrationVersion() == (kvmcf::Version{1, 4}));
            EXPECT_TRUE(s.imageVersion() == (kvmcf::Version{1, 5}));

            // X = 500 + 0.125 p nm over columns 1..4; Z = r over rows 1..2; Y = v.
            const kvmcf::Axis x = s.xAxis(), z = s.zAxis();
            EXPECT_EQ(x.type, "Wavelength");
            EXPECT_EQ(x.unit, " nm");
            EXPECT_EQ(x.first, 1);
            EXPECT_EQ(x.values, (std::vector<double>{500.125, 500.25, 500.375, 500.5}));
            EXPECT_EQ(z.type, "Pixel number");
            EXPECT_EQ(z.values, (std::vector<double>{1, 2}));
            EXPECT_EQ(s.yValue(3.5f), 3.5);
            EXPECT_EQ(s.yType(), "Counts");

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
        char* at = buffer.data() + shift;
        std::memcpy(at, file.data(), file.size());
        kvmcf::File f = kvmcf::File::fromBytes(at, file.size(), kvmcf::ReadMode::HeaderOnly);
        const kvmcf::FrameView view = f.source(kvmcf::SourceId::Signal).frames();
        EXPECT_EQ(view.bytes(), reinterpret_cast<const unsigned char*>(at + start)) << shift;
        const bool aligned = reinterpret_cast<std::uintptr_t>(at + start) % 4 == 0;
        EXPECT_EQ(view.data() != nullptr, aligned) << shift;
        EXPECT_EQ(std::vector<float>(view.begin(), view.end()), kPixels);
        EXPECT_EQ(view[6], 1e6f);
        // A moved File keeps its views.
        kvmcf::File moved = std::move(f);
        EXPECT_EQ(moved.source(kvmcf::SourceId::Signal).frames().bytes(), view.bytes());
    }
}

void ExpectPropertiesEqualC(const kvmcf::File& file, std::size_t* compared) {
    for (const kvmcf::Source* s : file.sources()) {
        const KVMCF_DataSource source = static_cast<KVMCF_DataSource>(KVMCF_SIGNAL + static_cast<int>(s->id()));
        for (const kvmcf::Property& p : s->properties()) {
            std::vector<char> text(8192, '\0');
            EXPECT_EQ(KVMCF_GetPropertyValue(source, p.name.c_str(), text.data(), 8192), KVMCF_SUCCESS) << p.name;
            EXPECT_EQ(p.text, text.data()) << p.name;
            KVMCF_PropertyType type = KVMCF_TYPE_STRING;
            EXPECT_EQ(KVMCF_GetPropertyType(source, p.name.c_str(), &type), KVMCF_SUCCESS) << p.name;
            EXPECT_EQ(p.typeCode, static_cast<unsigned int>(type)) << p.name;
            ++*compared;
        }
    }
}

TEST(CxxFile, PropertiesEqualTheExportedQueriesNameByName) {
    setenv("TZ", "UTC", 1);
    tzset();
    TempFile hand(HandFile());
    TempFile demo(DemoBytes());
    std::size_t compared = 0;
    for (TempFile* disk : {&hand, &demo}) {
        KVMCF_SetFileAccessMode(KVMCF_READ_ALL);
        ASSERT_EQ(KVMCF_ReadFromFile(disk->CPath()), KVMCF_SUCCESS);
        ExpectPropertiesEqualC(kvmcf::File::open(disk->Path()), &compared);
        KVMCF_CloseFile();
    }
    // 118 names for the one-sub-image signals, 124 for the demo background with two.
    EXPECT_EQ(compared, 118u + 118u + 124u);

    // Typed values, from the record tables of the hand-typed header.
    const kvmcf::File file = kvmcf::File::open(hand.Path());
    const kvmcf::Source& s = file.source(kvmcf::SourceId::Signal);
    auto value = [&](const char* name) { return s.property(name).value; };
    EXPECT_EQ(value("Time"), kvmcf::Value(705032708LL));  // 5000000004 as a 32-bit int
    EXPECT_EQ(value("Temperature"), kvmcf::Value(-5.5));
    EXPECT_EQ(value("SWVersion"), kvmcf::Value(50ULL));
    EXPECT_EQ(value("Head"), kvmcf::Value(0ULL));
    EXPECT_EQ(s.property("Head").type, kvmcf::PropertyType::Byte);
    EXPECT_EQ(value("UserText"), kvmcf::Value(std::string("seventy-eight")));
    EXPECT_EQ(value("Metadata1"), kvmcf::Value(1000000ULL));
    EXPECT_EQ(value("GateDelayStep"), kvmcf::Value(0.5));
    EXPECT_EQ(value("SubImageRight1"), kvmcf::Value(2LL));
    // A float value typed as a time stamp, as the type query has always answered.
    const kvmcf::Property hp = s.property("HighPrecisionTimeStamp1");
    EXPECT_EQ(hp.value, kvmcf::Value(static_cast<double>(1000000.0f / 1e8f)));
    EXPECT_EQ(hp.text, "0.0100000");
    EXPECT_EQ(hp.type, kvmcf::PropertyType::UInt32);
    for (const char* bad : {"TimeStamp12", "SubImageTop0", "NoSuchName", ""})
        EXPECT_EQ(CodeOf([&] { s.property(bad); }), KVMCF_P2INVALID) << bad;
}

TEST(CxxFile, TimeCodesAndMetadataTagsFromTheExtensionSection) {
    setenv("TZ", "UTC", 1);
    tzset();
    // Packets of 48 bytes stored last 16-bit word first; read forwards each holds tag 3
    // (the packet version: 5, then 3) and tag 6 (0x1234, kept only above version 3).
    const std::string zeros = [] {
        std::string z;
        for (int i = 0; i < 24; ++i) z += "0,";
        return z;
    }();
    const std::string packets = zeros + "0,0,34,12,0,0,6,0,0,0,4,0,0,0,5,0,0,0,3,0,0,0,4,0,|" + zeros +
                                "0,0,34,12,0,0,6,0,0,0,4,0,0,0,3,0,0,0,3,0,0,0,4,0,|";
    // 2015, day 62, 14:05:09 and 25 hundredths; the second frame has no time code.
    const std::string irig = "12,14,40,82,30,0,94,0,0,0,0,0,90,1,0,0,|0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,|";
    const std::string xml = "<?xml version=\"1.0\" ?><Signals><Signal><TKestoImage><IRIGAvailable>1</IRIGAvailable>"
                            "<IRIGData>" + irig + "</IRIGData><MetaDataLength>48</MetaDataLength><MetaData>" +
                            packets + "</MetaData></TKestoImage></Signal></Signals>";
    const std::string bytes = SeriesFile(4, 2, xml);
    const kvmcf::File file = kvmcf::File::fromBytes(bytes.data(), bytes.size(), kvmcf::ReadMode::HeaderOnly);
    const kvmcf::Source& s = file.source(kvmcf::SourceId::Signal);
    EXPECT_EQ(s.irigTimes(), (std::vector<std::string>{"Tue Mar  3 14:05:09.250 2015", ""}));
    EXPECT_EQ(s.metadataTagValues(3), (std::vector<std::uint64_t>{5, 3}));
    EXPECT_EQ(s.metadataTagValues(6), (std::vector<std::uint64_t>{0x1234, 0}));
    EXPECT_EQ(s.metadataTagValues(1), (std::vector<std::uint64_t>{0, 0}));

    // Without the section there is nothing per frame to tell.
    const std::string plain = SeriesFile(4, 2);
    const kvmcf::File bare = kvmcf::File::fromBytes(plain.data(), plain.size());
    EXPECT_TRUE(bare.source(kvmcf::SourceId::Signal).irigTimes().empty());
    EXPECT_TRUE(bare.source(kvmcf::SourceId::Signal).metadataTagValues(3).empty());
}

TEST(CxxFile, TwoFilesAtOnceInTurnsAndFromFourThreads) {
    TempFile demo(DemoBytes());
    TempFile series(SeriesFile(64, 48));
    const auto demoFrames = FramesThroughC(demo, KVMCF_SIGNAL);
    const auto seriesFrames = FramesThroughC(series, KVMCF_SIGNAL);
    ASSERT_EQ(demoFrames.size(), 20u);
    ASSERT_EQ(seriesFrames.size(), 48u);

    const std::string seriesBytes = SeriesFile(64, 48);
    const kvmcf::File a = kvmcf::File::open(demo.Path(), kvmcf::ReadMode::HeaderOnly);
    const kvmcf::File b = kvmcf::File::fromBytes(seriesBytes.data(), seriesBytes.size());
    const kvmcf::Source& sa = a.source(kvmcf::SourceId::Signal);
    const kvmcf::Source& sb = b.source(kvmcf::SourceId::Signal);
    std::vector<float> fa(sa.frameLength()), fb(sb.frameLength());
    for (unsigned int f = 0; f < 48; ++f) {
        sa.readFrame(f % 20, fa.data());
        sb.readFrame(f, fb.data());
        ASSERT_TRUE(SameBytes(demoFrames[f % 20], fa.data())) << f;
        ASSERT_TRUE(SameBytes(seriesFrames[f], fb.data())) << f;
    }

    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (unsigned int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            std::vector<float> x(sa.frameLength()), y(sb.frameLength());
            for (int round = 0; round < 20; ++round)
                for (unsigned int f = t; f < 48; f += 4) {
                    sa.readFrame(f % 20, x.data());
                    sb.readFrame(f, y.data());
                    if (!SameBytes(demoFrames[f % 20], x.data()) || !SameBytes(seriesFrames[f], y.data())) ++wrong;
                    if (!SameBytes(demoFrames[f % 20], sa.frames().bytes() + (f % 20) * sa.frameLength() * 4)) ++wrong;
                }
        });
    }
    for (std::thread& t : threads) t.join();
    EXPECT_EQ(wrong.load(), 0);
}

TEST(CxxFile, FileAndExportedFunctionsDoNotDisturbEachOther) {
    TempFile hand(HandFile());
    TempFile demo(DemoBytes());
    const auto demoFrames = FramesThroughC(demo, KVMCF_SIGNAL);
    KVMCF_SetFileAccessMode(KVMCF_READ_HEADER_ONLY);
    ASSERT_EQ(KVMCF_ReadFromFile(hand.CPath()), KVMCF_SUCCESS);
    float cFrame[4] = {};
    char model[64] = {};
    {
        kvmcf::File file = kvmcf::File::open(demo.Path(), kvmcf::ReadMode::HeaderOnly);
        const kvmcf::Source& s = file.source(kvmcf::SourceId::Signal);
        std::vector<float> frame(s.frameLength());
        // Interleave: the C stream and the File's reads must not move each other.
        for (unsigned int f = 0; f < 2; ++f) {
            ASSERT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 1 - f, cFrame, 4), KVMCF_SUCCESS);
            const auto expected = kPixels.begin() + 4 * (1 - f);
            EXPECT_EQ(std::vector<float>(cFrame, cFrame + 4), std::vector<float>(expected, expected + 4));
            s.readFrame(f + 5, frame.data());
            EXPECT_TRUE(SameBytes(demoFrames[f + 5], frame.data()));
        }
        EXPECT_EQ(s.property("HeadModel").text, "DemoCam 1024");
        ASSERT_EQ(KVMCF_GetPropertyValue(KVMCF_SIGNAL, "HeadModel", model, sizeof model), KVMCF_SUCCESS);
        EXPECT_STREQ(model, "Test head 76");
        KVMCF_CloseFile();
        s.readFrame(19, frame.data());
        EXPECT_TRUE(SameBytes(demoFrames[19], frame.data()));
    }
    ASSERT_EQ(KVMCF_ReadFromFile(hand.CPath()), KVMCF_SUCCESS);
    {
        kvmcf::File file = kvmcf::File::open(demo.Path());
    }
    ASSERT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 0, cFrame, 4), KVMCF_SUCCESS);
    EXPECT_EQ(std::vector<float>(cFrame, cFrame + 4), std::vector<float>(kPixels.begin(), kPixels.begin() + 4));
    KVMCF_CloseFile();
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
    const std::string whole = HandFile();
    const std::string prefix = HandPrefix();
    const std::vector<std::string> inputs = {
        "",
        "not a multi-channel file at all\n",
        whole.substr(0, 30),                   // inside the magic line
        whole.substr(0, 300),                  // inside the header record
        prefix.substr(0, prefix.size() - 20),  // inside the image data record
        prefix + "\x01\x02",                   // inside the pixel block
        HandPrefix(2) + whole.substr(prefix.size()),  // "Active" not 0
        whole,
        whole + std::string(8, '\xff') + "MCFX",  // an extension section longer than the file
    };
    for (kvmcf::ReadMode mode : {kvmcf::ReadMode::All, kvmcf::ReadMode::HeaderOnly}) {
        const KVMCF_ReadMode cMode = mode == kvmcf::ReadMode::All ? KVMCF_READ_ALL : KVMCF_READ_HEADER_ONLY;
        for (std::size_t i = 0; i < inputs.size(); ++i) {
            TempFile disk(inputs[i]);
            KVMCF_SetFileAccessMode(cMode);
            const unsigned int cPath = KVMCF_ReadFromFile(disk.CPath());
            KVMCF_CloseFile();
            // Another first line opens in C as a file with no data source; here it is refused.
            const bool foreign = i == 1;
            if (foreign) {
                EXPECT_EQ(cPath, KVMCF_SUCCESS);
            }
            const unsigned int expected = foreign ? KVMCF_FORMAT_ERROR : cPath;
            EXPECT_EQ(CodeOf([&] { kvmcf::File::open(disk.Path(), mode); }), expected) << i;
            if (inputs[i].empty()) continue;
            EXPECT_EQ(CodeOf([&] { kvmcf::File::fromBytes(inputs[i].data(), inputs[i].size(), mode); }),
                      foreign ? KVMCF_FORMAT_ERROR : CBytesCode(inputs[i]))
                << i;
        }
    }
    // The system's own reason, with the path once.
    const std::string missing = "/nonexistent/kvmcf.mcf";
    const std::string folder = ::testing::TempDir();
    for (const auto& [path, error, words] : {std::tuple{missing, ENOENT, ": No such file or directory"},
                                              std::tuple{folder, EISDIR, ": Is a directory"}}) {
        try {
            kvmcf::File::open(path);
            ADD_FAILURE() << path;
        } catch (const kvmcf::Error& e) {
            EXPECT_EQ(e.code(), KVMCF_FILE_ERROR);
            EXPECT_EQ(e.systemError(), error);
            EXPECT_EQ(std::string(e.what()), path + words);
        }
    }
    try {
        const std::string foreign = "not a multi-channel file at all\n";
        kvmcf::File::fromBytes(foreign.data(), foreign.size());
        ADD_FAILURE();
    } catch (const kvmcf::Error& e) {
        EXPECT_STREQ(e.what(), "not a multi-channel file");
    }
    // Format errors say where reading stopped: the signal's first image, in the record cut short.
    const std::string cut = prefix.substr(0, prefix.size() - 20);
    for (const std::string& bytes : {whole.substr(0, 300), cut}) {
        try {
            kvmcf::File::fromBytes(bytes.data(), bytes.size());
            ADD_FAILURE();
        } catch (const kvmcf::Error& e) {
            ASSERT_TRUE(e.position().has_value());
            EXPECT_EQ(e.position()->source, 0);
            EXPECT_EQ(e.position()->image, 0);
            EXPECT_EQ(e.position()->record, bytes.size() == 300 ? "instrument header" : "image data");
            EXPECT_GT(e.position()->offset, static_cast<long long>(kMagic.size()));
            EXPECT_LE(e.position()->offset, static_cast<long long>(bytes.size()));
        }
    }
    EXPECT_EQ(CodeOf([] { kvmcf::File::fromBytes(nullptr, 10); }), KVMCF_P1INVALID);
    EXPECT_EQ(CodeOf([&] { kvmcf::File::fromBytes(whole.data(), 0); }), KVMCF_P2INVALID);
    // An unknown version opens with no sources in C; here it is not a file to read from.
    const char old[] = "Kavri Technology Multi-Channel File\n65537\n";
    EXPECT_EQ(CBytesCode(std::string(old, 42)), KVMCF_SUCCESS);
    EXPECT_EQ(CodeOf([&] { kvmcf::File::fromBytes(old, 42); }), KVMCF_FORMAT_ERROR);
}

TEST(CxxFile, FileTruncatedOrReplacedAfterOpening) {
    const std::string bytes = SeriesFile(16, 8);
    for (bool map : {true, false}) {
        TempFile disk(bytes);
        const kvmcf::File file = kvmcf::File::open(disk.Path(), kvmcf::OpenOptions{kvmcf::ReadMode::HeaderOnly, map});
        const kvmcf::Source& s = file.source(kvmcf::SourceId::Signal);
        std::vector<float> frame(256);
        // Cut the file inside frame 3: frames 0 to 2 still read, the rest fail.
        ASSERT_EQ(truncate(disk.Path().c_str(), s.dataStart() + 3 * 1024 + 100), 0);
        s.readFrame(2, frame.data());
        EXPECT_EQ(frame[1], (7.0f + 3.0f) / 3.0f);
        EXPECT_EQ(CodeOf([&] { s.readFrame(3, frame.data()); }), KVMCF_FILE_ERROR);
        EXPECT_EQ(CodeOf([&] { s.readFrames(0, 8, std::vector<float>(2048).data()); }), KVMCF_FILE_ERROR);
        EXPECT_EQ(CodeOf([&] { s.frames(); }), KVMCF_FILE_ERROR);
    }
    // A file replaced on disk: the open File keeps reading the one it opened.
    TempFile disk(bytes);
    const kvmcf::File file = kvmcf::File::open(disk.Path(), kvmcf::ReadMode::HeaderOnly);
    TempFile other(SeriesFile(16, 2));
    ASSERT_EQ(std::rename(other.Path().c_str(), disk.Path().c_str()), 0);
    std::vector<float> frame(256);
    file.source(kvmcf::SourceId::Signal).readFrame(7, frame.data());
    EXPECT_EQ(frame[0], 8.0f / 3.0f);
}

}  // namespace
