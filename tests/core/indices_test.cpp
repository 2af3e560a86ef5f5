// Index utilities: exact results on hand-made inputs, oracles on random ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <random>
#include <set>

#include "alloc_seam.h"
#include "arrays.h"
#include "qz4/tessellix/core.h"

using namespace qz4;
using namespace qz4::tessellix;
using namespace qz4test;
using V = std::vector<unsigned>;

namespace {
constexpr unsigned X = NO_ID;
}

TEST(MaxAndCheckIDs, PaddingViewsAndKinds) {
  EXPECT_EQ(max_ID(dense1D<unsigned>()), NO_ID);
  EXPECT_EQ(max_ID(vec({X, X})), 0u);
  EXPECT_EQ(max_ID(vec({3, X, 9, 2})), 9u);
  EXPECT_EQ(max_ID(padded_view(mat(2, {1, 4, X, 2}))), 4u);
  EXPECT_TRUE(check_IDs(dense1D<unsigned>(), 0) && check_IDs(vec({5, 7}), NO_ID));
  EXPECT_TRUE(check_IDs(vec({0, X, 2}), 3));
  EXPECT_FALSE(check_IDs(vec({0, 3, 2}), 3));
  EXPECT_TRUE(check_IDs(padded_view(mat(3, {0, 1, 2, 2, X, 1})), 3));  // the gap is not read
  EXPECT_FALSE(check_IDs(mat(3, {0, 1, 2, 2, X, 1}), 2));

  struct Case {
    unsigned rows;
    V entries;
    element_type kind;
    unsigned n;
    bool ok;
  };
  const V tet = {0, 1, 2, 3, X, X, X, X}, pyr = {0, 1, 2, 3, 4, X, X, X};
  const V wed = {0, 1, 2, 3, 4, 5, X, X}, hex = {0, 1, 2, 3, 4, 5, 6, 7};
  V all = tet;
  for (const V* v : {&pyr, &wed, &hex}) all.insert(all.end(), v->begin(), v->end());
  const V tri = {0, 1, 2, 2, 3, 1};
  const Case cases[] = {
      {3, tri, ET_TRIA3, 4, true},
      {3, tri, ET_TRIA3, 3, false},
      {3, tri, ET_QUAD4, 4, false},
      {3, tri, ET_QUAD4, NO_ID, true},  // NO_ID skips all
      {3, tri, ET_EDGE_MIXED, NO_ID, true},
      {3, {0, X, 2}, ET_TRIA3, 4, false},
      {3, {}, ET_HEXA8, 1, true},
      {4, {0, 1, 2, X, 0, 1, 2, 3}, ET_FACE_MIXED, NO_ID, true},
      {4, {0, 1, X, 3}, ET_FACE_MIXED, NO_ID, false},
      {4, {0, 1, 2, 3}, ET_FACE_MIXED, 3, false},
      {3, {0, 1, 2}, ET_FACE_MIXED, 3, true},
      {5, {0, 1, 2, 3, 4}, ET_FACE_MIXED, NO_ID, false},
      {2, {0, 1}, ET_FACE_MIXED, NO_ID, false},
      {8, all, ET_SOLID_MIXED, NO_ID, true},
      {8, hex, ET_SOLID_MIXED, 7, false},
      {8, {0, 1, 2, X, X, X, X, X}, ET_SOLID_MIXED, NO_ID, false},
      {8, {0, 1, 2, 3, 4, 5, 6, X}, ET_SOLID_MIXED, NO_ID, false},
      {8, {0, 1, 2, 3, X, 5, X, X}, ET_SOLID_MIXED, NO_ID, false},
      {5, {0, 1, 2, 3, X}, ET_SOLID_MIXED, NO_ID, true},
      {6, {0, 1, 2, 3, 4, X}, ET_SOLID_MIXED, NO_ID, true},
      {7, {0, 1, 2, 3, 4, 5, 6}, ET_SOLID_MIXED, NO_ID, false},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(check_IDs(padded_view(mat(c.rows, c.entries)), c.kind, c.n), c.ok)
        << c.rows << " rows, kind " << c.kind << ", " << c.n << " nodes";
  }
}

