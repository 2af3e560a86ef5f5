// Edge sets: first-met direction and order, appending behind what edges
// holds, groups of connectivities, every kind against a brute-force set.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <utility>
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
typedef std::pair<unsigned, unsigned> edge;

// Oracle: every corner-to-corner edge of every column, as unordered pairs.
std::set<edge> brute_edges(const dense2D<unsigned>& c, element_type type) {
  std::set<edge> s;
  for (unsigned e = 0; e < c.cols(); ++e) {
    const std::vector<unsigned> col = column(c, e);
    element_type shape = type;
    if (type == ET_FACE_MIXED) shape = tessellix::detail::face_shape(col.data());
    if (type == ET_SOLID_MIXED) shape = tessellix::detail::solid_shape(col.data());
    const auto* list = tessellix::detail::edges_of(shape);
    if (!list) continue;
    for (unsigned k = 0; k < list->count; ++k) {
      const unsigned a = col[list->v[k][0]], b = col[list->v[k][1]];
      s.insert({std::min(a, b), std::max(a, b)});
    }
  }
  return s;
}

std::set<edge> as_set(const dense2D<unsigned>& edges, unsigned from = 0) {
  std::set<edge> s;
  for (unsigned j = from; j < edges.cols(); ++j)
    s.insert({std::min(edges(0, j), edges(1, j)), std::max(edges(0, j), edges(1, j))});
  return s;
}

}  // namespace

TEST(CopyEdges, TwoTrianglesInOrderOfFirstMeeting) {
  dense2D<unsigned> edges;
  ASSERT_EQ(copy_edges(columns(3, {{0, 1, 2}, {2, 1, 3}}), ET_TRIA3, edges), 0);
  // The shared edge keeps the direction of the first triangle, 1-2.
  EXPECT_EQ(all_columns(edges), all_columns(columns(2, {{1, 2}, {2, 0}, {0, 1}, {1, 3}, {3, 2}})));

  // Twice on the same matrix: edges is not searched, so it doubles.
  ASSERT_EQ(copy_edges(columns(3, {{0, 1, 2}, {2, 1, 3}}), ET_TRIA3, edges), 0);
  EXPECT_EQ(edges.cols(), 10u);
  EXPECT_EQ(column(edges, 5), (std::vector<unsigned>{1, 2}));
}

TEST(CopyEdges, KindsWithoutEdgesAndHigherOrderKinds) {
  dense2D<unsigned> edges;
  dense2D<unsigned> hexa20(20, 2);
  for (unsigned j = 0; j < 2; ++j)
    for (unsigned i = 0; i < 20; ++i) hexa20(i, j) = 20 * j + i;
  for (element_type t : {ET_HEXA20, ET_NONE, ET_NODE, ET_EDGE_MIXED}) {
    EXPECT_EQ(copy_edges(hexa20, t, edges), 0) << t;
    EXPECT_TRUE(edges.empty()) << t;
  }
  // ET_HEXA27: the 12 edges of the eight corners only.
  dense2D<unsigned> hexa27(27, 1);
  for (unsigned i = 0; i < 27; ++i) hexa27(i, 0) = 100 + i;
  ASSERT_EQ(copy_edges(hexa27, ET_HEXA27, edges), 0);
  EXPECT_EQ(edges.cols(), 12u);
  for (unsigned j = 0; j < 12; ++j) {
    EXPECT_LT(edges(0, j), 108u);
    EXPECT_LT(edges(1, j), 108u);
  }
  // ET_TRIA6, refused by the boundary services, is served here.
  edges.clear();
  ASSERT_EQ(copy_edges(columns(6, {{0, 1, 2, 3, 4, 5}}), ET_TRIA6, edges), 0);
  EXPECT_EQ(all_columns(edges), all_columns(columns(2, {{1, 2}, {2, 0}, {0, 1}})));
  // A 3-row mixed face matrix holds triangles.
  edges.clear();
  ASSERT_EQ(copy_edges(columns(3, {{0, 1, 2}}), ET_FACE_MIXED, edges), 0);
  EXPECT_EQ(edges.cols(), 3u);
}

TEST(CopyEdges, EveryKindMatchesBruteForce) {
  std::vector<support::mesh> meshes = {support::edge_grid(6),
                                       support::tria_grid(4, 3),
                                       support::quad_grid(3, 3),
                                       support::mixed_face_grid(5, 4),
                                       support::tetra_grid(3, 2, 2),
                                       support::pyra_grid(2, 2, 1),
                                       support::penta_grid(2, 3, 2),
                                       support::hexa_grid(3, 2, 2),
                                       support::mixed_solid_grid(3, 3, 3),
                                       support::box_surface(2, 3, 2)};
  for (auto& m : meshes) {
    support::shuffle(m, 31);
    const std::set<edge> expected = brute_edges(m.conn, m.type);
    // Behind two edges already there, which stay in front untouched.
    dense2D<unsigned> edges = columns(2, {{7, 3}, {3, 7}});
    ASSERT_EQ(copy_edges(support::with_gap(m.conn, 2), m.type, edges), 0) << m.type;
    EXPECT_EQ(column(edges, 0), (std::vector<unsigned>{7, 3}));
    EXPECT_EQ(column(edges, 1), (std::vector<unsigned>{3, 7}));
    ASSERT_EQ(edges.cols(), expected.size() + 2) << m.type;  // each edge once
    EXPECT_EQ(as_set(edges, 2), expected) << m.type;
  }
}

