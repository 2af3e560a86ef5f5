#include "structured_mesh.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <random>
#include <utility>
#include <vector>

namespace qz4 {
namespace support {
namespace {

// Builds a mesh column by column in plain vectors before one copy into the
// shared containers.
struct builder {
  unsigned dim;
  std::vector<double> xyz;
  std::vector<unsigned> ids;
  unsigned rows;

  builder(unsigned d, unsigned r) : dim(d), rows(r) {}

  unsigned node(double x, double y, double z = 0) {
    xyz.push_back(x);
    xyz.push_back(y);
    if (dim == 3) xyz.push_back(z);
    return unsigned(xyz.size() / dim - 1);
  }
  void element(const unsigned* v, unsigned n) {
    for (unsigned i = 0; i < rows; ++i) ids.push_back(i < n ? v[i] : NO_ID);
  }
  const double* at(unsigned n) const { return &xyz[std::size_t(n) * dim]; }

  mesh finish(element_type type) const {
    mesh m;
    m.type = type;
    const unsigned nodes = unsigned(xyz.size() / dim), elems = unsigned(ids.size() / rows);
    m.pos.resize(dim, nodes);
    for (unsigned j = 0; j < nodes; ++j)
      for (unsigned i = 0; i < dim; ++i) m.pos(i, j) = xyz[std::size_t(j) * dim + i];
    m.conn.resize(rows, elems);
    for (unsigned j = 0; j < elems; ++j)
      for (unsigned i = 0; i < rows; ++i) m.conn(i, j) = ids[std::size_t(j) * rows + i];
    return m;
  }
};

typedef std::array<double, 3> vec;

vec sub(const double* a, const double* b) { return {a[0] - b[0], a[1] - b[1], a[2] - b[2]}; }

// (a - o) x (b - o) . (c - o)
double triple(const builder& b, unsigned o, unsigned x, unsigned y, unsigned z) {
  const vec u = sub(b.at(x), b.at(o)), v = sub(b.at(y), b.at(o)), w = sub(b.at(z), b.at(o));
  return (u[1] * v[2] - u[2] * v[1]) * w[0] + (u[2] * v[0] - u[0] * v[2]) * w[1] +
         (u[0] * v[1] - u[1] * v[0]) * w[2];
}

// Appends a solid in positive orientation, flipping it when its nodes were
// given the other way round.
void tetra(builder& b, unsigned p0, unsigned p1, unsigned p2, unsigned p3) {
  // (P0 - P3) . ((P1 - P3) x (P2 - P3)) > 0
  if (triple(b, p3, p1, p2, p0) < 0) std::swap(p1, p2);
  const unsigned v[4] = {p0, p1, p2, p3};
  b.element(v, 4);
}

void pyramid(builder& b, std::array<unsigned, 4> base, unsigned apex) {
  if (triple(b, base[0], base[1], base[2], apex) < 0) std::swap(base[1], base[3]);
  const unsigned v[5] = {base[0], base[1], base[2], base[3], apex};
  b.element(v, 5);
}

void wedge(builder& b, std::array<unsigned, 6> v) {
  if (triple(b, v[0], v[1], v[2], v[3]) < 0) {
    std::swap(v[0], v[3]), std::swap(v[1], v[4]), std::swap(v[2], v[5]);
  }
  b.element(v.data(), 6);
}

void hexahedron(builder& b, std::array<unsigned, 8> v) {
  if (triple(b, v[0], v[1], v[3], v[4]) < 0)
    for (unsigned i = 0; i < 4; ++i) std::swap(v[i], v[i + 4]);
  b.element(v.data(), 8);
}

// Node IDs of a lexicographic (nx+1) x (ny+1) x (nz+1) lattice.
struct lattice {
  unsigned nx, ny, nz;
  unsigned id(unsigned i, unsigned j, unsigned k) const {
    return i + (nx + 1) * (j + (ny + 1) * k);
  }
  // Corners of cell (i,j,k) in hexahedron order: the bottom square
  // counter-clockwise from (i,j), then the top one above it.
  std::array<unsigned, 8> cell(unsigned i, unsigned j, unsigned k) const {
    return {id(i, j, k),     id(i + 1, j, k),     id(i + 1, j + 1, k),     id(i, j + 1, k),
            id(i, j, k + 1), id(i + 1, j, k + 1), id(i + 1, j + 1, k + 1), id(i, j + 1, k + 1)};
  }
};

builder solid_lattice(unsigned nx, unsigned ny, unsigned nz, unsigned rows) {
  builder b(3, rows);
  for (unsigned k = 0; k <= nz; ++k)
    for (unsigned j = 0; j <= ny; ++j)
      for (unsigned i = 0; i <= nx; ++i) b.node(double(i) / nx, double(j) / ny, double(k) / nz);
  return b;
}

builder plane_lattice(unsigned nx, unsigned ny, unsigned rows) {
  builder b(2, rows);
  for (unsigned j = 0; j <= ny; ++j)
    for (unsigned i = 0; i <= nx; ++i) b.node(double(i) / nx, double(j) / ny);
  return b;
}

unsigned cell_centre(builder& b, const lattice& L, unsigned i, unsigned j, unsigned k) {
  return b.node((i + 0.5) / L.nx, (j + 0.5) / L.ny, (k + 0.5) / L.nz);
}

// The six faces of a cell as corner quadruples of lattice::cell, each listed
// around its boundary: x low, x high, y low, y high, z low, z high.
constexpr unsigned char cell_faces[6][4] = {{0, 3, 7, 4}, {1, 2, 6, 5}, {0, 1, 5, 4},
                                            {3, 2, 6, 7}, {0, 1, 2, 3}, {4, 5, 6, 7}};

// Face cutting rule of the mixed grid, a function of the face alone so that
// the two cells that share a face agree. A cut face is split along the
// diagonal from its first listed corner to its third, which for each of the
// faces above joins the corner of lowest (i,j,k) to the highest one.
bool x_face_cut(unsigned i, unsigned j, unsigned k) { return (i + j + 2 * k) % 3 == 0; }
bool y_face_cut(unsigned i, unsigned j, unsigned k) { return (2 * i + j + k) % 3 == 1; }
bool z_face_cut(unsigned i, unsigned j) { return (i + j) % 2 == 0; }

void face_cells(builder& b, unsigned nx, unsigned ny, element_type type,
                unsigned (*corner)(const void*, unsigned, unsigned), const void* ctx) {
  for (unsigned t = 0; t < ny; ++t)
    for (unsigned s = 0; s < nx; ++s) {
      const unsigned a = corner(ctx, s, t), c1 = corner(ctx, s + 1, t),
                     c2 = corner(ctx, s + 1, t + 1), d = corner(ctx, s, t + 1);
      const bool cut = type == ET_TRIA3 || (type == ET_FACE_MIXED && (s + 2 * t) % 3 == 0);
      if (cut) {
        const unsigned t1[3] = {a, c1, c2}, t2[3] = {a, c2, d};
        b.element(t1, 3);
        b.element(t2, 3);
      } else {
        const unsigned q[4] = {a, c1, c2, d};
        b.element(q, 4);
      }
    }
}

struct plane_ctx {
  unsigned nx;
};
unsigned plane_corner(const void* ctx, unsigned s, unsigned t) {
  return s + (static_cast<const plane_ctx*>(ctx)->nx + 1) * t;
}

mesh face_grid(unsigned nx, unsigned ny, element_type type) {
  builder b = plane_lattice(nx, ny, type == ET_TRIA3 ? 3 : 4);
  const plane_ctx ctx = {nx};
  face_cells(b, nx, ny, type, plane_corner, &ctx);
  return b.finish(type);
}

// Node IDs of the points of the cube surface: the full bottom layer, then
// one ring of 2(nx + ny) points per inner layer, then the full top layer.
struct shell {
  unsigned n[3];
  unsigned id(unsigned i, unsigned j, unsigned k) const {
    const unsigned nx = n[0], ny = n[1], nz = n[2], layer = (nx + 1) * (ny + 1);
    const unsigned ring = 2 * (nx + ny);
    if (k == 0) return i + (nx + 1) * j;
    if (k == nz) return layer + (nz - 1) * ring + i + (nx + 1) * j;
    unsigned r;
    if (j == 0 && i < nx)
      r = i;
    else if (i == nx && j < ny)
      r = nx + j;
    else if (j == ny && i > 0)
      r = nx + ny + (nx - i);
    else
      r = 2 * nx + ny + (ny - j);
    return layer + (k - 1) * ring + r;
  }
};

// One side of the cube: a lattice point (s,t) on it lies at
// origin + s * e[u] + t * e[v], with e[u] x e[v] the outward normal.
struct side {
  const shell* sh;
  unsigned axis, level, u, v;
};
unsigned side_corner(const void* ctx, unsigned s, unsigned t) {
  const side& f = *static_cast<const side*>(ctx);
  unsigned p[3];
  p[f.axis] = f.level;
  p[f.u] = s;
  p[f.v] = t;
  return f.sh->id(p[0], p[1], p[2]);
}

}  // namespace

mesh edge_grid(unsigned n) {
  builder b(2, 2);
  for (unsigned i = 0; i <= n; ++i) b.node(double(i) / n, 0);
  for (unsigned i = 0; i < n; ++i) {
    const unsigned v[2] = {i, i + 1};
    b.element(v, 2);
  }
  return b.finish(ET_EDGE2);
}

mesh edge_loop(unsigned n) {
  builder b(2, 2);
  const double step = 6.283185307179586 / n;
  for (unsigned i = 0; i < n; ++i) b.node(std::cos(i * step), std::sin(i * step));
  for (unsigned i = 0; i < n; ++i) {
    const unsigned v[2] = {i, (i + 1) % n};
    b.element(v, 2);
  }
  return b.finish(ET_EDGE2);
}

mesh tria_grid(unsigned nx, unsigned ny) { return face_grid(nx, ny, ET_TRIA3); }
mesh quad_grid(unsigned nx, unsigned ny) { return face_grid(nx, ny, ET_QUAD4); }
mesh mixed_face_grid(unsigned nx, unsigned ny) { return face_grid(nx, ny, ET_FACE_MIXED); }

mesh hexa_grid(unsigned nx, unsigned ny, unsigned nz) {
  builder b = solid_lattice(nx, ny, nz, 8);
  const lattice L = {nx, ny, nz};
  for (unsigned k = 0; k < nz; ++k)
    for (unsigned j = 0; j < ny; ++j)
      for (unsigned i = 0; i < nx; ++i) hexahedron(b, L.cell(i, j, k));
  return b.finish(ET_HEXA8);
}

mesh tetra_grid(unsigned nx, unsigned ny, unsigned nz) {
  builder b = solid_lattice(nx, ny, nz, 4);
  const lattice L = {nx, ny, nz};
  // Paths from corner (0,0,0) to (1,1,1) along the axes, one per order of
  // the axes; consecutive cells then cut their shared faces alike.
  static const unsigned char axes[6][3] = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2},
                                           {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
  for (unsigned k = 0; k < nz; ++k)
    for (unsigned j = 0; j < ny; ++j)
      for (unsigned i = 0; i < nx; ++i)
        for (const auto& a : axes) {
          unsigned p[3] = {i, j, k}, v[4];
          v[0] = L.id(p[0], p[1], p[2]);
          for (unsigned s = 0; s < 3; ++s) {
            ++p[a[s]];
            v[s + 1] = L.id(p[0], p[1], p[2]);
          }
          tetra(b, v[0], v[1], v[2], v[3]);
        }
  return b.finish(ET_TETRA4);
}

mesh penta_grid(unsigned nx, unsigned ny, unsigned nz) {
  builder b = solid_lattice(nx, ny, nz, 6);
  const lattice L = {nx, ny, nz};
  for (unsigned k = 0; k < nz; ++k)
    for (unsigned j = 0; j < ny; ++j)
      for (unsigned i = 0; i < nx; ++i) {
        const auto c = L.cell(i, j, k);
        wedge(b, {c[0], c[1], c[2], c[4], c[5], c[6]});
        wedge(b, {c[0], c[2], c[3], c[4], c[6], c[7]});
      }
  return b.finish(ET_PENTA6);
}

mesh pyra_grid(unsigned nx, unsigned ny, unsigned nz) {
  builder b = solid_lattice(nx, ny, nz, 5);
  const lattice L = {nx, ny, nz};
  for (unsigned k = 0; k < nz; ++k)
    for (unsigned j = 0; j < ny; ++j)
      for (unsigned i = 0; i < nx; ++i) {
        const auto c = L.cell(i, j, k);
        const unsigned apex = cell_centre(b, L, i, j, k);
        for (const auto& f : cell_faces) pyramid(b, {c[f[0]], c[f[1]], c[f[2]], c[f[3]]}, apex);
      }
  return b.finish(ET_PYRA5);
}

mesh mixed_solid_grid(unsigned nx, unsigned ny, unsigned nz) {
  builder b = solid_lattice(nx, ny, nz, 8);
  const lattice L = {nx, ny, nz};
  for (unsigned k = 0; k < nz; ++k)
    for (unsigned j = 0; j < ny; ++j)
      for (unsigned i = 0; i < nx; ++i) {
        const auto c = L.cell(i, j, k);
        const bool cut[6] = {x_face_cut(i, j, k),     x_face_cut(i + 1, j, k), y_face_cut(i, j, k),
                             y_face_cut(i, j + 1, k), z_face_cut(i, j),        z_face_cut(i, j)};
        const bool sides = cut[0] || cut[1] || cut[2] || cut[3];
        if (!sides && !cut[4]) {
          hexahedron(b, c);
        } else if (!sides) {
          // The bottom and top are cut along the same (0,2) diagonal.
          wedge(b, {c[0], c[1], c[2], c[4], c[5], c[6]});
          wedge(b, {c[0], c[2], c[3], c[4], c[6], c[7]});
        } else {
          const unsigned apex = cell_centre(b, L, i, j, k);
          for (unsigned f = 0; f < 6; ++f) {
            const unsigned q[4] = {c[cell_faces[f][0]], c[cell_faces[f][1]], c[cell_faces[f][2]],
                                   c[cell_faces[f][3]]};
            if (cut[f]) {
              tetra(b, q[0], q[1], q[2], apex);
              tetra(b, q[0], q[2], q[3], apex);
            } else {
              pyramid(b, {q[0], q[1], q[2], q[3]}, apex);
            }
          }
        }
      }
  return b.finish(ET_SOLID_MIXED);
}

mesh box_surface(unsigned nx, unsigned ny, unsigned nz, element_type type) {
  builder b(3, type == ET_TRIA3 ? 3 : 4);
  const shell sh = {{nx, ny, nz}};
  // Nodes in the order of shell::id.
  for (unsigned k = 0; k <= nz; ++k) {
    const double z = double(k) / nz;
    if (k == 0 || k == nz) {
      for (unsigned j = 0; j <= ny; ++j)
        for (unsigned i = 0; i <= nx; ++i) b.node(double(i) / nx, double(j) / ny, z);
      continue;
    }
    for (unsigned i = 0; i < nx; ++i) b.node(double(i) / nx, 0, z);
    for (unsigned j = 0; j < ny; ++j) b.node(1, double(j) / ny, z);
    for (unsigned i = nx; i > 0; --i) b.node(double(i) / nx, 1, z);
    for (unsigned j = ny; j > 0; --j) b.node(0, double(j) / ny, z);
  }
  // axis, level, u, v with e[u] x e[v] pointing out of the cube.
  const side sides[6] = {{&sh, 2, 0, 1, 0},  {&sh, 2, nz, 0, 1}, {&sh, 0, 0, 2, 1},
                         {&sh, 0, nx, 1, 2}, {&sh, 1, 0, 0, 2},  {&sh, 1, ny, 2, 0}};
  for (const side& f : sides) face_cells(b, sh.n[f.u], sh.n[f.v], type, side_corner, &f);
  return b.finish(type);
}

void shuffle(mesh& m, unsigned seed) {
  std::mt19937 rng(seed);
  // Explicit modulo rather than a std distribution, whose output is not the
  // same on every standard library.
  auto permutation = [&rng](unsigned n) {
    std::vector<unsigned> p(n);
    for (unsigned i = 0; i < n; ++i) p[i] = i;
    for (unsigned i = n; i > 1; --i) std::swap(p[i - 1], p[unsigned(rng() % i)]);
    return p;
  };
  const unsigned nodes = m.pos.cols(), elems = m.conn.cols();
  const unsigned dim = m.pos.rows(), rows = m.conn.rows();
  const std::vector<unsigned> node_to = permutation(nodes);    // old node -> new node
  const std::vector<unsigned> elem_from = permutation(elems);  // new element <- old element

  dense2D<double> pos(dim, nodes);
  for (unsigned j = 0; j < nodes; ++j)
    for (unsigned i = 0; i < dim; ++i) pos(i, node_to[j]) = m.pos(i, j);
  dense2D<unsigned> conn(rows, elems);
  for (unsigned e = 0; e < elems; ++e)
    for (unsigned i = 0; i < rows; ++i) {
      const unsigned n = m.conn(i, elem_from[e]);
      conn(i, e) = n < nodes ? node_to[n] : n;
    }
  m.pos = pos;
  m.conn = conn;
}

template <class T>
dense2D<T> gapped(const dense2D<T>& m, unsigned gap, T filler) {
  const unsigned rows = m.rows(), cols = m.cols();
  dense2D<T> big;
  big.resize(rows + gap, cols);
  for (unsigned j = 0; j < cols; ++j)
    for (unsigned i = 0; i < rows + gap; ++i) big(i, j) = i < rows ? m(i, j) : filler;
  return big.sub_matrix(0, 0, rows, cols);
}

dense2D<unsigned> with_gap(const dense2D<unsigned>& m, unsigned gap, unsigned filler) {
  return gapped(m, gap, filler);
}
dense2D<double> with_gap(const dense2D<double>& m, unsigned gap, double filler) {
  return gapped(m, gap, filler);
}

}  // namespace support
}  // namespace qz4
