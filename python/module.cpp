// The extension module under the kvmcfio package: a thin layer over kvmcf::File that
// turns pixel blocks into numpy arrays and C++ errors into Python exceptions. The
// package's Python code gives it the user-facing shape.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

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
    std::string bytes;  // the file's bytes, for files opened from memory; outlives the file
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
        py::object operator()(double v) const { return py::float_(v); }
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
    py::list names;
    for (int i = 0; i < kvmcf::kSourceCount; ++i) names.append(kvmcf::sourceName(static_cast<kvmcf::SourceId>(i)));
    m.attr("SOURCE_NAMES") = py::tuple(names);

    gError = NewException(m, "Error", PyExc_RuntimeError,
                          "A failure reported by the reader; `code` is its result code.");
    gFormatError = NewException(m, "FormatError", gError,
                                "The bytes are not a readable multi-channel file; `position` says where reading "
                                "stopped (a dict with source, image, record, field and offset), when known.");
    // OSError first, so errno and filename work as for any OSError.
    py::tuple fileBases = py::make_tuple(py::handle(PyExc_OSError), py::handle(gError));
    gFileError = NewException(m, "FileError", fileBases.ptr(),
                              "The file could not be opened or no longer holds the pixels asked for.");
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
            [](const std::string& path, bool headerOnly) {
                auto handle = std::make_shared<Handle>();
                kvmcf::OpenOptions options;
                options.mode = headerOnly ? kvmcf::ReadMode::HeaderOnly : kvmcf::ReadMode::All;
                {
                    py::gil_scoped_release release;
                    handle->file = std::make_unique<kvmcf::File>(kvmcf::File::open(path, options));
                }
                return PyFile(std::move(handle));
            },
            py::arg("path"), py::arg("header_only"))
        .def_static(
            "from_bytes",
            [](py::bytes data, bool headerOnly) {
                auto handle = std::make_shared<Handle>();
                handle->bytes = data;  // one copy we own, so the caller's object may change or go
                const kvmcf::ReadMode mode = headerOnly ? kvmcf::ReadMode::HeaderOnly : kvmcf::ReadMode::All;
                handle->file = std::make_unique<kvmcf::File>(
                    kvmcf::File::fromBytes(handle->bytes.data(), handle->bytes.size(), mode));
                return PyFile(std::move(handle));
            },
            py::arg("data"), py::arg("header_only"))
        .def("close", &PyFile::close)
        .def_property_readonly("closed", &PyFile::closed)
        .def_property_readonly("path", [](const PyFile& f) { return f.file().path(); })
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
