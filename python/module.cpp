// The extension module under the kvmcfio package: a thin layer over kvmcf::File that
// turns pixel blocks into numpy arrays and C++ errors into Python exceptions. The
// package's Python code gives it the user-facing shape.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kvmcf/kvmcf.hpp"

namespace py = pybind11;

namespace {

// The open file with whatever must outlive it. Shared by the File object and by
// every array viewing its pixels, so the file closes when the last of them goes.
struct Handle {
    py::object owner;  // the bytes object of a file opened from memory; outlives the file
    std::unique_ptr<kvmcf::File> file;
    bool closed = false;  // the File object was closed; views may still hold the pixels
};

// What an array viewing a pixel block holds on to: its base object.
struct Mapping {
    std::shared_ptr<Handle> handle;
    std::uintptr_t address = 0;
    std::size_t bytes = 0;
};

PyObject* gError = nullptr;
PyObject* gFormatError = nullptr;
PyObject* gFileError = nullptr;
PyObject* gFileNotFoundError = nullptr;
PyObject* gIsADirectoryError = nullptr;
PyObject* gPermissionError = nullptr;

// A path the system would not open: the OSError subclass Python itself would raise,
// with errno, the system's words and the path as its filename.
bool RaiseSystemError(const kvmcf::Error& e) {
    const int error = e.systemError();
    if (error == 0) return false;
    PyObject* type = gFileError;
    if (error == ENOENT) type = gFileNotFoundError;
    else if (error == EISDIR) type = gIsADirectoryError;
    else if (error == EACCES || error == EPERM) type = gPermissionError;
    // The message is "PATH: words"; the path is what comes before the words.
    const std::string words = std::strerror(error);
    std::string path = e.what();
    if (path.size() >= words.size() + 2 && path.compare(path.size() - words.size() - 2, std::string::npos, ": " + words) == 0)
        path.resize(path.size() - words.size() - 2);
    py::object filename = py::reinterpret_steal<py::object>(
        PyUnicode_DecodeFSDefaultAndSize(path.data(), static_cast<Py_ssize_t>(path.size())));
    if (!filename) return true;
    py::object raised = py::reinterpret_steal<py::object>(
        PyObject_CallFunction(type, "isO", error, words.c_str(), filename.ptr()));
    if (!raised) return true;
    raised.attr("code") = e.code();
    raised.attr("position") = py::none();
    PyErr_SetObject(type, raised.ptr());
    return true;
}

PyObject* ExceptionType(unsigned int code) {
    switch (code) {
        case kvmcf::result::FormatError: return gFormatError;
        case kvmcf::result::FileError: return gFileError;
        case kvmcf::result::NotPresent: return PyExc_KeyError;
        case kvmcf::result::Argument2Invalid: return PyExc_IndexError;
        default: return gError;
    }
}

void RaiseError(const kvmcf::Error& e) {
    if (RaiseSystemError(e)) return;
    PyObject* type = ExceptionType(e.code());
    py::object error = py::reinterpret_steal<py::object>(PyObject_CallFunction(type, "s", e.what()));
    if (!error) return;  // the call left its own exception set
    if (type == gError || type == gFormatError || type == gFileError) {
        error.attr("code") = e.code();
        py::object where = py::none();
        if (e.position()) {
            const kvmcf::Position& p = *e.position();
            py::dict d;
            d["source"] = p.source >= 0 ? py::object(py::str(kvmcf::sourceName(static_cast<kvmcf::SourceId>(p.source))))
                                        : py::object(py::none());
            d["image"] = p.image >= 0 ? py::object(py::int_(p.image)) : py::object(py::none());
            d["record"] = p.record;
            d["field"] = p.field;
            d["offset"] = p.offset >= 0 ? py::object(py::int_(p.offset)) : py::object(py::none());
            where = d;
        }
        error.attr("position") = where;
    }
    PyErr_SetObject(type, error.ptr());
}

py::object PropertyValue(const kvmcf::Property& p) {
    struct Visit {
        const kvmcf::Property& p;
        py::object operator()(std::monostate) const { return py::str(p.text); }
        py::object operator()(long long v) const { return py::int_(v); }
        py::object operator()(unsigned long long v) const { return py::int_(v); }
        // Floats as the file holds them (float32 prints 0.05, not its widened double);
        // the frame times the type query calls time stamps are float32 too.
        py::object operator()(double v) const {
            if (p.type == kvmcf::PropertyType::Double) return py::float_(v);
            return py::module_::import("numpy").attr("float32")(v);
        }
        py::object operator()(const std::string& v) const {
            // Property texts are bytes from the file; never fail on them.
            return py::reinterpret_steal<py::object>(PyUnicode_DecodeLatin1(v.data(), static_cast<Py_ssize_t>(v.size()), nullptr));
        }
    };
    return std::visit(Visit{p}, p.value);
}

py::str Text(const std::string& s) {
    return py::reinterpret_steal<py::str>(PyUnicode_DecodeLatin1(s.data(), static_cast<Py_ssize_t>(s.size()), nullptr));
}

const char kClosed[] = "I/O operation on a closed kvmcfio.File";

// A source does not keep its file open: it reaches it through the File object's
// handle and fails once that is closed, even while arrays still view the pixels.
class PySource {
public:
    PySource(const std::shared_ptr<Handle>& handle, kvmcf::SourceId id) : handle_(handle), id_(id) {}

