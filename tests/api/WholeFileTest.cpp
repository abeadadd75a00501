// A whole file typed by hand from the record tables, read through the exported
// functions: data positions, frames, every named property, pixel calibration and
// record versions.
#include <gtest/gtest.h>

#include <cstdlib>
#include <locale>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include "api/kvmcfio.h"
#include "support/RecordTexts.h"
#include "support/TestFiles.h"

using namespace std::string_literals;
using kvmcftest::FloatBytes;
using kvmcftest::TempFile;

namespace {

const std::string kPixels = FloatBytes({1, 2, 3, 4, -1.5f, 0, 1e6f, 0.25f});

std::string Image(const std::string& headModel = "Test head 76") {
    return kvmcftest::HeaderRows131(0, headModel) + kvmcftest::HeaderNested131() + "\n" + kvmcftest::Calibration14() +
           kvmcftest::ImageData15();
}

const std::string kMagic = "Kavri Technology Multi-Channel File\n65538\n";

class WholeFile : public ::testing::Test {
protected:
    void SetUp() override {
        setenv("TZ", "UTC", 1);
        tzset();
        KVMCF_SetFileAccessMode(KVMCF_READ_ALL);
        file_ = std::make_unique<TempFile>(kFile);
        ASSERT_EQ(KVMCF_ReadFromFile(file_->CPath()), KVMCF_SUCCESS);
    }
    void TearDown() override { KVMCF_CloseFile(); }

    std::string Value(const char* name, unsigned int* code = nullptr, unsigned int size = 256) {
        std::vector<char> buffer(size, '#');
        const unsigned int result = KVMCF_GetPropertyValue(KVMCF_SIGNAL, name, buffer.data(), size);
        if (code) *code = result;
        else EXPECT_EQ(result, KVMCF_SUCCESS) << name;
        return buffer.data();
    }
    unsigned int Type(const char* name) {
        KVMCF_PropertyType type = static_cast<KVMCF_PropertyType>(0);
        EXPECT_EQ(KVMCF_GetPropertyType(KVMCF_SIGNAL, name, &type), KVMCF_SUCCESS) << name;
        return type;
    }

    // Signal only; the prefix is everything before the pixel block.
    const std::string kPrefix = kMagic + "1\n" + Image();
    const std::string kFile = kPrefix + kPixels + "0\n0\n0\n0\n";
    std::unique_ptr<TempFile> file_;
};

TEST_F(WholeFile, DataStartAndFramesInEveryMode) {
    for (KVMCF_ReadMode mode : {KVMCF_READ_ALL, KVMCF_READ_HEADER_ONLY}) {
        for (bool fromBytes : {false, true}) {
            KVMCF_SetFileAccessMode(mode);
            std::string bytes = kFile;
            if (fromBytes)
                ASSERT_EQ(KVMCF_ReadFromByteArray(reinterpret_cast<unsigned char*>(&bytes[0]),
                                                  static_cast<unsigned int>(bytes.size())),
                          KVMCF_SUCCESS);
            else
                ASSERT_EQ(KVMCF_ReadFromFile(file_->CPath()), KVMCF_SUCCESS);
            long long start = 0;
            EXPECT_EQ(KVMCF_GetDataStartBytePosition(KVMCF_SIGNAL, &start), KVMCF_SUCCESS);
            EXPECT_EQ(start, static_cast<long long>(kPrefix.size()));
            unsigned int size = 0, frames = 0, subs = 0;
            EXPECT_EQ(KVMCF_GetFrameSize(KVMCF_SIGNAL, &size), KVMCF_SUCCESS);
            EXPECT_EQ(KVMCF_GetNumberFrames(KVMCF_SIGNAL, &frames), KVMCF_SUCCESS);
            EXPECT_EQ(KVMCF_GetNumberSubImages(KVMCF_SIGNAL, &subs), KVMCF_SUCCESS);
            EXPECT_EQ(size, 4u);
            EXPECT_EQ(frames, 2u);
            EXPECT_EQ(subs, 1u);
            unsigned int g[6] = {};
            EXPECT_EQ(KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 0, &g[0], &g[1], &g[2], &g[3], &g[4], &g[5]),
                      KVMCF_SUCCESS);
            EXPECT_EQ(std::vector<unsigned int>(g, g + 6), (std::vector<unsigned int>{1, 1, 2, 2, 1, 1}));
            EXPECT_EQ(KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 1, &g[0], &g[1], &g[2], &g[3], &g[4], &g[5]),
                      KVMCF_P2INVALID);

            float frame[4] = {};
            EXPECT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 1, frame, 4), KVMCF_SUCCESS);
            EXPECT_EQ(std::memcmp(frame, kPixels.data() + 16, 16), 0);
            EXPECT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 2, frame, 4), KVMCF_P2INVALID);
            EXPECT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 0, frame, 3), KVMCF_P4INVALID);
            float all[8] = {};
            EXPECT_EQ(KVMCF_GetAllFrames(KVMCF_SIGNAL, all, 7), KVMCF_P3INVALID);
            EXPECT_EQ(KVMCF_GetAllFrames(KVMCF_SIGNAL, all, 8), KVMCF_SUCCESS);
            EXPECT_EQ(std::memcmp(all, kPixels.data(), 32), 0);
            KVMCF_CloseFile();
        }
    }
}

