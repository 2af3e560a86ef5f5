// Matrices that readers fill one column at a time, without knowing the final
// count: the storage doubles as it fills, and is trimmed at the end.
#ifndef QZ4_FORMATS_COLUMNS_H
#define QZ4_FORMATS_COLUMNS_H

#include <cstddef>

#include "qz4/dense.h"

namespace qz4 {
namespace tessellix {
namespace io {

template <class T>
class column_builder {
 public:
  explicit column_builder(unsigned rows, unsigned expected = 0) : m_(rows, 0) {
    if (expected) m_.resize(rows, expected);
  }
  unsigned rows() const { return m_.rows(); }
  unsigned cols() const { return n_; }
  /// The next column's storage; null when it could not grow.
  T* next() {
    if (n_ == m_.cols() && !m_.resize(m_.rows(), 2 * n_ + 64)) return nullptr;
    return m_.data() + std::size_t(n_++) * m_.rows();
  }
  T* col(unsigned j) { return m_.data() + std::size_t(j) * m_.rows(); }
  /// Drops the columns from `count` on.
  void truncate(unsigned count) {
    if (count < n_) n_ = count;
  }
  /// `out` becomes the columns filled so far; false when trimming failed.
  bool finish(dense2D<T>& out) {
    if (!m_.resize(m_.rows(), n_)) return false;
    out = m_;
    return true;
  }

 private:
  dense2D<T> m_;
  unsigned n_ = 0;
};

}  // namespace io
}  // namespace tessellix
}  // namespace qz4

#endif
