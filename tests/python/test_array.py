"""Sources as array-likes, imread and the openers, against the C functions."""

import errno
import io
import pathlib

import numpy as np
import pytest

import kvmcfio
from conftest import BACKGROUND, SIGNAL, open_descriptors, small_frames


def read_syscalls():
    with open("/proc/self/io") as io_counts:
        return int(next(line for line in io_counts if line.startswith("syscr:")).split()[1])


def test_a_source_is_an_array_like_with_the_c_functions_pixels(files, cref):
    # (file, source, C source, shape of sub-image 0 worked out from the geometry)
    cases = (("demo.mcf", "signal", SIGNAL, (20, 1, 1024)),
             ("binned.mcf", "signal", SIGNAL, (3, 4, 16)),         # 32 x 8 detector pixels binned 2 x 2
             ("handtyped.mcf", "background", BACKGROUND, (3, 1, 2)))
    for name, source, code, shape in cases:
        cref.open(files / name)
        with kvmcfio.File(files / name) as f:
            s = f.sources[source]
            assert (s.shape, s.dtype, s.ndim, s.axes, len(s)) == (shape, np.float32, 3, "TYX", shape[0])
            np.testing.assert_array_equal(np.asarray(s), cref.frames(code).reshape(shape), strict=True)
    # Frames {1, 2}, {3, 4}, {5, 6} as typed.
    assert kvmcfio.imread(files / "handtyped.mcf").tolist() == [[[1, 2]], [[3, 4]], [[5, 6]]]


def test_frames_by_integer_slice_step_and_index_array(files, cref):
    cref.open(files / "demo.mcf")
    reference = cref.frames(SIGNAL).reshape(20, 1, 1024)
    keys = (0, -1, np.int64(7), slice(None), slice(None, None, 10), slice(18, 3, -4), slice(30, 40),
            [5, 1, 1, 19], np.array([[0, 1], [2, 3]]), np.arange(20) % 3 == 0, [], (3, 0, slice(10, 20)),
            (3, slice(None), [5, 9]), ([[4], [2]], 0, [1, 6, 8]), (slice(2, 6), 0, [1, 3]), (Ellipsis, 5))
    with kvmcfio.File(files / "demo.mcf") as f:
        s = f.sources["signal"]
        for key in keys:
            np.testing.assert_array_equal(s[key], reference[key], err_msg=repr(key))
            assert s[key].flags.writeable
        # One positioned read per run of consecutive frames (beside the counter's own reads).
        s[0]
        own = -read_syscalls() + read_syscalls()
        for key, runs in ((slice(None), 1), (slice(None, None, 10), 2), ([3, 4, 5, 9, 10, 2], 3)):
            before = read_syscalls()
            s[key]
            assert read_syscalls() - before - own == runs, key
        for key in (20, -21, [0, 20], np.array([True, False])):
            with pytest.raises(IndexError, match="demo.mcf, signal source has 20 frames"):
                s[key]

        # Sub-images of the demo background (32 x 64 at offset 0, then 32 x 64 binned 2 x 2), by key.
        background = cref.frames(BACKGROUND)
        b = f.sources["background"]
        np.testing.assert_array_equal(b[0], background[0, :2048].reshape(32, 64))
        with pytest.raises(IndexError, match="sub-image 2 out of range.*2 sub-images"):
            b.asarray(subimage=2)


