// The exported functions: argument checks in order, lifecycle, and the outer file layout.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "api/DLLmain.h"
#include "api/MCFIOManager.h"
#include "api/kvmcfio.h"
#include "support/TestFiles.h"

using kvmcftest::EmptyFileBytes;
using kvmcftest::TempFile;

namespace {

const char kMagic1[] = "Kavri Technology Multi-Channel File";
const char kMagic2[] = "Halvi Instruments Multi-Channel File";
const int kNoImages[5] = {0, 0, 0, 0, 0};
const KVMCF_DataSource kBadSource = static_cast<KVMCF_DataSource>(0x40000005);

int Loaded() {
    int loaded = -1;
    EXPECT_EQ(KVMCF_IsLoaded(&loaded), KVMCF_SUCCESS);
    return loaded;
}

int Present(KVMCF_DataSource source) {
    int present = -1;
    EXPECT_EQ(KVMCF_IsDataSourcePresent(source, &present), KVMCF_SUCCESS);
    return present;
}

unsigned int OpenBytes(std::string& bytes) {
    return KVMCF_ReadFromByteArray(reinterpret_cast<unsigned char*>(&bytes[0]), static_cast<unsigned>(bytes.size()));
}

// Every query about one source with valid outputs, an index far out of range and an
// unknown axis: whatever decides the answer comes before those are looked at.
std::vector<unsigned int> SourceQueries(KVMCF_DataSource s) {
    unsigned u = 0, o[6] = {};
    float f[4] = {};
    char text[8] = {};
    long long pos = 0;
    double d = 0;
    KVMCF_PropertyType type = KVMCF_TYPE_INT32;
    const auto axis = static_cast<KVMCF_CalibrationAxis>(7);
    return {KVMCF_GetFrameSize(s, &u), KVMCF_GetNumberFrames(s, &u), KVMCF_GetNumberSubImages(s, &u),
            KVMCF_GetSubImageInfo(s, 1000, &o[0], &o[1], &o[2], &o[3], &o[4], &o[5]), KVMCF_GetAllFrames(s, f, 4),
            KVMCF_GetFrame(s, 1000, f, 0), KVMCF_GetPropertyValue(s, "NoSuchName", text, sizeof text),
            KVMCF_GetPropertyType(s, "NoSuchName", &type), KVMCF_GetDataStartBytePosition(s, &pos),
            KVMCF_GetPixelCalibration(s, axis, 0, &d)};
}

class ExportedInterface : public ::testing::Test {
protected:
    void SetUp() override {
        KVMCF_CloseFile();
        KVMCF_SetFileAccessMode(KVMCF_READ_ALL);
    }
    void TearDown() override { KVMCF_CloseFile(); }
};

TEST_F(ExportedInterface, ArgumentChecksRunInArgumentOrderBeforeAnything) {
    unsigned u = 0, o[6] = {};
    int i = 0;
    char text[8] = {};
    long long pos = 0;
    double d = 0;
    unsigned char byte = 0;
    const unsigned int rows[][2] = {
        {KVMCF_ReadFromFile(nullptr), KVMCF_P1INVALID},
        {KVMCF_ReadFromByteArray(nullptr, 0), KVMCF_P1INVALID},
        {KVMCF_ReadFromByteArray(&byte, 0), KVMCF_P2INVALID},
        {KVMCF_SetFileAccessMode(static_cast<KVMCF_ReadMode>(0x40000002)), KVMCF_P1INVALID},
        {KVMCF_SetFileAccessMode(static_cast<KVMCF_ReadMode>(0x3FFFFFFF)), KVMCF_P1INVALID},
        {KVMCF_IsLoaded(nullptr), KVMCF_P1INVALID},
        {KVMCF_IsDataSourcePresent(kBadSource, &i), KVMCF_P1INVALID},
        {KVMCF_IsDataSourcePresent(static_cast<KVMCF_DataSource>(0x80000000), &i), KVMCF_P1INVALID},
        {KVMCF_GetStructureVersion(static_cast<KVMCF_StructureElement>(0x40000004), nullptr, nullptr), KVMCF_P1INVALID},
        {KVMCF_GetStructureVersion(KVMCF_STRUCTURE_FILE, nullptr, nullptr), KVMCF_P2INVALID},
        {KVMCF_GetStructureVersion(KVMCF_STRUCTURE_FILE, &u, nullptr), KVMCF_P3INVALID},
        {KVMCF_GetFrameSize(kBadSource, nullptr), KVMCF_P1INVALID},
        {KVMCF_GetFrameSize(KVMCF_SIGNAL, nullptr), KVMCF_P2INVALID},
        {KVMCF_GetNumberFrames(kBadSource, nullptr), KVMCF_P1INVALID},
        {KVMCF_GetNumberFrames(KVMCF_SIGNAL, nullptr), KVMCF_P2INVALID},
        {KVMCF_GetNumberSubImages(kBadSource, nullptr), KVMCF_P1INVALID},
        {KVMCF_GetNumberSubImages(KVMCF_SIGNAL, nullptr), KVMCF_P2INVALID},
        {KVMCF_GetSubImageInfo(kBadSource, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr), KVMCF_P1INVALID},
        {KVMCF_GetAllFrames(kBadSource, nullptr, 0), KVMCF_P1INVALID},
        {KVMCF_GetAllFrames(KVMCF_SIGNAL, nullptr, 0), KVMCF_P2INVALID},
        // The buffer (third argument) is checked before anything about the index.
        {KVMCF_GetFrame(kBadSource, 1000, nullptr, 0), KVMCF_P1INVALID},
        {KVMCF_GetFrame(KVMCF_SIGNAL, 1000, nullptr, 0), KVMCF_P3INVALID},
        {KVMCF_GetPropertyValue(kBadSource, nullptr, nullptr, 0), KVMCF_P1INVALID},
        {KVMCF_GetPropertyValue(KVMCF_SIGNAL, nullptr, nullptr, 0), KVMCF_P2INVALID},
        {KVMCF_GetPropertyValue(KVMCF_SIGNAL, "Head", nullptr, 0), KVMCF_P3INVALID},
        {KVMCF_GetPropertyValue(KVMCF_SIGNAL, "Head", text, 0), KVMCF_P4INVALID},
        {KVMCF_GetPropertyType(kBadSource, nullptr, nullptr), KVMCF_P1INVALID},
        {KVMCF_GetPropertyType(KVMCF_SIGNAL, nullptr, nullptr), KVMCF_P2INVALID},
        {KVMCF_GetPropertyType(KVMCF_SIGNAL, "Head", nullptr), KVMCF_P3INVALID},
        {KVMCF_GetDataStartBytePosition(kBadSource, &pos), KVMCF_P1INVALID},
        {KVMCF_GetPixelCalibration(kBadSource, KVMCF_AXIS_X, 0, &d), KVMCF_P1INVALID},
    };
    for (const auto& row : rows) EXPECT_EQ(row[0], row[1]) << "row " << (&row - rows);
    // Six outputs: one code each, in argument order; the index is never checked here.
    for (int k = 0; k < 6; ++k) {
        unsigned* p[6] = {&o[0], &o[1], &o[2], &o[3], &o[4], &o[5]};
        p[k] = nullptr;
        EXPECT_EQ(KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 99, p[0], p[1], p[2], p[3], p[4], p[5]), KVMCF_P3INVALID + k);
    }

