"""Labelled arrays: DataArrays whose calibrated coordinates select by value, and the
xarray engine "kvmcf" that opens a file as a Dataset of lazily read variables."""

import os
import threading
from collections import namedtuple

import numpy as np
import xarray as xr
from xarray.backends import BackendArray, BackendEntrypoint
from xarray.core import indexing

from ._dask import chunk_frames
from ._file import File, Source, _FileObjectReader

# The first lines a multi-channel file may start with.
MAGIC_LINES = (b"Kavri Technology Multi-Channel File", b"Halvi Instruments Multi-Channel File")


class Bytes(namedtuple("Bytes", "data name")):
    """A file held in memory, as a lazy array opens it again."""

    __slots__ = ()

    def open(self):
        return File.from_bytes(self.data, name=self.name)


def _origin(f):
    return f._origin if isinstance(f._origin, (str, bytes)) else Bytes(f._origin, f.name)


class LazyFrames:
    """The frames of one sub-image of one file, read when indexed (basic or outer
    indexing, frames first). It pickles as what to open (a path or the bytes), opens
    that once per process on first use and reads with positioned reads, so threads
    and the worker processes of a distributed scheduler may share it."""

    def __init__(self, origin, source, subimage, shape, file=None):
        self.origin, self.source, self.subimage = origin, source, subimage
        self.shape, self.dtype = tuple(shape), np.dtype(np.float32)
        self._lock = threading.Lock()
        self._file = file

    @property
    def ndim(self):
        return len(self.shape)

    def __getstate__(self):
        return {"origin": self.origin, "source": self.source, "subimage": self.subimage, "shape": self.shape}

    def __setstate__(self, state):
        self.__init__(**state)

    def _src(self):
        with self._lock:
            if self._file is None or self._file.closed:
                self._file = self.origin.open() if isinstance(self.origin, Bytes) else File(self.origin)
            return self._file.sources[self.source]

    def close(self):
        with self._lock:
            if self._file is not None:
                self._file.close()

    def __getitem__(self, key):
        key = key if isinstance(key, tuple) else (key,)
        src = self._src()
        frames, one = src._frame_numbers(key[0] if key else slice(None))
        data = src._read(frames, self.subimage, one=one)
        # Later indexes one axis at a time: outer indexing, as xarray asks for.
        axis = 0 if one else 1
        for k in key[1:]:
            data = data[(slice(None),) * axis + (k,)]
            axis += 0 if np.ndim(k) == 0 and not isinstance(k, slice) else 1
        return data


class _BackendFrames(BackendArray):
    def __init__(self, frames):
        self.frames, self.shape, self.dtype = frames, frames.shape, frames.dtype

    def __getitem__(self, key):
        return indexing.explicit_indexing_adapter(key, self.shape, indexing.IndexingSupport.OUTER,
                                                  self.frames.__getitem__)


def _parts(src, subimage, prefix=""):
    """Dimensions, coordinates and attributes of one sub-image, names prefixed."""
    region, _, (rows, cols) = src._region(subimage)
    x_kind, x_unit, x_first, x_values = src._axis("x_axis")
    z_kind, z_unit, z_first, z_values = src._axis("z_axis")
    frame, row, column = dims = (prefix + "frame", prefix + "row", prefix + "column")
    coords = {
        frame: (frame, np.arange(src.frame_count), {"long_name": "frame, from 0"}),
        row: (row, region.bottom + region.vbin * np.arange(rows),
              {"long_name": "detector row, first of each bin, from the bottom", "units": "pixel"}),
        column: (column, region.left + region.hbin * np.arange(cols),
                 {"long_name": "detector column, first of each bin", "units": "pixel"}),
        prefix + "time": (frame, src.times, {"long_name": "time since the first frame", "units": "s"}),
        prefix + "z": (row, Source._binned(z_values, z_first, region.bottom, region.vbin, rows),
                       {"long_name": z_kind or "z", "units": z_unit}),
        prefix + "x": (column, Source._binned(x_values, x_first, region.left, region.hbin, cols),
                       {"long_name": x_kind or "x", "units": x_unit}),
    }
    attrs = dict(src.properties)
    versions = src.versions
    attrs.update(source=src.name, subimage=subimage, header_version=versions["header"],
                 calibration_version=versions["calibration"], image_version=versions["image"])
    # What the values are, under the names plotting tools look for.
    attrs["long_name"] = str(attrs.get("YAxisType", "")).strip(" \0") or src.name
    attrs["units"] = str(attrs.get("YAxisUnit", "")).strip(" \0")
    return dims, coords, attrs


def _indexed(obj, prefix=""):
    # The calibrated coordinates select by value as the dimension coordinates do.
    for name in ("time", "z", "x"):
        obj = obj.set_xindex(prefix + name)
    return obj


