// The exported functions: argument checks in order, lifecycle, and the outer file layout.
#include <gtest/gtest.h>

#include <string>

#include "api/DLLmain.h"
#include "api/MCFIOManager.h"
#include "api/kvmcfio.h"
#include "support/TestFiles.h"

using kvmcftest::EmptyFileBytes;
using kvmcftest::TempFile;

namespace {

const char kMagic1[] = "Kavri Technology Multi-Channel File";
const char kMagic2[] = "Halvi Instruments Multi-Channel File";
const KVMCF_DataSource kBadSource = static_cast<KVMCF_DataSource>(0x40000005);
const KVMCF_DataSource kNegativeSource = static_cast<KVMCF_DataSource>(0x80000000);

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

class ExportedInterface : public ::testing::Test {
protected:
    void SetUp() override {
        KVMCF_CloseFile();
        KVMCF_SetFileAccessMode(KVMCF_READ_ALL);
    }
    void TearDown() override { KVMCF_CloseFile(); }
};

TEST_F(ExportedInterface, ArgumentChecksRunInArgumentOrderBeforeAnything) {
    unsigned u = 0;
    int i = 0;
    float f[4] = {};
    char text[8] = {};
    long long pos = 0;
    double d = 0;
    KVMCF_PropertyType type = KVMCF_TYPE_INT32;

    EXPECT_EQ(KVMCF_ReadFromFile(nullptr), KVMCF_P1INVALID);
    unsigned char byte = 0;
    EXPECT_EQ(KVMCF_ReadFromByteArray(nullptr, 0), KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_ReadFromByteArray(&byte, 0), KVMCF_P2INVALID);
    EXPECT_EQ(KVMCF_SetFileAccessMode(static_cast<KVMCF_ReadMode>(0x40000002)), KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_SetFileAccessMode(static_cast<KVMCF_ReadMode>(0x3FFFFFFF)), KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_IsLoaded(nullptr), KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_IsDataSourcePresent(kBadSource, &i), KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_IsDataSourcePresent(kNegativeSource, &i), KVMCF_P1INVALID);

    EXPECT_EQ(KVMCF_GetStructureVersion(static_cast<KVMCF_StructureElement>(0x40000004), nullptr, nullptr),
              KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_GetStructureVersion(KVMCF_STRUCTURE_FILE, nullptr, nullptr), KVMCF_P2INVALID);
    EXPECT_EQ(KVMCF_GetStructureVersion(KVMCF_STRUCTURE_FILE, &u, nullptr), KVMCF_P3INVALID);

    EXPECT_EQ(KVMCF_GetFrameSize(kBadSource, nullptr), KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_GetFrameSize(KVMCF_SIGNAL, nullptr), KVMCF_P2INVALID);
    EXPECT_EQ(KVMCF_GetNumberFrames(kBadSource, nullptr), KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_GetNumberFrames(KVMCF_SIGNAL, nullptr), KVMCF_P2INVALID);
    EXPECT_EQ(KVMCF_GetNumberSubImages(kBadSource, nullptr), KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_GetNumberSubImages(KVMCF_SIGNAL, nullptr), KVMCF_P2INVALID);

    // Six outputs: 22103..22108 in argument order; the index is never checked here.
    unsigned o[6] = {};
    EXPECT_EQ(KVMCF_GetSubImageInfo(kBadSource, 0, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr),
              KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 99, nullptr, &o[1], &o[2], &o[3], &o[4], &o[5]), KVMCF_P3INVALID);
    EXPECT_EQ(KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 99, &o[0], nullptr, &o[2], &o[3], &o[4], &o[5]), KVMCF_P4INVALID);
    EXPECT_EQ(KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 99, &o[0], &o[1], nullptr, &o[3], &o[4], &o[5]), KVMCF_P5INVALID);
    EXPECT_EQ(KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 99, &o[0], &o[1], &o[2], nullptr, &o[4], &o[5]), KVMCF_P6INVALID);
    EXPECT_EQ(KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 99, &o[0], &o[1], &o[2], &o[3], nullptr, &o[5]), KVMCF_P7INVALID);
    EXPECT_EQ(KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 99, &o[0], &o[1], &o[2], &o[3], &o[4], nullptr), KVMCF_P8INVALID);

    EXPECT_EQ(KVMCF_GetAllFrames(kBadSource, nullptr, 0), KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_GetAllFrames(KVMCF_SIGNAL, nullptr, 0), KVMCF_P2INVALID);

    // GetFrame checks the buffer (third argument) before anything about the index.
    EXPECT_EQ(KVMCF_GetFrame(kBadSource, 1000, nullptr, 0), KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 1000, nullptr, 0), KVMCF_P3INVALID);

    EXPECT_EQ(KVMCF_GetPropertyValue(kBadSource, nullptr, nullptr, 0), KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_GetPropertyValue(KVMCF_SIGNAL, nullptr, nullptr, 0), KVMCF_P2INVALID);
    EXPECT_EQ(KVMCF_GetPropertyValue(KVMCF_SIGNAL, "Head", nullptr, 0), KVMCF_P3INVALID);
    EXPECT_EQ(KVMCF_GetPropertyValue(KVMCF_SIGNAL, "Head", text, 0), KVMCF_P4INVALID);
    EXPECT_EQ(KVMCF_GetPropertyType(kBadSource, nullptr, nullptr), KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_GetPropertyType(KVMCF_SIGNAL, nullptr, nullptr), KVMCF_P2INVALID);
    EXPECT_EQ(KVMCF_GetPropertyType(KVMCF_SIGNAL, "Head", nullptr), KVMCF_P3INVALID);
    EXPECT_EQ(KVMCF_GetDataStartBytePosition(kBadSource, &pos), KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_GetPixelCalibration(kBadSource, KVMCF_AXIS_X, 0, &d), KVMCF_P1INVALID);

    // With valid arguments and nothing open, the manager answers 22004.
    EXPECT_EQ(Loaded(), 0);
    EXPECT_EQ(KVMCF_IsDataSourcePresent(KVMCF_SIGNAL, &i), KVMCF_NOT_LOADED);
    EXPECT_EQ(KVMCF_GetStructureVersion(KVMCF_STRUCTURE_FILE, &u, &u), KVMCF_NOT_LOADED);
    EXPECT_EQ(KVMCF_GetFrameSize(KVMCF_SIGNAL, &u), KVMCF_NOT_LOADED);
    EXPECT_EQ(KVMCF_GetNumberFrames(KVMCF_SIGNAL, &u), KVMCF_NOT_LOADED);
    EXPECT_EQ(KVMCF_GetNumberSubImages(KVMCF_SIGNAL, &u), KVMCF_NOT_LOADED);
    EXPECT_EQ(KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 0, &o[0], &o[1], &o[2], &o[3], &o[4], &o[5]), KVMCF_NOT_LOADED);
    EXPECT_EQ(KVMCF_GetAllFrames(KVMCF_SIGNAL, f, 4), KVMCF_NOT_LOADED);
    EXPECT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 1000, f, 0), KVMCF_NOT_LOADED);
    EXPECT_EQ(KVMCF_GetPropertyValue(KVMCF_SIGNAL, "Head", text, sizeof text), KVMCF_NOT_LOADED);
    EXPECT_EQ(KVMCF_GetPropertyType(KVMCF_SIGNAL, "Head", &type), KVMCF_NOT_LOADED);
    EXPECT_EQ(KVMCF_GetDataStartBytePosition(KVMCF_SIGNAL, &pos), KVMCF_NOT_LOADED);
    EXPECT_EQ(KVMCF_GetPixelCalibration(KVMCF_SIGNAL, static_cast<KVMCF_CalibrationAxis>(7), 0, &d),
              KVMCF_NOT_LOADED);
}

