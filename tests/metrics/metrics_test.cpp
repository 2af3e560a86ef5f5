// Tensors, eigen pairs, validity, bounds, repair and edge measures.
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <random>

#include "qz4/tessellix/metrics.h"

using namespace qz4;
using namespace qz4::tessellix;

namespace {

const double nan = std::nan("");

template <unsigned N>
symmetric_fixed<double, N> random_spd(std::mt19937& g) {
  std::uniform_real_distribution<double> u(-1, 1);
  matrix_fixed<double, N, N> R;
  for (auto& x : R.v) x = u(g);
  symmetric_fixed<double, N> M;
  for (unsigned j = 0; j < N; ++j)
    for (unsigned i = 0; i <= j; ++i) {
      double s = i == j ? 0.1 : 0;
      for (unsigned k = 0; k < N; ++k) s += R(i, k) * R(j, k);
      M(i, j) = s;
    }
  return M;
}

// Largest |B q - D A q| over the columns of Q (A = identity when null).
template <unsigned N>
double residual(const symmetric_fixed<double, N>* A, const symmetric_fixed<double, N>& B,
                const vector_fixed<double, N>& D, const matrix_fixed<double, N, N>& Q) {
  double worst = 0;
  for (unsigned k = 0; k < N; ++k)
    for (unsigned i = 0; i < N; ++i) {
      double r = 0;
      for (unsigned j = 0; j < N; ++j) r += (B(i, j) - D[k] * (A ? (*A)(i, j) : i == j)) * Q(j, k);
      worst = std::fmax(worst, std::fabs(r));
    }
  return worst;
}

template <class T>
class MetricDim : public ::testing::Test {};
template <unsigned N>
struct dim {
  static constexpr unsigned n = N;
};
typedef ::testing::Types<dim<2>, dim<3>> dims;
TYPED_TEST_SUITE(MetricDim, dims);

TYPED_TEST(MetricDim, DecompositionsOfRandomTensorsRebuildThem) {
  constexpr unsigned N = TypeParam::n;
  std::mt19937 g(N);
  for (int t = 0; t < 200; ++t) {
    const symmetric_fixed<double, N> A = random_spd<N>(g), B = random_spd<N>(g);
    vector_fixed<double, N> D;
    matrix_fixed<double, N, N> Q;
    ASSERT_TRUE(eigen_pairs(B, D, Q));
    symmetric_fixed<double, N> R;
    metric_from_eigen_pairs(D, Q, R);
    for (unsigned i = 0; i < N * (N + 1) / 2; ++i) EXPECT_NEAR(R[i], B[i], 1e-12);
    for (unsigned k = 1; k < N; ++k) EXPECT_LE(D[k - 1], D[k]);
    EXPECT_LT(residual<N>(nullptr, B, D, Q), 1e-12);
    EXPECT_TRUE(is_valid_metric(B));

    ASSERT_TRUE(eigen_pairs(A, B, D, Q));
    EXPECT_LT(residual(&A, B, D, Q), 1e-9);
    for (unsigned k = 0; k < N; ++k) {  // unit columns
      double n2 = 0;
      for (unsigned i = 0; i < N; ++i) n2 += Q(i, k) * Q(i, k);
      EXPECT_NEAR(n2, 1, 1e-14);
    }
  }
}

TYPED_TEST(MetricDim, GeneralisedFormRefusesABeforeLookingAtB) {
  constexpr unsigned N = TypeParam::n;
  symmetric_fixed<double, N> A, B, I;
  metric_iso_to_aniso(1, I);
  vector_fixed<double, N> D = {}, D0;
  matrix_fixed<double, N, N> Q;
  Q = 7.0;
  D0 = D;
  A = 0.0;
  B = nan;
  EXPECT_FALSE(eigen_pairs(A, B, D, Q));  // A11 = 0
  A = I;
  A(N - 1, N - 1) = -1;  // last pivot negative
  EXPECT_FALSE(eigen_pairs(A, I, D, Q));
  EXPECT_EQ(Q[0], 7.0);
  EXPECT_EQ(D[0], D0[0]);
  B = 0.0;  // the zero tensor is the one B the 3D factorisation lets through
  ASSERT_TRUE(eigen_pairs(I, B, D, Q));
  EXPECT_EQ(D[0], 0.0);
  EXPECT_EQ(D[N - 1], 0.0);
  B = I;
  B(0, 0) = -2;  // indefinite: 2D solves it, 3D cannot factor it
  EXPECT_EQ(eigen_pairs(I, B, D, Q), N == 2);
  if (N == 2) {
    EXPECT_EQ(D[0], -2.0);
  }
}

TEST(Metric2, ClosedFormValuesVectorsAndSigns) {
  struct {
    double a, b, c, l1, l2, u0, u1;
  } cases[] = {
      {3, 3, 0, 3, 3, 1, 0},                                     // multiple of I
      {0, 0, 0, 0, 0, 1, 0},                                     // zero tensor
      {1, 4, 0, 1, 4, -1, 0},                                    // c = 0, a < b
      {4, 1, 0, 1, 4, 0, -1},                                    // c = 0, a > b
      {2, 2, 1, 1, 3, 1 / std::sqrt(2.0), -1 / std::sqrt(2.0)},  // (c, p) branch
      {1, 1, -3, -2, 4, -3 / std::sqrt(18.0), -3 / std::sqrt(18.0)},
  };
  for (const auto& c : cases) {
    double l1, l2;
    vector_fixed<double, 2> u, v;
    ASSERT_TRUE(sym2_eigen_pairs(c.a, c.b, c.c, l1, l2, u, v));
    EXPECT_EQ(l1, c.l1);
    EXPECT_EQ(l2, c.l2);
    EXPECT_DOUBLE_EQ(u[0], c.u0);
    EXPECT_DOUBLE_EQ(u[1], c.u1);
    EXPECT_EQ(v[0], -u[1]);
    EXPECT_TRUE(std::signbit(v[0]) != std::signbit(u[1]));
    EXPECT_EQ(v[1], u[0]);
  }
  // The small eigenvalue comes from the determinant, not the subtraction.
  double l1, l2;
  EXPECT_TRUE(sym2_eigen_values(1, 1e-14, 0, l1, l2));
  EXPECT_EQ(l1, 1e-14 / l2);
  EXPECT_TRUE(sym2_eigen_values(-1, 1e-14, 0, l1, l2));  // repair of the larger
  EXPECT_EQ(l2, -1e-14 / l1);
  // A non-number fails, writes the values and leaves the vectors.
  vector_fixed<double, 2> u = {5, 5}, v = u;
  EXPECT_FALSE(sym2_eigen_pairs(nan, 1, 0, l1, l2, u, v));
  EXPECT_EQ(u[0], 5.0);
  EXPECT_TRUE(std::isnan(l1));
}

TEST(Metric3, LapackAgreesWithTheClosedFormOnADecoupledAxis) {
  std::mt19937 g(3);
  for (int t = 0; t < 100; ++t) {
    const metric2 m = random_spd<2>(g);
    metric3 M;
    M = 0.0;
    M(0, 0) = m(0, 0), M(0, 1) = m(0, 1), M(1, 1) = m(1, 1), M(2, 2) = 10;
    vector_fixed<double, 2> d;
    matrix_fixed<double, 2, 2> q;
    vector_fixed<double, 3> D;
    matrix_fixed<double, 3, 3> Q;
    ASSERT_TRUE(eigen_pairs(m, d, q));
    ASSERT_TRUE(eigen_pairs(M, D, Q));
    EXPECT_NEAR(D[2], 10, 1e-13);
    for (unsigned k = 0; k < 2; ++k) {
      EXPECT_NEAR(D[k], d[k], 1e-13);
      const double dot = Q(0, k) * q(0, k) + Q(1, k) * q(1, k);
      EXPECT_NEAR(std::fabs(dot), 1, 1e-12);
      EXPECT_EQ(Q(2, k), 0.0);
    }
  }
}

TEST(MetricValidity, TensorsAndFields) {
  metric2 m2[] = {{{0, 0, 0}}, {{1, 1, 1}}, {{1, 2, 1}}, {{nan, 0, 1}}, {{1e-300, 0, 1e-300}}};
  metric3 m3[] = {{{0, 0, 0, 0, 0, 0}},
                  {{1, 0, 1, 0, 0, 0}},
                  {{1, 0, -1, 0, 0, 1}},
                  {{nan, 0, 1, 0, 0, 1}},
                  {{1e-300, 0, 1e-300, 0, 0, 1e-300}}};
  for (unsigned i = 0; i < 5; ++i) {
    EXPECT_EQ(is_valid_metric(m2[i]), i == 4) << i;
    EXPECT_EQ(is_valid_metric(m3[i]), i == 4) << i;
  }
  const double inf = INFINITY;
  dense1D<double> H(3, 1.0);
  EXPECT_TRUE(are_valid_metrics(H));
  EXPECT_TRUE(are_valid_metrics(dense1D<unsigned>(), dense1D<double>()));
  const dense1D<unsigned> idx(1, 2u);
  for (double bad : {0.0, -1.0, nan, inf}) {
    H[2] = bad;
    EXPECT_FALSE(are_valid_metrics(H));
    EXPECT_FALSE(are_valid_metrics(idx, H));
  }
  EXPECT_FALSE(are_valid_metrics(dense1D<unsigned>(1, 3u), H));  // past the end

  EXPECT_FALSE(are_valid_metrics(dense2D<double>()));
  EXPECT_TRUE(are_valid_metrics(dense2D<double>(3, 0)));
  EXPECT_TRUE(are_valid_metrics(dense1D<unsigned>(), dense2D<double>()));
  EXPECT_FALSE(are_valid_metrics(dense1D<unsigned>(), dense2D<double>(4, 1, 1.0)));
  dense2D<double> M(6, 3, 0.0);
  for (unsigned j = 0; j < 3; ++j) M(0, j) = M(2, j) = M(5, j) = 1;
  EXPECT_TRUE(are_valid_metrics(M));
  EXPECT_TRUE(are_valid_metrics(idx, M));
  M(2, 1) = 0;
  EXPECT_FALSE(are_valid_metrics(M));
  EXPECT_TRUE(are_valid_metrics(idx, M));
  EXPECT_FALSE(are_valid_metrics(dense1D<unsigned>(1, 3u), M));
  EXPECT_FALSE(are_valid_metrics(dense1D<unsigned>(1, 1u), M));
}

TEST(MetricBounds, ClampEigenvaluesKeepVectors) {
  std::mt19937 g(5);
  for (int t = 0; t < 50; ++t) {
    const metric3 M = random_spd<3>(g);
    metric3 B = M;
    bound_metric(B, 0, 0);  // no bound: bit for bit
    for (unsigned i = 0; i < 6; ++i) EXPECT_EQ(B[i], M[i]);
    B = M;
    bound_metric(B, 0.5, 0.5);  // every size 0.5
    for (unsigned i = 0; i < 6; ++i) EXPECT_NEAR(B[i], i == 0 || i == 2 || i == 5 ? 4 : 0, 1e-12);
    B = M;
    bound_metric(B, 2, 1);  // crossed: the largest size wins
    for (unsigned i = 0; i < 6; ++i) EXPECT_NEAR(B[i], i == 0 || i == 2 || i == 5 ? 1 : 0, 1e-12);
    B = M;
    bound_metric(B, 0.8, 1.5);
    vector_fixed<double, 3> D0, D;
    sym3_eigen_values(M, D0);
    sym3_eigen_values(B, D);
    for (unsigned k = 0; k < 3; ++k)
      EXPECT_NEAR(D[k], std::fmin(std::fmax(D0[k], 1 / 2.25), 1 / 0.64), 1e-12);
  }
  metric2 m = {{-1, 0, 4}};  // a negative eigenvalue rises to 0
  bound_metric(m, 0, 0);
  EXPECT_EQ(m[0], 0.0);
  EXPECT_EQ(m[2], 4.0);
  m = {{nan, 0, 1}};  // cannot be decomposed: the largest size
  bound_metric(m, 1, 2);
  EXPECT_EQ(m[0], 0.25);
  EXPECT_EQ(m[1], 0.0);

  dense2D<double> F(4, 2, 1.0);
  EXPECT_EQ(bound_metrics(F, 1, 2), -1);
  EXPECT_EQ(bound_metrics(F, -1, -1), 0);
  dense2D<double> empty(4, 0);
  EXPECT_EQ(bound_metrics(empty, 1, 2), 0);
  dense2D<double> G(3, 2, 0.0);
  G(0, 1) = G(2, 1) = 100;
  EXPECT_EQ(bound_metrics(G, 0.5, 2), 0);
  EXPECT_EQ(G(0, 0), 0.25);
  EXPECT_NEAR(G(0, 1), 4, 1e-14);
  EXPECT_EQ(bound_metrics(G, -1, 1), 0);  // one negative bound, the other still acts
  EXPECT_NEAR(G(0, 0), 1, 1e-15);
  dense1D<double> H(3, 1.0);
  H[1] = nan;
  EXPECT_EQ(bound_metrics(H, 1, 0), 0);  // h_max taken at its word
  EXPECT_EQ(H[0], 0.0);
  EXPECT_TRUE(std::isnan(H[1]));
}

TEST(MetricRepair, FromSizesAndTensors) {
  dense1D<double> H(4), ref(3, 2.0);
  const double h[] = {-1, INFINITY, 0, -5};
  for (unsigned i = 0; i < 4; ++i) H[i] = h[i];
  ref[2] = nan;
  EXPECT_EQ(overwrite_invalid_metrics(H, ref), 0);
  EXPECT_EQ(H[0], 2.0);
  EXPECT_EQ(H[1], INFINITY);
  EXPECT_EQ(H[2], 0.0);
  EXPECT_EQ(H[3], -5.0);  // past the reference

  dense2D<double> M(6, 2, 0.0), R3(3, 2, 1.0), R6(6, 2, 0.0);
  M(0, 1) = M(2, 1) = M(5, 1) = 9;
  EXPECT_EQ(overwrite_invalid_metrics(M, R3), -2);
  EXPECT_EQ(M(0, 0), 0.0);
  EXPECT_EQ(overwrite_invalid_metrics(R6, dense2D<double>(4, 1)), -2);
  dense2D<double> bad(4, 2, 0.0), empty(4, 0);
  EXPECT_EQ(overwrite_invalid_metrics(bad, R3), -1);
  EXPECT_EQ(overwrite_invalid_metrics(bad, ref), -1);
  EXPECT_EQ(overwrite_invalid_metrics(empty, R3), 0);
  R6(0, 0) = R6(2, 0) = R6(5, 0) = 3;
  EXPECT_EQ(overwrite_invalid_metrics(M, R6), 0);
  EXPECT_EQ(M(0, 0), 3.0);
  EXPECT_EQ(M(0, 1), 9.0);
  M(5, 0) = 0;
  EXPECT_EQ(overwrite_invalid_metrics(M, ref), 0);
  EXPECT_EQ(M(5, 0), 0.25);
  EXPECT_EQ(M(1, 0), 0.0);
  EXPECT_EQ(M(0, 1), 9.0);  // a valid tensor stays, whatever the reference
  M(0, 1) = 0;              // the repair walks every column
  R6(0, 1) = R6(2, 1) = R6(5, 1) = 5;
  EXPECT_EQ(overwrite_invalid_metrics(M, R6), 0);
  EXPECT_EQ(M(0, 1), 5.0);
}

TEST(EdgeMeasures, LogMeanAndLengths) {
  EXPECT_EQ(log_mean_size(2, 2), 2.0);
  EXPECT_EQ(log_mean_size(0, 1), 0.0);
  EXPECT_EQ(log_mean_size(1, -1), 0.0);
  EXPECT_NEAR(log_mean_size(1, std::exp(1.0)), std::exp(1.0) - 1, 1e-15);
  EXPECT_NEAR(log_mean_size(4, 1), 3 / std::log(4.0), 1e-15);
  // The series and the closed form meet at the threshold.
  const double below = log_mean_size(1, 0.999 - 4e-16), above = log_mean_size(1, 0.999 + 4e-16);
  EXPECT_NEAR(below, above, 1e-15);
  EXPECT_NEAR(below, 0.001 / -std::log(0.999), 1e-15);
  EXPECT_NEAR(log_mean_size(1, 0.9995), (1 - 0.9995) / -std::log(0.9995), 1e-13);

  EXPECT_EQ(metric_edge_length(1, 0, 1, false), DBL_MAX);
  EXPECT_EQ(metric_edge_length(1, 0, 1, true), 0.0);
  EXPECT_EQ(metric_edge_length(4, 2, 2, false), 2.0);
  EXPECT_EQ(metric_edge_length(4, 2, 2, true), 0.5);
  EXPECT_EQ(metric_edge_length(1, 2, 2, true), 0.5);

  metric3 A, B;
  metric_iso_to_aniso(0.5, A);
  metric_iso_to_aniso(2, B);
  const vector_fixed<double, 3> d = {3, 0, 4};
  double r1 = 0, r2 = 0;
  EXPECT_NEAR(metric_edge_length(d, A, B, false, r1, r2), metric_edge_length(5, 0.5, 2, false),
              1e-15);
  EXPECT_DOUBLE_EQ(r1, 0.1);
  EXPECT_DOUBLE_EQ(r2, 0.4);
  metric_iso_to_aniso(0, B);
  EXPECT_EQ(B[0], 0.0);
  metric_iso_to_aniso(-1, B);
  EXPECT_EQ(B[0], 0.0);
  EXPECT_EQ(metric_edge_length(d, A, B, false, r1, r2), DBL_MAX);
  EXPECT_EQ(r1, 100.0);  // the quadratic forms stay
  EXPECT_EQ(r2, 0.0);
  const metric2 a = {{1, 0, 1}};
  EXPECT_EQ(metric_edge_length(vector_fixed<double, 2>{{0, 0}}, a, a, true, r1, r2), 0.0);
}

}  // namespace
