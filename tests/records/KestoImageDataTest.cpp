// Instrument header record: layouts of every age typed by hand, the writer, bad input.
#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <sstream>
#include <string>

#include "records/KestoImageData.h"

using namespace std::string_literals;

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
    std::string HeadModelText() const {
        char b[kTextCapacity + 1];
        GetHeadModel(b);
        return b;
    }
    std::string FilenameText() const {
        char b[kTextCapacity + 1];
        GetFilename(b);
        return b;
    }
    std::string UserTextText() const {
        char b[TUserText::kCapacity + 1];
        GetUserText().GetText(b, sizeof b);
        return b;
    }
};

std::string Rest(std::istream& is) {
    std::string rest;
    char c;
    while (is.get(c)) rest += c;
    return rest;
}

// Version 1.31, every field distinct. Rows 1 to 75, then row 76 and the file name,
// exactly as the writer lays them out. Head, store type, data type and mode hold the
// bytes 0, 9, 10 and 32.
const std::string kRows131 =
    "65567 11 2 3 5000000004 -5.5 \0 \t \n   \x06 11.5 12.25 13.5 14.75 15 \xc8"
    " 17.5 18.5 -19 20 21 22.5 23.5 24.5 25 26 \x04 \x07"
    " 29 30 31 32 33 34 35 36 37 38 39.5 40 41.5 42 43.5 44 45 46 -47.5 48 49 50 51"
    " 4000000052 53 54 55 56 57 58 59 60 61 62 63.5 64.5 65 66.5 67 68 69.5 70.5 71.5 72.5 73 74 75 "
    "12\nTest head 76 \n 761 762 10\nrun 77.dat \n"s;

// The nested records of rows 78 to 84, in their own newest layouts.
const std::string kNested131 =
    "65538 13\nseventy-eight\n"                                  // user text
    "65538 \x04 \x03 \x05 \x06 0.5 0.25\n"                       // shutter
    "65540 1 81 8.5 82 83 9.5 LBL\n1 10.5 11 13 14 15 4 note"    // full spectrograph
    " 16 17 18 19 20 2 20.5 21 M80\n3 30.5 4 40.5 10 12\n"
    "65537 1 1.5 2.5 4 abcd 3.5 4.5\n"                           // short spectrograph
    "65539 1 2 3 4 1 5 6 1 7 8 9 0.5 0.25 10 0.125 0.0625\n"     // intensifier
    "1 0 11 12\n0 1 13 14\n1 1 15 16\n2.5 17 1\n"
    "83\n"                                                       // AuxIntSetting5
    "65538 1 2000 1000 100 50 2 3 11 21";                        // crop