TEST_F(ExportedInterface, AbsentSourceAnswers22007BeforeRangeChecks) {
    const int counts[5] = {0, 0, 0, 0, 0};
    TempFile file(EmptyFileBytes(kMagic1, 65538, counts));
    ASSERT_EQ(KVMCF_ReadFromFile(file.CPath()), KVMCF_SUCCESS);

    unsigned u = 0, o[6] = {};
    float f[1] = {};
    char text[4] = {};
    long long pos = 0;
    double d = 0;
    KVMCF_PropertyType type = KVMCF_TYPE_INT32;
    EXPECT_EQ(KVMCF_GetFrameSize(KVMCF_SOURCE, &u), KVMCF_NOT_PRESENT);
    EXPECT_EQ(KVMCF_GetNumberFrames(KVMCF_LIVE, &u), KVMCF_NOT_PRESENT);
    EXPECT_EQ(KVMCF_GetNumberSubImages(KVMCF_SIGNAL, &u), KVMCF_NOT_PRESENT);
    EXPECT_EQ(KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 1000, &o[0], &o[1], &o[2], &o[3], &o[4], &o[5]),
              KVMCF_NOT_PRESENT);
    EXPECT_EQ(KVMCF_GetAllFrames(KVMCF_SIGNAL, f, 0), KVMCF_NOT_PRESENT);
    EXPECT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 1000, f, 0), KVMCF_NOT_PRESENT);
    EXPECT_EQ(KVMCF_GetPropertyValue(KVMCF_SIGNAL, "NoSuchName", text, sizeof text), KVMCF_NOT_PRESENT);
    EXPECT_EQ(KVMCF_GetPropertyType(KVMCF_SIGNAL, "NoSuchName", &type), KVMCF_NOT_PRESENT);
    EXPECT_EQ(KVMCF_GetDataStartBytePosition(KVMCF_SIGNAL, &pos), KVMCF_NOT_PRESENT);
    EXPECT_EQ(KVMCF_GetPixelCalibration(KVMCF_SIGNAL, static_cast<KVMCF_CalibrationAxis>(7), 0, &d),
              KVMCF_NOT_PRESENT);
    // No data source at all: even the file element is absent.
    EXPECT_EQ(KVMCF_GetStructureVersion(KVMCF_STRUCTURE_FILE, &u, &u), KVMCF_NOT_PRESENT);
}

