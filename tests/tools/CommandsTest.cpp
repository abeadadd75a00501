// The kvmcf commands on the demo file, read as a user reads their output.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "support/TestFiles.h"
#include "tools/Commands.h"
#include "writer/DemoFile.h"

namespace {

class Commands : public ::testing::Test {
protected:
    void SetUp() override {
        file_ = std::make_unique<kvmcftest::TempFile>("", "demo.mcf");
        ASSERT_TRUE(kvmcftools::WriteDemoFile(file_->Path()));
    }
    std::string Run(int (*command)(const std::vector<std::string>&), std::vector<std::string> args, int* code) {
        testing::internal::CaptureStdout();
        *code = command(args);
        return testing::internal::GetCapturedStdout();
    }
    std::unique_ptr<kvmcftest::TempFile> file_;
};

TEST_F(Commands, SummaryShowsSourcesGeometryCalibrationAndStatistics) {
    int code = -1;
    const std::string out = Run(kvmcftools::RunSummary, {file_->Path()}, &code);
    EXPECT_EQ(code, 0);
    EXPECT_NE(out.find("signal: 20 frames of 1024 pixels, 1 sub-image\n"), std::string::npos) << out;
    EXPECT_NE(out.find("sub-image 1: columns 1-1024, rows 1-256, binning 1x256"), std::string::npos);
    // 580 + 0.0625 p - 1.5e-6 p^2 at columns 1 and 1024.
    EXPECT_NE(out.find("Wavelength nm, 580.062 to 642.427 over columns 1-1024"), std::string::npos);
    EXPECT_NE(out.find("background: 1 frame of 4096 pixels, 2 sub-images"), std::string::npos);
    // 64 x 32 at full resolution, then 128 x 64 binned 2 x 2.
    EXPECT_NE(out.find("sub-image 2: columns 401-528, rows 137-200, binning 2x2"), std::string::npos);
    // Background pixels are 95 + (i mod 17) / 2: 95 to 103.
    EXPECT_NE(out.find("frame 1:       min 95  max 103"), std::string::npos);

    const std::string missing = Run(kvmcftools::RunSummary, {file_->Path() + ".none"}, &code);
    EXPECT_EQ(code, 1);
    EXPECT_EQ(missing, "");
}

TEST_F(Commands, InfoListsEveryPropertyAsTableOrJson) {
    int code = -1;
    const std::string table = Run(kvmcftools::RunInfo, {file_->Path(), "--source", "background"}, &code);
    EXPECT_EQ(code, 0);
    EXPECT_NE(table.find("[background]"), std::string::npos);
    EXPECT_EQ(table.find("[signal]"), std::string::npos);
    EXPECT_NE(table.find("SubImageRight2"), std::string::npos);
    EXPECT_NE(table.find("ModeFullName                   string  Single Scan"), std::string::npos) << table;

    const std::string json = Run(kvmcftools::RunInfo, {file_->Path(), "--json"}, &code);
    EXPECT_EQ(code, 0);
    EXPECT_NE(json.find("\"HeadModel\": {\"type\": \"string\", \"value\": \"DemoCam 1024\"}"), std::string::npos);
    EXPECT_NE(json.find("\"ExposureTime\": {\"type\": \"float\", \"value\": 0.05}"), std::string::npos);
    EXPECT_NE(json.find("\"Head\": {\"type\": \"byte\", \"value\": 0}"), std::string::npos);
    EXPECT_EQ(std::count(json.begin(), json.end(), '{'), std::count(json.begin(), json.end(), '}'));

    EXPECT_EQ(Run(kvmcftools::RunInfo, {file_->Path(), "--source", "nowhere"}, &code), "");
    EXPECT_EQ(code, 2);
    EXPECT_EQ(Run(kvmcftools::RunInfo, {file_->Path(), "--bogus"}, &code), "");
    EXPECT_EQ(code, 2);
}

TEST(CommandSupport, ListingNamesExpandIndexedProperties) {
    const std::vector<std::string> names = kvmcftools::ListingNames(2);
    auto has = [&](const char* n) { return std::find(names.begin(), names.end(), n) != names.end(); };
    EXPECT_TRUE(has("Type"));
    EXPECT_TRUE(has("GateWidthStep"));
    EXPECT_TRUE(has("SubImageLeft2"));
    EXPECT_TRUE(has("TimeStamp0"));
    EXPECT_TRUE(has("HighPrecisionTimeStamp0"));
    EXPECT_FALSE(has("SubImageLeft3"));
    EXPECT_FALSE(has("SubImage"));
    // 109 plain names, 6 fields per sub-image, 3 per-frame names.
    EXPECT_EQ(names.size(), 109u + 12u + 3u);
}

}  // namespace
