// Sorting the columns of a mixed connectivity into runs of equal node count.
#include "core/sort_elfes.h"

#include "qz4/tessellix/topology.h"

namespace qz4 {
namespace tessellix {

int sort_elfes(dense2D<unsigned>& connectivity, dense1D<unsigned>& group_nodes,
               dense1D<unsigned>& group_ends, dense1D<unsigned>& new_ids) {
  dense2D<unsigned> no_neighbors;
  detail::sort_elfes(connectivity, no_neighbors, group_nodes, group_ends, new_ids);
  return 0;
}

int sort_elfes(dense2D<unsigned>& connectivity, dense2D<unsigned>& neighbors,
               dense1D<unsigned>& group_nodes, dense1D<unsigned>& group_ends,
               dense1D<unsigned>& new_ids) {
  if (!neighbors.empty() && neighbors.cols() != connectivity.cols()) return -1;
  detail::sort_elfes(connectivity, neighbors, group_nodes, group_ends, new_ids);
  return 0;
}

}  // namespace tessellix
}  // namespace qz4
