// Tensors and eigen pairs, validity, bounds and repair, edge measures,
// intersection and frames: random tensors against their defining equations,
// hand-derived values at the branch points.
#include "measures.h"

template <unsigned N>
symmetric_fixed<double, N> random_spd(std::mt19937& g) {
  std::uniform_real_distribution<double> u(-1, 1);
  matrix_fixed<double, N, N> R;
  for (auto& x : R.v) x = u(g);
  symmetric_fixed<double, N> M;
  for (unsigned j = 0; j < N; ++j)
    for (unsigned i = 0; i <= j; ++i) {
      M(i, j) = i == j ? 0.05 : 0;
      for (unsigned k = 0; k < N; ++k) M(i, j) += R(i, k) * R(j, k);
    }
  return M;
}

// Random pairs (A, B): B from its eigen pairs; B bounded not at all (bit for
// bit), with crossed bounds (the largest size wins) and by a clamp of its
// eigenvalues; q' B q = D q' A q for the unit columns q of the generalised
// pairs; the minimum holds both unit balls, the maximum lies in both.
template <unsigned N>
void check_random_pairs() {
  typedef symmetric_fixed<double, N> S;
  std::mt19937 g(N);
  std::uniform_real_distribution<double> u(-1, 1);
  vector_fixed<double, N> D, D0, q;
  matrix_fixed<double, N, N> Q;
  S A, B, C, I, R, lo, hi;
  metric_iso_to_aniso(1, I);
  for (int t = 0; t < 200; ++t) {
    const S A = random_spd<N>(g), B = random_spd<N>(g);
    S none = B, crossed = B, clamped = B;
    bound_metric(none, 0, 0), bound_metric(crossed, 2, 1), bound_metric(clamped, 0.8, 1.5);
    ASSERT_TRUE(eigen_pairs(clamped, D0, Q) && eigen_pairs(B, D, Q) && is_valid_metric(B));
    metric_from_eigen_pairs(D, Q, R);
    EXPECT_TRUE(Near(join(V(R), V(crossed)), join(V(B), V(I)), 1e-12) && V(none) == V(B));
    EXPECT_TRUE(std::is_sorted(D.v, D.v + N));
    for (unsigned k = 0; k < N; ++k)
      EXPECT_NEAR(D0[k], std::fmin(std::fmax(D[k], 1 / 2.25), 1 / 0.64), 1e-12);
    ASSERT_TRUE(eigen_pairs(A, B, D, Q));
    for (unsigned k = 0; k < N; ++k) {
      for (unsigned i = 0; i < N; ++i) q[i] = Q(i, k);
      EXPECT_TRUE(
          Near({metric_norm2(B, q), metric_norm2(I, q)}, {D[k] * metric_norm2(A, q), 1}, 1e-12));
    }
    minimum_metric(A, B, lo), maximum_metric(A, B, hi);
    for (int k = 0; k < 20; ++k) {
      for (auto& x : q.v) x = u(g);
      const double a = metric_norm2(A, q), b = metric_norm2(B, q);
      EXPECT_TRUE(metric_norm2(lo, q) >= std::fmax(a, b) * (1 - 1e-9) &&
                  metric_norm2(hi, q) <= std::fmin(a, b) * (1 + 1e-9));
    }
  }
  // A11 = 0 (B not looked at), a negative last pivot: D and Q untouched.
  A = 0.0, B = NAN, Q = 7.0, D0 = D, C = I, C(N - 1, N - 1) = -1;
  EXPECT_FALSE(eigen_pairs(A, B, D, Q) || eigen_pairs(C, I, D, Q));
  EXPECT_EQ(join(V(Q), V(D)), join(Vd(N * N, 7.0), V(D0)));
  B = 0.0;  // the zero tensor is the one B the 3D factorisation lets through
  ASSERT_TRUE(eigen_pairs(I, B, D, Q));
  EXPECT_EQ(V(D), Vd(N, 0.0));
  B = I, B(0, 0) = -2;  // indefinite: 2D solves it, 3D cannot factor it
  EXPECT_EQ(eigen_pairs(I, B, D, Q), N == 2);
  EXPECT_EQ(D[0], N == 2 ? -2.0 : 0.0);
}

TEST(MetricEigen, RandomPairsSolveTheirEquationsBoundsAndIntersections) {
  check_random_pairs<2>();
  check_random_pairs<3>();
}

