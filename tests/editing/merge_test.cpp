#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "alloc_seam.h"
#include "arrays.h"
#include "editing_test_util.h"
#include "qz4/tessellix/editing.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;
using namespace qz4test;
using V = std::vector<unsigned>;

namespace {

std::vector<unsigned> distinct(const std::vector<unsigned>& l) {
  std::vector<unsigned> u;
  for (unsigned v : l)
    if (v != NO_ID && std::find(u.begin(), u.end(), v) == u.end()) u.push_back(v);
  return u;
}

struct merge_result {
  std::vector<unsigned> map;
  int count = 0;
};

// The list worker as written: a tree from the shuffled first list, one box
// per node of the second in the tree's pre-order, every pair within the
// tolerance, a stable sort by distance, the pairs applied while both nodes
// stand for themselves, then chains followed.
template <unsigned D>
merge_result reference_merge(const dense2D<double>& pos, const std::vector<unsigned>& l1,
                             const std::vector<unsigned>& l2, double tol) {
  struct pair {
    double d;
    unsigned kept, dropped;
  };
  const std::vector<unsigned> u1 = distinct(l1), u2 = distinct(l2);
  node_tree<D> tree(&pos);
  qz4test::insert_one_by_one(tree, u1);
  merge_result r;
  r.map.resize(pos.cols());
  std::iota(r.map.begin(), r.map.end(), 0u);
  std::vector<pair> pairs;
  for (unsigned a : u2) {
    double lo[D], hi[D];
    for (unsigned k = 0; k < D; ++k) {
      lo[k] = pos(k, a) - tol;
      hi[k] = pos(k, a) + tol;
    }
    std::vector<unsigned> found;
    qz4test::reference_box(tree, 0, 0, lo, hi, found);
    for (unsigned b : found) {
      if (b == a) continue;
      double s = 0;
      for (unsigned k = 0; k < pos.rows(); ++k)
        s += (pos(k, a) - pos(k, b)) * (pos(k, a) - pos(k, b));
      const double d = std::sqrt(s);
      if (d <= tol) pairs.push_back(pair{d, a, b});
    }
  }
  std::stable_sort(pairs.begin(), pairs.end(),
                   [](const pair& x, const pair& y) { return x.d < y.d; });
  for (const pair& p : pairs)
    if (r.map[p.kept] == p.kept && r.map[p.dropped] == p.dropped) {
      r.map[p.dropped] = p.kept;
      ++r.count;
    }
  for (unsigned u : u1) {
    unsigned s = r.map[u];
    while (r.map[s] != s) s = r.map[s];
    r.map[u] = s;
  }
  return r;
}

// Random points with exact copies and near copies of some of them, numbered
// in a scrambled order, in a view with ld > rows.
dense2D<double> cloud(unsigned rows, unsigned base, unsigned seed) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(0.0, 1.0), nudge(-2e-3, 2e-3);
  const unsigned n = base + base / 2 + base / 3;
  std::vector<std::vector<double>> pts;
  for (unsigned j = 0; j < base; ++j) {
    std::vector<double> p(rows);
    for (double& x : p) x = u(g);
    pts.push_back(p);
  }
  for (unsigned j = base; j < n; ++j) {
    std::vector<double> p = pts[g() % base];
    if (j >= base + base / 2)
      for (double& x : p) x += nudge(g);
    pts.push_back(p);
  }
  std::shuffle(pts.begin(), pts.end(), g);
  dense2D<double> big(rows + 2, n, 0.0);
  for (unsigned j = 0; j < n; ++j)
    for (unsigned k = 0; k < rows; ++k) big(k, j) = pts[j][k];
  return big.sub_matrix(0, 0, rows, n);
}

template <unsigned D>
void check_lists(unsigned seed, double tol) {
  const dense2D<double> pos = cloud(D, 200, seed);
  std::mt19937 g(seed);
  std::vector<unsigned> all(pos.cols());
  std::iota(all.begin(), all.end(), 0u);
  std::shuffle(all.begin(), all.end(), g);
  std::vector<unsigned> l = all;
  l.push_back(NO_ID);
  l.push_back(all[3]);  // repeats and padding are not nodes of their own
  dense1D<unsigned> map;
  int got = merge(pos, vec(l), map, tol);
  merge_result expect = reference_merge<D>(pos, l, l, tol);
  EXPECT_GT(expect.count, 0);
  EXPECT_EQ(got, expect.count);
  ASSERT_EQ(std_of(map), expect.map);

  // Two different lists: nodes of the first go onto nodes of the second.
  const std::vector<unsigned> l1(all.begin(), all.begin() + all.size() * 2 / 3),
      l2(all.begin() + all.size() / 3, all.end());
  got = merge(pos, vec(l1), vec(l2), map, tol);
  expect = reference_merge<D>(pos, l1, l2, tol);
  EXPECT_EQ(got, expect.count);
  ASSERT_EQ(std_of(map), expect.map);
  for (unsigned i = 0; i < map.size(); ++i)
    if (map[i] != i) {
      EXPECT_NE(std::find(l1.begin(), l1.end(), i), l1.end());
      EXPECT_NE(std::find(l2.begin(), l2.end(), map[i]), l2.end());
    }
}

