// Replays every input under fuzz/regressions/<target>/ through that fuzz target's own
// entry point, compiled in as Replay_<target>, so a fault a fuzzer once found fails
// every build if it comes back; a finding aborts after the input's path is printed.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "api/kvmcfio.h"

// The targets with regression inputs; tests/CMakeLists.txt compiles the same list.
#define KVMCF_REPLAYS(X)                                                                                      \
    X(open_bytes) X(open_path) X(header) X(spect) X(kavrispect) X(shutter) X(iccd) X(crop) X(usertext) X(calib) \
        X(image) X(image_header_only) X(file_bytes) X(xml) X(diagnosis) X(export)
#define KVMCF_REPLAY_DECLARE(target) extern "C" int Replay_##target(const std::uint8_t*, std::size_t);
KVMCF_REPLAYS(KVMCF_REPLAY_DECLARE)
#undef KVMCF_REPLAY_DECLARE

namespace {

namespace fs = std::filesystem;

struct Target {
    const char* name;
    int (*run)(const std::uint8_t*, std::size_t);
};

const Target kTargets[] = {
#define KVMCF_REPLAY_ENTRY(target) {"fuzz_" #target, Replay_##target},
    KVMCF_REPLAYS(KVMCF_REPLAY_ENTRY)
#undef KVMCF_REPLAY_ENTRY
};

}  // namespace

TEST(RegressionReplay, EveryInputRunsThroughItsFoldersTarget) {
    const fs::path root = fs::path(KVMCF_SOURCE_DIR) / "fuzz" / "regressions";
    ASSERT_TRUE(fs::is_directory(root)) << root;
    for (const fs::directory_entry& folder : fs::directory_iterator(root)) {
        if (!folder.is_directory()) continue;
        const Target* target = nullptr;
        for (const Target& t : kTargets)
            if (folder.path().filename() == t.name) target = &t;
        if (target == nullptr) {
            ADD_FAILURE() << folder.path() << ": no replay for this target; add its entry point to kTargets";
            continue;
        }
        for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
            if (!entry.is_regular_file() || entry.path().filename().string()[0] == '.') continue;
            std::ifstream is(entry.path(), std::ios::binary);
            const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(is)),
                                                  std::istreambuf_iterator<char>());
            // A finding aborts: the last line printed names the input.
            std::fprintf(stderr, "replaying %s\n", entry.path().c_str());
            EXPECT_EQ(target->run(bytes.data(), bytes.size()), 0) << entry.path();
        }
    }
    KVMCF_SetFileAccessMode(KVMCF_READ_ALL);
}
