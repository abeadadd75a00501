#include "image/KavriImage.h"

#include <algorithm>

#include "util/kavrimisc.h"
#include "util/spoolhdl_stub.h"

namespace {

const char kUnknown[] = "Unknown";

const char* const kPortReadoutModes[] = {"All Ports", "Bottom Left", "Bottom Right", "Top Left", "Top Right"};

const char* const kReadoutDirections[] = {"Up (Simultaneous)",   "Down (Simultaneous)", "In (Simultaneous)",
                                          "Out (Simultaneous)",  "Up (Sequential)",     "Down (Sequential)"};

template <std::size_t N>
const char* TableText(const char* const (&table)[N], int value) {
    return value >= 0 && static_cast<std::size_t>(value) < N ? table[value] : kUnknown;
}

void CopyBounded(char* buffer, unsigned int size, const char* text) {
    if (!buffer || size == 0) return;
    buffer[size - 1] = '\0';
    KavriUtility::TKavriMisc::strncpy(buffer, text, size - 1);
}

}  // namespace

TKavriImage::TKavriImage(TKavriRect detector, unsigned int subImageCount, const TSubImage* subs,
                         unsigned int frameCount, bool spool, bool allocate, DataStore::ePixelDataType type) {
    detectorRect.left = detector.left;
    detectorRect.top = detector.top;
    detectorRect.right = detector.right;
    detectorRect.bottom = detector.bottom;
    numberSubImages = subs ? subImageCount : 0;
    numberImages = frameCount;
    spoolMode = spool;
    if (numberSubImages) subImages.assign(subs, subs + numberSubImages);
    subImageOffsets.assign(numberSubImages, 0);
    CreateTimeStamps();
    CreateMetaData();

    unsigned int total = 0;
    for (unsigned int k = 0; k < numberSubImages; ++k) {
        subImageOffsets[k] = total;
        total += subImages[k].PixelCount();
    }
    frameLength = total;
    totalLength = frameLength * numberImages;

    if (allocate) CreateDataArray(type, spoolMode ? 1 : numberImages, frameLength, true);
    // Sub-images are kept even without frames, so their count always matches the array.
}

TKavriImage::TKavriImage(const TKavriImage& other) : TKavriImageData() {
    detectorRect = other.detectorRect;
    numberSubImages = other.numberSubImages;
    subImages = other.subImages;
    subImageOffsets = other.subImageOffsets;
    frameLength = other.frameLength;
    totalLength = other.totalLength;
    metaDataFlag = other.metaDataFlag;
    dataStartOffset = other.dataStartOffset;

    if (other.spoolMode) {
        // A spooled source holds one frame of storage: copy its first frame only.
        numberImages = 1;
        spoolMode = true;
        frames.push_back(new Frame(DataStore::Float, frameLength, false));
        float* target = frames[0]->GetWriteBuffer();
        const float* source = const_cast<TKavriImage&>(other).ObtainReadImagePtr(1);
        if (source) {
            for (unsigned int i = 0; i < frameLength; ++i) target[i] = source[i];
            const_cast<TKavriImage&>(other).ReleaseImagePtr(1);
        }
    } else {
        numberImages = other.numberImages;
        for (const Frame* frame : other.frames) frames.push_back(new Frame(*frame));
    }
    timeStamps.assign(other.timeStamps.begin(), other.timeStamps.begin() + std::min<std::size_t>(numberImages, other.timeStamps.size()));
    metaData.assign(other.metaData.begin(), other.metaData.begin() + std::min<std::size_t>(numberImages, other.metaData.size()));
}

void TKavriImage::AllocateDataMemory(unsigned int pixels, unsigned int frameCount) {
    spoolMode = false;
    if (spoolHandler) spoolHandler->Resize(pixels, frameCount);
    const bool countChanged = frameCount != numberImages;
    frameLength = pixels;
    numberImages = frameCount;
    totalLength = frameLength * numberImages;
    CreateDataArray(DataStore::Float, numberImages, frameLength, false);
    if (countChanged) {
        CreateTimeStamps();
        CreateMetaData();
    }
}

void TKavriImage::Persist() {
    if (spoolMode && spoolHandler) spoolHandler->Persist();
}

int TKavriImage::GetReadoutPortString(char* buffer, unsigned int size) const {
    CopyBounded(buffer, size, TableText(kPortReadoutModes, portReadoutMode));
    return 0;
}

int TKavriImage::GetReadoutDirectionString(char* buffer, unsigned int size) const {
    CopyBounded(buffer, size, TableText(kReadoutDirections, readoutDirection));
    return 0;
}
