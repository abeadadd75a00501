// Pieces the export and preview commands share: choosing a source and frames, the
// sub-images as planes of a frame, calibrated axes per stored column and row, the
// properties as JSON, and output files that appear only when complete.
#ifndef KVMCF_TOOLS_EXPORTSUPPORT_H
#define KVMCF_TOOLS_EXPORTSUPPORT_H

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "kvmcf/kvmcf.hpp"

namespace kvmcftools {

class Progress;

// A sub-image as stored inside a frame: `rows` rows of `columns` pixels from `offset`,
// the bottom row first.
struct Plane {
    unsigned int index = 0;  // sub-image, from 0
    kvmcf::SubImage geometry;
    std::size_t offset = 0;
    std::size_t columns = 0;
    std::size_t rows = 0;
    std::size_t Pixels() const { return columns * rows; }
};

// The sub-images of a source as planes; false with a reason when one does not lie
// inside the frame (a damaged geometry).
bool SourcePlanes(const kvmcf::Source& source, std::vector<Plane>* planes, std::string* why);

// Planes that can share one output: the same columns of the detector, binning and
// number of rows. Each group lists plane positions in `planes`.
std::vector<std::vector<std::size_t>> PlaneGroups(const std::vector<Plane>& planes);

// OUT for one group; OUT with "-subK" before the extension for K of several groups.
std::string GroupOutputName(const std::string& out, const std::vector<Plane>& planes,
                            const std::vector<std::size_t>& group, std::size_t groupCount);

// Frames first .. first + count - 1.
struct FrameRange {
    unsigned int first = 0;
    unsigned int count = 0;
};

// "A:B" (from frame A up to but not including B, from 0; either end may be left out),
// "N" for one frame, or empty for every frame. False with a reason otherwise or when
// the range leaves the series. The same for rows with noun "rows".
bool ParseFrameRange(const std::string& text, unsigned int frames, FrameRange* range, std::string* why,
                     const std::string& noun = "frames");

// The named source, or the signal (else the first present) for an empty name; null
// with a reason when there is none.
const kvmcf::Source* ChooseSource(const kvmcf::File& file, const std::string& name, std::string* why);

// Calibrated value of each stored column of a plane (X) or stored row (Z): the mean of
// the detector pixels binned into it. Empty when the axis does not cover the plane.
std::vector<double> PlaneXValues(const kvmcf::Axis& x, const Plane& plane);
std::vector<double> PlaneZValues(const kvmcf::Axis& z, const Plane& plane);

// Seconds of each frame of the range since frame 0: from the metadata clock when
// every frame has a metadata word, else frame number times the kinetic cycle time.
std::vector<double> FrameTimes(const kvmcf::Source& source, const FrameRange& range);

// Unit text without its leading blank; empty for a blank unit.
std::string UnitText(const std::string& unit);
// "Wavelength (nm)", "Pixel number".
std::string AxisLabel(const kvmcf::Axis& axis);
// True when the axis says more than a pixel index.
bool IsCalibrated(const kvmcf::Axis& axis);

// An axis of evenly spaced values: value(i) = origin + i * step.
struct LinearAxis {
    double origin = 0, step = 0;
};
// The line through values when every value lies on it (to single precision); none
// for fewer than two values or a curved axis.
std::optional<LinearAxis> FitLine(const std::vector<double>& values);

// {"source": ..., "file_version": ..., "record_versions": {...}, "properties": {name: value}}.
std::string PropertiesJson(const kvmcf::File& file, const kvmcf::Source& source);

// What an output needs to place its pixels without the input: the properties as
// above, plus "frames" {"first", "count"}, "times" (s, per frame), "sub_images" (per
// plane: index, detector left/bottom/right/top, hbin, vbin), "x" {"label", "unit",
// "values" per stored column} and "z" {the same per stored row, bottom row first},
// for the first plane's columns and in each sub-image for its rows, listed top row
// first when topFirst (as the output's rows run). An axis that does not cover a plane
// is given as detector positions, labelled "Column" or "Row".
std::string CalibrationJson(const kvmcf::File& file, const kvmcf::Source& source, const FrameRange& range,
                            const std::vector<Plane>& planes, bool topFirst);

// Detector position of the middle of each of count bins of bin pixels from start.
std::vector<double> DetectorPositions(std::size_t count, int start, int bin);

// An input opened for export: the file read to its headers, the chosen source and
// its sub-images as planes.
struct ExportInput {
    std::optional<kvmcf::File> file;
    const kvmcf::Source* source = nullptr;
    std::vector<Plane> planes;
};

// Opens path and picks sourceName (see ChooseSource); false with a reason naming path.
bool OpenExportInput(const std::string& path, const std::string& sourceName, ExportInput* input, std::string* why);

// Says why on stderr in one line; returns the exit code 1.
int ExportFailure(const std::string& why);

// Runs a command's body, turning a failed read or an allocation it could not make into
// one line naming path.
int GuardedCommand(const std::string& path, const std::function<int()>& body);

// Calls frame(index, bytes) for every frame of the range in order, with the frame's
// pixels as the file holds them: 4-byte little-endian floats, not always aligned.
// False with a reason when the file does not hold them, or when frame returns false
// (its own reason is then in why).
bool ForEachFrame(const kvmcf::File& file, const kvmcf::Source& source, const FrameRange& range, Progress* progress,
                  const std::function<bool(unsigned int, const unsigned char*)>& frame, std::string* why);

// Calls block(first, count, bytes) for runs of consecutive frames covering the range
// in order, each run's bytes one after another in a buffer of about 1 MiB (one frame
// where a frame is larger), valid during the call.
bool ForEachFrameBlock(const kvmcf::File& file, const kvmcf::Source& source, const FrameRange& range,
                       Progress* progress,
                       const std::function<bool(unsigned int, unsigned int, const unsigned char*)>& block,
                       std::string* why);

// Whether a frame is larger than the buffer ForEachFrameBlock reads through; such
// frames go through ForEachRowRun instead.
bool LargeFrames(const kvmcf::Source& source);
// Frames ForEachFrameBlock reads at once (before the range's end cuts a run short).
unsigned int FramesPerBlock(const kvmcf::Source& source);

// Calls run(frame, plane, firstRow, count, bytes) for runs of whole stored rows of
// each plane (its position in planes) of each frame of the range: rows k * R to
// (k + 1) * R - 1 with R = RowsPerRun(plane), the top run first, the rows' bytes (the
// bottom one first) valid during the call.
std::size_t RowsPerRun(const Plane& plane);
bool ForEachRowRun(const kvmcf::File& file, const kvmcf::Source& source, const FrameRange& range,
                   const std::vector<Plane>& planes, Progress* progress,
                   const std::function<bool(unsigned int, std::size_t, std::size_t, std::size_t, const unsigned char*)>& run,
                   std::string* why);

// The first pixel of a plane in a frame's bytes.
inline const unsigned char* PlaneBytes(const unsigned char* frame, const Plane& plane) {
    return frame + 4 * plane.offset;
}

// One output file's share of an export: which frames and sub-images go into it.
struct ExportJob {
    const kvmcf::File* file = nullptr;
    const kvmcf::Source* source = nullptr;
    FrameRange range;
    std::vector<Plane> planes;
    std::string path;  // where to write (the temporary name)
    std::string name;  // the output's name, for messages
    Progress* progress = nullptr;
};

// An output written under a temporary name beside its final name and renamed there
// when complete. Dropped without Commit (or on Ctrl-C) it leaves nothing behind.
class OutputFile {
public:
    explicit OutputFile(std::string path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Refuses an existing output unless force; creates the temporary file.
    bool Prepare(bool force, std::string* why);
    const std::string& Path() const { return path_; }
    const std::string& TempPath() const { return temp_; }
    bool Commit(std::string* why);

private:
    std::string path_, temp_;
    int slot_ = -1;
    bool committed_ = false;
};

// SIGINT, SIGTERM and SIGHUP remove every uncommitted output before the process ends.
void RemoveOutputsOnInterrupt();

}  // namespace kvmcftools

#endif
