// Lengths of edges in a size field: the logarithmic mean of the end sizes,
// and tensors read as sizes along the edge.
#include <cfloat>
#include <cmath>

#include "qz4/tessellix/metrics.h"

namespace qz4 {
namespace tessellix {

namespace {

template <unsigned N>
double tensor_edge_length(const vector_fixed<double, N>& d, const symmetric_fixed<double, N>& M1,
                          const symmetric_fixed<double, N>& M2, bool fold, double& r1, double& r2) {
  r1 = metric_norm2(M1, d);
  r2 = metric_norm2(M2, d);
  if (!(r1 > 0) || !(r2 > 0)) return fold ? 0 : DBL_MAX;
  r1 = std::sqrt(1 / r1);
  r2 = std::sqrt(1 / r2);
  return metric_edge_length(1.0, r1, r2, fold);
}

}  // namespace

double log_mean_size(double a, double b) {
  const double M = a > b ? a : b, m = a > b ? b : a;
  if (m <= 0) return 0.0;
  const double x = m / M - 1;
  if (x < -0.001) return M * x / std::log(1 + x);
  // Near equality ln(1 + x) cancels: sum the series of -ln(1 - y) / y.
  const double y = -x;
  if (y <= 1e-12) return M / 1.0;
  double S = 1, P = 1, t;
  unsigned k = 2;
  do {
    P *= y;
    t = P / k;
    S += t;
    ++k;
  } while (t > 1e-12);  // also ends on a non-number
  return M / S;
}

double metric_edge_length(double L, double h1, double h2, bool fold) {
  const double m = log_mean_size(h1, h2);
  const double l = m > 0 ? L / m : DBL_MAX;
  if (!fold) return l;
  if (l == DBL_MAX) return 0;
  return l > 1 ? 1 / l : l;
}

double metric_edge_length(const vector_fixed<double, 2>& d, const metric2& M1, const metric2& M2,
                          bool fold, double& r1, double& r2) {
  return tensor_edge_length(d, M1, M2, fold, r1, r2);
}

double metric_edge_length(const vector_fixed<double, 3>& d, const metric3& M1, const metric3& M2,
                          bool fold, double& r1, double& r2) {
  return tensor_edge_length(d, M1, M2, fold, r1, r2);
}

}  // namespace tessellix
}  // namespace qz4
