"""Lazy stacks of many files as one dask array."""

import os

import numpy as np

from ._file import File, _label, _source, expand_files

# Largest block of frames one task reads.
CHUNK_BYTES = 64 << 20


def chunk_frames(frame_bytes, asked=None):
    """Whole frames per chunk: as asked, else as many as fit in about 64 MiB."""
    if asked is None:
        return max(1, CHUNK_BYTES // max(1, frame_bytes))
    if int(asked) < 1:
        raise ValueError(f"frames_per_chunk must be at least 1, not {asked}")
    return int(asked)


def _read_block(path, source, subimage, data_start, first, count):
    # Runs on a worker: each task opens its own file, header only.
    with File(path, header_only=True) as f:
        src = f.sources[source]
        if src.data_start != data_start:
            raise RuntimeError(f"{_label(path)} changed since the stack was built")
        return src.asarray(slice(first, first + count), subimage=subimage)[None]


def dask_stack(files, source="signal", subimage=0, frames_per_chunk=None):
    """One sub-image of one data source of many files, stacked lazily into a
    ``dask.array`` of float32 (files, frames, rows, columns), rows from the bottom of
    the detector upward.

    ``files`` is a path, a glob pattern ("run_*.mcf", sorted by name) or a list of
    paths; every file must give the same shape. The headers are read now; pixels only
    when computed, each chunk (whole frames, about 64 MiB unless ``frames_per_chunk``
    says) by a task that opens its file header-only. The task graph carries only
    paths and numbers, so it runs on any local or distributed scheduler."""
    import dask.array as da
    from dask.base import tokenize
    from dask.highlevelgraph import HighLevelGraph

    paths, _ = expand_files(files)
    layouts = []
    for path in paths:
        if not isinstance(path, (str, bytes)):
            raise TypeError(f"dask_stack reads files by path, not {type(path).__name__}")
        with File(path, header_only=True) as f:
            src = _source(f, source)
            shape = (src.frame_count,) + src._layout(subimage)[2]
            layouts.append((shape, src.data_start, os.path.getmtime(path)))
        if shape != layouts[0][0]:
            raise ValueError(f"dask_stack: {_label(path)} gives {source} frames of shape {shape}, "
                             f"{_label(paths[0])} {layouts[0][0]}: they do not stack")
    shape = layouts[0][0]
    frames = shape[0]
    step = chunk_frames(4 * int(np.prod(shape[1:])), frames_per_chunk)
    blocks = [(first, min(step, frames - first)) for first in range(0, frames, step)]
    if not blocks:  # sources without frames: nothing to read
        return da.zeros((len(paths),) + shape, dtype=np.float32)

    name = "kvmcfio-stack-" + tokenize(paths, source, subimage, layouts, step)
    graph = {}
    for i, (path, layout) in enumerate(zip(paths, layouts)):
        for j, (first, count) in enumerate(blocks):
            graph[(name, i, j) + (0,) * (len(shape) - 1)] = (_read_block, path, source, subimage, layout[1],
                                                              first, count)
    chunks = ((1,) * len(paths), tuple(c for _, c in blocks)) + tuple((n,) for n in shape[1:])
    return da.Array(HighLevelGraph.from_collections(name, graph, dependencies=()), name, chunks,
                    dtype=np.float32)
