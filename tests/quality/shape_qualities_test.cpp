// Shape qualities: hand-derived values of regular, stretched, flat and
// inverted elements of every kind, invariance under similarity transforms
// and renumbering, constant values on structured grids, the statuses in
// their order, and the out-of-memory paths.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <string>
#include <vector>

#include "alloc_seam.h"
#include "quality_test_util.h"
#include "qz4/tessellix/quality.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;
using qz4test::conn;
using qz4test::points;
using qz4test::values;

namespace {

const double r2 = std::sqrt(2.0), r3 = std::sqrt(3.0), r5 = std::sqrt(5.0);
const double h3 = r3 / 2;                           // height of the unit equilateral triangle
const double right_tria = r3 * (r2 - 1);            // right isosceles triangle
const double rect_2x1 = 4 * r2 / (3 * r5);          // 2 by 1 rectangle
const double kuhn_tetra = 2 - r2;                   // (0,0,0) (1,0,0) (1,1,0) (1,1,1)
const double cell_pyramid = std::sqrt(2 * r2 / 3);  // cube face with the cube's centre

struct shape_case {
  std::string name;
  element_type type;
  unsigned rows;  // of pos
  std::vector<double> xyz;
  double expected;
};

// Nodes are numbered in the order given; the element is (0, 1, ..., n-1).
std::vector<double> cube(double dx, double dy, double dz, bool inverted = false) {
  std::vector<double> lo = {0, 0, 0, dx, 0, 0, dx, dy, 0, 0, dy, 0};
  std::vector<double> hi = {0, 0, dz, dx, 0, dz, dx, dy, dz, 0, dy, dz};
  if (inverted) std::swap(lo, hi);
  lo.insert(lo.end(), hi.begin(), hi.end());
  return lo;
}
std::vector<double> prism(double dz, bool inverted = false, double z0 = 0) {
  std::vector<double> lo = {0, 0, z0, 1, 0, z0, 0.5, h3, z0};
  std::vector<double> hi = {0, 0, z0 + dz, 1, 0, z0 + dz, 0.5, h3, z0 + dz};
  if (inverted) std::swap(lo, hi);
  lo.insert(lo.end(), hi.begin(), hi.end());
  return lo;
}
std::vector<double> pyramid(double apex_z) {
  return {1, 0, 0, 0, 1, 0, -1, 0, 0, 0, -1, 0, 0, 0, apex_z};
}

// The base of the pyramid measure with apex height h over a base of half
// diagonal 1 is 2h / (1 + h^2) on both diagonals, and the base square gives 1.
const std::vector<shape_case>& cases() {
  static const std::vector<shape_case> all = {
      {"edge, coincident ends", ET_EDGE2, 3, {1, 2, 3, 1, 2, 3}, 1.0},
      {"equilateral", ET_TRIA3, 2, {0, 0, 1, 0, 0.5, h3}, 1.0},
      {"clockwise equilateral", ET_TRIA3, 2, {0, 0, 0.5, h3, 1, 0}, -1.0},
      {"right isosceles", ET_TRIA3, 2, {0, 0, 1, 0, 0, 1}, right_tria},
      {"collinear", ET_TRIA3, 2, {0, 0, 1, 1, 3, 3}, 0.0},
      {"coincident", ET_TRIA3, 2, {2, 2, 2, 2, 2, 2}, 0.0},
      {"equilateral in space", ET_TRIA3, 3, {0, 0, 0, 0, 1, 0, 0, 0.5, h3}, 1.0},
      {"clockwise in space", ET_TRIA3, 3, {0, 0, 0, 0.5, h3, 0, 1, 0, 0}, 1.0},
      {"right isosceles in space", ET_TRIA3, 3, {0, 0, 0, 1, 0, 0, 0, 1, 0}, right_tria},
      {"collinear in space", ET_TRIA3, 3, {0, 0, 0, 1, 1, 1, 2, 2, 2}, 0.0},
      {"square", ET_QUAD4, 2, {0, 0, 1, 0, 1, 1, 0, 1}, 1.0},
      {"clockwise square", ET_QUAD4, 2, {0, 0, 0, 1, 1, 1, 1, 0}, -1.0},
      {"rectangle", ET_QUAD4, 2, {0, 0, 2, 0, 2, 1, 0, 1}, rect_2x1},
      {"crossed", ET_QUAD4, 2, {0, 0, 1, 1, 1, 0, 0, 1}, -2 * (r2 - 1)},
      {"collapsed", ET_QUAD4, 2, {1, 1, 1, 1, 1, 1, 1, 1}, 0.0},
      {"square in space", ET_QUAD4, 3, {0, 0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1}, 1.0},
      {"clockwise in space", ET_QUAD4, 3, {0, 0, 0, 0, 0, 1, 0, 1, 1, 0, 1, 0}, 1.0},
      {"rectangle in space", ET_QUAD4, 3, {0, 0, 0, 2, 0, 0, 2, 1, 0, 0, 1, 0}, rect_2x1},
      {"crossed in space", ET_QUAD4, 3, {0, 0, 0, 1, 1, 0, 1, 0, 0, 0, 1, 0}, 0.0},
      // Opposite corner normals at 1/3 of a turn of each other: warp 1/3,
      // base sqrt(3/2).
      {"saddle", ET_QUAD4, 3, {0, 0, 0, 1, 0, 1, 1, 1, 0, 0, 1, 1}, 1 / std::sqrt(6.0)},
      {"square, fourth row unread",
       ET_QUAD4,
       4,
       {0, 0, 0, 9, 1, 0, 0, -9, 1, 1, 0, 5, 0, 1, 0, 7},
       1.0},
      {"triangle, four rows", ET_TRIA3, 4, {0, 0, 0, 0, 1, 0, 0, 0, 0.5, h3, 0, 0}, 0.0},
      {"regular", ET_TETRA4, 3, {1, 1, 1, 1, -1, -1, -1, 1, -1, -1, -1, 1}, 1.0},
      {"regular, P0 and P1 exchanged",
       ET_TETRA4,
       3,
       {1, -1, -1, 1, 1, 1, -1, 1, -1, -1, -1, 1},
       -1.0},
      {"corner", ET_TETRA4, 3, {1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}, r3 - 1},
      {"Kuhn", ET_TETRA4, 3, {0, 0, 0, 1, 0, 0, 1, 1, 0, 1, 1, 1}, -kuhn_tetra},
      {"flat", ET_TETRA4, 3, {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0}, 0.0},
      // Apex 1e-9 over the centre of an equilateral base: volume over the
      // face areas and longest edge, sqrt(6) * height, through the careful form.
      {"nearly flat",
       ET_TETRA4,
       3,
       {0, 0, 0, 0.5, h3, 0, 1, 0, 0, 0.5, h3 / 3, 1e-9},
       std::sqrt(6.0) * 1e-9},
      {"regular", ET_PYRA5, 3, pyramid(1), 1.0},
      {"tall", ET_PYRA5, 3, pyramid(2), std::sqrt(0.8)},
      {"inverted", ET_PYRA5, 3, pyramid(-1), -1.0},
      {"flat", ET_PYRA5, 3, pyramid(0), 0.0},
      {"right", ET_PENTA6, 3, prism(1), 1.0},
      // Far from the origin, where a centroid left unscaled would fall
      // outside the element and invert its volume terms.
      {"right, far below", ET_PENTA6, 3, prism(1, false, -10), 1.0},
      {"tall", ET_PENTA6, 3, prism(2), rect_2x1},
      {"inverted", ET_PENTA6, 3, prism(1, true), -1.0},
      {"flat", ET_PENTA6, 3, prism(0), 0.0},
      {"cube", ET_HEXA8, 3, cube(1, 1, 1), 1.0},
      {"brick", ET_HEXA8, 3, cube(2, 1, 1), rect_2x1},
      {"inverted", ET_HEXA8, 3, cube(1, 1, 1, true), -1.0},
      {"flat", ET_HEXA8, 3, cube(1, 1, 0), 0.0},
  };
  return all;
}

dense2D<unsigned> one_element(unsigned n) {
  dense2D<unsigned> c(n, 1);
  for (unsigned i = 0; i < n; ++i) c(i, 0) = i;
  return c;
}

double quality_of(const dense2D<double>& pos, const dense2D<unsigned>& c, element_type type) {
  dense1D<double> q;
  EXPECT_EQ(shape_qualities(pos, c, type, q), 0);
  EXPECT_EQ(q.size(), 1u);
  return q.size() == 1 ? q[0] : NAN;
}

// Rotation about a skew axis (or in the plane), uniform scaling, translation.
dense2D<double> moved(const dense2D<double>& p, double scale) {
  dense2D<double> out;
  out.copy(p);
  const double c = std::cos(0.7), s = std::sin(0.7);
  for (unsigned j = 0; j < p.cols(); ++j) {
    const double x = p(0, j), y = p(1, j);
    if (p.rows() == 2) {
      out(0, j) = scale * (c * x - s * y) + 3.5;
      out(1, j) = scale * (s * x + c * y) - 1.25;
      continue;
    }
    const double z = p(2, j);
    // About z, then about x.
    const double x1 = c * x - s * y, y1 = s * x + c * y;
    out(0, j) = scale * x1 + 3.5;
    out(1, j) = scale * (c * y1 - s * z) - 1.25;
    out(2, j) = scale * (s * y1 + c * z) + 7;
  }
  return out;
}

}  // namespace

