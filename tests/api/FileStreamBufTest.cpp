// The file buffer lexes numbers in place: a number split by a refill must read as
// the whole number, and an array cut by the end of the file must fail there.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "api/FileStreamBuf.h"
#include "records/RecordStream.h"
#include "support/TestFiles.h"

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
