// Matrices that readers fill one column at a time, without knowing the final
// count: the storage doubles as it fills, and is trimmed at the end.
#ifndef QZ4_FORMATS_COLUMNS_H
#define QZ4_FORMATS_COLUMNS_H

#include <cstddef>
#include <cstdint>

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
  /// Starts from the columns of a matrix without gaps between them (ld ==
  /// rows), shared, not copied.
  explicit column_builder(const dense2D<T>& filled) : m_(filled), n_(filled.cols()) {}
  unsigned rows() const { return m_.rows(); }
  unsigned cols() const { return n_; }
  /// The next column's storage; null when it could not grow.
  T* next() {
    if (n_ == m_.cols() && !m_.resize(m_.rows(), 2 * n_ + 64)) return nullptr;
    return m_.data() + std::size_t(n_++) * m_.rows();
  }
  /// Room for `more` columns past those filled: at least double the
  /// columns, so that a column at a time costs a constant.
  bool reserve(unsigned more) {
    const std::uint64_t need = std::uint64_t(n_) + more;
    if (need <= m_.cols()) return true;
    if (need > 0xFFFFFFFFu) return false;
    const std::uint64_t doubled = 2 * std::uint64_t(n_) + 64;
    return m_.resize(m_.rows(), unsigned(need > doubled || doubled > 0xFFFFFFFFu ? need : doubled));
  }
  /// Storage of `count` more columns, one after the other; null when it
  /// could not grow.
  T* take(unsigned count) {
    if (!reserve(count)) return nullptr;
    T* first = m_.data() + std::size_t(n_) * m_.rows();
    n_ += count;
    return first;
  }
  T* col(unsigned j) { return m_.data() + std::size_t(j) * m_.rows(); }
  /// More rows: the columns keep their entries, the new rows get `fill`.
  bool widen(unsigned rows, T fill) {
    if (rows <= m_.rows()) return true;
    dense2D<T> w;
    if (!fresh(w, rows, m_.cols())) return false;
    T* d = w.data();
    for (unsigned j = 0; j < m_.cols(); ++j)
      for (unsigned i = 0; i < rows; ++i)
        d[std::size_t(j) * rows + i] = j < n_ && i < m_.rows() ? m_(i, j) : fill;
    m_ = w;
    return true;
  }
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
  // Kept out of line: inlined, the release of the old block inside resize
  // makes GCC warn of a use after free that cannot happen.
  __attribute__((noinline)) static bool fresh(dense2D<T>& w, unsigned rows, unsigned cols) {
    return w.resize(rows, cols);
  }
  dense2D<T> m_;
  unsigned n_ = 0;
};

}  // namespace io
}  // namespace tessellix
}  // namespace qz4

#endif
