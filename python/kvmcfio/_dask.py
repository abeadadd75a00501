"""Lazy stacks of many files as one dask array."""

import os

import numpy as np

from ._file import File, _single_region, _source

# Largest frame block one task reads.
_BLOCK_BYTES = 64 << 20


def _read_block(path, source, data_start, first, count, rows, cols):
    # Runs on a worker: each task opens its own file, header only.
    with File(path, header_only=True) as f:
        src = f.sources[source]
        if src.data_start != data_start:
            raise RuntimeError(f"{path} changed since the stack was built")
        return src.read_frames(first, count).reshape(1, count, rows, cols)


def dask_stack(paths, source="signal", frames_per_block=None):
    """Stacks one data source of many files lazily into a ``dask.array`` of shape
    (files, frames, rows, columns), float32.

    Every file must hold the same number of frames of one same-shaped sub-image.
    The headers are read now; pixels are read only when computed, one block of
    frames per task, each task opening its file in header-only mode. The task graph
    carries only paths, frame numbers and pixel offsets, so it runs on any local or
    distributed scheduler. ``frames_per_block`` defaults to blocks of at most
    64 MiB."""
    import dask.array as da
    from dask.base import tokenize
    from dask.highlevelgraph import HighLevelGraph

    paths = [os.fspath(p) for p in paths]
    if not paths:
        raise ValueError("dask_stack needs at least one file")
    layouts = []
    for path in paths:
        with File(path, header_only=True) as f:
            src = _source(f, source, path)
            rows, cols = _single_region(src, "dask_stack")
            layouts.append((src.frame_count, rows, cols, src.data_start, os.path.getmtime(path)))
    frames, rows, cols = layouts[0][:3]
    for path, layout in zip(paths, layouts):
        if layout[:3] != (frames, rows, cols):
            raise ValueError(f"dask_stack: {path} holds {layout[0]} frames of {layout[1]} x {layout[2]}, "
                             f"{paths[0]} {frames} of {rows} x {cols}")

    if frames_per_block is None:
        frames_per_block = max(1, _BLOCK_BYTES // max(1, rows * cols * 4))
    frames_per_block = max(1, min(int(frames_per_block), max(frames, 1)))
    blocks = [(first, min(frames_per_block, frames - first)) for first in range(0, frames, frames_per_block)]

    name = "kvmcfio-stack-" + tokenize(paths, source, layouts, frames_per_block)
    graph = {}
    for i, (path, layout) in enumerate(zip(paths, layouts)):
        for j, (first, count) in enumerate(blocks):
            graph[(name, i, j, 0, 0)] = (_read_block, path, source, layout[3], first, count, rows, cols)
    if not blocks:  # sources without frames: nothing to read
        return da.zeros((len(paths), 0, rows, cols), dtype=np.float32)
    chunks = ((1,) * len(paths), tuple(c for _, c in blocks), (rows,), (cols,))
    return da.Array(HighLevelGraph.from_collections(name, graph, dependencies=()), name, chunks,
                    dtype=np.float32)
