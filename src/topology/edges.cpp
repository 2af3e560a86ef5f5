// Distinct corner-to-corner edges of one or several connectivities.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "core/element_tables.h"
#include "qz4/tessellix/topology.h"

namespace qz4 {
namespace tessellix {
namespace {

using detail::edge_list;

// A set of edges that remembers the order, and the direction, in which each
// edge was first met. Membership goes by the node pair (smaller, larger)
// packed in 64 bits; open addressing with linear probing keeps a probe to one
// or two cache lines.
class edge_set {
 public:
  explicit edge_set(std::size_t expected) {
    bits_ = 10;
    while ((std::size_t(1) << bits_) * 5 < expected * 8) ++bits_;  // load below 5/8
    slots_.assign(std::size_t(1) << bits_, empty);
    order_.reserve(expected);
  }

  void insert(unsigned a, unsigned b) {
    const std::uint64_t key = a < b ? (std::uint64_t(a) << 32 | b) : (std::uint64_t(b) << 32 | a);
    const std::size_t mask = slots_.size() - 1;
    std::size_t i = slot(key);
    for (;; i = (i + 1) & mask) {
      if (slots_[i] == key) return;
      if (slots_[i] == empty) break;
    }
    slots_[i] = key;
    order_.push_back(std::uint64_t(a) << 32 | b);
    if ((order_.size() + 1) * 8 > slots_.size() * 5) grow();
  }

  std::size_t size() const { return order_.size(); }
  /// Edge k, as first met: first node in the high half.
  std::uint64_t operator[](std::size_t k) const { return order_[k]; }

 private:
  // No edge packs to this: its smaller node would be the larger one.
  static constexpr std::uint64_t empty = std::uint64_t(1) << 32;

  std::size_t slot(std::uint64_t key) const {
    return std::size_t((key * 0x9E3779B97F4A7C15ull) >> (64 - bits_));
  }
  void grow() {
    ++bits_;
    slots_.assign(std::size_t(1) << bits_, empty);
    const std::size_t mask = slots_.size() - 1;
    for (std::uint64_t e : order_) {
      const unsigned a = unsigned(e >> 32), b = unsigned(e);
      const std::uint64_t key = a < b ? (std::uint64_t(a) << 32 | b) : (std::uint64_t(b) << 32 | a);
      std::size_t i = slot(key);
      while (slots_[i] != empty) i = (i + 1) & mask;
      slots_[i] = key;
    }
  }

  std::vector<std::uint64_t> slots_;
  std::vector<std::uint64_t> order_;
  unsigned bits_;
};

// The kind as the edge walk sees it: a 3-row ET_FACE_MIXED holds triangles
// only.
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

std::size_t edge_estimate(const dense2D<unsigned>& connectivity, element_type type) {
  const edge_list* list = detail::edges_of(edge_kind(connectivity, type));
  const unsigned per = list ? list->count : type == ET_SOLID_MIXED ? 12 : 4;
  // A closed mesh of most kinds shares each edge between four elements or so.
  return std::size_t(connectivity.cols()) * per / 4 + 16;
}

void gather_edges(const dense2D<unsigned>& connectivity, element_type type, edge_set& set) {
  if (connectivity.empty()) return;
  type = edge_kind(connectivity, type);
  const edge_list* pure = detail::edges_of(type);
  const bool face = type == ET_FACE_MIXED, solid = type == ET_SOLID_MIXED;
  if (!pure && !face && !solid) return;  // ET_HEXA20 and the kinds without edges
  const unsigned cols = connectivity.cols();
  const std::size_t ld = connectivity.ld();
  const unsigned* col = connectivity.data();
  for (unsigned e = 0; e < cols; ++e, col += ld) {
    const edge_list* list = pure;
    if (face) list = detail::edges_of(detail::face_shape(col));
    if (solid) list = detail::edges_of(detail::solid_shape(col));
    for (unsigned k = 0; k < list->count; ++k) set.insert(col[list->v[k][0]], col[list->v[k][1]]);
  }
}

// Appends the set behind what `edges` holds, after one reservation.
int append_edges(const edge_set& set, dense2D<unsigned>& edges) {
  const unsigned old = edges.empty() ? 0 : edges.cols();
  if (set.size() > 0xFFFFFFFFu - old || !edges.reserve(2, unsigned(set.size()) + old)) return -199;
  if (set.size() == 0) return 0;
  if (!edges.resize(2, old + unsigned(set.size()))) return -199;
  const std::size_t ld = edges.ld();
  unsigned* out = edges.data() + old * ld;
  for (std::size_t k = 0; k < set.size(); ++k, out += ld) {
    out[0] = unsigned(set[k] >> 32);
    out[1] = unsigned(set[k]);
  }
  return 0;
}

}  // namespace

int copy_edges(const dense2D<unsigned>& connectivity, element_type type, dense2D<unsigned>& edges) {
  if (connectivity.empty()) return 0;
  if (!edges_readable(connectivity, type)) return -1;
  if (!edges.empty() && edges.rows() != 2) return -3;
  edge_set set(edge_estimate(connectivity, type));
  gather_edges(connectivity, type, set);
  return append_edges(set, edges);
}

int copy_edges(const dense2D<unsigned>* first, const dense2D<unsigned>* last,
               const dense1D<int>& flags, dense2D<unsigned>& edges) {
  if (first > last) return -2;
  if (std::size_t(last - first) != flags.size()) return -3;
  if (!edges.empty() && edges.rows() != 2) return -4;
  std::size_t expected = 0;
  for (const dense2D<unsigned>* m = first; m != last; ++m) {
    const element_type type = element_type(flags[unsigned(m - first)]);
    if (!edges_readable(*m, type)) return -1;
    expected += edge_estimate(*m, type);
  }
  edge_set set(expected);
  for (const dense2D<unsigned>* m = first; m != last; ++m)
    gather_edges(*m, element_type(flags[unsigned(m - first)]), set);
  return append_edges(set, edges);
}

}  // namespace tessellix
}  // namespace qz4
