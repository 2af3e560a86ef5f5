#include <cmath>
#include <cstddef>
#include <vector>

#include "editing/node_tree.h"
#include "qz4/tessellix/editing.h"

namespace qz4 {
namespace tessellix {

namespace {

template <unsigned D>
unsigned long insert_shuffled(node_tree<D>* tree, const dense1D<unsigned>& indices) {
  if (!tree) return 0;
  std::vector<unsigned> order(indices.begin(), indices.end());
  seeded_shuffle(order.data(), order.size());
  return tree->insert_sequence(order.data(), order.size());
}

// Spreads the low 16 bits of v to every other bit (2D) or the low 10 bits to
// every third bit (3D): interleaved, they make a Morton code.
unsigned spread(unsigned v, unsigned D) {
  if (D == 2) {
    v &= 0xFFFFu;
    v = (v | (v << 8)) & 0x00FF00FFu;
    v = (v | (v << 4)) & 0x0F0F0F0Fu;
    v = (v | (v << 2)) & 0x33333333u;
    return (v | (v << 1)) & 0x55555555u;
  }
  v &= 0x3FFu;
  v = (v | (v << 16)) & 0x030000FFu;
  v = (v | (v << 8)) & 0x0300F00Fu;
  v = (v | (v << 4)) & 0x030C30C3u;
  return (v | (v << 2)) & 0x09249249u;
}

// The columns of `points` in the order of a Morton curve over their
// bounding box, so that queries that follow each other walk down the same
// paths of the tree and find them in cache. A coordinate that is not finite
// counts as the lowest cell of its axis; the order changes no answer.
// False when scratch could not be had.
template <unsigned D>
bool curve_order(const dense2D<double>& points, dense1D<unsigned>& order) {
  const unsigned n = points.cols();
  const double* X = points.data();
  const std::size_t ld = points.ld();
  double lo[D], hi[D];
  for (unsigned k = 0; k < D; ++k) lo[k] = hi[k] = 0;
  bool any = false;
  for (unsigned j = 0; j < n; ++j) {
    const double* x = X + j * ld;
    bool finite = true;
    for (unsigned k = 0; k < D; ++k) finite = finite && std::isfinite(x[k]);
    if (!finite) continue;
    for (unsigned k = 0; k < D; ++k) {
      lo[k] = !any || x[k] < lo[k] ? x[k] : lo[k];
      hi[k] = !any || x[k] > hi[k] ? x[k] : hi[k];
    }
    any = true;
  }
  const unsigned cells = D == 2 ? 65536u : 1024u;
  double scale[D];
  for (unsigned k = 0; k < D; ++k) {
    const double w = hi[k] - lo[k];
    scale[k] = w > 0 && std::isfinite(w) ? (cells - 0.5) / w : 0.0;
  }
  dense1D<unsigned> keys, tmp_keys, tmp_order, count;
  if (!keys.resize(n) || !tmp_keys.resize(n) || !order.resize(n) || !tmp_order.resize(n) ||
      !count.resize(65536))
    return false;
  unsigned* K = keys.data();
  unsigned* O = order.data();
  for (unsigned j = 0; j < n; ++j) {
    const double* x = X + j * ld;
    unsigned key = 0;
    for (unsigned k = 0; k < D; ++k) {
      const double t = (x[k] - lo[k]) * scale[k];
      // NaN fails both tests and lands in cell 0, with the infinities.
      const unsigned c = t >= 0 && t < cells ? unsigned(t) : 0u;
      key |= spread(c, D) << k;
    }
    K[j] = key;
    O[j] = j;
  }
  // Two stable passes of 16 bits each.
  unsigned* C = count.data();
  unsigned* TK = tmp_keys.data();
  unsigned* TO = tmp_order.data();
  for (unsigned shift = 0; shift < 32; shift += 16) {
    for (unsigned b = 0; b < 65536; ++b) C[b] = 0;
    for (unsigned j = 0; j < n; ++j) ++C[(K[j] >> shift) & 0xFFFFu];
    unsigned sum = 0;
    for (unsigned b = 0; b < 65536; ++b) {
      const unsigned here = C[b];
      C[b] = sum;
      sum += here;
    }
    for (unsigned j = 0; j < n; ++j) {
      const unsigned at = C[(K[j] >> shift) & 0xFFFFu]++;
      TK[at] = K[j];
      TO[at] = O[j];
    }
    std::swap(K, TK);
    std::swap(O, TO);
  }
  // After an even number of passes the result is back in `keys` and `order`.
  return true;
}

template <unsigned D>
int closest_of_columns(const node_tree<D>& tree, const dense2D<double>& points,
                       dense1D<unsigned>& closest) {
  dense1D<unsigned> order;
  if (!curve_order<D>(points, order)) {
    closest.clear();
    return -199;
  }
  const unsigned n = points.cols();
  const unsigned* O = order.data();
  const double* X = points.data();
  const std::size_t ld = points.ld();
  unsigned* out = closest.data();
  for (unsigned i = 0; i < n; ++i) {
    const unsigned j = O[i];
    out[j] = tree.find_closest(X + j * ld, NO_ID);
  }
  return 0;
}

}  // namespace

node_detector::node_detector() : tree2_(nullptr), tree3_(nullptr) {}

node_detector::node_detector(const dense2D<double>& pos) : node_detector() { reinit(pos); }

node_detector::node_detector(const dense2D<double>& pos, const dense1D<unsigned>& indices)
    : node_detector() {
  reinit(pos, indices);
}

node_detector::node_detector(const dense2D<double>& pos, const dense2D<unsigned>& connectivity)
    : node_detector() {
  reinit(pos, connectivity);
}

node_detector::node_detector(const dense2D<double>& pos, const dense2D<unsigned>* first,
                             const dense2D<unsigned>* last)
    : node_detector() {
  reinit(pos, first, last);
}

node_detector::node_detector(const node_detector& other) : node_detector() { *this = other; }

node_detector::~node_detector() { clear(); }

void node_detector::clear() {
  delete tree2_;
  delete tree3_;
  tree2_ = nullptr;
  tree3_ = nullptr;
}

node_detector& node_detector::operator=(const node_detector& other) {
  if ((tree2_ && tree2_ == other.tree2_) || (tree3_ && tree3_ == other.tree3_)) return *this;
  clear();
  if (other.tree2_) {
    tree2_ = new node_tree<2>(other.tree2_->coords);
    tree2_->copy_from(*other.tree2_);
  } else if (other.tree3_) {
    tree3_ = new node_tree<3>(other.tree3_->coords);
    tree3_->copy_from(*other.tree3_);
  }
  return *this;
}

// A fresh tree of the dimension of `pos`, reserved for the batch, then the
// batch inserted in shuffled order. The row count is checked by the callers.
int node_detector::build(const dense2D<double>& pos, const dense1D<unsigned>& indices) {
  clear();
  if (pos.rows() == 2) {
    tree2_ = new node_tree<2>(&pos);
    tree2_->reserve(indices.size());
    insert_shuffled(tree2_, indices);
  } else {
    tree3_ = new node_tree<3>(&pos);
    tree3_->reserve(indices.size());
    insert_shuffled(tree3_, indices);
  }
  return 0;
}

int node_detector::reinit(const dense2D<double>& pos) {
  clear();
  if (pos.rows() != 2 && pos.rows() != 3) return -1;
  dense1D<unsigned> all;
  all.resize(pos.cols());
  unsigned* a = all.data();
  for (unsigned i = 0; i < all.size(); ++i) a[i] = i;
  return build(pos, all);
}

int node_detector::reinit(const dense2D<double>& pos, const dense1D<unsigned>& indices) {
  if (pos.rows() != 2 && pos.rows() != 3) return -1;
  if (!check_IDs(indices, pos.cols())) return -2;
  return build(pos, indices);
}

int node_detector::reinit(const dense2D<double>& pos, const dense2D<unsigned>& connectivity) {
  dense1D<unsigned> nodes;
  unique_indices(nodes, connectivity);
  return reinit(pos, nodes);
}

int node_detector::reinit(const dense2D<double>& pos, const dense2D<unsigned>* first,
                          const dense2D<unsigned>* last) {
  dense1D<unsigned> nodes;
  const int status = unique_indices(nodes, first, last);
  if (status != 0) return status;
  return reinit(pos, nodes);
}

unsigned long node_detector::insert(const dense1D<unsigned>& indices) {
  if (tree2_) return insert_shuffled(tree2_, indices);
  return insert_shuffled(tree3_, indices);
}

unsigned long node_detector::insert(const dense2D<unsigned>& connectivity) {
  dense1D<unsigned> nodes;
  unique_indices(nodes, connectivity);
  return insert(nodes);
}

unsigned long node_detector::size() const {
  if (tree2_) return tree2_->size();
  if (tree3_) return tree3_->size();
  return 0;
}

unsigned long node_detector::find_closest(const vector_fixed<double, 2>& point) const {
  if (tree2_) return tree2_->find_closest(point.data(), NO_ID);
  if (tree3_) {
    const double q[3] = {point[0], point[1], 0.0};
    return tree3_->find_closest(q, NO_ID);
  }
  return NO_ID;
}

unsigned long node_detector::find_closest(const vector_fixed<double, 3>& point) const {
  if (tree2_) return tree2_->find_closest(point.data(), NO_ID);
  if (tree3_) return tree3_->find_closest(point.data(), NO_ID);
  return NO_ID;
}

int node_detector::find_closest(const dense2D<double>& points, dense1D<unsigned>& closest) const {
  closest.clear();
  const unsigned rows = tree2_ ? 2u : tree3_ ? 3u : points.rows();
  if (points.rows() != rows || (rows != 2 && rows != 3)) return -1;
  if (!closest.resize(points.cols())) {
    closest.clear();
    return -199;
  }
  if (points.cols() == 0) return 0;
  if (size() == 0) {
    unsigned* out = closest.data();
    for (unsigned j = 0; j < points.cols(); ++j) out[j] = NO_ID;
    return 0;
  }
  return tree2_ ? closest_of_columns(*tree2_, points, closest)
                : closest_of_columns(*tree3_, points, closest);
}

unsigned long node_detector::find_closest(unsigned node) const {
  if (tree2_) {
    const dense2D<double>& c = *tree2_->coords;
    if (node >= c.cols()) return NO_ID;
    const double* p = c.data() + std::size_t(node) * c.ld();
    const double q[2] = {p[0], p[1]};
    return tree2_->find_closest(q, node);
  }
  if (tree3_) {
    const dense2D<double>& c = *tree3_->coords;
    if (node >= c.cols()) return NO_ID;
    const double* p = c.data() + std::size_t(node) * c.ld();
    const double q[3] = {p[0], p[1], p[2]};
    return tree3_->find_closest(q, node);
  }
  return NO_ID;
}

void node_detector::find_in_box(const vector_fixed<double, 2>& lo,
                                const vector_fixed<double, 2>& hi, dense1D<unsigned>& found) const {
  if (tree2_) {
    tree2_->box_lo = lo;
    tree2_->box_hi = hi;
    tree2_->find_in_box(found);
  } else if (tree3_) {
    tree3_->box_lo = vector_fixed<double, 3>{{lo[0], lo[1], 0.0}};
    tree3_->box_hi = vector_fixed<double, 3>{{hi[0], hi[1], 0.0}};
    tree3_->find_in_box(found);
  }
}

void node_detector::find_in_box(const vector_fixed<double, 3>& lo,
                                const vector_fixed<double, 3>& hi, dense1D<unsigned>& found) const {
  if (tree2_) {
    tree2_->box_lo = vector_fixed<double, 2>{{lo[0], lo[1]}};
    tree2_->box_hi = vector_fixed<double, 2>{{hi[0], hi[1]}};
    tree2_->find_in_box(found);
  } else if (tree3_) {
    tree3_->box_lo = lo;
    tree3_->box_hi = hi;
    tree3_->find_in_box(found);
  }
}

}  // namespace tessellix
}  // namespace qz4
