// Whole files handed to kvmcf export, as TIFF, HDF5 and CSV, into a folder of their
// own. Each export must either fail and leave nothing, or leave exactly its outputs,
// each complete: read back with the format's own library, every page or dataset holds
// every frame of every sub-image, pixel for pixel the input's bytes. A file whose
// frames are all there must export to TIFF and HDF5.
#include <hdf5.h>
#include <tiffio.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/FuzzSupport.h"
#include "kvmcf/kvmcf.hpp"
#include "tools/Commands.h"
#include "tools/ExportSupport.h"

// Named, so the regression replay can compile every target into one program.
namespace exportfuzz {

using kvmcffuzz::Fail;
using kvmcftools::Plane;

// What the export must write, from the input as the interface reads it.
struct Expected {
    std::optional<kvmcf::File> file;
    const kvmcf::Source* source = nullptr;
    std::vector<Plane> planes;
    std::vector<std::vector<std::size_t>> groups;
    bool framesHeld = false;  // every frame's pixels are in the input
};

void ExpectOutputs(const std::string& in, std::size_t size, Expected* e) {
    kvmcftools::ExportInput input;
    std::string why;
    try {
        if (!kvmcftools::OpenExportInput(in, "", &input, &why)) return;
    } catch (const kvmcf::Error&) {
        return;
    }
    e->file = std::move(input.file);
    e->source = input.source;
    e->planes = input.planes;
    e->groups = kvmcftools::PlaneGroups(e->planes);
    const unsigned long long frameBytes = 4ULL * e->source->frameLength();
    const long long start = e->source->dataStart();
    e->framesHeld = e->source->frameCount() > 0 && start >= 0 && static_cast<unsigned long long>(start) <= size &&
                    (frameBytes == 0 || e->source->frameCount() <= (size - start) / frameBytes);
}

// The input's value of a stored pixel of a frame.
float Pixel(const std::uint8_t* data, const Expected& e, unsigned int frame, const Plane& p, std::size_t row,
            std::size_t column) {
    const unsigned long long at = static_cast<unsigned long long>(e.source->dataStart()) +
                                  4ULL * (static_cast<unsigned long long>(e.source->frameLength()) * frame + p.offset +
                                          row * p.columns + column);
    float v;
    std::memcpy(&v, data + at, 4);
    return v;
}

bool Same(float a, float b) { return std::memcmp(&a, &b, 4) == 0; }

// Pages run frame by frame, a page per sub-image of the group, the top row first.
void CheckTiff(const std::string& path, const std::uint8_t* data, const Expected& e,
               const std::vector<std::size_t>& group) {
    TIFFSetErrorHandler(nullptr);
    TIFFSetWarningHandler(nullptr);
    TIFF* tif = TIFFOpen(path.c_str(), "r");
    if (!tif) Fail("an exported TIFF does not open");
    const unsigned int frames = e.source->frameCount();
    unsigned int page = 0;
    do {
        if (page >= frames * group.size()) Fail("an exported TIFF holds more pages than frames");
        const Plane& p = e.planes[group[page % group.size()]];
        uint32_t width = 0, height = 0;
        TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &width);
        TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &height);
        if (width != p.columns || height != p.rows || TIFFScanlineSize(tif) != static_cast<tmsize_t>(4 * p.columns))
            Fail("an exported TIFF page has another shape than its sub-image");
        std::vector<float> line(p.columns);
        for (uint32_t r = 0; r < height; ++r) {
            if (TIFFReadScanline(tif, line.data(), r, 0) != 1) Fail("an exported TIFF page cannot be read");
            for (std::size_t c = 0; c < p.columns; ++c)
                if (!Same(line[c], Pixel(data, e, page / group.size(), p, p.rows - 1 - r, c)))
                    Fail("an exported TIFF pixel differs from the input's");
        }
        ++page;
    } while (TIFFReadDirectory(tif));
    TIFFClose(tif);
    if (page != frames * group.size()) Fail("an exported TIFF misses pages");
}

