// The shared structured-mesh generator: sizes, valid IDs, positive
// orientation (element measures add up to the unit square or cube), closed
// surfaces enclosing the unit cube, and a shuffle that is the same everywhere.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <vector>

#include "core/element_tables.h"
#include "qz4/tessellix/topology.h"
#include "structured_mesh.h"
#include "topology_test_util.h"

using namespace qz4;
using namespace qz4::tessellix;
using qz4test::column;

namespace {

typedef std::array<double, 3> point;

point at(const support::mesh& m, unsigned n) {
  point p = {0, 0, 0};
  for (unsigned i = 0; i < m.pos.rows(); ++i) p[i] = m.pos(i, n);
  return p;
}

double triple(const point& o, const point& a, const point& b, const point& c) {
  const point u = {a[0] - o[0], a[1] - o[1], a[2] - o[2]};
  const point v = {b[0] - o[0], b[1] - o[1], b[2] - o[2]};
  const point w = {c[0] - o[0], c[1] - o[1], c[2] - o[2]};
  return (u[1] * v[2] - u[2] * v[1]) * w[0] + (u[2] * v[0] - u[0] * v[2]) * w[1] +
         (u[0] * v[1] - u[1] * v[0]) * w[2];
}

// Signed measure of an element: the shoelace area of a polygon, or for a
// solid the sum over its faces (normals pointing in) of the cones to its
// centroid.
double measure(const support::mesh& m, unsigned e) {
  const std::vector<unsigned> col = column(m.conn, e);
  element_type shape = m.type;
  if (m.type == ET_FACE_MIXED) shape = tessellix::detail::face_shape(col.data());
  if (m.type == ET_SOLID_MIXED) shape = tessellix::detail::solid_shape(col.data());
  if (shape == ET_EDGE2) return at(m, col[1])[0] - at(m, col[0])[0];
  if (shape == ET_TRIA3 || shape == ET_QUAD4) {
    const unsigned k = shape == ET_TRIA3 ? 3 : 4;
    double a = 0;
    for (unsigned i = 0; i < k; ++i) {
      const point p = at(m, col[i]), q = at(m, col[(i + 1) % k]);
      a += p[0] * q[1] - q[0] * p[1];
    }
    return a / 2;
  }
  const unsigned corners = element_corners[shape];
  point g = {0, 0, 0};
  for (unsigned i = 0; i < corners; ++i)
    for (unsigned d = 0; d < 3; ++d) g[d] += at(m, col[i])[d] / corners;
  const auto* list = tessellix::detail::boundaries_of(shape);
  double v = 0;
  for (unsigned b = 0; b < list->count; ++b) {
    const unsigned k = list->width == 3 || list->v[b][3] == tessellix::detail::NONE ? 3 : 4;
    const point a = at(m, col[list->v[b][0]]);
    for (unsigned i = 1; i + 1 < k; ++i)
      v += triple(a, at(m, col[list->v[b][i]]), at(m, col[list->v[b][i + 1]]), g) / 6;
  }
  return v;
}

}  // namespace

TEST(StructuredMesh, SizesAndValidIDs) {
  struct expect_t {
    support::mesh m;
    element_type type;
    unsigned rows, nodes, elements;
  };
  const std::vector<expect_t> cases = {
      {support::edge_grid(5), ET_EDGE2, 2, 6, 5},
      {support::edge_loop(7), ET_EDGE2, 2, 7, 7},
      {support::tria_grid(3, 2), ET_TRIA3, 3, 12, 12},
      {support::quad_grid(3, 2), ET_QUAD4, 4, 12, 6},
      {support::hexa_grid(3, 2, 2), ET_HEXA8, 8, 36, 12},
      {support::tetra_grid(3, 2, 2), ET_TETRA4, 4, 36, 72},
      {support::penta_grid(3, 2, 2), ET_PENTA6, 6, 36, 24},
      {support::pyra_grid(3, 2, 2), ET_PYRA5, 5, 36 + 12, 72},
      {support::box_surface(3, 2, 4), ET_TRIA3, 3, 2 + 2 * (3 * 2 + 2 * 4 + 4 * 3),
       4 * (3 * 2 + 2 * 4 + 4 * 3)},
      {support::box_surface(3, 2, 4, ET_QUAD4), ET_QUAD4, 4, 2 + 2 * (3 * 2 + 2 * 4 + 4 * 3),
       2 * (3 * 2 + 2 * 4 + 4 * 3)}};
  for (const auto& c : cases) {
    EXPECT_EQ(c.m.type, c.type);
    EXPECT_EQ(c.m.conn.rows(), c.rows) << c.type;
    EXPECT_EQ(c.m.pos.cols(), c.nodes) << c.type;
    EXPECT_EQ(c.m.conn.cols(), c.elements) << c.type;
    EXPECT_TRUE(check_IDs(c.m.conn, c.type, c.m.pos.cols())) << c.type;
    EXPECT_EQ(count_unique_indices(c.m.conn), int(c.nodes)) << c.type;
  }
  // Mixed kinds pass the mixed shape test.
  const support::mesh f = support::mixed_face_grid(4, 3), s = support::mixed_solid_grid(3, 3, 3);
  EXPECT_TRUE(check_IDs(f.conn, ET_FACE_MIXED, f.pos.cols()));
  EXPECT_TRUE(check_IDs(s.conn, ET_SOLID_MIXED, s.pos.cols()));
  EXPECT_EQ(s.conn.rows(), 8u);
  unsigned shapes[4] = {0, 0, 0, 0};
  for (unsigned e = 0; e < s.conn.cols(); ++e) {
    const element_type t = tessellix::detail::solid_shape(column(s.conn, e).data());
    ++shapes[t == ET_TETRA4 ? 0 : t == ET_PYRA5 ? 1 : t == ET_PENTA6 ? 2 : 3];
  }
  for (unsigned k = 0; k < 4; ++k) EXPECT_GT(shapes[k], 0u) << "every solid shape";
}

