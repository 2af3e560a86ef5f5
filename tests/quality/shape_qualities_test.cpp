// Shape qualities: hand-derived values of stretched, flat and inverted
// elements of every kind, invariance under similarity transforms, constant
// values on shuffled structured grids (which hold the regular cells of each
// kind), the statuses in their order, and the out-of-memory paths.
#include "measures.h"

static const double r2 = std::sqrt(2.0), r3 = std::sqrt(3.0), h3 = r3 / 2;  // equilateral height
static const double right_tria = r3 * (r2 - 1);                             // right isosceles
static const double rect_2x1 = 4 * r2 / std::sqrt(45.0);                    // 2 by 1 rectangle
static const double kuhn_tetra = 2 - r2;                   // (0,0,0) (1,0,0) (1,1,0) (1,1,1)
static const double cell_pyramid = std::sqrt(2 * r2 / 3);  // cube face with the cube's centre

// Bottom face then top face (`inverted` exchanges them), nodes in order.
static Vd extrude(Vd v, double dz, bool inverted) {
  const unsigned n = unsigned(v.size());
  for (unsigned i = 0; i < n; ++i) v.push_back(v[i] + (i % 3 == 2) * dz);
  if (inverted) std::rotate(v.begin(), v.begin() + n, v.end());
  return v;
}
static Vd cube(double dx, double dz, bool inverted = false) {
  return extrude({0, 0, 0, dx, 0, 0, dx, 1, 0, 0, 1, 0}, dz, inverted);
}
static Vd prism(double dz, bool inverted = false, double z = 0) {
  return extrude({0, 0, z, 1, 0, z, 0.5, h3, z}, dz, inverted);
}
static Vd pyramid(double z) { return {1, 0, 0, 0, 1, 0, -1, 0, 0, 0, -1, 0, 0, 0, z}; }

// Triangles and quadrangles in the plane (signed), in space and in 4 rows;
// the quadrangles clockwise, rectangle, crossed, collapsed and, in space, a
// saddle (opposite corner normals 1/3 of a turn apart: warp 1/3, base
// sqrt(3/2)). Tetrahedra regular, with P0 and P1 exchanged, corner, corner
// halved in z (every term of the fast form counts), flat and nearly flat
// (apex 1e-9 over the centre of an equilateral base: sqrt(6) times the
// height, through the careful form). The pyramid of
// apex height h over a base of half diagonal 1 gives 2h / (1 + h^2) on both
// diagonals. The regular wedge far from the origin, where an unscaled
// centroid would fall outside the element.
static const Vd cases[] = {
    {ET_TRIA3, 2, 1.0, 0, 0, 1, 0, 0.5, h3},
    {ET_TRIA3, 2, -1.0, 0, 0, 0.5, h3, 1, 0},
    {ET_TRIA3, 2, 0.0, 0, 0, 1, 1, 3, 3},
    {ET_TRIA3, 2, 0.0, 2, 2, 2, 2, 2, 2},
    {ET_TRIA3, 3, 1.0, 0, 0, 0, 0, 1, 0, 0, 0.5, h3},
    {ET_TRIA3, 3, right_tria, 0, 0, 0, 1, 0, 0, 0, 1, 0},
    {ET_TRIA3, 3, 0.0, 0, 0, 0, 1, 1, 1, 2, 2, 2},
    {ET_TRIA3, 4, 0.0, 0, 0, 0, 0, 1, 0, 0, 0, 0.5, h3, 0, 0},
    {ET_QUAD4, 2, -1.0, 0, 0, 0, 1, 1, 1, 1, 0},
    {ET_QUAD4, 2, rect_2x1, 0, 0, 2, 0, 2, 1, 0, 1},
    {ET_QUAD4, 2, -2 * (r2 - 1), 0, 0, 1, 1, 1, 0, 0, 1},
    {ET_QUAD4, 2, 0.0, 1, 1, 1, 1, 1, 1, 1, 1},
    {ET_QUAD4, 3, 1.0, 0, 0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1},
    {ET_QUAD4, 3, rect_2x1, 0, 0, 0, 2, 0, 0, 2, 1, 0, 0, 1, 0},
    {ET_QUAD4, 3, 0.0, 0, 0, 0, 1, 1, 0, 1, 0, 0, 0, 1, 0},
    {ET_QUAD4, 3, 1 / std::sqrt(6.0), 0, 0, 0, 1, 0, 1, 1, 1, 0, 0, 1, 1},
    {ET_QUAD4, 3, 0.0, 0, 0, 0, 1, 0, 0, 2, 0, 0, 1, 1, 0},  // a flat corner
    {ET_QUAD4, 4, 1.0, 0, 0, 0, 9, 1, 0, 0, -9, 1, 1, 0, 5, 0, 1, 0, 7},
    {ET_TETRA4, 3, 1.0, 1, 1, 1, 1, -1, -1, -1, 1, -1, -1, -1, 1},
    {ET_TETRA4, 3, -1.0, 1, -1, -1, 1, 1, 1, -1, 1, -1, -1, -1, 1},
    {ET_TETRA4, 3, r3 - 1, 1, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0},
    {ET_TETRA4, 3, r3 / (2 + std::sqrt(1.5)), 1, 0, 0, 0, 1, 0, 0, 0, 0.5, 0, 0, 0},
    {ET_TETRA4, 3, 0.0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 1, 0},
    {ET_TETRA4, 3, std::sqrt(6.0) * 1e-9, 0, 0, 0, 0.5, h3, 0, 1, 0, 0, 0.5, h3 / 3, 1e-9},
    join({ET_PYRA5, 3, 1.0}, pyramid(1)),
    join({ET_PYRA5, 3, std::sqrt(0.8)}, pyramid(2)),
    join({ET_PYRA5, 3, -1.0}, pyramid(-1)),
    join({ET_PYRA5, 3, 0.0}, pyramid(0)),
    join({ET_PENTA6, 3, 1.0}, prism(1, false, -10)),
    join({ET_PENTA6, 3, rect_2x1}, prism(2)),
    join({ET_PENTA6, 3, -1.0}, prism(1, true)),
    join({ET_PENTA6, 3, 0.0}, prism(0)),
    join({ET_HEXA8, 3, rect_2x1}, cube(2, 1)),
    join({ET_HEXA8, 3, -1.0}, cube(1, 1, true)),
    join({ET_HEXA8, 3, 0.0}, cube(1, 0))};

