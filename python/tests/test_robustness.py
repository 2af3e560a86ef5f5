# Every public function called with odd arguments (None, wrong shapes and
# dtypes, empty arrays, nodes out of range, bad kinds) in a child process:
# each call returns or raises TypeError, ValueError, OSError or MemoryError,
# and the process never dies.
import os
import subprocess
import sys
import textwrap

import qz4tessellix as tx

CHILD = textwrap.dedent(
    r"""
    import os, random, sys
    import numpy as np
    import qz4tessellix as tx

    u = np.uint32
    pos3 = np.array([[0.0, 0, 0], [1, 0, 0], [0, 1, 0], [0, 0, 1]])
    pool = [
        None, 0, -1, 3, 1.5, "x", [], [[]], (1.0, 2.0), (1.0, 2.0, 3.0), [1.0] * 6,
        np.empty((0, 3)), np.empty((0, 3), u), np.empty((3, 0), u), np.zeros((2, 2)), pos3,
        pos3[:, :2], np.asfortranarray(pos3), np.zeros(3), np.ones(4), np.zeros((4, 6)),
        np.array([[0, 1, 2], [1, 3, 2]], u), np.array([[0, 1, 9]], u), np.array([[0, 1, 2, 3]]),
        np.full((2, 8), tx.NO_ID, u), np.array([[0xFFFFFFFE, 0, 1]], u), np.array([[0, 1], [1, 2], [2, 3]], u), np.array([4, 0], u),
        np.array([1, 0, 3], u), np.array([[1.5, 2.0, 0.5]]), np.array([0.0, 1.0, 2.0, 3.0]),
        tx.ET_TRIA3, tx.ET_SOLID_MIXED, tx.ET_HEXA27, 21, [tx.ET_TRIA3], [np.array([[0, 1, 2]], u)],
        tx.histogram(), "runs",
    ]
    names = [n for n in dir(tx) if not n.startswith("_") and callable(getattr(tx, n))
             and n not in ("element_type", "histogram", "version", "to_meshio", "from_meshio")]
    allowed = (TypeError, ValueError, OSError, MemoryError)
    rng = random.Random(int(sys.argv[1]))
    log = open("calls.log", "w", buffering=1)
    for name in names:
        f = getattr(tx, name)
        for _ in range(int(sys.argv[2])):
            args = [rng.choice(pool) for _ in range(rng.randint(0, 7))]
            if name == "node_detector":
                f = lambda *a: tx.node_detector(*a[:2]).find_in_box(*a[2:])
            log.write(f"{name} {[type(a).__name__ + str(np.shape(a)) for a in args]}\n")
            try:
                f(*args)
            except allowed:
                pass
    print("done")
    """
)


def test_no_call_crashes_or_raises_another_class(tmp_path):
    run = subprocess.run(
        [sys.executable, "-c", CHILD, "7", os.environ.get("QZ4_PY_FUZZ_CALLS", "400")],
        cwd=tmp_path, capture_output=True, text=True, timeout=600,
        env=dict(os.environ, PYTHONPATH=os.path.dirname(os.path.dirname(tx.__file__))),
    )
    last = (tmp_path / "calls.log").read_text().splitlines()[-1:] if (tmp_path / "calls.log").exists() else []
    assert run.returncode == 0 and run.stdout.strip() == "done", (run.returncode, run.stderr[-2000:], last)
