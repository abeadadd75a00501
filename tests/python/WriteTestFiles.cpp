// Writes the files the Python tests and benchmark read, with the library's own
// record writers, and one typed by hand from the record tables:
//   kvmcf_python_testfiles shapes DIR                   the test files, in DIR
//   kvmcf_python_testfiles series PATH FRAMES ROWS COLS a long series of one sub-image
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "support/HandTypedFile.h"
#include "writer/DemoFile.h"
#include "writer/McfFileWriter.h"

namespace {

using Image = TMCFIOManager::TImage;

void Fill(Image& image, float base) {
    TCalibImage& data = image.calibImage;
    for (unsigned int frame = 1; frame <= data.GetNumberImages(); ++frame) {
        float* pixels = data.ObtainWriteImagePtr(frame);
        for (unsigned int i = 0; i < data.GetDataLength(); ++i)
            pixels[i] = base + static_cast<float>(frame - 1) * 1000.0f + static_cast<float>(i) * 0.5f;
        data.ReleaseImagePtr(frame);
    }
}

bool Write(const std::string& path, Image* signal, const std::string& xml = std::string()) {
    kvmcftools::McfFileContent content;
    content.images[0] = signal;
    content.extensionXml = xml;
    return kvmcftools::WriteMcfFile(path, content);
}

// Three frames of a 2x2-binned region (columns 5..36, rows 3..10 of a 64 x 32
// detector: 4 rows of 16), with a wavelength axis, metadata words and
// time codes for frames 0 and 2.
bool WriteBinned(const std::string& path) {
    const TSubImage region(5, 10, 36, 3, 2, 2);
    Image image(TKavriRect(1, 32, 64, 1), 1, &region, 3);
    kvmcftools::HeaderSettings settings;
    settings.Acquisition(3, 4, 0.02f, 0.25f, 1);
    settings.Camera(-70.0f, 1, 1e-6f, 64, 32);
    static_cast<TKestoImageData&>(image.Header()) = settings;
    TCalibImage& data = image.calibImage;
    data.SetXType(CalibAxis::Wavelength, nullptr);
    data.SetXUnit(CalibAxis::Nanometre);
    data.SetXCalConstants(400.0, 0.5, 0.001, 0.0);
    data.SetYType(1, nullptr);
    data.SetZType(CalibAxis::PixelNumber, nullptr);
    data.SetZCalConstants(0.0f, 1.0f, 0.0f, 0.0f);
    data.SetMetaDataFlag(1);
    for (unsigned int f = 0; f < 3; ++f) {
        data.SetTimeStamp(f, 100 + f * 7);
        data.SetMetaDataWord(f, 5000000ULL + f * 250000ULL);
    }
    Fill(image, 10.0f);
    // 2024 day 60 13:45:27 and 25 hundredths; nothing; 2023 day 60 with a count of 12345.
    const std::string xml =
        "<?xml version=\"1.0\" ?>\n<Signals><Signal><TKestoImage><IRIGAvailable>1</IRIGAvailable>"
        "<IRIGData>8e,14,32,2,30,0,10,1,0,0,0,0,90,1,0,0,0,|"
        "0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,|"
        "0,0,0,0,30,0,c,1,0,0,0,0,0,90,3,3,0,|</IRIGData></TKestoImage></Signal></Signals>\n";
    return Write(path, &image, xml);
}

// One of a series of small files for stacking: 4 frames of 6 rows by 8 columns.
bool WriteSmall(const std::string& path, int index) {
    const TSubImage region(1, 6, 8, 1, 1, 1);
    Image image(TKavriRect(1, 6, 8, 1), 1, &region, 4);
    Fill(image, static_cast<float>(index) * 10000.0f);
    return Write(path, &image);
}

// A long series written header-only, then its pixel block as one pattern.
bool WriteSeries(const std::string& path, unsigned int frames, unsigned int rows, unsigned int cols) {
    const TSubImage region(1, static_cast<int>(rows), static_cast<int>(cols), 1, 1, 1);
    Image image(TKavriRect(1, static_cast<int>(rows), static_cast<int>(cols), 1), 1, &region, frames,
                DataStore::Float, false);
    image.calibImage.SetHeaderOnly(true);
    std::ofstream os(path, std::ios::binary);
    os << kvmcftools::kMagicLine << "\n65538\n1\n";
    os << image.Header() << static_cast<TCalibImageData&>(image.calibImage)
       << static_cast<TKavriImageData&>(image.calibImage);
    std::vector<float> chunk(1u << 20);
    unsigned long long left = static_cast<unsigned long long>(frames) * rows * cols, done = 0;
    while (left > 0) {
        const std::size_t n = static_cast<std::size_t>(std::min<unsigned long long>(left, chunk.size()));
        for (std::size_t i = 0; i < n; ++i) chunk[i] = static_cast<float>((done + i) % 65521);
        os.write(reinterpret_cast<const char*>(chunk.data()), static_cast<std::streamsize>(n * sizeof(float)));
        left -= n;
        done += n;
    }
    os << "0\n0\n0\n0\n";
    return static_cast<bool>(os);
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "";
    if (mode == "shapes" && argc == 3) {
        const std::string dir = argv[2];
        bool ok = kvmcftools::WriteDemoFile(dir + "/demo.mcf") && WriteBinned(dir + "/binned.mcf");
        std::ofstream(dir + "/handtyped.mcf", std::ios::binary) << kvmcftest::HandTypedFile();
        for (int i = 0; i < 50 && ok; ++i)
            ok = WriteSmall(dir + (i < 10 ? "/small0" : "/small") + std::to_string(i) + ".mcf", i);
        return ok ? 0 : 1;
    }
    if (mode == "series" && argc == 6) {
        const auto number = [](const char* s) { return static_cast<unsigned int>(std::strtoul(s, nullptr, 10)); };
        return WriteSeries(argv[2], number(argv[3]), number(argv[4]), number(argv[5])) ? 0 : 1;
    }
    std::fprintf(stderr, "usage: %s shapes DIR | series PATH FRAMES ROWS COLS\n", argv[0]);
    return 2;
}
