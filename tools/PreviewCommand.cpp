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
    "usage: kvmcf preview FILE OUT.png [--source NAME] [--frame N | --frames A:B] [--sub-image K]\n"
    "                                  [--scale linear|log] [--clip LOW,HIGH] [--force] [--quiet]\n";

}  // namespace

int RunPreview(const std::vector<std::string>& args) {
    Arguments a;
    if (!ParseArguments(args, {"--force", "--quiet"}, {"--source", "--frame", "--frames", "--sub-image", "--scale", "--clip"}, &a))
        return 2;
    if (a.positional.size() != 2) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    const std::string& in = a.positional[0];
    const std::string& out = a.positional[1];
    PreviewOptions options{a.Value("--frame"), a.Value("--frames"), {}};
    std::string why;
    if ((a.Has("--scale") && !ParseScale(a.Value("--scale"), &options.stretch.scale, &why)) ||
        (a.Has("--clip") && !ParseClip(a.Value("--clip"), &options.stretch, &why)))
        return ExportFailure(why);
    return GuardedCommand(in, [&] {
        ExportInput input;
        if (!OpenExportInput(in, a.Value("--source"), &input, &why)) return ExportFailure(why);
        const kvmcf::Source& source = *input.source;
        // Sub-images count from 0, as everywhere the tool names them.
        const std::string subText = a.Value("--sub-image", "0");
        const bool digits = !subText.empty() && subText.size() < 10 &&
                            subText.find_first_not_of("0123456789") == std::string::npos;
        const unsigned long k = digits ? std::strtoul(subText.c_str(), nullptr, 10) : input.planes.size();
        if (k >= input.planes.size())
            return ExportFailure("sub-image " + subText + " is not one of the " + std::to_string(input.planes.size()) +
                                 " sub-images of " + source.name() + " (from 0)");
        const Plane& plane = input.planes[k];

        OutputFile output(out);
        if (!output.Prepare(a.Has("--force"), &why)) return ExportFailure(why);
        RemoveOutputsOnInterrupt();
        Progress progress(std::string("preview ") + source.name(), source.frameCount(), a.Has("--quiet"));
        GrayImage image;
        const bool read = RenderPreview(*input.file, source, plane, options, &progress, &image, &why);
        progress.Finish();
        if (!read) return ExportFailure(why);
        if (!WritePng(output.TempPath(), out, image, &why) || !output.Commit(&why)) return ExportFailure(why);
        return 0;
    });
}

}  // namespace kvmcftools
