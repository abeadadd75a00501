// Frames through the exported functions, from files assembled with the record
// writers: every input kind and read mode, several sources, and the seek bookkeeping.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "api/DLLmain.h"
#include "api/MCFIOManager.h"
#include "api/kvmcfio.h"
#include "kvmcf/kvmcf.hpp"
#include "support/TestFiles.h"
#include "writer/McfFileWriter.h"

namespace {

using Image = TMCFIOManager::TImage;

// Pixel value that tells source, frame and position apart.
float Pixel(int source, unsigned int frame, unsigned int i) {
    return static_cast<float>(source * 100000 + frame * 1000 + i) + 0.25f;
}

std::unique_ptr<Image> MakeImage(int source, unsigned int frames, std::vector<TSubImage> subs) {
    auto image = std::make_unique<Image>(TKavriRect(1, 64, 64, 1), static_cast<unsigned int>(subs.size()),
                                         subs.data(), frames);
    TCalibImage& data = image->calibImage;
    for (unsigned int f = 1; f <= frames; ++f) {
        float* pixels = data.ObtainWriteImagePtr(f);
        for (unsigned int i = 0; i < data.GetDataLength(); ++i) pixels[i] = Pixel(source, f - 1, i);
        data.ReleaseImagePtr(f);
    }
    return image;
}

std::vector<float> Expected(int source, unsigned int frame, unsigned int length) {
    std::vector<float> v(length);
    for (unsigned int i = 0; i < length; ++i) v[i] = Pixel(source, frame, i);
    return v;
}

class FrameAccess : public ::testing::Test {
protected:
    void SetUp() override {
        // Signal: 3 frames of two sub-images (4x3 and a 2x2-binned 4x4) = 12 + 4 pixels.
        signal_ = MakeImage(0, 3, {TSubImage(1, 3, 4, 1, 1, 1), TSubImage(11, 14, 14, 11, 2, 2)});
        // Background: 1 frame of 5x1; live: 2 frames of 3x2.
        background_ = MakeImage(2, 1, {TSubImage(1, 1, 5, 1, 1, 1)});
        live_ = MakeImage(3, 2, {TSubImage(2, 3, 4, 2, 1, 1)});
        kvmcftools::McfFileContent content;
        content.images[0] = signal_.get();
        content.images[2] = background_.get();
        content.images[3] = live_.get();
        bytes_ = kvmcftools::McfFileBytes(content);
        file_ = std::make_unique<kvmcftest::TempFile>(bytes_);
    }
    void TearDown() override {
        KVMCF_CloseFile();
        KVMCF_SetFileAccessMode(KVMCF_READ_ALL);
    }
    void Open(bool fromBytes, KVMCF_ReadMode mode) {
        KVMCF_SetFileAccessMode(mode);
        if (fromBytes)
            ASSERT_EQ(KVMCF_ReadFromByteArray(reinterpret_cast<unsigned char*>(&bytes_[0]),
                                              static_cast<unsigned int>(bytes_.size())),
                      KVMCF_SUCCESS);
        else
            ASSERT_EQ(KVMCF_ReadFromFile(file_->CPath()), KVMCF_SUCCESS);
    }
    unsigned long long Seeks() const { return mcfManager->GetOpenFile()->GetSeekCount(); }

