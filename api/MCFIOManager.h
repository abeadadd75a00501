// The process-wide manager and the open multi-channel file.
#ifndef KVMCF_API_MCFIOMANAGER_H
#define KVMCF_API_MCFIOMANAGER_H

#include <cstdio>
#include <istream>
#include <memory>
#include <ostream>
#include <string>

#include "api/kvmcfio.h"
#include "calib/CalibImage.h"
#include "records/KestoImage.h"

class TMcfDataXML;

// Thrown by the read sequence on any format fault. Carries nothing on purpose:
// callers of the byte-array open catch it by type.
class TMCFLoadException {};

class TMCFIOManager {
public:
    // One data source's image: calibration, image data and pixels, plus the header record.
    class TImage {
    public:
        TImage() = default;
        // An image with frames to be filled, for writing files.
        TImage(TKavriRect detector, unsigned int subImageCount, const TSubImage* subs, unsigned int frameCount,
               DataStore::ePixelDataType type = DataStore::Float, bool allocateFrames = true)
            : calibImage(detector, subImageCount, subs, frameCount, false, allocateFrames, type) {}

        TCalibImage calibImage;
        TKestoImage kestoImage;

        TKestoImageData& Header() { return kestoImage; }
        const TKestoImageData& Header() const { return kestoImage; }
    };

    class TMCF {
    public:
        TMCF(KVMCF_ReadMode mode, const char* path, bool spooled);
        TMCF(KVMCF_ReadMode mode, unsigned char* bytes, unsigned int size);
        ~TMCF();
        TMCF(const TMCF&) = delete;
        TMCF& operator=(const TMCF&) = delete;

        bool ReadFile();
        void ReadDataSource(TImage** slot, KVMCF_ReadMode mode, bool isSignal);
        bool ReadMcfXMLData();
        bool readXMLForKestoImage(TMcfDataXML& xml, const char* plural, const char* singular, TImage* image);

        bool IsStreamGood() const;
        long long GetStreamPosition();
        long long SetStreamPosition(long long offset, std::ios_base::seekdir direction);
        void ReadFromStream(char* buffer, long long count);
        // Seeks made through SetStreamPosition since the file was opened.
        unsigned long long GetSeekCount() const { return seekCount; }
        void ResetStream(TImage&) {}
        void SetupSpooledDATProcessor(TImage*, TImage*, TImage*) {}

        TImage* GetImage(int slot) const { return images[slot]; }
        std::istream* GetStream() const { return stream; }
        unsigned int GetVersionHigh() const { return versionHigh; }
        unsigned int GetVersionLow() const { return versionLow; }
        // Whether the magic line and the version word were recognised, so the sources were read.
        bool IsKnownFormat() const { return knownFormat; }
        KVMCF_ReadMode GetAccessMode() const { return accessMode; }
        const std::string& GetFileName() const { return fileName; }

        static constexpr int kSlots = 5;

    private:
        void Cleanup() noexcept;
        void UseClassicLocale();
        // Hands the extension section's text to the header and calibration readers.
        void ReadExtensionSection(const char* text);

        TImage* images[kSlots] = {};
        bool spooled = false;
        std::istream* stream = nullptr;
        std::FILE* largeFile = nullptr;
        KVMCF_ReadMode accessMode = KVMCF_READ_ALL;
        unsigned int versionHigh = 0;
        unsigned int versionLow = 0;
        bool knownFormat = false;
        std::string fileName;
        unsigned long long seekCount = 0;
    };

    TMCFIOManager();
    ~TMCFIOManager();
    TMCFIOManager(const TMCFIOManager&) = delete;
    TMCFIOManager& operator=(const TMCFIOManager&) = delete;

    unsigned int ReadFromFile(char* path);
    unsigned int ReadFromByteArray(unsigned char* bytes, unsigned int size);
    unsigned int CloseFile();
    unsigned int SetFileAccessMode(KVMCF_ReadMode mode);
    bool IsMCFLoaded() const { return mcf != nullptr; }
    TImage* GetDataSourceImage(KVMCF_DataSource source) const;
    unsigned int IsDataSourcePresent(KVMCF_DataSource source, int* present) const;
    bool GetVirtualMemoryState(const char*) const { return false; }

    // Frame and sub-image access.
    unsigned int GetFrameSize(KVMCF_DataSource source, unsigned int* size);
    unsigned int GetNumberFrames(KVMCF_DataSource source, unsigned int* frames);
    unsigned int GetNumberSubImages(KVMCF_DataSource source, unsigned int* n);
    unsigned int GetSubImageInfo(KVMCF_DataSource source, unsigned int index, unsigned int* left,
                                 unsigned int* bottom, unsigned int* right, unsigned int* top, unsigned int* hBin,
                                 unsigned int* vBin);
    unsigned int GetAllFrames(KVMCF_DataSource source, float* buffer, unsigned int size);
    unsigned int GetFrame(KVMCF_DataSource source, unsigned int index, float* buffer, unsigned int size);
    unsigned int GetDataStartBytePosition(KVMCF_DataSource source, long long* position);
    unsigned int GetFrameTimeStamp(KVMCF_DataSource source, unsigned int index, unsigned int* stamp);
    unsigned int GetFrameMetadata(KVMCF_DataSource source, unsigned int index, unsigned long long* word);
    unsigned int GetHighPrecisionTimeStamp(KVMCF_DataSource source, unsigned int index, float* seconds,
                                           TImage* image);
    float GetKineticCycleTime(TImage* image);
    float GetClockFrequency(TImage* image);

    // Properties, calibration and versions.
    unsigned int GetPropertyValue(KVMCF_DataSource source, const char* name, char* value, unsigned int size);
    unsigned int GetPropertyType(KVMCF_DataSource source, const char* name, KVMCF_PropertyType* type);
    unsigned int GetPixelCalibration(KVMCF_DataSource source, KVMCF_CalibrationAxis axis, int pixel, double* value);
    unsigned int GetStructureVersion(KVMCF_StructureElement element, unsigned int* high, unsigned int* low);

    KVMCF_ReadMode GetAccessMode() const { return accessMode; }
    TMCF* GetOpenFile() const { return mcf; }

private:
    // 22004 with nothing open, 22007 for an absent source, else 22002 with the image.
    unsigned int Lookup(KVMCF_DataSource source, TImage*& image) const;
    // Looks the source up and stores get(image) in *out.
    template <class T, class Get>
    unsigned int Answer(KVMCF_DataSource source, T* out, Get get) const;

    TMCF* mcf = nullptr;
    char fileName[512 + 1] = {};
    KVMCF_ReadMode accessMode = KVMCF_READ_ALL;
    long long position = 0;
    bool virtualMemory = false;
    int inMemory = 0;
};

std::istream& operator>>(std::istream& is, TMCFIOManager::TImage& image);
std::ostream& operator<<(std::ostream& os, TMCFIOManager::TImage& image);

#endif
