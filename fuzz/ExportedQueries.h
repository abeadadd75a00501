// A walk over every exported query on whatever file is open, checking that each
// query answers only with the result codes it documents. Shared by the fuzz targets
// (which abort on a wrong code) and the tests (which report it).
#ifndef KVMCF_FUZZ_EXPORTEDQUERIES_H
#define KVMCF_FUZZ_EXPORTEDQUERIES_H

#include <climits>
#include <cstring>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "api/PropertyTable.h"
#include "api/kvmcfio.h"

namespace kvmcffuzz {

class QueryWalker {
public:
    // Called with a description of every answer a query may not give.
    using Failure = std::function<void(const std::string& what)>;

    explicit QueryWalker(Failure failure) : fail(std::move(failure)) {}

    // Every exported query, in the manager's current read mode.
    void Everything() {
        int loaded = -1;
        Check("IsLoaded", KVMCF_IsLoaded(&loaded), {});
        const KVMCF_StructureElement elements[] = {KVMCF_STRUCTURE_FILE, KVMCF_STRUCTURE_HEADER,
                                                   KVMCF_STRUCTURE_CALIBRATION, KVMCF_STRUCTURE_IMAGE};
        for (KVMCF_StructureElement element : elements) {
            unsigned int high = 0, low = 0;
            Check("GetStructureVersion", KVMCF_GetStructureVersion(element, &high, &low), {KVMCF_FILE_ERROR});
        }
        for (KVMCF_DataSource source : kSources) Source(source);
    }

    // The frame queries only: run again after the read mode changed under an open file.
    void Frames() {
        for (KVMCF_DataSource source : kSources) Frames(source);
    }

private:
    static constexpr KVMCF_DataSource kSources[] = {KVMCF_SIGNAL, KVMCF_REFERENCE, KVMCF_BACKGROUND, KVMCF_LIVE,
                                                    KVMCF_SOURCE};
    // Larger frames are not fetched: no test input holds them, and a header-only open
    // may announce them without the bytes behind.
    static constexpr unsigned long long kMaxFloats = 16ull << 20;  // 64 MiB
    static constexpr unsigned int kMaxIndexes = 4;

    // Besides success, every query may say that nothing is open or the source is absent.
    void Check(const char* call, unsigned int code, std::initializer_list<unsigned int> extra) {
        if (code == KVMCF_SUCCESS || code == KVMCF_NOT_LOADED || code == KVMCF_NOT_PRESENT) return;
        for (unsigned int allowed : extra)
            if (code == allowed) return;
        fail(std::string(call) + " returned " + std::to_string(code));
    }

    // A few indexes: the first ones, the last one and the first past the end.
    static std::vector<unsigned int> SomeIndexes(unsigned int count) {
        std::vector<unsigned int> indexes;
        for (unsigned int i = 0; i < count && i < kMaxIndexes; ++i) indexes.push_back(i);
        if (count > kMaxIndexes) indexes.push_back(count - 1);
        indexes.push_back(count);
        return indexes;
    }

    void Frames(KVMCF_DataSource source) {
        unsigned int frameSize = 0, frames = 0;
        const unsigned int sizeCode = KVMCF_GetFrameSize(source, &frameSize);
        Check("GetFrameSize", sizeCode, {});
        const unsigned int countCode = KVMCF_GetNumberFrames(source, &frames);
        Check("GetNumberFrames", countCode, {});
        if (sizeCode != KVMCF_SUCCESS || countCode != KVMCF_SUCCESS) return;

        if (frameSize <= kMaxFloats) {
            std::vector<float> buffer(frameSize + 1);
            for (unsigned int index : SomeIndexes(frames)) {
                const unsigned int code = KVMCF_GetFrame(source, index, buffer.data(), frameSize);
                Check("GetFrame", code, {KVMCF_FILE_ERROR, KVMCF_P2INVALID});
                if ((code == KVMCF_P2INVALID) != (index >= frames))
                    fail("GetFrame of frame " + std::to_string(index) + " of " + std::to_string(frames) +
                         " returned " + std::to_string(code));
            }
            if (frameSize > 0 && frames > 0) {
                const unsigned int code = KVMCF_GetFrame(source, 0, buffer.data(), frameSize - 1);
                if (code != KVMCF_P4INVALID) fail("GetFrame into a short buffer returned " + std::to_string(code));
            }
        }

        const unsigned long long total = static_cast<unsigned long long>(frames) * frameSize;
        if (total <= kMaxFloats) {
            std::vector<float> buffer(total + 1);
            Check("GetAllFrames", KVMCF_GetAllFrames(source, buffer.data(), static_cast<unsigned int>(total)),
                  {KVMCF_FILE_ERROR});
            if (total > 0) {
                const unsigned int code =
                    KVMCF_GetAllFrames(source, buffer.data(), static_cast<unsigned int>(total - 1));
                if (code != KVMCF_P3INVALID) fail("GetAllFrames into a short buffer returned " + std::to_string(code));
            }
        }
    }

