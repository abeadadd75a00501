// Every exported query's answer, and what the diagnosis says, on the whole generated
// corpus, against answers recorded from an earlier build of the library: reading the
// file in one pass must not change a single byte a caller sees.
//
// The corpus: the fuzzers' whole-file seeds; a signal file with each of its records
// (header, each sub-record, calibration, image data) replaced by every seed the
// fuzzers have for that record (every version word from 1.0 on, plus the hand-typed
// old layouts); every prefix of the five-source file with its extension section; the
// demo file. Each file is opened from a path and from memory, in both read modes.
//
// Built with KVMCF_GOLDEN_WRITE, the program writes the answer file instead.
#include <gtest/gtest.h>

#include <dirent.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "api/kvmcfio.h"
#include "cxx/ReadDiagnosis.h"
#include "writer/DemoFile.h"

// The fuzzers' own seed generator, so that the corpus here is exactly theirs.
#define main MakeCorpusMain
#include "fuzz/make_corpus.cpp"
#undef main

namespace golden {

const char kAnswerFile[] = KVMCF_SOURCE_DIR "/tests/api/data/golden_answers.txt";
// Prefixes are checked in blocks of this many cuts, one hash per block.
const std::size_t kCutBlock = 64;

std::uint64_t Hash(const std::string& text, std::uint64_t h = 1469598103934665603ull) {
    for (unsigned char c : text) h = (h ^ c) * 1099511628211ull;
    return h;
}

std::string Hex(std::uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value));
    return text;
}

std::string Bits(double value) {
    std::uint64_t bits = 0;
    std::memcpy(&bits, &value, sizeof bits);
    return Hex(bits);
}

std::string ReadBytes(const std::string& path) {
    std::ifstream is(path, std::ios::binary);
    std::ostringstream os;
    os << is.rdbuf();
    return os.str();
}

std::vector<std::string> Listing(const std::string& dir) {
    std::vector<std::string> names;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') names.push_back(e->d_name);
        closedir(d);
    }
    std::sort(names.begin(), names.end());
    return names;
}

// Everything the exported queries answer on the open file, as text.
class Walk {
public:
    explicit Walk(const std::vector<std::string>& names) : names_(names) {}

    // Nothing open answers alike everywhere: only that is noted then.
    std::string Everything() {
        out_.clear();
        int loaded = -1;
        const unsigned int loadedCode = KVMCF_IsLoaded(&loaded);
        Put("loaded", loadedCode, loaded);
        if (loaded != 1) return out_;
        for (int element : {0, 1, 2, 3, 9}) {
            unsigned int high = 77, low = 77;
            const unsigned int code =
                KVMCF_GetStructureVersion(static_cast<KVMCF_StructureElement>(KVMCF_STRUCTURE_FILE + element), &high, &low);
            Put("version", code, high, low);
        }
        for (int source : {0, 1, 2, 3, 4, 9}) Source(static_cast<KVMCF_DataSource>(KVMCF_SIGNAL + source));
        return out_;
    }

private:
    template <class... T>
    void Put(const char* what, unsigned int code, T... values) {
        out_ += what;
        out_ += ' ' + std::to_string(code);
        ((out_ += ' ' + Text(values)), ...);
        out_ += '\n';
    }
    template <class T>
    static std::string Text(T value) {
        return std::to_string(value);
    }
    static std::string Text(double value) { return Bits(value); }
    static std::string Text(const std::string& value) { return value; }

    static std::vector<unsigned int> Indexes(unsigned int count) {
        std::vector<unsigned int> indexes;
        for (unsigned int i = 0; i < count && i < 3; ++i) indexes.push_back(i);
        if (count > 3) indexes.push_back(count - 1);
        indexes.push_back(count);
        return indexes;
    }

    static std::string Floats(const std::vector<float>& buffer) {
        return Hex(Hash(std::string(reinterpret_cast<const char*>(buffer.data()), buffer.size() * sizeof(float))));
    }

