// Node incidence: from the nodes of each element to the elements and the
// neighbour nodes of each node. Both graphs are built by counting passes into
// compressed arrays; there are no per-node containers.
#include <cstddef>
#include <vector>

#include "core/prefetch.h"
#include "core/scratch.h"
#include "qz4/tessellix/topology.h"

namespace qz4 {
namespace tessellix {
namespace {

// Inverts a connectivity into `index` and `elements`. The columns are read in
// place, stepping by ld, so a view is never flattened into a copy.
int invert(const dense2D<unsigned>& connectivity, dense1D<unsigned>& index,
           dense1D<unsigned>& elements) {
  index.clear();
  elements.clear();
  if (connectivity.empty()) return index.resize(1, 0u) ? 0 : -199;

  const unsigned rows = connectivity.rows(), cols = connectivity.cols();
  const std::size_t ld = connectivity.ld();
  const unsigned* const c = connectivity.data();
  const unsigned nodes = max_ID(connectivity) + 1;  // 1 when all is padding
  // An index of NO_ID + 1 entries (the largest ID is NO_ID - 1) fits no block.
  if (nodes == NO_ID || !index.resize(nodes + 1, 0u)) return -199;

  // Count into index[n + 1], so that the running sums leave the start of
  // node n in index[n]; filling then advances index[n] to the start of n + 1.
  unsigned* const idx = index.data();
  for (unsigned e = 0; e < cols; ++e) {
    const unsigned* col = c + e * ld;
    for (unsigned r = 0; r < rows; ++r)
      if (col[r] != NO_ID) ++idx[col[r] + 1];
  }
  for (unsigned n = 0; n < nodes; ++n) idx[n + 1] += idx[n];
  if (!elements.resize(idx[nodes])) {
    index.clear_hard();
    elements.clear();
    return -199;
  }
  unsigned* const out = elements.data();
  for (unsigned e = 0; e < cols; ++e) {
    const unsigned* col = c + e * ld;
    for (unsigned r = 0; r < rows; ++r)
      if (col[r] != NO_ID) out[idx[col[r]]++] = e;
  }
  for (unsigned n = nodes; n > 0; --n) idx[n] = idx[n - 1];
  idx[0] = 0;
  return 0;
}

// Nodes with at most this many entries in their elements look for repeats
// in their short list of neighbours so far; busier ones use the mark vector.
// On a shuffled mesh every mark is a cache miss, while the list is at hand.
constexpr unsigned short_walk = 64;

// The columns of the elements of every node, copied next to each other: node
// n's stretch holds, for each element of n in ascending order (twice for an
// element that names n twice), that element's column. The graph walks then
// read memory in order, where walking the elements' columns in place would
// jump through the whole connectivity at every step.
struct stars {
  std::vector<unsigned> start;  // first element of each node, and the total
  detail::scratch_array<unsigned> columns;

  stars(const dense2D<unsigned>& connectivity, unsigned nodes)
      : start(std::size_t(nodes) + 1, 0),
        columns(count(connectivity, start) * connectivity.rows()) {
    const unsigned rows = connectivity.rows(), cols = connectivity.cols();
    const std::size_t ld = connectivity.ld();
    const unsigned* col = connectivity.data();
    unsigned* const to = columns.get();
    // start[n] runs from the first place of node n to that of node n + 1.
    // The counters of the columns a few steps ahead are asked for early.
    const std::size_t ahead = std::size_t(detail::prefetch_distance) * ld;
    for (unsigned e = 0; e < cols; ++e, col += ld) {
      if (e + detail::prefetch_distance < cols)
        for (unsigned r = 0; r < rows; ++r)
          if (col[ahead + r] != NO_ID) detail::prefetch(&start[col[ahead + r]]);
      for (unsigned r = 0; r < rows; ++r)
        if (col[r] != NO_ID) {
          unsigned* d = to + std::size_t(start[col[r]]++) * rows;
          for (unsigned k = 0; k < rows; ++k) d[k] = col[k];
        }
    }
    for (unsigned n = nodes; n > 0; --n) start[n] = start[n - 1];
    start[0] = 0;
  }