TEST(Metric2, ClosedFormValuesVectorsAndSigns) {
  const double s = 1 / std::sqrt(2.0), t = -3 / std::sqrt(18.0);
  // a, b, c, l1, l2, u1: identity, zero, both orders of c = 0, both rows.
  const double cases[][7] = {{3, 3, 0, 3, 3, 1, 0},  {0, 0, 0, 0, 0, 1, 0},
                             {1, 4, 0, 1, 4, -1, 0}, {4, 1, 0, 1, 4, 0, -1},
                             {2, 2, 1, 1, 3, s, -s}, {1, 1, -3, -2, 4, t, t}};
  double l1, l2, m1, m2;
  vector_fixed<double, 2> u, v;
  for (const auto& c : cases) {
    ASSERT_TRUE(sym2_eigen_pairs(c[0], c[1], c[2], l1, l2, u, v));
    EXPECT_EQ(Vd({l1, l2, v[0], v[1]}), Vd({c[3], c[4], -u[1], u[0]}));
    EXPECT_TRUE(Near(V(u), {c[5], c[6]}, 1e-15) && std::signbit(v[0]) != std::signbit(u[1]));
  }
  // The small eigenvalue comes from the determinant, not the subtraction,
  // whichever it is; a non-number fails, writes the values, leaves the vectors.
  u = 5.0, v = 5.0;
  EXPECT_EQ(Vi({sym2_eigen_values(1, 1e-14, 0, l1, l2), sym2_eigen_values(-1, 1e-14, 0, m1, m2),
                sym2_eigen_pairs(NAN, 1, 0, u[1], v[1], u, v)}),
            Vi({1, 1, 0}));
  EXPECT_TRUE(l1 == 1e-14 / l2 && m2 == -1e-14 / m1 && u[0] == 5 && std::isnan(u[1]));
}

TEST(MetricValidity, TensorsAndFields) {
  // Zero, singular, indefinite, a non-number, and the one valid: tiny yet
  // above 0 with no tolerance.
  const metric2 t2[] = {
      {{0, 0, 0}}, {{1, 1, 1}}, {{1, 2, 1}}, {{NAN, 0, 1}}, {{1e-300, 0, 1e-300}}};
  const metric3 t3[] = {{{0, 0, 0, 0, 0, 0}},
                        {{1, 0, 1, 0, 0, 0}},
                        {{1, 0, -1, 0, 0, 1}},
                        {{NAN, 0, 1, 0, 0, 1}},
                        {{1e-300, 0, 1e-300, 0, 0, 1e-300}}};
  for (unsigned i = 0; i < 5; ++i)
    EXPECT_EQ(is_valid_metric(t2[i]) + is_valid_metric(t3[i]), 2 * (i == 4)) << i;
  dense1D<double> H(3, 1.0);
  dense2D<double> M = iso(H, 3);
  const dense1D<unsigned> none, idx = vec({2}), past = vec({3}), one = vec({1});
  EXPECT_TRUE(are_valid_metrics(H) && are_valid_metrics(none, dense1D<double>()) &&
              are_valid_metrics(M) && are_valid_metrics(idx, M) &&
              are_valid_metrics(dense2D<double>(3, 0)) &&
              are_valid_metrics(none, dense2D<double>()));
  for (double bad : Vd{0, -1, NAN, INFINITY})
    EXPECT_FALSE((H[2] = bad, are_valid_metrics(H)) || are_valid_metrics(idx, H));
  M(2, 1) = 0;
  EXPECT_TRUE(are_valid_metrics(idx, M));
  EXPECT_FALSE(are_valid_metrics(past, H) || are_valid_metrics(dense2D<double>()) ||
               are_valid_metrics(none, dense2D<double>(4, 1, 1.0)) || are_valid_metrics(M) ||
               are_valid_metrics(past, M) || are_valid_metrics(one, M));
}

