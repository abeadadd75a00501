// Instrument header record: layouts of every age typed by hand, the writer, bad input.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <tuple>

#include "records/KestoImageData.h"
#include "support/RecordTexts.h"

using kvmcftest::Rest;

namespace {

// Reaches the carried fields that have no getter.
class Header : public TKestoImageData {
public:
    unsigned char AuxByte() const { return AuxByteSetting; }
    int AuxInt(int n) const {
        const int v[] = {0, AuxIntSetting1, AuxIntSetting2, AuxIntSetting3, AuxIntSetting4, AuxIntSetting5};
        return v[n];
    }
    float AuxFloat(int n) const {
        const float v[] = {0, AuxFloatSetting1, AuxFloatSetting2, AuxFloatSetting3};
        return v[n];
    }
    unsigned int AuxUnsigned() const { return AuxUnsignedSetting; }
    std::string HeadModelText() const { char b[kTextCapacity + 1]; GetHeadModel(b); return b; }
    std::string FilenameText() const { char b[kTextCapacity + 1]; GetFilename(b); return b; }
    std::string UserTextText() const { char b[4096]; GetUserText().GetText(b, sizeof b); return b; }
};

// Head model, detector format, file name and user text.
std::string Texts(const Header& h) {
    return h.HeadModelText() + "|" + std::to_string(h.Getdetector_format_x()) + "x" +
           std::to_string(h.Getdetector_format_z()) + "|" + h.FilenameText() + "|" + h.UserTextText();
}

const std::string kRows131 = kvmcftest::HeaderRows131();
const std::string& kNested131 = kvmcftest::HeaderNested131();

// Compares as double, which holds every value used here exactly.
#define ROW(got, want) EXPECT_EQ(static_cast<double>(got), static_cast<double>(want)) << #got

void ExpectRows131(const Header& h) {
    ROW(h.GetVersionHigh(), 1); ROW(h.GetVersionLow(), 31); ROW(h.GetType(), 11); ROW(h.GetActive(), 2);
    ROW(h.GetVersion(), 3); ROW(h.GetTime(), 5000000004LL); ROW(h.GetTemperature(), -5.5);
    ROW(h.GetHead(), 0); ROW(h.GetStoreType(), 9); ROW(h.GetDataType(), 10); ROW(h.GetMode(), 32);
    ROW(h.GetTriggerSource(), 6); ROW(h.GetTriggerLevel(), 11.5); ROW(h.GetExposureTime(), 12.25);
    ROW(h.GetDelay(), 13.5); ROW(h.GetIntegrationCycleTime(), 14.75); ROW(h.GetNoIntegrations(), 15);
    ROW(h.AuxByte(), 0xc8); ROW(h.GetKineticCycleTime(), 17.5); ROW(h.GetPixelReadoutTime(), 18.5);
    ROW(h.AuxInt(1), -19); ROW(h.AuxInt(2), 20); ROW(h.GetGain(), 21); ROW(h.AuxFloat(1), 22.5);
    ROW(h.AuxFloat(2), 23.5); ROW(h.AuxFloat(3), 24.5); ROW(h.GetTrackHeight(), 25); ROW(h.AuxInt(3), 26);
    ROW(h.GetReadPattern(), 4); ROW(h.GetShutterDelay(), 7); ROW(h.GetCentreRow(), 29); ROW(h.GetRowOffset(), 30);
    ROW(h.GetOperation(), 31); ROW(h.GetFlipX(), 32); ROW(h.GetFlipY(), 33); ROW(h.GetClock(), 34);
    ROW(h.GetAClock(), 35); ROW(h.GetMCP(), 36); ROW(h.GetInsertionDelay(), 37); ROW(h.GetIOC(), 38);
    ROW(h.GetFreq(), 39.5); ROW(h.GetVertClockAmp(), 40); ROW(h.GetVShiftSpeed(), 41.5); ROW(h.GetOutputAmp(), 42);
    ROW(h.GetPreAmpGain(), 43.5); ROW(h.GetSerial(), 44); ROW(h.GetNumPulses(), 45);
    ROW(h.GetFrameTransferAcqMode(), 46); ROW(h.GetUnstabilizedTemperature(), -47.5); ROW(h.GetBaselineClamp(), 48);
    ROW(h.GetPreScan(), 49); ROW(h.GetEMRealGain(), 50); ROW(h.GetBaselineOffset(), 51);
    ROW(h.AuxUnsigned(), 4000000052u); ROW(h.AuxInt(4), 53);
    unsigned int sw[4] = {};
    h.GetSWVersionEx(sw);
    ROW(sw[0], 54); ROW(sw[1], 55); ROW(sw[2], 56); ROW(sw[3], 57);
    ROW(h.GetSIDisplacement(), 58); ROW(h.GetSINumberSubframes(), 59); ROW(h.GetBaseline(), 60);
    ROW(h.GetCountConvert(), 61); ROW(h.GetCountConvertMode(), 62); ROW(h.GetSensitivity(), 63.5);
    ROW(h.GetWavelength(), 64.5); ROW(h.GetFilterMode(), 65); ROW(h.GetThreshold(), 66.5);
    ROW(h.GetPhotonCountingEnabled(), 67); ROW(h.GetNoThresholds(), 68);
    ROW(h.GetPhotonCountingThreshold(0), 69.5); ROW(h.GetPhotonCountingThreshold(1), 70.5);
    ROW(h.GetPhotonCountingThreshold(2), 71.5); ROW(h.GetPhotonCountingThreshold(3), 72.5);
    ROW(h.GetAveragingFilterMode(), 73); ROW(h.GetAveragingFactor(), 74); ROW(h.GetFrameCount(), 75);
    EXPECT_EQ(Texts(h), "Test head 76|761x762|run 77.dat|seventy-eight");
    // One field of each nested record, late in its layout, proves its place.
    ROW(h.GetShutter().GetMode(), 3); ROW(h.GetShutter().GetOpeningTime(), 0.25);
    ROW(h.GetKavriSpectSave().Extra[2], 12);
    EXPECT_STREQ(h.GetKavriSpectSave().Model, "M80");
    ROW(h.GetSpectSave().Value4, 4.5); ROW(h.GetICCDSave().IOCPeriod, 7); ROW(h.GetICCDSave().AuxInt, 17);
    ROW(h.AuxInt(5), 83); ROW(h.GetCropSave().GetCropYStart(), 21); ROW(h.GetCropSave().GetCropXEnd(), 110);
}

// The defaults a reader stores for the minor-only rows from 29 on that an old layout lacks.
void ExpectAbsentRowsFrom29(const Header& h) {
    ROW(h.GetCentreRow(), 0); ROW(h.GetFlipX(), 0); ROW(h.GetIOC(), 0); ROW(h.GetFreq(), 0);
    ROW(h.GetVertClockAmp(), 0); ROW(h.GetVShiftSpeed(), 1.6e-5f); ROW(h.GetPreAmpGain(), 0); ROW(h.GetSerial(), 0);
    ROW(h.GetNumPulses(), 0); ROW(h.GetFrameTransferAcqMode(), 1); ROW(h.GetUnstabilizedTemperature(), -999);
    ROW(h.GetEMRealGain(), 0); ROW(h.AuxUnsigned(), 0); ROW(h.AuxInt(4), -1);
    unsigned int sw[4] = {9, 9, 9, 9};
    h.GetSWVersionEx(sw);
    ROW(sw[0] + sw[1] + sw[2] + sw[3], 0);
    ROW(h.GetSIDisplacement(), 0); ROW(h.GetSINumberSubframes(), 1); ROW(h.GetCountConvert(), 0);
    ROW(h.GetWavelength(), 0); ROW(h.GetFilterMode(), 0); ROW(h.GetPhotonCountingEnabled(), 0);
    ROW(h.GetPhotonCountingThreshold(3), 0); ROW(h.GetAveragingFilterMode(), 0); ROW(h.GetAveragingFactor(), 1);
    ROW(h.GetFrameCount(), 1);
}

// Rows 1 to 23 and 25 to 28 of an old layout.
const std::string kOldRows =
    " 1 0 1 1000 -20 \x01 \x02 \x03 \x04 \x05 1.5 2.5 3.5 4.5 6 \x07 8.5 9.5 10 11 12 13.5 14.5 16 17 \x08 \x09";

void ExpectOldRows(const Header& h) {
    ROW(h.GetTime(), 1000); ROW(h.GetTemperature(), -20); ROW(h.GetTriggerSource(), 5);
    ROW(h.GetNoIntegrations(), 6); ROW(h.AuxByte(), 7); ROW(h.AuxInt(2), 11); ROW(h.GetTrackHeight(), 16);
    ROW(h.GetReadPattern(), 8); ROW(h.GetShutterDelay(), 9);
}

Header ReadNewest() {
    Header h;
    std::istringstream is(kRows131 + kNested131);
    is >> h;
    return h;
}

}  // namespace

