// Builders and comparisons shared by the metric and quality tests.
#ifndef QZ4_TEST_MEASURES_H
#define QZ4_TEST_MEASURES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "alloc_seam.h"
#include "arrays.h"
#include "qz4/tessellix/metrics.h"
#include "qz4/tessellix/quality.h"
#include "qz4/tessellix/topology.h"
#include "structured_mesh.h"

namespace qz4test {

using namespace qz4;
using namespace qz4::tessellix;
typedef std::vector<double> Vd;
typedef std::vector<int> Vi;

inline dense1D<double> sizes(const Vd& v) { return vec(v); }
inline dense1D<int> ints(const Vi& v) { return vec(v); }
inline Vd join(Vd a, const Vd& b) { return a.insert(a.end(), b.begin(), b.end()), a; }
/// The entries of a fixed-size vector, matrix or packed tensor.
template <class F>
Vd V(const F& f) {
  return Vd(f.v, f.v + sizeof(f.v) / sizeof(double));
}
/// Column j of a dense matrix.
inline Vd col(const dense2D<double>& m, unsigned j) { return Vd(&m(0, j), &m(0, j) + m.rows()); }

/// Equal lengths and every entry within `tol`.
inline ::testing::AssertionResult Near(const Vd& a, const Vd& b, double tol) {
  if (a.size() != b.size()) return ::testing::AssertionFailure() << "lengths differ";
  for (unsigned i = 0; i < a.size(); ++i)
    if (!(std::fabs(a[i] - b[i]) <= tol)) return ::testing::AssertionFailure() << "at " << i;
  return ::testing::AssertionSuccess();
}

}  // namespace qz4test

#endif
