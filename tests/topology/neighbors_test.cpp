// Element neighbours: hand-derived links and match rules, statuses, and a
// brute-force pairing by sorted node sets on shuffled meshes of every kind.
#include <functional>

#include "topology_test_util.h"

using namespace qz4test;

TEST(Neighbors, HandExamples) {
  const dense2D<unsigned> link_01 = conn(3, {{1, X, X}, {X, X, 0}});
  // clang-format off
  struct { element_type type; dense2D<unsigned> c; bool pair; dense2D<unsigned> nb; } cases[] = {
      // A shared edge in the same direction.
      {ET_TRIA3, conn(3, {{0, 1, 2}, {1, 2, 3}}), 0, link_01},
      // (0,1,1): boundary 1 is (1,0) and boundary 2 is (0,1).
      {ET_TRIA3, conn(3, {{0, 1, 1}}), 0, conn(3, {{X, 0, 0}})},
      // Row 0 of an edge is across local node 1; node 7 is shared by 1 and 2 only.
      {ET_EDGE2, conn(2, {{5, 6}, {7, 6}, {7, 8}}), 0, conn(2, {{1, X}, {0, 2}, {X, 1}})},
      {ET_FACE_MIXED, conn(3, {{0, 1, 2}, {2, 1, 3}}), 0, link_01},
      // Bases against (0,1,2,3): a rotation, a reversal, another cycle; three
      // match, so only the flag links the first two.
      {ET_PYRA5, conn(5, {{0, 1, 2, 3, 10}, {2, 3, 0, 1, 11}, {3, 2, 1, 0, 12}, {0, 2, 1, 3, 13}}), 1,
       conn(5, {{X, X, X, X, 1}, {X, X, X, X, 0}, {}, {}})},
      // Aligned at the first smallest node: (1,2,3,1) is no rotation of (1,1,2,3).
      {ET_PYRA5, conn(5, {{1, 2, 3, 1, 10}, {1, 1, 2, 3, 11}, {3, 1, 1, 2, 12}}), 0,
       conn(5, {{}, {X, X, X, X, 2}, {X, X, X, X, 1}})},
      // The quadrangle (NO_ID,1,2,3) never matches the triangle (1,2,3),
      // which a third pyramid does match.
      {ET_PYRA5, conn(5, {{X, 1, 2, 3, 4}, {1, 3, 7, 8, 2}}), 0, conn(5, {{}, {}})},
      {ET_PYRA5, conn(5, {{X, 1, 2, 3, 4}, {1, 3, 7, 8, 2}, {2, 1, 9, 10, 3}}), 0, conn(5, {{}, {2}, {1}})}};
  // clang-format on
  for (const auto& t : cases) {
    dense2D<unsigned> nb;
    ASSERT_EQ(get_neighbors(t.c, t.type, t.pair, nb), 0);
    EXPECT_EQ(all_columns(nb), all_columns(t.nb)) << t.type << " " << t.c(0, 0);
  }
}

TEST(Neighbors, MatchBruteForcePairingOnEveryKind) {
  std::vector<support::mesh> meshes = every_kind(2024, true);
  // A non-manifold edge of five sides among many ordinary ones: three extra
  // triangles on boundary 0 of triangle 0 of a large box.
  support::mesh s = support::box_surface(20, 20, 20);
  support::shuffle(s, 7);
  const unsigned n = s.conn.cols(), a = s.conn(1, 0), b = s.conn(2, 0);
  s.conn.resize(3, n + 3);
  for (unsigned k = n; k < n + 3; ++k) s.conn(0, k) = k, s.conn(1, k) = a, s.conn(2, k) = b;
  meshes.push_back(s);
  for (const support::mesh& m : meshes)
    for (bool pair : {false, true}) {
      dense2D<unsigned> nb;
      ASSERT_EQ(get_neighbors(support::with_gap(m.conn, pair ? 3 : 0), m.type, pair, nb), 0);
      EXPECT_EQ(all_columns(nb), all_columns(brute_neighbors(m.conn, m.type, pair)))
          << m.type << " " << m.conn.cols();
    }
}