def _chunk_frames(chunks, shape):
    """Frames per chunk from an int, "auto", -1 (all) or a dict naming "frame";
    chunks always hold whole frames."""
    if isinstance(chunks, dict):
        chunks = chunks.get("frame", "auto")
    if isinstance(chunks, str) or chunks is None or chunks is True:
        return chunk_frames(4 * int(np.prod(shape[1:])))
    if chunks == -1:
        return max(1, shape[0])
    return chunk_frames(0, chunks)


def source_dataarray(src, subimage=0, chunks=None):
    dims, coords, attrs = _parts(src, subimage)
    name = src.name if len(src.subimages) == 1 else f"{src.name}_subimage{subimage}"
    if chunks is None:
        data = src.subimage(subimage)
    else:
        import dask.array as da
        from dask.base import tokenize

        shape = (src.frame_count,) + src._layout(subimage)[2]
        origin = _origin(src._file)
        lazy = LazyFrames(origin, src.name, subimage, shape, src._file)
        step = _chunk_frames(chunks, shape)
        token = tokenize(origin if isinstance(origin, (str, bytes)) else origin.name, src.data_start, src.name,
                         subimage, shape, step)
        data = da.from_array(lazy, chunks=(step,) + shape[1:], name=f"kvmcfio-{token}", lock=False,
                             asarray=False, fancy=False, meta=np.empty((0,) * len(shape), np.float32))
    return _indexed(xr.DataArray(data, dims=dims, coords=coords, name=name, attrs=attrs))


def open_dataset(filename_or_obj, drop_variables=None):
    """A Dataset with one lazily read variable per data source and sub-image: named
    after the source ("signal"), or "background_subimage1" where a source has
    several. The first variable's dimensions and coordinates are "frame", "row",
    "column", "time", "z" and "x"; the others' carry the variable's name as prefix
    ("background_subimage1_x")."""
    if isinstance(filename_or_obj, (str, bytes, os.PathLike)):
        origin = os.fspath(filename_or_obj)
        f = File(origin)
    else:
        reader = _FileObjectReader(filename_or_obj)
        origin = Bytes(reader.read_at(0, reader.size), reader.name)
        f = origin.open()
    drop = set([drop_variables] if isinstance(drop_variables, str) else drop_variables or ())
    variables, coords, lazies = {}, {}, []
    try:
        for src in f.sources.values():
            for k in range(len(src.subimages)):
                try:
                    shape = (src.frame_count,) + src._region(k)[2]
                except ValueError:
                    continue  # not a rectangle of whole pixels: File(...).sources[...].frames has it
                name = src.name if len(src.subimages) == 1 else f"{src.name}_subimage{k}"
                if name in drop:
                    continue
                prefix = "" if not variables else name + "_"
                dims, more, attrs = _parts(src, k, prefix)
                lazies.append(LazyFrames(origin, src.name, k, shape, f))
                variable = xr.Variable(dims, indexing.LazilyIndexedArray(_BackendFrames(lazies[-1])), attrs)
                step = chunk_frames(4 * int(np.prod(shape[1:])))
                variable.encoding["preferred_chunks"] = dict(zip(dims, (step,) + shape[1:]))
                variables[name] = variable
                coords.update(more)
        versions = f.versions
        attrs = {"file_version": f.file_version}
        attrs.update({f"{part}_version": versions[part] for part in ("header", "calibration", "image")})
        ds = xr.Dataset(variables, coords=coords, attrs=attrs)
        for name in variables:
            ds = _indexed(ds, "" if name == next(iter(variables)) else name + "_")
    except BaseException:
        f.close()
        raise
    ds.set_close(f.close)
    return ds


def _starts_as_multi_channel(filename_or_obj):
    try:
        if isinstance(filename_or_obj, (str, bytes, os.PathLike)):
            with open(filename_or_obj, "rb") as raw:
                head = raw.read(64)
        else:
            at = filename_or_obj.tell()
            head = filename_or_obj.read(64)
            filename_or_obj.seek(at)
    except Exception:
        return False
    return isinstance(head, bytes) and head.split(b"\n", 1)[0] in MAGIC_LINES


class KvmcfBackendEntrypoint(BackendEntrypoint):
    """``xr.open_dataset(path, engine="kvmcf")``: see :func:`kvmcfio._xarray.open_dataset`."""

    description = "Multi-channel camera and spectrograph files, read lazily by kvmcfio"
    open_dataset_parameters = ("filename_or_obj", "drop_variables")

    def open_dataset(self, filename_or_obj, *, drop_variables=None):
        return open_dataset(filename_or_obj, drop_variables)

    def guess_can_open(self, filename_or_obj):
        return _starts_as_multi_channel(filename_or_obj)
