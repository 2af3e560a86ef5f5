// The single and two-connectivity forms of the writers, which all forward
// to the form over a range of connectivities with one kind each.
#ifndef QZ4_FORMATS_RANGES_H
#define QZ4_FORMATS_RANGES_H

#include "qz4/dense.h"
#include "qz4/element_type.h"

namespace qz4 {
namespace tessellix {
namespace io {

template <class Writer>
int one_connectivity(const dense2D<unsigned>& c, element_type type, Writer write) {
  const dense1D<int> flags(1, int(type));
  if (flags.size() != 1) return -199;
  return write(&c, &c + 1, flags);
}

template <class Writer>
int two_connectivities(const dense2D<unsigned>& c1, const dense2D<unsigned>& c2, element_type type1,
                       element_type type2, Writer write) {
  const dense2D<unsigned> both[2] = {c1, c2};  // shallow copies
  dense1D<int> flags(2, int(type1));
  if (flags.size() != 2) return -199;
  flags[1] = int(type2);
  return write(both, both + 2, flags);
}

}  // namespace io
}  // namespace tessellix
}  // namespace qz4

#endif
