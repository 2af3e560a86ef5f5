# Each Python form reaches its C++ form: hand-derived results on small meshes,
# one row per form.
import math
import pathlib
import re

import numpy as np
import pytest

import qz4tessellix as tx

U = np.uint32
NO = tx.NO_ID
SQ = np.array([[0.0, 0, 0], [1, 0, 0], [0, 1, 0], [1, 1, 0]])  # a unit square
TRI = np.array([[0, 1, 2], [1, 3, 2]], U)
DBL_MAX = np.finfo(float).max


def lists(value):
    """Results as plain lists, whatever mix of tuples and arrays."""
    if isinstance(value, (tuple, list)):
        return [lists(v) for v in value]
    return value.tolist() if isinstance(value, np.ndarray) else value


FORMS = [
    (lambda: tx.check_IDs(TRI, 4), True),
    (lambda: tx.check_IDs(TRI, 3), False),
    (lambda: tx.check_IDs(TRI, tx.ET_QUAD4, 4), False),
    (lambda: tx.check_IDs([0, NO], 1), True),
    (lambda: tx.count_unique_indices([TRI[1:], TRI[:1]]), 4),
    (lambda: tx.unique_indices([TRI[1:], TRI[:1]]), [1, 3, 2, 0]),
    (lambda: tx.unique_indices([5, 1, 5, NO, 2], excluded=[2], out=np.array([9], U)), [9, 5, 1]),
    (lambda: tx.get_IDs([4, 5, 6], [6, 7]), [[2, NO], [NO, NO, 0]]),
    (lambda: tx.get_IDs(TRI, np.array([[2, 0, 1]], U), exact_order=False), [[0], [0, NO]]),
    (lambda: tx.inc_bounding_box(SQ[:, :2], (0.5, 0.5), (0.5, 0.5), [1]), [[0.5, 0], [1, 0.5]]),
    (lambda: tx.inc_bounding_box(SQ, (9, 9, 9), (-9, -9, -9), TRI[1:]), [[0, 0, 0], [1, 1, 0]]),
    (lambda: tx.get_ancestors(TRI), [0, 1, 1, 1]),
    (lambda: tx.get_connected_elements(TRI), [[0, 1, 3, 5, 6], [0, 0, 1, 0, 1, 1]]),
    (lambda: tx.get_node_graph(TRI), [[0, 2, 5, 8, 10], [1, 2, 0, 2, 3, 0, 1, 3, 1, 2]]),
    (lambda: tx.get_element_boundaries(TRI[:1], tx.ET_TRIA3), [[1, 2], [2, 0], [0, 1]]),
    (lambda: tx.copy_edges(TRI, tx.ET_TRIA3), [[1, 2], [2, 0], [0, 1], [3, 2], [1, 3]]),
    (lambda: tx.copy_edges([TRI[:1], TRI[1:]], [6, 6], np.array([[7, 8]], U)),
     [[7, 8], [1, 2], [2, 0], [0, 1], [3, 2], [1, 3]]),
    (lambda: tx.get_subdomains(np.array([[NO, NO], [NO, 2], [1, NO]], U)), [[0, 1, 2], [0, 1, 3]]),
    (lambda: tx.merge(SQ, [0, 3], [1, 2], 1.5), [2, [1, 1, 2, 1]]),
    (lambda: tx.metric_iso_to_aniso(0.5, 2), [4, 0, 4]),
    (lambda: [abs(x) for x in tx.eigen_pairs([3, 0, 2])[1:]], [[2, 3], [[0, 1], [1, 0]]]),
    (lambda: tx.eigen_pairs([1, 0, 1], [2, 0, 8])[:2], [True, [2, 8]]),
    (lambda: tx.sym2_eigen_values(3, 2, 0), [True, 2, 3]),
    (lambda: tx.sym3_eigen_values([1, 0, 2, 0, 0, 3]), [True, [1, 2, 3]]),
    (lambda: tx.metric_norm2([4, 0, 4], (1, 1)), 8),
    (lambda: tx.is_valid_metric([1, 2, 1]), False),
    (lambda: tx.are_valid_metrics(np.array([[1, 0, 1], [1, 2, 1]]), [0]), True),
    (lambda: tx.are_valid_metrics([1, 0]), False),
    (lambda: tx.bound_metric([4, 0, 4, 0, 0, 4], 1, 2), [1, 0, 1, 0, 0, 1]),
    (lambda: tx.minimum_metric([1, 0, 1], [0.25, 0, 0.25]), [1, 0, 1]),
    (lambda: tx.maximum_metric([1, 0, 1], [0.25, 0, 0.25]), [0.25, 0, 0.25]),
    (lambda: tx.interpolate_metric(0.5, [1, 0, 1], [1 / 9, 0, 1 / 9]), [True, [0.25, 0, 0.25]]),
    (lambda: tx.metric_iso_to_aniso2d(0.5, [[1, 0], [0, 2], [0, 0]]), [4, 0, 16]),
    (lambda: tx.metric_aniso3d_to_aniso2d([1, 0, 2, 0, 0, 3], [[0, 0], [1, 0], [0, 1]]), [2, 0, 3]),
    (lambda: tx.metrics_iso_to_aniso2d([0.5, 1], np.array([[1, 0, 0, 0, 1, 0]] * 2)), [[4, 0, 4], [1, 0, 1]]),
    (lambda: tx.metrics_iso_to_aniso3d([0.5]), [[4, 0, 4, 0, 0, 4]]),
    (lambda: tx.metrics_aniso3d_to_aniso2d(np.array([[1.0, 0, 2, 0, 0, 3]]), np.array([[1.0, 0, 0, 0, 0, 1]])),
     [[1, 0, 3]]),
    (lambda: tx.log_mean_size(1, math.e), math.e - 1),
    (lambda: tx.metric_edge_length(2, 1, 1, True), 0.5),
    (lambda: tx.metric_edge_length((1, 0), [4, 0, 4], [4, 0, 4]), [2, 0.5, 0.5]),
    (lambda: tx.edge_shock(1, 1, (1, 0)), [0, 1]),
    (lambda: tx.edge_shock([1, 0, 1, 0, 0, 1], [1, 0, 1, 0, 0, 1], (0, 0, 2)), [0, 2]),
    (lambda: tx.edge_lengths(SQ, np.array([[0, 1], [1, 3]], U)),
     [[1, 1, 1], [1, 1, 1], [DBL_MAX, 0, 0], [1, 1, 1]]),
    (lambda: tx.shape_qualities(SQ[:, :2], [TRI[:, ::-1], np.array([[0, 1, 3, 2]], U)], [6, 7]).round(6),
     [-0.717439, -0.717439, 1]),
    (lambda: tx.split_connectivities(np.array([[0, 1, 2, NO], [0, 1, 3, 2]], U), tx.ET_FACE_MIXED),
     [[[[0, 1, 3, 2]], [[0, 1, 2]]], [tx.ET_QUAD4, tx.ET_TRIA3], [0, 0]]),
    (lambda: tx.vtk_convert(TRI, tx.ET_TRIA3, 1, np.array([0], U)), [3, [0, 3, 0, 1, 2, 3, 1, 3, 2], [5, 5]]),
]


