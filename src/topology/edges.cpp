// Distinct corner-to-corner edges of one or several connectivities.
//
// The edge set is found without one big hash table, whose every probe would
// miss the cache on a large mesh. Each occurrence of an edge, numbered in
// the order the elements meet it, goes into a partition chosen by a hash of
// its two nodes; a partition is small enough to be deduplicated in cache,
// and marks the first occurrence of each of its edges. A last walk over the
// elements writes the marked occurrences, so the edges come out in the order
// in which they were first met, each in the direction of its first meeting.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "core/element_tables.h"
#include "core/scratch.h"
#include "qz4/tessellix/topology.h"

namespace qz4 {
namespace tessellix {
namespace {

using detail::edge_list;

// A connectivity as the edge walk sees it.
struct edge_source {
  const dense2D<unsigned>* matrix;
  element_type type;
};

// A 3-row ET_FACE_MIXED holds triangles only.
element_type edge_kind(const dense2D<unsigned>& connectivity, element_type type) {
  return type == ET_FACE_MIXED && connectivity.rows() == 3 ? ET_TRIA3 : type;
}

// check_IDs with NO_ID, plus the full width that the edge walk reads from a
// mixed solid.
bool edges_readable(const dense2D<unsigned>& connectivity, element_type type) {
  if (connectivity.empty()) return true;
  type = edge_kind(connectivity, type);
  if (!check_IDs(connectivity, type, NO_ID)) return false;
  return type != ET_SOLID_MIXED || connectivity.rows() == 8;
}

// Calls f(a, b) for every edge of every element, in matrix order, element
// order, then local order.
// Number of edge occurrences, from the shapes of the columns alone.
std::size_t count_edges(const std::vector<edge_source>& sources) {
  std::size_t total = 0;
  for (const edge_source& s : sources) {
    const dense2D<unsigned>& m = *s.matrix;
    if (m.empty()) continue;
    const element_type type = edge_kind(m, s.type);
    if (const edge_list* pure = detail::edges_of(type)) {
      total += std::size_t(m.cols()) * pure->count;
    } else if (type == ET_FACE_MIXED || type == ET_SOLID_MIXED) {
      const std::size_t ld = m.ld();
      const unsigned* col = m.data();
      for (unsigned e = 0; e < m.cols(); ++e, col += ld) {
        const element_type shape =
            type == ET_FACE_MIXED ? detail::face_shape(col) : detail::solid_shape(col);
        total += detail::edges_of(shape)->count;
      }
    }
  }
  return total;
}

template <class F>
void for_each_edge(const std::vector<edge_source>& sources, F f) {
  for (const edge_source& s : sources) {
    const dense2D<unsigned>& m = *s.matrix;
    if (m.empty()) continue;
    const element_type type = edge_kind(m, s.type);
    const edge_list* pure = detail::edges_of(type);
    const bool face = type == ET_FACE_MIXED, solid = type == ET_SOLID_MIXED;
    if (!pure && !face && !solid) continue;  // ET_HEXA20 and the kinds without edges
    const unsigned cols = m.cols();
    const std::size_t ld = m.ld();
    const unsigned* col = m.data();
    for (unsigned e = 0; e < cols; ++e, col += ld) {
      const edge_list* list = pure;
      if (face) list = detail::edges_of(detail::face_shape(col));
      if (solid) list = detail::edges_of(detail::solid_shape(col));
      for (unsigned k = 0; k < list->count; ++k) f(col[list->v[k][0]], col[list->v[k][1]]);
    }
  }
}

inline unsigned edge_key(unsigned lo, unsigned hi) {
  const std::uint64_t h = (std::uint64_t(lo) << 32 | hi) * 0x9E3779B97F4A7C15ull;
  return unsigned(h >> 32) ^ unsigned(h);
}

struct occurrence {
  unsigned seq;
  unsigned lo, hi;
};

struct slot {
  unsigned stamp;  // partition + 1 while the slot is in use by that partition
  unsigned key;
  unsigned lo, hi;
};

// Appends the distinct edges of `sources` behind what `edges` holds, after one
// reservation. Returns 0 or -199.
int append_distinct_edges(const std::vector<edge_source>& sources, dense2D<unsigned>& edges) {
  const std::size_t total = count_edges(sources);

  // Partitions of about a thousand occurrences, chosen by the key's high bits.
  unsigned bits = 0;
  while (bits < 24 && (total >> bits) > 1024) ++bits;
  const std::size_t parts = std::size_t(1) << bits;
  auto part_of = [bits](unsigned key) { return bits ? std::size_t(key >> (32 - bits)) : 0; };

  std::vector<std::size_t> part_start(parts + 1, 0);
  for_each_edge(sources, [&](unsigned a, unsigned b) {
    ++part_start[part_of(a < b ? edge_key(a, b) : edge_key(b, a)) + 1];
  });
  std::size_t largest = 0;
  for (std::size_t p = 0; p < parts; ++p) {
    largest = std::max(largest, part_start[p + 1]);
    part_start[p + 1] += part_start[p];
  }
  auto occ = std::unique_ptr<detail::scratch_array<occurrence>>(
      new detail::scratch_array<occurrence>(total));
  {
    std::vector<std::size_t> next(part_start.begin(), part_start.end() - 1);
    unsigned seq = 0;
    for_each_edge(sources, [&](unsigned a, unsigned b) {
      const unsigned lo = a < b ? a : b, hi = a < b ? b : a;
      (*occ)[next[part_of(edge_key(lo, hi))]++] = occurrence{seq++, lo, hi};
    });
  }

  // Inside a partition the occurrences keep the order in which they were
  // met, so the first one seen of each edge is its first meeting.
  std::vector<std::uint64_t> first_met((total + 63) / 64, 0);
  std::size_t size = 16;
  while (size < 2 * largest) size *= 2;
  const std::size_t mask = size - 1;
  std::vector<slot> table(size, slot{0, 0, 0, 0});
  std::size_t distinct = 0;
  for (std::size_t p = 0; p < parts; ++p) {
    const unsigned stamp = unsigned(p + 1);
    for (std::size_t i = part_start[p]; i < part_start[p + 1]; ++i) {
      const occurrence& o = (*occ)[i];
      const unsigned key = edge_key(o.lo, o.hi);
      for (std::size_t s = key & mask;; s = (s + 1) & mask) {
        slot& t = table[s];
        if (t.stamp != stamp) {
          t = slot{stamp, key, o.lo, o.hi};
          first_met[o.seq >> 6] |= std::uint64_t(1) << (o.seq & 63);
          ++distinct;
          break;
        }
        if (t.key == key && t.lo == o.lo && t.hi == o.hi) break;
      }
    }
  }
  occ.reset();

  const unsigned old = edges.empty() ? 0 : edges.cols();
  if (distinct > 0xFFFFFFFFu - old || !edges.reserve(2, unsigned(distinct) + old)) return -199;
  if (distinct == 0) return 0;
  if (!edges.resize(2, old + unsigned(distinct))) return -199;
  const std::size_t ld = edges.ld();
  unsigned* out = edges.data() + old * ld;
  std::size_t seq = 0;
  for_each_edge(sources, [&](unsigned a, unsigned b) {
    if (first_met[seq >> 6] >> (seq & 63) & 1) {
      out[0] = a;
      out[1] = b;
      out += ld;
    }
    ++seq;
  });
  return 0;
}

}  // namespace

int copy_edges(const dense2D<unsigned>& connectivity, element_type type, dense2D<unsigned>& edges) {
  if (connectivity.empty()) return 0;
  if (!edges_readable(connectivity, type)) return -1;
  if (!edges.empty() && edges.rows() != 2) return -3;
  return append_distinct_edges({edge_source{&connectivity, type}}, edges);
}

int copy_edges(const dense2D<unsigned>* first, const dense2D<unsigned>* last,
               const dense1D<int>& flags, dense2D<unsigned>& edges) {
  if (first > last) return -2;
  if (std::size_t(last - first) != flags.size()) return -3;
  if (!edges.empty() && edges.rows() != 2) return -4;
  std::vector<edge_source> sources;
  for (const dense2D<unsigned>* m = first; m != last; ++m) {
    const element_type type = element_type(flags[unsigned(m - first)]);
    if (!edges_readable(*m, type)) return -1;
    sources.push_back(edge_source{m, type});
  }
  return append_distinct_edges(sources, edges);
}

}  // namespace tessellix
}  // namespace qz4
