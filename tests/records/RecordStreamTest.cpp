// The lexical rules every record reader and writer shares.
#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "records/RecordStream.h"
#include "records/StreamBounds.h"

namespace rs = RecordStream;
namespace sb = StreamBounds;

TEST(RecordStream, RawBytesTakeOneSeparatorAndAnyValue) {
    const auto readBytes = [](std::istream& is, int n) {
        std::vector<int> got;
        for (unsigned char b = 1; n-- > 0; b = 1) got.push_back(rs::ReadRawByte(is, b) ? b : -1);
        return got;
    };
    // Separator then value: the value may itself be whitespace or NUL.
    std::istringstream is(std::string("x\0 \t \n  Z", 9));
    EXPECT_EQ(readBytes(is, 4), (std::vector<int>{0, 9, 10, 32}));
    EXPECT_EQ(is.get(), 'Z');

    // The writer puts the byte itself, whatever it is.
    std::ostringstream os;
    for (unsigned char b : {0, 9, 10, 32, 255}) rs::WriteRawByte(os << ' ', b);
    EXPECT_EQ(os.str(), std::string(" \0 \t \n   \xff", 10));
}

TEST(RecordStream, CountedTokenAndLineTexts) {
    using Reader = std::function<void(std::istream&, char*, std::size_t)>;
    const Reader counted = [](std::istream& is, char* d, std::size_t n) { rs::ReadCountedText(is, d, n); };
    const Reader unsignedCount = [](std::istream& is, char* d, std::size_t n) { rs::ReadCountedTextUnsigned(is, d, n); };
    const Reader token = [](std::istream& is, char* d, std::size_t n) { rs::ReadTokenText(is, d, n); };
    const Reader line = [](std::istream& is, char* d, std::size_t n) { rs::ReadLineText(is, d, n); };
    const std::string x40(40, 'x');
    // Counted: length 0 takes one separator byte; the separator may be a newline and the
    // bytes spaces; a longer text is cut but consumed whole; a negative length reads
    // nothing; more than the stream holds fails it, as a short read would. Unsigned:
    // 4294967295 is a length, not -1. Token and line texts are cut to the buffer.
    const struct { Reader read; std::string text; std::size_t size; std::string kept; int next; } cases[] = {
        {counted, "0  next", 8, "", ' '},
        {counted, "5\na b c|", 8, "a b c", '|'},
        {counted, "12 abcdefghijkl|", 8, "abcdefg", '|'},
        {counted, "-4 abcd", 8, "", 'a'},
        {counted, "2000000000 abc", 8, "", EOF},
        {counted, "9 abcdefghij", 4, "abc", 'j'},
        {counted, "9 abcdefgh", 4, "", EOF},
        {unsignedCount, "4294967295 ab", 8, "", EOF},
        {token, " TK250c next", 32, "TK250c", 'n'},
        {token, " abcdefg\nZ", 4, "abc", 'Z'},
        {line, "\n1200 lines/mm blaze\nZ", 31, "1200 lines/mm blaze", 'Z'},
        {line, "\n" + x40 + "\n", 31, x40.substr(0, 31), EOF},
    };
    for (const auto& c : cases) {
        std::istringstream is(c.text);
        char dest[32];
        std::memset(dest, 'q', sizeof dest);
        c.read(is, dest, c.size);
        // A failed read's buffer is checked only where the rules say what it holds.
        if (c.next != EOF || !c.kept.empty()) {
            EXPECT_EQ(std::string(dest), c.kept) << c.text;
        }
        if (c.next == EOF) {
            EXPECT_TRUE(is.fail()) << c.text;
        } else {
            EXPECT_EQ(is.get(), c.next) << c.text;
        }
    }
    // Writer: length, one space, the bytes.
    std::ostringstream os;
    rs::WriteCountedText(os, "hi there");
    EXPECT_EQ(os.str(), "8 hi there");
}

TEST(RecordStream, PadFileWritesExactBytes) {
    const std::string block = std::string(1023, ' ') + "\n";
    const struct { unsigned int n; std::string bytes; } cases[] = {
        {0, ""}, {1, "\n"}, {1024, block}, {1025, block + "\n"}, {3000, block + block + std::string(951, ' ') + "\n"}};
    for (const auto& c : cases) {
        std::ostringstream os;
        EXPECT_EQ(rs::PadFile(os, c.n), 0);
        EXPECT_EQ(os.str(), c.bytes) << c.n;
    }
}

TEST(StreamBounds, ClaimsAreComparedWithTheBytesLeftWithoutOverflow) {
    std::istringstream is("0123456789");
    is.ignore(2);  // 8 bytes left
    EXPECT_EQ(std::make_pair(sb::Left(is), rs::Remaining(is)), std::make_pair(8LL, 8LL));
    // 2 + 3 x 2 fits exactly, 2 + 4 x 2 does not; a fixed part alone can be too long;
    // 2^63 items of 2 bytes would wrap to 0 if multiplied; empty items take no bytes.
    EXPECT_EQ((std::vector<bool>{sb::HoldsBlock(is, 2, 3, 2), sb::HoldsBlock(is, 2, 4, 2), sb::HoldsBlock(is, 9, 0, 0),
                                 sb::HoldsNumbers(is, 4), sb::HoldsNumbers(is, 4, 1), sb::HoldsItems(is, 1ull << 63, 2),
                                 sb::HoldsItems(is, 1, ~0ull), sb::HoldsItems(is, ~0ull, 0)}),
              (std::vector<bool>{true, false, false, true, false, false, false, true}));
    EXPECT_EQ(is.get(), '2');  // asking does not move the stream
    is.setstate(std::ios::failbit);
    EXPECT_FALSE(sb::HoldsItems(is, 0, 0));  // a failed stream holds nothing
}
