// The shared structured-mesh generator: sizes, valid IDs, positive
// orientation (element measures add up to the unit square or cube), closed
// surfaces enclosing the unit cube, and a shuffle that is the same everywhere.
#include <array>

#include "topology_test_util.h"

using namespace qz4test;

namespace {

typedef std::array<double, 3> point;

// The flux of x / 3 out of oriented cells: the volume enclosed by faces (as
// fans of triangles), or the area enclosed by edges in the plane (closed
// into triangles by the point (0, 0, 1), which gives 2 / 6 of the area).
double flux(const support::mesh& m, const dense2D<unsigned>& cells) {
  double v = 0;
  for (const ids& f : all_columns(cells)) {
    std::vector<point> p;
    for (unsigned n : f)
      if (n != X) p.push_back({m.pos(0, n), m.pos(1, n), m.pos.rows() == 3 ? m.pos(2, n) : 0});
    const double w = p.size() == 2 ? 3 : 1;
    if (p.size() == 2) p.push_back({0, 0, 1});
    for (unsigned i = 1; i + 1 < p.size(); ++i) {
      const point &a = p[0], &b = p[i], &c = p[i + 1];
      v += w *
           (a[0] * (b[1] * c[2] - b[2] * c[1]) - a[1] * (b[0] * c[2] - b[2] * c[0]) +
            a[2] * (b[0] * c[1] - b[1] * c[0])) /
           6;
    }
  }
  return v;
}

// Signed measure of element e, through its boundaries (faces of a solid face inwards).
double measure(const support::mesh& m, unsigned e) {
  if (m.type == ET_EDGE2) return m.pos(0, m.conn(1, e)) - m.pos(0, m.conn(0, e));
  dense2D<unsigned> b;
  EXPECT_EQ(get_element_boundaries(m.conn.sub_matrix(0, e, m.conn.rows(), 1), m.type, b), 0);
  return b.rows() == 2 ? flux(m, b) : -flux(m, b);
}

}  // namespace

// Sizes; elements of positive measure filling the unit square or cube (with
// every solid shape in the mixed grid); boxes whose outward faces enclose it.
TEST(StructuredMesh, SizesOrientationAndClosedBoxes) {
  const unsigned box = 3 * 2 + 2 * 4 + 4 * 3;
  // clang-format off
  struct { support::mesh m; unsigned rows, nodes, elements; } cases[] = {
      {support::edge_grid(5), 2, 6, 5}, {support::edge_loop(7), 2, 7, 7}, {support::tria_grid(3, 2), 3, 12, 12},
      {support::quad_grid(3, 2), 4, 12, 6}, {support::hexa_grid(3, 2, 2), 8, 36, 12},
      {support::tetra_grid(3, 2, 2), 4, 36, 72}, {support::penta_grid(3, 2, 2), 6, 36, 24},
      {support::pyra_grid(3, 2, 2), 5, 36 + 12, 72}, {support::box_surface(3, 2, 4), 3, 2 + 2 * box, 4 * box},
      {support::box_surface(3, 2, 4, ET_QUAD4), 4, 2 + 2 * box, 2 * box},
      {support::box_surface(3, 2, 4, ET_FACE_MIXED), 4, 2 + 2 * box, 0},
      {support::mixed_face_grid(4, 3), 4, 20, 0}, {support::mixed_solid_grid(3, 3, 3), 8, 88, 0}};
  // clang-format on
  for (auto& c : cases) {
    const unsigned elements = c.elements ? c.elements : c.m.conn.cols();
    EXPECT_EQ((ids{c.m.conn.rows(), c.m.pos.cols(), c.m.conn.cols(),
                   unsigned(count_unique_indices(c.m.conn))}),
              (ids{c.rows, c.nodes, elements, c.nodes}))
        << c.m.type;
    if (c.rows == 2 && c.nodes == elements) continue;  // the loop encloses nothing
    if (c.m.pos.rows() == 3 && c.rows < 5 && c.m.type != ET_TETRA4) {
      EXPECT_NEAR(flux(c.m, c.m.conn), 1.0, 1e-12) << c.m.type;
      continue;
    }
    support::shuffle(c.m, 17);
    double total = 0;
    std::set<element_type> shapes;
    for (unsigned e = 0; e < elements; ++e) {
      const double v = measure(c.m, e);
      EXPECT_GT(v, 0) << c.m.type << " element " << e;
      total += v;
      shapes.insert(shape_of(c.m.type, column(c.m.conn, e)));
    }
    EXPECT_NEAR(total, 1.0, 1e-12) << c.m.type;
    EXPECT_EQ(shapes.size(), c.m.type == ET_SOLID_MIXED ? 4u : c.m.type == ET_FACE_MIXED ? 2u : 1u);
  }
}

TEST(StructuredMesh, ShuffleIsAFixedRenumbering) {
  support::mesh a = support::tria_grid(2, 1);
  support::shuffle(a, 5);
  // Pinned, so that a platform whose generator or shuffle differs shows up.
  EXPECT_EQ(all_columns(a.conn), (id_table{{1, 2, 4}, {2, 5, 4}, {1, 4, 3}, {2, 0, 5}}));
  // Positions moved with their nodes: each triangle keeps its shape.
  for (unsigned e = 0; e < a.conn.cols(); ++e) EXPECT_NEAR(measure(a, e), 0.25, 1e-15);
}