    std::unique_ptr<Image> signal_, background_, live_;
    std::string bytes_;
    std::unique_ptr<kvmcftest::TempFile> file_;
};

TEST_F(FrameAccess, EverySourceByteExactInEveryInputAndMode) {
    const struct {
        KVMCF_DataSource source;
        int id;
        unsigned int frames, length, subs;
    } sources[] = {{KVMCF_SIGNAL, 0, 3, 16, 2}, {KVMCF_BACKGROUND, 2, 1, 5, 1}, {KVMCF_LIVE, 3, 2, 6, 1}};

    for (bool fromBytes : {false, true}) {
        for (KVMCF_ReadMode mode : {KVMCF_READ_ALL, KVMCF_READ_HEADER_ONLY}) {
            SCOPED_TRACE(std::string(fromBytes ? "bytes" : "path") + (mode == KVMCF_READ_ALL ? " all" : " header"));
            Open(fromBytes, mode);
            int present = 1;
            KVMCF_IsDataSourcePresent(KVMCF_REFERENCE, &present);
            EXPECT_EQ(present, 0);
            for (const auto& s : sources) {
                unsigned int frames = 0, length = 0, subs = 0;
                EXPECT_EQ(KVMCF_GetNumberFrames(s.source, &frames), KVMCF_SUCCESS);
                EXPECT_EQ(KVMCF_GetFrameSize(s.source, &length), KVMCF_SUCCESS);
                EXPECT_EQ(KVMCF_GetNumberSubImages(s.source, &subs), KVMCF_SUCCESS);
                ASSERT_EQ(frames, s.frames);
                ASSERT_EQ(length, s.length);
                EXPECT_EQ(subs, s.subs);

                // Frames in reverse order too, so the stream has to seek back.
                for (unsigned int f = frames; f-- > 0;) {
                    std::vector<float> frame(length + 3, -7.0f);
                    EXPECT_EQ(KVMCF_GetFrame(s.source, f, frame.data(), length + 3), KVMCF_SUCCESS);
                    EXPECT_EQ(std::vector<float>(frame.begin(), frame.begin() + length), Expected(s.id, f, length));
                    EXPECT_EQ(frame[length], -7.0f);  // nothing beyond one frame is written
                }
                std::vector<float> all(frames * length);
                EXPECT_EQ(KVMCF_GetAllFrames(s.source, all.data(), frames * length), KVMCF_SUCCESS);
                for (unsigned int f = 0; f < frames; ++f)
                    EXPECT_EQ(std::vector<float>(all.begin() + f * length, all.begin() + (f + 1) * length),
                              Expected(s.id, f, length));
            }
            KVMCF_CloseFile();
        }
    }
}

TEST_F(FrameAccess, SubImageGeometryIsReportedInArgumentOrder) {
    Open(false, KVMCF_READ_ALL);
    unsigned int left, bottom, right, top, hBin, vBin;
    EXPECT_EQ(KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 1, &left, &bottom, &right, &top, &hBin, &vBin), KVMCF_SUCCESS);
    EXPECT_EQ(std::vector<unsigned int>({left, bottom, right, top, hBin, vBin}),
              (std::vector<unsigned int>{11, 11, 14, 14, 2, 2}));
    EXPECT_EQ(KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 2, &left, &bottom, &right, &top, &hBin, &vBin), KVMCF_P2INVALID);
}

TEST_F(FrameAccess, ConsecutiveFramesFromTheStreamSeekOnce) {
    for (bool fromBytes : {false, true}) {
        // Byte arrays read frames from their stream only in header-only mode.
        Open(fromBytes, fromBytes ? KVMCF_READ_HEADER_ONLY : KVMCF_READ_ALL);
        std::vector<float> frame(16);
        const unsigned long long before = Seeks();
        for (unsigned int f = 0; f < 3; ++f) ASSERT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, f, frame.data(), 16), KVMCF_SUCCESS);
        EXPECT_EQ(Seeks() - before, 1u);
        EXPECT_EQ(frame, Expected(0, 2, 16));
        // Going back costs one more.
        ASSERT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 0, frame.data(), 16), KVMCF_SUCCESS);
        EXPECT_EQ(Seeks() - before, 2u);
        KVMCF_CloseFile();
    }

    // Byte arrays read whole serve frames from memory: no seek at all.
    Open(true, KVMCF_READ_ALL);
    std::vector<float> frame(16);
    const unsigned long long before = Seeks();
    for (unsigned int f = 0; f < 3; ++f) ASSERT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, f, frame.data(), 16), KVMCF_SUCCESS);
    EXPECT_EQ(Seeks(), before);
}

