// Replays every input under fuzz/regressions/<target>/ through that fuzz target's own
// entry point, so a fault a fuzzer once found fails every build if it comes back.
// The targets' sources are compiled in here, each entry point renamed, so the replay
// runs exactly the code the fuzzer ran; a finding aborts as it does under the fuzzer,
// after the input's path has been printed.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#define LLVMFuzzerTestOneInput ReplayOpenBytes
#include "fuzz/open_bytes_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplayOpenPath
#include "fuzz/open_path_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplayHeader
#include "fuzz/records/header_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplaySpect
#include "fuzz/records/spect_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplayKavriSpect
#include "fuzz/records/kavrispect_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplayShutter
#include "fuzz/records/shutter_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplayIccd
#include "fuzz/records/iccd_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplayCrop
#include "fuzz/records/crop_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplayUserText
#include "fuzz/records/usertext_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplayCalib
#include "fuzz/records/calib_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplayImage
#include "fuzz/records/image_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplayImageHeaderOnly
#include "fuzz/records/image_header_only_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplayFileBytes
#include "fuzz/file_bytes_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplayXml
#include "fuzz/xml_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplayDiagnosis
#include "fuzz/diagnosis_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#define LLVMFuzzerTestOneInput ReplayExport
#include "fuzz/export_fuzzer.cpp"
#undef LLVMFuzzerTestOneInput
#include "fuzz/FuzzSupport.cpp"

namespace {

namespace fs = std::filesystem;

struct Target {
    const char* name;
    int (*run)(const std::uint8_t*, std::size_t);
};

const Target kTargets[] = {
    {"fuzz_open_bytes", ReplayOpenBytes}, {"fuzz_open_path", ReplayOpenPath}, {"fuzz_header", ReplayHeader},
    {"fuzz_spect", ReplaySpect}, {"fuzz_kavrispect", ReplayKavriSpect}, {"fuzz_shutter", ReplayShutter},
    {"fuzz_iccd", ReplayIccd}, {"fuzz_crop", ReplayCrop}, {"fuzz_usertext", ReplayUserText},
    {"fuzz_calib", ReplayCalib}, {"fuzz_image", ReplayImage}, {"fuzz_image_header_only", ReplayImageHeaderOnly},
    {"fuzz_file_bytes", ReplayFileBytes}, {"fuzz_xml", ReplayXml}, {"fuzz_diagnosis", ReplayDiagnosis},
    {"fuzz_export", ReplayExport},
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