static dense2D<unsigned> first_nodes(unsigned n) {
  dense2D<unsigned> c(n, 1);
  for (unsigned i = 0; i < n; ++i) c(i, 0) = i;
  return c;
}

static Vd qualities(const dense2D<double>& pos, const dense2D<unsigned>& c, element_type type) {
  dense1D<double> q;
  EXPECT_EQ(shape_qualities(pos, c, type, q), 0);
  return std_of(q);
}

TEST(ShapeQualities, HandBuiltElementsOfEveryKind) {
  for (const Vd& k : cases) {  // kind, rows of pos, quality, coordinates
    SCOPED_TRACE(std::to_string(&k - cases));
    dense2D<double> pos = points(unsigned(k[1]), Vd(k.begin() + 3, k.end()));
    const double e = std::fabs(k[2]);
    for (int moved = 0; moved < 2; ++moved) {  // then scaled and moved: the same value
      const double tol = e > 0 && e < 1e-6 ? 1e-6 * e : moved ? 1e-12 : e == 0 ? 0 : 1e-14;
      EXPECT_TRUE(Near(qualities(pos, first_nodes(pos.cols()), element_type(k[0])), {k[2]}, tol));
      for (unsigned j = 0; j < pos.cols() * (k[1] < 4); ++j)
        for (unsigned i = 0; i < pos.rows(); ++i) pos(i, j) = pos(i, j) * 250 + i + 3.5;
    }
  }
  // Solids in plane or line coordinates are flat: the missing rows count as
  // 0 and nothing is read past a column (a view, the z row still stored).
  for (unsigned rows : {1u, 2u})
    for (element_type t : {ET_HEXA8, ET_PENTA6, ET_PYRA5, ET_TETRA4, ET_QUAD4})
      EXPECT_EQ(qualities(points(3, cube(1, 1)).sub_matrix(0, 0, rows, 8),
                          first_nodes(element_nodes[t]), t),
                Vd(1, rows == 2 && t == ET_QUAD4))
          << rows << t;
  // A wedge whose thin top face is its worst, and its mirror image with that
  // face at the bottom: every face counts, whichever end it is.
  const Vd a = {0, 0, 0, 1, 0, 0, 0.5, h3, 0, 0, 0, 1, 1, 0, 1, 0.5, 0.2, 1};
  Vd b(a.begin() + 9, a.end());
  b.insert(b.end(), a.begin(), a.begin() + 9);
  for (unsigned k = 2; k < 18; k += 3) b[k] = 1 - b[k];
  EXPECT_TRUE(Near(qualities(points(3, b), first_nodes(6), ET_PENTA6),
                   qualities(points(3, a), first_nodes(6), ET_PENTA6), 1e-14));
}

