#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tools/ExportCommands.h"
#include "tools/ExportSupport.h"
#include "tools/PngPreview.h"
#include "tools/Progress.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {

namespace {

const char kUsage[] =
    "usage: kvmcf preview FILE OUT.png [--source NAME] [--frame N] [--sub-image K] [--force] [--quiet]\n";

}  // namespace

int RunPreview(const std::vector<std::string>& args) {
    Arguments a;
    if (!ParseArguments(args, {"--force", "--quiet"}, {"--source", "--frame", "--sub-image"}, &a)) return 2;
    if (a.positional.size() != 2) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    const std::string& in = a.positional[0];
    const std::string& out = a.positional[1];
    return GuardedCommand(in, [&] {
        ExportInput input;
        std::string why;
        if (!OpenExportInput(in, a.Value("--source"), &input, &why)) return ExportFailure(why);
        const kvmcf::Source& source = *input.source;
        FrameRange frame;
        if (!ParseFrameRange(a.Value("--frame", "0"), source.frameCount(), &frame, &why) || frame.count != 1)
            return ExportFailure(why.empty() ? "--frame takes one frame number" : why);
        // Sub-images count from 1, as everywhere the tool names them.
        const std::string subText = a.Value("--sub-image", "1");
        const bool digits = !subText.empty() && subText.size() < 10 &&
                            subText.find_first_not_of("0123456789") == std::string::npos;
        const unsigned long k = digits ? std::strtoul(subText.c_str(), nullptr, 10) : 0;
        if (k < 1 || k > input.planes.size())
            return ExportFailure("sub-image " + subText + " is not one of the " + std::to_string(input.planes.size()) +
                                 " sub-images of " + source.name() + " (from 1)");
        const Plane& plane = input.planes[k - 1];

        OutputFile output(out);
        if (!output.Prepare(a.Has("--force"), &why)) return ExportFailure(why);
        RemoveOutputsOnInterrupt();
        Progress progress(std::string("preview ") + source.name(), 1, a.Has("--quiet"));
        GrayImage image;
        const bool read = ForEachFrame(*input.file, source, frame, &progress, [&](unsigned int, const unsigned char* bytes) {
            std::vector<float> pixels(plane.Pixels());
            std::memcpy(pixels.data(), PlaneBytes(bytes, plane), 4 * pixels.size());
            if (plane.rows == 1) {
                const kvmcf::Axis axis = source.xAxis();
                std::vector<double> x = PlaneXValues(axis, plane);
                std::string unit = UnitText(axis.unit), label = AxisLabel(axis);
                if (x.empty()) {
                    unit = "";
                    label = "column";
                    for (std::size_t c = 0; c < plane.columns; ++c)
                        x.push_back(plane.geometry.left + static_cast<double>(c * plane.geometry.hBin));
                }
                image = SpectrumPlot(x, pixels.data(), unit, label);
            } else {
                image = ImagePreview(pixels.data(), plane.columns, plane.rows);
            }
            return true;
        }, &why);
        progress.Finish();
        if (!read) return ExportFailure(why);
        if (!WritePng(output.TempPath(), out, image, &why) || !output.Commit(&why)) return ExportFailure(why);
        return 0;
    });
}

}  // namespace kvmcftools
