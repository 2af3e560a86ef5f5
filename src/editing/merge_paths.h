// The two ways of the global weld, for the tests that hold them to the same
// answers: one list merged with itself goes through coincident groups and a
// cell grid where that gives the tree worker's answer, else through the tree.
#ifndef QZ4_EDITING_MERGE_PATHS_H
#define QZ4_EDITING_MERGE_PATHS_H

#include <vector>

#include "qz4/dense.h"

namespace qz4 {
namespace tessellix {
namespace detail {

/// The weld of the distinct nodes `nodes` with themselves by coincident
/// groups and a cell grid; -1 when only the tree worker can tell the answer
/// (non-finite values, equal distances from one node, distinct places at
/// distance 0), with `node_map` then in no defined state.
int merge_one_list(const dense2D<double>& pos, const std::vector<unsigned>& nodes,
                   dense1D<unsigned>& node_map, double tolerance);

/// merge over the connectivities [first, last), with the shortcut above
/// allowed or not.
int merge_connectivities(const dense2D<double>& pos, dense2D<unsigned>* first,
                         dense2D<unsigned>* last, dense1D<unsigned>& node_map, double tolerance,
                         unsigned merge_type, bool shortcut);

}  // namespace detail
}  // namespace tessellix
}  // namespace qz4

#endif
