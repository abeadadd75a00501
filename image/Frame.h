// One frame of pixels. A typed frame hands out a float view: a reference-counted
// copy for reading, and for writing it turns into a float frame for good.
#ifndef KVMCF_IMAGE_FRAME_H
#define KVMCF_IMAGE_FRAME_H

#include "image/DataStore.h"

class Frame {
public:
    Frame(DataStore::ePixelDataType type, unsigned int pixels, bool zero);
    Frame(const Frame& other);
    Frame& operator=(const Frame& other);
    virtual ~Frame();

    // Null when the frame has no store (an unknown pixel type).
    float* GetWriteBuffer();
    float* GetReadBuffer();
    void ReleaseReadBuffer();

    DataStore* GetDataStore() const { return primary; }
    DataStore* GetFloatCopy() const { return floatCopy; }
    unsigned int GetReadCount() const { return readCount; }

private:
    DataStore* primary = nullptr;
    DataStore* floatCopy = nullptr;
    unsigned int readCount = 0;
};

#endif
