// Element and mesh boundaries: hand-derived matrices, the open boundary of
// boxes, non-manifold edges, statuses and memory failures.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <vector>

#include "alloc_seam.h"
#include "qz4/tessellix/topology.h"
#include "structured_mesh.h"
#include "topology_test_util.h"

using namespace qz4;
using namespace qz4::tessellix;
using qz4test::all_columns;
using qz4test::column;
using qz4test::columns;

namespace {

constexpr unsigned X = NO_ID;

dense2D<unsigned> mesh_boundaries(const support::mesh& m, bool pair_first_two = false) {
  dense2D<unsigned> nb, out;
  EXPECT_EQ(get_neighbors(m.conn, m.type, pair_first_two, nb), 0);
  EXPECT_EQ(get_mesh_boundaries(m.conn, nb, m.type, out), 0);
  return out;
}

// Node sets of the element boundaries that occur once.
std::vector<std::vector<unsigned>> lone_boundaries(const dense2D<unsigned>& all) {
  std::map<std::vector<unsigned>, unsigned> seen;
  std::vector<std::vector<unsigned>> sets;
  for (unsigned j = 0; j < all.cols(); ++j) {
    std::vector<unsigned> s = column(all, j);
    std::sort(s.begin(), s.end());
    sets.push_back(s);
    ++seen[s];
  }
  std::vector<std::vector<unsigned>> lone;
  for (const auto& s : sets)
    if (seen[s] == 1) lone.push_back(s);
  return lone;
}

}  // namespace

TEST(ElementBoundaries, HandExamples) {
  dense2D<unsigned> b;
  // Boundary 0 of an edge is the node opposite local node 0.
  ASSERT_EQ(get_element_boundaries(columns(2, {{5, 6}}), ET_EDGE2, b), 0);
  EXPECT_EQ(all_columns(b), all_columns(columns(1, {{6}, {5}})));

  ASSERT_EQ(get_element_boundaries(columns(5, {{0, 1, 2, 3, 4}}), ET_PYRA5, b), 0);
  EXPECT_EQ(all_columns(b),
            all_columns(columns(4, {{0, 4, 1}, {1, 4, 2}, {2, 4, 3}, {3, 4, 0}, {0, 1, 2, 3}})));

  // Element e's boundary b is column e * 4 + b.
  ASSERT_EQ(get_element_boundaries(columns(4, {{0, 1, 2, 3}, {10, 11, 12, 13}}), ET_TETRA4, b), 0);
  EXPECT_EQ(all_columns(b), all_columns(columns(3, {{1, 2, 3},
                                                    {2, 0, 3},
                                                    {1, 3, 0},
                                                    {2, 1, 0},
                                                    {11, 12, 13},
                                                    {12, 10, 13},
                                                    {11, 13, 10},
                                                    {12, 11, 10}})));

  ASSERT_EQ(get_element_boundaries(columns(6, {{0, 1, 2, 3, 4, 5}}), ET_PENTA6, b), 0);
  EXPECT_EQ(
      all_columns(b),
      all_columns(columns(4, {{0, 1, 2}, {3, 5, 4}, {2, 1, 4, 5}, {5, 3, 0, 2}, {0, 3, 4, 1}})));
}

TEST(ElementBoundaries, MixedKindsFollowEachColumn) {
  dense2D<unsigned> b;
  // A triangle then a quadrangle: 3 + 4 edges.
  ASSERT_EQ(get_element_boundaries(columns(4, {{7, 8, 9}, {0, 1, 2, 3}}), ET_FACE_MIXED, b), 0);
  EXPECT_EQ(all_columns(b),
            all_columns(columns(2, {{8, 9}, {9, 7}, {7, 8}, {0, 1}, {1, 2}, {2, 3}, {3, 0}})));
  // A 3-row mixed face matrix is a triangle matrix.
  ASSERT_EQ(get_element_boundaries(columns(3, {{7, 8, 9}}), ET_FACE_MIXED, b), 0);
  EXPECT_EQ(all_columns(b), all_columns(columns(2, {{8, 9}, {9, 7}, {7, 8}})));

  // Tetrahedron, hexahedron, wedge, pyramid: 4 + 6 + 5 + 5 faces of 4 rows.
  const dense2D<unsigned> s = columns(8, {{0, 1, 2, 3},
                                          {10, 11, 12, 13, 14, 15, 16, 17},
                                          {20, 21, 22, 23, 24, 25},
                                          {30, 31, 32, 33, 34}});
  ASSERT_EQ(get_element_boundaries(s, ET_SOLID_MIXED, b), 0);
  ASSERT_EQ(b.rows(), 4u);
  ASSERT_EQ(b.cols(), 20u);
  EXPECT_EQ(column(b, 0), (std::vector<unsigned>{1, 2, 3, X}));
  EXPECT_EQ(column(b, 3), (std::vector<unsigned>{2, 1, 0, X}));
  EXPECT_EQ(column(b, 4), (std::vector<unsigned>{10, 13, 17, 14}));
  EXPECT_EQ(column(b, 9), (std::vector<unsigned>{14, 17, 16, 15}));
  EXPECT_EQ(column(b, 10), (std::vector<unsigned>{20, 21, 22, X}));
  EXPECT_EQ(column(b, 14), (std::vector<unsigned>{20, 23, 24, 21}));
  EXPECT_EQ(column(b, 15), (std::vector<unsigned>{30, 34, 31, X}));
  EXPECT_EQ(column(b, 19), (std::vector<unsigned>{30, 31, 32, 33}));
}

