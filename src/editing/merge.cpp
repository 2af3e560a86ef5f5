// Node merging over the k-d tree: candidate pairs from one box search per
// node, applied closest first while both nodes are still their own
// survivors, then chains followed to their end.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "core/scratch.h"
#include "editing/curve_order.h"
#include "editing/merge_paths.h"
#include "editing/node_tree.h"
#include "qz4/tessellix/editing.h"

namespace qz4 {
namespace tessellix {

namespace {

// One candidate: `dropped` may be mapped onto `kept`, `distance` apart.
struct merge_pair {
  double distance;
  unsigned kept;
  unsigned dropped;
};

bool valid_rows(const dense2D<double>& pos) { return pos.rows() == 2 || pos.rows() == 3; }

// The map before any merge. False when it could not be allocated.
bool identity(dense1D<unsigned>& node_map, unsigned n) {
  node_map.clear();
  if (!node_map.resize(n)) {
    node_map.clear();
    return false;
  }
  unsigned* m = node_map.data();
  for (unsigned i = 0; i < n; ++i) m[i] = i;
  return true;
}

// A list of distinct nodes, or with no IDs the nodes 0 to size - 1, as a
// file reader's soup numbers its corners.
struct node_list {
  const unsigned* ids;
  std::size_t size;
  unsigned operator[](std::size_t i) const { return ids ? ids[i] : unsigned(i); }
};

// Points every node of `nodes` at the end of its chain of survivors.
void compress(unsigned* map, node_list nodes) {
  for (std::size_t i = 0; i < nodes.size; ++i) {
    const unsigned u = nodes[i];
    unsigned r = map[u];
    while (map[r] != r) r = map[r];
    map[u] = r;
  }
}
void compress(unsigned* map, const std::vector<unsigned>& nodes) {
  compress(map, node_list{nodes.data(), nodes.size()});
}

// Applies the sorted pairs; only pairs whose two nodes still stand for
// themselves count.
int apply_pairs(unsigned* map, const std::vector<merge_pair>& pairs) {
  int count = 0;
  for (const merge_pair& p : pairs) {
    if (map[p.kept] == p.kept && p.dropped != NO_ID && map[p.dropped] == p.dropped) {
      map[p.dropped] = p.kept;
      ++count;
    }
  }
  return count;
}

template <unsigned D>
void build_tree(node_tree<D>& tree, const std::vector<unsigned>& nodes) {
  std::vector<unsigned> order(nodes);
  seeded_shuffle(order.data(), order.size());
  tree.reserve(unsigned(order.size()));
  tree.insert_sequence(order.data(), order.size());
}

template <unsigned D>
double distance(const double* P, std::size_t ld, unsigned a, unsigned b) {
  return std::sqrt(node_tree<D>::dist2(P + a * ld, P + b * ld));
}

// Collects the pairs (d, a, b) for every b found in the tolerance box of a.
template <unsigned D, class Accept>
void search_pairs(const node_tree<D>& tree, const double* P, std::size_t ld, unsigned a, double tol,
                  std::vector<unsigned>& found, std::vector<merge_pair>& pairs, Accept accept) {
  found.clear();
  if (tree.size() == 0) return;
  const double* p = P + a * ld;
  double lo[D], hi[D];
  for (unsigned k = 0; k < D; ++k) {
    lo[k] = p[k] - tol;
    hi[k] = p[k] + tol;
  }
  tree.walk_box(lo, hi, [&found](unsigned b) { found.push_back(b); });
  if (!accept(found)) return;
  for (unsigned b : found) {
    if (b == a) continue;
    const double d = distance<D>(P, ld, a, b);
    if (d <= tol) pairs.push_back(merge_pair{d, a, b});
  }
}

template <unsigned D>
int list_worker_d(const dense2D<double>& pos, const std::vector<unsigned>& u1,
                  const std::vector<unsigned>& u2, dense1D<unsigned>& node_map, double tol) {
  node_tree<D> tree(&pos);
  build_tree(tree, u1);
  if (!identity(node_map, pos.cols())) return -199;
  const double* P = pos.data();
  const std::size_t ld = pos.ld();
  // The boxes are searched along a space-filling curve, for the cache; each
  // pair keeps the place it would have had, searched in list order (its
  // node's rank, then the walk's order), which settles equal distances.
  dense1D<unsigned> order;
  const bool curve = curve_order<D>(P, ld, u2.data(), unsigned(u2.size()), order);
  struct made_pair {
    merge_pair p;
    std::uint64_t made;
  };
  std::vector<made_pair> made;
  std::vector<merge_pair> pairs;
  std::vector<unsigned> found;
  for (std::size_t i = 0; i < u2.size(); ++i) {
    const unsigned rank = curve ? order[unsigned(i)] : unsigned(i);
    pairs.clear();
    search_pairs(tree, P, ld, u2[rank], tol, found, pairs,
                 [](const std::vector<unsigned>&) { return true; });
    for (std::size_t k = 0; k < pairs.size(); ++k)
      made.push_back(made_pair{pairs[k], std::uint64_t(rank) << 32 | k});
  }
  std::sort(made.begin(), made.end(), [](const made_pair& x, const made_pair& y) {
    return x.p.distance < y.p.distance || (x.p.distance == y.p.distance && x.made < y.made);
  });
  pairs.clear();
  for (const made_pair& m : made) pairs.push_back(m.p);
  unsigned* map = node_map.data();
  const int count = apply_pairs(map, pairs);
  compress(map, u1);
  return count;
}

template <unsigned D>
int local_worker_d(const dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last,
                   const std::vector<unsigned>& nodes, dense1D<unsigned>& node_map, double tol,
                   unsigned merge_type) {
  node_tree<D> tree(&pos);
  build_tree(tree, nodes);
  if (!identity(node_map, pos.cols())) return -199;
  const double* P = pos.data();
  const std::size_t ld = pos.ld();
  unsigned* map = node_map.data();
  std::vector<merge_pair> pairs;
  std::vector<unsigned> found;
  int total = 0;
  for (;;) {
    for (dense2D<unsigned>* m = first; m != last; ++m) {
      const unsigned rows = m->rows(), cols = m->cols();
      if (std::size_t(rows) * cols == 0) continue;
      const unsigned* C = m->data();
      const std::size_t cld = m->ld();
      for (unsigned e = 0; e < cols; ++e) {
        const unsigned* col = C + e * cld;
        for (unsigned r = 0; r < rows; ++r) {
          const unsigned a = col[r];
          if (a == NO_ID || map[a] != a) continue;
          // Only nodes of this element that still stand for themselves.
          search_pairs(tree, P, ld, a, tol, found, pairs, [&](std::vector<unsigned>& f) {
            if (f.size() <= 1) return false;
            std::size_t w = 0;
            for (unsigned b : f)
              if (b != a && map[b] == b && std::find(col, col + rows, b) != col + rows) f[w++] = b;
            f.resize(w);
            return true;
          });
        }
      }
    }
    std::stable_sort(pairs.begin(), pairs.end(), [](const merge_pair& x, const merge_pair& y) {
      return x.distance < y.distance || (x.distance == y.distance && x.kept < y.kept);
    });
    const int count = apply_pairs(map, pairs);
    compress(map, nodes);
    for (dense2D<unsigned>* m = first; m != last; ++m) change_indices(*m, node_map);
    total += count;
    if (merge_type != 2 || count == 0) break;
  }
  return total;
}

std::vector<unsigned> distinct(const dense1D<unsigned>& ids) {
  dense1D<unsigned> u;
  unique_indices(u, ids);
  return std::vector<unsigned>(u.begin(), u.end());
}

// The distinct nodes of the connectivities in order of first appearance, as
// unique_indices gives them, found with a mark per column instead of a hash
// set. Any node beyond the columns makes the set fail the check: -2.
int collect_nodes(const dense2D<unsigned>* first, const dense2D<unsigned>* last, unsigned cols,
                  std::vector<unsigned>& nodes) {
  std::vector<std::uint64_t> seen((std::size_t(cols) + 63) / 64, 0);  // a bit per column
  std::size_t total = 0;
  for (const dense2D<unsigned>* m = first; m != last; ++m)
    total += std::size_t(m->rows()) * m->cols();
  nodes.reserve(total < cols ? total : cols);
  for (const dense2D<unsigned>* m = first; m != last; ++m) {
    const unsigned rows = m->rows(), n = m->cols();
    if (std::size_t(rows) * n == 0) continue;
    const unsigned* C = m->data();
    const std::size_t ld = m->ld();
    for (unsigned e = 0; e < n; ++e) {
      const unsigned* c = C + e * ld;
      for (unsigned r = 0; r < rows; ++r) {
        const unsigned v = c[r];
        if (v == NO_ID) continue;
        if (v >= cols) return -2;
        const std::uint64_t bit = std::uint64_t(1) << (v & 63);
        if (!(seen[v >> 6] & bit)) {
          seen[v >> 6] |= bit;
          nodes.push_back(v);
        }
      }
    }
  }
  return 0;
}

// Whether the entries of the connectivities, in order, are 0, 1, 2, ... up
// to the last column.
bool numbered_in_order(const dense2D<unsigned>* first, const dense2D<unsigned>* last,
                       unsigned cols) {
  unsigned next = 0;
  for (const dense2D<unsigned>* m = first; m != last; ++m) {
    const unsigned rows = m->rows(), n = m->cols();
    if (std::size_t(rows) * n == 0) continue;
    const unsigned* C = m->data();
    const std::size_t ld = m->ld();
    for (unsigned e = 0; e < n; ++e)
      for (unsigned r = 0; r < rows; ++r, ++next)
        if (C[e * ld + r] != next) return false;
  }
  return next == cols;
}

// The list worker as written, on distinct node lists.
int general_lists(const dense2D<double>& pos, const std::vector<unsigned>& u1,
                  const std::vector<unsigned>& u2, dense1D<unsigned>& node_map, double tol) {
  return pos.rows() == 2 ? list_worker_d<2>(pos, u1, u2, node_map, tol)
                         : list_worker_d<3>(pos, u1, u2, node_map, tol);
}

// ---------------------------------------------------------------------------
// A shortcut for one list merged with itself, the case of every mesh weld.
// All pairs at distance 0 sort before all others, and applying them maps
// each group of exactly coincident nodes onto its first member in list order,
// whatever the tree. After that only pairs between those first members can
// still apply, and between them the tree matters only through the order of
// pairs of equal distance from one node. So: coincident groups by hashing,
// then the remaining pairs by a cell grid, and the general worker whenever
// its answer could differ (non-finite values, a pair of distinct nodes at
// distance 0 by underflow, two pairs of equal distance from one node).
// ---------------------------------------------------------------------------

// A hash of a position whose high bits are well spread, also for doubles
// widened from floats, whose low mantissa bits are all 0: products carry
// low bits upwards only, so slots are taken from the top.
template <unsigned D>
std::uint64_t position_hash(const double* x) {
  static const std::uint64_t odd[3] = {0x9E3779B97F4A7C15ULL, 0xC2B2AE3D27D4EB4FULL,
                                       0x165667B19E3779F9ULL};
  std::uint64_t h = 0;
  for (unsigned k = 0; k < D; ++k) {
    std::uint64_t b;
    std::memcpy(&b, &x[k], sizeof b);
    h ^= b * odd[k];
  }
  h ^= h >> 29;
  return h * 0xBF58476D1CE4E5B9ULL;
}

// Slots of the coincidence table: the top 32 bits of the position hash, of
// which the top bits are the slot number, above the first node at the
// place. All bits set: empty.
typedef std::uint64_t place_slot;
const place_slot empty_slot = ~place_slot(0);
unsigned tag_of(place_slot s) { return unsigned(s >> 32); }
unsigned node_of(place_slot s) { return unsigned(s); }

// The places of a list: the first node at each distinct position, in list
// order, and the box around them; and the table that found them, which is
// at least twice as long as their count and serves again after it.
template <unsigned D>
struct places {
  unsigned* first;
  double* x;  // their coordinates, D by D, side by side
  std::size_t count;
  double lo[D], hi[D];
  std::unique_ptr<detail::scratch_array<place_slot>> table;
  std::size_t table_size;
};

// Maps every node of `u` onto the first node of `u` at the same place,
// fills `pl`, and returns the count of nodes mapped; -1 when a coordinate is
// not finite, which the general worker decides.
//
// The nodes at one place mostly follow each other closely in a list (the
// corners of neighbouring elements), so a small table of the places met
// last, which stays in cache, answers most of them; the table of all
// places, spread over megabytes, is read only when it misses. Nodes go by
// blocks: the misses of a block ask for their slots while the block before
// is settled, so that they wait for memory together, and early enough.
template <unsigned D>
int group_coincident(const double* P, std::size_t ld, node_list u, unsigned* map, places<D>& pl) {
  const std::size_t n = u.size;
  // About one place per six corners on a closed surface: at most half full
  // there, grown at half full elsewhere. Slots hold no coordinates, so that
  // the table stays small; the rare equal tag is settled by the matrix.
  unsigned bits = 10;
  while ((std::size_t(1) << bits) < n / 3 && bits < 32) ++bits;
  std::size_t cap = std::size_t(1) << bits;
  std::unique_ptr<detail::scratch_array<place_slot>> storage(
      new detail::scratch_array<place_slot>(cap));
  place_slot* table = storage->get();
  for (std::size_t i = 0; i < cap; ++i) table[i] = empty_slot;
  const unsigned rmask = (1u << 13) - 1;
  detail::scratch_array<place_slot> recent_storage(rmask + 1);
  place_slot* recent = recent_storage.get();
  for (std::size_t i = 0; i <= rmask; ++i) recent[i] = empty_slot;
  auto known = [&](place_slot r, unsigned tag, const double* x) {
    if (tag_of(r) != tag || r == empty_slot) return false;
    const double* y = P + node_of(r) * ld;
    bool eq = true;
    for (unsigned k = 0; k < D; ++k) eq = eq && y[k] == x[k];
    return eq;
  };
  for (unsigned k = 0; k < D; ++k) {
    pl.lo[k] = DBL_MAX;
    pl.hi[k] = -DBL_MAX;
  }
  std::size_t used = 0;
  int count = 0;
  // The nodes of a block that the small table did not answer.
  const std::size_t B = 256;
  struct pending {
    double x[D];
    unsigned node, tag;
  };
  pending blocks[2][B];
  unsigned misses[2] = {0, 0};
  // First stage: answers from the small table, and slots asked for.
  auto look = [&](std::size_t s, pending* miss, unsigned& nmiss) {
    const std::size_t e = std::min(n, s + B);
    bool finite = true;
    nmiss = 0;
    for (std::size_t i = s; i < e; ++i) {
      pending& q = miss[nmiss];
      const double* p = P + u[i] * ld;
      for (unsigned k = 0; k < D; ++k) {
        q.x[k] = p[k] + 0.0;  // -0 and 0 alike
        finite = finite && std::isfinite(p[k]);
      }
      q.tag = unsigned(position_hash<D>(q.x) >> 32);
      if (known(recent[q.tag & rmask], q.tag, q.x)) {
        map[u[i]] = node_of(recent[q.tag & rmask]);
        ++count;
        continue;
      }
      q.node = u[i];
      ++nmiss;
      __builtin_prefetch(&table[q.tag >> (32 - bits)]);
    }
    return finite;
  };
  if (n > 0 && !look(0, blocks[0], misses[0])) return -1;
  for (std::size_t s = 0, b = 0; s < n; s += B, b ^= 1) {
    if (s + B < n && !look(s + B, blocks[b ^ 1], misses[b ^ 1])) return -1;
    // Second stage, in list order: a place may have come up since.
    const std::size_t mask = cap - 1;
    for (unsigned m = 0; m < misses[b]; ++m) {
      const pending& q = blocks[b][m];
      place_slot& r = recent[q.tag & rmask];
      if (known(r, q.tag, q.x)) {
        map[q.node] = node_of(r);
        ++count;
        continue;
      }
      for (std::size_t at = q.tag >> (32 - bits);; at = (at + 1) & mask) {
        place_slot& t = table[at];
        if (t == empty_slot) {
          t = place_slot(q.tag) << 32 | q.node;
          pl.first[used] = q.node;
          for (unsigned k = 0; k < D; ++k) {
            pl.x[used * D + k] = q.x[k];
            pl.lo[k] = std::min(pl.lo[k], q.x[k]);
            pl.hi[k] = std::max(pl.hi[k], q.x[k]);
          }
          ++used;
          r = t;
          break;
        }
        if (known(t, q.tag, q.x)) {
          map[q.node] = node_of(t);
          ++count;
          r = t;
          break;
        }
      }
    }
    if (used * 2 > cap && bits < 32) {
      // The tags hold the slot numbers of the larger table too.
      ++bits;
      cap *= 2;
      std::unique_ptr<detail::scratch_array<place_slot>> more(
          new detail::scratch_array<place_slot>(cap));
      place_slot* bigger = more->get();
      for (std::size_t i = 0; i < cap; ++i) bigger[i] = empty_slot;
      for (std::size_t i = 0; i < cap / 2; ++i) {
        const place_slot t = table[i];
        if (t == empty_slot) continue;
        std::size_t at = tag_of(t) >> (32 - bits);
        while (bigger[at] != empty_slot) at = (at + 1) & (cap - 1);
        bigger[at] = t;
      }
      storage.swap(more);
      table = bigger;
    }
  }
  pl.count = used;
  pl.table.swap(storage);
  pl.table_size = cap;
  return count;
}

// Stable sort of 64-bit entries by their bits from `low` up to `high`, 11
// bits a pass: each pass writes into 2048 runs, which caches follow well.
void sort_by_bits(std::uint64_t* a, std::uint64_t* tmp, std::size_t n, unsigned low,
                  unsigned high) {
  std::size_t count[2048];
  unsigned passes = 0;
  for (unsigned shift = low; shift < high; shift += 11, ++passes) {
    std::fill(count, count + 2048, 0);
    for (std::size_t i = 0; i < n; ++i) ++count[(a[i] >> shift) & 2047];
    std::size_t sum = 0;
    for (std::size_t& c : count) {
      const std::size_t here = c;
      c = sum;
      sum += here;
    }
    for (std::size_t i = 0; i < n; ++i) tmp[count[(a[i] >> shift) & 2047]++] = a[i];
    std::swap(a, tmp);
  }
  // An odd number of passes leaves the result in the other array.
  if (passes % 2 == 1) std::copy(a, a + n, tmp);
}

// The pairs (d, a, b) between distinct places within the tolerance, in the
// order the list worker would sort them, through a grid of cells at least
// 2 tol wide, so that a tolerance box meets at most 2 cells per axis, and
// most often only its own. The places are sorted by cell, so that a place
// alone in its cell, whose box stays there, is passed over at once; the
// others find their partners in the runs of the cells their box meets.
// The pairs are sorted by distance and by the list position of a, which is
// the stable sort of pairs made in list order as long as no node has two
// pairs of one distance. False when the general worker must decide.
template <unsigned D>
bool pairs_between_places(const places<D>& pl, double tol, std::vector<merge_pair>& out) {
  const std::size_t n = pl.count;
  if (n >= 0x7FFFFFFFu || 2 * n > pl.table_size) return false;
  // An entry of 64 bits: the cell numbers on top, axis 0 lowest, then a bit
  // set when the place's tolerance box lies in its cell, then its rank.
  unsigned rank_bits = 1;
  while ((std::size_t(1) << rank_bits) < n) ++rank_bits;
  const unsigned low = rank_bits + 1, most = (64 - low) / D;
  double lo[D];
  double extent = 0;
  for (unsigned k = 0; k < D; ++k) {
    lo[k] = pl.lo[k];
    extent = std::max(extent, pl.hi[k] - pl.lo[k]);
  }
  // Cells for about one place each on a surface, never narrower than the
  // box, and few enough for their numbers to fit.
  const double c = std::max(
      {2 * tol, extent / std::sqrt(double(n)), extent / double((std::int64_t(1) << most) - 4)});
  if (!(c > 0) || !std::isfinite(c)) return false;
  const double inv = 1 / c;
  // Faces of the bounding box fall mid-cell: meshes often have many places
  // on them, whose boxes would otherwise all straddle two cells. Any
  // monotone numbering of cells will do, so truncation stands for floor.
  for (unsigned k = 0; k < D; ++k) lo[k] -= 0.5 * c;
  auto cell = [&](double x, unsigned k) { return std::int64_t((x - lo[k]) * inv); };
  unsigned width = 1;
  while ((std::int64_t(1) << width) < std::int64_t(extent * inv) + 3) ++width;
  if (width > most) return false;
  auto key_of = [width, low](const std::int64_t* ix) {
    std::uint64_t key = 0;
    for (unsigned k = D; k-- > 0;) key = (key << width) | std::uint64_t(ix[k]);
    return key << low;
  };
  const std::uint64_t boxed = std::uint64_t(1) << rank_bits, rank_mask = boxed - 1;
  const std::uint64_t cell_mask = ~(boxed | rank_mask);
  std::uint64_t* E = pl.table->get();
  std::uint64_t* tmp = E + n;
  const double* X = pl.x;
  for (std::size_t j = 0; j < n; ++j) {
    const double* p = X + j * D;
    std::int64_t ix[D];
    bool in = true;
    for (unsigned k = 0; k < D; ++k) {
      ix[k] = cell(p[k], k);
      in = in && cell(p[k] - tol, k) == ix[k] && cell(p[k] + tol, k) == ix[k];
    }
    E[j] = key_of(ix) | (in ? boxed : 0) | j;
  }
  sort_by_bits(E, tmp, n, low, low + width * D);
  struct ranked {
    double d;
    unsigned rank_a, rank_b;
  };
  std::vector<ranked> pairs;
  std::vector<double> ds;
  // Pairs of place qa at q with the places of entries [b, e) inside its box.
  auto scan = [&](unsigned qa, const double* q, std::size_t b, std::size_t e, const double* blo,
                  const double* bhi) {
    for (std::size_t i = b; i < e; ++i) {
      const unsigned rb = unsigned(E[i] & rank_mask);
      if (rb == qa) continue;
      const double* r = X + std::size_t(rb) * D;
      bool in = true;
      for (unsigned k = 0; k < D; ++k) in = in && blo[k] <= r[k] && bhi[k] >= r[k];
      if (!in) continue;
      const double d = std::sqrt(node_tree<D>::dist2(q, r));
      if (!(d <= tol)) continue;
      if (d == 0) return false;  // distinct places at distance 0
      pairs.push_back(ranked{d, qa, rb});
    }
    return true;
  };
  // The places that will be read are asked for some entries ahead: those
  // that share their cell or whose box leaves it.
  const std::size_t ahead = 32;
  auto wanted = [&](std::size_t j) {
    return !(E[j] & boxed) || (j > 0 && ((E[j] ^ E[j - 1]) & cell_mask) == 0) ||
           (j + 1 < n && ((E[j] ^ E[j + 1]) & cell_mask) == 0);
  };
  for (std::size_t j = 0; j < ahead && j < n; ++j)
    if (wanted(j)) __builtin_prefetch(X + (E[j] & rank_mask) * D);
  for (std::size_t b = 0, e; b < n; b = e) {
    for (e = b + 1; e < n && ((E[e] ^ E[b]) & cell_mask) == 0; ++e) {
    }
    for (std::size_t j = b + ahead; j < e + ahead && j < n; ++j)
      if (wanted(j)) __builtin_prefetch(X + (E[j] & rank_mask) * D);
    if (e - b == 1 && (E[b] & boxed)) continue;
    for (std::size_t i = b; i < e; ++i) {
      const unsigned qa = unsigned(E[i] & rank_mask);
      const double* q = X + std::size_t(qa) * D;
      const std::size_t first_pair = pairs.size();
      double blo[D], bhi[D];
      for (unsigned k = 0; k < D; ++k) {
        blo[k] = q[k] - tol;
        bhi[k] = q[k] + tol;
      }
      if (E[i] & boxed) {
        if (!scan(qa, q, b, e, blo, bhi)) return false;
      } else {
        std::int64_t c0[D], c1[D], ix[D];
        for (unsigned k = 0; k < D; ++k) {
          c0[k] = cell(blo[k], k);
          c1[k] = cell(bhi[k], k);
          if (c1[k] - c0[k] > 2) return false;
          ix[k] = c0[k];
        }
        for (;;) {
          const std::uint64_t key = key_of(ix);
          std::size_t rb = std::size_t(std::lower_bound(E, E + n, key) - E), re = rb;
          while (re < n && (E[re] & cell_mask) == key) ++re;
          if (!scan(qa, q, rb, re, blo, bhi)) return false;
          unsigned k = 0;
          while (k < D && ix[k] == c1[k]) ix[k] = c0[k], ++k;
          if (k == D) break;
          ++ix[k];
        }
      }
      // Equal distances from one node would be ordered by the tree.
      if (pairs.size() - first_pair > 1) {
        ds.clear();
        for (std::size_t p = first_pair; p < pairs.size(); ++p) ds.push_back(pairs[p].d);
        std::sort(ds.begin(), ds.end());
        if (std::adjacent_find(ds.begin(), ds.end()) != ds.end()) return false;
      }
    }
  }
  std::sort(pairs.begin(), pairs.end(), [](const ranked& x, const ranked& y) {
    return x.d < y.d || (x.d == y.d && x.rank_a < y.rank_a);
  });
  out.reserve(pairs.size());
  for (const ranked& p : pairs)
    out.push_back(merge_pair{p.d, pl.first[p.rank_a], pl.first[p.rank_b]});
  return true;
}

// The list worker on one list merged with itself, or -1 when only the
// general worker can answer.
template <unsigned D>
int single_list_shortcut(const dense2D<double>& pos, node_list u, dense1D<unsigned>& node_map,
                         double tol) {
  if (!(tol >= 0) || !std::isfinite(tol)) return -1;
  const double* P = pos.data();
  const std::size_t ld = pos.ld();
  if (!identity(node_map, pos.cols())) return -1;
  unsigned* map = node_map.data();
  detail::scratch_array<unsigned> firsts(u.size);
  detail::scratch_array<double> coordinates(u.size * D);
  places<D> pl;
  pl.first = firsts.get();
  pl.x = coordinates.get();
  int count = group_coincident<D>(P, ld, u, map, pl);
  if (count < 0) return -1;
  if (tol > 0 && pl.count > 1) {
    std::vector<merge_pair> pairs;
    if (!pairs_between_places<D>(pl, tol, pairs)) return -1;
    const int more = apply_pairs(map, pairs);
    // Only then can a chain be longer than one step.
    if (more > 0) compress(map, u);
    count += more;
  }
  return count;
}

// The list worker on distinct node lists, through the shortcut when both
// are one list and it is allowed.
int merge_lists(const dense2D<double>& pos, const std::vector<unsigned>& u1,
                const std::vector<unsigned>& u2, dense1D<unsigned>& node_map, double tol,
                bool shortcut = true) {
  if (shortcut && &u1 == &u2 && !u1.empty()) {
    const int count = detail::merge_one_list(pos, u1, node_map, tol);
    if (count >= 0) return count;
  }
  return general_lists(pos, u1, u2, node_map, tol);
}

}  // namespace

int detail::merge_one_list(const dense2D<double>& pos, const std::vector<unsigned>& nodes,
                           dense1D<unsigned>& node_map, double tolerance) {
  const node_list u{nodes.data(), nodes.size()};
  return pos.rows() == 2 ? single_list_shortcut<2>(pos, u, node_map, tolerance)
                         : single_list_shortcut<3>(pos, u, node_map, tolerance);
}

int detail::merge_connectivities(const dense2D<double>& pos, dense2D<unsigned>* first,
                                 dense2D<unsigned>* last, dense1D<unsigned>& node_map,
                                 double tolerance, unsigned merge_type, bool shortcut) {
  node_map.clear();
  if (pos.cols() == 0 || first == last) return 0;
  if (!valid_rows(pos)) return -1;
  if (first > last) return -3;
  if (tolerance < 0) return -5;
  if (merge_type > 2) return -6;
  // A soup whose corners are numbered in order needs no list of its nodes.
  if (merge_type == 0 && shortcut && numbered_in_order(first, last, pos.cols())) {
    const node_list all{nullptr, pos.cols()};
    const int count = pos.rows() == 2 ? single_list_shortcut<2>(pos, all, node_map, tolerance)
                                      : single_list_shortcut<3>(pos, all, node_map, tolerance);
    if (count >= 0) {
      for (dense2D<unsigned>* m = first; m != last; ++m) change_indices(*m, node_map);
      return count;
    }
  }
  std::vector<unsigned> nodes;
  const int status = collect_nodes(first, last, pos.cols(), nodes);
  if (status != 0 || nodes.empty()) return status;
  if (merge_type == 0) {
    const int count = merge_lists(pos, nodes, nodes, node_map, tolerance, shortcut);
    if (count < 0) return count;
    for (dense2D<unsigned>* m = first; m != last; ++m) change_indices(*m, node_map);
    return count;
  }
  return pos.rows() == 2
             ? local_worker_d<2>(pos, first, last, nodes, node_map, tolerance, merge_type)
             : local_worker_d<3>(pos, first, last, nodes, node_map, tolerance, merge_type);
}

int merge(const dense2D<double>& pos, const dense1D<unsigned>& indices1,
          const dense1D<unsigned>& indices2, dense1D<unsigned>& node_map, double tolerance) {
  node_map.clear();
  if (pos.cols() == 0) return 0;
  if (!valid_rows(pos)) return -1;
  if (!check_IDs(indices1, pos.cols())) return -2;
  if (!check_IDs(indices2, pos.cols())) return -3;
  if (tolerance < 0) return -4;
  if (indices1.empty() || indices2.empty()) return 0;
  if (&indices1 == &indices2) {
    const std::vector<unsigned> u = distinct(indices1);
    return merge_lists(pos, u, u, node_map, tolerance);
  }
  return merge_lists(pos, distinct(indices1), distinct(indices2), node_map, tolerance);
}

int merge(const dense2D<double>& pos, const dense1D<unsigned>& indices, dense1D<unsigned>& node_map,
          double tolerance) {
  return merge(pos, indices, indices, node_map, tolerance);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last,
          dense1D<unsigned>& node_map, double tolerance, unsigned merge_type) {
  return detail::merge_connectivities(pos, first, last, node_map, tolerance, merge_type, true);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>* first, dense2D<unsigned>* last,
          double tolerance, unsigned merge_type) {
  dense1D<unsigned> node_map;
  return merge(pos, first, last, node_map, tolerance, merge_type);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>& connectivity, dense1D<unsigned>& node_map,
          double tolerance, unsigned merge_type) {
  return merge(pos, &connectivity, &connectivity + 1, node_map, tolerance, merge_type);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>& connectivity, double tolerance,
          unsigned merge_type) {
  dense1D<unsigned> node_map;
  return merge(pos, &connectivity, &connectivity + 1, node_map, tolerance, merge_type);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>& connectivity1,
          dense2D<unsigned>& connectivity2, dense1D<unsigned>& node_map, double tolerance,
          unsigned merge_type) {
  dense2D<unsigned> both[2] = {connectivity1, connectivity2};
  const int status = merge(pos, both, both + 2, node_map, tolerance, merge_type);
  if (status == 0) {
    connectivity1.shallow_copy(both[0]);
    connectivity2.shallow_copy(both[1]);
  }
  return status;
}

int merge(const dense2D<double>& pos, dense2D<unsigned>& connectivity1,
          dense2D<unsigned>& connectivity2, double tolerance, unsigned merge_type) {
  dense1D<unsigned> node_map;
  return merge(pos, connectivity1, connectivity2, node_map, tolerance, merge_type);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>& connectivity) {
  return merge(pos, connectivity, 1e-6, 0);
}

int merge(const dense2D<double>& pos, dense2D<unsigned>& connectivity1,
          dense2D<unsigned>& connectivity2) {
  return merge(pos, connectivity1, connectivity2, 1e-6, 0);
}

int merge(dense2D<double>& pos, dense1D<unsigned>& node_map, double tolerance) {
  node_map.clear();
  if (pos.cols() == 0) return 0;
  if (!valid_rows(pos)) return -1;
  if (tolerance < 0) return -3;
  dense2D<double> moved;
  if (!moved.copy(pos)) return -199;
  std::vector<unsigned> all(pos.cols());
  for (unsigned i = 0; i < pos.cols(); ++i) all[i] = i;
  const int status = merge_lists(pos, all, all, node_map, tolerance);
  if (status < 0) return status;
  const unsigned* map = node_map.data();
  const double* P = pos.data();
  double* Q = moved.data();
  const std::size_t ld = pos.ld(), qld = moved.ld();
  for (unsigned i = 0; i < node_map.size(); ++i)
    if (map[i] != i)
      for (unsigned k = 0; k < pos.rows(); ++k) Q[i * qld + k] = P[map[i] * ld + k];
  pos.shallow_copy(moved);
  return status;
}

int merge(dense2D<double>& pos, double tolerance) {
  dense1D<unsigned> node_map;
  return merge(pos, node_map, tolerance);
}

}  // namespace tessellix
}  // namespace qz4
