// Per-node edge length statistics: repeated and looped edges, a brute-force
// walk over a shuffled grid's edge set, statuses and out-of-memory paths.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <vector>

#include "alloc_seam.h"
#include "quality_test_util.h"
#include "qz4/tessellix/quality.h"
#include "qz4/tessellix/topology.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;
using qz4test::conn;
using qz4test::points;

namespace {

std::vector<double> column(const dense2D<double>& m, unsigned j) {
  return {m(0, j), m(1, j), m(2, j)};
}

}  // namespace

TEST(EdgeLengths, RepeatedEdgesCountEachTimeAndLoopsTwice) {
  // One row of coordinates is enough; node 3 is on no edge.
  const dense2D<double> pos = points(1, {0, 1, 3, 10});
  dense2D<double> lengths;
  ASSERT_EQ(edge_lengths(pos, conn(2, {{0, 1}, {1, 2}, {1, 0}, {2, 2}}), lengths), 0);
  ASSERT_EQ(lengths.rows(), 3u);
  ASSERT_EQ(lengths.cols(), 4u);
  EXPECT_EQ(column(lengths, 0), (std::vector<double>{1, 1, 1}));
  EXPECT_EQ(column(lengths, 1), (std::vector<double>{1, 4.0 / 3, 2}));
  EXPECT_EQ(column(lengths, 2), (std::vector<double>{0, 2.0 / 3, 2}));
  EXPECT_EQ(column(lengths, 3), (std::vector<double>{DBL_MAX, 0, 0}));

  // Every row of pos counts: a 4-row distance.
  ASSERT_EQ(edge_lengths(points(4, {0, 0, 0, 0, 1, 1, 1, 1}), conn(2, {{0, 1}}), lengths), 0);
  EXPECT_EQ(column(lengths, 1), (std::vector<double>{2, 2, 2}));
}

TEST(EdgeLengths, MatchesABruteForceWalkOverTheEdgeSet) {
  qz4::support::mesh m = qz4::support::tetra_grid(4, 3, 5);
  qz4::support::shuffle(m, 5);
  dense2D<unsigned> edges;
  ASSERT_EQ(copy_edges(m.conn, m.type, edges), 0);
  const unsigned n = m.pos.cols();
  std::vector<double> lo(n, DBL_MAX), sum(n, 0), hi(n, 0);
  std::vector<unsigned> count(n, 0);
  for (unsigned e = 0; e < edges.cols(); ++e) {
    const unsigned a = edges(0, e), b = edges(1, e);
    const double l =
        std::sqrt(std::pow(m.pos(0, a) - m.pos(0, b), 2) + std::pow(m.pos(1, a) - m.pos(1, b), 2) +
                  std::pow(m.pos(2, a) - m.pos(2, b), 2));
    for (unsigned v : {a, b}) {
      lo[v] = std::min(lo[v], l);
      sum[v] += l;
      hi[v] = std::max(hi[v], l);
      ++count[v];
    }
  }
  dense2D<double> lengths;
  ASSERT_EQ(
      edge_lengths(qz4::support::with_gap(m.pos, 1), qz4::support::with_gap(edges, 2), lengths), 0);
  ASSERT_EQ(lengths.cols(), n);
  for (unsigned v = 0; v < n; ++v) {
    ASSERT_GT(count[v], 0u);
    EXPECT_DOUBLE_EQ(lengths(0, v), lo[v]) << v;
    EXPECT_DOUBLE_EQ(lengths(1, v), sum[v] / count[v]) << v;
    EXPECT_DOUBLE_EQ(lengths(2, v), hi[v]) << v;
  }
}

TEST(EdgeLengths, StatusesClearTheOutput) {
  const dense2D<double> pos = points(2, {0, 0, 1, 0, 0, 1});
  dense2D<double> lengths(3, 2, 7.0);
  // No columns: nothing to do, and no matrix of n columns either.
  EXPECT_EQ(edge_lengths(pos, dense2D<unsigned>(2, 0), lengths), 0);
  EXPECT_TRUE(lengths.empty());
  for (const dense2D<unsigned>& bad :
       {conn(2, {{0, 3}}), conn(2, {{0, NO_ID}}), conn(3, {{0, 1, 2}}), dense2D<unsigned>(0, 2)}) {
    lengths.resize(3, 2, 7.0);
    EXPECT_EQ(edge_lengths(pos, bad, lengths), -2);
    EXPECT_TRUE(lengths.empty());
  }
  unsigned failures = 0;
  const dense2D<unsigned> path = conn(2, {{0, 1}, {1, 2}});
  qz4test::for_each_failing_allocation([&](unsigned) {
    dense2D<double> out;
    const int s = edge_lengths(pos, path, out);
    if (s == 0) {
      EXPECT_EQ(out.cols(), 3u);
    } else {
      EXPECT_EQ(s, -199);
      EXPECT_TRUE(out.empty());
      ++failures;
    }
  });
  EXPECT_EQ(failures, 2u);
}
