import os

import numpy as np
import pytest


def grid(nx, ny):
    """A unit square of 2 nx ny triangles, nodes x fastest."""
    x, y = np.meshgrid(np.linspace(0, 1, nx + 1), np.linspace(0, 1, ny + 1))
    pos = np.column_stack([x.ravel(), y.ravel(), np.zeros(x.size)])
    tri = []
    for j in range(ny):
        for i in range(nx):
            a = j * (nx + 1) + i
            tri += [[a, a + 1, a + nx + 2], [a, a + nx + 2, a + nx + 1]]
    return pos, np.array(tri, dtype=np.uint32)


@pytest.fixture
def square():
    return grid(2, 2)


@pytest.fixture
def meshio():
    """meshio, or a skip; where CI asks for every client, a failure."""
    try:
        import meshio
    except ImportError:
        if os.environ.get("QZ4_INTEROP_REQUIRED"):
            pytest.fail("meshio (python3-meshio) is required here")
        pytest.skip("meshio missing: install python3-meshio")
    return meshio


def reader_there(reader, path):
    """Skips while a reader is still a stub that opens nothing."""
    try:
        return reader(path)
    except OSError as e:
        if "status -1" in str(e) and os.path.exists(path):
            pytest.skip(f"{reader.__name__} is not there yet")
        raise


