"""kvmcf export and preview, read back by programs this project did not write.

Expected values come from the demo file's construction, not from our reader:
signal: 20 frames of one 1024-pixel spectrum; pixel 0 of frame f is 300 + f mod 13
(the lines are nil there and 104729 = 1 mod 13); X = 580 + 0.0625 p - 1.5e-6 p^2 at
detector column p = 1..1024. background: one frame of 4096 pixels valued
95 + (i mod 17) / 2 at index i; sub-image 0 is 64 x 32 at offset 0, sub-image 1 is
128 x 64 binned 2 x 2, so 64 x 32 stored pixels at offset 2048.
binned.mcf and large.mcf are described in files/WriteExportFiles.cpp.
Run with KVMCF pointing at the kvmcf program and KVMCF_EXPORT_FILES at the writer of
those files.
"""
import csv
import json
import os
import subprocess

import h5py
import numpy as np
import pytest
import tifffile
from PIL import Image

KVMCF = os.environ.get("KVMCF", "kvmcf")
FRAME_BYTES = 1024 * 4


def run(*args, check=True):
    r = subprocess.run([KVMCF, *map(str, args)], capture_output=True, text=True)
    if check:
        assert r.returncode == 0, r.stderr
    return r


@pytest.fixture(scope="module")
def demo(tmp_path_factory):
    path = tmp_path_factory.mktemp("demo") / "demo.mcf"
    run("--write-demo", path)
    return path


@pytest.fixture(scope="module")
def shapes(tmp_path_factory):
    root = tmp_path_factory.mktemp("shapes")
    subprocess.run([os.environ["KVMCF_EXPORT_FILES"], str(root)], check=True)
    return root


def binned_frames():
    """(frame, sub-image, row, column), the top row first: stored row r from the bottom is row 2 - r."""
    f, s, r, c = np.meshgrid(np.arange(4), np.arange(2), np.arange(3), np.arange(4), indexing="ij")
    return (1000 * f + 100 * s + 10 * (2 - r) + c + 0.5).astype(np.float32)


def wavelength(p):
    return 580.0 + 0.0625 * p - 1.5e-6 * p * p


def background_value(i):
    return 95.0 + (i % 17) * 0.5


def signal_block(demo, frames):
    """Checks that frames are consecutive 4096-byte runs of the file, frame 0 first."""
    raw = demo.read_bytes()
    start = raw.find(frames[0].tobytes())
    assert start > 0
    for f, frame in enumerate(frames):
        assert raw[start + f * FRAME_BYTES:start + (f + 1) * FRAME_BYTES] == frame.tobytes()


