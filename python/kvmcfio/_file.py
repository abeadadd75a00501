"""Files, their data sources as array-likes, and whole-file reading.

Arrays hold a source's rows from the bottom of the detector upward, as the file
stores them (TIFF and PNG exports put the top row first)."""

import datetime
import errno
import io
import operator
import os
import tempfile
import threading
from collections import namedtuple

import numpy as np

from . import _kvmcfio

SOURCE_NAMES = ("signal", "reference", "background", "live", "source")


class SubImage(namedtuple("SubImage", "left bottom right top hbin vbin")):
    """One stored region: inclusive 1-based detector bounds (rows grow upward) and
    its binning. ``shape`` is its stored (rows, columns), or None when the bounds and
    binning do not divide into whole binned pixels."""

    __slots__ = ()

    @property
    def size(self):
        """Pixels the region takes in a frame, as the file counts them."""
        bins = self.hbin * self.vbin
        if bins <= 0:
            return 0
        return max(0, (self.right - self.left + 1) * (self.top - self.bottom + 1)) // bins

    @property
    def shape(self):
        if self.hbin <= 0 or self.vbin <= 0:
            return None
        width, height = self.right - self.left + 1, self.top - self.bottom + 1
        if width <= 0 or height <= 0 or width % self.hbin or height % self.vbin:
            return None
        return (height // self.vbin, width // self.hbin)


def _text(value):
    return value.strip(" \0")


_MONTHS = ("Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec")


def _time_code_datetime(text):
    # "Thu Feb 29 13:45:27.250 2024": fixed English names, whatever the locale.
    try:
        _, month, day, clock, year = text.split()
        hms, millis = clock.split(".")
        hours, minutes, seconds = (int(v) for v in hms.split(":"))
        return datetime.datetime(int(year), _MONTHS.index(month) + 1, int(day), hours, minutes, seconds,
                                 int(millis) * 1000)
    except ValueError:
        return None


def _plural(n, word):
    return f"{n} {word}" if n == 1 else f"{n} {word}s"


class Source:
    """One data source of an open :class:`File`, an array-like as tifffile's series:
    ``shape`` (frames, rows, columns) of sub-image 0, ``dtype`` float32, ``axes``
    "TYX", ``len()`` frames; ``source[key]`` reads frames by integer, slice or index
    array (one positioned read per contiguous run of frames) and ``np.asarray(source)``
    reads them all. Rows run from the bottom of the detector upward. Methods raise
    ``ValueError`` once the file is closed; arrays already taken stay valid."""

    def __init__(self, file, name, impl):
        self._file = file  # keeps the File (and its handle) alive as long as we are
        self._impl = impl
        self.name = name

    def __repr__(self):
        if self._file.closed:
            return f"<Source {self.name!r} of a closed file>"
        shape = self.shape
        size = " x ".join(str(n) for n in shape[1:])
        subs = len(self.subimages)
        part = f" (sub-image 0 of {subs})" if subs > 1 else ""
        return f"<Source {self.name!r}: {_plural(shape[0], 'frame')} of {size}{part}, float32>"

    def _where(self):
        return f"{self._file.name or 'the bytes'}, {self.name} source"

    # -- the array-like face ---------------------------------------------------

    def _layout(self, subimage=0):
        """(first pixel, pixels, frame shape) of sub-image ``subimage`` in a frame. A
        source whose regions are not whole rectangles (damaged geometry) shows its
        frames whole as sub-image 0."""
        try:
            _, offset, shape = self._region(subimage)
        except ValueError:
            if subimage != 0:
                raise
            return 0, self.frame_length, (self.frame_length,)
        except IndexError:
            if subimage != 0 or self.subimages:
                raise
            return 0, self.frame_length, (self.frame_length,)
        return offset, shape[0] * shape[1], shape

    @property
    def shape(self):
        """(frames, rows, columns) of sub-image 0, rows and columns in binned pixels."""
        return (self.frame_count,) + self._layout(0)[2]

    @property
    def dtype(self):
        return np.dtype(np.float32)

    @property
    def ndim(self):
        return len(self.shape)

    @property
    def axes(self):
        """Axis letters as tifffile writes them: "TYX" (frames, rows, columns), or
        "TQ" for frames whose regions are not rectangles."""
        return "TYX" if self.ndim == 3 else "TQ"

    @property
    def size(self):
        return int(np.prod(self.shape))

    @property
    def nbytes(self):
        return self.size * 4

    def __len__(self):
        return self.frame_count

    def __array__(self, dtype=None, copy=None):
        data = self.asarray()
        return data if dtype is None else data.astype(dtype, copy=False)

    def _frame_numbers(self, key):
        """Frames a key picks, as an int64 array, and whether it was one integer."""
        n = self.frame_count
        if isinstance(key, slice):
            return np.arange(*key.indices(n), dtype=np.int64), False
        try:
            i = operator.index(key)
        except TypeError:
            pass
        else:
            if not -n <= i < n:
                raise IndexError(f"frame {i} out of range: {self._where()} has {_plural(n, 'frame')}")
            return np.array([i % n], dtype=np.int64), True
        frames = np.asarray(key)
        if frames.dtype == bool:
            if frames.shape != (n,):
                raise IndexError(f"a mask of {frames.size} values: {self._where()} has {_plural(n, 'frame')}")
            return np.flatnonzero(frames), False
        if frames.size == 0:
            frames = frames.astype(np.int64)
        if frames.dtype.kind not in "iu":
            raise IndexError(f"frames are chosen by integers, slices or integer arrays, not {key!r}")
        frames = frames.astype(np.int64)
        bad = (frames < -n) | (frames >= n)
        if bad.any():
            raise IndexError(f"frame {frames[bad][0]} out of range: {self._where()} has {_plural(n, 'frame')}")
        return frames % max(n, 1), False

    def _read(self, frames, subimage=0, out=None, one=False):
        """Frames ``frames`` (int64 array) of sub-image ``subimage`` into ``out``."""
        offset, length, frame_shape = self._layout(subimage)
        shape = frames.shape + frame_shape
        if frames.size and length:
            self._impl.check_whole()
        dest = _output(out, frame_shape if one else shape, self._where())
        direct = dest.flags.c_contiguous and dest.flags.writeable and dest.dtype == np.float32
        target = dest if direct else np.empty(shape, np.float32)
        flat = frames.ravel()
        if flat.size:
            # Runs of consecutive frames, each one positioned read.
            breaks = np.flatnonzero(np.diff(flat) != 1) + 1
            starts = np.concatenate(([0], breaks))
            counts = np.diff(np.concatenate((starts, [flat.size])))
            self._impl.read_runs(flat[starts], counts, target, offset, length)
        if not direct:
            dest[...] = target.reshape(dest.shape)
        return dest

    def __getitem__(self, key):
        """Frames by integer, slice or index array (the first index), then any further
        indexes applied to the frames read, as numpy does."""
        whole = key if isinstance(key, tuple) else (key,)
        first, rest = (whole[0], whole[1:]) if whole else (slice(None), ())
        if first is Ellipsis or first is None:
            return self._read(np.arange(self.frame_count, dtype=np.int64))[whole]
        frames, one = self._frame_numbers(first)
        if not isinstance(first, slice) and any(
                not isinstance(k, (slice, type(Ellipsis), type(None))) and np.ndim(k) > 0 for k in rest):
            # Index arrays on later axes broadcast with the frames' integer or array
            # index: read each frame once and let numpy combine them.
            unique, inverse = np.unique(frames, return_inverse=True)
            return self._read(unique)[(0 if one else inverse.reshape(frames.shape),) + rest]
        if one:
            return self._read(frames, one=True)[rest]
        data = self._read(frames)
        return data[(slice(None),) * frames.ndim + rest] if rest else data

    def asarray(self, key=None, out=None, subimage=0):
        """Frames of sub-image ``subimage`` (from 0) as float32 (frames, rows, columns),
        rows from the bottom of the detector upward.

        ``key`` picks frames as tifffile's does: None for all, an integer for one
        frame (rows, columns), a slice or a sequence of frame numbers. ``out`` is None
        for a new array, ``"memmap"`` for one mapped on a temporary file, or a
        float32 array of the result's shape to read into."""
        if key is None:
            key = slice(None)
        frames, one = self._frame_numbers(key)
        return self._read(frames, subimage, out, one)

    @property
    def frame_count(self):
        """Number of frames."""
        return self._impl.frame_count

    @property
    def frame_length(self):
        """Pixels per frame, all sub-images together."""
        return self._impl.frame_length

    @property
    def data_start(self):
        """Byte offset of the first pixel in the file."""
        return self._impl.data_start

    @property
    def frames(self):
        """Every pixel as a read-only float32 array of shape (frames, frame_length),
        without a copy: a view of the memory-mapped file (or of the bytes the file
        was opened from). Pixels are read from disk only when touched. The file stays
        open while any such view lives. Another program truncating the file while a
        view is in use stops the process on access, as for any memory-mapped file;
        use :meth:`read_frames` for files that may shrink."""
        return self._impl.frames()

    @property
    def subimages(self):
        """The stored regions of every frame, in storage order, as :class:`SubImage`."""
        return [SubImage(*r) for r in self._impl.subimages]

    def _region(self, k):
        subs = self.subimages
        if not -len(subs) <= k < len(subs):
            raise IndexError(f"sub-image {k} out of range: {self._where()} has {_plural(len(subs), 'sub-image')} "
                             f"(counted from 0)")
        k %= len(subs)
        offset = sum(s.size for s in subs[:k])
        shape = subs[k].shape
        if shape is None or shape[0] * shape[1] != subs[k].size or offset + subs[k].size > self.frame_length:
            raise ValueError(f"sub-image {k} of {self._where()} is not a rectangle of whole "
                             f"binned pixels within the frame: {subs[k]}")
        return subs[k], offset, shape

    def subimage(self, k=0):
        """Sub-image ``k`` (from 0) of every frame as a read-only view of shape
        (frames, rows, columns), rows from the bottom of the region upward."""
        _, offset, (rows, cols) = self._region(k)
        frames = self.frames
        return frames[:, offset:offset + rows * cols].reshape(frames.shape[0], rows, cols)

    def frame(self, i):
        """Frame ``i`` (from 0; negative counts from the end) as a read-only view of
        its frame_length pixels, sub-images one after another."""
        n = self.frame_count
        if not -n <= i < n:
            raise IndexError(f"frame {i} out of range: {self._where()} has {_plural(n, 'frame')}")
        return self.frames[i]

    def read_frames(self, first=0, count=None):
        """Frames ``first`` .. ``first + count - 1`` copied into a new writable array
        of shape (count, frame_length), read from the file with the GIL released."""
        n = self.frame_count
        if count is None:
            count = n - first
        if first < 0 or count < 0 or first + count > n:
            raise IndexError(f"frames {first}..{first + count - 1} out of range: {self._where()} "
                             f"has {_plural(n, 'frame')}")
        return self._impl.read_frames(first, count)

    @property
    def properties(self):
        """Every named property of the source (the per-frame names for frame 0) as the
        file holds it: ``numpy.float32`` for float properties, float for double,
        int (64-bit words whole) and str."""
        return self._impl.properties()

    def property_value(self, name):
        """One named property, indexed names too ("TimeStamp12" for frame 12 from 0;
        "SubImageLeft2" for sub-image 1, as names carrying a sub-image number count
        from 1 in the file's own vocabulary);
        ``IndexError`` for a name or index the file does not answer."""
        return self._impl.property(name)

    def _axis(self, which):
        kind, unit, first, values = getattr(self._impl, which)()
        return _text(kind), _text(unit), first, values

    @property
    def x_axis(self):
        """Calibrated X of every detector column, left to right (float64)."""
        return self._axis("x_axis")[3]

    @property
    def x_label(self):
        """What the X axis measures, e.g. "Wavelength"."""
        return self._axis("x_axis")[0]

    @property
    def x_unit(self):
        """Unit of the X axis, e.g. "nm"."""
        return self._axis("x_axis")[1]

    @property
    def z_axis(self):
        """Calibrated Z of every detector row, bottom to top (float64)."""
        return self._axis("z_axis")[3]

    @property
    def z_label(self):
        """What the Z axis measures."""
        return self._axis("z_axis")[0]

    @property
    def z_unit(self):
        """Unit of the Z axis."""
        return self._axis("z_axis")[1]

    @property
    def times(self):
        """Time of each frame in seconds since the first, as float32 as the file keeps
        it: from the metadata clock where the file carries one, else frame number
        times the kinetic cycle time."""
        words = self.metadata
        if words.size and words.any():
            return self._impl.kinetic_times()
        cycle = np.float32(self.property_value("KineticCycleTime"))
        return np.arange(self.frame_count, dtype=np.float32) * cycle

    @property
    def time_stamps(self):
        """The time stamp of each frame as stored (uint32)."""
        return self._impl.time_stamps()

    @property
    def metadata(self):
        """The metadata word of each frame (uint64, 0 where none was recorded)."""
        return self._impl.metadata_words()

    @property
    def irig_times(self):
        """The time code of each frame as a naive local ``datetime`` to the
        millisecond (None for a frame without one), or None when the file carries
        no time codes for this source."""
        texts = self._impl.irig_times()
        if not texts:
            return None
        return [_time_code_datetime(t) for t in texts]

    @property
    def versions(self):
        """Record versions (high, low) of this source's header, calibration and
        image records."""
        return self._impl.versions()

    @staticmethod
    def _binned(values, first, low, binning, count):
        """The calibrated value of each binned pixel: the mean over its detector
        pixels, NaN where they leave the axis."""
        sums = np.concatenate(([0.0], np.cumsum(values)))
        lo = low - first + binning * np.arange(count, dtype=np.int64)
        hi = lo + binning
        inside = (lo >= 0) & (hi <= values.size)
        out = np.full(count, np.nan)
        out[inside] = (sums[hi[inside]] - sums[lo[inside]]) / binning
        return out

    def to_xarray(self, subimage=0, chunks=None):
        """Sub-image ``subimage`` as an ``xarray.DataArray`` with dimensions ("frame",
        "row", "column"): the frame numbers and detector rows and columns (the first
        detector pixel of each bin, rows from the bottom) as dimension coordinates,
        and the indexed calibrated coordinates "time" (s), "z" and "x" (averaged over
        binned pixels), so ``sel(x=600.0, method="nearest")`` or ``sel(time=slice(a,
        b))`` select by value. ``attrs`` hold the values' ``units`` and ``long_name``
        and every property. Without ``chunks`` the data views the mapped file; with
        ``chunks`` (frames per chunk, a dict such as ``{"frame": 10}``, or "auto")
        it is a dask array read lazily, block of frames by block."""
        from ._xarray import source_dataarray

        return source_dataarray(self, subimage, chunks)


def _output(out, shape, where):
    """The array a read goes into: new, mapped on a temporary file, or the caller's."""
    if out is None:
        return np.empty(shape, np.float32)
    if isinstance(out, str):
        if out != "memmap":
            raise ValueError(f"out={out!r}: use None, 'memmap' or a float32 array ({where})")
        if 0 in shape:
            return np.empty(shape, np.float32)
        with tempfile.TemporaryFile() as backing:  # the mapping outlives the descriptor
            return np.memmap(backing, np.float32, "w+", shape=shape)
    if not isinstance(out, np.ndarray):
        raise ValueError(f"out must be None, 'memmap' or a numpy array, not {type(out).__name__} ({where})")
    if out.shape != tuple(shape) or out.dtype != np.float32:
        raise ValueError(f"out is {out.dtype} {out.shape}, the frames of {where} need float32 {tuple(shape)}")
    if not out.flags.writeable:
        raise ValueError(f"out is read-only ({where})")
    return out


class _FileObjectReader:
    """Positioned reads from a binary file object (an open file, ``io.BytesIO``, an
    fsspec file): the one seam through which the package reads such objects. The
    reader itself takes paths or bytes, so for now a File reads the object whole."""

    def __init__(self, fileobj):
        self._file = fileobj
        self._lock = threading.Lock()
        name = getattr(fileobj, "path", None) or getattr(fileobj, "name", None)
        self.name = os.fsdecode(name) if isinstance(name, (str, bytes, os.PathLike)) else None
        with self._lock:
            self.size = fileobj.seek(0, io.SEEK_END)

    def read_at(self, offset, size):
        """``size`` bytes from ``offset``, fewer only where the object ends."""
        with self._lock:
            self._file.seek(offset)
            chunks, left = [], size
            while left > 0:
                chunk = self._file.read(left)
                if not isinstance(chunk, (bytes, bytearray, memoryview)):
                    raise TypeError(f"{self.name or 'the file object'} is opened as text; open it in binary mode")
                if not chunk:
                    break
                chunks.append(chunk)
                left -= len(chunk)
        return chunks[0] if len(chunks) == 1 and isinstance(chunks[0], bytes) else b"".join(chunks)


class File:
    """An open multi-channel file.

    ``File(path)`` opens a path (``str``, ``bytes`` or ``os.PathLike``); ``File(fileobj)``
    reads a binary file object with ``read`` and ``seek`` (an open file, ``io.BytesIO``,
    an fsspec file); :meth:`from_bytes` opens bytes held in memory. ``header_only``
    (the default) reads the records and leaves the pixels in the file until they are
    asked for. Use as a context manager, or call :meth:`close`; arrays viewing its
    pixels keep the file itself open until the last one goes.

    Raises :class:`FormatError` for bytes that are not a readable multi-channel file,
    :class:`FileNotFoundError`, :class:`IsADirectoryError` or :class:`PermissionError`
    (all :class:`FileError`, and the OSError Python raises for the same) for a path
    the system will not open."""

    def __init__(self, file, header_only=True):
        if isinstance(file, (str, bytes, os.PathLike)):
            path = os.fspath(file)
            self.name = os.fsdecode(path)
            self._origin = path
            self._impl = _kvmcfio._File.open(os.fsencode(path), bool(header_only))
        elif callable(getattr(file, "read", None)) and callable(getattr(file, "seek", None)):
            reader = _FileObjectReader(file)
            self.name = reader.name
            self._origin = reader.read_at(0, reader.size)
            self._impl = _kvmcfio._File.from_bytes(self._origin, bool(header_only), reader.name or "")
        else:
            raise TypeError(f"kvmcfio.File opens a path (str, bytes, os.PathLike) or a binary file object, "
                            f"not {type(file).__name__}; for bytes in memory use kvmcfio.File.from_bytes")
        self._sources = None

    @classmethod
    def from_bytes(cls, data, header_only=True, name=None):
        """Opens a file held in memory: ``bytes`` are read in place, any other buffer
        (bytearray, memoryview, numpy array) is copied once. ``name`` is what error
        messages call it."""
        self = cls.__new__(cls)
        self.name = name
        self._origin = data if isinstance(data, bytes) else bytes(memoryview(data).cast("B"))
        self._impl = _kvmcfio._File.from_bytes(self._origin, bool(header_only), name or "")
        self._sources = None
        return self

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __repr__(self):
        state = "closed" if self.closed else ", ".join(self.sources)
        return f"<kvmcfio.File {self.name or '(bytes)'}: {state}>"

    def close(self):
        """Closes the file; the pixels stay readable through arrays already taken."""
        self._impl.close()
        self._sources = None

    @property
    def closed(self):
        """True after :meth:`close`."""
        return self._impl.closed

    @property
    def sources(self):
        """The present data sources by name ("signal", "reference", "background",
        "live", "source"), in file order."""
        if self._sources is None:
            self._sources = {n: Source(self, n, self._impl.source(n)) for n in self._impl.source_names()}
        if self.closed:
            raise ValueError("I/O operation on a closed kvmcfio.File")
        return self._sources

    @property
    def header_only(self):
        """Whether pixels are left in the file until asked for."""
        return self._impl.header_only

    @property
    def file_version(self):
        """The file's version word as (high, low)."""
        return self._impl.version

    @property
    def versions(self):
        """Structure versions (high, low) of the file and of the first present
        source's header, calibration and image records."""
        return self._impl.structure_versions


def _source(f, name):
    try:
        return f.sources[name]
    except KeyError:
        raise KeyError(f"{f.name or 'the bytes'} has no {name!r} source (present: "
                       f"{', '.join(f.sources) or 'none'})") from None


def _is_pattern(path):
    return any(c in os.fsdecode(path) for c in "*?[")


def expand_files(files):
    """The files a path, a glob pattern, a file object or a list names, and whether
    it named one file (no stacking axis)."""
    if isinstance(files, (str, bytes, os.PathLike)):
        path = os.fspath(files)
        if _is_pattern(path) and not os.path.exists(path):
            import glob

            matches = sorted(glob.glob(path))
            if not matches:
                raise _kvmcfio.FileNotFoundError(errno.ENOENT, "no file matches the pattern", os.fsdecode(path))
            return matches, False
        return [path], True
    if callable(getattr(files, "read", None)):
        return [files], True
    listed = [f if callable(getattr(f, "read", None)) else os.fspath(f) for f in files]
    if not listed:
        raise ValueError("no files given")
    return listed, False


def _label(f):
    return os.fsdecode(f) if isinstance(f, (str, bytes)) else (getattr(f, "name", None) or repr(f))


def imread(files, key=None, source="signal", subimage=0, out=None):
    """Frames of one data source as float32 (frames, rows, columns), rows from the
    bottom of the detector upward.

    ``files`` is a path, a binary file object, a list of them or a glob pattern
    ("run_*.mcf", sorted by name); several files stack along a new first axis and
    must give the same shape. ``key``, ``subimage`` and ``out`` are those of
    :meth:`Source.asarray`. Raises ``KeyError`` for an absent source, ``IndexError``
    for frames past the end, ``ValueError`` for shapes that do not stack or an
    ``out`` of the wrong shape or dtype, and the errors of :class:`File`."""
    listed, one = expand_files(files)
    if one:
        with File(listed[0]) as f:
            return _source(f, source).asarray(key, out, subimage)
    # Every header first, so a file that does not stack is refused before any read.
    shapes = []
    for path in listed:
        with File(path) as f:
            src = _source(f, source)
            frames, single = src._frame_numbers(slice(None) if key is None else key)
            shapes.append((frames.shape[1:] if single else frames.shape) + src._layout(subimage)[2])
            if shapes[-1] != shapes[0]:
                raise ValueError(f"{_label(path)} gives {source} frames of shape {shapes[-1]}, "
                                 f"{_label(listed[0])} {shapes[0]}: they do not stack")
    dest = _output(out, (len(listed),) + shapes[0], f"{_label(listed[0])} and {len(listed) - 1} more files")
    for i, path in enumerate(listed):
        with File(path) as f:
            _source(f, source).asarray(key, dest[i], subimage)
    return dest
