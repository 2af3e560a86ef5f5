// Intersection and projection of tensors, the H-shock and the gradation:
// worked examples by hand, properties on shuffled grids, statuses in order.
#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>
#include <string>

#include "alloc_seam.h"
#include "qz4/tessellix/metrics.h"
#include "qz4/tessellix/topology.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;

namespace {

const double ln2 = std::log(2.0);

dense2D<double> line_nodes(std::initializer_list<double> x) {
  dense2D<double> pos(2, unsigned(x.size()), 0.0);
  unsigned j = 0;
  for (double v : x) pos(0, j++) = v;
  return pos;
}

dense2D<unsigned> edges(std::initializer_list<std::pair<unsigned, unsigned>> e) {
  dense2D<unsigned> c(2, unsigned(e.size()));
  unsigned j = 0;
  for (auto ab : e) c(0, j) = ab.first, c(1, j++) = ab.second;
  return c;
}

dense1D<double> sizes(std::initializer_list<double> h) {
  dense1D<double> H(unsigned(h.size()));
  unsigned i = 0;
  for (double v : h) H[i++] = v;
  return H;
}

// The tensors of the sizes H, one column per node.
dense2D<double> iso(const dense1D<double>& H, unsigned dim) {
  dense2D<double> M;
  if (dim == 2)
    metrics_iso_to_aniso2d(H, M);
  else
    metrics_iso_to_aniso3d(H, M);
  return M;
}

}  // namespace

