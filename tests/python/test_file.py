import datetime
import gc

import numpy as np
import pytest

import kvmcfio
from conftest import binned_frames, mapped_paths, open_descriptors


def test_binned_series_read_as_the_writer_laid_it_out(files):
    expected = binned_frames()
    np.testing.assert_array_equal(kvmcfio.imread(files / "binned.mcf"), expected)
    with kvmcfio.File(files / "binned.mcf") as f:
        s = f.sources["signal"]
        assert s.subimages == [kvmcfio.SubImage(5, 3, 36, 10, 2, 2)]
        np.testing.assert_array_equal(s.read_frames(1, 1), expected[1].reshape(1, 64))
        assert (s.x_label, s.x_unit, s.z_label) == ("Wavelength", "nm", "Pixel number")
        # X(p) = 400 + 0.5 p + 0.001 p^2 for detector column p from 1.
        p = np.arange(1, 65)
        np.testing.assert_allclose(s.x_axis, 400 + 0.5 * p + 0.001 * p**2, rtol=1e-7)
        assert (s.time_stamps.tolist(), s.metadata.tolist()) == ([100, 107, 114], [5000000, 5250000, 5500000])
        # The third code's 12345 x 10 ns is under a millisecond, which is all times keep.
        assert s.irig_times == [datetime.datetime(2024, 2, 29, 13, 45, 27, 250000), None,
                                datetime.datetime(2023, 3, 1, 0, 0, 0)]
        assert np.shares_memory(s.to_xarray().values, s.frames)


def test_frames_are_a_read_only_view_of_the_mapped_file(files):
    path = str(files / "demo.mcf")
    f = kvmcfio.File(path)
    s = f.sources["signal"]
    frames = s.frames
    assert isinstance(frames.base, kvmcfio.Mapping) and path in mapped_paths()
    on_disk = np.fromfile(path, np.float32, frames.size, offset=s.data_start)
    np.testing.assert_array_equal(frames, on_disk.reshape(frames.shape))
    with pytest.raises(ValueError):
        frames.flags.writeable = True

    # Closing the File leaves the views valid; the file goes with the last of them.
    view = s.subimage(0)[3]
    total = float(view.sum())
    del frames, s
    f.close()
    assert float(view.sum()) == total
    assert path in mapped_paths() and path in open_descriptors()
    del view
    gc.collect()
    assert path not in mapped_paths() and path not in open_descriptors()


def test_closed_files_and_indexes_out_of_range_raise(files):
    f = kvmcfio.File(files / "demo.mcf")
    s = f.sources["signal"]
    for query in (lambda: s.frame(-21), lambda: s.read_frames(19, 2),
                  lambda: s.property_value("TimeStamp20")):
        with pytest.raises(IndexError):
            query()
    assert s.property_value("TimeStamp19") == 1900
    f.close()
    f.close()
    assert f.closed
    for query in (lambda: f.sources, lambda: s.frames, lambda: s.properties,
                  lambda: s.read_frames(0, 1)):
        with pytest.raises(ValueError):
            query()


def test_damaged_files_raise_format_errors_that_say_where(files):
    # Cut in the signal's first image (counted from 0), then 100 bytes into the pixels.
    with pytest.raises(kvmcfio.FormatError) as cut:
        kvmcfio.File.from_bytes((files / "demo.mcf").read_bytes()[:300])
    assert (cut.value.code, cut.value.position["source"], cut.value.position["image"]) == (22003, "signal", 0)
    with kvmcfio.File(files / "binned.mcf") as f:
        start = f.sources["signal"].data_start
    with pytest.raises(kvmcfio.FormatError) as short:
        kvmcfio.File.from_bytes((files / "binned.mcf").read_bytes()[:start + 100])
    assert (short.value.position["record"], short.value.position["offset"]) == ("pixel block", start)
