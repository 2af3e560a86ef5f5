// Per-node statistics of Euclidean edge lengths.
#include <cfloat>
#include <cmath>
#include <cstddef>

#include "qz4/tessellix/quality.h"

namespace qz4 {
namespace tessellix {

int edge_lengths(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                 dense2D<double>& lengths) {
  lengths.clear();
  if (connectivity.cols() == 0) return 0;
  // check_IDs passes any matrix without entries, so a 0-row one is refused
  // here before its missing rows are read.
  if (connectivity.rows() != 2 || !check_IDs(connectivity, ET_EDGE2, pos.cols())) return -2;
  const unsigned nodes = pos.cols();
  dense1D<unsigned> count;
  if (!lengths.resize(3, nodes) || !count.resize(nodes, 0u)) {
    lengths.clear();
    return -199;
  }
  double* out = lengths.data();
  const std::size_t lld = lengths.ld();
  for (unsigned n = 0; n < nodes; ++n) {
    out[n * lld] = DBL_MAX;
    out[n * lld + 1] = 0;
    out[n * lld + 2] = 0;
  }

  const double* p = pos.data();
  const std::size_t pld = pos.ld();
  const unsigned dim = pos.rows();
  const unsigned* edge = connectivity.data();
  const std::size_t ld = connectivity.ld();
  unsigned* cnt = count.data();
  for (unsigned e = 0, n = connectivity.cols(); e < n; ++e, edge += ld) {
    const double* a = p + edge[0] * pld;
    const double* b = p + edge[1] * pld;
    double l2 = 0;
    for (unsigned i = 0; i < dim; ++i) l2 += (b[i] - a[i]) * (b[i] - a[i]);
    const double l = std::sqrt(l2);
    for (unsigned end = 0; end < 2; ++end) {
      double* s = out + edge[end] * lld;
      if (l < s[0]) s[0] = l;
      s[1] += l;
      if (l > s[2]) s[2] = l;
      ++cnt[edge[end]];
    }
  }
  for (unsigned n = 0; n < nodes; ++n)
    if (cnt[n]) out[n * lld + 1] /= cnt[n];
  return 0;
}

}  // namespace tessellix
}  // namespace qz4