TEST(ShapeQualities, MixedKindsTakeTheMeasureOfEachShape) {
  // Nodes 0-3 a unit square, 4 the apex of a regular pyramid on it. Faces in
  // space have no sign; in the plane the first triangle turns clockwise; with
  // three rows all are triangles, checked as ET_TRIA3, so padding is refused.
  const dense2D<double> pos = points(3, {0, 0, 0, 1, 0, 0, 1, 1, 0, 0, 1, 0, 0.5, 0.5, 1 / r2});
  const dense2D<double> flat = points(2, {0, 0, 1, 0, 1, 1, 0, 1});
  EXPECT_TRUE(
      Near(join(join(qualities(pos, conn(4, {{0, 1, 2}, {0, 1, 2, 3}, {0, 2, 1}}), ET_FACE_MIXED),
                     qualities(flat, conn(4, {{0, 2, 1}, {3, 2, 1, 0}}), ET_FACE_MIXED)),
                qualities(flat, conn(3, {{0, 1, 2}}), ET_FACE_MIXED)),
           {right_tria, 1, right_tria, -right_tria, -1, right_tria}, 1e-14));
  // Mixed solids by their row count alone.
  const dense2D<unsigned> tet = conn(4, {{0, 1, 3, 4}});
  EXPECT_TRUE(
      Near(join(join(qualities(pos, conn(5, {{0, 1, 2, 3, 4}, {0, 1, 2, 3, 4}}), ET_SOLID_MIXED),
                     qualities(pos, tet, ET_SOLID_MIXED)),
                join(qualities(points(3, prism(2)), first_nodes(6), ET_SOLID_MIXED),
                     qualities(points(3, cube(2, 1)), first_nodes(8), ET_SOLID_MIXED))),
           {1, 1, qualities(pos, tet, ET_TETRA4)[0], rect_2x1, rect_2x1}, 1e-14));
  dense1D<double> q(3, 5.0);
  EXPECT_EQ(Vi({shape_qualities(flat, conn(3, {{0, 1}}), ET_FACE_MIXED, q),
                shape_qualities(pos, conn(5, {{0, 1, 2, 3, 4}, {0, 1, 3, 4}}), ET_SOLID_MIXED, q),
                shape_qualities(pos, conn(7, {{0, 1, 2, 3, 4, 0, 1}}), ET_SOLID_MIXED, q),
                int(q.size())}),
            Vi({-2, -2, -2, 0}));
}

// Every element of a grid of cubic cells has the same shape, so the same
// value, whatever the numbering, the storage gaps or the kind's grid.
TEST(ShapeQualities, StructuredGridsGiveTheirCellShape) {
  using namespace qz4::support;
  mesh grids[] = {tria_grid(5, 5),     quad_grid(4, 4),    tetra_grid(3, 3, 3), pyra_grid(3, 3, 3),
                  penta_grid(3, 3, 3), hexa_grid(3, 3, 3), edge_grid(7)};
  const double cell[] = {right_tria, 1, kuhn_tetra, cell_pyramid, right_tria, 1, 1};
  for (mesh& m : grids) {
    shuffle(m, 7);
    const Vd q = qualities(m.pos, m.conn, m.type);
    EXPECT_TRUE(Near(q, Vd(m.conn.cols(), cell[&m - grids]), 1e-13)) << int(m.type);
    EXPECT_EQ(qualities(with_gap(m.pos, 2), with_gap(m.conn, 3), m.type), q);
  }
}

