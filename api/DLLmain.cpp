#include "api/DLLmain.h"

#include "api/MCFIOManager.h"
#include "api/kvmcfio.h"

TMCFIOManager* mcfManager = nullptr;

int InitialiseLibrary() {
    delete mcfManager;
    mcfManager = new TMCFIOManager();
    return 0;
}

int FinaliseLibrary() {
    delete mcfManager;
    mcfManager = nullptr;
    return 0;
}

// Load and unload hooks, placed after the manager pointer's definition so they run
// after this translation unit's own initialisers.
__attribute__((constructor)) static int my_init() { return InitialiseLibrary(); }
__attribute__((destructor)) static int my_fini() { return FinaliseLibrary(); }

// Signed comparisons: values with the top bit set are below the range.
bool IsDataSourceValid(int value) { return value >= KVMCF_SIGNAL && value < KVMCF_SIGNAL + 5; }
bool IsStructureElementValid(int value) {
    return value >= KVMCF_STRUCTURE_FILE && value < KVMCF_STRUCTURE_FILE + 4;
}
bool IsReadModeValid(int value) { return value >= KVMCF_READ_ALL && value < KVMCF_READ_ALL + 2; }

extern "C" {

unsigned int KVMCF_ReadFromFile(char* path) {
    if (path == nullptr) return KVMCF_P1INVALID;
    return mcfManager->ReadFromFile(path);
}

unsigned int KVMCF_ReadFromByteArray(unsigned char* bytes, unsigned int size) {
    if (bytes == nullptr) return KVMCF_P1INVALID;
    if (size == 0) return KVMCF_P2INVALID;
    return mcfManager->ReadFromByteArray(bytes, size);
}

unsigned int KVMCF_SetFileAccessMode(KVMCF_ReadMode mode) {
    if (!IsReadModeValid(mode)) return KVMCF_P1INVALID;
    return mcfManager->SetFileAccessMode(mode);
}

unsigned int KVMCF_IsLoaded(int* loaded) {
    if (loaded == nullptr) return KVMCF_P1INVALID;
    *loaded = mcfManager->IsMCFLoaded() ? 1 : 0;
    return KVMCF_SUCCESS;
}

unsigned int KVMCF_CloseFile(void) { return mcfManager->CloseFile(); }

unsigned int KVMCF_IsDataSourcePresent(KVMCF_DataSource source, int* present) {
    if (!IsDataSourceValid(source)) return KVMCF_P1INVALID;
    return mcfManager->IsDataSourcePresent(source, present);
}

unsigned int KVMCF_GetStructureVersion(KVMCF_StructureElement element, unsigned int* high, unsigned int* low) {
    if (!IsStructureElementValid(element)) return KVMCF_P1INVALID;
    if (high == nullptr) return KVMCF_P2INVALID;
    if (low == nullptr) return KVMCF_P3INVALID;
    return mcfManager->GetStructureVersion(element, high, low);
}

unsigned int KVMCF_GetFrameSize(KVMCF_DataSource source, unsigned int* size) {
    if (!IsDataSourceValid(source)) return KVMCF_P1INVALID;
    if (size == nullptr) return KVMCF_P2INVALID;
    return mcfManager->GetFrameSize(source, size);
}

unsigned int KVMCF_GetNumberFrames(KVMCF_DataSource source, unsigned int* frames) {
    if (!IsDataSourceValid(source)) return KVMCF_P1INVALID;
    if (frames == nullptr) return KVMCF_P2INVALID;
    return mcfManager->GetNumberFrames(source, frames);
}

unsigned int KVMCF_GetNumberSubImages(KVMCF_DataSource source, unsigned int* subImages) {
    if (!IsDataSourceValid(source)) return KVMCF_P1INVALID;
    if (subImages == nullptr) return KVMCF_P2INVALID;
    return mcfManager->GetNumberSubImages(source, subImages);
}

unsigned int KVMCF_GetSubImageInfo(KVMCF_DataSource source, unsigned int index, unsigned int* left,
                                   unsigned int* bottom, unsigned int* right, unsigned int* top, unsigned int* hBin,
                                   unsigned int* vBin) {
    if (!IsDataSourceValid(source)) return KVMCF_P1INVALID;
    if (left == nullptr) return KVMCF_P3INVALID;
    if (bottom == nullptr) return KVMCF_P4INVALID;
    if (right == nullptr) return KVMCF_P5INVALID;
    if (top == nullptr) return KVMCF_P6INVALID;
    if (hBin == nullptr) return KVMCF_P7INVALID;
    if (vBin == nullptr) return KVMCF_P8INVALID;
    return mcfManager->GetSubImageInfo(source, index, left, bottom, right, top, hBin, vBin);
}

unsigned int KVMCF_GetAllFrames(KVMCF_DataSource source, float* buffer, unsigned int size) {
    if (!IsDataSourceValid(source)) return KVMCF_P1INVALID;
    if (buffer == nullptr) return KVMCF_P2INVALID;
    unsigned int frameSize = 0;
    unsigned int result = mcfManager->GetFrameSize(source, &frameSize);
    if (result != KVMCF_SUCCESS) return result;
    unsigned int frames = 0;
    result = mcfManager->GetNumberFrames(source, &frames);
    if (result != KVMCF_SUCCESS) return result;
    // The product wraps at 32 bits, as callers have always seen it.
    if (frames * frameSize > size) return KVMCF_P3INVALID;
    return mcfManager->GetAllFrames(source, buffer, size);
}

unsigned int KVMCF_GetFrame(KVMCF_DataSource source, unsigned int index, float* buffer, unsigned int size) {
    if (!IsDataSourceValid(source)) return KVMCF_P1INVALID;
    if (buffer == nullptr) return KVMCF_P3INVALID;
    unsigned int frameSize = 0;
    unsigned int result = mcfManager->GetFrameSize(source, &frameSize);
    if (result != KVMCF_SUCCESS) return result;
    if (size < frameSize) return KVMCF_P4INVALID;
    unsigned int frames = 0;
    result = mcfManager->GetNumberFrames(source, &frames);
    if (result != KVMCF_SUCCESS) return result;
    // The index is checked last, after the buffer and its size.
    if (index >= frames) return KVMCF_P2INVALID;
    return mcfManager->GetFrame(source, index, buffer, size);
}

unsigned int KVMCF_GetPropertyValue(KVMCF_DataSource source, const char* name, char* value, unsigned int size) {
    if (!IsDataSourceValid(source)) return KVMCF_P1INVALID;
    if (name == nullptr) return KVMCF_P2INVALID;
    if (value == nullptr) return KVMCF_P3INVALID;
    if (size == 0) return KVMCF_P4INVALID;
    return mcfManager->GetPropertyValue(source, name, value, size);
}

unsigned int KVMCF_GetPropertyType(KVMCF_DataSource source, const char* name, KVMCF_PropertyType* type) {
    if (!IsDataSourceValid(source)) return KVMCF_P1INVALID;
    if (name == nullptr) return KVMCF_P2INVALID;
    if (type == nullptr) return KVMCF_P3INVALID;
    return mcfManager->GetPropertyType(source, name, type);
}

unsigned int KVMCF_GetDataStartBytePosition(KVMCF_DataSource source, long long* position) {
    if (!IsDataSourceValid(source)) return KVMCF_P1INVALID;
    return mcfManager->GetDataStartBytePosition(source, position);
}

unsigned int KVMCF_GetPixelCalibration(KVMCF_DataSource source, KVMCF_CalibrationAxis axis, int pixel,
                                       double* value) {
    if (!IsDataSourceValid(source)) return KVMCF_P1INVALID;
    return mcfManager->GetPixelCalibration(source, axis, pixel, value);
}

}  // extern "C"