    std::shared_ptr<Handle> handle() const {
        std::shared_ptr<Handle> h = handle_.lock();
        if (!h || h->closed) throw py::value_error(kClosed);
        return h;
    }
    const kvmcf::Source& source() const { return handle()->file->source(id_); }

private:
    std::weak_ptr<Handle> handle_;
    kvmcf::SourceId id_;
};

// close() only lets go of the handle: the file itself closes once no array views it.
class PyFile {
public:
    explicit PyFile(std::shared_ptr<Handle> handle) : handle_(std::move(handle)) {}
    const std::shared_ptr<Handle>& handle() const {
        if (!handle_) throw py::value_error(kClosed);
        return handle_;
    }
    const kvmcf::File& file() const { return *handle()->file; }
    void close() {
        if (!handle_) return;
        handle_->closed = true;
        handle_.reset();
    }
    bool closed() const { return !handle_; }

private:
    std::shared_ptr<Handle> handle_;
};

py::array ReadOnlyView(const std::shared_ptr<Handle>& handle, const kvmcf::FrameView& view) {
    const std::vector<py::ssize_t> shape{static_cast<py::ssize_t>(view.frameCount()),
                                         static_cast<py::ssize_t>(view.frameLength())};
    py::array out;
    if (view.size() == 0 || view.bytes() == nullptr) {
        out = py::array_t<float>(shape);
    } else {
        auto mapping = std::make_shared<Mapping>();
        mapping->handle = handle;
        mapping->address = reinterpret_cast<std::uintptr_t>(view.bytes());
        mapping->bytes = view.size() * sizeof(float);
        // numpy reads pixels at any byte offset, so an unaligned block is viewed too.
        const std::vector<py::ssize_t> strides{static_cast<py::ssize_t>(view.frameLength() * sizeof(float)),
                                               static_cast<py::ssize_t>(sizeof(float))};
        out = py::array(py::dtype("<f4"), shape, strides, view.bytes(), py::cast(mapping));
    }
    out.attr("flags").attr("writeable") = false;
    return out;
}

// Frames first .. first + count - 1 copied into a new array, without the GIL.
py::array_t<float> ReadFrames(const PySource& s, unsigned int first, unsigned int count) {
    const std::shared_ptr<Handle> keep = s.handle();  // the file must outlive the read
    const kvmcf::Source& source = s.source();
    const std::size_t length = source.frameLength();
    // A lying frame count must not size the array: the view checks the file holds
    // every frame (FileError otherwise) and maps it lazily, reading nothing.
    if (count > 0 && length > 0) source.frames();
    py::array_t<float> out(std::vector<py::ssize_t>{static_cast<py::ssize_t>(count), static_cast<py::ssize_t>(length)});
    if (count == 0 || length == 0) return out;
    float* data = out.mutable_data();
    {
        py::gil_scoped_release release;
        source.readFrames(first, count, data);
    }
    return out;
}

// Frames starts[i] .. starts[i] + counts[i] - 1 of each run, pixels offset ..
// offset + length - 1 of each, one after another into out, without the GIL. A run
// of whole frames is read straight into out with one positioned read; a part of
// each frame (one sub-image of several) goes through a bounded scratch block.
using Runs = py::array_t<unsigned int, py::array::c_style | py::array::forcecast>;

void ReadRuns(const PySource& s, const Runs& startArray, const Runs& countArray, py::array out, std::size_t offset,
              std::size_t length) {
    const std::vector<unsigned int> starts(startArray.data(), startArray.data() + startArray.size());
    const std::vector<unsigned int> counts(countArray.data(), countArray.data() + countArray.size());
    const std::shared_ptr<Handle> keep = s.handle();
    const kvmcf::Source& source = s.source();
    const std::size_t frameLength = source.frameLength();
    if (starts.size() != counts.size() || offset > frameLength || length > frameLength - offset)
        throw py::value_error("runs and pixel range do not fit the frames");
    unsigned long long total = 0;
    for (unsigned int c : counts) total += c;
    if (!(out.flags() & py::array::c_style) || !out.writeable() || !out.dtype().is(py::dtype::of<float>()) ||
        static_cast<unsigned long long>(out.size()) != total * length)
        throw py::value_error("out must be a writable C-contiguous float32 array of the frames read");
    if (total == 0 || length == 0) return;
    float* to = static_cast<float*>(out.mutable_data());
    py::gil_scoped_release release;
    if (offset == 0 && length == frameLength) {
        for (std::size_t i = 0; i < starts.size(); ++i) {
            source.readFrames(starts[i], counts[i], to);
            to += static_cast<std::size_t>(counts[i]) * length;
        }
        return;
    }
    const std::size_t perBlock = std::max<std::size_t>(1, (std::size_t{16} << 20) / (frameLength * sizeof(float)));
    std::vector<float> scratch;
    for (std::size_t i = 0; i < starts.size(); ++i) {
        for (unsigned int done = 0; done < counts[i];) {
            const unsigned int n = static_cast<unsigned int>(std::min<std::size_t>(perBlock, counts[i] - done));
            scratch.resize(static_cast<std::size_t>(n) * frameLength);
            source.readFrames(starts[i] + done, n, scratch.data());
            for (unsigned int f = 0; f < n; ++f, to += length)
                std::memcpy(to, scratch.data() + f * frameLength + offset, length * sizeof(float));
            done += n;
        }
    }
}

template <class T>
py::array_t<T> ToArray(const std::vector<T>& v) {
    py::array_t<T> out(static_cast<py::ssize_t>(v.size()));
    if (!v.empty()) std::memcpy(out.mutable_data(), v.data(), v.size() * sizeof(T));
    return out;
}

py::tuple AxisTuple(const kvmcf::Axis& a) {
    return py::make_tuple(Text(a.type), Text(a.unit), a.first, ToArray(a.values));
}

py::tuple VersionTuple(const kvmcf::Version& v) { return py::make_tuple(v.high, v.low); }

PyObject* NewException(py::module_& m, const char* name, PyObject* bases, const char* doc) {
    const std::string qualified = std::string("kvmcfio.") + name;
    PyObject* type = PyErr_NewExceptionWithDoc(qualified.c_str(), doc, bases, nullptr);
    if (!type) throw py::error_already_set();
    m.add_object(name, py::reinterpret_borrow<py::object>(type));
    return type;
}

}  // namespace

