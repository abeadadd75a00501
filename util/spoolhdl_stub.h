// Spooling interface through which an image in spool mode reaches its frames, and
// the handler this library installs: a read-only library never spools, so every
// operation does nothing and frame pointers are null.
#ifndef KVMCF_UTIL_SPOOLHDL_STUB_H
#define KVMCF_UTIL_SPOOLHDL_STUB_H

#include <istream>
#include <ostream>

// Frame indexes are 0-based.
class ISpoolHandler {
public:
    virtual ~ISpoolHandler() {}

    virtual bool IsFile() = 0;
    virtual void SetFile(const char* path) = 0;
    virtual void ReleaseFile() = 0;
    virtual void SetSpoolPath(const char* path) = 0;
    virtual void SetSpoolStem(const char* stem) = 0;

    virtual float* ObtainReadImagePtr(unsigned int frame) = 0;
    virtual float* ObtainWriteImagePtr(unsigned int frame) = 0;
    virtual float* ObtainImagePtr(unsigned int frame) = 0;
    virtual void ReleaseImagePtr(unsigned int frame) = 0;

    // Called when the image is given a new frame size or frame count.
    virtual void Resize(unsigned int pixelsPerFrame, unsigned int frames) = 0;
    virtual int ClearSpace() = 0;
    virtual bool AllNewSpool(bool b) = 0;
    virtual void AllFile() = 0;
    virtual void AllFileToSpool() = 0;
    virtual void ToCache(unsigned int frame) = 0;
    virtual void MapData(unsigned int frame) = 0;
    virtual void ReadData(unsigned int frame) = 0;

    virtual void Persist() = 0;
    virtual void PersistLocationArray(std::ostream& os) = 0;
    virtual void ReadLocationArray(std::istream& is) = 0;
    virtual void SetReducedPostProcessing(bool reduced) = 0;
};

class SpoolHandler : public ISpoolHandler {
public:
    SpoolHandler(int pixelType, unsigned int pixelsPerFrame, unsigned int frames, bool reducedPostProcessing);

    bool IsFile() override { return true; }
    void SetFile(const char*) override {}
    void ReleaseFile() override {}
    void SetSpoolPath(const char*) override {}
    void SetSpoolStem(const char*) override {}

    float* ObtainReadImagePtr(unsigned int) override { return nullptr; }
    float* ObtainWriteImagePtr(unsigned int) override { return nullptr; }
    float* ObtainImagePtr(unsigned int) override { return nullptr; }
    void ReleaseImagePtr(unsigned int) override {}

    void Resize(unsigned int, unsigned int) override {}
    int ClearSpace() override { return 0; }
    bool AllNewSpool(bool b) override { return b; }
    void AllFile() override {}
    void AllFileToSpool() override {}
    void ToCache(unsigned int) override {}
    void MapData(unsigned int) override {}
    void ReadData(unsigned int) override {}

    void Persist() override {}
    void PersistLocationArray(std::ostream&) override {}
    void ReadLocationArray(std::istream&) override {}
    void SetReducedPostProcessing(bool) override {}

    unsigned int GetCacheLimit() const { return cacheLimit; }
    unsigned int GetMapLimit() const { return mapLimit; }

private:
    unsigned int cacheLimit;
    unsigned int mapLimit;
};

#endif