TEST(ShapeQualities, HandBuiltElementsOfEveryKind) {
  for (const shape_case& k : cases()) {
    SCOPED_TRACE(k.name + " " + std::to_string(int(k.type)));
    const dense2D<double> pos = points(k.rows, k.xyz);
    const unsigned n = pos.cols();
    const double q = quality_of(pos, one_element(n), k.type);
    const double e = std::fabs(k.expected);
    EXPECT_NEAR(q, k.expected, e == 0 ? 0 : e < 1e-6 ? 1e-6 * e : 1e-14);
    EXPECT_TRUE(q >= -1 && q <= 1);

    // Renumbered nodes: the same coordinates reached through another map.
    dense2D<double> rev(k.rows, n + 2, 99.0);
    dense2D<unsigned> c(n, 1);
    for (unsigned i = 0; i < n; ++i) {
      c(i, 0) = n + 1 - i;
      for (unsigned r = 0; r < k.rows; ++r) rev(r, n + 1 - i) = pos(r, i);
    }
    EXPECT_EQ(quality_of(rev, c, k.type), q);

    if (k.rows == 2 || k.rows == 3) {
      for (double scale : {1e-3, 1.0, 250.0})
        EXPECT_NEAR(quality_of(moved(pos, scale), one_element(n), k.type), q, 1e-12) << scale;
    }
  }
}

