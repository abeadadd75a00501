#include "image/KavriImageData.h"

#include <algorithm>
#include <iomanip>
#include <new>

#include "api/FileLayout.h"
#include "metadata/mcfdataxml.h"
#include "records/RecordStream.h"
#include "records/StreamBounds.h"
#include "util/spoolhdl_stub.h"

namespace {

const unsigned int kVersionWritten = 65541;  // 1.5
const unsigned int kPixelBytes = FileLayout::kPixelBytes;

// A sub-image line is its record (version and six ints) and its offset.
const unsigned long long kSubImageNumbers = 8;

// Whether the rest of the stream can hold the text the counts claim: the sub-image
// lines, one number per time stamp and the final newline.
bool CountsFitStream(std::istream& is, unsigned long long subImages, unsigned long long frames) {
    return StreamBounds::HoldsNumbers(is, subImages * kSubImageNumbers + frames, 1);
}

void WriteZeros(std::ostream& os, unsigned long long bytes) {
    static const char zeros[4096] = {};
    while (bytes > 0 && os) {
        const unsigned long long step = std::min<unsigned long long>(bytes, sizeof zeros);
        os.write(zeros, static_cast<std::streamsize>(step));
        bytes -= step;
    }
}

}  // namespace

TKavriImageData::TKavriImageData() { SetDefaults(); }

TKavriImageData::~TKavriImageData() {
    DeleteDataArray();
    delete spoolHandler;
}

void TKavriImageData::SetDefaults() {
    padFlag = false;
    dataFormat = 0;
    portReadoutMode = -1;
    exposureWindowHeight = 0;
    lineScanSpeed = 0.0f;
    alternatingReadoutDirection = 0;
    scanSpeedControl = 0;
    readoutDirection = -1;
    fastKineticsStorageMode = 0;
    fastKineticsTimeScanMode = -1;
    pivEnable = 0;
    extendedDynamicRange = 0;
    padTarget = 0;
    versionHigh = 1;
    versionLow = 5;
    metaDataFlag = 0;
    tickInterval = 10.0;
}

void TKavriImageData::SetSpoolHandler(ISpoolHandler* handler) {
    if (handler == spoolHandler) return;
    delete spoolHandler;
    spoolHandler = handler;
}

unsigned int TKavriImageData::GetSubImageOffset(unsigned int index0) const {
    return index0 < subImageOffsets.size() ? subImageOffsets[index0] : 0;
}

unsigned int TKavriImageData::GetTimeStamp(unsigned int index0) const {
    return index0 < timeStamps.size() ? timeStamps[index0] : 0;
}

void TKavriImageData::SetTimeStamp(unsigned int index0, unsigned int value) {
    if (index0 < timeStamps.size()) timeStamps[index0] = value;
}

unsigned long long TKavriImageData::GetMetaDataWord(unsigned int index0) const {
    return index0 < metaData.size() ? metaData[index0] : 0;
}

void TKavriImageData::SetMetaDataWord(unsigned int index0, unsigned long long value) {
    if (index0 < metaData.size()) metaData[index0] = value;
}

bool TKavriImageData::GetDataFormatBytesPerPixel(unsigned int& bytes) const {
    bytes = 0;
    if (dataFormat > 1) return true;
    bytes = kPixelBytes;
    return false;
}

// ---------------------------------------------------------------------------
// Frame store

int TKavriImageData::CreateDataArray(DataStore::ePixelDataType type, unsigned int count, unsigned int pixels,
                                     bool zero) {
    DeleteDataArray();
    std::vector<Frame*> built;
    built.reserve(count);
    try {
        for (unsigned int i = 0; i < count; ++i) built.push_back(new Frame(type, pixels, zero));
    } catch (...) {
        for (Frame* frame : built) delete frame;
        throw;
    }
    frames.swap(built);
    return 0;
}

void TKavriImageData::DeleteDataArray() {
    ClearReadFrameCache();
    for (Frame* frame : frames) delete frame;
    frames.clear();
}