def test_asarray_into_callers_arrays_and_memory_maps(files, cref):
    cref.open(files / "binned.mcf")
    reference = cref.frames(SIGNAL).reshape(3, 4, 16)
    with kvmcfio.File(files / "binned.mcf") as f:
        s = f.sources["signal"]
        out = np.full((3, 4, 16), -1, np.float32)
        assert s.asarray(out=out) is out
        np.testing.assert_array_equal(out, reference)
        # A strided view of a larger array is filled in place too.
        wide = np.zeros((2, 4, 32), np.float32)
        s.asarray([2, 0], out=wide[:, :, ::2])
        np.testing.assert_array_equal(wide, np.stack([reference[[2, 0]], 0 * reference[:2]], -1).reshape(2, 4, 32))
        mapped = s.asarray(slice(1, 3), out="memmap")
        assert isinstance(mapped, np.memmap)
        np.testing.assert_array_equal(mapped, reference[1:3])
        frozen = np.empty((3, 4, 16), np.float32)
        frozen.flags.writeable = False
        for bad, words in ((np.empty((3, 4, 15), np.float32), "binned.mcf"),
                           (np.empty((3, 4, 16), np.float64), "binned.mcf"), (frozen, "read-only")):
            with pytest.raises(ValueError, match=words):
                s.asarray(out=bad)


def test_imread_of_paths_lists_and_globs(files):
    small = [files / f"small{i:02d}.mcf" for i in range(50)]
    expected = small_frames()
    np.testing.assert_array_equal(kvmcfio.imread(small[7]), expected[7])
    np.testing.assert_array_equal(kvmcfio.imread(str(files / "small4[0-2].mcf"), key=2), expected[40:43, 2])
    np.testing.assert_array_equal(kvmcfio.imread(small[:2], key=[3, 0]), expected[:2][:, [3, 0]])
    out = np.empty((2, 4, 6, 8), np.float32)
    assert kvmcfio.imread(small[5:7], out=out) is out
    np.testing.assert_array_equal(out, expected[5:7])

    with pytest.raises(ValueError, match=r"binned\.mcf .*small00\.mcf.*do not stack"):
        kvmcfio.imread([small[0], files / "binned.mcf"])
    for args, kwargs, error, words in (
            ((str(files / "nothing*.mcf"),), {}, kvmcfio.FileNotFoundError, "nothing"),
            ((small[0],), {"source": "reference"}, KeyError, "small00.mcf has no 'reference' source"),
            (([],), {}, ValueError, "")):
        with pytest.raises(error, match=words):
            kvmcfio.imread(*args, **kwargs)


def test_openers_for_paths_file_objects_and_bytes(files, tmp_path):
    path = files / "binned.mcf"
    data = path.read_bytes()
    expected = kvmcfio.imread(path)
    with open(path, "rb") as raw:
        openers = (str(path), bytes(path), pathlib.Path(path), io.BytesIO(data), raw)
        for opener in openers:
            with kvmcfio.File(opener) as f:
                np.testing.assert_array_equal(np.asarray(f.sources["signal"]), expected, err_msg=repr(opener))
    for data_like in (data, bytearray(data), memoryview(data), np.frombuffer(data, np.uint8)):
        with kvmcfio.File.from_bytes(data_like) as f:
            np.testing.assert_array_equal(f.sources["signal"][:], expected)
    # A file object's name goes into its errors.
    bad = tmp_path / "notes.json"
    bad.write_bytes(b'{"frames": 3}\n')
    with open(bad, "rb") as raw, pytest.raises(kvmcfio.FormatError, match="notes.json: not a multi-channel file"):
        kvmcfio.File(raw)
    for wrong in (io.StringIO("text"), 3, bytearray(data)):
        with pytest.raises(TypeError):
            kvmcfio.File(wrong)


def test_refusals_raise_the_packages_exceptions_and_leave_nothing_open(files, tmp_path):
    before = open_descriptors()
    missing = tmp_path / "absent.mcf"
    with pytest.raises(kvmcfio.FileNotFoundError) as e:
        kvmcfio.File(missing)
    assert isinstance(e.value, FileNotFoundError) and isinstance(e.value, kvmcfio.FileError)
    assert (e.value.errno, e.value.filename, e.value.code, str(e.value)) == (
        errno.ENOENT, str(missing), 22006, f"[Errno 2] No such file or directory: '{missing}'")
    (tmp_path / "e.mcf").write_bytes(b"")
    with pytest.raises(kvmcfio.FormatError, match="e.mcf: not a") as e:
        kvmcfio.File(tmp_path / "e.mcf")
    assert e.value.code == 22003
    assert open_descriptors() == before
