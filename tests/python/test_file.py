import datetime
import gc
import os
import random

import numpy as np
import pytest

import kvmcfio
from conftest import AXIS_X, AXIS_Z, BACKGROUND, SIGNAL


def mapped_paths():
    with open("/proc/self/maps") as maps:
        return [line.split(None, 5)[5].strip() for line in maps if len(line.split(None, 5)) == 6]


def open_descriptors():
    return [os.readlink(f"/proc/self/fd/{fd}") for fd in os.listdir("/proc/self/fd")
            if os.path.exists(f"/proc/self/fd/{fd}")]


def test_pixels_geometry_and_calibration_agree_with_the_c_functions(files, cref):
    for name, which in (("demo.mcf", (("signal", SIGNAL), ("background", BACKGROUND))),
                        ("binned.mcf", (("signal", SIGNAL),))):
        path = files / name
        cref.open(path)
        with kvmcfio.File(path) as f:
            for source, code in which:
                s = f.sources[source]
                np.testing.assert_array_equal(s.frames, cref.frames(code))
                assert [tuple(r) for r in s.subimages] == cref.subimages(code)
                left, right = s.properties["CCDLeft"], s.properties["CCDRight"]
                bottom, top = s.properties["CCDBottom"], s.properties["CCDTop"]
                assert s.x_axis.dtype == np.float64
                np.testing.assert_array_equal(
                    s.x_axis, [cref.calibration(code, AXIS_X, p) for p in range(left, right + 1)])
                np.testing.assert_array_equal(
                    s.z_axis, [cref.calibration(code, AXIS_Z, p) for p in range(bottom, top + 1)])
                for i in range(s.frame_count):
                    assert s.time_stamps[i] == int(cref.property(code, f"TimeStamp{i}")[0])
                    assert s.metadata[i] % 2**32 == int(cref.property(code, f"Metadata{i}")[0])


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
    # Region: columns 5..36 and rows 3..10, 2 x 2 binned: 4 rows of 16; pixel i of
    # frame f holds 10 + 1000 f + i / 2.
    expected = 10 + 1000 * np.arange(3)[:, None, None] + 0.5 * np.arange(64).reshape(1, 4, 16)
    np.testing.assert_array_equal(kvmcfio.imread(files / "binned.mcf"), expected)
    with kvmcfio.File(files / "binned.mcf") as f:
        s = f.sources["signal"]
        assert list(f.sources) == ["signal"]
        assert f.file_version == (1, 2)
        assert s.subimages == [kvmcfio.SubImage(5, 3, 36, 10, 2, 2)]
        np.testing.assert_array_equal(s.subimage(0), expected)
        np.testing.assert_array_equal(s.frame(-1), expected[2].ravel())
        np.testing.assert_array_equal(s.read_frames(1, 1), expected[1].reshape(1, 64))
        assert (s.x_label, s.x_unit, s.z_label) == ("Wavelength", "nm", "Pixel number")
        # X(p) = 400 + 0.5 p + 0.001 p^2 for detector column p from 1.
        p = np.arange(1, 65)
        np.testing.assert_allclose(s.x_axis, 400 + 0.5 * p + 0.001 * p**2, rtol=1e-7)
        # Metadata words 5e6 + 250000 i at the default 10 ns clock.
        np.testing.assert_allclose(s.times, [0.0, 0.0025, 0.005], rtol=1e-6)
        assert s.time_stamps.tolist() == [100, 107, 114]
        assert s.metadata.tolist() == [5000000, 5250000, 5500000]
        # The third code's 12345 x 10 ns is under a millisecond, which is all times keep.
        assert s.irig_times == [datetime.datetime(2024, 2, 29, 13, 45, 27, 250000), None,
                                datetime.datetime(2023, 3, 1, 0, 0, 0)]

        da = s.to_xarray()
        assert da.dims == ("frame", "row", "column")
        assert np.shares_memory(da.values, s.frames)
        # A binned column's value is the mean over its two detector columns 5 + 2c, 6 + 2c.
        c = np.arange(16)
        x = lambda q: 400 + 0.5 * q + 0.001 * q**2
        np.testing.assert_allclose(da["x"], (x(5 + 2 * c) + x(6 + 2 * c)) / 2, rtol=1e-7)
        np.testing.assert_allclose(da["z"], [3.5, 5.5, 7.5, 9.5])
        np.testing.assert_allclose(da["time"], s.times)
        assert da["x"].attrs == {"long_name": "Wavelength", "units": "nm"}
        assert da.attrs["KineticCycleTime"] == 0.25 and da.attrs["units"] == ""


