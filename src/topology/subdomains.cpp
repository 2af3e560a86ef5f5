// Connected parts of a mesh, found by breadth-first walks over its neighbour
// matrix.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/prefetch.h"
#include "qz4/tessellix/topology.h"

namespace qz4 {
namespace tessellix {
namespace {

class bit_vector {
 public:
  explicit bit_vector(std::size_t n) : words_((n + 63) / 64, 0) {}
  bool test(std::size_t i) const { return (words_[i >> 6] >> (i & 63)) & 1; }
  void set(std::size_t i) { words_[i >> 6] |= std::uint64_t(1) << (i & 63); }

 private:
  std::vector<std::uint64_t> words_;
};

// Breadth-first walk from `seed`, appending each element the first time it
// is reached. `elements` itself is the queue: an element is marked when it
// is queued, which yields the order of first arrival that marking on
// dequeue would give, without queueing an element twice.
void flood(const dense2D<unsigned>& neighbors, unsigned seed, bit_vector& seen,
           dense1D<unsigned>& elements) {
  const unsigned n = neighbors.cols(), rows = neighbors.rows();
  if (seed >= n) return;
  const unsigned* const nb = neighbors.data();
  const std::size_t ld = neighbors.ld();
  unsigned head = elements.size();
  seen.set(seed);
  elements.push_back(seed);
  while (head < elements.size()) {
    // The queue is known a few steps ahead: load those columns meanwhile.
    const unsigned ahead = head + detail::prefetch_distance;
    if (ahead < elements.size() && elements[ahead] < n) detail::prefetch(nb + elements[ahead] * ld);
    const unsigned e = elements[head++];
    if (e >= n) continue;  // an entry equal to n, a caller's error: no column to read
    const unsigned* col = nb + e * ld;
    for (unsigned r = 0; r < rows; ++r) {
      // The bound is inclusive: NO_ID, and nothing else valid, stops the walk.
      const unsigned m = col[r];
      if (m <= n && !seen.test(m)) {
        seen.set(m);
        elements.push_back(m);
      }
    }
  }
}

}  // namespace

int get_subdomains(const dense2D<unsigned>& neighbors, dense1D<unsigned>& elements,
                   dense1D<unsigned>& starts) {
  elements.clear();
  starts.clear();
  const unsigned n = neighbors.cols();
  bit_vector seen(std::size_t(n) + 1);
  // push_back drops a value it has no room for: the size tells.
  auto append = [&starts](unsigned v) {
    const unsigned before = starts.size();
    starts.push_back(v);
    return starts.size() > before;
  };
  bool ok = elements.reserve(n, 1) && append(0);
  unsigned seed = 0;
  while (ok && n > 0) {
    while (seed < n && seen.test(seed)) ++seed;
    flood(neighbors, seed, seen, elements);
    ok = append(elements.size());
    if (elements.size() >= n || seed >= n) break;
  }
  if (ok) return 0;
  elements.clear();
  starts.clear();
  return -199;
}

int get_subdomains(dense2D<unsigned>& connectivity, dense2D<unsigned>& neighbors,
                   dense1D<unsigned>& starts) {
  dense1D<unsigned> elements;
  if (neighbors.cols() != connectivity.cols()) {
    starts.clear();
    return -1;
  }
  const int status = get_subdomains(neighbors, elements, starts);
  if (status != 0) return status;
  for (unsigned e : elements)
    if (e >= connectivity.cols()) {
      // A neighbour named as the column count has no column to move.
      starts.clear();
      return -1;
    }

  // New matrices with their columns in the order of `elements`, and the map
  // from old columns to new ones.
  const unsigned n = elements.size(), old_cols = connectivity.cols();
  const unsigned crows = connectivity.rows(), nrows = neighbors.rows();
  dense2D<unsigned> c2, n2;
  dense1D<unsigned> map;
  const bool ok = c2.resize(crows, n) && n2.resize(nrows, n) && map.resize(old_cols, NO_ID);
  if (!ok) {
    connectivity.clear();
    neighbors.clear();
    starts.clear();
    return -199;
  }
  const unsigned* const c = connectivity.data();
  const unsigned* const nb = neighbors.data();
  const std::size_t cld = connectivity.ld(), nld = neighbors.ld();
  const unsigned* const order = elements.data();
  unsigned* const to = map.data();
  for (unsigned k = 0; k < n; ++k)
    if (order[k] < old_cols) to[order[k]] = k;
  // Neighbour entries are renumbered as they are copied, as change_indices
  // would do afterwards: an entry below the map's size goes through the map,
  // any other (NO_ID) stays. Columns are asked for two steps ahead of their
  // map entries, which are asked for one step ahead of their use.
  const unsigned far = 2 * detail::prefetch_distance, near = detail::prefetch_distance;
  unsigned* cout = c2.data();
  unsigned* nout = n2.data();
  for (unsigned k = 0; k < n; ++k, cout += crows, nout += nrows) {
    if (k + far < n) {
      detail::prefetch(c + order[k + far] * cld);
      detail::prefetch(nb + order[k + far] * nld);
    }
    if (k + near < n) {
      const unsigned* next = nb + order[k + near] * nld;
      for (unsigned r = 0; r < nrows; ++r)
        if (next[r] < old_cols) detail::prefetch(to + next[r]);
    }
    const unsigned* cin = c + order[k] * cld;
    const unsigned* nin = nb + order[k] * nld;
    for (unsigned r = 0; r < crows; ++r) cout[r] = cin[r];
    for (unsigned r = 0; r < nrows; ++r) nout[r] = nin[r] < old_cols ? to[nin[r]] : nin[r];
  }
  connectivity.shallow_copy(c2);
  neighbors.shallow_copy(n2);
  return 0;
}

}  // namespace tessellix
}  // namespace qz4
