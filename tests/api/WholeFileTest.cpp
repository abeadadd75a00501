// A whole file typed by hand from the record tables, read through the exported functions:
// data positions, frames, named properties, pixel calibration and record versions.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <ctime>
#include <locale>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "api/kvmcfio.h"
#include "support/RecordTexts.h"
#include "support/TestFiles.h"

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

// The frames' bytes in every input and mode are the frame access test's; here the
// exported answers about them and their refusals.
TEST_F(WholeFile, DataStartGeometryAndFrameRefusals) {
    long long start = 0;
    unsigned int size = 0, frames = 0, subs = 0, g[6] = {};
    // Then left, bottom, right, top, horizontal and vertical binning.
    EXPECT_EQ(std::make_tuple(KVMCF_GetDataStartBytePosition(KVMCF_SIGNAL, &start),
                              KVMCF_GetFrameSize(KVMCF_SIGNAL, &size), KVMCF_GetNumberFrames(KVMCF_SIGNAL, &frames),
                              KVMCF_GetNumberSubImages(KVMCF_SIGNAL, &subs),
                              KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 0, &g[0], &g[1], &g[2], &g[3], &g[4], &g[5])),
              std::make_tuple(KVMCF_SUCCESS, KVMCF_SUCCESS, KVMCF_SUCCESS, KVMCF_SUCCESS, KVMCF_SUCCESS));
    EXPECT_EQ(std::vector<long long>({start, size, frames, subs, g[0], g[1], g[2], g[3], g[4], g[5]}),
              (std::vector<long long>{static_cast<long long>(kPrefix.size()), 4, 2, 1, 1, 1, 2, 2, 1, 1}));
    EXPECT_EQ(KVMCF_GetSubImageInfo(KVMCF_SIGNAL, 1, &g[0], &g[1], &g[2], &g[3], &g[4], &g[5]), KVMCF_P2INVALID);

    float frame[4] = {}, all[8] = {};
    EXPECT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 1, frame, 4), KVMCF_SUCCESS);
    EXPECT_EQ(std::memcmp(frame, kPixels.data() + 16, 16), 0);
    EXPECT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 2, frame, 4), KVMCF_P2INVALID);
    EXPECT_EQ(KVMCF_GetFrame(KVMCF_SIGNAL, 0, frame, 3), KVMCF_P4INVALID);
    EXPECT_EQ(KVMCF_GetAllFrames(KVMCF_SIGNAL, all, 7), KVMCF_P3INVALID);
}

TEST_F(WholeFile, EveryPropertyHasItsValueAndType) {
    const unsigned int U = KVMCF_TYPE_UINT32, I = KVMCF_TYPE_INT32, F = KVMCF_TYPE_FLOAT, S = KVMCF_TYPE_STRING,
                       L = KVMCF_TYPE_UINT64, D = KVMCF_TYPE_DOUBLE, B = 1;  // B: a byte
    const struct {
        const char* name;
        const char* value;
        unsigned int type;
    } rows[] = {
        // One row for each way a value is formatted or derived; fields copied as they
        // stand are pinned one by one by the recorded answers.
        {"Time", "705032708", I},  // 5000000004 printed as a 32-bit int
        {"FormattedTime", "Fri Jun 11 08:53:24 2128", S}, {"FileName", "run 77.dat", S}, {"Temperature", "-5.5", F},
        {"Head", "0", B}, {"HeadModel", "Test head 76", S}, {"ReadPatternFullName", "Image", S},
        {"ModeFullName", "Unknown", S}, {"TriggerSourceFullName", "External Start", S}, {"Frequency", "39.5", F},
        {"SWVersion", "50", U},  // the EM gain, as it has always been
        {"SWVersionEx", "54.55.56.57", S}, {"NumberImages", "2", U}, {"ImageRight", "2", I},
        {"SubImageTop", "2", I}, {"SubImageRight1", "2", I},
        // Typed as a time stamp: the type query tests "TimeStamp" first.
        {"HighPrecisionTimeStamp1", "0.0100000", U},
        {"HighPrecisionTimeStamp", "17.5000000", U},  // word 0: the kinetic cycle time
        {"ClockFrequency", "100", F},  // 1e9 / 10 ns ticks, in MHz
        {"TimeStamp", "5", U}, {"Metadata1", "1000000", L}, {"CCDRight", "4", I}, {"XAxisType", "Wavelength", S},
        {"XAxisUnit", " nm", S}, {"YAxisUnit", "", S}, {"ZAxisType", "Pixel number", S}, {"ZAxisUnit", " ", S},
        {"UserText", "seventy-eight", S}, {"Threshold", "66.5", F},
        // Intensifier outputs: width is the pair's element 0, delay element 1.
        {"OutputAEnabled", "1", I}, {"OutputAWidth", "12", L}, {"OutputADelay", "11", L},
        {"OutputAPolarity", "Positive", S}, {"OutputBPolarity", "Negative", S}, {"GateMode", "Direct Gate", S},
        {"GateWidth", "6", L}, {"GateDelay", "5", L}, {"GateDelayStep", "0.5", D},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Value(row.name), row.value) << row.name;
        EXPECT_EQ(Type(row.name), row.type) << row.name;
    }
}

