// kvmcf describe on a file written with the record writers, figures worked out by
// hand from the pixels put in.
#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

#include "support/TestFiles.h"
#include "tools/DescribeCommand.h"
#include "writer/McfFileWriter.h"

namespace {

class Describe : public ::testing::Test {
protected:
    void SetUp() override {
        // Lower: columns 1..4, rows 1..2, unbinned. Upper: columns 1..8, rows 5..8,
        // binned 2 x 2 into 4 x 2 stored pixels.
        const TSubImage subs[2] = {TSubImage(1, 2, 4, 1, 1, 1), TSubImage(1, 8, 8, 5, 2, 2)};
        TMCFIOManager::TImage signal(TKavriRect(1, 8, 8, 1), 2, subs, 2);
        TCalibImage& data = signal.calibImage;
        const float frame1[16] = {2, 2, 2, 2, 2, 2, 2, 2, INFINITY, 0, 0, 0, 0, 0, 0, 0};
        const float frame2[16] = {5, 1, 7, 1, 9, 9, 2, 3, 4, 4, 6, 0.5f, 4, 8, 8, -1};
        data.SetImageData(frame1, 16, 1);
        data.SetImageData(frame2, 16, 2);
        kvmcftools::McfFileContent content;
        content.images[0] = &signal;
        file_ = std::make_unique<kvmcftest::TempFile>(kvmcftools::McfFileBytes(content));
    }
    std::string Run(std::vector<std::string> args, int* code) {
        args.insert(args.begin(), file_->Path());
        testing::internal::CaptureStdout();
        *code = kvmcftools::RunDescribe(args);
        return testing::internal::GetCapturedStdout();
    }
    static bool Has(const std::string& out, const std::string& part) { return out.find(part) != std::string::npos; }
    std::unique_ptr<kvmcftest::TempFile> file_;
};

}  // namespace

TEST_F(Describe, EachSubImageOfAFrame) {
    int code = -1;
    std::string out = Run({"--frame", "2"}, &code);
    EXPECT_EQ(code, 0);
    EXPECT_TRUE(Has(out, "signal, frame 2 of 2\n")) << out;
    EXPECT_TRUE(Has(out, "sub-image 1: columns 1-4, rows 1-2, 4 x 2 detector pixels, 8 stored\n"
                         "      minimum       1 at (2, 1)\n"
                         "      maximum       9 at (1, 2)\n"
                         "      mean          4.625\n"
                         "      most frequent 1\n"))  // 1 and 9 twice each: the smaller
        << out;
    EXPECT_TRUE(Has(out, "sub-image 2: columns 1-8, rows 5-8, 8 x 4 detector pixels, 8 stored\n"
                         "      minimum       -1 at (7, 7)\n"
                         "      maximum       8 at (3, 7)\n"
                         "      mean          4.1875\n"
                         "      most frequent 4\n"))
        << out;

    // Frame 1 by default; the infinity is left out of every figure but counted.
    out = Run({"--source", "signal"}, &code);
    EXPECT_EQ(code, 0);
    EXPECT_TRUE(Has(out, "signal, frame 1 of 2\n"));
    EXPECT_TRUE(Has(out, "      minimum       0 at (3, 5)\n"
                         "      maximum       0 at (3, 5)\n"
                         "      mean          0\n"
                         "      not finite    1\n"))
        << out;
}

TEST_F(Describe, ARegionAcrossSubImagesAsJson) {
    // Columns 2..5, rows 1..6: 1 7 1 / 9 2 3 from the lower region, and the upper
    // region's first stored row from its grid column 1: 4 4 6.
    int code = -1;
    const std::string out = Run({"--frame", "2", "--region", "5,6,2,1", "--json"}, &code);
    EXPECT_EQ(code, 0);
    EXPECT_TRUE(Has(out, "\"source\": \"signal\", \"frame\": 2, \"frames\": 2")) << out;
    EXPECT_TRUE(Has(out, "{\"sub_images\": [1, 2], \"left\": 2, \"bottom\": 1, \"right\": 5, \"top\": 6, "
                         "\"width\": 4, \"height\": 6, \"pixels\": 9, "
                         "\"minimum\": {\"value\": 1, \"x\": 2, \"y\": 1}, "
                         "\"maximum\": {\"value\": 9, \"x\": 2, \"y\": 2}, "
                         "\"mean\": 4.11111111, \"mode\": 1}"))
        << out;
}

TEST_F(Describe, RefusalsSayWhyAndPrintNothing) {
    struct Case {
        std::vector<std::string> args;
        int code;
    } cases[] = {
        {{"--frame", "3"}, 1},
        {{"--frame", "0"}, 2},
        {{"--source", "background"}, 1},
        {{"--source", "elsewhere"}, 2},
        {{"--region", "20,20,30,30"}, 1},
        {{"--region", "1,2,3"}, 2},
        {{"--region", "1,2,3,x"}, 2},
    };
    for (const Case& c : cases) {
        int code = -1;
        testing::internal::CaptureStderr();
        EXPECT_EQ(Run(c.args, &code), "") << c.args[1];
        const std::string err = testing::internal::GetCapturedStderr();
        EXPECT_EQ(code, c.code) << c.args[1];
        EXPECT_EQ(err.find("kvmcf"), 0u) << err;
    }
}
