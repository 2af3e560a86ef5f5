// Node merging over the k-d tree: candidate pairs from one box search per
// node, applied closest first while both nodes are still their own
// survivors, then chains followed to their end.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "core/scratch.h"
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

// Points every node of `nodes` at the end of its chain of survivors.
void compress(unsigned* map, const std::vector<unsigned>& nodes) {
  for (unsigned u : nodes) {
    unsigned r = map[u];
    while (map[r] != r) r = map[r];
    map[u] = r;
  }
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
  std::vector<merge_pair> pairs;
  std::vector<unsigned> found;
  for (unsigned a : u2)
    search_pairs(tree, P, ld, a, tol, found, pairs,
                 [](const std::vector<unsigned>&) { return true; });
  std::stable_sort(pairs.begin(), pairs.end(), [](const merge_pair& x, const merge_pair& y) {
    return x.distance < y.distance;
  });
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
  std::vector<unsigned char> seen(cols, 0);
  std::size_t total = 0;
  for (const dense2D<unsigned>* m = first; m != last; ++m) total += m->cols();
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
        if (!seen[v]) {
          seen[v] = 1;
          nodes.push_back(v);
        }
      }
    }
  }
  return 0;
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

std::uint64_t mix(std::uint64_t h) {
  h ^= h >> 33;
  h *= 0xff51afd7ed558ccdULL;
  h ^= h >> 33;
  h *= 0xc4ceb9fe1a85ec53ULL;
  return h ^ (h >> 33);
}

template <unsigned D>
std::uint64_t position_key(const double* x) {
  std::uint64_t h = 0x9E3779B97F4A7C15ULL;
  for (unsigned k = 0; k < D; ++k) {
    std::uint64_t b;
    std::memcpy(&b, &x[k], sizeof b);
    h = mix(h ^ b) + k;
  }
  return h;
}

template <unsigned D>
struct position_slot {
  double x[D];
  unsigned node;  // NO_ID: empty
};

// Maps every node of `u` onto the first node of `u` at the same place;
// `firsts` gets those first nodes in list order. Returns the count mapped.
template <unsigned D>
int group_coincident(const double* P, std::size_t ld, const std::vector<unsigned>& u, unsigned* map,
                     std::vector<unsigned>& firsts) {
  typedef position_slot<D> slot;
  // Huge-page scratch: the probes go all over a table of many megabytes,
  // and with small pages each would also miss the TLB.
  std::size_t cap = 1024;
  while (cap < u.size() / 2) cap *= 2;
  std::unique_ptr<detail::scratch_array<slot>> storage(new detail::scratch_array<slot>(cap));
  slot* table = storage->get();
  for (std::size_t i = 0; i < cap; ++i) table[i].node = NO_ID;
  std::size_t used = 0;
  int count = 0;
  const std::size_t B = 32;
  std::uint64_t keys[B];
  double xs[B][D];
  for (std::size_t s = 0; s < u.size(); s += B) {
    const std::size_t e = std::min(u.size(), s + B);
    const std::size_t mask = cap - 1;
    // Keys first, with the slots fetched ahead, so that the probes of a block
    // wait for memory together rather than one after the other.
    for (std::size_t i = s; i < e; ++i) {
      const double* p = P + u[i] * ld;
      for (unsigned k = 0; k < D; ++k) xs[i - s][k] = p[k] + 0.0;  // -0 and 0 alike
      keys[i - s] = position_key<D>(xs[i - s]);
      __builtin_prefetch(&table[keys[i - s] & mask]);
    }
    for (std::size_t i = s; i < e; ++i) {
      const double* x = xs[i - s];
      for (std::size_t at = keys[i - s] & mask;; at = (at + 1) & mask) {
        slot& t = table[at];
        if (t.node == NO_ID) {
          for (unsigned k = 0; k < D; ++k) t.x[k] = x[k];
          t.node = u[i];
          firsts.push_back(u[i]);
          ++used;
          break;
        }
        bool same = true;
        for (unsigned k = 0; k < D; ++k) same = same && t.x[k] == x[k];
        if (same) {
          map[u[i]] = t.node;
          ++count;
          break;
        }
      }
    }
    if (used * 2 > cap) {
      std::unique_ptr<detail::scratch_array<slot>> more(new detail::scratch_array<slot>(cap * 2));
      slot* bigger = more->get();
      for (std::size_t i = 0; i < cap * 2; ++i) bigger[i].node = NO_ID;
      const std::size_t m2 = cap * 2 - 1;
      for (std::size_t i = 0; i < cap; ++i) {
        const slot& t = table[i];
        if (t.node == NO_ID) continue;
        std::size_t at = position_key<D>(t.x) & m2;
        while (bigger[at].node != NO_ID) at = (at + 1) & m2;
        bigger[at] = t;
      }
      storage.swap(more);
      table = bigger;
      cap *= 2;
    }
  }
  return count;
}

