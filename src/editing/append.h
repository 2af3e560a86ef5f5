// Appending element columns to a connectivity that collects results.
#ifndef QZ4_EDITING_APPEND_H
#define QZ4_EDITING_APPEND_H

#include <algorithm>
#include <cstddef>

#include "qz4/dense.h"
#include "qz4/element_type.h"

namespace qz4 {
namespace tessellix {

/// Appends columns of `src` to `dst`: the listed ones in order, or all of
/// them when `sel` is null. The row count becomes the larger of the two, rows
/// that a column lacks are NO_ID, and when room runs out it is reserved for
/// the old column count plus the larger of old and added counts, so repeated
/// appends stay linear. False when memory ran short.
inline bool append_columns(dense2D<unsigned>& dst, const dense2D<unsigned>& src,
                           const unsigned* sel, std::size_t n) {
  if (n == 0) return true;
  if (dst.empty()) dst.clear();
  const unsigned old = dst.cols();
  const unsigned sr = src.rows();
  const unsigned R = std::max(dst.rows(), sr);
  if (old > 0 && dst.rows() < R && !dst.resize(R, old, NO_ID)) return false;
  const std::size_t total = std::size_t(old) + n;
  if (total > 0xFFFFFFFFu) return false;
  const std::size_t ld = (old > 0) ? dst.ld() : R;
  if (dst.capacity() < ld * (total - 1) + R &&
      !dst.reserve(R, unsigned(old + std::max<std::size_t>(old, n))))
    return false;
  if (!dst.resize(R, unsigned(total))) return false;
  unsigned* D = dst.data();
  const std::size_t dld = dst.ld();
  const unsigned* S = src.data();
  const std::size_t sld = src.ld();
  for (std::size_t j = 0; j < n; ++j) {
    const unsigned* s = S + (sel ? sel[j] : j) * sld;
    unsigned* d = D + (old + j) * dld;
    std::copy(s, s + sr, d);
    std::fill(d + sr, d + R, NO_ID);
  }
  return true;
}

}  // namespace tessellix
}  // namespace qz4

#endif
