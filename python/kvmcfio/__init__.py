"""Read multi-channel files (camera and spectrograph acquisitions) into numpy.

    import kvmcfio
    cube = kvmcfio.imread("run.mcf")              # (frames, rows, columns) float32
    with kvmcfio.File("run.mcf") as f:
        signal = f.sources["signal"]
        spectra = signal.frames                    # zero-copy view of the file

Errors of the reader arrive as :class:`FormatError` (the bytes are not a readable
file; ``position`` says where reading stopped) or :class:`FileError` (the file
cannot be read), both :class:`Error` with the reader's result ``code``.
"""

from ._kvmcfio import Error, FileError, FormatError, Mapping
from ._file import File, Source, SubImage, imread
from ._dask import dask_stack

__all__ = ["Error", "FileError", "FormatError", "Mapping", "File", "Source", "SubImage", "imread",
           "dask_stack"]
