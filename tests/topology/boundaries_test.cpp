// Element and mesh boundaries: hand-derived matrices, every kind against the
// local boundary lists and the neighbour matrix, statuses and memory failures.
#include "topology_test_util.h"

using namespace qz4test;

TEST(Boundaries, HandExamples) {
  // clang-format off
  // The element boundaries when nb is empty, else the mesh boundaries.
  struct { element_type type; dense2D<unsigned> c, nb, want; } cases[] = {
      // Boundary 0 of an edge is the node opposite local node 0.
      {ET_EDGE2, conn(2, {{5, 6}}), {}, conn(1, {{6}, {5}})},
      // A triangle then a quadrangle; a 3-row mixed face matrix holds triangles.
      {ET_FACE_MIXED, conn(4, {{7, 8, 9}, {0, 1, 2, 3}}), {},
       conn(2, {{8, 9}, {9, 7}, {7, 8}, {0, 1}, {1, 2}, {2, 3}, {3, 0}})},
      {ET_FACE_MIXED, conn(3, {{7, 8, 9}}), {}, conn(2, {{8, 9}, {9, 7}, {7, 8}})},
      // Tetrahedron, hexahedron, wedge, pyramid: 4 + 6 + 5 + 5 faces of 4 rows.
      {ET_SOLID_MIXED, conn(8, {{0, 1, 2, 3}, {10, 11, 12, 13, 14, 15, 16, 17}, {20, 21, 22, 23, 24, 25}, {30, 31, 32, 33, 34}}), {},
       conn(4, {{1, 2, 3}, {2, 0, 3}, {1, 3, 0}, {2, 1, 0},
                   {10, 13, 17, 14}, {11, 15, 16, 12}, {10, 14, 15, 11}, {13, 12, 16, 17}, {10, 11, 12, 13}, {14, 17, 16, 15},
                   {20, 21, 22}, {23, 25, 24}, {22, 21, 24, 25}, {25, 23, 20, 22}, {20, 23, 24, 21},
                   {30, 34, 31}, {31, 34, 32}, {32, 34, 33}, {33, 34, 30}, {30, 31, 32, 33}})},
      // The open boundary. Two tetrahedra on the face (1,2,3): each keeps its
      // other faces, in element then local order, with its orientation.
      {ET_TETRA4, conn(4, {{0, 1, 2, 3}, {4, 3, 2, 1}}), conn(4, {{1}, {0}}),
       conn(3, {{2, 0, 3}, {1, 3, 0}, {2, 1, 0}, {2, 4, 1}, {3, 1, 4}, {2, 3, 4}})},
      // Three triangles on the edge 0-1: once per element, or but once when
      // the first two are paired.
      {ET_TRIA3, conn(3, {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}}), conn(3, {{}, {}, {}}),
       conn(2, {{1, 2}, {2, 0}, {0, 1}, {0, 3}, {3, 1}, {1, 0}, {1, 4}, {4, 0}, {0, 1}})},
      {ET_TRIA3, conn(3, {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}}), conn(3, {{X, X, 1}, {X, X, 0}, {}}),
       conn(2, {{1, 2}, {2, 0}, {0, 3}, {3, 1}, {1, 4}, {4, 0}, {0, 1}})},
      // Rows behind a column's own count are not read.
      {ET_SOLID_MIXED, conn(8, {{0, 1, 2, 3}, {4, 5, 6, 7, 8}}), conn(6, {{1, 1, 1, 1, X, X}, {0, 0, 0, 0, 0, X}}), {}},
      // A 3-row mixed face matrix takes 3-row neighbours.
      {ET_FACE_MIXED, conn(3, {{0, 1, 2}}), conn(3, {{}}), conn(2, {{1, 2}, {2, 0}, {0, 1}})}};
  // clang-format on
  for (const auto& t : cases) {
    dense2D<unsigned> b;
    ASSERT_EQ(t.nb.empty() ? get_element_boundaries(t.c, t.type, b)
                           : get_mesh_boundaries(t.c, t.nb, t.type, b),
              0);
    EXPECT_EQ(all_columns(b), all_columns(t.want)) << t.type;
  }
}

TEST(Boundaries, EveryKindFollowsTheListsAndTheNeighbours) {
  for (const support::mesh& m : every_kind(77, false)) {
    dense2D<unsigned> nb, all, open;
    ASSERT_EQ(get_neighbors(m.conn, m.type, false, nb), 0);
    ASSERT_EQ(get_element_boundaries(support::with_gap(m.conn, 5), m.type, all), 0);
    ASSERT_EQ(
        get_mesh_boundaries(support::with_gap(m.conn, 2), support::with_gap(nb, 1), m.type, open),
        0);
    id_table want_all, want_open;
    for (unsigned e = 0; e < m.conn.cols(); ++e) {
      const id_table own = boundary_nodes(m.conn.sub_matrix(0, e, m.conn.rows(), 1), m.type);
      for (unsigned b = 0; b < own.size(); ++b) {
        want_all.push_back(own[b]);
        want_all.back().resize(all.rows(), X);
        if (nb(b, e) == X) want_open.push_back(want_all.back());
      }
    }
    EXPECT_EQ(all_columns(all), want_all) << m.type;
    EXPECT_EQ(all_columns(open), want_open) << m.type;
  }
}

TEST(Boundaries, StatusesAndTheirOrder) {
  dense2D<unsigned> b(2, 2, 1u), none;
  const dense2D<unsigned> tri = conn(3, {{0, 1, 2}}), bad_face = conn(4, {{0, X, 1, 2}});
  EXPECT_EQ(get_element_boundaries(dense2D<unsigned>(0, 3), ET_NONE, b), 0);
  EXPECT_TRUE(b.empty());
  EXPECT_EQ(get_mesh_boundaries(dense2D<unsigned>(3, 0), conn(3, {{}}), ET_NONE, b), 0);
  // check_IDs first, then the kind, then the rows, then the neighbours.
  EXPECT_EQ(get_element_boundaries(bad_face, ET_FACE_MIXED, b), -1);
  EXPECT_EQ(get_mesh_boundaries(bad_face, none, ET_FACE_MIXED, b), -1);
  EXPECT_EQ(get_element_boundaries(tri, ET_TRIA6, b), -2);
  EXPECT_EQ(get_mesh_boundaries(tri, none, ET_TRIA6, b), -2);
  EXPECT_EQ(get_element_boundaries(tri, ET_QUAD4, b), -1);
  EXPECT_EQ(get_mesh_boundaries(tri, none, ET_QUAD4, b), -1);
  EXPECT_EQ(get_element_boundaries(conn(4, {{0, 1, 2, 3}}), ET_SOLID_MIXED, b), -1);
  EXPECT_EQ(get_mesh_boundaries(tri, dense2D<unsigned>(4, 1, X), ET_TRIA3, b), -2);
  EXPECT_EQ(get_mesh_boundaries(tri, dense2D<unsigned>(3, 2, X), ET_TRIA3, b), -2);
  EXPECT_TRUE(b.empty());
}
