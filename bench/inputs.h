// Inputs shared by the benchmark programs: the torus surface, a deck of
// tetrahedra in the form the NASTRAN reader takes, and the adaptor that lets
// nanoflann index a coordinate matrix.
#ifndef QZ4_BENCH_INPUTS_H
#define QZ4_BENCH_INPUTS_H

#include <cmath>
#include <cstddef>
#include <cstdio>

#include "qz4/dense.h"

namespace qz4bench {

struct surface {
  qz4::dense2D<double> pos;
  qz4::dense2D<unsigned> tri;
};

// m x n quadrangles, each cut into two triangles, with the nodes numbered
// ring by ring.
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

// The reader takes back CTRIA3 lines, not the CTETRA ones the writer makes:
// a tetrahedral deck is written by hand in the form the reader takes.
inline void write_tetra_deck(const char* path, const qz4::dense2D<double>& pos,
                             const qz4::dense2D<unsigned>& conn) {
  std::FILE* f = std::fopen(path, "w");
  std::fprintf(f, "BEGIN BULK\n");
  for (unsigned e = 0; e < conn.cols(); ++e)
    std::fprintf(f, "CTETRA,%u,1,%u,%u,%u,%u\n", e, conn(0, e), conn(2, e), conn(1, e), conn(3, e));
  for (unsigned n = 0; n < pos.cols(); ++n)
    std::fprintf(f, "GRID*   %-16u%-#16g%-#16g\n*       %#g\n", n, pos(0, n), pos(1, n), pos(2, n));
  std::fprintf(f, "ENDDATA\n");
  std::fclose(f);
}

// A coordinate matrix as nanoflann's data set.
struct cloud_adaptor {
  const qz4::dense2D<double>* p;
  std::size_t kdtree_get_point_count() const { return p->cols(); }
  double kdtree_get_pt(std::size_t i, std::size_t k) const {
    return (*p)(unsigned(k), unsigned(i));
  }
  template <class B>
  bool kdtree_get_bbox(B&) const {
    return false;
  }
};

}  // namespace qz4bench

#endif
