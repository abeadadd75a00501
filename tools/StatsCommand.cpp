// kvmcf stats FILE... [--source NAME] [--frames A:B] [--region L,B,R,T] [--minus SOURCE] [--json]:
// per frame, the extremes with their detector positions, mode, mean, spread and
// non-finite counts of regions in detector coordinates. With --minus, the same for
// the frame minus the other source's frame (signal minus background).
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "calib/CalibImage.h"
#include "tools/Commands.h"
#include "tools/ExportSupport.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {
namespace {

// One frame of a source as an image of its own, so the library's image operations apply.
std::unique_ptr<TKavriImage> FrameImage(const kvmcf::Source& s, const float* pixels) {
    const TCalibImage& record = s.image();
    const LONG_RECT d = record.GetDetectorRect();
    auto image = std::make_unique<TKavriImage>(TKavriRect(d.left, d.top, d.right, d.bottom), record.GetNumberSubImages(),
                                               record.GetSubImages(), 1, false, true, DataStore::Float);
    if (image->GetDataLength() != s.frameLength()) return nullptr;
    float* to = image->ObtainWriteImagePtr(1);
    if (to) std::copy(pixels, pixels + s.frameLength(), to);
    image->ReleaseImagePtr(1);
    return to ? std::move(image) : nullptr;
}

// frame -= other through the library's image-with-image subtraction; false when it refuses.
bool SubtractFrame(const kvmcf::Source& a, float* frame, const kvmcf::Source& b, const float* other) {
    const std::unique_ptr<TKavriImage> difference = FrameImage(a, frame), subtrahend = FrameImage(b, other);
    if (!difference || !subtrahend || !difference->Subtract(1, *subtrahend, 1, true)) return false;
    const float* result = difference->ObtainReadImagePtr(1);
    if (result) std::copy(result, result + a.frameLength(), frame);
    difference->ReleaseImagePtr(1);
    return result != nullptr;
}

struct StatsOptions {
    std::vector<std::string> files;
    std::string source;
    std::string frames;
    std::vector<int> region;  // left, bottom, right, top
    std::string minus;
    bool json = false;
};

// Detector columns left..right and rows bottom..top, both ends included.
struct Area {
    int left = 0, bottom = 0, right = 0, top = 0;
    bool Holds(int x, int y) const { return left <= x && x <= right && bottom <= y && y <= top; }
    bool Meets(const Area& o) const { return left <= o.right && o.left <= right && bottom <= o.top && o.bottom <= top; }
};

Area AreaOf(const kvmcf::SubImage& s) {
    return {std::min(s.left, s.right), std::min(s.bottom, s.top), std::max(s.left, s.right), std::max(s.bottom, s.top)};
}

// The stored pixels of some sub-images that lie in an area.
struct Region {
    Area area;
    std::vector<std::size_t> planes;  // positions in the source's planes, from 0
};

struct Extreme {
    float value = 0;
    int x = 0, y = 0;
};

// One region of one frame. The mean and spread (population, as numpy's std) are over
// finite pixels; ties of the mode go to the smallest value; extremes keep the first.
struct Figures {
    std::size_t pixels = 0, nan = 0, infinite = 0;
    std::optional<Extreme> minimum, maximum;
    double mean = 0, deviation = 0;
    float mode = 0;
};

Figures Measure(const float* frame, const std::vector<Plane>& planes, const Region& r) {
    Figures f;
    std::vector<float> finite;
    for (std::size_t k : r.planes) {
        const Plane& p = planes[k];
        const Area a = AreaOf(p.geometry);
        for (std::size_t row = 0; row < p.rows; ++row)
            for (std::size_t col = 0; col < p.columns; ++col) {
                // A stored pixel stands at the first detector pixel of its bin.
                const int x = a.left + static_cast<int>(col) * p.geometry.hBin;
                const int y = a.bottom + static_cast<int>(row) * p.geometry.vBin;
                if (!r.area.Holds(x, y)) continue;
                const float v = frame[p.offset + row * p.columns + col];
                ++f.pixels;
                if (std::isnan(v)) {
                    ++f.nan;
                    continue;
                }
                if (std::isinf(v)) {
                    ++f.infinite;
                    continue;
                }
                if (!f.minimum || v < f.minimum->value) f.minimum = Extreme{v, x, y};
                if (!f.maximum || v > f.maximum->value) f.maximum = Extreme{v, x, y};
                finite.push_back(v);
            }
    }
    if (finite.empty()) return f;
    double sum = 0;
    for (float v : finite) sum += v;
    f.mean = sum / static_cast<double>(finite.size());
    double squares = 0;
    for (float v : finite) squares += (v - f.mean) * (v - f.mean);
    f.deviation = std::sqrt(squares / static_cast<double>(finite.size()));
    std::sort(finite.begin(), finite.end());
    std::size_t best = 0;
    for (std::size_t i = 0, run = 0; i < finite.size(); ++i) {
        run = i > 0 && finite[i] == finite[i - 1] ? run + 1 : 1;
        if (run > best) {
            best = run;
            f.mode = finite[i];
        }
    }
    return f;
}

Json ExtremeJson(const std::optional<Extreme>& e) {
    if (!e) return nullptr;
    return {{"value", FloatJson(e->value)}, {"x", e->x}, {"y", e->y}};
}

Json FiguresJson(const Region& r, const Figures& f) {
    Json subs = Json::array();
    for (std::size_t k : r.planes) subs.push_back(k);
    const bool any = f.minimum.has_value();
    return {{"sub_images", subs},
            {"left", r.area.left},
            {"bottom", r.area.bottom},
            {"right", r.area.right},
            {"top", r.area.top},
            {"pixels", f.pixels},
            {"minimum", ExtremeJson(f.minimum)},
            {"maximum", ExtremeJson(f.maximum)},
            {"mean", any ? Json(f.mean) : Json(nullptr)},
            {"std", any ? Json(f.deviation) : Json(nullptr)},
            {"mode", any ? FloatJson(f.mode) : Json(nullptr)},
            {"nan", f.nan},
            {"infinite", f.infinite}};
}

void PrintFigures(const Region& r, const Figures& f, bool wholeSubImage) {
    if (wholeSubImage)
        std::printf("    sub-image %zu:", r.planes.front());
    else
        std::printf("    region:");
    std::printf(" columns %d-%d, rows %d-%d, %zu stored pixels\n", r.area.left, r.area.right, r.area.bottom,
                r.area.top, f.pixels);
    auto extreme = [](const char* what, const std::optional<Extreme>& e) {
        if (e) std::printf("      %-10s %s at (%d, %d)\n", what, FloatText(e->value).c_str(), e->x, e->y);
    };
    extreme("minimum", f.minimum);
    extreme("maximum", f.maximum);
    if (f.minimum) std::printf("      %-10s %.9g\n      %-10s %.9g\n      %-10s %s\n", "mean", f.mean, "std",
                               f.deviation, "mode", FloatText(f.mode).c_str());
    else
        std::printf("      no finite values\n");
    if (f.nan || f.infinite) std::printf("      %-10s %zu NaN, %zu infinite\n", "not finite", f.nan, f.infinite);
}

// Reads and measures one file; false with a reason for a file or a choice it cannot satisfy.
bool StatsOfFile(const StatsOptions& o, const kvmcf::File& file, Json* entry, std::string* text, std::string* why) {
    const std::string& path = file.path();
    const kvmcf::Source* source = ChooseSource(file, o.source, why);
    std::vector<Plane> planes;
    if (!source || !SourcePlanes(*source, &planes, why)) {
        *why = path + ": " + *why;
        return false;
    }
    FrameRange range{0, source->frameCount()};
    if (!o.frames.empty() && !ParseFrameRange(o.frames, source->frameCount(), &range, why)) {
        *why = path + ": " + source->name() + ": " + *why;
        return false;
    }
    if (range.count == 0) {
        *why = path + ": " + source->name() + " holds no frames";
        return false;
    }

    const kvmcf::Source* background = nullptr;
    if (!o.minus.empty()) {
        background = ChooseSource(file, o.minus, why);
        if (!background) {
            *why = path + ": " + *why;
            return false;
        }
        const std::vector<kvmcf::SubImage> a = source->subImages(), b = background->subImages();
        const bool same = a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](auto& x, auto& y) {
                              return x.left == y.left && x.right == y.right && x.bottom == y.bottom && x.top == y.top &&
                                     x.hBin == y.hBin && x.vBin == y.vBin;
                          });
        if (!same || background->frameLength() != source->frameLength()) {
            *why = path + ": cannot subtract " + background->name() + " from " + source->name() +
                   ": their sub-images differ";
            return false;
        }
        // One background frame serves every frame; a series is taken frame by frame.
        if (background->frameCount() != 1 && background->frameCount() < range.first + range.count) {
            *why = path + ": " + background->name() + " has " + std::to_string(background->frameCount()) +
                   " frames, fewer than the frames asked for";
            return false;
        }
    }

    std::vector<Region> regions;
    std::string clipped;
    if (o.region.empty()) {
        for (std::size_t k = 0; k < planes.size(); ++k) regions.push_back({AreaOf(planes[k].geometry), {k}});
    } else {
        Area asked{std::min(o.region[0], o.region[2]), std::min(o.region[1], o.region[3]),
                   std::max(o.region[0], o.region[2]), std::max(o.region[1], o.region[3])};
        Area covered = AreaOf(planes.front().geometry);
        for (const Plane& p : planes) {
            const Area a = AreaOf(p.geometry);
            covered = {std::min(covered.left, a.left), std::min(covered.bottom, a.bottom),
                       std::max(covered.right, a.right), std::max(covered.top, a.top)};
        }
        Region r;
        r.area = {std::max(asked.left, covered.left), std::max(asked.bottom, covered.bottom),
                  std::min(asked.right, covered.right), std::min(asked.top, covered.top)};
        if (r.area.left > r.area.right || r.area.bottom > r.area.top) {
            *why = path + ": the region meets no sub-image of " + source->name();
            return false;
        }
        if (r.area.left != asked.left || r.area.right != asked.right || r.area.bottom != asked.bottom ||
            r.area.top != asked.top)
            clipped = "region clipped to the sub-images: columns " + std::to_string(r.area.left) + "-" +
                      std::to_string(r.area.right) + ", rows " + std::to_string(r.area.bottom) + "-" +
                      std::to_string(r.area.top);
        for (std::size_t k = 0; k < planes.size(); ++k)
            if (r.area.Meets(AreaOf(planes[k].geometry))) r.planes.push_back(k);
        regions.push_back(r);
    }

    std::vector<float> frame(source->frameLength()), other;
    if (background) other.resize(background->frameLength());
    Json frames = Json::array();
    *text = path + ": " + source->name() + (background ? std::string(" minus ") + background->name() : "") +
            ", frames " + std::to_string(range.first) + "-" + std::to_string(range.first + range.count - 1) + " of " +
            std::to_string(source->frameCount()) + " (from 0)\n";
    if (!clipped.empty()) *text += "  " + clipped + "\n";
    for (unsigned int f = range.first; f < range.first + range.count; ++f) {
        source->readFrame(f, frame.data());
        if (background) {
            background->readFrame(background->frameCount() == 1 ? 0 : f, other.data());
            if (!SubtractFrame(*source, frame.data(), *background, other.data())) {
                *why = path + ": cannot subtract " + background->name() + " from " + source->name();
                return false;
            }
        }
        Json measured = Json::array();
        *text += "  frame " + std::to_string(f) + "\n";
        for (const Region& r : regions) {
            const Figures figures = Measure(frame.data(), planes, r);
            if (o.json) {
                measured.push_back(FiguresJson(r, figures));
                continue;
            }
            // Printed at once: a long series should show as it goes.
            std::fputs(text->c_str(), stdout);
            text->clear();
            PrintFigures(r, figures, o.region.empty());
        }
        if (o.json) frames.push_back({{"index", f}, {"regions", std::move(measured)}});
    }
    *entry = {{"file", path},
              {"source", source->name()},
              {"minus", background ? Json(background->name()) : Json(nullptr)},
              {"region_clipped", !clipped.empty()},
              {"frames", std::move(frames)}};
    return true;
}

