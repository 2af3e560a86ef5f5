// Index utilities: exact results on hand-made inputs, oracles on random ones.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <vector>

#include "alloc_seam.h"
#include "qz4/tessellix/core.h"

using namespace qz4;
using namespace qz4::tessellix;

namespace {

dense1D<unsigned> vec(std::vector<unsigned> v) {
  dense1D<unsigned> d(unsigned(v.size()));
  for (unsigned i = 0; i < v.size(); ++i) d[i] = v[i];
  return d;
}

std::vector<unsigned> std_of(const dense1D<unsigned>& d) { return {d.begin(), d.end()}; }

// Columns given one by one, each of `rows` entries.
dense2D<unsigned> mat(unsigned rows, std::vector<std::vector<unsigned> > cols) {
  dense2D<unsigned> m(rows, unsigned(cols.size()));
  for (unsigned j = 0; j < cols.size(); ++j)
    for (unsigned i = 0; i < rows; ++i) m(i, j) = cols[j][i];
  return m;
}

// The same matrix inside a taller one, so that ld exceeds rows; the gap rows
// hold values that would change every result if they were read.
dense2D<unsigned> padded_view(const dense2D<unsigned>& m) {
  dense2D<unsigned> big(m.rows() + 3, m.cols(), 0xABCDu);
  for (unsigned j = 0; j < m.cols(); ++j)
    for (unsigned i = 0; i < m.rows(); ++i) big(i + 1, j) = m(i, j);
  return big.sub_matrix(1, 0, m.rows(), m.cols());
}

constexpr unsigned X = NO_ID;

}  // namespace

TEST(Version, IsFourTwo) { EXPECT_STREQ(version(), "4.2"); }

TEST(MaxID, EmptyPaddingAndViews) {
  EXPECT_EQ(max_ID(dense1D<unsigned>()), NO_ID);
  EXPECT_EQ(max_ID(vec({X, X})), 0u);
  EXPECT_EQ(max_ID(vec({0})), 0u);
  EXPECT_EQ(max_ID(vec({3, X, 9, 2})), 9u);
  EXPECT_EQ(max_ID(dense2D<unsigned>(0, 4)), NO_ID);
  dense2D<unsigned> m = mat(2, {{1, 4}, {X, 2}});
  EXPECT_EQ(max_ID(m), 4u);
  EXPECT_EQ(max_ID(padded_view(m)), 4u);
}

TEST(CheckIDs, UntypedForms) {
  EXPECT_TRUE(check_IDs(dense1D<unsigned>(), 0));
  EXPECT_TRUE(check_IDs(vec({5, 7}), NO_ID));
  EXPECT_TRUE(check_IDs(vec({0, X, 2}), 3));
  EXPECT_FALSE(check_IDs(vec({0, 3, 2}), 3));
  dense2D<unsigned> m = mat(3, {{0, 1, 2}, {2, X, 1}});
  EXPECT_TRUE(check_IDs(m, 3));
  EXPECT_FALSE(check_IDs(m, 2));
  EXPECT_TRUE(check_IDs(padded_view(m), 3));  // the 0xABCD gap is not read
}

TEST(CheckIDs, PureKinds) {
  dense2D<unsigned> tri = mat(3, {{0, 1, 2}, {2, 3, 1}});
  EXPECT_TRUE(check_IDs(tri, ET_TRIA3, 4));
  EXPECT_FALSE(check_IDs(tri, ET_TRIA3, 3));
  EXPECT_FALSE(check_IDs(tri, ET_QUAD4, 4));     // row count
  EXPECT_TRUE(check_IDs(tri, ET_QUAD4, NO_ID));  // NO_ID skips every test of a pure kind
  EXPECT_TRUE(check_IDs(tri, ET_EDGE_MIXED, NO_ID));
  EXPECT_FALSE(check_IDs(tri, ET_EDGE_MIXED, 4));  // count 0 never matches
  EXPECT_FALSE(check_IDs(mat(3, {{0, X, 2}}), ET_TRIA3, 4));
  EXPECT_TRUE(check_IDs(mat(3, {{0, X, 2}}), 4));                // the untyped form accepts padding
  EXPECT_TRUE(check_IDs(dense2D<unsigned>(0, 3), ET_HEXA8, 1));  // empty: any kind
  EXPECT_TRUE(check_IDs(padded_view(tri), ET_TRIA3, 4));
}

