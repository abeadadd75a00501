#include "tools/PngPreview.h"

#include <png.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace kvmcftools {

namespace {

// A 5 x 7 font for the numbers and units written on plots: each row five bits, the
// leftmost pixel in the highest bit.
struct Glyph {
    char c;
    std::uint8_t rows[7];
};
const Glyph kFont[] = {
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}}, {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x02, 0x04, 0x08, 0x1F}}, {'3', {0x1F, 0x02, 0x04, 0x02, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}}, {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}}, {'7', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}}, {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}}, {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {'+', {0x00, 0x04, 0x04, 0x1F, 0x04, 0x04, 0x00}}, {'%', {0x18, 0x19, 0x02, 0x04, 0x08, 0x13, 0x03}},
    {'(', {0x02, 0x04, 0x08, 0x08, 0x08, 0x04, 0x02}}, {')', {0x08, 0x04, 0x02, 0x02, 0x02, 0x04, 0x08}},
    {'V', {0x11, 0x11, 0x11, 0x11, 0x11, 0x0A, 0x04}}, {'a', {0x00, 0x00, 0x0E, 0x01, 0x0F, 0x11, 0x0F}},
    {'b', {0x10, 0x10, 0x16, 0x19, 0x11, 0x11, 0x1E}}, {'c', {0x00, 0x00, 0x0E, 0x10, 0x10, 0x11, 0x0E}},
    {'d', {0x01, 0x01, 0x0D, 0x13, 0x11, 0x11, 0x0F}}, {'e', {0x00, 0x00, 0x0E, 0x11, 0x1F, 0x10, 0x0E}},
    {'f', {0x06, 0x09, 0x08, 0x1C, 0x08, 0x08, 0x08}}, {'g', {0x00, 0x0F, 0x11, 0x11, 0x0F, 0x01, 0x0E}},
    {'h', {0x10, 0x10, 0x16, 0x19, 0x11, 0x11, 0x11}}, {'i', {0x04, 0x00, 0x0C, 0x04, 0x04, 0x04, 0x0E}},
    {'j', {0x02, 0x00, 0x06, 0x02, 0x02, 0x12, 0x0C}}, {'k', {0x10, 0x10, 0x12, 0x14, 0x18, 0x14, 0x12}},
    {'l', {0x0C, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}}, {'m', {0x00, 0x00, 0x1A, 0x15, 0x15, 0x11, 0x11}},
    {'n', {0x00, 0x00, 0x16, 0x19, 0x11, 0x11, 0x11}}, {'o', {0x00, 0x00, 0x0E, 0x11, 0x11, 0x11, 0x0E}},
    {'p', {0x00, 0x00, 0x1E, 0x11, 0x1E, 0x10, 0x10}}, {'q', {0x00, 0x00, 0x0D, 0x13, 0x0F, 0x01, 0x01}},
    {'r', {0x00, 0x00, 0x16, 0x19, 0x10, 0x10, 0x10}}, {'s', {0x00, 0x00, 0x0E, 0x10, 0x0E, 0x01, 0x1E}},
    {'t', {0x08, 0x08, 0x1C, 0x08, 0x08, 0x09, 0x06}}, {'u', {0x00, 0x00, 0x11, 0x11, 0x11, 0x13, 0x0D}},
    {'v', {0x00, 0x00, 0x11, 0x11, 0x11, 0x0A, 0x04}}, {'w', {0x00, 0x00, 0x11, 0x11, 0x15, 0x15, 0x0A}},
    {'x', {0x00, 0x00, 0x11, 0x0A, 0x04, 0x0A, 0x11}}, {'y', {0x00, 0x00, 0x11, 0x11, 0x0F, 0x01, 0x0E}},
    {'z', {0x00, 0x00, 0x1F, 0x02, 0x04, 0x08, 0x1F}},
};
const int kScale = 2;  // font pixels per glyph bit
const int kAdvance = 6 * kScale;

const Glyph* Find(char c) {
    for (const Glyph& g : kFont)
        if (g.c == c) return &g;
    if (c >= 'A' && c <= 'Z') return Find(static_cast<char>(c - 'A' + 'a'));
    return nullptr;
}

void Set(GrayImage& img, long long x, long long y, std::uint8_t v) {
    if (x >= 0 && y >= 0 && static_cast<std::size_t>(x) < img.width && static_cast<std::size_t>(y) < img.height)
        img.pixels[static_cast<std::size_t>(y) * img.width + static_cast<std::size_t>(x)] = v;
}

// Text with its top left corner at (x, y).
void Text(GrayImage& img, long long x, long long y, const std::string& text) {
    for (char c : text) {
        if (const Glyph* g = Find(c))
            for (int r = 0; r < 7; ++r)
                for (int b = 0; b < 5; ++b)
                    if (g->rows[r] & (0x10 >> b))
                        for (int dy = 0; dy < kScale; ++dy)
                            for (int dx = 0; dx < kScale; ++dx) Set(img, x + b * kScale + dx, y + r * kScale + dy, 0);
        x += kAdvance;
    }
}

