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

void PrintSource(const SourceName& s) {
    unsigned int frames = 0, length = 0, subImages = 0;
    KVMCF_GetNumberFrames(s.source, &frames);
    KVMCF_GetFrameSize(s.source, &length);
    KVMCF_GetNumberSubImages(s.source, &subImages);
    std::printf("  %s: %u frame%s of %u pixels, %u sub-image%s\n", s.name, frames, frames == 1 ? "" : "s", length,
                subImages, subImages == 1 ? "" : "s");
    for (unsigned int i = 0; i < subImages; ++i) {
        unsigned int left, bottom, right, top, hBin, vBin;
        if (KVMCF_GetSubImageInfo(s.source, i, &left, &bottom, &right, &top, &hBin, &vBin) != KVMCF_SUCCESS) continue;
        std::printf("    sub-image %u: columns %u-%u, rows %u-%u, binning %ux%u\n", i + 1, left, right, bottom, top,
                    hBin, vBin);
    }

    const std::string xType = Property(s.source, "XAxisType");
    std::string xUnit = Property(s.source, "XAxisUnit");
    if (xUnit.find_first_not_of(' ') == std::string::npos) xUnit.clear();
    const std::string left = Property(s.source, "CCDLeft"), right = Property(s.source, "CCDRight");
    double first = 0, last = 0;
    if (KVMCF_GetPixelCalibration(s.source, KVMCF_AXIS_X, std::atoi(left.c_str()), &first) == KVMCF_SUCCESS &&
        KVMCF_GetPixelCalibration(s.source, KVMCF_AXIS_X, std::atoi(right.c_str()), &last) == KVMCF_SUCCESS)
        std::printf("    x axis:        %s%s, %g to %g over columns %s-%s\n", xType.empty() ? "(none)" : xType.c_str(),
                    xUnit.c_str(), first, last, left.c_str(), right.c_str());

    if (frames == 0 || length == 0) return;
    std::vector<float> frame(length);
    Statistics firstFrame, series;
    for (unsigned int f = 0; f < frames; ++f) {
        if (KVMCF_GetFrame(s.source, f, frame.data(), length) != KVMCF_SUCCESS) break;
        if (f == 0) firstFrame.Add(frame.data(), length);
        series.Add(frame.data(), length);
    }
    PrintStatistics("frame 1:", firstFrame);
    if (frames > 1) PrintStatistics("all frames:", series);
}

}  // namespace

int RunSummary(const std::vector<std::string>& args) {
    if (args.size() != 1) {
        std::fprintf(stderr, "usage: kvmcf FILE\n");
        return 2;
    }
    // Frames are read one at a time, so memory stays at one frame whatever the series.
    if (!OpenOrSay(args[0], KVMCF_READ_HEADER_ONLY)) return 1;
    std::printf("%s\n", args[0].c_str());
    const std::vector<SourceName> sources = PresentSources();
    if (sources.empty()) std::printf("  no data sources\n");
    for (const SourceName& s : sources) PrintSource(s);
    KVMCF_CloseFile();
    return 0;
}

}  // namespace kvmcftools
