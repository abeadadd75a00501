// kvmcf: look into multi-channel files.
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "tools/Commands.h"
#include "writer/DemoFile.h"
#include "tools/DescribeCommand.h"
#include "tools/DiagnosisCommands.h"
#include "tools/ExportCommands.h"

namespace {

void Usage() {
    std::printf(
        "usage: kvmcf [FILE]                     sources, frames, sub-images, calibration and statistics\n"
        "       kvmcf info FILE... [--source NAME] [--json]\n"
        "                                        every named property of each source, one block per file\n"
        "       kvmcf describe FILE [--source NAME] [--frame N] [--region LEFT,BOTTOM,RIGHT,TOP] [--json]\n"
        "                                        size, extremes with positions, mean and mode of a region\n"
        "       kvmcf check FILE [--json]        where a damaged file stops, whole frames per source\n"
        "       kvmcf salvage FILE OUT           write the intact sources and whole frames to OUT\n"
        "       kvmcf export FILE OUT [--source NAME] [--frames A:B] [--format tiff|hdf5|csv] [--rows A:B]\n"
        "                                        frames as a TIFF stack, an HDF5 file or a CSV table\n"
        "       kvmcf preview FILE OUT.png [--source NAME] [--frame N] [--sub-image K]\n"
        "                                        one frame as a grayscale picture or a spectrum plot\n"
        "       kvmcf refs FILE OUT.json [--url URL] [--force]\n"
        "                                        byte-range references for zarr, xarray and dask\n"
        "       kvmcf --write-demo PATH          write the demo file\n"
        "With no FILE, kvmcf writes the demo file kvmcf-demo.mcf in the current folder and shows it.\n");
}

}  // namespace

int main(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    if (!args.empty() && (args[0] == "-h" || args[0] == "--help" || args[0] == "help")) {
        Usage();
        return 0;
    }
    if (args.size() == 2 && args[0] == "--write-demo") {
        if (kvmcftools::WriteDemoFile(args[1])) return 0;
        std::fprintf(stderr, "kvmcf: cannot write the demo file %s\n", args[1].c_str());
        return 1;
    }
    if (args.empty()) {
        const std::string demo = "kvmcf-demo.mcf";
        if (!kvmcftools::WriteDemoFile(demo)) {
            std::fprintf(stderr, "kvmcf: cannot write the demo file %s\n", demo.c_str());
            return 1;
        }
        return kvmcftools::RunSummary({demo});
    }
    const std::string command = args[0];
    const std::vector<std::string> rest(args.begin() + 1, args.end());
    if (command == "info") return kvmcftools::RunInfo(rest);
    if (command == "describe") return kvmcftools::RunDescribe(rest);
    if (command == "check") return kvmcftools::RunCheck(rest);
    if (command == "salvage") return kvmcftools::RunSalvage(rest);
    if (command == "export") return kvmcftools::RunExport(rest);
    if (command == "preview") return kvmcftools::RunPreview(rest);
    if (command == "refs") return kvmcftools::RunRefs(rest);
    if (command.compare(0, 1, "-") == 0) {
        std::fprintf(stderr, "kvmcf: unknown option %s (try kvmcf --help)\n", command.c_str());
        return 2;
    }
    return kvmcftools::RunSummary(args);
}
