// The extension section's text on its own: parsed, read by the header, calibration
// and image readers of every source as the open reads it, the per-frame metadata and
// time code texts decoded for every frame, then everything written back out.
//
// Input: one byte giving the series length (0 to 63 frames), then the text.
#include <cstdint>
#include <sstream>
#include <string>

#include "api/MCFIOManager.h"
#include "fuzz/FuzzSupport.h"
#include "metadata/mcfdataxml.h"
#include "records/KestoImage.h"

// Named, so the regression replay can compile every target into one program.
namespace xmlfuzz {

const char* const kItems[5][2] = {{"Signals", "Signal"},
                                  {"References", "Reference"},
                                  {"Backgrounds", "Background"},
                                  {"Lives", "Live"},
                                  {"Sources", "Source"}};

// Every value query on the current node, under names the readers use and one they do not.
void Values(const TMcfDataXML& xml) {
    for (const char* name : {"MetaData", "IRIGData", "MetaDataLength", "mSec", "DARKTHRESHOLD", "NoSuchElement"}) {
        (void)xml.GetStringData(name, nullptr);
        (void)xml.GetIntData(name, -1);
        (void)xml.GetFloatData(name, -1.0f);
        (void)xml.GetDoubleData(name, -1.0);
        (void)xml.GetBoolData(name, false);
    }
    (void)xml.GetNodeValue();
}

void ReadSource(TMcfDataXML& xml, int frames, int slot) {
    if (!xml.SetFirstChildNode(kItems[slot][0])) return;
    Values(xml);
    if (xml.SetFirstChildNode(kItems[slot][1])) {
        // As the open reads it: the header and the calibrated image.
        TMCFIOManager::TImage image;
        image.Header().ReadXMLDataStructure(xml);
        image.calibImage.ReadXMLDataStructure(xml);
        // As the C++ interface reads it: the per-frame packets and time codes as well.
        TKestoImage extras;
        extras.GetMetaDataHandler().SetSeriesLength(frames);
        extras.GetIRIGDataHandler().SetSeriesLength(frames);
        extras.ReadXMLDataStructure(xml);
        for (int f = 0; f <= frames + 1; ++f) {
            unsigned char text[TIRIGDataHandler::kTranslatedTextSize];
            extras.GetIRIGDataHandler().GetTranslatedIRIGData(text, f);
            (void)extras.GetIRIGDataHandler().GetFrameIRIGDataAsHex(f);
            (void)extras.GetMetaDataHandler().GetFrameMetaData(f);
            for (int tag : {0, 1, 2, 7, 255, -1}) (void)extras.GetMetaDataTagValue(f + 1, tag);
        }
        // Siblings after the first are not read by the open; walked here all the same.
        while (xml.SetNextSiblingNode(kItems[slot][1])) Values(xml);
        xml.PopNode();

        // What was read, written back.
        TMcfDataXML out;
        out.AddChildNode(kItems[slot][0]);
        out.AddChildNode(kItems[slot][1]);
        image.Header().BuildXMLDataStructure(out);
        image.calibImage.BuildXMLDataStructure(out);
        extras.BuildXMLDataStructure(out);
        std::ostringstream os;
        os << out;
    }
    xml.PopNode();
}

}  // namespace xmlfuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace xmlfuzz;
    if (size == 0) return 0;
    const int frames = data[0] & 63;
    const std::string text(reinterpret_cast<const char*>(data + 1), size - 1);
    TMcfDataXML xml(text.c_str());
    Values(xml);
    for (int slot = 0; slot < 5; ++slot) {
        xml.GotoRootLevel();
        ReadSource(xml, frames, slot);
    }
    // Popping past the document leaves the cursor on it.
    for (int i = 0; i < 3; ++i) xml.PopNode();
    if (xml.getStackHeadIndex() != 0) kvmcffuzz::Fail("the document was popped off the cursor");
    std::ostringstream os;
    os << xml;
    return 0;
}
