// What the harnesses of the MEDIT and VTK mesh readers check after a
// successful read: one pure connectivity per kind, each of the kind's rows,
// naming only nodes the coordinates have, a reference per element.
#ifndef QZ4_FUZZ_VIEWING_FUZZ_H
#define QZ4_FUZZ_VIEWING_FUZZ_H

#include <cstdint>
#include <string>

#include "fuzz_input.h"
#include "qz4/dense.h"
#include "qz4/element_type.h"

namespace qz4fuzz {

inline void require_mesh(const qz4::dense2D<double>& pos,
                         const qz4::dense1D<qz4::dense2D<unsigned>>& conns,
                         const qz4::dense1D<int>& kinds) {
  require(conns.size() == kinds.size(), "one kind per connectivity");
  bool seen[21] = {};
  for (unsigned k = 0; k < conns.size(); ++k) {
    require(kinds[k] > 0 && kinds[k] < 21 && !seen[kinds[k]], "distinct kinds");
    seen[kinds[k]] = true;
    const qz4::dense2D<unsigned>& c = conns[k];
    require(c.cols() > 0 && c.rows() == qz4::element_nodes[kinds[k]], "rows of the kind");
    for (unsigned j = 0; j < c.cols(); ++j)
      for (unsigned i = 0; i < c.rows(); ++i) require(c(i, j) < pos.cols(), "node index");
  }
}

/// A binary MEDIT file for seeds: words sized by `version`, in the byte
/// order `swap` gives; keyword(code, body) writes the position of the next.
struct meshb {
  unsigned version;
  bool swap;
  std::string bytes;
  void raw(const void* p, std::size_t n) {
    const char* c = static_cast<const char*>(p);
    for (std::size_t i = 0; i < n; ++i) bytes += c[swap ? n - 1 - i : i];
  }
  void word(std::int32_t v) { raw(&v, 4); }
  void integer(std::int64_t v) {
    const std::int32_t w = std::int32_t(v);
    version == 4 ? raw(&v, 8) : raw(&w, 4);
  }
  void real(double v) {
    const float f = float(v);
    version == 1 ? raw(&f, 4) : raw(&v, 8);
  }
  template <class Body>
  void keyword(int code, Body body) {
    word(code);
    const std::size_t at = bytes.size();
    bytes += std::string(version >= 3 ? 8 : 4, '\0');
    body();
    meshb p{version, swap, ""};
    const std::int64_t next = code == 54 ? 0 : std::int64_t(bytes.size());
    version >= 3 ? p.raw(&next, 8) : p.word(std::int32_t(next));
    bytes.replace(at, p.bytes.size(), p.bytes);
  }
};

}  // namespace qz4fuzz

#endif
