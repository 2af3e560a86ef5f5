// Element kinds and the absent-ID marker shared by every connectivity.
//
// A connectivity is a dense2D<unsigned> with one element per column; row r of
// column e holds the node ID of local node r of element e. Corner nodes come
// first. Mixed kinds pad short columns with NO_ID: an ET_FACE_MIXED column
// with NO_ID in row 3 is a triangle; an ET_SOLID_MIXED column is a
// tetrahedron, pyramid or wedge when its first NO_ID stands in row 4, 5 or 6,
// and a hexahedron otherwise.
#ifndef QZ4_ELEMENT_TYPE_H
#define QZ4_ELEMENT_TYPE_H

#include "qz4/export.h"

namespace qz4 {

/// The absent node or element, and the padding of mixed connectivities.
constexpr unsigned NO_ID = 0xFFFFFFFFu;

enum element_type {
  ET_NONE = 0,
  ET_NODE = 1,
  ET_EDGE_MIXED = 2,
  ET_EDGE2 = 3,
  ET_EDGE3 = 4,
  ET_FACE_MIXED = 5,
  ET_TRIA3 = 6,
  ET_QUAD4 = 7,
  ET_TRIA6 = 8,
  ET_QUAD8 = 9,
  ET_QUAD9 = 10,
  ET_SOLID_MIXED = 11,
  ET_TETRA4 = 12,
  ET_TETRA10 = 13,
  ET_PYRA5 = 14,
  ET_PYRA14 = 15,
  ET_PENTA6 = 16,
  ET_PENTA18 = 17,
  ET_HEXA8 = 18,
  ET_HEXA20 = 19,
  ET_HEXA27 = 20
};

/// Rows a column of each kind must have; 0 for the kinds without a fixed count.
/// Indexed by element_type; nothing checks the index.
extern QZ4_API const unsigned element_nodes[21];

/// Corner nodes of each kind, which the first rows of a column hold.
extern QZ4_API const unsigned element_corners[21];

}  // namespace qz4

#endif