TEST_F(WholeFile, EveryPropertyHasItsValueAndType) {
    const unsigned int kByteCode = 1;
    struct Row {
        const char* name;
        const char* value;
        unsigned int type;
    } rows[] = {
        {"Type", "11", KVMCF_TYPE_UINT32}, {"Active", "0", KVMCF_TYPE_UINT32},
        {"Version", "3", KVMCF_TYPE_UINT32},
        {"Time", "705032708", KVMCF_TYPE_INT32},  // 5000000004 printed as a 32-bit int
        {"FormattedTime", "Fri Jun 11 08:53:24 2128", KVMCF_TYPE_STRING},
        {"FileName", "run 77.dat", KVMCF_TYPE_STRING}, {"Temperature", "-5.5", KVMCF_TYPE_FLOAT},
        {"UnstabalizedTemperature", "-47.5", KVMCF_TYPE_FLOAT}, {"Head", "0", kByteCode},
        {"HeadModel", "Test head 76", KVMCF_TYPE_STRING}, {"StoreType", "9", kByteCode},
        {"DataType", "10", kByteCode}, {"SIDisplacement", "58", KVMCF_TYPE_INT32},
        {"SINumberSubFrames", "59", KVMCF_TYPE_INT32}, {"PixelReadOutTime", "18.5", KVMCF_TYPE_FLOAT},
        {"TrackHeight", "25", KVMCF_TYPE_INT32}, {"ReadPattern", "4", kByteCode},
        {"ReadPatternFullName", "Image", KVMCF_TYPE_STRING}, {"ShutterDelay", "7", kByteCode},
        {"CentreRow", "29", KVMCF_TYPE_INT32}, {"RowOffset", "30", KVMCF_TYPE_INT32},
        {"Operation", "31", KVMCF_TYPE_INT32}, {"Mode", "32", kByteCode},
        {"ModeFullName", "Unknown", KVMCF_TYPE_STRING}, {"TriggerSource", "6", kByteCode},
        {"TriggerSourceFullName", "External Start", KVMCF_TYPE_STRING},
        {"TriggerLevel", "11.5", KVMCF_TYPE_FLOAT}, {"ExposureTime", "12.25", KVMCF_TYPE_FLOAT},
        {"Delay", "13.5", KVMCF_TYPE_FLOAT}, {"IntegrationCycleTime", "14.75", KVMCF_TYPE_FLOAT},
        {"NumberIntegrations", "15", KVMCF_TYPE_INT32}, {"KineticCycleTime", "17.5", KVMCF_TYPE_FLOAT},
        {"FlipX", "32", KVMCF_TYPE_INT32}, {"FlipY", "33", KVMCF_TYPE_INT32}, {"Clock", "34", KVMCF_TYPE_INT32},
        {"AClock", "35", KVMCF_TYPE_INT32}, {"IOC", "38", KVMCF_TYPE_INT32},
        {"Frequency", "39.5", KVMCF_TYPE_FLOAT}, {"NumberPulses", "45", KVMCF_TYPE_INT32},
        {"InsertionDelay", "37", KVMCF_TYPE_INT32}, {"FrameTransferAcquisitionMode", "46", KVMCF_TYPE_INT32},
        {"BaselineClamp", "48", KVMCF_TYPE_INT32}, {"PreScan", "49", KVMCF_TYPE_INT32},
        {"EMRealGain", "50", KVMCF_TYPE_INT32}, {"BaselineOffset", "51", KVMCF_TYPE_INT32},
        {"SWVersion", "50", KVMCF_TYPE_UINT32},  // the EM gain, as it has always been
        {"SWVersionEx", "54.55.56.57", KVMCF_TYPE_STRING}, {"MCP", "36", KVMCF_TYPE_INT32},
        {"Gain", "21", KVMCF_TYPE_INT32}, {"VerticalClockAmp", "40", KVMCF_TYPE_INT32},
        {"VerticalShiftSpeed", "41.5", KVMCF_TYPE_FLOAT}, {"OutputAmplifier", "42", KVMCF_TYPE_INT32},
        {"PreAmplifierGain", "43.5", KVMCF_TYPE_FLOAT}, {"Serial", "44", KVMCF_TYPE_INT32},
        {"DetectorFormatX", "761", KVMCF_TYPE_INT32}, {"DetectorFormatZ", "762", KVMCF_TYPE_INT32},
        {"NumberImages", "2", KVMCF_TYPE_UINT32}, {"NumberSubImages", "1", KVMCF_TYPE_UINT32},
        {"ImageHBin", "1", KVMCF_TYPE_INT32}, {"ImageVBin", "1", KVMCF_TYPE_INT32},
        {"ImageLeft", "1", KVMCF_TYPE_INT32}, {"ImageRight", "2", KVMCF_TYPE_INT32},
        {"ImageTop", "2", KVMCF_TYPE_INT32}, {"ImageBottom", "1", KVMCF_TYPE_INT32},
        {"SubImageTop", "2", KVMCF_TYPE_INT32}, {"SubImageRight1", "2", KVMCF_TYPE_INT32},
        // Typed as a time stamp: the type query tests "TimeStamp" first.
        {"HighPrecisionTimeStamp1", "0.0100000", KVMCF_TYPE_UINT32},
        {"HighPrecisionTimeStamp", "17.5000000", KVMCF_TYPE_UINT32},  // word 0: the kinetic cycle time
        {"ClockFrequency", "100", KVMCF_TYPE_FLOAT},                   // 1e9 / 10 ns ticks, in MHz
        {"TimeStamp", "5", KVMCF_TYPE_UINT32}, {"TimeStamp1", "7", KVMCF_TYPE_UINT32},
        {"Metadata1", "1000000", KVMCF_TYPE_UINT64}, {"Baseline", "60", KVMCF_TYPE_INT32},
        {"CCDLeft", "1", KVMCF_TYPE_INT32}, {"CCDRight", "4", KVMCF_TYPE_INT32}, {"CCDTop", "2", KVMCF_TYPE_INT32},
        {"CCDBottom", "1", KVMCF_TYPE_INT32}, {"Sensitivity", "63.5", KVMCF_TYPE_FLOAT},
        {"DetectionWavelength", "64.5", KVMCF_TYPE_FLOAT}, {"CountConvertMode", "62", KVMCF_TYPE_INT32},
        {"IsCountConvert", "61", KVMCF_TYPE_UINT32}, {"XAxisType", "Wavelength", KVMCF_TYPE_STRING},
        {"XAxisUnit", " nm", KVMCF_TYPE_STRING}, {"YAxisType", "Counts", KVMCF_TYPE_STRING},
        {"YAxisUnit", "", KVMCF_TYPE_STRING}, {"ZAxisType", "Pixel number", KVMCF_TYPE_STRING},
        {"ZAxisUnit", " ", KVMCF_TYPE_STRING}, {"UserText", "seventy-eight", KVMCF_TYPE_STRING},
        {"IsPhotonCountingEnabled", "67", KVMCF_TYPE_UINT32}, {"Threshold1", "69.5", KVMCF_TYPE_FLOAT},
        {"Threshold2", "70.5", KVMCF_TYPE_FLOAT}, {"Threshold3", "71.5", KVMCF_TYPE_FLOAT},
        {"Threshold4", "72.5", KVMCF_TYPE_FLOAT}, {"NumberThresholds", "68", KVMCF_TYPE_INT32},
        {"AveragingFilterMode", "73", KVMCF_TYPE_INT32}, {"AveragingFactor", "74", KVMCF_TYPE_INT32},
        {"FrameCount", "75", KVMCF_TYPE_INT32}, {"NoiseFilter", "65", KVMCF_TYPE_UINT32},
        {"Threshold", "66.5", KVMCF_TYPE_FLOAT},
        // Intensifier outputs: width is the pair's element 0, delay element 1.
        {"OutputAEnabled", "1", KVMCF_TYPE_INT32}, {"OutputAWidth", "12", KVMCF_TYPE_UINT64},
        {"OutputADelay", "11", KVMCF_TYPE_UINT64}, {"OutputAPolarity", "Positive", KVMCF_TYPE_STRING},
        {"OutputBEnabled", "0", KVMCF_TYPE_INT32}, {"OutputBWidth", "14", KVMCF_TYPE_UINT64},
        {"OutputBDelay", "13", KVMCF_TYPE_UINT64}, {"OutputBPolarity", "Negative", KVMCF_TYPE_STRING},
        {"OutputCEnabled", "1", KVMCF_TYPE_INT32}, {"OutputCWidth", "16", KVMCF_TYPE_UINT64},
        {"OutputCDelay", "15", KVMCF_TYPE_UINT64}, {"OutputCPolarity", "Negative", KVMCF_TYPE_STRING},
        {"GateMode", "Direct Gate", KVMCF_TYPE_STRING}, {"GateWidth", "6", KVMCF_TYPE_UINT64},
        {"GateDelay", "5", KVMCF_TYPE_UINT64}, {"GateDelayStep", "0.5", KVMCF_TYPE_DOUBLE},
        {"GateWidthStep", "0.125", KVMCF_TYPE_DOUBLE},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(Value(row.name), row.value) << row.name;
        EXPECT_EQ(Type(row.name), row.type) << row.name;
    }
}