TEST(CheckIDs, MixedKindsAreVerifiedEvenWithoutNodeCount) {
  EXPECT_TRUE(check_IDs(mat(4, {{0, 1, 2, X}, {0, 1, 2, 3}}), ET_FACE_MIXED, NO_ID));
  EXPECT_FALSE(check_IDs(mat(4, {{0, 1, X, 3}}), ET_FACE_MIXED, NO_ID));
  EXPECT_FALSE(check_IDs(mat(4, {{0, 1, 2, 3}}), ET_FACE_MIXED, 3));
  EXPECT_TRUE(check_IDs(mat(3, {{0, 1, 2}}), ET_FACE_MIXED, 3));
  EXPECT_FALSE(check_IDs(mat(5, {{0, 1, 2, 3, 4}}), ET_FACE_MIXED, NO_ID));
  EXPECT_FALSE(check_IDs(mat(2, {{0, 1}}), ET_FACE_MIXED, NO_ID));

  const std::vector<unsigned> tet = {0, 1, 2, 3, X, X, X, X};
  const std::vector<unsigned> pyr = {0, 1, 2, 3, 4, X, X, X};
  const std::vector<unsigned> wed = {0, 1, 2, 3, 4, 5, X, X};
  const std::vector<unsigned> hex = {0, 1, 2, 3, 4, 5, 6, 7};
  EXPECT_TRUE(check_IDs(mat(8, {tet, pyr, wed, hex}), ET_SOLID_MIXED, NO_ID));
  EXPECT_TRUE(check_IDs(mat(8, {tet, pyr, wed, hex}), ET_SOLID_MIXED, 8));
  EXPECT_FALSE(check_IDs(mat(8, {hex}), ET_SOLID_MIXED, 7));
  EXPECT_FALSE(check_IDs(mat(8, {{0, 1, 2, X, X, X, X, X}}), ET_SOLID_MIXED, NO_ID));
  EXPECT_FALSE(check_IDs(mat(8, {{0, 1, 2, 3, 4, 5, 6, X}}), ET_SOLID_MIXED, NO_ID));
  EXPECT_FALSE(check_IDs(mat(8, {{0, 1, 2, 3, X, 5, X, X}}), ET_SOLID_MIXED, NO_ID));
  EXPECT_TRUE(check_IDs(mat(4, {{0, 1, 2, 3}}), ET_SOLID_MIXED, NO_ID));
  EXPECT_TRUE(check_IDs(mat(5, {{0, 1, 2, 3, X}}), ET_SOLID_MIXED, NO_ID));
  EXPECT_TRUE(check_IDs(mat(6, {{0, 1, 2, 3, 4, X}}), ET_SOLID_MIXED, NO_ID));
  EXPECT_FALSE(check_IDs(mat(7, {{0, 1, 2, 3, 4, 5, 6}}), ET_SOLID_MIXED, NO_ID));
}

