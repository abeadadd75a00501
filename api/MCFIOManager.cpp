#include "api/MCFIOManager.h"

#include <cstdint>
#include <cstring>
#include <locale>
#include <vector>

#include "api/FileStreamBuf.h"
#include "api/MemoryStream.h"
#include "api/PropertyTable.h"
#include "metadata/mcfdataxml.h"
#include "records/RecordStream.h"

namespace {

const char kMagicKavri[] = "Kavri Technology Multi-Channel File";
const char kMagicHalvi[] = "Halvi Instruments Multi-Channel File";
const char kSectionMarker[] = "MCFX";

// Files of version 1.2 are the only ones whose data sources are read.
const unsigned int kFileVersionHigh = 1;
const unsigned int kFileVersionLow = 2;

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

TMCFIOManager::TMCF::TMCF(KVMCF_ReadMode mode, const char* path, bool spooledFlag)
    : spooled(spooledFlag), accessMode(mode), fileName(path ? path : "") {
    if (fileName.empty()) return;
    try {
        stream = new TFileStream(fileName.c_str());
        UseClassicLocale();
        ReadFile();
    } catch (...) {
        Cleanup();
        throw;
    }
}

TMCFIOManager::TMCF::TMCF(KVMCF_ReadMode mode, unsigned char* bytes, unsigned int size) : accessMode(mode) {
    try {
        stream = new TMemoryStream(bytes, size);
        UseClassicLocale();
        ReadFile();
    } catch (...) {
        Cleanup();
        throw;
    }
}

TMCFIOManager::TMCF::~TMCF() { Cleanup(); }

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

bool TMCFIOManager::TMCF::ReadFile() {
    if (!IsStreamGood()) throw TMCFLoadException();

    SetStreamPosition(0, std::ios::beg);
    char magic[80] = {};
    stream->getline(magic, sizeof magic);

    if (std::strcmp(magic, kMagicKavri) == 0 || std::strcmp(magic, kMagicHalvi) == 0) {
        unsigned int version = 0;
        RecordStream::Read(*stream, version);
        versionHigh = RecordStream::Major(version);
        versionLow = RecordStream::Minor(version);
        // Other versions open with every data source absent, without an error.
        if (versionHigh == kFileVersionHigh && versionLow == kFileVersionLow) {
            knownFormat = true;
            ReadDataSource(&images[0], accessMode, true);
            if (accessMode == KVMCF_READ_HEADER_ONLY && images[0]) ResetStream(*images[0]);
            for (int slot = 1; slot < kSlots; ++slot) ReadDataSource(&images[slot], accessMode, false);
        }
    }

    // A stream that hit end of file while reading numbers counts as bad too.
    if (!IsStreamGood()) throw TMCFLoadException();
    if (spooled) SetupSpooledDATProcessor(images[0], images[2], images[1]);
    ReadMcfXMLData();
    return true;
}

void TMCFIOManager::TMCF::ReadDataSource(TImage** slot, KVMCF_ReadMode mode, bool isSignal) {
    int count = 0;
    RecordStream::Read(*stream, count);
    RecordStream::SkipSeparator(*stream);
    if (!IsStreamGood()) throw TMCFLoadException();
    if (count <= 0) return;

    *slot = new TImage();
    TImage& image = **slot;
    if (mode == KVMCF_READ_HEADER_ONLY) image.calibImage.SetHeaderOnly(true);
    if (spooled && isSignal) {
        image.calibImage.SetSpooledDAT(true);
        image.calibImage.SetSpoolMode(true);
    }
    // Every further image overwrites the one before; only the last one stays.
    for (int i = 0; i < count; ++i) {
        *stream >> image;
        if (image.Header().GetActive() != 0) throw TMCFLoadException();
        // A failed stream reads nothing more; the caller turns it into an error.
        if (!IsStreamGood()) return;
    }
}

bool TMCFIOManager::TMCF::ReadMcfXMLData() {
    const std::size_t markerSize = sizeof kSectionMarker - 1;
    char marker[markerSize + 1] = {};
    SetStreamPosition(-static_cast<long long>(markerSize), std::ios::end);
    ReadFromStream(marker, static_cast<long long>(markerSize));
    if (std::memcmp(marker, kSectionMarker, markerSize) != 0) return false;

    unsigned char lengthBytes[8] = {};
    SetStreamPosition(-12, std::ios::end);
    ReadFromStream(reinterpret_cast<char*>(lengthBytes), 8);
    std::uint64_t length = 0;
    for (int i = 7; i >= 0; --i) length = (length << 8) | lengthBytes[i];

    // A length the file cannot hold would seek before its start: fail as that seek
    // would, without allocating for it.
    const long long end = SetStreamPosition(0, std::ios::end);
    if (end < 12 || length > static_cast<std::uint64_t>(end - 12)) {
        stream->setstate(std::ios::failbit);
        return false;
    }
    SetStreamPosition(-(12 + static_cast<long long>(length)), std::ios::end);
    std::vector<char> text(static_cast<std::size_t>(length) + 1, '\0');
    ReadFromStream(text.data(), static_cast<long long>(length));
    ReadExtensionSection(text.data());
    return true;
}

void TMCFIOManager::TMCF::ReadExtensionSection(const char* text) {
    TMcfDataXML xml(text);
    readXMLForKestoImage(xml, "Signals", "Signal", images[0]);
    readXMLForKestoImage(xml, "References", "Reference", images[1]);
    readXMLForKestoImage(xml, "Backgrounds", "Background", images[2]);
    readXMLForKestoImage(xml, "Lives", "Live", images[3]);
    readXMLForKestoImage(xml, "Sources", "Source", images[4]);
}

// Only the header extras and readout settings are read here: the per-frame metadata
// and time code texts stay in the section.
bool TMCFIOManager::TMCF::readXMLForKestoImage(TMcfDataXML& xml, const char* plural, const char* singular,
                                                TImage* image) {
    if (image == nullptr || !xml.SetFirstChildNode(plural)) return true;
    // Only the first item of a list is used.
    if (xml.SetFirstChildNode(singular)) {
        image->Header().ReadXMLDataStructure(xml);
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
        mcf = new TMCF(accessMode, path, false);
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
    mcf = new TMCF(accessMode, bytes, size);
    if (mcf->SetStreamPosition(0, std::ios::end) != static_cast<long long>(size)) return KVMCF_FILE_ERROR;
    mcf->SetStreamPosition(0, std::ios::beg);
    if (!mcf->IsStreamGood()) return KVMCF_FILE_ERROR;
    inMemory = 1;
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
    const unsigned long long frameBytes = static_cast<unsigned long long>(data.GetDataLength()) * 4u;

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
            if (pixels) std::memcpy(buffer, pixels, static_cast<std::size_t>(length) * 4u);
            data.ReleaseImagePtr(frame);
            buffer += length;
        }
        return KVMCF_SUCCESS;
    }

    if (!mcf->IsStreamGood()) return KVMCF_FILE_ERROR;
    try {
        if (position != data.GetDataStartOffset()) mcf->SetStreamPosition(data.GetDataStartOffset(), std::ios::beg);
        // The caller's buffer length decides the byte count, as a 32-bit product.
        const unsigned int count = 4u * size;
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
