// Edge lengths per node and edge lengths in a size field: a brute-force walk
// over the edge sets of shuffled grids, hand-counted cases, statuses in their
// order and the out-of-memory paths.
#include "measures.h"

TEST(EdgeLengths, HandCountedStatusesAndExhaustedMemory) {
  // Repeated edges count each time, loops twice; one row of coordinates is
  // enough; node 3 is on no edge. Then every row of pos counts: a 4-row
  // distance.
  dense2D<double> l, l4;
  ASSERT_EQ(edge_lengths(points(1, {0, 1, 3, 10}), conn(2, {{0, 1}, {1, 2}, {1, 0}, {2, 2}}), l) +
                edge_lengths(points(4, {0, 0, 0, 0, 1, 1, 1, 1}), conn(2, {{0, 1}}), l4),
            0);
  EXPECT_EQ(flat(l), Vd({1, 1, 1, 1, 4.0 / 3, 2, 0, 2.0 / 3, 2, DBL_MAX, 0, 0}));
  EXPECT_EQ(flat(l4), Vd({2, 2, 2, 2, 2, 2}));
  // No columns: nothing to do, and no matrix of n columns either; every
  // refusal clears the output.
  const dense2D<double> pos = points(2, {0, 0, 1, 0, 0, 1});
  auto L = [&](const dense2D<unsigned>& c) {
    l.resize(3, 2, 7.0);
    return 10 * edge_lengths(pos, c, l) + int(l.cols());
  };
  EXPECT_EQ(Vi({L(dense2D<unsigned>(2, 0)), L(conn(2, {{0, 3}})), L(conn(2, {{0, NO_ID}})),
                L(conn(3, {{0, 1, 2}})), L(dense2D<unsigned>(0, 2))}),
            Vi({0, -20, -20, -20, -20}));
  const dense2D<unsigned> path = conn(2, {{0, 1}, {1, 2}});
  EXPECT_EQ(expect_ok_or_out_of_memory([&] {
              dense2D<double> out;
              const int s = edge_lengths(pos, path, out);
              EXPECT_EQ(out.cols(), s == 0 ? 3u : 0u);
              return s;
            }),
            2u);
}

// Per node: shortest, mean and longest incident edge of the edge set; in a
// size field, the count and sum of the lengths of the edges with valid ends,
// through sizes, their tensors and the range form.
TEST(EdgeQualities, ShuffledGridsAgainstABruteWalkOverTheEdgeSet) {
  for (support::mesh m : {support::tetra_grid(3, 4, 2), support::tria_grid(5, 3)}) {
    support::shuffle(m, 7);
    const unsigned dim = m.pos.rows(), nodes = m.pos.cols();
    dense2D<unsigned> edges;
    ASSERT_EQ(copy_edges(m.conn, m.type, edges), 0);
    Vd len(edges.cols()), stats(3 * nodes, 0), count(nodes, 0);
    for (unsigned v = 0; v < nodes; ++v) stats[3 * v] = DBL_MAX;
    for (unsigned e = 0; e < edges.cols(); ++e) {
      for (unsigned i = 0; i < dim; ++i)
        len[e] += std::pow(m.pos(i, edges(0, e)) - m.pos(i, edges(1, e)), 2);
      len[e] = std::sqrt(len[e]);
      for (unsigned v : {edges(0, e), edges(1, e)}) {
        double* s = &stats[3 * v];
        s[0] = std::min(s[0], len[e]), s[2] = std::max(s[2], len[e]);
        s[1] += (len[e] - s[1]) / ++count[v];
      }
    }
    dense2D<double> lengths;
    ASSERT_EQ(edge_lengths(support::with_gap(m.pos, 1), support::with_gap(edges, 2), lengths), 0);
    EXPECT_TRUE(Near(flat(lengths), stats, 1e-15));

    dense1D<double> H(nodes);
    for (unsigned n = 0; n < nodes; ++n) H[n] = 0.05 + 0.3 * std::fabs(std::sin(3.0 * n));
    for (int invalid = 0; invalid < 2; ++invalid) {
      if (invalid) H[nodes / 2] = H[1] = 0;  // the zero tensor in the tensor field
      unsigned long n = 0;
      double total = 0;
      for (unsigned e = 0; e < edges.cols(); ++e) {
        const double a = H[edges(0, e)], b = H[edges(1, e)];
        if (a > 0 && b > 0) ++n, total += len[e] / (a == b ? a : (a - b) / std::log(a / b));
      }
      const dense2D<double> M = iso(H, dim);
      const dense2D<unsigned> halves[2] = {
          m.conn.sub_matrix(0, 0, m.conn.rows(), 5),
          m.conn.sub_matrix(0, 5, m.conn.rows(), m.conn.cols() - 5)};
      misc::histogram hs, ht, hr;
      // With 3-row coordinates the tensor form never reports the pass.
      EXPECT_EQ(
          Vi({edge_qualities(m.pos, m.conn, m.type, H, hs),
              edge_qualities(m.pos, m.conn, m.type, M, ht),
              edge_qualities(m.pos, halves, halves + 2, dense1D<int>(2, int(m.type)), M, hr)}),
          Vi({-4 * invalid, -4 * (invalid && dim == 2), -5 * invalid}));
      for (const misc::histogram* h : {&hs, &ht, &hr})
        EXPECT_TRUE(
            Near({double(h->count()), h->mean() * h->count()}, {double(n), total}, 1e-9 * total));
    }
  }
}

