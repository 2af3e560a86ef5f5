// Element neighbours: hand-derived links, match rules, statuses, and a
// brute-force pairing by sorted node sets on generated meshes of every kind.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "alloc_seam.h"
#include "core/element_tables.h"
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

// Boundary lists of a column, read from the element tables.
const tessellix::detail::boundary_list& list_of(element_type type, const unsigned* col) {
  if (type == ET_FACE_MIXED)
    return *tessellix::detail::boundaries_of(tessellix::detail::face_shape(col));
  if (type == ET_SOLID_MIXED)
    return *tessellix::detail::boundaries_of(tessellix::detail::solid_shape(col));
  return *tessellix::detail::boundaries_of(type);
}

// Sorted node set of every (element, boundary).
std::map<std::vector<unsigned>, std::vector<std::pair<unsigned, unsigned>>> boundary_groups(
    const dense2D<unsigned>& c, element_type type) {
  std::map<std::vector<unsigned>, std::vector<std::pair<unsigned, unsigned>>> groups;
  for (unsigned e = 0; e < c.cols(); ++e) {
    const std::vector<unsigned> col = column(c, e);
    const auto& list = list_of(type, col.data());
    for (unsigned b = 0; b < list.count; ++b) {
      std::vector<unsigned> key;
      for (unsigned p = 0; p < list.width; ++p)
        if (list.v[b][p] != tessellix::detail::NONE) key.push_back(col[list.v[b][p]]);
      std::sort(key.begin(), key.end());
      groups[key].push_back({e, b});
    }
  }
  return groups;
}

// Checks a neighbour matrix of a conforming mesh against the pairing by
// sorted node sets; returns the number of open boundaries.
unsigned expect_brute_force_links(const dense2D<unsigned>& c, element_type type,
                                  const dense2D<unsigned>& nb, const std::string& what) {
  dense2D<unsigned> expected(nb.rows(), nb.cols(), X);
  unsigned open = 0;
  for (const auto& g : boundary_groups(c, type)) {
    EXPECT_LE(g.second.size(), 2u) << what << ": the generator should be conforming";
    if (g.second.size() == 2) {
      const auto a = g.second[0], b = g.second[1];
      expected(a.second, a.first) = b.first;
      expected(b.second, b.first) = a.first;
    } else {
      ++open;
    }
  }
  EXPECT_EQ(all_columns(nb), all_columns(expected)) << what;
  return open;
}

struct case_t {
  const char* name;
  support::mesh m;
  bool closed;
};

std::vector<case_t> meshes_of_every_kind() {
  return {{"edges", support::edge_grid(7), false},
          {"edge loop", support::edge_loop(9), true},
          {"triangles", support::tria_grid(4, 3), false},
          {"quadrangles", support::quad_grid(4, 3), false},
          {"mixed faces", support::mixed_face_grid(5, 4), false},
          {"tetrahedra", support::tetra_grid(3, 2, 2), false},
          {"pyramids", support::pyra_grid(2, 2, 2), false},
          {"wedges", support::penta_grid(3, 2, 2), false},
          {"hexahedra", support::hexa_grid(3, 2, 2), false},
          {"mixed solids", support::mixed_solid_grid(3, 3, 3), false},
          {"triangle box", support::box_surface(3, 2, 4), true},
          {"quadrangle box", support::box_surface(2, 3, 2, ET_QUAD4), true},
          {"mixed box", support::box_surface(4, 3, 3, ET_FACE_MIXED), true}};
}

}  // namespace

TEST(Neighbors, MatchBruteForcePairingOnEveryKind) {
  for (auto& t : meshes_of_every_kind()) {
    support::shuffle(t.m, 2024);
    const dense2D<unsigned>& c = t.m.conn;
    dense2D<unsigned> nb, nb_true, nb_gap;
    ASSERT_EQ(get_neighbors(c, t.m.type, false, nb), 0) << t.name;
    const unsigned open = expect_brute_force_links(c, t.m.type, nb, t.name);
    if (t.closed) {
      EXPECT_EQ(open, 0u) << t.name;
      if (t.m.type != ET_FACE_MIXED) {  // triangles keep row 3 open
        EXPECT_EQ(qz4test::real_entries(nb), std::size_t(nb.rows()) * nb.cols()) << t.name;
      }
    } else {
      EXPECT_GT(open, 0u) << t.name;
    }
    // The flag matters on non-manifold boundaries only, and a view with a gap
    // between its columns reads as its compact copy.
    ASSERT_EQ(get_neighbors(c, t.m.type, true, nb_true), 0);
    EXPECT_EQ(all_columns(nb_true), all_columns(nb)) << t.name;
    ASSERT_EQ(get_neighbors(support::with_gap(c, 3), t.m.type, false, nb_gap), 0);
    EXPECT_EQ(all_columns(nb_gap), all_columns(nb)) << t.name;
  }
}

