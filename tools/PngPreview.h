// A quick look as an 8-bit grayscale PNG: an image frame with the top detector row
// first, a kinetic series of spectra as one picture (one band of rows per frame,
// frame 0 at the top, columns along the calibrated X axis), or one spectrum drawn as
// a line plot; ranges, unit and times are written on it. Values map to gray between
// two percentiles (0.5 and 99.5 unless --clip says), linearly or logarithmically.
#ifndef KVMCF_TOOLS_PNGPREVIEW_H
#define KVMCF_TOOLS_PNGPREVIEW_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/ExportSupport.h"

namespace kvmcftools {

struct GrayImage {
    std::size_t width = 0, height = 0;
    std::vector<std::uint8_t> pixels;  // rows from the top
};

// The value below which fraction q of the finite values lie (nearest rank); 0 when
// there is none.
float Percentile(std::vector<float> values, double q);

enum class PreviewScale { Linear, Log };

// How values become gray: below the low percentile black, above the high one white.
// Linear: 255 (v - low) / (high - low). Log: 255 ln(v / low) / ln(high / low) when
// low > 0, else 255 ln(1 + v - low) / ln(1 + high - low). A flat picture is mid gray.
struct Stretch {
    PreviewScale scale = PreviewScale::Linear;
    double lowPercent = 0.5, highPercent = 99.5;
};

// --scale linear|log and --clip LOW,HIGH (percentiles, 0 <= LOW < HIGH <= 100).
bool ParseScale(const std::string& text, PreviewScale* scale, std::string* why);
bool ParseClip(const std::string& text, Stretch* stretch, std::string* why);

// The gray of v between low and high.
std::uint8_t Gray(float v, float low, float high, PreviewScale scale);

// rows stored rows of columns pixels, the bottom row first.
GrayImage ImagePreview(const float* pixels, std::size_t columns, std::size_t rows, const Stretch& stretch = {});

// Where a kinetic picture lies in its image: its top left corner, and the image rows
// of each frame and image columns of each stored column.
struct KineticLayout {
    std::size_t left = 12, top = 48;
    std::size_t rowsPerFrame = 1, framesPerRow = 1, pixelsPerColumn = 1;
};

// frames spectra of columns values, one after another, against x (one value per
// column, with unit and label), from frame firstFrame, at times (s) per frame. Each
// frame is a band of rows (at least 200 rows in all); past 4000 frames each row is the
// mean of several frames.
GrayImage KineticPreview(const std::vector<double>& x, const float* values, std::size_t columns, std::size_t frames,
                         unsigned int firstFrame, const std::vector<double>& times, const std::string& unit,
                         const std::string& label, const Stretch& stretch, KineticLayout* layout = nullptr);

// Values against x, black on white, with x's range and unit, the axis label and the
// value range written on it.
GrayImage SpectrumPlot(const std::vector<double>& x, const float* values, const std::string& unit,
                       const std::string& label,
                       std::size_t width = 800, std::size_t height = 400);

// What kvmcf preview draws, from its options as given (empty when not given): one
// frame (--frame N), or for spectra of one row the frames A:B (--frames, every frame
// by default) as a kinetic picture.
struct PreviewOptions {
    std::string frame, frames;
    Stretch stretch;
};

// The picture of one sub-image of a source; false with a reason.
bool RenderPreview(const kvmcf::File& file, const kvmcf::Source& source, const Plane& plane,
                   const PreviewOptions& options, Progress* progress, GrayImage* image, std::string* why);

// Writes to path; messages call the output name.
bool WritePng(const std::string& path, const std::string& name, const GrayImage& image, std::string* why);

}  // namespace kvmcftools

#endif
