// kvmcf export FILE OUT: frames as a TIFF stack, an HDF5 file or a CSV table.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "tools/Commands.h"
#include "tools/CsvExport.h"
#include "tools/ExportSupport.h"
#include "tools/Hdf5Export.h"
#include "tools/Progress.h"
#include "tools/TiffExport.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {

namespace {

enum class Format { Tiff, Hdf5, Csv };

struct ExportOptions {
    std::string in, out, source, frames, format, rows;
    bool force = false, quiet = false;
};

// CSV for standard output is written to a temporary file first and copied out whole,
// so a failure leaves nothing half-printed and stdout is never reopened (and truncated).
class StdoutCopy {
public:
    bool Make(std::string* why) {
        const char* tmp = std::getenv("TMPDIR");
        std::string name = std::string(tmp && *tmp ? tmp : "/tmp") + "/kvmcf-export-XXXXXX";
        std::vector<char> path(name.begin(), name.end());
        path.push_back('\0');
        const int fd = ::mkstemp(path.data());
        if (fd < 0) {
            *why = "cannot make a temporary file for standard output";
            return false;
        }
        ::close(fd);
        path_ = path.data();
        return true;
    }
    ~StdoutCopy() {
        if (!path_.empty()) std::remove(path_.c_str());
    }
    const std::string& Path() const { return path_; }
    bool CopyOut() const {
        std::FILE* f = std::fopen(path_.c_str(), "rb");
        if (!f) return false;
        char chunk[65536];
        bool ok = true;
        for (std::size_t n; ok && (n = std::fread(chunk, 1, sizeof chunk, f)) > 0;)
            ok = std::fwrite(chunk, 1, n, stdout) == n;
        std::fclose(f);
        return ok && std::fflush(stdout) == 0;
    }

private:
    std::string path_;
};

int RunExport(const ExportOptions& o) {
    const std::string& in = o.in;
    const std::string& out = o.out;
    const bool toStdout = out == "-";
    // The format: --format, else the output's extension; standard output takes CSV.
    OutputFormat named = o.format.empty() ? FormatOfName(out) : FormatNamed(o.format);
    if (o.format.empty() && toStdout) named = OutputFormat::Csv;
    if (named != OutputFormat::Tiff && named != OutputFormat::Hdf5 && named != OutputFormat::Csv) {
        std::fprintf(stderr, "kvmcf: %s: cannot tell the format from the name: give --format tiff, hdf5 or csv\n",
                     out.c_str());
        return kUsageProblem;
    }
    const Format format = named == OutputFormat::Tiff   ? Format::Tiff
                          : named == OutputFormat::Hdf5 ? Format::Hdf5
                                                        : Format::Csv;
    std::string why;
    if (toStdout && format != Format::Csv) why = "-: only csv goes to standard output";
    if (!why.empty() || !ExtensionAgrees(out, named, &why)) {
        std::fprintf(stderr, "kvmcf: %s\n", why.c_str());
        return kUsageProblem;
    }
    if (!o.rows.empty() && format != Format::Csv) {
        std::fprintf(stderr, "kvmcf: --rows applies to csv only\n");
        return kUsageProblem;
    }
    if (!OpenOrSay(in)) return kFileProblem;
    if (!toStdout && !OutputAllowed(out, {in}, o.force, &why)) return Fail(why);
    // Every source goes into one HDF5 file unless one is named.
    if (o.source == "all" || (format == Format::Hdf5 && o.source.empty())) {
        if (format != Format::Hdf5) {
            std::fprintf(stderr, "kvmcf: --source all applies to hdf5 only\n");
            return kUsageProblem;
        }
        return ExportAllSourcesToHdf5(in, out, o.frames, o.force, o.quiet);
    }

    return GuardedCommand(in, [&] {
        ExportInput input;
        if (!OpenExportInput(in, o.source, &input, &why)) return ExportFailure(why);
        const kvmcf::File& file = *input.file;
        const kvmcf::Source* source = input.source;
        const std::vector<Plane>& planes = input.planes;
        FrameRange range{0, source->frameCount()};
        if (!o.frames.empty() && !ParseFrameRange(o.frames, source->frameCount(), &range, &why))
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
        if (!o.rows.empty()) {
            std::size_t fewest = planes.front().rows;
            for (const Plane& p : planes) fewest = std::min(fewest, p.rows);
            if (!ParseFrameRange(o.rows, static_cast<unsigned int>(fewest), &rows, &why, "rows"))
                return ExportFailure(why);
        }

        StdoutCopy copy;
        if (toStdout && groups.size() > 1)
            return ExportFailure(in + ": " + source->name() + " has sub-images of different shapes, one table each: "
                                 "give an output name instead of -");
        if (toStdout && !copy.Make(&why)) return ExportFailure(why);

        // Every output is checked and claimed before anything is written.
        std::vector<std::unique_ptr<OutputFile>> outputs;
        for (const auto& group : groups) {
            if (toStdout) break;
            const std::string name = GroupOutputName(out, planes, group, groups.size());
            if (!OutputAllowed(name, {in}, o.force, &why)) return ExportFailure(why);
            outputs.push_back(std::make_unique<OutputFile>(name));
            if (!outputs.back()->Prepare(o.force, &why)) return ExportFailure(why);
        }
        RemoveOutputsOnInterrupt();

        Progress progress(std::string("export ") + source->name(), 1ULL * range.count * groups.size(), o.quiet || toStdout);
        for (std::size_t g = 0; g < groups.size(); ++g) {
            ExportJob job;
            job.file = &file;
            job.source = source;
            job.range = range;
            for (std::size_t i : groups[g]) job.planes.push_back(planes[i]);
            job.path = toStdout ? copy.Path() : outputs[g]->TempPath();
            job.name = toStdout ? std::string("standard output") : outputs[g]->Path();
            job.progress = &progress;
            const bool ok = format == Format::Tiff   ? WriteTiff(job, &why)
                            : format == Format::Hdf5 ? WriteHdf5({job}, &why)
                                                     : WriteCsv(job, rows, &why);
            if (!ok) return ExportFailure(why);
        }
        progress.Finish();
        if (toStdout && !copy.CopyOut()) return ExportFailure("cannot write to standard output");
        for (auto& output : outputs)
            if (!output->Commit(&why)) return ExportFailure(why);
        return 0;
    });
}

}  // namespace