TEST(ShiftAndChangeIndices, PaddingRulesAndViews) {
  dense1D<unsigned> v = vec({1, X, 3});
  EXPECT_EQ(shift_indices(v, -1), 0);
  EXPECT_EQ(std_of(v), (V{0, X, 2}));
  shift_indices(v, -1);
  EXPECT_EQ(v[0], X);  // 0 - 1 wraps round to NO_ID
  dense2D<unsigned> pure = mat(3, {0, X, 2}), face = mat(4, {0, 1, 2, X});
  dense2D<unsigned> solid = mat(8, {0, 1, 2, 3, X, X, X, X});
  EXPECT_EQ(shift_indices(pure, 5, ET_TRIA3), 0);
  EXPECT_EQ(flat(pure), (V{5, 4, 7}));  // NO_ID + 5 wraps to 4 in a pure kind
  shift_indices(face, 5, ET_FACE_MIXED);
  EXPECT_EQ(flat(face), (V{5, 6, 7, X}));
  shift_indices(solid, 2, ET_SOLID_MIXED);
  EXPECT_EQ(flat(solid), (V{2, 3, 4, 5, X, X, X, X}));
  dense2D<unsigned> view = padded_view(mat(2, {1, 2, 3, 4}));
  shift_indices(view, 10, ET_EDGE2);
  EXPECT_EQ(flat(view), (V{11, 12, 13, 14}));
  EXPECT_EQ(view.block()->data[view.offset() + view.rows()], 0xABCDu);  // gap untouched

  dense1D<unsigned> w = vec({0, 1, 5, X});
  change_indices(w, dense1D<unsigned>());
  EXPECT_EQ(std_of(w), (V{0, 1, 5, X}));
  change_indices(w, vec({7, X, 2}));
  EXPECT_EQ(std_of(w), (V{7, X, 5, X}));
  dense2D<unsigned> m = padded_view(mat(2, {0, 2, 1, X}));
  change_indices(m, vec({10, 11, 12}));
  EXPECT_EQ(flat(m), (V{10, 12, 11, X}));
  EXPECT_EQ(m.block()->data[m.offset() + 2], 0xABCDu);
}

TEST(Permutation, ScattersThroughValidPlaces) {
  dense1D<unsigned> v = vec({10, 11, 12, 13});
  permutation(v, vec({2, 0, 1}));  // shorter than the values
  EXPECT_EQ(std_of(v), (V{11, 12, 10, 13}));
  permutation(v, vec({9, 0, 0}));  // out of range ignored; the last write wins
  EXPECT_EQ(std_of(v), (V{10, 12, 10, 13}));
  dense1D<double> d = vec(std::vector<double>{1.5, 0});
  permutation(d, vec({1, 0, 2}));  // longer than the values
  EXPECT_EQ(std_of(d), (std::vector<double>{0, 1.5}));
}

TEST(UniqueIndices, OrderOfFirstAppearanceAndStatuses) {
  dense2D<unsigned> m[2] = {mat(3, {4, 2, X, 2, 7, 4}), mat(2, {9, 4, X, 1})};
  dense1D<unsigned> out = vec({2});
  EXPECT_EQ(unique_indices(out, m, m + 2), 0);
  EXPECT_EQ(std_of(out), (V{2, 4, 2, 7, 9, 1}));  // out is appended to, not searched
  EXPECT_EQ(unique_indices(out, m, m), 0);
  EXPECT_EQ(unique_indices(out, m + 1, m), -3);
  EXPECT_EQ(out.size(), 6u);
  EXPECT_EQ(count_unique_indices(m, m + 2), 5);
  EXPECT_EQ(count_unique_indices(m, m), 0);
  EXPECT_EQ(count_unique_indices(m + 1, m), -2);
  dense1D<unsigned> ex;
  EXPECT_EQ(unique_indices(ex, vec({5, X, 3, 5, 8, 3}), vec({8})), 0);
  EXPECT_EQ(unique_indices(ex, dense1D<unsigned>(), vec({1})), 0);
  EXPECT_EQ(std_of(ex), (V{5, 3}));
  dense1D<unsigned> plain;
  unique_indices(plain, vec({X, 6, 6}));
  EXPECT_EQ(std_of(plain), (V{6}));

  std::mt19937 rng(7);
  for (int round = 0; round < 5; ++round) {
    dense2D<unsigned> r(4, 3000);
    for (unsigned& x : r.as_vector()) x = rng() % 11 == 0 ? X : rng() % (500u << round);
    std::set<unsigned> seen;
    V order;
    for (unsigned x : r.as_vector())
      if (x != X && seen.insert(x).second) order.push_back(x);
    dense1D<unsigned> got;
    unique_indices(got, padded_view(r));
    EXPECT_EQ(std_of(got), order);
    EXPECT_EQ(count_unique_indices(padded_view(r)), int(order.size()));
  }
}

