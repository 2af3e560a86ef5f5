// Gradation of a size field: the H-shock between nodes that share an element
// is brought down to a limit by a propagation that takes the worst pair
// first. Each accepted change puts the changed node's pairs back in the
// queue; entries made before a change of either node are stale and dropped
// when they come out.
#include <algorithm>
#include <cfloat>
#include <cmath>
#include <cstddef>
#include <vector>

#include "metrics/fields.h"
#include "qz4/tessellix/topology.h"

namespace qz4 {
namespace tessellix {

namespace {

const double key_cap = 3.4028234663852886e38;  // the largest float

struct gradation_entry {
  float key;
  unsigned stamp, node0, node1;
};

// Binary max-heap on the key alone. Equal keys leave in the order these two
// operations give them, which is part of the result: pop moves the hole at
// the root down to a leaf by the larger child (the right one on equal keys),
// then sifts the last element up from there.
class gradation_queue {
 public:
  bool empty() const { return heap_.empty(); }
  void push(const gradation_entry& e) {
    heap_.push_back(e);
    sift_up(heap_.size() - 1, e);
  }
  gradation_entry pop() {
    const gradation_entry top = heap_[0], last = heap_.back();
    heap_.pop_back();
    const std::size_t n = heap_.size();
    if (n == 0) return top;
    std::size_t hole = 0;
    for (std::size_t c = 1; c < n; c = 2 * hole + 1) {
      if (c + 1 < n && !(heap_[c + 1].key < heap_[c].key)) ++c;
      heap_[hole] = heap_[c];
      hole = c;
    }
    sift_up(hole, last);
    return top;
  }

