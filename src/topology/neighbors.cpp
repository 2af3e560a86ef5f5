// Element neighbours: every local boundary is hashed into a bucket, and the
// boundaries of a bucket are paired by their node sets. The nine element
// kinds differ only by their row of the kind table (rows, boundary list,
// bucket factor, boundary width, which fixes the words hashed and the match
// rule); everything below is one algorithm parameterised by the width.
//
// Each match rule is an equivalence, so the pairing of a bucket comes down to
// this: the sides of one boundary, in their order of entry (ascending element,
// then local boundary), are linked first to second when there are exactly two
// of them, or when there are more and the first two are to be paired anyway;
// every other side stays open. The bucket table is kept flat, as partitions
// of whole buckets filled in order of entry, so that it can be paired in
// cache rather than through one small vector per bucket; the links are those
// that the bucket-by-bucket walk makes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/scratch.h"
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

// The match rules, as canonical forms: two boundaries match exactly when
// their canonical node lists are equal.
//  - node, edge: the nodes in any order, so sorted;
//  - triangle (a fourth place of NO_ID, or a width of 3): equal smallest nodes
//    with the other two in either cyclic order is equality as multisets, so
//    sorted;
//  - quadrangle: aligned at the first smallest node, (m, p, o, q), and matched
//    going forward or backward, (m, q, o, p): the smaller of the two.
// Triangles never meet quadrangles, as the fourth place tells them apart: a
// triangle among quadrangles is written (NO_ID, a, b, c), which no
// quadrangle's form can be, since it starts with its smallest node, itself
// below its fourth place.
inline void sort2(unsigned& a, unsigned& b) {
  const unsigned lo = a < b ? a : b, hi = a < b ? b : a;
  a = lo;
  b = hi;
}

template <unsigned W>
inline void canonical(unsigned* n) {
  if (W == 2) sort2(n[0], n[1]);
  if (W == 3 || (W == 4 && n[3] == NO_ID)) {
    sort2(n[0], n[1]);
    sort2(n[1], n[2]);
    sort2(n[0], n[1]);
    if (W == 4) {
      n[3] = n[2];
      n[2] = n[1];
      n[1] = n[0];
      n[0] = NO_ID;
    }
  } else if (W == 4) {
    unsigned i = 0;
    for (unsigned k = 1; k < 4; ++k)
      if (n[k] < n[i]) i = k;
    unsigned m = n[i], p = n[(i + 1) & 3], o = n[(i + 2) & 3], q = n[(i + 3) & 3];
    sort2(p, q);
    n[0] = m;
    n[1] = p;
    n[2] = o;
    n[3] = q;
  }
}

// Where a boundary stands, element * rows of the neighbour matrix + local
// boundary, which is also its place in that compact matrix (NO_ID once the
// entry has been used), and its canonical nodes, carried along so that
// pairing never goes back to the connectivity.
template <unsigned W>
struct entry {
  unsigned at;
  unsigned nodes[W];
};

template <unsigned W>
inline bool same_nodes(const entry<W>& a, const entry<W>& b) {
  for (unsigned p = 0; p < W; ++p)
    if (a.nodes[p] != b.nodes[p]) return false;
  return true;
}

// A well mixed key of canonical nodes. The boundary hash, a sum, is what
// buckets are made of, but distinct boundaries of nearby node IDs often sum
// alike; this key tells them apart inside a bucket's partition.
template <unsigned W>
inline unsigned mixed_key(const unsigned* n) {
  std::uint64_t h = 0x9E3779B97F4A7C15ull;
  for (unsigned p = 0; p < W; ++p) h = (h ^ n[p]) * 0xFF51AFD7ED558CCDull;
  return unsigned(h >> 32) ^ unsigned(h);
}

// One boundary of a partition: its first side, the place of its second, and
// how many sides it has. `stamp` is the partition number + 1 while the slot
// belongs to that partition, so the table is never cleared.
template <unsigned W>
struct group {
  unsigned stamp;
  unsigned key;
  const entry<W>* first;
  unsigned second;
  unsigned sides;
};

// Element of a place in a neighbour matrix of `rows` rows; constant divisors
// let the compiler multiply instead of divide.
inline unsigned element_of(unsigned at, unsigned rows) {
  switch (rows) {
    case 2:
      return at / 2;
    case 3:
      return at / 3;
    case 4:
      return at / 4;
    case 5:
      return at / 5;
    default:
      return at / 6;
  }
}

// h % d by a multiplication with 1/d in double precision: the quotient is off
// by at most one, which the remainder then corrects. A division per boundary
// costs more than the rest of the hashing.
class modulo {
 public:
  explicit modulo(unsigned d) : d_(d), inv_(1.0 / d) {}
  unsigned operator()(unsigned h) const {
    const std::int64_t q = std::int64_t(double(h) * inv_);
    std::int64_t r = std::int64_t(h) - q * d_;
    if (r < 0) r += d_;
    if (r >= std::int64_t(d_)) r -= d_;
    return unsigned(r);
  }

 private:
  std::int64_t d_;
  double inv_;
};

// Calls f(at, bucket, nodes) for every boundary, in element order then local
// order, with canonical nodes.
template <unsigned W, class F>
void for_each_boundary(const dense2D<unsigned>& connectivity, const boundary_kind& kind,
                       const modulo& bucket_of, F f) {
  const unsigned cols = connectivity.cols(), rows = kind.neighbor_rows;
  const std::size_t ld = connectivity.ld();
  const unsigned* col = connectivity.data();
  unsigned nodes[W];
  for (unsigned e = 0; e < cols; ++e, col += ld) {
    const boundary_list& list = detail::column_boundaries(kind, col);
    for (unsigned b = 0; b < list.count; ++b) {
      detail::boundary_nodes(list, b, col, W, nodes);
      canonical<W>(nodes);
      f(e * rows + b, bucket_of(hash_nodes(nodes, W)), nodes);
    }
  }
}

