"""Labelled arrays that select by calibrated value, and the xarray engine."""

import pickle

import numpy as np
import xarray as xr

import kvmcfio
from conftest import BACKGROUND, SIGNAL, binned_frames, binned_x as x_of, mapped_paths


def test_sel_by_wavelength_time_and_z_on_calibrated_series(files):
    cube = binned_frames()
    with kvmcfio.File(files / "binned.mcf") as f:
        for chunks in (None, 2):
            da = f.sources["signal"].to_xarray(chunks=chunks)
            assert da.dims == ("frame", "row", "column")
            # Binned column c spans detector columns 5 + 2c and 6 + 2c; its x is their mean.
            c = np.arange(16)
            np.testing.assert_allclose(da["x"], (x_of(5 + 2 * c) + x_of(6 + 2 * c)) / 2, rtol=1e-7)
            assert (da["column"].values.tolist(), da["row"].values.tolist()) == (list(range(5, 37, 2)), [3, 5, 7, 9])
            picked = da.sel(x=(x_of(19) + x_of(20)) / 2 + 0.01, method="nearest")
            np.testing.assert_array_equal(picked, cube[:, :, 7])
            # Rows 3 + 2r and 4 + 2r of a pixel-number axis: z is their mean.
            np.testing.assert_array_equal(da.sel(z=7.5), cube[:, 2])
            assert da["z"].values.tolist() == [3.5, 5.5, 7.5, 9.5]
            # Metadata words 5e6 + 250000 f on a 10 ns clock: 2.5 ms apart.
            assert da["time"].dtype == np.float32
            np.testing.assert_allclose(da["time"], [0, 0.0025, 0.005], rtol=1e-6)
            np.testing.assert_array_equal(da.sel(time=slice(0.001, 0.006)), cube[1:])
            assert (da["x"].attrs, da["time"].attrs["units"], da.attrs["units"], da.attrs["subimage"]) == (
                {"long_name": "Wavelength", "units": "nm"}, "s", "", 0)
        assert da.chunks == ((2, 1), (4,), (16,))

    with kvmcfio.File(files / "demo.mcf") as f:
        da = f.sources["signal"].to_xarray()
        # No metadata clock: frame i at i kinetic cycles of 0.1 s, in float32.
        np.testing.assert_array_equal(da["time"], np.arange(20, dtype=np.float32) * np.float32(0.1))

    # Typed by hand: X = 500 + 0.125 p over detector columns 1 and 2; frames {1, 2}, {3, 4}, {5, 6}.
    with kvmcfio.File(files / "handtyped.mcf") as f:
        da = f.sources["signal"].to_xarray()
        assert da["x"].values.tolist() == [500.125, 500.25]
        assert da.sel(x=500.2, method="nearest").values.ravel().tolist() == [2, 4, 6]


def test_open_dataset_with_the_kvmcf_engine(files, cref):
    path = files / "demo.mcf"
    cref.open(path)
    signal, background = cref.frames(SIGNAL), cref.frames(BACKGROUND)
    with xr.open_dataset(path) as ds:  # recognised by its first line
        assert str(path) not in mapped_paths()  # nothing read yet
        assert list(ds.data_vars) == ["signal", "background_subimage0", "background_subimage1"]
        assert ds["background_subimage1"].dims == ("background_subimage1_frame", "background_subimage1_row",
                                                   "background_subimage1_column")
        np.testing.assert_array_equal(ds["signal"][[1, 3], 0, [2, 5, 7]], signal[[1, 3]][:, [2, 5, 7]])
        np.testing.assert_array_equal(ds["background_subimage1"].values.ravel(), background[0, 2048:])
        assert ds.sel(time=slice(0.25, 0.75))["frame"].values.tolist() == [3, 4, 5, 6, 7]
        assert (ds.attrs["file_version"], ds["signal"].attrs["ExposureTime"]) == ((1, 2), np.float32(0.05))
    assert xr.backends.plugins.guess_engine(files / "binned.mcf") == "kvmcf"

    with xr.open_dataset(path, engine="kvmcf", chunks={"frame": 7}) as ds:
        data = ds["signal"].data
        assert data.chunks == ((7, 7, 6), (1,), (1024,))
        # The graph pickles (paths and numbers, no open file) and reads again once restored.
        restored = pickle.loads(pickle.dumps(data))
        np.testing.assert_array_equal(restored.compute(scheduler="sync").reshape(20, -1), signal)
    with open(path, "rb") as raw, xr.open_dataset(raw, engine="kvmcf") as ds:
        np.testing.assert_array_equal(ds["signal"].values.reshape(20, -1), signal)
