// Point clouds, reference transcriptions and short names shared by the
// editing tests.
#ifndef QZ4_TEST_EDITING_UTIL_H
#define QZ4_TEST_EDITING_UTIL_H

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <numeric>
#include <random>
#include <tuple>
#include <vector>

#include "alloc_seam.h"
#include "arrays.h"
#include "editing/node_tree.h"
#include "qz4/tessellix/editing.h"

namespace qz4test {

using namespace qz4;
using namespace qz4::tessellix;
using V = std::vector<unsigned>;
using Vd = std::vector<double>;
using P2 = vector_fixed<double, 2>;
using P3 = vector_fixed<double, 3>;

/// 0, 1, ..., n - 1.
inline V upto(unsigned n) {
  V v(n);
  std::iota(v.begin(), v.end(), 0u);
  return v;
}

/// expect_ok_or_out_of_memory with a fresh input from `make` for each run,
/// all made before the allocator starts failing; a run that returns -199
/// must leave its input as `untouched` says.
template <class Make, class F, class G>
unsigned out_of_memory_on_fresh(Make make, F call, G untouched, int ok = 0) {
  std::vector<decltype(make())> in;
  for (int i = 0; i < 128; ++i) in.push_back(make());
  std::size_t next = 0;
  return expect_ok_or_out_of_memory(
      [&](unsigned k) {
        EXPECT_LT(next, in.size());
        auto& fresh = in[next++ % in.size()];
        const int s = call(fresh);
        EXPECT_TRUE(s != -199 || untouched(fresh)) << "allocation " << k;
        return s;
      },
      ok);
}

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
  for (unsigned c = 0; c < p.cols(); ++c) {
    p(0, c) = c % nx;
    p(1, c) = c / nx % ny;
    if (rows > 2) p(2, c) = c / (nx * ny);
  }
  return p;
}

/// n points on only `sites` distinct positions, in scrambled order.
inline dense2D<double> coincident_points(unsigned rows, unsigned n, unsigned sites, unsigned seed) {
  std::mt19937 g(seed);
  std::uniform_int_distribution<unsigned> pick(0, sites - 1);
  dense2D<double> p(rows, n, 0.0);
  for (unsigned j = 0; j < n; ++j)
    for (unsigned k = 0, s = pick(g); k < rows; ++k) p(k, j) = double((s * (k + 3)) % 5) * 0.25;
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
void insert_one_by_one(node_tree<D>& t, V order) {
  seeded_shuffle(order.data(), order.size());
  for (unsigned v : order) t.insert_one(v);
}

/// A recursive transcription of the closest-node search: descent, then the
/// pre-order walk with the upper side first, with strict comparisons.
template <unsigned D>
struct reference_closest {
  const node_tree<D>& t;
  const double* q;
  unsigned skip;
  double best2 = DBL_MAX, best = DBL_MAX;
  unsigned found = NO_ID;

  // Takes the node of entry e if closer (and, on the walk, inside the cube
  // of half-side best, lower faces first); gives its coordinates.
  const double* visit(unsigned e, bool walk) {
    const unsigned v = t.table(0, e);
    const double* p = &(*t.coords)(0, v);
    bool in = true;
    for (unsigned k = 0; k < D && walk; ++k) in = in && q[k] - best <= p[k];
    for (unsigned k = 0; k < D && walk; ++k) in = in && q[k] + best >= p[k];
    const double d2 = dist2(*t.coords, v, q, D);
    if (v != skip && in && d2 < best2) best2 = d2, best = std::sqrt(d2), found = v;
    return p;
  }
  void full(unsigned e, unsigned axis) {
    if (e >= t.table.cols()) return;
    const double s = visit(e, true)[axis];
    if (q[axis] + best > s) full(t.table(2, e), (axis + 1) % D);
    if (q[axis] - best < s) full(t.table(1, e), (axis + 1) % D);
  }
  unsigned run() {
    for (unsigned e = 0, axis = 0; e < t.table.cols(); axis = (axis + 1) % D)
      e = visit(e, false)[axis] > q[axis] ? t.table(1, e) : t.table(2, e);
    if (t.table.cols() > 0 && best > 0) full(0, 0);
    return found;
  }
};

/// A recursive transcription of the box walk: pre-order, lower side first.
template <unsigned D>
void reference_box(const node_tree<D>& t, unsigned e, unsigned axis, const double* lo,
                   const double* hi, V& out) {
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
