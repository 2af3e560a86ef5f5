// Translations, rotations and scalings in place, and copies of meshes on new
// nodes. The planar and spatial forms are one template each, told apart by D.
#include <cmath>
#include <cstddef>

#include "editing/append.h"
#include "qz4/tessellix/editing.h"

namespace qz4 {
namespace tessellix {

namespace {

template <unsigned D>
bool all_zero(const vector_fixed<double, D>& v) {
  for (unsigned k = 0; k < D; ++k)
    if (v[k] != 0) return false;
  return true;
}

// A D-dimensional transform needs D rows; missing rows come in as zeros and
// stay. False when the matrix could not grow, so nothing is written.
template <unsigned D>
bool ensure_rows(dense2D<double>& pos) {
  if (pos.rows() < D) pos.resize(D, pos.cols(), 0.0);
  return pos.rows() >= D;
}

template <unsigned D>
struct translation {
  vector_fixed<double, D> t;
  void operator()(double* p) const {
    for (unsigned k = 0; k < D; ++k) p[k] += t[k];
  }
};

template <unsigned D>
struct scaling {
  vector_fixed<double, D> c;
  double f;
  // The correction is added to the old position, not p = c + f (p - c).
  void operator()(double* p) const {
    for (unsigned k = 0; k < D; ++k) p[k] = p[k] + (p[k] - c[k]) * (f - 1);
  }
};

struct rotation2 {
  vector_fixed<double, 2> c;
  double cs, sn;
  rotation2(const vector_fixed<double, 2>& center, double angle)
      : c(center), cs(std::cos(angle)), sn(std::sin(angle)) {}
  void operator()(double* p) const {
    const double dx = p[0] - c[0], dy = p[1] - c[1];
    p[0] = c[0] + (cs * dx - sn * dy);
    p[1] = c[1] + (sn * dx + cs * dy);
  }
};

struct rotation3 {
  vector_fixed<double, 3> c;
  double R[3][3];
  // Rodrigues: R = I + a W + b W W, with W the skew matrix of r. Near a zero
  // angle a and b come from their series, where sin(t)/t and
  // (1 - cos t)/t^2 lose their digits.
  rotation3(const vector_fixed<double, 3>& center, const vector_fixed<double, 3>& r) : c(center) {
    const double u = r[0] * r[0] + r[1] * r[1] + r[2] * r[2];
    const double t = std::sqrt(u);
    double a, b;
    if (t > 0.001) {
      a = std::sin(t) / t;
      b = (1 - std::cos(t)) / u;
    } else {
      a = 1 - u * (1.0 / 6) + u * u * (1.0 / 120) - u * u * u * (1.0 / 5040) +
          u * u * u * u * (1.0 / 362880) - u * u * u * u * u * (1.0 / 39916800);
      b = 0.5 - u * (1.0 / 24) + u * u * (1.0 / 720) - u * u * u * (1.0 / 40320) +
          u * u * u * u * (1.0 / 3628800);
    }
    const double W[3][3] = {{0, -r[2], r[1]}, {r[2], 0, -r[0]}, {-r[1], r[0], 0}};
    for (unsigned i = 0; i < 3; ++i)
      for (unsigned j = 0; j < 3; ++j) {
        double ww = 0;
        for (unsigned k = 0; k < 3; ++k) ww += W[i][k] * W[k][j];
        R[i][j] = (i == j ? 1.0 : 0.0) + a * W[i][j] + b * ww;
      }
  }
  void operator()(double* p) const {
    const double d[3] = {p[0] - c[0], p[1] - c[1], p[2] - c[2]};
    for (unsigned i = 0; i < 3; ++i)
      p[i] = c[i] + (R[i][0] * d[0] + R[i][1] * d[1] + R[i][2] * d[2]);
  }
};

// Applies `op` to the columns [from, cols) of `pos`.
template <unsigned D, class Op>
int apply_range(dense2D<double>& pos, unsigned from, const Op& op) {
  if (!ensure_rows<D>(pos)) return 0;
  double* P = pos.data();
  const std::size_t ld = pos.ld();
  const unsigned n = pos.cols();
  for (unsigned j = from; j < n; ++j) op(P + j * ld);
  return int(n - from);
}

// Applies `op` to each listed node in turn. Indices beyond the columns are
// skipped when `checked`; otherwise they must be valid.
template <unsigned D, class Op>
int apply_list(dense2D<double>& pos, const dense1D<unsigned>& ids, bool checked, const Op& op) {
  if (!ensure_rows<D>(pos)) return 0;
  double* P = pos.data();
  const std::size_t ld = pos.ld();
  const unsigned n = pos.cols();
  const unsigned* I = ids.data();
  int moved = 0;
  for (unsigned i = 0; i < ids.size(); ++i) {
    if (checked && I[i] >= n) continue;
    op(P + std::size_t(I[i]) * ld);
    ++moved;
  }
  return moved;
}

dense1D<unsigned> nodes_of(const dense2D<unsigned>& connectivity) {
  dense1D<unsigned> ids;
  unique_indices(ids, connectivity);
  return ids;
}

template <unsigned D>
int translate_all(dense2D<double>& pos, const vector_fixed<double, D>& t) {
  if (pos.empty() || all_zero(t)) return 0;
  return apply_range<D>(pos, 0, translation<D>{t});
}

template <unsigned D>
int translate_list(dense2D<double>& pos, const vector_fixed<double, D>& t,
                   const dense1D<unsigned>& ids) {
  if (pos.empty() || all_zero(t) || ids.empty()) return 0;
  return apply_list<D>(pos, ids, true, translation<D>{t});
}

template <unsigned D>
int zoom_all(dense2D<double>& pos, const vector_fixed<double, D>& c, double f) {
  if (pos.empty() || f == 1) return 0;
  return apply_range<D>(pos, 0, scaling<D>{c, f});
}

template <unsigned D>
int zoom_list(dense2D<double>& pos, const vector_fixed<double, D>& c, double f,
              const dense1D<unsigned>& ids) {
  if (pos.empty() || f == 1 || ids.empty()) return 0;
  apply_list<D>(pos, ids, false, scaling<D>{c, f});
  return 0;
}

// One copy of `source` on new nodes appended to `pos`.
int copy_once(dense2D<double>& pos, dense2D<unsigned>& copy, const dense2D<unsigned>& source) {
  const unsigned N = pos.cols();
  dense1D<unsigned> nodes;
  const int status = unique_indices(nodes, source);
  if (status < 0) return status;
  const unsigned n = nodes.size(), rows = pos.rows();
  const unsigned* U = nodes.data();
  if (n > 0) {
    const std::size_t total = std::size_t(N) + n;
    if (total > 0xFFFFFFFFu) return -199;
    const std::size_t ld = N > 0 && rows > 0 ? pos.ld() : rows;
    if (pos.capacity() < ld * (total - 1) + rows &&
        !pos.reserve(rows, unsigned(N + (N > n ? N : n))))
      return -199;
    if (!pos.resize(rows, unsigned(total))) return -199;
    double* P = pos.data();
    const std::size_t pld = pos.ld();
    for (unsigned i = 0; i < n; ++i)
      if (U[i] < N)
        for (unsigned k = 0; k < rows; ++k) P[(N + i) * pld + k] = P[U[i] * pld + k];
  }
  if (!copy.copy(source)) return -199;
  dense1D<unsigned> map;
  if (!map.resize(N, NO_ID)) return -199;
  unsigned* M = map.data();
  for (unsigned i = 0; i < n; ++i)
    if (U[i] < N) M[U[i]] = N + i;
  change_indices(copy, map);
  return 0;
}

// Copy k of `n` is turned by `turn(pos, first new column, k)` and then
// shifted by k t. `source` is read at each copy as it then stands.
template <unsigned D, class Turn>
int copy_repeated(dense2D<double>& pos, dense2D<unsigned>& copies, const vector_fixed<double, D>& t,
                  unsigned n, const dense2D<unsigned>& source, Turn turn) {
  if (pos.empty() || n == 0) return 0;
  for (unsigned k = 1; k <= n; ++k) {
    dense2D<unsigned> local;
    const unsigned first = pos.cols();
    const int status = copy_once(pos, local, source);
    if (status != 0) return status;
    turn(pos, first, k);
    if (!all_zero(t)) {
      vector_fixed<double, D> tk;
      for (unsigned i = 0; i < D; ++i) tk[i] = t[i] * k;
      apply_range<D>(pos, first, translation<D>{tk});
    }
    if (!append_columns(copies, local, nullptr, local.cols())) return -199;
  }
  return 0;
}

template <unsigned D>
int copy_mirror(dense2D<double>& pos, dense2D<unsigned>& copy, const vector_fixed<double, D>& point,
                const vector_fixed<double, D>& normal, const dense2D<unsigned>& source) {
  if (pos.empty()) return 0;
  double n2 = 0;
  for (unsigned k = 0; k < D; ++k) n2 += normal[k] * normal[k];
  if (n2 == 0) return -4;
  const unsigned first = pos.cols();
  const int status = copy_once(pos, copy, source);
  if (status != 0) return status;
  if (!ensure_rows<D>(pos)) return 0;
  const double q = -2 / n2;
  double* P = pos.data();
  const std::size_t ld = pos.ld();
  for (unsigned j = first; j < pos.cols(); ++j) {
    double* p = P + j * ld;
    double dot = 0;
    for (unsigned k = 0; k < D; ++k) dot += (p[k] - point[k]) * normal[k];
    const double s = q * dot;
    for (unsigned k = 0; k < D; ++k) p[k] += s * normal[k];
  }
  return 0;
}

}  // namespace

int translate(dense2D<double>& pos, const vector_fixed<double, 2>& t) {
  return translate_all<2>(pos, t);
}
int translate(dense2D<double>& pos, const vector_fixed<double, 3>& t) {
  return translate_all<3>(pos, t);
}
int translate(dense2D<double>& pos, const vector_fixed<double, 2>& t,
              const dense1D<unsigned>& indices) {
  return translate_list<2>(pos, t, indices);
}
int translate(dense2D<double>& pos, const vector_fixed<double, 3>& t,
              const dense1D<unsigned>& indices) {
  return translate_list<3>(pos, t, indices);
}
int translate(dense2D<double>& pos, const vector_fixed<double, 2>& t,
              const dense2D<unsigned>& connectivity) {
  return translate_list<2>(pos, t, nodes_of(connectivity));
}
int translate(dense2D<double>& pos, const vector_fixed<double, 3>& t,
              const dense2D<unsigned>& connectivity) {
  return translate_list<3>(pos, t, nodes_of(connectivity));
}

int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle) {
  if (pos.empty() || angle == 0) return 0;
  return apply_range<2>(pos, 0, rotation2(center, angle));
}
int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
           const dense1D<unsigned>& indices) {
  if (pos.empty() || angle == 0) return 0;
  return apply_list<2>(pos, indices, true, rotation2(center, angle));
}
int rotate(dense2D<double>& pos, const vector_fixed<double, 2>& center, double angle,
           const dense2D<unsigned>& connectivity) {
  return rotate(pos, center, angle, nodes_of(connectivity));
}
int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
           const vector_fixed<double, 3>& rotation) {
  if (pos.empty() || all_zero(rotation)) return 0;
  return apply_range<3>(pos, 0, rotation3(center, rotation));
}
int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
           const vector_fixed<double, 3>& rotation, const dense1D<unsigned>& indices) {
  if (pos.empty() || all_zero(rotation)) return 0;
  return apply_list<3>(pos, indices, true, rotation3(center, rotation));
}
int rotate(dense2D<double>& pos, const vector_fixed<double, 3>& center,
           const vector_fixed<double, 3>& rotation, const dense2D<unsigned>& connectivity) {
  return rotate(pos, center, rotation, nodes_of(connectivity));
}

