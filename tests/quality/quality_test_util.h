// Builders, comparisons and the out-of-memory driver shared by the metric
// and quality tests.
#ifndef QZ4_TEST_QUALITY_UTIL_H
#define QZ4_TEST_QUALITY_UTIL_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "alloc_seam.h"
#include "qz4/tessellix/metrics.h"
#include "qz4/tessellix/quality.h"
#include "qz4/tessellix/topology.h"
#include "structured_mesh.h"

namespace qz4test {

using namespace qz4;
using namespace qz4::tessellix;
typedef std::vector<double> Vd;
typedef std::vector<int> Vi;

/// Coordinates of `rows` rows from a flat list, one node after the other.
inline dense2D<double> points(unsigned rows, const Vd& v) {
  dense2D<double> m(rows, unsigned(v.size() / rows), 0.0);
  for (unsigned k = 0; k < v.size(); ++k) m(k % rows, k / rows) = v[k];
  return m;
}

/// A connectivity of `rows` rows from a list of columns, short columns padded
/// with NO_ID.
inline dense2D<unsigned> conn(unsigned rows,
                              std::initializer_list<std::initializer_list<unsigned>> cols) {
  dense2D<unsigned> m(rows, unsigned(cols.size()), NO_ID);
  unsigned j = 0;
  for (const auto& c : cols) {
    unsigned i = 0;
    for (unsigned v : c) m(i++, j) = v;
    ++j;
  }
  return m;
}

template <class T>
dense1D<T> dense(const std::vector<T>& v) {
  dense1D<T> d;
  for (T x : v) d.push_back(x);
  return d;
}
inline dense1D<double> sizes(const Vd& v) { return dense(v); }
inline dense1D<int> ints(const Vi& v) { return dense(v); }
inline Vd values(const dense1D<double>& v) { return Vd(v.data(), v.data() + v.size()); }
inline Vd join(Vd a, const Vd& b) { return a.insert(a.end(), b.begin(), b.end()), a; }
/// The entries of a fixed-size vector, matrix or packed tensor.
template <class F>
Vd V(const F& f) {
  return Vd(f.v, f.v + sizeof(f.v) / sizeof(double));
}
/// Column j of a dense matrix, and every column one after the other.
inline Vd col(const dense2D<double>& m, unsigned j) { return Vd(&m(0, j), &m(0, j) + m.rows()); }
inline Vd entries(const dense2D<double>& m) {
  Vd v;
  for (unsigned j = 0; j < m.cols(); ++j) v = join(v, col(m, j));
  return v;
}

/// Equal lengths and every entry within `tol`.
inline ::testing::AssertionResult Near(const Vd& a, const Vd& b, double tol) {
  if (a.size() != b.size()) return ::testing::AssertionFailure() << "lengths differ";
  for (unsigned i = 0; i < a.size(); ++i)
    if (!(std::fabs(a[i] - b[i]) <= tol)) return ::testing::AssertionFailure() << "at " << i;
  return ::testing::AssertionSuccess();
}

/// Runs `run()` with the k-th allocation failing for every k: each run
/// returns 0 or -199, and at least one returns -199. Returns how many did.
template <class F>
unsigned expect_oom(F run) {
  unsigned failures = 0;
  for_each_failing_allocation([&](unsigned k) {
    const int s = run();
    EXPECT_EQ(s, s == 0 ? 0 : -199) << k;
    failures += s != 0;
  });
  EXPECT_GT(failures, 0u);
  return failures;
}

}  // namespace qz4test

#endif
