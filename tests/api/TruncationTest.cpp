// Every prefix of a realistic multi-source file, opened from a path and from memory in
// both read modes. A file cut anywhere in its records is refused; cut inside the
// extension section it reads whole, because the section is found from the end and
// simply is not there. No cut may crash, and the queries on whatever opened answer
// only with the result codes they document.
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
    image->Header().SetHeadModel("DU401");
    image->Header().SetFilename("/data/cut.mcf");
    image->Header().GetUserText().SetText(note, static_cast<unsigned int>(std::string(note).size()));
    image->calibImage.SetXCalConstants(500.0, 0.5, 0.0, 0.0);
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

struct Source {
    KVMCF_DataSource id;
    unsigned int frames;
    unsigned int frameSize;
};

// Sub-image pixels: (right - left + 1) x (top - bottom + 1) / (hBin x vBin).
// Signal 4x3 + 4x4 binned 2x2 = 12 + 4; background 5x1; source 2x3 binned 1x3 = 2.
const Source kPresent[] = {{KVMCF_SIGNAL, 3, 16}, {KVMCF_BACKGROUND, 1, 5}, {KVMCF_SOURCE, 2, 2}};
const KVMCF_DataSource kAbsent[] = {KVMCF_REFERENCE, KVMCF_LIVE};

class Truncation : public ::testing::Test {
protected:
    void TearDown() override {
        KVMCF_CloseFile();
        KVMCF_SetFileAccessMode(KVMCF_READ_ALL);
    }

    // The file read whole: every present source with its frames, the pixels of the
    // last signal frame as written.
    void ExpectWholeFile(std::size_t cut) {
        for (const Source& s : kPresent) {
            unsigned int frames = 0, frameSize = 0;
            EXPECT_EQ(KVMCF_GetNumberFrames(s.id, &frames), KVMCF_SUCCESS) << "cut " << cut;
            EXPECT_EQ(frames, s.frames) << "cut " << cut;
            EXPECT_EQ(KVMCF_GetFrameSize(s.id, &frameSize), KVMCF_SUCCESS) << "cut " << cut;
            EXPECT_EQ(frameSize, s.frameSize) << "cut " << cut;
        }
        for (KVMCF_DataSource id : kAbsent) {
            int present = -1;
            EXPECT_EQ(KVMCF_IsDataSourcePresent(id, &present), KVMCF_SUCCESS);
            EXPECT_EQ(present, 0) << "cut " << cut;
        }
        std::vector<float> frame(16);
        ASSERT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 2, frame.data(), 16), KVMCF_SUCCESS) << "cut " << cut;
        for (unsigned int i = 0; i < 16; ++i) EXPECT_EQ(frame[i], Pixel(2, i)) << "cut " << cut << " pixel " << i;
        walker.Everything();
    }

    kvmcftools::McfFileContent content;
    kvmcffuzz::QueryWalker walker{[this](const std::string& what) { ADD_FAILURE() << what; }};
};

TEST_F(Truncation, EveryPrefixIsRefusedOrReadWhole) {
    auto signal = MakeImage(3, {TSubImage(1, 3, 4, 1, 1, 1), TSubImage(11, 14, 14, 11, 2, 2)}, "first\nsecond");
    auto background = MakeImage(1, {TSubImage(1, 1, 5, 1, 1, 1)}, "dark");
    auto source = MakeImage(2, {TSubImage(3, 3, 4, 1, 3, 1)}, "");
    content.images[0] = signal.get();
    content.images[2] = background.get();
    content.images[4] = source.get();
    const std::size_t recordsEnd = kvmcftools::McfFileBytes(content).size();
    content.extensionXml = "<?xml version=\"1.0\" ?><Signals><Signal><TKestoImageData><mSec>250</mSec>"
                           "</TKestoImageData></Signal></Signals>";
    std::string bytes = kvmcftools::McfFileBytes(content);
    // The section adds its text, an 8-byte length and the 4-byte marker.
    ASSERT_EQ(bytes.size(), recordsEnd + content.extensionXml.size() + 12);

    kvmcftest::TempFile file(bytes);
    const KVMCF_ReadMode modes[] = {KVMCF_READ_ALL, KVMCF_READ_HEADER_ONLY};
    // Longest first: the file on disk is cut shorter step by step.
    for (std::size_t cut = bytes.size(); cut-- > 0;) {
        ASSERT_EQ(truncate(file.Path().c_str(), static_cast<off_t>(cut)), 0);
        const bool whole = cut >= recordsEnd;
        for (KVMCF_ReadMode mode : modes) {
            KVMCF_SetFileAccessMode(mode);

            const unsigned int code = KVMCF_ReadFromFile(file.CPath());
            ASSERT_EQ(code, whole ? KVMCF_SUCCESS : KVMCF_FORMAT_ERROR) << "cut " << cut << " mode " << mode;
            if (whole) ExpectWholeFile(cut);
            KVMCF_CloseFile();

            if (cut == 0) continue;  // an empty array is an invalid argument
            // Its own copy, so that reading one byte past the cut is caught by the sanitizers.
            std::vector<unsigned char> prefix(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut));
            bool thrown = false;
            unsigned int bytesCode = 0;
            try {
                bytesCode = KVMCF_ReadFromByteArray(prefix.data(), static_cast<unsigned int>(cut));
            } catch (const TMCFLoadException&) {
                thrown = true;
            }
            ASSERT_EQ(thrown, !whole) << "cut " << cut << " mode " << mode;
            int loaded = -1;
            KVMCF_IsLoaded(&loaded);
            EXPECT_EQ(loaded, whole ? 1 : 0) << "cut " << cut;
            if (whole) {
                EXPECT_EQ(bytesCode, KVMCF_SUCCESS) << "cut " << cut;
                ExpectWholeFile(cut);
            }
            KVMCF_CloseFile();
        }
    }
}

}  // namespace