 private:
  // Counts the elements of each node into start[n + 1] and sums them up, so
  // that start[n] is the first place of node n; returns the total.
  static std::size_t count(const dense2D<unsigned>& connectivity, std::vector<unsigned>& start) {
    const unsigned rows = connectivity.rows(), cols = connectivity.cols();
    const std::size_t ld = connectivity.ld();
    const unsigned* col = connectivity.data();
    for (unsigned e = 0; e < cols; ++e, col += ld)
      for (unsigned r = 0; r < rows; ++r)
        if (col[r] != NO_ID) ++start[col[r] + 1];
    for (std::size_t n = 1; n < start.size(); ++n) start[n] += start[n - 1];
    return start.back();
  }
};

// One walk over the stars of every node, leaving at the head of each node's
// stretch its neighbours in order of first meeting, and their running count
// in index[i + 1]. Writing never overtakes reading, as a node has fewer
// neighbours than entries in its stretch. `mark[m] == i` says that m was met
// already while visiting node i; a node is never its own neighbour.
unsigned gather_neighbors(stars& s, unsigned rows, unsigned nodes, unsigned* mark,
                          unsigned* index) {
  for (unsigned i = 0; i < nodes; ++i) mark[i] = NO_ID;
  unsigned* const all = s.columns.get();
  unsigned count = 0;
  for (unsigned i = 0; i < nodes; ++i) {
    const std::size_t first = std::size_t(s.start[i]) * rows,
                      last = std::size_t(s.start[i + 1]) * rows;
    unsigned* const found = all + first;
    unsigned n = 0;
    const bool busy = last - first > short_walk;
    mark[i] = i;
    for (std::size_t k = first; k < last; ++k) {
      const unsigned m = all[k];
      if (m == NO_ID || m == i) continue;
      if (busy) {
        if (mark[m] == i) continue;
        mark[m] = i;
      } else {
        // No early exit: the short list is compared whole, without a branch
        // to mispredict at each entry.
        bool met = false;
        for (unsigned j = 0; j < n; ++j) met |= found[j] == m;
        if (met) continue;
      }
      found[n++] = m;
    }
    count += n;
    index[i + 1] = count;
  }
  return count;
}

}  // namespace

int get_ancestors(const dense2D<unsigned>& connectivity, dense1D<unsigned>& ancestors) {
  if (connectivity.empty()) return 0;
  if (ancestors.size() == 0 && !ancestors.resize(max_ID(connectivity) + 1, NO_ID)) return -199;

  const unsigned rows = connectivity.rows(), cols = connectivity.cols(), size = ancestors.size();
  const std::size_t ld = connectivity.ld();
  const unsigned* c = connectivity.data();
  unsigned* const a = ancestors.data();
  for (unsigned e = 0; e < cols; ++e, c += ld)
    for (unsigned r = 0; r < rows; ++r)
      if (c[r] < size) a[c[r]] = e;  // NO_ID is never below a size
  return 0;
}

int get_connected_elements(const dense2D<unsigned>& connectivity, dense1D<unsigned>& index,
                           dense1D<unsigned>& elements) {
  return invert(connectivity, index, elements);
}

int get_node_graph(const dense2D<unsigned>& connectivity, dense1D<unsigned>& index,
                   dense1D<unsigned>& neighbors) {
  index.clear();
  neighbors.clear();
  if (connectivity.empty()) return index.resize(1, 0u) ? 0 : -199;

  const unsigned nodes = max_ID(connectivity) + 1;  // 1 when all is padding
  if (nodes == NO_ID || !index.resize(nodes + 1)) {
    index.clear();
    return -199;
  }
  dense1D<unsigned> mark;
  if (!mark.resize(nodes)) {
    index.clear_hard();
    return -199;
  }
  stars s(connectivity, nodes);
  index[0] = 0;
  const unsigned rows = connectivity.rows();
  const unsigned count = gather_neighbors(s, rows, nodes, mark.data(), index.data());
  if (!neighbors.resize(count)) {
    index.clear_hard();
    neighbors.clear();
    return -199;
  }
  unsigned* out = neighbors.data();
  const unsigned* const idx = index.data();
  for (unsigned i = 0; i < nodes; ++i) {
    const unsigned* from = s.columns.get() + std::size_t(s.start[i]) * rows;
    for (unsigned k = idx[i]; k < idx[i + 1]; ++k) *out++ = *from++;
  }
  return 0;
}

}  // namespace tessellix
}  // namespace qz4