def close(got, expected):
    if isinstance(expected, list):
        assert isinstance(got, list) and len(got) == len(expected), (got, expected)
        for g, e in zip(got, expected):
            close(g, e)
    elif isinstance(expected, float):
        assert got == pytest.approx(expected, rel=1e-9, abs=1e-12), (got, expected)
    else:
        assert got == expected


@pytest.mark.parametrize("call, expected", FORMS)
def test_each_form(call, expected):
    close(lists(call()), expected)


def test_in_place_forms_change_the_callers_arrays():
    ids = np.array([0, NO, 5], U)
    tx.shift_indices(ids, 2)
    assert ids.tolist() == [2, NO, 7]
    mixed = np.array([[0, 1, 2, NO]], U)
    tx.shift_indices(mixed, 1, tx.ET_FACE_MIXED)
    tx.change_indices(mixed, np.array([9, 8, 7], U))
    assert mixed.tolist() == [[8, 7, 3, NO]]
    values, perm = np.array([1.0, 2, 3]), np.array([2, 0, 1], U)
    tx.permutation(values, perm)
    assert values.tolist() == [2, 3, 1]
    ancestors = np.full(5, 7, U)
    assert np.shares_memory(tx.get_ancestors(TRI, ancestors), ancestors) and ancestors.tolist() == [0, 1, 1, 1, 7]
    conn, nb = np.array([[0, 1, 2, NO], [0, 1, 2, 3]], U), np.array([[NO, 1], [0, NO]], U)
    sorted_, nb2, nodes, ends, ids = tx.sort_elfes(conn, nb)
    assert lists([sorted_, nb2, nodes, ends, ids]) == [
        [[0, 1, 2, 3], [0, 1, 2, NO]], [[1, NO], [NO, 0]], [4, 3], [1, 2], [1, 0]]
    c, n = np.array([[5, 5], [6, 6], [7, 7]], U), np.array([[NO], [2], [1]], U)
    assert tx.get_subdomains(c, n).tolist() == [0, 1, 3] and n.tolist() == [[NO], [2], [1]]
    field = np.array([0.1, 5.0])
    tx.bound_metrics(field, 0.5, 2)
    tx.overwrite_invalid_metrics(field, [3.0])
    assert field.tolist() == [0.5, 2]
    tensors = np.array([[0.0, 0, 0], [1, 0, 1]])
    tx.overwrite_invalid_metrics(tensors, [0.5, 3.0])
    assert tensors.tolist() == [[4, 0, 4], [1, 0, 1]]


