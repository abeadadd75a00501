"""Read multi-channel files (camera and spectrograph acquisitions) into numpy.

    import kvmcfio
    cube = kvmcfio.imread("run.mcf")                  # (frames, rows, columns) float32
    every_tenth = kvmcfio.imread("run.mcf", key=slice(None, None, 10))
    with kvmcfio.File("run.mcf") as f:
        signal = f.sources["signal"]                  # an array-like: signal[5], signal[::10]
        spectra = signal.to_xarray()                  # spectra.sel(x=600.0, method="nearest")

Arrays hold rows from the bottom of the detector upward, as the file stores them.
Frames and sub-images count from 0. ``xr.open_dataset(path, engine="kvmcf")`` opens
a file as a lazily read Dataset; :func:`dask_stack` stacks many files for dask.

Errors of the reader arrive as :class:`FormatError` (the bytes are not a readable
multi-channel file; ``position`` says where reading stopped) or :class:`FileError`
(the file cannot be read; :class:`FileNotFoundError`, :class:`IsADirectoryError` and
:class:`PermissionError` are both FileError and Python's OSError of that name), all
:class:`Error` with the reader's result ``code``.
"""

from ._kvmcfio import (Error, FileError, FileNotFoundError, FormatError, IsADirectoryError, Mapping,
                       PermissionError)
from ._kvmcfio import version as __version__
from ._file import File, Source, SubImage, imread
from ._dask import dask_stack

__all__ = ["Error", "FileError", "FileNotFoundError", "FormatError", "IsADirectoryError", "Mapping",
           "PermissionError", "File", "Source", "SubImage", "imread", "dask_stack", "__version__"]