    void Source(KVMCF_DataSource source) {
        int present = -1;
        Check("IsDataSourcePresent", KVMCF_IsDataSourcePresent(source, &present), {});

        unsigned int subImages = 0;
        std::vector<int> pixels = {INT_MIN, -1, 0, 1, 2, 1024, INT_MAX};
        if (KVMCF_GetNumberSubImages(source, &subImages) == KVMCF_SUCCESS) {
            for (unsigned int index : SomeIndexes(subImages)) {
                unsigned int l = 0, b = 0, r = 0, t = 0, h = 0, v = 0;
                const unsigned int code = KVMCF_GetSubImageInfo(source, index, &l, &b, &r, &t, &h, &v);
                Check("GetSubImageInfo", code, {KVMCF_P2INVALID});
                if ((code == KVMCF_P2INVALID) != (index >= subImages))
                    fail("GetSubImageInfo of sub-image " + std::to_string(index) + " of " +
                         std::to_string(subImages) + " returned " + std::to_string(code));
                if (code != KVMCF_SUCCESS) continue;
                // The calibration's bounds sit at the sub-image edges: try both sides.
                for (unsigned int edge : {l, b, r, t}) {
                    pixels.push_back(static_cast<int>(edge));
                    pixels.push_back(static_cast<int>(edge + 1));
                }
            }
        }

        Frames(source);

        long long position = 0;
        Check("GetDataStartBytePosition", KVMCF_GetDataStartBytePosition(source, &position), {});

        // Whatever fits, a successful value query leaves its text terminated inside the buffer.
        char large[256], small[6], tiny[1];
        struct Buffer {
            char* data;
            unsigned int size;
        };
        const Buffer buffers[] = {{large, sizeof large}, {small, sizeof small}, {tiny, sizeof tiny}};
        // Each name into one of the buffers, in turn: every size meets every kind of value.
        std::size_t turn = 0;
        for (const std::string& text : PropertyNames()) {
            const char* name = text.c_str();
            const Buffer& buffer = buffers[turn++ % 3];
            std::memset(buffer.data, 'x', buffer.size);
            const unsigned int code = KVMCF_GetPropertyValue(source, name, buffer.data, buffer.size);
            Check("GetPropertyValue", code, {KVMCF_P2INVALID});
            if (code == KVMCF_SUCCESS && !std::memchr(buffer.data, '\0', buffer.size))
                fail(std::string("GetPropertyValue of ") + name + " left its text unterminated");
            KVMCF_PropertyType type;
            Check("GetPropertyType", KVMCF_GetPropertyType(source, name, &type), {KVMCF_P2INVALID});
        }

        const KVMCF_CalibrationAxis axes[] = {KVMCF_AXIS_X, KVMCF_AXIS_Y, KVMCF_AXIS_Z,
                                              static_cast<KVMCF_CalibrationAxis>(0x40000003)};
        for (KVMCF_CalibrationAxis axis : axes) {
            for (int pixel : pixels) {
                double value = 0;
                Check("GetPixelCalibration", KVMCF_GetPixelCalibration(source, axis, pixel, &value),
                      {KVMCF_P2INVALID, KVMCF_P3INVALID});
            }
        }
    }

    // Every name of the vocabulary; indexed names with indexes in and out of range,
    // and sub-image fields by number; a few near misses.
    static const std::vector<std::string>& PropertyNames() {
        static const std::vector<std::string> names = [] {
            std::vector<std::string> list = {"", "NoSuchProperty", "XTimeStamp", "SubImageWidth1",
                                             "SubImageBottom4294967297", "SubImageLeft2", "SubImageTop0"};
            std::size_t count = 0;
            const PropertyTable::Row* rows = PropertyTable::ValueRows(&count);
            for (std::size_t i = 0; i < count; ++i) {
                list.push_back(rows[i].name);
                if (PropertyTable::IsIndexed(rows[i]))
                    for (const char* index : {"0", "1", "2", "-1", "4294967296"})
                        list.push_back(std::string(rows[i].name) + index);
            }
            return list;
        }();
        return names;
    }

    Failure fail;
};

}  // namespace kvmcffuzz

#endif