TEST_F(WholeFile, IndexedNamesBuffersAndUnknownNames) {
    // Indexes out of range answer 22102 with the value still formatted; the keyword
    // must start the name.
    const struct {
        const char* name;
        unsigned int size;
        const char* value;
        unsigned int code;
    } cases[] = {
        {"TimeStamp12", 256, "0", KVMCF_P2INVALID}, {"HighPrecisionTimeStamp7", 256, "0.0000000", KVMCF_P2INVALID},
        {"xTimeStamp1", 256, nullptr, KVMCF_P2INVALID}, {"SubImageTop0", 256, nullptr, KVMCF_P2INVALID},
        {"SubImageTop2", 256, nullptr, KVMCF_P2INVALID}, {"SubImageWidth1", 256, nullptr, KVMCF_P2INVALID},
        {"head", 256, nullptr, KVMCF_P2INVALID}, {"", 256, nullptr, KVMCF_P2INVALID},
        // Bounded output: the last byte is cleared first, truncation is silent.
        {"HeadModel", 1, "", KVMCF_SUCCESS}, {"HeadModel", 5, "Test", KVMCF_SUCCESS},
        {"OutputAWidth", 2, "1", KVMCF_SUCCESS},
        // The user text is fetched with a capacity of size - 1, terminator included.
        {"UserText", 4, "se", KVMCF_SUCCESS},
        // Seconds ("0.0100000") are printed with a bound of size - 1, terminator included,
        // so a buffer of size n gets at most n - 2 characters.
        {"HighPrecisionTimeStamp1", 2, "", KVMCF_SUCCESS}, {"HighPrecisionTimeStamp1", 10, "0.010000", KVMCF_SUCCESS},
        {"HighPrecisionTimeStamp1", 11, "0.0100000", KVMCF_SUCCESS},
    };
    for (const auto& c : cases) {
        unsigned int code = 0;
        const std::string value = Value(c.name, &code, c.size);
        EXPECT_EQ(code, c.code) << c.name << " " << c.size;
        if (c.value) {
            EXPECT_EQ(value, c.value) << c.name << " " << c.size;
        }
    }
    KVMCF_PropertyType type = KVMCF_TYPE_STRING;
    EXPECT_EQ(KVMCF_GetPropertyType(KVMCF_SIGNAL, "NoSuchName", &type), KVMCF_P2INVALID);
    EXPECT_EQ(Type("XClockFrequency"), KVMCF_TYPE_FLOAT);
    char kept[4] = {'a', 'b', 'c', 'd'};
    EXPECT_EQ(KVMCF_GetPropertyValue(KVMCF_SIGNAL, "Nope", kept, 4), KVMCF_P2INVALID);
    EXPECT_STREQ(kept, "abc");
}

