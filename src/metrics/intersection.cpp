// Two tensors at a node combined in their common basis (smaller sizes,
// larger sizes, a blend of sizes), and sizes or 3D tensors projected on the
// local frame of a surface.
#include <cfloat>
#include <cmath>
#include <cstddef>

#include "qz4/tessellix/metrics.h"

namespace qz4 {
namespace tessellix {

namespace {

// Both tensors diagonal in one basis: M1 = W diag(lambda1) W',
// M2 = W diag(lambda2) W', with W the transposed inverse of the unit columns
// Q of the generalised problem M2 q = D M1 q.
template <unsigned N>
struct metric_reduction {
  matrix_fixed<double, N, N> Q, W;
  vector_fixed<double, N> lambda1, lambda2;
  bool valid;

  metric_reduction(const symmetric_fixed<double, N>& M1, const symmetric_fixed<double, N>& M2) {
    lambda1 = 0.0;
    lambda2 = 0.0;
    W = 0.0;
    vector_fixed<double, N> D;
    valid = eigen_pairs(M1, M2, D, Q);
    if (!valid) return;
    inverse_transpose();
    for (unsigned k = 0; k < N; ++k) {
      vector_fixed<double, N> q;
      for (unsigned i = 0; i < N; ++i) q[i] = Q(i, k);
      lambda1[k] = metric_norm2(M1, q);
      lambda2[k] = D[k] * lambda1[k];
      valid = valid && lambda1[k] > 0 && lambda2[k] > 0;
    }
  }