TEST(Merge, ListWorkerMatchesTranscription) {
  check_lists<2>(1, 1e-3);
  check_lists<2>(2, 0.04);
  check_lists<3>(3, 1e-3);
  check_lists<3>(4, 0.08);
  check_lists<3>(5, 0.0);
}

// One list merged with itself takes a shortcut through coincident groups; it
// must answer as the worker on two equal but distinct lists, which does not.
template <unsigned D>
void expect_same_as_general(const dense2D<double>& pos, double tol) {
  std::vector<unsigned> all(pos.cols());
  std::iota(all.begin(), all.end(), 0u);
  std::shuffle(all.begin(), all.end(), std::mt19937(7));
  const dense1D<unsigned> l = vec(all), twin = vec(all);
  dense1D<unsigned> fast, slow;
  const int a = merge(pos, l, fast, tol), b = merge(pos, l, twin, slow, tol);
  EXPECT_EQ(a, b);
  ASSERT_EQ(std_of(fast), std_of(slow));
  const merge_result r = reference_merge<D>(pos, all, all, tol);
  EXPECT_EQ(a, r.count);
  ASSERT_EQ(std_of(fast), r.map);
}

TEST(Merge, SingleListShortcutAnswersAsTheWorker) {
  expect_same_as_general<3>(cloud(3, 300, 11), 0.05);  // many pairs between places
  expect_same_as_general<2>(cloud(2, 300, 12), 0.02);
  expect_same_as_general<2>(cloud(2, 100, 13), 10.0);  // every place within reach
  dense2D<double> g = qz4test::grid_points(3, 5, 4, 3);
  expect_same_as_general<3>(g, 1.0);  // equidistant neighbours
  expect_same_as_general<3>(g, 1.5);
  dense2D<double> odd = qz4test::coincident_points(3, 60, 5, 14);
  odd(1, 3) = -0.0 * odd(1, 3);  // -0 and 0 coincide
  odd(0, 10) = std::nan("");
  odd(2, 11) = 1e-300;  // distinct from 0, yet at distance 0 from it
  expect_same_as_general<3>(odd, 0.3);
  expect_same_as_general<3>(odd, 0.0);
  odd(0, 10) = 1.0 / 0.0;
  expect_same_as_general<3>(odd, 1e-9);
}

TEST(Merge, ConnectivityGlobalIsTheListWorkerOnItsNodes) {
  qz4::support::mesh m = qz4::support::tria_grid(6, 5);
  qz4::support::shuffle(m, 3);
  // A soup: three fresh nodes per triangle, in element order.
  const unsigned ne = m.conn.cols();
  dense2D<double> pos(2, 3 * ne, 0.0);
  dense2D<unsigned> soup(3, ne, 0u);
  for (unsigned e = 0; e < ne; ++e)
    for (unsigned r = 0; r < 3; ++r) {
      soup(r, e) = 3 * e + r;
      pos(0, 3 * e + r) = m.pos(0, m.conn(r, e));
      pos(1, 3 * e + r) = m.pos(1, m.conn(r, e));
    }
  std::vector<unsigned> order;
  for (unsigned e = 0; e < ne; ++e)
    for (unsigned r = 0; r < 3; ++r) order.push_back(soup(r, e));
  const merge_result expect = reference_merge<2>(pos, order, order, 1e-9);
  dense1D<unsigned> map;
  EXPECT_EQ(merge(pos, soup, map, 1e-9, 0), int(3 * ne - m.pos.cols()));
  ASSERT_EQ(std_of(map), expect.map);
  for (unsigned e = 0; e < ne; ++e)
    for (unsigned r = 0; r < 3; ++r) EXPECT_EQ(soup(r, e), expect.map[3 * e + r]);
  // Every survivor is the first corner of its place in element order.
  for (unsigned i = 0; i < map.size(); ++i) EXPECT_LE(map[i], i);
}