int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor) {
  return zoom_all<2>(pos, center, factor);
}
int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor) {
  return zoom_all<3>(pos, center, factor);
}
int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
         const dense1D<unsigned>& indices) {
  return zoom_list<2>(pos, center, factor, indices);
}
int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
         const dense1D<unsigned>& indices) {
  return zoom_list<3>(pos, center, factor, indices);
}
int zoom(dense2D<double>& pos, const vector_fixed<double, 2>& center, double factor,
         const dense2D<unsigned>& connectivity) {
  return zoom_list<2>(pos, center, factor, nodes_of(connectivity));
}
int zoom(dense2D<double>& pos, const vector_fixed<double, 3>& center, double factor,
         const dense2D<unsigned>& connectivity) {
  return zoom_list<3>(pos, center, factor, nodes_of(connectivity));
}

int copy_mesh(dense2D<double>& pos, dense2D<unsigned>& copy, const dense2D<unsigned>& source) {
  return copy_once(pos, copy, source);
}

int copy_mesh(dense2D<double>& pos, dense2D<unsigned>& copies, const vector_fixed<double, 2>& t,
              const vector_fixed<double, 2>& center, double angle, unsigned n,
              const dense2D<unsigned>& source) {
  // A view taken on entry, so that `source` may be `copies` itself.
  const dense2D<unsigned> snapshot(source);
  return copy_repeated<2>(pos, copies, t, n, snapshot,
                          [&](dense2D<double>& p, unsigned first, unsigned k) {
                            if (angle != 0) apply_range<2>(p, first, rotation2(center, angle * k));
                          });
}

int copy_mesh(dense2D<double>& pos, dense2D<unsigned>& copies, const vector_fixed<double, 3>& t,
              const vector_fixed<double, 3>& center, const vector_fixed<double, 3>& rotation,
              unsigned n, const dense2D<unsigned>& source) {
  return copy_repeated<3>(
      pos, copies, t, n, source, [&](dense2D<double>& p, unsigned first, unsigned k) {
        if (all_zero(rotation)) return;
        vector_fixed<double, 3> rk = {{rotation[0] * k, rotation[1] * k, rotation[2] * k}};
        apply_range<3>(p, first, rotation3(center, rk));
      });
}

int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned>& copy,
                  const vector_fixed<double, 2>& point, const vector_fixed<double, 2>& normal,
                  const dense2D<unsigned>& source) {
  return copy_mirror<2>(pos, copy, point, normal, source);
}

int copy_sym_mesh(dense2D<double>& pos, dense2D<unsigned>& copy,
                  const vector_fixed<double, 3>& point, const vector_fixed<double, 3>& normal,
                  const dense2D<unsigned>& source) {
  return copy_mirror<3>(pos, copy, point, normal, source);
}

}  // namespace tessellix
}  // namespace qz4
