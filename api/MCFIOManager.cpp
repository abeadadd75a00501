#include "api/MCFIOManager.h"

#include <cstdint>
#include <cstring>
#include <locale>
#include <vector>

#include "api/FileLayout.h"
#include "api/FileStreamBuf.h"
#include "api/MemoryStream.h"
#include "api/PropertyTable.h"
#include "metadata/mcfdataxml.h"
#include "records/RecordStream.h"

namespace {

const char* const kMagicKavri = FileLayout::kMagicLines[0];
const char* const kMagicHalvi = FileLayout::kMagicLines[1];
using FileLayout::kSectionMarker;

// Files of version 1.2 are the only ones whose data sources are read.
const unsigned int kFileVersionHigh = FileLayout::kVersionHigh;
const unsigned int kFileVersionLow = FileLayout::kVersionLow;

}  // namespace

std::istream& operator>>(std::istream& is, TMCFIOManager::TImage& image) {
    is >> image.Header();
    if (is.good()) is >> image.calibImage;
    return is;
}

std::ostream& operator<<(std::ostream& os, TMCFIOManager::TImage& image) {
    os << image.Header();
    return os << image.calibImage;
}

// ---------------------------------------------------------------------------
// Open file

TMCFIOManager::TMCF::TMCF(KVMCF_ReadMode mode, const char* path, bool spooledFlag, TStopReport* stop)
    : spooled(spooledFlag), accessMode(mode), fileName(path ? path : "") {
    if (fileName.empty()) return;
    try {
        stream = new TFileStream(fileName.c_str());
        UseClassicLocale();
    } catch (...) {
        Cleanup();
        throw;
    }
    Open(stop);
}

TMCFIOManager::TMCF::TMCF(KVMCF_ReadMode mode, const unsigned char* bytes, unsigned int size, TStopReport* stop)
    : accessMode(mode) {
    try {
        stream = new TMemoryStream(bytes, size);
        UseClassicLocale();
    } catch (...) {
        Cleanup();
        throw;
    }
    Open(stop);
}

TMCFIOManager::TMCF::TMCF(KVMCF_ReadMode mode, std::unique_ptr<std::istream> owned, TStopReport* stop)
    : accessMode(mode) {
    try {
        stream = owned.release();
        UseClassicLocale();
    } catch (...) {
        Cleanup();
        throw;
    }
    Open(stop);
}

TMCFIOManager::TMCF::~TMCF() { Cleanup(); }

void TMCFIOManager::TMCF::Open(TStopReport* stop) {
    RecordStream::Follow(*stream, &trail);
    try {
        ReadFile();
    } catch (...) {
        if (stop) *stop = report;
        Cleanup();
        throw;
    }
    if (stop) *stop = report;
}

// Records are written in the "C" locale; a host program's global locale must not
// change how they read.
void TMCFIOManager::TMCF::UseClassicLocale() { stream->imbue(std::locale::classic()); }

void TMCFIOManager::TMCF::Cleanup() noexcept {
    for (TImage*& image : images) {
        delete image;
        image = nullptr;
    }
    delete stream;
    stream = nullptr;
    if (largeFile) std::fclose(largeFile);
    largeFile = nullptr;
}

void TMCFIOManager::TMCF::Enter(TFilePart part, int source, unsigned int image) {
    if (stream->fail()) return;
    report.part = part;
    report.source = source;
    report.image = image;
    trail.Reset();
}

namespace {

// The byte at a stop, shown so a reader of the message can find it.
std::string Shown(int c) {
    if (c >= 0x21 && c < 0x7F) return std::string("'") + static_cast<char>(c) + "'";
    static const char hex[] = "0123456789abcdef";
    return std::string("byte 0x") + hex[(c >> 4) & 15] + hex[c & 15];
}

// Leaves the stream where and as it was.
long long StreamSize(std::istream& is) {
    std::streambuf* buffer = is.rdbuf();
    if (!buffer) return -1;
    const std::streampos here = buffer->pubseekoff(0, std::ios::cur, std::ios::in);
    const std::streampos end = buffer->pubseekoff(0, std::ios::end, std::ios::in);
    if (here != std::streampos(-1)) buffer->pubseekpos(here, std::ios::in);
    return static_cast<long long>(end);
}

}  // namespace

