#include "metadata/metadata.h"

#include <algorithm>
#include <cstring>

void TIRIGDataArray::ResetAllData() {
    std::memset(Data, 0, sizeof Data);
}

MetaData::MetaData() : content(), sizeOfMetaData(0), bytesPerPixel(0) {}

void MetaData::SetSizeOfMetaData(unsigned int size) {
    sizeOfMetaData = size;
    words.clear();
    words.shrink_to_fit();
    // Twice the packet, zeroed: field reads that overshoot the packet find zeros.
    if (size >= 1 && size <= kMaxSizeOfMetaData) words.assign(size, 0);
}

void MetaData::ParseMetaDataPacket(const unsigned char* src, unsigned int pixelCount) {
    if (src == nullptr || words.empty()) return;
    const std::size_t n = pixelCount + (pixelCount & 1u);
    const std::size_t start = n * bytesPerPixel;
    const std::size_t size = sizeOfMetaData;
    for (std::size_t i = 0; i < size / 2; ++i) {
        const unsigned char* w = src + start + size - 2 - 2 * i;
        words[i] = static_cast<std::uint16_t>(w[0] | (w[1] << 8));
    }
}

unsigned char MetaData::WordByte(std::size_t at) const {
    if (at / 2 >= words.size()) return 0;
    return static_cast<unsigned char>(words[at / 2] >> (8 * (at % 2)));
}

unsigned int MetaData::WordBytes32(std::size_t at) const {
    unsigned int v = 0;
    for (int i = 3; i >= 0; --i) v = (v << 8) | WordByte(at + i);
    return v;
}

unsigned int MetaData::StoreMetaData() {
    if (words.empty()) return kNoPacket;
    content.CID11.Value.ResetAllData();
    std::size_t at = 0;          // byte position in the word buffer
    std::uint16_t counter = 0;   // the packet's own accounting, in words
    int fields = 0;
    do {
        const unsigned int length = WordBytes32(at);
        at += 4;
        counter += 2;
        const unsigned int cid = WordBytes32(at);
        at += 4;
        counter += 2;
        if (cid > kHighestCID) return kUnknownCID;
        if (cid == kEndCID) {
            storeMemberData(kEndCID, nullptr, length);
            return kOk;
        }
        if (static_cast<std::uint64_t>(counter) + length > sizeOfMetaData) return kFieldPastEnd;
        // Values longer than any field are clipped by storeMemberData; gather what it keeps.
        unsigned char value[TIRIGDataArray::kSize] = {};
        const std::size_t kept = std::min<std::size_t>(length, sizeof value);
        for (std::size_t i = 0; i < kept; ++i) value[i] = WordByte(at + i);
        storeMemberData(cid, value, length);
        at += length & ~1u;
        // The counter moves by 2 whatever the value's length; the damage check above
        // is defined on that accounting, so it stays.
        counter += 2;
        ++fields;
    } while (fields <= 11);
    return kOk;
}

MetaData::Slot MetaData::SlotFor(unsigned int cid) {
    MetaDataContent& c = content;
    switch (cid) {
        case 1: return {&c.CID1.CID, &c.CID1.Length, c.CID1.Value, sizeof c.CID1.Value};
        case 2: return {&c.CID2.CID, &c.CID2.Length, c.CID2.Value, sizeof c.CID2.Value};
        case 3: return {&c.CID3.CID, &c.CID3.Length, c.CID3.Value, sizeof c.CID3.Value};
        case 4: return {&c.CID4.CID, &c.CID4.Length, c.CID4.Value, sizeof c.CID4.Value};
        case 5: return {&c.CID5.CID, &c.CID5.Length, c.CID5.Value, sizeof c.CID5.Value};
        case 6: return {&c.CID6.CID, &c.CID6.Length, c.CID6.Value, sizeof c.CID6.Value};
        case kIRIGCID: return {&c.CID11.CID, &c.CID11.Length, c.CID11.Value.Data, sizeof c.CID11.Value.Data};
        default: return {nullptr, nullptr, nullptr, 0};
    }
}

void MetaData::storeMemberData(unsigned int cid, const unsigned char* value, unsigned int length) {
    if (cid == kEndCID) {
        content.End.CID = kEndCID;
        content.End.Length = length;
        return;
    }
    if (cid == kIRIGCID && length != TIRIGDataArray::kSize) return;
    const Slot slot = SlotFor(cid);
    if (slot.value == nullptr || value == nullptr) return;
    const std::size_t kept = std::min<std::size_t>(length, slot.capacity);
    std::memset(slot.value, 0, slot.capacity);
    std::memcpy(slot.value, value, kept);
    *slot.cid = cid;
    *slot.length = static_cast<unsigned int>(kept);
}

unsigned int MetaData::getCIDNumber(unsigned int cid, std::size_t width, std::uint64_t* out,
                                    unsigned int* length) const {
    if (length == nullptr) return kNullLength;
    if (cid == kIRIGCID) {
        *length = 0;
        return kNullOutput;
    }
    if (cid < 1 || cid > 6) {
        *out = 0;
        *length = 0;
        return kCIDNotHeld;
    }
    // Read-only use of the slot table.
    const Slot slot = const_cast<MetaData*>(this)->SlotFor(cid);
    const std::size_t used = std::min<std::size_t>({*slot.length, width, slot.capacity});
    std::uint64_t v = 0;
    for (std::size_t i = used; i-- > 0;) v = (v << 8) | slot.value[i];
    *out = v;
    *length = *slot.length;
    return kOk;
}

unsigned int MetaData::getCIDData(unsigned int cid, TIRIGDataArray* out, unsigned int* length) {
    if (length == nullptr) return kNullLength;
    if (out == nullptr) return kNullOutput;
    if (cid != kIRIGCID) {
        out->ResetAllData();
        *length = 0;
        return kNotIRIGCID;
    }
    *out = content.CID11.Value;
    *length = content.CID11.Length;
    return kOk;
}