TEST_F(ExportedInterface, OuterLayoutDecidesWhatOpens) {
    const int empty[5] = {0, -1, 0, -2147483647 - 1, 0};
    for (const char* magic : {kMagic1, kMagic2}) {
        TempFile file(EmptyFileBytes(magic, 65538, empty));
        EXPECT_EQ(KVMCF_ReadFromFile(file.CPath()), KVMCF_SUCCESS) << magic;
        EXPECT_EQ(Loaded(), 1);
        for (int s = 0; s < 5; ++s) EXPECT_EQ(Present(static_cast<KVMCF_DataSource>(KVMCF_SIGNAL + s)), 0);
    }

    // Unknown magic or another version word: opens, every source absent, even though
    // the counts claim images that are not there.
    const int claimed[5] = {3, 3, 3, 3, 3};
    for (const auto& bytes : {EmptyFileBytes("Kavri Technology Multi-Channel File ", 65538, claimed),
                              EmptyFileBytes("kavri technology multi-channel file", 65538, claimed),
                              EmptyFileBytes(kMagic1, 65537, claimed), EmptyFileBytes(kMagic2, 131074, claimed)}) {
        TempFile file(bytes);
        EXPECT_EQ(KVMCF_ReadFromFile(file.CPath()), KVMCF_SUCCESS);
        EXPECT_EQ(Present(KVMCF_SIGNAL), 0);
        EXPECT_EQ(Present(KVMCF_SOURCE), 0);
    }

    // Any whitespace between the numbers reads the same.
    TempFile spaced(std::string(kMagic1) + "\n  65538 \r\n0\t0\n0 0\n0\n");
    EXPECT_EQ(KVMCF_ReadFromFile(spaced.CPath()), KVMCF_SUCCESS);
}

