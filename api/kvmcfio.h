/* Public C interface of the multi-channel file reader.
 * Compiles as C99 and as C++. Every function returns one of the KVMCF_ result codes. */
#ifndef KVMCFIO_H
#define KVMCFIO_H

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define KVMCF_EXPORT __attribute__((visibility("default")))
#else
#define KVMCF_EXPORT
#endif

/* Result codes. */
#define KVMCF_SUCCESS      22002u
#define KVMCF_FORMAT_ERROR 22003u
#define KVMCF_NOT_LOADED   22004u
#define KVMCF_FILE_ERROR   22006u
#define KVMCF_NOT_PRESENT  22007u
#define KVMCF_P1INVALID    22101u
#define KVMCF_P2INVALID    22102u
#define KVMCF_P3INVALID    22103u
#define KVMCF_P4INVALID    22104u
#define KVMCF_P5INVALID    22105u
#define KVMCF_P6INVALID    22106u
#define KVMCF_P7INVALID    22107u
#define KVMCF_P8INVALID    22108u

typedef enum KVMCF_DataSource {
    KVMCF_SIGNAL = 0x40000000,
    KVMCF_REFERENCE = 0x40000001,
    KVMCF_BACKGROUND = 0x40000002,
    KVMCF_LIVE = 0x40000003,
    KVMCF_SOURCE = 0x40000004
} KVMCF_DataSource;

typedef enum KVMCF_ReadMode {
    KVMCF_READ_ALL = 0x40000000,
    KVMCF_READ_HEADER_ONLY = 0x40000001
} KVMCF_ReadMode;

typedef enum KVMCF_StructureElement {
    KVMCF_STRUCTURE_FILE = 0x40000000,
    KVMCF_STRUCTURE_HEADER = 0x40000001,
    KVMCF_STRUCTURE_CALIBRATION = 0x40000002,
    KVMCF_STRUCTURE_IMAGE = 0x40000003
} KVMCF_StructureElement;

/* GetPropertyType reports the bare value 1 for the one-byte code properties. */
typedef enum KVMCF_PropertyType {
    KVMCF_TYPE_INT32 = 0x40000002,
    KVMCF_TYPE_UINT32 = 0x40000003,
    KVMCF_TYPE_UINT64 = 0x40000005,
    KVMCF_TYPE_FLOAT = 0x40000006,
    KVMCF_TYPE_DOUBLE = 0x40000007,
    KVMCF_TYPE_STRING = 0x40000008
} KVMCF_PropertyType;

typedef enum KVMCF_CalibrationAxis {
    KVMCF_AXIS_X = 0x40000000,
    KVMCF_AXIS_Y = 0x40000001,
    KVMCF_AXIS_Z = 0x40000002
} KVMCF_CalibrationAxis;

/* Opens the file at path (closing any open one) with the current access mode. */
KVMCF_EXPORT unsigned int KVMCF_ReadFromFile(char* path);
/* Opens a file held in memory (closing any open one).
 * The bytes are not copied: keep them valid until the file is closed.
 * A format error in the bytes is thrown (TMCFLoadException) rather than returned. */
KVMCF_EXPORT unsigned int KVMCF_ReadFromByteArray(unsigned char* bytes, unsigned int size);
/* Read every pixel while opening, or only the records (pixels read on demand). */
KVMCF_EXPORT unsigned int KVMCF_SetFileAccessMode(KVMCF_ReadMode mode);
/* Whether a file is open. */
KVMCF_EXPORT unsigned int KVMCF_IsLoaded(int* loaded);
/* Closes the open file, if any. */
KVMCF_EXPORT unsigned int KVMCF_CloseFile(void);
/* Whether the open file holds the data source. */
KVMCF_EXPORT unsigned int KVMCF_IsDataSourcePresent(KVMCF_DataSource source, int* present);
/* Version of the file or of one record kind, as major (high) and minor (low). */
KVMCF_EXPORT unsigned int KVMCF_GetStructureVersion(KVMCF_StructureElement element, unsigned int* high,
                                                    unsigned int* low);
/* Pixels per frame. */
KVMCF_EXPORT unsigned int KVMCF_GetFrameSize(KVMCF_DataSource source, unsigned int* size);
/* Frames of the data source. */
KVMCF_EXPORT unsigned int KVMCF_GetNumberFrames(KVMCF_DataSource source, unsigned int* frames);
/* Sub-images of each frame. */
KVMCF_EXPORT unsigned int KVMCF_GetNumberSubImages(KVMCF_DataSource source, unsigned int* subImages);
/* Detector area and binning of sub-image index (from 0). */
KVMCF_EXPORT unsigned int KVMCF_GetSubImageInfo(KVMCF_DataSource source, unsigned int index, unsigned int* left,
                                                unsigned int* bottom, unsigned int* right, unsigned int* top,
                                                unsigned int* hBin, unsigned int* vBin);
/* Every frame, one after another, as floats; size counts floats. */
KVMCF_EXPORT unsigned int KVMCF_GetAllFrames(KVMCF_DataSource source, float* buffer, unsigned int size);
/* Frame index (from 0) as floats; size counts floats. */
KVMCF_EXPORT unsigned int KVMCF_GetFrame(KVMCF_DataSource source, unsigned int index, float* buffer,
                                         unsigned int size);
/* A named property as text, at most size - 1 characters. */
KVMCF_EXPORT unsigned int KVMCF_GetPropertyValue(KVMCF_DataSource source, const char* name, char* value,
                                                 unsigned int size);
/* The type of a named property. */
KVMCF_EXPORT unsigned int KVMCF_GetPropertyType(KVMCF_DataSource source, const char* name,
                                                KVMCF_PropertyType* type);
/* Byte offset of the first pixel in the file. */
KVMCF_EXPORT unsigned int KVMCF_GetDataStartBytePosition(KVMCF_DataSource source, long long* position);
/* Calibrated value of a detector pixel (column for X and Y, row for Z). */
KVMCF_EXPORT unsigned int KVMCF_GetPixelCalibration(KVMCF_DataSource source, KVMCF_CalibrationAxis axis,
                                                    int pixel, double* value);

#ifdef __cplusplus
}
#endif

#endif