def test_editing_forms():
    pos = SQ.copy()
    assert tx.rotate(pos, (0, 0), math.pi / 2, [1]) == 1
    assert tx.rotate(pos, (0, 0, 0), (0, 0, -math.pi / 2), TRI[:1]) == 3
    assert tx.zoom(pos, (0, 0, 0), 2.0, [3]) == 0 and tx.translate(pos, (0, 0, 1), TRI[1:]) == 3
    np.testing.assert_allclose(pos, [[0, 0, 0], [1, 0, 1], [1, 0, 1], [2, 2, 1]], atol=1e-12)
    d = tx.node_detector(SQ, TRI[:1])
    assert (len(d), d.insert([3, 9]), d.size()) == (3, 1, 4)
    assert (d.find_closest((0.9, 0.8)), d.find_closest((0.1, 0.1, 5)), d.find_closest(3)) == (3, 0, 1)
    assert sorted(d.find_in_box((0.5, -1), (2, 2)).tolist()) == [1, 3]
    d.clear()
    assert (len(d), d.find_closest((0, 0))) == (0, NO)
    a, b = TRI[:1].copy(), np.array([[4, 5, 3]], U)
    p6 = np.vstack([SQ, SQ[1:3]])
    assert tx.merge(p6, [a, b])[0] == 2 and b.tolist() == [[1, 2, 3]]
    a, b = TRI[:1].copy(), np.array([[4, 5, 3]], U)
    assert lists(tx.merge(p6, a, b, 1e-6, 2)) == [0, [0, 1, 2, 3, 4, 5]]  # no element holds both
    assert lists(tx.merge(p6, a, b, merge_type=0)) == [2, [0, 1, 2, 3, 1, 2]] and b.tolist() == [[1, 2, 3]]
    p2, copies = tx.copy_mesh(SQ[:, :2].copy(), TRI[:1], (2, 0), (0, 0), 0.0, 2)
    assert copies.tolist() == [[4, 5, 6], [7, 8, 9]] and p2[9].tolist() == [4, 1]
    p3, mirror = tx.copy_sym_mesh(SQ.copy(), (0, 0, 0), (1, 0, 0), TRI[1:])
    assert mirror.tolist() == [[4, 5, 6]] and p3[4:].tolist() == [[-1, 0, 0], [-1, 1, 0], [0, 1, 0]]


def test_size_fields_and_histograms():
    pos = np.array([[0.0, 0], [1, 0], [2, 0]])
    edges = np.array([[0, 1], [1, 2]], U)
    H = np.array([1.0, 1.0, 4.0])
    shocks = tx.H_shock(pos, edges, H)
    assert shocks[0] == 0 and shocks[2] > 1
    assert tx.bound_metric_gradation(pos, edges, tx.ET_EDGE2, None, 0.5, H) > 0
    assert H[2] < 4 and tx.H_shock(pos, edges, H).max() < shocks.max()
    M = np.array([[1.0, 0, 1], [1, 0, 1], [1 / 16, 0, 1 / 16]])
    assert tx.bound_metric_gradation(pos, edges, tx.ET_EDGE2, [2], 0.5, M) > 0 and M[2, 0] == 1 / 16
    h = tx.edge_qualities(SQ, TRI, tx.ET_TRIA3, np.ones(4))
    assert (h.count, h.min, h.max) == (5, 1, pytest.approx(math.sqrt(2)))
    tx.edge_qualities(SQ, [TRI], [tx.ET_TRIA3], tx.metrics_iso_to_aniso3d(np.ones(4)), h)
    h.process([0.5, float("nan")])
    assert (h.count, h.nan_count, h.min) == (12, 1, 0.5) and "count 12" in h.summary()
    fixed = tx.histogram(0, 1, 2)
    assert tx.shape_qualities(SQ, [TRI], [tx.ET_TRIA3], fixed) is fixed
    assert (fixed.bins.tolist(), fixed.below, fixed.above) == ([0, 2], 0, 0)


