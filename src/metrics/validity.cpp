// Validity of sizes and tensors, clamping to a size range, and repair of a
// field from a reference. Each column goes through a fixed local tensor.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>

#include "qz4/tessellix/metrics.h"

namespace qz4 {
namespace tessellix {

namespace {

// The 2D and 3D kernels, so that the field loops exist once.
bool smallest_eigenvalue_positive(const metric2& M) {
  double l1, l2;
  sym2_eigen_values(M[0], M[2], M[1], l1, l2);
  return l1 > 0;
}

bool smallest_eigenvalue_positive(const metric3& M) {
  vector_fixed<double, 3> w;
  return sym3_eigen_values(M, w) && w[0] > 0;
}

bool decompose(const metric2& M, vector_fixed<double, 2>& D, matrix_fixed<double, 2, 2>& Q) {
  return eigen_pairs(M, D, Q);
}
bool decompose(const metric3& M, vector_fixed<double, 3>& D, matrix_fixed<double, 3, 3>& Q) {
  return sym3_eigen_pairs(M, D, Q);
}

template <unsigned N>
void bound(symmetric_fixed<double, N>& M, double h_min, double h_max) {
  const double upper = h_min > 0 ? 1 / (h_min * h_min) : DBL_MAX;
  const double lower = h_max > 0 && h_max < std::sqrt(DBL_MAX) ? 1 / (h_max * h_max) : 0;
  vector_fixed<double, N> D;
  matrix_fixed<double, N, N> Q;
  if (!decompose(M, D, Q)) {
    // What cannot be decomposed takes the largest size allowed.
    M = 0.0;
    for (unsigned i = 0; i < N; ++i) M(i, i) = lower;
    return;
  }
  bool changed = false;
  for (unsigned k = 0; k < N; ++k) {
    if (D[k] > upper) D[k] = upper, changed = true;
    if (D[k] < lower) D[k] = lower, changed = true;
  }
  if (changed) metric_from_eigen_pairs(D, Q, M);
}

template <unsigned N>
symmetric_fixed<double, N> column(const double* c) {
  symmetric_fixed<double, N> M;
  for (unsigned i = 0; i < N * (N + 1) / 2; ++i) M[i] = c[i];
  return M;
}

template <unsigned N>
bool valid_column(const double* c) {
  return is_valid_metric(column<N>(c));
}

bool valid_column(const double* c, unsigned rows) {
  return rows == 3 ? valid_column<2>(c) : valid_column<3>(c);
}

bool valid_size(double h) { return h > 0 && std::isfinite(h); }

template <unsigned N>
void bound_columns(double* m, std::size_t ld, unsigned cols, double h_min, double h_max) {
  for (unsigned j = 0; j < cols; ++j, m += ld) {
    symmetric_fixed<double, N> M = column<N>(m);
    bound(M, h_min, h_max);
    for (unsigned i = 0; i < N * (N + 1) / 2; ++i) m[i] = M[i];
  }
}

bool tensor_rows(unsigned rows) { return rows == 3 || rows == 6; }

}  // namespace

bool is_valid_metric(const metric2& M) { return smallest_eigenvalue_positive(M); }
bool is_valid_metric(const metric3& M) { return smallest_eigenvalue_positive(M); }

bool are_valid_metrics(const dense1D<double>& H) {
  const double* h = H.data();
  for (unsigned i = 0, n = H.size(); i < n; ++i)
    if (!valid_size(h[i])) return false;
  return true;
}

bool are_valid_metrics(const dense2D<double>& M) {
  if (!tensor_rows(M.rows())) return false;
  const double* m = M.data();
  for (unsigned j = 0, n = M.cols(); j < n; ++j, m += M.ld())
    if (!valid_column(m, M.rows())) return false;
  return true;
}

bool are_valid_metrics(const dense1D<unsigned>& indices, const dense1D<double>& H) {
  for (unsigned k = 0, n = indices.size(); k < n; ++k)
    if (indices[k] >= H.size() || !valid_size(H[indices[k]])) return false;
  return true;
}

bool are_valid_metrics(const dense1D<unsigned>& indices, const dense2D<double>& M) {
  if (std::size_t(M.rows()) * M.cols() == 0 && indices.size() == 0) return true;
  if (!tensor_rows(M.rows())) return false;
  for (unsigned k = 0, n = indices.size(); k < n; ++k)
    if (indices[k] >= M.cols() ||
        !valid_column(M.data() + std::size_t(indices[k]) * M.ld(), M.rows()))
      return false;
  return true;
}

void bound_metric(metric2& M, double h_min, double h_max) { bound(M, h_min, h_max); }
void bound_metric(metric3& M, double h_min, double h_max) { bound(M, h_min, h_max); }

int bound_metrics(dense1D<double>& H, double h_min, double h_max) {
  double* h = H.data();
  for (unsigned i = 0, n = H.size(); i < n; ++i) {
    if (h_min > h[i]) h[i] = h_min;
    if (h_max < h[i]) h[i] = h_max;
  }
  return 0;
}

int bound_metrics(dense2D<double>& M, double h_min, double h_max) {
  if (std::size_t(M.rows()) * M.cols() == 0) return 0;
  if (h_min < 0 && h_max < 0) return 0;
  if (!tensor_rows(M.rows())) return -1;
  if (M.rows() == 3)
    bound_columns<2>(M.data(), M.ld(), M.cols(), h_min, h_max);
  else
    bound_columns<3>(M.data(), M.ld(), M.cols(), h_min, h_max);
  return 0;
}

int overwrite_invalid_metrics(dense1D<double>& H, const dense1D<double>& H_ref) {
  double* h = H.data();
  const double* ref = H_ref.data();
  for (unsigned i = 0, n = std::min(H.size(), H_ref.size()); i < n; ++i)
    if (h[i] <= 0 && 0 < ref[i]) h[i] = ref[i];
  return 0;
}

int overwrite_invalid_metrics(dense2D<double>& M, const dense1D<double>& H_ref) {
  if (std::size_t(M.rows()) * M.cols() == 0) return 0;
  const unsigned rows = M.rows();
  if (!tensor_rows(rows)) return -1;
  const unsigned dim = rows == 3 ? 2 : 3;
  double* m = M.data();
  for (unsigned i = 0, n = std::min(M.cols(), H_ref.size()); i < n; ++i, m += M.ld()) {
    const double h = H_ref[i];
    if (valid_column(m, rows) || !(0 < h)) continue;
    for (unsigned r = 0; r < rows; ++r) m[r] = 0;
    for (unsigned d = 0; d < dim; ++d) m[d * (d + 3) / 2] = 1 / (h * h);
  }
  return 0;
}

int overwrite_invalid_metrics(dense2D<double>& M, const dense2D<double>& M_ref) {
  if (std::size_t(M.rows()) * M.cols() == 0) return 0;
  const unsigned rows = M.rows();
  if (!tensor_rows(rows)) return -1;
  if (!tensor_rows(M_ref.rows()) || M_ref.rows() != rows) return -2;
  double* m = M.data();
  const double* ref = M_ref.data();
  for (unsigned i = 0, n = std::min(M.cols(), M_ref.cols()); i < n;
       ++i, m += M.ld(), ref += M_ref.ld())
    if (!valid_column(m, rows) && valid_column(ref, rows))
      for (unsigned r = 0; r < rows; ++r) m[r] = ref[r];
  return 0;
}

}  // namespace tessellix
}  // namespace qz4
