"""The C functions' stream state does not reach the package: after an oversized
whole-series read leaves the C stream failed, the package still reads every frame."""

import ctypes

import numpy as np

import kvmcfio
from conftest import BACKGROUND, SUCCESS


def test_package_reads_every_frame_after_the_c_stream_failed(files, cref):
    path = files / "demo.mcf"
    cref.open(path)
    before = cref.frames(BACKGROUND)
    as_floats = ctypes.POINTER(ctypes.c_float)
    # Far more than the rest of the file: the read succeeds and leaves the C stream failed.
    big = np.zeros(before.size + (1 << 20), dtype=np.float32)
    assert cref.lib.KVMCF_GetAllFrames(BACKGROUND, big.ctypes.data_as(as_floats), big.size) == SUCCESS
    exact = np.zeros_like(before)
    assert cref.lib.KVMCF_GetAllFrames(BACKGROUND, exact.ctypes.data_as(as_floats), exact.size) == 22006
    with kvmcfio.File(path) as f:
        np.testing.assert_array_equal(f.sources["background"].frames, before)
    cref.lib.KVMCF_CloseFile()