// A dataset (frames, rows, columns) per sub-image in a group named after the source.
void CheckHdf5(const std::string& path, const std::uint8_t* data, const Expected& e) {
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
    const hid_t file = H5Fopen(path.c_str(), H5F_ACC_RDONLY, H5P_DEFAULT);
    if (file < 0) Fail("an exported HDF5 file does not open");
    const hid_t group = H5Gopen2(file, e.source->name(), H5P_DEFAULT);
    if (group < 0) Fail("an exported HDF5 file lacks its source's group");
    const unsigned int frames = e.source->frameCount();
    for (const Plane& p : e.planes) {
        const std::string name = "subimage" + std::to_string(p.index);
        const hid_t set = H5Dopen2(group, name.c_str(), H5P_DEFAULT);
        if (set < 0) Fail("an exported HDF5 file lacks " + name);
        const hid_t space = H5Dget_space(set);
        hsize_t dims[3] = {};
        if (H5Sget_simple_extent_ndims(space) != 3 || H5Sget_simple_extent_dims(space, dims, nullptr) != 3 ||
            dims[0] != frames || dims[1] != p.rows || dims[2] != p.columns)
            Fail("an exported HDF5 dataset has another shape than its sub-image's frames");
        std::vector<float> values(static_cast<std::size_t>(frames) * p.Pixels());
        if (H5Dread(set, H5T_NATIVE_FLOAT, H5S_ALL, H5S_ALL, H5P_DEFAULT, values.data()) < 0)
            Fail("an exported HDF5 dataset cannot be read");
        std::size_t i = 0;
        for (unsigned int f = 0; f < frames; ++f)
            for (std::size_t r = 0; r < p.rows; ++r)
                for (std::size_t c = 0; c < p.columns; ++c)
                    if (!Same(values[i++], Pixel(data, e, f, p, r, c))) Fail("an exported HDF5 value differs from the input's");
        H5Sclose(space);
        H5Dclose(set);
    }
    H5Gclose(group);
    H5Fclose(file);
}

// A header line and a line per stored column, each with the X value and one value per
// frame, sub-image and chosen row.
void CheckCsv(const std::string& path, const Expected& e, const std::vector<std::size_t>& group, unsigned int rows) {
    const std::string text = kvmcffuzz::ReadBytes(path);
    const Plane& shape = e.planes[group.front()];
    const std::size_t fields = 1 + static_cast<std::size_t>(e.source->frameCount()) * group.size() * rows;
    std::size_t lines = 0, start = 0;
    while (start < text.size()) {
        const std::size_t end = text.find('\n', start);
        if (end == std::string::npos) Fail("an exported CSV ends inside a line");
        // The header's label may be quoted with commas inside; the values never are.
        if (lines > 0) {
            std::size_t commas = 0;
            for (std::size_t i = start; i < end; ++i) commas += text[i] == ',';
            if (commas + 1 != fields) Fail("an exported CSV line holds another number of values than expected");
        }
        ++lines;
        start = end + 1;
    }
    if (lines != shape.columns + 1) Fail("an exported CSV holds another number of lines than columns");
}

struct Format {
    const char* name;
    const char* extension;
};

}  // namespace exportfuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace exportfuzz;
    const std::string folder = kvmcffuzz::ScratchFolder();
    const std::string in = folder + "/in.mcf";
    kvmcffuzz::WriteBytes(in, data, size);
    Expected e;
    ExpectOutputs(in, size, &e);

    for (const Format& format : {Format{"tiff", ".tif"}, Format{"hdf5", ".h5"}, Format{"csv", ".csv"}}) {
        const bool csv = format.extension == std::string(".csv");
        const std::string out = folder + "/out" + format.extension;
        std::vector<std::string> args = {in, out, "--quiet"};
        // Spectra as they are, or the bottom row of each sub-image (an odd-sized input).
        const bool bottomRow = csv && size % 2 == 1;
        if (bottomRow) args.insert(args.end(), {"--rows", "0"});
        // HDF5 takes every source unless one is named: the one the others export.
        if (format.extension == std::string(".h5"))
            args.insert(args.end(), {"--source", e.source ? e.source->name() : "signal"});
        int code = 0;
        {
            kvmcffuzz::CapturedOutput captured;
            std::vector<const char*> argv = {"kvmcf", "export"};
            for (const std::string& a : args) argv.push_back(a.c_str());
            code = kvmcftools::RunTool(static_cast<int>(argv.size()), argv.data());
        }
        std::vector<std::string> written;
        for (const std::string& name : kvmcffuzz::Entries(folder))
            if (name != "in.mcf" && name != ".captured") written.push_back(name);
        if (code != 0) {
            if (code != 1) Fail(std::string("export exited with ") + std::to_string(code));
            if (!written.empty()) Fail("a failed export left " + written.front());
            if (!csv && e.source && e.framesHeld)
                Fail(std::string("a file whose frames are all there did not export as ") + format.name);
            continue;
        }
        if (!e.source || !e.framesHeld) Fail(std::string("export wrote a file it cannot have read as ") + format.name);
        const std::vector<std::vector<std::size_t>> groups =
            csv || format.extension == std::string(".tif") ? e.groups : std::vector<std::vector<std::size_t>>{{}};
        std::vector<std::string> names;
        for (const auto& group : groups) {
            const std::string path = kvmcftools::GroupOutputName(out, e.planes, group, groups.size());
            names.push_back(path.substr(folder.size() + 1));
            if (!kvmcffuzz::Exists(path)) Fail("export did not write " + path);
            if (format.extension == std::string(".tif")) CheckTiff(path, data, e, group);
            if (csv) CheckCsv(path, e, group, 1);
        }
        if (format.extension == std::string(".h5")) CheckHdf5(out, data, e);
        std::sort(names.begin(), names.end());
        if (names != written) Fail("export wrote other files than its outputs");
        for (const std::string& name : written) std::remove((folder + "/" + name).c_str());
    }
    return 0;
}
