"""qz4tessellix: mesh utilities for finite-element pre- and post-processing.

Every service of the C++ library under its own name, on NumPy arrays with one
node or element per row: a C-contiguous (n, d) float64 array of coordinates,
an (m, k) uint32 connectivity. Arrays of that dtype and layout are used where
they lie; results come back as arrays over the library's own memory. A
negative status raises ValueError naming the argument at fault, MemoryError
when memory ran out, OSError (FileNotFoundError) for files.
"""
from ._core import *  # noqa: F401,F403
from ._core import version

__version__ = version()
from ._io import from_meshio, read, to_meshio, write  # noqa: F401
