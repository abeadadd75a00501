"""Files read over HTTP from a loopback server that honours byte ranges and counts
what it serves, and URLs that misbehave."""

import os
import subprocess
import time

import numpy as np
import pytest
import xarray as xr

import kvmcfio
from range_server import serving, silent_port


@pytest.fixture(scope="module")
def series(tmp_path_factory):
    """200 frames of 64 x 64 (16 KiB each, 3.2 MiB of pixels)."""
    root = tmp_path_factory.mktemp("series")
    subprocess.run([os.environ["KVMCF_TESTFILES"], "series", str(root / "a.mcf"), "200", "64", "64"], check=True)
    return root


def test_a_frame_over_http_reads_the_records_and_exactly_that_frame(series):
    path = series / "a.mcf"
    size = path.stat().st_size
    with kvmcfio.File(path) as f:
        data_start = f.sources["signal"].data_start
    frame_bytes = 64 * 64 * 4
    trailer = size - data_start - 200 * frame_bytes
    with serving(series) as server:
        url = server.url("a.mcf")
        with kvmcfio.File(url) as f:
            opened = server.served["/a.mcf"]
            frame = f.sources["signal"][137]
            served = server.served["/a.mcf"]
            ranges = [r for _, r in server.requests]
        # Frame 137 is pixels 137 * 4096 .. of the pattern (i mod 65521).
        np.testing.assert_array_equal(frame.ravel(), (137 * 4096 + np.arange(4096)) % 65521)
        # The records: the first 256 KiB block (records and the first pixels) and the
        # few bytes after the pixel block; then one range of exactly the frame.
        assert opened <= 256 * 1024 + trailer and served - opened == frame_bytes and len(ranges) <= 3
        assert ranges[-1] == f"bytes={data_start + 137 * frame_bytes}-{data_start + 138 * frame_bytes - 1}"

        with xr.open_dataset(url, engine="kvmcf") as ds:
            np.testing.assert_array_equal(ds["signal"][5:8].values, kvmcfio.imread(path, key=slice(5, 8)))


def test_urls_that_misbehave_fail_with_the_url_and_never_hang(series):
    path = series / "a.mcf"
    size = path.stat().st_size
    with silent_port() as url:
        started = time.monotonic()
        with pytest.raises(kvmcfio.FileError, match="127.0.0.1"):
            kvmcfio.File(url + "a.mcf", timeout=1)
        assert time.monotonic() - started < 10
    with serving(series) as server, pytest.raises(kvmcfio.FileNotFoundError, match="missing.mcf"):
        kvmcfio.File(server.url("missing.mcf"))
    with serving(series, ignore_range=True) as server:
        with pytest.raises(kvmcfio.FileError, match="a.mcf.*ignores byte ranges"):
            kvmcfio.File(server.url("a.mcf"))
        assert server.served["/a.mcf"] <= size
    # Cut inside the records, then inside the pixels: the size the server reports is
    # the cut one, and the records or the pixel block do not fit in it.
    for cut in (1000, size - 100):
        with serving(series, cut=cut) as server:
            with pytest.raises((kvmcfio.FormatError, kvmcfio.FileError), match="a.mcf"):
                kvmcfio.File(server.url("a.mcf"))
            assert sum(server.served.values()) <= cut