TEST(ShapeQualities, MixedKindsTakeTheMeasureOfEachShape) {
  // Nodes 0-3 a unit square, 4 the apex of a regular pyramid on it.
  const dense2D<double> pos = points(3, {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0.5, 0.5, 1 / r2});
  dense1D<double> q;
  ASSERT_EQ(shape_qualities(pos, conn(4, {{0, 1, 2}, {0, 1, 2, 3}, {0, 2, 1}}), ET_FACE_MIXED, q),
            0);
  ASSERT_EQ(q.size(), 3u);
  EXPECT_NEAR(q[0], right_tria, 1e-14);
  EXPECT_NEAR(q[1], 1.0, 1e-14);
  EXPECT_NEAR(q[2], right_tria, 1e-14);  // in space: no sign
  // In the plane the second triangle turns clockwise.
  const dense2D<double> flat = points(2, {0, 0, 1, 0, 1, 1, 0, 1});
  ASSERT_EQ(shape_qualities(flat, conn(4, {{0, 2, 1}, {3, 2, 1, 0}}), ET_FACE_MIXED, q), 0);
  EXPECT_NEAR(q[0], -right_tria, 1e-14);
  EXPECT_NEAR(q[1], -1.0, 1e-14);
  // Three rows: triangles, checked as ET_TRIA3, so padding is refused.
  ASSERT_EQ(shape_qualities(flat, conn(3, {{0, 1, 2}}), ET_FACE_MIXED, q), 0);
  EXPECT_NEAR(q[0], right_tria, 1e-14);
  EXPECT_EQ(shape_qualities(flat, conn(3, {{0, 1}}), ET_FACE_MIXED, q), -2);

  // Mixed solids by their row count alone.
  ASSERT_EQ(shape_qualities(pos, conn(5, {{0, 1, 2, 3, 4}, {0, 1, 2, 3, 4}}), ET_SOLID_MIXED, q),
            0);
  EXPECT_EQ(values(q), std::vector<double>(2, quality_of(pos, one_element(5), ET_PYRA5)));
  EXPECT_NEAR(q[0], 1.0, 1e-14);
  ASSERT_EQ(shape_qualities(pos, conn(4, {{0, 1, 3, 4}}), ET_SOLID_MIXED, q), 0);
  EXPECT_EQ(q[0], quality_of(pos, conn(4, {{0, 1, 3, 4}}), ET_TETRA4));
  EXPECT_EQ(shape_qualities(pos, conn(5, {{0, 1, 2, 3, 4}, {0, 1, 3, 4}}), ET_SOLID_MIXED, q), -2);
  EXPECT_EQ(q.size(), 0u);
  EXPECT_EQ(shape_qualities(pos, conn(7, {{0, 1, 2, 3, 4, 0, 1}}), ET_SOLID_MIXED, q), -2);
  const dense2D<double> prism6 = points(3, prism(2));
  ASSERT_EQ(shape_qualities(prism6, one_element(6), ET_SOLID_MIXED, q), 0);
  EXPECT_NEAR(q[0], rect_2x1, 1e-14);
  const dense2D<double> brick = points(3, cube(2, 1, 1));
  ASSERT_EQ(shape_qualities(brick, one_element(8), ET_SOLID_MIXED, q), 0);
  EXPECT_NEAR(q[0], rect_2x1, 1e-14);
}