TEST_F(WholeFile, IndexedNamesBuffersAndUnknownNames) {
    unsigned int code = 0;
    // Indexes out of range answer 22102 with the value still formatted.
    EXPECT_EQ(Value("TimeStamp12", &code), "0");
    EXPECT_EQ(code, KVMCF_P2INVALID);
    EXPECT_EQ(Value("Metadata2", &code), "0");
    EXPECT_EQ(code, KVMCF_P2INVALID);
    EXPECT_EQ(Value("HighPrecisionTimeStamp7", &code), "0.0000000");
    EXPECT_EQ(code, KVMCF_P2INVALID);
    // The keyword must start the name.
    Value("xTimeStamp1", &code);
    EXPECT_EQ(code, KVMCF_P2INVALID);
    for (const char* bad : {"SubImageTop0", "SubImageTop2", "SubImageWidth1", "NoSuchName", "head", ""}) {
        Value(bad, &code);
        EXPECT_EQ(code, KVMCF_P2INVALID) << bad;
    }
    KVMCF_PropertyType type = KVMCF_TYPE_STRING;
    EXPECT_EQ(KVMCF_GetPropertyType(KVMCF_SIGNAL, "NoSuchName", &type), KVMCF_P2INVALID);
    EXPECT_EQ(KVMCF_GetPropertyType(KVMCF_SIGNAL, "SubImageLeft", &type), KVMCF_SUCCESS);
    EXPECT_EQ(type, KVMCF_TYPE_INT32);
    EXPECT_EQ(KVMCF_GetPropertyType(KVMCF_SIGNAL, "XClockFrequency", &type), KVMCF_SUCCESS);
    EXPECT_EQ(type, KVMCF_TYPE_FLOAT);

    // Bounded output: the last byte is cleared first, truncation is silent.
    EXPECT_EQ(Value("HeadModel", &code, 1), "");
    EXPECT_EQ(code, KVMCF_SUCCESS);
    EXPECT_EQ(Value("HeadModel", &code, 5), "Test");
    EXPECT_EQ(code, KVMCF_SUCCESS);
    EXPECT_EQ(Value("OutputAWidth", &code, 2), "1");
    // The user text is fetched with a capacity of size - 1, terminator included.
    EXPECT_EQ(Value("UserText", &code, 4), "se");
    // Seconds ("0.0100000", 9 characters) are printed with a bound of size - 1, terminator
    // included, so a buffer of size n gets at most n - 2 characters.
    const struct {
        unsigned int size;
        const char* text;
    } seconds[] = {{1, ""}, {2, ""}, {4, "0."}, {10, "0.010000"}, {11, "0.0100000"}};
    for (const auto& s : seconds) {
        EXPECT_EQ(Value("HighPrecisionTimeStamp1", &code, s.size), s.text) << s.size;
        EXPECT_EQ(code, KVMCF_SUCCESS);
    }
    char kept[4] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(KVMCF_GetPropertyValue(KVMCF_SIGNAL, "Nope", kept, 4), KVMCF_P2INVALID);
    EXPECT_STREQ(kept, "abc");
    EXPECT_EQ(KVMCF_GetPropertyValue(KVMCF_REFERENCE, "Type", kept, 4), KVMCF_NOT_PRESENT);
}