TEST_F(ExportedInterface, FailedOpensLeaveNothingLoaded) {
    const int counts[5] = {0, 0, 0, 0, 0};
    TempFile good(EmptyFileBytes(kMagic1, 65538, counts));

    // A missing path is a format error: the read sequence starts with a stream check.
    ASSERT_EQ(KVMCF_ReadFromFile(good.CPath()), KVMCF_SUCCESS);
    std::string missing = good.Path() + ".missing";
    EXPECT_EQ(KVMCF_ReadFromFile(&missing[0]), KVMCF_FORMAT_ERROR);
    EXPECT_EQ(Loaded(), 0);  // the first file was closed before the failed open

    // Truncated counts, an image that cannot be read, a magic line without a newline.
    for (const std::string& bytes : {std::string(kMagic1) + "\n65538\n0\n0\n0\n",
                                     std::string(kMagic1) + "\n65538\n0\n0\n0\n0\n0",
                                     std::string(kMagic1) + "\n65538\n1\nrubbish\n0\n0\n0\n0\n",
                                     std::string(kMagic1) + "\n65538\nx\n",
                                     std::string(kMagic1),
                                     std::string(200, 'K') + "\n"}) {
        ASSERT_EQ(KVMCF_ReadFromFile(good.CPath()), KVMCF_SUCCESS);
        TempFile bad(bytes);
        EXPECT_EQ(KVMCF_ReadFromFile(bad.CPath()), KVMCF_FORMAT_ERROR) << bytes;
        EXPECT_EQ(Loaded(), 0);
    }

    // Closing twice is harmless.
    EXPECT_EQ(KVMCF_CloseFile(), KVMCF_SUCCESS);
    EXPECT_EQ(KVMCF_CloseFile(), KVMCF_SUCCESS);
}

TEST_F(ExportedInterface, ByteArraysOpenInPlaceAndLetFormatErrorsOut) {
    const int counts[5] = {0, 0, 0, 0, 0};
    std::string bytes = EmptyFileBytes(kMagic2, 65538, counts) + "trailing bytes that nothing reads";
    EXPECT_EQ(KVMCF_ReadFromByteArray(reinterpret_cast<unsigned char*>(&bytes[0]),
                                      static_cast<unsigned>(bytes.size())),
              KVMCF_SUCCESS);
    EXPECT_EQ(Loaded(), 1);
    EXPECT_EQ(Present(KVMCF_BACKGROUND), 0);

    std::string bad = std::string(kMagic1) + "\n65538\n1\n";
    EXPECT_THROW(KVMCF_ReadFromByteArray(reinterpret_cast<unsigned char*>(&bad[0]),
                                         static_cast<unsigned>(bad.size())),
                 TMCFLoadException);
    EXPECT_EQ(Loaded(), 0);

    // The access mode survives a rejected change.
    EXPECT_EQ(KVMCF_SetFileAccessMode(KVMCF_READ_HEADER_ONLY), KVMCF_SUCCESS);
    EXPECT_EQ(KVMCF_SetFileAccessMode(static_cast<KVMCF_ReadMode>(0x40000002)), KVMCF_P1INVALID);
    EXPECT_EQ(KVMCF_ReadFromByteArray(reinterpret_cast<unsigned char*>(&bytes[0]),
                                      static_cast<unsigned>(bytes.size())),
              KVMCF_SUCCESS);
    ASSERT_NE(mcfManager->GetOpenFile(), nullptr);
    EXPECT_EQ(mcfManager->GetOpenFile()->GetAccessMode(), KVMCF_READ_HEADER_ONLY);
}

}  // namespace
