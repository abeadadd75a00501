// The --json document of every verb that has one: {"format_version": 1, "files": [...]}
// with one entry per file argument in order, a file that failed present with its error.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/TestFiles.h"
#include "tools/ToolFiles.h"
#include "tools/ToolRun.h"
#include "writer/DemoFile.h"

namespace {

using nlohmann::json;

TEST(JsonShape, OneEntryPerFileInOrderWithTheMissingOneAnError) {
    kvmcftest::TempFile demo("", "demo.mcf");
    ASSERT_TRUE(kvmcftools::WriteDemoFile(demo.Path()));
    kvmcftest::TempFile two(kvmcftest::TwoSourceFile(kvmcftest::SectionXml()), "two.mcf");
    const std::string missing = demo.Path() + ".missing";

    for (const char* verb : {"info", "check", "frames", "stats"}) {
        const kvmcftest::ToolResult r = kvmcftest::Kvmcf({verb, demo.Path(), missing, two.Path(), "--json"});
        EXPECT_EQ(std::make_pair(r.code, r.ErrLines()), std::make_pair(1, 1L)) << verb << r.err;
        const json document = json::parse(r.out);
        EXPECT_EQ(document.size(), 2u) << verb;
        EXPECT_EQ(document["format_version"], 1);
        ASSERT_EQ(document["files"].size(), 3u) << verb;
        EXPECT_EQ(document["files"][0]["file"], demo.Path()) << verb;
        const json error{{"file", missing}, {"error", missing + ": No such file or directory"}};
        EXPECT_EQ(document["files"][1], error);
        EXPECT_EQ(document["files"][2]["file"], two.Path()) << verb;
    }
}

}  // namespace