void AddExportCommand(CLI::App& app, Run* run) {
    auto o = std::make_shared<ExportOptions>();
    CLI::App* verb = app.add_subcommand(
        "export", "Frames as a TIFF stack, an HDF5 file or a CSV table; sub-images of different shapes go to "
                  "OUT-subK (K from 0). Never writes over FILE, nor over OUT without --force");
    verb->add_option("FILE", o->in, "The multi-channel file")->required();
    verb->add_option("OUT", o->out, "The output, or - for CSV on standard output")->required();
    verb->add_option("--source", o->source,
                     "The source, or all (HDF5 only: every source, the default for HDF5); default signal, else the "
                     "first present")
        ->check(SourceCheck({"all"}));
    verb->add_option("--frames", o->frames, "Frames A:B (A up to but not B, from 0), A:, :B or N; default all")
        ->type_name("A:B");
    verb->add_option("--format", o->format, "tiff, hdf5 or csv (default: from OUT's extension; it must agree)")
        ->check(CLI::Validator(
            [](std::string& name) {
                const OutputFormat f = FormatNamed(name);
                const bool ok = f == OutputFormat::Tiff || f == OutputFormat::Hdf5 || f == OutputFormat::Csv;
                return ok ? std::string() : "unknown format " + name + " (tiff, hdf5 or csv)";
            },
            "FORMAT"));
    verb->add_option("--rows", o->rows, "CSV only: rows A:B of each frame (from 0)")->type_name("A:B");
    verb->add_flag("--force", o->force, "Replace an existing OUT (never FILE itself)");
    verb->add_flag("--quiet", o->quiet, "No progress line");
    verb->callback([o, run] { *run = [o] { return RunExport(*o); }; });
}

}  // namespace kvmcftools