TEST(Neighbors, SharedEdgeInEitherDirection) {
  dense2D<unsigned> nb;
  // Opposite directions, as in a consistently oriented surface.
  ASSERT_EQ(get_neighbors(columns(3, {{0, 1, 2}, {2, 1, 3}}), ET_TRIA3, false, nb), 0);
  EXPECT_EQ(all_columns(nb), all_columns(columns(3, {{1, X, X}, {X, X, 0}})));
  // The same direction.
  ASSERT_EQ(get_neighbors(columns(3, {{0, 1, 2}, {1, 2, 3}}), ET_TRIA3, false, nb), 0);
  EXPECT_EQ(all_columns(nb), all_columns(columns(3, {{1, X, X}, {X, X, 0}})));
}

TEST(Neighbors, NonManifoldEdgeWithBothFlags) {
  // Four triangles on the edge 0-1: boundary 2 of elements 0, 2 and 3,
  // boundary 1 of element 1. No other edge is shared.
  const dense2D<unsigned> c = columns(3, {{0, 1, 2}, {1, 3, 0}, {0, 1, 4}, {1, 0, 5}});
  dense2D<unsigned> nb;
  ASSERT_EQ(get_neighbors(c, ET_TRIA3, false, nb), 0);
  EXPECT_EQ(qz4test::real_entries(nb), 0u);
  // With the flag the two lowest elements are linked; the third and fourth
  // are used up with them, and so are not linked to each other.
  ASSERT_EQ(get_neighbors(c, ET_TRIA3, true, nb), 0);
  EXPECT_EQ(all_columns(nb), all_columns(columns(3, {{X, X, 1},  //
                                                     {X, 0, X},  //
                                                     {X, X, X},  //
                                                     {X, X, X}})));

  // Three triangles: none linked, or the first two.
  const dense2D<unsigned> three = columns(3, {{0, 1, 2}, {1, 0, 3}, {0, 1, 4}});
  ASSERT_EQ(get_neighbors(three, ET_TRIA3, false, nb), 0);
  EXPECT_EQ(qz4test::real_entries(nb), 0u);
  ASSERT_EQ(get_neighbors(three, ET_TRIA3, true, nb), 0);
  EXPECT_EQ(all_columns(nb), all_columns(columns(3, {{X, X, 1}, {X, X, 0}, {X, X, X}})));
}

TEST(Neighbors, EdgeRowsNameTheOppositeNode) {
  // 5-6-7 as two edges given in opposite directions, and a dangling 7-8.
  dense2D<unsigned> nb;
  ASSERT_EQ(get_neighbors(columns(2, {{5, 6}, {7, 6}, {7, 8}}), ET_EDGE2, false, nb), 0);
  // Row 0 is the neighbour at local node 1, row 1 at local node 0. Node 7 is
  // shared by elements 1 and 2 only.
  EXPECT_EQ(all_columns(nb), all_columns(columns(2, {{1, X}, {0, 2}, {X, 1}})));
}

TEST(Neighbors, ThreeRowMixedFacesAreTriangles) {
  dense2D<unsigned> nb;
  ASSERT_EQ(get_neighbors(columns(3, {{0, 1, 2}, {2, 1, 3}}), ET_FACE_MIXED, false, nb), 0);
  EXPECT_EQ(nb.rows(), 3u);
  EXPECT_EQ(all_columns(nb), all_columns(columns(3, {{1, X, X}, {X, X, 0}})));
}

TEST(Neighbors, MixedFacesTriangleRowThreeStaysOpen) {
  // A quadrangle and a triangle on the edge 1-2.
  dense2D<unsigned> nb;
  ASSERT_EQ(get_neighbors(columns(4, {{0, 1, 2, 3}, {2, 1, 4}}), ET_FACE_MIXED, false, nb), 0);
  EXPECT_EQ(all_columns(nb), all_columns(columns(4, {{X, 1, X, X}, {X, X, 0, X}})));
}

TEST(Neighbors, PyramidAndTetrahedronShareATriangle) {
  // Pyramid face 1 is (1,4,2); the tetrahedron (2,1,4,5) has it as face 3,
  // (2,1,0) in local numbers, listed the other way round.
  const dense2D<unsigned> c = columns(8, {{0, 1, 2, 3, 4}, {2, 1, 4, 5}});
  dense2D<unsigned> nb;
  ASSERT_EQ(get_neighbors(c, ET_SOLID_MIXED, false, nb), 0);
  EXPECT_EQ(all_columns(nb), all_columns(columns(6, {{X, 1, X, X, X, X},  //
                                                     {X, X, X, 0, X, X}})));
}

