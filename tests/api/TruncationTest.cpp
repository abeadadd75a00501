// Every prefix of a multi-source file, opened from a path and from memory in both read
// modes. A file cut anywhere in its records is refused; cut inside the extension
// section it reads whole, because the section is found from the end and simply is not
// there. No cut may crash, and the queries on whatever opened answer only with the
// result codes they document.
#include <gtest/gtest.h>

#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "api/MCFIOManager.h"
#include "api/kvmcfio.h"
#include "fuzz/ExportedQueries.h"
#include "support/TestFiles.h"
#include "writer/McfFileWriter.h"

namespace {

using Image = TMCFIOManager::TImage;

float Pixel(unsigned int frame, unsigned int i) { return static_cast<float>(frame * 1000 + i) + 0.5f; }

std::unique_ptr<Image> MakeImage(unsigned int frames, std::vector<TSubImage> subs, const char* note) {
    auto image = std::make_unique<Image>(TKavriRect(1, 16, 16, 1), static_cast<unsigned int>(subs.size()),
                                         subs.data(), frames);
    image->Header().GetUserText().SetText(note, static_cast<unsigned int>(std::string(note).size()));
    TCalibImage& data = image->calibImage;
    data.SetMetaDataFlag(1);
    for (unsigned int f = 1; f <= frames; ++f) {
        data.SetTimeStamp(f - 1, 40 * f);
        data.SetMetaDataWord(f - 1, 7 * f);
        float* pixels = data.ObtainWriteImagePtr(f);
        for (unsigned int i = 0; i < data.GetDataLength(); ++i) pixels[i] = Pixel(f - 1, i);
        data.ReleaseImagePtr(f);
    }
    return image;
}

// Sub-image pixels: (right - left + 1) x (top - bottom + 1) / (hBin x vBin).
// Signal 4x3 + 4x4 binned 2x2 = 12 + 4; background 5x1; source 2x3 binned 1x3 = 2.
const struct {
    KVMCF_DataSource id;
    unsigned int frames, frameSize;
} kSources[] = {{KVMCF_SIGNAL, 3, 16}, {KVMCF_REFERENCE, 0, 0}, {KVMCF_BACKGROUND, 1, 5}, {KVMCF_LIVE, 0, 0},
                {KVMCF_SOURCE, 2, 2}};

// The file read whole: every source present or absent with its frames, the pixels of
// the last signal frame as written.
void ExpectWholeFile(kvmcffuzz::QueryWalker& walker) {
    for (const auto& s : kSources) {
        int present = -1;
        unsigned int frames = 0, frameSize = 0;
        EXPECT_EQ(KVMCF_IsDataSourcePresent(s.id, &present), KVMCF_SUCCESS);
        EXPECT_EQ(present, s.frames > 0 ? 1 : 0) << s.id;
        if (!present) continue;
        EXPECT_EQ(KVMCF_GetNumberFrames(s.id, &frames), KVMCF_SUCCESS);
        EXPECT_EQ(KVMCF_GetFrameSize(s.id, &frameSize), KVMCF_SUCCESS);
        EXPECT_EQ(frames, s.frames) << s.id;
        EXPECT_EQ(frameSize, s.frameSize) << s.id;
    }
    std::vector<float> frame(16), expected(16);
    ASSERT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 2, frame.data(), 16), KVMCF_SUCCESS);
    for (unsigned int i = 0; i < 16; ++i) expected[i] = Pixel(2, i);
    EXPECT_EQ(frame, expected);
    walker.Everything();
}

TEST(Truncation, EveryPrefixIsRefusedOrReadWhole) {
    auto signal = MakeImage(3, {TSubImage(1, 3, 4, 1, 1, 1), TSubImage(11, 14, 14, 11, 2, 2)}, "first\nsecond");
    auto background = MakeImage(1, {TSubImage(1, 1, 5, 1, 1, 1)}, "dark");
    auto source = MakeImage(2, {TSubImage(3, 3, 4, 1, 3, 1)}, "");
    kvmcftools::McfFileContent content;
    content.images[0] = signal.get();
    content.images[2] = background.get();
    content.images[4] = source.get();
    const std::size_t recordsEnd = kvmcftools::McfFileBytes(content).size();
    content.extensionXml = "<?xml version=\"1.0\" ?><Signals><Signal><TKestoImageData><mSec>250</mSec>"
                           "</TKestoImageData></Signal></Signals>";
    const std::string bytes = kvmcftools::McfFileBytes(content);
    // The section adds its text, an 8-byte length and the 4-byte marker.
    ASSERT_EQ(bytes.size(), recordsEnd + content.extensionXml.size() + 12);

    kvmcffuzz::QueryWalker walker([](const std::string& what) { ADD_FAILURE() << what; });
    kvmcftest::TempFile file(bytes);
    // Longest first: the file on disk is cut shorter step by step.
    for (std::size_t cut = bytes.size(); cut-- > 0;) {
        ASSERT_EQ(truncate(file.Path().c_str(), static_cast<off_t>(cut)), 0);
        const bool whole = cut >= recordsEnd;
        for (KVMCF_ReadMode mode : {KVMCF_READ_ALL, KVMCF_READ_HEADER_ONLY}) {
            SCOPED_TRACE("cut " + std::to_string(cut) + " mode " + std::to_string(mode));
            KVMCF_SetFileAccessMode(mode);
            ASSERT_EQ(KVMCF_ReadFromFile(file.CPath()), whole ? KVMCF_SUCCESS : KVMCF_FORMAT_ERROR);
            if (whole) ExpectWholeFile(walker);
            KVMCF_CloseFile();
            if (cut == 0) continue;  // an empty array is an invalid argument

            // Its own copy, so that reading one byte past the cut is caught by the sanitizers.
            std::vector<unsigned char> prefix(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut));
            // Format errors leave the byte-array open as exceptions.
            std::string code = "thrown";
            try {
                code = std::to_string(KVMCF_ReadFromByteArray(prefix.data(), static_cast<unsigned int>(cut)));
            } catch (const TMCFLoadException&) {
            }
            ASSERT_EQ(code, whole ? std::to_string(KVMCF_SUCCESS) : "thrown");
            int loaded = -1;
            KVMCF_IsLoaded(&loaded);
            EXPECT_EQ(loaded, whole ? 1 : 0);
            if (whole) ExpectWholeFile(walker);
            KVMCF_CloseFile();
        }
    }
    KVMCF_SetFileAccessMode(KVMCF_READ_ALL);
}

}  // namespace
