// The H-shock: how fast a size field varies along an edge, per unit of metric
// length, and its largest value at each node.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>

#include "metrics/fields.h"

namespace qz4 {
namespace tessellix {

namespace {

// max(r1/r2, r2/r1)^(1/l) - 1, which is exp(|h2 - h1| / L) - 1 with the
// logarithmic mean in l.
double shock_of(double l, double r1, double r2) {
  if (l <= 0 || l >= DBL_MAX) return DBL_MAX;
  const double g = std::max(r2 / r1, r1 / r2);
  return std::pow(g, 1 / l) - 1;
}

template <unsigned D>
double scalar_shock(double h1, double h2, const vector_fixed<double, D>& d, double& l) {
  double L2 = 0;
  for (unsigned i = 0; i < D; ++i) L2 += d[i] * d[i];
  const double L = std::sqrt(L2);
  l = metric_edge_length(L, h1, h2, false);
  return shock_of(l, L / h1, L / h2);
}

template <unsigned D>
double tensor_shock(const symmetric_fixed<double, D>& M1, const symmetric_fixed<double, D>& M2,
                    const vector_fixed<double, D>& d, double& l) {
  double r1 = 0, r2 = 0;
  l = metric_edge_length(d, M1, M2, false, r1, r2);
  return shock_of(l, r1, r2);
}

template <unsigned D, class F>
void raise_shocks(const dense2D<double>& pos, const dense2D<unsigned>& edges, const F& field,
                  double* shocks) {
  const double* p = pos.data();
  const std::size_t ld = pos.ld();
  const unsigned* e = edges.data();
  for (unsigned k = 0, n = edges.cols(); k < n; ++k, e += edges.ld()) {
    const unsigned a = e[0], b = e[1];
    const double s =
        a < field.count && b < field.count
            ? field.shock(field.get(a), field.get(b), detail::difference<D>(p, ld, a, b))
            : DBL_MAX;
    shocks[a] = std::max(shocks[a], s);
    shocks[b] = std::max(shocks[b], s);
  }
}

// The checks shared by both fields; 1 when there is work to do.
int prepare(const dense2D<double>& pos, const dense2D<unsigned>& edges, dense1D<double>& shocks) {
  if (std::size_t(edges.rows()) * edges.cols() == 0) return 0;
  if (pos.rows() != 2 && pos.rows() != 3) return -1;
  if (edges.rows() != 2 || !check_IDs(edges, ET_EDGE2, pos.cols())) return -2;
  return shocks.resize(pos.cols(), 0.0) ? 1 : -199;
}

}  // namespace

double edge_shock(double h1, double h2, const vector_fixed<double, 2>& d, double& l) {
  return scalar_shock(h1, h2, d, l);
}
double edge_shock(double h1, double h2, const vector_fixed<double, 3>& d, double& l) {
  return scalar_shock(h1, h2, d, l);
}
double edge_shock(const metric2& M1, const metric2& M2, const vector_fixed<double, 2>& d,
                  double& l) {
  return tensor_shock(M1, M2, d, l);
}
double edge_shock(const metric3& M1, const metric3& M2, const vector_fixed<double, 3>& d,
                  double& l) {
  return tensor_shock(M1, M2, d, l);
}

int H_shock(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
            const dense1D<double>& H, dense1D<double>& shocks) {
  const int status = prepare(pos, connectivity, shocks);
  if (status <= 0) return status;
  if (pos.rows() == 2)
    raise_shocks<2>(pos, connectivity, detail::size_field<2>(H.data(), H.size()), shocks.data());
  else
    raise_shocks<3>(pos, connectivity, detail::size_field<3>(H.data(), H.size()), shocks.data());
  return 0;
}

int H_shock(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
            const dense2D<double>& M, dense1D<double>& shocks) {
  const int status = prepare(pos, connectivity, shocks);
  if (status <= 0) return status;
  // A field too short in rows has no tensor to read.
  const bool plane = pos.rows() == 2;
  const unsigned count = M.rows() >= (plane ? 3u : 6u) ? M.cols() : 0;
  if (plane)
    raise_shocks<2>(pos, connectivity, detail::tensor_field<2>(M.data(), M.ld(), count),
                    shocks.data());
  else
    raise_shocks<3>(pos, connectivity, detail::tensor_field<3>(M.data(), M.ld(), count),
                    shocks.data());
  return 0;
}

}  // namespace tessellix
}  // namespace qz4
