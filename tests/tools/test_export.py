"""kvmcf export and preview, read back by programs this project did not write.

Expected values come from the demo file's construction, not from our reader:
signal: 20 frames of one 1024-pixel spectrum; pixel 0 of frame f is 300 + f mod 13
(the lines are nil there and 104729 = 1 mod 13); X = 580 + 0.0625 p - 1.5e-6 p^2 at
detector column p = 1..1024. background: one frame of 4096 pixels valued
95 + (i mod 17) / 2 at index i; sub-image 1 is 64 x 32 at offset 0, sub-image 2 is
128 x 64 binned 2 x 2, so 64 x 32 stored pixels at offset 2048.
Run with KVMCF pointing at the kvmcf program.
"""
import csv
import json
import os
import struct
import subprocess
import zlib

import h5py
import numpy as np
import pytest
import tifffile

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


def test_tiff_stack_pages_values_and_description(demo, tmp_path):
    out = tmp_path / "signal.tif"
    run("export", demo, out)
    with tifffile.TiffFile(out) as tif:
        assert tif.is_imagej
        assert len(tif.pages) == 20
        pages = [p.asarray() for p in tif.pages]
        assert all(p.dtype == np.float32 and p.shape == (1, 1024) for p in pages)
        meta = tif.imagej_metadata
        assert meta["images"] == 20 and meta["frames"] == 20
        assert meta["unit"] == "nm"
        assert meta["finterval"] == pytest.approx(0.1)
        # Pixels per nm from the mean step over the 1023 steps of the detector.
        xres = tif.pages[0].tags["XResolution"].value
        assert xres[0] / xres[1] == pytest.approx(1023 / (wavelength(1024) - wavelength(1)), rel=1e-6)
        props = json.loads(tif.pages[0].tags[65000].value)
        assert props["source"] == "signal"
        assert props["properties"]["HeadModel"] == "DemoCam 1024"
        assert props["properties"]["ExposureTime"] == pytest.approx(0.05)
    assert [p[0, 0] for p in pages] == [300.0 + f % 13 for f in range(20)]
    signal_block(demo, [p[0] for p in pages])

    # A frame range, and sub-images of different sizes as one stack each, top row first.
    run("export", demo, tmp_path / "bg.tif", "--source", "background", "--frames", "0:1")
    with tifffile.TiffFile(tmp_path / "bg-sub2.tif") as tif:
        page = tif.pages[0].asarray()
    assert page.shape == (32, 64)
    assert page[0, 0] == background_value(2048 + 31 * 64)
    assert page[31, 5] == background_value(2048 + 5)
    assert page[10, 63] == background_value(2048 + 21 * 64 + 63)
    assert tifffile.imread(tmp_path / "bg-sub1.tif").shape == (32, 64)
    assert not (tmp_path / "bg.tif").exists()


def test_hdf5_datasets_scales_and_attributes(demo, tmp_path):
    out = tmp_path / "all.h5"
    run("export", demo, out, "--frames", "2:7")
    info = json.loads(run("info", demo, "--json").stdout)["sources"]["signal"]
    with h5py.File(out, "r") as f:
        group = f["signal"]
        data = group["subimage1"]
        assert data.dtype == np.float32 and data.shape == (5, 1, 1024)
        assert data.chunks is not None
        assert [data[i, 0, 0] for i in range(5)] == [302.0, 303.0, 304.0, 305.0, 306.0]
        signal_block(demo, [data[i, 0] for i in range(5)])

        x = data.dims[2][0]
        assert x.name == "/signal/subimage1_x"
        assert x.attrs["units"] == "nm"
        np.testing.assert_allclose(x[:], wavelength(np.arange(1, 1025)), rtol=1e-7)
        time = data.dims[0][0]
        np.testing.assert_allclose(time[:], [0.2, 0.3, 0.4, 0.5, 0.6], rtol=1e-6)
        assert data.dims[1][0][:].tolist() == [128.5]  # 256 binned rows, numbered 1..256
        assert list(group.attrs["image_version"]) == [1, 5]

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

    run("export", demo, tmp_path / "bg.h5", "--source", "background")
    with h5py.File(tmp_path / "bg.h5", "r") as f:
        sub2 = f["background/subimage2"]
        assert sub2.shape == (1, 32, 64)
        # Rows stay bottom first here; the z scale says where each lies.
        assert sub2[0, 0, 5] == background_value(2048 + 5)
        # Pixel-number axis: binned columns 401-402, 403-404, ... average to 401.5, 403.5.
        assert sub2.dims[2][0][:3].tolist() == [401.5, 403.5, 405.5]
        assert sub2.dims[1][0][:2].tolist() == [137.5, 139.5]


