// Image data record: hand-typed records of every layout, header-only skipping,
// refusal of counts the stream cannot hold, construction and round trips.
#include <gtest/gtest.h>

#include <cstring>
#include <initializer_list>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "image/KavriImage.h"
#include "support/RecordTexts.h"

namespace {

using kvmcftest::FloatBytes;

// Two frames of one 2x2 sub-image: the record text up to the time stamps, with an
// optional stretch of padding before them.
std::string RecordHead(const char* version, const std::string& padding = "") {
    return std::string(version) + " 1 256 1024 1 2 1 8 4\n65538 1 2 2 1 1 1 0\n" + padding +
           "         5\n         7\n";
}

const std::string kPixels = FloatBytes({1, 2, 3, 4, -1.5f, 0, 1e6f, 0.25f});

using Words = std::vector<unsigned long long>;

}  // namespace

TEST(ImageDataRecord, ReadsEveryLayout) {
    // Head text: 27 + 20 + 2 x 11 = 69 bytes. Metadata lines are 21 bytes each.
    const std::string words = "                   9\n18446744073709551615\n";
    struct Case {
        std::string text;
        unsigned int high, low;
        unsigned int stamp0, stamp1;
        int flag;
        unsigned long long word1;
        long long start;
    } cases[] = {
        {RecordHead("65538"), 1, 2, 5000, 7000, 0, 0, 69},  // before 1.3: stamps x1000
        {RecordHead("65539"), 1, 3, 5, 7, 0, 0, 69},
        {RecordHead("65540") + words, 1, 4, 5, 7, 1, 18446744073709551615ULL, 111},  // 1.4: words, no flag
        {RecordHead("65541") + "0\n", 1, 5, 5, 7, 0, 0, 71},
        {RecordHead("65541") + "1\n" + words, 1, 5, 5, 7, 1, 18446744073709551615ULL, 113},
        {RecordHead("65541", "   \n") + "1\n" + words, 1, 5, 5, 7, 1, 18446744073709551615ULL, 117},
        {RecordHead("131072"), 2, 0, 5, 7, 0, 0, 70},  // a later major has no flag line
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        std::istringstream is(c.text + kPixels + "TAIL");
        TKavriImage image;
        is >> image;
        ASSERT_FALSE(is.fail());
        EXPECT_EQ(Words({image.GetKavriImageVersionHigh(), image.GetKavriImageVersionLow(), image.GetNumberImages(),
                         image.GetTimeStamp(0), image.GetTimeStamp(1)}),
                  Words({c.high, c.low, 2, c.stamp0, c.stamp1}));
        EXPECT_TRUE((image.GetDetectorRect() == LONG_RECT{1, 256, 1024, 1}));
        ASSERT_NE(image.GetSubImages(), nullptr);
        EXPECT_EQ(image.GetSubImages()[0], TSubImage(1, 2, 2, 1, 1, 1));
        EXPECT_EQ(image.GetMetaData(), c.flag);
        EXPECT_EQ(Words({image.GetMetaDataWord(0), image.GetMetaDataWord(1)}), Words({c.flag ? 9u : 0u, c.word1}));
        EXPECT_EQ(image.GetDataStartOffset(), c.start);
        const float* f2 = image.ObtainReadImagePtr(2);
        ASSERT_NE(f2, nullptr);
        EXPECT_EQ(std::vector<float>(f2, f2 + 4), (std::vector<float>{-1.5f, 0, 1e6f, 0.25f}));
        image.ReleaseImagePtr(2);
        std::string tail;
        is >> tail;
        EXPECT_EQ(tail, "TAIL");
    }
}

TEST(ImageDataRecord, PixelBlockSkippedOrLeftAlone) {
    // Header only: 3 frames of 1024 pixels are passed over by exactly 3 x 4096 bytes,
    // and nothing is stored. Spooled pixels live elsewhere: the stream ends with the record.
    const std::string head = "65541 0 0 0 0 3 1 3072 1024\n65538 1 1024 1024 1 1 1 0\n1\n2\n3\n0\n";
    for (bool spooled : {false, true}) {
        std::istringstream is(spooled ? head : head + std::string(3 * 4096, '\x7f') + "TAIL");
        TKavriImage image;
        image.SetHeaderOnly(!spooled);
        image.SetSpooledDAT(spooled);
        image.SetSpoolMode(spooled);
        is >> image;
        ASSERT_FALSE(is.fail()) << spooled;
        EXPECT_EQ(image.GetDataStartOffset(), static_cast<long long>(head.size()));
        if (spooled) continue;
        EXPECT_EQ(static_cast<long long>(is.tellg()), image.GetDataStartOffset() + 3 * 4096);
        EXPECT_EQ(image.ObtainReadImagePtr(1), nullptr);
        EXPECT_EQ(image.GetNumberImages(), 3u);
    }
}

