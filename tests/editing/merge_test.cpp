#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "alloc_seam.h"
#include "editing_test_util.h"
#include "qz4/tessellix/editing.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;

namespace {

std::vector<unsigned> distinct(const std::vector<unsigned>& l) {
  std::vector<unsigned> u;
  for (unsigned v : l)
    if (v != NO_ID && std::find(u.begin(), u.end(), v) == u.end()) u.push_back(v);
  return u;
}

dense1D<unsigned> as_dense(const std::vector<unsigned>& v) {
  dense1D<unsigned> d;
  for (unsigned x : v) d.push_back(x);
  return d;
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
  int got = merge(pos, as_dense(l), map, tol);
  merge_result expect = reference_merge<D>(pos, l, l, tol);
  EXPECT_GT(expect.count, 0);
  EXPECT_EQ(got, expect.count);
  ASSERT_EQ(std::vector<unsigned>(map.begin(), map.end()), expect.map);

  // Two different lists: nodes of the first go onto nodes of the second.
  const std::vector<unsigned> l1(all.begin(), all.begin() + all.size() * 2 / 3),
      l2(all.begin() + all.size() / 3, all.end());
  got = merge(pos, as_dense(l1), as_dense(l2), map, tol);
  expect = reference_merge<D>(pos, l1, l2, tol);
  EXPECT_EQ(got, expect.count);
  ASSERT_EQ(std::vector<unsigned>(map.begin(), map.end()), expect.map);
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
  const dense1D<unsigned> l = as_dense(all), twin = as_dense(all);
  dense1D<unsigned> fast, slow;
  const int a = merge(pos, l, fast, tol), b = merge(pos, l, twin, slow, tol);
  EXPECT_EQ(a, b);
  ASSERT_EQ(std::vector<unsigned>(fast.begin(), fast.end()),
            std::vector<unsigned>(slow.begin(), slow.end()));
  const merge_result r = reference_merge<D>(pos, all, all, tol);
  EXPECT_EQ(a, r.count);
  ASSERT_EQ(std::vector<unsigned>(fast.begin(), fast.end()), r.map);
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
  ASSERT_EQ(std::vector<unsigned>(map.begin(), map.end()), expect.map);
  for (unsigned e = 0; e < ne; ++e)
    for (unsigned r = 0; r < 3; ++r) EXPECT_EQ(soup(r, e), expect.map[3 * e + r]);
  // Every survivor is the first corner of its place in element order.
  for (unsigned i = 0; i < map.size(); ++i) EXPECT_LE(map[i], i);
}

TEST(Merge, ChainSpansMoreThanTheTolerance) {
  dense2D<double> pos(2, 3, 0.0);
  pos(0, 1) = 0.5;  // A = 0, B = 1, C = 2
  pos(0, 2) = 0.9;
  dense1D<unsigned> ids(3), map;
  std::iota(ids.begin(), ids.end(), 0u);
  EXPECT_EQ(merge(pos, ids, map, 0.6), 2);
  EXPECT_EQ(map[1], 0u);
  EXPECT_EQ(map[2], 0u);
}

TEST(Merge, ToleranceLimits) {
  dense2D<double> pos(3, 4, 0.0);
  pos(0, 1) = 0.5;
  pos(1, 3) = 1e-300;
  dense1D<unsigned> ids(4), map;
  std::iota(ids.begin(), ids.end(), 0u);
  EXPECT_EQ(merge(pos, ids, map, 0.0), 1);  // 0 and 2 only
  EXPECT_EQ(std::vector<unsigned>(map.begin(), map.end()), (std::vector<unsigned>{0, 1, 0, 3}));
  EXPECT_EQ(merge(pos, ids, map, 0.5), 3);  // exactly the tolerance apart
  EXPECT_EQ(map[1], 0u);
  EXPECT_EQ(merge(pos, ids, map, std::nan("")), 0);
  EXPECT_EQ(std::vector<unsigned>(map.begin(), map.end()), (std::vector<unsigned>{0, 1, 2, 3}));
  // Built-in tolerance of the short forms: 1e-6.
  dense2D<double> p2(2, 3, 0.0);
  p2(0, 1) = 5e-7;
  p2(0, 2) = 3e-6;
  dense2D<unsigned> c(3, 1, 0u);
  c(1, 0) = 1;
  c(2, 0) = 2;
  EXPECT_EQ(merge(p2, c), 1);
  EXPECT_EQ(c(1, 0), 0u);
  EXPECT_EQ(c(2, 0), 2u);
}

// Two segments whose nodes lie on each other's: elements far apart in their
// own nodes, but coincident with the other's.
TEST(Merge, LocalModesOnlyMergeWithinElements) {
  dense2D<double> pos(2, 4, 0.0);
  pos(0, 1) = 1;
  pos(0, 3) = 1;
  dense2D<unsigned> c(2, 2, 0u);
  c(0, 0) = 0, c(1, 0) = 1, c(0, 1) = 2, c(1, 1) = 3;
  dense2D<unsigned> c1;
  c1.copy(c);
  EXPECT_EQ(merge(pos, c1, 1e-3, 1), 0);
  EXPECT_EQ(merge(pos, c1, 1e-3, 2), 0);
  EXPECT_EQ(merge(pos, c, 1e-3, 0), 2);
  EXPECT_EQ(c(0, 1), 0u);
  EXPECT_EQ(c(1, 1), 1u);
}

TEST(Merge, LocalTieKeepsTheSmallerIndexGlobalTheFirstMet) {
  dense2D<double> pos(3, 6, 0.0);
  pos(0, 0) = 10;  // node 0 far away; 2 and 5 coincide
  dense2D<unsigned> c(3, 1, 0u);
  c(0, 0) = 5, c(1, 0) = 2, c(2, 0) = 0;
  dense2D<unsigned> local;
  local.copy(c);
  dense1D<unsigned> map;
  EXPECT_EQ(merge(pos, local, map, 0.1, 1), 1);
  EXPECT_EQ(map[5], 2u);
  EXPECT_EQ(local(0, 0), 2u);
  EXPECT_EQ(merge(pos, c, map, 0.1, 0), 1);
  EXPECT_EQ(map[2], 5u);
  EXPECT_EQ(c(1, 0), 5u);
}

TEST(Merge, RepeatedLocalPassesFollowRenumberedElements) {
  dense2D<double> pos(2, 3, 0.0);
  pos(0, 1) = 0.1;
  pos(0, 2) = 0.28;
  dense2D<unsigned> c(2, 2, 0u);
  c(0, 0) = 0, c(1, 0) = 1, c(0, 1) = 1, c(1, 1) = 2;
  dense2D<unsigned> once, again;
  once.copy(c);
  again.copy(c);
  dense1D<unsigned> map;
  EXPECT_EQ(merge(pos, once, map, 0.3, 1), 1);
  EXPECT_EQ(std::vector<unsigned>(map.begin(), map.end()), (std::vector<unsigned>{0, 0, 2}));
  EXPECT_EQ(once(0, 1), 0u);
  EXPECT_EQ(once(1, 1), 2u);
  EXPECT_EQ(merge(pos, again, map, 0.3, 2), 2);
  EXPECT_EQ(std::vector<unsigned>(map.begin(), map.end()), (std::vector<unsigned>{0, 0, 0}));
  EXPECT_EQ(merge(pos, c, map, 0.3, 0), 2);
}

TEST(Merge, TwoConnectivitiesAndPadding) {
  dense2D<double> pos(3, 5, 0.0);
  for (unsigned j = 0; j < 5; ++j) pos(0, j) = j;
  pos(0, 4) = 1;  // node 4 sits on node 1
  dense2D<unsigned> a(4, 1, NO_ID), b(4, 1, NO_ID);
  a(0, 0) = 0, a(1, 0) = 1, a(2, 0) = 2;
  b(0, 0) = 3, b(1, 0) = 4, b(2, 0) = 2;
  dense2D<unsigned> a_alias(a);
  EXPECT_EQ(merge(pos, a, b), 1);
  EXPECT_EQ(b(1, 0), 1u);
  EXPECT_EQ(b(3, 0), NO_ID);
  EXPECT_EQ(a_alias(1, 0), 1u);
  dense1D<unsigned> map;
  b(1, 0) = 4;
  EXPECT_EQ(merge(pos, a, b, map, 0.0, 2), 0);  // not in one element
  dense2D<unsigned> range[2] = {a, b};
  EXPECT_EQ(merge(pos, range, range + 2, 0.0, 0), 1);
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
  const unsigned runs = qz4test::for_each_failing_allocation([&](unsigned k) {
    input& in = inputs[k];
    dense1D<unsigned> map;
    const int s = merge(in.pos, in.conn, map, 1e-9, 0);
    if (s == -199) {
      EXPECT_EQ(map.size(), 0u);
      EXPECT_EQ(in.conn(1, 2), 7u);
    } else {
      EXPECT_EQ(s, 1);
      EXPECT_EQ(in.conn(1, 2), 4u);
    }
    const int p = merge(in.pos, map, 1e-9);
    EXPECT_TRUE(p == -199 || p == 1) << p;
  });
  EXPECT_GE(runs, 1u);
}

}  // namespace
