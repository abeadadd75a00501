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

struct PreviewArgs {
    std::string in, out, source, frame, frames, scale, clip;
    unsigned int subImage = 0;
    bool force = false, quiet = false;
};

int RunPreview(const PreviewArgs& o) {
    const std::string& in = o.in;
    const std::string& out = o.out;
    std::string why;
    if (!ExtensionAgrees(out, OutputFormat::Png, &why)) {
        std::fprintf(stderr, "kvmcf: %s\n", why.c_str());
        return kUsageProblem;
    }
    PreviewOptions options{o.frame, o.frames, {}};
    if ((!o.scale.empty() && !ParseScale(o.scale, &options.stretch.scale, &why)) ||
        (!o.clip.empty() && !ParseClip(o.clip, &options.stretch, &why))) {
        std::fprintf(stderr, "kvmcf: %s\n", why.c_str());
        return kUsageProblem;
    }
    if (!OutputAllowed(out, {in}, o.force, &why)) return Fail(why);
    if (!OpenOrSay(in)) return kFileProblem;
    return GuardedCommand(in, [&] {
        ExportInput input;
        if (!OpenExportInput(in, o.source, &input, &why)) return ExportFailure(why);
        const kvmcf::Source& source = *input.source;
        if (o.subImage >= input.planes.size())
            return ExportFailure(in + ": sub-image " + std::to_string(o.subImage) + " is not one of the " +
                                 std::to_string(input.planes.size()) + " sub-images of " + source.name() + " (from 0)");
        const Plane& plane = input.planes[o.subImage];

        OutputFile output(out);
        if (!output.Prepare(o.force, &why)) return ExportFailure(why);
        RemoveOutputsOnInterrupt();
        Progress progress(std::string("preview ") + source.name(), source.frameCount(), o.quiet);
        GrayImage image;
        const bool read = RenderPreview(*input.file, source, plane, options, &progress, &image, &why);
        progress.Finish();
        if (!read) return ExportFailure(in + ": " + why);
        if (!WritePng(output.TempPath(), out, image, &why) || !output.Commit(&why)) return ExportFailure(why);
        return 0;
    });
}

}  // namespace

void AddPreviewCommand(CLI::App& app, Run* run) {
    auto o = std::make_shared<PreviewArgs>();
    CLI::App* verb = app.add_subcommand(
        "preview", "One frame as a grayscale picture, or a spectrum plot for a one-row sub-image. Never writes "
                   "over FILE, nor over OUT without --force");
    verb->add_option("FILE", o->in, "The multi-channel file")->required();
    verb->add_option("OUT", o->out, "The PNG picture")->required();
    verb->add_option("--source", o->source, "The source (default: signal, else the first present)")
        ->check(SourceCheck());
    verb->add_option("--frame", o->frame, "The frame, from 0 (default 0)")->type_name("N");
    verb->add_option("--frames", o->frames, "Spectra of one row: frames A:B (from 0) as a kinetic picture; default all")
        ->type_name("A:B");
    verb->add_option("--sub-image", o->subImage, "The sub-image, from 0")->type_name("K");
    verb->add_option("--scale", o->scale, "linear or log gray scale (default linear)")
        ->check(CLI::IsMember({"linear", "log"}));
    verb->add_option("--clip", o->clip, "Percentiles LOW,HIGH that become black and white (default 0.5,99.5)")
        ->type_name("LOW,HIGH");
    verb->add_flag("--force", o->force, "Replace an existing OUT (never FILE itself)");
    verb->add_flag("--quiet", o->quiet, "No progress line");
    verb->callback([o, run] { *run = [o] { return RunPreview(*o); }; });
}

}  // namespace kvmcftools
