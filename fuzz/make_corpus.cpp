// Writes the fuzzers' seed corpus: whole files and single records from the library's
// own writers, each record also under every older version word (so the fuzzer starts
// from every layout's gates), plus a few old records typed by hand.
//
//   make_corpus <folder>    creates <folder>/<fuzzer name>/<seed>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "api/FileLayout.h"
#include "api/MCFIOManager.h"
#include "calib/CalibImageData.h"
#include "image/KavriImage.h"
#include "records/KavriSpectSave.h"
#include "records/KestoImageData.h"
#include "records/RecordStream.h"
#include "records/SpectSave.h"
#include "records/TSHUTTER.h"
#include "records/UserText.h"
#include "records/cropsave.h"
#include "records/iccdsave.h"
#include "writer/McfFileWriter.h"

namespace {

std::string outRoot;
int written = 0;

void Seed(const std::string& fuzzer, const std::string& name, const std::string& bytes) {
    const std::string dir = outRoot + "/" + fuzzer;
    mkdir(dir.c_str(), 0755);
    std::ofstream os(dir + "/" + name, std::ios::binary);
    os.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    ++written;
}

template <class T>
std::string Written(T& record) {
    std::ostringstream os(std::ios::binary);
    os << record;
    return os.str();
}

// The record under every version word from 1.0 up to the one written, plus a major 0
// and a major 2, in place of the leading version word.
void SeedAllVersions(const std::string& fuzzer, const std::string& bytes, unsigned int newest) {
    const std::size_t end = bytes.find_first_not_of("0123456789");
    const std::string body = bytes.substr(end == std::string::npos ? bytes.size() : end);
    std::vector<unsigned int> versions = {5u, 131072u, newest + 1};
    for (unsigned int minor = 0; minor <= (newest & 0xFFFFu); ++minor) versions.push_back(65536u + minor);
    for (unsigned int v : versions) Seed(fuzzer, "v" + std::to_string(v), std::to_string(v) + body);
}

// Frames filled with a ramp, time stamps, and metadata words when asked for.
void Fill(TKavriImage& image, bool metadata) {
    const unsigned int frames = image.GetNumberImages();
    for (unsigned int n = 1; n <= frames; ++n) {
        image.SetTimeStamp(n - 1, 1000 * n);
        if (float* pixels = image.ObtainWriteImagePtr(n))
            for (unsigned int i = 0; i < image.GetDataLength(); ++i) pixels[i] = static_cast<float>(n * 100 + i);
        image.ReleaseImagePtr(n);
    }
    if (metadata) {
        image.SetMetaDataFlag(1);
        for (unsigned int n = 0; n < frames; ++n) image.SetMetaDataWord(n, 0x100000000ull * n + 17);
    }
}

// A whole image of one data source: header with its nested records, calibration,
// and image data with frames.
TMCFIOManager::TImage* MakeImage(unsigned int frames, std::vector<TSubImage> subs, bool metadata,
                                 const char* headModel) {
    TMCFIOManager::TImage* image = new TMCFIOManager::TImage(
        TKavriRect(1, 256, 1024, 1), static_cast<unsigned int>(subs.size()), subs.data(), frames);
    TKestoImageData& header = image->Header();
    header.SetHeadModel(headModel);
    header.SetFilename("/data/run 7/acq.mcf");
    header.GetUserText().SetText("sample\nline two", 15);
    header.GetCropSave().SetCropModeEnabled(true);
    header.GetCropSave().SetCropXEnd(511);
    header.GetShutter().SetClosingTime(12.5f);

    TCalibImage& calib = image->calibImage;
    calib.SetXType(1, nullptr);
    calib.SetXUnit(1);
    calib.SetXCalConstants(400.0, 0.25, -1e-5, 0.0);
    calib.SetYCalConstants(0.0f, 1.0f, 0.0f, 0.0f);
    Fill(calib, metadata);
    return image;
}

// Every target that takes a whole file.
void SeedFile(const std::string& name, const std::string& bytes) {
    for (const char* fuzzer : {"fuzz_open_bytes", "fuzz_open_path", "fuzz_file_bytes", "fuzz_diagnosis", "fuzz_export"})
        Seed(fuzzer, name, bytes);
}

// The extension section's target takes a series length byte, then the text.
void SeedXml(const std::string& name, unsigned char frames, const std::string& text) {
    Seed("fuzz_xml", name, std::string(1, static_cast<char>(frames)) + text);
}

void SeedFiles() {
    using kvmcftools::McfFileContent;
    using kvmcftools::McfFileBytes;

    McfFileContent empty;
    SeedFile("empty", McfFileBytes(empty));
    empty.magic = FileLayout::kMagicLines[1];
    SeedFile("empty-second-magic", McfFileBytes(empty));
    empty.versionWord = 65537;
    SeedFile("empty-other-version", McfFileBytes(empty));

    std::unique_ptr<TMCFIOManager::TImage> signal(MakeImage(3, {TSubImage(1, 4, 8, 1, 1, 1), TSubImage(1, 8, 4, 5, 2, 2)},
                                                            true, "DU420_BV"));
    std::unique_ptr<TMCFIOManager::TImage> background(MakeImage(1, {TSubImage(1, 1, 16, 1, 1, 1)}, false, "DH734"));
    std::unique_ptr<TMCFIOManager::TImage> reference(MakeImage(2, {TSubImage(1, 2, 4, 1, 1, 2)}, false, "Gelta QM7"));

    McfFileContent one;
    one.images[0] = signal.get();
    SeedFile("signal", McfFileBytes(one));

    // Small enough for the kept corpus's length limit, with a section at its end.
    one.extensionXml =
        "<?xml version=\"1.0\" ?><Signals><Signal><TKestoImage><IRIGAvailable>0</IRIGAvailable>"
        "<MetaDataLength>2</MetaDataLength><MetaData>0a,0b,|0c,0d,|0e,0f,|</MetaData></TKestoImage></Signal></Signals>";
    SeedFile("signal-xml", McfFileBytes(one));
    one.extensionXml.clear();

    McfFileContent several;
    several.images[0] = signal.get();
    several.images[1] = reference.get();
    several.images[2] = background.get();
    SeedFile("three-sources", McfFileBytes(several));

    several.images[3] = background.get();
    several.images[4] = reference.get();
    several.extensionXml =
        "<?xml version=\"1.0\" ?><Signals><Signal><TKestoImageData><PreAmpGainText>x4</PreAmpGainText>"
        "<SpectrographSerial>SR-1</SpectrographSerial><mSec>250</mSec><FullSerialNumber>X-1</FullSerialNumber>"
        "<DARKTHRESHOLD>1.5</DARKTHRESHOLD></TKestoImageData><TKestoImage><IRIGAvailable>0</IRIGAvailable>"
        "<MetaDataLength>2</MetaDataLength><MetaData>0a,0b,|0c,0d,|0e,0f,|</MetaData></TKestoImage>"
        "<TCalibImage><TCalibImageData /><TKavriImage><TKavriImageData><ImageFormat>0</ImageFormat>"
        "<ReadoutPort>2</ReadoutPort><ReadoutDirection>4</ReadoutDirection><TickInterval>25</TickInterval>"
        "<PIVMode>1</PIVMode></TKavriImageData></TKavriImage></TCalibImage></Signal></Signals>";
    SeedFile("five-sources-xml", McfFileBytes(several));
    SeedXml("five-sources", 3, several.extensionXml);
    SeedXml("time-codes", 2,
            "<Signals><Signal><TKestoImage><IRIGAvailable>1</IRIGAvailable>"
            "<IRIGData>00112233445566778899aabbccddeeff00112233,|0102030405060708090a0b0c0d0e0f1011121314,|</IRIGData>"
            "<MetaDataLength>4</MetaDataLength><MetaData>01020304,|05060708,|</MetaData></TKestoImage>"
            "</Signal></Signals>");
    SeedXml("empty", 0, "");

    // A cut-off series: two of the three frames whole, the third cut short.
    const std::string whole = McfFileBytes(one);
    SeedFile("signal-cut-in-frames", whole.substr(0, whole.size() - 40));

    // The writer stores at most one image per source; a count of 2 is typed here.
    std::ostringstream twice(std::ios::binary);
    twice << kvmcftools::kMagicLine << "\n65538\n2\n" << *background << *background << "0\n0\n0\n-1\n";
    SeedFile("count-two", twice.str());
}

void SeedRecords() {
    TKestoImageData header;
    header.SetHeadModel("DU420_BV");
    header.GetUserText().SetText("note", 4);
    SeedAllVersions("fuzz_header", Written(header), TKestoImageData::kVersionWritten);

    TSpectSave spect;
    SeedAllVersions("fuzz_spect", Written(spect), TSpectSave::kVersionWritten);
    Seed("fuzz_spect", "typed-1.0", "65536 1 250.5 600\n5 Hello\n");

    TKavriSpectSave kavriSpect;
    SeedAllVersions("fuzz_kavrispect", Written(kavriSpect), TKavriSpectSave::kVersionWritten);

    TShutter shutter;
    shutter.SetOpeningTime(3.5f);
    SeedAllVersions("fuzz_shutter", Written(shutter), TShutter::kVersionWritten);
    Seed("fuzz_shutter", "typed-1.1", std::string("65537 \x04 \x03 \x05 \x06 0.5\n"));

    TICCDSave iccd;
    SeedAllVersions("fuzz_iccd", Written(iccd), TICCDSave::kVersionWritten);

    TCropSave crop;
    crop.SetCropModeEnabled(true);
    SeedAllVersions("fuzz_crop", Written(crop), TCropSave::kVersionWritten);
    Seed("fuzz_crop", "typed-1.1", "65537 1 2048 512 100 50 2 4\n");

    TUserText text("line one\nline two", 17);
    SeedAllVersions("fuzz_usertext", Written(text), TUserText::kVersionWritten);
    Seed("fuzz_usertext", "typed-short", "65538 5\nhello");

    TCalibImageData calib;
    calib.SetXType(1, nullptr);
    calib.SetXCalConstants(400.0, 0.25, 0.0, 0.0);
    const std::string calibBytes = Written(calib);
    SeedAllVersions("fuzz_calib", calibBytes, RecordStream::MakeVersion(calib.GetVersionHigh(), calib.GetVersionLow()));

    const TSubImage subs[] = {TSubImage(1, 2, 2, 1, 1, 1), TSubImage(3, 2, 4, 1, 1, 2)};
    TKavriImage image(TKavriRect(1, 256, 1024, 1), 2, subs, 2, false, true, DataStore::Float);
    Fill(image, true);
    const std::string imageBytes = Written(image);
    for (const char* fuzzer : {"fuzz_image", "fuzz_image_header_only"}) {
        SeedAllVersions(fuzzer, imageBytes, 65541);
        // Two frames of one 2x2 sub-image under the old layouts: coarse stamps, then no flag line.
        const std::string head = " 1 256 1024 1 2 1 8 4\n65538 1 2 2 1 1 1 0\n         5\n         7\n";
        const std::string pixels(32, '\0');
        Seed(fuzzer, "typed-1.2", "65538" + head + pixels);
        Seed(fuzzer, "typed-1.4", "65540" + head + "                   9\n                  10\n" + pixels);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: %s <corpus folder>\n", argv[0]);
        return 2;
    }
    outRoot = argv[1];
    mkdir(outRoot.c_str(), 0755);
    SeedFiles();
    SeedRecords();
    std::printf("%d seeds written to %s\n", written, outRoot.c_str());
    return 0;
}
