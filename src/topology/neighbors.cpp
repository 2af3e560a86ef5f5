// Element neighbours: every local boundary is hashed into a bucket, and the
// boundaries of a bucket are paired by their node sets.
//
// The buckets are kept as one flat array sorted by bucket, each bucket's
// entries in the order they were entered (ascending element, then local
// boundary), rather than as one small vector per bucket. Pairing only ever
// links entries of equal hash, and those keep their relative order either
// way, so every link is the same as with separate bucket vectors.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "qz4/tessellix/topology.h"
#include "topology/boundary_kinds.h"

namespace qz4 {
namespace tessellix {
namespace {

using detail::boundary_kind;
using detail::boundary_list;

// Bucket counts: the first of these not below the expected number of
// distinct boundaries.
const unsigned bucket_primes[] = {
    53u,        97u,        193u,       389u,       769u,        1543u,       3079u,
    6151u,      12289u,     24593u,     49157u,     98317u,      196613u,     393241u,
    786433u,    1572869u,   3145739u,   6291469u,   12582917u,   25165843u,   50331653u,
    100663319u, 201326611u, 402653189u, 805306457u, 1610612741u, 3221225473u, 4294967291u};

unsigned bucket_count(std::uint64_t expected) {
  for (unsigned p : bucket_primes)
    if (p >= expected) return p;
  return 4294967291u;
}

// The boundary hash: a sum over the nodes, so any order of them hashes alike
// and no sorting is needed. NO_ID takes part as a plain number.
inline unsigned hash_nodes(const unsigned* n, unsigned width) {
  unsigned h = 0;
  for (unsigned p = 0; p < width; ++p) h += (n[p] ^ 0x811C9DC5u) * 16777619u;
  return h;
}

// Position of the first smallest of n entries.
inline unsigned first_smallest(const unsigned* a, unsigned n) {
  unsigned k = 0;
  for (unsigned i = 1; i < n; ++i)
    if (a[i] < a[k]) k = i;
  return k;
}

inline bool same_triangle(const unsigned* a, const unsigned* b) {
  const unsigned i = first_smallest(a, 3), j = first_smallest(b, 3);
  if (a[i] != b[j]) return false;
  const unsigned a1 = a[(i + 1) % 3], a2 = a[(i + 2) % 3];
  const unsigned b1 = b[(j + 1) % 3], b2 = b[(j + 2) % 3];
  return (a1 == b1 && a2 == b2) || (a1 == b2 && a2 == b1);
}

// Aligned at their first smallest nodes, the two cycles agree going forward,
// or else going backward.
inline bool same_quadrangle(const unsigned* a, const unsigned* b) {
  const unsigned i = first_smallest(a, 4), j = first_smallest(b, 4);
  if (a[i] != b[j]) return false;
  bool forward = true, backward = true;
  for (unsigned k = 1; k < 4; ++k) {
    forward = forward && a[(i + k) & 3] == b[(j + k) & 3];
    backward = backward && a[(i + k) & 3] == b[(j + 4 - k) & 3];
  }
  return forward || backward;
}

// Match rule by boundary width: node, edge, triangle, and for width 4 a
// triangle or a quadrangle as the fourth place says.
inline bool same_boundary(const unsigned* a, const unsigned* b, unsigned width) {
  switch (width) {
    case 1:
      return a[0] == b[0];
    case 2:
      return (a[0] == b[0] && a[1] == b[1]) || (a[0] == b[1] && a[1] == b[0]);
    case 3:
      return same_triangle(a, b);
    default:
      if ((a[3] == NO_ID) != (b[3] == NO_ID)) return false;
      return a[3] == NO_ID ? same_triangle(a, b) : same_quadrangle(a, b);
  }
}

struct entry {
  unsigned hash;
  unsigned element;  // NO_ID once the entry has been used
  unsigned boundary;
};

// Calls f(element, boundary, nodes) for every boundary of every element, in
// element order then local order.
template <class F>
void for_each_boundary(const dense2D<unsigned>& connectivity, const boundary_kind& kind, F f) {
  const unsigned cols = connectivity.cols(), width = kind.width;
  const std::size_t ld = connectivity.ld();
  const unsigned* col = connectivity.data();
  unsigned nodes[4];
  for (unsigned e = 0; e < cols; ++e, col += ld) {
    const boundary_list& list = detail::column_boundaries(kind, col);
    for (unsigned b = 0; b < list.count; ++b) {
      detail::boundary_nodes(list, b, col, width, nodes);
      f(e, b, nodes);
    }
  }
}

// Fills the NO_ID matrix `neighbors`. Returns true when some boundary was
// shared by more than two elements.
bool pair_boundaries(const dense2D<unsigned>& connectivity, const boundary_kind& kind,
                     bool pair_first_two, dense2D<unsigned>& neighbors) {
  const unsigned cols = connectivity.cols(), width = kind.width;
  const unsigned buckets = bucket_count(std::uint64_t(cols) * kind.factor4 / 4);

  // Bucket b holds entries[start[b]] up to entries[start[b + 1]].
  std::vector<unsigned> start(std::size_t(buckets) + 1, 0);
  std::size_t total = 0;
  for_each_boundary(connectivity, kind, [&](unsigned, unsigned, const unsigned* n) {
    ++start[hash_nodes(n, width) % buckets + 1];
    ++total;
  });
  for (unsigned b = 0; b < buckets; ++b) start[b + 1] += start[b];
  std::vector<entry> entries(total);
  for_each_boundary(connectivity, kind, [&](unsigned e, unsigned b, const unsigned* n) {
    const unsigned h = hash_nodes(n, width);
    entries[start[h % buckets]++] = entry{h, e, b};
  });
  // Each start has moved to its bucket's end: shift back.
  for (unsigned b = buckets; b > 0; --b) start[b] = start[b - 1];
  start[0] = 0;

  const unsigned* const c = connectivity.data();
  const std::size_t ld = connectivity.ld();
  unsigned* const nb = neighbors.data();
  const std::size_t nld = neighbors.ld();
  auto nodes_of = [&](const entry& x, unsigned* out) {
    const unsigned* col = c + x.element * ld;
    detail::boundary_nodes(detail::column_boundaries(kind, col), x.boundary, col, width, out);
  };

  bool non_manifold = false;
  std::vector<entry*> matches;
  matches.reserve(256);
  unsigned a[4], m[4];
  for (unsigned b = 0; b < buckets; ++b) {
    entry* const end = entries.data() + start[b + 1];
    for (entry* E = entries.data() + start[b]; E != end; ++E) {
      if (E->element == NO_ID) continue;
      bool have_nodes = false;
      matches.clear();
      for (entry* M = E + 1; M != end; ++M) {
        // Equal node sets hash alike: other hashes need no comparison.
        if (M->element == NO_ID || M->hash != E->hash) continue;
        if (!have_nodes) {
          nodes_of(*E, a);
          have_nodes = true;
        }
        nodes_of(*M, m);
        if (same_boundary(a, m, width)) matches.push_back(M);
      }
      if (matches.size() > 1) {
        non_manifold = true;
        if (!pair_first_two) {
          // Nobody gets a neighbour across a boundary of three or more.
          nb[E->element * nld + E->boundary] = NO_ID;
          E->element = NO_ID;
          for (entry* M : matches) {
            nb[M->element * nld + M->boundary] = NO_ID;
            M->element = NO_ID;
          }
          continue;
        }
      }
      // The first match is linked both ways; E is used from then on, so
      // every further match is given E's NO_ID and used up as well.
      for (entry* M : matches) {
        if (E->element != NO_ID) nb[E->element * nld + E->boundary] = M->element;
        if (M->element != NO_ID) nb[M->element * nld + M->boundary] = E->element;
        E->element = NO_ID;
        M->element = NO_ID;
      }
    }
  }
  return non_manifold;
}

}  // namespace

int get_neighbors(const dense2D<unsigned>& connectivity, element_type type, bool pair_first_two,
                  dense2D<unsigned>& neighbors) {
  neighbors.clear();
  if (connectivity.empty()) return 0;
  if (type == ET_FACE_MIXED && connectivity.rows() == 3) type = ET_TRIA3;
  if (!check_IDs(connectivity, type, NO_ID)) return -1;
  const boundary_kind* kind = detail::boundary_kind_of(type);
  if (!kind) return -2;
  if (connectivity.rows() != kind->rows) return -1;
  if (!neighbors.resize(kind->neighbor_rows, connectivity.cols(), NO_ID)) {
    neighbors.clear();
    return -199;
  }
  pair_boundaries(connectivity, *kind, pair_first_two, neighbors);  // non-manifold is no failure
  return 0;
}

}  // namespace tessellix
}  // namespace qz4