long long TextWidth(const std::string& text) { return static_cast<long long>(text.size()) * kAdvance; }

void Line(GrayImage& img, long long x0, long long y0, long long x1, long long y1) {
    const long long dx = std::llabs(x1 - x0), dy = -std::llabs(y1 - y0);
    const long long sx = x0 < x1 ? 1 : -1, sy = y0 < y1 ? 1 : -1;
    long long err = dx + dy;
    for (;;) {
        Set(img, x0, y0, 0);
        if (x0 == x1 && y0 == y1) return;
        const long long e2 = 2 * err;
        if (e2 >= dy) {
            err += dy;
            x0 += sx;
        }
        if (e2 <= dx) {
            err += dx;
            y0 += sy;
        }
    }
}

std::string Number(double v) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", v);
    return text;
}

}  // namespace

float Percentile(std::vector<float> values, double q) {
    values.erase(std::remove_if(values.begin(), values.end(), [](float v) { return !std::isfinite(v); }), values.end());
    if (values.empty()) return 0;
    const std::size_t k = static_cast<std::size_t>(std::floor(q * static_cast<double>(values.size() - 1) + 0.5));
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(k), values.end());
    return values[k];
}

bool ParseScale(const std::string& text, PreviewScale* scale, std::string* why) {
    if (text == "linear" || text == "log") {
        *scale = text == "log" ? PreviewScale::Log : PreviewScale::Linear;
        return true;
    }
    *why = "--scale " + text + " is neither linear nor log";
    return false;
}

bool ParseClip(const std::string& text, Stretch* stretch, std::string* why) {
    const std::size_t comma = text.find(',');
    char* end = nullptr;
    const std::string lowText = text.substr(0, comma);
    const double low = std::strtod(lowText.c_str(), &end);
    const bool lowOk = comma != std::string::npos && !lowText.empty() && *end == '\0';
    const std::string highText = comma == std::string::npos ? "" : text.substr(comma + 1);
    const double high = std::strtod(highText.c_str(), &end);
    const bool highOk = !highText.empty() && *end == '\0';
    if (!lowOk || !highOk || !(low >= 0) || !(high <= 100) || !(low < high)) {
        *why = "--clip " + text + " is not LOW,HIGH with percentiles 0 <= LOW < HIGH <= 100";
        return false;
    }
    stretch->lowPercent = low;
    stretch->highPercent = high;
    return true;
}

std::uint8_t Gray(float v, float low, float high, PreviewScale scale) {
    if (!(high > low)) return 128;  // a flat picture has no contrast to stretch
    if (!(v > low)) return 0;       // NaN too
    if (v >= high) return 255;
    double t;
    if (scale == PreviewScale::Linear) t = (static_cast<double>(v) - low) / (static_cast<double>(high) - low);
    else if (low > 0) t = std::log(static_cast<double>(v) / low) / std::log(static_cast<double>(high) / low);
    else t = std::log1p(static_cast<double>(v) - low) / std::log1p(static_cast<double>(high) - low);
    return static_cast<std::uint8_t>(std::lround(std::min(1.0, std::max(0.0, t)) * 255.0));
}

namespace {

void Bounds(const float* values, std::size_t count, const Stretch& stretch, float* low, float* high) {
    const std::vector<float> all(values, values + count);
    *low = Percentile(all, stretch.lowPercent / 100);
    *high = Percentile(all, stretch.highPercent / 100);
}

std::string ScaleText(float low, float high, const Stretch& stretch) {
    return "values " + Number(low) + " to " + Number(high) + (stretch.scale == PreviewScale::Log ? " log" : "");
}

}  // namespace

GrayImage ImagePreview(const float* pixels, std::size_t columns, std::size_t rows, const Stretch& stretch) {
    float low, high;
    Bounds(pixels, columns * rows, stretch, &low, &high);
    GrayImage img{columns, rows, std::vector<std::uint8_t>(columns * rows)};
    for (std::size_t r = 0; r < rows; ++r) {
        const float* in = pixels + (rows - 1 - r) * columns;  // the top row is stored last
        std::uint8_t* out = img.pixels.data() + r * columns;
        for (std::size_t c = 0; c < columns; ++c) out[c] = Gray(in[c], low, high, stretch.scale);
    }
    return img;
}

