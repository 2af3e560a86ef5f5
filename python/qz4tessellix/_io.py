"""Mesh files chosen by extension, and the bridge to meshio.

A mesh here is (points, cells): points an (n, d) float64 array, cells a list
of (element_type, connectivity) pairs, each connectivity an (m, k) uint32
array with one element per row.
"""
import contextlib
import os
import struct
import tempfile

import numpy as np

from . import _core as _c

_DECKS = {".nas": "NASTRAN", ".bdf": "NASTRAN", ".dat": "NASTRAN", ".neu": "FEMAP"}

# meshio's names of the library's kinds. Node orders are those of the legacy
# VTK files the library writes and reads: the same, but a linear
# tetrahedron's last two nodes, which VTK orders the other way round.
_MESHIO = {
    _c.ET_NODE: "vertex",
    _c.ET_EDGE2: "line",
    _c.ET_EDGE3: "line3",
    _c.ET_TRIA3: "triangle",
    _c.ET_QUAD4: "quad",
    _c.ET_TRIA6: "triangle6",
    _c.ET_QUAD8: "quad8",
    _c.ET_QUAD9: "quad9",
    _c.ET_TETRA4: "tetra",
    _c.ET_TETRA10: "tetra10",
    _c.ET_PYRA5: "pyramid",
    _c.ET_PYRA14: "pyramid14",
    _c.ET_PENTA6: "wedge",
    _c.ET_PENTA18: "wedge18",
    _c.ET_HEXA8: "hexahedron",
    _c.ET_HEXA20: "hexahedron20",
    _c.ET_HEXA27: "hexahedron27",
}
_KINDS = {name: kind for kind, name in _MESHIO.items()}


def _extension(filename):
    return os.path.splitext(os.fsdecode(os.fspath(filename)))[1].lower()


def _binary_stl(filename):
    """A binary STL is exactly its 84-byte header and count plus 50 bytes a
    triangle; anything else is read as text."""
    size = os.path.getsize(filename)
    if size < 84:
        return False
    with open(filename, "rb") as f:
        f.seek(80)
        (count,) = struct.unpack("<I", f.read(4))
    return size == 84 + 50 * count


@contextlib.contextmanager
def _lf_lines(filename):
    """The deck readers cut fields at blanks and commas only, so a CR of a
    Windows line end would stick to the last field: they get a copy with LF
    line ends when the file has CR LF ones."""
    with open(filename, "rb") as f:
        data = f.read()
    if b"\r\n" not in data:
        yield filename
        return
    fd, copy = tempfile.mkstemp(suffix=_extension(filename))
    try:
        with os.fdopen(fd, "wb") as f:
            f.write(data.replace(b"\r\n", b"\n"))
        yield copy
    finally:
        os.unlink(copy)


def _runs(conn, starts, kinds):
    """The blocks of a padded run table, each with its kind's columns."""
    cells = []
    for r, kind in enumerate(kinds):
        if int(kind) == 0:  # an unknown FEMAP topology: no columns of its own
            continue
        kind = _c.element_type(int(kind))
        cols = _c.element_nodes[kind] or conn.shape[1]
        cells.append((kind, conn[starts[r] : starts[r + 1], :cols]))
    return cells


def _cell_list(cells):
    if isinstance(cells, dict):
        cells = list(cells.items())
    pairs = []
    for item in cells:
        try:
            kind, conn = item
        except (TypeError, ValueError):
            raise TypeError("cells: (element_type, connectivity) pairs are required") from None
        pairs.append((_c.element_type(int(kind)), conn))
    return pairs


def _pure(cells):
    """Mixed connectivities split into pure ones, as the MEDIT and VTK
    writers split them."""
    if not any(k in (_c.ET_FACE_MIXED, _c.ET_SOLID_MIXED) for k, _ in cells):
        return cells
    conns, kinds, _ = _c.split_connectivities([c for _, c in cells], [k for k, _ in cells])
    return list(zip(kinds, conns))


def _joined(cells, kind, allowed, what):
    """The connectivities of one kind as one array (None when there are none)."""
    for k, _ in cells:
        if k not in allowed:
            raise ValueError(f"cells: {what} holds no {k.name}")
    blocks = [np.asarray(c) for k, c in cells if k == kind]
    return np.concatenate(blocks) if blocks else None


def read(filename):
    """Reads a mesh file, its format chosen by the extension: .stl (binary or
    text, told by the file's size), .obj, .mesh/.meshb, .vtk, .nas/.bdf/.dat
    (NASTRAN) and .neu (FEMAP); decks with Windows line ends read as their LF
    twins. Returns (points, cells), cells a list of (element_type,
    connectivity) pairs of the kinds present.

    Raises OSError (FileNotFoundError) when the file cannot be opened or read,
    ValueError for an extension no reader serves.
    """
    ext = _extension(filename)
    if ext == ".stl":
        if not os.path.exists(filename):
            raise FileNotFoundError(2, "read: no such file", os.fspath(filename))
        _, pos, tri = _c.STL_input(filename, not _binary_stl(filename))
        return pos, [(_c.ET_TRIA3, tri)]
    if ext == ".obj":
        pos, _, _, tri, quad = _c.WavefrontOBJ_input(filename)
        return pos, [(k, c) for k, c in ((_c.ET_TRIA3, tri), (_c.ET_QUAD4, quad)) if len(c)]
    if ext in (".mesh", ".meshb"):
        pos, conns, kinds = _c.medit_input(filename)
        return pos, list(zip(kinds, conns))
    if ext == ".vtk":
        pos, conns, kinds, _ = _c.vtk_input(filename)
        return pos, list(zip(kinds, conns))
    if ext in _DECKS:
        reader = _c.NASTRAN_input if _DECKS[ext] == "NASTRAN" else _c.FEMAP_input
        with _lf_lines(filename) as deck:
            pos, conn, starts, kinds, _ = reader(deck)
        return pos, _runs(conn, starts, kinds)
    if ext in (".case", ".geo"):
        raise ValueError("read: filename: EnSight files are written, not read")
    raise ValueError(f"read: filename: no reader for '{ext}'")


