// Image data record: detector area, sub-image layout, frame count, per-frame time
// stamps and metadata words, and the frames of 32-bit float pixels that follow it.
// Frame and sub-image numbers are 1-based here; the plain accessors taking index0
// count from 0.
#ifndef KVMCF_IMAGE_KAVRIIMAGEDATA_H
#define KVMCF_IMAGE_KAVRIIMAGEDATA_H

#include <cstdint>
#include <deque>
#include <istream>
#include <ostream>
#include <vector>

#include "image/DataStore.h"
#include "image/Frame.h"
#include "image/LongRect.h"
#include "image/SubImage.h"

class ISpoolHandler;
class TMcfDataXML;

class TKavriImageData {
public:
    TKavriImageData();
    virtual ~TKavriImageData();
    TKavriImageData(const TKavriImageData&) = delete;
    TKavriImageData& operator=(const TKavriImageData&) = delete;

    // Must be set before the record is read.
    void SetHeaderOnly(bool value) { headerOnly = value; }
    bool GetHeaderOnly() const { return headerOnly; }
    void SetSpooledDAT(bool value) { spooledDAT = value; }
    bool GetSpooledDAT() const { return spooledDAT; }
    void SetSpoolMode(bool value) { spoolMode = value; }
    bool GetSpoolMode() const { return spoolMode; }
    // Takes ownership; frames are then served by the handler in spool mode.
    void SetSpoolHandler(ISpoolHandler* handler);
    ISpoolHandler* GetSpoolHandler() const { return spoolHandler; }

    LONG_RECT GetDetectorRect() const { return detectorRect; }
    void SetDetectorRect(const LONG_RECT& rect) { detectorRect = rect; }
    unsigned int GetNumberImages() const { return numberImages; }
    unsigned int GetNumberSubImages() const { return numberSubImages; }
    // numberSubImages entries, 0-based; null when there are none.
    const TSubImage* GetSubImages() const { return subImages.empty() ? nullptr : subImages.data(); }
    // Out-of-range indexes give 0.
    unsigned int GetSubImageOffset(unsigned int index0) const;
    unsigned int GetTotalLength() const { return totalLength; }
    unsigned int GetTimeStamp(unsigned int index0) const;
    void SetTimeStamp(unsigned int index0, unsigned int value);
    unsigned long long GetMetaDataWord(unsigned int index0) const;
    void SetMetaDataWord(unsigned int index0, unsigned long long value);
    int GetMetaDataFlag() const { return metaDataFlag; }
    void SetMetaDataFlag(int value) { metaDataFlag = value; }
    void CreateTimeStamps() { timeStamps.assign(numberImages, 0); }
    void DeleteTimeStamps() { timeStamps.clear(); }
    void CreateMetaData() { metaData.assign(numberImages, 0); }
    void DeleteMetaData() { metaData.clear(); }

    virtual long long GetDataStartOffset() const { return dataStartOffset; }
    unsigned int GetKavriImageVersionHigh() const { return versionHigh; }
    unsigned int GetKavriImageVersionLow() const { return versionLow; }

    // Writer settings: pad so the pixel block starts at padTarget.
    void SetPadFlag(bool value) { padFlag = value; }
    bool GetPadFlag() const { return padFlag; }
    void SetPadTarget(unsigned int value) { padTarget = value; }
    unsigned int GetPadTarget() const { return padTarget; }

    // Carried by the extension section, not by this record.
    void SetKavriImageDataFormat(unsigned int value) { dataFormat = value; }
    unsigned int GetKavriImageDataFormat() const { return dataFormat; }
    void SetKavriImagePortReadoutMode(int value) { portReadoutMode = value; }
    int GetKavriImagePortReadoutMode() const { return portReadoutMode; }
    void SetKavriImageExposureWindowHeight(int value) { exposureWindowHeight = value; }
    int GetKavriImageExposureWindowHeight() const { return exposureWindowHeight; }
    void SetKavriImageLineScanSpeed(float value) { lineScanSpeed = value; }
    float GetKavriImageLineScanSpeed() const { return lineScanSpeed; }
    void SetKavriImageAlternatingReadoutDirection(int value) { alternatingReadoutDirection = value; }
    int GetKavriImageAlternatingReadoutDirection() const { return alternatingReadoutDirection; }
    void SetKavriImageScanSpeedControl(int value) { scanSpeedControl = value; }
    int GetKavriImageScanSpeedControl() const { return scanSpeedControl; }
    void SetKavriImageReadoutDirection(int value) { readoutDirection = value; }
    int GetKavriImageReadoutDirection() const { return readoutDirection; }
    void SetFastKineticsStorageMode(int value) { fastKineticsStorageMode = value; }
    int GetFastKineticsStorageMode() const { return fastKineticsStorageMode; }
    void SetFastKineticsTimeScanMode(int value) { fastKineticsTimeScanMode = value; }
    int GetFastKineticsTimeScanMode() const { return fastKineticsTimeScanMode; }
    void SetPIVEnable(int value) { pivEnable = value; }
    int GetPIVEnable() const { return pivEnable; }
    void SetExtendedDynamicRange(int value) { extendedDynamicRange = value; }
    int GetExtendedDynamicRange() const { return extendedDynamicRange; }
    double GetTickInterval() const { return tickInterval; }
    void SetTickInterval(double value) { tickInterval = value; }

