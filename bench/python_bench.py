"""Timings of the Python package, run by hand (not in CI):

    PYTHONPATH=build/release/python /usr/bin/python3 bench/python_bench.py [build/release]

- the overhead of small calls from Python (the zero translation returns at
  once: all of its time is the crossing);
- STL_input of a 2,000,000-triangle binary STL (a torus) from Python, beside
  the C++ call on the same file (bench_surface's BM_STL_input_binary, when the
  build folder holds it) and meshio.read of the same file.
Each figure is the median of repeated runs.
"""
import json
import os
import statistics
import subprocess
import sys
import time
import timeit

import numpy as np

import qz4tessellix as tx

STL = "/tmp/qz4_bench_surface.stlb"  # the file bench_surface writes and reads


def torus(m, n):
    u, v = np.meshgrid(2 * np.pi * np.arange(m) / m, 2 * np.pi * np.arange(n) / n, indexing="ij")
    pos = np.column_stack([((3 + np.cos(v)) * np.cos(u)).ravel(), ((3 + np.cos(v)) * np.sin(u)).ravel(),
                           np.sin(v).ravel()])
    i, j = np.meshgrid(np.arange(m), np.arange(n), indexing="ij")
    a, b = i * n + j, i * n + (j + 1) % n
    c, d = ((i + 1) % m) * n + j, ((i + 1) % m) * n + (j + 1) % n
    tri = np.stack([np.column_stack([a.ravel(), c.ravel(), d.ravel()]),
                    np.column_stack([a.ravel(), d.ravel(), b.ravel()])], axis=1).reshape(-1, 3)
    return pos, tri.astype(np.uint32)


def per_call(stmt, number=200000):
    return min(timeit.repeat(stmt, number=number, repeat=5, globals=globals())) / number * 1e6


def median_time(f, runs=3):
    times = []
    for _ in range(runs):
        t0 = time.perf_counter()
        f()
        times.append(time.perf_counter() - t0)
    return statistics.median(times)


def cpp_stl_input(build):
    program = os.path.join(build, "bench", "bench_surface")
    if not os.path.exists(program):
        return None
    out = subprocess.run([program, "--benchmark_filter=BM_STL_input_binary/", "--benchmark_format=json",
                          "--benchmark_repetitions=3", "--benchmark_report_aggregates_only=true"],
                         capture_output=True, text=True, check=True).stdout
    (run,) = [b for b in json.loads(out)["benchmarks"] if b.get("aggregate_name") == "median"]
    return run["real_time"] * {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}[run["time_unit"]]


def main():
    build = sys.argv[1] if len(sys.argv) > 1 else "build/release"
    global small_pos, small_tri, zero
    small_pos, small_tri = np.zeros((4, 3)), np.array([[0, 1, 2], [1, 3, 2]], dtype=np.uint32)
    zero = (0.0, 0.0, 0.0)
    print("Overhead of a small call from Python (best of 5, microseconds per call):")
    for stmt in ("tx.version()", "tx.max_ID(small_tri)", "tx.translate(small_pos, zero)",
                 "tx.get_neighbors(small_tri, tx.ET_TRIA3)", "tx.log_mean_size(1.0, 2.0)"):
        print(f"  {stmt:42s} {per_call(stmt):6.2f}")

    cpp = cpp_stl_input(build)  # writes the file too
    if not os.path.exists(STL):
        pos, tri = torus(1000, 1000)
        tx.STL_output(STL, pos, tri, False)
    print(f"\nSTL_input of {STL} ({(os.path.getsize(STL) - 84) // 50:,} triangles), median of 5 after a first call:")
    tx.STL_input(STL, False)  # the first call in a process pays for fresh memory
    py = median_time(lambda: tx.STL_input(STL, False), runs=5)
    print(f"  from Python            {py:7.3f} s")
    if cpp is not None:
        print(f"  C++ (bench_surface)    {cpp:7.3f} s   Python / C++ = {py / cpp:.3f}")
    try:
        import meshio

        t = median_time(lambda: meshio.read(STL, file_format="stl"), runs=1)
        print(f"  meshio.read            {t:7.3f} s  (one run)")
    except ImportError:
        print("  meshio.read            (meshio missing)")


if __name__ == "__main__":
    main()