    void Source(KVMCF_DataSource source) {
        int present = -1;
        const unsigned int presentCode = KVMCF_IsDataSourcePresent(source, &present);
        Put("present", presentCode, present);
        unsigned int size = 0, frames = 0, subs = 0;
        const unsigned int sizeCode = KVMCF_GetFrameSize(source, &size);
        const unsigned int framesCode = KVMCF_GetNumberFrames(source, &frames);
        const unsigned int subsCode = KVMCF_GetNumberSubImages(source, &subs);
        Put("counts", sizeCode, size, framesCode, frames, subsCode, subs);
        std::vector<int> pixels = {-1, 0, 1, 2, 1024, 1025};
        for (unsigned int index : Indexes(subs)) {
            unsigned int l = 0, b = 0, r = 0, t = 0, h = 0, v = 0;
            const unsigned int code = KVMCF_GetSubImageInfo(source, index, &l, &b, &r, &t, &h, &v);
            Put("sub", code, l, b, r, t, h, v);
            for (unsigned int edge : {l, r, b, t}) pixels.push_back(static_cast<int>(edge) + 1);
        }
        const unsigned long long limit = 1ull << 22;
        if (size <= limit) {
            for (unsigned int index : Indexes(frames)) {
                std::vector<float> buffer(size + 1, -3.5f);
                const unsigned int code = KVMCF_GetFrame(source, index, buffer.data(), size);
                Put("frame", code, Floats(buffer));
            }
        }
        if (static_cast<unsigned long long>(size) * frames <= limit) {
            std::vector<float> buffer(size * frames + 1, -3.5f);
            const unsigned int code = KVMCF_GetAllFrames(source, buffer.data(), size * frames);
            Put("all", code, Floats(buffer));
        }
        long long start = -5;
        const unsigned int startCode = KVMCF_GetDataStartBytePosition(source, &start);
        Put("start", startCode, start);

        char value[256];
        for (const std::string& name : names_) {
            std::memset(value, 'x', sizeof value);
            const unsigned int code = KVMCF_GetPropertyValue(source, name.c_str(), value, sizeof value);
            value[sizeof value - 1] = '\0';
            KVMCF_PropertyType type = static_cast<KVMCF_PropertyType>(99);
            const unsigned int typeCode = KVMCF_GetPropertyType(source, name.c_str(), &type);
            Put("property", code, std::string(value), typeCode, static_cast<int>(type));
        }
        for (int axis : {0, 1, 2, 5}) {
            for (int pixel : pixels) {
                double calibrated = -2.5;
                const unsigned int code = KVMCF_GetPixelCalibration(
                    source, static_cast<KVMCF_CalibrationAxis>(KVMCF_AXIS_X + axis), pixel, &calibrated);
                Put("calibration", code, calibrated);
            }
        }
    }

    const std::vector<std::string>& names_;
    std::string out_;
};

// Every way to open the file, each with what the queries then answer.
std::string Answers(const std::string& bytes, const std::vector<std::string>& names) {
    static const std::string scratch = kvmcftools::ScratchPath("golden.mcf");
    std::ofstream(scratch, std::ios::binary | std::ios::trunc).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    std::vector<char> path(scratch.begin(), scratch.end());
    path.push_back('\0');
    Walk walk(names);
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
    for (const ReadDiagnosis::SourceState& s : d.sources)
        line += " | " + std::to_string(s.count) + " " + std::to_string(s.reached) + std::to_string(s.intact) + " " +
                std::to_string(s.frames) + " " + std::to_string(s.wholeFrames) + " " + std::to_string(s.frameLength) +
                " " + std::to_string(s.headerOffset) + " " + std::to_string(s.dataStart);
    line += " | " + std::to_string(d.fileSize) + " " + std::to_string(d.formatKnown) + " " +
            std::to_string(d.versionWord) + " " + std::to_string(d.hasExtension) + " " +
            std::to_string(d.extensionOffset);
    return line;
}

// Replaces `site` (found from the front or, for the records behind the header, from
// the back) by `with`.
std::string Replaced(const std::string& file, const std::string& site, bool last, const std::string& with) {
    const std::size_t at = last ? file.rfind(site) : file.find(site);
    if (at == std::string::npos || site.empty()) return std::string();
    std::string copy = file;
    copy.replace(at, site.size(), with);
    return copy;
}

// Headers are written with the time they were made: any ten-digit number that was
// the time while the corpus was made becomes one fixed time, of the same length.
void FixTime(std::string& bytes, std::time_t from, std::time_t to) {
    for (std::time_t t = from - 1; t <= to + 1; ++t) {
        const std::string text = std::to_string(static_cast<long long>(t));
        for (std::size_t at = bytes.find(text); at != std::string::npos; at = bytes.find(text, at))
            bytes.replace(at, text.size(), "1700000000");
    }
}