TEST(MetricIntersection, MinimumMaximumBlendAndFrames) {
  metric3 A, B, M;
  metric_iso_to_aniso(2, A);
  metric_iso_to_aniso(0.5, B);
  minimum_metric(A, B, M);
  EXPECT_NEAR(M[0], 4, 1e-14);
  EXPECT_NEAR(M[5], 4, 1e-14);
  maximum_metric(A, B, A);  // output over an input
  EXPECT_NEAR(A[2], 0.25, 1e-15);
  EXPECT_NEAR(A[1], 0, 1e-15);
  metric2 Z = {{0, 0, 0}}, I = {{1, 0, 1}}, N = {{1, 0, 1}};
  minimum_metric(Z, I, N);  // no reduction: the zero tensor
  EXPECT_EQ(N[0], 0.0);
  metric_iso_to_aniso(3, N);
  EXPECT_TRUE(interpolate_metric(0.5, I, N, Z));  // sizes 1 and 3 blend to 2
  EXPECT_NEAR(Z[0], 0.25, 1e-15);
  EXPECT_TRUE(interpolate_metric(1e-13, I, N, Z));
  EXPECT_EQ(Z[0], 1.0);
  EXPECT_TRUE(interpolate_metric(1 - 1e-13, I, N, Z));
  EXPECT_EQ(Z[0], N[0]);
  EXPECT_FALSE(interpolate_metric(0.5, I, metric2{{-1, 0, 1}}, Z));

  // Random pairs: the minimum holds both unit balls, the maximum is in both.
  std::mt19937 g(11);
  std::uniform_real_distribution<double> u(-1, 1);
  for (int t = 0; t < 200; ++t) {
    metric3 P[2];
    for (metric3& m : P) {
      matrix_fixed<double, 3, 3> R;
      for (auto& x : R.v) x = u(g);
      for (unsigned j = 0; j < 3; ++j)
        for (unsigned i = 0; i <= j; ++i)
          m(i, j) = (i == j ? 0.05 : 0) + R(i, 0) * R(j, 0) + R(i, 1) * R(j, 1) + R(i, 2) * R(j, 2);
    }
    metric3 lo, hi;
    minimum_metric(P[0], P[1], lo);
    maximum_metric(P[0], P[1], hi);
    for (int k = 0; k < 20; ++k) {
      const vector_fixed<double, 3> d = {{u(g), u(g), u(g)}};
      const double a = metric_norm2(P[0], d), b = metric_norm2(P[1], d);
      EXPECT_GE(metric_norm2(lo, d), std::fmax(a, b) * (1 - 1e-9));
      EXPECT_LE(metric_norm2(hi, d), std::fmin(a, b) * (1 + 1e-9));
    }
  }

  const matrix_fixed<double, 3, 2> frame = {{1, 0, 0, 0, 2, 0}};
  metric2 F;
  metric_iso_to_aniso2d(0, frame, F);
  EXPECT_EQ(F[0], 0.0);
  metric_iso_to_aniso2d(2, frame, F);
  EXPECT_EQ(F[0], 0.25);
  EXPECT_EQ(F[1], 0.0);
  EXPECT_EQ(F[2], 1.0);
  const metric3 S = {{1, 2, 3, 4, 5, 6}};
  metric_aniso3d_to_aniso2d(S, frame, F);  // the upper-left block, scaled
  EXPECT_EQ(F[0], 1.0);
  EXPECT_EQ(F[1], 4.0);
  EXPECT_EQ(F[2], 12.0);

  dense2D<double> out = iso(sizes({1, -1}), 2);
  EXPECT_EQ(out.rows(), 3u);
  EXPECT_EQ(out(0, 0) + out(1, 0) + out(2, 0) + out(0, 1) + out(1, 1) + out(2, 1), 2.0);
  EXPECT_EQ(metrics_aniso3d_to_aniso2d(dense2D<double>(), dense2D<double>(), out), -1);
  EXPECT_EQ(metrics_aniso3d_to_aniso2d(dense2D<double>(6, 2), dense2D<double>(6, 1), out), -2);
  EXPECT_EQ(out.cols(), 2u);  // untouched
  dense2D<double> M3(6, 2), frames3(6, 2, 0.0);
  for (unsigned n = 0; n < 2; ++n)
    for (unsigned i = 0; i < 6; ++i) M3(i, n) = S[i] * (n + 1), frames3(i, n) = frame[i];
  ASSERT_EQ(metrics_aniso3d_to_aniso2d(M3, frames3, out), 0);
  EXPECT_EQ(out(2, 0) * 10 + out(2, 1), 12.0 * 10 + 24.0);
  EXPECT_EQ(metrics_aniso3d_to_aniso2d(dense2D<double>(6, 0), dense2D<double>(6, 0), out), 0);
  EXPECT_EQ(out.rows() * 10 + out.cols(), 30u);
  dense2D<double> frames(6, 2, 0.0);
  frames(0, 0) = frames(4, 0) = frames(1, 1) = frames(5, 1) = 1;
  EXPECT_EQ(metrics_iso_to_aniso2d(sizes({1, 2}), dense2D<double>(5, 2), out), -2);
  ASSERT_EQ(metrics_iso_to_aniso2d(sizes({1, 2}), frames, out), 0);
  EXPECT_EQ(out(0, 1), 0.25);
  EXPECT_EQ(out(2, 1), 0.25);
}

TEST(HShock, WorkedValuesAndStatuses) {
  const dense2D<double> pos = line_nodes({0, 1, 5});
  dense1D<double> shocks;
  ASSERT_EQ(H_shock(pos, edges({{0, 1}, {1, 0}}), sizes({1, 2, 7}), shocks), 0);
  EXPECT_NEAR(shocks[0], std::exp(1.0) - 1, 1e-14);
  EXPECT_EQ(shocks[1], shocks[0]);
  EXPECT_EQ(shocks[2], 0.0);  // on no edge
  shocks[2] = 0.5;
  dense2D<double> M = iso(sizes({1, 2, 7}), 2);
  ASSERT_EQ(H_shock(pos, edges({{0, 1}}), M, shocks), 0);  // cannot lower
  EXPECT_NEAR(shocks[0], std::exp(1.0) - 1, 1e-14);
  EXPECT_EQ(shocks[2], 0.5);
  M(0, 1) = -1;  // not positive along the edge
  ASSERT_EQ(H_shock(pos, edges({{0, 1}}), M, shocks), 0);
  EXPECT_EQ(shocks[0], DBL_MAX);
  ASSERT_EQ(H_shock(pos, edges({{1, 2}}), sizes({1, 0, 1}), shocks), 0);
  EXPECT_EQ(shocks[2], DBL_MAX);

  EXPECT_EQ(H_shock(dense2D<double>(5, 3), dense2D<unsigned>(2, 0), sizes({1}), shocks), 0);
  EXPECT_EQ(H_shock(dense2D<double>(5, 3), edges({{0, 1}}), sizes({1, 1, 1}), shocks), -1);
  EXPECT_EQ(H_shock(pos, edges({{0, 3}}), sizes({1, 1, 1}), shocks), -2);
  EXPECT_EQ(H_shock(pos, dense2D<unsigned>(3, 1, 0u), sizes({1, 1, 1}), shocks), -2);
}

