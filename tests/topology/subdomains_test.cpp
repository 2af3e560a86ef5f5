// Subdomains and the sort of elfes: hand-derived orders and reorderings, the
// sort of a shuffled mesh checked against get_neighbors and a brute-force
// sort; statuses and memory failures.
#include "topology_test_util.h"

using namespace qz4test;

namespace {

// Two components, {0, 3, 5, 6} and {1, 2, 4}.
dense2D<unsigned> two_components() {
  return conn(3, {{5, X, 3}, {X, 4, X}, {4, X, X}, {0, 6, X}, {2, 1, X}, {6, 0, X}, {3, 5, X}});
}

}  // namespace

TEST(Subdomains, HandExamples) {
  dense1D<unsigned> elements(3, 9u), starts(2, 9u);
  const std::pair<dense2D<unsigned>, id_table> walks[] = {
      {two_components(), {{0, 5, 3, 6, 1, 4, 2}, {0, 4, 7}}},
      {dense2D<unsigned>(3, 2, X), {{0, 1}, {0, 1, 2}}},
      {dense2D<unsigned>(), {{}, {0}}}};
  for (const auto& w : walks) {
    ASSERT_EQ(get_subdomains(w.first, elements, starts), 0);
    EXPECT_EQ((id_table{std_of(elements), std_of(starts)}), w.second);
  }
  // The reordering: both matrices on new blocks, neighbours renumbered.
  dense2D<unsigned> nb = two_components(), c(2, 7);
  for (unsigned e = 0; e < 7; ++e) c(0, e) = 10 * e, c(1, e) = 10 * e + 1;
  const dense2D<unsigned> old_view = c;
  ASSERT_EQ(get_subdomains(c, nb, starts), 0);
  EXPECT_EQ(std_of(starts), (ids{0, 4, 7}));
  EXPECT_EQ(
      all_columns(c),
      all_columns(conn(2, {{0, 1}, {50, 51}, {30, 31}, {60, 61}, {10, 11}, {40, 41}, {20, 21}})));
  EXPECT_EQ(all_columns(nb),
            all_columns(conn(3, {{1, X, 2}, {3, 0}, {0, 3}, {2, 1}, {X, 5}, {6, 4}, {5}})));
  EXPECT_EQ(column(old_view, 1), (ids{10, 11}));
  // Refused: matrices of different column counts, a neighbour named as the
  // column count; both left as they were.
  dense2D<unsigned> one = conn(1, {{1}, {X}}), seven = c;
  EXPECT_EQ((std::vector<int>{get_subdomains(seven, one, starts), get_subdomains(one, one, starts),
                              int(starts.size())}),
            (std::vector<int>{-1, 0, 2}));
  dense2D<unsigned> named = conn(1, {{2}, {X}}), pair = conn(1, {{7}, {8}});
  EXPECT_EQ((std::vector<int>{get_subdomains(pair, named, starts), int(starts.size())}),
            (std::vector<int>{-1, 0}));
  EXPECT_EQ(all_columns(pair), all_columns(conn(1, {{7}, {8}})));
}

TEST(Subdomains, OutOfMemory) {
  const dense2D<unsigned> nb0 = two_components(), c0(2, 7, 1u);
  unsigned cleared = 0;
  for_each_failing_allocation([&](unsigned) {
    dense2D<unsigned> c, nb;
    dense1D<unsigned> starts;
    if (!c.copy(c0) || !nb.copy(nb0)) return;
    const int s = get_subdomains(c, nb, starts);
    EXPECT_EQ(s, s ? -199 : 0);
    // A failed walk leaves the matrices, a later failure clears them too.
    const id_table want =
        s ? id_table{c.empty() ? ids{0, 0} : ids{7, 7}, {}} : id_table{{7, 7}, {0, 4, 7}};
    EXPECT_EQ((id_table{{c.cols(), nb.cols()}, std_of(starts)}), want);
    cleared += c.empty();
  });
  EXPECT_GE(cleared, 4u);
}