TEST(CopyEdges, GroupSharesOneSet) {
  // Two halves of a triangle grid and its quadrangles: the edges on the cut
  // come out once.
  const support::mesh t = support::tria_grid(4, 2);
  const dense2D<unsigned> parts[3] = {t.conn.sub_matrix(0, 0, 3, 8), t.conn.sub_matrix(0, 8, 3, 8),
                                      support::quad_grid(4, 2).conn};
  dense1D<int> flags(3);
  flags[0] = flags[1] = ET_TRIA3;
  flags[2] = ET_QUAD4;
  dense2D<unsigned> edges;
  ASSERT_EQ(copy_edges(parts, parts + 3, flags, edges), 0);
  EXPECT_EQ(as_set(edges), brute_edges(t.conn, ET_TRIA3));
  EXPECT_EQ(edges.cols(), brute_edges(t.conn, ET_TRIA3).size());
  // The first matrix's edges lead, as first met.
  dense2D<unsigned> first;
  ASSERT_EQ(copy_edges(parts[0], ET_TRIA3, first), 0);
  for (unsigned j = 0; j < first.cols(); ++j) EXPECT_EQ(column(edges, j), column(first, j));

  // An empty group.
  dense1D<int> none;
  EXPECT_EQ(copy_edges(parts, parts, none, edges), 0);
}

TEST(CopyEdges, StatusesAndTheirOrder) {
  const dense2D<unsigned> tri = columns(3, {{0, 1, 2}});
  const dense2D<unsigned> bad = columns(4, {{0, X, 1, 2}});
  dense2D<unsigned> three_rows = columns(3, {{1, 2, 3}});
  dense2D<unsigned> edges = columns(2, {{5, 6}});

  // One connectivity: empty first, then check_IDs, then edges.
  EXPECT_EQ(copy_edges(dense2D<unsigned>(3, 0), ET_TRIA3, three_rows), 0);
  EXPECT_EQ(copy_edges(bad, ET_FACE_MIXED, three_rows), -1);
  EXPECT_EQ(copy_edges(tri, ET_TRIA3, three_rows), -3);
  // A mixed solid must have its full eight rows.
  EXPECT_EQ(copy_edges(columns(6, {{0, 1, 2, 3, 4, 5}}), ET_SOLID_MIXED, edges), -1);
  EXPECT_EQ(all_columns(three_rows), all_columns(columns(3, {{1, 2, 3}})));
  EXPECT_EQ(all_columns(edges), all_columns(columns(2, {{5, 6}})));

  // A group: the pointers, the flags, edges, then each matrix.
  const dense2D<unsigned> group[2] = {tri, bad};
  dense1D<int> flags(2);
  flags[0] = ET_TRIA3;
  flags[1] = ET_FACE_MIXED;
  dense1D<int> one_flag(1, int(ET_TRIA3));
  EXPECT_EQ(copy_edges(group + 1, group, flags, three_rows), -2);
  EXPECT_EQ(copy_edges(group, group + 2, one_flag, three_rows), -3);
  EXPECT_EQ(copy_edges(group, group + 2, flags, three_rows), -4);
  EXPECT_EQ(copy_edges(group, group + 2, flags, edges), -1);
  EXPECT_EQ(copy_edges(group, group + 1, one_flag, edges), 0);
  EXPECT_EQ(edges.cols(), 4u);
}

TEST(CopyEdges, OutOfMemoryLeavesEdgesAlone) {
  const dense2D<unsigned> c = support::tria_grid(2, 2).conn;
  const dense2D<unsigned> group[1] = {c};
  const dense1D<int> flags(1, int(ET_TRIA3));
  const dense2D<unsigned> start = columns(2, {{9, 8}});
  for (bool grouped : {false, true}) {
    unsigned failures = 0;
    qz4test::for_each_failing_allocation([&](unsigned) {
      // Sharing its block, `edges` must move to a block of its own to grow.
      dense2D<unsigned> edges = start;
      const int s =
          grouped ? copy_edges(group, group + 1, flags, edges) : copy_edges(c, ET_TRIA3, edges);
      if (s == 0) {
        EXPECT_EQ(edges.cols(), 17u);
      } else {
        EXPECT_EQ(s, -199);
        EXPECT_EQ(all_columns(edges), all_columns(start));
        ++failures;
      }
    });
    EXPECT_EQ(failures, 1u);
    EXPECT_EQ(all_columns(start), all_columns(columns(2, {{9, 8}})));
  }
}

TEST(CopyEdges, LargerMeshesSpreadOverManyPartitions) {
  std::vector<support::mesh> meshes = {support::tetra_grid(8, 8, 8),
                                       support::mixed_solid_grid(6, 6, 5)};
  for (auto& m : meshes) {
    support::shuffle(m, 12);
    dense2D<unsigned> edges;
    ASSERT_EQ(copy_edges(m.conn, m.type, edges), 0);
    const std::set<edge> expected = brute_edges(m.conn, m.type);
    EXPECT_EQ(edges.cols(), expected.size());
    EXPECT_EQ(as_set(edges), expected);
    // First meeting decides order and direction.
    std::set<edge> met;
    unsigned k = 0;
    for (unsigned e = 0; e < m.conn.cols(); ++e) {
      const std::vector<unsigned> col = column(m.conn, e);
      const element_type shape =
          m.type == ET_SOLID_MIXED ? tessellix::detail::solid_shape(col.data()) : m.type;
      const auto* list = tessellix::detail::edges_of(shape);
      for (unsigned j = 0; j < list->count; ++j) {
        const unsigned a = col[list->v[j][0]], b = col[list->v[j][1]];
        if (!met.insert({std::min(a, b), std::max(a, b)}).second) continue;
        ASSERT_LT(k, edges.cols());
        EXPECT_EQ(column(edges, k), (std::vector<unsigned>{a, b}));
        ++k;
      }
    }
  }
}
