// kvmcf refs: the reference set that lets zarr, xarray and dask read a file's pixels
// in place, written as JSON.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "kvmcf/kvmcf.hpp"
#include "kvmcf/references.hpp"
#include "tools/Commands.h"

namespace kvmcftools {

int RunRefs(const std::vector<std::string>& args) {
    std::vector<std::string> paths;
    std::string url;
    bool force = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        if (args[i] == "--force") {
            force = true;
        } else if (args[i] == "--url" && i + 1 < args.size()) {
            url = args[++i];
        } else if (args[i].compare(0, 1, "-") == 0) {
            std::fprintf(stderr, "kvmcf refs: unknown option %s\n", args[i].c_str());
            return 2;
        } else {
            paths.push_back(args[i]);
        }
    }
    if (paths.size() != 2) {
        std::fprintf(stderr, "usage: kvmcf refs FILE OUT.json [--url URL] [--force]\n");
        return 2;
    }
    const std::string& in = paths[0];
    const std::string& out = paths[1];
    struct stat inStat, outStat;
    const bool exists = stat(out.c_str(), &outStat) == 0;
    if (exists && stat(in.c_str(), &inStat) == 0 && inStat.st_dev == outStat.st_dev && inStat.st_ino == outStat.st_ino) {
        std::fprintf(stderr, "kvmcf refs: %s is the input file; it is never written over\n", out.c_str());
        return 1;
    }
    if (exists && !force) {
        std::fprintf(stderr, "kvmcf refs: %s exists (use --force to replace it)\n", out.c_str());
        return 1;
    }
    std::string json;
    try {
        const kvmcf::File file = kvmcf::File::open(in, kvmcf::ReadMode::HeaderOnly);
        const unsigned long long size = stat(in.c_str(), &inStat) == 0 ? static_cast<unsigned long long>(inStat.st_size) : 0;
        // Readers elsewhere resolve the file from their own folder: point to it whole.
        std::string place = url.empty() ? in : url;
        if (url.empty() && !in.empty() && in[0] != '/') {
            std::vector<char> cwd(4096);
            if (getcwd(cwd.data(), cwd.size())) place = std::string(cwd.data()) + "/" + in;
        }
        json = kvmcf::references(file, place, size);
    } catch (const kvmcf::Error& e) {
        if (e.code() == kvmcf::result::FormatError || e.code() == kvmcf::result::FileError) {
            std::fprintf(stderr, "kvmcf refs: %s: %s (kvmcf check %s tells where it is damaged)\n", in.c_str(),
                         e.what(), in.c_str());
        } else {
            std::fprintf(stderr, "kvmcf refs: %s: %s\n", in.c_str(), e.what());
        }
        return 1;
    }
    // Written beside OUT and renamed over it, so OUT is never half-written.
    const std::string part = out + ".part";
    {
        std::ofstream os(part, std::ios::binary | std::ios::trunc);
        os << json << '\n';
        os.close();
        if (!os) {
            std::remove(part.c_str());
            std::fprintf(stderr, "kvmcf refs: cannot write %s\n", out.c_str());
            return 1;
        }
    }
    if (std::rename(part.c_str(), out.c_str()) != 0) {
        std::remove(part.c_str());
        std::fprintf(stderr, "kvmcf refs: cannot write %s\n", out.c_str());
        return 1;
    }
    return 0;
}

}  // namespace kvmcftools
