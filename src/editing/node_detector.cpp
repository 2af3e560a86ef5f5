#include <cmath>
#include <cstddef>
#include <vector>

#include "editing/curve_order.h"
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

template <unsigned D>
int closest_of_columns(const node_tree<D>& tree, const dense2D<double>& points,
                       dense1D<unsigned>& closest) {
  dense1D<unsigned> order;
  if (!curve_order<D>(points.data(), points.ld(), nullptr, points.cols(), order)) {
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