TEST(ImageDataRecord, RefusesCountsTheStreamCannotHold) {
    const char* bad[] = {
        "65541 0 0 0 0 2147483648 0 0 0\n",            // 2^31 frames, each needs a time stamp
        "65541 0 0 0 0 1 0 0 4294967295\n1\n0\n",       // one frame of 16 GiB
        "65541 0 0 0 0 65536 0 0 65536\n",              // 2^32 pixels: wraps to 0 in 32 bits
        "65541 0 0 0 0 0 268435456 0 0\n",              // 2^28 sub-images
    };
    for (const char* text : bad)
        for (bool headerOnly : {false, true}) {
            std::istringstream is(text);
            TKavriImage image;
            image.SetHeaderOnly(headerOnly);
            is >> image;
            EXPECT_TRUE(is.fail() && image.GetNumberImages() == 0 && image.GetSubImages() == nullptr) << text;
        }
    // A frame of 2 pixels reads when complete and fails one byte short.
    const std::string frame = std::string("65541 0 0 0 0 1 0 0 2\n1\n0\n") + FloatBytes({1, 2});
    for (std::size_t cut : {0, 1}) {
        std::istringstream is(frame.substr(0, frame.size() - cut));
        TKavriImage image;
        is >> image;
        EXPECT_EQ(is.fail(), cut == 1);
    }

    // Corrupt geometry reads, and offsets past the frame give no sub-image pointer.
    std::istringstream corrupt("65541 0 0 0 0 1 2 0 2\n65538 1 1 2 1 0 0 0\n65538 1 1 2 1 0 0 2\n1\n0\n" +
                               FloatBytes({1, 2}));
    TKavriImage c;
    corrupt >> c;
    ASSERT_FALSE(corrupt.fail());
    EXPECT_EQ(c.GetSubImages()[1].hBin, 0);
    EXPECT_NE(c.ObtainReadSubImagePtr(1, 1), nullptr);
    c.ReleaseImagePtr(1);
    EXPECT_EQ(c.ObtainReadSubImagePtr(2, 1), nullptr);
}

TEST(ImageDataRecord, ConstructorLaysOutSubImages) {
    const TSubImage subs[3] = {TSubImage(1, 1, 1023, 1, 1, 2), TSubImage(1, 4, 4, 1, 2, 2),
                               TSubImage(1, 3, 3, 1, 2, 2)};
    TKavriImage image(TKavriRect(1, 256, 1024, 1), 3, subs, 2, false, true, DataStore::Int32);
    // 1022 / 2 = 511, then 4 x 4 / 4 = 4, then 3 x 3 / 4 = 2 pixels; frames created zeroed.
    EXPECT_EQ(Words({image.GetSubImageOffset(1), image.GetSubImageOffset(2), image.GetDataLength(),
                     image.GetTotalLength(), image.GetTimeStamp(1)}),
              Words({511, 515, 517, 1034, 0}));
    const DataStore* last = image.GetFrame(2)->GetDataStore();
    EXPECT_EQ(std::make_pair(last->GetType(), last->GetAsInt(516)),
              std::make_pair(DataStore::Int32, 0));

    char text[8];
    image.SetKavriImagePortReadoutMode(2);
    image.GetReadoutPortString(text, sizeof text);
    EXPECT_STREQ(text, "Bottom ");  // bounded to the buffer
    image.SetKavriImageReadoutDirection(6);  // past the table
    image.GetReadoutDirectionString(text, sizeof text);
    EXPECT_STREQ(text, "Unknown");
}

TEST(ImageDataRecord, RoundTripPadsToTarget) {
    const TSubImage subs[2] = {TSubImage(1, 2, 3, 1, 1, 1), TSubImage(10, 10, 11, 10, 1, 1)};
    for (int flag : {0, 1}) {
        TKavriImage out(TKavriRect(1, 10, 11, 1), 2, subs, 3, false, true, DataStore::UnsignedShort);
        out.SetMetaDataFlag(flag);
        out.SetPadFlag(true);
        out.SetPadTarget(2048);
        for (unsigned int i = 0; i < 3; ++i) {
            out.SetTimeStamp(i, 4000000000u + i);
            out.SetMetaDataWord(i, 1ULL << (40 + i));
            out.GetFrame(i + 1)->GetDataStore()->SetAsUnsignedShort(7, static_cast<unsigned short>(60000 + i));
        }
        std::stringstream ss;
        ss << "PREFIX";  // the target is a stream position, not a record offset
        ss << out;
        EXPECT_EQ(ss.str().size(), 2048u + 3 * 8 * 4);

        TKavriImage in;
        ss.seekg(6);
        ss >> in;
        ASSERT_FALSE(ss.fail());
        EXPECT_EQ(Words({static_cast<unsigned long long>(in.GetDataStartOffset()), in.GetNumberSubImages(),
                         in.GetSubImageOffset(1), in.GetTimeStamp(2), in.GetMetaDataWord(2)}),
                  Words({2048, 2, 6, 4000000002u, flag ? 1ULL << 42 : 0u}));
        EXPECT_EQ(in.GetSubImages()[1], subs[1]);
        EXPECT_EQ(in.GetMetaData(), flag);
        const float* f3 = in.ObtainReadImagePtr(3);
        ASSERT_NE(f3, nullptr);
        EXPECT_EQ(std::vector<float>({f3[0], f3[7]}), std::vector<float>({0, 60002}));
        in.ReleaseImagePtr(3);
    }
    // No padding is written when the target already lies behind.
    TKavriImage small(TKavriRect(), 1, subs, 1, false, true, DataStore::Float);
    small.SetPadFlag(true);
    small.SetPadTarget(10);
    std::ostringstream os;
    os << small;
    EXPECT_EQ(os.str(), "65541 0 0 0 0 1 1 6 6\n65538 1 2 3 1 1 1 0\n         0\n0\n" + std::string(24, '\0'));
}
