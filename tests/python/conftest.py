"""Test files written by the project's writers, and the C functions loaded through
ctypes as the reference the package must agree with."""

import ctypes
import os
import subprocess

import numpy as np
import pytest

SIGNAL, BACKGROUND = 0x40000000, 0x40000002
SUCCESS = 22002


def binned_frames():
    """binned.mcf: columns 5..36, rows 3..10 binned 2 x 2 (4 rows of 16); pixel i of frame f is 10 + 1000 f + i / 2."""
    return 10 + 1000 * np.arange(3)[:, None, None] + 0.5 * np.arange(64).reshape(1, 4, 16)


def binned_x(p):
    """binned.mcf's wavelength at detector column p; a binned column c spans 5 + 2c and 6 + 2c."""
    return 400 + 0.5 * p + 0.001 * p**2


def small_frames():
    """small00..49.mcf: file i holds 10000 i + 1000 f + p / 2 at frame f, pixel p of 6 x 8."""
    return (10000 * np.arange(50)[:, None, None, None] + 1000 * np.arange(4)[None, :, None, None]
            + 0.5 * np.arange(48).reshape(1, 1, 6, 8))


def mapped_paths():
    with open("/proc/self/maps") as maps:
        return [line.split(None, 5)[5].strip() for line in maps if len(line.split(None, 5)) == 6]


def open_descriptors():
    return sorted(os.readlink(f"/proc/self/fd/{fd}") for fd in os.listdir("/proc/self/fd")
                  if os.path.exists(f"/proc/self/fd/{fd}"))


@pytest.fixture(scope="session")
def files(tmp_path_factory):
    root = tmp_path_factory.mktemp("mcf")
    subprocess.run([os.environ["KVMCF_TESTFILES"], "shapes", str(root)], check=True)
    return root


class CReference:
    """The exported functions of the C shared object: one file open at a time."""

    def __init__(self, path):
        self.lib = ctypes.CDLL(path)

    def open(self, path):
        assert self.lib.KVMCF_SetFileAccessMode(0x40000001) == SUCCESS
        assert self.lib.KVMCF_ReadFromFile(str(path).encode()) == SUCCESS

    def frames(self, source):
        n, length = ctypes.c_uint(), ctypes.c_uint()
        assert self.lib.KVMCF_GetNumberFrames(source, ctypes.byref(n)) == SUCCESS
        assert self.lib.KVMCF_GetFrameSize(source, ctypes.byref(length)) == SUCCESS
        out = np.zeros((n.value, length.value), dtype=np.float32)
        buffer = out.ctypes.data_as(ctypes.POINTER(ctypes.c_float))
        assert self.lib.KVMCF_GetAllFrames(source, buffer, out.size) == SUCCESS
        return out


@pytest.fixture(scope="session")
def cref():
    return CReference(os.environ["KVMCF_C_LIBRARY"])
