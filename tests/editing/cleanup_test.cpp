#include "editing_test_util.h"
#include "structured_mesh.h"

using namespace qz4test;

namespace {

// Six nodes at x = 10 i, in a view with a gap row below each column; nodes 1
// and 3 are unused.
struct small_mesh {
  dense2D<double> big =
      points(3, {0, 0, -5, 10, 1, -5, 20, 2, -5, 30, 3, -5, 40, 4, -5, 50, 5, -5});
  dense2D<double> pos = big.sub_matrix(0, 0, 2, 6);
  dense2D<unsigned> conn = mat(3, {0, 2, 4, 4, 2, 5});
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
  EXPECT_EQ(flat(other.sub_matrix(0, 0, 2, 4)), (Vd{0, 0, 20, 2, 40, 4, 50, 5}));
  EXPECT_EQ(flat(m.big.sub_matrix(2, 0, 1, 4)), (Vd(4, -5.0)));

  small_mesh n;  // node 1 stays below min_index
  EXPECT_EQ(simplify(n.pos, n.conn, map, 2), 1);
  EXPECT_EQ(std_of(map), (V{0, 1, 2, NO_ID, 3, 4}));
  EXPECT_EQ(flat(n.conn), (V{0, 2, 3, 3, 2, 4}));
  EXPECT_EQ(simplify(n.pos, n.conn, map, 5), 0);  // min_index = column count
  EXPECT_EQ(map.size() * 10 + n.pos.cols(), 5u);
  EXPECT_EQ((std::tuple{simplify(n.pos, n.conn, map, 2), std_of(map)}), std::tuple(0, upto(5)));
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
  dense2D<unsigned> bad = mat(3, {0, 1, 6}), none, both[2] = {m.conn, bad};
  dense2D<double> empty;
  EXPECT_EQ((std::tuple{simplify(m.pos, &bad, &bad, map, 0), map.size()}), std::tuple(0, 0u));
  EXPECT_EQ(simplify(m.pos, &bad + 1, &bad, map, 0), -3);
  EXPECT_EQ(simplify(m.pos, both, both + 2, map, 0), -2);
  EXPECT_EQ((std::tuple{m.pos.cols(), flat(m.conn)}), std::tuple(6u, V{0, 2, 4, 4, 2, 5}));
  EXPECT_EQ(simplify(empty, m.conn, map, 0), -2);
  EXPECT_EQ(simplify(empty, none, map, 0), 0);
  out_of_memory_on_fresh(
      [] { return small_mesh(); },
      [](small_mesh& in) {
        dense1D<unsigned> map;
        const int s = simplify(in.pos, in.conn, map, 0);
        EXPECT_TRUE(s != -199 || (in.pos.cols() == 6 && flat(in.conn) == V{0, 2, 4, 4, 2, 5}));
        return s;
      },
      2);
}

TEST(RemoveDegenerated, RepeatsPaddingViewsAndExhaustedMemory) {
  dense2D<unsigned> c = mat(3, {5, 5, 7, 1, 2, 3, 7, 8, 7, 4, 5, 6});
  dense1D<unsigned> map;
  EXPECT_EQ(remove_degenerated(c, map, false), 2);
  EXPECT_EQ(std_of(map), (V{NO_ID, 0, NO_ID, 1}));
  EXPECT_EQ(flat(c), (V{1, 2, 3, 4, 5, 6}));
  dense2D<unsigned> mixed = mat(4, {5, 6, 7, NO_ID, 5, 6, 5, NO_ID});
  EXPECT_EQ((std::tuple{remove_degenerated(mixed, map, true), std_of(map)}),
            std::tuple(1, V{0, NO_ID}));
  const V wedge = {0, 1, 2, 3, 4, 5, NO_ID, NO_ID, 0, 1, 2, 3, 4, 5, 6, 7};
  dense2D<unsigned> w = mat(8, wedge);
  EXPECT_EQ((std::tuple{remove_degenerated(w, map, false), flat(w)}), std::tuple(0, wedge));
  EXPECT_EQ((std::tuple{remove_degenerated(w, map, true), std_of(map), flat(w)}),
            std::tuple(1, V{NO_ID, 0}, V(wedge.begin() + 8, wedge.end())));
  dense2D<unsigned> empty;
  map.resize(3, 0u);
  EXPECT_EQ((std::tuple{remove_degenerated(empty, map, true), map.size()}), std::tuple(0, 0u));
  // A view with a gap row: packing moves only the view's rows.
  dense2D<unsigned> big = mat(3, {1, 1, 9, 2, 3, 9, 4, 5, 9}), v = big.sub_matrix(0, 0, 2, 3);
  EXPECT_EQ((std::tuple{remove_degenerated(v, map, false), flat(v)}), std::tuple(1, V{2, 3, 4, 5}));
  EXPECT_EQ((std::pair{big(2, 0), big(2, 1)}), std::pair(9u, 9u));
  out_of_memory_on_fresh(
      [] {
        return mat(3, {5, 5, 7, 1, 2, 3});
      },
      [](dense2D<unsigned>& in) {
        dense1D<unsigned> map;
        const int s = remove_degenerated(in, map, false);
        EXPECT_TRUE(s != -199 || in.cols() == 2);
        return s;
      },
      1);
}

// Nodes on the x axis at x = j; the plane x = 2.
struct clip_case {
  dense2D<double> pos = points(2, {0, 0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0});
  dense2D<unsigned> conn = mat(3, {3, 4, 5, 2, 3, 4, 1, 4, 5, NO_ID, 0, 0, 4, NO_ID, 5});
  vector_fixed<double, 3> point = {{2, 0, 0}}, normal = {{1, 0, 7}};
};

TEST(Clip, SelectsWholeElementsOnThePositiveSide) {
  clip_case c;
  dense2D<unsigned> out(5, 2, 1u), back;
  out.clear();  // empty, of any former shape
  EXPECT_EQ(clip(c.pos, c.conn, c.point, c.normal, out), 0);
  // Kept: all beyond the plane; one starting with padding; one padded.
  EXPECT_EQ(flat(out), (V{3, 4, 5, NO_ID, 0, 0, 4, NO_ID, 5}));
  // A long normal selects as its unit form; results collect.
  EXPECT_EQ((std::tuple{clip(c.pos, c.conn, c.point, P3{{1e6, 0, 0}}, out), out.cols()}),
            std::tuple(0, 6u));
  // The opposite side: the padding-led element again, and nothing that touches
  // or straddles the plane.
  EXPECT_EQ((std::tuple{clip(c.pos, c.conn, c.point, P3{{-1, 0, 0}}, back), flat(back)}),
            std::tuple(0, V{NO_ID, 0, 0}));
}

TEST(Clip, StatusesAndExhaustedMemory) {
  clip_case c;
  dense2D<unsigned> out(2, 1, 3u), empty, bad = mat(3, {0, 1, 6}), fresh;
  const P3 zero = {{0, 0, 0}}, tiny = {{1e-13, 0, 0}}, small = {{1e-12, 0, 0}};
  EXPECT_EQ((std::tuple{clip(c.pos, empty, c.point, zero, out), flat(out)}),
            std::tuple(0, V{3, 3}));
  EXPECT_EQ(clip(c.pos, bad, c.point, zero, out), -2);
  EXPECT_EQ(clip(c.pos, c.conn, c.point, tiny, out), -4);
  EXPECT_EQ((std::tuple{clip(c.pos, c.conn, c.point, small, out), flat(out)}),
            std::tuple(-5, V{3, 3}));
  EXPECT_EQ((std::tuple{clip(c.pos, c.conn, c.point, small, fresh), fresh.cols()}),
            std::tuple(0, 3u));
  out_of_memory_on_fresh([] { return clip_case(); },
                         [](clip_case& in) {
                           dense2D<unsigned> out;
                           const int s = clip(in.pos, in.conn, in.point, in.normal, out);
                           EXPECT_TRUE(s != -199 || out.empty());
                           return s;
                         });
}

// Against the sign of each corner on a shuffled grid, on both sides.
TEST(Clip, ThreeDimensionalGrid) {
  qz4::support::mesh m = qz4::support::tetra_grid(3, 3, 3);
  qz4::support::shuffle(m, 5);
  unsigned both = 0;
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
    both += got.cols();
    EXPECT_TRUE(sign < 0 || got.cols() > 0);
  }
  EXPECT_LT(both, m.conn.cols());
}

}  // namespace