TEST(ShapeQualities, SolidsInPlaneOrLineCoordinatesAreFlat) {
  // The missing rows count as 0: nothing is read past a column.
  const dense2D<double> cube3 = points(3, cube(1, 1, 1));
  for (unsigned rows : {1u, 2u}) {
    dense2D<double> p(rows, 8);
    for (unsigned j = 0; j < 8; ++j)
      for (unsigned i = 0; i < rows; ++i) p(i, j) = cube3(i, j);
    EXPECT_EQ(quality_of(p, one_element(8), ET_HEXA8), 0.0) << rows;
    EXPECT_EQ(quality_of(p, one_element(6), ET_PENTA6), 0.0) << rows;
    EXPECT_EQ(quality_of(p, one_element(5), ET_PYRA5), 0.0) << rows;
    EXPECT_EQ(quality_of(p, one_element(4), ET_TETRA4), 0.0) << rows;
    EXPECT_EQ(quality_of(p, one_element(4), ET_QUAD4), rows == 2 ? 1.0 : 0.0) << rows;
  }
}

// Every element of a grid of cubic cells has the same shape, so the same
// value, whatever the numbering, the storage gaps or the kind's grid.
TEST(ShapeQualities, StructuredGridsGiveTheirCellShape) {
  using namespace qz4::support;
  struct grid {
    mesh m;
    double expected;
  };
  const grid grids[] = {
      {tria_grid(5, 5), right_tria},
      {quad_grid(4, 4), 1.0},
      {tetra_grid(3, 3, 3), kuhn_tetra},
      {pyra_grid(3, 3, 3), cell_pyramid},
      {penta_grid(3, 3, 3), right_tria},
      {hexa_grid(3, 3, 3), 1.0},
      {edge_grid(7), 1.0},
  };
  for (const grid& g : grids) {
    mesh m = g.m;
    shuffle(m, 7);
    SCOPED_TRACE(int(m.type));
    dense1D<double> q, gapped;
    ASSERT_EQ(shape_qualities(m.pos, m.conn, m.type, q), 0);
    ASSERT_EQ(q.size(), m.conn.cols());
    for (unsigned e = 0; e < q.size(); ++e) ASSERT_NEAR(q[e], g.expected, 1e-13) << e;
    ASSERT_EQ(shape_qualities(with_gap(m.pos, 2), with_gap(m.conn, 3), m.type, gapped), 0);
    EXPECT_EQ(values(gapped), values(q));
  }

  mesh f = mixed_face_grid(6, 6);
  shuffle(f, 3);
  dense1D<double> q;
  ASSERT_EQ(shape_qualities(f.pos, f.conn, ET_FACE_MIXED, q), 0);
  for (unsigned e = 0; e < q.size(); ++e)
    EXPECT_NEAR(q[e], f.conn(3, e) == NO_ID ? right_tria : 1.0, 1e-13);
}

