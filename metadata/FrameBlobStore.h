// Per-frame binary blobs of one data source (metadata packets, time code blocks) and
// their text form: lowercase hex bytes each followed by ",", "|" after each frame.
#ifndef KVMCF_METADATA_FRAMEBLOBSTORE_H
#define KVMCF_METADATA_FRAMEBLOBSTORE_H

#include <cstddef>
#include <string>
#include <vector>

class TFrameBlobStore {
public:
    // The frame count and blob size come from the file; beyond this the store stays empty
    // rather than trusting them with memory.
    static constexpr std::size_t kMaxTotalBytes = std::size_t(1) << 27;

    // Drops every blob; for frames >= 1 and bytesPerFrame >= 1 creates them anew, zeroed.
    void Recreate(int frames, std::size_t bytesPerFrame);
    bool Exists() const { return !blobs.empty(); }
    bool Holds(int frame) const { return frame >= 0 && frame < frames; }
    std::size_t BytesPerFrame() const { return bytes; }

    // Never null: a frame the store lacks reads as zero bytes.
    const unsigned char* Frame(int frame) const;
    // Copies count bytes (at most the blob size) into a frame the store holds.
    void Store(int frame, const unsigned char* src, std::size_t count);

    // Appends the text of one frame: `count` values, the first `taken` bytes of its blob
    // and zeros after them.
    void AppendFrameText(std::string& text, int frame, std::size_t taken, std::size_t count) const;

    // Reads the frames of a text into frames 0, 1, ... (empty frames skipped): at most
    // `valuesPerFrame` values each, of which the first `stored` bytes (zero where the text
    // has fewer) replace the blob's start. Further values and frames are dropped.
    void ParseText(const char* text, std::size_t valuesPerFrame, std::size_t stored);

    // Hexadecimal read of a 16-bit number, keeping the low 8 bits; 0 when unreadable.
    static unsigned char HexToByte(const char* text);

private:
    int frames = 0;
    std::size_t bytes = 0;
    std::vector<unsigned char> blobs;  // frames * bytes, contiguous
    // One blob's worth, for frames the store lacks; an empty text even before any Recreate.
    std::vector<unsigned char> zeros = std::vector<unsigned char>(1, 0);
};

#endif