TEST(Neighbors, QuadrangleMatchRule) {
  // Pyramid bases (row 4) against the base of pyramid 0, (0,1,2,3).
  // Pyramid 1: a rotation; 2: a reversal; 3: the same nodes in another
  // cycle. Apices differ so that no triangle is shared.
  const dense2D<unsigned> c =
      columns(5, {{0, 1, 2, 3, 10}, {2, 3, 0, 1, 11}, {3, 2, 1, 0, 12}, {0, 2, 1, 3, 13}});
  dense2D<unsigned> nb;
  ASSERT_EQ(get_neighbors(c, ET_PYRA5, true, nb), 0);
  // Three bases match: with the flag, 0 and 1 are linked, 2 is left open.
  EXPECT_EQ(nb(4, 0), 1u);
  EXPECT_EQ(nb(4, 1), 0u);
  EXPECT_EQ(nb(4, 2), X);
  EXPECT_EQ(nb(4, 3), X);
  ASSERT_EQ(get_neighbors(c, ET_PYRA5, false, nb), 0);
  EXPECT_EQ(qz4test::real_entries(nb), 0u);

  // Alignment at the first smallest node: (1,2,3,1) and its rotation
  // (1,1,2,3) are no match, while (1,1,2,3) and (3,1,1,2) are. All three
  // hash alike and share a bucket.
  const dense2D<unsigned> d = columns(5, {{1, 2, 3, 1, 10}, {1, 1, 2, 3, 11}, {3, 1, 1, 2, 12}});
  ASSERT_EQ(get_neighbors(d, ET_PYRA5, false, nb), 0);
  EXPECT_EQ(nb(4, 0), X);
  EXPECT_EQ(nb(4, 1), 2u);
  EXPECT_EQ(nb(4, 2), 1u);
}

TEST(Neighbors, TriangleNeverMatchesQuadrangle) {
  // A pure pyramid kind lets NO_ID through: pyramid 0 has the base
  // (NO_ID, 1, 2, 3), a quadrangle, and pyramid 1 the triangle (1, 2, 3) as
  // its face 0. Same nodes, same hash, same bucket, and yet no match.
  const dense2D<unsigned> c = columns(5, {{X, 1, 2, 3, 4}, {1, 3, 7, 8, 2}});
  dense2D<unsigned> nb;
  ASSERT_EQ(get_neighbors(c, ET_PYRA5, false, nb), 0);
  EXPECT_EQ(qz4test::real_entries(nb), 0u);
  // The same triangle as a face of a third pyramid does match.
  const dense2D<unsigned> d = columns(5, {{X, 1, 2, 3, 4}, {1, 3, 7, 8, 2}, {2, 1, 9, 10, 3}});
  ASSERT_EQ(get_neighbors(d, ET_PYRA5, false, nb), 0);
  EXPECT_EQ(nb(4, 0), X);
  EXPECT_EQ(nb(0, 1), 2u);
  EXPECT_EQ(nb(0, 2), 1u);
}

TEST(Neighbors, TriangleWithRepeatedNodeNamesItself) {
  // (0,1,1): boundary 1 is (1,0) and boundary 2 is (0,1).
  dense2D<unsigned> nb;
  ASSERT_EQ(get_neighbors(columns(3, {{0, 1, 1}}), ET_TRIA3, false, nb), 0);
  EXPECT_EQ(column(nb, 0), (std::vector<unsigned>{X, 0, 0}));
}

TEST(Neighbors, StatusesAndTheirOrder) {
  dense2D<unsigned> nb(2, 2, 7u);
  // Empty first, whatever the kind.
  EXPECT_EQ(get_neighbors(dense2D<unsigned>(4, 0), ET_TRIA6, false, nb), 0);
  EXPECT_TRUE(nb.empty());
  // Bad padding of a mixed kind fails check_IDs.
  nb = dense2D<unsigned>(2, 2, 7u);
  EXPECT_EQ(get_neighbors(columns(4, {{0, 1, X, 2}}), ET_FACE_MIXED, false, nb), -1);
  EXPECT_TRUE(nb.empty());
  EXPECT_EQ(get_neighbors(columns(5, {{0, 1, 2, 3, 4}}), ET_FACE_MIXED, false, nb), -1);
  // Kinds not served, even with a row count that no kind would accept.
  for (element_type t : {ET_TRIA6, ET_TETRA10, ET_EDGE3, ET_NODE, ET_EDGE_MIXED, ET_HEXA20}) {
    EXPECT_EQ(get_neighbors(columns(3, {{0, 1, 2}}), t, false, nb), -2) << t;
  }
  // Row counts: a 4-row mixed solid passes check_IDs, a 6-row hexahedron
  // passes it for a pure kind; both are refused by the row test.
  EXPECT_EQ(get_neighbors(columns(4, {{0, 1, 2, 3}}), ET_SOLID_MIXED, false, nb), -1);
  EXPECT_EQ(get_neighbors(columns(6, {{0, 1, 2, 3, 4, 5}}), ET_HEXA8, false, nb), -1);
  EXPECT_EQ(get_neighbors(columns(5, {{0, 1, 2, 3, 4}}), ET_PENTA6, false, nb), -1);
  EXPECT_TRUE(nb.empty());
}