std::string TMCFIOManager::TMCF::ExpectedAt(long long offset) {
    if (offset >= report.fileSize) return "more bytes: the file ends here";
    stream->clear();
    stream->seekg(offset);
    const int c = stream->get();
    if (!*stream) return "more bytes";
    return "a decimal number, found " + Shown(c);
}

void TMCFIOManager::TMCF::StopAt(const char* field, long long offset, const std::string& expected) {
    report.field = field;
    report.offset = offset;
    report.fileSize = StreamSize(*stream);
    report.expected = expected.empty() ? ExpectedAt(offset) : expected;
    throw TMCFLoadException();
}

void TMCFIOManager::TMCF::Stop(std::string expected) {
    const long long stop = RecordStream::StopOffset(*stream);
    report.fileSize = StreamSize(*stream);
    if (report.part == TFilePart::ImageData && std::strcmp(trail.field, TKavriImageData::kPixelBlockField) == 0) {
        // The text read whole: the report points at the first frame not all there.
        const long long whole = trail.index;
        const long long at = trail.mark + static_cast<long long>(whole * trail.itemBytes);
        report.part = TFilePart::PixelBlock;
        // Frames and items count from 0, as everywhere the report is shown.
        StopAt(("frame " + std::to_string(whole)).c_str(), at,
               std::to_string(trail.itemBytes) + " bytes of frame " + std::to_string(whole) + " (" +
                   std::to_string(trail.items) + " frames, from 0), found " + std::to_string(report.fileSize - at));
    }
    // The instrument header is reported as a whole.
    std::string field = report.part == TFilePart::InstrumentHeader ? "" : trail.field;
    if (!field.empty() && trail.index >= 0) field += " " + std::to_string(trail.index);
    if (std::strcmp(trail.field, TKavriImageData::kCountsField) == 0)
        expected = "counts that the remaining " + std::to_string(report.fileSize - stop) + " bytes can hold";
    StopAt(field.c_str(), stop, expected);
}

bool TMCFIOManager::TMCF::ReadFile() {
    report.part = TFilePart::FileHeader;
    if (!IsStreamGood()) StopAt("", 0, "a readable file");

    SetStreamPosition(0, std::ios::beg);
    char magic[80] = {};
    stream->getline(magic, sizeof magic);
    if (stream->fail()) {
        const bool empty = StreamSize(*stream) == 0;
        StopAt("magic line", empty ? 0 : RecordStream::StopOffset(*stream),
               empty ? "the magic line" : "a first line of at most 79 characters");
    }

    const bool known = std::strcmp(magic, kMagicKavri) == 0 || std::strcmp(magic, kMagicHalvi) == 0;
    if (known) {
        unsigned int version = 0;
        RecordStream::Field(*stream, "version word");
        RecordStream::Read(*stream, version);
        if (stream->fail()) Stop();
        versionHigh = RecordStream::Major(version);
        versionLow = RecordStream::Minor(version);
        report.versionWord = version;
        report.formatKnown = versionHigh == kFileVersionHigh && versionLow == kFileVersionLow;
        // Other versions open with every data source absent, without an error.
        if (report.formatKnown) {
            ReadDataSource(0, accessMode, true);
            if (accessMode == KVMCF_READ_HEADER_ONLY && images[0]) ResetStream(*images[0]);
            for (int slot = 1; slot < kSlots; ++slot) ReadDataSource(slot, accessMode, false);
        }
    }

    // A stream that hit end of file while reading numbers counts as bad too.
    if (!IsStreamGood()) StopAt(known ? "version word" : "magic line", StreamSize(*stream), "");
    report.part = TFilePart::None;
    report.source = -1;
    report.image = 0;
    if (spooled) SetupSpooledDATProcessor(images[0], images[2], images[1]);
    ReadMcfXMLData();
    return true;
}