GrayImage KineticPreview(const std::vector<double>& x, const float* values, std::size_t columns, std::size_t frames,
                         unsigned int firstFrame, const std::vector<double>& times, const std::string& unit,
                         const std::string& label, const Stretch& stretch, KineticLayout* where) {
    const std::size_t kMinRows = 200, kMaxRows = 4000, kMinColumns = 400;
    KineticLayout layout;
    layout.framesPerRow = (frames + kMaxRows - 1) / kMaxRows;
    layout.rowsPerFrame = std::max<std::size_t>(1, kMinRows / frames);
    layout.pixelsPerColumn = std::max<std::size_t>(1, kMinColumns / columns);
    const std::size_t bands = (frames + layout.framesPerRow - 1) / layout.framesPerRow;
    const std::size_t width = columns * layout.pixelsPerColumn, height = bands * layout.rowsPerFrame;
    float low, high;
    Bounds(values, columns * frames, stretch, &low, &high);

    const std::string suffix = unit.empty() ? "" : " " + unit;
    const std::string lastFrame = std::to_string(firstFrame + frames - 1);
    const std::string top = "frames " + std::to_string(firstFrame) + " to " + lastFrame + "  time " +
                            Number(times.empty() ? 0 : times.front()) + " to " + Number(times.empty() ? 0 : times.back()) + " s";
    const std::string scale = ScaleText(low, high, stretch);
    const std::string xLow = Number(x.front()) + suffix, xHigh = Number(x.back()) + suffix;
    const long long textWidth = std::max({TextWidth(top), TextWidth(scale), TextWidth(xLow + "  " + label + "  " + xHigh)});
    GrayImage img{std::max<std::size_t>(width + 2 * layout.left, static_cast<std::size_t>(textWidth) + 2 * layout.left),
                  height + layout.top + 34, {}};
    img.pixels.assign(img.width * img.height, 255);

    std::vector<double> band(columns);
    for (std::size_t b = 0; b < bands; ++b) {
        // A band is the mean of its frames (one frame unless the series is long).
        const std::size_t from = b * layout.framesPerRow, to = std::min(frames, from + layout.framesPerRow);
        std::fill(band.begin(), band.end(), 0.0);
        for (std::size_t f = from; f < to; ++f)
            for (std::size_t c = 0; c < columns; ++c) band[c] += values[f * columns + c];
        for (std::size_t r = 0; r < layout.rowsPerFrame; ++r) {
            std::uint8_t* out = img.pixels.data() + (layout.top + b * layout.rowsPerFrame + r) * img.width + layout.left;
            for (std::size_t c = 0; c < columns; ++c)
                std::fill_n(out + c * layout.pixelsPerColumn, layout.pixelsPerColumn,
                            Gray(static_cast<float>(band[c] / static_cast<double>(to - from)), low, high, stretch.scale));
        }
    }
    const long long l = static_cast<long long>(layout.left), t = static_cast<long long>(layout.top);
    const long long r = l + static_cast<long long>(width), bottom = t + static_cast<long long>(height);
    Line(img, l - 1, t - 1, r, t - 1);
    Line(img, l - 1, bottom, r, bottom);
    Line(img, l - 1, t - 1, l - 1, bottom);
    Line(img, r, t - 1, r, bottom);
    Text(img, l, 6, top);
    Text(img, l, 26, scale);
    Text(img, l, bottom + 10, xLow);
    Text(img, std::max(l, r - TextWidth(xHigh)), bottom + 10, xHigh);
    Text(img, (l + r - TextWidth(label)) / 2, bottom + 10, label);
    if (where) *where = layout;
    return img;
}

GrayImage SpectrumPlot(const std::vector<double>& x, const float* values, const std::string& unit,
                       const std::string& label, std::size_t width, std::size_t height) {
    GrayImage img{width, height, std::vector<std::uint8_t>(width * height, 255)};
    const long long left = 12, right = static_cast<long long>(width) - 12, top = 34,
                    bottom = static_cast<long long>(height) - 34;
    double xmin = HUGE_VAL, xmax = -HUGE_VAL, ymin = HUGE_VAL, ymax = -HUGE_VAL;
    for (std::size_t i = 0; i < x.size(); ++i) {
        if (!std::isfinite(x[i]) || !std::isfinite(values[i])) continue;
        xmin = std::min(xmin, x[i]);
        xmax = std::max(xmax, x[i]);
        ymin = std::min(ymin, static_cast<double>(values[i]));
        ymax = std::max(ymax, static_cast<double>(values[i]));
    }
    // The frame of the plot.
    Line(img, left, top, right, top);
    Line(img, left, bottom, right, bottom);
    Line(img, left, top, left, bottom);
    Line(img, right, top, right, bottom);
    if (!(xmin <= xmax)) return img;  // nothing finite to draw
    const double xspan = xmax > xmin ? xmax - xmin : 1, yspan = ymax > ymin ? ymax - ymin : 1;
    auto px = [&](double v) { return left + 2 + std::llround((v - xmin) / xspan * static_cast<double>(right - left - 4)); };
    auto py = [&](double v) { return bottom - 2 - std::llround((v - ymin) / yspan * static_cast<double>(bottom - top - 4)); };
    bool have = false;
    long long lastX = 0, lastY = 0;
    for (std::size_t i = 0; i < x.size(); ++i) {
        if (!std::isfinite(x[i]) || !std::isfinite(values[i])) {
            have = false;
            continue;
        }
        const long long X = px(x[i]), Y = py(values[i]);
        if (have) Line(img, lastX, lastY, X, Y);
        else Set(img, X, Y, 0);
        lastX = X;
        lastY = Y;
        have = true;
    }
    const std::string suffix = unit.empty() ? "" : " " + unit;
    const long long below = bottom + 10;
    Text(img, left, below, Number(xmin) + suffix);
    const std::string high = Number(xmax) + suffix;
    Text(img, right - TextWidth(high), below, high);
    Text(img, (left + right - TextWidth(label)) / 2, below, label);
    Text(img, left, 10, "values " + Number(ymin) + " to " + Number(ymax));
    return img;
}

