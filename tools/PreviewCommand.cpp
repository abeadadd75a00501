// kvmcf preview FILE OUT.png: one frame as a grayscale picture or a spectrum plot.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "tools/Commands.h"
#include "tools/ExportSupport.h"
#include "tools/PngPreview.h"
#include "tools/Progress.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {

namespace {

struct PreviewOptions {
    std::string in, out, source;
    unsigned int frame = 0, subImage = 0;
    bool force = false, quiet = false;
};

int RunPreview(const PreviewOptions& o) {
    const std::string& in = o.in;
    const std::string& out = o.out;
    std::string why;
    if (!ExtensionAgrees(out, OutputFormat::Png, &why)) {
        std::fprintf(stderr, "kvmcf: %s\n", why.c_str());
        return kUsageProblem;
    }
    if (!OutputAllowed(out, {in}, o.force, &why)) return Fail(why);
    if (!OpenOrSay(in)) return kFileProblem;
    return GuardedCommand(in, [&] {
        ExportInput input;
        if (!OpenExportInput(in, o.source, &input, &why)) return ExportFailure(why);
        const kvmcf::Source& source = *input.source;
        if (o.frame >= source.frameCount())
            return ExportFailure(in + ": frame " + std::to_string(o.frame) + " is not one of the " +
                                 std::to_string(source.frameCount()) + " frames of " + source.name() + " (from 0)");
        const FrameRange frame{o.frame, 1};
        if (o.subImage >= input.planes.size())
            return ExportFailure(in + ": sub-image " + std::to_string(o.subImage) + " is not one of the " +
                                 std::to_string(input.planes.size()) + " sub-images of " + source.name() + " (from 0)");
        const Plane& plane = input.planes[o.subImage];

        OutputFile output(out);
        if (!output.Prepare(o.force, &why)) return ExportFailure(why);
        RemoveOutputsOnInterrupt();
        Progress progress(std::string("preview ") + source.name(), 1, o.quiet);
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

}  // namespace

void AddPreviewCommand(CLI::App& app, Run* run) {
    auto o = std::make_shared<PreviewOptions>();
    CLI::App* verb = app.add_subcommand(
        "preview", "One frame as a grayscale picture, or a spectrum plot for a one-row sub-image. Never writes "
                   "over FILE, nor over OUT without --force");
    verb->add_option("FILE", o->in, "The multi-channel file")->required();
    verb->add_option("OUT", o->out, "The PNG picture")->required();
    verb->add_option("--source", o->source, "The source (default: signal, else the first present)")
        ->check(CLI::IsMember(SourceNames()));
    verb->add_option("--frame", o->frame, "The frame, from 0")->type_name("N");
    verb->add_option("--sub-image", o->subImage, "The sub-image, from 0")->type_name("K");
    verb->add_flag("--force", o->force, "Replace an existing OUT (never FILE itself)");
    verb->add_flag("--quiet", o->quiet, "No progress line");
    verb->callback([o, run] { *run = [o] { return RunPreview(*o); }; });
}

}  // namespace kvmcftools