void ExpectRows131(const Header& h) {
    EXPECT_EQ(h.GetVersionHigh(), 1u);
    EXPECT_EQ(h.GetVersionLow(), 31u);
    EXPECT_EQ(h.GetType(), 11u);
    EXPECT_EQ(h.GetActive(), 2u);
    EXPECT_EQ(h.GetVersion(), 3u);
    EXPECT_EQ(h.GetTime(), 5000000004LL);
    EXPECT_EQ(h.GetTemperature(), -5.5f);
    EXPECT_EQ(h.GetHead(), 0);
    EXPECT_EQ(h.GetStoreType(), 9);
    EXPECT_EQ(h.GetDataType(), 10);
    EXPECT_EQ(h.GetMode(), 32);
    EXPECT_EQ(h.GetTriggerSource(), 6);
    EXPECT_EQ(h.GetTriggerLevel(), 11.5f);
    EXPECT_EQ(h.GetExposureTime(), 12.25f);
    EXPECT_EQ(h.GetDelay(), 13.5f);
    EXPECT_EQ(h.GetIntegrationCycleTime(), 14.75f);
    EXPECT_EQ(h.GetNoIntegrations(), 15);
    EXPECT_EQ(h.AuxByte(), 0xc8);
    EXPECT_EQ(h.GetKineticCycleTime(), 17.5f);
    EXPECT_EQ(h.GetPixelReadoutTime(), 18.5f);
    EXPECT_EQ(h.AuxInt(1), -19);
    EXPECT_EQ(h.AuxInt(2), 20);
    EXPECT_EQ(h.GetGain(), 21);
    EXPECT_EQ(h.AuxFloat(1), 22.5f);
    EXPECT_EQ(h.AuxFloat(2), 23.5f);
    EXPECT_EQ(h.AuxFloat(3), 24.5f);
    EXPECT_EQ(h.GetTrackHeight(), 25);
    EXPECT_EQ(h.AuxInt(3), 26);
    EXPECT_EQ(h.GetReadPattern(), 4);
    EXPECT_EQ(h.GetShutterDelay(), 7);
    EXPECT_EQ(h.GetCentreRow(), 29);
    EXPECT_EQ(h.GetRowOffset(), 30);
    EXPECT_EQ(h.GetOperation(), 31);
    EXPECT_EQ(h.GetFlipX(), 32);
    EXPECT_EQ(h.GetFlipY(), 33);
    EXPECT_EQ(h.GetClock(), 34);
    EXPECT_EQ(h.GetAClock(), 35);
    EXPECT_EQ(h.GetMCP(), 36);
    EXPECT_EQ(h.GetInsertionDelay(), 37);
    EXPECT_EQ(h.GetIOC(), 38);
    EXPECT_EQ(h.GetFreq(), 39.5f);
    EXPECT_EQ(h.GetVertClockAmp(), 40);
    EXPECT_EQ(h.GetVShiftSpeed(), 41.5f);
    EXPECT_EQ(h.GetOutputAmp(), 42);
    EXPECT_EQ(h.GetPreAmpGain(), 43.5f);
    EXPECT_EQ(h.GetSerial(), 44);
    EXPECT_EQ(h.GetNumPulses(), 45);
    EXPECT_EQ(h.GetFrameTransferAcqMode(), 46);
    EXPECT_EQ(h.GetUnstabilizedTemperature(), -47.5f);
    EXPECT_EQ(h.GetBaselineClamp(), 48);
    EXPECT_EQ(h.GetPreScan(), 49);
    EXPECT_EQ(h.GetEMRealGain(), 50);
    EXPECT_EQ(h.GetBaselineOffset(), 51);
    EXPECT_EQ(h.AuxUnsigned(), 4000000052u);
    EXPECT_EQ(h.AuxInt(4), 53);
    unsigned int sw[4] = {};
    h.GetSWVersionEx(sw);
    EXPECT_EQ(sw[0], 54u);
    EXPECT_EQ(sw[1], 55u);
    EXPECT_EQ(sw[2], 56u);
    EXPECT_EQ(sw[3], 57u);
    EXPECT_EQ(h.GetSIDisplacement(), 58);
    EXPECT_EQ(h.GetSINumberSubframes(), 59);
    EXPECT_EQ(h.GetBaseline(), 60);
    EXPECT_EQ(h.GetCountConvert(), 61u);
    EXPECT_EQ(h.GetCountConvertMode(), 62);
    EXPECT_EQ(h.GetSensitivity(), 63.5f);
    EXPECT_EQ(h.GetWavelength(), 64.5f);
    EXPECT_EQ(h.GetFilterMode(), 65u);
    EXPECT_EQ(h.GetThreshold(), 66.5f);
    EXPECT_EQ(h.GetPhotonCountingEnabled(), 67);
    EXPECT_EQ(h.GetNoThresholds(), 68);
    EXPECT_EQ(h.GetPhotonCountingThreshold(0), 69.5f);
    EXPECT_EQ(h.GetPhotonCountingThreshold(1), 70.5f);
    EXPECT_EQ(h.GetPhotonCountingThreshold(2), 71.5f);
    EXPECT_EQ(h.GetPhotonCountingThreshold(3), 72.5f);
    EXPECT_EQ(h.GetAveragingFilterMode(), 73);
    EXPECT_EQ(h.GetAveragingFactor(), 74);
    EXPECT_EQ(h.GetFrameCount(), 75);
    EXPECT_EQ(h.HeadModelText(), "Test head 76");
    EXPECT_EQ(h.Getdetector_format_x(), 761);
    EXPECT_EQ(h.Getdetector_format_z(), 762);
    EXPECT_EQ(h.FilenameText(), "run 77.dat");
    // One field of each nested record, late in its layout, proves its place.
    EXPECT_EQ(h.UserTextText(), "seventy-eight");
    EXPECT_EQ(h.GetShutter().GetMode(), 3);
    EXPECT_EQ(h.GetShutter().GetOpeningTime(), 0.25f);
    EXPECT_EQ(h.GetKavriSpectSave().Extra[2], 12);
    EXPECT_STREQ(h.GetKavriSpectSave().Model, "M80");
    EXPECT_EQ(h.GetSpectSave().Value4, 4.5f);
    EXPECT_EQ(h.GetICCDSave().IOCPeriod, 7u);
    EXPECT_EQ(h.GetICCDSave().AuxInt, 17);
    EXPECT_EQ(h.AuxInt(5), 83);
    EXPECT_EQ(h.GetCropSave().GetCropYStart(), 21);
    EXPECT_EQ(h.GetCropSave().GetCropXEnd(), 110);
}

