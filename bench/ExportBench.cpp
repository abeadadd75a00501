// kvmcf export of a 1 GiB series against cp of the same file, in one run on one
// machine: the export should cost little more than moving the pixel bytes.
// Compare the times of each format with CopyWithCp's.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "tools/Commands.h"
#include "writer/McfFileWriter.h"

namespace {

const unsigned int kWidth = 1024;
const unsigned int kHeight = 256;
const unsigned int kSeriesFrames = 1024;  // 1 MiB a frame, 1 GiB in all

std::string TempName(const std::string& what) { return kvmcftools::ScratchPath("exportbench" + what); }

// The series file, written once for the whole run and removed at exit.
struct Series {
    std::string path = TempName(".mcf");
    Series() {
        if (!kvmcftools::WriteSyntheticSeries(path, kWidth, kHeight, kSeriesFrames)) std::abort();
    }
    ~Series() { std::remove(path.c_str()); }
};

const Series& TheSeries() {
    static const Series series;
    return series;
}

void Run(benchmark::State& state, const std::string& out, const std::vector<std::string>& command) {
    const Series& series = TheSeries();
    for (auto _ : state) {
        if (command.empty()) {
            if (std::system(("cp " + series.path + " " + out).c_str()) != 0) state.SkipWithError("cp failed");
        } else {
            std::vector<std::string> args{"kvmcf", "export", series.path, out, "--quiet"};
            args.insert(args.end(), command.begin(), command.end());
            std::vector<const char*> argv;
            for (const std::string& a : args) argv.push_back(a.c_str());
            if (kvmcftools::RunTool(static_cast<int>(argv.size()), argv.data()) != 0)
                state.SkipWithError("export failed");
        }
        state.PauseTiming();
        std::remove(out.c_str());
        ::sync();  // every contender starts with no dirty pages of the last one to write back
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kHeight * kSeriesFrames * 4);
}

void CopyWithCp(benchmark::State& state) { Run(state, TempName("-copy.mcf"), {}); }
void ExportTiff(benchmark::State& state) { Run(state, TempName(".tif"), {"--format", "tiff"}); }
void ExportHdf5(benchmark::State& state) { Run(state, TempName(".h5"), {"--format", "hdf5"}); }

// cp first, so the series is in the page cache for every contender alike; then rounds
// of all three, so a busy machine slows each of them alike.
#define ROUND                                                                          \
    BENCHMARK(CopyWithCp)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2); \
    BENCHMARK(ExportTiff)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2); \
    BENCHMARK(ExportHdf5)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(2)
ROUND;
ROUND;
ROUND;

}  // namespace

BENCHMARK_MAIN();
