// Elements that a reader meets with their kinds in any order, gathered into
// one connectivity per kind, the kinds in the order they first come and the
// elements of each in file order, with a reference per element.
#ifndef QZ4_FORMATS_KIND_COLLECTOR_H
#define QZ4_FORMATS_KIND_COLLECTOR_H

#include <new>

#include "formats/columns.h"
#include "qz4/dense.h"
#include "qz4/element_type.h"

namespace qz4 {
namespace tessellix {
namespace io {

class kind_collector {
 public:
  struct slot {
    explicit slot(unsigned rows) : conn(rows), refs(1) {}
    explicit slot(const dense2D<unsigned>& filled) : conn(filled), refs(1) {}
    column_builder<unsigned> conn;
    column_builder<int> refs;
  };

  kind_collector() = default;
  ~kind_collector() {
    for (slot* s : slots_) delete s;
  }
  kind_collector(const kind_collector&) = delete;
  kind_collector& operator=(const kind_collector&) = delete;

  /// The elements of `kind` so far, begun with the kind's node count on first
  /// use; null when memory ran out.
  slot* of(element_type kind) {
    slot*& s = slots_[kind];
    if (!s) {
      s = new (std::nothrow) slot(element_nodes[kind]);
      if (!s) return nullptr;
      order_[count_++] = kind;
    }
    return s;
  }

  bool has(element_type kind) const { return slots_[kind] != nullptr; }

  /// Takes a whole connectivity of `kind` as it stands (ld == rows), when the
  /// kind has nothing yet; false otherwise or when memory ran out.
  bool adopt(element_type kind, const dense2D<unsigned>& filled) {
    if (slots_[kind]) return false;
    slots_[kind] = new (std::nothrow) slot(filled);
    if (!slots_[kind]) return false;
    order_[count_++] = kind;
    return true;
  }

  /// True when every node index gathered is below `nodes` (a NO_ID marks a
  /// number the file could not mean, and fails here too).
  bool indices_below(unsigned nodes) {
    for (unsigned k = 0; k < count_; ++k) {
      column_builder<unsigned>& c = slots_[order_[k]]->conn;
      const unsigned* p = c.col(0);
      const std::size_t n = std::size_t(c.cols()) * c.rows();
      for (std::size_t i = 0; i < n; ++i)
        if (p[i] >= nodes) return false;
    }
    return true;
  }

  /// Hands the connectivities, their kinds and, when asked, the references
  /// over; false when memory ran out.
  bool finish(dense1D<dense2D<unsigned>>& conns, dense1D<int>& kinds, dense1D<dense1D<int>>* refs) {
    if (!conns.resize(count_) || !kinds.resize(count_) || (refs && !refs->resize(count_)))
      return false;
    for (unsigned k = 0; k < count_; ++k) {
      slot& s = *slots_[order_[k]];
      kinds[k] = order_[k];
      if (!s.conn.finish(conns[k])) return false;
      if (refs) {
        dense2D<int> r;
        if (!s.refs.finish(r)) return false;
        (*refs)[k] = r.as_vector();
      }
    }
    return true;
  }

 private:
  slot* slots_[21] = {};
  element_type order_[21] = {};
  unsigned count_ = 0;
};

}  // namespace io
}  // namespace tessellix
}  // namespace qz4

#endif
