// An order of points along a space-filling curve: searches made in it meet
// the same parts of a tree one after another.
#ifndef QZ4_EDITING_CURVE_ORDER_H
#define QZ4_EDITING_CURVE_ORDER_H

#include <cmath>
#include <cstddef>
#include <utility>

#include "qz4/dense.h"

namespace qz4 {
namespace tessellix {

// Spreads the low 16 bits of v to every other bit (2D) or the low 10 bits to
// every third bit (3D): interleaved, they make a Morton code.
inline unsigned spread(unsigned v, unsigned D) {
  if (D == 2) {
    v &= 0xFFFFu;
    v = (v | (v << 8)) & 0x00FF00FFu;
    v = (v | (v << 4)) & 0x0F0F0F0Fu;
    v = (v | (v << 2)) & 0x33333333u;
    return (v | (v << 1)) & 0x55555555u;
  }
  v &= 0x3FFu;
  v = (v | (v << 16)) & 0x030000FFu;
  v = (v | (v << 8)) & 0x0300F00Fu;
  v = (v | (v << 4)) & 0x030C30C3u;
  return (v | (v << 2)) & 0x09249249u;
}

// The positions 0 to n - 1 of a list of points (the columns ids[i] of the
// matrix at `points`, columns ld apart, or the columns i with no ids) in the order
// of a Morton curve over their bounding box, so that searches that follow
// each other walk down the same paths of a tree and find them in cache. A
// coordinate that is not finite counts as the lowest cell of its axis.
// False when scratch could not be had.
template <unsigned D>
bool curve_order(const double* points, std::size_t ld, const unsigned* ids, unsigned n,
                 dense1D<unsigned>& order) {
  auto column = [&](unsigned j) { return points + (ids ? ids[j] : j) * ld; };
  double lo[D], hi[D];
  for (unsigned k = 0; k < D; ++k) lo[k] = hi[k] = 0;
  bool any = false;
  for (unsigned j = 0; j < n; ++j) {
    const double* x = column(j);
    bool finite = true;
    for (unsigned k = 0; k < D; ++k) finite = finite && std::isfinite(x[k]);
    if (!finite) continue;
    for (unsigned k = 0; k < D; ++k) {
      lo[k] = !any || x[k] < lo[k] ? x[k] : lo[k];
      hi[k] = !any || x[k] > hi[k] ? x[k] : hi[k];
    }
    any = true;
  }
  const unsigned cells = D == 2 ? 65536u : 1024u;
  double scale[D];
  for (unsigned k = 0; k < D; ++k) {
    const double w = hi[k] - lo[k];
    scale[k] = w > 0 && std::isfinite(w) ? (cells - 0.5) / w : 0.0;
  }
  dense1D<unsigned> keys, tmp_keys, tmp_order, count;
  if (!keys.resize(n) || !tmp_keys.resize(n) || !order.resize(n) || !tmp_order.resize(n) ||
      !count.resize(65536))
    return false;
  unsigned* K = keys.data();
  unsigned* O = order.data();
  for (unsigned j = 0; j < n; ++j) {
    const double* x = column(j);
    unsigned key = 0;
    for (unsigned k = 0; k < D; ++k) {
      const double t = (x[k] - lo[k]) * scale[k];
      // NaN fails both tests and lands in cell 0, with the infinities.
      const unsigned c = t >= 0 && t < cells ? unsigned(t) : 0u;
      key |= spread(c, D) << k;
    }
    K[j] = key;
    O[j] = j;
  }
  // Two stable passes of 16 bits each.
  unsigned* C = count.data();
  unsigned* TK = tmp_keys.data();
  unsigned* TO = tmp_order.data();
  for (unsigned shift = 0; shift < 32; shift += 16) {
    for (unsigned b = 0; b < 65536; ++b) C[b] = 0;
    for (unsigned j = 0; j < n; ++j) ++C[(K[j] >> shift) & 0xFFFFu];
    unsigned sum = 0;
    for (unsigned b = 0; b < 65536; ++b) {
      const unsigned here = C[b];
      C[b] = sum;
      sum += here;
    }
    for (unsigned j = 0; j < n; ++j) {
      const unsigned at = C[(K[j] >> shift) & 0xFFFFu]++;
      TK[at] = K[j];
      TO[at] = O[j];
    }
    std::swap(K, TK);
    std::swap(O, TO);
  }
  // After an even number of passes the result is back in `keys` and `order`.
  return true;
}

}  // namespace tessellix
}  // namespace qz4

#endif