def read_tiff(path, shape):
    """The stack as tifffile reads it, and as stack programs read it: frame bytes one after
    another from the first page's data on. Checks that every page's data follows the one before."""
    pages = int(np.prod(shape[:-2]))
    page_bytes = 4 * shape[-1] * shape[-2]
    with tifffile.TiffFile(path) as tif:
        assert tif.is_imagej and tif.imagej_metadata["images"] == pages
        offsets = [p.dataoffsets for p in tif.pages]
        assert offsets == [(offsets[0][0] + k * page_bytes,) for k in range(pages)]
        meta = tif.imagej_metadata
        xres = tif.pages[0].tags["XResolution"].value
        calibration = json.loads(tif.pages[0].tags[65000].value)
    whole = tifffile.imread(path)
    raw = path.read_bytes()
    contiguous = np.frombuffer(raw, "<f4", pages * page_bytes // 4, offsets[0][0])
    assert whole.dtype == contiguous.dtype == np.float32
    return whole.reshape(shape), contiguous.reshape(shape), meta, xres, calibration


def imagej_x(meta, xres, columns):
    """Calibrated X as stack programs compute it: (column - xorigin) * pixel width."""
    return (np.arange(columns) - meta["xorigin"]) * xres[1] / xres[0]


def test_tiff_stacks_read_exactly_with_their_calibration(demo, shapes, tmp_path):
    # Two 2 x 2 binned sub-images over the same columns: one hyperstack, channels inside frames.
    run("export", shapes / "binned.mcf", tmp_path / "binned.tif")
    *stacks, meta, xres, cal = read_tiff(tmp_path / "binned.tif", (4, 2, 3, 4))
    for stack in stacks:
        np.testing.assert_array_equal(stack, binned_frames())
    assert (meta["channels"], meta["frames"], meta["hyperstack"], meta["unit"], meta["finterval"]) == (
        2, 4, True, "nm", 0.5)
    # Columns 5-6, 7-8, ... of X = 400 + 0.5 p average to 402.75, 403.75, ...
    np.testing.assert_allclose(imagej_x(meta, xres, 4), [402.75, 403.75, 404.75, 405.75], rtol=1e-9)
    assert cal["x"] == {"label": "Wavelength (nm)", "unit": "nm", "values": [402.75, 403.75, 404.75, 405.75]}
    keys = ("index", "left", "bottom", "right", "top", "hbin", "vbin")
    assert [tuple(s[k] for k in keys) for s in cal["sub_images"]] == [(0, 5, 1, 12, 6, 2, 2), (1, 5, 11, 12, 16, 2, 2)]
    # Binned rows 15-16, 13-14, 11-12.
    assert (cal["sub_images"][1]["z"]["values"], cal["times"], cal["frames"], cal["row_order"]) == (
        [15.5, 13.5, 11.5], [0, 0.5, 1, 1.5], {"first": 0, "count": 4}, "top row first")

    # Frames of more than 1 MiB go through in runs of rows: 504 and 16 rows here.
    run("export", shapes / "large.mcf", tmp_path / "large.tif")
    f, r, c = np.meshgrid(np.arange(2), np.arange(520), np.arange(520), indexing="ij")
    large = (1000000 * f + 1000 * (519 - r) + c).astype(np.float32)
    for stack in read_tiff(tmp_path / "large.tif", (2, 520, 520))[:2]:
        np.testing.assert_array_equal(stack, large)
    run("export", shapes / "large.mcf", tmp_path / "large.h5")
    with h5py.File(tmp_path / "large.h5", "r") as h5:
        np.testing.assert_array_equal(h5["signal/subimage0"][:], large[:, ::-1])

    # The demo's 20 spectra on a curved axis: no straight calibration for stack programs
    # (a straight line would be off by up to 0.4 nm), the exact values per column in the JSON.
    out = tmp_path / "signal.tif"
    run("export", demo, out)
    *stacks, meta, xres, cal = read_tiff(out, (20, 1, 1024))
    for stack in stacks:
        assert [float(v) for v in stack[:, 0, 0]] == [300.0 + f % 13 for f in range(20)]
        signal_block(demo, [frame[0] for frame in stack])
    assert "unit" not in meta and "xorigin" not in meta and xres == (1, 1) and meta["finterval"] == pytest.approx(0.1)
    np.testing.assert_allclose(cal["x"]["values"], wavelength(np.arange(1, 1025)), rtol=1e-7)
    np.testing.assert_allclose(cal["times"], np.arange(20) * 0.1, rtol=1e-6)
    assert (cal["sub_images"][0]["vbin"], cal["source"], cal["properties"]["HeadModel"]) == (256, "signal", "DemoCam 1024")

    # A frame range, and sub-images of different sizes as one stack each, top row first.
    run("export", demo, tmp_path / "bg.tif", "--source", "background", "--frames", "0:1")
    top_first = (31 - np.arange(32))[:, None] * 64 + np.arange(64)
    np.testing.assert_array_equal(tifffile.imread(tmp_path / "bg-sub1.tif"), background_value(2048 + top_first))
    np.testing.assert_array_equal(tifffile.imread(tmp_path / "bg-sub0.tif"), background_value(top_first))
    assert not (tmp_path / "bg.tif").exists()


def test_hdf5_datasets_scales_and_attributes(demo, shapes, tmp_path):
    out = tmp_path / "signal.h5"
    run("export", demo, out, "--frames", "2:7", "--source", "signal")
    sources = json.loads(run("info", demo, "--json").stdout)["files"][0]["sources"]
    info = next(s["properties"] for s in sources if s["name"] == "signal")
    with h5py.File(out, "r") as f:
        group, data = f["signal"], f["signal/subimage0"]
        assert list(f) == ["signal"] and data.dtype == np.float32 and data.shape == (5, 1, 1024) and data.chunks
        assert [data[i, 0, 0] for i in range(5)] == [302.0, 303.0, 304.0, 305.0, 306.0]
        signal_block(demo, [data[i, 0] for i in range(5)])

        x = data.dims[2][0]
        assert x.name == "/signal/subimage0_x" and x.attrs["units"] == "nm"
        np.testing.assert_allclose(x[:], wavelength(np.arange(1, 1025)), rtol=1e-7)
        np.testing.assert_allclose(data.dims[0][0][:], [0.2, 0.3, 0.4, 0.5, 0.6], rtol=1e-6)
        assert data.dims[1][0][:].tolist() == [128.5]  # 256 binned rows, numbered 1..256

        kinds = {"int32": np.int32, "uint32": np.uint32, "uint64": np.uint64, "float": np.float32,
                 "double": np.float64, "byte": np.uint8}
        for name, entry in info.items():
            value = group.attrs[name]
            if entry["type"] == "string":
                assert value == entry["value"], name
            else:
                # The type query calls this one uint32, yet its value is fractional: the value wins.
                kind = "float" if name == "HighPrecisionTimeStamp0" else entry["type"]
                assert value.dtype == kinds[kind], name
                assert float(value) == pytest.approx(entry["value"], rel=1e-6, abs=1e-30), name

    # Every source by default, the file's versions at the root.
    run("export", demo, tmp_path / "all.h5")
    with h5py.File(tmp_path / "all.h5", "r") as f:
        assert sorted(f) == ["background", "signal"]
        assert (list(f.attrs["file_version"]), list(f.attrs["image_version"])) == ([1, 2], [1, 5])
        signal_block(demo, list(f["signal/subimage0"][:, 0]))
        # Rows stay bottom first here; the z scale says where each lies.
        sub2 = f["background/subimage1"]
        np.testing.assert_array_equal(sub2[0], background_value(2048 + np.arange(2048)).reshape(32, 64))

    # Binned sub-images, rows bottom first as stored, with their axes and times.
    run("export", shapes / "binned.mcf", tmp_path / "binned.h5")
    with h5py.File(tmp_path / "binned.h5", "r") as f:
        planes = [f[f"signal/subimage{s}"] for s in range(2)]
        for s, plane in enumerate(planes):
            np.testing.assert_array_equal(plane[:], binned_frames()[:, s, ::-1])
            assert plane.dims[0][0][:].tolist() == f["signal/time"][:].tolist()
        assert planes[0].dims[2][0][:].tolist() == [402.75, 403.75, 404.75, 405.75]
        assert (f["signal/time"][:].tolist(), planes[1].dims[1][0][:].tolist(),
                list(planes[1].attrs["left_bottom_right_top_hbin_vbin"])) == (
            [0, 0.5, 1, 1.5], [11.5, 13.5, 15.5], [5, 11, 12, 16, 2, 2])


def read_csv(path):
    with open(path, newline="") as f:
        return list(csv.reader(f))


def test_csv_spectra(demo, tmp_path):
    run("export", demo, tmp_path / "spectra.csv", "--frames", "10:13")
    rows = read_csv(tmp_path / "spectra.csv")
    assert rows[0] == ["Wavelength (nm)", "frame 10", "frame 11", "frame 12"]
    x = [float(r[0]) for r in rows[1:]]
    np.testing.assert_allclose(x, wavelength(np.arange(1, 1025)), rtol=1e-7)  # evaluated in single precision
    assert [float(v) for v in rows[1][1:]] == [310.0, 311.0, 312.0]

    # An image is no spectrum without chosen rows; with them each row is one.
    r = run("export", demo, tmp_path / "bg.csv", "--source", "background", check=False)
    assert r.returncode != 0 and "--rows" in r.stderr and r.stderr.count("\n") == 1
    run("export", demo, tmp_path / "bg.csv", "--source", "background", "--rows", "0:2")
    rows = read_csv(tmp_path / "bg-sub1.csv")
    assert rows[0] == ["Pixel number", "frame 0 row 0", "frame 0 row 1"]
    assert (float(rows[1][0]), float(rows[2][2])) == (401.5, background_value(2048 + 64 + 1))


def test_refusals_leave_nothing_behind(demo, tmp_path):
    existing = tmp_path / "kept.tif"
    existing.write_bytes(b"keep me")
    cases = [
        (["export", demo, tmp_path / "a.tif", "--frames", "15:25"], "outside"),
        (["export", demo, tmp_path / "a.tif", "--source", "live"], "no live source"),
        (["export", demo, tmp_path / "a.tif", "--source", "all"], "hdf5 only"),
        (["export", demo, tmp_path / "a.h5", "--frames", "2:7"], "background"),
        (["preview", demo, tmp_path / "a.png", "--clip", "50,10"], "--clip"),
        (["preview", demo, tmp_path / "a.png", "--clip", "0,101"], "--clip"),
        (["preview", demo, tmp_path / "a.png", "--clip", "1,2,3"], "--clip"),
        (["preview", demo, tmp_path / "a.png", "--scale", "sqrt"], "--scale"),
        (["preview", demo, tmp_path / "a.png", "--source", "background", "--frames", "0:1"], "--frame"),
        (["export", demo, tmp_path / "a.png"], "format"),
        (["export", demo, tmp_path / "a.tif", "--format", "jpeg"], "unknown format"),
        (["export", demo, tmp_path / "missing" / "a.tif"], "cannot write"),
    ]
    for args, words in cases:
        r = run(*args, check=False)
        assert r.returncode != 0, args
        assert words in r.stderr and r.stderr.count("\n") == 1, (args, r.stderr)
    assert sorted(p.name for p in tmp_path.iterdir()) == ["kept.tif"]
    assert existing.read_bytes() == b"keep me"
    run("export", demo, existing, "--force")
    assert len(tifffile.TiffFile(existing).pages) == 20
    assert sorted(p.name for p in tmp_path.iterdir()) == ["kept.tif"]


def read_png(path):
    """(width, height, rows) of an 8-bit gray PNG, read by PIL."""
    with Image.open(path) as img:
        assert img.mode == "L"
        return img.width, img.height, np.asarray(img)


def test_png_previews(demo, tmp_path):
    # An image: the values 95..103 stretch over 0..255 (both percentiles fall on the
    # end values), the top detector row first.
    run("preview", demo, tmp_path / "bg.png", "--source", "background", "--sub-image", "1")
    width, height, rows = read_png(tmp_path / "bg.png")
    top_first = 2048 + (31 - np.arange(32))[:, None] * 64 + np.arange(64)
    assert (width, height) == (64, 32)
    np.testing.assert_array_equal(rows, ((background_value(top_first) - 95) / 8 * 255 + 0.5).astype(int))

    # One spectrum: a plot whose highest point is the line at column 513, at the top of
    # the plot area (x from 14 to 786, values from row 366 up to row 36).
    run("preview", demo, tmp_path / "sig.png", "--frame", "3")
    width, height, rows = read_png(tmp_path / "sig.png")
    assert (width, height) == (800, 400)
    peak = 14 + round((wavelength(513) - wavelength(1)) / (wavelength(1024) - wavelength(1)) * 772)
    assert [c for c in range(14, 787) if rows[36][c] == 0] == [peak]
    assert all(v == 255 for v in rows[200][14:150])  # white halfway up, left of the first line

    r = run("preview", demo, tmp_path / "x.png", "--sub-image", "2", check=False)
    assert r.returncode != 0 and "sub-image 2" in r.stderr
    assert not (tmp_path / "x.png").exists()


def test_kinetic_series_preview(demo, tmp_path):
    # The 20 spectra as one picture at (12, 48): 10 rows per frame, one column per stored
    # column; stretched over all values, each frame's brightest column is its line at 512.
    run("preview", demo, tmp_path / "k.png", "--clip", "0,100")
    width, height, rows = read_png(tmp_path / "k.png")
    bands = rows[48:248, 12:12 + 1024]
    assert (width, height) == (1048, 282) and (bands == np.repeat(bands[::10], 10, axis=0)).all()
    assert bands[::10].argmax(axis=1).tolist() == [512] * 20 and bands[190, 512] == 255 and bands[0, 0] == 0
