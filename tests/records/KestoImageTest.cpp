// The header object: its elements of the extension section and the metadata tags.
#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "metadata/mcfdataxml.h"
#include "records/KestoImage.h"

namespace {

// One row of four columns.
std::unique_ptr<TKestoImage> Strip(unsigned int frames) {
    TSubImage sub(1, 1, 4, 1, 1, 1);
    return std::make_unique<TKestoImage>(TKavriRect(1, 1, 4, 1), 1, &sub, frames);
}

// Lowercase hex bytes each followed by ",", then "|".
std::string HexFrame(const std::vector<unsigned char>& bytes) {
    std::ostringstream os;
    for (unsigned char b : bytes) os << std::hex << static_cast<int>(b) << ',';
    return os.str() + "|";
}

// A packet written in reading order, stored last 16-bit word first.
std::vector<unsigned char> StoredPacket(const std::vector<unsigned char>& reading) {
    std::vector<unsigned char> stored;
    for (std::size_t i = reading.size(); i >= 2; i -= 2) {
        stored.push_back(reading[i - 2]);
        stored.push_back(reading[i - 1]);
    }
    return stored;
}

// 48 bytes: CID 3 (the version), CID 6, then CID 1 only from version 4 on.
std::vector<unsigned char> Packet(unsigned char version) {
    std::vector<unsigned char> reading = {4, 0, 0, 0, 3, 0, 0, 0, version, 0, 0, 0,   //
                                          4, 0, 0, 0, 6, 0, 0, 0, 0x34, 0x12, 0, 0};  //
    const std::vector<unsigned char> cid1 = {8, 0, 0, 0, 1, 0, 0, 0, 8, 7, 6, 5, 4, 3, 2, 1};
    if (version > 3) reading.insert(reading.end(), cid1.begin(), cid1.end());
    reading.resize(48, 0);  // the end field and what follows it are zeros
    return StoredPacket(reading);
}

// Two frames: a version 5 packet, then a version 3 one.
const std::string kPackets = HexFrame(Packet(5)) + HexFrame(Packet(3));
const std::string kPacketItem =
    "<TKestoImage><MetaDataLength>48</MetaDataLength><MetaData>" + kPackets + "</MetaData></TKestoImage>";

const char kItem[] =
    "<Signal>"
    "<TKestoImageData><PreAmpGainText>Gain 4x</PreAmpGainText><SpectrographSerial>SR-303</SpectrographSerial>"
    "<mSec>250</mSec><DIRECT_IRIS_PRESENT>1</DIRECT_IRIS_PRESENT><DIRECT_IRIS_POSITION>7</DIRECT_IRIS_POSITION>"
    "<SIDE_IRIS_PRESENT>1</SIDE_IRIS_PRESENT><SIDE_IRIS_POSITION>3</SIDE_IRIS_POSITION>"
    "<FullSerialNumber>CCD-12345</FullSerialNumber><DARKTHRESHOLD>12.5</DARKTHRESHOLD>"
    "<FAST_KINETICS_OFFSET>4</FAST_KINETICS_OFFSET></TKestoImageData>"
    "<TCalibImage><TCalibImageData /><TKavriImage><TKavriImageData><ImageFormat>1</ImageFormat>"
    "<ReadoutPort>2</ReadoutPort><ExposureWindowHeight>16</ExposureWindowHeight><LineScanSpeed>0.5</LineScanSpeed>"
    "<AlternatingReadoutDirection>1</AlternatingReadoutDirection><ScanSpeedControl>1</ScanSpeedControl>"
    "<ReadoutDirection>5</ReadoutDirection><FastKineticsStorageMode>2</FastKineticsStorageMode>"
    "<FastKineticsTimeScanMode>1</FastKineticsTimeScanMode><TickInterval>25</TickInterval><PIVMode>1</PIVMode>"
    "<ExtendedDynamicRange>1</ExtendedDynamicRange></TKavriImageData></TKavriImage></TCalibImage>"
    "</Signal>";

}  // namespace

