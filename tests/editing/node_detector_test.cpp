#include "editing_test_util.h"

namespace qz4test {

// Expected words from Python's own MT19937 (random.setstate) started from the
// state x[0] = seed | 1, x[k] = 69069 x[k-1]; the 1000th crosses a reload.
// The shuffle of ten then follows from the first draws.
TEST(Generator, DrawsAndShuffleFollowTheOwnSeeding) {
  mt_generator g(1), g3(2);  // 2 | 1 = 3
  EXPECT_EQ((V{g(), g(), g(), g(), g(), g3(), g3()}),
            (V{3796174982u, 4182529786u, 2180050607u, 3809380472u, 2960793660u, 2618579386u,
               2532467499u}));
  for (int i = 6; i < 1000; ++i) g();
  EXPECT_EQ(g(), 4199383504u);
  V a = upto(10);
  seeded_shuffle(a.data(), a.size());
  EXPECT_EQ(a, (V{5, 8, 4, 3, 7, 1, 0, 6, 2, 9}));
}

// The tree as nested (node, lower, upper) in pre-order, whatever the
// numbering of the table's columns.
template <unsigned D>
V shape(const node_tree<D>& t, unsigned e = 0, V out = {}) {
  if (e >= t.table.cols()) return out.push_back(NO_ID), out;
  out.push_back(t.table(0, e));
  return shape(t, t.table(2, e), shape(t, t.table(1, e), out));
}

// The top-down build must give the very tree that insertion one by one
// gives, and later insertions go on from either alike.
template <unsigned D>
void expect_same_tree(const dense2D<double>& pos) {
  V all = upto(pos.cols() + 1);  // the last refused by both
  node_tree<D> slow(&pos), fast(&pos);
  insert_one_by_one(slow, all);
  seeded_shuffle(all.data(), all.size());
  EXPECT_EQ(fast.insert_sequence(all.data(), all.size()), pos.cols());
  ASSERT_EQ(shape(slow), shape(fast));
  for (unsigned v : {0, 5, 2}) slow.insert_one(v), fast.insert_one(v);
  ASSERT_EQ(shape(slow), shape(fast));
}

TEST(NodeTree, BuildEqualsInsertion) {
  expect_same_tree<2>(random_points(2, 500, 1, 3));
  expect_same_tree<3>(random_points(3, 500, 2));
  expect_same_tree<2>(grid_points(2, 13, 11, 1));
  expect_same_tree<3>(grid_points(3, 7, 6, 5));
  expect_same_tree<3>(coincident_points(3, 300, 4, 3));
  dense2D<double> with_nan = random_points(3, 50, 4);
  with_nan(1, 7) = with_nan(0, 20) = std::nan("");
  expect_same_tree<3>(with_nan);
}

// What find_in_box appends to `start`.
template <class P>
V box(const node_detector& d, const P& lo, const P& hi, const V& start = {}) {
  dense1D<unsigned> found = vec(start);
  d.find_in_box(lo, hi, found);
  return std_of(found);
}

// find_closest and find_in_box against the recursive transcriptions (exact
// node and order, so tie-breaks are those of the written rules), and against
// a tree grown one node at a time. The transcriptions walk a tree that
// BuildEqualsInsertion shows to be the detector's; a brute-force scan
// would add nothing that an exact node and an exact order do not already pin.
template <unsigned D>
void check_searches(const dense2D<double>& pos, unsigned closest, unsigned boxes, unsigned seed) {
  node_detector det(pos);
  ASSERT_EQ(det.size(), pos.cols());
  node_tree<D> ref(&pos);
  insert_one_by_one(ref, upto(pos.cols()));
  // The transcriptions walk the library's own tree; brute force checks that
  // the tree holds what it should.
  auto check = [&](const double* q, unsigned skip, unsigned long got) {
    double best = 1e300;
    for (unsigned j = 0; j < pos.cols(); ++j)
      if (j != skip) best = std::min(best, dist2(pos, j, q, D));
    ASSERT_EQ(got < pos.cols() ? dist2(pos, unsigned(got), q, D) : -1.0, best);
    ASSERT_EQ(got, (reference_closest<D>{ref, q, skip}.run()));
    ASSERT_EQ(ref.find_closest(q, skip), got);
  };
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(-0.2, 1.2);
  for (unsigned i = 0; i < closest; ++i) {
    vector_fixed<double, D> q;
    // Every third query sits on a node or on a half-integer grid point.
    for (unsigned k = 0; k < D; ++k) q[k] = u(g);
    for (unsigned k = 0; k < D && i % 3; ++k)
      q[k] = i % 3 == 1 ? pos(k, g() % pos.cols()) : 0.5 * double(g() % 13) - 0.5;
    check(q.data(), NO_ID, det.find_closest(q));
  }
  // The closest other node never is the node itself.
  for (unsigned a = 0; a < pos.cols() && closest; a += 2) check(&pos(0, a), a, det.find_closest(a));

  g.seed(seed);
  std::uniform_real_distribution<double> b(-0.1, 1.1), w(0.0, 0.3);
  for (unsigned i = 0; i < boxes; ++i) {
    vector_fixed<double, D> lo, hi;
    for (unsigned k = 0; k < D; ++k) {
      lo[k] = (i % 2) ? b(g) : double(g() % 4);
      hi[k] = lo[k] + ((i % 2) ? w(g) : double(g() % 3));
    }
    V expect = {77};  // appended to, never cleared
    reference_box(ref, 0, 0, lo.data(), hi.data(), expect);
    ASSERT_EQ(box(det, lo, hi, {77}), expect);
    V brute;
    for (unsigned j = 0; j < pos.cols(); ++j) {
      bool in = true;
      for (unsigned k = 0; k < D; ++k) in = in && lo[k] <= pos(k, j) && pos(k, j) <= hi[k];
      if (in) brute.push_back(j);
    }
    std::sort(expect.begin() + 1, expect.end());
    ASSERT_EQ(V(expect.begin() + 1, expect.end()), brute);
  }
}

// Last, deep trees: many blocks of columns, long descents, and the grid's
// planes of equal coordinates on which the radius tests are decided by
// rounding.
TEST(NodeDetector, SearchesMatchTheTranscriptions) {
  check_searches<2>(random_points(2, 400, 5, 2), 300, 0, 1);
  check_searches<3>(random_points(3, 400, 6, 1), 300, 0, 2);
  check_searches<2>(grid_points(2, 9, 8, 1), 300, 200, 3);
  check_searches<3>(grid_points(3, 6, 5, 4), 300, 200, 4);
  check_searches<2>(coincident_points(2, 200, 5, 7), 100, 0, 5);
  check_searches<3>(coincident_points(3, 200, 3, 8), 100, 0, 6);
  check_searches<2>(random_points(2, 400, 9, 2), 0, 200, 1);
  check_searches<3>(random_points(3, 400, 10), 0, 200, 2);
  check_searches<3>(coincident_points(3, 300, 4, 11), 0, 100, 5);
  check_searches<3>(random_points(3, 20000, 14), 3000, 0, 7);
  check_searches<3>(grid_points(3, 17, 16, 15), 1500, 0, 8);
  check_searches<2>(random_points(2, 20000, 15, 1), 3000, 0, 9);
}

TEST(NodeDetector, EmptyFailedAndGrownStates) {
  node_detector empty, d0;
  dense2D<double> none(2, 0, 0.0);
  EXPECT_EQ((std::tuple{empty.size(), empty.find_closest(P3{{0, 0, 0}}), empty.find_closest(0u),
                        box(empty, P2{{-1, -1}}, P2{{1, 1}}, {9, 9}),
                        empty.insert(dense1D<unsigned>(3, 0u)), d0.reinit(none), d0.size(),
                        d0.find_closest(P2{{0, 0}})}),
            std::tuple(0ul, 0ul + NO_ID, 0ul + NO_ID, V{9, 9}, 0ul, 0, 0ul, 0ul + NO_ID));
  // Statuses in order; a failed check keeps the old tree, except a bad row
  // count on all columns, which clears first.
  dense2D<double> pos = random_points(3, 20, 3), four(4, 5, 0.0);
  dense2D<unsigned> a = mat(1, {0});
  node_detector d(pos), bad(four);
  EXPECT_EQ(
      (std::tuple{d.size(), d.reinit(four, vec({0})), d.size(), d.reinit(pos, vec({20})), d.size(),
                  d.reinit(pos, &a + 1, &a), d.size(), d.reinit(four), d.size(), bad.size()}),
      std::tuple(20ul, -1, 20ul, -2, 20ul, -3, 20ul, -1, 0ul, 0ul));

  // Insertion counts what it holds, duplicates too; 9 is not a column until
  // the caller's matrix grows, and the caller's list is not touched.
  dense2D<double> grid = grid_points(2, 3, 3, 1);
  node_detector g(grid, dense1D<unsigned>());
  dense1D<unsigned> batch = vec({4, 9, 0, 8});
  EXPECT_EQ((std::tuple{g.size(), g.insert(batch), batch[1], g.insert(batch), g.size()}),
            std::tuple(0ul, 3ul, 9u, 3ul, 6ul));
  EXPECT_EQ(box(g, P2{{0, 0}}, P2{{2, 2}}), (V{0, 4, 0, 8, 4, 8}));
  grid.resize(2, 10, 5.0);
  EXPECT_EQ((std::tuple{g.insert(vec({9})), g.find_closest(P2{{4, 4}})}), std::tuple(1ul, 9ul));
  // Insertion from a connectivity takes each distinct node once.
  dense2D<unsigned> conn = mat(2, {1, NO_ID, 1, 2});
  node_detector fromconn(grid, conn);
  EXPECT_EQ((std::tuple{g.insert(conn), fromconn.size(), fromconn.find_closest(P2{{9, 9}})}),
            std::tuple(2ul, 2ul, 2ul));
  // A table that cannot grow loses the nodes, which still count.
  node_detector lost(grid, dense1D<unsigned>());
  const dense1D<unsigned> three = vec({4, 9, 0});
  qz4test::failing_allocator seam(1);
  EXPECT_EQ((std::tuple{lost.insert(three), lost.size()}), std::tuple(3ul, 0ul));
}

TEST(NodeDetector, ExactHitsSelfMixedDimensionsAndCopies) {
  dense2D<double> pos(3, 3, 0.0);
  node_detector d(pos, vec({1}));  // holds node 1 only; node 0 need not be in the tree
  EXPECT_EQ((std::tuple{d.find_closest(1u), d.find_closest(0u), d.find_closest(3u)}),
            std::tuple(0ul + NO_ID, 1ul, 0ul + NO_ID));
  // Equidistant answers depend on nothing but the tree. A box of zero size on
  // a node finds it; an inverted one nothing.
  dense2D<double> g = grid_points(3, 4, 4, 4);
  const P3 mid = {{1.5, 1.5, 1.5}}, at = {{2, 1, 3}};
  node_detector g1(g), g3(g, dense1D<unsigned>());
  g3.insert(vec(upto(g.cols())));
  EXPECT_EQ(
      (std::tuple{g3.find_closest(mid), box(g1, at, at), box(g1, P3{{2, 0, 0}}, P3{{1, 3, 3}})}),
      std::tuple(g1.find_closest(mid), V{2 + 4 * 1 + 16 * 3}, V()));

  // A 2D point on a 3D tree has z = 0; a 2D box only matches z exactly 0; a
  // 3D query on a 2D tree drops z.
  dense2D<double> p3 = grid_points(3, 3, 3, 3), p2 = grid_points(2, 3, 3, 1);
  node_detector d3(p3), d2(p2);
  EXPECT_EQ((std::tuple{d3.find_closest(P2{{2, 1}}), box(d3, P2{{0, 0}}, P2{{0, 0}}),
                        d2.find_closest(P3{{2, 2, 50}}), box(d2, P3{{1, 1, 5}}, P3{{1, 1, 4}})}),
            std::tuple(5ul, V{0}, 8ul, V{4}));
  // The tree reads the caller's matrix at every call.
  p2(0, 8) = p2(1, 8) = 100;
  EXPECT_EQ(d2.find_closest(P3{{100, 100, 0}}), 8u);

  // Copies own their tree; an empty source empties the target.
  dense2D<double> r = random_points(2, 50, 12);
  node_detector src(r), cp(src), as;
  as = src;
  as = as;
  const P2 q = {{0.3, 0.6}};
  const unsigned long expect = src.find_closest(q);
  src.clear();
  cp.insert(vec({3}));
  EXPECT_EQ((std::tuple{src.size(), cp.size(), cp.find_closest(q), as.find_closest(q), as.size()}),
            std::tuple(0ul, 51ul, expect, expect, 50ul));
  as = src;
  EXPECT_EQ(as.size(), 0u);
}

}  // namespace qz4test