void TMCFIOManager::TMCF::ReadDataSource(int slot, KVMCF_ReadMode mode, bool isSignal) {
    TStopReport::Source& progress = report.sources[slot];
    progress.reached = true;
    Enter(TFilePart::SourceCount, slot, 0);
    int count = 0;
    RecordStream::Field(*stream, "image count");
    RecordStream::Read(*stream, count);
    RecordStream::Field(*stream, "separator after the count");
    RecordStream::SkipSeparator(*stream);
    progress.count = count;
    if (!IsStreamGood()) Stop();
    if (count <= 0) {
        progress.intact = true;
        return;
    }

    images[slot] = new TImage();
    TImage& image = *images[slot];
    if (mode == KVMCF_READ_HEADER_ONLY) image.calibImage.SetHeaderOnly(true);
    if (spooled && isSignal) {
        image.calibImage.SetSpooledDAT(true);
        image.calibImage.SetSpoolMode(true);
    }
    // Every further image overwrites the one before; only the last one stays.
    for (int i = 0; i < count; ++i) {
        const unsigned int index = static_cast<unsigned int>(i);
        progress.frames = progress.frameLength = 0;
        progress.dataStart = -1;
        Enter(TFilePart::InstrumentHeader, slot, index);
        progress.headerOffset = GetStreamPosition();
        *stream >> image.Header();
        if (stream->fail()) Stop();
        // A header newer than this reader knows is marked active too.
        if (image.Header().GetActive() != 0) {
            if (image.Header().GetVersionLow() > 31)
                StopAt("version word", progress.headerOffset,
                       "a header layout this reader knows (minor version 31 or below)");
            StopAt("Active", trail.mark, "0");
        }
        Enter(TFilePart::Calibration, slot, index);
        *stream >> static_cast<TCalibImageData&>(image.calibImage);
        if (stream->fail()) Stop();
        Enter(TFilePart::ImageData, slot, index);
        *stream >> static_cast<TKavriImageData&>(image.calibImage);
        if (stream->good()) {
            progress.frames = image.calibImage.GetNumberImages();
            progress.frameLength = image.calibImage.GetDataLength();
            progress.dataStart = image.calibImage.GetDataStartOffset();
        } else if (std::strcmp(trail.field, TKavriImageData::kPixelBlockField) == 0) {
            progress.frames = static_cast<unsigned int>(trail.items);
            progress.frameLength = static_cast<unsigned int>(trail.itemBytes / 4u);
            progress.dataStart = trail.mark;
        }
        if (!IsStreamGood()) Stop();
    }
    progress.intact = true;
}

bool TMCFIOManager::TMCF::ReadMcfXMLData() {
    using FileLayout::kSectionLengthBytes;
    using FileLayout::kSectionMarkerBytes;
    const long long tail = static_cast<long long>(FileLayout::kSectionTailBytes);
    char marker[kSectionMarkerBytes + 1] = {};
    SetStreamPosition(-static_cast<long long>(kSectionMarkerBytes), std::ios::end);
    ReadFromStream(marker, static_cast<long long>(kSectionMarkerBytes));
    if (std::memcmp(marker, kSectionMarker, kSectionMarkerBytes) != 0) return false;

    unsigned char lengthBytes[kSectionLengthBytes] = {};
    SetStreamPosition(-tail, std::ios::end);
    ReadFromStream(reinterpret_cast<char*>(lengthBytes), static_cast<long long>(kSectionLengthBytes));
    std::uint64_t length = 0;
    for (std::size_t i = kSectionLengthBytes; i-- > 0;) length = (length << 8) | lengthBytes[i];

    // A length the file cannot hold would seek before its start: fail as that seek
    // would, without allocating for it.
    const long long end = SetStreamPosition(0, std::ios::end);
    if (end < tail || length > static_cast<std::uint64_t>(end - tail)) {
        stream->setstate(std::ios::failbit);
        // Reported for the files whose sources are read; others never told of it.
        if (report.formatKnown) {
            report.part = TFilePart::ExtensionSection;
            report.field = "length";
            report.fileSize = end;
            report.offset = end < tail ? 0 : end - tail;
            report.expected = end < tail ? "8 length bytes before the marker"
                                         : "a length of at most " + std::to_string(end - tail) + " bytes, found " +
                                             std::to_string(length);
        }
        return false;
    }
    if (report.formatKnown) {
        report.hasExtension = true;
        report.extensionOffset = end - tail - static_cast<long long>(length);
    }
    SetStreamPosition(-(tail + static_cast<long long>(length)), std::ios::end);
    std::vector<char> text(static_cast<std::size_t>(length) + 1, '\0');
    ReadFromStream(text.data(), static_cast<long long>(length));
    ReadExtensionSection(text.data());
    return true;
}

// The section is parsed here once; what each source's item holds stays with its image.
void TMCFIOManager::TMCF::ReadExtensionSection(const char* text) {
    TMcfDataXML xml(text);
    for (int slot = 0; slot < kSlots; ++slot)
        readXMLForKestoImage(xml, FileLayout::kSources[slot].sectionList, FileLayout::kSources[slot].sectionItem,
                             images[slot]);
}

