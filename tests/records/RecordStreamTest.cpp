// The lexical rules every record reader and writer shares.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>

#include "records/RecordStream.h"

namespace rs = RecordStream;

TEST(RecordStream, VersionWordsAndTheTwoGates) {
    EXPECT_EQ(rs::Major(65567), 1u);
    EXPECT_EQ(rs::Minor(65567), 31u);
    EXPECT_EQ(rs::Major(131072), 2u);
    EXPECT_EQ(rs::Minor(131072), 0u);
    EXPECT_EQ(rs::MakeVersion(1, 31), 65567u);

    // 2.0: the minor-only gate excludes, the major-aware gate includes.
    EXPECT_FALSE(rs::MinorAbove(131072, 5));
    EXPECT_TRUE(rs::VersionAbove(131072, 5));
    // 1.6 is above 5 under both forms; 1.5 under neither.
    EXPECT_TRUE(rs::MinorAbove(65542, 5));
    EXPECT_TRUE(rs::VersionAbove(65542, 5));
    EXPECT_FALSE(rs::MinorAbove(65541, 5));
    EXPECT_FALSE(rs::VersionAbove(65541, 5));
    // Major 0 with a large minor: neither form.
    EXPECT_FALSE(rs::MinorAbove(40, 5));
    EXPECT_FALSE(rs::VersionAbove(40, 5));
}

TEST(RecordStream, RawBytesTakeOneSeparatorAndAnyValue) {
    // Separator then value: the value may itself be whitespace or NUL.
    std::string text("x\0 \t \n  ", 8);
    text += "Z";
    std::istringstream is(text);
    unsigned char v[4] = {1, 1, 1, 1};
    for (unsigned char& b : v) rs::ReadRawByte(is, b);
    EXPECT_EQ(v[0], 0);
    EXPECT_EQ(v[1], 9);
    EXPECT_EQ(v[2], 10);
    EXPECT_EQ(v[3], 32);
    EXPECT_EQ(is.get(), 'Z');

    // Written with the writer, read back through numbers around them.
    std::ostringstream os;
    os << 7;
    for (unsigned char b : {0, 9, 10, 32, 255}) {
        os << ' ';
        rs::WriteRawByte(os, b);
    }
    os << ' ' << 8;
    std::istringstream back(os.str());
    int first = 0, last = 0;
    unsigned char got[5] = {};
    rs::Read(back, first);
    for (unsigned char& b : got) rs::ReadRawByte(back, b);
    rs::Read(back, last);
    EXPECT_EQ(first, 7);
    EXPECT_EQ(got[0], 0);
    EXPECT_EQ(got[1], 9);
    EXPECT_EQ(got[2], 10);
    EXPECT_EQ(got[3], 32);
    EXPECT_EQ(got[4], 255);
    EXPECT_EQ(last, 8);
    EXPECT_TRUE(back);
}

TEST(RecordStream, CountedTexts) {
    char dest[8];

    // Length 0 consumes exactly one byte after the length.
    std::istringstream empty("0  next");
    std::memset(dest, 'q', sizeof dest);
    rs::ReadCountedText(empty, dest, sizeof dest);
    EXPECT_STREQ(dest, "");
    EXPECT_EQ(empty.get(), ' ');

    // The separator byte may be a newline; the bytes may hold spaces.
    std::istringstream plain("5\na b c|");
    rs::ReadCountedText(plain, dest, sizeof dest);
    EXPECT_STREQ(dest, "a b c");
    EXPECT_EQ(plain.get(), '|');

    // Longer than the destination: truncated, and the stream ends behind all its bytes.
    std::istringstream longer("12 abcdefghijkl|");
    rs::ReadCountedText(longer, dest, sizeof dest);
    EXPECT_STREQ(dest, "abcdefg");
    EXPECT_EQ(longer.get(), '|');

    // A negative length reads no bytes.
    std::istringstream negative("-4 abcd");
    rs::ReadCountedText(negative, dest, sizeof dest);
    EXPECT_STREQ(dest, "");
    EXPECT_EQ(negative.get(), 'a');

    // More than the stream holds fails it (as a short read would).
    std::istringstream shortText("2000000000 abc");
    rs::ReadCountedText(shortText, dest, sizeof dest);
    EXPECT_TRUE(shortText.fail());
    std::istringstream shortTail("9 abcdefghij");
    rs::ReadCountedText(shortTail, dest, 4);
    EXPECT_FALSE(shortTail.fail());
    std::istringstream shortTail2("9 abcdefgh");
    rs::ReadCountedText(shortTail2, dest, 4);
    EXPECT_TRUE(shortTail2.fail());

    // The unsigned form: 4294967295 is a length, not -1.
    std::istringstream huge("4294967295 ab");
    rs::ReadCountedTextUnsigned(huge, dest, sizeof dest);
    EXPECT_TRUE(huge.fail());

    // Writer: length, one space, the bytes.
    std::ostringstream os;
    rs::WriteCountedText(os, "hi there");
    EXPECT_EQ(os.str(), "8 hi there");
}

