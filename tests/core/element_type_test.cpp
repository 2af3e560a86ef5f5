// The element tables against the geometry they describe.
#include <gtest/gtest.h>

#include <set>
#include <utility>
#include <vector>

#include "core/element_tables.h"
#include "qz4/element_type.h"

using namespace qz4;
using namespace qz4::tessellix::detail;

// Every edge of a shape lies on exactly two of its boundaries (one for a
// surface shape's edge, which is its own boundary), and the edge lists hold
// each corner pair once: the two tables describe the same solid.
TEST(ElementTables, EdgesAndBoundariesAgree) {
  const element_type solids[] = {ET_TETRA4, ET_PYRA5, ET_PENTA6, ET_HEXA8};
  for (element_type t : solids) {
    const edge_list& e = *edges_of(t);
    const boundary_list& b = *boundaries_of(t);
    std::set<std::pair<int, int> > distinct;
    for (unsigned i = 0; i < e.count; ++i) {
      const int p = e.v[i][0], q = e.v[i][1];
      distinct.insert({std::min(p, q), std::max(p, q)});
      int faces = 0;
      for (unsigned f = 0; f < b.count; ++f) {
        const unsigned n = b.width == 4 && b.v[f][3] != NONE ? 4 : 3;
        for (unsigned k = 0; k < n; ++k) {
          const int a = b.v[f][k], c = b.v[f][(k + 1) % n];
          faces += (a == p && c == q) || (a == q && c == p);
        }
      }
      EXPECT_EQ(faces, 2) << t << " edge " << i;
    }
    EXPECT_EQ(distinct.size(), e.count) << t;
  }
}

TEST(ElementTables, MixedShapesAreReadRowByRow) {
  const unsigned X = NO_ID;
  const unsigned shapes[4][8] = {{0, 1, 2, 3, X, 5, 6, 7},  // row 4 decides, whatever follows
                                 {0, 1, 2, 3, 4, X, X, X},
                                 {0, 1, 2, 3, 4, 5, X, X},
                                 {0, 1, 2, 3, 4, 5, 6, 7}};
  const element_type kinds[4] = {ET_TETRA4, ET_PYRA5, ET_PENTA6, ET_HEXA8};
  for (int k = 0; k < 4; ++k) EXPECT_EQ(solid_shape(shapes[k]), kinds[k]);
  EXPECT_EQ(face_shape(shapes[2] + 3), ET_TRIA3);
  EXPECT_EQ(face_shape(shapes[3]), ET_QUAD4);
}

TEST(ElementTables, NodeAndCornerCountsOfEveryKind) {
  EXPECT_EQ(
      std::vector<unsigned>(element_nodes, element_nodes + 21),
      (std::vector<unsigned>{0, 1, 0, 2, 3, 0, 3, 4, 6, 8, 9, 0, 4, 10, 5, 14, 6, 18, 8, 20, 27}));
  EXPECT_EQ(std::vector<unsigned>(element_corners, element_corners + 21),
            (std::vector<unsigned>{0, 1, 2, 2, 2, 0, 3, 4, 3, 4, 4, 0, 4, 4, 5, 5, 6, 6, 8, 8, 8}));
}
