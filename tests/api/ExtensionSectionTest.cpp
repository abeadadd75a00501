// Whole files ending in an extension section: found from the file end, read into the
// header and readout settings at open, and harmless when damaged.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <tuple>

#include "api/DLLmain.h"
#include "api/MCFIOManager.h"
#include "api/kvmcfio.h"
#include "support/TestFiles.h"
#include "writer/McfFileWriter.h"

using kvmcftest::TempFile;

namespace {

std::unique_ptr<TMCFIOManager::TImage> Strip() {
    const TSubImage sub(1, 1, 4, 1, 1, 1);
    return std::make_unique<TMCFIOManager::TImage>(TKavriRect(1, 1, 4, 1), 1, &sub, 2);
}

std::string Property(KVMCF_DataSource source, const char* name) {
    char value[64] = {};
    EXPECT_EQ(KVMCF_GetPropertyValue(source, name, value, sizeof value), KVMCF_SUCCESS) << name;
    return value;
}

const TKestoImageData& Header(KVMCF_DataSource source) { return mcfManager->GetDataSourceImage(source)->Header(); }

class ExtensionSection : public ::testing::Test {
protected:
    void SetUp() override { KVMCF_CloseFile(); }
    void TearDown() override { KVMCF_CloseFile(); }

    // Signal and background images followed by the given section text.
    unsigned int Open(const std::string& section) {
        kvmcftools::McfFileContent content;
        content.images[0] = signal.get();
        content.images[2] = background.get();
        content.extensionXml = section;
        file = std::make_unique<TempFile>(kvmcftools::McfFileBytes(content));
        return KVMCF_ReadFromFile(file->CPath());
    }

    std::unique_ptr<TMCFIOManager::TImage> signal = Strip();
    std::unique_ptr<TMCFIOManager::TImage> background = Strip();
    std::unique_ptr<TempFile> file;
};

}  // namespace

TEST_F(ExtensionSection, ItemsFillTheirSourcesAtOpenAndOnlyTheFirstItemCounts) {
    const std::string section =
        "<?xml version=\"1.0\" ?><Signals><Signal><TKestoImageData><PreAmpGainText>Gain 4x</PreAmpGainText>"
        "<mSec>250</mSec><FullSerialNumber>CCD-12345</FullSerialNumber><DARKTHRESHOLD>12.5</DARKTHRESHOLD>"
        "</TKestoImageData><TCalibImage><TCalibImageData/><TKavriImage><TKavriImageData>"
        "<ReadoutPort>3</ReadoutPort><TickInterval>25</TickInterval></TKavriImageData></TKavriImage></TCalibImage>"
        "</Signal><Signal><TCalibImage><TKavriImage><TKavriImageData><TickInterval>50</TickInterval>"
        "</TKavriImageData></TKavriImage></TCalibImage></Signal></Signals><Backgrounds><Background><TCalibImage>"
        "<TKavriImage><TKavriImageData><TickInterval>4</TickInterval></TKavriImageData></TKavriImage></TCalibImage>"
        "</Background></Backgrounds>";
    ASSERT_EQ(Open(section), KVMCF_SUCCESS);

    EXPECT_EQ(Property(KVMCF_SIGNAL, "ClockFrequency"), "40");  // 1e9 / 25 ns, in MHz
    EXPECT_EQ(Property(KVMCF_BACKGROUND, "ClockFrequency"), "250");
    const TKestoImageData& header = Header(KVMCF_SIGNAL);
    EXPECT_EQ(std::make_tuple(std::string(header.GetPreAmpGainText()), header.GetMilliseconds(),
                              std::string(header.GetSerialText()), header.GetDarkThreshold()),
              std::make_tuple(std::string("Gain 4x"), 250, std::string("CCD-12345"), 12.5f));
    EXPECT_EQ(mcfManager->GetDataSourceImage(KVMCF_SIGNAL)->calibImage.GetKavriImagePortReadoutMode(), 3);
}

TEST_F(ExtensionSection, NoSectionOrADamagedOneLeavesTheDefaults) {
    ASSERT_EQ(Open(""), KVMCF_SUCCESS);
    EXPECT_EQ(Property(KVMCF_SIGNAL, "ClockFrequency"), "100");
    EXPECT_FLOAT_EQ(Header(KVMCF_SIGNAL).GetDarkThreshold(), -999.0f);

    // Cut short: what came before the cut is still read.
    ASSERT_EQ(Open("<Signals><Signal><TKestoImageData><mSec>12</mSec><FullSer"), KVMCF_SUCCESS);
    EXPECT_EQ(Header(KVMCF_SIGNAL).GetMilliseconds(), 12);

    // Garbage, an endless run of opening brackets, elements nested 6000 deep.
    std::string nested;
    for (int i = 0; i < 3000; ++i) nested += "<Signals><Signal>";
    const std::string garbage("\0\x01<<</>>&;<!--", 14);
    for (const std::string& section : {garbage, "<Signals>" + std::string(300000, '<'), nested}) {
        ASSERT_EQ(Open(section), KVMCF_SUCCESS);
        EXPECT_EQ(Property(KVMCF_SIGNAL, "ClockFrequency"), "100");
    }
}