// The fuzzers' seeds, written to a fresh folder.
std::string WriteSeeds() {
    char folder[] = "/tmp/kvmcfgolden.XXXXXX";
    const std::string seeds = std::string(mkdtemp(folder) ? folder : "/tmp") + "/seeds";
    char arg0[] = "make_corpus";
    std::vector<char> arg1(seeds.begin(), seeds.end());
    arg1.push_back('\0');
    char* argv[] = {arg0, arg1.data(), nullptr};
    MakeCorpusMain(2, argv);
    return seeds;
}

// The named files of the corpus, and the five-source file whose prefixes are the cuts.
std::vector<std::pair<std::string, std::string>> Corpus(std::string& sectioned) {
    const std::time_t start = std::time(nullptr);
    const std::string seeds = WriteSeeds();
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
    const struct {
        const char* fuzzer;
        std::string site;
        bool last;
    } sites[] = {
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
    for (const auto& site : sites)
        for (const std::string& name : Listing(seeds + "/" + site.fuzzer)) {
            const std::string replaced =
                Replaced(file, site.site, site.last, ReadBytes(seeds + "/" + site.fuzzer + "/" + name));
            files.emplace_back(std::string("record/") + site.fuzzer + "/" + name, replaced);
        }

    const std::string demo = kvmcftools::ScratchPath("golden-demo");
    kvmcftools::WriteDemoFile(demo);
    files.emplace_back("demo", ReadBytes(demo));
    std::remove(demo.c_str());
    const std::time_t end = std::time(nullptr);
    for (auto& file : files) FixTime(file.second, start, end);
    FixTime(sectioned, start, end);
    return files;
}

// One line per named file: its label, the hash of every answer and the diagnosis;
// then one line per block of cuts with the hash of their answers and diagnoses.
std::vector<std::string> AnswerLines(const std::vector<std::string>& names) {
    std::string sectioned;
    std::vector<std::string> lines;
    // With KVMCF_GOLDEN_DUMP=<folder>, each named file's answers are written there to compare.
    const char* dump = std::getenv("KVMCF_GOLDEN_DUMP");
    for (const auto& [label, bytes] : Corpus(sectioned)) {
        const std::string answers = Answers(bytes, names);
        if (dump) {
            std::string name = label;
            std::replace(name.begin(), name.end(), '/', '_');
            std::ofstream(std::string(dump) + "/" + name) << answers;
        }
        lines.push_back(label + " " + Hex(Hash(answers)) + " " + Check(bytes));
    }
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

}  // namespace golden

#ifdef KVMCF_GOLDEN_WRITE
#include "api/PropertyTable.h"

// The vocabulary as it stood, each indexed name with indexes in and out of range.
int main(int argc, char** argv) {
    if (argc != 2) return 2;
    std::vector<std::string> names = {"", "NoSuchProperty", "XTimeStamp", "SubImageLeft2", "SubImageTop0"};
    std::size_t count = 0;
    const PropertyTable::Row* rows = PropertyTable::ValueRows(&count);
    for (std::size_t i = 0; i < count; ++i) {
        names.push_back(rows[i].name);
        if (PropertyTable::IsIndexed(rows[i]))
            for (const char* index : {"0", "1", "2", "3", "-1", "4294967296"})
                names.push_back(std::string(rows[i].name) + index);
    }
    std::ofstream os(argv[1]);
    os << "names " << names.size() << "\n";
    for (const std::string& name : names) os << name << "\n";
    for (const std::string& line : golden::AnswerLines(names)) os << line << "\n";
    return os ? 0 : 1;
}
#else

TEST(GoldenAnswers, EveryQueryAnswersAsRecordedOnTheWholeCorpus) {
    std::ifstream is(golden::kAnswerFile);
    ASSERT_TRUE(is) << golden::kAnswerFile;
    std::string word;
    std::size_t count = 0;
    is >> word >> count;
    ASSERT_EQ(word, "names");
    is.ignore(1);
    std::vector<std::string> names(count);
    for (std::string& name : names) std::getline(is, name);
    std::vector<std::string> expected;
    for (std::string line; std::getline(is, line);) expected.push_back(line);

    // Seeds added to the fuzzers since the recording have no line to compare with.
    std::map<std::string, std::string> actual;
    for (const std::string& line : golden::AnswerLines(names)) actual[line.substr(0, line.find(' '))] = line;
    for (const std::string& line : expected) {
        const auto found = actual.find(line.substr(0, line.find(' ')));
        ASSERT_NE(found, actual.end()) << line;
        EXPECT_EQ(found->second, line);
    }
}

#endif