TEST_F(FrameAccess, OversizedBufferLeavesTheStreamFailedUntilTheNextOpen) {
    // The live source is the last present one: its 2 frames of 6 pixels are followed only
    // by the empty source slot's count line, "0\n", which ends the file.
    const float sentinel = -7.5f;
    const struct {
        bool fromBytes;
        KVMCF_ReadMode mode;
    } streamed[] = {{false, KVMCF_READ_ALL}, {false, KVMCF_READ_HEADER_ONLY}, {true, KVMCF_READ_HEADER_ONLY}};
    for (const auto& input : streamed) {
        SCOPED_TRACE(std::string(input.fromBytes ? "bytes" : "path") + (input.mode == KVMCF_READ_ALL ? " all" : " header"));
        Open(input.fromBytes, input.mode);
        std::vector<float> all(1000, sentinel);
        EXPECT_EQ(KVMCF_GetAllFrames(KVMCF_LIVE, all.data(), 1000), KVMCF_SUCCESS);
        std::vector<float> expected = Expected(3, 0, 6);
        const std::vector<float> second = Expected(3, 1, 6);
        expected.insert(expected.end(), second.begin(), second.end());
        expected.resize(1000, sentinel);
        std::memcpy(&expected[12], "0\n", 2);  // what the input held after the block
        EXPECT_EQ(std::memcmp(all.data(), expected.data(), 4000), 0);

        // The stream is now failed: frames of any source leave the buffer as it was...
        for (KVMCF_DataSource source : {KVMCF_LIVE, KVMCF_SIGNAL}) {
            std::vector<float> frame(16, sentinel);
            EXPECT_EQ(KVMCF_GetFrame(source, 1, frame.data(), 16), KVMCF_SUCCESS);
            EXPECT_EQ(frame, std::vector<float>(16, sentinel));
        }
        // ...and whole-series reads are file errors.
        std::vector<float> again(12, sentinel);
        EXPECT_EQ(KVMCF_GetAllFrames(KVMCF_LIVE, again.data(), 12), KVMCF_FILE_ERROR);

        // The C++ interface reads the same file with its own positioned reads.
        const kvmcf::File file = input.fromBytes ? kvmcf::File::fromBytes(bytes_.data(), bytes_.size())
                                                 : kvmcf::File::open(file_->Path());
        std::vector<float> read(12);
        file.source(kvmcf::SourceId::Live).readFrames(0, 2, read.data());
        EXPECT_EQ(read, std::vector<float>(expected.begin(), expected.begin() + 12));

        // The next open starts with a good stream.
        Open(input.fromBytes, input.mode);
        std::vector<float> frame(6, sentinel);
        EXPECT_EQ(KVMCF_GetFrame(KVMCF_LIVE, 1, frame.data(), 6), KVMCF_SUCCESS);
        EXPECT_EQ(frame, second);
        KVMCF_CloseFile();
    }
    // Bytes read whole serve every frame from memory, whatever came before.
    Open(true, KVMCF_READ_ALL);
    std::vector<float> all(1000, sentinel);
    EXPECT_EQ(KVMCF_GetAllFrames(KVMCF_LIVE, all.data(), 1000), KVMCF_SUCCESS);
    std::vector<float> frame(6, sentinel);
    EXPECT_EQ(KVMCF_GetFrame(KVMCF_LIVE, 1, frame.data(), 6), KVMCF_SUCCESS);
    EXPECT_EQ(frame, Expected(3, 1, 6));
    EXPECT_EQ(KVMCF_GetAllFrames(KVMCF_LIVE, all.data(), 12), KVMCF_SUCCESS);
}

TEST_F(FrameAccess, CountsBeyondTheStreamFailAtOnce) {
    // The signal's image data record claims 2^31 frames of its 16 pixels.
    std::string bytes = bytes_;
    const std::string record = "\n65541 1 64 64 1 3 2 48 16\n";
    const std::size_t at = bytes.find(record);
    ASSERT_NE(at, std::string::npos);
    bytes.replace(at, record.size(), "\n65541 1 64 64 1 2147483648 2 48 16\n");
    kvmcftest::TempFile file(bytes);
    EXPECT_EQ(KVMCF_ReadFromFile(file.CPath()), KVMCF_FORMAT_ERROR);
    int loaded = 1;
    KVMCF_IsLoaded(&loaded);
    EXPECT_EQ(loaded, 0);
    EXPECT_THROW(KVMCF_ReadFromByteArray(reinterpret_cast<unsigned char*>(&bytes[0]),
                                         static_cast<unsigned int>(bytes.size())),
                 TMCFLoadException);

    // A pixel block cut short fails a read-all open; header-only skips past the end.
    const std::string cut = bytes_.substr(0, bytes_.size() - 30);
    kvmcftest::TempFile truncated(cut);
    EXPECT_EQ(KVMCF_ReadFromFile(truncated.CPath()), KVMCF_FORMAT_ERROR);
}

}  // namespace