TEST(EdgeQualities, StatusesInTheirOrder) {
  const dense2D<double> pos = points(2, {0, 0, 1, 0, 0, 1, 1, 1}), line = points(1, {0, 1, 2, 3});
  const dense2D<unsigned> two = conn(3, {{0, 1, 2}, {1, 3, 2}}), bad = conn(3, {{0, 1, 4}});
  const dense2D<unsigned> groups[2] = {conn(3, {{0, 1, 2}}), conn(3, {{1, 3, 2}})};
  const dense1D<int> flags(2, int(ET_TRIA3)), one(1, 0), quads(2, int(ET_QUAD4));
  const dense1D<double> H(4, 1.0), shortH(3, 1.0);
  const dense2D<double> rows2 = mat(2, Vd{1, 0, 1, 0, 1, 0, 1, 0});  // too few rows for tensors
  misc::histogram h;
  EXPECT_EQ(Vi({edge_qualities(line, dense2D<unsigned>(3, 0), ET_TRIA3, H, h),
                edge_qualities(line, two, ET_TRIA3, H, h), edge_qualities(pos, bad, ET_TRIA3, H, h),
                int(h.count()), edge_qualities(pos, two, ET_TRIA3, H, h), int(h.count())}),
            Vi({0, -1, -2, 0, 0, 5}));  // the shared edge once
  EXPECT_DOUBLE_EQ(h.max(), std::sqrt(2.0));
  // Edges on node 3 left out, the rest fed.
  EXPECT_EQ(Vi({edge_qualities(pos, two, ET_TRIA3, shortH, h), int(h.count()),
                edge_qualities(pos, dense2D<unsigned>(20, 1, 2u), ET_HEXA20, H, h),
                edge_qualities(pos, two, ET_TRIA3, rows2, h),
                edge_qualities(line, groups, groups, flags, H, h),
                edge_qualities(line, groups, groups + 2, one, H, h),
                edge_qualities(pos, groups, groups + 2, one, H, h),
                edge_qualities(pos, groups + 2, groups, flags, H, h),
                edge_qualities(pos, groups, groups + 2, quads, H, h), int(h.count()),
                edge_qualities(pos, groups, groups + 2, flags, shortH, h), int(h.count())}),
            Vi({-4, 8, 0, -4, 0, -1, -4, -4, -2, 8, -5, 11}));
  for (int range = 0; range < 2; ++range)
    expect_ok_or_out_of_memory([&] {
      misc::histogram f;
      const int s = range ? edge_qualities(pos, groups, groups + 2, flags, H, f)
                          : edge_qualities(pos, two, ET_TRIA3, H, f);
      EXPECT_EQ(f.count(), s == 0 ? 5u : 0u);
      return s;
    });
}