// A host program's global locale with a decimal comma must not change how records read.
TEST_F(WholeFile, HostLocaleDoesNotChangeReading) {
    struct DecimalComma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
    };
    KVMCF_CloseFile();
    const std::locale previous = std::locale::global(std::locale(std::locale::classic(), new DecimalComma));
    const unsigned int opened = KVMCF_ReadFromFile(file_->CPath());
    std::locale::global(previous);
    ASSERT_EQ(opened, KVMCF_SUCCESS);
    EXPECT_EQ(Value("Temperature"), "-5.5");
    EXPECT_EQ(Value("GateDelayStep"), "0.5");
}

TEST_F(WholeFile, IntensifiedHeadsReportTheIntensifierRecord) {
    KVMCF_CloseFile();
    TempFile gelta(kMagic + "1\n" + Image("Gelta head 7") + kPixels +
                   "0\n0\n0\n0\n");
    ASSERT_EQ(KVMCF_ReadFromFile(gelta.CPath()), KVMCF_SUCCESS);
    EXPECT_EQ(Value("IOC"), "1");
    EXPECT_EQ(Value("Frequency"), "1.42857e+11");  // 1e12 / 7 ps in float
    EXPECT_EQ(Value("NumberPulses"), "8");
    EXPECT_EQ(Value("InsertionDelay"), "4");
    EXPECT_EQ(Value("MCP"), "1");
    EXPECT_EQ(Value("Gain"), "3");
}