TEST(Neighbors, StatusesAndTheirOrder) {
  dense2D<unsigned> nb(2, 2, 7u);
  // Empty first, whatever the kind; then check_IDs (bad padding or rows of a
  // mixed kind); then the kind, even with rows no kind would take; then rows.
  EXPECT_EQ(get_neighbors(dense2D<unsigned>(4, 0), ET_TRIA6, false, nb), 0);
  EXPECT_TRUE(nb.empty());
  nb = dense2D<unsigned>(2, 2, 7u);
  EXPECT_EQ(get_neighbors(conn(4, {{0, 1, X, 2}}), ET_FACE_MIXED, false, nb), -1);
  EXPECT_TRUE(nb.empty());
  EXPECT_EQ(get_neighbors(conn(5, {{0, 1, 2, 3, 4}}), ET_FACE_MIXED, false, nb), -1);
  for (element_type t : {ET_TRIA6, ET_TETRA10, ET_EDGE3, ET_NODE, ET_EDGE_MIXED, ET_HEXA20})
    EXPECT_EQ(get_neighbors(conn(3, {{0, 1, 2}}), t, false, nb), -2) << t;
  EXPECT_EQ(get_neighbors(conn(4, {{0, 1, 2, 3}}), ET_SOLID_MIXED, false, nb), -1);
  EXPECT_EQ(get_neighbors(conn(6, {{0, 1, 2, 3, 4, 5}}), ET_HEXA8, false, nb), -1);
  EXPECT_EQ(get_neighbors(conn(5, {{0, 1, 2, 3, 4}}), ET_PENTA6, false, nb), -1);
  EXPECT_TRUE(nb.empty());
}

TEST(Topology, EveryAllocationFailureIsReported) {
  const support::mesh m = support::mixed_face_grid(3, 3);
  const dense2D<unsigned> c = support::with_gap(m.conn, 2), start = conn(2, {{9, 8}}),
                          halves[2] = {c.sub_matrix(0, 0, 4, 6),
                                       c.sub_matrix(0, 6, 4, c.cols() - 6)};
  const dense1D<int> flags(2, int(ET_FACE_MIXED));
  dense2D<unsigned> nb;
  ASSERT_EQ(get_neighbors(c, m.type, false, nb), 0);
  // Each service, its allocations, and what a failure leaves: an empty
  // index or result, or `edges` as it was (sharing its block, it must move
  // to grow).
  // clang-format off
  struct { std::function<int(id_table&)> run; unsigned allocations; id_table failed; } services[] = {
      // The walk reports its reservation only; a lost push_back on starts is silent.
      {[&](id_table& r) { dense1D<unsigned> e, st; const int s = get_subdomains(nb, e, st); r = {std_of(e)}; return s; }, 2, {{}}},
      {[&](id_table& r) { dense1D<unsigned> a; const int s = get_ancestors(c, a); r = {std_of(a)}; return s; }, 1, {{}}},
      {[&](id_table& r) { dense1D<unsigned> i, o; const int s = get_connected_elements(c, i, o); r = {std_of(i), s ? ids{} : std_of(o)}; return s; }, 2, {{}, {}}},
      {[&](id_table& r) { dense1D<unsigned> i, o; const int s = get_node_graph(c, i, o); r = {std_of(i), s ? ids{} : std_of(o)}; return s; }, 3, {{}, {}}},
      {[&](id_table& r) { dense2D<unsigned> o; const int s = get_neighbors(c, m.type, false, o); r = all_columns(o); return s; }, 1, {}},
      {[&](id_table& r) { dense2D<unsigned> o; const int s = get_element_boundaries(c, m.type, o); r = all_columns(o); return s; }, 1, {}},
      {[&](id_table& r) { dense2D<unsigned> o; const int s = get_mesh_boundaries(c, nb, m.type, o); r = all_columns(o); return s; }, 1, {}},
      {[&](id_table& r) { dense2D<unsigned> e = start; const int s = copy_edges(c, m.type, e); r = all_columns(e); return s; }, 1, {{9, 8}}},
      {[&](id_table& r) { dense2D<unsigned> e = start; const int s = copy_edges(halves, halves + 2, flags, e); r = all_columns(e); return s; }, 1, {{9, 8}}}};
  // clang-format on
  for (const auto& t : services) {
    id_table ok;
    ASSERT_EQ(t.run(ok), 0);
    const unsigned runs = for_each_failing_allocation([&](unsigned) {
      id_table r;
      const int s = t.run(r);
      EXPECT_EQ(s, s ? -199 : 0);
      EXPECT_EQ(r, s ? t.failed : ok);
    });
    EXPECT_EQ(runs, t.allocations) << t.failed.size();
  }
  EXPECT_EQ(all_columns(start), (id_table{{9, 8}}));
}