// The defaults a reader stores for every row that an old layout lacks.
void ExpectAbsentRowsFrom29(const Header& h) {
    EXPECT_EQ(h.GetFlipX(), 0);
    EXPECT_EQ(h.GetIOC(), 0);
    EXPECT_EQ(h.GetFreq(), 0.0f);
    EXPECT_EQ(h.GetVertClockAmp(), 0);
    EXPECT_EQ(h.GetVShiftSpeed(), 1.6e-5f);
    EXPECT_EQ(h.GetPreAmpGain(), 0.0f);
    EXPECT_EQ(h.GetSerial(), 0);
    EXPECT_EQ(h.GetNumPulses(), 0);
    EXPECT_EQ(h.GetFrameTransferAcqMode(), 1);
    EXPECT_EQ(h.GetUnstabilizedTemperature(), -999.0f);
    EXPECT_EQ(h.GetEMRealGain(), 0);
    EXPECT_EQ(h.AuxUnsigned(), 0u);
    EXPECT_EQ(h.AuxInt(4), -1);
    unsigned int sw[4] = {9, 9, 9, 9};
    h.GetSWVersionEx(sw);
    EXPECT_EQ(sw[0] + sw[1] + sw[2] + sw[3], 0u);
    EXPECT_EQ(h.GetSIDisplacement(), 0);
    EXPECT_EQ(h.GetSINumberSubframes(), 1);
    EXPECT_EQ(h.GetCountConvert(), 0u);
    EXPECT_EQ(h.GetWavelength(), 0.0f);
    EXPECT_EQ(h.GetFilterMode(), 0u);
    EXPECT_EQ(h.GetPhotonCountingEnabled(), 0);
    EXPECT_EQ(h.GetPhotonCountingThreshold(3), 0.0f);
    EXPECT_EQ(h.GetAveragingFilterMode(), 0);
    EXPECT_EQ(h.GetAveragingFactor(), 1);
    EXPECT_EQ(h.GetFrameCount(), 1);
}

// Rows 1 to 23 and 25 to 28 of an old layout.
const std::string kOldRows =
    " 1 0 1 1000 -20 \x01 \x02 \x03 \x04 \x05 1.5 2.5 3.5 4.5 6 \x07 8.5 9.5 10 11 12 13.5 14.5 16 17 \x08 \x09";

void ExpectOldRows(const Header& h) {
    EXPECT_EQ(h.GetTime(), 1000);
    EXPECT_EQ(h.GetTemperature(), -20.0f);
    EXPECT_EQ(h.GetTriggerSource(), 5);
    EXPECT_EQ(h.GetNoIntegrations(), 6);
    EXPECT_EQ(h.AuxByte(), 7);
    EXPECT_EQ(h.AuxInt(2), 11);
    EXPECT_EQ(h.GetTrackHeight(), 16);
    EXPECT_EQ(h.GetReadPattern(), 8);
    EXPECT_EQ(h.GetShutterDelay(), 9);
}

Header ReadNewest() {
    Header h;
    std::istringstream is(kRows131 + kNested131);
    is >> h;
    return h;
}

}  // namespace

TEST(KestoImageData, NewestLayoutTypedByHand) {
    Header h;
    std::istringstream is(kRows131 + kNested131 + "\nNEXT");
    is >> h;
    ExpectRows131(h);
    EXPECT_EQ(Rest(is), "\nNEXT");
    EXPECT_EQ(h.GetPhotonCountingThreshold(4), 0.0f);
    EXPECT_EQ(h.GetPhotonCountingThreshold(-1), 0.0f);
}

TEST(KestoImageData, WriterLaysOutTheNewestLayoutAndReadsBack) {
    Header h = ReadNewest();
    std::ostringstream os;
    os << h;
    const std::string out = os.str();
    ASSERT_GE(out.size(), kRows131.size());
    EXPECT_EQ(out.substr(0, kRows131.size()), kRows131);
    // The user text goes out as its whole buffer; the record closes with a line break.
    EXPECT_EQ(out.compare(kRows131.size(), 11, "65538 2048\n"), 0);
    EXPECT_EQ(out.back(), '\n');

    Header back;
    std::istringstream is(out + "NEXT");
    is >> back;
    ExpectRows131(back);
    EXPECT_EQ(Rest(is), "\nNEXT");
}

