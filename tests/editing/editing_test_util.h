// Point clouds and reference transcriptions shared by the editing tests.
#ifndef QZ4_TEST_EDITING_UTIL_H
#define QZ4_TEST_EDITING_UTIL_H

#include <cmath>
#include <random>
#include <vector>

#include "editing/node_tree.h"
#include "qz4/dense.h"

namespace qz4test {

using qz4::dense1D;
using qz4::dense2D;

/// n random points in the unit cube (or square), columns `gap` rows apart
/// beyond `rows`, so that ld() > rows() when gap > 0.
inline dense2D<double> random_points(unsigned rows, unsigned n, unsigned seed, unsigned gap = 0) {
  std::mt19937 g(seed);
  std::uniform_real_distribution<double> u(0.0, 1.0);
  dense2D<double> big(rows + gap, n, -7.0);
  for (unsigned j = 0; j < n; ++j)
    for (unsigned k = 0; k < rows; ++k) big(k, j) = u(g);
  return big.sub_matrix(0, 0, rows, n);
}

/// Grid points in lexicographic order: many equal coordinates on every axis
/// and many equidistant neighbours.
inline dense2D<double> grid_points(unsigned rows, unsigned nx, unsigned ny, unsigned nz) {
  dense2D<double> p(rows, nx * ny * nz, 0.0);
  unsigned c = 0;
  for (unsigned k = 0; k < nz; ++k)
    for (unsigned j = 0; j < ny; ++j)
      for (unsigned i = 0; i < nx; ++i, ++c) {
        p(0, c) = i;
        p(1, c) = j;
        if (rows > 2) p(2, c) = k;
      }
  return p;
}

/// n points on only `sites` distinct positions, in scrambled order.
inline dense2D<double> coincident_points(unsigned rows, unsigned n, unsigned sites, unsigned seed) {
  std::mt19937 g(seed);
  std::uniform_int_distribution<unsigned> pick(0, sites - 1);
  dense2D<double> p(rows, n, 0.0);
  for (unsigned j = 0; j < n; ++j) {
    const unsigned s = pick(g);
    for (unsigned k = 0; k < rows; ++k) p(k, j) = double((s * (k + 3)) % 5) * 0.25;
  }
  return p;
}

inline double dist2(const dense2D<double>& p, unsigned a, const double* q, unsigned D) {
  double s = 0;
  for (unsigned k = 0; k < D; ++k) s += (p(k, a) - q[k]) * (p(k, a) - q[k]);
  return s;
}

/// The tree of a list, made by inserting its shuffled copy one node at a
/// time: the insertion rule as written, for comparison with faster builds.
template <unsigned D>
void insert_one_by_one(qz4::tessellix::node_tree<D>& t, std::vector<unsigned> order) {
  qz4::tessellix::seeded_shuffle(order.data(), order.size());
  for (unsigned v : order) t.insert_one(v);
}

/// A recursive transcription of the closest-node search: descent, then the
/// pre-order walk with the upper side first, with strict comparisons.
template <unsigned D>
struct reference_closest {
  const qz4::tessellix::node_tree<D>& t;
  const double* q;
  unsigned skip;
  double best2 = 0, best = 0;
  unsigned found = qz4::NO_ID;

  const double* at(unsigned e) const { return &(*t.coords)(0, t.table(0, e)); }
  void full(unsigned e, unsigned axis) {
    if (e >= t.table.cols()) return;
    const double* p = at(e);
    bool in = true;
    for (unsigned k = 0; k < D; ++k) in = in && q[k] - best <= p[k];
    for (unsigned k = 0; k < D; ++k) in = in && q[k] + best >= p[k];
    if (t.table(0, e) != skip && in) {
      double d2 = 0;
      for (unsigned k = 0; k < D; ++k) d2 += (p[k] - q[k]) * (p[k] - q[k]);
      if (d2 < best2) {
        best2 = d2;
        best = std::sqrt(d2);
        found = t.table(0, e);
      }
    }
    const double s = p[axis];
    if (q[axis] + best > s) full(t.table(2, e), (axis + 1) % D);
    if (q[axis] - best < s) full(t.table(1, e), (axis + 1) % D);
  }
  unsigned run() {
    const unsigned n = t.table.cols();
    best2 = 1.7976931348623157e308;
    for (unsigned e = 0, axis = 0; e < n; axis = (axis + 1) % D) {
      const double* p = at(e);
      double d2 = 0;
      for (unsigned k = 0; k < D; ++k) d2 += (p[k] - q[k]) * (p[k] - q[k]);
      if (t.table(0, e) != skip && d2 < best2) {
        best2 = d2;
        found = t.table(0, e);
      }
      e = p[axis] > q[axis] ? t.table(1, e) : t.table(2, e);
    }
    best = found != qz4::NO_ID ? std::sqrt(best2) : 1.7976931348623157e308;
    if (n == 0 || !(best > 0)) return found;
    full(0, 0);
    return found;
  }
};

/// A recursive transcription of the box walk: pre-order, lower side first.
template <unsigned D>
void reference_box(const qz4::tessellix::node_tree<D>& t, unsigned e, unsigned axis,
                   const double* lo, const double* hi, std::vector<unsigned>& out) {
  if (e >= t.table.cols()) return;
  const double* p = &(*t.coords)(0, t.table(0, e));
  const bool gl = lo[axis] <= p[axis], gu = hi[axis] >= p[axis];
  bool in = gl && gu;
  for (unsigned k = 0; k < D; ++k) in = in && lo[k] <= p[k] && hi[k] >= p[k];
  if (in) out.push_back(t.table(0, e));
  if (gl) reference_box(t, t.table(1, e), (axis + 1) % D, lo, hi, out);
  if (gu) reference_box(t, t.table(2, e), (axis + 1) % D, lo, hi, out);
}

}  // namespace qz4test

#endif