  void inverse_transpose();
};

template <>
void metric_reduction<2>::inverse_transpose() {
  const double r = 1 / (Q[0] * Q[3] - Q[2] * Q[1]);
  W[0] = r * Q[3], W[1] = -r * Q[2], W[2] = -r * Q[1], W[3] = r * Q[0];
}

template <>
void metric_reduction<3>::inverse_transpose() {
  // Cofactors in the places of their entries, over the determinant expanded
  // along the first column.
  for (unsigned j = 0; j < 3; ++j)
    for (unsigned i = 0; i < 3; ++i) {
      const unsigned i1 = (i + 1) % 3, i2 = (i + 2) % 3, j1 = (j + 1) % 3, j2 = (j + 2) % 3;
      W(i, j) = Q(i1, j1) * Q(i2, j2) - Q(i1, j2) * Q(i2, j1);
    }
  const double det = Q(0, 0) * W(0, 0) + Q(1, 0) * W(1, 0) + Q(2, 0) * W(2, 0);
  for (unsigned k = 0; k < 9; ++k) W[k] /= det;
}

// The larger eigenvalue of each pair (smaller size) or the smaller one.
template <unsigned N>
void extreme_metric(const symmetric_fixed<double, N>& M1, const symmetric_fixed<double, N>& M2,
                    symmetric_fixed<double, N>& M, bool smaller_size) {
  const metric_reduction<N> r(M1, M2);
  vector_fixed<double, N> D;
  for (unsigned k = 0; k < N; ++k) {
    const double a = r.lambda1[k], b = r.lambda2[k];
    D[k] = smaller_size ? (a < b ? b : a) : (a > b ? b : a);
  }
  metric_from_eigen_pairs(D, r.W, M);
}

template <unsigned N>
bool interpolate(double t, const symmetric_fixed<double, N>& M1,
                 const symmetric_fixed<double, N>& M2, symmetric_fixed<double, N>& M) {
  if (std::fabs(t) < 1e-12) {
    M = M1;
    return true;
  }
  if (std::fabs(t - 1) < 1e-12) {
    M = M2;
    return true;
  }
  const metric_reduction<N> r(M1, M2);
  for (unsigned k = 0; k < N; ++k)
    if (!(0 < r.lambda1[k] && r.lambda1[k] < DBL_MAX && 0 < r.lambda2[k] && r.lambda2[k] < DBL_MAX))
      return false;
  vector_fixed<double, N> D;
  for (unsigned k = 0; k < N; ++k) {
    const double s1 = 1 / std::sqrt(r.lambda1[k]), s2 = 1 / std::sqrt(r.lambda2[k]);
    const double s = s1 + (s2 - s1) * t;  // sizes blend, not eigenvalues
    D[k] = 0 < s && s < std::sqrt(DBL_MAX) ? 1 / (s * s) : 0;
  }
  metric_from_eigen_pairs(D, r.W, M);
  return true;
}

double dot3(const double* a, const double* b) { return a[0] * b[0] + a[1] * b[1] + a[2] * b[2]; }

void iso_to_frame(double h, const double* B, double* M) {
  M[0] = M[1] = M[2] = 0;
  if (!(h > 0)) return;
  const double v = 1 / (h * h);
  M[0] = v * dot3(B, B);
  M[1] = v * dot3(B, B + 3);
  M[2] = v * dot3(B + 3, B + 3);
}

void aniso3d_to_frame(const double* M3, const double* B, double* M) {
  static const unsigned at[3][3] = {{0, 1, 3}, {1, 2, 4}, {3, 4, 5}};
  double T[6];  // M3 B, column by column
  for (unsigned j = 0; j < 2; ++j)
    for (unsigned i = 0; i < 3; ++i)
      T[3 * j + i] =
          M3[at[i][0]] * B[3 * j] + M3[at[i][1]] * B[3 * j + 1] + M3[at[i][2]] * B[3 * j + 2];
  M[0] = dot3(B, T);
  M[1] = dot3(B, T + 3);
  M[2] = dot3(B + 3, T + 3);
}

void iso_field(const dense1D<double>& H, dense2D<double>& M, unsigned dim) {
  const unsigned rows = dim * (dim + 1) / 2;
  M.clear();
  M.resize(rows, H.size(), 0.0);
  for (unsigned n = 0; n < H.size() && M.cols() == H.size(); ++n)
    if (0 < H[n])
      for (unsigned d = 0; d < dim; ++d) M(d * (d + 3) / 2, n) = 1 / (H[n] * H[n]);
}

}  // namespace

void minimum_metric(const metric2& M1, const metric2& M2, metric2& M) {
  extreme_metric(M1, M2, M, true);
}
void minimum_metric(const metric3& M1, const metric3& M2, metric3& M) {
  extreme_metric(M1, M2, M, true);
}
void maximum_metric(const metric2& M1, const metric2& M2, metric2& M) {
  extreme_metric(M1, M2, M, false);
}
void maximum_metric(const metric3& M1, const metric3& M2, metric3& M) {
  extreme_metric(M1, M2, M, false);
}

bool interpolate_metric(double t, const metric2& M1, const metric2& M2, metric2& M) {
  return interpolate(t, M1, M2, M);
}
bool interpolate_metric(double t, const metric3& M1, const metric3& M2, metric3& M) {
  return interpolate(t, M1, M2, M);
}

void metric_iso_to_aniso2d(double h, const matrix_fixed<double, 3, 2>& B, metric2& M) {
  iso_to_frame(h, B.data(), M.data());
}

void metric_aniso3d_to_aniso2d(const metric3& M3, const matrix_fixed<double, 3, 2>& B, metric2& M) {
  aniso3d_to_frame(M3.data(), B.data(), M.data());
}

void metrics_iso_to_aniso2d(const dense1D<double>& H, dense2D<double>& M) { iso_field(H, M, 2); }
void metrics_iso_to_aniso3d(const dense1D<double>& H, dense2D<double>& M) { iso_field(H, M, 3); }

int metrics_iso_to_aniso2d(const dense1D<double>& H, const dense2D<double>& B, dense2D<double>& M) {
  if (B.rows() != 6 || B.cols() != H.size()) return -2;
  M.clear();
  if (!M.resize(3, H.size(), 0.0)) return -199;
  for (unsigned n = 0; n < H.size(); ++n)
    iso_to_frame(H[n], B.data() + std::size_t(n) * B.ld(), M.data() + std::size_t(n) * M.ld());
  return 0;
}

int metrics_aniso3d_to_aniso2d(const dense2D<double>& M3, const dense2D<double>& B,
                               dense2D<double>& M) {
  if (M3.rows() != 6) return -1;
  if (B.rows() != 6 || B.cols() != M3.cols()) return -2;
  M.clear();
  if (!M.resize(3, M3.cols(), 0.0)) return -199;
  for (unsigned n = 0; n < M3.cols(); ++n)
    aniso3d_to_frame(M3.data() + std::size_t(n) * M3.ld(), B.data() + std::size_t(n) * B.ld(),
                     M.data() + std::size_t(n) * M.ld());
  return 0;
}

}  // namespace tessellix
}  // namespace qz4
