// Lengths of the distinct edges of a mesh in a size field, into a histogram.
#include <cmath>
#include <cstddef>

#include "qz4/tessellix/metrics.h"
#include "qz4/tessellix/quality.h"
#include "qz4/tessellix/topology.h"

namespace qz4 {
namespace tessellix {

namespace {

// One size per node: valid above 0.
struct size_field {
  const dense1D<double>& H;
  unsigned count() const { return H.size(); }
  bool valid(unsigned n) const { return n < H.size() && 0 < H[n]; }
  template <unsigned D>
  double length(const double* a, const double* b, unsigned na, unsigned nb) const {
    double l2 = 0;
    for (unsigned i = 0; i < D; ++i) l2 += (b[i] - a[i]) * (b[i] - a[i]);
    return metric_edge_length(std::sqrt(l2), H[na], H[nb], false);
  }
};

// One packed tensor per node, 3 rows in 2D and 6 in 3D.
struct tensor_field {
  const dense2D<double>& M;
  unsigned dim;
  unsigned count() const { return M.cols(); }
  // A field with fewer rows than the tensors of `pos` would be read across
  // columns and past its end: it has no valid entry.
  bool usable() const { return M.rows() >= dim * (dim + 1) / 2; }
  template <unsigned D>
  symmetric_fixed<double, D> at(unsigned n) const {
    symmetric_fixed<double, D> t;
    const double* c = M.data() + std::size_t(n) * M.ld();
    for (unsigned i = 0; i < D * (D + 1) / 2; ++i) t[i] = c[i];
    return t;
  }
  bool valid(unsigned n) const {
    if (!usable() || n >= M.cols()) return false;
    return dim == 2 ? is_valid_metric(at<2>(n)) : is_valid_metric(at<3>(n));
  }
  template <unsigned D>
  double length(const double* a, const double* b, unsigned na, unsigned nb) const {
    vector_fixed<double, D> d;
    for (unsigned i = 0; i < D; ++i) d[i] = b[i] - a[i];
    double r1, r2;
    return metric_edge_length(d, at<D>(na), at<D>(nb), false, r1, r2);
  }
};

// Feeds every edge with two valid ends; 0, -3 for a field not of one entry
// per node, -2 when some edge was left out.
template <unsigned D, class F>
int edge_pass(const dense2D<double>& pos, const dense2D<unsigned>& edges, const F& field,
              misc::histogram& hist) {
  int status = field.count() != pos.cols() ? -3 : 0;
  const double* p = pos.data();
  const std::size_t pld = pos.ld();
  const unsigned* e = edges.data();
  for (unsigned k = 0, n = edges.cols(); k < n; ++k, e += edges.ld()) {
    const unsigned a = e[0], b = e[1];
    if (!field.valid(a) || !field.valid(b)) {
      status = -2;
      continue;
    }
    hist.process(field.template length<D>(p + a * pld, p + b * pld, a, b));
  }
  return status;
}

template <class F>
int edge_pass(const dense2D<double>& pos, const dense2D<unsigned>& edges, const F& field,
              misc::histogram& hist) {
  return pos.rows() == 2 ? edge_pass<2>(pos, edges, field, hist)
                         : edge_pass<3>(pos, edges, field, hist);
}

bool plane_or_space(const dense2D<double>& pos) { return pos.rows() == 2 || pos.rows() == 3; }

template <class F>
int single(const dense2D<double>& pos, const dense2D<unsigned>& connectivity, element_type type,
           const F& field, misc::histogram& hist, bool report) {
  if (std::size_t(connectivity.rows()) * connectivity.cols() == 0) return 0;
  if (!plane_or_space(pos)) return -1;
  if (!check_IDs(connectivity, type, pos.cols())) return -2;
  dense2D<unsigned> edges;
  if (copy_edges(connectivity, type, edges) == -199) return -199;
  return edge_pass(pos, edges, field, hist) < 0 && report ? -4 : 0;
}

template <class F>
int range(const dense2D<double>& pos, const dense2D<unsigned>* first, const dense2D<unsigned>* last,
          const dense1D<int>& flags, const F& field, misc::histogram& hist) {
  if (first == last) return 0;
  if (!plane_or_space(pos)) return -1;
  if (first > last || std::size_t(last - first) != flags.size()) return -4;
  for (const dense2D<unsigned>* m = first; m != last; ++m)
    if (!check_IDs(*m, element_type(flags[unsigned(m - first)]), pos.cols())) return -2;
  dense2D<unsigned> edges;
  if (copy_edges(first, last, flags, edges) == -199) return -199;
  return edge_pass(pos, edges, field, hist) < 0 ? -5 : 0;
}

}  // namespace

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                   element_type type, const dense1D<double>& H, misc::histogram& hist) {
  return single(pos, connectivity, type, size_field{H}, hist, true);
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>& connectivity,
                   element_type type, const dense2D<double>& M, misc::histogram& hist) {
  // With 3-row coordinates the pass's verdict is not reported, as callers of
  // this form have always had it.
  return single(pos, connectivity, type, tensor_field{M, pos.rows()}, hist, pos.rows() != 3);
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first,
                   const dense2D<unsigned>* last, const dense1D<int>& flags,
                   const dense1D<double>& H, misc::histogram& hist) {
  return range(pos, first, last, flags, size_field{H}, hist);
}

int edge_qualities(const dense2D<double>& pos, const dense2D<unsigned>* first,
                   const dense2D<unsigned>* last, const dense1D<int>& flags,
                   const dense2D<double>& M, misc::histogram& hist) {
  return range(pos, first, last, flags, tensor_field{M, pos.rows()}, hist);
}

}  // namespace tessellix
}  // namespace qz4