Frame* TKavriImageData::StoredFrame(unsigned int n) const {
    return n >= 1 && n <= frames.size() ? frames[n - 1] : nullptr;
}

Frame* TKavriImageData::GetFrame(unsigned int n) const { return StoredFrame(n); }

float* TKavriImageData::ObtainWriteImagePtr(unsigned int n) {
    if (n == 0 || n > numberImages) return nullptr;
    if (UseSpoolHandler()) return spoolHandler->ObtainWriteImagePtr(n - 1);
    Frame* frame = StoredFrame(n);
    return frame ? frame->GetWriteBuffer() : nullptr;
}

float* TKavriImageData::ObtainReadImagePtr(unsigned int n) {
    if (n == 0 || n > numberImages) return nullptr;
    if (UseSpoolHandler()) return spoolHandler->ObtainReadImagePtr(n - 1);
    Frame* frame = StoredFrame(n);
    if (!frame) return nullptr;
    SetLastAllocatedReadFrameCache(frame);
    return frame->GetReadBuffer();
}

bool TKavriImageData::SubImageStart(unsigned int sub, unsigned int n, unsigned int& offset) const {
    if (n == 0 || n > numberImages || sub == 0 || sub > numberSubImages) return false;
    if (sub > subImageOffsets.size()) return false;
    offset = subImageOffsets[sub - 1];
    // Offsets come from the file unchecked; one past the frame would point outside it.
    return offset < frameLength;
}

float* TKavriImageData::ObtainReadSubImagePtr(unsigned int sub, unsigned int n) {
    unsigned int offset = 0;
    if (!SubImageStart(sub, n, offset)) return nullptr;
    float* base = UseSpoolHandler() ? spoolHandler->ObtainReadImagePtr(n - 1) : ObtainReadImagePtr(n);
    return base ? base + offset : nullptr;
}

float* TKavriImageData::ObtainWriteSubImagePtr(unsigned int sub, unsigned int n) {
    unsigned int offset = 0;
    if (!SubImageStart(sub, n, offset)) return nullptr;
    float* base = ObtainWriteImagePtr(n);
    return base ? base + offset : nullptr;
}

void TKavriImageData::ReleaseImagePtr(unsigned int n) {
    if (n == 0) return;
    if (UseSpoolHandler()) {
        spoolHandler->ReleaseImagePtr(n - 1);
        return;
    }
    if (Frame* frame = StoredFrame(n)) frame->ReleaseReadBuffer();
}

void TKavriImageData::SetLastAllocatedReadFrameCache(Frame* frame) {
    const auto found = std::find(readCache.begin(), readCache.end(), frame);
    if (found != readCache.end()) {
        // Already holds its reference: only its place changes.
        readCache.erase(found);
        readCache.push_back(frame);
        return;
    }
    if (readCache.size() >= 2) {
        readCache.front()->ReleaseReadBuffer();
        readCache.pop_front();
    }
    frame->GetReadBuffer();
    readCache.push_back(frame);
}

void TKavriImageData::ClearReadFrameCache() {
    while (!readCache.empty()) {
        readCache.front()->ReleaseReadBuffer();
        readCache.pop_front();
    }
}

// ---------------------------------------------------------------------------
// Record

// A record whose counts the stream cannot hold keeps none of them.
std::istream& Refused(std::istream& is, TKavriImageData& data) {
    data.numberSubImages = 0;
    data.numberImages = 0;
    data.subImages.clear();
    data.subImageOffsets.clear();
    data.timeStamps.clear();
    data.metaData.clear();
    return RecordStream::Refuse(is);
}

