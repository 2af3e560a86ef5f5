// Clean-up after editing: unused nodes out of the coordinates, degenerate
// elements out of a connectivity. Both pack what remains in place, keeping
// its order, so that other views on the same storage follow.
#include <cstddef>

#include "qz4/tessellix/editing.h"
#include "qz4/tessellix/topology.h"

namespace qz4 {
namespace tessellix {

int simplify(dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last,
             dense1D<unsigned>& node_map, unsigned min_index) {
  node_map.clear();
  if (first == last) return 0;
  if (last < first) return -3;
  const unsigned N = pos.cols();
  for (dense2D<unsigned>* m = first; m != last; ++m)
    if (!check_IDs(*m, N)) return -2;
  if (pos.empty() || min_index >= N) return 0;

  // First the highest element of each node, NO_ID for a node no element
  // uses; then, in place, the new numbers.
  if (!node_map.resize(N, NO_ID)) {
    node_map.clear();
    return -199;
  }
  for (dense2D<unsigned>* m = first; m != last; ++m) get_ancestors(*m, node_map);

  unsigned* map = node_map.data();
  for (unsigned i = 0; i < min_index; ++i) map[i] = i;
  double* P = pos.data();
  const std::size_t ld = pos.ld();
  const unsigned rows = pos.rows();
  unsigned kept = min_index;
  for (unsigned i = min_index; i < N; ++i) {
    if (map[i] == NO_ID) continue;
    // A plain loop: a column is a few numbers, too short for a call.
    if (i > kept)
      for (unsigned k = 0; k < rows; ++k) P[kept * ld + k] = P[i * ld + k];
    map[i] = kept++;
  }
  // Shrinking keeps the storage: the packed columns stay where they are.
  pos.resize(rows, kept);
  if (kept < N)
    for (dense2D<unsigned>* m = first; m != last; ++m) change_indices(*m, node_map);
  return int(N - kept);
}

int simplify(dense2D<double>& pos, dense2D<unsigned>& connectivity, dense1D<unsigned>& node_map,
             unsigned min_index) {
  return simplify(pos, &connectivity, &connectivity + 1, node_map, min_index);
}

int simplify(dense2D<double>& pos, dense2D<unsigned>& connectivity, unsigned min_index) {
  dense1D<unsigned> node_map;
  return simplify(pos, &connectivity, &connectivity + 1, node_map, min_index);
}

int simplify(dense2D<double>& pos, dense2D<unsigned>& connectivity1,
             dense2D<unsigned>& connectivity2, unsigned min_index) {
  dense2D<unsigned> both[2] = {connectivity1, connectivity2};
  dense1D<unsigned> node_map;
  return simplify(pos, both, both + 2, node_map, min_index);
}

int remove_degenerated(dense2D<unsigned>& connectivity, dense1D<unsigned>& element_map,
                       bool strict) {
  const unsigned R = connectivity.rows(), N = connectivity.cols();
  element_map.clear();
  if (!element_map.resize(N, NO_ID)) return -199;
  unsigned* map = element_map.data();
  unsigned* C = connectivity.data();
  const std::size_t ld = connectivity.ld();
  unsigned kept = 0;
  for (unsigned e = 0; e < N; ++e) {
    const unsigned* col = C + e * ld;
    // A column goes when a value repeats, but for repeated padding when
    // that is allowed. (Sorted, the column would show a repeated real node
    // before repeated padding, which sorts last: the same rule.)
    bool repeat = false;
    for (unsigned i = 0; i + 1 < R && !repeat; ++i)
      for (unsigned j = i + 1; j < R; ++j)
        if (col[i] == col[j] && (strict || col[i] != NO_ID)) {
          repeat = true;
          break;
        }
    if (repeat) continue;
    if (e > kept)
      for (unsigned k = 0; k < R; ++k) C[kept * ld + k] = col[k];
    map[e] = kept++;
  }
  connectivity.resize(R, kept);
  return int(N - kept);
}

}  // namespace tessellix
}  // namespace qz4
