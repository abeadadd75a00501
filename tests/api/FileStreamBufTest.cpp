// The file buffer must behave as a file stream's does: the same bytes at every
// position, seeks and tells that agree, reads that stop at the end.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "api/FileStreamBuf.h"
#include "records/RecordStream.h"
#include "support/TestFiles.h"

namespace {

// Byte i of the file is i * 7 mod 251: no run repeats within a small buffer.
std::string Pattern(std::size_t size) {
    std::string bytes(size, '\0');
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<char>(i * 7 % 251);
    return bytes;
}

class Probe : public TFileStreamBuf {
public:
    using TFileStreamBuf::TFileStreamBuf;
    long long Tell() { return static_cast<long long>(pubseekoff(0, std::ios::cur, std::ios::in)); }
};

int Byte(const std::string& s, std::size_t i) { return static_cast<unsigned char>(s[i]); }

}  // namespace

TEST(FileStreamBuf, BytesSeeksAndTellsAcrossRefills) {
    const std::string bytes = Pattern(3000);
    kvmcftest::TempFile file(bytes);
    Probe buf(file.Path().c_str(), 7);

    // Every byte in order, then the end, which stays the end.
    std::string read;
    for (int c = buf.sbumpc(); c != EOF; c = buf.sbumpc()) read += static_cast<char>(c);
    EXPECT_EQ(read, bytes);
    EXPECT_EQ(buf.sgetc(), EOF);

    // Seeks inside and outside what is buffered land on the right byte.
    auto at = [&](std::streampos landed) { return std::make_pair(static_cast<long long>(landed), buf.sbumpc()); };
    EXPECT_EQ(at(buf.pubseekpos(100, std::ios::in)), std::make_pair(100LL, Byte(bytes, 100)));
    EXPECT_EQ(at(buf.pubseekoff(-2, std::ios::cur, std::ios::in)), std::make_pair(99LL, Byte(bytes, 99)));
    EXPECT_EQ(at(buf.pubseekoff(-1, std::ios::end, std::ios::in)), std::make_pair(2999LL, Byte(bytes, 2999)));
    // As with a file stream: past the end may be set and reads there find nothing;
    // before the start may not, nor writing.
    EXPECT_EQ(static_cast<long long>(buf.pubseekpos(3010, std::ios::in)), 3010);
    EXPECT_EQ(buf.sgetc(), EOF);
    EXPECT_EQ(static_cast<long long>(buf.pubseekoff(-1, std::ios::beg, std::ios::in)), -1);
    EXPECT_EQ(static_cast<long long>(buf.pubseekpos(0, std::ios::out)), -1);
    EXPECT_EQ(buf.Tell(), 3010);

    // Block reads: a large one goes past the buffer, a short one ends at the end of the file.
    std::vector<char> block(1000);
    buf.pubseekpos(5, std::ios::in);
    ASSERT_EQ(buf.sgetc(), Byte(bytes, 5));  // a buffer already filled is used first
    EXPECT_EQ(buf.sgetn(block.data(), 1000), 1000);
    EXPECT_EQ(std::string(block.data(), 1000), bytes.substr(5, 1000));
    EXPECT_EQ(buf.Tell(), 1005);
    buf.pubseekpos(2990, std::ios::in);
    EXPECT_EQ(buf.sgetn(block.data(), 100), 10);
    EXPECT_EQ(std::string(block.data(), 10), bytes.substr(2990));
    EXPECT_EQ(buf.sgetc(), EOF);
}

TEST(FileStreamBuf, NumbersReadInPlaceAcrossRefills) {
    // Through a five-byte buffer every number crosses a refill; the data ends in the
    // middle of the last array.
    kvmcftest::TempFile file(" 4294967295\n18446744073709551615\n  1234567 89\n77 5");
    TFileStreamBuf small(file.Path().c_str(), 5);
    std::istream lexed(&small);
    unsigned int big = 0, pair[2] = {}, tail[3] = {1, 1, 1};
    unsigned long long word = 0;
    RecordStream::Read(lexed, big);
    RecordStream::Read(lexed, word);
    RecordStream::ReadArray(lexed, pair, 2);
    EXPECT_EQ(std::make_tuple(big, word, pair[0], pair[1]),
              std::make_tuple(4294967295u, 18446744073709551615ull, 1234567u, 89u));
    EXPECT_TRUE(lexed.good());
    RecordStream::ReadArray(lexed, tail, 3);
    EXPECT_EQ(std::vector<unsigned int>(tail, tail + 3), (std::vector<unsigned int>{77, 5, 1}));
    EXPECT_EQ(lexed.rdstate(), std::ios::eofbit | std::ios::failbit);
}