TEST(KestoImageData, NewestLayoutByHandAndThroughTheWriter) {
    Header h;
    std::istringstream is(kRows131 + kNested131 + "\nNEXT");
    is >> h;
    ExpectRows131(h);
    EXPECT_EQ(Rest(is), "\nNEXT");
    ROW(h.GetPhotonCountingThreshold(4), 0); ROW(h.GetPhotonCountingThreshold(-1), 0);

    std::ostringstream os;
    os << h;
    const std::string out = os.str();
    EXPECT_EQ(out.substr(0, kRows131.size()), kRows131);
    // The user text goes out as its whole buffer; the record closes with a line break.
    EXPECT_EQ(out.compare(kRows131.size(), 11, "65538 2048\n"), 0);
    Header back;
    std::istringstream again(out + "NEXT");
    again >> back;
    ExpectRows131(back);
    EXPECT_EQ(Rest(again), "\nNEXT");
}

TEST(KestoImageData, OldestLayoutsHaveNoShutterAndAnOlderHeadModel) {
    // 1.2: no head model at all. A shutter record follows, but this layout holds none.
    // Read over a newest header: every absent row must be reset.
    Header h = ReadNewest();
    std::istringstream is("65538" + kOldRows + " 5 name1 65538 2\nhi 65538 \x04 \x03 \x05 \x06 0.5 0.25");
    is >> h;
    ROW(h.GetVersionHigh(), 1); ROW(h.GetVersionLow(), 2);
    ExpectOldRows(h);
    ROW(h.GetGain(), 0);  // the stream carried 12
    ROW(h.AuxFloat(3), 0);
    ExpectAbsentRowsFrom29(h);
    ROW(h.GetBaseline(), 0);
    EXPECT_EQ(Texts(h), "Unknown|1024x256|name1|hi");
    EXPECT_EQ(Rest(is), " 65538 \x04 \x03 \x05 \x06 0.5 0.25");
    // Absent nested records hold their own defaults; AuxIntSetting5 is left alone.
    ROW(h.GetShutter().GetMode(), 0); ROW(h.GetShutter().GetCustomBgMode(), 2);
    EXPECT_STREQ(h.GetKavriSpectSave().Model, "TK250c");
    ROW(h.GetSpectSave().Value1, 500); ROW(h.GetICCDSave().IOCPeriod, 0); ROW(h.AuxInt(5), 83);
    ROW(h.GetCropSave().GetCropYStart(), 1);

    // 1.3: the head model is a number.
    Header n;
    std::istringstream numbered("65539" + kOldRows + " 123 640 480 5 name1 65538 0\nNEXT");
    numbered >> n;
    ExpectOldRows(n);
    EXPECT_EQ(Texts(n), "123|640x480|name1|");
    EXPECT_EQ(Rest(numbered), "NEXT");
}

