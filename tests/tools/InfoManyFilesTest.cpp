// kvmcf info on several files at once: one block per file, in the order given.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "support/RecordTexts.h"
#include "support/TestFiles.h"
#include "tools/Commands.h"
#include "writer/DemoFile.h"

namespace {

std::string HandFile() {
    return "Kavri Technology Multi-Channel File\n65538\n1\n" + kvmcftest::HeaderRows131(0) +
           kvmcftest::HeaderNested131() + "\n" + kvmcftest::Calibration14() + kvmcftest::ImageData15() +
           kvmcftest::FloatBytes({1, 2, 3, 4, 5, 6, 7, 8}) + "0\n0\n0\n0\n";
}

struct Output {
    int code;
    std::string out, err;
};

Output Info(const std::vector<std::string>& args) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int code = kvmcftools::RunInfo(args);
    std::string out = testing::internal::GetCapturedStdout();
    return {code, out, testing::internal::GetCapturedStderr()};
}

TEST(InfoManyFiles, OneBlockPerFileAsTableOrJson) {
    kvmcftest::TempFile demo("", "demo.mcf");
    ASSERT_TRUE(kvmcftools::WriteDemoFile(demo.Path()));
    kvmcftest::TempFile hand(HandFile(), "hand.mcf");

    const Output table = Info({demo.Path(), hand.Path(), "--source", "signal"});
    EXPECT_EQ(table.code, 0);
    const std::size_t first = table.out.find("== " + demo.Path() + " ==\n[signal]\n");
    const std::size_t second = table.out.find("\n\n== " + hand.Path() + " ==\n[signal]\n");
    ASSERT_EQ(first, 0u) << table.out;
    ASSERT_NE(second, std::string::npos);
    EXPECT_LT(table.out.find("DemoCam 1024"), second);
    EXPECT_GT(table.out.find("Test head 76"), second);

    const Output json = Info({demo.Path(), hand.Path(), "--json"});
    EXPECT_EQ(json.code, 0);
    EXPECT_EQ(json.out.front(), '[');
    EXPECT_EQ(json.out.substr(json.out.size() - 2), "]\n");
    EXPECT_NE(json.out.find("}},\n{\"file\": \"" + hand.Path() + "\""), std::string::npos);
    EXPECT_EQ(std::count(json.out.begin(), json.out.end(), '{'), std::count(json.out.begin(), json.out.end(), '}'));

    // A file that cannot be shown is named on stderr; the others still show, and the exit code says so.
    kvmcftest::TempFile cut(HandFile().substr(0, 300), "cut.mcf");
    const Output mixed = Info({cut.Path(), hand.Path(), demo.Path() + ".none", "--json"});
    EXPECT_EQ(mixed.code, 1);
    EXPECT_EQ(mixed.out.find("{\"file\": \"" + hand.Path() + "\""), 1u) << mixed.out;
    EXPECT_EQ(mixed.out.substr(mixed.out.size() - 8), "  }\n}}]\n");
    EXPECT_NE(mixed.err.find(cut.Path() + ": not a readable multi-channel file, or it cannot be opened (22003), "
                                          "stopped in the signal instrument header record at byte"),
              std::string::npos)
        << mixed.err;
    EXPECT_NE(mixed.err.find(demo.Path() + ".none: "), std::string::npos);
}

}  // namespace
