// Header-only opens of a long kinetic series (1,000,000 frames of 16 pixels, with
// time stamps and metadata words) against a std::from_chars pass over the same text
// and against the formatted-extraction reader; and the peak resident memory of a
// header-only open of a 1 GiB file, measured in a child process. The ratios the
// open is held to are printed at the end, in CPU time: a busy machine disturbs
// those less than wall time.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "api/kvmcfio.h"
#include "records/RecordLexer.h"
#include "writer/McfFileWriter.h"

namespace {

std::string TempPath(const char* name) {
    const char* dir = std::getenv("TMPDIR");
    return std::string(dir && *dir ? dir : "/tmp") + "/kvmcf-bench-" + std::to_string(getpid()) + "-" + name;
}

// A file whose signal holds `frames` frames of `pixels` pixels; the pixel block is
// written as zeros after the records, which are written header-only.
struct SeriesFile {
    std::string path;
    long long textStart = 0, textEnd = 0;  // the per-frame lines

    SeriesFile(const char* name, unsigned int frames, unsigned int side) : path(TempPath(name)) {
        const TSubImage sub(1, side, side, 1, 1, 1);
        // No frames in memory: only the records are written by the library.
        TMCFIOManager::TImage image(TKavriRect(1, side, side, 1), 1, &sub, frames, DataStore::Float, false);
        TCalibImage& data = image.calibImage;
        for (unsigned int f = 0; f < frames; ++f) {
            data.SetTimeStamp(f, f * 37u);
            data.SetMetaDataWord(f, 1000000007ULL * f);
        }
        data.SetMetaDataFlag(1);
        data.SetHeaderOnly(true);
        std::ofstream os(path, std::ios::binary);
        os << kvmcftools::kMagicLine << "\n65538\n1\n";
        os << image.Header() << static_cast<TCalibImageData&>(data);
        const long long before = os.tellp();
        os << static_cast<TKavriImageData&>(data);
        textEnd = os.tellp();
        textStart = before;
        const std::vector<char> zeros(1 << 20, 0);
        long long left = static_cast<long long>(frames) * side * side * 4;
        while (left > 0) {
            const long long n = std::min<long long>(left, static_cast<long long>(zeros.size()));
            os.write(zeros.data(), n);
            left -= n;
        }
        os << "0\n0\n0\n0\n";
        if (!os) std::abort();
    }
    ~SeriesFile() { std::remove(path.c_str()); }
};

SeriesFile& LongSeries() {
    static SeriesFile file("series.mcf", 1000000, 4);
    return file;
}

void OpenHeaderOnly(const std::string& path) {
    std::string p = path;
    KVMCF_SetFileAccessMode(KVMCF_READ_HEADER_ONLY);
    if (KVMCF_ReadFromFile(&p[0]) != KVMCF_SUCCESS) std::abort();
    KVMCF_CloseFile();
}

void BM_HeaderOnlyOpen(benchmark::State& state) {
    for (auto _ : state) OpenHeaderOnly(LongSeries().path);
    state.SetBytesProcessed(state.iterations() * (LongSeries().textEnd - LongSeries().textStart));
}

void BM_HeaderOnlyOpenFormattedExtraction(benchmark::State& state) {
    RecordLexer::UseFormattedExtraction(true);
    for (auto _ : state) OpenHeaderOnly(LongSeries().path);
    RecordLexer::UseFormattedExtraction(false);
    state.SetBytesProcessed(state.iterations() * (LongSeries().textEnd - LongSeries().textStart));
}

// The floor: read the same text from the file and convert every number in it.
void BM_FromCharsPass(benchmark::State& state) {
    const SeriesFile& f = LongSeries();
    std::vector<char> text(static_cast<std::size_t>(f.textEnd - f.textStart));
    for (auto _ : state) {
        const int fd = open(f.path.c_str(), O_RDONLY);
        if (pread(fd, text.data(), text.size(), f.textStart) != static_cast<ssize_t>(text.size())) std::abort();
        close(fd);
        unsigned long long sum = 0, value = 0;
        const char* p = text.data();
        const char* end = p + text.size();
        while (p < end) {
            while (p < end && (*p == ' ' || *p == '\n')) ++p;
            const auto r = std::from_chars(p, end, value);
            if (r.ec != std::errc()) {
                ++p;
                continue;
            }
            sum += value;
            p = r.ptr;
        }
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(state.iterations() * (f.textEnd - f.textStart));
}

// Peak resident memory of a header-only open of a 1 GiB file, in a fresh process.
void BM_PeakMemoryHeaderOnlyOneGiB(benchmark::State& state) {
    static SeriesFile big("big.mcf", 256, 1024);
    long peakKiB = 0, baseKiB = 0;
    for (auto _ : state) {
        int pipeFds[2];
        if (pipe(pipeFds) != 0) std::abort();
        const pid_t child = fork();
        if (child == 0) {
            rusage before{};
            getrusage(RUSAGE_SELF, &before);
            OpenHeaderOnly(big.path);
            rusage after{};
            getrusage(RUSAGE_SELF, &after);
            const long both[2] = {before.ru_maxrss, after.ru_maxrss};
            if (write(pipeFds[1], both, sizeof both) != sizeof both) _exit(1);
            _exit(0);
        }
        long both[2] = {};
        if (read(pipeFds[0], both, sizeof both) != sizeof both) std::abort();
        waitpid(child, nullptr, 0);
        close(pipeFds[0]);
        close(pipeFds[1]);
        baseKiB = both[0];
        peakKiB = both[1];
    }
    state.counters["peak_rss_MiB"] = peakKiB / 1024.0;
    state.counters["rss_before_open_MiB"] = baseKiB / 1024.0;
    state.counters["per_frame_arrays_MiB"] = 256 * 12 / (1024.0 * 1024.0);
}

}  // namespace

BENCHMARK(BM_FromCharsPass)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_HeaderOnlyOpen)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_HeaderOnlyOpenFormattedExtraction)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PeakMemoryHeaderOnlyOneGiB)->Unit(benchmark::kMillisecond)->Iterations(1);

namespace {

class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (run.run_type != Run::RT_Aggregate || run.aggregate_name == "median")
                cpu_[run.benchmark_name()] = run.GetAdjustedCPUTime();
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        const double floor = Cpu("BM_FromCharsPass"), open = Cpu("BM_HeaderOnlyOpen"),
                     formatted = Cpu("BM_HeaderOnlyOpenFormattedExtraction");
        if (floor > 0 && open > 0) std::printf("\nheader-only open / from_chars pass:        %5.2f\n", open / floor);
        if (open > 0 && formatted > 0) std::printf("formatted-extraction open / header-only open: %5.2f\n", formatted / open);
    }

private:
    double Cpu(const std::string& prefix) const {
        for (const auto& [name, time] : cpu_)
            if (name.compare(0, prefix.size(), prefix) == 0 && (name.size() == prefix.size() || name[prefix.size()] == '/'))
                return time;
        return 0;
    }
    std::map<std::string, double> cpu_;
};

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
