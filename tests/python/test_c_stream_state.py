"""The C functions' stream state does not reach the package: after an oversized
whole-series read leaves the C stream failed, the package still reads every frame."""

import ctypes

import numpy as np

import kvmcfio
from conftest import BACKGROUND, SUCCESS

FILE_ERROR = 22006


def test_package_reads_every_frame_after_the_c_stream_failed(files, cref):
    path = files / "demo.mcf"
    cref.open(path)
    before = cref.frames(BACKGROUND)
    as_floats = ctypes.POINTER(ctypes.c_float)

    # Far more than the rest of the file: the read runs to its end and still succeeds.
    big = np.full(before.size + (1 << 20), -7.5, dtype=np.float32)
    assert cref.lib.KVMCF_GetAllFrames(BACKGROUND, big.ctypes.data_as(as_floats), big.size) == SUCCESS
    np.testing.assert_array_equal(big[:before.size], before.ravel())
    assert (big[-1] == -7.5)

    # From now on the C stream is failed: frames leave the buffer alone, series fail.
    frame = np.full(before.shape[1], -7.5, dtype=np.float32)
    cref.lib.KVMCF_GetFrame.argtypes = [ctypes.c_uint, ctypes.c_uint, as_floats, ctypes.c_uint]
    assert cref.lib.KVMCF_GetFrame(BACKGROUND, 0, frame.ctypes.data_as(as_floats), frame.size) == SUCCESS
    assert (frame == -7.5).all()
    exact = np.zeros_like(before)
    assert cref.lib.KVMCF_GetAllFrames(BACKGROUND, exact.ctypes.data_as(as_floats), exact.size) == FILE_ERROR

    with kvmcfio.File(path) as f:
        np.testing.assert_array_equal(np.asarray(f.sources["background"].frames).reshape(before.shape), before)
    cref.lib.KVMCF_CloseFile()