// Hand cases on nodes of the x axis. A chain spans more than the tolerance;
// zero merges only equal places (0 and 1e-300 are apart) and a tolerance
// equal to the distance merges; NaN merges nothing.
TEST(Merge, TolerancesChainsAndLocalModes) {
  const dense2D<double> pos = mat(2, std::vector<double>{0, 0, 0.5, 0, 0.9, 0});
  dense1D<unsigned> map;
  EXPECT_EQ(merge(pos, vec({0, 1, 2}), map, 0.6), 2);
  EXPECT_EQ(std_of(map), (V{0, 0, 0}));
  const dense2D<double> p4 = mat(3, std::vector<double>{0, 0, 0, .5, 0, 0, 0, 0, 0, 0, 1e-300, 0});
  EXPECT_EQ(merge(p4, vec({0, 1, 2, 3}), map, 0.0), 1);
  EXPECT_EQ(std_of(map), (V{0, 1, 0, 3}));
  EXPECT_EQ(merge(p4, vec({0, 1, 2, 3}), map, 0.5), 3);
  EXPECT_EQ(std_of(map), (V{0, 0, 0, 0}));
  EXPECT_EQ(merge(p4, vec({0, 1, 2, 3}), map, std::nan("")), 0);
  EXPECT_EQ(std_of(map), (V{0, 1, 2, 3}));
  dense2D<unsigned> c = mat(3, {0, 1, 2});  // the short forms' tolerance: 1e-6
  EXPECT_EQ(merge(mat(2, std::vector<double>{0, 0, 5e-7, 0, 3e-6, 0}), c), 1);
  EXPECT_EQ(flat(c), (V{0, 0, 2}));

  // Two segments on each other's nodes: local modes merge only within an
  // element, the global one across.
  const dense2D<double> seg = mat(2, std::vector<double>{0, 0, 1, 0, 0, 0, 1, 0});
  dense2D<unsigned> s1 = mat(2, {0, 1, 2, 3}), s2 = mat(2, {0, 1, 2, 3});
  EXPECT_EQ(merge(seg, s1, 1e-3, 1) + merge(seg, s1, 1e-3, 2), 0);
  EXPECT_EQ(merge(seg, s2, 1e-3, 0), 2);
  EXPECT_EQ(flat(s2), (V{0, 1, 0, 1}));
  // A tie: the local mode keeps the smaller index, the global the first met.
  dense2D<double> far(3, 6, 0.0);
  far(0, 0) = 10;
  dense2D<unsigned> l = mat(3, {5, 2, 0}), g = mat(3, {5, 2, 0});
  EXPECT_EQ(merge(far, l, map, 0.1, 1), 1);
  EXPECT_EQ(map[5] * 10 + l(0, 0), 22u);
  EXPECT_EQ(merge(far, g, map, 0.1, 0), 1);
  EXPECT_EQ(map[2] * 10 + g(1, 0), 55u);
  // Repeated local passes follow the renumbered elements.
  const dense2D<double> near = mat(2, std::vector<double>{0, 0, 0.1, 0, 0.28, 0});
  dense2D<unsigned> once = mat(2, {0, 1, 1, 2}), again = mat(2, {0, 1, 1, 2}),
                    glob = mat(2, {0, 1, 1, 2});
  EXPECT_EQ(merge(near, once, map, 0.3, 1), 1);
  EXPECT_EQ(std_of(map), (V{0, 0, 2}));
  EXPECT_EQ(flat(once), (V{0, 0, 0, 2}));
  EXPECT_EQ(merge(near, again, map, 0.3, 2), 2);
  EXPECT_EQ(std_of(map), (V{0, 0, 0}));
  EXPECT_EQ(merge(near, glob, map, 0.3, 0), 2);

  // Two connectivities with padding; node 4 sits on node 1.
  const dense2D<double> line =
      mat(3, std::vector<double>{0, 0, 0, 1, 0, 0, 2, 0, 0, 3, 0, 0, 1, 0, 0});
  const unsigned X = NO_ID;
  dense2D<unsigned> a = mat(4, {0, 1, 2, X}), b = mat(4, {3, 4, 2, X}), alias(a);
  EXPECT_EQ(merge(line, a, b), 1);
  EXPECT_EQ(flat(b), (V{3, 1, 2, X}));
  EXPECT_EQ(alias(1, 0), 1u);
  b(1, 0) = 4;
  EXPECT_EQ(merge(line, a, b, map, 0.0, 2), 0);  // not in one element
  dense2D<unsigned> range[2] = {a, b};
  EXPECT_EQ(merge(line, range, range + 2, 0.0, 0), 1);
  EXPECT_EQ(b(1, 0), 1u);
}