def test_file_forms(tmp_path):
    f = str(tmp_path / "m")
    tx.medit_scalar(f + "1.sol", 3, [1.0, 2.0])
    tx.medit_vector(f + "2.sol", 3, np.ones((2, 3)))
    tx.medit_tensor(f + "3.sol", np.ones((2, 6)))
    for k in (1, 2, 3):
        count, fields, kinds = tx.medit_solution_input(f + f"{k}.sol")
        assert (count, kinds, fields[0].shape) == (2, [k], (2, [1, 3, 6][k - 1]))
    count, cells, types = tx.vtk_convert(TRI, tx.ET_TRIA3)
    tx.vtk_output(f + ".vtk", SQ, count, cells, types)
    assert "CELLS 2 8" in open(f + ".vtk").read()
    tx.NASTRAN_output(f + ".nas", SQ, TRI[:1], np.array([[0, 1, 3, 2]], U), tx.ET_TRIA3, tx.ET_QUAD4)
    # the pair writer's run table is {0, first's rows, second's rows}: its second run is empty here
    assert lists(tx.NASTRAN_input(f + ".nas", "pair")[1:]) == [[[0, 1, 2]], [], tx.ET_TRIA3, tx.ET_NONE]
    tx.FEMAP_output(f + ".neu", SQ, TRI[:1], tx.ET_TRIA3)
    assert lists(tx.FEMAP_input(f + ".neu", "single")[1:]) == [[[0, 1, 2]], tx.ET_NONE]
    tx.medit_output(f + ".mesh", SQ, TRI, tx.ET_TRIA3, [4, NO])
    pos, node_refs, conns, kinds, refs = tx.medit_input(f + ".mesh", references=True)
    assert lists([conns, kinds, refs]) == [[[[0, 1, 2]]], [tx.ET_TRIA3], [[4]]]
    tx.WavefrontOBJ_output(f + ".obj", SQ, textures=np.zeros((4, 2)), triangles=TRI)
    assert open(f + ".obj").read().count(" f ") == 2
    tx.ensight_output(f + ".geo", SQ, [TRI, TRI], [tx.ET_TRIA3, tx.ET_PYRA5])
    assert open(f + ".geo").read().count("part") == 1


def test_every_service_of_the_public_headers_is_bound():
    headers = (pathlib.Path(__file__).parents[2] / "include" / "qz4" / "tessellix").glob("*.h")
    names = set(re.findall(r"QZ4_API [^;(]*?\b(\w+)\(", "".join(h.read_text() for h in headers)))
    assert len(names) > 60 and sorted(n for n in names if not hasattr(tx, n)) == []


def test_a_refused_reinit_keeps_the_old_tree_on_its_coordinates():
    d = tx.node_detector(SQ)
    with pytest.raises(ValueError, match="nodes"):
        d.reinit(SQ[:2], [0, 3])  # node 3 is not a row of the new coordinates
    assert (len(d), d.find_closest((1, 1, 0))) == (4, 3)


def test_the_stubs_and_docstrings_cover_the_module():
    import ast

    stub = pathlib.Path(tx.__file__).with_name("__init__.pyi")
    tree = ast.parse(stub.read_text())
    stubbed = {n.name for n in tree.body if isinstance(n, (ast.FunctionDef, ast.ClassDef))}
    stubbed |= {n.target.id for n in tree.body if isinstance(n, ast.AnnAssign)}
    public = {n for n in dir(tx) if not n.startswith("_")}
    assert sorted(public - stubbed) == [] and sorted(n for n in stubbed - public if n[0] != "_") == []
    assert [n for n in public if callable(getattr(tx, n)) and not (getattr(tx, n).__doc__ or "").strip()] == []
