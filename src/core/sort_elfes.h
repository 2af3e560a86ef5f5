// The column sort behind sort_elfes, shared with the file writers that take
// mixed connectivities apart into runs of one element kind.
#ifndef QZ4_TESSELLIX_CORE_SORT_ELFES_H
#define QZ4_TESSELLIX_CORE_SORT_ELFES_H

#include "qz4/dense.h"

namespace qz4 {
namespace tessellix {
namespace detail {

/// Sorts the columns of `connectivity` by their number of real nodes (the
/// rows before the first NO_ID), the longest first and, inside a count, the
/// higher original column first; columns without a real node are dropped.
/// Columns are swapped into place in the caller's block, each moved at most
/// once. A non-empty `neighbors` must have the connectivity's column count
/// (not checked here): its columns move along and its entries are renumbered,
/// so that neighbours of dropped columns become NO_ID; an empty one is left
/// alone.
///
/// Out: `group_nodes`, the node count of each run; `group_ends`, the column
/// just past each run; `new_ids`, the new column of each old one or NO_ID.
/// Without any real node the lists are {NO_ID} and {0}. Memory failures are
/// not reported: the lists then come back short.
void sort_elfes(dense2D<unsigned>& connectivity, dense2D<unsigned>& neighbors,
                dense1D<unsigned>& group_nodes, dense1D<unsigned>& group_ends,
                dense1D<unsigned>& new_ids);

}  // namespace detail
}  // namespace tessellix
}  // namespace qz4

#endif
