// kvmcf export of a 256 MiB and a 1 GiB series to TIFF and HDF5 against
// `cp --reflink=never` of the same file, in one run on one machine: an export should
// cost little more than moving the pixel bytes. Rounds of every contender follow one
// another, so a busy machine slows each alike; the medians and their ratios to cp are
// printed at the end. Each output is removed and the disk synced between runs,
// untimed, so no contender pays for the last one's write-back.
#include <benchmark/benchmark.h>

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <vector>

#include "tools/Commands.h"
#include "writer/McfFileWriter.h"

namespace {

const unsigned int kWidth = 1024;
const unsigned int kHeight = 256;  // 1 MiB a frame
const int kRounds = 5;

struct Series {
    std::string name;
    unsigned int frames;
    std::string path;
};

bool Export(const std::vector<std::string>& args) {
    std::vector<const char*> argv{"kvmcf", "export"};
    for (const std::string& a : args) argv.push_back(a.c_str());
    return kvmcftools::RunTool(static_cast<int>(argv.size()), argv.data()) == 0;
}

void Run(benchmark::State& state, const Series& series, const std::string& format) {
    const std::string out = kvmcftools::ScratchPath("exportbench-out." + (format.empty() ? "mcf" : format));
    for (auto _ : state) {
        bool ok;
        if (format.empty())
            ok = std::system(("cp --reflink=never " + series.path + " " + out).c_str()) == 0;
        else
            ok = Export({series.path, out, "--quiet", "--source", "signal", "--format", format});
        if (!ok) state.SkipWithError("failed");
        state.PauseTiming();
        std::remove(out.c_str());
        ::sync();
        state.ResumeTiming();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * kWidth * kHeight * 4 * series.frames);
}

// Prints as usual and keeps every run's seconds by name for the medians.
class MedianReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& r : runs)
            if (!r.error_occurred) seconds[r.run_name.function_name].push_back(r.real_accumulated_time / r.iterations);
    }
    std::map<std::string, std::vector<double>> seconds;
};

double Median(std::vector<double> v) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    return v.size() % 2 ? v[v.size() / 2] : (v[v.size() / 2 - 1] + v[v.size() / 2]) / 2;
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<Series> series{{"256MiB", 256, kvmcftools::ScratchPath("exportbench-256.mcf")},
                               {"1GiB", 1024, kvmcftools::ScratchPath("exportbench-1024.mcf")}};
    for (const Series& s : series)
        if (!kvmcftools::WriteSyntheticSeries(s.path, kWidth, kHeight, s.frames)) {
            std::fprintf(stderr, "cannot write %s\n", s.path.c_str());
            return 1;
        }
    const std::vector<std::pair<std::string, std::string>> contenders{{"cp", ""}, {"tiff", "tiff"}, {"hdf5", "hdf5"}};
    for (int round = 0; round < kRounds; ++round)
        for (const Series& s : series)
            for (const auto& [name, format] : contenders)
                benchmark::RegisterBenchmark((name + "/" + s.name).c_str(),
                                             [&s, format = format](benchmark::State& st) { Run(st, s, format); })
                    ->Unit(benchmark::kMillisecond)
                    ->UseRealTime()
                    ->Iterations(1);
    benchmark::Initialize(&argc, argv);
    MedianReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);

    std::printf("\nmedian of %d rounds (real time):\n", kRounds);
    for (const Series& s : series) {
        const double cp = Median(reporter.seconds["cp/" + s.name]);
        for (const auto& [name, format] : contenders) {
            const double t = Median(reporter.seconds[name + "/" + s.name]);
            std::printf("  %-5s %-7s %8.1f ms  %5.2fx cp\n", name.c_str(), s.name.c_str(), t * 1000, cp > 0 ? t / cp : 0);
        }
    }
    for (const Series& s : series) std::remove(s.path.c_str());
    return 0;
}