def test_demo_signal_through_imread_and_xarray(files):
    with kvmcfio.File(files / "demo.mcf") as f:
        s = f.sources["signal"]
        assert list(f.sources) == ["signal", "background"]
        # No metadata clock: frames one kinetic cycle (0.1 s) apart.
        np.testing.assert_allclose(s.times, 0.1 * np.arange(20), rtol=1e-6)
        assert s.irig_times is None
        da = s.to_xarray()
        # One unbinned full-width row: the column coordinate is the X axis itself.
        np.testing.assert_array_equal(da["x"], s.x_axis)
        assert da.shape == (20, 1, 1024)
        np.testing.assert_array_equal(kvmcfio.imread(files / "demo.mcf"), da.values)
        # The background's two regions: 32 x 64 unbinned, then 64 x 128 binned 2 x 2.
        b = f.sources["background"]
        assert b.subimage(0).shape == (1, 32, 64) and b.subimage(1).shape == (1, 32, 64)
        np.testing.assert_array_equal(b.subimage(1).ravel(), b.frames[0, 2048:])
        # A source of several sub-images reads as its first; the others by number.
        np.testing.assert_array_equal(kvmcfio.imread(files / "demo.mcf", source="background"), b.subimage(0))
    with pytest.raises(KeyError, match="reference"):
        kvmcfio.imread(files / "demo.mcf", source="reference")


def test_frames_are_a_read_only_view_of_the_mapped_file(files):
    path = str(files / "demo.mcf")
    f = kvmcfio.File(path)
    s = f.sources["signal"]
    frames = s.frames
    assert isinstance(frames.base, kvmcfio.Mapping)
    assert frames.base.address == frames.ctypes.data and frames.base.nbytes == frames.nbytes
    assert path in mapped_paths()
    with open(path, "rb") as raw:
        raw.seek(s.data_start)
        np.testing.assert_array_equal(frames, np.fromfile(raw, np.float32, frames.size).reshape(frames.shape))
    with pytest.raises(ValueError):
        frames[0, 0] = 1
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


def test_a_closed_file_refuses_every_query(files):
    f = kvmcfio.File(files / "demo.mcf")
    s = f.sources["signal"]
    f.close()
    f.close()
    assert f.closed
    for query in (lambda: f.sources, lambda: f.file_version, lambda: s.frames, lambda: s.frame(0),
                  lambda: s.properties, lambda: s.x_axis, lambda: s.times, lambda: s.irig_times,
                  lambda: s.to_xarray(), lambda: s.read_frames(0, 1)):
        with pytest.raises(ValueError):
            query()


def test_indexes_out_of_range_raise_index_error(files):
    with kvmcfio.File(files / "demo.mcf") as f:
        s = f.sources["signal"]
        for query in (lambda: s.frame(20), lambda: s.frame(-21), lambda: s.subimage(1),
                      lambda: s.read_frames(19, 2), lambda: s.read_frames(-1, 1),
                      lambda: s.property_value("TimeStamp20")):
            with pytest.raises(IndexError):
                query()
        assert s.property_value("TimeStamp19") == 1900


def test_format_errors_say_where_reading_stopped(files, tmp_path):
    data = (files / "demo.mcf").read_bytes()
    with kvmcfio.File.from_bytes(data) as f:
        assert f.sources["background"].frames.shape == (1, 4096)
    with pytest.raises(kvmcfio.FormatError) as cut:
        kvmcfio.File.from_bytes(data[:300])
    assert cut.value.code == 22003
    assert cut.value.position["source"] == "signal" and cut.value.position["offset"] is not None

    # Pixels cut off 100 bytes into the first frame: reading stops at the pixel block.
    with kvmcfio.File(files / "binned.mcf") as f:
        start = f.sources["signal"].data_start
    cut_path = tmp_path / "cut.mcf"
    cut_path.write_bytes((files / "binned.mcf").read_bytes()[:start + 100])
    with pytest.raises(kvmcfio.FormatError) as short:
        kvmcfio.File(cut_path)
    assert short.value.position["record"] == "pixel block" and short.value.position["offset"] == start


def test_damaged_bytes_never_crash_the_interpreter(files):
    data = bytearray((files / "binned.mcf").read_bytes())
    rng = random.Random(7)
    for _ in range(300):
        damaged = bytearray(data)
        for _ in range(rng.randint(1, 4)):
            damaged[rng.randrange(len(damaged))] = rng.choice(b"0123456789 -\n\x00\xff")
        try:
            with kvmcfio.File.from_bytes(bytes(damaged[:rng.randrange(len(damaged) // 2, len(damaged) + 1)])) as f:
                for s in f.sources.values():
                    s.properties, s.x_axis, s.z_axis, s.times, s.irig_times, s.shape, repr(s)
                    s[::2]
                    with np.errstate(all="ignore"):
                        s.frames.sum()
                    if len(s.subimages) == 1 and s.subimages[0].shape:
                        s.to_xarray()
        except (kvmcfio.Error, ValueError, IndexError):
            pass
