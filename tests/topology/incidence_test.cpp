// Node incidence graphs: ancestors, elements of each node, node graph.
#include "topology_test_util.h"

using namespace qz4test;

namespace {

// Service 0 gives the ancestors in `index`; 1 and 2 the compressed elements
// of each node and node graph.
int incidence(int kind, const dense2D<unsigned>& c, dense1D<unsigned>& index,
              dense1D<unsigned>& out) {
  if (kind == 0) return get_ancestors(c, index);
  return kind == 1 ? get_connected_elements(c, index, out) : get_node_graph(c, index, out);
}

}  // namespace

TEST(Incidence, HandExamples) {
  // Ancestors: node 3 is absent, node 5 held by elements 0 and 2. An existing
  // vector is updated, not replaced, and too large IDs are skipped.
  dense1D<unsigned> a, b(3, 77u), c(2, 5u), d, index, out;
  ASSERT_EQ(get_ancestors(conn(3, {{0, 1, 5}, {1, 2, X}, {5, 4, 2}}), a), 0);
  ASSERT_EQ(get_ancestors(conn(2, {{4, 1}, {0, 9}}), b), 0);
  ASSERT_EQ(get_ancestors(dense2D<unsigned>(3, 0), c), 0);
  ASSERT_EQ(get_ancestors(dense2D<unsigned>(2, 2, X), d), 0);
  EXPECT_EQ((id_table{std_of(a), std_of(b), std_of(c), std_of(d)}),
            (id_table{{0, 1, 2, X, 2, 2}, {1, 0, 77}, {5, 5}, {X}}));
  // Node 2 is absent; element 1 names node 4 twice and holds padding.
  ASSERT_EQ(get_connected_elements(conn(3, {{0, 1, 4}, {4, X, 4}, {3, 1, 0}}), index, out), 0);
  EXPECT_EQ((id_table{std_of(index), std_of(out)}),
            (id_table{{0, 2, 4, 4, 5, 8}, {0, 2, 0, 2, 2, 0, 1, 1}}));
  // A quadrangle and a triangle: the diagonal 0-2 counts; element 1 repeats node 4.
  ASSERT_EQ(get_node_graph(conn(4, {{3, 0, 1, 2}, {4, 2, 4, 6}}), index, out), 0);
  EXPECT_EQ((id_table{std_of(index), std_of(out)}),
            (id_table{{0, 3, 6, 11, 14, 16, 16, 18},
                      {3, 1, 2, 3, 0, 2, 3, 0, 1, 4, 6, 0, 1, 2, 2, 6, 4, 2}}));
  // The largest ID there is would need an index past any block.
  for (int kind : {0, 1, 2}) {
    dense1D<unsigned> fresh;
    EXPECT_EQ(incidence(kind, conn(2, {{0, X - 1}}), fresh, out), -199);
  }
  for (int kind : {1, 2})
    for (const dense2D<unsigned>& e : {dense2D<unsigned>(2, 0), dense2D<unsigned>(3, 2, X)}) {
      dense1D<unsigned> i(4, 1u), o(3, 1u);
      ASSERT_EQ(incidence(kind, e, i, o), 0);
      EXPECT_EQ((id_table{std_of(i), std_of(o)}), (id_table{ids(e.cols() ? 2 : 1, 0), {}}));
    }
}

TEST(Incidence, MatchBruteForceOnShuffledMeshes) {
  for (support::mesh m : {support::tetra_grid(3, 2, 2), support::mixed_solid_grid(3, 3, 2),
                          support::mixed_face_grid(4, 3)}) {
    support::shuffle(m, 11);
    // Ancestors, elements of each node, its neighbours in order of first meeting.
    id_table want[3] = {id_table(1, ids(max_ID(m.conn) + 1, X)), id_table(max_ID(m.conn) + 1),
                        id_table(max_ID(m.conn) + 1)};
    for (unsigned e = 0; e < m.conn.cols(); ++e)
      for (unsigned a : column(m.conn, e)) {
        if (a == X) continue;
        want[0][0][a] = e;
        want[1][a].push_back(e);
        for (unsigned b : column(m.conn, e))
          if (b != X && b != a && std::count(want[2][a].begin(), want[2][a].end(), b) == 0)
            want[2][a].push_back(b);
      }
    for (int kind = 0; kind < 3; ++kind) {
      dense1D<unsigned> index, out;
      ASSERT_EQ(incidence(kind, support::with_gap(m.conn, 3), index, out), 0);
      id_table got(kind ? 0 : 1, std_of(index));
      for (unsigned n = 0; kind && n + 1 < index.size(); ++n)
        got.push_back(ids(out.data() + index[n], out.data() + index[n + 1]));
      EXPECT_EQ(got, want[kind]) << kind;
      EXPECT_EQ(kind ? index[index.size() - 1] : 0u, kind ? out.size() : 0u);
    }
  }
}
