// Per-frame number lines of a long kinetic series, read by the record lexer (one
// value at a time, and as whole arrays) and by formatted extraction, from memory, from
// a standard file stream and from the library's own file stream: MB/s of each, and
// the lexer's speed-up over formatted extraction in the same run.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "api/FileStreamBuf.h"
#include "api/MemoryStream.h"
#include "records/RecordStream.h"

namespace {

constexpr unsigned kLines = 1000000;

// "%10u\n" time stamps, or "%20llu\n" metadata words of a 1 MHz clock.
std::string MakeLines(bool metaData) {
    std::string text;
    char line[32];
    unsigned long long tick = 1234567;
    for (unsigned i = 0; i < kLines; ++i) {
        tick += 1000 + (i * 2654435761u) % 97;
        if (metaData)
            std::snprintf(line, sizeof line, "%20llu\n", tick * 1000003ull);
        else
            std::snprintf(line, sizeof line, "%10u\n", static_cast<unsigned>(tick));
        text += line;
    }
    return text;
}

const std::string& Lines(bool metaData) {
    static const std::string stamps = MakeLines(false), words = MakeLines(true);
    return metaData ? words : stamps;
}

const std::string& FileOf(bool metaData) {
    static std::map<bool, std::string> paths;
    std::string& path = paths[metaData];
    if (path.empty()) {
        path = std::string("/tmp/kvmcf_lexer_bench_") + (metaData ? "words" : "stamps") + ".txt";
        std::ofstream(path, std::ios::binary) << Lines(metaData);
    }
    return path;
}

enum class Source { Memory, File, LibraryFile };
enum class Reader { Formatted, Lexer, Array };

template <class T>
void ReadLines(benchmark::State& state, bool metaData, Source source, Reader reader) {
    const std::string& text = Lines(metaData);
    for (auto _ : state) {
        std::unique_ptr<std::istream> is;
        if (source == Source::Memory)
            is = std::make_unique<TMemoryStream>(text.data(), text.size());
        else if (source == Source::File)
            is = std::make_unique<std::ifstream>(FileOf(metaData), std::ios::binary);
        else
            is = std::make_unique<TFileStream>(FileOf(metaData).c_str());
        T value = 0, sum = 0;
        if (reader == Reader::Array) {
            static std::vector<T> values(kLines);
            RecordStream::ReadArray(*is, values.data(), kLines);
            for (T v : values) sum += v;
        }
        for (unsigned i = 0; i < kLines && reader != Reader::Array; ++i) {
            if (reader == Reader::Lexer)
                RecordStream::Read(*is, value);
            else
                RecordStream::ReadFormatted(*is, value);
            sum += value;
        }
        if (!*is) state.SkipWithError("stream failed");
        benchmark::DoNotOptimize(sum);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(text.size()));
}

void Register(const char* lines, bool metaData) {
    static const char* const sources[] = {"/memory/", "/file/", "/libfile/"};
    static const char* const readers[] = {"formatted", "lexer", "array"};
    for (Source source : {Source::Memory, Source::File, Source::LibraryFile}) {
        for (Reader reader : {Reader::Formatted, Reader::Lexer, Reader::Array}) {
            const std::string name = std::string(lines) + sources[static_cast<int>(source)] +
                                     readers[static_cast<int>(reader)];
            auto run = [=](benchmark::State& s) {
                if (metaData)
                    ReadLines<unsigned long long>(s, true, source, reader);
                else
                    ReadLines<unsigned int>(s, false, source, reader);
            };
            benchmark::RegisterBenchmark(name.c_str(), run)->Unit(benchmark::kMillisecond);
        }
    }
}

// The usual table, then the lexer's speed-up over formatted extraction per case, in
// CPU time, which a busy machine disturbs less than wall time.
class RatioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs) {
            // Plain runs, or the median when repetitions are asked for.
            if (run.run_type == Run::RT_Aggregate && run.aggregate_name != "median") continue;
            times_[run.run_name.str()] = run.GetAdjustedCPUTime();
        }
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\nspeed-up of the lexer over formatted extraction from the same source\n");
        for (const auto& [name, time] : times_) {
            const std::size_t cut = name.rfind('/');
            const std::string reader = name.substr(cut + 1);
            if (reader != "lexer" && reader != "array") continue;
            const auto base = times_.find(name.substr(0, cut) + "/formatted");
            if (base != times_.end()) std::printf("  %-30s %6.2fx\n", name.c_str(), base->second / time);
        }
    }

private:
    std::map<std::string, double> times_;
};

}  // namespace

int main(int argc, char** argv) {
    Register("stamps_10u", false);
    Register("words_20llu", true);
    benchmark::Initialize(&argc, argv);
    RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    for (bool metaData : {false, true}) std::remove(FileOf(metaData).c_str());
    return 0;
}