    // Frame store. Every successful read pointer is paired with one ReleaseImagePtr.
    // Frame numbers outside the stored frames give null (and releases do nothing).
    int CreateDataArray(DataStore::ePixelDataType type, unsigned int frames, unsigned int pixels, bool zero);
    void DeleteDataArray();
    float* ObtainWriteImagePtr(unsigned int n);
    float* ObtainReadImagePtr(unsigned int n);
    float* ObtainReadSubImagePtr(unsigned int sub, unsigned int n);
    float* ObtainWriteSubImagePtr(unsigned int sub, unsigned int n);
    void ReleaseImagePtr(unsigned int n);
    Frame* GetFrame(unsigned int n) const;
    unsigned int GetNumberStoredFrames() const { return static_cast<unsigned int>(frames.size()); }
    // Keeps the float views of the two most recently read frames alive.
    void SetLastAllocatedReadFrameCache(Frame* frame);
    void ClearReadFrameCache();
    const std::deque<Frame*>& GetReadCache() const { return readCache; }

    // The settings' defaults; the layout, counts and pixels are left alone.
    void SetDefaults();
    // Bytes per stored pixel: 4 for data formats 0 and 1. True (and 0 bytes) for an
    // unsupported format, whose pixel block is then neither read nor skipped.
    bool GetDataFormatBytesPerPixel(unsigned int& bytes) const;

    // The readout settings' element of the XML extension section; reading returns
    // false and changes nothing when the element is missing.
    bool ReadXMLDataStructure(TMcfDataXML& xml);
    bool BuildXMLDataStructure(TMcfDataXML& xml);

    // The field a reading trail names when the pixel block is not all there; its
    // element is the first frame not whole.
    static constexpr char kPixelBlockField[] = "pixel block";
    // The field named when the counts claim more than the rest of the stream holds.
    static constexpr char kCountsField[] = "number of images and sub-images";

    friend std::istream& Refused(std::istream& is, TKavriImageData& data);
    friend std::istream& operator>>(std::istream& is, TKavriImageData& data);
    friend std::ostream& operator<<(std::ostream& os, TKavriImageData& data);

protected:
    // Null unless frame n (1-based) is stored.
    Frame* StoredFrame(unsigned int n) const;
    bool UseSpoolHandler() const { return spoolMode && spoolHandler != nullptr; }
    // Offset of sub-image sub (1-based) when it lies inside a frame, else false.
    bool SubImageStart(unsigned int sub, unsigned int n, unsigned int& offset) const;

    std::vector<TSubImage> subImages;
    LONG_RECT detectorRect;
    unsigned int numberSubImages = 0;
    unsigned int numberImages = 0;
    std::vector<unsigned int> subImageOffsets;
    std::vector<unsigned int> timeStamps;
    std::vector<unsigned long long> metaData;
    unsigned int frameLength = 0;
    unsigned int totalLength = 0;
    bool spoolMode = false;
    bool spooledDAT = false;
    ISpoolHandler* spoolHandler = nullptr;
    bool padFlag;
    unsigned int dataFormat;
    int portReadoutMode;
    int exposureWindowHeight;
    float lineScanSpeed;
    int alternatingReadoutDirection;
    int scanSpeedControl;
    int readoutDirection;
    int fastKineticsStorageMode;
    int fastKineticsTimeScanMode;
    int pivEnable;
    int extendedDynamicRange;
    unsigned int padTarget;
    unsigned int versionHigh;
    unsigned int versionLow;
    std::vector<Frame*> frames;
    std::deque<Frame*> readCache;
    long long dataStartOffset = 0;
    bool headerOnly = false;
    int metaDataFlag;
    double tickInterval;
};

#endif