// The header extras, the per-frame metadata packets and time codes (which no exported
// function answers, but the C++ interface does) and the readout settings.
bool TMCFIOManager::TMCF::readXMLForKestoImage(TMcfDataXML& xml, const char* plural, const char* singular,
                                                TImage* image) {
    if (image == nullptr || !xml.SetFirstChildNode(plural)) return true;
    // Only the first item of a list is used.
    if (xml.SetFirstChildNode(singular)) {
        const int frames = static_cast<int>(image->calibImage.GetNumberImages());
        image->kestoImage.GetMetaDataHandler().SetSeriesLength(frames);
        image->kestoImage.GetIRIGDataHandler().SetSeriesLength(frames);
        image->kestoImage.ReadXMLDataStructure(xml);
        image->calibImage.ReadXMLDataStructure(xml);
        xml.PopNode();
    }
    xml.PopNode();
    return true;
}

bool TMCFIOManager::TMCF::IsStreamGood() const { return stream != nullptr && stream->good(); }

long long TMCFIOManager::TMCF::GetStreamPosition() {
    if (largeFile) return ftello64(largeFile);
    return static_cast<long long>(stream->tellg());
}

long long TMCFIOManager::TMCF::SetStreamPosition(long long offset, std::ios_base::seekdir direction) {
    ++seekCount;
    if (largeFile) {
        const int whence = direction == std::ios::cur ? SEEK_CUR : direction == std::ios::end ? SEEK_END : SEEK_SET;
        fseeko64(largeFile, offset, whence);
        return ftello64(largeFile);
    }
    stream->seekg(offset, direction);
    return static_cast<long long>(stream->tellg());
}

void TMCFIOManager::TMCF::ReadFromStream(char* buffer, long long count) {
    stream->read(buffer, static_cast<std::streamsize>(count));
}

// ---------------------------------------------------------------------------
// Manager

TMCFIOManager::TMCFIOManager() = default;

TMCFIOManager::~TMCFIOManager() { CloseFile(); }

unsigned int TMCFIOManager::CloseFile() {
    fileName[0] = '\0';
    delete mcf;
    mcf = nullptr;
    return KVMCF_SUCCESS;
}

unsigned int TMCFIOManager::SetFileAccessMode(KVMCF_ReadMode mode) {
    accessMode = mode;
    return KVMCF_SUCCESS;
}

unsigned int TMCFIOManager::ReadFromFile(char* path) {
    CloseFile();
    if (path == nullptr) return KVMCF_P1INVALID;
    position = 0;
    virtualMemory = GetVirtualMemoryState(path);
    try {
        stopReport = TStopReport();
        mcf = new TMCF(accessMode, path, false, &stopReport);
    } catch (const TMCFLoadException&) {
        mcf = nullptr;
        return KVMCF_FORMAT_ERROR;
    }
    if (!mcf->IsStreamGood()) return KVMCF_FILE_ERROR;  // the open file stays
    std::strncpy(fileName, path, 511);
    fileName[511] = '\0';
    inMemory = 0;
    position = mcf->GetStreamPosition();
    return KVMCF_SUCCESS;
}

unsigned int TMCFIOManager::ReadFromByteArray(unsigned char* bytes, unsigned int size) {
    CloseFile();
    if (bytes == nullptr) return KVMCF_P1INVALID;
    if (size == 0) return KVMCF_P2INVALID;
    // A format error leaves the library as TMCFLoadException; the open file frees itself.
    stopReport = TStopReport();
    mcf = new TMCF(accessMode, bytes, size, &stopReport);
    if (mcf->SetStreamPosition(0, std::ios::end) != static_cast<long long>(size)) return KVMCF_FILE_ERROR;
    mcf->SetStreamPosition(0, std::ios::beg);
    if (!mcf->IsStreamGood()) return KVMCF_FILE_ERROR;
    inMemory = 1;
    return KVMCF_SUCCESS;
}

unsigned int TMCFIOManager::ReadFromStream(std::unique_ptr<std::istream> owned) {
    CloseFile();
    position = 0;
    try {
        stopReport = TStopReport();
        mcf = new TMCF(accessMode, std::move(owned), &stopReport);
    } catch (const TMCFLoadException&) {
        mcf = nullptr;
        return KVMCF_FORMAT_ERROR;
    }
    if (!mcf->IsStreamGood()) {
        CloseFile();
        return KVMCF_FILE_ERROR;
    }
    inMemory = 0;
    position = mcf->GetStreamPosition();
    return KVMCF_SUCCESS;
}

