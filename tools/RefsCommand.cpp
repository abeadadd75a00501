// kvmcf refs: the reference set that lets zarr, xarray and dask read a file's pixels
// in place, written as JSON.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "kvmcf/kvmcf.hpp"
#include "kvmcf/references.hpp"
#include "tools/Commands.h"
#include "tools/ExportSupport.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {
namespace {

struct RefsOptions {
    std::string file, out, url;
    bool force = false;
};

int RunRefs(const RefsOptions& o) {
    std::string why;
    if (!OutputAllowed(o.out, {o.file}, o.force, &why)) return Fail(why);
    if (!ExtensionAgrees(o.out, OutputFormat::Json, &why)) return Fail(why);
    std::string json;
    try {
        const kvmcf::File file = kvmcf::File::open(o.file, kvmcf::ReadMode::HeaderOnly);
        struct stat st;
        const unsigned long long size = ::stat(o.file.c_str(), &st) == 0 ? static_cast<unsigned long long>(st.st_size) : 0;
        // Readers elsewhere resolve the file from their own folder: point to it whole.
        std::string place = o.url.empty() ? o.file : o.url;
        if (o.url.empty() && !o.file.empty() && o.file[0] != '/') {
            std::vector<char> cwd(4096);
            if (::getcwd(cwd.data(), cwd.size())) place = std::string(cwd.data()) + "/" + o.file;
        }
        json = kvmcf::references(file, place, size);
    } catch (const kvmcf::Error& e) {
        if (e.systemError() != 0) return Fail(e.what());
        return Fail(std::string(e.what()) + " (kvmcf check " + o.file + " tells where it is damaged)");
    }
    if (o.out == "-") {
        std::printf("%s\n", json.c_str());
        return 0;
    }
    OutputFile output(o.out);
    if (!output.Prepare(o.force, &why)) return Fail(why);
    RemoveOutputsOnInterrupt();
    std::ofstream os(output.TempPath(), std::ios::binary | std::ios::trunc);
    os << json << '\n';
    os.close();
    if (!os) return Fail(o.out + ": cannot write the references");
    if (!output.Commit(&why)) return Fail(why);
    return 0;
}

}  // namespace

void AddRefsCommand(CLI::App& app, Run* run) {
    auto o = std::make_shared<RefsOptions>();
    CLI::App* verb = app.add_subcommand(
        "refs", "Byte-range references to every source's pixels (fsspec reference format, zarr groups per source), "
                "so zarr, xarray and dask read the original file in place, locally or from a URL");
    verb->add_option("FILE", o->file, "The multi-channel file")->required();
    verb->add_option("OUT", o->out, "The reference JSON, - for standard output (refused if it exists, unless --force; never FILE)")->required();
    verb->add_option("--url", o->url, "Where readers will find FILE (default: its full path)");
    verb->add_flag("--force", o->force, "Replace an existing OUT (never FILE itself)");
    verb->callback([o, run] { *run = [o] { return RunRefs(*o); }; });
}

}  // namespace kvmcftools
