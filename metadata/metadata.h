// One per-frame metadata packet: tagged fields in 16-bit little-endian words, stored
// last field first. MetaData brings the words into reading order and splits the fields.
#ifndef KVMCF_METADATA_METADATA_H
#define KVMCF_METADATA_METADATA_H

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <vector>

// A frame's 16-byte time code block.
struct TIRIGDataArray {
    static constexpr std::size_t kSize = 16;
    unsigned char Data[kSize];

    TIRIGDataArray() { ResetAllData(); }
    void ResetAllData();
};

class MetaData {
public:
    // Field identifiers (CIDs) of a packet.
    enum : unsigned int { kEndCID = 0, kVersionCID = 3, kIRIGCID = 11, kHighestCID = 11 };

    // Statuses of StoreMetaData and getCIDData.
    enum : unsigned int {
        kOk = 0,
        kCIDNotHeld = 1,
        kNotIRIGCID = 2,
        kNullOutput = 3,  // also: the time code asked for as a number
        kNullLength = 4,
        kNoPacket = 5,
        kUnknownCID = 6,
        kFieldPastEnd = 7,
    };

    // Longer packet sizes are not believed; the word counter is 16 bits wide.
    static constexpr unsigned int kMaxSizeOfMetaData = 0xFFFF;

    struct MetaDataContent {
        template <std::size_t N>
        struct Field {
            unsigned int CID;
            unsigned int Length;       // bytes held in Value, at most N
            unsigned char Value[N];    // in reading order, least significant byte first
        };
        Field<8> CID2;
        Field<8> CID1;
        Field<4> CID3;
        Field<4> CID4;
        struct {
            unsigned int CID;
            unsigned int Length;
        } End;
        Field<4> CID5;
        Field<4> CID6;
        struct {
            unsigned int CID;
            unsigned int Length;
            TIRIGDataArray Value;
        } CID11;
    };

    MetaData();

    // Sets the packet length in bytes and gives it a fresh, zeroed word buffer.
    void SetSizeOfMetaData(unsigned int size);
    unsigned int GetSizeOfMetaData() const { return sizeOfMetaData; }
    void SetBytesPerPixel(unsigned int n) { bytesPerPixel = n; }
    unsigned int GetBytesPerPixel() const { return bytesPerPixel; }

    // Copies the packet that follows `pixelCount` pixels at src into the word buffer, last
    // word first. src must hold the pixels and the packet.
    void ParseMetaDataPacket(const unsigned char* src, unsigned int pixelCount);
    // Splits the word buffer into fields; a damaged packet keeps the fields before the damage.
    unsigned int StoreMetaData();
    void storeMemberData(unsigned int cid, const unsigned char* value, unsigned int length);

    // Fields 1 to 6 as numbers; the time code (CID 11) only through the array overload.
    template <class T>
    unsigned int getCIDData(unsigned int cid, T* out, unsigned int* length) const {
        // Any spelling of the width: unsigned long and unsigned long long are both 64 bits here.
        static_assert(std::is_integral<T>::value && std::is_unsigned<T>::value && !std::is_same<T, bool>::value &&
                          (sizeof(T) == 2 || sizeof(T) == 4 || sizeof(T) == 8),
                      "CID values are read as 16-, 32- or 64-bit unsigned numbers");
        if (out == nullptr) return kNullOutput;
        std::uint64_t value = 0;
        const unsigned int status = getCIDNumber(cid, sizeof(T), &value, length);
        if (status == kOk || status == kCIDNotHeld) *out = static_cast<T>(value);
        return status;
    }
    unsigned int getCIDData(unsigned int cid, TIRIGDataArray* out, unsigned int* length);

    const MetaDataContent& GetContent() const { return content; }

private:
    struct Slot {
        unsigned int* cid;
        unsigned int* length;
        unsigned char* value;
        std::size_t capacity;
    };
    Slot SlotFor(unsigned int cid);
    unsigned int getCIDNumber(unsigned int cid, std::size_t width, std::uint64_t* out, unsigned int* length) const;
    // Byte of the word buffer in memory order; 0 beyond it.
    unsigned char WordByte(std::size_t at) const;
    unsigned int WordBytes32(std::size_t at) const;

    MetaDataContent content;
    unsigned int sizeOfMetaData;
    std::vector<std::uint16_t> words;
    unsigned int bytesPerPixel;
};

#endif