TEST(ShiftIndices, PaddingRules) {
  dense1D<unsigned> v = vec({1, X, 3});
  EXPECT_EQ(shift_indices(v, -1), 0);
  EXPECT_EQ(std_of(v), (std::vector<unsigned>{0, X, 2}));
  shift_indices(v, -1);
  EXPECT_EQ(v[0], X);  // 0 - 1 wraps round to NO_ID

  dense2D<unsigned> pure = mat(3, {{0, X, 2}});
  EXPECT_EQ(shift_indices(pure, 5, ET_TRIA3), 0);
  EXPECT_EQ(pure(1, 0), 4u);  // NO_ID + 5 wraps to shift - 1
  dense2D<unsigned> mixed = mat(4, {{0, 1, 2, X}});
  shift_indices(mixed, 5, ET_FACE_MIXED);
  EXPECT_EQ(mixed(2, 0), 7u);
  EXPECT_EQ(mixed(3, 0), X);
  dense2D<unsigned> solid = mat(8, {{0, 1, 2, 3, X, X, X, X}});
  shift_indices(solid, 2, ET_SOLID_MIXED);
  EXPECT_EQ(solid(3, 0), 5u);
  EXPECT_EQ(solid(7, 0), X);

  dense2D<unsigned> base = mat(2, {{1, 2}, {3, 4}});
  dense2D<unsigned> view = padded_view(base);
  shift_indices(view, 10, ET_EDGE2);
  EXPECT_EQ(view(1, 1), 14u);
  EXPECT_EQ(view.block()->data[view.offset() + view.rows()], 0xABCDu);  // gap untouched
}

TEST(ChangeIndices, MapsOnlyWhatTheMapCovers) {
  dense1D<unsigned> v = vec({0, 1, 5, X});
  change_indices(v, dense1D<unsigned>());
  EXPECT_EQ(std_of(v), (std::vector<unsigned>{0, 1, 5, X}));
  change_indices(v, vec({7, X, 2}));
  EXPECT_EQ(std_of(v), (std::vector<unsigned>{7, X, 5, X}));

  dense2D<unsigned> m = mat(2, {{0, 2}, {1, X}});
  dense2D<unsigned> view = padded_view(m);
  change_indices(view, vec({10, 11, 12}));
  EXPECT_EQ(view(0, 0), 10u);
  EXPECT_EQ(view(1, 0), 12u);
  EXPECT_EQ(view(1, 1), X);
  EXPECT_EQ(view.block()->data[view.offset() + 2], 0xABCDu);
}

TEST(Permutation, ScattersThroughValidPlaces) {
  dense1D<unsigned> v = vec({10, 11, 12, 13});
  permutation(v, vec({2, 0, 1}));  // shorter than the values
  EXPECT_EQ(std_of(v), (std::vector<unsigned>{11, 12, 10, 13}));
  dense1D<unsigned> w = vec({10, 11, 12});
  permutation(w, vec({0, 1, 2}));
  EXPECT_EQ(std_of(w), (std::vector<unsigned>{10, 11, 12}));
  permutation(w, vec({9, 0, 0}));  // out of range ignored; the last write wins
  EXPECT_EQ(std_of(w), (std::vector<unsigned>{12, 11, 12}));
  dense1D<double> d(3, 0.0);
  d[0] = 1.5;
  permutation(d, vec({2, 1, 0}));
  EXPECT_EQ(d[2], 1.5);
  EXPECT_EQ(d[0], 0.0);
  dense1D<double> e;
  permutation(e, vec({1}));
  EXPECT_TRUE(e.empty());
}

