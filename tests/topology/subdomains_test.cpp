// Subdomains and the sort of elfes: hand-derived orders, the reordering and
// sorting of whole meshes checked against get_neighbors, statuses and memory
// failures.
#include <gtest/gtest.h>

#include <vector>

#include "alloc_seam.h"
#include "core/sort_elfes.h"
#include "qz4/tessellix/topology.h"
#include "structured_mesh.h"
#include "topology_test_util.h"

using namespace qz4;
using namespace qz4::tessellix;
using qz4test::all_columns;
using qz4test::column;
using qz4test::columns;
using qz4test::values;

namespace {

constexpr unsigned X = NO_ID;

// Two components, {0, 3, 5, 6} and {1, 2, 4}.
dense2D<unsigned> two_components() {
  return columns(3, {{5, X, 3}, {X, 4, X}, {4, X, X}, {0, 6, X}, {2, 1, X}, {6, 0, X}, {3, 5, X}});
}

// Two separate triangle grids in one connectivity, columns shuffled.
support::mesh two_grids() {
  const support::mesh a = support::tria_grid(3, 2), b = support::tria_grid(2, 2);
  support::mesh m;
  m.type = ET_TRIA3;
  const unsigned na = a.pos.cols(), nodes = na + b.pos.cols();
  m.pos = dense2D<double>(2, nodes, 0.0);
  m.conn = dense2D<unsigned>(3, a.conn.cols() + b.conn.cols());
  for (unsigned j = 0; j < a.conn.cols(); ++j)
    for (unsigned i = 0; i < 3; ++i) m.conn(i, j) = a.conn(i, j);
  for (unsigned j = 0; j < b.conn.cols(); ++j)
    for (unsigned i = 0; i < 3; ++i) m.conn(i, a.conn.cols() + j) = na + b.conn(i, j);
  support::shuffle(m, 3);
  return m;
}

}  // namespace

TEST(Subdomains, BreadthFirstFromTheLowestElement) {
  dense1D<unsigned> elements, starts;
  ASSERT_EQ(get_subdomains(two_components(), elements, starts), 0);
  EXPECT_EQ(values(elements), (std::vector<unsigned>{0, 5, 3, 6, 1, 4, 2}));
  EXPECT_EQ(values(starts), (std::vector<unsigned>{0, 4, 7}));
}

TEST(Subdomains, DisjointAndEmpty) {
  dense1D<unsigned> elements(3, 9u), starts(2, 9u);
  ASSERT_EQ(get_subdomains(dense2D<unsigned>(3, 2, X), elements, starts), 0);
  EXPECT_EQ(values(elements), (std::vector<unsigned>{0, 1}));
  EXPECT_EQ(values(starts), (std::vector<unsigned>{0, 1, 2}));

  ASSERT_EQ(get_subdomains(dense2D<unsigned>(), elements, starts), 0);
  EXPECT_EQ(elements.size(), 0u);
  EXPECT_EQ(values(starts), (std::vector<unsigned>{0}));
}

