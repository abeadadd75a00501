// Every exported query's answer, and the diagnosis, on the whole generated corpus
// against answers recorded from an earlier build: no refactor may change a byte a
// caller sees. The corpus: the fuzzers' whole-file seeds; a signal file with each
// record replaced by every seed the fuzzers have for it; every prefix of the
// five-source file with its section; the demo file. Each is opened from a path and
// from memory, in both read modes. With KVMCF_GOLDEN_WRITE set, the test records.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <map>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "api/PropertyTable.h"
#include "api/kvmcfio.h"
#include "cxx/ReadDiagnosis.h"
#include "writer/DemoFile.h"

// The fuzzers' own seed generator, so that the corpus here is exactly theirs.
#define main MakeCorpusMain
#include "fuzz/make_corpus.cpp"
#undef main

namespace golden {

const char kAnswerFile[] = KVMCF_SOURCE_DIR "/tests/api/data/golden_answers.txt";
const std::size_t kCutBlock = 64;  // prefixes hashed this many cuts at a time

std::uint64_t Hash(const std::string& text, std::uint64_t h = 1469598103934665603ull) {
    for (unsigned char c : text) h = (h ^ c) * 1099511628211ull;
    return h;
}

std::string Hex(std::uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value));
    return text;
}

std::string ReadBytes(const std::string& path) {
    std::ostringstream os;
    os << std::ifstream(path, std::ios::binary).rdbuf();
    return os.str();
}

