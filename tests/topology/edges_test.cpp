// Edge sets: first-met direction and order, appending behind what `edges`
// holds, groups of connectivities, every kind against a brute-force walk.
#include "topology_test_util.h"

using namespace qz4test;

TEST(CopyEdges, HandExamplesAndKinds) {
  // The shared edge keeps the direction of the first triangle, 1-2. Twice on
  // the same matrix: `edges` is not searched, so it doubles.
  const dense2D<unsigned> two = conn(3, {{0, 1, 2}, {2, 1, 3}});
  dense2D<unsigned> edges, hexa(27, 2);
  ASSERT_EQ(copy_edges(two, ET_TRIA3, edges), 0);
  ASSERT_EQ(copy_edges(two, ET_TRIA3, edges), 0);
  EXPECT_EQ(
      all_columns(edges),
      (id_table{{1, 2}, {2, 0}, {0, 1}, {1, 3}, {3, 2}, {1, 2}, {2, 0}, {0, 1}, {1, 3}, {3, 2}}));
  // Higher-order kinds by their corners; a 3-row mixed face matrix holds
  // triangles; some kinds have no edges.
  for (unsigned j = 0; j < 54; ++j) hexa.data()[j] = 100 + j;
  const dense2D<unsigned> hexa20 = hexa.sub_matrix(0, 0, 20, 2),
                          tria = conn(2, {{1, 2}, {2, 0}, {0, 1}});
  // clang-format off
  struct { element_type type; dense2D<unsigned> c, want; } kinds[] = {
      {ET_HEXA27, hexa, first_met_edges(hexa, ET_HEXA8)}, {ET_TRIA6, conn(6, {{0, 1, 2, 3, 4, 5}}), tria},
      {ET_FACE_MIXED, conn(3, {{0, 1, 2}}), tria}, {ET_HEXA20, hexa20, {}}, {ET_NONE, hexa20, {}},
      {ET_NODE, hexa20, {}}, {ET_EDGE_MIXED, hexa20, {}}};
  // clang-format on
  for (const auto& k : kinds) {
    dense2D<unsigned> e;
    ASSERT_EQ(copy_edges(k.c, k.type, e), 0);
    EXPECT_EQ(all_columns(e), all_columns(k.want)) << k.type;
  }
}

TEST(CopyEdges, EveryKindMatchesTheFirstMeetingWalk) {
  for (const support::mesh& m : every_kind(31, true)) {
    // Behind two edges already there, which stay in front untouched; alone,
    // or as a group of its two halves.
    const dense2D<unsigned> c = support::with_gap(m.conn, 2);
    const unsigned h = c.cols() / 2;
    const dense2D<unsigned> halves[2] = {c.sub_matrix(0, 0, c.rows(), h),
                                         c.sub_matrix(0, h, c.rows(), c.cols() - h)};
    id_table want = all_columns(first_met_edges(m.conn, m.type));
    want.insert(want.begin(), {{7, 3}, {3, 7}});
    for (bool group : {false, true}) {
      dense2D<unsigned> edges = conn(2, {{7, 3}, {3, 7}});
      ASSERT_EQ(group ? copy_edges(halves, halves + 2, dense1D<int>(2, int(m.type)), edges)
                      : copy_edges(c, m.type, edges),
                0);
      EXPECT_EQ(all_columns(edges), want) << m.type << group;
    }
  }
}

TEST(CopyEdges, StatusesAndTheirOrder) {
  const dense2D<unsigned> tri = conn(3, {{0, 1, 2}}), bad = conn(4, {{0, X, 1, 2}});
  dense2D<unsigned> three_rows = conn(3, {{1, 2, 3}}), edges = conn(2, {{5, 6}});
  // One connectivity: empty first, then check_IDs (a mixed solid needs its
  // eight rows), then edges.
  EXPECT_EQ(copy_edges(dense2D<unsigned>(3, 0), ET_TRIA3, three_rows), 0);
  EXPECT_EQ(copy_edges(bad, ET_FACE_MIXED, three_rows), -1);
  EXPECT_EQ(copy_edges(tri, ET_TRIA3, three_rows), -3);
  EXPECT_EQ(copy_edges(conn(6, {{0, 1, 2, 3, 4, 5}}), ET_SOLID_MIXED, edges), -1);
  EXPECT_EQ(all_columns(three_rows), (id_table{{1, 2, 3}}));
  EXPECT_EQ(all_columns(edges), (id_table{{5, 6}}));
  // A group: the pointers, the flags, edges, then each matrix.
  const dense2D<unsigned> group[2] = {tri, bad};
  dense1D<int> flags(2, int(ET_TRIA3)), one_flag(1, int(ET_TRIA3));
  flags[1] = ET_FACE_MIXED;
  EXPECT_EQ(copy_edges(group + 1, group, flags, three_rows), -2);
  EXPECT_EQ(copy_edges(group, group, dense1D<int>(), edges), 0);
  EXPECT_EQ(copy_edges(group, group + 2, one_flag, three_rows), -3);
  EXPECT_EQ(copy_edges(group, group + 2, flags, three_rows), -4);
  EXPECT_EQ(copy_edges(group, group + 2, flags, edges), -1);
  EXPECT_EQ(all_columns(edges), (id_table{{5, 6}}));
  // Each matrix of its own kind: the quadrangle adds its two new edges.
  const dense2D<unsigned> kinds[2] = {tri, conn(4, {{0, 1, 2, 3}})};
  flags[1] = ET_QUAD4;
  EXPECT_EQ(copy_edges(kinds, kinds + 2, flags, edges), 0);
  EXPECT_EQ(all_columns(edges), (id_table{{5, 6}, {1, 2}, {2, 0}, {0, 1}, {2, 3}, {3, 0}}));
}