TEST(StructuredMesh, PositiveElementsFillTheUnitDomain) {
  std::vector<support::mesh> meshes = {support::edge_grid(4),
                                       support::tria_grid(3, 2),
                                       support::quad_grid(2, 3),
                                       support::mixed_face_grid(4, 3),
                                       support::hexa_grid(2, 2, 3),
                                       support::tetra_grid(2, 3, 2),
                                       support::penta_grid(3, 2, 2),
                                       support::pyra_grid(2, 2, 2),
                                       support::mixed_solid_grid(3, 3, 3)};
  for (auto& m : meshes) {
    support::shuffle(m, 17);
    double total = 0;
    for (unsigned e = 0; e < m.conn.cols(); ++e) {
      const double v = measure(m, e);
      EXPECT_GT(v, 0) << m.type << " element " << e;
      total += v;
    }
    EXPECT_NEAR(total, 1.0, 1e-12) << m.type;
  }
}

TEST(StructuredMesh, BoxSurfacesEncloseTheUnitCube) {
  for (element_type t : {ET_TRIA3, ET_QUAD4, ET_FACE_MIXED}) {
    const support::mesh m = support::box_surface(3, 4, 2, t);
    // Outward orientation: the divergence theorem gives the volume.
    double v = 0;
    for (unsigned e = 0; e < m.conn.cols(); ++e) {
      const unsigned k = m.conn(3 % m.conn.rows(), e) == NO_ID || m.conn.rows() == 3 ? 3 : 4;
      const point o = {0, 0, 0}, a = at(m, m.conn(0, e));
      for (unsigned i = 1; i + 1 < k; ++i)
        v += triple(o, a, at(m, m.conn(i, e)), at(m, m.conn(i + 1, e))) / 6;
    }
    EXPECT_NEAR(v, 1.0, 1e-12) << t;
  }
}

TEST(StructuredMesh, ShuffleIsAFixedRenumbering) {
  const support::mesh m = support::tria_grid(2, 1);
  support::mesh a = m, b = m;
  a.pos = dense2D<double>();
  a.pos.copy(m.pos);
  a.conn = dense2D<unsigned>();
  a.conn.copy(m.conn);
  b.pos = dense2D<double>();
  b.pos.copy(m.pos);
  b.conn = dense2D<unsigned>();
  b.conn.copy(m.conn);
  support::shuffle(a, 5);
  support::shuffle(b, 5);
  EXPECT_EQ(qz4test::all_columns(a.conn), qz4test::all_columns(b.conn));
  // Pinned, so that a platform whose generator or shuffle differs shows up.
  EXPECT_EQ(qz4test::all_columns(a.conn), qz4test::all_columns(qz4test::columns(
                                              3, {{1, 2, 4}, {2, 5, 4}, {1, 4, 3}, {2, 0, 5}})));
  // Positions moved with their nodes: each triangle keeps its shape.
  for (unsigned e = 0; e < a.conn.cols(); ++e) EXPECT_NEAR(std::fabs(measure(a, e)), 0.25, 1e-15);

  // Views with a gap read as the compact matrix.
  const dense2D<unsigned> g = support::with_gap(m.conn, 3);
  EXPECT_EQ(g.ld(), 6u);
  EXPECT_EQ(qz4test::all_columns(g), qz4test::all_columns(m.conn));
}