TEST(UniqueIndices, OrderOfFirstAppearanceAcrossMatrices) {
  dense2D<unsigned> m[2] = {mat(3, {{4, 2, X}, {2, 7, 4}}), mat(2, {{9, 4}, {X, 1}})};
  dense1D<unsigned> out = vec({2});
  EXPECT_EQ(unique_indices(out, m, m + 2), 0);
  EXPECT_EQ(std_of(out), (std::vector<unsigned>{2, 4, 2, 7, 9, 1}));  // out is not searched
  EXPECT_EQ(unique_indices(out, m, m), 0);
  EXPECT_EQ(out.size(), 6u);
  EXPECT_EQ(unique_indices(out, m + 1, m), -3);
  EXPECT_EQ(out.size(), 6u);
  dense1D<unsigned> twice;
  unique_indices(twice, m[0]);
  unique_indices(twice, m[0]);
  EXPECT_EQ(std_of(twice), (std::vector<unsigned>{4, 2, 7, 4, 2, 7}));
  dense1D<unsigned> from_view;
  unique_indices(from_view, padded_view(m[0]));
  EXPECT_EQ(std_of(from_view), (std::vector<unsigned>{4, 2, 7}));

  dense1D<unsigned> ex;
  EXPECT_EQ(unique_indices(ex, vec({5, X, 3, 5, 8, 3}), vec({8})), 0);
  EXPECT_EQ(std_of(ex), (std::vector<unsigned>{5, 3}));
  EXPECT_EQ(unique_indices(ex, dense1D<unsigned>(), vec({1})), 0);
  EXPECT_EQ(ex.size(), 2u);
  dense1D<unsigned> plain;
  unique_indices(plain, vec({X, 6, 6}));
  EXPECT_EQ(std_of(plain), (std::vector<unsigned>{6}));
}

TEST(UniqueIndices, MatchesASetOnRandomMeshes) {
  std::mt19937 rng(7);
  for (int round = 0; round < 5; ++round) {
    dense2D<unsigned> m(4, 3000);
    for (unsigned j = 0; j < m.cols(); ++j)
      for (unsigned i = 0; i < 4; ++i) m(i, j) = rng() % 11 == 0 ? X : rng() % (500u << round);
    std::set<unsigned> seen;
    std::vector<unsigned> order;
    for (unsigned j = 0; j < m.cols(); ++j)
      for (unsigned i = 0; i < 4; ++i)
        if (m(i, j) != X && seen.insert(m(i, j)).second) order.push_back(m(i, j));
    dense1D<unsigned> out;
    unique_indices(out, m);
    EXPECT_EQ(std_of(out), order);
    EXPECT_EQ(count_unique_indices(m), int(order.size()));
    EXPECT_EQ(count_unique_indices(padded_view(m)), int(order.size()));
  }
}

TEST(CountUniqueIndices, RangeStatuses) {
  dense2D<unsigned> m[2] = {mat(2, {{1, 2}}), mat(2, {{2, 3}, {X, X}})};
  EXPECT_EQ(count_unique_indices(m, m + 2), 3);
  EXPECT_EQ(count_unique_indices(m, m), 0);
  EXPECT_EQ(count_unique_indices(m + 1, m), -2);
  EXPECT_EQ(count_unique_indices(mat(2, {{X, X}})), 0);
}

TEST(GetIDs, VectorsLastPositionWins) {
  dense1D<unsigned> b_to_a, a_to_b;
  EXPECT_EQ(get_IDs(vec({5, 6, 5, X}), vec({5, 9, X, 6, 5}), b_to_a, a_to_b), 0);
  EXPECT_EQ(std_of(b_to_a), (std::vector<unsigned>{2, X, X, 1, 2}));
  EXPECT_EQ(std_of(a_to_b), (std::vector<unsigned>{X, 3, 4, X}));
}