def test_csv_spectra(demo, tmp_path):
    out = tmp_path / "spectra.csv"
    run("export", demo, out, "--frames", "10:13")
    with open(out, newline="") as f:
        rows = list(csv.reader(f))
    assert rows[0] == ["Wavelength (nm)", "frame 10", "frame 11", "frame 12"]
    assert len(rows) == 1 + 1024
    x = [float(r[0]) for r in rows[1:]]
    np.testing.assert_allclose(x, wavelength(np.arange(1, 1025)), rtol=1e-7)  # evaluated in single precision
    assert [float(v) for v in rows[1][1:]] == [310.0, 311.0, 312.0]

    # An image is no spectrum without chosen rows; with them each row is one.
    r = run("export", demo, tmp_path / "bg.csv", "--source", "background", check=False)
    assert r.returncode != 0 and "--rows" in r.stderr and r.stderr.count("\n") == 1
    run("export", demo, tmp_path / "bg.csv", "--source", "background", "--rows", "0:2")
    with open(tmp_path / "bg-sub2.csv", newline="") as f:
        rows = list(csv.reader(f))
    assert rows[0] == ["Pixel number", "frame 0 row 0", "frame 0 row 1"]
    assert float(rows[1][0]) == 401.5
    assert float(rows[2][2]) == background_value(2048 + 64 + 1)


def test_refusals_leave_nothing_behind(demo, tmp_path):
    existing = tmp_path / "kept.tif"
    existing.write_bytes(b"keep me")
    cases = [
        (["export", demo, existing], "exists"),
        (["export", demo, tmp_path / "a.tif", "--frames", "15:25"], "outside"),
        (["export", demo, tmp_path / "a.tif", "--source", "live"], "no live source"),
        (["export", demo, tmp_path / "a.tif", "--source", "dark"], "unknown source"),
        (["export", demo, tmp_path / "a.png"], "format"),
        (["export", demo, tmp_path / "a.tif", "--format", "jpeg"], "unknown format"),
        (["export", demo, tmp_path / "missing" / "a.tif"], "cannot write"),
        (["export", tmp_path / "absent.mcf", tmp_path / "a.tif"], "absent.mcf"),
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
    """(width, height, bit depth, colour type, rows) of a PNG, unfiltered with zlib alone."""
    data = path.read_bytes()
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    pos, idat, header = 8, b"", None
    while pos < len(data):
        length, kind = struct.unpack(">I4s", data[pos:pos + 8])
        body = data[pos + 8:pos + 8 + length]
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", body)
        elif kind == b"IDAT":
            idat += body
        pos += 12 + length
    width, height, depth, colour = header[:4]
    raw = zlib.decompress(idat)
    rows, prev = [], bytearray(width)
    for r in range(height):
        kind, line = raw[r * (width + 1)], bytearray(raw[r * (width + 1) + 1:(r + 1) * (width + 1)])
        for i in range(width):
            a = line[i - 1] if i else 0
            b, c = prev[i], prev[i - 1] if i else 0
            if kind == 1:
                line[i] = (line[i] + a) & 255
            elif kind == 2:
                line[i] = (line[i] + b) & 255
            elif kind == 3:
                line[i] = (line[i] + (a + b) // 2) & 255
            elif kind == 4:
                p = a + b - c
                pa, pb, pc = abs(p - a), abs(p - b), abs(p - c)
                line[i] = (line[i] + (a if pa <= pb and pa <= pc else b if pb <= pc else c)) & 255
        rows.append(bytes(line))
        prev = line
    return width, height, depth, colour, rows


def test_png_previews(demo, tmp_path):
    # An image: the values 95..103 stretch over 0..255 (both percentiles fall on the
    # end values), the top detector row first.
    run("preview", demo, tmp_path / "bg.png", "--source", "background", "--sub-image", "2")
    width, height, depth, colour, rows = read_png(tmp_path / "bg.png")
    assert (width, height, depth, colour) == (64, 32, 8, 0)
    for r in (0, 13, 31):
        expect = [int((background_value(2048 + (31 - r) * 64 + c) - 95) / 8 * 255 + 0.5) for c in range(64)]
        assert list(rows[r]) == expect, r

    # A spectrum: a plot whose highest point is the line at column 513, at the top of
    # the plot area (x from 14 to 786, values from row 366 up to row 36).
    run("preview", demo, tmp_path / "sig.png", "--frame", "3")
    width, height, depth, colour, rows = read_png(tmp_path / "sig.png")
    assert (width, height, depth, colour) == (800, 400, 8, 0)
    peak = 14 + round((wavelength(513) - wavelength(1)) / (wavelength(1024) - wavelength(1)) * 772)
    assert [c for c in range(14, 787) if rows[36][c] == 0] == [peak]
    assert all(v == 255 for v in rows[200][14:150])  # white halfway up, left of the first line

    r = run("preview", demo, tmp_path / "x.png", "--sub-image", "2", check=False)
    assert r.returncode != 0 and "sub-image 2" in r.stderr
    assert not (tmp_path / "x.png").exists()
