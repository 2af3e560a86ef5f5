// The element kinds served by the neighbour and boundary services, and how a
// column's boundaries are read. The nine kinds differ only by this table; the
// local boundary lists themselves come from the element tables.
#ifndef QZ4_TESSELLIX_TOPOLOGY_BOUNDARY_KINDS_H
#define QZ4_TESSELLIX_TOPOLOGY_BOUNDARY_KINDS_H

#include "core/element_tables.h"
#include "qz4/element_type.h"
#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {
namespace detail {

struct boundary_kind {
  element_type type;
  unsigned rows;              // rows a connectivity of the kind must have
  unsigned neighbor_rows;     // rows of its neighbour matrix: the most boundaries of a column
  unsigned width;             // nodes of the widest boundary: words hashed, boundary matrix rows
  unsigned factor4;           // four times the bucket factor, half the boundaries per element
  const boundary_list* list;  // null for the mixed kinds, whose columns choose
};

/// The entry of a served kind, or null. A 3-row ET_FACE_MIXED must have been
/// turned into ET_TRIA3 by the caller.
inline const boundary_kind* boundary_kind_of(element_type t) {
  static const boundary_kind kinds[] = {
      {ET_EDGE2, 2, 2, 1, 4, &edge2_boundaries},   {ET_TRIA3, 3, 3, 2, 6, &tria_boundaries},
      {ET_QUAD4, 4, 4, 2, 8, &quad_boundaries},    {ET_FACE_MIXED, 4, 4, 2, 7, nullptr},
      {ET_TETRA4, 4, 4, 3, 8, &tetra_boundaries},  {ET_PYRA5, 5, 5, 4, 10, &pyra_boundaries},
      {ET_PENTA6, 6, 5, 4, 10, &penta_boundaries}, {ET_HEXA8, 8, 6, 4, 12, &hexa_boundaries},
      {ET_SOLID_MIXED, 8, 6, 4, 10, nullptr},
  };
  for (const boundary_kind& k : kinds)
    if (k.type == t) return &k;
  return nullptr;
}

/// The entry checks shared by the neighbour and boundary services, on a
/// non-empty connectivity: a 3-row ET_FACE_MIXED is taken as ET_TRIA3, then
/// bad shape or padding gives -1, a kind not served -2, and a row count not
/// the kind's -1. Returns the kind, or null with `status` set.
inline const boundary_kind* checked_kind(const dense2D<unsigned>& connectivity, element_type type,
                                         int& status) {
  if (type == ET_FACE_MIXED && connectivity.rows() == 3) type = ET_TRIA3;
  status = -1;
  if (!check_IDs(connectivity, type, NO_ID)) return nullptr;
  const boundary_kind* kind = boundary_kind_of(type);
  status = -2;
  if (!kind) return nullptr;
  status = -1;
  if (connectivity.rows() != kind->rows) return nullptr;
  status = 0;
  return kind;
}

/// The boundary list of one column: the kind's own, or that of the column's
/// shape in a mixed kind.
inline const boundary_list& column_boundaries(const boundary_kind& k, const unsigned* column) {
  if (k.list) return *k.list;
  return *boundaries_of(k.type == ET_FACE_MIXED ? face_shape(column) : solid_shape(column));
}

/// Copies the `width` nodes of boundary b of a column into `out`; places the
/// list leaves unused (a triangle among quadrangles) get NO_ID.
inline void boundary_nodes(const boundary_list& list, unsigned b, const unsigned* column,
                           unsigned width, unsigned* out) {
  for (unsigned p = 0; p < width; ++p) {
    const unsigned char local = p < list.width ? list.v[b][p] : NONE;
    out[p] = local == NONE ? NO_ID : column[local];
  }
}

}  // namespace detail
}  // namespace tessellix
}  // namespace qz4

#endif
