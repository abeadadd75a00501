#include "tools/TiffExport.h"

#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>

namespace kvmcftools {

namespace {

// Classic TIFF offsets are 32-bit: larger stacks are written in the 64-bit variant.
const unsigned long long kClassicLimit = 4000000000ULL;
const std::size_t kStripBytes = 8u << 20;

const TIFFFieldInfo kPropertiesField[] = {
    {kTiffPropertiesTag, TIFF_VARIABLE, TIFF_VARIABLE, TIFF_ASCII, FIELD_CUSTOM, 1, 0,
     const_cast<char*>("KvmcfProperties")},
};

// Pixels per unit along an axis of evenly spaced values; 0 when not evenly spaced.
double PixelsPerUnit(const std::vector<double>& values) {
    if (values.size() < 2) return 0;
    const double step = (values.back() - values.front()) / static_cast<double>(values.size() - 1);
    return step != 0 && std::isfinite(step) ? 1.0 / std::fabs(step) : 0;
}

struct TiffCloser {
    void operator()(TIFF* t) const { TIFFClose(t); }
};

// libtiff reports through handlers that print by default; the command says it once.
void Silent(const char*, const char*, va_list) {}

}  // namespace

std::string StackDescription(unsigned int channels, unsigned int frames, const std::string& xUnit,
                             const std::string& yUnit, double interval) {
    std::string d = "ImageJ=1.11a\nimages=" + std::to_string(channels * frames) + "\n";
    if (channels > 1) d += "channels=" + std::to_string(channels) + "\n";
    if (frames > 1) d += "frames=" + std::to_string(frames) + "\n";
    if (channels > 1 && frames > 1) d += "hyperstack=true\n";
    if (!xUnit.empty()) {
        d += "unit=" + xUnit + "\n";
        if (yUnit != xUnit) d += "yunit=" + (yUnit.empty() ? std::string("pixel") : yUnit) + "\n";
    }
    if (frames > 1 && interval > 0) {
        char text[40];
        std::snprintf(text, sizeof text, "finterval=%.7g\n", interval);
        d += text;
    }
    return d + "loop=false\n";
}

bool WriteTiff(const ExportJob& job, std::string* why) {
    const kvmcf::Source& source = *job.source;
    const Plane& shape = job.planes.front();
    const unsigned long long bytes = 4ULL * shape.Pixels() * job.planes.size() * job.range.count;

    TIFFSetErrorHandler(Silent);
    TIFFSetWarningHandler(Silent);
    std::unique_ptr<TIFF, TiffCloser> tif(TIFFOpen(job.path.c_str(), bytes > kClassicLimit ? "w8" : "w"));
    if (!tif) {
        *why = "cannot write " + job.name;
        return false;
    }
    TIFFMergeFieldInfo(tif.get(), kPropertiesField, 1);

    const kvmcf::Axis xAxis = source.xAxis(), zAxis = source.zAxis();
    const std::vector<double> x = PlaneXValues(xAxis, shape), z = PlaneZValues(zAxis, shape);
    const bool xCal = IsCalibrated(xAxis) && PixelsPerUnit(x) > 0;
    const bool zCal = IsCalibrated(zAxis) && PixelsPerUnit(z) > 0;
    const std::string xUnit = xCal ? UnitText(xAxis.unit) : "";
    const std::string yUnit = zCal ? UnitText(zAxis.unit) : "";
    const std::vector<double> times = FrameTimes(source, job.range);
    const double interval = times.size() > 1 ? (times.back() - times.front()) / static_cast<double>(times.size() - 1) : 0;
    const std::string description = StackDescription(static_cast<unsigned int>(job.planes.size()), job.range.count,
                                                     xUnit, yUnit, interval);
    const std::string properties = PropertiesJson(*job.file, source);

    const std::size_t rowBytes = shape.columns * 4;
    const std::size_t rowsPerStrip = std::max<std::size_t>(1, std::min(shape.rows, kStripBytes / rowBytes));
    std::vector<float> strip(rowsPerStrip * shape.columns);
    bool first = true;
    auto page = [&](const unsigned char* pixels) {
        TIFF* t = tif.get();
        TIFFSetField(t, TIFFTAG_IMAGEWIDTH, static_cast<uint32_t>(shape.columns));
        TIFFSetField(t, TIFFTAG_IMAGELENGTH, static_cast<uint32_t>(shape.rows));
        TIFFSetField(t, TIFFTAG_BITSPERSAMPLE, 32);
        TIFFSetField(t, TIFFTAG_SAMPLESPERPIXEL, 1);
        TIFFSetField(t, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP);
        TIFFSetField(t, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
        TIFFSetField(t, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
        TIFFSetField(t, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
        TIFFSetField(t, TIFFTAG_ROWSPERSTRIP, static_cast<uint32_t>(rowsPerStrip));
        TIFFSetField(t, TIFFTAG_RESOLUTIONUNIT, RESUNIT_NONE);
        TIFFSetField(t, TIFFTAG_XRESOLUTION, static_cast<float>(xCal ? PixelsPerUnit(x) : 1.0));
        TIFFSetField(t, TIFFTAG_YRESOLUTION, static_cast<float>(zCal ? PixelsPerUnit(z) : 1.0));
        TIFFSetField(t, TIFFTAG_SOFTWARE, "kvmcf export");
        if (first) {
            // Stack readers look for the description on the first page only.
            TIFFSetField(t, TIFFTAG_IMAGEDESCRIPTION, description.c_str());
            TIFFSetField(t, kTiffPropertiesTag, properties.c_str());
            first = false;
        }
        // Stored rows run upward from the bottom; pages run downward from the top.
        for (std::size_t top = 0, s = 0; top < shape.rows; top += rowsPerStrip, ++s) {
            const std::size_t n = std::min(rowsPerStrip, shape.rows - top);
            for (std::size_t r = 0; r < n; ++r)
                std::memcpy(strip.data() + r * shape.columns, pixels + (shape.rows - 1 - top - r) * rowBytes,
                            rowBytes);
            // Uncompressed and in this machine's byte order, as the file is: no encoder copy needed.
            if (TIFFWriteRawStrip(t, static_cast<uint32_t>(s), strip.data(), static_cast<tmsize_t>(n * rowBytes)) < 0)
                return false;
        }
        return TIFFWriteDirectory(t) == 1;
    };
    const bool ok = ForEachFrame(*job.file, source, job.range, job.progress, [&](unsigned int, const unsigned char* frame) {
        for (const Plane& p : job.planes)
            if (!page(PlaneBytes(frame, p))) {
                *why = "cannot write " + job.name + " (disk full?)";
                return false;
            }
        return true;
    }, why);
    if (!ok) return false;
    TIFF* t = tif.release();
    const bool flushed = TIFFFlush(t) == 1;
    TIFFClose(t);
    if (!flushed) *why = "cannot write " + job.name + " (disk full?)";
    return flushed;
}

}  // namespace kvmcftools