TEST(KestoImageData, Version1_2HasNoHeadModelAndNoShutter) {
    Header h = ReadNewest();
    // A shutter record follows, but this layout does not hold one.
    std::istringstream is("65538" + kOldRows + " 5 name1 65538 2\nhi 65538 \x04 \x03 \x05 \x06 0.5 0.25");
    is >> h;
    EXPECT_EQ(h.GetVersionHigh(), 1u);
    EXPECT_EQ(h.GetVersionLow(), 2u);
    ExpectOldRows(h);
    EXPECT_EQ(h.GetGain(), 0);  // the stream carried 12
    EXPECT_EQ(h.AuxFloat(3), 0.0f);
    EXPECT_EQ(h.GetCentreRow(), 0);
    EXPECT_EQ(h.GetOperation(), 0);
    ExpectAbsentRowsFrom29(h);
    EXPECT_EQ(h.GetBaseline(), 0);
    EXPECT_EQ(h.HeadModelText(), "Unknown");
    EXPECT_EQ(h.Getdetector_format_x(), 1024);
    EXPECT_EQ(h.Getdetector_format_z(), 256);
    EXPECT_EQ(h.FilenameText(), "name1");
    EXPECT_EQ(h.UserTextText(), "hi");
    EXPECT_EQ(Rest(is), " 65538 \x04 \x03 \x05 \x06 0.5 0.25");

    // Absent nested records hold their own defaults; AuxIntSetting5 is left alone.
    EXPECT_EQ(h.GetShutter().GetMode(), 0);
    EXPECT_EQ(h.GetShutter().GetCustomBgMode(), 2);
    EXPECT_STREQ(h.GetKavriSpectSave().Model, "TK250c");
    EXPECT_EQ(h.GetSpectSave().Value1, 500.0f);
    EXPECT_EQ(h.GetICCDSave().IOCPeriod, 0u);
    EXPECT_EQ(h.AuxInt(5), 83);
    EXPECT_EQ(h.GetCropSave().GetCropYStart(), 1);
}

TEST(KestoImageData, Version1_3TakesTheHeadModelFromANumber) {
    Header h;
    std::istringstream is("65539" + kOldRows + " 123 640 480 5 name1 65538 0\nNEXT");
    is >> h;
    ExpectOldRows(h);
    EXPECT_EQ(h.HeadModelText(), "123");
    EXPECT_EQ(h.Getdetector_format_x(), 640);
    EXPECT_EQ(h.Getdetector_format_z(), 480);
    EXPECT_EQ(h.FilenameText(), "name1");
    EXPECT_EQ(Rest(is), "NEXT");
}

TEST(KestoImageData, Version1_7DropsTheGainAndReadsTheShutter) {
    Header h = ReadNewest();
    std::istringstream is("65543 1 0 1 1000 -20 \x01 \x02 \x03 \x04 \x05 1.5 2.5 3.5 4.5 6 \x07"
                          " 8.5 9.5 10 11 12 13.5 14.5 24.5 16 17 \x08 \x09 29 30 31"
                          " 6\nhead 7 \n 512 128 5\nname7 \n65538 0\n"
                          "65537 \x04 \x03 \x05 \x06 0.5\nNEXT");
    is >> h;
    EXPECT_EQ(h.GetVersionLow(), 7u);
    ExpectOldRows(h);
    EXPECT_EQ(h.AuxFloat(3), 24.5f);
    EXPECT_EQ(h.GetGain(), 0);
    EXPECT_EQ(h.GetCentreRow(), 29);
    EXPECT_EQ(h.GetRowOffset(), 30);
    EXPECT_EQ(h.GetOperation(), 31);
    ExpectAbsentRowsFrom29(h);
    EXPECT_EQ(h.HeadModelText(), "head 7");
    EXPECT_EQ(h.Getdetector_format_x(), 512);
    EXPECT_EQ(h.Getdetector_format_z(), 128);
    EXPECT_EQ(h.FilenameText(), "name7");
    EXPECT_EQ(h.UserTextText(), "");
    EXPECT_EQ(h.GetShutter().GetMode(), 3);
    EXPECT_EQ(h.GetShutter().GetClosingTime(), 0.5f);
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
    EXPECT_EQ(h.GetVersionHigh(), 2u);
    EXPECT_EQ(h.GetVersionLow(), 0u);
    ExpectOldRows(h);
    EXPECT_EQ(h.AuxFloat(3), 0.0f);
    EXPECT_EQ(h.GetGain(), 0);
    EXPECT_EQ(h.GetCentreRow(), 0);
    ExpectAbsentRowsFrom29(h);
    EXPECT_EQ(h.GetBaseline(), 60);
    EXPECT_EQ(h.HeadModelText(), "Unknown");
    EXPECT_EQ(h.Getdetector_format_x(), 1024);
    EXPECT_EQ(h.UserTextText(), "hi");
    EXPECT_EQ(h.GetShutter().GetClosingTime(), 0.0f);
    EXPECT_EQ(h.GetSpectSave().Present, 1);
    EXPECT_STREQ(h.GetSpectSave().Description, "abcd");
    EXPECT_EQ(h.GetSpectSave().Value4, 4.5f);
    EXPECT_EQ(h.AuxInt(5), -83);
    EXPECT_TRUE(h.GetCropSave().IsCropModeEnabled());
    EXPECT_EQ(h.GetCropSave().GetCropXEnd(), 100);
    EXPECT_EQ(h.GetCropSave().GetCropYEnd(), 50);
    EXPECT_EQ(Rest(is), "\nNEXT");
}

