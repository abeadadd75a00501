// The reference set: zarr v2 metadata and byte ranges into the file, one JSON text.
#include "kvmcf/references.hpp"

#include <nlohmann/json.hpp>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <cstdint>
#include <cstring>
#include <limits>

#include "api/FileLayout.h"

namespace kvmcf {

namespace {

using Json = nlohmann::ordered_json;

// Property texts are bytes from the file; JSON wants UTF-8.
std::string Utf8(const std::string& latin1) {
    std::string out;
    for (unsigned char c : latin1) {
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return out;
}

std::string Trimmed(const std::string& s) {
    const std::size_t a = s.find_first_not_of(" \0", 0, 2);
    const std::size_t b = s.find_last_not_of(" \0", std::string::npos, 2);
    return a == std::string::npos ? std::string() : Utf8(s.substr(a, b - a + 1));
}

std::string Base64(const void* data, std::size_t size) {
    static const char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto* p = static_cast<const unsigned char*>(data);
    std::string out;
    out.reserve((size + 2) / 3 * 4);
    for (std::size_t i = 0; i < size; i += 3) {
        const unsigned int v = (p[i] << 16) | (i + 1 < size ? p[i + 1] << 8 : 0) | (i + 2 < size ? p[i + 2] : 0);
        out += digits[(v >> 18) & 63];
        out += digits[(v >> 12) & 63];
        out += i + 1 < size ? digits[(v >> 6) & 63] : '=';
        out += i + 2 < size ? digits[v & 63] : '=';
    }
    return out;
}

Json ArrayMeta(const std::vector<unsigned long long>& shape, const std::vector<unsigned long long>& chunks,
               const char* dtype) {
    Json meta;
    meta["chunks"] = chunks;
    meta["compressor"] = nullptr;
    meta["dtype"] = dtype;
    meta["fill_value"] = nullptr;
    meta["filters"] = nullptr;
    meta["order"] = "C";
    meta["shape"] = shape;
    meta["zarr_format"] = 2;
    return meta;
}

// A small one-dimensional array held in the reference set itself.
template <class T>
void Inline(Json& refs, const std::string& name, const std::vector<T>& values, const char* dtype,
            const std::string& dimension, Json attrs) {
    const unsigned long long n = values.size();
    refs[name + "/.zarray"] = ArrayMeta({n}, {std::max<unsigned long long>(n, 1)}, dtype).dump();
    attrs["_ARRAY_DIMENSIONS"] = {dimension};
    refs[name + "/.zattrs"] = attrs.dump();
    if (n > 0) refs[name + "/0"] = "base64:" + Base64(values.data(), values.size() * sizeof(T));
}

Json PropertyJson(const Property& p) {
    struct Visit {
        const Property& p;
        Json operator()(std::monostate) const { return Utf8(p.text); }
        Json operator()(long long v) const { return v; }
        Json operator()(unsigned long long v) const { return v; }
        Json operator()(double v) const {
            if (!std::isfinite(v)) return Utf8(p.text);
            if (p.type != PropertyType::Float) return v;
            // A float as it prints (0.05), not its widened double (0.05000000074505806).
            char text[32];
            const std::to_chars_result end = std::to_chars(text, text + sizeof text, static_cast<float>(v));
            return std::strtod(std::string(text, end.ptr).c_str(), nullptr);
        }
        Json operator()(const std::string& v) const { return Utf8(v); }
    };
    return std::visit(Visit{p}, p.value);
}

// Seconds since the first frame: the metadata clock where the file carries one, else
// frame number times the kinetic cycle time, in float32 as the file keeps them.
std::vector<float> FrameTimes(const Source& source) {
    const std::vector<std::uint64_t> words = source.metadataWords();
    bool clocked = false;
    for (std::uint64_t w : words) clocked = clocked || w != 0;
    if (clocked) return source.kineticTimes();
    float cycle = 0;
    const Property p = source.property("KineticCycleTime");
    if (const auto* d = std::get_if<double>(&p.value)) cycle = static_cast<float>(*d);
    std::vector<float> times(source.frameCount());
    for (std::size_t i = 0; i < times.size(); ++i) times[i] = static_cast<float>(i) * cycle;
    return times;
}

struct Region {
    SubImage geometry;
    unsigned long long offset = 0;  // first pixel in a frame
    unsigned long long rows = 0, columns = 0;
};

// The sub-images as whole rectangles within the frame; empty when any is not.
std::vector<Region> Regions(const Source& source) {
    std::vector<Region> out;
    unsigned long long offset = 0;
    for (const SubImage& s : source.subImages()) {
        const long long width = static_cast<long long>(s.right) - s.left + 1;
        const long long height = static_cast<long long>(s.top) - s.bottom + 1;
        if (s.hBin <= 0 || s.vBin <= 0 || width <= 0 || height <= 0 || width % s.hBin || height % s.vBin) return {};
        Region r{s, offset, static_cast<unsigned long long>(height / s.vBin),
                 static_cast<unsigned long long>(width / s.hBin)};
        offset += r.rows * r.columns;
        if (offset > source.frameLength()) return {};
        out.push_back(r);
    }
    return out;
}

void SourceReferences(Json& refs, const Source& source, const std::string& url, unsigned long long fileSize,
                      unsigned long long chunkBytes) {
    const std::string group = source.name();
    const unsigned long long frames = source.frameCount();
    const unsigned long long length = source.frameLength();
    const unsigned long long frameBytes = length * FileLayout::kPixelBytes;
    const unsigned long long start = static_cast<unsigned long long>(source.dataStart());

    Json attrs;
    for (const Property& p : source.properties()) attrs[Utf8(p.name)] = PropertyJson(p);
    const auto version = [](const Version& v) { return Json::array({v.high, v.low}); };
    attrs["header_version"] = version(source.headerVersion());
    attrs["calibration_version"] = version(source.calibrationVersion());
    attrs["image_version"] = version(source.imageVersion());
    refs[group + "/.zgroup"] = Json{{"zarr_format", 2}}.dump();
    refs[group + "/.zattrs"] = attrs.dump();

    Inline(refs, group + "/time", FrameTimes(source), "<f4", "frame",
           Json{{"long_name", "time since the first frame"}, {"units", "s"}});

    std::vector<Region> regions = Regions(source);
    const bool whole = regions.empty();
    if (whole) regions.push_back(Region{SubImage{}, 0, 1, length});
    const Axis x = source.xAxis();
    const Axis z = source.zAxis();
    for (std::size_t k = 0; k < regions.size(); ++k) {
        const Region& r = regions[k];
        const std::string suffix = k == 0 ? std::string() : std::to_string(k);
        const std::string row = "row" + suffix, column = "column" + suffix;
        const std::string array = group + "/subimage" + std::to_string(k);
        // One sub-image fills its frames, so runs of frames are one range; several
        // interleave, so each frame of each is its own range.
        const bool contiguous = regions.size() == 1 && r.columns * r.rows == length;
        const unsigned long long bytes = r.rows * r.columns * FileLayout::kPixelBytes;
        unsigned long long per = 1;
        if (contiguous && frames > 0 && bytes > 0) {
            const unsigned long long target = std::max<unsigned long long>(1, std::min(frames, chunkBytes / bytes));
            per = target;
            while (frames % per != 0) --per;
            const unsigned long long rest = frames % target;
            // A last chunk that reaches past the pixels reads the same values, so a
            // file holding those bytes keeps large chunks for any frame count.
            if (per * 4 < target && rest != 0 && fileSize >= start + (frames - rest + target) * bytes) per = target;
        }
        Json dataAttrs;
        dataAttrs["_ARRAY_DIMENSIONS"] = whole ? Json::array({"frame", "pixel"}) : Json::array({"frame", row, column});
        std::string coords = "time";
        if (!whole) {
            std::vector<int> rowNumbers(r.rows), columnNumbers(r.columns);
            for (std::size_t i = 0; i < r.rows; ++i) rowNumbers[i] = r.geometry.bottom + static_cast<int>(i) * r.geometry.vBin;
            for (std::size_t i = 0; i < r.columns; ++i) columnNumbers[i] = r.geometry.left + static_cast<int>(i) * r.geometry.hBin;
            Inline(refs, group + "/" + row, rowNumbers, "<i4", row,
                   Json{{"long_name", "detector row, first of each bin, from the bottom"}, {"units", "pixel"}});
            Inline(refs, group + "/" + column, columnNumbers, "<i4", column,
                   Json{{"long_name", "detector column, first of each bin"}, {"units", "pixel"}});
            const std::string zName = "z" + suffix, xName = "x" + suffix;
            Inline(refs, group + "/" + zName, binnedAxis(z, r.geometry.bottom, r.rows, r.geometry.vBin), "<f8", row,
                   Json{{"long_name", z.type.empty() ? std::string("z") : Trimmed(z.type)}, {"units", Trimmed(z.unit)}});
            Inline(refs, group + "/" + xName, binnedAxis(x, r.geometry.left, r.columns, r.geometry.hBin), "<f8", column,
                   Json{{"long_name", x.type.empty() ? std::string("x") : Trimmed(x.type)}, {"units", Trimmed(x.unit)}});
            coords += " " + zName + " " + xName;
        }
        dataAttrs["coordinates"] = coords;
        const std::string yType = Trimmed(source.yType());
        dataAttrs["long_name"] = yType.empty() ? group : yType;
        dataAttrs["units"] = Trimmed(source.yUnit());
        refs[array + "/.zattrs"] = dataAttrs.dump();
        std::vector<unsigned long long> shape{frames, r.rows, r.columns}, chunks{per, r.rows, r.columns};
        if (whole) shape = {frames, length}, chunks = {per, length};
        refs[array + "/.zarray"] = ArrayMeta(shape, chunks, "<f4").dump();
        const std::string tail = whole ? ".0" : ".0.0";
        for (unsigned long long c = 0; bytes > 0 && c * per < frames; ++c) {
            const unsigned long long offset = start + c * per * frameBytes + r.offset * FileLayout::kPixelBytes;
            refs[array + "/" + std::to_string(c) + tail] = Json::array({url, offset, per * bytes});
        }
    }
}

}  // namespace

std::vector<double> binnedAxis(const Axis& axis, long long start, std::size_t count, int bin) {
    std::vector<double> out(count, std::numeric_limits<double>::quiet_NaN());
    if (bin <= 0) return out;
    const long long size = static_cast<long long>(axis.values.size());
    for (std::size_t i = 0; i < count; ++i) {
        const long long from = start - axis.first + static_cast<long long>(i) * bin;
        if (from < 0 || from + bin > size) continue;
        double sum = 0;
        for (int j = 0; j < bin; ++j) sum += axis.values[static_cast<std::size_t>(from + j)];
        out[i] = sum / bin;
    }
    return out;
}

std::string references(const File& file, const std::string& url, unsigned long long fileSize,
                       unsigned long long chunkBytes) {
    Json refs;
    refs[".zgroup"] = Json{{"zarr_format", 2}}.dump();
    const auto version = [](const Version& v) { return Json::array({v.high, v.low}); };
    const StructureVersions v = file.structureVersions();
    refs[".zattrs"] = Json{{"file_version", version(file.version())},
                           {"sources", [&] {
                                Json names = Json::array();
                                for (const Source* s : file.sources()) names.push_back(s->name());
                                return names;
                            }()},
                           {"structure_versions",
                            {{"file", version(v.file)},
                             {"header", version(v.header)},
                             {"calibration", version(v.calibration)},
                             {"image", version(v.image)}}}}
                          .dump();
    for (const Source* s : file.sources()) SourceReferences(refs, *s, url, fileSize, chunkBytes);
    Json out;
    out["version"] = 1;
    out["refs"] = std::move(refs);
    return out.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace kvmcf
