// The --json document of every verb that has one: {"format_version": 1, "files": [...]}
// with one entry per file argument in order, a file that failed present with its error,
// the same shape for one file as for three.
#include <gtest/gtest.h>

#include <functional>
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

bool NumberOrNull(const json& v) { return v.is_number() || v.is_null(); }

void ExpectInfo(const json& e) {
    ExpectKeys(e, {"file", "sources"}, "info");
    // What each type's value must be in JSON.
    const std::map<std::string, std::function<bool(const json&)>> kinds = {
        {"int32", [](const json& v) { return v.is_number_integer(); }},
        {"uint32", [](const json& v) { return v.is_number_unsigned(); }},
        {"uint64", [](const json& v) { return v.is_number_unsigned(); }},
        {"byte", [](const json& v) { return v.is_number_unsigned(); }},
        {"float", NumberOrNull},
        {"double", NumberOrNull},
        {"string", [](const json& v) { return v.is_string(); }}};
    for (const json& s : e["sources"]) {
        EXPECT_TRUE(s["name"].is_string());
        for (const auto& p : s["properties"].items()) {
            ExpectKeys(p.value(), {"type", "value"}, p.key());
            const auto kind = kinds.find(p.value()["type"].get<std::string>());
            ASSERT_NE(kind, kinds.end()) << p.key();
            EXPECT_TRUE(kind->second(p.value()["value"])) << p.key() << ": " << p.value();
        }
    }
}

void ExpectCheck(const json& e) {
    EXPECT_TRUE(e["intact"].is_boolean());
    EXPECT_TRUE(e["size"].is_number_integer());
    EXPECT_TRUE(e["open"].is_string());
    ASSERT_EQ(e["sources"].size(), 5u);
    for (const json& s : e["sources"]) EXPECT_TRUE(s["state"].is_string());
    EXPECT_TRUE(e.contains("extension_section"));
}

void ExpectFrames(const json& e) {
    ExpectKeys(e, {"file", "source", "frames"}, "frames");
    unsigned int index = 0;
    for (const json& row : e["frames"]) {
        EXPECT_EQ(row["index"], index++);
        for (const char* k : {"kinetic_time", "time_stamp", "metadata_word", "high_precision_time_stamp"})
            EXPECT_TRUE(NumberOrNull(row[k])) << k << ": " << row[k];
    }
    EXPECT_GT(index, 0u);
}

void ExpectStats(const json& e) {
    ExpectKeys(e, {"file", "source", "minus", "region_clipped", "frames"}, "stats");
    for (const json& f : e["frames"])
        for (const json& r : f["regions"]) {
            ExpectKeys(r, {"sub_images", "left", "bottom", "right", "top", "pixels", "minimum", "maximum", "mean", "std",
                           "mode", "nan", "infinite"},
                       "stats region");
            if (!r["minimum"].is_null()) ExpectKeys(r["minimum"], {"value", "x", "y"}, "minimum");
        }
}

TEST(JsonShape, OneDocumentForOneFileAndForThreeWithOneMissing) {
    kvmcftest::TempFile demo("", "demo.mcf");
    ASSERT_TRUE(kvmcftools::WriteDemoFile(demo.Path()));
    kvmcftest::TempFile two(kvmcftest::TwoSourceFile(kvmcftest::TimeCodeXml()), "two.mcf");
    const std::string missing = demo.Path() + ".missing";

    const std::vector<std::pair<std::string, std::function<void(const json&)>>> verbs = {
        {"info", ExpectInfo}, {"check", ExpectCheck}, {"frames", ExpectFrames}, {"stats", ExpectStats}};
    for (const auto& [verb, shape] : verbs) {
        for (const std::vector<std::string>& files :
             {std::vector<std::string>{demo.Path()}, {demo.Path(), missing, two.Path()}}) {
            std::vector<std::string> args{verb};
            args.insert(args.end(), files.begin(), files.end());
            args.push_back("--json");
            const kvmcftest::ToolResult r = kvmcftest::Kvmcf(args);
            const bool fails = files.size() == 3;
            EXPECT_EQ(r.code, fails ? 1 : 0) << verb;
            EXPECT_EQ(r.ErrLines(), fails ? 1 : 0) << verb << r.err;
            const json document = json::parse(r.out);
            ExpectKeys(document, {"format_version", "files"}, verb);
            EXPECT_EQ(document["format_version"], 1);
            ASSERT_EQ(document["files"].size(), files.size()) << verb;
            for (std::size_t i = 0; i < files.size(); ++i) {
                const json& entry = document["files"][i];
                EXPECT_EQ(entry["file"], files[i]) << verb;
                if (files[i] == missing) {
                    ExpectKeys(entry, {"file", "error"}, verb + " failure");
                    EXPECT_EQ(entry["error"], missing + ": No such file or directory");
                } else {
                    shape(entry);
                }
            }
        }
    }
}

}  // namespace
