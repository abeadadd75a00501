// Time code blocks: decoding into calendar text and the hex text of the blocks of a
// data source.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "metadata/IRIGDataHandler.h"

namespace {
using Block = std::vector<unsigned char>;

// 2015, day 62 (3 March), 14:05:09, hundredths 25: BCD bits 1,4 | 10,12 | 22,25 | 31,36,37
// | 50,52,55; hundredths in bits 100, 103, 104.
const Block kMarch3 = {0x12, 0x14, 0x40, 0x82, 0x30, 0, 0x94, 0, 0, 0, 0, 0, 0x90, 0x01, 0, 0};

std::string Translate(const Block& block, std::size_t size = TIRIGDataHandler::kTranslatedTextSize) {
    setenv("TZ", "UTC", 1);
    tzset();
    TIRIGDataHandler h;
    h.SetSeriesLength(1);
    h.SetIRIGData(0, block.data());
    unsigned char out[64];
    std::fill(out, out + sizeof out, 'X');
    h.GetTranslatedIRIGData(out, 0, size);
    return std::string(reinterpret_cast<char*>(out), std::find(out, out + sizeof out, '\0') - out);
}

// The 3 March block with other sub-second bytes 12..15.
Block WithSubSecond(const Block& last4) {
    Block b = kMarch3;
    std::copy(last4.begin(), last4.end(), b.begin() + 12);
    return b;
}
}  // namespace

TEST(IRIGData, BlocksTranslateToCalendarText) {
    EXPECT_EQ(Translate(kMarch3), "Tue Mar  3 14:05:09.250 2015\n");
    // Day 60 with year 24 (leap), 23 and 50 (beyond 2037, so 2037, month from 2050).
    EXPECT_EQ(Translate({0, 0, 0, 0, 0x30, 0, 0x10, 0x01, 0, 0, 0, 0, 0, 0, 0, 0}), "Thu Feb 29 00:00:00.000 2024\n");
    EXPECT_EQ(Translate({0, 0, 0, 0, 0x30, 0, 0x0C, 0x01, 0, 0, 0, 0, 0, 0, 0, 0}), "Wed Mar  1 00:00:00.000 2023\n");
    EXPECT_EQ(Translate({0, 0, 0, 0, 0x30, 0, 0x80, 0x02, 0, 0, 0, 0, 0, 0, 0, 0}), "Sun Mar  1 00:00:00.000 2037\n");

    // Count 12345 (0.12345 ms) truncates away; 7 hundredths and 100000 counts make 71 ms;
    // the largest values need a fourth digit.
    EXPECT_EQ(Translate(WithSubSecond({0, 0x90, 0x03, 0x03})), "Tue Mar  3 14:05:09.000 2015\n");
    EXPECT_EQ(Translate(WithSubSecond({0x70, 0x00, 0x6A, 0x18})), "Tue Mar  3 14:05:09.071 2015\n");
    EXPECT_EQ(Translate(WithSubSecond({0xF0, 0xFF, 0xFF, 0xFF})), "Tue Mar  3 14:05:09.2560 2015\n");

    // No time at all, even with hundredths: an empty text. A short buffer is cut.
    EXPECT_EQ(Translate(Block(16, 0)), "");
    EXPECT_EQ(Translate({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x90, 1, 0, 0}), "");
    EXPECT_EQ(Translate(kMarch3, 11), "Tue Mar  3");
    TIRIGDataHandler none;  // a frame not held leaves the caller's buffer alone
    unsigned char out[1] = {'X'};
    none.GetTranslatedIRIGData(out, -1);
    EXPECT_EQ(out[0], 'X');
}

TEST(IRIGData, HexTextBothWays) {
    const std::string zeros17 = "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,|";
    const std::string march3 = "12,14,40,82,30,0,94,0,0,0,0,0,90,1,0,0,0,|";
    TIRIGDataHandler h;
    EXPECT_STREQ(h.GetAllIRIGDataAsHex(), "");
    h.SetSeriesLength(2);
    h.SetIRIGData(0, kMarch3.data());
    EXPECT_EQ(std::string(h.GetAllIRIGDataAsHex()), march3 + zeros17);
    EXPECT_EQ(std::string(h.GetFrameIRIGDataAsHex(2)), zeros17);
    EXPECT_STREQ(h.GetFrameIRIGDataAsHex(3), "");

    // Three frames into two: the third is ignored; the 17th value of a frame is dropped.
    TIRIGDataHandler r;
    r.SetSeriesLength(2);
    r.SetAllIRIGDataAsHex(("1,2,3,4,5,6,7,8,9,a,b,c,d,e,f,10,ff,||" + march3 + "5,|").c_str());
    EXPECT_EQ(r.GetIRIGData(0)[15] * 256 + r.GetIRIGData(0)[16], 0x1000);
    EXPECT_EQ(std::string(r.GetFrameIRIGDataAsHex(1)), march3);
}
