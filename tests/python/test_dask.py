import os

import numpy as np
import pytest

import kvmcfio
from conftest import small_frames
from range_server import serving


@pytest.fixture(scope="module")
def small(files):
    return [str(files / f"small{i:02d}.mcf") for i in range(50)]


def test_stack_is_lazy_and_carries_only_paths_and_numbers(small):
    stack = kvmcfio.dask_stack(small, frames_per_chunk=3)
    assert (stack.shape, stack.dtype, stack.chunks[1]) == ((50, 4, 6, 8), np.float32, (3, 1))
    graph = dict(stack.__dask_graph__())
    assert len(graph) == 100
    for task in graph.values():
        assert all(isinstance(a, (str, int)) for a in task[1:])

    np.testing.assert_array_equal(stack.compute(scheduler="threads"), small_frames())


def test_stacks_of_one_path_and_a_sub_image_and_their_refusals(small, files):
    np.testing.assert_array_equal(kvmcfio.dask_stack(small[3]).compute(scheduler="sync"), small_frames()[3:4])
    second = kvmcfio.dask_stack(str(files / "demo.mcf"), source="background", subimage=1)
    np.testing.assert_array_equal(second.compute(scheduler="sync")[0],
                                  kvmcfio.imread(files / "demo.mcf", source="background", subimage=1))
    with pytest.raises(ValueError, match="binned.mcf gives signal frames of shape"):
        kvmcfio.dask_stack(small[:2] + [str(files / "binned.mcf")])


def test_stacks_of_paths_and_urls_reduce_on_a_cluster_of_two_worker_processes(small, files):
    distributed = pytest.importorskip("distributed")
    with serving(files) as server, \
            distributed.LocalCluster(n_workers=2, threads_per_worker=1, processes=True, host="127.0.0.1",
                                     dashboard_address=None, silence_logs=50) as cluster, \
            distributed.Client(cluster) as client:
        # Each file's mean: 10000 i + 1000 * 1.5 + 23.5 / 2.
        means = client.compute(kvmcfio.dask_stack(small).mean(axis=(1, 2, 3))).result()
        np.testing.assert_array_equal(means, 10000 * np.arange(50) + 1500 + 11.75)
        # The workers have no path: each task opens its URL.
        urls = kvmcfio.dask_stack([server.url(f"small{i:02d}.mcf") for i in range(20)], frames_per_chunk=3)
        np.testing.assert_array_equal(client.compute(urls).result(), small_frames()[:20])
        assert len(set(client.run(os.getpid).values())) == 2
