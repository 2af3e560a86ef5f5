// Builders and comparisons shared by the metric and quality tests, which
// work in the library's namespaces and in qz4test.
#ifndef QZ4_TEST_MEASURES_H
#define QZ4_TEST_MEASURES_H

#include <gtest/gtest.h>

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <random>

#include "alloc_seam.h"
#include "arrays.h"
#include "qz4/tessellix.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;
using namespace qz4test;
typedef std::vector<double> Vd;
typedef std::vector<int> Vi;

inline dense1D<double> sizes(const Vd& v) { return vec(v); }
inline Vd join(Vd a, const Vd& b) { return a.insert(a.end(), b.begin(), b.end()), a; }
/// The entries of a fixed-size vector, matrix or packed tensor.
template <class F>
Vd V(const F& f) {
  return Vd(f.v, f.v + sizeof(f.v) / sizeof(double));
}
/// The isotropic tensors of the sizes H, one column per node; a size not
/// above 0 gives the zero tensor.
inline dense2D<double> iso(const dense1D<double>& H, unsigned dim) {
  dense2D<double> M;
  dim == 2 ? metrics_iso_to_aniso2d(H, M) : metrics_iso_to_aniso3d(H, M);
  return M;
}

/// Equal lengths and every entry within `tol`.
inline ::testing::AssertionResult Near(const Vd& a, const Vd& b, double tol) {
  if (a.size() != b.size()) return ::testing::AssertionFailure() << "lengths differ";
  for (unsigned i = 0; i < a.size(); ++i)
    if (!(std::fabs(a[i] - b[i]) <= tol)) return ::testing::AssertionFailure() << "at " << i;
  return ::testing::AssertionSuccess();
}

#endif