TEST(Gradation, WorkedExamples) {
  struct example {
    std::initializer_list<double> x, h;
    std::initializer_list<std::pair<unsigned, unsigned>> e;
    std::initializer_list<unsigned> hard;
    int changes;
    std::initializer_list<double> expected;
  } examples[] = {
      {{0, 1, 0}, {1, 10, 5}, {{0, 1}}, {}, 1, {1, 1 + ln2, 5}},
      {{0, 1, 0}, {1, 10, 5}, {{0, 1}}, {1}, 1, {10 - ln2, 10, 5}},
      {{0, 1, 3}, {4, 10, 1}, {{0, 1}, {1, 2}}, {}, 1, {4, 4 + ln2, 1}},  // (1, 2) stays steep
      {{0, 1, 3}, {4, 10, 1}, {{0, 1}, {1, 2}}, {0, 1, 2}, 0, {4, 10, 1}},
      {{0, 1, 3}, {2, 0, 9}, {{0, 1}}, {}, 1, {2, 2, 9}},      // a hole filled
      {{0, 1, 3}, {0, 2, 9}, {{0, 1}}, {}, 2, {ln2, ln2, 9}},  // shrink, then fill
      {{0, 1, 3}, {0, -1, 9}, {{0, 1}}, {}, 0, {0, -1, 9}},    // nothing to fill from
      {{0, 1, 3}, {-10, 1, 9}, {{0, 1}}, {}, 1, {1, 1, 9}},    // no step below 0; filled
      {{0, 1, 3}, {3, 3, 3}, {{0, 1}, {1, 2}}, {}, 0, {3, 3, 3}},
  };
  for (const example& k : examples) {
    const dense2D<double> pos = line_nodes(k.x);
    for (int tensors = 0; tensors < 2; ++tensors) {
      SCOPED_TRACE(std::to_string(&k - examples) + (tensors ? " tensors" : " sizes"));
      dense1D<double> H = sizes(k.h);
      dense2D<double> M = iso(H, 2);
      dense1D<unsigned> hard(unsigned(k.hard.size()));
      std::copy(k.hard.begin(), k.hard.end(), hard.data());
      // A zero tensor is no reference to blend from: only the sizes shrink
      // towards it first.
      if (tensors && *k.h.begin() == 0 && k.changes == 2) continue;
      const int changes = tensors ? bound_metric_gradation(pos, edges(k.e), ET_EDGE2, hard, 1.0, M)
                                  : bound_metric_gradation(pos, edges(k.e), ET_EDGE2, hard, 1.0, H);
      EXPECT_EQ(changes, k.changes);
      unsigned i = 0;
      for (double v : k.expected) {
        if (tensors)  // sizes not above 0 stand as the zero tensor
          EXPECT_NEAR(M(0, i), v > 0 ? 1 / (v * v) : 0, 1e-12) << i;
        else
          EXPECT_NEAR(H[i], v, 1e-12) << i;
        ++i;
      }
    }
  }
}

