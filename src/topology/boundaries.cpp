// Boundaries of elements and of meshes, written as face or edge
// connectivities in element order, then local order.
#include <cstddef>

#include "qz4/tessellix/topology.h"
#include "topology/boundary_kinds.h"

namespace qz4 {
namespace tessellix {
namespace {

using detail::boundary_kind;
using detail::boundary_list;

// Writes the boundaries of every element, or with `neighbors` only those
// without a neighbour. Both services are this one walk; they differ in the
// test of `neighbors` alone.
int collect_boundaries(const dense2D<unsigned>& connectivity, const dense2D<unsigned>* neighbors,
                       element_type type, dense2D<unsigned>& boundaries) {
  boundaries.clear();
  if (connectivity.empty()) return 0;
  int status = 0;
  const boundary_kind* kind = detail::checked_kind(connectivity, type, status);
  if (!kind) return status;
  const unsigned cols = connectivity.cols();
  if (neighbors && (neighbors->cols() != cols || neighbors->rows() != kind->neighbor_rows))
    return -2;

  const std::size_t ld = connectivity.ld(), nld = neighbors ? neighbors->ld() : 0;
  const unsigned* const c = connectivity.data();
  const unsigned* const nb = neighbors ? neighbors->data() : nullptr;
  // Rows behind a mixed column's own count of boundaries are never looked at.
  auto open = [&](unsigned e, unsigned b) { return !nb || nb[e * nld + b] == NO_ID; };

  std::size_t count = 0;
  if (kind->list && !nb) {
    count = std::size_t(cols) * kind->list->count;
  } else {
    for (unsigned e = 0; e < cols; ++e) {
      const boundary_list& list = detail::column_boundaries(*kind, c + e * ld);
      for (unsigned b = 0; b < list.count; ++b) count += open(e, b);
    }
  }
  const unsigned width = kind->width;
  if (count > 0xFFFFFFFFu || !boundaries.resize(width, unsigned(count))) {
    boundaries.clear();
    return -199;
  }

  unsigned* out = boundaries.data();
  const std::size_t out_ld = boundaries.ld();
  for (unsigned e = 0; e < cols; ++e) {
    const unsigned* col = c + e * ld;
    const boundary_list& list = detail::column_boundaries(*kind, col);
    for (unsigned b = 0; b < list.count; ++b) {
      if (!open(e, b)) continue;
      detail::boundary_nodes(list, b, col, width, out);
      out += out_ld;
    }
  }
  return 0;
}

}  // namespace

int get_element_boundaries(const dense2D<unsigned>& connectivity, element_type type,
                           dense2D<unsigned>& boundaries) {
  return collect_boundaries(connectivity, nullptr, type, boundaries);
}

int get_mesh_boundaries(const dense2D<unsigned>& connectivity, const dense2D<unsigned>& neighbors,
                        element_type type, dense2D<unsigned>& boundaries) {
  return collect_boundaries(connectivity, &neighbors, type, boundaries);
}

}  // namespace tessellix
}  // namespace qz4
