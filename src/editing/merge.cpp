// Node merging over the k-d tree: candidate pairs from one box search per
// node, applied closest first while both nodes are still their own
// survivors, then chains followed to their end.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

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

void identity(dense1D<unsigned>& node_map, unsigned n) {
  node_map.clear();
  node_map.resize(n);
  unsigned* m = node_map.data();
  for (unsigned i = 0; i < node_map.size(); ++i) m[i] = i;
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
  identity(node_map, pos.cols());
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
  identity(node_map, pos.cols());
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

// The list worker on distinct node lists.
int merge_lists(const dense2D<double>& pos, const std::vector<unsigned>& u1,
                const std::vector<unsigned>& u2, dense1D<unsigned>& node_map, double tol) {
  return pos.rows() == 2 ? list_worker_d<2>(pos, u1, u2, node_map, tol)
                         : list_worker_d<3>(pos, u1, u2, node_map, tol);
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
  moved.copy(pos);
  std::vector<unsigned> all(pos.cols());
  for (unsigned i = 0; i < pos.cols(); ++i) all[i] = i;
  const int status = merge_lists(pos, all, all, node_map, tolerance);
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
