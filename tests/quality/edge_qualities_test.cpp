// Edge lengths in a size field: a brute-force walk over the distinct edges of
// shuffled grids, scalar and tensor fields agreeing, statuses in their order.
#include <gtest/gtest.h>

#include <cmath>
#include <set>
#include <utility>

#include "alloc_seam.h"
#include "quality_test_util.h"
#include "qz4/tessellix/metrics.h"
#include "qz4/tessellix/quality.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;
using qz4test::conn;
using qz4test::points;

namespace {

// Count and sum of the lengths of the distinct corner pairs that the element
// edge table joins, leaving out edges with an end of invalid size.
std::pair<unsigned long, double> brute(const support::mesh& m, const dense1D<double>& H) {
  static const unsigned tet[6][2] = {{0, 1}, {1, 2}, {2, 0}, {0, 3}, {1, 3}, {2, 3}};
  static const unsigned tri[3][2] = {{0, 1}, {1, 2}, {2, 0}};
  const bool solid = m.type == ET_TETRA4;
  std::set<std::pair<unsigned, unsigned>> edges;
  for (unsigned e = 0; e < m.conn.cols(); ++e)
    for (unsigned k = 0; k < (solid ? 6u : 3u); ++k) {
      unsigned a = m.conn(solid ? tet[k][0] : tri[k][0], e),
               b = m.conn(solid ? tet[k][1] : tri[k][1], e);
      edges.insert({std::min(a, b), std::max(a, b)});
    }
  unsigned long n = 0;
  double sum = 0;
  for (const auto& ab : edges) {
    if (!(H[ab.first] > 0) || !(H[ab.second] > 0)) continue;
    double l2 = 0;
    for (unsigned i = 0; i < m.pos.rows(); ++i)
      l2 += (m.pos(i, ab.first) - m.pos(i, ab.second)) * (m.pos(i, ab.first) - m.pos(i, ab.second));
    ++n;
    sum +=
        std::sqrt(l2) / ((H[ab.first] == H[ab.second])
                             ? H[ab.first]
                             : (H[ab.first] - H[ab.second]) / std::log(H[ab.first] / H[ab.second]));
  }
  return {n, sum};
}

dense2D<double> tensors_of(const dense1D<double>& H, unsigned dim) {
  dense2D<double> M(dim == 2 ? 3 : 6, H.size(), 0.0);
  for (unsigned n = 0; n < H.size(); ++n)
    for (unsigned d = 0; d < dim; ++d) M(d * (d + 3) / 2, n) = H[n] > 0 ? 1 / (H[n] * H[n]) : -1;
  return M;
}

}  // namespace

TEST(EdgeQualities, DistinctEdgesOfShuffledGridsInSizesAndTensors) {
  for (support::mesh m : {support::tetra_grid(3, 4, 2), support::tria_grid(5, 3)}) {
    support::shuffle(m, 7);
    const unsigned dim = m.pos.rows(), nodes = m.pos.cols();
    dense1D<double> H(nodes);
    for (unsigned n = 0; n < nodes; ++n) H[n] = 0.05 + 0.3 * std::fabs(std::sin(3.0 * n));
    for (int invalid = 0; invalid < 2; ++invalid) {
      if (invalid) H[nodes / 2] = H[1] = 0;
      const auto expected = brute(m, H);
      misc::histogram hs, ht, hr;
      EXPECT_EQ(edge_qualities(m.pos, m.conn, m.type, H, hs), invalid ? -4 : 0);
      // With 3-row coordinates the tensor form never reports the pass.
      EXPECT_EQ(edge_qualities(m.pos, m.conn, m.type, tensors_of(H, dim), ht),
                invalid && dim == 2 ? -4 : 0);
      const dense1D<int> flags(2, int(m.type));
      const dense2D<unsigned> halves[2] = {
          m.conn.sub_matrix(0, 0, m.conn.rows(), 5),
          m.conn.sub_matrix(0, 5, m.conn.rows(), m.conn.cols() - 5)};
      EXPECT_EQ(edge_qualities(m.pos, halves, halves + 2, flags, tensors_of(H, dim), hr),
                invalid ? -5 : 0);
      for (const misc::histogram* h : {&hs, &ht, &hr}) {
        EXPECT_EQ(h->count(), expected.first);
        EXPECT_NEAR(h->mean() * h->count(), expected.second, 1e-9 * expected.second);
      }
    }
  }
}

