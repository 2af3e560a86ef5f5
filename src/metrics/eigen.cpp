// Metric tensors and their eigen-decompositions: closed 2x2 forms, dspev in
// 3D, and the generalised problem B q = D A q through the Cholesky factor of
// A. Everything works on fixed-size locals; nothing allocates.
#include <cmath>

#include "metrics/lapack.h"
#include "qz4/tessellix/metrics.h"

namespace qz4 {
namespace tessellix {

namespace {

template <unsigned N>
void iso_to_aniso(double h, symmetric_fixed<double, N>& M) {
  M = 0.0;
  if (h > 0)
    for (unsigned i = 0; i < N; ++i) M(i, i) = 1 / (h * h);
}

template <unsigned N>
void from_eigen_pairs(const vector_fixed<double, N>& D, const matrix_fixed<double, N, N>& Q,
                      symmetric_fixed<double, N>& M) {
  for (unsigned j = 0; j < N; ++j)
    for (unsigned i = 0; i <= j; ++i) {
      double s = 0;
      for (unsigned k = 0; k < N; ++k) s += D[k] * Q(i, k) * Q(j, k);
      M(i, j) = s;
    }
}

template <unsigned N>
double norm2(const symmetric_fixed<double, N>& M, const vector_fixed<double, N>& d) {
  double s = 0;
  for (unsigned i = 0; i < N; ++i)
    for (unsigned j = 0; j < N; ++j) s += d[i] * M(i, j) * d[j];
  return s;
}

// Scales each column to unit Euclidean length; a zero column stays.
template <unsigned N>
void normalize_columns(matrix_fixed<double, N, N>& Q) {
  for (unsigned k = 0; k < N; ++k) {
    double n2 = 0;
    for (unsigned i = 0; i < N; ++i) n2 += Q(i, k) * Q(i, k);
    const double n = std::sqrt(n2);
    if (n != 0)
      for (unsigned i = 0; i < N; ++i) Q(i, k) /= n;
  }
}

bool dspev3(const metric3& M, vector_fixed<double, 3>& w, double* Z) {
  double ap[6], work[9];
  for (unsigned i = 0; i < 6; ++i) ap[i] = M[i];
  long info = 0;
  lapack::dspev(Z ? 'V' : 'N', 'U', 3, ap, w.data(), Z, Z ? 3 : 1, work, info);
  return info == 0;
}

// Cholesky factor of a packed 3x3 tensor, as (L11, L21, L22, L31, L32, L33).
// The first two pivots must be above 0 (non-numbers fail), the last one only
// not below 0.
bool cholesky3(const metric3& A, double L[6]) {
  if (!(A[0] > 0)) return false;
  L[0] = std::sqrt(A[0]);
  L[1] = A[1] / L[0];
  L[3] = A[3] / L[0];
  const double p2 = A[2] - L[1] * L[1];
  if (!(p2 > 0)) return false;
  L[2] = std::sqrt(p2);
  L[4] = (A[4] - L[3] * L[1]) / L[2];
  const double p3 = A[5] - L[3] * L[3] - L[4] * L[4];
  if (!(p3 >= 0)) return false;
  L[5] = std::sqrt(p3);
  return true;
}

}  // namespace

void metric_iso_to_aniso(double h, metric2& M) { iso_to_aniso(h, M); }
void metric_iso_to_aniso(double h, metric3& M) { iso_to_aniso(h, M); }

void metric_from_eigen_pairs(const vector_fixed<double, 2>& D, const matrix_fixed<double, 2, 2>& Q,
                             metric2& M) {
  from_eigen_pairs(D, Q, M);
}
void metric_from_eigen_pairs(const vector_fixed<double, 3>& D, const matrix_fixed<double, 3, 3>& Q,
                             metric3& M) {
  from_eigen_pairs(D, Q, M);
}

double metric_norm2(const metric2& M, const vector_fixed<double, 2>& d) { return norm2(M, d); }
double metric_norm2(const metric3& M, const vector_fixed<double, 3>& d) { return norm2(M, d); }

bool sym2_eigen_values(double a, double b, double c, double& l1, double& l2) {
  const double det = a * b - c * c;
  const double s = std::sqrt((a - b) * (a - b) + 4 * c * c);
  l1 = ((a + b) - s) * 0.5;
  l2 = l1 + s;
  // When one eigenvalue is tiny against the other, the subtraction that made
  // it has cancelled; the determinant still holds it.
  const double eps = 1e-12;
  if (eps * std::fabs(l2) > std::fabs(l1))
    l1 = det / l2;
  else if (std::fabs(l2) < eps * std::fabs(l1))
    l2 = det / l1;
  return std::isfinite(l1) && std::isfinite(l2);
}

bool sym2_eigen_pairs(double a, double b, double c, double& l1, double& l2,
                      vector_fixed<double, 2>& u1, vector_fixed<double, 2>& u2) {
  if (!sym2_eigen_values(a, b, c, l1, l2)) return false;
  // u1 is orthogonal to the larger row of M - l1 I, the better conditioned.
  const double p = l1 - a, r = l1 - b;
  double e0, e1, n2;
  if (!(p * p < r * r)) {
    e0 = c, e1 = p, n2 = p * p + c * c;
  } else {
    e0 = r, e1 = c, n2 = r * r + c * c;
  }
  const double a2 = a * a, b2 = b * b;
  if ((a2 > b2 ? a2 : b2) * 1e-24 >= n2) {
    e0 = 1, e1 = 0;
  } else {
    const double n = std::sqrt(n2);
    e0 /= n, e1 /= n;
  }
  u1[0] = e0, u1[1] = e1;
  u2[0] = -e1, u2[1] = e0;
  return true;
}

bool sym3_eigen_values(const metric3& M, vector_fixed<double, 3>& w) {
  return dspev3(M, w, nullptr);
}

bool sym3_eigen_pairs(const metric3& M, vector_fixed<double, 3>& w, matrix_fixed<double, 3, 3>& Z) {
  return dspev3(M, w, Z.data());
}

bool eigen_pairs(const metric2& M, vector_fixed<double, 2>& D, matrix_fixed<double, 2, 2>& Q) {
  vector_fixed<double, 2> u1, u2;
  if (!sym2_eigen_pairs(M[0], M[2], M[1], D[0], D[1], u1, u2)) return false;
  Q(0, 0) = u1[0], Q(1, 0) = u1[1], Q(0, 1) = u2[0], Q(1, 1) = u2[1];
  return true;
}

bool eigen_pairs(const metric3& M, vector_fixed<double, 3>& D, matrix_fixed<double, 3, 3>& Q) {
  return sym3_eigen_pairs(M, D, Q);
}

bool eigen_pairs(const metric2& A, const metric2& B, vector_fixed<double, 2>& D,
                 matrix_fixed<double, 2, 2>& Q) {
  if (A[0] <= 0) return false;
  const double inv = 1 / A[0];
  const double t = inv * A[1];
  const double d = A[2] - t * A[1];
  if (d <= 0) return false;
  const double L11 = std::sqrt(A[0]), L22 = std::sqrt(d);
  // C = L^-1 B L^-T written out.
  const double c11 = inv * B[0];
  const double c12 = (B[1] - t * B[0]) / (L11 * L22);
  const double c22 = (B[2] - 2 * t * B[1] + t * t * B[0]) / d;
  matrix_fixed<double, 2, 2> Y;
  vector_fixed<double, 2> y1, y2;
  if (!sym2_eigen_pairs(c11, c22, c12, D[0], D[1], y1, y2)) return false;
  Y(0, 0) = y1[0], Y(1, 0) = y1[1], Y(0, 1) = y2[0], Y(1, 1) = y2[1];
  for (unsigned k = 0; k < 2; ++k) {  // x = L^-T y
    const double x2 = Y(1, k) / L22;
    Q(0, k) = Y(0, k) / L11 - t * x2;
    Q(1, k) = x2;
  }
  normalize_columns(Q);
  return true;
}

bool eigen_pairs(const metric3& A, const metric3& B, vector_fixed<double, 3>& D,
                 matrix_fixed<double, 3, 3>& Q) {
  double L[6];
  if (!cholesky3(A, L)) return false;
  const double L11 = L[0], L21 = L[1], L22 = L[2], L31 = L[3], L32 = L[4], L33 = L[5];
  // Closed inverse of L; a zero last pivot makes it infinite, on purpose.
  const double r = 1 / (L33 * L22 * L11);
  const double I11 = L33 * L22 * r, I21 = -L21 * L33 * r, I22 = L33 * L11 * r;
  const double I31 = (L21 * L32 - L31 * L22) * r, I32 = -L11 * L32 * r, I33 = L11 * L22 * r;

  double N[6] = {0, 0, 0, 0, 0, 0};
  bool zero = true;
  for (unsigned i = 0; i < 6; ++i) zero = zero && B[i] == 0;
  if (!zero && !cholesky3(B, N)) return false;

  // T = L^-1 N, C = T T' = L^-1 B L^-T.
  const double T11 = I11 * N[0], T21 = I21 * N[0] + I22 * N[1], T22 = I22 * N[2];
  const double T31 = I31 * N[0] + I32 * N[1] + I33 * N[3], T32 = I32 * N[2] + I33 * N[4];
  const double T33 = I33 * N[5];
  metric3 C;
  C[0] = T11 * T11;
  C[1] = T21 * T11;
  C[2] = T21 * T21 + T22 * T22;
  C[3] = T11 * T31;
  C[4] = T32 * T22 + T31 * T21;
  C[5] = T31 * T31 + T33 * T33 + T32 * T32;

  matrix_fixed<double, 3, 3> Z;
  const bool ok = sym3_eigen_pairs(C, D, Z);
  Q = 0.0;
  if (!ok) return false;
  for (unsigned k = 0; k < 3; ++k) {  // x = L^-T z
    Q(0, k) = I11 * Z(0, k) + I21 * Z(1, k) + I31 * Z(2, k);
    Q(1, k) = I22 * Z(1, k) + I32 * Z(2, k);
    Q(2, k) = I33 * Z(2, k);
  }
  normalize_columns(Q);
  return true;
}

}  // namespace tessellix
}  // namespace qz4
