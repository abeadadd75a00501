// A quick look at one frame as an 8-bit grayscale PNG: an image scaled between its
// 0.5th and 99.5th percentiles with the top detector row first, or a spectrum drawn
// as a line plot with its axis ranges written on it.
#ifndef KVMCF_TOOLS_PNGPREVIEW_H
#define KVMCF_TOOLS_PNGPREVIEW_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kvmcftools {

struct GrayImage {
    std::size_t width = 0, height = 0;
    std::vector<std::uint8_t> pixels;  // rows from the top
};

// The value below which fraction q of the finite values lie (nearest rank); 0 when
// there is none.
float Percentile(std::vector<float> values, double q);

// rows stored rows of columns pixels, the bottom row first.
GrayImage ImagePreview(const float* pixels, std::size_t columns, std::size_t rows);

// Values against x, black on white, with x's range and unit, the axis label and the
// value range written on it.
GrayImage SpectrumPlot(const std::vector<double>& x, const float* values, const std::string& unit,
                       const std::string& label,
                       std::size_t width = 800, std::size_t height = 400);

// Writes to path; messages call the output name.
bool WritePng(const std::string& path, const std::string& name, const GrayImage& image, std::string* why);

}  // namespace kvmcftools

#endif
