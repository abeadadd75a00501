#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <vector>

#include "tools/Commands.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {
namespace {

struct Statistics {
    double minimum = std::numeric_limits<double>::infinity();
    double maximum = -std::numeric_limits<double>::infinity();
    double sum = 0;
    unsigned long long count = 0;
    unsigned long long notFinite = 0;

    void Add(const float* values, unsigned int n) {
        for (unsigned int i = 0; i < n; ++i) {
            const double v = values[i];
            if (!std::isfinite(v)) {
                ++notFinite;
                continue;
            }
            minimum = std::min(minimum, v);
            maximum = std::max(maximum, v);
            sum += v;
            ++count;
        }
    }
};

void PrintStatistics(const char* what, const Statistics& s) {
    if (s.count == 0) {
        std::printf("    %-14s no finite values\n", what);
        return;
    }
    std::printf("    %-14s min %g  max %g  mean %g", what, s.minimum, s.maximum, s.sum / static_cast<double>(s.count));
    if (s.notFinite) std::printf("  (%llu not finite)", s.notFinite);
    std::printf("\n");
}

void PrintSource(const kvmcf::Source& s) {
    const unsigned int frames = s.frameCount(), length = s.frameLength();
    const std::vector<kvmcf::SubImage> subs = s.subImages();
    std::printf("  %s: %u frame%s of %u pixels, %zu sub-image%s\n", s.name(), frames, frames == 1 ? "" : "s", length,
                subs.size(), subs.size() == 1 ? "" : "s");
    for (std::size_t i = 0; i < subs.size(); ++i) {
        const kvmcf::SubImage& u = subs[i];
        // Shown unsigned, as the C sub-image query gives them.
        std::printf("    sub-image %zu: columns %u-%u, rows %u-%u, binning %ux%u\n", i, unsigned(u.left),
                    unsigned(u.right), unsigned(u.bottom), unsigned(u.top), unsigned(u.hBin), unsigned(u.vBin));
    }

    const kvmcf::Axis x = s.xAxis();
    std::string unit = x.unit;
    if (unit.find_first_not_of(' ') == std::string::npos) unit.clear();
    if (!x.values.empty())
        std::printf("    x axis:        %s%s, %g to %g over columns %d-%d\n",
                    x.type.empty() ? "(none)" : x.type.c_str(), unit.c_str(), x.values.front(), x.values.back(), x.first,
                    x.first + static_cast<int>(x.values.size()) - 1);

    if (frames == 0 || length == 0) return;
    std::vector<float> frame(length);
    Statistics firstFrame, series;
    for (unsigned int f = 0; f < frames; ++f) {
        try {
            s.readFrame(f, frame.data());
        } catch (const kvmcf::Error&) {
            break;
        }
        if (f == 0) firstFrame.Add(frame.data(), length);
        series.Add(frame.data(), length);
    }
    PrintStatistics("frame 0:", firstFrame);
    if (frames > 1) PrintStatistics("all frames:", series);
}

}  // namespace

int RunSummary(const std::string& path) {
    // Frames are read one at a time, so memory stays at one frame whatever the series.
    const std::optional<kvmcf::File> file = OpenOrSay(path);
    if (!file) return kFileProblem;
    std::printf("%s\n", path.c_str());
    const std::vector<const kvmcf::Source*> sources = file->sources();
    if (sources.empty()) std::printf("  no data sources\n");
    for (const kvmcf::Source* s : sources) PrintSource(*s);
    return 0;
}

}  // namespace kvmcftools
