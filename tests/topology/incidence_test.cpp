// Node incidence graphs: ancestors, elements of each node, node graph.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <vector>

#include "alloc_seam.h"
#include "qz4/tessellix/topology.h"
#include "structured_mesh.h"
#include "topology_test_util.h"

using namespace qz4;
using namespace qz4::tessellix;
using qz4test::columns;
using qz4test::values;

namespace {

// Oracle: for every node, the set of other nodes sharing a column with it.
std::vector<std::set<unsigned>> brute_node_graph(const dense2D<unsigned>& c) {
  const unsigned n = max_ID(c) + 1;
  std::vector<std::set<unsigned>> g(n);
  for (unsigned e = 0; e < c.cols(); ++e)
    for (unsigned r = 0; r < c.rows(); ++r)
      for (unsigned s = 0; s < c.rows(); ++s) {
        const unsigned a = c(r, e), b = c(s, e);
        if (a != NO_ID && b != NO_ID && a != b) g[a].insert(b);
      }
  return g;
}

}  // namespace

TEST(Ancestors, HighestElementWinsAndGapsStayAbsent) {
  // Node 3 is absent; node 5 is held by elements 0 and 2.
  const dense2D<unsigned> c = columns(3, {{0, 1, 5}, {1, 2, NO_ID}, {5, 4, 2}});
  dense1D<unsigned> a;
  ASSERT_EQ(get_ancestors(c, a), 0);
  EXPECT_EQ(values(a), (std::vector<unsigned>{0, 1, 2, NO_ID, 2, 2}));

  // An existing vector is updated, not replaced, and too large IDs are skipped.
  dense1D<unsigned> b(3, 77u);
  const dense2D<unsigned> d = columns(2, {{4, 1}, {0, 9}});
  ASSERT_EQ(get_ancestors(d, b), 0);
  EXPECT_EQ(values(b), (std::vector<unsigned>{1, 0, 77}));
}

TEST(Ancestors, EmptyAndPaddingOnly) {
  dense1D<unsigned> a(2, 5u);
  EXPECT_EQ(get_ancestors(dense2D<unsigned>(3, 0), a), 0);
  EXPECT_EQ(values(a), (std::vector<unsigned>{5, 5}));

  dense1D<unsigned> b;
  EXPECT_EQ(get_ancestors(dense2D<unsigned>(2, 2, NO_ID), b), 0);
  EXPECT_EQ(values(b), (std::vector<unsigned>{NO_ID}));
}

TEST(Ancestors, OutOfMemoryLeavesVectorAlone) {
  const dense2D<unsigned> c = columns(2, {{0, 1}});
  dense1D<unsigned> a;
  qz4test::failing_allocator seam(1);
  EXPECT_EQ(get_ancestors(c, a), -199);
  EXPECT_EQ(a.size(), 0u);
}

TEST(ConnectedElements, HandExample) {
  // Node 2 is absent; element 1 names node 4 twice and holds padding.
  const dense2D<unsigned> c = columns(3, {{0, 1, 4}, {4, NO_ID, 4}, {3, 1, 0}});
  dense1D<unsigned> index, elements;
  ASSERT_EQ(get_connected_elements(c, index, elements), 0);
  EXPECT_EQ(values(index), (std::vector<unsigned>{0, 2, 4, 4, 5, 8}));
  EXPECT_EQ(values(elements), (std::vector<unsigned>{0, 2, 0, 2, 2, 0, 1, 1}));
}

TEST(ConnectedElements, EmptyAndPaddingOnly) {
  dense1D<unsigned> index(4, 1u), elements(3, 1u);
  ASSERT_EQ(get_connected_elements(dense2D<unsigned>(0, 5), index, elements), 0);
  EXPECT_EQ(values(index), (std::vector<unsigned>{0}));
  EXPECT_EQ(elements.size(), 0u);
  ASSERT_EQ(get_connected_elements(dense2D<unsigned>(3, 2, NO_ID), index, elements), 0);
  EXPECT_EQ(values(index), (std::vector<unsigned>{0, 0}));
  EXPECT_EQ(elements.size(), 0u);

  dense1D<unsigned> gi(4, 1u), gn(3, 1u);
  ASSERT_EQ(get_node_graph(dense2D<unsigned>(2, 0), gi, gn), 0);
  EXPECT_EQ(values(gi), (std::vector<unsigned>{0}));
  EXPECT_EQ(gn.size(), 0u);
  ASSERT_EQ(get_node_graph(dense2D<unsigned>(3, 2, NO_ID), gi, gn), 0);
  EXPECT_EQ(values(gi), (std::vector<unsigned>{0, 0}));
  EXPECT_EQ(gn.size(), 0u);
}

