# Services run side by side on distinct meshes in threads, with the GIL
# released during each call.
import threading
import time

import numpy as np

import qz4tessellix as tx
from conftest import grid


def work(pos, tri):
    """Weld a triangle soup, then neighbours, open boundary and qualities."""
    soup_pos = pos[tri.ravel()].copy()
    soup = np.arange(len(soup_pos), dtype=np.uint32).reshape(-1, 3)
    merged, _ = tx.merge(soup_pos, soup, 1e-9)
    count, soup_pos, _ = tx.simplify(soup_pos, soup)
    nb = tx.get_neighbors(soup, tx.ET_TRIA3)
    edges = tx.get_mesh_boundaries(soup, nb, tx.ET_TRIA3)
    h = tx.shape_qualities(soup_pos, soup, tx.ET_TRIA3, tx.histogram(0, 1, 10))
    return merged, count, len(edges), h.bins.tolist(), tx.translate(soup_pos, (1, 0, 0))


def test_threads_on_distinct_meshes_give_the_serial_results():
    meshes = [grid(12 + k, 9) for k in range(6)]
    serial = [work(p.copy(), t.copy()) for p, t in meshes]
    results = [None] * len(meshes)

    def run(k):
        for _ in range(3):
            results[k] = work(meshes[k][0].copy(), meshes[k][1].copy())

    threads = [threading.Thread(target=run, args=(k,)) for k in range(len(meshes))]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert results == serial
    assert serial[0][:3] == (6 * 12 * 9 - 13 * 10, 6 * 12 * 9 - 13 * 10, 2 * (12 + 9))


def test_the_gil_is_released_while_a_service_runs():
    pos, tri = grid(400, 400)
    started, finished = threading.Event(), threading.Event()

    def spin(until):  # Python work: runs beside a call only when the GIL is free
        n, t0 = 0, time.perf_counter()
        while not until():
            n += 1
        return n / (time.perf_counter() - t0), time.perf_counter() - t0

    t_end = time.perf_counter() + 0.05
    alone, _ = spin(lambda: time.perf_counter() > t_end)

    def service():
        started.set()
        tx.merge(pos, tri.copy(), 1e-9)
        finished.set()

    t = threading.Thread(target=service)
    t.start()
    started.wait()
    beside, elapsed = spin(finished.is_set)
    t.join()
    assert elapsed > 0.05 and beside > 0.2 * alone


def test_one_detector_and_one_histogram_serve_threads_in_turn():
    pos, tri = grid(30, 30)
    other = pos[::-1].copy()
    d, h = tx.node_detector(pos), tx.histogram(0, 1, 4)
    errors = []

    def query():
        for k in range(300):
            node = d.find_closest(pos[k % len(pos)])
            if pos[node].tolist() != pos[k % len(pos)].tolist() and other[node].tolist() != pos[k % len(pos)].tolist():
                errors.append(node)
            d.find_in_box((0, 0), (0.5, 0.5))
            tx.shape_qualities(pos, tri, tx.ET_TRIA3, h)

    def rebuild():
        for k in range(50):
            d.reinit(other if k % 2 else pos)

    threads = [threading.Thread(target=query) for _ in range(3)] + [threading.Thread(target=rebuild)]
    for t in threads:
        t.start()
    for t in threads:
        t.join()
    assert errors == [] and h.count == 3 * 300 * len(tri)
