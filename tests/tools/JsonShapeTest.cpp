// The --json document of every verb that has one: {"format_version": 1, "files": [...]}
// with one entry per file argument in order, a file that failed present with its error,
// the same shape for one file as for three.
#include <gtest/gtest.h>

#include <map>
#include <set>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/TestFiles.h"
#include "tools/ToolFiles.h"
#include "tools/ToolRun.h"
#include "writer/DemoFile.h"

namespace {

using nlohmann::json;

// The keys of an object, exactly.
void ExpectKeys(const json& object, std::set<std::string> keys, const std::string& where) {
    ASSERT_TRUE(object.is_object()) << where;
    std::set<std::string> seen;
    for (const auto& item : object.items()) seen.insert(item.key());
    EXPECT_EQ(seen, keys) << where;
}

// The keys of each verb's entry for a file it read, and of the first item of its list.
const std::map<std::string, std::pair<std::set<std::string>, std::set<std::string>>> kEntryKeys = {
    {"info", {{"file", "sources"}, {}}},
    {"check", {{"file", "intact", "size", "open", "sources", "extension_section"}, {}}},
    {"frames", {{"file", "source", "frames"}, {}}},
    {"stats",
     {{"file", "source", "minus", "region_clipped", "frames"},
      {"sub_images", "left", "bottom", "right", "top", "pixels", "minimum", "maximum", "mean", "std", "mode", "nan",
       "infinite"}}}};

TEST(JsonShape, OneDocumentForOneFileAndForThreeWithOneMissing) {
    kvmcftest::TempFile demo("", "demo.mcf");
    ASSERT_TRUE(kvmcftools::WriteDemoFile(demo.Path()));
    kvmcftest::TempFile two(kvmcftest::TwoSourceFile(kvmcftest::TimeCodeXml()), "two.mcf");
    const std::string missing = demo.Path() + ".missing";

    for (const auto& [verb, keys] : kEntryKeys) {
        for (const std::vector<std::string>& files :
             {std::vector<std::string>{demo.Path()}, {demo.Path(), missing, two.Path()}}) {
            std::vector<std::string> args{verb};
            args.insert(args.end(), files.begin(), files.end());
            args.push_back("--json");
            const kvmcftest::ToolResult r = kvmcftest::Kvmcf(args);
            const int fails = files.size() == 3 ? 1 : 0;
            EXPECT_EQ(std::make_pair(r.code, r.ErrLines()), std::make_pair(fails, long{fails})) << verb << r.err;
            const json document = json::parse(r.out);
            ExpectKeys(document, {"format_version", "files"}, verb);
            EXPECT_EQ(document["format_version"], 1);
            ASSERT_EQ(document["files"].size(), files.size()) << verb;
            for (std::size_t i = 0; i < files.size(); ++i) {
                const json& entry = document["files"][i];
                if (files[i] == missing) {
                    EXPECT_EQ(entry, (json{{"file", missing}, {"error", missing + ": No such file or directory"}}));
                } else {
                    EXPECT_EQ(entry["file"], files[i]) << verb;
                    ExpectKeys(entry, keys.first, verb);
                    if (verb == "stats") ExpectKeys(entry["frames"][0]["regions"][0], keys.second, "stats region");
                }
            }
        }
    }
}

}  // namespace