std::vector<double> ReadoutSettings(const TKestoImage& i) {
    return {double(i.GetKavriImageDataFormat()), double(i.GetKavriImagePortReadoutMode()),
            double(i.GetKavriImageExposureWindowHeight()), i.GetKavriImageLineScanSpeed(),
            double(i.GetKavriImageAlternatingReadoutDirection()), double(i.GetKavriImageScanSpeedControl()),
            double(i.GetKavriImageReadoutDirection()), double(i.GetFastKineticsStorageMode()),
            double(i.GetFastKineticsTimeScanMode()), i.GetTickInterval(), double(i.GetPIVEnable()),
            double(i.GetExtendedDynamicRange())};
}

// Direct iris present and position, side iris present and position.
std::vector<int> Irises(TKestoImage& i) {
    const auto& s = i.GetSpectSave();
    return {s.DirectIrisPresent, s.DirectIrisPosition, s.SideIrisPresent, s.SideIrisPosition};
}

TEST(KestoImageXML, TypedItemsFillTheHeaderAndEmptyValuesTakeTheSectionDefaults) {
    auto image = Strip(1);
    image->GetSpectSave().Present = 1;
    TMcfDataXML xml(kItem);
    ASSERT_TRUE(xml.SetFirstChildNode("Signal"));
    EXPECT_FALSE(image->ReadXMLDataStructure(xml));  // no metadata element in this item
    EXPECT_EQ(xml.getStackHeadIndex(), 1);
    // The spectrograph serial goes to the present spectrograph only.
    EXPECT_EQ(std::string(image->GetSpectSave().SerialText) + "|" + image->GetKavriSpectSave().SerialText, "SR-303|");
    // Both direct-iris values land in the position; the present flag keeps its default.
    EXPECT_EQ(Irises(*image), (std::vector<int>{0, 7, 1, 3}));
    EXPECT_EQ(image->GetFastKineticsOffset(), 4);
    EXPECT_EQ(ReadoutSettings(*image), (std::vector<double>{1, 2, 16, 0.5, 1, 1, 5, 2, 1, 25, 1, 1}));

    TMcfDataXML empty("<TKestoImageData/><TCalibImage><TKavriImage><TKavriImageData/></TKavriImage></TCalibImage>");
    image->ReadXMLDataStructure(empty);
    EXPECT_EQ(std::make_tuple(image->GetFastKineticsOffset(), image->GetDarkThreshold()), std::make_tuple(-1, 0.0f));
    EXPECT_EQ(Irises(*image), (std::vector<int>{0, -1, -1, -1}));
    EXPECT_EQ(ReadoutSettings(*image), (std::vector<double>{0, 0, 0, 0, 0, 0, 0, 0, 0, 10, 0, 0}));
}

TEST(KestoImage, MetadataTagsFollowThePacketVersion) {
    auto image = Strip(2);
    TMcfDataXML xml(kPacketItem.c_str());
    image->ReadXMLDataStructure(xml);

    // Frame 2 (version 3) has no CID 6 or 1, and frame 1's values must not linger;
    // CID 2 is in no packet, frame 3 is beyond the series.
    const struct { unsigned int frame, cid; unsigned long long value; } tags[] = {
        {1, 1, 0x0102030405060708ull}, {1, 3, 5}, {1, 6, 0x1234}, {1, 2, 0},
        {2, 3, 3}, {2, 6, 0}, {2, 1, 0}, {3, 3, 0}};
    for (const auto& t : tags) EXPECT_EQ(image->GetMetaDataTagValue(t.frame, t.cid), t.value) << t.frame << "/" << t.cid;

    // No packet can be longer than 65535 bytes: such a length means no metadata.
    TMcfDataXML tooLong("<TKestoImage><MetaDataLength>70000</MetaDataLength></TKestoImage>");
    image->ReadXMLDataStructure(tooLong);
    EXPECT_FALSE(image->GetMetaDataHandler().GetAvailablity());
}