def _deck(points, cells):
    """One padded connectivity with its run table, a property per block."""
    cells = _pure(cells)
    rows = max([_c.element_nodes[k] or np.shape(c)[1] for k, c in cells] + [1])
    total = sum(len(c) for _, c in cells)
    conn = np.full((total, rows), _c.NO_ID, dtype=np.uint32)
    starts, properties, at = [0], np.empty(total, dtype=np.uint32), 0
    for i, (_, c) in enumerate(cells):
        c = np.asarray(c)
        conn[at : at + len(c), : c.shape[1]] = c
        properties[at : at + len(c)] = i + 1
        at += len(c)
        starts.append(at)
    points = np.asarray(points, dtype=np.float64)
    if points.ndim == 2 and points.shape[1] == 2:
        points = np.hstack([points, np.zeros((len(points), 1))])
    return points, conn, np.array(starts, dtype=np.uint32), [k for k, _ in cells], properties


def write(filename, points, cells, *, text=False):
    """Writes a mesh file, its format chosen by the extension: .stl (binary,
    or text with text=True; triangles only), .obj (triangles and quadrangles),
    .mesh (MEDIT), .vtk (legacy VTK), .case (EnSight: the case file and its
    .geo geometry) or .geo, .nas/.bdf/.dat (NASTRAN) and .neu (FEMAP).
    `cells` is a list of (element_type, connectivity) pairs, or a dict.

    Raises ValueError (naming the argument at fault) and OSError as the
    writer of the format does.
    """
    cells = _cell_list(cells)
    ext = _extension(filename)
    if ext == ".stl":
        tri = _joined(cells, _c.ET_TRIA3, (_c.ET_TRIA3,), "STL")
        _c.STL_output(filename, points, np.empty((0, 3), np.uint32) if tri is None else tri, text)
    elif ext == ".obj":
        faces = [_joined(cells, k, (_c.ET_TRIA3, _c.ET_QUAD4), "OBJ") for k in (_c.ET_TRIA3, _c.ET_QUAD4)]
        _c.WavefrontOBJ_output(filename, points, triangles=faces[0], quadrangles=faces[1])
    elif ext == ".mesh":
        _c.medit_output(filename, points, [c for _, c in cells], [k for k, _ in cells])
    elif ext == ".vtk":
        _c.vtk_output(filename, points, [c for _, c in cells], [k for k, _ in cells])
    elif ext in (".case", ".geo"):
        name = os.fsdecode(os.fspath(filename))
        geo = os.path.splitext(name)[0] + ".geo"
        _c.ensight_output(geo, points, [c for _, c in cells], [k for k, _ in cells])
        if ext == ".case":
            with open(name, "w") as f:
                f.write(f"FORMAT\ntype: ensight\n\nGEOMETRY\nmodel: {os.path.basename(geo)}\n")
    elif ext in _DECKS:
        writer = _c.NASTRAN_output if _DECKS[ext] == "NASTRAN" else _c.FEMAP_output
        writer(filename, *_deck(points, cells))
    else:
        raise ValueError(f"write: filename: no writer for '{ext}'")


def to_meshio(points, cells, **kwargs):
    """A meshio.Mesh of (points, cells), cells as meshio cell blocks with
    meshio's kind names; mixed connectivities are split first. Extra keyword
    arguments (point_data, cell_data, ...) go to meshio.Mesh."""
    import meshio

    blocks = []
    for kind, conn in _pure(_cell_list(cells)):
        if kind not in _MESHIO:
            raise ValueError(f"cells: meshio has no kind for {kind.name}")
        conn = np.asarray(conn)
        if kind == _c.ET_TETRA4:
            conn = conn[:, [0, 1, 3, 2]]
        blocks.append((_MESHIO[kind], conn))
    return meshio.Mesh(np.asarray(points, dtype=np.float64), blocks, **kwargs)


def from_meshio(mesh):
    """(points, cells) of a meshio.Mesh: points as float64 and connectivities
    as uint32 arrays, each cell block a (element_type, connectivity) pair.
    Blocks of kinds the library has no element for are left out."""
    cells = []
    for block in mesh.cells:
        kind = _KINDS.get(block.type)
        if kind is None:
            continue
        conn = np.ascontiguousarray(block.data, dtype=np.uint32)
        if kind == _c.ET_TETRA4:
            conn = np.ascontiguousarray(conn[:, [0, 1, 3, 2]])
        cells.append((kind, conn))
    return np.ascontiguousarray(mesh.points, dtype=np.float64), cells
