// Metadata packets: word order, field splitting and its statuses, and the hex text of
// the packets of a data source.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "metadata/MetaDataHandler.h"
#include "metadata/metadata.h"

namespace {
// Stored bytes of a packet given as its 16-bit words in reading order (last word stored first).
std::vector<unsigned char> Stored(const std::vector<std::uint16_t>& words) {
    std::vector<unsigned char> bytes;
    for (auto w = words.rbegin(); w != words.rend(); ++w) {
        bytes.push_back(*w & 0xFF);
        bytes.push_back(*w >> 8);
    }
    return bytes;
}

// A field's value and length, read through the given width.
using ValueLength = std::pair<std::uint64_t, unsigned int>;
template <class T>
ValueLength Get(const MetaData& m, unsigned int cid) {
    T v = 0;
    unsigned int length = 99;
    EXPECT_EQ(m.getCIDData(cid, &v, &length), 0u) << cid;
    return {v, length};
}

unsigned int Parse(MetaData& m, const std::vector<unsigned char>& packet) {
    m.SetSizeOfMetaData(static_cast<unsigned int>(packet.size()));
    m.ParseMetaDataPacket(packet.data(), 0);
    return m.StoreMetaData();
}
}  // namespace

TEST(MetaDataPacket, StoredBytesAfterPixelsDecodeByCID) {
    // Five 2-byte pixels round up to six: the packet starts at byte 12, after junk.
    const std::vector<unsigned char> frame = {
        0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xAB, 0xAB,
        0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,                          // end: CID 0, L 0
        0x02, 0x01, 0x00, 0x00, 0x06, 0x00, 0x00, 0x00, 0x02, 0x00,              // CID 6, L 2
        0xAD, 0xDE, 0xEF, 0xBE, 0x00, 0x00, 0x05, 0x00, 0x00, 0x00, 0x04, 0x00,  // CID 5, L 4
        0x22, 0x11, 0x44, 0x33, 0x66, 0x55, 0x88, 0x77,                          // CID 1, L 8
        0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x08, 0x00,
        0x04, 0x00, 0x00, 0x00, 0x03, 0x00, 0x00, 0x00, 0x02, 0x00,              // CID 3, L 2
    };
    MetaData m;
    m.SetSizeOfMetaData(56);
    m.SetBytesPerPixel(2);
    m.ParseMetaDataPacket(frame.data(), 5);
    ASSERT_EQ(m.StoreMetaData(), 0u);

    // The other spelling of 64 bits reads the same field; a narrower output keeps the low
    // bytes of a wider field; absent field 2 still answers, with nothing held.
    EXPECT_EQ((std::vector<ValueLength>{Get<std::uint16_t>(m, 3), Get<std::uint64_t>(m, 1), Get<std::uint32_t>(m, 5),
                                        Get<std::uint16_t>(m, 6), Get<unsigned long long>(m, 1),
                                        Get<unsigned short>(m, 1), Get<std::uint64_t>(m, 2)}),
              (std::vector<ValueLength>{{4, 2}, {0x1122334455667788ull, 8}, {0xDEADBEEFu, 4}, {0x0102, 2},
                                        {0x1122334455667788ull, 8}, {0x7788, 8}, {0, 0}}));
    // Statuses: 1 unknown CID (output zeroed), 3 a time code asked as a number or no
    // output, 4 no length, 2 a number asked as a time code.
    unsigned int length = 0;
    std::uint64_t v64 = 7;
    TIRIGDataArray block;
    EXPECT_EQ((std::vector<unsigned int>{m.getCIDData(12, &v64, &length), m.getCIDData(11, &v64, &length),
                                         m.getCIDData(1, static_cast<std::uint64_t*>(nullptr), &length),
                                         m.getCIDData(1, &v64, nullptr), m.getCIDData(3, &block, &length),
                                         m.getCIDData(11, &block, nullptr)}),
              (std::vector<unsigned int>{1, 3, 3, 4, 2, 4}));
    EXPECT_EQ(v64, 0u);
}