PYBIND11_MODULE(_kvmcfio, m) {
    m.doc() = "Extension module of the kvmcfio package; use the package, not this module.";

    gError = NewException(m, "Error", PyExc_RuntimeError,
                          "A failure reported by the reader; `code` is its result code.");
    gFormatError = NewException(m, "FormatError", gError,
                                "The bytes are not a readable multi-channel file; `position` says where reading "
                                "stopped (a dict with source, image, record, field and offset), when known.");
    // OSError first, so errno and filename work as for any OSError.
    py::tuple fileBases = py::make_tuple(py::handle(PyExc_OSError), py::handle(gError));
    gFileError = NewException(m, "FileError", fileBases.ptr(),
                              "The file could not be opened or no longer holds the pixels asked for.");
    // The OSError subclasses Python raises for the same failures, so `except
    // FileNotFoundError` works as for open() and `except kvmcfio.FileError` catches all.
    const auto systemError = [&](const char* name, PyObject* builtin, const char* doc) {
        py::tuple bases = py::make_tuple(py::handle(gFileError), py::handle(builtin));
        return NewException(m, name, bases.ptr(), doc);
    };
    gFileNotFoundError = systemError("FileNotFoundError", PyExc_FileNotFoundError, "The file does not exist.");
    gIsADirectoryError = systemError("IsADirectoryError", PyExc_IsADirectoryError, "The path names a directory.");
    gPermissionError = systemError("PermissionError", PyExc_PermissionError, "The file may not be read.");
    m.attr("version") = kvmcf::libraryVersion();
    py::register_exception_translator([](std::exception_ptr p) {
        try {
            if (p) std::rethrow_exception(p);
        } catch (const kvmcf::Error& e) {
            RaiseError(e);
        }
    });

    py::class_<Mapping, std::shared_ptr<Mapping>>(m, "Mapping",
                                                 "Owner of a pixel block viewed by numpy arrays; keeps its file open.")
        .def_property_readonly("address", [](const Mapping& v) { return v.address; })
        .def_property_readonly("nbytes", [](const Mapping& v) { return v.bytes; })
        .def("__repr__", [](const Mapping& v) {
            return "<kvmcfio.Mapping of " + std::to_string(v.bytes) + " bytes>";
        });

    py::class_<PySource>(m, "_Source")
        .def_property_readonly("frame_count", [](const PySource& s) { return s.source().frameCount(); })
        .def_property_readonly("frame_length", [](const PySource& s) { return s.source().frameLength(); })
        .def_property_readonly("data_start", [](const PySource& s) { return s.source().dataStart(); })
        .def_property_readonly("subimages",
                               [](const PySource& s) {
                                   py::list out;
                                   for (const kvmcf::SubImage& r : s.source().subImages())
                                       out.append(py::make_tuple(r.left, r.bottom, r.right, r.top, r.hBin, r.vBin));
                                   return out;
                               })
        .def("frames",
             [](const PySource& s) {
                 const std::shared_ptr<Handle> keep = s.handle();
                 return ReadOnlyView(keep, s.source().frames());
             })
        .def("read_frames", &ReadFrames, py::arg("first"), py::arg("count"))
        // The file holds every frame the header counts (FileError otherwise), so a
        // lying count never sizes an array; maps the file once, reads nothing.
        .def("check_whole",
             [](const PySource& s) {
                 const std::shared_ptr<Handle> keep = s.handle();
                 s.source().frames();
             })
        .def("read_runs", &ReadRuns, py::arg("starts"), py::arg("counts"), py::arg("out"), py::arg("offset"),
             py::arg("length"))
        .def("properties",
             [](const PySource& s) {
                 py::dict out;
                 for (const kvmcf::Property& p : s.source().properties()) out[Text(p.name)] = PropertyValue(p);
                 return out;
             })
        .def("property", [](const PySource& s, const std::string& name) { return PropertyValue(s.source().property(name)); })
        .def("x_axis", [](const PySource& s) { return AxisTuple(s.source().xAxis()); })
        .def("z_axis", [](const PySource& s) { return AxisTuple(s.source().zAxis()); })
        .def("time_stamps", [](const PySource& s) { return ToArray(s.source().timeStamps()); })
        .def("metadata_words", [](const PySource& s) { return ToArray(s.source().metadataWords()); })
        .def("kinetic_times", [](const PySource& s) { return ToArray(s.source().kineticTimes()); })
        .def("irig_times",
             [](const PySource& s) {
                 py::list out;
                 for (const std::string& t : s.source().irigTimes()) out.append(Text(t));
                 return out;
             })
        .def("versions", [](const PySource& s) {
            const kvmcf::Source& source = s.source();
            py::dict out;
            out["header"] = VersionTuple(source.headerVersion());
            out["calibration"] = VersionTuple(source.calibrationVersion());
            out["image"] = VersionTuple(source.imageVersion());
            return out;
        });

    py::class_<PyFile>(m, "_File")
        .def_static(
            "open",
            [](const py::bytes& path, bool headerOnly) {
                const std::string name = path;  // the file system's bytes, whatever their encoding
                auto handle = std::make_shared<Handle>();
                kvmcf::OpenOptions options;
                options.mode = headerOnly ? kvmcf::ReadMode::HeaderOnly : kvmcf::ReadMode::All;
                {
                    py::gil_scoped_release release;
                    handle->file = std::make_unique<kvmcf::File>(kvmcf::File::open(name, options));
                }
                return PyFile(std::move(handle));
            },
            py::arg("path"), py::arg("header_only"))
        .def_static(
            "from_bytes",
            [](py::bytes data, bool headerOnly, const std::string& name) {
                // Immutable bytes, read in place for as long as the handle holds them.
                auto handle = std::make_shared<Handle>();
                handle->owner = data;
                const char* bytes = PyBytes_AS_STRING(data.ptr());
                const auto size = static_cast<std::size_t>(PyBytes_GET_SIZE(data.ptr()));
                const kvmcf::ReadMode mode = headerOnly ? kvmcf::ReadMode::HeaderOnly : kvmcf::ReadMode::All;
                try {
                    if (size == 0) throw kvmcf::Error(kvmcf::result::FormatError, "not a multi-channel file: no bytes");
                    handle->file = std::make_unique<kvmcf::File>(kvmcf::File::fromBytes(bytes, size, mode));
                } catch (const kvmcf::Error& e) {
                    // Bytes carry no name: give the one the caller knows them by.
                    if (name.empty()) throw;
                    throw kvmcf::Error(e.code(), name + ": " + e.what(), e.position(), e.systemError());
                }
                return PyFile(std::move(handle));
            },
            py::arg("data"), py::arg("header_only"), py::arg("name") = std::string())
        .def("close", &PyFile::close)
        .def_property_readonly("closed", &PyFile::closed)
        .def_property_readonly("path", [](const PyFile& f) { return py::bytes(f.file().path()); })
        .def_property_readonly("header_only", [](const PyFile& f) { return f.file().mode() == kvmcf::ReadMode::HeaderOnly; })
        .def_property_readonly("version", [](const PyFile& f) { return VersionTuple(f.file().version()); })
        .def_property_readonly("structure_versions",
                               [](const PyFile& f) {
                                   const kvmcf::StructureVersions v = f.file().structureVersions();
                                   py::dict out;
                                   out["file"] = VersionTuple(v.file);
                                   out["header"] = VersionTuple(v.header);
                                   out["calibration"] = VersionTuple(v.calibration);
                                   out["image"] = VersionTuple(v.image);
                                   return out;
                               })
        .def("source_names",
             [](const PyFile& f) {
                 py::list out;
                 for (const kvmcf::Source* s : f.file().sources()) out.append(s->name());
                 return out;
             })
        .def("source", [](const PyFile& f, const std::string& name) {
            for (int i = 0; i < kvmcf::kSourceCount; ++i) {
                const auto id = static_cast<kvmcf::SourceId>(i);
                if (name == kvmcf::sourceName(id)) {
                    f.file().source(id);  // absent: NotPresent
                    return PySource(f.handle(), id);
                }
            }
            throw py::key_error(name);
        });
}
