// What the tool refuses: files that are not multi-channel files or that the system
// will not open, outputs that would replace an input or an existing file, and names
// that contradict the format. Each refusal: its exit code, one line on stderr naming
// the file and the reason, and the input byte for byte as before.
#include <gtest/gtest.h>

#include <unistd.h>

#include <filesystem>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "support/TestFiles.h"
#include "tools/ToolRun.h"
#include "writer/DemoFile.h"

namespace {

using kvmcftest::Kvmcf;
using kvmcftest::Slurp;
using kvmcftest::Spit;

class Refusals : public ::testing::Test {
protected:
    void SetUp() override {
        demo_ = std::make_unique<kvmcftest::TempFile>("", "demo.mcf");
        ASSERT_TRUE(kvmcftools::WriteDemoFile(demo_->Path()));
        dir_ = demo_->Path().substr(0, demo_->Path().rfind('/') + 1);
        bytes_ = Slurp(demo_->Path());
    }
    // Everything a test made beside the demo file, which goes with its folder.
    void TearDown() override {
        std::vector<std::filesystem::path> made;
        for (const auto& entry : std::filesystem::directory_iterator(dir_))
            if (entry.path() != demo_->Path()) made.push_back(entry.path());
        for (const auto& path : made) std::filesystem::remove_all(path);
    }
    std::string Make(const std::string& name, const std::string& bytes) {
        Spit(dir_ + name, bytes);
        return dir_ + name;
    }
    std::string Name(const std::string& name) { return dir_ + name; }
    // The refusal: code, one stderr line with `path` and `reason`, nothing on stdout, the input as it was.
    void ExpectRefused(const std::vector<std::string>& args, int code, const std::string& path,
                       const std::string& reason) {
        const kvmcftest::ToolResult r = Kvmcf(args);
        SCOPED_TRACE(args.front() + " ... " + args.back() + "\n" + r.err);
        const bool named = r.err.find(path) != std::string::npos && r.err.find(reason) != std::string::npos;
        EXPECT_EQ(std::make_tuple(r.code, r.ErrLines(), named, r.out), std::make_tuple(code, 1L, true, std::string()));
        EXPECT_EQ(Slurp(demo_->Path()), bytes_);
    }
    std::unique_ptr<kvmcftest::TempFile> demo_;
    std::string dir_, bytes_;
};

TEST_F(Refusals, InputsThatAreNotMultiChannelFilesOrCannotBeOpened) {
    // Another format's text, an empty file, and two the system will not open.
    const std::pair<std::string, std::string> cases[] = {
        {Make("x.json", "{\"frames\": [1, 2]}\n"), "not a multi-channel file"},
        {Make("empty.mcf", ""), "multi-channel file"},
        {dir_ + "missing.mcf", "No such file or directory"},
        {dir_, "Is a directory"}};
    for (const auto& [path, reason] : cases) {
        const std::string before = Slurp(path);
        for (const std::vector<std::string>& args :
             {std::vector<std::string>{"info", path}, {"check", path}, {"stats", path}, {"frames", path}, {path},
              {"export", path, Name("out.csv")}, {"preview", path, Name("out.png")}, {"salvage", path, Name("out.mcf")}})
            ExpectRefused(args, 1, path, reason);
        for (const char* out : {"out.csv", "out.png", "out.mcf"}) EXPECT_NE(::access((dir_ + out).c_str(), F_OK), 0);
        EXPECT_EQ(Slurp(path), before) << path;
    }
}

TEST_F(Refusals, NoOutputEverReplacesItsInputOrAnExistingFile) {
    const std::string& in = demo_->Path();
    // The input by a second hard link and by a symbolic link, even with --force.
    const std::string soft = Name("soft.csv");
    ASSERT_EQ(::symlink(in.c_str(), soft.c_str()), 0);
    ExpectRefused({"export", in, soft, "--force", "--quiet"}, 1, soft, "is the input");
    const std::string hard = Name("hard.tif");
    ASSERT_EQ(::link(in.c_str(), hard.c_str()), 0);
    ExpectRefused({"export", in, hard, "--force"}, 1, hard, "is the input");
    // The same name: the extension already says it is no TIFF.
    ExpectRefused({"export", in, in, "--format", "tiff", "--force"}, 2, in, "the name says mcf");

    // An existing output without --force, for every verb that writes.
    const std::string mine = "a file of the user's\n";
    const std::string table = Make("table.csv", mine), picture = Make("picture.png", mine),
                      copy = Make("copy.mcf", mine);
    const std::vector<std::vector<std::string>> writers = {
        {"export", in, table}, {"preview", in, picture}, {"salvage", in, copy}, {"--write-demo", copy}};
    for (const std::vector<std::string>& args : writers) {
        ExpectRefused(args, 1, args.back(), "exists (use --force");
        EXPECT_EQ(Slurp(args.back()), mine);
    }
    // With --force the user's file is replaced, and the input still is not.
    EXPECT_EQ(Kvmcf({"export", in, table, "--force", "--quiet", "--frames", "0"}).code, 0);
    EXPECT_TRUE(Slurp(table) != mine && Slurp(in) == bytes_);

    // A name that says another format than --format; nothing is written.
    const std::string tif = Name("x.tif");
    ExpectRefused({"export", in, tif, "--format", "hdf5"}, 2, tif, "the name says tiff but the output is hdf5");
    ExpectRefused({"preview", in, tif}, 2, tif, "the name says tiff but the output is png");
    EXPECT_NE(::access(tif.c_str(), F_OK), 0);
}

TEST_F(Refusals, DashIsStandardOutputAndNoArgumentsKeepTheUsersFile) {
    const auto csv = Kvmcf({"export", demo_->Path(), "-", "--frames", "0:2"}, dir_);
    EXPECT_EQ(csv.code, 0) << csv.err;
    // The spectra: a header, then one line per column of the 1024.
    EXPECT_EQ(csv.out.substr(0, csv.out.find('\n')), "Wavelength (nm),frame 0,frame 1");
    EXPECT_NE(::access((dir_ + "-").c_str(), F_OK), 0);
    const auto tiff = Kvmcf({"export", demo_->Path(), "-", "--format", "tiff"}, dir_);
    EXPECT_EQ(std::make_pair(tiff.code, tiff.ErrLines()), std::make_pair(2, 1L));

    // No arguments: the demo where there is none, the user's file left as it is.
    const std::string demoName = dir_ + "kvmcf-demo.mcf";
    EXPECT_EQ(Kvmcf({}, dir_).code, 0);
    EXPECT_EQ(Slurp(demoName), bytes_);
    Spit(demoName, "my own notes\n");
    const auto second = Kvmcf({}, dir_);
    EXPECT_NE(second.out.find("signal: 20 frames"), std::string::npos);
    EXPECT_EQ(Slurp(demoName), "my own notes\n");
}

}  // namespace
