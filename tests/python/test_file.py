import datetime
import gc

import numpy as np
import pytest

import kvmcfio
from conftest import SIGNAL, binned_frames, mapped_paths, open_descriptors


def test_properties_have_the_c_functions_values_and_types(files, cref):
    cref.open(files / "binned.mcf")
    with kvmcfio.File(files / "binned.mcf") as f:
        properties = f.sources["signal"].properties
    assert len(properties) > 100
    # Floats as the file holds them: float32 for float properties.
    python_type = {"int32": int, "uint32": int, "uint64": int, "byte": int, "float": np.float32,
                   "double": float, "string": str}
    for name, value in properties.items():
        text, kind = cref.property(SIGNAL, name)
        if name.startswith("HighPrecisionTimeStamp"):
            kind = "float"  # the type query names every such property a time stamp
        assert type(value) is python_type[kind], name
        if kind == "string":
            assert value == text, name
        elif kind in ("float", "double"):
            assert value == pytest.approx(float(text), rel=1e-5, abs=1e-30), name
        else:
            assert value == int(text), name


def test_binned_series_read_as_the_writer_laid_it_out(files):
    expected = binned_frames()
    np.testing.assert_array_equal(kvmcfio.imread(files / "binned.mcf"), expected)
    with kvmcfio.File(files / "binned.mcf") as f:
        s = f.sources["signal"]
        assert list(f.sources) == ["signal"] and f.file_version == (1, 2)
        assert s.subimages == [kvmcfio.SubImage(5, 3, 36, 10, 2, 2)]
        np.testing.assert_array_equal(s.frame(-1), expected[2].ravel())
        np.testing.assert_array_equal(s.read_frames(1, 1), expected[1].reshape(1, 64))
        assert (s.x_label, s.x_unit, s.z_label) == ("Wavelength", "nm", "Pixel number")
        # X(p) = 400 + 0.5 p + 0.001 p^2 for detector column p from 1.
        p = np.arange(1, 65)
        np.testing.assert_allclose(s.x_axis, 400 + 0.5 * p + 0.001 * p**2, rtol=1e-7)
        # Metadata words 5e6 + 250000 i at the default 10 ns clock.
        np.testing.assert_allclose(s.times, [0.0, 0.0025, 0.005], rtol=1e-6)
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
    assert (frames.base.address, frames.base.nbytes) == (frames.ctypes.data, frames.nbytes)
    with open(path, "rb") as raw:
        raw.seek(s.data_start)
        np.testing.assert_array_equal(frames, np.fromfile(raw, np.float32, frames.size).reshape(frames.shape))
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
    for query in (lambda: s.frame(20), lambda: s.frame(-21), lambda: s.subimage(1), lambda: s.read_frames(19, 2),
                  lambda: s.read_frames(-1, 1), lambda: s.property_value("TimeStamp20")):
        with pytest.raises(IndexError):
            query()
    assert s.property_value("TimeStamp19") == 1900
    f.close()
    f.close()
    assert f.closed
    for query in (lambda: f.sources, lambda: f.file_version, lambda: s.frames, lambda: s.frame(0),
                  lambda: s.properties, lambda: s.x_axis, lambda: s.times, lambda: s.irig_times,
                  lambda: s.to_xarray(), lambda: s.read_frames(0, 1)):
        with pytest.raises(ValueError):
            query()


def test_damaged_files_raise_the_packages_errors(files):
    data = (files / "binned.mcf").read_bytes()
    with kvmcfio.File(files / "binned.mcf") as f:
        start = f.sources["signal"].data_start
    # Pixels cut off 100 bytes into the first frame: reading stops at the pixel block.
    with pytest.raises(kvmcfio.FormatError) as short:
        kvmcfio.File.from_bytes(data[:start + 100])
    assert (short.value.code, short.value.position["record"], short.value.position["offset"]) == (22003, "pixel block", start)
    # Frame and image counts far beyond the bytes present: refused, nothing allocated for them.
    counts = "signal source, image 0, image data record, number of images and sub-images"
    for old, new, where in ((b" 1 3 1 192 64\n", b" 1 4000000000 1 192 64\n", counts),
                            (b"65538\n1\n", b"65538\n7\n", "signal source, image 1, instrument header")):
        with pytest.raises(kvmcfio.FormatError, match=where):
            kvmcfio.File.from_bytes(data.replace(old, new, 1))