namespace qz4test {

// Queries on nodes, between grid nodes (ties) and at random, in a view with
// ld > rows; the batch answers each column as the single query does.
template <unsigned D>
void check_batch(const dense2D<double>& pos, unsigned n, unsigned seed) {
  node_detector det(pos);
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(-0.2, 1.2);
  dense2D<double> q(D + 2, n, -5.0);
  for (unsigned j = 0; j < n; ++j)
    for (unsigned k = 0; k < D; ++k)
      q(k, j) = j % 3 == 0   ? pos(k, g() % pos.cols())
                : j % 3 == 1 ? 0.5 * double(g() % 13) - 0.5
                             : u(g);
  q(0, 1) = std::nan("");
  const dense2D<double> view = q.sub_matrix(0, 0, D, n);
  V single(n);
  for (unsigned j = 0; j < n; ++j) {
    vector_fixed<double, D> x;
    for (unsigned k = 0; k < D; ++k) x[k] = view(k, j);
    single[j] = unsigned(det.find_closest(x));
  }
  dense1D<unsigned> batch(3, 7u);
  ASSERT_EQ(det.find_closest(view, batch), 0);
  EXPECT_EQ(std_of(batch), single);
}

TEST(NodeDetector, BatchAnswersAsSingleQueries) {
  check_batch<2>(grid_points(2, 9, 8, 1), 600, 1);
  check_batch<3>(grid_points(3, 6, 5, 4), 600, 2);
  check_batch<3>(coincident_points(3, 200, 3, 8), 300, 3);
  check_batch<2>(random_points(2, 3000, 4, 1), 2000, 4);
  check_batch<3>(random_points(3, 3000, 5), 2000, 5);

  // The detector's dimension only, or 2 or 3 rows without a tree; nothing
  // to search gives NO_ID.
  dense2D<double> p3 = grid_points(3, 3, 3, 3), q2(2, 2, 0.5), q3(3, 2, 0.5), q4(4, 1, 0.0),
                  none(3, 0, 0.0);
  node_detector d3(p3), empty, on_none(none);
  dense1D<unsigned> out(2, 1u);
  EXPECT_EQ((std::tuple{d3.find_closest(q2, out), out.size(), empty.find_closest(q4, out),
                        empty.find_closest(q3, out), std_of(out), on_none.find_closest(q3, out),
                        std_of(out), d3.find_closest(none, out), out.size()}),
            std::tuple(-1, 0u, -1, 0, V{NO_ID, NO_ID}, 0, V{NO_ID, NO_ID}, 0, 0u));
  expect_ok_or_out_of_memory([&] {
    const int s = d3.find_closest(q3, out);
    EXPECT_EQ(out.size(), s == 0 ? 2u : 0u);
    return s;
  });
}

}  // namespace qz4test
