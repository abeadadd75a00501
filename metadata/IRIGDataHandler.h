// Time code blocks of one data source: 16 bytes a frame, bits least significant first.
// Bits 0 to 99 are one frame of the IRIG-B time code, with the year of century in its
// control field; bits 100 to 127 are the camera's own sub-second count.
#ifndef KVMCF_METADATA_IRIGDATAHANDLER_H
#define KVMCF_METADATA_IRIGDATAHANDLER_H

#include <cstddef>
#include <string>

#include "metadata/FrameBlobStore.h"

// The fields of one block as stored, before any calendar arithmetic.
struct TIRIGTimeCode {
    int Seconds = 0;
    int Minutes = 0;
    int Hours = 0;
    int DayOfYear = 0;
    int YearOfCentury = 0;
    int Hundredths = 0;          // bits 100..107
    unsigned int SubCount = 0;   // bits 108..127, in units of 10 ns
};

class TIRIGDataHandler {
public:
    static constexpr int kBlockBytes = 16;
    // Room for the longest translated text, terminator included.
    static constexpr std::size_t kTranslatedTextSize = 32;

    TIRIGDataHandler() = default;
    TIRIGDataHandler(const TIRIGDataHandler& other) { *this = other; }
    // Copies the series length, blocks and text; the availability flag stays this handler's own.
    TIRIGDataHandler& operator=(const TIRIGDataHandler& other);

    bool GetIRIGAvailablity() const { return available; }
    void SetIRIGAvailablity(bool v) { available = v; }
    int GetSeriesLength() const { return seriesLength; }
    // A real change drops every block and recreates them zeroed.
    void SetSeriesLength(int n);

    bool isInRange(int frame) const { return frame >= 0 && frame < seriesLength; }
    // The frame's block (zeros for a frame not held); never null.
    const unsigned char* GetIRIGData(int frame) const { return blocks.Frame(frame); }
    void SetIRIGData(int frame, const unsigned char* block);

    const char* GetAllIRIGDataAsHex();
    const char* GetFrameIRIGDataAsHex(int frame);
    void SetAllIRIGDataAsHex(const unsigned char* text);
    void SetAllIRIGDataAsHex(const char* text) { SetAllIRIGDataAsHex(reinterpret_cast<const unsigned char*>(text)); }
    void ParseIRIGData();

    // The frame's time as local time text, "Tue Mar  3 14:05:09.250 2015\n"; an empty text
    // for an all-zero time code, nothing at all for a frame not held. At most size - 1
    // characters are written.
    void GetTranslatedIRIGData(unsigned char* out, int frame, std::size_t size = kTranslatedTextSize) const;

    static TIRIGTimeCode DecodeIRIGBlock(const unsigned char* block);
    // Turns a day of year into day of month and month (1-based); day 0 gives 0 and 0.
    static void DaysToMonths(int* day, int* month, int year);
    static unsigned char HexToByte(const char* text) { return TFrameBlobStore::HexToByte(text); }

    void CreateIRIGArray(int frames);
    void DeleteIRIGArray(int frames);

private:
    bool available = false;
    int seriesLength = 0;
    TFrameBlobStore blocks;  // a block and a zero byte a frame
    std::string allFramesText;
    std::string frameText;
};

#endif
