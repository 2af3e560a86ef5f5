#include "editing_test_util.h"
#include "structured_mesh.h"

namespace qz4test {

// Six nodes at x = 10 i, in a view with a gap row below each column; nodes 1
// and 3 are unused.
struct small_mesh {
  dense2D<double> big =
      points(3, {0, 0, -5, 10, 1, -5, 20, 2, -5, 30, 3, -5, 40, 4, -5, 50, 5, -5});
  dense2D<double> pos = big.sub_matrix(0, 0, 2, 6);
  dense2D<unsigned> conn = mat(3, {0, 2, 4, 4, 2, 5});
  dense1D<unsigned> map;
};

TEST(Simplify, PacksInPlaceRenumbersAndChecksInOrder) {
  small_mesh m, n, o;
  const dense2D<double> other(m.pos);
  dense1D<unsigned>& map = m.map;
  // Packed in place: no reallocation.
  EXPECT_EQ((std::tuple{simplify(m.pos, m.conn, map, 0), std_of(map), flat(m.conn), m.pos.cols(),
                        m.pos.data() == other.data()}),
            std::tuple(2, V{0, NO_ID, 1, NO_ID, 2, 3}, V{0, 1, 2, 2, 1, 3}, 4u, true));
  EXPECT_EQ(flat(m.big.sub_matrix(2, 0, 1, 4)), (Vd(4, -5.0)));  // rows past the view untouched
  // Node 1 stays below min_index; min_index = column count does nothing.
  EXPECT_EQ((std::tuple{simplify(n.pos, n.conn, map, 2), std_of(map), flat(n.conn)}),
            std::tuple(1, V{0, 1, 2, NO_ID, 3, 4}, V{0, 2, 3, 3, 2, 4}));
  EXPECT_EQ((std::tuple{simplify(n.pos, n.conn, map, 5), map.size(), n.pos.cols()}),
            std::tuple(0, 0u, 5u));
  EXPECT_EQ(simplify(n.pos, n.conn, 0), 1);
  // A second connectivity, with padding.
  dense2D<unsigned> second = mat(2, {3, NO_ID});
  EXPECT_EQ((std::tuple{simplify(o.pos, o.conn, second, 0), flat(second), flat(o.conn)}),
            std::tuple(1, V{2, NO_ID}, V{0, 1, 3, 3, 1, 4}));

  small_mesh s;
  dense2D<unsigned> bad = mat(3, {0, 1, 6}), none, both[2] = {s.conn, bad};
  dense2D<double> empty;
  map.resize(3, 1u);
  EXPECT_EQ((std::vector<int>{simplify(s.pos, &bad, &bad, map, 0), int(map.size()),
                              simplify(s.pos, &bad + 1, &bad, map, 0),
                              simplify(s.pos, both, both + 2, map, 0), int(s.pos.cols()),
                              simplify(empty, s.conn, map, 0), simplify(empty, none, map, 0)}),
            (std::vector<int>{0, 0, -3, -2, 6, -2, 0}));
  EXPECT_EQ(flat(s.conn), (V{0, 2, 4, 4, 2, 5}));
  out_of_memory_on_fresh(
      [] { return small_mesh(); },
      [](small_mesh& in) { return simplify(in.pos, in.conn, in.map, 0); },
      [](small_mesh& in) { return in.pos.cols() == 6 && flat(in.conn) == V{0, 2, 4, 4, 2, 5}; }, 2);
}

TEST(RemoveDegenerated, RepeatsPaddingViewsAndExhaustedMemory) {
  dense2D<unsigned> c = mat(3, {5, 5, 7, 1, 2, 3, 7, 8, 7, 4, 5, 6}), empty;
  dense1D<unsigned> map;
  EXPECT_EQ((std::tuple{remove_degenerated(c, map, false), std_of(map), flat(c)}),
            std::tuple(2, V{NO_ID, 0, NO_ID, 1}, V{1, 2, 3, 4, 5, 6}));
  const V wedge = {0, 1, 2, 3, 4, 5, NO_ID, NO_ID, 0, 1, 2, 3, 4, 5, 6, 7};
  dense2D<unsigned> w = mat(8, wedge);
  EXPECT_EQ((std::tuple{remove_degenerated(w, map, false), flat(w)}), std::tuple(0, wedge));
  EXPECT_EQ((std::tuple{remove_degenerated(w, map, true), std_of(map), flat(w)}),
            std::tuple(1, V{NO_ID, 0}, V(wedge.begin() + 8, wedge.end())));
  map.resize(3, 0u);
  EXPECT_EQ((std::tuple{remove_degenerated(empty, map, true), map.size()}), std::tuple(0, 0u));
  // A view with a gap row: packing moves only the view's rows.
  dense2D<unsigned> big = mat(3, {1, 1, 9, 2, 3, 9, 4, 5, 9}), v = big.sub_matrix(0, 0, 2, 3);
  EXPECT_EQ((std::tuple{remove_degenerated(v, map, false), flat(v), big(2, 0), big(2, 1)}),
            std::tuple(1, V{2, 3, 4, 5}, 9u, 9u));
  out_of_memory_on_fresh(
      [] {
        return std::pair{mat(3, {5, 5, 7, 1, 2, 3}), dense1D<unsigned>()};
      },
      [](auto& in) { return remove_degenerated(in.first, in.second, false); },
      [](auto& in) { return in.first.cols() == 2; }, 1);
}

// Nodes on the x axis at x = j; the plane x = 2.
struct clip_case {
  dense2D<double> pos = points(2, {0, 0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0});
  dense2D<unsigned> conn = mat(3, {3, 4, 5, 2, 3, 4, 1, 4, 5, NO_ID, 0, 0, 4, NO_ID, 5}), out;
  vector_fixed<double, 3> point = {{2, 0, 0}}, normal = {{1, 0, 7}};
};

TEST(Clip, SelectsWholeElementsOnThePositiveSideAndChecksInOrder) {
  clip_case c;
  dense2D<unsigned> out(5, 2, 1u), back, bad = mat(3, {0, 1, 6}), fresh;
  out.clear();  // empty, of any former shape
  // Kept: all beyond the plane; one starting with padding; one padded.
  EXPECT_EQ((std::tuple{clip(c.pos, c.conn, c.point, c.normal, out), flat(out)}),
            std::tuple(0, V{3, 4, 5, NO_ID, 0, 0, 4, NO_ID, 5}));
  // A long normal selects as its unit form; results collect.
  EXPECT_EQ((std::tuple{clip(c.pos, c.conn, c.point, P3{{1e6, 0, 0}}, out), out.cols()}),
            std::tuple(0, 6u));
  // The opposite side: the padding-led element again, and nothing that touches
  // or straddles the plane.
  EXPECT_EQ((std::tuple{clip(c.pos, c.conn, c.point, P3{{-1, 0, 0}}, back), flat(back)}),
            std::tuple(0, V{NO_ID, 0, 0}));

  const P3 zero = {{0, 0, 0}}, tiny = {{1e-13, 0, 0}}, small = {{1e-12, 0, 0}};
  out = mat(2, {3, 3});
  // Statuses in order; nothing beyond a far plane is no failure.
  EXPECT_EQ((std::vector<int>{
                clip(c.pos, dense2D<unsigned>(), c.point, zero, out),
                clip(c.pos, c.conn.sub_matrix(0, 0, 3, 3), P3{{1e9, 0, 0}}, P3{{1, 0, 0}}, back),
                clip(c.pos, bad, c.point, zero, out), clip(c.pos, c.conn, c.point, tiny, out),
                clip(c.pos, c.conn, c.point, small, out),
                clip(c.pos, c.conn, c.point, small, fresh), int(fresh.cols())}),
            (std::vector<int>{0, 0, -2, -4, -5, 0, 3}));
  EXPECT_EQ(flat(out), (V{3, 3}));
  out_of_memory_on_fresh(
      [] { return clip_case(); },
      [](clip_case& in) { return clip(in.pos, in.conn, in.point, in.normal, in.out); },
      [](clip_case& in) { return in.out.empty(); });
}

// Against the sign of each corner on a shuffled grid, on both sides; some
// elements straddle the plane and belong to neither.
TEST(Clip, ThreeDimensionalGrid) {
  qz4::support::mesh m = qz4::support::tetra_grid(3, 3, 3);
  qz4::support::shuffle(m, 5);
  for (double sign : {1.0, -1.0}) {
    dense2D<unsigned> got;
    EXPECT_EQ(clip(m.pos, m.conn, P3{{0.5, 0.5, 0.5}}, P3{{sign, sign, sign}}, got), 0);
    V expect;
    for (unsigned e = 0; e < m.conn.cols(); ++e) {
      bool in = true;
      for (unsigned r = 0, v; r < 4; ++r)
        v = m.conn(r, e), in = in && sign * (m.pos(0, v) + m.pos(1, v) + m.pos(2, v) - 1.5) > 0;
      if (in) expect.insert(expect.end(), &m.conn(0, e), &m.conn(0, e) + 4);
    }
    EXPECT_EQ(flat(got), expect);
    EXPECT_FALSE(expect.empty());
  }
}

}  // namespace qz4test
