"""Figures for reading through reference sets and over loopback HTTP (one run each):

    PYTHONPATH=build/python KVMCF_TESTFILES=build/tests/python/kvmcf_python_testfiles \
        nice -n 10 /usr/bin/python3 bench/python/remote_bench.py DIR
"""

import json
import os
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "tests", "python"))

import dask.array as da  # noqa: E402
import fsspec  # noqa: E402
import numpy as np  # noqa: E402

import kvmcfio  # noqa: E402
from range_server import serving  # noqa: E402


def best(function, runs=3):
    times = []
    for _ in range(runs):
        start = time.perf_counter()
        function()
        times.append(time.perf_counter() - start)
    return min(times)


def main(root):
    writer = os.environ["KVMCF_TESTFILES"]
    big = os.path.join(root, "big.mcf")
    if not os.path.exists(big):  # 1024 frames of 256 x 256: 256 MiB of pixels
        subprocess.run([writer, "series", big, "1024", "256", "256"], check=True)
    with kvmcfio.File(big) as f:
        refs = f.references()
    mapper = fsspec.get_mapper("reference://", fo=refs)
    through_refs = lambda: da.from_zarr(mapper, component="signal/subimage0").compute(scheduler="threads")
    assert np.array_equal(through_refs(), kvmcfio.imread(big))
    local = best(lambda: kvmcfio.imread(big))
    zarr_time = best(through_refs)
    print(f"256 MiB, all frames: imread {local:.3f} s, references {zarr_time:.3f} s, ratio {zarr_time / local:.2f}")

    many = os.path.join(root, "many.mcf")
    if not os.path.exists(many):  # 1,000,000 frames of 1 x 4
        subprocess.run([writer, "series", many, "1000000", "1", "4"], check=True)
    header_local = best(lambda: kvmcfio.File(many).close())
    with serving(root) as server:
        url = server.url("many.mcf")
        header_remote = best(lambda: kvmcfio.File(url).close())
        server.reset_counts()
        kvmcfio.File(url).close()
        requests, served = len(server.requests), server.served["/many.mcf"]
    print(f"1,000,000 frames, header open: local {header_local:.3f} s, loopback HTTP {header_remote:.3f} s, "
          f"ratio {header_remote / header_local:.2f} ({requests} requests, {served} bytes of "
          f"{os.path.getsize(many)})")
    with kvmcfio.File(many) as f:
        text = json.dumps(f.references())
    print(f"1,000,000 frames: reference JSON {len(text)} bytes")


if __name__ == "__main__":
    main(sys.argv[1])