TEST(Subdomains, ReorderingHandExample) {
  dense2D<unsigned> nb = two_components();
  dense2D<unsigned> c(2, 7);
  for (unsigned e = 0; e < 7; ++e) c(0, e) = 10 * e, c(1, e) = 10 * e + 1;
  const dense2D<unsigned> old_view = c;
  dense1D<unsigned> starts;
  ASSERT_EQ(get_subdomains(c, nb, starts), 0);
  EXPECT_EQ(values(starts), (std::vector<unsigned>{0, 4, 7}));
  EXPECT_EQ(all_columns(c),
            all_columns(
                columns(2, {{0, 1}, {50, 51}, {30, 31}, {60, 61}, {10, 11}, {40, 41}, {20, 21}})));
  EXPECT_EQ(all_columns(nb),
            all_columns(columns(
                3, {{1, X, 2}, {3, 0, X}, {0, 3, X}, {2, 1, X}, {X, 5, X}, {6, 4, X}, {5, X, X}})));
  // Other views keep the old block.
  EXPECT_EQ(column(old_view, 1), (std::vector<unsigned>{10, 11}));
  // A second walk finds the runs in order.
  dense1D<unsigned> elements, again;
  ASSERT_EQ(get_subdomains(nb, elements, again), 0);
  EXPECT_EQ(values(elements), (std::vector<unsigned>{0, 1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(values(again), values(starts));
}

TEST(Subdomains, ReorderingAGeneratedMesh) {
  support::mesh m = two_grids();
  dense2D<unsigned> nb;
  ASSERT_EQ(get_neighbors(m.conn, ET_TRIA3, false, nb), 0);
  dense1D<unsigned> elements, starts;
  ASSERT_EQ(get_subdomains(nb, elements, starts), 0);
  ASSERT_EQ(starts.size(), 3u);
  const unsigned first = starts[1];
  EXPECT_TRUE(first == 12 || first == 8);  // whichever grid holds element 0
  EXPECT_EQ(elements[0], 0u);

  dense2D<unsigned> c = support::with_gap(m.conn, 2), nbv = support::with_gap(nb, 1);
  dense1D<unsigned> starts2;
  ASSERT_EQ(get_subdomains(c, nbv, starts2), 0);
  EXPECT_EQ(values(starts2), values(starts));
  for (unsigned k = 0; k < elements.size(); ++k)
    EXPECT_EQ(column(c, k), column(m.conn, elements[k]));
  // The renumbered neighbours are those of the reordered mesh.
  dense2D<unsigned> fresh;
  ASSERT_EQ(get_neighbors(c, ET_TRIA3, false, fresh), 0);
  EXPECT_EQ(all_columns(nbv), all_columns(fresh));
}

TEST(Subdomains, OutOfMemory) {
  const dense2D<unsigned> nb0 = two_components();
  unsigned failures = 0;
  qz4test::for_each_failing_allocation([&](unsigned k) {
    dense1D<unsigned> elements, starts;
    const int s = get_subdomains(nb0, elements, starts);
    if (k == 1) {
      EXPECT_EQ(s, -199);
      ++failures;
    } else {
      EXPECT_EQ(s, 0);  // a lost push_back on starts is silent
      EXPECT_EQ(values(elements), (std::vector<unsigned>{0, 5, 3, 6, 1, 4, 2}));
    }
  });
  EXPECT_EQ(failures, 1u);

  // The reordering form: the walk's reservation, then the two matrices and
  // the map; `starts` may lose values silently before that.
  dense2D<unsigned> c0(2, 7, 1u);
  unsigned reorder_failures = 0;
  qz4test::for_each_failing_allocation([&](unsigned) {
    dense2D<unsigned> c, nb;
    c.copy(c0);  // may fail too: then both are simply empty
    nb.copy(nb0);
    if (c.empty() || nb.empty()) return;
    dense1D<unsigned> starts;
    const int s = get_subdomains(c, nb, starts);
    if (s == 0) {
      EXPECT_EQ(c.cols(), 7u);
      EXPECT_EQ(values(starts), (std::vector<unsigned>{0, 4, 7}));
    } else if (!c.empty()) {
      EXPECT_EQ(s, -199);  // from the walk: the matrices are not touched
      EXPECT_EQ(c.cols(), 7u);
      EXPECT_EQ(nb.cols(), 7u);
    } else {
      EXPECT_EQ(s, -199);
      EXPECT_TRUE(nb.empty());
      EXPECT_EQ(starts.size(), 0u);
      ++reorder_failures;
    }
  });
  EXPECT_GE(reorder_failures, 4u);
}

TEST(SortElfes, MixedSolidsLongestFirst) {
  // A tetrahedron, a hexahedron and a pyramid.
  dense2D<unsigned> c =
      columns(8, {{0, 1, 2, 3}, {4, 5, 6, 7, 8, 9, 10, 11}, {12, 13, 14, 15, 16}});
  dense1D<unsigned> nodes, ends, ids;
  ASSERT_EQ(sort_elfes(c, nodes, ends, ids), 0);
  EXPECT_EQ(
      all_columns(c),
      all_columns(columns(8, {{4, 5, 6, 7, 8, 9, 10, 11}, {12, 13, 14, 15, 16}, {0, 1, 2, 3}})));
  EXPECT_EQ(values(nodes), (std::vector<unsigned>{8, 5, 4}));
  EXPECT_EQ(values(ends), (std::vector<unsigned>{1, 2, 3}));
  EXPECT_EQ(values(ids), (std::vector<unsigned>{2, 0, 1}));
}

TEST(SortElfes, EqualCountsReversedAndPaddingDropped) {
  dense2D<unsigned> c = columns(3, {{0, 1, 2}, {3, 4, 5}});
  const dense2D<unsigned> view = c;  // shares the block: sees the swaps
  dense1D<unsigned> nodes, ends, ids;
  ASSERT_EQ(sort_elfes(c, nodes, ends, ids), 0);
  EXPECT_EQ(all_columns(view), all_columns(columns(3, {{3, 4, 5}, {0, 1, 2}})));
  EXPECT_EQ(values(ids), (std::vector<unsigned>{1, 0}));
  EXPECT_EQ(values(nodes), (std::vector<unsigned>{3}));
  EXPECT_EQ(values(ends), (std::vector<unsigned>{2}));

  // A column of padding only is dropped, and neighbours naming it lose it.
  c = columns(3, {{0, 1, 2}, {X, X, X}, {4, 5}});
  dense2D<unsigned> nb = columns(2, {{1, 2}, {0, X}, {0, 1}});
  ASSERT_EQ(sort_elfes(c, nb, nodes, ends, ids), 0);
  EXPECT_EQ(all_columns(c), all_columns(columns(3, {{0, 1, 2}, {4, 5, X}})));
  EXPECT_EQ(all_columns(nb), all_columns(columns(2, {{X, 1}, {0, X}})));
  EXPECT_EQ(values(ids), (std::vector<unsigned>{0, X, 1}));
  EXPECT_EQ(values(nodes), (std::vector<unsigned>{3, 2}));
  EXPECT_EQ(values(ends), (std::vector<unsigned>{1, 2}));
}

TEST(SortElfes, EmptyAndMismatch) {
  dense2D<unsigned> c;
  dense1D<unsigned> nodes(2, 5u), ends(2, 5u), ids(2, 5u);
  ASSERT_EQ(sort_elfes(c, nodes, ends, ids), 0);
  EXPECT_EQ(values(nodes), (std::vector<unsigned>{X}));
  EXPECT_EQ(values(ends), (std::vector<unsigned>{0}));
  EXPECT_EQ(ids.size(), 0u);

  // All padding: one group of no columns.
  c = dense2D<unsigned>(4, 2, X);
  ASSERT_EQ(sort_elfes(c, nodes, ends, ids), 0);
  EXPECT_EQ(values(nodes), (std::vector<unsigned>{X}));
  EXPECT_EQ(values(ends), (std::vector<unsigned>{0}));
  EXPECT_EQ(values(ids), (std::vector<unsigned>{X, X}));
  EXPECT_EQ(c.cols(), 0u);

  // Neighbours of another column count: nothing is touched.
  c = columns(3, {{0, 1, 2}, {3, 4, 5}});
  dense2D<unsigned> nb(3, 3, X);
  dense1D<unsigned> n2(1, 7u), e2(1, 7u), i2(1, 7u);
  EXPECT_EQ(sort_elfes(c, nb, n2, e2, i2), -1);
  EXPECT_EQ(all_columns(c), all_columns(columns(3, {{0, 1, 2}, {3, 4, 5}})));
  EXPECT_EQ(nb.cols(), 3u);
  EXPECT_EQ(values(n2), (std::vector<unsigned>{7}));
  EXPECT_EQ(values(e2), (std::vector<unsigned>{7}));
  EXPECT_EQ(values(i2), (std::vector<unsigned>{7}));
  // An empty neighbour matrix is no mismatch.
  dense2D<unsigned> none;
  EXPECT_EQ(sort_elfes(c, none, n2, e2, i2), 0);
  EXPECT_TRUE(none.empty());
}

TEST(SortElfes, GeneratedMixedSolidsWithNeighbours) {
  support::mesh m = support::mixed_solid_grid(3, 3, 2);
  support::shuffle(m, 8);
  dense2D<unsigned> nb;
  ASSERT_EQ(get_neighbors(m.conn, ET_SOLID_MIXED, false, nb), 0);
  dense2D<unsigned> old_conn;
  old_conn.copy(m.conn);
  dense2D<unsigned> c = support::with_gap(m.conn, 3), nbv = support::with_gap(nb, 2);
  dense1D<unsigned> nodes, ends, ids;
  ASSERT_EQ(sort_elfes(c, nbv, nodes, ends, ids), 0);

  // Runs of 8, 6, 5, 4 nodes; inside a run the higher old column first.
  EXPECT_EQ(values(nodes), (std::vector<unsigned>{8, 6, 5, 4}));
  ASSERT_EQ(ends.size(), 4u);
  EXPECT_EQ(ends[3], old_conn.cols());
  std::vector<unsigned> old_of(c.cols(), X);
  for (unsigned j = 0; j < ids.size(); ++j) {
    ASSERT_LT(ids[j], c.cols());
    old_of[ids[j]] = j;
    EXPECT_EQ(column(c, ids[j]), column(old_conn, j));
  }
  std::vector<unsigned> group_of(c.cols());
  for (unsigned g = 0, k = 0; g < ends.size(); ++g)
    for (; k < ends[g]; ++k) group_of[k] = g;
  for (unsigned k = 0; k < c.cols(); ++k) {
    EXPECT_EQ(qz4test::real_entries(c.sub_matrix(0, k, 8, 1)), nodes[group_of[k]]);
    if (k > 0 && group_of[k - 1] == group_of[k]) {
      EXPECT_GT(old_of[k - 1], old_of[k]);
    }
  }
  dense2D<unsigned> fresh;
  ASSERT_EQ(get_neighbors(c, ET_SOLID_MIXED, false, fresh), 0);
  EXPECT_EQ(all_columns(nbv), all_columns(fresh));

  // The core on its own, as the file writers call it, gives the same order.
  dense2D<unsigned> c2;
  c2.copy(old_conn);
  dense2D<unsigned> no_neighbors;
  dense1D<unsigned> nodes2, ends2, ids2;
  tessellix::detail::sort_elfes(c2, no_neighbors, nodes2, ends2, ids2);
  EXPECT_EQ(all_columns(c2), all_columns(c));
  EXPECT_EQ(values(ids2), values(ids));
  EXPECT_EQ(values(ends2), values(ends));
}