TEST(MetricBounds, SignsNonNumbersAndFields) {
  // A negative eigenvalue rises to 0; what cannot be decomposed takes the
  // largest size.
  metric2 m = {{-1, 0, 4}}, n = {{NAN, 0, 1}};
  bound_metric(m, 0, 0), bound_metric(n, 1, 2);
  EXPECT_EQ(join(V(m), V(n)), Vd({0, 0, 4, 0.25, 0, 0.25}));
  dense2D<double> F(4, 2, 1.0), empty(4, 0), G = mat(3, Vd{0, 0, 0, 100, 0, 100});
  dense1D<double> H = sizes({1, NAN, 0.5});
  // One negative bound: the other still acts. For sizes, h_max is taken at
  // its word and non-numbers stay.
  EXPECT_EQ(Vi({bound_metrics(F, 1, 2), bound_metrics(F, -1, -1), bound_metrics(empty, 1, 2),
                bound_metrics(G, 0.5, 2), int(G(0, 0) * 4 + 10 * std::round(G(0, 1))),
                bound_metrics(G, -1, 1), bound_metrics(H, 1, 0)}),
            Vi({-1, 0, 0, 0, 41, 0, 0}));
  EXPECT_TRUE(Near({G(0, 0), G(0, 1), H[0], H[2]}, {1, 4, 0, 0}, 1e-14) && std::isnan(H[1]));
}

TEST(MetricRepair, FromSizesAndTensors) {
  dense1D<double> H = sizes({-1, INFINITY, 0, -5}), ref = sizes({2, 2, NAN});
  EXPECT_EQ(overwrite_invalid_metrics(H, ref), 0);
  EXPECT_EQ(std_of(H), Vd({2, INFINITY, 0, -5}));  // -5 past the reference
  dense2D<double> M = iso(sizes({0, 0.5}), 3), R6 = iso(sizes({0.25, 0}), 3), R3(3, 2, 1.0),
                  bad(4, 2, 0.0), empty(4, 0);
  auto O = [](dense2D<double>& m, const auto& r) { return overwrite_invalid_metrics(m, r); };
  EXPECT_EQ(Vi({O(M, R3), O(R6, dense2D<double>(4, 1)), O(bad, R3), O(bad, ref), O(empty, R3),
                O(empty, ref), int(M(0, 0)), O(M, R6), int(M(0, 0) * 10 + M(0, 1))}),
            Vi({-2, -2, -1, -1, 0, 0, 0, 0, 164}));
  M(5, 0) = 0;
  EXPECT_EQ(O(M, ref), 0);  // a valid tensor stays, whatever the reference
  EXPECT_EQ(flat(M), Vd({0.25, 0, 0.25, 0, 0, 0.25, 4, 0, 4, 0, 0, 4}));
  // The repair walks every column and copies every entry of the tensor.
  const Vd spd = {5, 0.1, 4, 0.2, 0.3, 3};
  M(0, 1) = 0;
  for (unsigned r = 0; r < 6; ++r) R6(r, 1) = spd[r];
  EXPECT_EQ(O(M, R6), 0);
  EXPECT_EQ(flat(M), join(Vd({0.25, 0, 0.25, 0, 0, 0.25}), spd));
}

TEST(EdgeMeasures, LogMeanAndLengths) {
  // The series and the closed form meet at the threshold 0.999.
  const double below = log_mean_size(1, 0.999 - 4e-16), above = log_mean_size(1, 0.999 + 4e-16);
  EXPECT_TRUE(Near({log_mean_size(2, 2), log_mean_size(0, 1), log_mean_size(1, -1),
                    log_mean_size(1, std::exp(1.0)), log_mean_size(4, 1), below, above,
                    log_mean_size(1, 0.9995) * 100},
                   {2, 0, 0, std::exp(1.0) - 1, 3 / std::log(4.0), 0.001 / -std::log(0.999), below,
                    (1 - 0.9995) / -std::log(0.9995) * 100},
                   1e-13));
  EXPECT_EQ(Vd({metric_edge_length(1, 0, 1, false), metric_edge_length(1, 0, 1, true),
                metric_edge_length(4, 2, 2, false), metric_edge_length(4, 2, 2, true),
                metric_edge_length(1, 2, 2, true)}),
            Vd({DBL_MAX, 0, 2, 0.5, 0.5}));
  metric3 A, B;
  metric_iso_to_aniso(0.5, A), metric_iso_to_aniso(2, B);
  const vector_fixed<double, 3> d = {3, 0, 4};
  double r1 = 0, r2 = 0;
  const double l = metric_edge_length(d, A, B, false, r1, r2);
  EXPECT_TRUE(Near({l, r1, r2}, {metric_edge_length(5, 0.5, 2, false), 0.1, 0.4}, 1e-15));
  for (double h : {0.0, -1.0}) {  // the zero tensor; the quadratic forms stay
    metric_iso_to_aniso(h, B);
    EXPECT_EQ(join(V(B), {metric_edge_length(d, A, B, false, r1, r2), r1, r2}),
              Vd({0, 0, 0, 0, 0, 0, DBL_MAX, 100, 0}));
  }
  EXPECT_EQ(metric_edge_length(vector_fixed<double, 2>{{0, 0}}, metric2{{1, 0, 1}},
                               metric2{{1, 0, 1}}, true, r1, r2),
            0.0);
}

