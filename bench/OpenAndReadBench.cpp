// Opening and reading a large series against a plain read of the same bytes.
// Prints GiB/s for each; compare the ratios, not the absolute figures.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "api/kvmcfio.h"
#include "writer/McfFileWriter.h"

namespace {

const unsigned int kSide = 512;
const unsigned int kFrames = 256;

struct BigFile {
    std::string path;
    long long bytes = 0;

    BigFile() {
        path = kvmcftools::ScratchPath("openbench.mcf");
        if (!kvmcftools::WriteSyntheticSeries(path, kSide, kSide, kFrames)) std::abort();
        FILE* f = std::fopen(path.c_str(), "rb");
        std::fseek(f, 0, SEEK_END);
        bytes = std::ftell(f);
        std::fclose(f);
    }
    ~BigFile() { std::remove(path.c_str()); }
};

BigFile& File() {
    static BigFile file;
    return file;
}

std::vector<float>& Buffer() {
    static std::vector<float> buffer(static_cast<std::size_t>(kSide) * kSide * kFrames);
    return buffer;
}

void Open(KVMCF_ReadMode mode) {
    KVMCF_SetFileAccessMode(mode);
    std::string path = File().path;
    if (KVMCF_ReadFromFile(&path[0]) != KVMCF_SUCCESS) std::abort();
}

void Report(benchmark::State& state, long long bytesPerIteration) {
    state.SetBytesProcessed(state.iterations() * bytesPerIteration);
}

// The baselines: the whole file read with pread into one destination, either one
// already in use (as GetAllFrames writes into the caller's buffer) or freshly
// allocated (as a read-all open allocates its frames).
void PreadWhole(char* destination) {
    const int fd = open(File().path.c_str(), O_RDONLY);
    long long at = 0;
    ssize_t n;
    while (at < File().bytes && (n = pread(fd, destination + at, File().bytes - at, at)) > 0) at += n;
    close(fd);
    benchmark::DoNotOptimize(destination);
}

void BM_PlainPread(benchmark::State& state) {
    std::vector<char> destination(static_cast<std::size_t>(File().bytes));
    for (auto _ : state) PreadWhole(destination.data());
    Report(state, File().bytes);
}

void BM_PlainPreadFreshBuffer(benchmark::State& state) {
    for (auto _ : state) {
        std::unique_ptr<char[]> destination(new char[static_cast<std::size_t>(File().bytes)]);
        PreadWhole(destination.get());
    }
    Report(state, File().bytes);
}

void BM_OpenReadAll(benchmark::State& state) {
    for (auto _ : state) {
        Open(KVMCF_READ_ALL);
        KVMCF_CloseFile();
    }
    Report(state, File().bytes);
}

void BM_OpenHeaderOnly(benchmark::State& state) {
    for (auto _ : state) {
        Open(KVMCF_READ_HEADER_ONLY);
        KVMCF_CloseFile();
    }
    Report(state, File().bytes);
}

void BM_HeaderOnlyOpenPlusGetAllFrames(benchmark::State& state) {
    const unsigned int floats = kSide * kSide * kFrames;
    for (auto _ : state) {
        Open(KVMCF_READ_HEADER_ONLY);
        if (KVMCF_GetAllFrames(KVMCF_SIGNAL, Buffer().data(), floats) != KVMCF_SUCCESS) std::abort();
        KVMCF_CloseFile();
    }
    Report(state, File().bytes);
}

void BM_GetAllFrames(benchmark::State& state) {
    Open(KVMCF_READ_HEADER_ONLY);
    const unsigned int floats = kSide * kSide * kFrames;
    for (auto _ : state)
        if (KVMCF_GetAllFrames(KVMCF_SIGNAL, Buffer().data(), floats) != KVMCF_SUCCESS) std::abort();
    KVMCF_CloseFile();
    Report(state, static_cast<long long>(floats) * 4);
}

void BM_SequentialGetFrame(benchmark::State& state) {
    Open(KVMCF_READ_HEADER_ONLY);
    const unsigned int length = kSide * kSide;
    for (auto _ : state)
        for (unsigned int f = 0; f < kFrames; ++f)
            if (KVMCF_GetFrame(KVMCF_SIGNAL, f, Buffer().data() + static_cast<std::size_t>(f) * length, length) !=
                KVMCF_SUCCESS)
                std::abort();
    KVMCF_CloseFile();
    Report(state, static_cast<long long>(length) * kFrames * 4);
}

}  // namespace

BENCHMARK(BM_PlainPread)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_PlainPreadFreshBuffer)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OpenReadAll)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_OpenHeaderOnly)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_HeaderOnlyOpenPlusGetAllFrames)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_GetAllFrames)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_SequentialGetFrame)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
