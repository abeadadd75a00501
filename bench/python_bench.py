"""Times the Python package against plain numpy and os reads on large files.

    nice -n 10 /usr/bin/python3 bench/python_bench.py BUILD_DIR [SCRATCH_DIR]

Writes a 256 MiB and a 1 GiB file (frames of 512 x 512 floats, 1 MiB each) with the
test file writer, then prints, best of 5 with the page cache warm for both sides:
- imread of the 256 MiB file against numpy.fromfile of the same pixel bytes;
- source[::10] of the 1 GiB file against os.preadv of the same frames into one array;
- xr.open_dataset of the 1 GiB file, with the bytes it read (no pixel is read).
"""

import os
import subprocess
import sys
import tempfile
import time


def best(f, runs=5):
    times = []
    for _ in range(runs):
        start = time.perf_counter()
        f()
        times.append(time.perf_counter() - start)
    return min(times)


def bytes_read():
    with open("/proc/self/io") as counts:
        return int(next(line for line in counts if line.startswith("rchar:")).split()[1])


def main():
    build = os.path.abspath(sys.argv[1])
    sys.path.insert(0, os.path.join(build, "python"))
    import numpy as np
    import xarray as xr
    import kvmcfio

    writer = os.path.join(build, "tests", "python", "kvmcf_python_testfiles")
    scratch = tempfile.mkdtemp(dir=sys.argv[2] if len(sys.argv) > 2 else None)
    small, large = os.path.join(scratch, "256MiB.mcf"), os.path.join(scratch, "1GiB.mcf")
    try:
        subprocess.run([writer, "series", small, "256", "512", "512"], check=True)
        subprocess.run([writer, "series", large, "1024", "512", "512"], check=True)

        with kvmcfio.File(small) as f:
            start, count = f.sources["signal"].data_start, f.sources["signal"].size
        reference = np.fromfile(small, np.float32, count, offset=start)
        assert np.array_equal(kvmcfio.imread(small).ravel(), reference)
        del reference
        t_numpy = best(lambda: np.fromfile(small, np.float32, count, offset=start))
        t_imread = best(lambda: kvmcfio.imread(small))
        print(f"imread 256 MiB: {t_imread * 1e3:.1f} ms, numpy.fromfile {t_numpy * 1e3:.1f} ms, "
              f"ratio {t_imread / t_numpy:.3f} (goal <= 1.1)")

        with kvmcfio.File(large) as f:
            signal = f.sources["signal"]
            start, frames, frame_bytes = signal.data_start, len(signal), signal.size // len(signal) * 4
            picked = range(0, frames, 10)

            def preadv():
                out = np.empty((len(picked), 512, 512), np.float32)
                view = memoryview(out).cast("B")
                fd = os.open(large, os.O_RDONLY)
                try:
                    for i, frame in enumerate(picked):
                        os.preadv(fd, [view[i * frame_bytes:(i + 1) * frame_bytes]], start + frame * frame_bytes)
                finally:
                    os.close(fd)
                return out

            assert np.array_equal(signal[::10], preadv())
            t_preadv = best(preadv)
            t_step = best(lambda: signal[::10])
        print(f"source[::10] of 1 GiB ({len(picked)} frames): {t_step * 1e3:.1f} ms, os.preadv "
              f"{t_preadv * 1e3:.1f} ms, ratio {t_step / t_preadv:.3f} (goal <= 1.2)")

        def open_dataset():
            with xr.open_dataset(large, engine="kvmcf") as ds:
                return ds["signal"].shape

        open_dataset()
        before = bytes_read()
        t_open = best(open_dataset, 1)
        read = bytes_read() - before
        t_open = min(t_open, best(open_dataset))
        print(f"xr.open_dataset of 1 GiB: {t_open * 1e3:.2f} ms (goal < 50), {read / 1024:.1f} KiB read "
              f"by one open, of {frame_bytes / 1024:.0f} KiB per frame")
    finally:
        for path in (small, large):
            if os.path.exists(path):
                os.remove(path)
        os.rmdir(scratch)


if __name__ == "__main__":
    main()