TEST(GetIDs, VectorsAndConnectivitiesUpToRotationAndReversal) {
  dense1D<unsigned> ba, ab;
  EXPECT_EQ(get_IDs(vec({5, 6, 5, X}), vec({5, 9, X, 6, 5}), ba, ab), 0);
  EXPECT_EQ(std_of(ba), (V{2, X, X, 1, 2}));  // the last position wins
  EXPECT_EQ(std_of(ab), (V{X, 3, 4, X}));
  dense2D<unsigned> a = mat(3, {1, 2, 3, 4, 5, 6, 1, 2, 3});
  dense2D<unsigned> b = mat(3, {3, 1, 2, 3, 2, 1, 6, 5, 4, 1, 2, 4});
  EXPECT_EQ(get_IDs(a, b, ba, ab, false), 0);
  EXPECT_EQ(std_of(ba), (V{0, 0, 1, X}));
  EXPECT_EQ(std_of(ab), (V{1, 2, X}));  // the duplicate column 2 is never found
  EXPECT_EQ(get_IDs(a, b, ba, ab, true), 0);
  EXPECT_EQ(std_of(ba), (V{X, X, X, X}));
  EXPECT_EQ(get_IDs(a, mat(3, {1, 2, 3}), ba, ab, true), 0);
  EXPECT_EQ(std_of(ba), (V{0}));
  // Columns of equal sums share a chain: the second is found behind the first.
  EXPECT_EQ(get_IDs(mat(3, {1, 2, 3, 0, 2, 4}), mat(3, {4, 0, 2}), ba, ab, false), 0);
  EXPECT_EQ(std_of(ba), (V{1}));
  // Quadrangles: a rotation matches, a mere permutation does not.
  dense2D<unsigned> qa = mat(4, {1, 2, 3, 4, 7, 8, 9, X});
  EXPECT_EQ(get_IDs(qa, padded_view(mat(4, {3, 4, 1, 2, 1, 3, 2, 4, X, 9, 8, 7})), ba, ab, false),
            0);
  EXPECT_EQ(std_of(ba), (V{0, X, 1}));
  EXPECT_EQ(get_IDs(a, qa, ba, ab, false), -2);
  EXPECT_TRUE(ba.empty() && ab.empty());

  dense1D<unsigned> one = vec({1});
  expect_ok_or_out_of_memory([&](unsigned) {
    dense1D<unsigned> x, y;
    const int s = get_IDs(a, a, x, y, true);
    EXPECT_TRUE(s != -199 || (x.empty() && y.empty()));
    return std::min(s, get_IDs(one, one, x, y));
  });
}

TEST(BoundingBox, GrowsStrictlyAndChecksInOrder) {
  dense2D<double> pos =
      mat(2, std::vector<double>{-1, 0, 0, 4, std::numeric_limits<double>::quiet_NaN(), 0});
  vector_fixed<double, 2> lo = {0.5, 0.5}, hi = {0.5, 0.5};
  EXPECT_EQ(inc_bounding_box(pos, lo, hi), 0);
  EXPECT_EQ((std::vector<double>{lo[0], lo[1], hi[0], hi[1]}), (std::vector<double>{-1, 0, .5, 4}));
  vector_fixed<double, 3> lo3 = {0, 0, 0}, hi3 = {0, 0, 0};
  EXPECT_EQ(inc_bounding_box(pos, lo3, hi3), -1);
  vector_fixed<double, 2> l = {9, 9}, h = {-9, -9};
  EXPECT_EQ(inc_bounding_box(pos, vec({1}), l, h), 0);
  EXPECT_EQ(l[1] + h[0], 4.0);
  EXPECT_EQ(inc_bounding_box(pos, dense1D<unsigned>(), lo3, hi3), 0);  // empty before rows
  EXPECT_EQ(inc_bounding_box(pos, vec({3}), lo3, hi3), -1);
  EXPECT_EQ(inc_bounding_box(pos, vec({3}), l, h), -2);
  vector_fixed<double, 2> cl = {9, 9}, ch = {-9, -9};
  EXPECT_EQ(inc_bounding_box(pos, mat(2, {0, X}), cl, ch), 0);  // padding is dropped
  EXPECT_EQ(cl[0] + ch[0], -2.0);
  EXPECT_EQ(inc_bounding_box(pos, mat(2, {0, 5}), cl, ch), -2);
}
