// Small helpers shared by the topology tests.
#ifndef QZ4_TEST_TOPOLOGY_UTIL_H
#define QZ4_TEST_TOPOLOGY_UTIL_H

#include <cstddef>
#include <initializer_list>
#include <vector>

#include "qz4/dense.h"
#include "qz4/element_type.h"

namespace qz4test {

/// A matrix of `rows` rows from a list of columns; short columns are padded
/// with NO_ID.
inline qz4::dense2D<unsigned> columns(unsigned rows,
                                      std::initializer_list<std::initializer_list<unsigned>> cols) {
  qz4::dense2D<unsigned> m(rows, unsigned(cols.size()), qz4::NO_ID);
  unsigned j = 0;
  for (const auto& c : cols) {
    unsigned i = 0;
    for (unsigned v : c) m(i++, j) = v;
    ++j;
  }
  return m;
}

inline std::vector<unsigned> values(const qz4::dense1D<unsigned>& v) {
  return std::vector<unsigned>(v.data(), v.data() + v.size());
}

/// Column j of a matrix as a vector.
inline std::vector<unsigned> column(const qz4::dense2D<unsigned>& m, unsigned j) {
  std::vector<unsigned> c(m.rows());
  for (unsigned i = 0; i < m.rows(); ++i) c[i] = m(i, j);
  return c;
}

/// All columns of a matrix, for whole-matrix comparisons that ignore ld.
inline std::vector<std::vector<unsigned>> all_columns(const qz4::dense2D<unsigned>& m) {
  std::vector<std::vector<unsigned>> out;
  for (unsigned j = 0; j < m.cols(); ++j) out.push_back(column(m, j));
  return out;
}

/// Entries other than NO_ID.
inline std::size_t real_entries(const qz4::dense2D<unsigned>& m) {
  std::size_t n = 0;
  for (unsigned j = 0; j < m.cols(); ++j)
    for (unsigned i = 0; i < m.rows(); ++i) n += m(i, j) != qz4::NO_ID;
  return n;
}

}  // namespace qz4test

#endif