TEST(Merge, StatusesInOrder) {
  dense2D<double> none(4, 0, 0.0), four(4, 3, 0.0), pos(2, 3, 0.0);
  dense1D<unsigned> ok(2, 0u), bad(1, 3u), empty, map(5, 1u);
  // The list forms.
  EXPECT_EQ(merge(none, bad, bad, map, -1.0), 0);
  EXPECT_EQ(map.size(), 0u);
  EXPECT_EQ(merge(four, bad, bad, map, -1.0), -1);
  EXPECT_EQ(merge(pos, bad, bad, map, -1.0), -2);
  EXPECT_EQ(merge(pos, ok, bad, map, -1.0), -3);
  EXPECT_EQ(merge(pos, ok, ok, map, -1.0), -4);
  EXPECT_EQ(merge(pos, empty, ok, map, 1.0), 0);
  EXPECT_EQ(map.size(), 0u);
  EXPECT_EQ(merge(pos, dense1D<unsigned>(1, NO_ID), map, 1.0), 0);
  EXPECT_EQ(map.size(), 3u);  // padding only: a list, but no node
  // The connectivity forms.
  dense2D<unsigned> c(2, 1, 0u), pad(2, 1, NO_ID), out(2, 1, 0u);
  out(1, 0) = 7;
  map.resize(4, 1u);
  EXPECT_EQ(merge(none, &out + 1, &out, map, -1.0, 9), 0);
  EXPECT_EQ(map.size(), 0u);
  EXPECT_EQ(merge(four, &out, &out, map, -1.0, 9), 0);
  EXPECT_EQ(merge(four, &out + 1, &out, map, -1.0, 9), -1);
  EXPECT_EQ(merge(pos, &out + 1, &out, map, -1.0, 9), -3);
  EXPECT_EQ(merge(pos, out, map, -1.0, 9), -5);
  EXPECT_EQ(merge(pos, out, map, 1.0, 3), -6);
  EXPECT_EQ(merge(pos, pad, map, 1.0, 0), 0);
  EXPECT_EQ(map.size(), 0u);
  EXPECT_EQ(merge(pos, out, map, 1.0, 0), -2);
  EXPECT_EQ(merge(pos, out, c, map, 1.0, 1), -2);
  EXPECT_EQ(out(1, 0), 7u);
  EXPECT_EQ(merge(pos, c, map, 1.0, 0), 0);
  EXPECT_EQ(map.size(), 3u);
  // The positions forms.
  EXPECT_EQ(merge(none, map, -1.0), 0);
  EXPECT_EQ(merge(four, map, -1.0), -1);
  EXPECT_EQ(merge(pos, map, -1.0), -3);
  EXPECT_EQ(merge(pos, -1.0), -3);
}

TEST(Merge, PositionsFormMovesMergedNodesOnNewStorage) {
  dense2D<double> pos = qz4test::random_points(3, 40, 21, 1);
  for (unsigned j = 20; j < 40; ++j)
    for (unsigned k = 0; k < 3; ++k) pos(k, j) = pos(k, j - 20) + (j % 2 ? 1e-9 : 0.0);
  const dense2D<double> old(pos);
  const double before = old(0, 21);
  dense1D<unsigned> map;
  EXPECT_EQ(merge(pos, map, 1e-6), 20);
  EXPECT_EQ(pos.cols(), 40u);
  for (unsigned j = 20; j < 40; ++j) {
    EXPECT_EQ(map[j], j - 20);
    for (unsigned k = 0; k < 3; ++k) EXPECT_EQ(pos(k, j), pos(k, j - 20));
  }
  EXPECT_EQ(old(0, 21), before);  // the old storage keeps the old positions
  EXPECT_NE(old(0, 21), pos(0, 21));
  EXPECT_EQ(merge(pos, 1e-6), 20);
}

// The map is the one allocation merge reports; the rest degrades silently.
TEST(Merge, ExhaustedMemory) {
  struct input {
    dense2D<double> pos = qz4test::random_points(2, 30, 31);
    dense2D<unsigned> conn{3, 10, 0u};
    input() {
      for (unsigned e = 0; e < 10; ++e)
        for (unsigned r = 0; r < 3; ++r) conn(r, e) = 3 * e + r;
      for (unsigned k = 0; k < 2; ++k) pos(k, 7) = pos(k, 4);
    }
  };
  std::vector<input> inputs(64);
  expect_ok_or_out_of_memory(
      [&](unsigned k) {
        input& in = inputs[k];
        dense1D<unsigned> map;
        const int s = merge(in.pos, in.conn, map, 1e-9, 0);
        EXPECT_EQ(in.conn(1, 2), s == -199 ? 7u : 4u);
        EXPECT_TRUE(s != -199 || map.empty());
        return std::min(s, merge(in.pos, map, 1e-9));
      },
      1);
}

}  // namespace