TEST(MetaDataPacket, OddAndOversizedLengthsAndStatuses) {
    MetaData m;
    // CID 4 with L 3 advances 2 bytes, so its third byte is the next field's length.
    // CID 3 with L 6 keeps 4 bytes; CID 11 of 16 bytes is the time code, of 4 is skipped.
    const std::vector<std::uint16_t> quirks = {
        3,  0, 4,  0, 0xAABB,
        6,  0, 3,  0, 5, 0, 0xFFFF,
        16, 0, 11, 0, 0x0201, 0x0403, 0x0605, 0x0807, 0x0A09, 0x0C0B, 0x0E0D, 0x100F,
        4,  0, 11, 0, 0x1234, 0x5678,
        42, 0, 0,  0,
    };
    ASSERT_EQ(Parse(m, Stored(quirks)), 0u);
    EXPECT_EQ((std::vector<ValueLength>{Get<std::uint32_t>(m, 4), Get<std::uint16_t>(m, 4), Get<std::uint32_t>(m, 3)}),
              (std::vector<ValueLength>{{0x06AABB, 3}, {0xAABB, 3}, {5, 4}}));
    unsigned int length = 0;
    TIRIGDataArray block;
    const unsigned int status = m.getCIDData(11, &block, &length);
    EXPECT_EQ(std::make_pair(status, length), std::make_pair(0u, 16u));
    EXPECT_EQ(std::vector<int>(block.Data, block.Data + 16), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}));
    EXPECT_EQ(m.GetContent().End.Length, 42u);

    MetaData none;
    EXPECT_EQ(none.StoreMetaData(), 5u);
    // Unknown CID first: nothing stored.
    EXPECT_EQ(Parse(none, Stored({2, 0, 12, 0, 7, 0})), 6u);
    EXPECT_EQ(Get<std::uint64_t>(none, 2), ValueLength(0, 0));
    // A value longer than the packet, whole or in its high word.
    EXPECT_EQ(Parse(none, Stored({16, 0, 1, 0, 0, 0})), 7u);
    EXPECT_EQ(Parse(none, Stored({2, 1, 1, 0, 0, 0})), 7u);
    // Damage after a good field keeps the good field.
    EXPECT_EQ(Parse(none, Stored({2, 0, 4, 0, 7, 32, 0, 2, 0})), 7u);
    EXPECT_EQ(Get<std::uint16_t>(none, 4), ValueLength(7, 2));
    // A packet shorter than one field header reads zeros past its end: an end marker.
    EXPECT_EQ(Parse(none, {0x01, 0x00}), 0u);
}

TEST(MetaDataHandler, HexTextBothWays) {
    TMetaDataHandler h;
    h.SetSeriesLength(2);
    h.SetDataLength(3);
    h.SetAllMetaData("1,a,ff,|0,0,10,|");
    const unsigned char* f0 = h.GetData(0);
    EXPECT_EQ(std::vector<unsigned char>(f0, f0 + 4), (std::vector<unsigned char>{0x01, 0x0a, 0xff, 0}));
    EXPECT_STREQ(h.GetAllMetaData(), "1,a,ff,|0,0,10,|");

    // Prefixes, case, wide and unreadable values; empty pieces skipped; values past the
    // packet dropped, the byte behind it stays zero.
    h.SetAllMetaData("||0x1F,zz,,+7|1ff,FE,2,3,|9,|");
    EXPECT_STREQ(h.GetAllMetaData(), "1f,0,7,|ff,fe,2,|");
    EXPECT_EQ(h.GetData(1)[3], 0);

    // A frame's text holds 128 values at most; the rest are dropped.
    TMetaDataHandler wide;
    wide.SetSeriesLength(1);
    wide.SetDataLength(130);
    std::string ones;
    for (int i = 0; i < 200; ++i) ones += "1,";
    wide.SetAllMetaData(ones.c_str());
    EXPECT_EQ(std::make_tuple(wide.GetData(0)[127], wide.GetData(0)[128], wide.GetData(5)[129]), std::make_tuple(1, 0, 0));
}

TEST(MetaDataHandler, LengthsBuffersAndCopies) {
    TMetaDataHandler h;
    EXPECT_EQ(h.GetData(0)[0], 0);  // an empty handler still gives a zero packet
    h.SetSeriesLength(2);
    h.SetDataLength(2);
    h.SetAllMetaData("1,2,|3,4,|");
    h.SetSeriesLength(2);  // no change keeps the packets
    EXPECT_STREQ(h.GetAllMetaData(), "1,2,|3,4,|");

    h.SetDataLength(1);
    EXPECT_STREQ(h.GetAllMetaData(), "0,|0,|");
    // Lengths no file can back leave the handler empty instead of allocating.
    h.SetSeriesLength(1 << 30);
    h.SetDataLength(1000);
    h.SetAllMetaData("1,|");
    EXPECT_STREQ(h.GetAllMetaData(), "");
    EXPECT_EQ(h.GetData(3)[999], 0);
}