// Fills the NO_ID matrix `neighbors` (compact, as freshly sized). Returns true
// when some boundary was shared by more than two elements.
//
// The entries are written, in element order, into partitions by the high
// bits of their bucket, so that each partition holds a run of whole buckets;
// a partition grows by blocks taken in turn from one pool. A partition is
// small enough to be paired in cache, through a hash table on a well mixed
// key of the nodes: inside a bucket, the entries of one boundary meet there
// in their order of entry, and those are the only entries pairing links.
template <unsigned W>
void pair_boundaries(const dense2D<unsigned>& connectivity, const boundary_kind& kind,
                     bool pair_first_two, dense2D<unsigned>& neighbors) {
  const unsigned cols = connectivity.cols();
  const unsigned buckets = bucket_count(std::uint64_t(cols) * kind.factor4 / 4);
  const modulo bucket_of(buckets);
  unsigned bits = 1;
  while (bits < 32 && (std::uint64_t(1) << bits) < buckets) ++bits;
  const unsigned low_bits = bits < 11 ? bits : 11;
  const std::size_t parts = std::size_t(1) << (bits - low_bits);

  std::size_t total = 0;
  if (kind.list) {
    total = std::size_t(cols) * kind.list->count;
  } else {
    const std::size_t ld = connectivity.ld();
    const unsigned* col = connectivity.data();
    for (unsigned e = 0; e < cols; ++e, col += ld)
      total += detail::column_boundaries(kind, col).count;
  }

  // Blocks of a partition are chained; its last block is filled up to fill[p].
  const unsigned block = 256;
  const std::size_t most_blocks = (total + block - 1) / block + parts;
  detail::scratch_array<entry<W>> pool(most_blocks * block);
  std::vector<unsigned> next_block(most_blocks, NO_ID), first_block(parts, NO_ID),
      last_block(parts, NO_ID), fill(parts, block), size_of(parts, 0);
  unsigned blocks = 0;
  for_each_boundary<W>(connectivity, kind, bucket_of,
                       [&](unsigned at, unsigned bucket, const unsigned* nodes) {
                         const std::size_t p = bucket >> low_bits;
                         if (fill[p] == block) {
                           if (last_block[p] == NO_ID)
                             first_block[p] = blocks;
                           else
                             next_block[last_block[p]] = blocks;
                           last_block[p] = blocks++;
                           fill[p] = 0;
                         }
                         entry<W>& x = pool[std::size_t(last_block[p]) * block + fill[p]++];
                         x.at = at;
                         for (unsigned k = 0; k < W; ++k) x.nodes[k] = nodes[k];
                         ++size_of[p];
                       });
  const unsigned largest = *std::max_element(size_of.begin(), size_of.end());

  unsigned* const nb = neighbors.data();
  const unsigned rows = kind.neighbor_rows;
  std::size_t size = 16;
  while (size < 2 * std::size_t(largest)) size *= 2;
  const std::size_t mask = size - 1;
  std::vector<group<W>> groups(size, group<W>{0, 0, nullptr, 0, 0});
  for (std::size_t p = 0; p < parts; ++p) {
    const unsigned stamp = unsigned(p + 1);
    // Entries come in their order of entry, so a boundary's first two sides
    // are the two that the bucket table pairs: they are linked when the
    // second comes, and unlinked again if a third one follows, unless the
    // first two are to stay paired.
    for (unsigned b = first_block[p]; b != NO_ID; b = next_block[b]) {
      const entry<W>* const from = pool.get() + std::size_t(b) * block;
      const unsigned n = next_block[b] == NO_ID ? fill[p] : block;
      for (unsigned i = 0; i < n; ++i) {
        const entry<W>& x = from[i];
        const unsigned key = mixed_key<W>(x.nodes);
        for (std::size_t s = key & mask;; s = (s + 1) & mask) {
          group<W>& g = groups[s];
          if (g.stamp != stamp) {
            g = group<W>{stamp, key, &x, NO_ID, 1};
            break;
          }
          if (g.key != key || !same_nodes(*g.first, x)) continue;
          const unsigned a = g.first->at;
          if (++g.sides == 2) {
            g.second = x.at;
            nb[a] = element_of(x.at, rows);
            nb[x.at] = element_of(a, rows);
          } else if (g.sides == 3 && !pair_first_two) {
            nb[a] = NO_ID;
            nb[g.second] = NO_ID;
          }
          break;
        }
      }
    }
  }
}

}  // namespace

int get_neighbors(const dense2D<unsigned>& connectivity, element_type type, bool pair_first_two,
                  dense2D<unsigned>& neighbors) {
  neighbors.clear();
  if (connectivity.empty()) return 0;
  int status = 0;
  const boundary_kind* kind = detail::checked_kind(connectivity, type, status);
  if (!kind) return status;
  if (!neighbors.resize(kind->neighbor_rows, connectivity.cols(), NO_ID)) {
    neighbors.clear();
    return -199;
  }
  // A non-manifold mesh is no failure: the flag that says so is dropped.
  switch (kind->width) {
    case 1:
      pair_boundaries<1>(connectivity, *kind, pair_first_two, neighbors);
      break;
    case 2:
      pair_boundaries<2>(connectivity, *kind, pair_first_two, neighbors);
      break;
    case 3:
      pair_boundaries<3>(connectivity, *kind, pair_first_two, neighbors);
      break;
    default:
      pair_boundaries<4>(connectivity, *kind, pair_first_two, neighbors);
  }
  return 0;
}

}  // namespace tessellix
}  // namespace qz4