// A host program's global locale with a decimal comma must not change how records read.
TEST_F(WholeFile, HostLocaleDoesNotChangeReading) {
    struct DecimalComma : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
    };
    const std::locale previous = std::locale::global(std::locale(std::locale::classic(), new DecimalComma));
    const unsigned int opened = KVMCF_ReadFromFile(file_->CPath());
    std::locale::global(previous);
    ASSERT_EQ(opened, KVMCF_SUCCESS);
    EXPECT_EQ(Value("Temperature"), "-5.5");
    EXPECT_EQ(Value("GateDelayStep"), "0.5");
}

TEST_F(WholeFile, IntensifiedHeadsReportTheIntensifierRecord) {
    TempFile gelta(kMagic + "1\n" + Image("Gelta head 7") + kPixels + "0\n0\n0\n0\n");
    ASSERT_EQ(KVMCF_ReadFromFile(gelta.CPath()), KVMCF_SUCCESS);
    // Frequency: 1e12 / 7 ps in float.
    for (const auto& [name, value] : {std::pair{"IOC", "1"}, {"Frequency", "1.42857e+11"}, {"NumberPulses", "8"},
                                      {"InsertionDelay", "4"}, {"MCP", "1"}, {"Gain", "3"}})
        EXPECT_EQ(Value(name), value) << name;
}

TEST_F(WholeFile, PixelCalibrationAndVersions) {
    // X: 500 + 0.125 p over columns 1..4; Y is bounded by the columns too (3 is no row
    // but a column); Z by the rows.
    const struct {
        int axis, pixel;
        unsigned int code;
        double value;
    } cases[] = {{KVMCF_AXIS_X, 3, KVMCF_SUCCESS, 500.375}, {KVMCF_AXIS_Z, 2, KVMCF_SUCCESS, 2},
                 {KVMCF_AXIS_Y, 3, KVMCF_SUCCESS, 3},       {KVMCF_AXIS_Y, 0, KVMCF_P3INVALID, 0},
                 {KVMCF_AXIS_X, 5, KVMCF_P3INVALID, 0},     {KVMCF_AXIS_Z, 3, KVMCF_P3INVALID, 0},
                 {0x40000003, 1, KVMCF_P2INVALID, 0}};
    for (const auto& c : cases) {
        double value = 0;
        const auto axis = static_cast<KVMCF_CalibrationAxis>(c.axis);
        EXPECT_EQ(KVMCF_GetPixelCalibration(KVMCF_SIGNAL, axis, c.pixel, &value), c.code) << c.axis << " " << c.pixel;
        if (c.code == KVMCF_SUCCESS) {
            EXPECT_DOUBLE_EQ(value, c.value) << c.axis << " " << c.pixel;
        }
    }

    // Only a background source: it answers for the versions.
    TempFile background(kMagic + "0\n0\n1\n" + Image() + kPixels + "0\n0\n");
    ASSERT_EQ(KVMCF_ReadFromFile(background.CPath()), KVMCF_SUCCESS);
    std::string versions;
    for (KVMCF_StructureElement e : {KVMCF_STRUCTURE_FILE, KVMCF_STRUCTURE_HEADER, KVMCF_STRUCTURE_CALIBRATION,
                                     KVMCF_STRUCTURE_IMAGE}) {
        unsigned int high = 0, low = 0;
        const unsigned int code = KVMCF_GetStructureVersion(e, &high, &low);
        versions += std::to_string(code) + " " + std::to_string(high) + "." + std::to_string(low) + " ";
    }
    EXPECT_EQ(versions, "22002 1.2 22002 1.31 22002 1.4 22002 1.5 ");
    double value = 0;
    EXPECT_EQ(KVMCF_GetPixelCalibration(KVMCF_BACKGROUND, KVMCF_AXIS_X, 4, &value), KVMCF_SUCCESS);
    EXPECT_DOUBLE_EQ(value, 500.5);
}

}  // namespace