TEST(NodeGraph, OrderOfFirstMeeting) {
  // A quadrangle and a triangle: the diagonal 0-2 of the quadrangle counts.
  // Element 1 repeats node 4.
  const dense2D<unsigned> c = columns(4, {{3, 0, 1, 2}, {4, 2, 4, 6}});
  dense1D<unsigned> index, neighbors;
  ASSERT_EQ(get_node_graph(c, index, neighbors), 0);
  EXPECT_EQ(values(index), (std::vector<unsigned>{0, 3, 6, 11, 14, 16, 16, 18}));
  EXPECT_EQ(values(neighbors), (std::vector<unsigned>{3, 1, 2,        //
                                                      3, 0, 2,        //
                                                      3, 0, 1, 4, 6,  //
                                                      0, 1, 2,        //
                                                      2, 6,           //
                                                      4, 2}));
}

TEST(NodeGraph, MatchesBruteForceOnMeshes) {
  std::vector<support::mesh> meshes = {support::tetra_grid(3, 2, 2),
                                       support::mixed_solid_grid(3, 3, 2),
                                       support::mixed_face_grid(4, 3)};
  for (auto& m : meshes) {
    support::shuffle(m, 11);
    for (unsigned gap : {0u, 3u}) {
      const dense2D<unsigned> c = gap ? support::with_gap(m.conn, gap) : m.conn;
      dense1D<unsigned> index, nb, ie, el;
      ASSERT_EQ(get_node_graph(c, index, nb), 0);
      ASSERT_EQ(get_connected_elements(c, ie, el), 0);
      const auto g = brute_node_graph(m.conn);
      ASSERT_EQ(index.size(), g.size() + 1);
      ASSERT_EQ(ie.size(), g.size() + 1);
      for (unsigned n = 0; n < g.size(); ++n) {
        const std::vector<unsigned> got(nb.data() + index[n], nb.data() + index[n + 1]);
        EXPECT_EQ(std::set<unsigned>(got.begin(), got.end()), g[n]);
        EXPECT_EQ(got.size(), g[n].size());  // each neighbour once
        // Elements of a node: ascending, each holds the node.
        for (unsigned k = ie[n]; k < ie[n + 1]; ++k) {
          if (k > ie[n]) {
            EXPECT_LT(el[k - 1], el[k]);
          }
          const unsigned e = el[k];
          bool holds = false;
          for (unsigned r = 0; r < c.rows(); ++r) holds |= m.conn(r, e) == n;
          EXPECT_TRUE(holds);
        }
      }
      EXPECT_EQ(el.size(), qz4test::real_entries(m.conn));
    }
  }
}

TEST(Incidence, EveryAllocationFailureIsReported) {
  const dense2D<unsigned> c = support::with_gap(support::tria_grid(3, 2).conn, 2);
  dense1D<unsigned> ref_i, ref_e, ref_gi, ref_gn;
  ASSERT_EQ(get_connected_elements(c, ref_i, ref_e), 0);
  ASSERT_EQ(get_node_graph(c, ref_gi, ref_gn), 0);
  const unsigned ce = qz4test::for_each_failing_allocation([&](unsigned) {
    dense1D<unsigned> index, elements;
    const int s = get_connected_elements(c, index, elements);
    if (s == 0) {
      EXPECT_EQ(values(index), values(ref_i));
      EXPECT_EQ(values(elements), values(ref_e));
    } else {
      EXPECT_EQ(s, -199);
      EXPECT_EQ(index.size(), 0u);
    }
  });
  const unsigned ng = qz4test::for_each_failing_allocation([&](unsigned) {
    dense1D<unsigned> index, nb;
    const int s = get_node_graph(c, index, nb);
    if (s == 0) {
      EXPECT_EQ(values(index), values(ref_gi));
      EXPECT_EQ(values(nb), values(ref_gn));
    } else {
      EXPECT_EQ(s, -199);
      EXPECT_EQ(index.size(), 0u);
    }
  });
  EXPECT_EQ(ce, 2u);  // index, elements
  EXPECT_EQ(ng, 3u);  // index, mark, neighbors
}