int RunStats(const StatsOptions& o) {
    return ForEachFile(o.files, o.json, [&](const std::string& path, bool, Json* entry, std::string* why) {
        std::string text;
        std::optional<kvmcf::File> file = OpenFile(path, why);
        return file && StatsOfFile(o, *file, entry, &text, why);
    });
}

}  // namespace

void AddStatsCommand(CLI::App& app, Run* run) {
    auto o = std::make_shared<StatsOptions>();
    CLI::App* verb = app.add_subcommand(
        "stats", "Per frame: minimum and maximum with their detector positions, mode, mean, standard deviation and "
                 "non-finite counts of each sub-image (from 0) or of a region");
    verb->alias("describe");
    verb->add_option("FILE", o->files, "Files to measure, each in turn")->required();
    verb->add_option("--source", o->source, "The source (default: signal, else the first present)")
        ->check(SourceCheck());
    verb->add_option("--frames", o->frames, "Frames A:B (A up to but not B, from 0), A:, :B or N; default all")
        ->type_name("A:B");
    verb->add_option("--region", o->region,
                     "Detector area LEFT,BOTTOM,RIGHT,TOP (ends included); clipped to the sub-images, "
                     "and the output says so")
        ->expected(4)
        ->delimiter(',')
        ->type_name("L,B,R,T");
    verb->add_option("--minus", o->minus, "Subtract this source's frame (its only frame, or the same index) first")
        ->check(SourceCheck());
    verb->add_flag("--json", o->json, "One JSON document: {format_version, files: [...]}");
    verb->callback([o, run] { *run = [o] { return RunStats(*o); }; });
}

}  // namespace kvmcftools