bool RenderPreview(const kvmcf::File& file, const kvmcf::Source& source, const Plane& plane,
                   const PreviewOptions& options, Progress* progress, GrayImage* image, std::string* why) {
    if (!options.frame.empty() && !options.frames.empty()) {
        *why = "give --frame or --frames, not both";
        return false;
    }
    const bool series = plane.rows == 1 && options.frame.empty() && source.frameCount() > 1;
    if (!options.frames.empty() && plane.rows != 1) {
        *why = std::string(source.name()) + " holds images of " + std::to_string(plane.rows) +
               " rows: --frames draws a series of spectra; pick one image with --frame";
        return false;
    }
    FrameRange range;
    if (series) {
        range = {0, source.frameCount()};
        if (!options.frames.empty() && !ParseFrameRange(options.frames, source.frameCount(), &range, why)) return false;
    } else if (!ParseFrameRange(options.frame.empty() ? "0" : options.frame, source.frameCount(), &range, why) ||
               range.count != 1) {
        if (why->empty()) *why = "--frame takes one frame number";
        return false;
    }
    const kvmcf::Axis axis = source.xAxis();
    std::vector<double> x = PlaneXValues(axis, plane);
    std::string unit = UnitText(axis.unit), label = AxisLabel(axis);
    if (x.empty()) {
        unit = "";
        label = "column";
        for (std::size_t c = 0; c < plane.columns; ++c)
            x.push_back(plane.geometry.left + static_cast<double>(c * plane.geometry.hBin));
    }
    // The drawn pixels only, gathered from the frames.
    std::vector<float> pixels;
    pixels.reserve(plane.Pixels() * range.count);
    if (!ForEachFrame(file, source, range, progress, [&](unsigned int, const unsigned char* bytes) {
            const std::size_t at = pixels.size();
            pixels.resize(at + plane.Pixels());
            std::memcpy(pixels.data() + at, PlaneBytes(bytes, plane), 4 * plane.Pixels());
            return true;
        }, why))
        return false;
    if (series)
        *image = KineticPreview(x, pixels.data(), plane.columns, range.count, range.first, FrameTimes(source, range), unit,
                                label, options.stretch);
    else if (plane.rows == 1)
        *image = SpectrumPlot(x, pixels.data(), unit, label);
    else
        *image = ImagePreview(pixels.data(), plane.columns, plane.rows, options.stretch);
    return true;
}

namespace {
struct PngWriter {
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::FILE* file = nullptr;
    ~PngWriter() {
        png_destroy_write_struct(&png, &info);
        if (file) std::fclose(file);
    }
};
}  // namespace

bool WritePng(const std::string& path, const std::string& name, const GrayImage& image, std::string* why) {
    PngWriter w;
    w.file = std::fopen(path.c_str(), "wb");
    w.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    if (w.png) w.info = png_create_info_struct(w.png);
    if (!w.file || !w.info) {
        *why = "cannot write " + name;
        return false;
    }
    // libpng reports its failures by jumping back here; nothing below owns anything.
    if (setjmp(png_jmpbuf(w.png))) {
        *why = "cannot write " + name + " (disk full?)";
        return false;
    }
    png_init_io(w.png, w.file);
    png_set_IHDR(w.png, w.info, static_cast<png_uint_32>(image.width), static_cast<png_uint_32>(image.height), 8,
                 PNG_COLOR_TYPE_GRAY, PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(w.png, w.info);
    for (std::size_t r = 0; r < image.height; ++r)
        png_write_row(w.png, image.pixels.data() + r * image.width);
    png_write_end(w.png, w.info);
    if (std::fflush(w.file) != 0) {
        *why = "cannot write " + name + " (disk full?)";
        return false;
    }
    return true;
}

}  // namespace kvmcftools