    // With valid arguments and nothing open, the manager answers 22004.
    EXPECT_EQ(Loaded(), 0);
    EXPECT_EQ(KVMCF_IsDataSourcePresent(KVMCF_SIGNAL, &i), KVMCF_NOT_LOADED);
    EXPECT_EQ(KVMCF_GetStructureVersion(KVMCF_STRUCTURE_FILE, &u, &u), KVMCF_NOT_LOADED);
    EXPECT_EQ(SourceQueries(KVMCF_SIGNAL), std::vector<unsigned int>(10, KVMCF_NOT_LOADED));
}

TEST_F(ExportedInterface, AbsentSourceAnswers22007BeforeRangeChecks) {
    TempFile file(EmptyFileBytes(kMagic1, 65538, kNoImages));
    ASSERT_EQ(KVMCF_ReadFromFile(file.CPath()), KVMCF_SUCCESS);
    for (int s = 0; s < 5; ++s)
        EXPECT_EQ(SourceQueries(static_cast<KVMCF_DataSource>(KVMCF_SIGNAL + s)),
                  std::vector<unsigned int>(10, KVMCF_NOT_PRESENT)) << s;
    // No data source at all: even the file element is absent.
    unsigned u = 0;
    EXPECT_EQ(KVMCF_GetStructureVersion(KVMCF_STRUCTURE_FILE, &u, &u), KVMCF_NOT_PRESENT);
}

