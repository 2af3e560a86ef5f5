# How arrays cross: inputs used where they lie, results over the library's
# blocks, conversions where a service only reads, TypeError where it writes,
# and in-place services that really change the caller's array.
import gc

import numpy as np
import pytest

import qz4tessellix as tx
from conftest import grid

NO_ID = tx.NO_ID


def neighbors_oracle(tri):
    """Brute force: the element across edge b (opposite node b) of each triangle."""
    out = np.full(tri.shape, NO_ID, dtype=np.uint32)
    for e, t in enumerate(tri):
        for b in range(3):
            edge = {t[(b + 1) % 3], t[(b + 2) % 3]}
            others = [f for f, s in enumerate(tri) if f != e and edge <= set(s)]
            if len(others) == 1:
                out[e, b] = others[0]
    return out


def test_translate_moves_the_callers_array_and_leaves_the_gaps_of_a_strided_one():
    pos, _ = grid(2, 2)
    before = pos.copy()
    assert tx.translate(pos, (1, 2, 3)) == 9
    np.testing.assert_array_equal(pos, before + [1, 2, 3])
    wide = np.arange(20.0).reshape(4, 5)
    expected = wide.copy()
    expected[:, 1:4] += [1, 2, 3]
    assert tx.translate(wide[:, 1:4], (1, 2, 3)) == 4  # ld 5 over 3 coordinates
    np.testing.assert_array_equal(wide, expected)


def test_an_input_is_read_where_it_lies_and_a_converted_one_is_a_copy():
    pos, _ = grid(2, 2)
    seen = tx.node_detector(pos)
    copied = tx.node_detector(np.asfortranarray(pos))
    pos[4] = (5, 5, 0)  # the detector reads the caller's array at every call
    assert seen.find_closest((5, 5)) == 4
    assert copied.find_closest((5, 5)) == 8


def test_results_are_arrays_over_the_librarys_block_and_outlive_the_inputs():
    pos, tri = grid(3, 2)
    expected = neighbors_oracle(tri)
    nb = tx.get_neighbors(tri, tx.ET_TRIA3)
    assert not nb.flags.owndata and type(nb.base).__name__ == "PyCapsule"
    assert nb.base is not None and not np.shares_memory(nb, tri)
    del tri
    gc.collect()
    junk = [np.full((50, 3), 7, np.uint32) for _ in range(100)]  # reuse of freed memory
    np.testing.assert_array_equal(nb, expected)
    assert len(junk) == 100
    shuffled = np.ascontiguousarray(grid(3, 2)[1][::-1])  # another numbering, same oracle
    np.testing.assert_array_equal(tx.get_neighbors(shuffled, tx.ET_TRIA3), neighbors_oracle(shuffled))


@pytest.mark.parametrize(
    "conn",
    [
        lambda t: t.astype(np.int64),
        lambda t: t.astype(np.uint16),
        lambda t: np.asfortranarray(t),
        lambda t: t.tolist(),
        lambda t: np.hstack([t, t])[:, :3],  # strided: viewed, not converted
    ],
)
def test_a_read_only_argument_of_another_dtype_or_layout_is_converted(conn):
    pos, tri = grid(2, 1)
    np.testing.assert_array_equal(tx.get_neighbors(conn(tri), tx.ET_TRIA3), neighbors_oracle(tri))
    q = tx.shape_qualities(np.asfortranarray(pos).astype(np.float32), conn(tri), tx.ET_TRIA3)
    np.testing.assert_allclose(q, tx.shape_qualities(pos, tri, tx.ET_TRIA3), rtol=1e-6)


def test_ids_convert_with_minus_one_as_no_id_and_refuse_what_does_not_fit():
    assert tx.max_ID(np.array([3, -1, 7])) == 7
    assert tx.max_ID([NO_ID, NO_ID]) == 0
    for bad, error in (([2**32], ValueError), ([-2], ValueError), (np.array([-2], np.int32), ValueError),
                       ([1.5], TypeError), (["a"], TypeError)):
        with pytest.raises(error, match="ids"):
            tx.max_ID(np.array(bad))


@pytest.mark.parametrize(
    "make",
    [
        lambda p: p.astype(np.float32),
        lambda p: np.asfortranarray(p),
        lambda p: p.tolist(),
        lambda p: p[::-1],
        lambda p: (p.setflags(write=False), p)[1],
        lambda p: np.frombuffer(bytearray(1) + p.tobytes(), np.float64, offset=1).reshape(p.shape),  # unaligned
        lambda p: np.lib.stride_tricks.as_strided(p, (3, 3), (8, 8)),  # rows overlap
    ],
)
def test_an_array_the_service_writes_into_must_be_writable_float64_rows(make):
    pos, _ = grid(1, 1)
    with pytest.raises(TypeError, match="pos: the service writes into it"):
        tx.translate(make(pos), (1, 0, 0))
    with pytest.raises(TypeError, match="ids"):
        tx.shift_indices(np.array([1, 2], dtype=np.int64), 1)


def test_in_place_services_bring_a_moved_result_back_or_refuse_a_new_shape():
    pos = np.array([[0.0, 0.0], [1.0, 0.0], [1.0 + 1e-9, 0.0]])
    count, node_map = tx.merge(pos, 1e-6)  # the library rebinds pos to a new block
    assert count == 1 and node_map.tolist() == [0, 1, 1]
    np.testing.assert_array_equal(pos, [[0, 0], [1, 0], [1, 0]])
    flat = pos.copy()
    with pytest.raises(ValueError, match="pos: .*left unchanged"):
        tx.translate(flat, (1, 1, 1))  # a 3D move would grow it to 3 columns
    np.testing.assert_array_equal(flat, pos)
    pos, tri = grid(1, 1)
    tri[1] = (0, 2, 2)
    removed, kept, element_map = tx.remove_degenerated(tri)
    assert (removed, element_map.tolist()) == (1, [0, NO_ID])
    assert np.shares_memory(kept, tri) and kept.tolist() == [[0, 1, 3]]
    count, packed, node_map = tx.simplify(pos, kept)
    assert count == 1 and np.shares_memory(packed, pos) and packed.shape == (3, 3)
    assert kept.tolist() == [[0, 1, 2]] and node_map.tolist() == [0, 1, NO_ID, 2]


def test_appending_services_return_new_arrays_and_keep_the_callers():
    pos, tri = grid(2, 1)
    first = tx.clip(pos, tri, (0.4, 0, 0), (1, 0, 0))
    assert first.tolist() == [[1, 2, 5], [1, 5, 4]]
    again = tx.clip(pos, tri, (0.6, 0, 0), (-1, 0, 0), clipped=first)
    assert again.tolist() == [[1, 2, 5], [1, 5, 4], [0, 1, 4], [0, 4, 3]] and first.shape == (2, 3)
    new_pos, copy = tx.copy_mesh(pos, tri[:1])
    assert pos.shape == (6, 3) and new_pos.shape == (9, 3) and copy.tolist() == [[6, 7, 8]]
    np.testing.assert_array_equal(new_pos[6:], pos[tri[0]])