std::istream& operator>>(std::istream& is, TKavriImageData& data) {
    namespace rs = RecordStream;
    rs::ReadVersionWord(is, data.versionHigh, data.versionLow);

    rs::Field(is, "detector rectangle");
    is >> data.detectorRect;
    rs::Field(is, "number of images");
    rs::Read(is, data.numberImages);
    rs::Field(is, "number of sub-images");
    rs::Read(is, data.numberSubImages);
    rs::Field(is, "total length");
    rs::Read(is, data.totalLength);  // kept as stored, never checked
    rs::Field(is, "frame length");
    rs::Read(is, data.frameLength);

    data.DeleteDataArray();
    // Counts the rest of the stream cannot hold are refused before anything is sized by them.
    rs::Field(is, TKavriImageData::kCountsField);
    if (!CountsFitStream(is, data.numberSubImages, data.numberImages)) return Refused(is, data);
    try {
        data.subImages.assign(data.numberSubImages, TSubImage());
        data.subImageOffsets.assign(data.numberSubImages, 0);
        data.CreateTimeStamps();
        data.CreateMetaData();
    } catch (const std::bad_alloc&) {
        rs::Refuse(is);
        return is;
    }

    for (unsigned int k = 0; k < data.numberSubImages; ++k) {
        rs::Field(is, "sub-image", k);
        is >> data.subImages[k];
        rs::Field(is, "offset of sub-image", k);
        rs::Read(is, data.subImageOffsets[k]);  // taken as stored, not recomputed
    }

    // Versions before 1.3 stored time stamps a thousand times coarser.
    const bool coarseTimeStamps = data.versionHigh == 1 && data.versionLow < 3;
    rs::ReadNamedArray(is, "time stamp", data.timeStamps.data(), data.numberImages);
    if (coarseTimeStamps)
        for (unsigned int& stamp : data.timeStamps) stamp *= 1000;

    // Version 1.4 always has metadata words and no flag; later 1.x say so in a flag.
    if (data.versionHigh == 1 && data.versionLow > 4) {
        rs::Field(is, "metadata flag");
        rs::Read(is, data.metaDataFlag);
    } else if (data.versionHigh == 1 && data.versionLow == 4) {
        data.metaDataFlag = 1;
    }
    if (data.metaDataFlag == 1) rs::ReadNamedArray(is, "metadata word", data.metaData.data(), data.numberImages);

    rs::Field(is, "newline before the pixel block");
    rs::SkipSeparator(is);  // the newline ending the last text line
    data.dataStartOffset = static_cast<long long>(is.tellg());

    // The pixel block: little-endian floats, the host's own order. It must be all there
    // before frames are made for it or it is passed over.
    unsigned int bytesPerPixel = 0;
    if (data.spooledDAT || data.GetDataFormatBytesPerPixel(bytesPerPixel)) return is;
    const unsigned long long frameBytes = static_cast<unsigned long long>(data.frameLength) * bytesPerPixel;
    if (!rs::HoldsBlock(is, TKavriImageData::kPixelBlockField, data.numberImages, frameBytes))
        return Refused(is, data);
    if (data.spoolMode || data.headerOnly) return rs::SkipBlock(is, data.numberImages, frameBytes);
    try {
        data.CreateDataArray(DataStore::Float, data.numberImages, data.frameLength, false);
    } catch (const std::bad_alloc&) {
        return rs::Refuse(is);
    }
    for (unsigned int i = 1; i <= data.numberImages && is.good(); ++i) {
        float* pixels = data.ObtainWriteImagePtr(i);
        if (pixels) rs::ReadBytes(is, reinterpret_cast<char*>(pixels), frameBytes);
        data.ReleaseImagePtr(i);
    }
    return is;
}