TEST(EdgeQualities, StatusesInTheirOrder) {
  const dense2D<double> pos = points(2, {0, 0, 1, 0, 0, 1, 1, 1}), line = points(1, {0, 1, 2, 3});
  const dense2D<unsigned> two = conn(3, {{0, 1, 2}, {1, 3, 2}});
  dense1D<double> H(4, 1.0), shortH(3, 1.0);
  misc::histogram h;
  EXPECT_EQ(edge_qualities(line, dense2D<unsigned>(3, 0), ET_TRIA3, H, h), 0);
  EXPECT_EQ(edge_qualities(line, two, ET_TRIA3, H, h), -1);
  EXPECT_EQ(edge_qualities(pos, conn(3, {{0, 1, 4}}), ET_TRIA3, H, h), -2);
  EXPECT_EQ(h.count(), 0u);
  EXPECT_EQ(edge_qualities(pos, two, ET_TRIA3, H, h), 0);
  EXPECT_EQ(h.count(), 5u);  // the shared edge once
  EXPECT_DOUBLE_EQ(h.max(), std::sqrt(2.0));
  EXPECT_EQ(edge_qualities(pos, two, ET_TRIA3, shortH, h), -4);  // edges on node 3 left out
  EXPECT_EQ(h.count(), 8u);
  const dense2D<unsigned> hexa20(20, 1, 2u);
  EXPECT_EQ(edge_qualities(pos, hexa20, ET_HEXA20, H, h), 0);
  EXPECT_EQ(h.count(), 8u);
  // Too few rows: read three at a time, these entries would make identities.
  dense2D<double> flat(2, 4, 0.0);
  for (unsigned n = 0; n < 4; ++n) flat(0, n) = 1;
  EXPECT_EQ(edge_qualities(pos, two, ET_TRIA3, flat, h), -4);
  EXPECT_EQ(h.count(), 8u);

  const dense2D<unsigned> groups[2] = {conn(3, {{0, 1, 2}}), conn(3, {{1, 3, 2}})};
  const dense1D<int> flags(2, int(ET_TRIA3));
  EXPECT_EQ(edge_qualities(line, groups, groups, flags, H, h), 0);
  EXPECT_EQ(edge_qualities(line, groups, groups + 2, dense1D<int>(1, 0), H, h), -1);
  EXPECT_EQ(edge_qualities(pos, groups, groups + 2, dense1D<int>(1, 0), H, h), -4);
  EXPECT_EQ(edge_qualities(pos, groups + 2, groups, flags, H, h), -4);
  EXPECT_EQ(edge_qualities(pos, groups, groups + 2, dense1D<int>(2, int(ET_QUAD4)), H, h), -2);
  EXPECT_EQ(edge_qualities(pos, groups, groups + 2, flags, shortH, h), -5);
  EXPECT_EQ(h.count(), 11u);

  for (int range = 0; range < 2; ++range) {
    unsigned failures = 0;
    qz4test::for_each_failing_allocation([&](unsigned) {
      misc::histogram f;
      const int status = range ? edge_qualities(pos, groups, groups + 2, flags, H, f)
                               : edge_qualities(pos, two, ET_TRIA3, H, f);
      EXPECT_EQ(f.count(), status == 0 ? 5u : 0u);
      if (status != 0) {
        EXPECT_EQ(status, -199);
        ++failures;
      }
    });
    EXPECT_GT(failures, 0u);
  }
}
