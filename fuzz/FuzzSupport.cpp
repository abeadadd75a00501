#include "fuzz/FuzzSupport.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "api/kvmcfio.h"

namespace kvmcffuzz {

namespace {

const KVMCF_DataSource kSources[] = {KVMCF_SIGNAL, KVMCF_REFERENCE, KVMCF_BACKGROUND, KVMCF_LIVE, KVMCF_SOURCE};

// Larger frames are not fetched: the fuzzer's inputs never hold them, and a header-only
// open may announce them without the bytes behind.
const unsigned long long kMaxFloats = 16ull << 20;  // 64 MiB
const unsigned int kMaxIndexes = 4;

// Every name the value and type queries know, with indexed names and a few near misses.
const char* const kPropertyNames[] = {
    "Type", "Active", "Version", "Time", "FormattedTime", "FileName", "Temperature", "UnstabalizedTemperature",
    "Head", "HeadModel", "StoreType", "DataType", "SIDisplacement", "SINumberSubFrames", "PixelReadOutTime",
    "TrackHeight", "ReadPattern", "ReadPatternFullName", "ShutterDelay", "CentreRow", "RowOffset", "Operation",
    "Mode", "ModeFullName", "TriggerSource", "TriggerSourceFullName", "TriggerLevel", "ExposureTime", "Delay",
    "IntegrationCycleTime", "NumberIntegrations", "KineticCycleTime", "FlipX", "FlipY", "Clock", "AClock", "IOC",
    "Frequency", "NumberPulses", "InsertionDelay", "FrameTransferAcquisitionMode", "BaselineClamp", "PreScan",
    "EMRealGain", "BaselineOffset", "SWVersion", "SWVersionEx", "MCP", "Gain", "VerticalClockAmp",
    "VerticalShiftSpeed", "OutputAmplifier", "PreAmplifierGain", "Serial", "DetectorFormatX", "DetectorFormatZ",
    "NumberImages", "NumberSubImages", "ImageHBin", "ImageVBin", "ImageLeft", "ImageRight", "ImageTop",
    "ImageBottom", "SubImageHBin", "SubImageVBin2", "SubImageLeft1", "SubImageRight3", "SubImageTop0",
    "SubImageBottom4294967297", "SubImageWidth1", "HighPrecisionTimeStamp", "HighPrecisionTimeStamp0",
    "HighPrecisionTimeStamp1", "HighPrecisionTimeStamp-1", "ClockFrequency", "TimeStamp", "TimeStamp1",
    "TimeStamp4294967295", "XTimeStamp", "Metadata", "Metadata1", "Metadata-2", "Baseline", "CCDLeft", "CCDRight",
    "CCDTop", "CCDBottom", "Sensitivity", "DetectionWavelength", "CountConvertMode", "IsCountConvert",
    "XAxisType", "XAxisUnit", "YAxisType", "YAxisUnit", "ZAxisType", "ZAxisUnit", "UserText",
    "IsPhotonCountingEnabled", "Threshold1", "Threshold2", "Threshold3", "Threshold4", "NumberThresholds",
    "AveragingFilterMode", "AveragingFactor", "FrameCount", "NoiseFilter", "Threshold", "OutputAEnabled",
    "OutputAWidth", "OutputADelay", "OutputAPolarity", "OutputBEnabled", "OutputBWidth", "OutputBDelay",
    "OutputBPolarity", "OutputCEnabled", "OutputCWidth", "OutputCDelay", "OutputCPolarity", "GateMode",
    "GateWidth", "GateDelay", "GateDelayStep", "GateWidthStep", "", "NoSuchProperty"};

// Which results each query may give once its arguments are valid.
#define CODES(...) {KVMCF_SUCCESS, KVMCF_NOT_LOADED, KVMCF_NOT_PRESENT, __VA_ARGS__}
#define CODES0 {KVMCF_SUCCESS, KVMCF_NOT_LOADED, KVMCF_NOT_PRESENT}

// A few indexes: the first ones, the last one and the first past the end.
std::vector<unsigned int> SomeIndexes(unsigned int count) {
    std::vector<unsigned int> indexes;
    for (unsigned int i = 0; i < count && i < kMaxIndexes; ++i) indexes.push_back(i);
    if (count > kMaxIndexes) indexes.push_back(count - 1);
    indexes.push_back(count);
    return indexes;
}

void QueryFrames(KVMCF_DataSource source) {
    unsigned int frameSize = 0, frames = 0;
    const unsigned int sizeCode = KVMCF_GetFrameSize(source, &frameSize);
    Expect("GetFrameSize", sizeCode, CODES0);
    const unsigned int countCode = KVMCF_GetNumberFrames(source, &frames);
    Expect("GetNumberFrames", countCode, CODES0);
    if (sizeCode != KVMCF_SUCCESS || countCode != KVMCF_SUCCESS) return;

    if (frameSize <= kMaxFloats) {
        std::vector<float> buffer(frameSize + 1);
        for (unsigned int index : SomeIndexes(frames)) {
            const unsigned int code = KVMCF_GetFrame(source, index, buffer.data(), frameSize);
            Expect("GetFrame", code, CODES(KVMCF_FILE_ERROR, KVMCF_P2INVALID));
            if ((code == KVMCF_P2INVALID) != (index >= frames)) std::abort();
        }
        if (frameSize > 0 && frames > 0) {
            Expect("GetFrame (short buffer)", KVMCF_GetFrame(source, 0, buffer.data(), frameSize - 1),
                   {KVMCF_P4INVALID});
        }
    }

    const unsigned long long total = static_cast<unsigned long long>(frames) * frameSize;
    if (total <= kMaxFloats) {
        std::vector<float> buffer(total + 1);
        Expect("GetAllFrames", KVMCF_GetAllFrames(source, buffer.data(), static_cast<unsigned int>(total)),
               CODES(KVMCF_FILE_ERROR));
        if (total > 0)
            Expect("GetAllFrames (short buffer)",
                   KVMCF_GetAllFrames(source, buffer.data(), static_cast<unsigned int>(total - 1)),
                   {KVMCF_P3INVALID});
    }
}

void QuerySource(KVMCF_DataSource source) {
    int present = -1;
    Expect("IsDataSourcePresent", KVMCF_IsDataSourcePresent(source, &present), {KVMCF_SUCCESS, KVMCF_NOT_LOADED});

    unsigned int subImages = 0;
    std::vector<int> pixels = {INT_MIN, -1, 0, 1, 2, 1024, INT_MAX};
    if (KVMCF_GetNumberSubImages(source, &subImages) == KVMCF_SUCCESS) {
        for (unsigned int index : SomeIndexes(subImages)) {
            unsigned int l = 0, b = 0, r = 0, t = 0, h = 0, v = 0;
            const unsigned int code = KVMCF_GetSubImageInfo(source, index, &l, &b, &r, &t, &h, &v);
            Expect("GetSubImageInfo", code, CODES(KVMCF_P2INVALID));
            if ((code == KVMCF_P2INVALID) != (index >= subImages)) std::abort();
            if (code == KVMCF_SUCCESS) {
                for (unsigned int p : {l, b, r, t}) {
                    pixels.push_back(static_cast<int>(p));
                    pixels.push_back(static_cast<int>(p + 1));
                }
            }
        }
    }

    QueryFrames(source);

    long long position = 0;
    Expect("GetDataStartBytePosition", KVMCF_GetDataStartBytePosition(source, &position), CODES0);

    // Whatever fits, the text a successful query leaves is terminated inside the buffer.
    char value[256], small[6], tiny[1];
    for (const char* name : kPropertyNames) {
        for (auto buffer : {std::make_pair(value, sizeof value), std::make_pair(small, sizeof small),
                            std::make_pair(tiny, sizeof tiny)}) {
            std::memset(buffer.first, 'x', buffer.second);
            const unsigned int code = KVMCF_GetPropertyValue(source, name, buffer.first, buffer.second);
            Expect("GetPropertyValue", code, CODES(KVMCF_P2INVALID));
            if (code == KVMCF_SUCCESS && !std::memchr(buffer.first, '\0', buffer.second)) std::abort();
        }
        KVMCF_PropertyType type;
        Expect("GetPropertyType", KVMCF_GetPropertyType(source, name, &type), CODES(KVMCF_P2INVALID));
    }

    const KVMCF_CalibrationAxis axes[] = {KVMCF_AXIS_X, KVMCF_AXIS_Y, KVMCF_AXIS_Z,
                                          static_cast<KVMCF_CalibrationAxis>(0x40000003)};
    for (KVMCF_CalibrationAxis axis : axes) {
        for (int pixel : pixels) {
            double calibrated = 0;
            Expect("GetPixelCalibration", KVMCF_GetPixelCalibration(source, axis, pixel, &calibrated),
                   CODES(KVMCF_P2INVALID, KVMCF_P3INVALID));
        }
    }
}

}  // namespace

void Expect(const char* call, unsigned int code, std::initializer_list<unsigned int> allowed) {
    for (unsigned int a : allowed)
        if (code == a) return;
    std::fprintf(stderr, "%s returned %u, which it may not\n", call, code);
    std::abort();
}

void QueryEverything() {
    int loaded = -1;
    Expect("IsLoaded", KVMCF_IsLoaded(&loaded), {KVMCF_SUCCESS});
    const KVMCF_StructureElement elements[] = {KVMCF_STRUCTURE_FILE, KVMCF_STRUCTURE_HEADER,
                                               KVMCF_STRUCTURE_CALIBRATION, KVMCF_STRUCTURE_IMAGE};
    for (KVMCF_StructureElement element : elements) {
        unsigned int high = 0, low = 0;
        Expect("GetStructureVersion", KVMCF_GetStructureVersion(element, &high, &low), CODES(KVMCF_FILE_ERROR));
    }
    for (KVMCF_DataSource source : kSources) QuerySource(source);
}

void QueryFrames() {
    for (KVMCF_DataSource source : kSources) QueryFrames(source);
}

}  // namespace kvmcffuzz