TEST(Gradation, StatusesInOrder) {
  const dense2D<double> pos = line_nodes({0, 1, 2}), pos3(3, 3, 0.0);
  const dense2D<unsigned> e = edges({{0, 1}});
  const dense1D<unsigned> none, bad_hard(1, 3u);
  dense1D<double> H = sizes({1, 2, 3}), two = sizes({1, 2}), three = sizes({1, 2, 3});
  dense2D<double> M = iso(sizes({1, 2, 3, 4}), 2);
  EXPECT_EQ(
      bound_metric_gradation(dense2D<double>(4, 3), edges({{0, 9}}), ET_EDGE2, bad_hard, 0, H), -1);
  EXPECT_EQ(bound_metric_gradation(pos, edges({{0, 9}}), ET_EDGE2, bad_hard, 0, H), -2);
  EXPECT_EQ(bound_metric_gradation(pos, e, ET_EDGE2, bad_hard, 0, H), -3);
  for (double g : {0.0, -1.0, DBL_MAX})
    EXPECT_EQ(bound_metric_gradation(pos, e, ET_EDGE2, none, g, two), -5);
  EXPECT_EQ(bound_metric_gradation(pos, e, ET_EDGE2, none, 1, two), -6);
  EXPECT_EQ(bound_metric_gradation(pos3, e, ET_EDGE2, none, 1, three), -6);
  EXPECT_EQ(bound_metric_gradation(pos3, e, ET_EDGE2, none, 1, M), -6);  // 3 rows in space
  EXPECT_EQ(bound_metric_gradation(pos, dense2D<unsigned>(2, 0), ET_EDGE2, none, 1, H), 0);
  EXPECT_EQ(bound_metric_gradation(pos, e, ET_EDGE2, none, NAN, H), 0);
  EXPECT_EQ(H[1], 2.0);
  dense1D<double> h = sizes({1, 10, 3});
  dense2D<double> m = iso(h, 2);
  for (int tensors = 0; tensors < 2; ++tensors) {
    unsigned failures = 0;
    qz4test::for_each_failing_allocation([&](unsigned) {
      h[1] = 10;
      m(0, 1) = m(2, 1) = 0.01;
      const int s = tensors ? bound_metric_gradation(pos, e, ET_EDGE2, none, 1, m)
                            : bound_metric_gradation(pos, e, ET_EDGE2, none, 1, h);
      if (s < 0) {
        EXPECT_EQ(s, -199);
        ++failures;
      } else {
        EXPECT_EQ(s, 1);
      }
    });
    EXPECT_GT(failures, 0u);
  }
}

// On shuffled grids with a noisy field: sizes only shrink without hard nodes,
// hard sizes never move, the worst shock falls, and a field of isotropic
// tensors grades as its sizes do.
TEST(Gradation, ShuffledGridsSizesAndTensorsAgree) {
  for (support::mesh m : {support::tetra_grid(4, 3, 5), support::tria_grid(9, 7)}) {
    support::shuffle(m, 3);
    const unsigned nodes = m.pos.cols(), dim = m.pos.rows();
    std::mt19937 g(5);
    std::uniform_real_distribution<double> noise(0.5, 1.5);
    dense1D<double> H0(nodes);
    for (unsigned n = 0; n < nodes; ++n) H0[n] = 0.05 * noise(g) * (1 + 4 * (m.pos(0, n) > 0.5));
    dense2D<unsigned> edges;
    copy_edges(m.conn, m.type, edges);
    for (int with_hard = 0; with_hard < 2; ++with_hard) {
      dense1D<unsigned> hard;
      if (with_hard) {
        hard = dense1D<unsigned>(2, 0u);
        hard[1] = nodes - 1;
      }
      dense1D<double> H;
      H.copy(H0);
      dense2D<double> M = iso(H0, dim);
      const int count = bound_metric_gradation(m.pos, m.conn, m.type, hard, 0.2, H);
      EXPECT_GT(count, with_hard ? -1 : 0);
      EXPECT_EQ(bound_metric_gradation(m.pos, m.conn, m.type, hard, 0.2, M), count);
      dense1D<double> before, after;
      H_shock(m.pos, edges, H0, before);
      H_shock(m.pos, edges, H, after);
      if (!with_hard) {
        EXPECT_LT(*std::max_element(after.data(), after.data() + nodes),
                  *std::max_element(before.data(), before.data() + nodes));
      }
      for (unsigned n = 0; n < nodes; ++n) {
        EXPECT_TRUE(with_hard || H[n] <= H0[n]);
        EXPECT_NEAR(1 / std::sqrt(M(0, n)), H[n], 1e-9 * H[n]);
      }
      for (unsigned i = 0; i < hard.size(); ++i) EXPECT_EQ(H[hard[i]], H0[hard[i]]);
    }
  }
}
