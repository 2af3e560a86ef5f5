// Sorting the columns of a mixed connectivity into runs of equal node count.
#include "core/sort_elfes.h"

#include <cstddef>
#include <vector>

#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {
namespace detail {
namespace {

void swap_columns(dense2D<unsigned>& m, unsigned a, unsigned b) {
  unsigned* const d = m.data();
  const std::size_t ld = m.ld();
  unsigned* x = d + a * ld;
  unsigned* y = d + b * ld;
  for (unsigned r = 0; r < m.rows(); ++r) {
    const unsigned t = x[r];
    x[r] = y[r];
    y[r] = t;
  }
}

}  // namespace

void sort_elfes(dense2D<unsigned>& connectivity, dense2D<unsigned>& neighbors,
                dense1D<unsigned>& group_nodes, dense1D<unsigned>& group_ends,
                dense1D<unsigned>& new_ids) {
  new_ids.clear();
  group_nodes.clear();
  group_ends.clear();
  const unsigned n = connectivity.cols(), rows = connectivity.rows();
  const bool with_neighbors = !neighbors.empty();
  if (!new_ids.resize(n)) {
    new_ids.clear();
    return;
  }
  unsigned* const ids = new_ids.data();
  std::vector<unsigned> old_ids(n), count(n);
  for (unsigned i = 0; i < n; ++i) ids[i] = old_ids[i] = i;

  // Real nodes of each column, then the order of the pairs (count, column)
  // sorted descending on both, by counting: counts are at most `rows`.
  std::vector<unsigned> first_of(std::size_t(rows) + 2, 0);
  const unsigned* col = connectivity.data();
  for (unsigned i = 0; i < n; ++i, col += connectivity.ld()) {
    unsigned c = 0;
    while (c < rows && col[c] != NO_ID) ++c;
    count[i] = c;
    ++first_of[rows - c + 1];  // slot rows - c: largest counts first
  }
  for (unsigned s = 0; s <= rows; ++s) first_of[s + 1] += first_of[s];
  const unsigned m = n - (first_of[rows + 1] - first_of[rows]);  // columns kept
  std::vector<unsigned> order(n);
  for (unsigned i = n; i-- > 0;) order[first_of[rows - count[i]]++] = i;

  unsigned current = m ? count[order[0]] : NO_ID;
  for (unsigned k = 0; k < m; ++k) {
    const unsigned i = order[k], c = count[i], p = ids[i];
    if (c != current) {
      group_nodes.push_back(current);
      group_ends.push_back(k);
      current = c;
    }
    if (p != k) {
      swap_columns(connectivity, k, p);
      if (with_neighbors) swap_columns(neighbors, k, p);
      ids[old_ids[k]] = p;
      ids[old_ids[p]] = k;
      const unsigned t = old_ids[k];
      old_ids[k] = old_ids[p];
      old_ids[p] = t;
    }
  }
  group_nodes.push_back(current);
  group_ends.push_back(m);

  connectivity.resize(rows, m);
  if (with_neighbors) neighbors.resize(neighbors.rows(), m);
  for (unsigned i = 0; i < n; ++i)
    if (ids[i] >= m) ids[i] = NO_ID;
  if (with_neighbors) change_indices(neighbors, new_ids);
}

}  // namespace detail
}  // namespace tessellix
}  // namespace qz4