TEST(KestoImageData, Version1_7DropsTheGainAndReadsTheShutter) {
    Header h = ReadNewest();
    std::istringstream is("65543 1 0 1 1000 -20 \x01 \x02 \x03 \x04 \x05 1.5 2.5 3.5 4.5 6 \x07"
                          " 8.5 9.5 10 11 12 13.5 14.5 24.5 16 17 \x08 \x09 29 30 31"
                          " 6\nhead 7 \n 512 128 5\nname7 \n65538 0\n"
                          "65537 \x04 \x03 \x05 \x06 0.5\nNEXT");
    is >> h;
    ExpectOldRows(h);
    ROW(h.AuxFloat(3), 24.5); ROW(h.GetGain(), 0);
    ROW(h.GetCentreRow(), 29); ROW(h.GetRowOffset(), 30); ROW(h.GetOperation(), 31);
    ROW(h.GetFlipY(), 0); ROW(h.GetVShiftSpeed(), 1.6e-5f); ROW(h.GetFrameCount(), 1);
    EXPECT_EQ(Texts(h), "head 7|512x128|name7|");
    ROW(h.GetShutter().GetMode(), 3); ROW(h.GetShutter().GetClosingTime(), 0.5);
    EXPECT_STREQ(h.GetKavriSpectSave().Model, "TK250c");
    EXPECT_EQ(Rest(is), "\nNEXT");
}

