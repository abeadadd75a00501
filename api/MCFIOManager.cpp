#include "api/MCFIOManager.h"

#include <cstdint>
#include <cstring>
#include <fstream>
#include <vector>

#include "api/MemoryStream.h"
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
        stream = new std::ifstream(fileName, std::ios::in);
        ReadFile();
    } catch (...) {
        Cleanup();
        throw;
    }
}

TMCFIOManager::TMCF::TMCF(KVMCF_ReadMode mode, unsigned char* bytes, unsigned int size) : accessMode(mode) {
    try {
        stream = new TMemoryStream(bytes, size);
        ReadFile();
    } catch (...) {
        Cleanup();
        throw;
    }
}

TMCFIOManager::TMCF::~TMCF() { Cleanup(); }

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

void TMCFIOManager::TMCF::ReadExtensionSection(const char*) {
    // The extension section's readers are not part of this library yet.
}

bool TMCFIOManager::TMCF::IsStreamGood() const { return stream != nullptr && stream->good(); }

long long TMCFIOManager::TMCF::GetStreamPosition() {
    if (largeFile) return ftello64(largeFile);
    return static_cast<long long>(stream->tellg());
}

long long TMCFIOManager::TMCF::SetStreamPosition(long long offset, std::ios_base::seekdir direction) {
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

// ---------------------------------------------------------------------------
// Queries whose records are not read yet: they answer for absent sources only.

unsigned int TMCFIOManager::GetFrameSize(KVMCF_DataSource source, unsigned int*) {
    TImage* image = nullptr;
    return Lookup(source, image);
}

unsigned int TMCFIOManager::GetNumberFrames(KVMCF_DataSource source, unsigned int*) {
    TImage* image = nullptr;
    return Lookup(source, image);
}

unsigned int TMCFIOManager::GetNumberSubImages(KVMCF_DataSource source, unsigned int*) {
    TImage* image = nullptr;
    return Lookup(source, image);
}

unsigned int TMCFIOManager::GetSubImageInfo(KVMCF_DataSource source, unsigned int, unsigned int*, unsigned int*,
                                            unsigned int*, unsigned int*, unsigned int*, unsigned int*) {
    TImage* image = nullptr;
    return Lookup(source, image);
}

unsigned int TMCFIOManager::GetAllFrames(KVMCF_DataSource source, float*, unsigned int) {
    TImage* image = nullptr;
    return Lookup(source, image);
}

unsigned int TMCFIOManager::GetFrame(KVMCF_DataSource source, unsigned int, float*, unsigned int) {
    TImage* image = nullptr;
    return Lookup(source, image);
}

unsigned int TMCFIOManager::GetDataStartBytePosition(KVMCF_DataSource source, long long*) {
    TImage* image = nullptr;
    return Lookup(source, image);
}

unsigned int TMCFIOManager::GetPropertyValue(KVMCF_DataSource source, const char*, char*, unsigned int) {
    TImage* image = nullptr;
    return Lookup(source, image);
}

unsigned int TMCFIOManager::GetPropertyType(KVMCF_DataSource source, const char*, KVMCF_PropertyType*) {
    TImage* image = nullptr;
    return Lookup(source, image);
}

unsigned int TMCFIOManager::GetPixelCalibration(KVMCF_DataSource source, KVMCF_CalibrationAxis, int, double*) {
    TImage* image = nullptr;
    return Lookup(source, image);
}

unsigned int TMCFIOManager::GetStructureVersion(KVMCF_StructureElement, unsigned int*, unsigned int*) {
    if (!IsMCFLoaded()) return KVMCF_NOT_LOADED;
    return KVMCF_NOT_PRESENT;
}