TEST(GetIDs, ConnectivitiesUpToRotationAndReversal) {
  dense2D<unsigned> a = mat(3, {{1, 2, 3}, {4, 5, 6}, {1, 2, 3}});
  dense2D<unsigned> b = mat(3, {{3, 1, 2}, {3, 2, 1}, {6, 5, 4}, {1, 2, 4}});
  dense1D<unsigned> b_to_a, a_to_b;
  EXPECT_EQ(get_IDs(a, b, b_to_a, a_to_b, false), 0);
  EXPECT_EQ(std_of(b_to_a), (std::vector<unsigned>{0, 0, 1, X}));
  EXPECT_EQ(std_of(a_to_b), (std::vector<unsigned>{1, 2, X}));  // the duplicate column 2 never
  EXPECT_EQ(get_IDs(a, b, b_to_a, a_to_b, true), 0);
  EXPECT_EQ(std_of(b_to_a), (std::vector<unsigned>{X, X, X, X}));
  dense2D<unsigned> exact = mat(3, {{1, 2, 3}});
  EXPECT_EQ(get_IDs(a, exact, b_to_a, a_to_b, true), 0);
  EXPECT_EQ(std_of(b_to_a), (std::vector<unsigned>{0}));

  // Quadrangles: a rotation matches, a mere permutation does not; sums with
  // NO_ID wrap round like plain numbers.
  dense2D<unsigned> qa = mat(4, {{1, 2, 3, 4}, {7, 8, 9, X}});
  dense2D<unsigned> qb = mat(4, {{3, 4, 1, 2}, {1, 3, 2, 4}, {X, 9, 8, 7}});
  EXPECT_EQ(get_IDs(qa, padded_view(qb), b_to_a, a_to_b, false), 0);
  EXPECT_EQ(std_of(b_to_a), (std::vector<unsigned>{0, X, 1}));

  EXPECT_EQ(get_IDs(a, qa, b_to_a, a_to_b, false), -2);
  EXPECT_TRUE(b_to_a.empty());
  EXPECT_TRUE(a_to_b.empty());
}

TEST(GetIDs, OutOfMemory) {
  dense2D<unsigned> a = mat(2, {{1, 2}});
  dense1D<unsigned> one = vec({1});
  unsigned runs = qz4test::for_each_failing_allocation([&](unsigned) {
    dense1D<unsigned> b_to_a, a_to_b;
    const int s = get_IDs(a, a, b_to_a, a_to_b, true);
    if (s != 0) {
      EXPECT_EQ(s, -199);
      EXPECT_TRUE(b_to_a.empty());
      EXPECT_TRUE(a_to_b.empty());
    }
    const int t = get_IDs(one, one, b_to_a, a_to_b);
    EXPECT_TRUE(t == 0 || t == -199);
  });
  EXPECT_GE(runs, 2u);
}

TEST(BoundingBox, GrowsStrictlyAndChecksInOrder) {
  dense2D<double> pos(2, 3, 0.0);
  pos(0, 0) = -1;
  pos(1, 1) = 4;
  pos(0, 2) = std::numeric_limits<double>::quiet_NaN();
  vector_fixed<double, 2> lo = {0.5, 0.5}, hi = {0.5, 0.5};
  EXPECT_EQ(inc_bounding_box(pos, lo, hi), 0);
  EXPECT_EQ(lo[0], -1.0);
  EXPECT_EQ(lo[1], 0.0);
  EXPECT_EQ(hi[0], 0.5);
  EXPECT_EQ(hi[1], 4.0);
  vector_fixed<double, 3> lo3 = {0, 0, 0}, hi3 = {0, 0, 0};
  EXPECT_EQ(inc_bounding_box(pos, lo3, hi3), -1);

  vector_fixed<double, 2> l = {9, 9}, h = {-9, -9};
  EXPECT_EQ(inc_bounding_box(pos, vec({1}), l, h), 0);
  EXPECT_EQ(l[1], 4.0);
  EXPECT_EQ(h[0], 0.0);
  EXPECT_EQ(inc_bounding_box(pos, dense1D<unsigned>(), lo3, hi3), 0);  // empty before rows
  EXPECT_EQ(inc_bounding_box(pos, vec({3}), lo3, hi3), -1);
  EXPECT_EQ(inc_bounding_box(pos, vec({3}), l, h), -2);

  vector_fixed<double, 2> cl = {9, 9}, ch = {-9, -9};
  EXPECT_EQ(inc_bounding_box(pos, mat(2, {{0, X}}), cl, ch), 0);  // padding is dropped
  EXPECT_EQ(cl[0], -1.0);
  EXPECT_EQ(ch[0], -1.0);
  EXPECT_EQ(inc_bounding_box(pos, mat(2, {{0, 5}}), cl, ch), -2);
}
