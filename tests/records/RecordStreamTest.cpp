// The lexical rules every record reader and writer shares.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "records/RecordStream.h"

namespace rs = RecordStream;

TEST(RecordStream, VersionWordsAndTheTwoGates) {
    EXPECT_EQ(rs::Major(65567), 1u);
    EXPECT_EQ(rs::Minor(65567), 31u);
    EXPECT_EQ(rs::MakeVersion(2, 3), 131075u);

    // Threshold 5. At 2.0 the minor-only gate excludes and the major-aware gate includes;
    // major 0 with a large minor passes neither.
    const struct { unsigned int version; bool minorOnly, majorAware; } gates[] = {
        {131072, false, true}, {65542, true, true}, {65541, false, false}, {40, false, false}};
    for (const auto& g : gates) {
        EXPECT_EQ(rs::MinorAbove(g.version, 5), g.minorOnly) << g.version;
        EXPECT_EQ(rs::VersionAbove(g.version, 5), g.majorAware) << g.version;
    }
}

TEST(RecordStream, RawBytesTakeOneSeparatorAndAnyValue) {
    // Separator then value: the value may itself be whitespace or NUL.
    std::string text("x\0 \t \n  ", 8);
    text += "Z";
    std::istringstream is(text);
    std::vector<int> got;
    for (int i = 0; i < 4; ++i) {
        unsigned char b = 1;
        rs::ReadRawByte(is, b);
        got.push_back(b);
    }
    EXPECT_EQ(got, (std::vector<int>{0, 9, 10, 32}));
    EXPECT_EQ(is.get(), 'Z');

    // Written with the writer, read back between numbers.
    std::ostringstream os;
    os << 7;
    for (unsigned char b : {0, 9, 10, 32, 255}) {
        os << ' ';
        rs::WriteRawByte(os, b);
    }
    os << ' ' << 8;
    std::istringstream back(os.str());
    int first = 0, last = 0;
    rs::Read(back, first);
    got.clear();
    for (int i = 0; i < 5; ++i) {
        unsigned char b = 1;
        rs::ReadRawByte(back, b);
        got.push_back(b);
    }
    rs::Read(back, last);
    EXPECT_EQ(got, (std::vector<int>{0, 9, 10, 32, 255}));
    EXPECT_EQ(first + last, 15);
    EXPECT_TRUE(back);
}

TEST(RecordStream, CountedTexts) {
    char dest[8];
    // Length 0 takes one separator byte; the separator may be a newline and the bytes
    // spaces; a longer text is cut but consumed whole; a negative length reads nothing.
    const struct { const char* text; const char* kept; int next; } cases[] = {
        {"0  next", "", ' '}, {"5\na b c|", "a b c", '|'}, {"12 abcdefghijkl|", "abcdefg", '|'}, {"-4 abcd", "", 'a'}};
    for (const auto& c : cases) {
        std::istringstream is(c.text);
        std::memset(dest, 'q', sizeof dest);
        rs::ReadCountedText(is, dest, sizeof dest);
        EXPECT_STREQ(dest, c.kept) << c.text;
        EXPECT_EQ(is.get(), c.next) << c.text;
    }

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