// A mixed solid grid split into one matrix per shape: the range form is the
// single forms laid end to end, and the histogram sees exactly those values.
TEST(ShapeQualities, RangeFormsConcatenateAndFeedTheHistogram) {
  qz4::support::mesh m = qz4::support::mixed_solid_grid(3, 3, 3);
  qz4::support::shuffle(m, 11);
  const element_type kinds[] = {ET_HEXA8, ET_TETRA4, ET_PENTA6, ET_PYRA5};
  const unsigned widths[] = {8, 4, 6, 5};
  dense2D<unsigned> parts[5];
  for (unsigned e = 0; e < m.conn.cols(); ++e) {
    unsigned w = 8;
    while (w > 4 && m.conn(w - 1, e) == NO_ID) --w;
    const unsigned k = unsigned(std::find(widths, widths + 4, w) - widths);
    dense1D<unsigned> col;
    for (unsigned i = 0; i < w; ++i) col.push_back(m.conn(i, e));
    ASSERT_TRUE(parts[k].append_column(col));
  }
  // An empty matrix of a kind without measure is skipped: it still uses a flag.
  parts[4] = dense2D<unsigned>(0, 2);
  dense1D<int> flags;
  for (element_type t : kinds) flags.push_back(int(t));
  flags.push_back(ET_TETRA10);

  std::vector<double> expected;
  for (unsigned k = 0; k < 4; ++k) {
    ASSERT_GT(parts[k].cols(), 0u) << k;
    dense1D<double> q;
    ASSERT_EQ(shape_qualities(m.pos, parts[k], kinds[k], q), 0);
    expected.insert(expected.end(), q.begin(), q.end());
  }
  expected.push_back(0);
  expected.push_back(0);
  dense1D<double> all;
  ASSERT_EQ(shape_qualities(m.pos, parts, parts + 5, flags, all), 0);
  EXPECT_EQ(values(all), expected);
  for (double v : expected) EXPECT_TRUE(v >= 0 && v <= 1);
  EXPECT_GT(*std::min_element(expected.begin(), expected.end() - 2), 0);

  misc::histogram h;
  ASSERT_EQ(shape_qualities(m.pos, parts, parts + 5, flags, h), 0);
  EXPECT_EQ(h.count(), expected.size());
  EXPECT_EQ(h.min(), *std::min_element(expected.begin(), expected.end()));
  EXPECT_EQ(h.max(), *std::max_element(expected.begin(), expected.end()));
  EXPECT_NEAR(h.mean(), std::accumulate(expected.begin(), expected.end(), 0.0) / expected.size(),
              1e-15);

  misc::histogram one;
  ASSERT_EQ(shape_qualities(m.pos, parts[1], ET_TETRA4, one), 0);
  EXPECT_EQ(one.count(), parts[1].cols());
}