TEST_F(WholeFile, PixelCalibrationAndVersions) {
    double value = 0;
    EXPECT_EQ(KVMCF_GetPixelCalibration(KVMCF_SIGNAL, KVMCF_AXIS_X, 3, &value), KVMCF_SUCCESS);
    EXPECT_DOUBLE_EQ(value, 500.375);
    EXPECT_EQ(KVMCF_GetPixelCalibration(KVMCF_SIGNAL, KVMCF_AXIS_Z, 2, &value), KVMCF_SUCCESS);
    EXPECT_DOUBLE_EQ(value, 2.0);
    // Y is bounded by the columns: 3 is no row, but it is a column.
    EXPECT_EQ(KVMCF_GetPixelCalibration(KVMCF_SIGNAL, KVMCF_AXIS_Y, 3, &value), KVMCF_SUCCESS);
    EXPECT_DOUBLE_EQ(value, 3.0);
    EXPECT_EQ(KVMCF_GetPixelCalibration(KVMCF_SIGNAL, KVMCF_AXIS_Y, 0, &value), KVMCF_P3INVALID);
    EXPECT_EQ(KVMCF_GetPixelCalibration(KVMCF_SIGNAL, KVMCF_AXIS_X, 5, &value), KVMCF_P3INVALID);
    EXPECT_EQ(KVMCF_GetPixelCalibration(KVMCF_SIGNAL, KVMCF_AXIS_Z, 3, &value), KVMCF_P3INVALID);
    EXPECT_EQ(KVMCF_GetPixelCalibration(KVMCF_SIGNAL, static_cast<KVMCF_CalibrationAxis>(0x40000003), 1, &value),
              KVMCF_P2INVALID);
    EXPECT_EQ(KVMCF_GetPixelCalibration(KVMCF_BACKGROUND, KVMCF_AXIS_X, 1, &value), KVMCF_NOT_PRESENT);

    // Only a background source: it answers for the versions.
    KVMCF_CloseFile();
    TempFile background(kMagic + "0\n0\n1\n" + Image() + kPixels + "0\n0\n");
    ASSERT_EQ(KVMCF_ReadFromFile(background.CPath()), KVMCF_SUCCESS);
    const struct {
        KVMCF_StructureElement element;
        unsigned int high, low;
    } versions[] = {{KVMCF_STRUCTURE_FILE, 1, 2},
                    {KVMCF_STRUCTURE_HEADER, 1, 31},
                    {KVMCF_STRUCTURE_CALIBRATION, 1, 4},
                    {KVMCF_STRUCTURE_IMAGE, 1, 5}};
    for (const auto& v : versions) {
        unsigned int high = 0, low = 0;
        EXPECT_EQ(KVMCF_GetStructureVersion(v.element, &high, &low), KVMCF_SUCCESS);
        EXPECT_EQ(high, v.high);
        EXPECT_EQ(low, v.low);
    }
    EXPECT_EQ(KVMCF_GetPixelCalibration(KVMCF_BACKGROUND, KVMCF_AXIS_X, 4, &value), KVMCF_SUCCESS);
    EXPECT_DOUBLE_EQ(value, 500.5);
    EXPECT_EQ(KVMCF_GetPixelCalibration(KVMCF_SIGNAL, KVMCF_AXIS_X, 4, &value), KVMCF_NOT_PRESENT);
}

}  // namespace
