#include "tools/Hdf5Export.h"

#include <unistd.h>

#include <hdf5.h>
#include <hdf5_hl.h>

#include <algorithm>
#include <cstdint>
#include <memory>

#include "tools/Progress.h"

namespace kvmcftools {

namespace {

// Closes an HDF5 object when it goes out of scope.
class Handle {
public:
    Handle(hid_t id, herr_t (*close)(hid_t)) : id_(id), close_(close) {}
    ~Handle() {
        if (id_ >= 0) close_(id_);
    }
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    hid_t get() const { return id_; }
    bool ok() const { return id_ >= 0; }

private:
    hid_t id_;
    herr_t (*close_)(hid_t);
};

bool Attribute(hid_t where, const std::string& name, hid_t type, const void* value, hsize_t count = 1) {
    Handle space(count == 1 ? H5Screate(H5S_SCALAR) : H5Screate_simple(1, &count, nullptr), H5Sclose);
    Handle attr(H5Acreate2(where, name.c_str(), type, space.get(), H5P_DEFAULT, H5P_DEFAULT), H5Aclose);
    return attr.ok() && H5Awrite(attr.get(), type, value) >= 0;
}

bool TextAttribute(hid_t where, const std::string& name, const std::string& text) {
    Handle type(H5Tcopy(H5T_C_S1), H5Tclose);
    H5Tset_size(type.get(), H5T_VARIABLE);
    H5Tset_cset(type.get(), H5T_CSET_ASCII);
    const char* value = text.c_str();
    return Attribute(where, name, type.get(), &value);
}

bool VersionAttribute(hid_t where, const std::string& name, const kvmcf::Version& v) {
    const unsigned int pair[2] = {v.high, v.low};
    return Attribute(where, name, H5T_NATIVE_UINT, pair, 2);
}

// Each property with the type the value query gives it.
bool PropertyAttribute(hid_t where, const kvmcf::Property& p) {
    using T = kvmcf::PropertyType;
    if (const auto* i = std::get_if<long long>(&p.value)) {
        const std::int32_t v = static_cast<std::int32_t>(*i);
        return Attribute(where, p.name, H5T_NATIVE_INT32, &v);
    }
    if (const auto* u = std::get_if<unsigned long long>(&p.value)) {
        if (p.type == T::UInt64) return Attribute(where, p.name, H5T_NATIVE_UINT64, u);
        if (p.type == T::Byte) {
            const std::uint8_t v = static_cast<std::uint8_t>(*u);
            return Attribute(where, p.name, H5T_NATIVE_UINT8, &v);
        }
        const std::uint32_t v = static_cast<std::uint32_t>(*u);
        return Attribute(where, p.name, H5T_NATIVE_UINT32, &v);
    }
    if (const auto* d = std::get_if<double>(&p.value)) {
        if (p.type == T::Double) return Attribute(where, p.name, H5T_NATIVE_DOUBLE, d);
        const float v = static_cast<float>(*d);
        return Attribute(where, p.name, H5T_NATIVE_FLOAT, &v);
    }
    if (const auto* s = std::get_if<std::string>(&p.value)) return TextAttribute(where, p.name, *s);
    return true;  // a name with no value has nothing to carry
}

bool WriteVector(hid_t group, const std::string& name, hid_t type, const void* data, hsize_t count) {
    Handle space(H5Screate_simple(1, &count, nullptr), H5Sclose);
    Handle set(H5Dcreate2(group, name.c_str(), type, space.get(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT), H5Dclose);
    return set.ok() && (count == 0 || H5Dwrite(set.get(), type, H5S_ALL, H5S_ALL, H5P_DEFAULT, data) >= 0);
}

// A calibrated axis as a dimension scale of `set` along dimension `dim`.
bool AxisScale(hid_t group, hid_t set, unsigned int dim, const std::string& name, const std::vector<double>& values,
               const std::string& label, const std::string& units) {
    if (!WriteVector(group, name, H5T_NATIVE_DOUBLE, values.data(), values.size())) return false;
    Handle scale(H5Dopen2(group, name.c_str(), H5P_DEFAULT), H5Dclose);
    return scale.ok() && H5DSset_scale(scale.get(), label.c_str()) >= 0 &&
           TextAttribute(scale.get(), "units", units) && H5DSattach_scale(set, scale.get(), dim) >= 0;
}

// One source's group: its properties, frame times, and a dataset per sub-image with
// its axes attached, the pixels written from the frames' bytes in place.
bool WriteGroup(hid_t file, const ExportJob& job, std::string* why) {
    const kvmcf::Source& source = *job.source;
    auto fail = [&](const std::string& what) {
        *why = "cannot write " + job.name + ": " + what;
        return false;
    };
    Handle group(H5Gcreate2(file, source.name(), H5P_DEFAULT, H5P_DEFAULT, H5P_DEFAULT), H5Gclose);
    if (!group.ok()) return fail("cannot create the group " + std::string(source.name()));
    bool ok = VersionAttribute(group.get(), "header_version", source.headerVersion()) &&
              VersionAttribute(group.get(), "calibration_version", source.calibrationVersion()) &&
              VersionAttribute(group.get(), "image_version", source.imageVersion());
    for (const kvmcf::Property& p : source.properties()) ok = ok && PropertyAttribute(group.get(), p);
    if (!ok) return fail("cannot write the properties");

    // Per frame: seconds, time stamps and metadata words.
    const FrameRange& range = job.range;
    const std::vector<double> times = FrameTimes(source, range);
    std::vector<unsigned int> stamps = source.timeStamps();
    std::vector<std::uint64_t> words = source.metadataWords();
    stamps.resize(range.first + range.count);
    words.resize(range.first + range.count);
    if (!WriteVector(group.get(), "time", H5T_NATIVE_DOUBLE, times.data(), range.count) ||
        !WriteVector(group.get(), "time_stamps", H5T_NATIVE_UINT, stamps.data() + range.first, range.count) ||
        !WriteVector(group.get(), "metadata_words", H5T_NATIVE_UINT64, words.data() + range.first, range.count))
        return fail("cannot write the frame times");
    Handle time(H5Dopen2(group.get(), "time", H5P_DEFAULT), H5Dclose);
    if (H5DSset_scale(time.get(), "Time (s)") < 0 || !TextAttribute(time.get(), "units", "s"))
        return fail("cannot write the frame times");
    const unsigned int firstFrame = range.first;
    Attribute(group.get(), "first_frame", H5T_NATIVE_UINT, &firstFrame);

    const kvmcf::Axis xAxis = source.xAxis(), zAxis = source.zAxis();
    std::vector<hid_t> sets;
    std::vector<std::unique_ptr<Handle>> owned;
    // No chunk cache: whole chunks then go from the caller's bytes to the file, uncopied.
    Handle access(H5Pcreate(H5P_DATASET_ACCESS), H5Pclose);
    H5Pset_chunk_cache(access.get(), 0, 0, H5D_CHUNK_CACHE_W0_DEFAULT);
    for (const Plane& p : job.planes) {
        const std::string name = "subimage" + std::to_string(p.index);
        const hsize_t dims[3] = {range.count, p.rows, p.columns};
        // Large frames arrive in runs of rows: a chunk each, so that every write fills its chunk.
        const hsize_t chunkRows = LargeFrames(source) ? std::min<hsize_t>(p.rows, RowsPerRun(p)) : p.rows;
        // Small frames share a chunk, as many as are read at once.
        const hsize_t chunkFrames = LargeFrames(source) ? 1 : std::min(range.count, FramesPerBlock(source));
        const hsize_t chunk[3] = {chunkFrames, chunkRows, p.columns};
        Handle space(H5Screate_simple(3, dims, nullptr), H5Sclose);
        Handle props(H5Pcreate(H5P_DATASET_CREATE), H5Pclose);
        H5Pset_chunk(props.get(), 3, chunk);
        // Every chunk is written whole: filling it first would write it twice.
        H5Pset_fill_time(props.get(), H5D_FILL_TIME_NEVER);
        H5Pset_alloc_time(props.get(), H5D_ALLOC_TIME_INCR);
        owned.push_back(std::make_unique<Handle>(
            H5Dcreate2(group.get(), name.c_str(), H5T_IEEE_F32LE, space.get(), H5P_DEFAULT, props.get(), access.get()),
            H5Dclose));
        const hid_t set = owned.back()->get();
        if (set < 0) return fail("cannot create " + name);
        sets.push_back(set);
        const int g[6] = {p.geometry.left, p.geometry.bottom, p.geometry.right, p.geometry.top, p.geometry.hBin,
                          p.geometry.vBin};
        Attribute(set, "left_bottom_right_top_hbin_vbin", H5T_NATIVE_INT, g, 6);
        TextAttribute(set, "row_order", "bottom row first");
        std::vector<double> x = PlaneXValues(xAxis, p), z = PlaneZValues(zAxis, p);
        const bool xOk = !x.empty(), zOk = !z.empty();
        if (!xOk) x = DetectorPositions(p.columns, p.geometry.left, p.geometry.hBin);
        if (!zOk) z = DetectorPositions(p.rows, p.geometry.bottom, p.geometry.vBin);
        const kvmcf::Axis column{"Column", " ", 0, {}}, row{"Row", " ", 0, {}};
        if (!AxisScale(group.get(), set, 2, name + "_x", x, AxisLabel(xOk ? xAxis : column),
                       xOk ? UnitText(xAxis.unit) : "") ||
            !AxisScale(group.get(), set, 1, name + "_z", z, AxisLabel(zOk ? zAxis : row),
                       zOk ? UnitText(zAxis.unit) : "") ||
            H5DSattach_scale(set, time.get(), 0) < 0)
            return fail("cannot write the axes of " + name);
        H5DSset_label(set, 0, "frame");
        H5DSset_label(set, 1, "row");
        H5DSset_label(set, 2, "column");
    }

    // `count` frames of plane i from bytes, where they lie one after another. The memory
    // shape matches the selection's, so the library maps it to chunks without visiting
    // each value.
    auto write = [&](std::size_t i, unsigned int first, unsigned int count, const unsigned char* bytes,
                     std::size_t firstRow = 0, std::size_t rows = 0) {
        const Plane& p = job.planes[i];
        const hsize_t start[3] = {first - range.first, firstRow, 0}, size[3] = {count, rows ? rows : p.rows, p.columns};
        Handle memory(H5Screate_simple(3, size, nullptr), H5Sclose);
        Handle space(H5Dget_space(sets[i]), H5Sclose);
        H5Sselect_hyperslab(space.get(), H5S_SELECT_SET, start, nullptr, size, nullptr);
        return H5Dwrite(sets[i], H5T_NATIVE_FLOAT, memory.get(), space.get(), H5P_DEFAULT, bytes) >= 0;
    };
    const std::size_t frameLength = source.frameLength();
    // One sub-image filling the frame: a run of frames is one block of the file's bytes.
    const bool whole = job.planes.size() == 1 && job.planes[0].offset == 0 && job.planes[0].Pixels() == frameLength;
    if (LargeFrames(source))
        return ForEachRowRun(*job.file, source, range, job.planes, job.progress,
                             [&](unsigned int frame, std::size_t i, std::size_t firstRow, std::size_t rows,
                                 const unsigned char* bytes) {
                                 return write(i, frame, 1, bytes, firstRow, rows) || fail("disk full?");
                             }, why);
    const bool written = ForEachFrameBlock(*job.file, source, range, job.progress,
                                           [&](unsigned int first, unsigned int count, const unsigned char* block) {
        if (whole) return write(0, first, count, block) || fail("disk full?");
        for (unsigned int f = 0; f < count; ++f)
            for (std::size_t i = 0; i < job.planes.size(); ++i)
                if (!write(i, first + f, 1, PlaneBytes(block + 4 * frameLength * f, job.planes[i])))
                    return fail("disk full?");
        return true;
    }, why);
    return written;
}

}  // namespace

bool WriteHdf5(const std::vector<ExportJob>& jobs, std::string* why) {
    const ExportJob& first = jobs.front();
    H5Eset_auto2(H5E_DEFAULT, nullptr, nullptr);
    auto fail = [&](const std::string& what) {
        *why = "cannot write " + first.name + ": " + what;
        return false;
    };
    // Created anew rather than truncated: the file system writes a truncated file back
    // on close, as for a file replaced by truncation.
    ::unlink(first.path.c_str());
    Handle file(H5Fcreate(first.path.c_str(), H5F_ACC_EXCL, H5P_DEFAULT, H5P_DEFAULT), H5Fclose);
    if (!file.ok()) return fail("cannot create it");
    const kvmcf::StructureVersions v = first.file->structureVersions();
    if (!VersionAttribute(file.get(), "file_version", first.file->version()) ||
        !VersionAttribute(file.get(), "header_version", v.header) ||
        !VersionAttribute(file.get(), "calibration_version", v.calibration) ||
        !VersionAttribute(file.get(), "image_version", v.image))
        return fail("cannot write the versions");
    for (const ExportJob& job : jobs)
        if (!WriteGroup(file.get(), job, why)) return false;
    if (H5Fflush(file.get(), H5F_SCOPE_GLOBAL) < 0) return fail("disk full?");
    return true;
}

int ExportAllSourcesToHdf5(const std::string& in, const std::string& out, const std::string& frames, bool force,
                           bool quiet) {
    return GuardedCommand(in, [&] {
        const kvmcf::File file = kvmcf::File::open(in, kvmcf::OpenOptions{kvmcf::ReadMode::HeaderOnly, true});
        std::vector<ExportJob> jobs;
        unsigned long long total = 0;
        std::string why;
        for (const kvmcf::Source* source : file.sources()) {
            ExportJob job;
            job.file = &file;
            job.source = source;
            job.range = {0, source->frameCount()};
            if (!frames.empty() && !ParseFrameRange(frames, source->frameCount(), &job.range, &why))
                return ExportFailure(in + ": " + source->name() + ": " + why + "; choose one source with --source");
            if (job.range.count == 0) continue;  // nothing to hold: a source with no frames
            if (!SourcePlanes(*source, &job.planes, &why)) return ExportFailure(in + ": " + why);
            total += job.range.count;
            jobs.push_back(std::move(job));
        }
        if (jobs.empty()) return ExportFailure(in + ": the file holds no frames");

        OutputFile output(out);
        if (!output.Prepare(force, &why)) return ExportFailure(why);
        RemoveOutputsOnInterrupt();
        Progress progress("export", total, quiet);
        for (ExportJob& job : jobs) {
            job.path = output.TempPath();
            job.name = out;
            job.progress = &progress;
        }
        if (!WriteHdf5(jobs, &why)) return ExportFailure(why);
        progress.Finish();
        return output.Commit(&why) ? 0 : ExportFailure(why);
    });
}

}  // namespace kvmcftools