TEST(KestoImageData, NewerMinorReadsOnlyTheVersionWord) {
    for (const char* text : {"65568 9 9 9", "131104 9 9 9", "40 9 9 9"}) {
        Header h = ReadNewest();
        std::istringstream is(text);
        is >> h;
        const unsigned int v = static_cast<unsigned int>(std::stoul(text));
        EXPECT_EQ(h.GetVersionHigh(), v >> 16) << text;
        EXPECT_EQ(h.GetVersionLow(), v & 0xFFFFu) << text;
        EXPECT_EQ(h.GetActive(), 1u) << text;
        EXPECT_EQ(h.GetType(), 11u) << text;
        EXPECT_EQ(h.HeadModelText(), "Test head 76") << text;
        EXPECT_EQ(Rest(is), " 9 9 9") << text;
    }
}

TEST(KestoImageData, BadCountedTexts) {
    // Too long for the field: truncated, fully consumed. Negative: no bytes read.
    Header h;
    const std::string longModel(300, 'x');
    std::istringstream is(kRows131.substr(0, kRows131.find("12\nTest")) + "300\n" + longModel +
                          " \n 761 762 -5 " + kNested131 + "\nNEXT");
    is >> h;
    EXPECT_TRUE(is.good());
    EXPECT_EQ(h.HeadModelText(), std::string(271, 'x'));
    EXPECT_EQ(h.Getdetector_format_x(), 761);
    EXPECT_EQ(h.FilenameText(), "");
    EXPECT_EQ(h.UserTextText(), "seventy-eight");
    EXPECT_EQ(h.GetCropSave().GetCropYStart(), 21);
    EXPECT_EQ(Rest(is), "\nNEXT");

    // Longer than what the stream holds.
    Header cut;
    std::istringstream shortStream(kRows131.substr(0, kRows131.find("12\nTest")) + "1000000\nshort");
    shortStream >> cut;
    EXPECT_TRUE(shortStream.fail());
}

TEST(KestoImageData, DefaultsAndTextSetters) {
    const std::int64_t before = static_cast<std::int64_t>(std::time(nullptr));
    Header h;
    const std::int64_t after = static_cast<std::int64_t>(std::time(nullptr));
    EXPECT_EQ(h.GetVersionHigh(), 1u);
    EXPECT_EQ(h.GetVersionLow(), 31u);
    EXPECT_EQ(h.GetVersion(), 1u);
    EXPECT_EQ(h.GetMode(), 5);
    EXPECT_GE(h.GetTime(), before);
    EXPECT_LE(h.GetTime(), after);
    EXPECT_EQ(h.GetTemperature(), -999.0f);
    EXPECT_EQ(h.GetUnstabilizedTemperature(), -999.0f);
    EXPECT_EQ(h.HeadModelText(), "Unknown");
    EXPECT_EQ(h.Getdetector_format_x(), 0);
    EXPECT_EQ(h.GetVShiftSpeed(), 1.6e-5f);
    EXPECT_EQ(h.GetFrameTransferAcqMode(), 1);
    EXPECT_EQ(h.GetSINumberSubframes(), 1);
    EXPECT_EQ(h.GetFrameCount(), 0);
    EXPECT_EQ(h.AuxInt(4), -1);
    EXPECT_EQ(h.AuxInt(5), -1);
    EXPECT_EQ(h.GetFastKineticsOffset(), -1);
    EXPECT_EQ(h.GetDarkThreshold(), -999.0f);
    EXPECT_STREQ(h.GetPreAmpGainText(), "");

    h.SetHeadModel(std::string(300, 'm').c_str());
    EXPECT_EQ(h.HeadModelText(), std::string(271, 'm'));
    h.SetFilename(nullptr);
    EXPECT_EQ(h.FilenameText(), "");
    h.SetSerial(std::string(100, 's').c_str());
    EXPECT_EQ(std::strlen(h.GetSerialText()), 64u);
}
