// Writes the small series the export tests read back, with the library's own record
// writers:  kvmcf_export_testfiles DIR
//   binned.mcf  4 frames of two 2 x 2 binned sub-images over detector columns 5-12,
//               rows 1-6 and 11-16 (3 rows of 4 each), X = 400 + 0.5 p nm, cycle 0.5 s;
//               pixel (row r from the bottom, column c) of sub-image s in frame f is
//               1000 f + 100 s + 10 r + c + 0.5.
//   large.mcf   2 frames of 520 rows by 520 columns (more than 1 MiB a frame), X = 500 + 2 p,
//               cycle 1 s; pixel (r, c) of frame f is 1000000 f + 1000 r + c.
#include <cstdio>
#include <string>

#include "writer/DemoFile.h"
#include "writer/McfFileWriter.h"

namespace {

using Image = TMCFIOManager::TImage;

bool Write(const std::string& path, const TKavriRect& detector, int count, const TSubImage* regions,
           unsigned int frames, double x0, double x1, float cycle, float base, int columns, float frameStep = 1000,
           float rowStep = 10) {
    Image image(detector, count, regions, frames);
    kvmcftools::HeaderSettings settings;
    settings.Acquisition(3, 4, 0.01f, cycle, 1);
    settings.Camera(-60.0f, 1, 1e-6f, detector.right, detector.top);
    static_cast<TKestoImageData&>(image.Header()) = settings;
    TCalibImage& data = image.calibImage;
    data.SetXType(CalibAxis::Wavelength, nullptr);
    data.SetXUnit(CalibAxis::Nanometre);
    data.SetXCalConstants(x0, x1, 0.0, 0.0);
    data.SetYType(1, nullptr);
    data.SetZType(CalibAxis::PixelNumber, nullptr);
    data.SetZCalConstants(0.0f, 1.0f, 0.0f, 0.0f);
    const unsigned int planePixels = data.GetDataLength() / static_cast<unsigned int>(count);
    for (unsigned int f = 1; f <= frames; ++f) {
        float* pixels = data.ObtainWriteImagePtr(f);
        for (unsigned int i = 0; i < data.GetDataLength(); ++i) {
            const unsigned int s = i / planePixels, k = i % planePixels;
            pixels[i] = frameStep * static_cast<float>(f - 1) + 100.0f * static_cast<float>(s) +
                        rowStep * static_cast<float>(k / columns) + static_cast<float>(k % columns) + base;
        }
        data.ReleaseImagePtr(f);
    }
    kvmcftools::McfFileContent content;
    content.images[0] = &image;
    return kvmcftools::WriteMcfFile(path, content);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s DIR\n", argv[0]);
        return 2;
    }
    const std::string dir = argv[1];
    const TSubImage large(1, 520, 520, 1, 1, 1);
    const TSubImage binned[2] = {TSubImage(5, 6, 12, 1, 2, 2), TSubImage(5, 16, 12, 11, 2, 2)};
    const bool ok = Write(dir + "/binned.mcf", TKavriRect(1, 20, 16, 1), 2, binned, 4, 400.0, 0.5, 0.5f, 0.5f, 4) &&
                    Write(dir + "/large.mcf", TKavriRect(1, 520, 520, 1), 1, &large, 2, 500.0, 2.0, 1.0f, 0.0f, 520,
                          1000000.0f, 1000.0f);
    return ok ? 0 : 1;
}
