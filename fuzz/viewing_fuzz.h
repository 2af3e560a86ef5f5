// What the harnesses of the MEDIT and VTK mesh readers check after a
// successful read: one pure connectivity per kind, each of the kind's rows,
// naming only nodes the coordinates have, a reference per element.
#ifndef QZ4_FUZZ_VIEWING_FUZZ_H
#define QZ4_FUZZ_VIEWING_FUZZ_H

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

}  // namespace qz4fuzz

#endif
