// kvmcf::File on a 256 MiB series: the open in either mode (both read headers only),
// the frames view of a mapped file against mapping and touching the file by hand,
// readFrames from a path and through a caller's reader against a plain pread of the
// same bytes, and frame reads from one thread against four. Compare the ratios, not
// the figures.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "kvmcf/kvmcf.hpp"
#include "writer/McfFileWriter.h"

namespace {

const unsigned int kWidth = 1024;
const unsigned int kHeight = 256;
const unsigned int kSeriesFrames = 256;  // 1 MiB a frame
const std::size_t kPage = 4096;

// The series file, written once for the whole run and removed at exit.
struct Series {
    std::string path;
    long long start = 0;
    long long pixelBytes = 0;

    Series() {
        path = kvmcftools::ScratchPath("filebench.mcf");
        if (!kvmcftools::WriteSyntheticSeries(path, kWidth, kHeight, kSeriesFrames)) std::abort();
        const kvmcf::File file = kvmcf::File::open(path, kvmcf::ReadMode::HeaderOnly);
        start = file.source(kvmcf::SourceId::Signal).dataStart();
        pixelBytes = static_cast<long long>(kWidth) * kHeight * kSeriesFrames * 4;
    }
    ~Series() { std::remove(path.c_str()); }
};

const Series& TheSeries() {
    static const Series series;
    return series;
}

// One read of every page, as a caller scanning the pixels would.
unsigned int TouchPages(const char* data, std::size_t bytes) {
    unsigned int sum = 0;
    for (std::size_t at = 0; at < bytes; at += kPage) sum += static_cast<unsigned char>(data[at]);
    return sum;
}

void BM_Open(benchmark::State& state) {
    const kvmcf::ReadMode mode = state.range(0) ? kvmcf::ReadMode::All : kvmcf::ReadMode::HeaderOnly;
    for (auto _ : state) benchmark::DoNotOptimize(kvmcf::File::open(TheSeries().path, mode));
}

// The baseline of the view: the open, then the file mapped and touched by hand.
void BM_HeaderOnlyOpenMapAndTouchByHand(benchmark::State& state) {
    const Series& s = TheSeries();
    for (auto _ : state) {
        const kvmcf::File file = kvmcf::File::open(s.path, kvmcf::ReadMode::HeaderOnly);
        const int fd = open(s.path.c_str(), O_RDONLY);
        struct stat st;
        fstat(fd, &st);
        void* map = mmap(nullptr, static_cast<std::size_t>(st.st_size), PROT_READ, MAP_SHARED, fd, 0);
        benchmark::DoNotOptimize(
            TouchPages(static_cast<const char*>(map) + s.start, static_cast<std::size_t>(s.pixelBytes)));
        munmap(map, static_cast<std::size_t>(st.st_size));
        close(fd);
    }
    state.SetBytesProcessed(state.iterations() * s.pixelBytes);
}

void BM_HeaderOnlyOpenFramesView(benchmark::State& state) {
    const Series& s = TheSeries();
    for (auto _ : state) {
        const kvmcf::File file = kvmcf::File::open(s.path, kvmcf::ReadMode::HeaderOnly);
        const kvmcf::FrameView view = file.source(kvmcf::SourceId::Signal).frames();
        benchmark::DoNotOptimize(TouchPages(reinterpret_cast<const char*>(view.bytes()), view.size() * 4));
    }
    state.SetBytesProcessed(state.iterations() * s.pixelBytes);
}

void BM_PlainPreadOfThePixels(benchmark::State& state) {
    const Series& s = TheSeries();
    std::vector<float> out(static_cast<std::size_t>(s.pixelBytes / 4));
    const int fd = open(s.path.c_str(), O_RDONLY);
    for (auto _ : state) {
        char* to = reinterpret_cast<char*>(out.data());
        long long done = 0;
        while (done < s.pixelBytes) {
            const ssize_t n = pread(fd, to + done, static_cast<std::size_t>(s.pixelBytes - done), s.start + done);
            if (n <= 0) std::abort();
            done += n;
        }
        benchmark::DoNotOptimize(out.data());
    }
    close(fd);
    state.SetBytesProcessed(state.iterations() * s.pixelBytes);
}

// From the path (0), or through a reader that preads the same file (1).
void BM_ReadFramesAll(benchmark::State& state) {
    const Series& s = TheSeries();
    const int fd = ::open(s.path.c_str(), O_RDONLY);
    auto preads = [fd](unsigned long long offset, void* out, std::size_t length) -> std::size_t {
        const ssize_t n = ::pread(fd, out, length, static_cast<off_t>(offset));
        return n > 0 ? static_cast<std::size_t>(n) : 0;
    };
    struct stat st {};
    fstat(fd, &st);
    const kvmcf::File file = state.range(0) ? kvmcf::File::fromReader(preads, static_cast<unsigned long long>(st.st_size))
                                            : kvmcf::File::open(s.path, kvmcf::ReadMode::HeaderOnly);
    const kvmcf::Source& signal = file.source(kvmcf::SourceId::Signal);
    std::vector<float> out(static_cast<std::size_t>(s.pixelBytes / 4));
    for (auto _ : state) {
        signal.readFrames(0, kSeriesFrames, out.data());
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(state.iterations() * s.pixelBytes);
    close(fd);
}

// Every thread reads its own share of the frames, one frame at a time, from one File,
// and hands each frame to `work`.
template <class Work>
void ReadShare(benchmark::State& state, Work work) {
    static const kvmcf::File file = kvmcf::File::open(TheSeries().path, kvmcf::ReadMode::HeaderOnly);
    const kvmcf::Source& signal = file.source(kvmcf::SourceId::Signal);
    std::vector<float> frame(kWidth * kHeight);
    const unsigned int threads = static_cast<unsigned int>(state.threads());
    long long bytes = 0;
    for (auto _ : state) {
        double sum = 0;
        for (unsigned int f = static_cast<unsigned int>(state.thread_index()); f < kSeriesFrames; f += threads) {
            signal.readFrame(f, frame.data());
            sum += work(frame);
            bytes += static_cast<long long>(frame.size()) * 4;
        }
        benchmark::DoNotOptimize(sum);
        benchmark::DoNotOptimize(frame.data());
    }
    state.SetBytesProcessed(bytes);
}

void BM_ReadFrameThreads(benchmark::State& state) {
    ReadShare(state, [](const std::vector<float>&) { return 0.0; });
}

// The same with the work a caller does on each frame (a sum of its pixels): the part
// of the scaling that is not the machine's memory bandwidth.
void BM_ReadAndSumFrameThreads(benchmark::State& state) {
    ReadShare(state, [](const std::vector<float>& frame) {
        double sum = 0;
        for (float v : frame) sum += v;
        return sum;
    });
}

// The machine's own ceiling: each thread copies its share of a 256 MiB block, a
// frame at a time, with no file at all.
void BM_MemcpyThreads(benchmark::State& state) {
    static const std::vector<char> block(static_cast<std::size_t>(TheSeries().pixelBytes), 1);
    std::vector<char> frame(static_cast<std::size_t>(kWidth) * kHeight * 4);
    const std::size_t threads = static_cast<std::size_t>(state.threads());
    long long bytes = 0;
    for (auto _ : state) {
        for (std::size_t f = static_cast<std::size_t>(state.thread_index()); f < kSeriesFrames; f += threads) {
            std::memcpy(frame.data(), block.data() + f * frame.size(), frame.size());
            bytes += static_cast<long long>(frame.size());
        }
        benchmark::DoNotOptimize(frame.data());
    }
    state.SetBytesProcessed(bytes);
}

}  // namespace

BENCHMARK(BM_Open)->Unit(benchmark::kMillisecond)->UseRealTime()->ArgName("all")->Arg(0)->Arg(1);
BENCHMARK(BM_HeaderOnlyOpenMapAndTouchByHand)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_HeaderOnlyOpenFramesView)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_PlainPreadOfThePixels)->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(2.0);
BENCHMARK(BM_ReadFramesAll)->Unit(benchmark::kMillisecond)->UseRealTime()->ArgName("reader")->Arg(0)->Arg(1)->MinTime(2.0);
BENCHMARK(BM_ReadFrameThreads)->Unit(benchmark::kMillisecond)->UseRealTime()->ThreadRange(1, 4)->MinTime(2.0);
BENCHMARK(BM_ReadAndSumFrameThreads)->Unit(benchmark::kMillisecond)->UseRealTime()->Threads(1)->Threads(4);
BENCHMARK(BM_MemcpyThreads)->Unit(benchmark::kMillisecond)->UseRealTime()->Threads(1)->Threads(4)->MinTime(2.0);

int main(int argc, char** argv) {
    // Written before any timing starts.
    TheSeries();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