// The pairs (d, a, b) between distinct places within the tolerance, in the
// order the list worker would sort them, through a hashed grid of cells at
// least 2 tol wide, so that a tolerance box meets at most 2 cells per axis,
// and most often only its own. The pairs are sorted by distance and by the
// list position of a, which is the stable sort of pairs made in list order as
// long as no node has two pairs of one distance. False when the general
// worker must decide.
template <unsigned D>
bool pairs_between_places(const double* P, std::size_t ld, const std::vector<unsigned>& firsts,
                          double tol, std::vector<merge_pair>& out) {
  const std::size_t n = firsts.size();
  if (n >= 0x7FFFFFFFu) return false;
  double lo[D], hi[D];
  for (unsigned k = 0; k < D; ++k) lo[k] = hi[k] = P[firsts[0] * ld + k];
  for (unsigned a : firsts)
    for (unsigned k = 0; k < D; ++k) {
      lo[k] = std::min(lo[k], P[a * ld + k]);
      hi[k] = std::max(hi[k], P[a * ld + k]);
    }
  double extent = 0;
  for (unsigned k = 0; k < D; ++k) extent = std::max(extent, hi[k] - lo[k]);
  // Cells for about one place each on a surface, never narrower than the box.
  const double c = std::max(2 * tol, extent / std::sqrt(double(n)));
  if (!(c > 0) || !std::isfinite(c) || extent / c > 1e12) return false;
  const double inv = 1 / c;
  // Faces of the bounding box fall mid-cell: meshes often have many places
  // on them, whose boxes would otherwise all straddle two cells.
  for (unsigned k = 0; k < D; ++k) lo[k] -= 0.5 * c;
  auto cell = [&](double x, unsigned k) { return std::int64_t(std::floor((x - lo[k]) * inv)); };
  auto cell_key = [](const std::int64_t* ix) {
    std::uint64_t h = 0;
    for (unsigned k = 0; k < D; ++k) h = mix(h ^ std::uint64_t(ix[k])) + k;
    return h;
  };
  // Places hashed by cell, chained through `next`; an empty slot counts 0.
  struct cell_slot {
    std::uint64_t key;
    unsigned head, count;
  };
  std::size_t cap = 1024;
  while (cap < 2 * n) cap *= 2;
  const std::size_t mask = cap - 1;
  detail::scratch_array<cell_slot> cells(cap);
  for (std::size_t i = 0; i < cap; ++i) cells[i] = cell_slot{0, NO_ID, 0};
  std::vector<unsigned> next(n, NO_ID);
  std::vector<unsigned char> boxed(n);  // the tolerance box lies in the own cell
  std::vector<std::uint64_t> keys(n);
  const std::size_t B = 32;
  for (std::size_t s0 = 0; s0 < n; s0 += B) {
    const std::size_t e0 = std::min(n, s0 + B);
    for (std::size_t j = s0; j < e0; ++j) {
      std::int64_t ix[D];
      bool in = true;
      for (unsigned k = 0; k < D; ++k) {
        const double x = P[firsts[j] * ld + k];
        ix[k] = cell(x, k);
        in = in && cell(x - tol, k) == cell(x + tol, k);
      }
      boxed[j] = in;
      keys[j] = cell_key(ix);
      __builtin_prefetch(&cells[mix(keys[j]) & mask]);
    }
    for (std::size_t j = s0; j < e0; ++j) {
      std::size_t at = mix(keys[j]) & mask;
      while (cells[at].count != 0 && cells[at].key != keys[j]) at = (at + 1) & mask;
      cell_slot& cs = cells[at];
      cs.key = keys[j];
      next[j] = cs.head;
      cs.head = unsigned(j);
      ++cs.count;
    }
  }
  struct ranked {
    double d;
    unsigned rank_a, rank_b;
  };
  std::vector<ranked> pairs;
  std::vector<double> ds;
  // Places are taken cell by cell: the order of making pairs does not matter,
  // as they are sorted by rank in the end, and a place alone in its cell
  // whose box stays in that cell is passed over without reading it.
  for (std::size_t slot = 0; slot < cap; ++slot) {
    if (cells[slot].count == 0) continue;
    if (cells[slot].count == 1 && boxed[cells[slot].head]) continue;
    for (unsigned j = cells[slot].head; j != NO_ID; j = next[j]) {
      const double* pa = P + firsts[j] * ld;
      double blo[D], bhi[D];
      std::int64_t c0[D], c1[D];
      for (unsigned k = 0; k < D; ++k) {
        blo[k] = pa[k] - tol;
        bhi[k] = pa[k] + tol;
        c0[k] = cell(blo[k], k);
        c1[k] = cell(bhi[k], k);
        if (c1[k] - c0[k] > 2) return false;
      }
      const std::size_t first_pair = pairs.size();
      std::uint64_t seen[27];
      unsigned nseen = 0;
      std::int64_t ix[D];
      for (unsigned k = 0; k < D; ++k) ix[k] = c0[k];
      for (;;) {
        const std::uint64_t key = cell_key(ix);
        if (std::find(seen, seen + nseen, key) == seen + nseen) {
          seen[nseen++] = key;
          std::size_t at = mix(key) & mask;
          while (cells[at].count != 0 && cells[at].key != key) at = (at + 1) & mask;
          for (unsigned r = cells[at].count ? cells[at].head : NO_ID; r != NO_ID; r = next[r]) {
            if (r == j) continue;
            const double* pb = P + firsts[r] * ld;
            bool in = true;
            for (unsigned k = 0; k < D; ++k) in = in && blo[k] <= pb[k] && bhi[k] >= pb[k];
            if (!in) continue;
            const double d = std::sqrt(node_tree<D>::dist2(pa, pb));
            if (!(d <= tol)) continue;
            if (d == 0) return false;  // distinct places at distance 0
            pairs.push_back(ranked{d, j, r});
          }
        }
        unsigned k = 0;
        while (k < D && ix[k] == c1[k]) ix[k] = c0[k], ++k;
        if (k == D) break;
        ++ix[k];
      }
      // Equal distances from one node would be ordered by the tree.
      if (pairs.size() - first_pair > 1) {
        ds.clear();
        for (std::size_t i = first_pair; i < pairs.size(); ++i) ds.push_back(pairs[i].d);
        std::sort(ds.begin(), ds.end());
        if (std::adjacent_find(ds.begin(), ds.end()) != ds.end()) return false;
      }
    }
  }
  std::sort(pairs.begin(), pairs.end(), [](const ranked& x, const ranked& y) {
    return x.d < y.d || (x.d == y.d && x.rank_a < y.rank_a);
  });
  out.reserve(pairs.size());
  for (const ranked& p : pairs) out.push_back(merge_pair{p.d, firsts[p.rank_a], firsts[p.rank_b]});
  return true;
}