TEST_F(ExportedInterface, OuterLayoutDecidesWhatOpens) {
    const int empty[5] = {0, -1, 0, -2147483647 - 1, 0};
    // Unknown magic or another version word: opens, every source absent, even though
    // the counts claim images that are not there.
    const int claimed[5] = {3, 3, 3, 3, 3};
    for (const std::string& bytes :
         {EmptyFileBytes(kMagic1, 65538, empty), EmptyFileBytes(kMagic2, 65538, empty),
          EmptyFileBytes("Kavri Technology Multi-Channel File ", 65538, claimed),
          EmptyFileBytes(kMagic1, 65537, claimed), EmptyFileBytes(kMagic2, 131074, claimed),
          std::string(kMagic1) + "\n  65538 \r\n0\t0\n0 0\n0\n"}) {  // any whitespace between numbers
        TempFile file(bytes);
        EXPECT_EQ(KVMCF_ReadFromFile(file.CPath()), KVMCF_SUCCESS) << bytes;
        for (int s = 0; s < 5; ++s) EXPECT_EQ(Present(static_cast<KVMCF_DataSource>(KVMCF_SIGNAL + s)), 0) << bytes;
    }
}

TEST_F(ExportedInterface, FailedOpensLeaveNothingLoaded) {
    TempFile good(EmptyFileBytes(kMagic1, 65538, kNoImages));
    // A missing path is a format error: the read sequence starts with a stream check.
    // Then truncated counts, an image that cannot be read, a magic line without a newline.
    for (const std::string& bytes : {std::string(), std::string(kMagic1) + "\n65538\n0\n0\n0\n",
                                     std::string(kMagic1) + "\n65538\n0\n0\n0\n0\n0",
                                     std::string(kMagic1) + "\n65538\n1\nrubbish\n0\n0\n0\n0\n",
                                     std::string(kMagic1), std::string(200, 'K') + "\n"}) {
        ASSERT_EQ(KVMCF_ReadFromFile(good.CPath()), KVMCF_SUCCESS);
        TempFile bad(bytes);
        std::string path = bytes.empty() ? good.Path() + ".missing" : bad.Path();
        EXPECT_EQ(KVMCF_ReadFromFile(&path[0]), KVMCF_FORMAT_ERROR) << bytes;
        EXPECT_EQ(Loaded(), 0);  // the good file was closed before the failed open
    }
    EXPECT_EQ(KVMCF_CloseFile(), KVMCF_SUCCESS);  // closing twice is harmless
    EXPECT_EQ(KVMCF_CloseFile(), KVMCF_SUCCESS);
}

TEST_F(ExportedInterface, ByteArraysOpenInPlaceAndLetFormatErrorsOut) {
    std::string bytes = EmptyFileBytes(kMagic2, 65538, kNoImages) + "trailing bytes that nothing reads";
    std::string bad = std::string(kMagic1) + "\n65538\n1\n";
    EXPECT_EQ(OpenBytes(bytes), KVMCF_SUCCESS);
    EXPECT_EQ(Present(KVMCF_BACKGROUND), 0);
    EXPECT_THROW(OpenBytes(bad), TMCFLoadException);
    EXPECT_EQ(Loaded(), 0);

    // The access mode survives a rejected change.
    EXPECT_EQ(KVMCF_SetFileAccessMode(KVMCF_READ_HEADER_ONLY), KVMCF_SUCCESS);
    EXPECT_EQ(KVMCF_SetFileAccessMode(static_cast<KVMCF_ReadMode>(0x40000002)), KVMCF_P1INVALID);
    ASSERT_EQ(OpenBytes(bytes), KVMCF_SUCCESS);
    EXPECT_EQ(mcfManager->GetOpenFile()->GetAccessMode(), KVMCF_READ_HEADER_ONLY);
}

}  // namespace