std::vector<std::string> Listing(const std::string& dir) {
    std::vector<std::string> names;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(dir, ec))
        if (e.path().filename().string()[0] != '.') names.push_back(e.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

// Everything the exported queries answer on the open file, as text; with nothing
// open, only that.
struct Walk {
    const std::vector<std::string>& names_;
    std::string out_;

    std::string Everything() {
        out_.clear();
        int loaded = -1;
        Put({"loaded", T(KVMCF_IsLoaded(&loaded)), T(loaded)});
        if (loaded != 1) return out_;
        for (int element : {0, 1, 2, 3, 9}) {
            unsigned int high = 77, low = 77;
            const auto e = static_cast<KVMCF_StructureElement>(KVMCF_STRUCTURE_FILE + element);
            Put({"version", T(KVMCF_GetStructureVersion(e, &high, &low)), T(high), T(low)});
        }
        for (int source : {0, 1, 2, 3, 4, 9}) Source(static_cast<KVMCF_DataSource>(KVMCF_SIGNAL + source));
        return out_;
    }

    // Braces evaluate in order: each query runs before its outputs are printed.
    void Put(std::initializer_list<std::string> words) {
        for (const std::string& word : words) out_ += (&word == words.begin() ? "" : " ") + word;
        out_ += '\n';
    }
    template <class V>
    static std::string T(V value) { return std::to_string(value); }
    static std::string T(double value) {  // the bits, exactly
        std::uint64_t bits = 0;
        std::memcpy(&bits, &value, sizeof bits);
        return Hex(bits);
    }
    static std::string Floats(const std::vector<float>& v) {
        return Hex(Hash(std::string(reinterpret_cast<const char*>(v.data()), v.size() * sizeof(float))));
    }
    // The first three indexes, the last and the first one past it.
    static std::vector<unsigned int> Indexes(unsigned int count) {
        std::vector<unsigned int> indexes;
        for (unsigned int i = 0; i < count && i < 3; ++i) indexes.push_back(i);
        if (count > 3) indexes.push_back(count - 1);
        indexes.push_back(count);
        return indexes;
    }

    void Source(KVMCF_DataSource source) {
        int present = -1;
        Put({"present", T(KVMCF_IsDataSourcePresent(source, &present)), T(present)});
        unsigned int size = 0, frames = 0, subs = 0;
        Put({"counts", T(KVMCF_GetFrameSize(source, &size)), T(size), T(KVMCF_GetNumberFrames(source, &frames)),
             T(frames), T(KVMCF_GetNumberSubImages(source, &subs)), T(subs)});
        std::vector<int> pixels = {-1, 0, 1, 2, 1024, 1025};
        for (unsigned int index : Indexes(subs)) {
            unsigned int l = 0, b = 0, r = 0, t = 0, h = 0, v = 0;
            Put({"sub", T(KVMCF_GetSubImageInfo(source, index, &l, &b, &r, &t, &h, &v)), T(l), T(b), T(r), T(t), T(h),
                 T(v)});
            for (unsigned int edge : {l, r, b, t}) pixels.push_back(static_cast<int>(edge) + 1);
        }
        const unsigned long long limit = 1ull << 22;
        if (size <= limit)
            for (unsigned int index : Indexes(frames)) {
                std::vector<float> buffer(size + 1, -3.5f);
                Put({"frame", T(KVMCF_GetFrame(source, index, buffer.data(), size)), Floats(buffer)});
            }
        if (static_cast<unsigned long long>(size) * frames <= limit) {
            std::vector<float> buffer(size * frames + 1, -3.5f);
            Put({"all", T(KVMCF_GetAllFrames(source, buffer.data(), size * frames)), Floats(buffer)});
        }
        long long start = -5;
        Put({"start", T(KVMCF_GetDataStartBytePosition(source, &start)), T(start)});
        char value[256];
        for (const std::string& name : names_) {
            std::memset(value, 'x', sizeof value);
            KVMCF_PropertyType type = static_cast<KVMCF_PropertyType>(99);
            Put({"property", T(KVMCF_GetPropertyValue(source, name.c_str(), value, sizeof value)),
                 (value[sizeof value - 1] = '\0', value), T(KVMCF_GetPropertyType(source, name.c_str(), &type)),
                 T(static_cast<int>(type))});
        }
        for (int axis : {0, 1, 2, 5})
            for (int pixel : pixels) {
                double calibrated = -2.5;
                const auto a = static_cast<KVMCF_CalibrationAxis>(KVMCF_AXIS_X + axis);
                Put({"calibration", T(KVMCF_GetPixelCalibration(source, a, pixel, &calibrated)), T(calibrated)});
            }
    }
};

// Every way to open the file, each with what the queries then answer.
std::string Answers(const std::string& bytes, const std::vector<std::string>& names) {
    static const std::string scratch = kvmcftools::ScratchPath("golden.mcf");
    std::ofstream(scratch, std::ios::binary | std::ios::trunc) << bytes;
    std::vector<char> path(scratch.c_str(), scratch.c_str() + scratch.size() + 1);
    Walk walk{names, {}};
    std::string out;
    for (KVMCF_ReadMode mode : {KVMCF_READ_ALL, KVMCF_READ_HEADER_ONLY}) {
        KVMCF_SetFileAccessMode(mode);
        out += "path " + std::to_string(KVMCF_ReadFromFile(path.data())) + "\n";
        out += walk.Everything();
        KVMCF_CloseFile();
        if (bytes.empty()) continue;
        std::vector<unsigned char> copy(bytes.begin(), bytes.end());
        std::string code;
        try {
            code = std::to_string(KVMCF_ReadFromByteArray(copy.data(), static_cast<unsigned int>(copy.size())));
        } catch (...) {
            code = "thrown";
        }
        out += "bytes " + code + "\n";
        out += walk.Everything();
        KVMCF_CloseFile();
    }
    KVMCF_SetFileAccessMode(KVMCF_READ_ALL);
    return out;
}

// What the diagnosis finds, on one line.
std::string Check(const std::string& bytes) {
    const ReadDiagnosis::Diagnosis d = ReadDiagnosis::DiagnoseBytes(bytes.data(), bytes.size());
    std::string line = d.Describe();
    auto n = [](auto value) { return std::to_string(value); };
    for (const ReadDiagnosis::SourceState& s : d.sources)
        line += " | " + n(s.count) + " " + n(s.reached) + n(s.intact) + " " + n(s.frames) + " " + n(s.wholeFrames) +
                " " + n(s.frameLength) + " " + n(s.headerOffset) + " " + n(s.dataStart);
    return line + " | " + n(d.fileSize) + " " + n(d.formatKnown) + " " + n(d.versionWord) + " " +
           n(d.hasExtension) + " " + n(d.extensionOffset);
}

// Headers carry the time they were written: every ten-digit time from the making of
// the corpus becomes one fixed time of the same length.
void FixTime(std::string& bytes, std::time_t from, std::time_t to) {
    for (std::time_t t = from - 1; t <= to + 1; ++t) {
        const std::string text = std::to_string(static_cast<long long>(t));
        for (std::size_t at = bytes.find(text); at != std::string::npos; at = bytes.find(text, at))
            bytes.replace(at, text.size(), "1700000000");
    }
}

// The named files of the corpus, and the five-source file whose prefixes are the cuts.
std::vector<std::pair<std::string, std::string>> Corpus(std::string& sectioned) {
    const std::time_t start = std::time(nullptr);
    char folder[] = "/tmp/kvmcfgolden.XXXXXX";
    const std::string seeds = std::string(mkdtemp(folder) ? folder : "/tmp") + "/seeds";
    std::string arg0 = "make_corpus", arg1 = seeds;
    char* argv[] = {&arg0[0], &arg1[0], nullptr};
    MakeCorpusMain(2, argv);

    std::vector<std::pair<std::string, std::string>> files;
    for (const std::string& name : Listing(seeds + "/fuzz_open_bytes"))
        files.emplace_back("file/" + name, ReadBytes(seeds + "/fuzz_open_bytes/" + name));
    sectioned = ReadBytes(seeds + "/fuzz_open_bytes/five-sources-xml");

    std::unique_ptr<TMCFIOManager::TImage> image(
        MakeImage(3, {TSubImage(1, 4, 8, 1, 1, 1), TSubImage(1, 8, 4, 5, 2, 2)}, true, "DU420_BV"));
    kvmcftools::McfFileContent content;
    content.images[0] = image.get();
    const std::string file = kvmcftools::McfFileBytes(content);
    TKestoImageData& header = image->Header();
    // Header records are found from the front, the calibration and image data from the back.
    const std::tuple<const char*, std::string, bool> sites[] = {
        {"fuzz_header", Written(header), false},
        {"fuzz_spect", Written(header.GetSpectSave()), false},
        {"fuzz_kavrispect", Written(header.GetKavriSpectSave()), false},
        {"fuzz_shutter", Written(header.GetShutter()), false},
        {"fuzz_iccd", Written(header.GetICCDSave()), false},
        {"fuzz_crop", Written(header.GetCropSave()), false},
        {"fuzz_usertext", Written(header.GetUserText()), false},
        {"fuzz_calib", Written(static_cast<TCalibImageData&>(image->calibImage)), true},
        {"fuzz_image", Written(static_cast<TKavriImageData&>(image->calibImage)), true},
    };
    for (const auto& [fuzzer, site, last] : sites) {
        const std::size_t at = site.empty() ? std::string::npos : last ? file.rfind(site) : file.find(site);
        for (const std::string& name : Listing(seeds + "/" + fuzzer)) {
            const std::string seed = ReadBytes(seeds + "/" + fuzzer + "/" + name);
            files.emplace_back(std::string("record/") + fuzzer + "/" + name,
                               at == std::string::npos ? "" : std::string(file).replace(at, site.size(), seed));
        }
    }

    const std::string demo = kvmcftools::ScratchPath("golden-demo");
    kvmcftools::WriteDemoFile(demo);
    files.emplace_back("demo", ReadBytes(demo));
    std::remove(demo.c_str());
    const std::time_t end = std::time(nullptr);
    for (auto& f : files) FixTime(f.second, start, end);
    FixTime(sectioned, start, end);
    return files;
}

// One line per named file: its label, the hash of every answer and the diagnosis;
// then one line per block of cuts with the hash of their answers and diagnoses.
std::vector<std::string> AnswerLines(const std::vector<std::string>& names) {
    std::string sectioned;
    std::vector<std::string> lines;
    for (const auto& [label, bytes] : Corpus(sectioned))
        lines.push_back(label + " " + Hex(Hash(Answers(bytes, names))) + " " + Check(bytes));
    for (std::size_t from = 0; from < sectioned.size(); from += kCutBlock) {
        std::uint64_t h = Hash("");
        const std::size_t to = std::min(sectioned.size(), from + kCutBlock);
        for (std::size_t cut = from; cut < to; ++cut) {
            const std::string prefix = sectioned.substr(0, cut);
            h = Hash(Answers(prefix, names) + Check(prefix), h);
        }
        lines.push_back("cuts/" + std::to_string(from) + "-" + std::to_string(to - 1) + " " + Hex(h));
    }
    return lines;
}

// Recording: the vocabulary as it stands, each indexed name with indexes in and out of range.
void Record(const char* path) {
    std::vector<std::string> names = {"", "NoSuchProperty", "XTimeStamp", "SubImageLeft2", "SubImageTop0"};
    std::size_t count = 0;
    const PropertyTable::Row* rows = PropertyTable::ValueRows(&count);
    for (std::size_t i = 0; i < count; ++i) {
        names.push_back(rows[i].name);
        if (PropertyTable::IsIndexed(rows[i]))
            for (const char* index : {"0", "1", "2", "3", "-1", "4294967296"})
                names.push_back(std::string(rows[i].name) + index);
    }
    std::ofstream os(path);
    os << "names " << names.size() << "\n";
    for (const std::string& name : names) os << name << "\n";
    for (const std::string& line : AnswerLines(names)) os << line << "\n";
}

}  // namespace golden

TEST(GoldenAnswers, EveryQueryAnswersAsRecordedOnTheWholeCorpus) {
    if (const char* path = std::getenv("KVMCF_GOLDEN_WRITE")) return golden::Record(path);
    std::ifstream is(golden::kAnswerFile);
    std::string word;
    std::size_t count = 0;
    is >> word >> count;
    ASSERT_EQ(word, "names") << golden::kAnswerFile;
    is.ignore(1);
    std::vector<std::string> names(count);
    for (std::string& name : names) std::getline(is, name);

    // Seeds added to the fuzzers since the recording have no line to compare with.
    std::map<std::string, std::string> actual;
    for (const std::string& line : golden::AnswerLines(names)) actual[line.substr(0, line.find(' '))] = line;
    for (std::string line; std::getline(is, line);) {
        const auto found = actual.find(line.substr(0, line.find(' ')));
        ASSERT_NE(found, actual.end()) << line;
        EXPECT_EQ(found->second, line);
    }
}
