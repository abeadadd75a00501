"""Times the Python package against numpy on large files.

    /usr/bin/python3 bench/python_bench.py BUILD_DIR [SCRATCH_DIR]

Writes a 256 MiB and a 1 GiB file with the test file writer, then prints:
- imread of the 256 MiB file against numpy.fromfile of the same pixel bytes at the
  pixel block's offset (best of 5, page cache warm for both);
- File(...).sources["signal"].frames of the 1 GiB file against the open alone, and
  the resident memory it adds (no pixel is read until touched).
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


def rss_mib():
    with open("/proc/self/status") as status:
        for line in status:
            if line.startswith("VmRSS:"):
                return int(line.split()[1]) / 1024


def main():
    build = os.path.abspath(sys.argv[1])
    sys.path.insert(0, os.path.join(build, "python"))
    import numpy as np
    import kvmcfio

    writer = os.path.join(build, "tests", "python", "kvmcf_python_testfiles")
    scratch = tempfile.mkdtemp(dir=sys.argv[2] if len(sys.argv) > 2 else None)
    small, large = os.path.join(scratch, "256MiB.mcf"), os.path.join(scratch, "1GiB.mcf")
    try:
        # 512 x 512 float frames: 1 MiB each.
        subprocess.run([writer, "series", small, "256", "512", "512"], check=True)
        subprocess.run([writer, "series", large, "1024", "512", "512"], check=True)

        with kvmcfio.File(small) as f:
            start, count = f.sources["signal"].data_start, f.sources["signal"].frames.size
        reference = np.fromfile(small, np.float32, count, offset=start)
        assert np.array_equal(kvmcfio.imread(small).ravel(), reference)
        t_numpy = best(lambda: np.fromfile(small, np.float32, count, offset=start))
        t_imread = best(lambda: kvmcfio.imread(small))
        print(f"imread 256 MiB: {t_imread * 1e3:.1f} ms, numpy.fromfile {t_numpy * 1e3:.1f} ms, "
              f"ratio {t_imread / t_numpy:.3f} (goal <= 1.1)")

        def open_only():
            with kvmcfio.File(large) as f:
                f.sources["signal"]

        def open_and_view():
            with kvmcfio.File(large) as f:
                return f.sources["signal"].frames

        t_open = best(open_only)
        t_view = best(open_and_view)
        before = rss_mib()
        view = open_and_view()
        added = rss_mib() - before
        print(f"frames of 1 GiB: {t_view * 1e3:.2f} ms with the open, open alone {t_open * 1e3:.2f} ms, "
              f"view costs {(t_view - t_open) * 1e3:.2f} ms (goal < 50), adds {added:.1f} MiB resident "
              f"for a {view.nbytes / 2**30:.0f} GiB view")
        del view
    finally:
        for path in (small, large):
            if os.path.exists(path):
                os.remove(path)
        os.rmdir(scratch)


if __name__ == "__main__":
    main()
