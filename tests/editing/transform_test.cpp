#include "editing_test_util.h"

namespace qz4test {

const double pi = 3.14159265358979323846;

TEST(TranslateAndZoom, AllListsAndConnectivities) {
  dense2D<double> p = points(1, {1, 2});
  EXPECT_EQ((std::tuple{translate(p, P2{{0, 0}}), p.rows()}), std::tuple(0, 1u));
  EXPECT_EQ((std::tuple{translate(p, P2{{1, 2}}), flat(p)}), std::tuple(2, Vd{2, 2, 3, 2}));
  dense2D<double> q = points(3, {1, 1, 1, 2, 2, 2}), none;
  const dense2D<double> other(q);  // z kept, shared storage
  EXPECT_EQ((std::tuple{translate(q, P2{{1, -1}}), flat(other)}),
            std::tuple(2, Vd{2, 0, 1, 3, 1, 2}));
  // Listed nodes, each time they are listed, past-the-end ones skipped.
  p = points(2, {0, 0, 1, 1, 2, 2});
  EXPECT_EQ((std::tuple{translate(p, P2{{1, 0}}, vec({2, 0, 2, 3})), flat(p)}),
            std::tuple(3, Vd{1, 0, 1, 1, 4, 2}));
  EXPECT_EQ((std::tuple{translate(p, P3{{0, 0, 1}}, mat(2, {1, 0, 1, NO_ID})), flat(p)}),
            std::tuple(2, Vd{1, 0, 1, 1, 1, 1, 4, 2, 0}));  // each node once

  // Identities on lists and connectivities: 0 at once, a 1-row matrix not grown.
  dense2D<double> one = points(1, {7, 8});
  const dense1D<unsigned> list = vec({0, 1});
  const dense2D<unsigned> edge = mat(2, {0, 1});
  EXPECT_EQ(
      (std::vector<int>{
          translate(one, P2{{0, 0}}, list), translate(one, P3{{0, 0, 0}}, edge),
          rotate(one, P2{{1, 1}}, 0.0, list), rotate(one, P3{{1, 1, 1}}, P3{{0, 0, 0}}, edge),
          zoom(one, P2{{1, 1}}, 1.0, edge), zoom(one, P3{{1, 1, 1}}, 1.0, list), int(one.rows())}),
      (std::vector<int>{0, 0, 0, 0, 0, 0, 1}));
  EXPECT_EQ(flat(one), (Vd{7, 8}));

  // Scaling adds the correction to the old position.
  p = points(2, {1, 2, 3, 4});
  EXPECT_EQ((std::tuple{zoom(p, P2{{1, 1}}, 1.0), zoom(p, P2{{1, 1}}, 2.0), flat(p)}),
            std::tuple(0, 2, Vd{1, 3, 5, 7}));
  EXPECT_EQ((std::tuple{zoom(p, P3{{1, 1, 1}}, -1.0, vec({1, 1})), flat(p)}),
            std::tuple(0, Vd{1, 3, 0, 5, 7, 0}));  // moved twice
}

TEST(Rotate, PlanarAndSpatial) {
  dense2D<double> p = points(2, {2, 1, 1, 1});
  EXPECT_EQ((std::tuple{rotate(p, P2{{1, 1}}, 0.0), rotate(p, P2{{1, 1}}, pi / 2), p(1, 0), p(0, 1),
                        p(1, 1)}),
            std::tuple(0, 2, 2.0, 1.0, 1.0));
  EXPECT_NEAR(p(0, 0), 1, 1e-15);
  // An empty list still grows the matrix, and moves nothing.
  dense2D<double> row = points(1, {3});
  EXPECT_EQ((std::tuple{rotate(row, P2{{0, 0}}, 1.0, vec({})), row.rows()}), std::tuple(0, 2u));
  EXPECT_EQ(rotate(row, P2{{0, 0}}, pi, vec({0, 1})), 1);
  EXPECT_NEAR(row(0, 0), -3, 1e-15);

  // About the x axis through (0, 5, 5): nodes on the axis stay. Node 0 was
  // (4, 5, 0): offset (0, 0, -5) turns to (0, 5, 0). A 2-row matrix grows.
  dense2D<double> s = points(2, {4, 5, 0, 6});
  const P3 c = {{0, 5, 5}}, r = {{pi / 2, 0, 0}};
  s(1, 0) = 5;
  EXPECT_EQ((std::pair{rotate(s, c, r), s.rows()}), std::pair(2, 3u));
  for (unsigned k = 0; k < 3; ++k) EXPECT_NEAR(s(k, 0), (Vd{4, 10, 5})[k], 1e-14);

  // A third of a turn about (1, 1, 1) through a centre off the origin takes
  // every offset (dx, dy, dz) to (dz, dx, dy): each term of the rotation counts.
  dense2D<double> g = points(3, {6, -5, 14, 3, -2, 10.5});
  const double third = 2 * pi / 3 / std::sqrt(3.0);
  EXPECT_EQ(rotate(g, P3{{5, -7, 11}}, P3{{third, third, third}}), 2);
  for (unsigned k = 0; k < 6; ++k) EXPECT_NEAR(flat(g)[k], (Vd{8, -6, 13, 4.5, -9, 16})[k], 1e-13);

  // Around 0.001 the Rodrigues factors switch to their series; both sides
  // must agree with the closed form to rounding.
  for (double t : {0.0005, 0.000999, 0.001001, 0.0015})
    for (unsigned axis : {1u, 2u}) {  // about y, then about z
      const P3 r = {{0, axis == 1 ? t : 0, axis == 2 ? t : 0}};
      dense2D<double> p = points(3, {1, 0, 0});
      rotate(p, P3{{0, 0, 0}}, r);
      EXPECT_NEAR(p(0, 0), std::cos(t), 4e-16) << t;
      EXPECT_NEAR(p(3 - axis, 0), axis == 2 ? std::sin(t) : -std::sin(t), 1e-16) << t;
      EXPECT_EQ(p(axis, 0), 0);
    }
}

TEST(CopyMesh, OnceRepeatedOnItselfAndMirrored) {
  dense2D<double> p = points(2, {0, 0, 1, 0, 2, 0, 3, 0}), none, line = points(1, {1}),
                  q = points(3, {0, 0, 0, 1, 0, 0});
  dense2D<unsigned> copy;
  EXPECT_EQ((std::tuple{copy_mesh(p, copy, mat(4, {2, 1, 3, NO_ID, 1, 2, NO_ID, NO_ID})),
                        flat(copy), flat(p)}),
            std::tuple(0, V{4, 5, 6, NO_ID, 5, 4, NO_ID, NO_ID},
                       Vd{0, 0, 1, 0, 2, 0, 3, 0, 2, 0, 1, 0, 3, 0}));

  p = points(2, {1, 0, 2, 0});
  dense2D<unsigned> src = mat(2, {0, 1}), copies = mat(1, {9}), mirror, one = mat(1, {0});
  EXPECT_EQ(
      (std::tuple{copy_mesh(p, copies, P2{{0, 10}}, P2{{0, 0}}, pi / 2, 3, src), flat(copies)}),
      std::tuple(0, V{9, NO_ID, 2, 3, 4, 5, 6, 7}));
  // Copy k: rotated by k quarter turns about the origin, then up by 10 k.
  for (unsigned i = 0; i < 16; ++i)
    EXPECT_NEAR(flat(p).at(i), (Vd{1, 0, 2, 0, 0, 11, 0, 12, -1, 20, -2, 20, 0, 29, 0, 28})[i],
                1e-14);
  EXPECT_EQ(copy_mesh(p, copies, P2{{0, 1}}, P2{{0, 0}}, 1.0, 0, src), 0);
  EXPECT_EQ(p.cols(), 8u);

  // The planar form copies the source as it was on entry...
  p = points(2, {0, 0, 1, 0});
  dense2D<unsigned> c = mat(2, {0, 1}), d = mat(2, {0, 1});
  EXPECT_EQ((std::tuple{copy_mesh(p, c, P2{{1, 0}}, P2{{0, 0}}, 0.0, 2, c), flat(c)}),
            std::tuple(0, V{0, 1, 2, 3, 4, 5}));
  // ...the spatial form reads it as it grows: node 5 copies node 1, shifted
  // twice, node 7 copies node 3 of the first copy.
  EXPECT_EQ((std::tuple{copy_mesh(q, d, P3{{0, 0, 1}}, P3{{0, 0, 0}}, P3{{0, 0, 0}}, 2, d), flat(d),
                        q(2, 5), q(2, 7)}),
            std::tuple(0, V{0, 1, 2, 3, 4, 5, 6, 7}, 2.0, 3.0));

  // The line x = 1, normal of length 2.
  p = points(2, {1, 0, 3, 2});
  EXPECT_EQ((std::tuple{copy_sym_mesh(p, mirror, P2{{1, 5}}, P2{{2, 0}}, src), flat(mirror)}),
            std::tuple(0, V{2, 3}));
  EXPECT_EQ(flat(p), (Vd{1, 0, 3, 2, 1, 0, -1, 2}));  // node 0 on the line
  EXPECT_EQ(
      (std::tuple{copy_sym_mesh(line, mirror, P3{{0, 0, 1}}, P3{{0, 0, 1}}, one), flat(line)}),
      std::tuple(0, Vd{1, 0, 0, 1, 0, 2}));
  const P3 zero = {{0, 0, 0}};
  EXPECT_EQ((std::pair{copy_sym_mesh(none, mirror, zero, zero, one),
                       copy_sym_mesh(line, mirror, zero, zero, one)}),
            std::pair(0, -4));
}

TEST(CopyMesh, ExhaustedMemory) {
  out_of_memory_on_fresh(
      [] {
        return std::tuple{points(2, {0, 0, 1, 0, 2, 0}), mat(3, {0, 1, 2}), dense2D<unsigned>()};
      },
      [](auto& in) {
        auto& [p, src, copies] = in;
        return std::min({copy_mesh(p, copies, src),
                         copy_mesh(p, copies, P2{{1, 0}}, P2{{0, 0}}, 1.0, 2, src),
                         copy_sym_mesh(p, copies, P3{{1, 0, 0}}, P3{{1, 0, 0}}, src)});
      },
      [](auto&) { return true; });
}

}  // namespace qz4test
