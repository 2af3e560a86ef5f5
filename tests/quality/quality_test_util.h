// Small builders shared by the quality tests.
#ifndef QZ4_TEST_QUALITY_UTIL_H
#define QZ4_TEST_QUALITY_UTIL_H

#include <initializer_list>
#include <vector>

#include "qz4/dense.h"
#include "qz4/element_type.h"

namespace qz4test {

/// Coordinates of `rows` rows from a flat list, one node after the other.
inline qz4::dense2D<double> points(unsigned rows, const std::vector<double>& v) {
  qz4::dense2D<double> m(rows, unsigned(v.size() / rows), 0.0);
  for (unsigned k = 0; k < v.size(); ++k) m(k % rows, k / rows) = v[k];
  return m;
}

/// A connectivity of `rows` rows from a list of columns, short columns padded
/// with NO_ID.
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

inline std::vector<double> values(const qz4::dense1D<double>& v) {
  return std::vector<double>(v.data(), v.data() + v.size());
}

}  // namespace qz4test

#endif
