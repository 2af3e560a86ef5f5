// Small builders and readers of the library's containers, for exact checks
// of whole results in one line.
#ifndef QZ4_TEST_ARRAYS_H
#define QZ4_TEST_ARRAYS_H

#include <vector>

#include "qz4/dense.h"
#include "qz4/element_type.h"

namespace qz4test {

template <class T>
qz4::dense1D<T> vec(const std::vector<T>& v) {
  qz4::dense1D<T> d(unsigned(v.size()));
  for (unsigned i = 0; i < v.size(); ++i) d[i] = v[i];
  return d;
}
inline qz4::dense1D<unsigned> vec(std::initializer_list<unsigned> v) {
  return vec(std::vector<unsigned>(v));
}

template <class T>
std::vector<T> std_of(const qz4::dense1D<T>& d) {
  return {d.begin(), d.end()};
}

/// The entries column after column, whatever the leading dimension.
template <class T>
std::vector<T> flat(const qz4::dense2D<T>& m) {
  std::vector<T> out;
  for (unsigned j = 0; j < m.cols(); ++j)
    for (unsigned i = 0; i < m.rows(); ++i) out.push_back(m(i, j));
  return out;
}

/// A matrix of `rows` rows from its entries given column after column.
template <class T>
qz4::dense2D<T> mat(unsigned rows, const std::vector<T>& entries) {
  qz4::dense2D<T> m(rows, rows ? unsigned(entries.size()) / rows : 0);
  for (unsigned k = 0; k < entries.size(); ++k) m(k % rows, k / rows) = entries[k];
  return m;
}
inline qz4::dense2D<unsigned> mat(unsigned rows, std::initializer_list<unsigned> entries) {
  return mat(rows, std::vector<unsigned>(entries));
}

/// Coordinates of `rows` rows from a flat list, one node after the other.
inline qz4::dense2D<double> points(unsigned rows, const std::vector<double>& v) {
  return mat(rows, v);
}

/// A connectivity of `rows` rows from its columns, short ones padded with NO_ID.
inline qz4::dense2D<unsigned> conn(unsigned rows,
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

/// The same matrix inside a taller one, so that ld exceeds rows; the gap rows
/// hold `gap`, which would change every result if it were read.
template <class T>
qz4::dense2D<T> padded_view(const qz4::dense2D<T>& m, T gap) {
  qz4::dense2D<T> big(m.rows() + 3, m.cols(), gap);
  for (unsigned j = 0; j < m.cols(); ++j)
    for (unsigned i = 0; i < m.rows(); ++i) big(i + 1, j) = m(i, j);
  return big.sub_matrix(1, 0, m.rows(), m.cols());
}
inline qz4::dense2D<unsigned> padded_view(const qz4::dense2D<unsigned>& m) {
  return padded_view(m, 0xABCDu);
}

}  // namespace qz4test

#endif
