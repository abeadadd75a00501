"""Test files written by the project's writers, and the C functions loaded through
ctypes as the reference the package must agree with."""

import ctypes
import os
import subprocess

import numpy as np
import pytest

SIGNAL, BACKGROUND = 0x40000000, 0x40000002
AXIS_X, AXIS_Z = 0x40000000, 0x40000002
SUCCESS = 22002
TYPE_NAMES = {0x40000002: "int32", 0x40000003: "uint32", 0x40000005: "uint64", 0x40000006: "float",
              0x40000007: "double", 0x40000008: "string", 1: "byte"}


@pytest.fixture(scope="session")
def files(tmp_path_factory):
    root = tmp_path_factory.mktemp("mcf")
    subprocess.run([os.environ["KVMCF_TESTFILES"], "shapes", str(root)], check=True)
    return root


class CReference:
    """The exported functions of the C shared object: one file open at a time."""

    def __init__(self, path):
        self.lib = ctypes.CDLL(path)
        u, p = ctypes.c_uint, ctypes.POINTER
        self.lib.KVMCF_GetPropertyValue.argtypes = [u, ctypes.c_char_p, ctypes.c_char_p, u]
        self.lib.KVMCF_GetPropertyType.argtypes = [u, ctypes.c_char_p, p(u)]
        self.lib.KVMCF_GetPixelCalibration.argtypes = [u, u, ctypes.c_int, p(ctypes.c_double)]
        self.lib.KVMCF_GetAllFrames.argtypes = [u, p(ctypes.c_float), u]
        self.lib.KVMCF_GetSubImageInfo.argtypes = [u, u] + [p(u)] * 6

    def open(self, path):
        assert self.lib.KVMCF_SetFileAccessMode(0x40000001) == SUCCESS
        assert self.lib.KVMCF_ReadFromFile(str(path).encode()) == SUCCESS

    def uint(self, function, *args):
        out = ctypes.c_uint()
        assert getattr(self.lib, function)(*args, ctypes.byref(out)) == SUCCESS
        return out.value

    def frames(self, source):
        n, length = self.uint("KVMCF_GetNumberFrames", source), self.uint("KVMCF_GetFrameSize", source)
        out = np.zeros((n, length), dtype=np.float32)
        buffer = out.ctypes.data_as(ctypes.POINTER(ctypes.c_float))
        assert self.lib.KVMCF_GetAllFrames(source, buffer, out.size) == SUCCESS
        return out

    def subimages(self, source):
        out = []
        for i in range(self.uint("KVMCF_GetNumberSubImages", source)):
            v = [ctypes.c_uint() for _ in range(6)]
            assert self.lib.KVMCF_GetSubImageInfo(source, i, *[ctypes.byref(x) for x in v]) == SUCCESS
            out.append(tuple(x.value for x in v))
        return out

    def property(self, source, name):
        """(text, type name) of a property, or None when the value query refuses it."""
        text = ctypes.create_string_buffer(4096)
        if self.lib.KVMCF_GetPropertyValue(source, name.encode(), text, 4096) != SUCCESS:
            return None
        kind = ctypes.c_uint()
        self.lib.KVMCF_GetPropertyType(source, name.encode(), ctypes.byref(kind))
        return text.value.decode("latin-1"), TYPE_NAMES.get(kind.value)

    def calibration(self, source, axis, pixel):
        out = ctypes.c_double()
        assert self.lib.KVMCF_GetPixelCalibration(source, axis, pixel, ctypes.byref(out)) == SUCCESS
        return out.value


@pytest.fixture(scope="session")
def cref():
    return CReference(os.environ["KVMCF_C_LIBRARY"])
