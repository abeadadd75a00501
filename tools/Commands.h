// The kvmcf verbs. Each registers itself on the application with its options and
// sets `run` to the work to do once the command line has parsed; the work returns
// the exit code (0, kFileProblem or kUsageProblem).
#ifndef KVMCF_TOOLS_COMMANDS_H
#define KVMCF_TOOLS_COMMANDS_H

#include <functional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

namespace kvmcftools {

using Run = std::function<int()>;

// --source NAME: one of the five source names (or of `extra`), else a usage error
// "unknown source NAME (...)".
CLI::Validator SourceCheck(std::vector<std::string> extra = {});

// Sources, frames, sub-images, calibration and statistics (also `kvmcf FILE`).
void AddSummaryCommand(CLI::App& app, Run* run);
// Every named property of every present source.
void AddInfoCommand(CLI::App& app, Run* run);
// Per frame: times, time stamps, metadata words, time codes.
void AddFramesCommand(CLI::App& app, Run* run);
// Extremes, mode, mean and spread of regions of frames (alias: describe).
void AddStatsCommand(CLI::App& app, Run* run);
// Where a damaged file stops, and what of it can be kept.
void AddCheckCommand(CLI::App& app, Run* run);
void AddSalvageCommand(CLI::App& app, Run* run);
// Frames to TIFF, HDF5 or CSV, and a PNG preview.
void AddExportCommand(CLI::App& app, Run* run);
void AddPreviewCommand(CLI::App& app, Run* run);
// Byte-range references for zarr, xarray and dask.
void AddRefsCommand(CLI::App& app, Run* run);

// The summary of one file, for `kvmcf FILE` and the demo.
int RunSummary(const std::string& path);

// The whole tool: parses argv, runs the verb, returns the exit code.
int RunTool(int argc, const char* const* argv);

}  // namespace kvmcftools

#endif
