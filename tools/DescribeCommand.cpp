#include "tools/DescribeCommand.h"

#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <cstdint>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>

#include "api/MCFIOManager.h"
#include "tools/ToolSupport.h"

namespace kvmcftools {
namespace {

const char kUsage[] =
    "usage: kvmcf describe FILE [--source NAME] [--frame N] [--region LEFT,BOTTOM,RIGHT,TOP] [--json]\n";

struct Extreme {
    bool found = false;
    float value = 0;
    TKavriPoint at;
};

// One region's figures over the stored pixels it covers.
struct Region {
    int left = 0, bottom = 0, right = 0, top = 0;
    std::vector<unsigned int> subImages;  // 1-based, those it meets
    std::vector<float> values;
    Extreme minimum, maximum;
    double mean = 0;
    unsigned long long finite = 0;
    float mode = 0;
};

// Whole numbers only, the whole word.
bool ParseInt(const std::string& text, int* value) {
    if (text.empty()) return false;
    errno = 0;
    char* end = nullptr;
    const long v = std::strtol(text.c_str(), &end, 10);
    if (errno || *end != '\0' || v < INT32_MIN || v > INT32_MAX) return false;
    *value = static_cast<int>(v);
    return true;
}

bool ParseRegion(const std::string& text, Region* region) {
    int fields[4] = {};
    std::size_t start = 0;
    for (int i = 0; i < 4; ++i) {
        const std::size_t comma = i < 3 ? text.find(',', start) : text.size();
        if (comma == std::string::npos || !ParseInt(text.substr(start, comma - start), &fields[i])) return false;
        start = comma + 1;
    }
    region->left = std::min(fields[0], fields[2]);
    region->right = std::max(fields[0], fields[2]);
    region->bottom = std::min(fields[1], fields[3]);
    region->top = std::max(fields[1], fields[3]);
    return true;
}

bool Meets(const Region& r, const TSubImage& s) {
    return r.left <= s.right && s.left <= r.right && r.bottom <= s.top && s.bottom <= r.top;
}

// Gathers the stored pixels of the region in the given sub-images. Each extreme is
// searched one sub-image at a time, so its position is exact; ties keep the first.
void Measure(TKavriImage& image, unsigned int frame, Region* r) {
    const TKavriRect rect(r->left, r->top, r->right, r->bottom);
    for (unsigned int k : r->subImages) {
        std::vector<float> values;
        image.GetSubimageValues(rect, k, frame, values);
        r->values.insert(r->values.end(), values.begin(), values.end());

        TKavriPoint at;
        const float low = image.GetSubImageMinimum(rect, k, frame, &at);
        if (low != FLT_MAX && (!r->minimum.found || low < r->minimum.value)) r->minimum = {true, low, at};
        const float high = image.GetSubImageMaximum(rect, k, frame, &at);
        if (high != -FLT_MAX && (!r->maximum.found || high > r->maximum.value)) r->maximum = {true, high, at};
    }
    double sum = 0;
    for (float v : r->values)
        if (std::isfinite(v)) {
            sum += v;
            ++r->finite;
        }
    r->mean = r->finite ? sum / static_cast<double>(r->finite) : 0;
    r->mode = TKavriImage::ModeOf(r->values);  // reorders the values, needed no more
}

std::string Number(double v) {
    if (!std::isfinite(v)) return "null";
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", v);
    return text;
}

std::string JsonExtreme(const Extreme& e) {
    if (!e.found) return "null";
    return "{\"value\": " + Number(e.value) + ", \"x\": " + std::to_string(e.at.x) + ", \"y\": " +
           std::to_string(e.at.y) + "}";
}

void PrintJson(const std::string& path, const char* source, unsigned int frame, unsigned int frames,
               const std::vector<Region>& regions) {
    std::printf("{\"file\": %s, \"source\": \"%s\", \"frame\": %u, \"frames\": %u, \"regions\": [", JsonString(path).c_str(),
                source, frame, frames);
    for (std::size_t i = 0; i < regions.size(); ++i) {
        const Region& r = regions[i];
        std::string subs;
        for (unsigned int k : r.subImages) subs += (subs.empty() ? "" : ", ") + std::to_string(k);
        std::printf("%s\n  {\"sub_images\": [%s], \"left\": %d, \"bottom\": %d, \"right\": %d, \"top\": %d, "
                    "\"width\": %lld, \"height\": %lld, \"pixels\": %zu, \"minimum\": %s, \"maximum\": %s, "
                    "\"mean\": %s, \"mode\": %s}",
                    i ? "," : "", subs.c_str(), r.left, r.bottom, r.right, r.top,
                    static_cast<long long>(r.right) - r.left + 1, static_cast<long long>(r.top) - r.bottom + 1,
                    r.values.size(), JsonExtreme(r.minimum).c_str(), JsonExtreme(r.maximum).c_str(),
                    r.finite ? Number(r.mean).c_str() : "null", r.values.empty() ? "null" : Number(r.mode).c_str());
    }
    std::printf("\n]}\n");
}

void PrintExtreme(const char* what, const Extreme& e) {
    if (e.found)
        std::printf("      %-13s %g at (%d, %d)\n", what, e.value, e.at.x, e.at.y);
    else
        std::printf("      %-13s none (no finite values)\n", what);
}

void PrintText(const std::string& path, const char* source, unsigned int frame, unsigned int frames,
               const std::vector<Region>& regions, bool wholeSubImages) {
    std::printf("%s\n  %s, frame %u of %u\n", path.c_str(), source, frame, frames);
    for (const Region& r : regions) {
        if (wholeSubImages)
            std::printf("    sub-image %u:", r.subImages.front());
        else
            std::printf("    region:");
        std::printf(" columns %d-%d, rows %d-%d, %lld x %lld detector pixels, %zu stored\n", r.left, r.right,
                    r.bottom, r.top, static_cast<long long>(r.right) - r.left + 1,
                    static_cast<long long>(r.top) - r.bottom + 1, r.values.size());
        PrintExtreme("minimum", r.minimum);
        PrintExtreme("maximum", r.maximum);
        if (r.finite) std::printf("      %-13s %g\n", "mean", r.mean);
        if (r.finite < r.values.size())
            std::printf("      %-13s %llu\n", "not finite", static_cast<unsigned long long>(r.values.size() - r.finite));
        if (!r.values.empty()) std::printf("      %-13s %g\n", "most frequent", r.mode);
    }
}

}  // namespace

int RunDescribe(const std::vector<std::string>& args) {
    Arguments a;
    if (!ParseArguments(args, {"--json"}, {"--source", "--frame", "--region"}, &a)) return 2;
    if (a.positional.size() != 1) {
        std::fprintf(stderr, "%s", kUsage);
        return 2;
    }
    const std::string& path = a.positional[0];
    KVMCF_DataSource chosen = KVMCF_SIGNAL;
    if (a.Has("--source") && !SourceByName(a.Value("--source"), &chosen)) {
        std::fprintf(stderr, "kvmcf: unknown source %s\n", a.Value("--source").c_str());
        return 2;
    }
    int frame = 1;
    if (a.Has("--frame") && (!ParseInt(a.Value("--frame"), &frame) || frame < 1)) {
        std::fprintf(stderr, "kvmcf: --frame needs a frame number from 1\n");
        return 2;
    }
    Region asked;
    const bool wholeSubImages = !a.Has("--region");
    if (!wholeSubImages && !ParseRegion(a.Value("--region"), &asked)) {
        std::fprintf(stderr, "kvmcf: --region needs LEFT,BOTTOM,RIGHT,TOP as four whole numbers\n");
        return 2;
    }

    // A manager of our own: the frames are needed in memory for the image operations.
    auto manager = std::make_unique<TMCFIOManager>();
    manager->SetFileAccessMode(KVMCF_READ_ALL);
    std::vector<char> name(path.begin(), path.end());
    name.push_back('\0');
    const unsigned int result = manager->ReadFromFile(name.data());
    if (result != KVMCF_SUCCESS) {
        std::fprintf(stderr, "kvmcf: %s: %s (%u)\n", path.c_str(), ResultText(result), result);
        return 1;
    }
    const char* sourceName = nullptr;
    TMCFIOManager::TImage* image = nullptr;
    for (const SourceName& s : kSourceNames) {
        if (a.Has("--source") && s.source != chosen) continue;
        image = manager->GetDataSourceImage(s.source);
        sourceName = s.name;
        if (image) break;
    }
    if (!image) {
        std::fprintf(stderr, "kvmcf: %s: %s\n", path.c_str(),
                     a.Has("--source") ? ("no " + a.Value("--source") + " source in this file").c_str()
                                       : "no data sources");
        return 1;
    }
    TCalibImage& data = image->calibImage;
    const unsigned int frames = data.GetNumberImages();
    if (static_cast<unsigned int>(frame) > frames) {
        std::fprintf(stderr, "kvmcf: %s: the %s source has %u frame%s, no frame %d\n", path.c_str(), sourceName,
                     frames, frames == 1 ? "" : "s", frame);
        return 1;
    }

    std::vector<Region> regions;
    if (wholeSubImages) {
        for (unsigned int k = 1; k <= data.GetNumberSubImages(); ++k) {
            const TSubImage& s = data.GetSubImages()[k - 1];
            Region r;
            r.subImages.push_back(k);  // this one alone, even where others overlap it
            r.left = std::min(s.left, s.right);
            r.right = std::max(s.left, s.right);
            r.bottom = std::min(s.bottom, s.top);
            r.top = std::max(s.bottom, s.top);
            regions.push_back(r);
        }
    } else {
        for (unsigned int k = 1; k <= data.GetNumberSubImages(); ++k)
            if (Meets(asked, data.GetSubImages()[k - 1])) asked.subImages.push_back(k);
        regions.push_back(asked);
    }
    for (Region& r : regions) Measure(data, static_cast<unsigned int>(frame), &r);
    if (!wholeSubImages && regions.front().subImages.empty()) {
        std::fprintf(stderr, "kvmcf: %s: region %s meets no sub-image of the %s source\n", path.c_str(),
                     a.Value("--region").c_str(), sourceName);
        return 1;
    }

    if (a.Has("--json"))
        PrintJson(path, sourceName, static_cast<unsigned int>(frame), frames, regions);
    else
        PrintText(path, sourceName, static_cast<unsigned int>(frame), frames, regions, wholeSubImages);
    return 0;
}

}  // namespace kvmcftools
