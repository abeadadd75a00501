// Frames through the exported functions from files the record writers assemble: every input
// and read mode, several sources, an oversized buffer, and the section that may end the file.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "api/DLLmain.h"
#include "api/MCFIOManager.h"
#include "api/kvmcfio.h"
#include "support/TestFiles.h"
#include "writer/McfFileWriter.h"

namespace {

using Image = TMCFIOManager::TImage;
using Floats = std::vector<float>;

// Frames first .. first + count - 1 of a source one after another, each pixel
// telling source, frame and position apart.
Floats Expected(int source, unsigned int first, unsigned int count, unsigned int length) {
    Floats v;
    for (unsigned int f = first; f < first + count; ++f)
        for (unsigned int i = 0; i < length; ++i)
            v.push_back(static_cast<float>(source * 100000 + f * 1000 + i) + 0.25f);
    return v;
}

std::unique_ptr<Image> MakeImage(int source, unsigned int frames, std::vector<TSubImage> subs) {
    auto image = std::make_unique<Image>(TKavriRect(1, 64, 64, 1), static_cast<unsigned int>(subs.size()),
                                         subs.data(), frames);
    TCalibImage& data = image->calibImage;
    data.SetMetaDataFlag(1);
    for (unsigned int f = 1; f <= frames; ++f) {
        data.SetTimeStamp(f - 1, 40 * f);
        data.SetMetaDataWord(f - 1, 7 * f);
        const Floats pixels = Expected(source, f - 1, 1, data.GetDataLength());
        std::memcpy(data.ObtainWriteImagePtr(f), pixels.data(), pixels.size() * sizeof(float));
        data.ReleaseImagePtr(f);
    }
    return image;
}

// Signal: 3 frames of two sub-images (4x3 and a 2x2-binned 4x4) = 12 + 4 pixels.
// Background: 1 frame of 5x1; live: 2 frames of 3x2.
const struct {
    KVMCF_DataSource source;
    int id;
    unsigned int frames, length, subs;
} kSources[] = {{KVMCF_SIGNAL, 0, 3, 16, 2}, {KVMCF_BACKGROUND, 2, 1, 5, 1}, {KVMCF_LIVE, 3, 2, 6, 1}};

std::string Mode(bool fromBytes, KVMCF_ReadMode mode) {
    return std::string(fromBytes ? "bytes" : "path") + (mode == KVMCF_READ_ALL ? " all" : " header");
}

class FrameAccess : public ::testing::Test {
protected:
    void SetUp() override {
        signal_->Header().GetUserText().SetText("first\nsecond", 12);
        content_.images[0] = signal_.get();
        content_.images[2] = background_.get();
        content_.images[3] = live_.get();
        bytes_ = kvmcftools::McfFileBytes(content_);
        file_ = std::make_unique<kvmcftest::TempFile>(bytes_);
    }
    void TearDown() override {
        KVMCF_CloseFile();
        KVMCF_SetFileAccessMode(KVMCF_READ_ALL);
    }
    void Open(bool fromBytes, KVMCF_ReadMode mode) {
        KVMCF_SetFileAccessMode(mode);
        ASSERT_EQ(fromBytes ? KVMCF_ReadFromByteArray(reinterpret_cast<unsigned char*>(&bytes_[0]),
                                                      static_cast<unsigned int>(bytes_.size()))
                            : KVMCF_ReadFromFile(file_->CPath()),
                  KVMCF_SUCCESS);
    }

