#include "tools/CsvExport.h"

#include <cstdio>
#include <cstring>
#include <memory>

namespace kvmcftools {

namespace {

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

std::string Quoted(const std::string& text) {
    if (text.find_first_of(",\"\n") == std::string::npos) return text;
    std::string out = "\"";
    for (char c : text) out += c == '"' ? std::string("\"\"") : std::string(1, c);
    return out + "\"";
}

}  // namespace

bool WriteCsv(const ExportJob& job, const FrameRange& rows, std::string* why) {
    const kvmcf::Source& source = *job.source;
    const Plane& shape = job.planes.front();
    FrameRange chosen = rows;
    if (chosen.count == 0) {
        if (shape.rows != 1) {
            *why = std::string(source.name()) + " holds images of " + std::to_string(shape.rows) +
                   " rows, not spectra: choose rows with --rows A:B";
            return false;
        }
        chosen = {0, 1};
    }
    const unsigned long long values =
        static_cast<unsigned long long>(job.range.count) * job.planes.size() * chosen.count * shape.columns;
    if (values > kCsvMaxValues) {
        *why = "a table of " + std::to_string(values) + " values is too large: export fewer frames or rows";
        return false;
    }

    // Lines run along columns while frames arrive one by one: gather first.
    const std::size_t perFrame = job.planes.size() * chosen.count * shape.columns;
    std::vector<float> table(static_cast<std::size_t>(values));
    if (!ForEachFrame(*job.file, source, job.range, job.progress, [&](unsigned int index, const unsigned char* frame) {
            float* out = table.data() + (index - job.range.first) * perFrame;
            for (const Plane& p : job.planes)
                for (unsigned int r = chosen.first; r < chosen.first + chosen.count; ++r, out += shape.columns)
                    std::memcpy(out, PlaneBytes(frame, p) + 4 * r * p.columns, 4 * p.columns);
            return true;
        }, why))
        return false;

    std::unique_ptr<std::FILE, FileCloser> f(std::fopen(job.path.c_str(), "w"));
    if (!f) {
        *why = "cannot write " + job.name;
        return false;
    }
    const kvmcf::Axis xAxis = source.xAxis();
    std::vector<double> x = PlaneXValues(xAxis, shape);
    std::string label = AxisLabel(xAxis);
    if (x.empty()) {
        label = "Column";
        for (std::size_t c = 0; c < shape.columns; ++c) x.push_back(shape.geometry.left + c * shape.geometry.hBin);
    }
    std::fputs(Quoted(label).c_str(), f.get());
    const unsigned int rowBase = chosen.first;
    for (unsigned int i = 0; i < job.range.count; ++i)
        for (const Plane& p : job.planes)
            for (unsigned int r = 0; r < chosen.count; ++r) {
                std::string name = "frame " + std::to_string(job.range.first + i);
                if (job.planes.size() > 1) name += " sub-image " + std::to_string(p.index);
                if (chosen.count > 1 || rows.count > 0) name += " row " + std::to_string(rowBase + r);
                std::fprintf(f.get(), ",%s", name.c_str());
            }
    std::fputc('\n', f.get());
    const std::size_t valuesPerLine = perFrame / shape.columns;
    for (std::size_t c = 0; c < shape.columns; ++c) {
        std::fprintf(f.get(), "%.17g", x[c]);
        for (std::size_t v = 0; v < static_cast<std::size_t>(job.range.count) * valuesPerLine; ++v)
            std::fprintf(f.get(), ",%.9g", static_cast<double>(table[v * shape.columns + c]));
        std::fputc('\n', f.get());
    }
    if (std::fflush(f.get()) != 0 || std::ferror(f.get())) {
        *why = "cannot write " + job.name + " (disk full?)";
        return false;
    }
    return true;
}

}  // namespace kvmcftools