TEST(ShapeQualities, StatusesInTheirOrder) {
  const dense2D<double> pos = points(3, cube(1, 1, 1));
  const dense2D<unsigned> tet = conn(4, {{0, 1, 3, 4}}), bad = conn(4, {{0, 1, 3, 8}});
  dense1D<double> q(3, 5.0);
  // No measure, even for an empty connectivity and before the node check.
  for (int t :
       std::vector<int>{ET_NONE, ET_NODE, ET_EDGE_MIXED, ET_EDGE3, ET_TRIA6, ET_QUAD8, ET_QUAD9,
                        ET_TETRA10, ET_PYRA14, ET_PENTA18, ET_HEXA20, ET_HEXA27, 21, 1000}) {
    q.resize(3, 5.0);
    EXPECT_EQ(shape_qualities(pos, bad, element_type(t), q), -3) << t;
    EXPECT_EQ(q.size(), 0u);
    EXPECT_EQ(shape_qualities(pos, dense2D<unsigned>(), element_type(t), q), -3) << t;
  }
  // Empty connectivity: 0 and nothing, whatever pos holds.
  q.resize(3, 5.0);
  EXPECT_EQ(shape_qualities(dense2D<double>(), dense2D<unsigned>(0, 4), ET_TETRA4, q), 0);
  EXPECT_EQ(q.size(), 0u);
  // Node out of range (an ID equal to the node count), wrong row count.
  q.resize(3, 5.0);
  EXPECT_EQ(shape_qualities(pos, bad, ET_TETRA4, q), -2);
  EXPECT_EQ(q.size(), 0u);
  EXPECT_EQ(shape_qualities(pos, tet, ET_PYRA5, q), -2);
  EXPECT_EQ(shape_qualities(pos, conn(2, {{0, 8}}), ET_EDGE2, q), -2);
  EXPECT_EQ(shape_qualities(pos, conn(2, {{0, 7}}), ET_EDGE2, q), 0);

  // Range: first above last before the flags; the first failing matrix wins
  // and the values of earlier ones are lost.
  const dense2D<unsigned> group[3] = {tet, bad, conn(4, {{0, 1, 3, 4}})};
  dense1D<int> flags;
  flags.push_back(ET_TETRA4);
  flags.push_back(ET_TETRA4);
  flags.push_back(ET_HEXA20);
  q.resize(3, 5.0);
  EXPECT_EQ(shape_qualities(pos, group + 1, group, flags, q), -3);
  EXPECT_EQ(q.size(), 0u);
  EXPECT_EQ(shape_qualities(pos, group, group + 2, flags, q), -4);
  EXPECT_EQ(shape_qualities(pos, group, group + 3, flags, q), -2);
  EXPECT_EQ(q.size(), 0u);
  flags[1] = ET_TETRA10;
  EXPECT_EQ(shape_qualities(pos, group, group + 3, flags, q), -3);
  flags[1] = ET_TETRA4;
  EXPECT_EQ(shape_qualities(pos, group, group + 1, flags, q), -4);
  dense1D<int> none;
  EXPECT_EQ(shape_qualities(pos, group, group, none, q), 0);
  EXPECT_EQ(q.size(), 0u);

  // A histogram is untouched unless the status is 0.
  misc::histogram h;
  EXPECT_EQ(shape_qualities(pos, group, group + 3, flags, h), -2);
  EXPECT_EQ(shape_qualities(pos, group, group + 2, flags, h), -4);
  EXPECT_EQ(shape_qualities(pos, tet, ET_TETRA10, h), -3);
  EXPECT_EQ(shape_qualities(pos, bad, ET_TETRA4, h), -2);
  EXPECT_EQ(h.count(), 0u);
  EXPECT_EQ(shape_qualities(pos, tet, ET_TETRA4, h), 0);
  EXPECT_EQ(h.count(), 1u);
}

TEST(ShapeQualities, ExhaustedMemoryIsReported) {
  const qz4::support::mesh m = qz4::support::hexa_grid(2, 2, 2);
  const dense2D<unsigned> group[2] = {m.conn, m.conn};
  dense1D<int> flags;
  flags.push_back(ET_HEXA8);
  flags.push_back(ET_HEXA8);
  for (int form = 0; form < 4; ++form) {
    unsigned failures = 0;
    qz4test::for_each_failing_allocation([&](unsigned) {
      dense1D<double> q;
      misc::histogram h;
      int s = 0;
      if (form == 0) s = shape_qualities(m.pos, m.conn, ET_HEXA8, q);
      if (form == 1) s = shape_qualities(m.pos, group, group + 2, flags, q);
      if (form == 2) s = shape_qualities(m.pos, group, group + 2, flags, h);
      if (form == 3) s = shape_qualities(m.pos, m.conn, ET_HEXA8, h);
      if (s == 0) {
        EXPECT_EQ(q.size() + h.count(), (form == 0 || form == 3 ? 8u : 16u));
      } else {
        EXPECT_EQ(s, -199);
        EXPECT_EQ(q.size(), 0u);
        EXPECT_EQ(h.count(), 0u);
        ++failures;
      }
    });
    EXPECT_GT(failures, 0u) << form;
  }
}