// The range form lays the single forms end to end; an empty matrix of a kind
// without measure is skipped, yet uses its flag and gives a zero per column.
// The histogram sees exactly those values. A refused allocation leaves no
// value behind, in the range forms and the single one.
TEST(ShapeQualities, RangeFormsConcatenateFeedTheHistogramAndRunOutOfMemory) {
  const dense2D<double> pos = points(3, cube(2, 1));
  const dense2D<unsigned> parts[] = {conn(4, {{1, 0, 3, 4}, {1, 0, 2, 6}}), dense2D<unsigned>(0, 2),
                                     first_nodes(8)};
  const dense1D<int> kinds = vec(Vi{ET_TETRA4, ET_TETRA10, ET_HEXA8});
  const Vd t = qualities(pos, parts[0], ET_TETRA4);
  EXPECT_TRUE(t[0] > 0 && t[1] > 0 && t[0] != t[1]);
  const Vd want[] = {{t[0], t[1], 0, 0, rect_2x1},
                     {5, 0, rect_2x1, (t[0] + t[1] + rect_2x1) / 5},  // count, min, max, mean
                     {rect_2x1}};
  for (int form = 0; form < 3; ++form)
    expect_ok_or_out_of_memory([&] {
      dense1D<double> q;
      misc::histogram h;
      const int s = form == 0   ? shape_qualities(pos, parts, parts + 3, kinds, q)
                    : form == 1 ? shape_qualities(pos, parts, parts + 3, kinds, h)
                                : shape_qualities(pos, parts[2], ET_HEXA8, q);
      const Vd got = h.count() ? Vd{double(h.count()), h.min(), h.max(), h.mean()} : std_of(q);
      EXPECT_TRUE(Near(got, s ? Vd() : want[form], 1e-15)) << form;
      return s;
    });
}

TEST(ShapeQualities, StatusesInTheirOrder) {
  const dense2D<double> pos = points(3, cube(1, 1));
  const dense2D<unsigned> tet = conn(4, {{0, 1, 3, 4}}), bad = conn(4, {{0, 1, 3, 8}});
  const dense2D<unsigned> group[3] = {tet, bad, tet};
  dense1D<double> q;
  misc::histogram h;
  // Each status leaves `q` empty and `h` untouched (the histogram form skips
  // an empty connectivity).
  auto S = [&](const dense2D<double>& p, const dense2D<unsigned>& c, int t) {
    q.resize(3, 5.0);
    const int s = shape_qualities(p, c, element_type(t), q),
              r = c.empty() ? s : shape_qualities(p, c, element_type(t), h);
    return s == r && q.size() + h.count() == 0 ? s : 99;
  };
  auto R = [&](int first, int last, int flag1) {
    const dense1D<int> flags = vec(Vi{ET_TETRA4, flag1, ET_HEXA20});
    q.resize(3, 5.0);
    const int s = shape_qualities(pos, group + first, group + last, flags, q),
              r = shape_qualities(pos, group + first, group + last, flags, h);
    return s == r && q.size() + h.count() == 0 ? s : 99;
  };
  // No measure, even for an empty connectivity and before the node check.
  for (int t : std::initializer_list<int>{ET_NONE, ET_NODE, ET_EDGE_MIXED, ET_EDGE3, ET_TRIA6,
                                          ET_QUAD8, ET_QUAD9, ET_TETRA10, ET_PYRA14, ET_PENTA18,
                                          ET_HEXA20, ET_HEXA27, 21, 1000})
    EXPECT_EQ(Vi({S(pos, bad, t), S(pos, dense2D<unsigned>(), t)}), Vi({-3, -3})) << t;
  // The node check (an ID equal to the node count) and the row count; range:
  // first above last before the flags, the first failing matrix wins and the
  // values of earlier ones are lost.
  EXPECT_EQ(Vi({S(pos, bad, ET_TETRA4), S(pos, tet, ET_PYRA5), S(pos, conn(2, {{0, 8}}), ET_EDGE2),
                R(1, 0, ET_TETRA4), R(0, 2, ET_TETRA4), R(0, 3, ET_TETRA4), R(0, 3, ET_TETRA10),
                R(0, 1, ET_TETRA4)}),
            Vi({-2, -2, -2, -3, -4, -2, -3, -4}));
  // An empty connectivity or range: 0 and nothing, whatever pos holds; an ID
  // below the node count passes.
  q.resize(3, 5.0);
  EXPECT_EQ(Vi({shape_qualities(dense2D<double>(), dense2D<unsigned>(0, 4), ET_TETRA4, q),
                int(q.size()), shape_qualities(pos, group, group, dense1D<int>(), q),
                shape_qualities(pos, conn(2, {{0, 7}}), ET_EDGE2, q),
                shape_qualities(pos, tet, ET_TETRA4, h), int(h.count())}),
            Vi({0, 0, 0, 0, 0, 1}));
}