TMCFIOManager::TImage* TMCFIOManager::GetDataSourceImage(KVMCF_DataSource source) const {
    const long long slot = static_cast<long long>(source) - KVMCF_SIGNAL;
    if (mcf == nullptr || slot < 0 || slot >= TMCF::kSlots) return nullptr;
    return mcf->GetImage(static_cast<int>(slot));
}

unsigned int TMCFIOManager::IsDataSourcePresent(KVMCF_DataSource source, int* present) const {
    if (!IsMCFLoaded()) return KVMCF_NOT_LOADED;
    *present = GetDataSourceImage(source) != nullptr ? 1 : 0;
    return KVMCF_SUCCESS;
}

unsigned int TMCFIOManager::Lookup(KVMCF_DataSource source, TImage*& image) const {
    if (!IsMCFLoaded()) return KVMCF_NOT_LOADED;
    image = GetDataSourceImage(source);
    return image ? KVMCF_SUCCESS : KVMCF_NOT_PRESENT;
}

template <class T, class Get>
unsigned int TMCFIOManager::Answer(KVMCF_DataSource source, T* out, Get get) const {
    TImage* image = nullptr;
    const unsigned int result = Lookup(source, image);
    if (result == KVMCF_SUCCESS) *out = get(image);
    return result;
}

// ---------------------------------------------------------------------------
// Frame and sub-image access

unsigned int TMCFIOManager::GetFrameSize(KVMCF_DataSource source, unsigned int* size) {
    return Answer(source, size, [](const TImage* image) { return image->calibImage.GetDataLength(); });
}

unsigned int TMCFIOManager::GetNumberFrames(KVMCF_DataSource source, unsigned int* frames) {
    return Answer(source, frames, [](const TImage* image) { return image->calibImage.GetNumberImages(); });
}

unsigned int TMCFIOManager::GetNumberSubImages(KVMCF_DataSource source, unsigned int* n) {
    return Answer(source, n, [](const TImage* image) { return image->calibImage.GetNumberSubImages(); });
}

unsigned int TMCFIOManager::GetSubImageInfo(KVMCF_DataSource source, unsigned int index, unsigned int* left,
                                            unsigned int* bottom, unsigned int* right, unsigned int* top,
                                            unsigned int* hBin, unsigned int* vBin) {
    TImage* image = nullptr;
    const unsigned int result = Lookup(source, image);
    if (result != KVMCF_SUCCESS) return result;
    if (index >= image->calibImage.GetNumberSubImages()) return KVMCF_P2INVALID;
    const TSubImage& sub = image->calibImage.GetSubImages()[index];
    *left = static_cast<unsigned int>(sub.left);
    *bottom = static_cast<unsigned int>(sub.bottom);
    *right = static_cast<unsigned int>(sub.right);
    *top = static_cast<unsigned int>(sub.top);
    *hBin = static_cast<unsigned int>(sub.hBin);
    *vBin = static_cast<unsigned int>(sub.vBin);
    return KVMCF_SUCCESS;
}

unsigned int TMCFIOManager::GetFrame(KVMCF_DataSource source, unsigned int index, float* buffer, unsigned int) {
    TImage* image = nullptr;
    const unsigned int result = Lookup(source, image);
    if (result != KVMCF_SUCCESS) return result;
    TCalibImage& data = image->calibImage;
    const unsigned long long frameBytes = static_cast<unsigned long long>(data.GetDataLength()) * FileLayout::kPixelBytes;

    const bool fromMemory =
        data.GetSpooledDAT() || (accessMode != KVMCF_READ_HEADER_ONLY && inMemory == 1);
    if (fromMemory) {
        const float* pixels = data.ObtainReadImagePtr(index + 1);
        if (pixels) std::memcpy(buffer, pixels, static_cast<std::size_t>(frameBytes));
        data.ReleaseImagePtr(index + 1);
        return KVMCF_SUCCESS;
    }

    // A stream that went bad earlier answers success and leaves the buffer alone.
    if (!mcf->IsStreamGood()) return KVMCF_SUCCESS;
    try {
        const long long offset = static_cast<long long>(index * frameBytes) + data.GetDataStartOffset();
        // Consecutive frames need no seek: the stream already stands there.
        if (position != offset) mcf->SetStreamPosition(offset, std::ios::beg);
        mcf->ReadFromStream(reinterpret_cast<char*>(buffer), static_cast<long long>(frameBytes));
        position = offset + static_cast<long long>(frameBytes);
    } catch (...) {
        position = mcf->GetStreamPosition();
        return KVMCF_FILE_ERROR;
    }
    return KVMCF_SUCCESS;
}

