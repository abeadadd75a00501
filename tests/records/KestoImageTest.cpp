// The header object: its elements of the extension section, and the operations that
// combine header and image (merge, trim, metadata tags).
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "metadata/mcfdataxml.h"
#include "records/KestoImage.h"

namespace {

std::unique_ptr<TKestoImage> Image(TKavriRect detector, std::vector<TSubImage> subs, unsigned int frames) {
    return std::make_unique<TKestoImage>(detector, static_cast<unsigned int>(subs.size()), subs.data(), frames);
}

// One row of four columns.
std::unique_ptr<TKestoImage> Strip(unsigned int frames) { return Image(TKavriRect(1, 1, 4, 1), {TSubImage(1, 1, 4, 1, 1, 1)}, frames); }

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

TEST(KestoImageXML, BuiltItemReadsBackWithTimeCodesAndMetadata) {
    auto source = Strip(2);
    TMcfDataXML typed(kPacketItem.c_str());
    source->ReadXMLDataStructure(typed);
    const unsigned char block[16] = {0x12, 0x34, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xff};
    source->GetIRIGDataHandler().SetIRIGAvailablity(true);
    source->GetIRIGDataHandler().SetIRIGData(1, block);
    source->SetPreAmpGainText("High");  // sent as the spectrograph serial when none is present
    TMcfDataXML built;
    source->BuildXMLDataStructure(built);
    std::ostringstream text;
    text << built;
    auto copy = Strip(2);
    TMcfDataXML parsed(text.str().c_str());
    EXPECT_TRUE(copy->ReadXMLDataStructure(parsed));
    EXPECT_EQ(std::memcmp(copy->GetIRIGDataHandler().GetIRIGData(1), block, 16), 0);
    EXPECT_EQ(std::string(copy->GetMetaDataHandler().GetAllMetaData()), kPackets);
    ASSERT_TRUE(parsed.SetFirstChildNode("TKestoImageData"));
    EXPECT_STREQ(parsed.GetStringData("SpectrographSerial", ""), "High");
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

TEST(KestoImage, MergeAndTrimBuildNewImages) {
    auto series = Strip(3);
    for (unsigned int f = 1; f <= 3; ++f) {
        float* p = series->ObtainWriteImagePtr(f);
        for (int i = 0; i < 4; ++i) p[i] = static_cast<float>(10 * f + i);
        series->ReleaseImagePtr(f);
    }
    series->SetDarkThreshold(5.0f);
    std::unique_ptr<TKestoImage> merged(series->MergeSpectraToImage());
    ASSERT_TRUE(merged);
    EXPECT_EQ(merged->GetSubImages()[0], TSubImage(1, 3, 4, 1, 1, 1));
    const float* p = merged->ObtainReadImagePtr(1);
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(std::vector<float>(p, p + 12), (std::vector<float>{10, 11, 12, 13, 20, 21, 22, 23, 30, 31, 32, 33}));
    merged->ReleaseImagePtr(1);
    EXPECT_FLOAT_EQ(merged->GetDarkThreshold(), -999.0f);  // stays the new image's own
    TKestoImage headerOnly(TKavriRect(1, 1, 4, 1), 1, series->GetSubImages(), 3, false, false, DataStore::Float);
    EXPECT_EQ(headerOnly.MergeSpectraToImage(), nullptr);  // pixels never read

    // Two sub-images over 8 columns: binned by 2 in row 1, unbinned in row 2. A band of 4
    // is columns 3 to 6; binned by 2 it narrows to 3..5, and only the pair 3-4 ends inside.
    auto image = Image(TKavriRect(1, 2, 8, 1), {TSubImage(1, 1, 8, 1, 1, 2), TSubImage(1, 2, 8, 2, 1, 1)}, 1);
    const float pixels[12] = {1, 2, 3, 4, 11, 12, 13, 14, 15, 16, 17, 18};
    std::memcpy(image->ObtainWriteImagePtr(1), pixels, sizeof pixels);
    image->ReleaseImagePtr(1);
    image->SetXIsWavelength(0);
    image->SetXCalConstants(100.0, 2.0, 0.5, 0.25);
    std::unique_ptr<TKestoImage> trimmed(image->Trim(4));
    ASSERT_TRUE(trimmed);
    EXPECT_EQ(trimmed->GetSubImages()[0], TSubImage(1, 1, 4, 1, 1, 2));
    const float* q = trimmed->ObtainReadImagePtr(1);
    ASSERT_NE(q, nullptr);
    EXPECT_EQ(std::vector<float>(q, q + 6), (std::vector<float>{2, 0, 13, 14, 15, 16}));
    trimmed->ReleaseImagePtr(1);
    // c0 becomes the value at column 3: 100 + 3*2 + 9*0.5 + 27*0.25.
    EXPECT_EQ(trimmed->GetXCalConstant(0), 117.25);
    EXPECT_EQ(image->Trim(9), nullptr);
}
