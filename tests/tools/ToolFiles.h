// Small files for the tool's tests, built with the library's own writers, with
// pixels and times chosen so every figure the tool prints can be worked out by hand.
#ifndef KVMCF_TESTS_TOOLS_TOOLFILES_H
#define KVMCF_TESTS_TOOLS_TOOLFILES_H

#include <cmath>
#include <cstdint>
#include <limits>
#include <string>

#include "writer/DemoFile.h"
#include "writer/McfFileWriter.h"

namespace kvmcftest {

// Signal: two 4 x 4 frames, pixel i (row i / 4 from the bottom, column i % 4, both from
// detector 1) of frame f is 100 + 10 f + i / 2, except frame 0 pixel 5 (NaN) and 6 (+inf).
// Time stamps 100 f + 7; kinetic cycle 0.25 s. Background: one frame, pixel i is i / 4.
// With `words`, the signal's metadata words are `words` + f (64-bit); the section's XML
// is stored as given.
inline std::string TwoSourceFile(const std::string& extensionXml = "", std::uint64_t words = 0) {
    const TSubImage whole(1, 4, 4, 1, 1, 1);
    const TKavriRect detector(1, 4, 4, 1);
    TMCFIOManager::TImage signal(detector, 1, &whole, 2), background(detector, 1, &whole, 1);
    kvmcftools::HeaderSettings settings;
    settings.Acquisition(3, 4, 0.05f, 0.25f, 1);
    static_cast<TKestoImageData&>(signal.Header()) = settings;
    static_cast<TKestoImageData&>(background.Header()) = settings;
    if (words) signal.calibImage.SetMetaDataFlag(1);
    for (unsigned int f = 0; f < 2; ++f) {
        float* pixels = signal.calibImage.ObtainWriteImagePtr(f + 1);
        for (unsigned int i = 0; i < 16; ++i) pixels[i] = 100.0f + 10.0f * f + static_cast<float>(i) / 2;
        if (f == 0) {
            pixels[5] = std::numeric_limits<float>::quiet_NaN();
            pixels[6] = std::numeric_limits<float>::infinity();
        }
        signal.calibImage.ReleaseImagePtr(f + 1);
        signal.calibImage.SetTimeStamp(f, 100 * f + 7);
        if (words) signal.calibImage.SetMetaDataWord(f, words + f);
    }
    float* pixels = background.calibImage.ObtainWriteImagePtr(1);
    for (unsigned int i = 0; i < 16; ++i) pixels[i] = static_cast<float>(i) / 4;
    background.calibImage.ReleaseImagePtr(1);
    kvmcftools::McfFileContent content;
    content.images[0] = &signal;
    content.images[2] = &background;
    content.extensionXml = extensionXml;
    return kvmcftools::McfFileBytes(content);
}

// An extension section with a time code for frame 0 only (2015, day 62, 14:05:09.25),
// metadata packets holding tag 3 (5, then 3) and tag 6 (0x1234, then 0), and the
// signal's readout port 2, direction 4, a 25 ns tick and fast kinetics storage mode 1.
inline std::string SectionXml() {
    std::string zeros;
    for (int i = 0; i < 24; ++i) zeros += "0,";
    const std::string packets = zeros + "0,0,34,12,0,0,6,0,0,0,4,0,0,0,5,0,0,0,3,0,0,0,4,0,|" + zeros +
                                "0,0,34,12,0,0,6,0,0,0,4,0,0,0,3,0,0,0,3,0,0,0,4,0,|";
    const std::string irig = "12,14,40,82,30,0,94,0,0,0,0,0,90,1,0,0,|0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,|";
    return "<?xml version=\"1.0\" ?><Signals><Signal><TKestoImage><IRIGAvailable>1</IRIGAvailable><IRIGData>" +
           irig + "</IRIGData><MetaDataLength>48</MetaDataLength><MetaData>" + packets +
           "</MetaData></TKestoImage><TCalibImage><TKavriImage><TKavriImageData><ReadoutPort>2</ReadoutPort>"
           "<ReadoutDirection>4</ReadoutDirection><TickInterval>25</TickInterval><FastKineticsStorageMode>1"
           "</FastKineticsStorageMode></TKavriImageData></TKavriImage></TCalibImage></Signal></Signals>";
}

}  // namespace kvmcftest

#endif
