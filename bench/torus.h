// The torus surface of the benchmarks: m x n quadrangles, each cut into two
// triangles, with the nodes numbered ring by ring.
#ifndef QZ4_BENCH_TORUS_H
#define QZ4_BENCH_TORUS_H

#include <cmath>

#include "qz4/dense.h"

namespace qz4bench {

struct surface {
  qz4::dense2D<double> pos;
  qz4::dense2D<unsigned> tri;
};

inline surface torus(unsigned m, unsigned n) {
  surface s;
  s.pos.resize(3, m * n);
  s.tri.resize(3, 2 * m * n);
  const double pi = std::acos(-1.0);
  for (unsigned i = 0; i < m; ++i)
    for (unsigned j = 0; j < n; ++j) {
      const double u = 2 * pi * i / m, v = 2 * pi * j / n;
      const unsigned k = i * n + j;
      s.pos(0, k) = (3 + std::cos(v)) * std::cos(u);
      s.pos(1, k) = (3 + std::cos(v)) * std::sin(u);
      s.pos(2, k) = std::sin(v);
      const unsigned a = k, b = i * n + (j + 1) % n, c = ((i + 1) % m) * n + j,
                     d = ((i + 1) % m) * n + (j + 1) % n;
      s.tri(0, 2 * k) = a, s.tri(1, 2 * k) = c, s.tri(2, 2 * k) = d;
      s.tri(0, 2 * k + 1) = a, s.tri(1, 2 * k + 1) = d, s.tri(2, 2 * k + 1) = b;
    }
  return s;
}

}  // namespace qz4bench

#endif