    std::unique_ptr<Image> signal_ = MakeImage(0, 3, {TSubImage(1, 3, 4, 1, 1, 1), TSubImage(11, 14, 14, 11, 2, 2)});
    std::unique_ptr<Image> background_ = MakeImage(2, 1, {TSubImage(1, 1, 5, 1, 1, 1)});
    std::unique_ptr<Image> live_ = MakeImage(3, 2, {TSubImage(2, 3, 4, 2, 1, 1)});
    kvmcftools::McfFileContent content_;
    std::string bytes_;
    std::unique_ptr<kvmcftest::TempFile> file_;
};

TEST_F(FrameAccess, EverySourceByteExactInEveryInputAndMode) {
    for (bool fromBytes : {false, true})
        for (KVMCF_ReadMode mode : {KVMCF_READ_ALL, KVMCF_READ_HEADER_ONLY}) {
            SCOPED_TRACE(Mode(fromBytes, mode));
            Open(fromBytes, mode);
            for (const auto& s : kSources) {
                unsigned int frames = 0, length = 0, subs = 0;
                const auto codes =
                    std::make_tuple(KVMCF_GetNumberFrames(s.source, &frames), KVMCF_GetFrameSize(s.source, &length),
                                    KVMCF_GetNumberSubImages(s.source, &subs));
                ASSERT_EQ(std::tuple_cat(codes, std::make_tuple(frames, length, subs)),
                          std::make_tuple(KVMCF_SUCCESS, KVMCF_SUCCESS, KVMCF_SUCCESS, s.frames, s.length, s.subs));
                // Frames in reverse order too, so the stream has to seek back.
                for (unsigned int f = frames; f-- > 0;) {
                    Floats frame(length + 3, -7.0f);
                    EXPECT_EQ(KVMCF_GetFrame(s.source, f, frame.data(), length + 3), KVMCF_SUCCESS);
                    Floats expected = Expected(s.id, f, 1, length);
                    expected.resize(length + 3, -7.0f);  // nothing beyond one frame is written
                    EXPECT_EQ(frame, expected);
                }
                Floats all(frames * length);
                EXPECT_EQ(KVMCF_GetAllFrames(s.source, all.data(), frames * length), KVMCF_SUCCESS);
                EXPECT_EQ(all, Expected(s.id, 0, frames, length));
            }
        }
}

TEST_F(FrameAccess, ConsecutiveFramesFromTheStreamSeekOnce) {
    // A byte array read whole serves frames from memory without any seek.
    const std::tuple<bool, KVMCF_ReadMode, unsigned long long, unsigned long long> inputs[] = {
        {false, KVMCF_READ_ALL, 1, 2}, {true, KVMCF_READ_HEADER_ONLY, 1, 2}, {true, KVMCF_READ_ALL, 0, 0}};
    for (const auto& [fromBytes, mode, seeks, seeksBack] : inputs) {
        SCOPED_TRACE(Mode(fromBytes, mode));
        Open(fromBytes, mode);
        const auto Seeks = [] { return mcfManager->GetOpenFile()->GetSeekCount(); };
        const unsigned long long before = Seeks();
        Floats frame(16);
        for (unsigned int f = 0; f < 3; ++f) KVMCF_GetFrame(KVMCF_SIGNAL, f, frame.data(), 16);
        EXPECT_EQ(Seeks() - before, seeks);
        KVMCF_GetFrame(KVMCF_SIGNAL, 0, frame.data(), 16);  // going back
        EXPECT_EQ(Seeks() - before, seeksBack);
    }
}

TEST_F(FrameAccess, OversizedBufferLeavesTheStreamFailedUntilTheNextOpen) {
    // The live source is the last present one: its 2 frames of 6 pixels are followed only
    // by the empty source slot's count line, "0\n", which ends the file.
    const float sentinel = -7.5f;
    Floats expected = Expected(3, 0, 2, 6);
    const Floats second = Expected(3, 1, 1, 6);
    expected.resize(1000, sentinel);
    std::memcpy(&expected[12], "0\n", 2);  // what the input held after the block
    for (const auto& [fromBytes, mode] : {std::pair{false, KVMCF_READ_ALL}, {false, KVMCF_READ_HEADER_ONLY},
                                          {true, KVMCF_READ_HEADER_ONLY}}) {
        SCOPED_TRACE(Mode(fromBytes, mode));
        Open(fromBytes, mode);
        Floats all(1000, sentinel);
        EXPECT_EQ(KVMCF_GetAllFrames(KVMCF_LIVE, all.data(), 1000), KVMCF_SUCCESS);
        EXPECT_EQ(std::memcmp(all.data(), expected.data(), 4000), 0);
        // The stream is now failed: frames of any source leave the buffer as it was,
        // and whole-series reads are file errors.
        for (KVMCF_DataSource source : {KVMCF_LIVE, KVMCF_SIGNAL}) {
            Floats frame(16, sentinel);
            EXPECT_EQ(KVMCF_GetFrame(source, 1, frame.data(), 16), KVMCF_SUCCESS);
            EXPECT_EQ(frame, Floats(16, sentinel));
        }
        EXPECT_EQ(KVMCF_GetAllFrames(KVMCF_LIVE, all.data(), 12), KVMCF_FILE_ERROR);

        // The next open starts with a good stream.
        Open(fromBytes, mode);
        Floats frame(6, sentinel);
        EXPECT_EQ(KVMCF_GetFrame(KVMCF_LIVE, 1, frame.data(), 6), KVMCF_SUCCESS);
        EXPECT_EQ(frame, second);
    }
    // Bytes read whole serve every frame from memory, whatever came before.
    Open(true, KVMCF_READ_ALL);
    Floats all(1000, sentinel), frame(6, sentinel);
    EXPECT_EQ(KVMCF_GetAllFrames(KVMCF_LIVE, all.data(), 1000), KVMCF_SUCCESS);
    EXPECT_EQ(KVMCF_GetFrame(KVMCF_LIVE, 1, frame.data(), 6), KVMCF_SUCCESS);
    EXPECT_EQ(frame, second);
    EXPECT_EQ(KVMCF_GetAllFrames(KVMCF_LIVE, all.data(), 12), KVMCF_SUCCESS);
}

// The section is found from the file end, read into each source's header and readout
// settings at open, and used as far as it goes when cut short.
class ExtensionSection : public FrameAccess {
protected:
    unsigned int OpenWith(const std::string& section) {
        content_.extensionXml = section;
        file_ = std::make_unique<kvmcftest::TempFile>(kvmcftools::McfFileBytes(content_));
        return KVMCF_ReadFromFile(file_->CPath());
    }
    static std::string ClockFrequency(KVMCF_DataSource source) {
        char value[64] = {};
        EXPECT_EQ(KVMCF_GetPropertyValue(source, "ClockFrequency", value, sizeof value), KVMCF_SUCCESS);
        return value;
    }
    static int Milliseconds() {
        return mcfManager->GetDataSourceImage(KVMCF_SIGNAL)->Header().GetMilliseconds();
    }
};

TEST_F(ExtensionSection, OnlyEachSourcesFirstItemCountsAndACutSectionIsUsedAsFarAsItGoes) {
    const std::string tick = "<TCalibImage><TKavriImage><TKavriImageData><TickInterval>";
    const std::string end = "</TickInterval></TKavriImageData></TKavriImage></TCalibImage>";
    ASSERT_EQ(OpenWith("<?xml version=\"1.0\" ?><Signals><Signal><TKestoImageData><mSec>250</mSec>"
                       "</TKestoImageData>" + tick + "25" + end + "</Signal><Signal>" + tick + "50" + end +
                       "</Signal></Signals><Backgrounds><Background>" + tick + "4" + end +
                       "</Background></Backgrounds>"),
              KVMCF_SUCCESS);
    // 1e9 / 25 ns and 1e9 / 4 ns, in MHz.
    EXPECT_EQ(ClockFrequency(KVMCF_SIGNAL) + " " + ClockFrequency(KVMCF_BACKGROUND), "40 250");
    EXPECT_EQ(Milliseconds(), 250);

    // Cut short: what came before the cut is still read.
    ASSERT_EQ(OpenWith("<Signals><Signal><TKestoImageData><mSec>12</mSec><FullSer"), KVMCF_SUCCESS);
    EXPECT_EQ(Milliseconds(), 12);
}

}  // namespace
