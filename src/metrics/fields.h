// Size and tensor fields seen through one interface, so that the H-shock and
// the gradation are written once for the four kinds of field: sizes or
// tensors, in the plane or in space.
#ifndef QZ4_METRICS_FIELDS_H
#define QZ4_METRICS_FIELDS_H

#include <cstddef>

#include "qz4/tessellix/metrics.h"

namespace qz4 {
namespace tessellix {
namespace detail {

/// One size per node. T is `const double` to read, `double` to write.
template <unsigned D, class T = const double>
struct size_field {
  typedef double value;
  T* h;
  unsigned count;

  explicit size_field(T* data, unsigned n) : h(data), count(n) {}
  value get(unsigned n) const { return h[n]; }
  void set(unsigned n, const value& v) const { h[n] = v; }
  static double shock(const value& a, const value& b, const vector_fixed<double, D>& d) {
    double l;
    return edge_shock(a, b, d, l);
  }
};

/// One packed tensor per node, in a column of D(D+1)/2 rows.
template <unsigned D, class T = const double>
struct tensor_field {
  typedef symmetric_fixed<double, D> value;
  static constexpr unsigned rows = D * (D + 1) / 2;
  T* m;
  std::size_t ld;
  unsigned count;

  tensor_field(T* data, std::size_t ld_, unsigned n) : m(data), ld(ld_), count(n) {}
  value get(unsigned n) const {
    value v;
    for (unsigned i = 0; i < rows; ++i) v[i] = m[n * ld + i];
    return v;
  }
  void set(unsigned n, const value& v) const {
    for (unsigned i = 0; i < rows; ++i) m[n * ld + i] = v[i];
  }
  static double shock(const value& a, const value& b, const vector_fixed<double, D>& d) {
    double l;
    return edge_shock(a, b, d, l);
  }
};

/// pos_b - pos_a over D rows of columns ld apart.
template <unsigned D>
inline vector_fixed<double, D> difference(const double* pos, std::size_t ld, unsigned a,
                                          unsigned b) {
  vector_fixed<double, D> d;
  for (unsigned i = 0; i < D; ++i) d[i] = pos[b * ld + i] - pos[a * ld + i];
  return d;
}

}  // namespace detail
}  // namespace tessellix
}  // namespace qz4

#endif