 private:
  void sift_up(std::size_t hole, const gradation_entry& e) {
    while (hole > 0 && heap_[(hole - 1) / 2].key < e.key) {
      heap_[hole] = heap_[(hole - 1) / 2];
      hole = (hole - 1) / 2;
    }
    heap_[hole] = e;
  }
  std::vector<gradation_entry> heap_;
};

enum step_kind { refused, filled, stepped };

// The part of a step that sizes and tensors share, on the sizes h1 (the
// reference) and h2 (the target) along an edge of length L. A target of no
// size takes the reference's; otherwise w is how far from h1 towards h2 the
// size at the limit lies, on a linear law: |h2 - h1| = L ln(1 + g) is a shock
// of exactly g.
step_kind size_step(double h1, double h2, double L, double g, signed char& direction, double& w) {
  const double dh = h2 - h1;
  if (dh == 0) return refused;
  if (h1 <= 0 && h2 <= 0) return refused;
  if (g == DBL_MAX) return refused;
  if (h2 <= 0 && h1 > 0) return filled;
  if (direction == 0) direction = dh > 0 ? -1 : 1;
  const double e = -direction * dh;
  if (e < 0) return refused;  // the target may not move that way
  w = std::min(1.0, std::log(1 + g) * (L / e));
  return w >= 0.9999999999 ? refused : stepped;
}

double length(const double* d, unsigned n) {
  double L2 = 0;
  for (unsigned i = 0; i < n; ++i) L2 += d[i] * d[i];
  return std::sqrt(L2);
}

template <unsigned D>
bool bound_edge_gradation(double h1, double& h2, const vector_fixed<double, D>& d, double g,
                          signed char& direction) {
  double w = 0;
  switch (size_step(h1, h2, length(d.data(), D), g, direction, w)) {
    case refused:
      return false;
    case filled:
      h2 = h1;
      return true;
    case stepped:
      break;
  }
  const double hn = (1 - w) * h1 + w * h2;
  if (!(hn > 0 && hn < DBL_MAX)) return false;
  h2 = direction == 1 ? std::max(hn, h2) : std::min(hn, h2);
  return true;
}

// Size along the edge of a tensor; the raw form when it is not positive.
template <unsigned D>
double size_along(const symmetric_fixed<double, D>& M, const vector_fixed<double, D>& u) {
  const double q = metric_norm2(M, u);
  return q > 0 ? 1 / std::sqrt(q) : q;
}

template <unsigned D>
bool bound_edge_gradation(const symmetric_fixed<double, D>& M1, symmetric_fixed<double, D>& M2,
                          const vector_fixed<double, D>& d, double g, signed char& direction) {
  const double L = length(d.data(), D);
  vector_fixed<double, D> u = d;
  if (L != 0)
    for (unsigned i = 0; i < D; ++i) u[i] = d[i] / L;
  double w = 0;
  switch (size_step(size_along(M1, u), size_along(M2, u), L, g, direction, w)) {
    case refused:
      return false;
    case filled:
      M2 = M1;
      return true;
    case stepped:
      break;
  }
  symmetric_fixed<double, D> T;
  if (!interpolate_metric(w, M1, M2, T)) return false;
  if (direction == 1)
    maximum_metric(T, M2, M2);
  else
    minimum_metric(T, M2, M2);
  return true;
}

template <unsigned D, class F>
int propagate(const dense2D<double>& pos, const dense1D<unsigned>& index,
              const dense1D<unsigned>& neighbors, dense1D<unsigned>& stamps, double g,
              const F& field) {
  const unsigned n = stamps.size();
  const double* p = pos.data();
  const std::size_t ld = pos.ld();
  const unsigned *first = index.data(), *nb = neighbors.data();
  unsigned* stamp = stamps.data();
  bool hard = false;
  for (unsigned i = 0; i < n && !hard; ++i) hard = stamp[i] == NO_ID;
  // Without hard nodes every size may only shrink; with them, each node's
  // way is decided the first time it is changed.
  std::vector<signed char> directions(n, hard ? 0 : -1);
  gradation_queue queue;
  auto push_if_above = [&](unsigned a, unsigned b, const typename F::value& va, unsigned when) {
    const double k =
        std::min(F::shock(va, field.get(b), detail::difference<D>(p, ld, a, b)), key_cap);
    if (g < k) queue.push({float(k), when, a, b});
  };

  for (unsigned a = 0; a < n; ++a)
    for (unsigned j = first[a]; j < first[a + 1]; ++j) {
      const unsigned b = nb[j];
      const bool ha = stamp[a] == NO_ID, hb = stamp[b] == NO_ID;
      if (ha && hb) continue;
      if (hard && (ha == hb || b < a)) continue;
      push_if_above(a, b, field.get(a), 0);
    }

  unsigned counter = 0;
  while (!queue.empty()) {
    const gradation_entry e = queue.pop();
    unsigned a = e.node0, b = e.node1;
    if (b == NO_ID) continue;
    if (stamp[b] > stamp[a]) std::swap(a, b);  // a: the later change, or hard
    if (stamp[b] > e.stamp || (stamp[a] > e.stamp && stamp[a] != NO_ID)) continue;
    typename F::value target = field.get(b);
    if (!bound_edge_gradation(field.get(a), target, detail::difference<D>(p, ld, a, b), g,
                              directions[b]))
      continue;
    field.set(b, target);
    stamp[b] = ++counter;
    for (unsigned j = first[b]; j < first[b + 1]; ++j) push_if_above(b, nb[j], target, counter);
  }
  return int(counter);
}

// The checks and the preparation that both fields share; then the kernel of
// the field's kind and dimension.
template <class Run>
int gradation(const dense2D<double>& pos, const dense2D<unsigned>& connectivity, element_type type,
              const dense1D<unsigned>& hard_nodes, double max_shock, unsigned field_size,
              bool rows_ok, Run run) {
  if (pos.rows() != 2 && pos.rows() != 3) return -1;
  if (!check_IDs(connectivity, type, pos.cols())) return -2;
  if (!check_IDs(hard_nodes, pos.cols())) return -3;
  if (max_shock <= 0 || max_shock == DBL_MAX) return -5;
  if (field_size <= pos.rows() || !rows_ok) return -6;

  dense1D<unsigned> stamps, index, neighbors;
  if (!stamps.resize(pos.cols(), 0u)) return -199;
  const int graph = get_node_graph(connectivity, index, neighbors);
  if (graph < 0) return graph;
  for (unsigned i = 0; i < hard_nodes.size(); ++i) stamps[hard_nodes[i]] = NO_ID;
  const unsigned n = index.size() ? index.size() - 1 : 0;
  if (!stamps.resize(n)) return -199;
  if (n == 0) return 0;
  if (field_size < n) return -6;  // nodes of the mesh without a value
  return run(index, neighbors, stamps);
}

}  // namespace

int bound_metric_gradation(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                           element_type type, const dense1D<unsigned>& hard_nodes, double max_shock,
                           dense1D<double>& H) {
  return gradation(
      pos, connectivity, type, hard_nodes, max_shock, H.size(), true,
      [&](const dense1D<unsigned>& index, const dense1D<unsigned>& nb, dense1D<unsigned>& st) {
        return pos.rows() == 2 ? propagate<2>(pos, index, nb, st, max_shock,
                                              detail::size_field<2, double>(H.data(), H.size()))
                               : propagate<3>(pos, index, nb, st, max_shock,
                                              detail::size_field<3, double>(H.data(), H.size()));
      });
}

int bound_metric_gradation(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                           element_type type, const dense1D<unsigned>& hard_nodes, double max_shock,
                           dense2D<double>& M) {
  const bool plane = pos.rows() == 2;
  return gradation(
      pos, connectivity, type, hard_nodes, max_shock, M.cols(), M.rows() == (plane ? 3u : 6u),
      [&](const dense1D<unsigned>& index, const dense1D<unsigned>& nb, dense1D<unsigned>& st) {
        return plane ? propagate<2>(pos, index, nb, st, max_shock,
                                    detail::tensor_field<2, double>(M.data(), M.ld(), M.cols()))
                     : propagate<3>(pos, index, nb, st, max_shock,
                                    detail::tensor_field<3, double>(M.data(), M.ld(), M.cols()));
      });
}

}  // namespace tessellix
}  // namespace qz4
