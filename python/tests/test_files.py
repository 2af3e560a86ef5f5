# read() and write() by extension, decks with Windows line ends, and the
# meshio bridge on files meshio writes and reads.
import numpy as np
import pytest

import qz4tessellix as tx
from conftest import grid, reader_there

U = np.uint32
POS = np.array([[0.0, 0, 0], [1, 0, 0], [1, 1, 0], [0, 1, 0], [2, 0, 0], [2, 1, 0], [0.5, 0.5, 1]])
CELLS = [
    (tx.ET_TRIA3, np.array([[1, 4, 5], [1, 5, 2]], U)),
    (tx.ET_QUAD4, np.array([[0, 1, 2, 3]], U)),
    (tx.ET_TETRA4, np.array([[0, 3, 1, 6]], U)),
]


def same(mesh, points, cells):
    np.testing.assert_allclose(mesh[0], points, rtol=1e-6)
    assert [(k, c.tolist()) for k, c in mesh[1]] == [(k, np.asarray(c).tolist()) for k, c in cells]


def triangles_by_coordinates(points, tri):
    return sorted(tuple(np.round(points[t], 6).ravel()) for t in tri)


@pytest.mark.parametrize("ext", [".nas", ".bdf", ".dat", ".neu"])
def test_decks_read_back_what_write_wrote_also_with_windows_line_ends(tmp_path, ext):
    cells = CELLS if ext == ".neu" else CELLS[:2]  # NASTRAN decks lose a tetrahedron's 4th node
    path = tmp_path / f"mesh{ext}"
    tx.write(path, POS, cells)
    same(tx.read(path), POS, cells)
    crlf = tmp_path / f"crlf{ext}"
    crlf.write_bytes(path.read_bytes().replace(b"\n", b"\r\n"))
    same(tx.read(crlf), POS, cells)


@pytest.mark.parametrize("text", [False, True])
def test_stl_binary_or_text_is_told_by_the_file_size(tmp_path, text):
    pos, tri = grid(3, 2)
    path = tmp_path / "s.stl"
    tx.write(path, pos, {tx.ET_TRIA3: tri}, text=text)
    assert (path.stat().st_size == 84 + 50 * len(tri)) != text
    points, cells = tx.read(path)
    assert triangles_by_coordinates(points, cells[0][1]) == triangles_by_coordinates(pos, tri)
    if text:  # CR is white space to the STL text reader
        crlf = tmp_path / "crlf.stl"
        crlf.write_bytes(path.read_bytes().replace(b"\n", b"\r\n"))
        same(tx.read(crlf), points, cells)


def test_viewing_writers_make_their_files_and_the_viewing_readers_read_them(tmp_path):
    tx.write(tmp_path / "m.case", POS, CELLS)
    case = (tmp_path / "m.case").read_text()
    assert "model: m.geo" in case and (tmp_path / "m.geo").read_text().startswith("EnSight Mesh File.")
    with pytest.raises(ValueError, match="filename"):
        tx.read(tmp_path / "m.geo")
    for ext in (".vtk", ".mesh"):
        tx.write(tmp_path / f"m{ext}", POS, CELLS)
        reader = tx.vtk_input if ext == ".vtk" else tx.medit_input
        reader_there(reader, str(tmp_path / f"m{ext}"))
        same(tx.read(tmp_path / f"m{ext}"), POS, CELLS)


def test_files_meshio_writes_read_as_the_mesh_it_holds(tmp_path, meshio):
    pos, tri = grid(2, 2)
    mesh = tx.to_meshio(pos, [(tx.ET_TRIA3, tri)])
    for ext in (".obj", ".stl", ".vtk", ".mesh"):
        path = str(tmp_path / f"m{ext}")
        meshio.write(path, mesh, binary=True) if ext == ".stl" else meshio.write(path, mesh)
        if ext in (".vtk", ".mesh"):
            reader_there(tx.vtk_input if ext == ".vtk" else tx.medit_input, path)
        points, cells = tx.read(path)
        assert [k for k, _ in cells] == [tx.ET_TRIA3]
        assert triangles_by_coordinates(points, cells[0][1]) == triangles_by_coordinates(pos, tri)


def test_the_meshio_bridge_keeps_kinds_and_turns_tetrahedra_as_vtk_does(tmp_path, meshio):
    mesh = tx.to_meshio(POS, CELLS)
    assert [(b.type, b.data.tolist()) for b in mesh.cells] == [
        ("triangle", [[1, 4, 5], [1, 5, 2]]), ("quad", [[0, 1, 2, 3]]), ("tetra", [[0, 3, 6, 1]])]
    p = mesh.points[mesh.cells[2].data[0]]  # positive in VTK's convention
    assert np.dot(np.cross(p[1] - p[0], p[2] - p[0]), p[3] - p[0]) > 0
    assert tx.shape_qualities(POS, CELLS[2][1], tx.ET_TETRA4)[0] > 0  # and in the library's
    same(tx.from_meshio(mesh), POS, CELLS)
    tx.write(tmp_path / "lib.vtk", POS, CELLS)  # a file the library wrote, through meshio
    same(tx.from_meshio(meshio.read(tmp_path / "lib.vtk")), POS, CELLS)
    mixed = np.array([[0, 1, 2, 3], [1, 4, 5, tx.NO_ID]], U)
    assert [(b.type, len(b.data)) for b in tx.to_meshio(POS, [(tx.ET_FACE_MIXED, mixed)]).cells] == [
        ("quad", 1), ("triangle", 1)]
