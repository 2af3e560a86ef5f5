// Local numbering of the edges, boundaries and corner triads of every element
// kind: the one place all subsystems read them from.
#ifndef QZ4_TESSELLIX_ELEMENT_TABLES_H
#define QZ4_TESSELLIX_ELEMENT_TABLES_H

#include "qz4/element_type.h"

namespace qz4 {
namespace tessellix {
namespace detail {

/// Marks an unused place of a boundary (the fourth node of a triangular face).
constexpr unsigned char NONE = 0xFF;

/// Corner-to-corner edges of one shape, in local order.
struct edge_list {
  unsigned count;
  unsigned char v[12][2];
};

constexpr edge_list line_edges = {1, {{0, 1}}};
constexpr edge_list tria_edges = {3, {{1, 2}, {2, 0}, {0, 1}}};
constexpr edge_list quad_edges = {4, {{0, 1}, {1, 2}, {2, 3}, {3, 0}}};
constexpr edge_list tetra_edges = {6, {{1, 2}, {2, 0}, {0, 1}, {3, 0}, {3, 1}, {3, 2}}};
constexpr edge_list pyra_edges = {8,
                                  {{0, 4}, {1, 4}, {2, 4}, {3, 4}, {0, 1}, {1, 2}, {2, 3}, {3, 0}}};
constexpr edge_list penta_edges = {
    9, {{0, 3}, {1, 4}, {2, 5}, {1, 2}, {2, 0}, {0, 1}, {4, 5}, {5, 3}, {3, 4}}};
constexpr edge_list hexa_edges = {12,
                                  {{0, 1},
                                   {1, 2},
                                   {2, 3},
                                   {3, 0},
                                   {4, 5},
                                   {5, 6},
                                   {6, 7},
                                   {7, 4},
                                   {0, 4},
                                   {1, 5},
                                   {2, 6},
                                   {3, 7}}};

/// Edge list of a pure kind; null for the kinds without one (ET_NONE, ET_NODE,
/// ET_EDGE_MIXED, ET_HEXA20 and the two mixed kinds, whose columns choose).
inline const edge_list* edges_of(element_type t) {
  switch (t) {
    case ET_EDGE2:
    case ET_EDGE3:
      return &line_edges;
    case ET_TRIA3:
    case ET_TRIA6:
      return &tria_edges;
    case ET_QUAD4:
    case ET_QUAD8:
    case ET_QUAD9:
      return &quad_edges;
    case ET_TETRA4:
    case ET_TETRA10:
      return &tetra_edges;
    case ET_PYRA5:
    case ET_PYRA14:
      return &pyra_edges;
    case ET_PENTA6:
    case ET_PENTA18:
      return &penta_edges;
    case ET_HEXA8:
    case ET_HEXA27:
      return &hexa_edges;
    default:
      return nullptr;
  }
}

/// Local boundaries of one shape: the entities one dimension lower, in the
/// order that neighbour rows and boundary columns follow. `width` is the
/// number of places of the widest boundary; NONE fills shorter ones.
struct boundary_list {
  unsigned count;
  unsigned width;
  unsigned char v[6][4];
};

constexpr boundary_list edge2_boundaries = {2, 1, {{1}, {0}}};
constexpr boundary_list tria_boundaries = {3, 2, {{1, 2}, {2, 0}, {0, 1}}};
constexpr boundary_list quad_boundaries = {4, 2, {{0, 1}, {1, 2}, {2, 3}, {3, 0}}};
constexpr boundary_list tetra_boundaries = {4, 3, {{1, 2, 3}, {2, 0, 3}, {1, 3, 0}, {2, 1, 0}}};
constexpr boundary_list pyra_boundaries = {
    5, 4, {{0, 4, 1, NONE}, {1, 4, 2, NONE}, {2, 4, 3, NONE}, {3, 4, 0, NONE}, {0, 1, 2, 3}}};
constexpr boundary_list penta_boundaries = {
    5, 4, {{0, 1, 2, NONE}, {3, 5, 4, NONE}, {2, 1, 4, 5}, {5, 3, 0, 2}, {0, 3, 4, 1}}};
constexpr boundary_list hexa_boundaries = {
    6, 4, {{0, 3, 7, 4}, {1, 5, 6, 2}, {0, 4, 5, 1}, {3, 2, 6, 7}, {0, 1, 2, 3}, {4, 7, 6, 5}}};

/// Boundary list of a pure kind served by the boundary services; null
/// otherwise (mixed kinds take the list of each column's shape).
inline const boundary_list* boundaries_of(element_type t) {
  switch (t) {
    case ET_EDGE2:
      return &edge2_boundaries;
    case ET_TRIA3:
      return &tria_boundaries;
    case ET_QUAD4:
      return &quad_boundaries;
    case ET_TETRA4:
      return &tetra_boundaries;
    case ET_PYRA5:
      return &pyra_boundaries;
    case ET_PENTA6:
      return &penta_boundaries;
    case ET_HEXA8:
      return &hexa_boundaries;
    default:
      return nullptr;
  }
}

/// Shape of a column of a 4-row ET_FACE_MIXED matrix: NO_ID in row 3 makes a
/// triangle.
inline element_type face_shape(const unsigned* column) {
  return column[3] == NO_ID ? ET_TRIA3 : ET_QUAD4;
}

/// Shape of an 8-row ET_SOLID_MIXED column, read in the order row 4, row 5,
/// row 6.
inline element_type solid_shape(const unsigned* column) {
  if (column[4] == NO_ID) return ET_TETRA4;
  if (column[5] == NO_ID) return ET_PYRA5;
  if (column[6] == NO_ID) return ET_PENTA6;
  return ET_HEXA8;
}

/// The three edge-connected corners of each hexahedron corner; (a, b, d) is
/// right-handed at a positively oriented corner.
constexpr unsigned char hexa_corner_triads[8][3] = {{1, 3, 4}, {2, 0, 5}, {3, 1, 6}, {0, 2, 7},
                                                    {7, 5, 0}, {4, 6, 1}, {5, 7, 2}, {6, 4, 3}};

}  // namespace detail
}  // namespace tessellix
}  // namespace qz4

#endif
