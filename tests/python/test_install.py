"""The installed package alone: importable, versioned, and the xarray engine found
through its distribution's entry point."""

import os
import subprocess
import sys

import numpy as np

from conftest import SIGNAL

INSTALLED = r"""
import importlib.metadata, sys
import numpy as np, xarray as xr
import kvmcfio
assert kvmcfio.__file__.startswith(sys.argv[1]), kvmcfio.__file__
assert kvmcfio.__version__ == importlib.metadata.version("kvmcfio"), kvmcfio.__version__
path, out = sys.argv[2], sys.argv[3]
with xr.open_dataset(path) as ds:  # the engine found by its entry point's guess
    np.save(out, ds["signal"].values)
"""


def test_engine_after_install_into_a_scratch_prefix(files, cref, tmp_path):
    prefix = tmp_path / "prefix"
    subprocess.run([os.environ["KVMCF_CMAKE"], "--install", os.environ["KVMCF_BUILD_DIR"], "--prefix", str(prefix)],
                   check=True, stdout=subprocess.DEVNULL)
    site = prefix / os.environ["KVMCF_PYTHON_SITE"]
    env = {"PYTHONPATH": str(site), "PATH": os.environ.get("PATH", "/usr/bin:/bin"), "PYTHONDONTWRITEBYTECODE": "1"}
    out = tmp_path / "signal.npy"
    subprocess.run([sys.executable, "-c", INSTALLED, str(prefix), str(files / "demo.mcf"), str(out)], env=env,
                   cwd=tmp_path, check=True)
    cref.open(files / "demo.mcf")
    np.testing.assert_array_equal(np.load(out).reshape(20, -1), cref.frames(SIGNAL))
