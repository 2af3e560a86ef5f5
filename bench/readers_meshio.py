# meshio.read of the files bench_readers leaves in /tmp (run it first), the
# peer figure beside the library's readers: the median of five reads each.
import statistics
import sys
import time

import meshio

base = "/tmp/qz4_bench_readers"
for name in (".mesh", ".meshb", "_binary.vtk", "_ascii.vtk"):
    times = []
    for _ in range(5):
        start = time.perf_counter()
        try:
            meshio.read(base + name)
        except Exception as error:  # a file meshio cannot take is reported, not fatal
            print(f"meshio.read {base + name}: {error}", file=sys.stderr)
            break
        times.append(time.perf_counter() - start)
    if times:
        print(f"meshio.read {name}: {statistics.median(times) * 1000:.0f} ms")
