"""Reference sets: zarr, xarray and dask read a file's own bytes through them, from
disk or over loopback HTTP, and the tool's refs verb writes them safely."""

import json
import os
import subprocess
import sys

import numpy as np
import pytest

import kvmcfio
from conftest import BACKGROUND, SIGNAL, binned_frames, binned_x
from range_server import serving

KVMCF = os.environ.get("KVMCF")


def refs(*args):
    return subprocess.run([KVMCF, "refs", *map(str, args)], capture_output=True, text=True)


# Runs in a process that cannot import kvmcfio: only zarr, xarray, dask and fsspec.
READER = r"""
import sys
import numpy as np
import xarray as xr

refs, expected = sys.argv[1], np.load(sys.argv[2])
options = {"consolidated": False, "storage_options": {"fo": refs}}
with xr.open_dataset("reference://", engine="zarr", group="signal", backend_kwargs=options) as ds:
    for name, value in (("subimage0", expected["signal"]), ("time", expected["signal_time"]),
                        ("x", expected["signal_x"])):
        np.testing.assert_array_equal(ds[name].values, value)
    assert ds["time"].dtype == np.float32 and ds["subimage0"].dims == ("frame", "row", "column")
    # Float properties as they print in float32, not as widened doubles.
    assert ds.attrs["KineticCycleTime"] == 0.1 and ds.attrs["ExposureTime"] == 0.05
with xr.open_dataset("reference://", engine="zarr", group="background", backend_kwargs=options) as ds:
    for name in ("subimage0", "subimage1"):
        np.testing.assert_array_equal(ds[name].values, expected[name])
    assert ds["subimage1"].dims == ("frame", "row1", "column1")
assert "kvmcfio" not in sys.modules
print("read")
"""


def test_demo_references_read_by_zarr_and_xarray_alone(files, cref, tmp_path):
    out = tmp_path / "demo.json"
    assert refs(files / "demo.mcf", out).returncode == 0
    cref.open(files / "demo.mcf")
    with kvmcfio.File(files / "demo.mcf") as f:
        # The background's two regions: 32 x 64 unbinned, then 64 x 128 binned 2 x 2.
        frames = cref.frames(BACKGROUND)
        expected = {
            "signal": cref.frames(SIGNAL).reshape(20, 1, 1024),
            "signal_time": np.arange(20, dtype=np.float32) * np.float32(0.1),
            "signal_x": f.sources["signal"].x_axis,
            "subimage0": frames[:, :32 * 64].reshape(-1, 32, 64),
            "subimage1": frames[:, 32 * 64:].reshape(-1, 32, 64),
        }
        assert f.references() == json.loads(out.read_text())
    np.savez(tmp_path / "expected.npz", **expected)
    env = {k: v for k, v in os.environ.items() if k != "PYTHONPATH"}
    done = subprocess.run([sys.executable, "-c", READER, str(out), str(tmp_path / "expected.npz")],
                          capture_output=True, text=True, env=env, timeout=120)
    assert done.returncode == 0 and done.stdout.strip() == "read", done.stderr


def test_references_over_http_give_the_frames_axes_and_times(files, tmp_path):
    import xarray as xr

    with serving(files) as server:
        url = server.url("binned.mcf")
        out = tmp_path / "binned.json"
        assert refs(files / "binned.mcf", out, "--url", url).returncode == 0
        options = {"consolidated": False, "storage_options": {"fo": str(out), "remote_protocol": "http"}}
        with xr.open_dataset("reference://", engine="zarr", group="signal", backend_kwargs=options) as ds:
            np.testing.assert_array_equal(ds["subimage0"].values, binned_frames())
            c = np.arange(16)
            np.testing.assert_allclose(ds["x"], (binned_x(5 + 2 * c) + binned_x(6 + 2 * c)) / 2)
            np.testing.assert_array_equal(ds["row"], [3, 5, 7, 9])
            np.testing.assert_allclose(ds["time"], [0, 0.0025, 0.005], rtol=1e-6)
        assert server.served["/binned.mcf"] == 3 * 64 * 4  # one chunk of the three frames, nothing else


def test_chunks_hold_whole_frames_and_read_every_value(tmp_path):
    import dask.array as da
    import fsspec

    for frames, chunk_bytes, per in ((10, 192, 2), (7, 192, 1), (12, 1 << 20, 12)):
        path = tmp_path / f"s{frames}.mcf"
        subprocess.run([os.environ["KVMCF_TESTFILES"], "series", str(path), str(frames), "4", "4"], check=True)
        with kvmcfio.File(path) as f:
            refs_ = f.references(chunk_bytes=chunk_bytes)
        assert json.loads(refs_["refs"]["signal/subimage0/.zarray"])["chunks"] == [per, 4, 4]
        got = da.from_zarr(fsspec.get_mapper("reference://", fo=refs_), component="signal/subimage0").compute()
        np.testing.assert_array_equal(got.ravel(), np.arange(frames * 16) % 65521)
    with kvmcfio.File.from_bytes(path.read_bytes()) as f, pytest.raises(ValueError, match="give url="):
        f.references()


def test_refs_writes_whole_paths_and_nothing_for_a_damaged_source(files, tmp_path):
    copy = tmp_path / "in.mcf"
    copy.write_bytes((files / "binned.mcf").read_bytes())
    # A relative FILE is written as the whole path, so readers elsewhere find it.
    subprocess.run([KVMCF, "refs", "in.mcf", "rel.json"], cwd=tmp_path, check=True)
    ranges = json.loads((tmp_path / "rel.json").read_text())["refs"]["signal/subimage0/0.0.0"]
    assert ranges[0] == os.path.join(os.path.realpath(tmp_path), "in.mcf")
    with kvmcfio.File(copy) as f:
        start = f.sources["signal"].data_start
    cut = tmp_path / "cut.mcf"
    cut.write_bytes(copy.read_bytes()[:start + 100])
    done = refs(cut, tmp_path / "cut.json")
    assert done.returncode == 1 and f"kvmcf check {cut}" in done.stderr
    assert not (tmp_path / "cut.json").exists() and not (tmp_path / "cut.json.part").exists()
