#include <cstdio>
#include <memory>

#include "tools/CsvExport.h"
#include "tools/ExportCommands.h"
#include "tools/Hdf5Export.h"
#include "tools/Progress.h"
#include "tools/TiffExport.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {

namespace {

const char kUsage[] =
    "usage: kvmcf export FILE OUT [--source NAME|all] [--frames A:B] [--format tiff|hdf5|csv] [--rows A:B]\n"
    "                             [--force] [--quiet]\n";

enum class Format { None, Tiff, Hdf5, Csv };

struct FormatName {
    const char* name;
    Format format;
};
const FormatName kFormats[] = {{"tiff", Format::Tiff}, {"tif", Format::Tiff}, {"hdf5", Format::Hdf5},
                               {"h5", Format::Hdf5},   {"hdf", Format::Hdf5}, {"csv", Format::Csv}};

Format FormatNamed(std::string name) {
    for (char& c : name) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    for (const FormatName& f : kFormats)
        if (name == f.name) return f.format;
    return Format::None;
}

std::string Extension(const std::string& path) {
    const std::size_t dot = path.find_last_of('.');
    const std::size_t slash = path.find_last_of('/');
    if (dot == std::string::npos || (slash != std::string::npos && dot < slash)) return "";
    return path.substr(dot + 1);
}

}  // namespace

int RunExport(const std::vector<std::string>& args) {
    Arguments a;
    if (!ParseArguments(args, {"--force", "--quiet"}, {"--source", "--frames", "--format", "--rows"}, &a)) return 2;
    if (a.positional.size() != 2) {
        std::fputs(kUsage, stderr);
        return 2;
    }
    const std::string& in = a.positional[0];
    const std::string& out = a.positional[1];
    Format format;
    if (a.Has("--format")) {
        format = FormatNamed(a.Value("--format"));
        if (format == Format::None) return ExportFailure("unknown format " + a.Value("--format") + " (tiff, hdf5 or csv)");
    } else {
        format = FormatNamed(Extension(out));
        if (format == Format::None)
            return ExportFailure("cannot tell the format from the name " + out + ": give --format tiff, hdf5 or csv");
    }
    if (a.Has("--rows") && format != Format::Csv) return ExportFailure("--rows applies to csv only");
    // Every source goes into one HDF5 file unless one is named.
    if (a.Value("--source") == "all" || (format == Format::Hdf5 && !a.Has("--source"))) {
        if (format != Format::Hdf5) return ExportFailure("--source all applies to hdf5 only");
        return ExportAllSourcesToHdf5(in, out, a.Value("--frames"), a.Has("--force"), a.Has("--quiet"));
    }

    return GuardedCommand(in, [&] {
        ExportInput input;
        std::string why;
        if (!OpenExportInput(in, a.Value("--source"), &input, &why)) return ExportFailure(why);
        const kvmcf::File& file = *input.file;
        const kvmcf::Source* source = input.source;
        const std::vector<Plane>& planes = input.planes;
        FrameRange range{0, source->frameCount()};
        if (a.Has("--frames") && !ParseFrameRange(a.Value("--frames"), source->frameCount(), &range, &why))
            return ExportFailure(why);
        if (range.count == 0) return ExportFailure(in + ": " + source->name() + " holds no frames");

        std::vector<std::vector<std::size_t>> groups;
        if (format == Format::Hdf5) {
            groups.emplace_back();
            for (std::size_t i = 0; i < planes.size(); ++i) groups.back().push_back(i);
        } else {
            groups = PlaneGroups(planes);
        }
        FrameRange rows;
        if (a.Has("--rows")) {
            std::size_t fewest = planes.front().rows;
            for (const Plane& p : planes) fewest = std::min(fewest, p.rows);
            if (!ParseFrameRange(a.Value("--rows"), static_cast<unsigned int>(fewest), &rows, &why, "rows"))
                return ExportFailure(why);
        }

        // Every output is checked and claimed before anything is written.
        std::vector<std::unique_ptr<OutputFile>> outputs;
        for (const auto& group : groups) {
            outputs.push_back(std::make_unique<OutputFile>(GroupOutputName(out, planes, group, groups.size())));
            if (!outputs.back()->Prepare(a.Has("--force"), &why)) return ExportFailure(why);
        }
        RemoveOutputsOnInterrupt();

        Progress progress(std::string("export ") + source->name(), 1ULL * range.count * groups.size(), a.Has("--quiet"));
        for (std::size_t g = 0; g < groups.size(); ++g) {
            ExportJob job;
            job.file = &file;
            job.source = source;
            job.range = range;
            for (std::size_t i : groups[g]) job.planes.push_back(planes[i]);
            job.path = outputs[g]->TempPath();
            job.name = outputs[g]->Path();
            job.progress = &progress;
            const bool ok = format == Format::Tiff   ? WriteTiff(job, &why)
                            : format == Format::Hdf5 ? WriteHdf5({job}, &why)
                                                     : WriteCsv(job, rows, &why);
            if (!ok) return ExportFailure(why);
        }
        progress.Finish();
        for (auto& o : outputs)
            if (!o->Commit(&why)) return ExportFailure(why);
        return 0;
    });
}

}  // namespace kvmcftools