TEST(RecordStream, TokenAndLineTexts) {
    char dest[32];
    std::istringstream token(" TK250c next");
    rs::ReadTokenText(token, dest, sizeof dest);
    EXPECT_STREQ(dest, "TK250c");
    EXPECT_EQ(token.get(), 'n');

    std::istringstream tokenAtEnd(" abc");
    rs::ReadTokenText(tokenAtEnd, dest, sizeof dest);
    EXPECT_STREQ(dest, "abc");

    char small[4];
    std::istringstream tokenLong(" abcdefg\nZ");
    rs::ReadTokenText(tokenLong, small, sizeof small);
    EXPECT_STREQ(small, "abc");
    EXPECT_EQ(tokenLong.get(), 'Z');

    std::istringstream line("\n1200 lines/mm blaze\nZ");
    rs::ReadLineText(line, dest, 31);
    EXPECT_STREQ(dest, "1200 lines/mm blaze");
    EXPECT_EQ(line.get(), 'Z');

    std::istringstream tooLong("\n" + std::string(40, 'x') + "\n");
    rs::ReadLineText(tooLong, dest, 31);
    EXPECT_EQ(std::string(dest), std::string(31, 'x'));
    EXPECT_TRUE(tooLong.fail());
}

TEST(RecordStream, WhitespaceRunsBetweenNumbersReadTheSame) {
    for (const char* text : {"12 -3 4.5", "12  -3\t4.5", "12\r\n-3\n\n4.5", "  12\v-3\f4.5"}) {
        std::istringstream is(text);
        int a = 0, b = 0;
        float c = 0;
        rs::Read(is, a);
        rs::Read(is, b);
        rs::Read(is, c);
        EXPECT_EQ(a, 12) << text;
        EXPECT_EQ(b, -3) << text;
        EXPECT_FLOAT_EQ(c, 4.5f) << text;
        EXPECT_FALSE(is.fail()) << text;
    }
}

TEST(RecordStream, PadFileWritesExactBytes) {
    auto pad = [](unsigned int n) {
        std::ostringstream os;
        EXPECT_EQ(rs::PadFile(os, n), 0);
        return os.str();
    };
    const std::string block = std::string(1023, ' ') + "\n";
    EXPECT_EQ(pad(0), "");
    EXPECT_EQ(pad(1), "\n");
    EXPECT_EQ(pad(1023), std::string(1022, ' ') + "\n");
    EXPECT_EQ(pad(1024), block);
    EXPECT_EQ(pad(1025), block + "\n");
    EXPECT_EQ(pad(3000), block + block + std::string(951, ' ') + "\n");
}

TEST(RecordStream, RemainingCountsBytesWithoutMoving) {
    std::istringstream is("0123456789");
    is.get();
    EXPECT_EQ(rs::Remaining(is), 9);
    EXPECT_EQ(is.get(), '1');
}