std::ostream& operator<<(std::ostream& os, TKavriImageData& data) {
    data.versionHigh = RecordStream::Major(kVersionWritten);
    data.versionLow = RecordStream::Minor(kVersionWritten);
    os << kVersionWritten << ' ';
    os << data.detectorRect << ' ';
    os << data.numberImages << ' ' << data.numberSubImages << ' ' << data.totalLength << ' ' << data.frameLength
       << '\n';
    for (unsigned int k = 0; k < data.numberSubImages; ++k) {
        const TSubImage sub = k < data.subImages.size() ? data.subImages[k] : TSubImage();
        os << sub << ' ' << data.GetSubImageOffset(k) << '\n';
    }

    const unsigned long long frames = data.numberImages;
    if (data.padFlag && frames > 0) {
        const long long here = static_cast<long long>(os.tellp());
        if (here >= 0) {
            // Each time stamp line is 11 bytes, each metadata line 21, the flag line 2.
            unsigned long long predicted = static_cast<unsigned long long>(here) + frames * 11 + 2;
            if (data.metaDataFlag == 1) predicted += frames * 21;
            if (data.padTarget > predicted)
                RecordStream::PadFile(os, static_cast<unsigned int>(data.padTarget - predicted));
        }
    }

    for (unsigned int i = 0; i < data.numberImages; ++i) os << std::setw(10) << data.GetTimeStamp(i) << '\n';
    os << data.metaDataFlag << '\n';
    if (data.metaDataFlag == 1)
        for (unsigned int i = 0; i < data.numberImages; ++i) os << std::setw(20) << data.GetMetaDataWord(i) << '\n';

    if (data.headerOnly) return os;
    const unsigned long long frameBytes = static_cast<unsigned long long>(data.frameLength) * kPixelBytes;
    for (unsigned int i = 1; i <= data.numberImages; ++i) {
        const float* pixels = data.ObtainReadImagePtr(i);
        if (pixels) {
            os.write(reinterpret_cast<const char*>(pixels), static_cast<std::streamsize>(frameBytes));
            data.ReleaseImagePtr(i);
        } else {
            WriteZeros(os, frameBytes);  // a frame not held keeps the block's layout
        }
    }
    return os;
}

// ---------------------------------------------------------------------------
// XML extension section

bool TKavriImageData::ReadXMLDataStructure(TMcfDataXML& xml) {
    if (!xml.SetFirstChildNode("TKavriImageData")) return false;
    dataFormat = static_cast<unsigned int>(xml.GetIntData("ImageFormat", 0));
    portReadoutMode = xml.GetIntData("ReadoutPort", 0);
    exposureWindowHeight = xml.GetIntData("ExposureWindowHeight", 0);
    lineScanSpeed = xml.GetFloatData("LineScanSpeed", 0.0f);
    alternatingReadoutDirection = xml.GetIntData("AlternatingReadoutDirection", 0);
    scanSpeedControl = xml.GetIntData("ScanSpeedControl", 0);
    readoutDirection = xml.GetIntData("ReadoutDirection", 0);
    fastKineticsStorageMode = xml.GetIntData("FastKineticsStorageMode", 0);
    fastKineticsTimeScanMode = xml.GetIntData("FastKineticsTimeScanMode", 0);
    tickInterval = xml.GetDoubleData("TickInterval", 10.0);
    pivEnable = xml.GetIntData("PIVMode", 0);
    extendedDynamicRange = xml.GetIntData("ExtendedDynamicRange", 0);
    xml.PopNode();
    return true;
}

bool TKavriImageData::BuildXMLDataStructure(TMcfDataXML& xml) {
    xml.AddChildNode("TKavriImageData");
    xml.SetData("ImageFormat", static_cast<int>(dataFormat));
    xml.SetData("ReadoutPort", portReadoutMode);
    xml.SetData("ExposureWindowHeight", exposureWindowHeight);
    xml.SetData("LineScanSpeed", lineScanSpeed);
    xml.SetData("AlternatingReadoutDirection", alternatingReadoutDirection);
    xml.SetData("ScanSpeedControl", scanSpeedControl);
    xml.SetData("ReadoutDirection", readoutDirection);
    xml.SetData("FastKineticsStorageMode", fastKineticsStorageMode);
    xml.SetData("FastKineticsTimeScanMode", fastKineticsTimeScanMode);
    xml.SetData("TickInterval", tickInterval);
    xml.SetData("PIVMode", pivEnable);
    xml.SetData("ExtendedDynamicRange", extendedDynamicRange);
    xml.PopNode();
    return true;
}
