"""Files, their data sources and whole-file reading."""

import datetime
import os
from collections import namedtuple

import numpy as np

from . import _kvmcfio

SOURCE_NAMES = _kvmcfio.SOURCE_NAMES


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


class Source:
    """One data source of an open :class:`File`: its frames, geometry, properties,
    calibration and per-frame times. Its methods raise ``ValueError`` once the file
    is closed; arrays already taken from it stay valid."""

    def __init__(self, file, name, impl):
        self._file = file  # keeps the File (and its handle) alive as long as we are
        self._impl = impl
        self.name = name

    def __repr__(self):
        if self._file.closed:
            return f"<kvmcfio.Source {self.name!r} of a closed file>"
        return (f"<kvmcfio.Source {self.name!r}: {self.frame_count} frames of "
                f"{self.frame_length} pixels>")

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
            raise IndexError(f"sub-image {k} out of range: the {self.name} source has {len(subs)}")
        k %= len(subs)
        offset = sum(s.size for s in subs[:k])
        shape = subs[k].shape
        if shape is None or shape[0] * shape[1] != subs[k].size or offset + subs[k].size > self.frame_length:
            raise ValueError(f"sub-image {k} of the {self.name} source is not a rectangle of whole "
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
            raise IndexError(f"frame {i} out of range: the {self.name} source has {n}")
        return self.frames[i]

    def read_frames(self, first=0, count=None):
        """Frames ``first`` .. ``first + count - 1`` copied into a new writable array
        of shape (count, frame_length), read from the file with the GIL released."""
        n = self.frame_count
        if count is None:
            count = n - first
        if first < 0 or count < 0 or first + count > n:
            raise IndexError(f"frames {first}..{first + count - 1} out of range: the "
                             f"{self.name} source has {n}")
        return self._impl.read_frames(first, count)

    @property
    def properties(self):
        """Every named property of the source (the per-frame names for frame 0), as
        int, float or str."""
        return self._impl.properties()

    def property_value(self, name):
        """One named property, indexed names too ("TimeStamp12", "SubImageLeft2");
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
        """Time of each frame in seconds since the first (float64): from the metadata
        clock where the file carries one, else frame number times the kinetic cycle."""
        words = self.metadata
        if words.size and words.any():
            return self._impl.kinetic_times().astype(np.float64)
        cycle = float(self.property_value("KineticCycleTime"))
        return np.arange(self.frame_count, dtype=np.float64) * cycle

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

    def to_xarray(self, k=0):
        """Sub-image ``k`` as an ``xarray.DataArray`` over the pixel view (no copy),
        dimensions ("frame", "row", "column"), coordinates "time" on frame (seconds)
        and "x" on column and "z" on row (the calibrated axes, averaged over binned
        pixels); the axes' labels and units, the pixel values' ("long_name", "units")
        and the source's properties in attrs."""
        import xarray as xr

        region, _, (rows, cols) = self._region(k)
        data = self.subimage(k)
        x_kind, x_unit, x_first, x_values = self._axis("x_axis")
        z_kind, z_unit, z_first, z_values = self._axis("z_axis")
        x = self._binned(x_values, x_first, region.left, region.hbin, cols)
        z = self._binned(z_values, z_first, region.bottom, region.vbin, rows)
        attrs = dict(self.properties)
        attrs.update(source=self.name, x_label=x_kind, x_unit=x_unit, z_label=z_kind, z_unit=z_unit)
        # What the pixel values are, under the names plotting tools look for.
        attrs["long_name"] = _text(str(attrs.get("YAxisType", ""))) or self.name
        attrs["units"] = _text(str(attrs.get("YAxisUnit", "")))
        return xr.DataArray(
            data, dims=("frame", "row", "column"),
            coords={"time": ("frame", self.times, {"units": "s"}),
                    "x": ("column", x, {"long_name": x_kind, "units": x_unit}),
                    "z": ("row", z, {"long_name": z_kind, "units": z_unit})},
            name=self.name, attrs=attrs)


def _check_readable(path):
    # The reader reports a file it cannot open as unreadable bytes; say what happened.
    try:
        os.close(os.open(path, os.O_RDONLY))
    except OSError as e:
        error = _kvmcfio.FileError(e.errno, f"{path}: {e.strerror}")
        error.code, error.position, error.filename = 22006, None, path
        raise error from None


class File:
    """An open multi-channel file, from a path or from bytes.

    ``header_only`` (the default) reads the records and leaves the pixels in the
    file until they are asked for. Use as a context manager, or call :meth:`close`;
    arrays viewing its pixels keep the file itself open until the last one goes.
    Raises :class:`FormatError` for bytes that are not a readable file and
    :class:`FileError` for a file that cannot be opened or read."""

    def __init__(self, path_or_bytes, header_only=True):
        if isinstance(path_or_bytes, (bytes, bytearray, memoryview)):
            self._impl = _kvmcfio._File.from_bytes(bytes(path_or_bytes), bool(header_only))
            self.name = None
        else:
            self.name = os.fspath(path_or_bytes)
            _check_readable(self.name)
            self._impl = _kvmcfio._File.open(self.name, bool(header_only))
        self._sources = None

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


def _single_region(src, what):
    subs = src.subimages
    if len(subs) != 1:
        raise ValueError(f"{what}: the {src.name} source holds {len(subs)} sub-images, not one "
                         f"rectangle; read them with kvmcfio.File(...).sources[{src.name!r}].subimage(k)")
    shape = subs[0].shape
    if shape is None or shape[0] * shape[1] != src.frame_length:
        raise ValueError(f"{what}: the {src.name} source's sub-image {subs[0]} does not fill its "
                         f"{src.frame_length}-pixel frames as one rectangle; use kvmcfio.File")
    return shape


def _source(f, name, what):
    try:
        return f.sources[name]
    except KeyError:
        raise KeyError(f"{what} has no {name!r} source (present: {', '.join(f.sources) or 'none'})") from None


def imread(path, source="signal"):
    """Every frame of one data source as a new float32 array of shape
    (frames, rows, columns), rows and columns counted in binned pixels.

    The source must hold a single sub-image; for other layouts use :class:`File`.
    Raises ``KeyError`` for an absent source and the errors of :class:`File`."""
    with File(path, header_only=True) as f:
        src = _source(f, source, os.fspath(path) if not isinstance(path, bytes) else "the file")
        rows, cols = _single_region(src, "imread")
        return src.read_frames().reshape(src.frame_count, rows, cols)
