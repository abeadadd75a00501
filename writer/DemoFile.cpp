#include "writer/DemoFile.h"

#include <cmath>

namespace kvmcftools {
namespace {

const unsigned int kSpectrumPixels = 1024;
const unsigned int kSpectra = 20;
const long long kAcquired = 1795000000;  // a fixed time, so the file is the same every run

void SetHeader(TKestoImageData& header, unsigned char mode, unsigned char readPattern) {
    HeaderSettings settings;
    settings.Acquisition(mode, readPattern, 0.05f, 0.1f, 1);
    settings.Camera(-60.0f, 200, 3.3e-6f, kSpectrumPixels, 256);
    settings.When(kAcquired);
    settings.SetHeadModel("DemoCam 1024");
    settings.SetFilename("demo acquisition");
    settings.GetUserText().SetText(const_cast<char*>("synthetic neon-like lines on a sloped background"), 48);
    static_cast<TKestoImageData&>(header) = settings;
}

// Three emission lines drifting in intensity over the series, on a sloped baseline.
float Spectrum(unsigned int frame, unsigned int pixel) {
    const double x = pixel;
    const double lines = 900.0 * std::exp(-0.5 * std::pow((x - 240.0) / 3.0, 2)) +
                         1500.0 * (1.0 + 0.02 * frame) * std::exp(-0.5 * std::pow((x - 512.0) / 2.5, 2)) +
                         600.0 * std::exp(-0.5 * std::pow((x - 801.0) / 4.0, 2));
    return static_cast<float>(300.0 + 0.05 * x + lines + ((pixel * 7919u + frame * 104729u) % 13));
}

}  // namespace

std::unique_ptr<TMCFIOManager::TImage> MakeDemoSignal() {
    const TKavriRect detector(1, 256, kSpectrumPixels, 1);
    // Full vertical binning: one stored row of 256 binned detector rows.
    const TSubImage track(1, 256, kSpectrumPixels, 1, 256, 1);
    auto image = std::make_unique<TMCFIOManager::TImage>(detector, 1, &track, kSpectra);
    SetHeader(image->Header(), 3, 0);

    TCalibImage& calib = image->calibImage;
    calib.SetXType(CalibAxis::Wavelength, nullptr);
    calib.SetXUnit(CalibAxis::Nanometre);
    calib.SetXCalConstants(580.0, 0.0625, -1.5e-6, 0.0);
    calib.SetYType(1, nullptr);
    calib.SetZType(CalibAxis::PixelNumber, nullptr);
    calib.SetZCalConstants(0.0f, 1.0f, 0.0f, 0.0f);
    calib.SetRayleighWavelength(532.0f);
    for (unsigned int frame = 1; frame <= kSpectra; ++frame) {
        float* pixels = calib.ObtainWriteImagePtr(frame);
        for (unsigned int p = 0; p < kSpectrumPixels; ++p) pixels[p] = Spectrum(frame - 1, p);
        calib.ReleaseImagePtr(frame);
        calib.SetTimeStamp(frame - 1, (frame - 1) * 100);
    }
    return image;
}

std::unique_ptr<TMCFIOManager::TImage> MakeDemoBackground() {
    const TKavriRect detector(1, 256, kSpectrumPixels, 1);
    // Two regions of interest: a full-resolution patch and a 2x2-binned strip.
    const TSubImage regions[2] = {TSubImage(101, 80, 164, 49, 1, 1), TSubImage(401, 200, 528, 137, 2, 2)};
    auto image = std::make_unique<TMCFIOManager::TImage>(detector, 2, regions, 1);
    SetHeader(image->Header(), 1, 4);

    TCalibImage& calib = image->calibImage;
    calib.SetXType(CalibAxis::PixelNumber, nullptr);
    calib.SetXCalConstants(0.0, 1.0, 0.0, 0.0);
    calib.SetYType(1, nullptr);
    calib.SetZType(CalibAxis::PixelNumber, nullptr);
    calib.SetZCalConstants(0.0f, 1.0f, 0.0f, 0.0f);
    float* pixels = calib.ObtainWriteImagePtr(1);
    for (unsigned int i = 0; i < calib.GetDataLength(); ++i) pixels[i] = 95.0f + static_cast<float>(i % 17) * 0.5f;
    calib.ReleaseImagePtr(1);
    return image;
}

bool WriteDemoFile(const std::string& path) {
    auto signal = MakeDemoSignal();
    auto background = MakeDemoBackground();
    McfFileContent content;
    content.images[0] = signal.get();
    content.images[2] = background.get();
    return WriteMcfFile(path, content);
}

}  // namespace kvmcftools