TEST(MeshBoundaries, ClosedSurfacesHaveNone) {
  for (element_type t : {ET_TRIA3, ET_QUAD4, ET_FACE_MIXED}) {
    support::mesh m = support::box_surface(3, 2, 2, t);
    support::shuffle(m, 5);
    dense2D<unsigned> b = mesh_boundaries(m);
    EXPECT_TRUE(b.empty()) << t;
  }
  dense2D<unsigned> b = mesh_boundaries(support::edge_loop(6));
  EXPECT_TRUE(b.empty());
}

TEST(MeshBoundaries, OpenBoundaryOfBoxes) {
  // A 3 x 2 x 2 box has 2 (6 + 4 + 6) = 32 cells on its faces.
  struct expect_t {
    support::mesh m;
    unsigned faces;
  };
  std::vector<expect_t> cases = {{support::hexa_grid(3, 2, 2), 32},
                                 {support::tetra_grid(3, 2, 2), 64},
                                 {support::pyra_grid(3, 2, 2), 32},
                                 // two triangles on the top and bottom cells, quadrangles around
                                 {support::penta_grid(3, 2, 2), 2 * 2 * 6 + 2 * (4 + 6)},
                                 {support::quad_grid(4, 3), 14},
                                 {support::tria_grid(4, 3), 14},
                                 {support::mixed_face_grid(4, 3), 14},
                                 {support::edge_grid(5), 2}};
  for (auto& c : cases) {
    support::shuffle(c.m, 77);
    const dense2D<unsigned> b = mesh_boundaries(c.m);
    EXPECT_EQ(b.cols(), c.faces) << c.m.type;
    // The same faces as those met once among all element boundaries.
    dense2D<unsigned> all;
    ASSERT_EQ(get_element_boundaries(c.m.conn, c.m.type, all), 0);
    std::vector<std::vector<unsigned>> got;
    for (unsigned j = 0; j < b.cols(); ++j) {
      std::vector<unsigned> s = column(b, j);
      std::sort(s.begin(), s.end());
      got.push_back(s);
    }
    auto lone = lone_boundaries(all);
    std::sort(got.begin(), got.end());
    std::sort(lone.begin(), lone.end());
    EXPECT_EQ(got, lone) << c.m.type;
  }
}

TEST(MeshBoundaries, MixedSolidsAndViews) {
  support::mesh m = support::mixed_solid_grid(3, 3, 2);
  support::shuffle(m, 9);
  dense2D<unsigned> nb, all, b, bg;
  ASSERT_EQ(get_neighbors(m.conn, ET_SOLID_MIXED, false, nb), 0);
  ASSERT_EQ(get_element_boundaries(m.conn, ET_SOLID_MIXED, all), 0);
  ASSERT_EQ(get_mesh_boundaries(m.conn, nb, ET_SOLID_MIXED, b), 0);
  EXPECT_EQ(b.cols(), lone_boundaries(all).size());
  // Views with gaps below their columns, for both inputs.
  ASSERT_EQ(get_mesh_boundaries(support::with_gap(m.conn, 2), support::with_gap(nb, 1),
                                ET_SOLID_MIXED, bg),
            0);
  EXPECT_EQ(all_columns(bg), all_columns(b));
  ASSERT_EQ(get_element_boundaries(support::with_gap(m.conn, 5), ET_SOLID_MIXED, bg), 0);
  EXPECT_EQ(all_columns(bg), all_columns(all));
}

TEST(MeshBoundaries, KeepElementOrderAndOrientation) {
  // Two tetrahedra on the face (1,2,3): each keeps its own three faces, in
  // element order then local order, nodes as the local lists give them.
  const dense2D<unsigned> c = columns(4, {{0, 1, 2, 3}, {4, 3, 2, 1}});
  dense2D<unsigned> nb, b;
  ASSERT_EQ(get_neighbors(c, ET_TETRA4, false, nb), 0);
  ASSERT_EQ(get_mesh_boundaries(c, nb, ET_TETRA4, b), 0);
  EXPECT_EQ(
      all_columns(b),
      all_columns(columns(3, {{2, 0, 3}, {1, 3, 0}, {2, 1, 0}, {2, 4, 1}, {3, 1, 4}, {2, 3, 4}})));
}

