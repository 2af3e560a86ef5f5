# A negative status raises: ValueError naming the argument at fault in the
# service's own status table, MemoryError for exhausted memory, OSError
# (FileNotFoundError when the file or its folder is missing) for files; and
# arguments of the wrong kind raise TypeError naming themselves.
import numpy as np
import pytest

import qz4tessellix as tx
from conftest import grid

U = np.uint32
pos, tri = grid(2, 2)
nb = tx.get_neighbors(tri, tx.ET_TRIA3)
H = np.ones(len(pos))
pos4 = np.zeros((len(pos), 4))

CASES = [
    # (service call given a scratch folder, exception, argument named)
    (lambda d: tx.get_neighbors(tri, tx.ET_TETRA4), ValueError, "connectivity"),
    (lambda d: tx.get_neighbors(tri, tx.ET_TRIA6), ValueError, "type"),
    (lambda d: tx.get_neighbors(tri, 21), ValueError, "type"),
    (lambda d: tx.get_mesh_boundaries(tri, nb[:3], tx.ET_TRIA3), ValueError, "neighbors"),
    (lambda d: tx.copy_edges(tri, tx.ET_TRIA3, np.zeros((1, 3), U)), ValueError, "edges"),
    (lambda d: tx.copy_edges([tri, tri], [tx.ET_TRIA3]), ValueError, "type"),
    (lambda d: tx.get_subdomains(np.array([[1], [2]], U)), ValueError, "neighbors"),
    (lambda d: tx.get_IDs(tri, tri[:, :2]), ValueError, "b"),
    (lambda d: tx.inc_bounding_box(pos, (0, 0), (1, 1)), ValueError, "pos"),
    (lambda d: tx.inc_bounding_box(pos, (0, 0, 0), (1, 1, 1), [99]), ValueError, "subset"),
    (lambda d: tx.node_detector(pos4), ValueError, "pos"),
    (lambda d: tx.node_detector(pos, [99]), ValueError, "nodes"),
    (lambda d: tx.merge(pos4, tri.copy()), ValueError, "pos"),
    (lambda d: tx.merge(pos, tri.copy(), -1.0), ValueError, "tolerance"),
    (lambda d: tx.merge(pos, tri.copy(), 1e-6, 3), ValueError, "merge_type"),
    (lambda d: tx.merge(pos, np.array([[0, 1, 99]], U)), ValueError, "connectivity"),
    (lambda d: tx.merge(pos, [0, 99], 1e-3), ValueError, "indices"),
    (lambda d: tx.merge(pos, [0], [99], 1e-3), ValueError, "indices2"),
    (lambda d: tx.merge(pos.copy(), -1.0), ValueError, "tolerance"),
    (lambda d: tx.simplify(pos.copy(), np.array([[0, 1, 99]], U)), ValueError, "connectivity"),
    (lambda d: tx.clip(pos, tri, (0, 0, 0), (0, 0, 1e-13)), ValueError, "normal"),
    (lambda d: tx.clip(pos, tri, (0, 0, 0), (1, 0, 0), np.zeros((1, 2), U)), ValueError, "clipped"),
    (lambda d: tx.zoom(pos.copy(), (0, 0, 0), 2.0, [99]), ValueError, "subset"),
    (lambda d: tx.copy_mesh(pos.copy(), [[0, 1, 99]]), ValueError, "source"),
    (lambda d: tx.copy_sym_mesh(pos.copy(), (0, 0, 0), (0, 0, 0), tri), ValueError, "normal"),
    (lambda d: tx.bound_metrics(np.ones((3, 4)), 0.1, 1.0), ValueError, "field"),
    (lambda d: tx.overwrite_invalid_metrics(np.ones((3, 3)), np.ones((3, 6))), ValueError, "reference"),
    (lambda d: tx.metrics_aniso3d_to_aniso2d(np.ones((2, 6)), np.ones((3, 6))), ValueError, "B"),
    (lambda d: tx.H_shock(pos4, tri[:, :2], H), ValueError, "pos"),
    (lambda d: tx.H_shock(pos, tri, H), ValueError, "connectivity"),
    (lambda d: tx.bound_metric_gradation(pos, tri, tx.ET_TRIA3, [99], 0.5, H.copy()), ValueError, "hard_nodes"),
    (lambda d: tx.bound_metric_gradation(pos, tri, tx.ET_TRIA3, None, 0.0, H.copy()), ValueError, "max_shock"),
    (lambda d: tx.bound_metric_gradation(pos, tri, tx.ET_TRIA3, None, 0.5, H[:2].copy()), ValueError, "field"),
    (lambda d: tx.edge_lengths(pos, tri), ValueError, "connectivity"),
    (lambda d: tx.edge_qualities(pos, tri, tx.ET_TRIA3, H[:3]), ValueError, "field"),
    (lambda d: tx.shape_qualities(pos, tri, tx.ET_TRIA6), ValueError, "type"),
    (lambda d: tx.shape_qualities(pos[:4], tri, tx.ET_TRIA3), ValueError, "connectivity"),
    (lambda d: tx.STL_output(d / "a.stl", pos[:, :1], tri), ValueError, "pos"),
    (lambda d: tx.STL_output(d / "a.stl", pos, np.empty((2, 0), U)), ValueError, "triangles"),
    (lambda d: tx.medit_output(d / "a.mesh", pos4, tri, tx.ET_TRIA3), ValueError, "pos"),
    (lambda d: tx.medit_output(d / "a.mesh", pos, tri, tx.ET_TRIA3, [1]), ValueError, "groups"),
    (lambda d: tx.medit_tensor(d / "a.sol", np.ones((2, 4))), ValueError, "tensors"),
    (lambda d: tx.vtk_output(d / "a.vtk", pos, tri[:, :1], tx.ET_NODE), ValueError, "type"),
    (lambda d: tx.vtk_output(d / "a.vtk", pos4, tri, tx.ET_TRIA3), ValueError, "pos"),
    (lambda d: tx.vtk_convert(tri[:, :2], tx.ET_TRIA3), ValueError, "connectivity"),
    (lambda d: tx.ensight_output(d / "a.geo", pos4, tri, tx.ET_TRIA3), ValueError, "pos"),
    (lambda d: tx.NASTRAN_output(d / "a.nas", pos[:, :2], tri, tx.ET_TRIA3), ValueError, "pos"),
    (lambda d: tx.FEMAP_output(d / "a.neu", pos, tri, [0, 8], [tx.ET_TRIA3], np.ones(2, U)), ValueError, "properties"),
    (lambda d: tx.WavefrontOBJ_output(d / "a.obj", pos, normals=np.ones((2, 3))), ValueError, "normals"),
    (lambda d: tx.write(d / "a.xyz", pos, [(tx.ET_TRIA3, tri)]), ValueError, "filename"),
    (lambda d: tx.write(d / "a.stl", pos, [(tx.ET_QUAD4, tri)]), ValueError, "cells"),
    (lambda d: tx.get_ancestors(np.array([[0xFFFFFFFE]], U)), MemoryError, "get_ancestors"),
    (lambda d: tx.get_connected_elements(np.array([[0xFFFFFFFE]], U)), MemoryError, "get_connected"),
    (lambda d: tx.STL_input(d / "missing.stl"), FileNotFoundError, "STL_input"),
    (lambda d: tx.read(d / "missing.nas"), FileNotFoundError, "missing"),
    (lambda d: tx.STL_output(d / "no" / "a.stl", pos, tri), FileNotFoundError, "STL_output"),
    (lambda d: tx.STL_input(d), OSError, "header"),
    (lambda d: tx.NASTRAN_input(__file__), OSError, "NASTRAN_input"),
    (lambda d: tx.get_neighbors(None, tx.ET_TRIA3), TypeError, "connectivity"),
    (lambda d: tx.get_neighbors(tri, "tria"), TypeError, "type"),
    (lambda d: tx.translate(pos.copy(), None), TypeError, "t"),
    (lambda d: tx.translate(pos.copy(), (1, 2, 3, 4)), ValueError, "t"),
    (lambda d: tx.STL_input(3.5), TypeError, "filename"),
]


@pytest.mark.parametrize("call, error, argument", CASES)
def test_each_status_raises_its_class_naming_the_argument(tmp_path, call, error, argument):
    with pytest.raises(error, match=rf"\b{argument}"):
        call(tmp_path)


def test_os_errors_carry_the_file_name_and_a_missing_file_is_not_found(tmp_path):
    with pytest.raises(OSError) as e:
        tx.STL_input(tmp_path / "missing.stl")
    assert type(e.value) is FileNotFoundError and e.value.filename == str(tmp_path / "missing.stl")
    (tmp_path / "empty.stl").write_bytes(b"")
    with pytest.raises(OSError) as e:
        tx.STL_input(tmp_path / "empty.stl")
    assert type(e.value) is OSError
