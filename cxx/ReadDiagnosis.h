// Where and why a multi-channel file stops reading.
//
// The open itself says where it stopped (source, image, record, field, byte offset,
// what was expected): the diagnosis runs it headers only and adds what the open
// cannot know, the whole frames each source still holds in its pixel block.
//
// Diagnosis never throws for bad input and allocates nothing sized by the file
// beyond what the open itself allows.
#ifndef KVMCF_API_READDIAGNOSIS_H
#define KVMCF_API_READDIAGNOSIS_H

#include <cstddef>
#include <istream>
#include <string>

#include "api/MCFIOManager.h"

namespace ReadDiagnosis {

// The parts of a file, in the order they are read.
using Part = TFilePart;

// Stable lower-case name of a part: "file header", "source count", "instrument header",
// "calibration", "image data", "pixel block", "extension section"; "" for None.
const char* PartName(Part part);

// "signal", "reference", "background", "live", "source" for slots 0..4; "" otherwise.
const char* SourceName(int slot);

// The first place where reading stops.
struct ReadStop {
    bool intact = true;      // the whole file reads; the fields below are then unset
    int source = -1;         // data source slot 0..4 in file order; -1 before the first source
    unsigned int image = 0;  // 0-based image within the source (a count above 1 stores several)
    Part part = Part::None;
    std::string record;     // PartName(part)
    std::string field;      // the field, where the reader can tell; else empty
    long long offset = -1;  // byte offset where reading stopped
    std::string expected;   // what had to stand there
};

// What the open found of one data source, with its whole frames measured.
struct SourceState : TStopReport::Source {
    unsigned int wholeFrames = 0;  // frames whose pixels are all in the file
};

struct Diagnosis {
    ReadStop stop;
    SourceState sources[5];
    long long fileSize = -1;
    bool formatKnown = false;  // magic line and version 1.2 recognised: sources are read
    unsigned int versionWord = 0;
    bool hasExtension = false;       // a well framed extension section ends the file
    long long extensionOffset = -1;  // where its text starts

    // One line: "intact" or "<source> source, image N, <record> record, <field>, byte B: expected E".
    std::string Describe() const;
};

// What the open's stop report says, with the whole frames measured against fileSize.
Diagnosis FromReport(const TStopReport& report, long long fileSize);
Diagnosis DiagnoseBytes(const void* bytes, std::size_t size);
// A path that cannot be opened stops at offset 0 of the file header, expected "a readable file".
Diagnosis DiagnoseFile(const std::string& path);

}  // namespace ReadDiagnosis

#endif