unsigned int TMCFIOManager::GetAllFrames(KVMCF_DataSource source, float* buffer, unsigned int size) {
    TImage* image = nullptr;
    const unsigned int result = Lookup(source, image);
    if (result != KVMCF_SUCCESS) return result;
    TCalibImage& data = image->calibImage;

    if (accessMode != KVMCF_READ_HEADER_ONLY && inMemory == 1) {
        const unsigned int length = data.GetDataLength();
        const unsigned int frames = data.GetNumberImages();
        for (unsigned int frame = 1; frame <= frames; ++frame) {
            const float* pixels = data.ObtainReadImagePtr(frame);
            if (pixels) std::memcpy(buffer, pixels, static_cast<std::size_t>(length) * FileLayout::kPixelBytes);
            data.ReleaseImagePtr(frame);
            buffer += length;
        }
        return KVMCF_SUCCESS;
    }

    if (!mcf->IsStreamGood()) return KVMCF_FILE_ERROR;
    try {
        if (position != data.GetDataStartOffset()) mcf->SetStreamPosition(data.GetDataStartOffset(), std::ios::beg);
        // The caller's buffer length decides the byte count, as a 32-bit product.
        const unsigned int count = FileLayout::kPixelBytes * size;
        mcf->ReadFromStream(reinterpret_cast<char*>(buffer), count);
        position += count;
        // A buffer larger than the data reads to the end of the input and still
        // succeeds, leaving the stream failed: later stream reads of this file then
        // answer as the stream says (GetFrame leaves buffers untouched, GetAllFrames
        // gives a file error) until the next open. Lab programs rely on that.
    } catch (...) {
        position = mcf->GetStreamPosition();
        return KVMCF_FILE_ERROR;
    }
    return KVMCF_SUCCESS;
}

unsigned int TMCFIOManager::GetDataStartBytePosition(KVMCF_DataSource source, long long* start) {
    return Answer(source, start, [](const TImage* image) { return image->calibImage.GetDataStartOffset(); });
}

unsigned int TMCFIOManager::GetFrameTimeStamp(KVMCF_DataSource source, unsigned int index, unsigned int* stamp) {
    TImage* image = nullptr;
    const unsigned int result = Lookup(source, image);
    if (result != KVMCF_SUCCESS) return result;
    if (index >= image->calibImage.GetNumberImages()) return KVMCF_P2INVALID;
    *stamp = image->calibImage.GetTimeStamp(index);
    return KVMCF_SUCCESS;
}

unsigned int TMCFIOManager::GetFrameMetadata(KVMCF_DataSource source, unsigned int index,
                                             unsigned long long* word) {
    TImage* image = nullptr;
    const unsigned int result = Lookup(source, image);
    if (result != KVMCF_SUCCESS) return result;
    if (index >= image->calibImage.GetNumberImages()) return KVMCF_P2INVALID;
    *word = image->calibImage.GetMetaDataWord(index);
    return KVMCF_SUCCESS;
}

unsigned int TMCFIOManager::GetHighPrecisionTimeStamp(KVMCF_DataSource source, unsigned int index, float* seconds,
                                                      TImage* image) {
    unsigned long long word = 0;
    unsigned int result = GetFrameMetadata(source, index, &word);
    if (result != KVMCF_SUCCESS) return result;
    if (word == 0) {
        *seconds = GetKineticCycleTime(image);
        return KVMCF_SUCCESS;
    }
    if (index == 0) {
        *seconds = 0.0f;
        return result;
    }
    const float frequency = GetClockFrequency(image);
    unsigned long long first = 0;
    result = GetFrameMetadata(source, 0, &first);
    *seconds = static_cast<float>(word) / frequency - static_cast<float>(first) / frequency;
    return result;
}

