#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

#include "arrays.h"
#include "editing_test_util.h"
#include "qz4/tessellix/editing.h"

using namespace qz4;
using namespace qz4::tessellix;
using qz4test::coincident_points;
using qz4test::grid_points;
using qz4test::random_points;
using qz4test::std_of;
using qz4test::vec;

namespace {
using P2 = vector_fixed<double, 2>;
using P3 = vector_fixed<double, 3>;

// Expected words from Python's own MT19937 (random.setstate) started from the
// state x[0] = seed | 1, x[k] = 69069 x[k-1].
TEST(Generator, FirstDrawsFollowTheOwnSeeding) {
  mt_generator g(1);
  const unsigned expect[5] = {3796174982u, 4182529786u, 2180050607u, 3809380472u, 2960793660u};
  for (unsigned e : expect) EXPECT_EQ(g(), e);
  mt_generator g2(2);  // 2 | 1 = 3
  EXPECT_EQ(g2(), 2618579386u);
  EXPECT_EQ(g2(), 2532467499u);
  mt_generator g3(1);
  unsigned last = 0;
  for (int i = 0; i < 1000; ++i) last = g3();  // crosses a reload
  EXPECT_EQ(last, 4199383504u);
}

TEST(Generator, ShuffleOfTenIsFixed) {
  std::vector<unsigned> a(10);
  std::iota(a.begin(), a.end(), 0u);
  seeded_shuffle(a.data(), a.size());
  EXPECT_EQ(a, (std::vector<unsigned>{5, 8, 4, 3, 7, 1, 0, 6, 2, 9}));
}

// The tree as nested (node, lower, upper) in pre-order, whatever the
// numbering of the table's columns.
template <unsigned D>
void shape(const node_tree<D>& t, unsigned e, std::vector<unsigned>& out) {
  if (e >= t.table.cols()) {
    out.push_back(NO_ID);
    return;
  }
  out.push_back(t.table(0, e));
  shape(t, t.table(1, e), out);
  shape(t, t.table(2, e), out);
}

// The top-down build must give the very tree that insertion one by one gives.
template <unsigned D>
void expect_same_tree(const dense2D<double>& pos) {
  std::vector<unsigned> all(pos.cols());
  std::iota(all.begin(), all.end(), 0u);
  all.push_back(pos.cols());  // refused by both
  node_tree<D> slow(&pos), fast(&pos);
  qz4test::insert_one_by_one(slow, all);
  std::vector<unsigned> order(all);
  seeded_shuffle(order.data(), order.size());
  EXPECT_EQ(fast.insert_sequence(order.data(), order.size()), pos.cols());
  ASSERT_EQ(slow.table.cols(), fast.table.cols());
  std::vector<unsigned> a, b;
  shape(slow, 0, a);
  shape(fast, 0, b);
  ASSERT_EQ(a, b);
  // Later insertions go on from either.
  const unsigned extra[3] = {0, 5, 2};
  for (unsigned v : extra) slow.insert_one(v), fast.insert_one(v);
  a.clear();
  b.clear();
  shape(slow, 0, a);
  shape(fast, 0, b);
  ASSERT_EQ(a, b);
}

TEST(NodeTree, BuildEqualsInsertion) {
  expect_same_tree<2>(random_points(2, 500, 1, 3));
  expect_same_tree<3>(random_points(3, 500, 2));
  expect_same_tree<2>(grid_points(2, 13, 11, 1));
  expect_same_tree<3>(grid_points(3, 7, 6, 5));
  expect_same_tree<3>(coincident_points(3, 300, 4, 3));
  dense2D<double> with_nan = random_points(3, 50, 4);
  with_nan(1, 7) = std::nan("");
  with_nan(0, 20) = std::nan("");
  expect_same_tree<3>(with_nan);
}

// find_closest against brute force (distance) and against the recursive
// transcription (exact node, so tie-breaks are those of the written rules).
template <unsigned D>
void check_closest(const dense2D<double>& pos, unsigned queries, unsigned seed) {
  node_detector det(pos);
  ASSERT_EQ(det.size(), pos.cols());
  std::vector<unsigned> all(pos.cols());
  std::iota(all.begin(), all.end(), 0u);
  node_tree<D> ref(&pos);
  qz4test::insert_one_by_one(ref, all);
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(-0.2, 1.2);
  for (unsigned i = 0; i < queries; ++i) {
    vector_fixed<double, D> q;
    for (unsigned k = 0; k < D; ++k) q[k] = u(g);
    // Every third query sits on a node or on a half-integer grid point.
    if (i % 3 == 1)
      for (unsigned k = 0; k < D; ++k) q[k] = pos(k, g() % pos.cols());
    if (i % 3 == 2)
      for (unsigned k = 0; k < D; ++k) q[k] = 0.5 * double(g() % 13) - 0.5;
    const unsigned got = unsigned(det.find_closest(q));
    ASSERT_LT(got, pos.cols());
    double best = 1e300;
    for (unsigned j = 0; j < pos.cols(); ++j)
      best = std::min(best, qz4test::dist2(pos, j, q.data(), D));
    ASSERT_EQ(qz4test::dist2(pos, got, q.data(), D), best);
    qz4test::reference_closest<D> r{ref, q.data(), NO_ID};
    ASSERT_EQ(got, r.run());
    ASSERT_EQ(ref.find_closest(q.data(), NO_ID), got);  // a tree grown one node at a time
  }
  // The closest other node never is the node itself.
  for (unsigned a = 0; a < pos.cols(); a += 2) {
    const unsigned got = unsigned(det.find_closest(a));
    ASSERT_NE(got, a);
    ASSERT_LT(got, pos.cols());
    double best = 1e300;
    const double* q = &pos(0, a);
    for (unsigned j = 0; j < pos.cols(); ++j)
      if (j != a) best = std::min(best, qz4test::dist2(pos, j, q, D));
    ASSERT_EQ(qz4test::dist2(pos, got, q, D), best);
    qz4test::reference_closest<D> r{ref, q, a};
    ASSERT_EQ(got, r.run());
    ASSERT_EQ(ref.find_closest(q, a), got);
  }
}

TEST(NodeDetector, FindClosestMatchesBruteForce) {
  check_closest<2>(random_points(2, 400, 5, 2), 300, 1);
  check_closest<3>(random_points(3, 400, 6, 1), 300, 2);
  check_closest<2>(grid_points(2, 9, 8, 1), 300, 3);
  check_closest<3>(grid_points(3, 6, 5, 4), 300, 4);
  check_closest<2>(coincident_points(2, 200, 5, 7), 100, 5);
  check_closest<3>(coincident_points(3, 200, 3, 8), 100, 6);
  check_closest<2>(grid_points(2, 11, 9, 1), 400, 7);
  check_closest<3>(grid_points(3, 6, 5, 7), 400, 8);
  check_closest<3>(coincident_points(3, 300, 7, 9), 200, 9);
}

// Deep trees: many blocks of columns, long descents, and the grid's planes
// of equal coordinates on which the radius tests are decided by rounding.
TEST(NodeDetector, FindClosestOnLargeClouds) {
  check_closest<3>(random_points(3, 20000, 14), 3000, 7);
  check_closest<3>(grid_points(3, 17, 16, 15), 1500, 8);
  check_closest<2>(random_points(2, 20000, 15, 1), 3000, 9);
}

template <unsigned D>
void check_box(const dense2D<double>& pos, unsigned queries, unsigned seed) {
  node_detector det(pos);
  std::vector<unsigned> all(pos.cols());
  std::iota(all.begin(), all.end(), 0u);
  node_tree<D> ref(&pos);
  qz4test::insert_one_by_one(ref, all);
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(-0.1, 1.1), w(0.0, 0.3);
  for (unsigned i = 0; i < queries; ++i) {
    vector_fixed<double, D> lo, hi;
    for (unsigned k = 0; k < D; ++k) {
      lo[k] = (i % 2) ? u(g) : double(g() % 4);
      hi[k] = lo[k] + ((i % 2) ? w(g) : double(g() % 3));
    }
    dense1D<unsigned> found;
    found.push_back(77u);  // appended to, never cleared
    det.find_in_box(lo, hi, found);
    ASSERT_EQ(found[0], 77u);
    std::vector<unsigned> got(found.begin() + 1, found.end()), expect;
    qz4test::reference_box(ref, 0, 0, lo.data(), hi.data(), expect);
    ASSERT_EQ(got, expect);
    std::vector<unsigned> brute;
    for (unsigned j = 0; j < pos.cols(); ++j) {
      bool in = true;
      for (unsigned k = 0; k < D; ++k) in = in && lo[k] <= pos(k, j) && pos(k, j) <= hi[k];
      if (in) brute.push_back(j);
    }
    std::sort(got.begin(), got.end());
    ASSERT_EQ(got, brute);
  }
}

TEST(NodeDetector, FindInBoxMatchesBruteForceInPreOrder) {
  check_box<2>(random_points(2, 400, 9, 2), 200, 1);
  check_box<3>(random_points(3, 400, 10), 200, 2);
  check_box<2>(grid_points(2, 9, 8, 1), 200, 3);
  check_box<3>(grid_points(3, 6, 5, 4), 200, 4);
  check_box<3>(coincident_points(3, 300, 4, 11), 100, 5);
}

TEST(NodeDetector, EmptyAndFailedStates) {
  node_detector empty;
  EXPECT_EQ(empty.size(), 0u);
  EXPECT_EQ(empty.find_closest(P3{{0, 0, 0}}), NO_ID);
  EXPECT_EQ(empty.find_closest(0u), NO_ID);
  dense1D<unsigned> found(2, 9u);
  empty.find_in_box(P2{{-1, -1}}, P2{{1, 1}}, found);
  EXPECT_EQ(found.size(), 2u);
  EXPECT_EQ(empty.insert(dense1D<unsigned>(3, 0u)), 0u);

  dense2D<double> none(2, 0, 0.0);
  node_detector d0;
  EXPECT_EQ(d0.reinit(none), 0);
  EXPECT_EQ(d0.size(), 0u);
  EXPECT_EQ(d0.find_closest(P2{{0, 0}}), NO_ID);

  dense2D<double> pos = random_points(3, 20, 3), four(4, 5, 0.0);
  node_detector d(pos);
  ASSERT_EQ(d.size(), 20u);
  EXPECT_EQ(d.reinit(four, dense1D<unsigned>(1, 0u)), -1);
  EXPECT_EQ(d.size(), 20u);  // old tree kept
  EXPECT_EQ(d.reinit(pos, dense1D<unsigned>(1, 20u)), -2);
  EXPECT_EQ(d.size(), 20u);
  dense2D<unsigned> a(1, 1, 0u);
  EXPECT_EQ(d.reinit(pos, &a + 1, &a), -3);
  EXPECT_EQ(d.size(), 20u);
  EXPECT_EQ(d.reinit(four), -1);
  EXPECT_EQ(d.size(), 0u);  // cleared first
  node_detector bad(four);
  EXPECT_EQ(bad.size(), 0u);
}

TEST(NodeDetector, InsertCountsAndDuplicates) {
  dense2D<double> pos = grid_points(2, 3, 3, 1);
  dense1D<unsigned> none;
  node_detector d(pos, none);
  EXPECT_EQ(d.size(), 0u);
  dense1D<unsigned> batch = vec({4, 9, 0, 8});
  EXPECT_EQ(d.insert(batch), 3u);  // 9 is not a column
  EXPECT_EQ(batch[1], 9u);         // the caller's list is not touched
  EXPECT_EQ(d.insert(batch), 3u);
  EXPECT_EQ(d.size(), 6u);
  dense1D<unsigned> found;
  d.find_in_box(P2{{0, 0}}, P2{{2, 2}}, found);
  std::sort(found.begin(), found.end());
  EXPECT_EQ(std_of(found), (std::vector<unsigned>{0, 0, 4, 4, 8, 8}));
  // Growing the caller's matrix makes node 9 acceptable.
  pos.resize(2, 10, 5.0);
  EXPECT_EQ(d.insert(dense1D<unsigned>(1, 9u)), 1u);
  EXPECT_EQ(d.find_closest(P2{{4, 4}}), 9u);
  // Insertion from a connectivity takes each distinct node once.
  dense2D<unsigned> conn = qz4test::mat(2, {1, NO_ID, 1, 2});
  EXPECT_EQ(d.insert(conn), 2u);
  node_detector fromconn(pos, conn);
  EXPECT_EQ(fromconn.size(), 2u);
  EXPECT_EQ(fromconn.find_closest(P2{{9, 9}}), 2u);
}

TEST(NodeDetector, ExactHitsTiesAndSelf) {
  dense2D<double> pos(3, 3, 0.0);
  node_detector d(pos, dense1D<unsigned>(1, 1u));  // holds node 1 only
  EXPECT_EQ(d.find_closest(1u), NO_ID);
  EXPECT_EQ(d.find_closest(0u), 1u);  // node 0 need not be in the tree
  EXPECT_EQ(d.find_closest(3u), NO_ID);
  node_detector all(pos);
  const unsigned long a = all.find_closest(0u);
  EXPECT_TRUE(a == 1 || a == 2);
  // Equidistant answers depend on nothing but the tree.
  dense2D<double> g = grid_points(3, 4, 4, 4);
  const P3 mid = {{1.5, 1.5, 1.5}};
  node_detector g1(g), g2(g);
  EXPECT_EQ(g1.find_closest(mid), g2.find_closest(mid));
  node_detector g3(g, dense1D<unsigned>());
  dense1D<unsigned> ids(g.cols());
  std::iota(ids.begin(), ids.end(), 0u);
  g3.insert(ids);
  EXPECT_EQ(g3.find_closest(mid), g1.find_closest(mid));
  // A box of zero size on a node finds it.
  dense1D<unsigned> found;
  const P3 at = {{2, 1, 3}};
  g1.find_in_box(at, at, found);
  EXPECT_EQ(std_of(found), (std::vector<unsigned>{2 + 4 * 1 + 16 * 3}));
  found.clear();
  g1.find_in_box(P3{{2, 0, 0}}, P3{{1, 3, 3}}, found);
  EXPECT_EQ(found.size(), 0u);
}

TEST(NodeDetector, MixedDimensionsAndLaterChanges) {
  dense2D<double> p3 = grid_points(3, 3, 3, 3);
  node_detector d3(p3);
  // A 2D point on a 3D tree has z = 0; a 2D box only matches z exactly 0.
  EXPECT_EQ(d3.find_closest(P2{{2, 1}}), 5u);
  dense1D<unsigned> found;
  d3.find_in_box(P2{{0, 0}}, P2{{0, 0}}, found);
  EXPECT_EQ(std_of(found), (std::vector<unsigned>{0}));
  dense2D<double> p2 = grid_points(2, 3, 3, 1);
  node_detector d2(p2);
  EXPECT_EQ(d2.find_closest(P3{{2, 2, 50}}), 8u);
  found.clear();
  d2.find_in_box(P3{{1, 1, 5}}, P3{{1, 1, 4}}, found);
  EXPECT_EQ(found.size(), 1u);  // z dropped
  // The tree reads the caller's matrix at every call.
  p2(0, 8) = p2(1, 8) = 100;
  EXPECT_EQ(d2.find_closest(P3{{100, 100, 0}}), 8u);
}

TEST(NodeDetector, CopiesOwnTheirTree) {
  dense2D<double> pos = random_points(2, 50, 12);
  node_detector src(pos);
  node_detector cp(src);
  node_detector as;
  as = src;
  as = as;
  const P2 q = {{0.3, 0.6}};
  const unsigned long expect = src.find_closest(q);
  src.clear();
  EXPECT_EQ(src.size(), 0u);
  EXPECT_EQ(cp.size(), 50u);
  EXPECT_EQ(cp.find_closest(q), expect);
  EXPECT_EQ(as.find_closest(q), expect);
  cp.insert(dense1D<unsigned>(1, 3u));
  EXPECT_EQ(as.size(), 50u);
  as = src;  // an empty source empties the target
  EXPECT_EQ(as.size(), 0u);
}

}  // namespace
