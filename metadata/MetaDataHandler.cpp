#include "metadata/MetaDataHandler.h"

#include <algorithm>

TMetaDataHandler& TMetaDataHandler::operator=(const TMetaDataHandler& other) {
    if (this == &other) return *this;
    seriesLength = other.seriesLength;
    dataLength = other.dataLength;
    RecreateBuffers();
    for (int frame = 0; frame < seriesLength; ++frame) SetData(frame, other.GetData(frame));
    allFramesText = other.allFramesText;
    return *this;
}

void TMetaDataHandler::SetSeriesLength(int n) {
    if (n == seriesLength) return;
    seriesLength = n;
    RecreateBuffers();
}

void TMetaDataHandler::SetDataLength(int n) {
    if (n == dataLength) return;
    dataLength = n;
    RecreateBuffers();
}

void TMetaDataHandler::RecreateBuffers() {
    allFramesText.clear();
    frameText.clear();
    // The extra byte keeps every packet zero-terminated.
    packets.Recreate(seriesLength, dataLength >= 1 ? static_cast<std::size_t>(dataLength) + 1 : 0);
}

void TMetaDataHandler::SetData(int frame, const unsigned char* packet) {
    // The byte behind the packet stays zero whatever the source holds there.
    packets.Store(frame, packet, dataLength);
}

const char* TMetaDataHandler::GetAllMetaData() {
    allFramesText.clear();
    if (packets.Exists()) {
        for (int frame = 0; frame < seriesLength; ++frame) packets.AppendFrameText(allFramesText, frame, dataLength, dataLength);
    }
    return allFramesText.c_str();
}

const char* TMetaDataHandler::GetFrameMetaData(int frame) {
    frameText.clear();
    // A frame equal to the series length has no packet and prints as zeros.
    if (packets.Exists() && frame >= 0 && frame <= seriesLength) {
        packets.AppendFrameText(frameText, frame, std::min(dataLength, kFrameTextBytes), kFrameTextBytes + 1);
    }
    return frameText.c_str();
}

void TMetaDataHandler::SetAllMetaData(const char* text) {
    if (!packets.Exists() || text == nullptr) return;
    allFramesText = text;
    ParseData();
}

void TMetaDataHandler::ParseData() {
    packets.ParseText(allFramesText.c_str(), kFrameTextBytes, dataLength);
}

int TMetaDataHandler::GetMetaDataTagValue(int, int tag) const {
    return tag >= 0 && tag < seriesLength ? tag : -1;
}