TEST(MeshBoundaries, NonManifoldEdgeComesOutOncePerElement) {
  // Three triangles on the edge 0-1 (boundary 2 of each).
  const dense2D<unsigned> c = columns(3, {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}});
  dense2D<unsigned> nb, b;
  ASSERT_EQ(get_neighbors(c, ET_TRIA3, false, nb), 0);
  ASSERT_EQ(get_mesh_boundaries(c, nb, ET_TRIA3, b), 0);
  EXPECT_EQ(all_columns(b),
            all_columns(columns(
                2, {{1, 2}, {2, 0}, {0, 1}, {0, 3}, {3, 1}, {1, 0}, {1, 4}, {4, 0}, {0, 1}})));
  ASSERT_EQ(get_neighbors(c, ET_TRIA3, true, nb), 0);
  ASSERT_EQ(get_mesh_boundaries(c, nb, ET_TRIA3, b), 0);
  EXPECT_EQ(b.cols(), 7u);
  EXPECT_EQ(column(b, 6), (std::vector<unsigned>{0, 1}));
}

TEST(MeshBoundaries, RowsBehindAColumnsOwnCountAreNotRead) {
  // A hand-made neighbour matrix: a tetrahedron whose rows 4 and 5 hold
  // NO_ID, and a pyramid with a stray ID in row 5.
  const dense2D<unsigned> c = columns(8, {{0, 1, 2, 3}, {4, 5, 6, 7, 8}});
  const dense2D<unsigned> nb = columns(6, {{1, 1, 1, 1, X, X}, {0, 0, 0, 0, 0, X}});
  dense2D<unsigned> b;
  ASSERT_EQ(get_mesh_boundaries(c, nb, ET_SOLID_MIXED, b), 0);
  EXPECT_TRUE(b.empty());
}

TEST(Boundaries, StatusesAndTheirOrder) {
  dense2D<unsigned> b(2, 2, 1u);
  const dense2D<unsigned> tri = columns(3, {{0, 1, 2}});
  dense2D<unsigned> nb3(3, 1, X);

  EXPECT_EQ(get_element_boundaries(dense2D<unsigned>(0, 3), ET_NONE, b), 0);
  EXPECT_TRUE(b.empty());
  EXPECT_EQ(get_mesh_boundaries(dense2D<unsigned>(3, 0), nb3, ET_NONE, b), 0);

  // check_IDs first, then the kind, then the rows, then the neighbours.
  const dense2D<unsigned> bad_face = columns(4, {{0, X, 1, 2}});
  EXPECT_EQ(get_element_boundaries(bad_face, ET_FACE_MIXED, b), -1);
  EXPECT_EQ(get_mesh_boundaries(bad_face, dense2D<unsigned>(), ET_FACE_MIXED, b), -1);
  EXPECT_EQ(get_element_boundaries(tri, ET_TRIA6, b), -2);
  EXPECT_EQ(get_mesh_boundaries(tri, dense2D<unsigned>(), ET_TRIA6, b), -2);
  EXPECT_EQ(get_element_boundaries(tri, ET_QUAD4, b), -1);
  EXPECT_EQ(get_mesh_boundaries(tri, dense2D<unsigned>(), ET_QUAD4, b), -1);
  EXPECT_EQ(get_element_boundaries(columns(4, {{0, 1, 2, 3}}), ET_SOLID_MIXED, b), -1);
  EXPECT_EQ(get_mesh_boundaries(tri, dense2D<unsigned>(4, 1, X), ET_TRIA3, b), -2);
  EXPECT_EQ(get_mesh_boundaries(tri, dense2D<unsigned>(3, 2, X), ET_TRIA3, b), -2);
  EXPECT_TRUE(b.empty());
  // A 3-row mixed face matrix takes 3-row neighbours.
  EXPECT_EQ(get_mesh_boundaries(tri, nb3, ET_FACE_MIXED, b), 0);
  EXPECT_EQ(b.cols(), 3u);
}

TEST(Boundaries, OutOfMemory) {
  const support::mesh m = support::mixed_face_grid(3, 3);
  dense2D<unsigned> nb, ref_all, ref_open;
  ASSERT_EQ(get_neighbors(m.conn, m.type, false, nb), 0);
  ASSERT_EQ(get_element_boundaries(m.conn, m.type, ref_all), 0);
  ASSERT_EQ(get_mesh_boundaries(m.conn, nb, m.type, ref_open), 0);
  for (bool open : {false, true}) {
    unsigned failures = 0;
    qz4test::for_each_failing_allocation([&](unsigned) {
      dense2D<unsigned> b;
      const int s = open ? get_mesh_boundaries(m.conn, nb, m.type, b)
                         : get_element_boundaries(m.conn, m.type, b);
      if (s == 0) {
        EXPECT_EQ(all_columns(b), all_columns(open ? ref_open : ref_all));
      } else {
        EXPECT_EQ(s, -199);
        EXPECT_TRUE(b.empty());
        ++failures;
      }
    });
    EXPECT_EQ(failures, 1u);
  }
}