float TMCFIOManager::GetKineticCycleTime(TImage* image) { return image->Header().GetKineticCycleTime(); }

float TMCFIOManager::GetClockFrequency(TImage* image) {
    return static_cast<float>(1e9 / image->calibImage.GetTickInterval());
}

// ---------------------------------------------------------------------------
// Named properties

unsigned int TMCFIOManager::GetPropertyValue(KVMCF_DataSource source, const char* name, char* value,
                                             unsigned int size) {
    value[size - 1] = '\0';
    TImage* image = nullptr;
    const unsigned int result = Lookup(source, image);
    if (result != KVMCF_SUCCESS) return result;
    const PropertyTable::Row* row = PropertyTable::FindForValue(name);
    if (row == nullptr) return KVMCF_P2INVALID;
    const PropertyTable::Context context{*this, source, *image, name};
    return row->format(context, value, size);
}

unsigned int TMCFIOManager::GetPropertyType(KVMCF_DataSource source, const char* name, KVMCF_PropertyType* type) {
    TImage* image = nullptr;
    const unsigned int result = Lookup(source, image);
    if (result != KVMCF_SUCCESS) return result;
    const PropertyTable::Row* row = PropertyTable::FindForType(name);
    if (row == nullptr) return KVMCF_P2INVALID;
    if (row->checkType) {
        const PropertyTable::Context context{*this, source, *image, name};
        return row->checkType(context, type);
    }
    *type = static_cast<KVMCF_PropertyType>(row->type);
    return KVMCF_SUCCESS;
}

// ---------------------------------------------------------------------------
// Pixel calibration and record versions

unsigned int TMCFIOManager::GetPixelCalibration(KVMCF_DataSource source, KVMCF_CalibrationAxis axis, int pixel,
                                                double* value) {
    TImage* image = nullptr;
    const unsigned int result = Lookup(source, image);
    if (result != KVMCF_SUCCESS) return result;
    const int axisValue = static_cast<int>(axis);
    if (axisValue < KVMCF_AXIS_X || axisValue > KVMCF_AXIS_Z) return KVMCF_P2INVALID;

    TCalibImage& calib = image->calibImage;
    const LONG_RECT detector = calib.GetDetectorRect();
    // Y is bounded by the column range, as it always has been.
    const bool inside = axis == KVMCF_AXIS_Z ? detector.bottom <= pixel && pixel <= detector.top
                                             : detector.left <= pixel && pixel <= detector.right;
    if (!inside) return KVMCF_P3INVALID;

    const float position = static_cast<float>(pixel);
    if (axis == KVMCF_AXIS_X)
        *value = calib.GetXCal(position);
    else if (axis == KVMCF_AXIS_Y)
        *value = static_cast<double>(calib.GetYCal(position));
    else
        *value = static_cast<double>(calib.GetZCal(position));
    return KVMCF_SUCCESS;
}

unsigned int TMCFIOManager::GetStructureVersion(KVMCF_StructureElement element, unsigned int* high,
                                                unsigned int* low) {
    if (!IsMCFLoaded()) return KVMCF_NOT_LOADED;
    TImage* image = nullptr;
    for (int slot = 0; slot < TMCF::kSlots && image == nullptr; ++slot) image = mcf->GetImage(slot);
    if (image == nullptr) return KVMCF_NOT_PRESENT;

    switch (element) {
        case KVMCF_STRUCTURE_FILE:
            *high = mcf->GetVersionHigh();
            *low = mcf->GetVersionLow();
            break;
        case KVMCF_STRUCTURE_HEADER:
            *high = image->Header().GetVersionHigh();
            *low = image->Header().GetVersionLow();
            break;
        case KVMCF_STRUCTURE_CALIBRATION:
            // The calibration record keeps no version of its own: write it and read it back.
            try {
                TCalibImageData fresh;
                TFixedStream buffer(1024);
                buffer << static_cast<TCalibImageData&>(image->calibImage);
                if (!buffer.good()) return KVMCF_SUCCESS;
                buffer.seekg(0);
                buffer >> fresh;
                *high = fresh.GetVersionHigh();
                *low = fresh.GetVersionLow();
            } catch (...) {
                return KVMCF_FILE_ERROR;
            }
            break;
        default:
            *high = image->calibImage.GetKavriImageVersionHigh();
            *low = image->calibImage.GetKavriImageVersionLow();
            break;
    }
    return KVMCF_SUCCESS;
}
