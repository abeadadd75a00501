// Image data record with the image-level operations.
#ifndef KVMCF_IMAGE_KAVRIIMAGE_H
#define KVMCF_IMAGE_KAVRIIMAGE_H

#include "image/KavriImageData.h"

class TKavriImage : public TKavriImageData {
public:
    TKavriImage() = default;
    // Builds a record from scratch: offsets and frame length follow from the
    // sub-images; with `allocate` the frames are created zeroed (one in spool mode).
    TKavriImage(TKavriRect detector, unsigned int subImageCount, const TSubImage* subs, unsigned int frameCount,
                bool spool, bool allocate, DataStore::ePixelDataType type);
    TKavriImage(const TKavriImage& other);
    TKavriImage& operator=(const TKavriImage&) = delete;

    unsigned int GetDataLength() const { return frameLength; }
    int GetMetaData() const { return metaDataFlag; }
    long long GetDataStartOffset() const override { return dataStartOffset; }

    // Float frames of `pixels` each, not zeroed; leaves spool mode.
    void AllocateDataMemory(unsigned int pixels, unsigned int frameCount);
    void Persist();

    // Texts for the readout settings; values outside the tables give "Unknown".
    int GetReadoutPortString(char* buffer, unsigned int size) const;
    int GetReadoutDirectionString(char* buffer, unsigned int size) const;

    static unsigned int PointOffset(TKavriPoint point, const TSubImage& sub) { return DataStore::PointOffset(point, sub); }
};

#endif