TEST(SortElfes, HandExamples) {
  // clang-format off
  // The caller's block after the sort, and group_nodes, group_ends, new_ids.
  struct { dense2D<unsigned> c, nb, block, want_nb; id_table lists; } cases[] = {
      // A column of padding only is dropped, and neighbours naming it lose it.
      {conn(3, {{0, 1, 2}, {}, {4, 5}}), conn(2, {{1, 2}, {0, X}, {0, 1}}), conn(3, {{0, 1, 2}, {4, 5}, {}}),
       conn(2, {{X, 1}, {0}}), {{3, 2}, {1, 2}, {0, X, 1}}},
      // Without real nodes: one group of no columns.
      {dense2D<unsigned>(4, 0), {}, {}, {}, {{X}, {0}, {}}},
      {conn(4, {{}, {}}), conn(1, {{0}, {1}}), conn(4, {{}, {}}), {}, {{X}, {0}, {X, X}}}};
  // clang-format on
  for (auto& t : cases) {
    dense2D<unsigned> c = t.c.sub_matrix(0, 0, t.c.rows(), t.c.cols());
    dense1D<unsigned> nodes, ends, new_ids;
    ASSERT_EQ(t.nb.empty() ? sort_elfes(c, nodes, ends, new_ids)
                           : sort_elfes(c, t.nb, nodes, ends, new_ids),
              0);
    EXPECT_EQ(all_columns(t.c), all_columns(t.block));
    EXPECT_EQ(all_columns(c),
              all_columns(t.block.sub_matrix(0, 0, t.block.rows(), ends[ends.size() - 1])));
    EXPECT_EQ(all_columns(t.nb), all_columns(t.want_nb));
    EXPECT_EQ((id_table{std_of(nodes), std_of(ends), std_of(new_ids)}), t.lists);
  }
  // Neighbours of another column count: nothing is touched; an empty
  // neighbour matrix is no mismatch.
  dense2D<unsigned> c = conn(3, {{0, 1, 2}, {3, 4, 5}}), nb(3, 3, X), none;
  dense1D<unsigned> n(1, 7u), e(1, 7u), i(1, 7u);
  EXPECT_EQ(sort_elfes(c, nb, n, e, i), -1);
  EXPECT_EQ(all_columns(c), all_columns(conn(3, {{0, 1, 2}, {3, 4, 5}})));
  EXPECT_EQ((id_table{std_of(n), std_of(e), std_of(i), ids(1, nb.cols())}),
            (id_table{{7}, {7}, {7}, {3}}));
  EXPECT_EQ(sort_elfes(c, none, n, e, i), 0);
  EXPECT_TRUE(none.empty());
}

TEST(SortElfes, ShuffledMixedSolidsWithNeighbours) {
  support::mesh m = support::mixed_solid_grid(3, 3, 2);
  support::shuffle(m, 8);
  dense2D<unsigned> nb, fresh, c = support::with_gap(m.conn, 3);
  ASSERT_EQ(get_neighbors(m.conn, ET_SOLID_MIXED, false, nb), 0);
  dense2D<unsigned> nbv = support::with_gap(nb, 2);
  // Brute force: (real nodes, column) sorted down; runs of 8, 6, 5, 4 nodes.
  std::vector<std::pair<unsigned, unsigned>> order;
  for (unsigned j = 0; j < m.conn.cols(); ++j)
    order.push_back({8 - unsigned(std::count(&m.conn(0, j), &m.conn(0, j) + 8, X)), j});
  std::sort(order.rbegin(), order.rend());
  id_table want_c, lists = {{8, 6, 5, 4}, {}, ids(order.size())};
  for (unsigned g : lists[0])
    lists[1].push_back(unsigned(
        std::count_if(order.begin(), order.end(),
                      [g](const std::pair<unsigned, unsigned>& p) { return p.first >= g; })));
  for (unsigned k = 0; k < order.size(); ++k)
    lists[2][order[k].second] = k, want_c.push_back(column(m.conn, order[k].second));
  dense1D<unsigned> nodes, ends, new_ids;
  ASSERT_EQ(sort_elfes(c, nbv, nodes, ends, new_ids), 0);
  EXPECT_EQ(all_columns(c), want_c);
  EXPECT_EQ((id_table{std_of(nodes), std_of(ends), std_of(new_ids)}), lists);
  ASSERT_EQ(get_neighbors(c, ET_SOLID_MIXED, false, fresh), 0);
  EXPECT_EQ(all_columns(nbv), all_columns(fresh));
}