// The list worker on one list merged with itself, or -1 when only the
// general worker can answer.
template <unsigned D>
int single_list_shortcut(const dense2D<double>& pos, const std::vector<unsigned>& u,
                         dense1D<unsigned>& node_map, double tol) {
  if (!(tol >= 0) || !std::isfinite(tol)) return -1;
  const double* P = pos.data();
  const std::size_t ld = pos.ld();
  for (unsigned a : u)
    for (unsigned k = 0; k < D; ++k)
      if (!std::isfinite(P[a * ld + k])) return -1;
  if (!identity(node_map, pos.cols())) return -1;
  unsigned* map = node_map.data();
  std::vector<unsigned> firsts;
  int count = group_coincident<D>(P, ld, u, map, firsts);
  if (tol > 0 && firsts.size() > 1) {
    std::vector<merge_pair> pairs;
    if (!pairs_between_places<D>(P, ld, firsts, tol, pairs)) return -1;
    count += apply_pairs(map, pairs);
  }
  compress(map, u);
  return count;
}

// The list worker on distinct node lists.
int merge_lists(const dense2D<double>& pos, const std::vector<unsigned>& u1,
                const std::vector<unsigned>& u2, dense1D<unsigned>& node_map, double tol) {
  if (&u1 == &u2 && !u1.empty()) {
    const int count = pos.rows() == 2 ? single_list_shortcut<2>(pos, u1, node_map, tol)
                                      : single_list_shortcut<3>(pos, u1, node_map, tol);
    if (count >= 0) return count;
  }
  return general_lists(pos, u1, u2, node_map, tol);
}

}  // namespace

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
  node_map.clear();
  if (pos.cols() == 0 || first == last) return 0;
  if (!valid_rows(pos)) return -1;
  if (first > last) return -3;
  if (tolerance < 0) return -5;
  if (merge_type > 2) return -6;
  std::vector<unsigned> nodes;
  const int status = collect_nodes(first, last, pos.cols(), nodes);
  if (status != 0 || nodes.empty()) return status;
  if (merge_type == 0) {
    const int count = merge_lists(pos, nodes, nodes, node_map, tolerance);
    if (count < 0) return count;
    for (dense2D<unsigned>* m = first; m != last; ++m) change_indices(*m, node_map);
    return count;
  }
  return pos.rows() == 2
             ? local_worker_d<2>(pos, first, last, nodes, node_map, tolerance, merge_type)
             : local_worker_d<3>(pos, first, last, nodes, node_map, tolerance, merge_type);
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
