// The per-frame metadata packets of one data source, as bytes and as the hex text the
// file's extension section carries.
#ifndef KVMCF_METADATA_METADATAHANDLER_H
#define KVMCF_METADATA_METADATAHANDLER_H

#include <string>

#include "metadata/FrameBlobStore.h"

class TMetaDataHandler {
public:
    // The text form of one frame carries at most this many packet bytes.
    static constexpr int kFrameTextBytes = 128;

    TMetaDataHandler() = default;
    TMetaDataHandler(const TMetaDataHandler& other) { *this = other; }
    // Copies lengths, packets and text; the availability flag stays this handler's own.
    TMetaDataHandler& operator=(const TMetaDataHandler& other);

    bool GetAvailablity() const { return available; }
    void SetAvailablity(bool v) { available = v; }
    int GetSeriesLength() const { return seriesLength; }
    int GetDataLength() const { return dataLength; }
    // A real change of either length drops every packet and recreates them empty.
    void SetSeriesLength(int n);
    void SetDataLength(int n);

    bool isInRange(int frame) const { return frame >= 0 && frame < seriesLength; }
    // The frame's packet (data length bytes and a zero); zeros for a frame not held.
    const unsigned char* GetData(int frame) const { return packets.Frame(frame); }
    void SetData(int frame, const unsigned char* packet);

    const char* GetAllMetaData();
    const char* GetFrameMetaData(int frame);
    void SetAllMetaData(const char* text);
    void ParseData();

    // Placeholder kept for callers: the tag itself when it names a frame, else -1.
    int GetMetaDataTagValue(int frame, int tag) const;

    static unsigned char HexToByte(const char* text) { return TFrameBlobStore::HexToByte(text); }

private:
    void RecreateBuffers();

    bool available = false;
    int seriesLength = 0;
    int dataLength = 0;
    TFrameBlobStore packets;  // data length + 1 bytes a frame
    std::string allFramesText;
    std::string frameText;
};

#endif
