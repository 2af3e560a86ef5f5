#include <gtest/gtest.h>

#include <vector>

#include "alloc_seam.h"
#include "arrays.h"
#include "qz4/tessellix/editing.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;
using namespace qz4test;
using V = std::vector<unsigned>;

namespace {

// Six nodes at x = 10 i, in a view with a gap row below each column; nodes 1
// and 3 are unused.
struct small_mesh {
  dense2D<double> big{3, 6, -5.0};
  dense2D<double> pos;
  dense2D<unsigned> conn = mat(3, {0, 2, 4, 4, 2, 5});
  small_mesh() {
    for (unsigned j = 0; j < 6; ++j) big(0, j) = 10.0 * j, big(1, j) = j;
    pos = big.sub_matrix(0, 0, 2, 6);
  }
};

TEST(Simplify, PacksInPlaceAndRenumbers) {
  small_mesh m;
  const dense2D<double> other(m.pos);
  const double* storage = m.pos.data();
  dense1D<unsigned> map;
  EXPECT_EQ(simplify(m.pos, m.conn, map, 0), 2);
  EXPECT_EQ(std_of(map), (V{0, NO_ID, 1, NO_ID, 2, 3}));
  EXPECT_EQ(flat(m.conn), (V{0, 1, 2, 2, 1, 3}));
  ASSERT_EQ(m.pos.cols(), 4u);
  EXPECT_EQ(m.pos.data(), storage);  // no reallocation
  // Other holders see the packing; rows past the view are not touched.
  EXPECT_EQ(flat(other.sub_matrix(0, 0, 2, 4)), (std::vector<double>{0, 0, 20, 2, 40, 4, 50, 5}));
  EXPECT_EQ(flat(m.big.sub_matrix(2, 0, 1, 4)), (std::vector<double>(4, -5.0)));

  small_mesh n;  // node 1 stays below min_index
  EXPECT_EQ(simplify(n.pos, n.conn, map, 2), 1);
  EXPECT_EQ(std_of(map), (V{0, 1, 2, NO_ID, 3, 4}));
  EXPECT_EQ(flat(n.conn), (V{0, 2, 3, 3, 2, 4}));
  EXPECT_EQ(simplify(n.pos, n.conn, map, 5), 0);  // min_index = column count
  EXPECT_EQ(map.size() * 10 + n.pos.cols(), 5u);
  EXPECT_EQ(simplify(n.pos, n.conn, map, 2), 0);
  EXPECT_EQ(std_of(map), (V{0, 1, 2, 3, 4}));
  EXPECT_EQ(simplify(n.pos, n.conn, 0), 1);

  small_mesh o;  // a second connectivity, with padding
  dense2D<unsigned> second = mat(2, {3, NO_ID});
  EXPECT_EQ(simplify(o.pos, o.conn, second, 0), 1);
  EXPECT_EQ(flat(second), (V{2, NO_ID}));
  EXPECT_EQ(flat(o.conn), (V{0, 1, 3, 3, 1, 4}));
}

TEST(Simplify, StatusesAndExhaustedMemory) {
  small_mesh m;
  dense1D<unsigned> map(3, 1u);
  dense2D<unsigned> bad = mat(3, {0, 1, 6});
  EXPECT_EQ(simplify(m.pos, &bad, &bad, map, 0), 0);
  EXPECT_EQ(map.size(), 0u);
  EXPECT_EQ(simplify(m.pos, &bad + 1, &bad, map, 0), -3);
  dense2D<unsigned> both[2] = {m.conn, bad};
  EXPECT_EQ(simplify(m.pos, both, both + 2, map, 0), -2);
  EXPECT_EQ(m.pos.cols(), 6u);
  EXPECT_EQ(flat(m.conn), (V{0, 2, 4, 4, 2, 5}));
  dense2D<double> empty;
  EXPECT_EQ(simplify(empty, m.conn, map, 0), -2);
  dense2D<unsigned> none;
  EXPECT_EQ(simplify(empty, none, map, 0), 0);
  // Inputs are made before the allocator starts failing.
  std::vector<small_mesh> meshes(32);
  expect_ok_or_out_of_memory(
      [&](unsigned k) {
        dense1D<unsigned> map;
        const int s = simplify(meshes[k].pos, meshes[k].conn, map, 0);
        EXPECT_TRUE(s != -199 ||
                    (meshes[k].pos.cols() == 6 && flat(meshes[k].conn) == V{0, 2, 4, 4, 2, 5}));
        return s;
      },
      2);
}

TEST(RemoveDegenerated, RepeatsAndPadding) {
  dense2D<unsigned> c = mat(3, {5, 5, 7, 1, 2, 3, 7, 8, 7, 4, 5, 6});
  dense1D<unsigned> map;
  EXPECT_EQ(remove_degenerated(c, map, false), 2);
  EXPECT_EQ(std_of(map), (V{NO_ID, 0, NO_ID, 1}));
  EXPECT_EQ(flat(c), (V{1, 2, 3, 4, 5, 6}));

  dense2D<unsigned> mixed = mat(4, {5, 6, 7, NO_ID, 5, 6, 5, NO_ID});
  EXPECT_EQ(remove_degenerated(mixed, map, true), 1);
  EXPECT_EQ(std_of(map), (V{0, NO_ID}));

  const std::vector<unsigned> wedge = {0, 1, 2, 3, 4, 5, NO_ID, NO_ID, 0, 1, 2, 3, 4, 5, 6, 7};
  dense2D<unsigned> w = mat(8, wedge);
  EXPECT_EQ(remove_degenerated(w, map, false), 0);
  EXPECT_EQ(flat(w), wedge);
  EXPECT_EQ(remove_degenerated(w, map, true), 1);
  EXPECT_EQ(std_of(map), (V{NO_ID, 0}));
  EXPECT_EQ(flat(w), (std::vector<unsigned>(wedge.begin() + 8, wedge.end())));

  dense2D<unsigned> empty;
  map.resize(3, 0u);
  EXPECT_EQ(remove_degenerated(empty, map, true), 0);
  EXPECT_EQ(map.size(), 0u);
}

TEST(RemoveDegenerated, PacksViewsWithGaps) {
  dense2D<unsigned> big = mat(3, {1, 1, 9, 2, 3, 9, 4, 5, 9});
  dense2D<unsigned> v = big.sub_matrix(0, 0, 2, 3);
  dense1D<unsigned> map;
  EXPECT_EQ(remove_degenerated(v, map, false), 1);
  EXPECT_EQ(flat(v), (V{2, 3, 4, 5}));
  EXPECT_EQ(big(2, 0), 9u);
  EXPECT_EQ(big(2, 1), 9u);
}

TEST(RemoveDegenerated, ExhaustedMemory) {
  std::vector<dense2D<unsigned>> inputs;
  for (int i = 0; i < 32; ++i) inputs.push_back(mat(3, {5, 5, 7, 1, 2, 3}));
  expect_ok_or_out_of_memory(
      [&](unsigned k) {
        dense1D<unsigned> map;
        const int s = remove_degenerated(inputs[k], map, false);
        EXPECT_TRUE(s != -199 || inputs[k].cols() == 2);
        return s;
      },
      1);
}

// Nodes on the x axis at x = j; the plane x = 2.
struct clip_case {
  dense2D<double> pos{2, 6, 0.0};
  dense2D<unsigned> conn = mat(3, {3, 4, 5, 2, 3, 4, 1, 4, 5, NO_ID, 0, 0, 4, NO_ID, 5});
  vector_fixed<double, 3> point = {{2, 0, 0}}, normal = {{1, 0, 7}};
  clip_case() {
    for (unsigned j = 0; j < 6; ++j) pos(0, j) = j;
  }
};

TEST(Clip, SelectsWholeElementsOnThePositiveSide) {
  clip_case c;
  dense2D<unsigned> out(5, 2, 1u);
  out.clear();  // empty, of any former shape
  EXPECT_EQ(clip(c.pos, c.conn, c.point, c.normal, out), 0);
  // Kept: all beyond the plane; one starting with padding; one padded.
  EXPECT_EQ(flat(out), (V{3, 4, 5, NO_ID, 0, 0, 4, NO_ID, 5}));
  // A long normal selects as its unit form; results collect.
  EXPECT_EQ(clip(c.pos, c.conn, c.point, vector_fixed<double, 3>{{1e6, 0, 0}}, out), 0);
  EXPECT_EQ(out.cols(), 6u);
  dense2D<unsigned> back;
  EXPECT_EQ(clip(c.pos, c.conn, c.point, vector_fixed<double, 3>{{-1, 0, 0}}, back), 0);
  // The opposite side: the padding-led element again, and nothing that touches
  // or straddles the plane.
  EXPECT_EQ(flat(back), (V{NO_ID, 0, 0}));
}

TEST(Clip, Statuses) {
  clip_case c;
  dense2D<unsigned> out(2, 1, 3u), empty;
  const vector_fixed<double, 3> zero = {{0, 0, 0}}, tiny = {{1e-13, 0, 0}}, small = {{1e-12, 0, 0}};
  EXPECT_EQ(clip(c.pos, empty, c.point, zero, out), 0);
  EXPECT_EQ(flat(out), (V{3, 3}));
  dense2D<unsigned> bad = mat(3, {0, 1, 6});
  EXPECT_EQ(clip(c.pos, bad, c.point, zero, out), -2);
  EXPECT_EQ(clip(c.pos, c.conn, c.point, tiny, out), -4);
  EXPECT_EQ(clip(c.pos, c.conn, c.point, small, out), -5);
  dense2D<unsigned> fresh;
  EXPECT_EQ(clip(c.pos, c.conn, c.point, small, fresh), 0);
  EXPECT_EQ(fresh.cols(), 3u);
  EXPECT_EQ(flat(out), (V{3, 3}));
}

TEST(Clip, ExhaustedMemory) {
  std::vector<clip_case> cases(32);
  expect_ok_or_out_of_memory([&](unsigned k) {
    dense2D<unsigned> out;
    const int s = clip(cases[k].pos, cases[k].conn, cases[k].point, cases[k].normal, out);
    EXPECT_TRUE(s != -199 || out.empty());
    return s;
  });
}

TEST(Clip, ThreeDimensionalGrid) {
  qz4::support::mesh m = qz4::support::tetra_grid(3, 3, 3);
  qz4::support::shuffle(m, 5);
  dense2D<unsigned> up, down;
  const vector_fixed<double, 3> p = {{0.5, 0.5, 0.5}}, n = {{1, 1, 1}}, mn = {{-1, -1, -1}};
  EXPECT_EQ(clip(m.pos, m.conn, p, n, up), 0);
  EXPECT_EQ(clip(m.pos, m.conn, p, mn, down), 0);
  for (const dense2D<unsigned>* side : {&up, &down})
    for (unsigned e = 0; e < side->cols(); ++e) {
      const double sign = side == &up ? 1 : -1;
      for (unsigned r = 0; r < 4; ++r) {
        const unsigned v = (*side)(r, e);
        const double s = m.pos(0, v) + m.pos(1, v) + m.pos(2, v) - 1.5;
        EXPECT_GT(sign * s, 0);
      }
    }
  EXPECT_GT(up.cols(), 0u);
  EXPECT_LT(up.cols() + down.cols(), m.conn.cols());
}

}  // namespace