TEST(Neighbors, OutOfMemoryForTheResult) {
  const dense2D<unsigned> c = support::tria_grid(2, 2).conn;
  dense2D<unsigned> ref;
  ASSERT_EQ(get_neighbors(c, ET_TRIA3, false, ref), 0);
  unsigned failures = 0;
  qz4test::for_each_failing_allocation([&](unsigned) {
    dense2D<unsigned> nb;
    const int s = get_neighbors(c, ET_TRIA3, false, nb);
    if (s == 0) {
      EXPECT_EQ(all_columns(nb), all_columns(ref));
    } else {
      EXPECT_EQ(s, -199);
      EXPECT_TRUE(nb.empty());
      ++failures;
    }
  });
  EXPECT_EQ(failures, 1u);
}

TEST(Neighbors, LargerMeshesSpreadOverManyPartitions) {
  // Enough boundaries for several thousand buckets, so that the bucket table
  // is split and each part grows by several blocks.
  std::vector<support::mesh> meshes = {support::tetra_grid(8, 8, 8),
                                       support::box_surface(20, 20, 20),
                                       support::mixed_solid_grid(6, 6, 5)};
  for (auto& m : meshes) {
    support::shuffle(m, 99);
    dense2D<unsigned> nb;
    ASSERT_EQ(get_neighbors(m.conn, m.type, false, nb), 0);
    expect_brute_force_links(m.conn, m.type, nb, "large");
  }
  support::mesh s = support::box_surface(20, 20, 20);
  support::shuffle(s, 7);
  // Three extra triangles on boundary 0 of triangle 0, the edge (a, b): a
  // non-manifold edge of five sides among many ordinary ones.
  const unsigned a = s.conn(1, 0), b = s.conn(2, 0), base = s.pos.cols();
  dense2D<unsigned> c(3, s.conn.cols() + 3);
  for (unsigned j = 0; j < s.conn.cols(); ++j)
    for (unsigned i = 0; i < 3; ++i) c(i, j) = s.conn(i, j);
  for (unsigned k = 0; k < 3; ++k) {
    c(0, s.conn.cols() + k) = base + k;
    c(1, s.conn.cols() + k) = a;
    c(2, s.conn.cols() + k) = b;
  }
  // Element 0's boundary 0 is (a, b); its other side is the lowest other
  // original triangle on it.
  dense2D<unsigned> open, paired;
  ASSERT_EQ(get_neighbors(c, ET_TRIA3, false, open), 0);
  ASSERT_EQ(get_neighbors(c, ET_TRIA3, true, paired), 0);
  unsigned other = X;
  for (unsigned e = 1; e < s.conn.cols() && other == X; ++e)
    for (unsigned r = 0; r < 3; ++r) {
      const unsigned u = c(r, e), v = c((r + 1) % 3, e);
      if ((u == a && v == b) || (u == b && v == a)) other = e;
    }
  ASSERT_NE(other, X);
  EXPECT_EQ(open(0, 0), X);
  EXPECT_EQ(paired(0, 0), other);
  for (unsigned k = 0; k < 3; ++k) {
    EXPECT_EQ(open(0, s.conn.cols() + k), X);
    EXPECT_EQ(paired(0, s.conn.cols() + k), X);
  }
  // Everything off that edge is as before.
  dense2D<unsigned> plain;
  ASSERT_EQ(get_neighbors(s.conn, ET_TRIA3, false, plain), 0);
  unsigned differ = 0;
  for (unsigned e = 0; e < s.conn.cols(); ++e)
    for (unsigned r = 0; r < 3; ++r) differ += open(r, e) != plain(r, e);
  EXPECT_EQ(differ, 2u);  // both sides of the edge (a, b) lost their link
}