TEST(KestoImageData, Version2_0MixesTheTwoGateForms) {
    Header h = ReadNewest();
    // Minor-only rows and the shutter are absent; Baseline and rows 80 to 84 are present.
    // The full spectrograph record of minor 5 and the intensifier record of 1.4 hold
    // nothing but their version words.
    std::istringstream is("131072" + kOldRows + " 60 5 name1 65538 2\nhi\n" +
                          "65541 65537 1 1.5 2.5 4 abcd 3.5 4.5\n65540 -83\n65537 1 800 600 100 50 1 1\nNEXT");
    is >> h;
    ROW(h.GetVersionHigh(), 2); ROW(h.GetVersionLow(), 0);
    ExpectOldRows(h);
    ROW(h.AuxFloat(3), 0); ROW(h.GetGain(), 0);
    ExpectAbsentRowsFrom29(h);
    ROW(h.GetBaseline(), 60);
    EXPECT_EQ(Texts(h), "Unknown|1024x256|name1|hi");
    ROW(h.GetShutter().GetClosingTime(), 0);
    EXPECT_STREQ(h.GetSpectSave().Description, "abcd");
    ROW(h.GetSpectSave().Value4, 4.5); ROW(h.AuxInt(5), -83);
    ROW(h.GetCropSave().GetCropXEnd(), 100); ROW(h.GetCropSave().GetCropYEnd(), 50);
    EXPECT_EQ(Rest(is), "\nNEXT");
}

TEST(KestoImageData, NewerMinorReadsOnlyTheVersionWord) {
    for (const char* text : {"65568 9 9 9", "131104 9 9 9", "40 9 9 9"}) {
        Header h = ReadNewest();
        std::istringstream is(text);
        is >> h;
        EXPECT_EQ(std::make_tuple(h.GetVersionHigh() * 65536u + h.GetVersionLow(), h.GetActive(), h.HeadModelText(), Rest(is)),
                  std::make_tuple(unsigned(std::stoul(text)), 1u, std::string("Test head 76"), std::string(" 9 9 9")));
    }
}

TEST(KestoImageData, BadCountedTexts) {
    // Too long for the field: truncated, fully consumed. Negative: no bytes read.
    const std::string rows = kRows131.substr(0, kRows131.find("12\nTest"));
    Header h;
    std::istringstream is(rows + "300\n" + std::string(300, 'x') + " \n 761 762 -5 " + kNested131 + "\nNEXT");
    is >> h;
    EXPECT_EQ(Texts(h) + Rest(is), std::string(271, 'x') + "|761x762||seventy-eight\nNEXT");

    // Longer than what the stream holds.
    Header cut;
    std::istringstream shortStream(rows + "1000000\nshort");
    shortStream >> cut;
    EXPECT_TRUE(shortStream.fail());
}