TEST(MetricIntersection, MinimumMaximumBlendAndFrames) {
  metric3 A, B, lo;
  metric_iso_to_aniso(2, A), metric_iso_to_aniso(0.5, B);
  minimum_metric(A, B, lo), maximum_metric(A, B, A);  // output over an input
  EXPECT_TRUE(Near(join(V(lo), V(A)), {4, 0, 4, 0, 0, 4, 0.25, 0, 0.25, 0, 0, 0.25}, 1e-14));
  metric2 Z = {{0, 0, 0}}, I = {{1, 0, 1}}, N = I, T, U, W;
  minimum_metric(Z, I, N);  // no reduction: the zero tensor
  EXPECT_EQ(V(N), V(Z));
  metric_iso_to_aniso(3, N);  // sizes 1 and 3 blend to 2; near 0 and 1, copies
  EXPECT_EQ(Vi({interpolate_metric(0.5, I, N, T), interpolate_metric(1e-13, I, N, U),
                interpolate_metric(1 - 1e-13, I, N, W),
                interpolate_metric(0.5, I, metric2{{-1, 0, 1}}, Z)}),
            Vi({1, 1, 1, 0}));
  EXPECT_TRUE(Near(V(T), {0.25, 0, 0.25}, 1e-15));
  EXPECT_EQ(join(V(U), V(W)), join(V(I), V(N)));
  // Frames of two columns, (1, 0, 0) and (0, 2, 0); a 3D tensor seen in one
  // is its upper-left block, scaled.
  const matrix_fixed<double, 3, 2> frame = {{1, 0, 0, 0, 2, 0}};
  const metric3 S = {{1, 2, 3, 4, 5, 6}};
  metric2 F, G, K;
  metric_iso_to_aniso2d(0, frame, F), metric_iso_to_aniso2d(2, frame, G),
      metric_aniso3d_to_aniso2d(S, frame, K);
  EXPECT_EQ(join(join(V(F), V(G)), V(K)), Vd({0, 0, 0, 0.25, 0, 1, 1, 4, 12}));
  dense2D<double> out, none, m2, M3 = mat(6, join(V(S), Vd{2, 4, 6, 8, 10, 12})),
                                 frames3 = mat(6, join(V(frame), V(frame))),
                                 frames = mat(6, Vd{1, 0, 0, 0, 1, 0, 0, 2, 0, 0, 0, 1});
  metrics_iso_to_aniso2d(sizes({1, -1}), out);
  EXPECT_EQ(flat(out), Vd({1, 0, 1, 0, 0, 0}));
  EXPECT_EQ(
      Vi({metrics_aniso3d_to_aniso2d(none, none, out),
          metrics_aniso3d_to_aniso2d(dense2D<double>(6, 2), frames3.sub_matrix(0, 0, 6, 1), out),
          metrics_iso_to_aniso2d(sizes({1, 2}), dense2D<double>(5, 2), out), int(out.cols()),
          metrics_aniso3d_to_aniso2d(M3, frames3, out),
          metrics_iso_to_aniso2d(sizes({1, 2}), frames, m2)}),
      Vi({-1, -2, -2, 2, 0, 0}));  // M untouched on failure
  const dense1D<double> two = sizes({1, 2});
  for (bool from3 : {false, true})
    expect_ok_or_out_of_memory([&] {
      dense2D<double> fresh;
      return from3 ? metrics_aniso3d_to_aniso2d(M3, frames3, fresh)
                   : metrics_iso_to_aniso2d(two, frames, fresh);
    });
  EXPECT_EQ(Vd({out(2, 0), out(2, 1), m2(0, 1), m2(1, 1), m2(2, 1)}), Vd({12, 24, 1, 0, 0.25}));
  EXPECT_EQ(metrics_aniso3d_to_aniso2d(dense2D<double>(6, 0), dense2D<double>(6, 0), out) +
                out.rows() * 10 + out.cols(),
            30u);
}
