// MEDIT meshes and solutions, text and binary.
#include "qz4/tessellix/formats.h"

namespace qz4 {
namespace tessellix {

int medit_input(const char*, dense2D<double>& pos, dense1D<int>& node_references,
                dense1D<dense2D<unsigned>>& connectivities, dense1D<int>& kinds,
                dense1D<dense1D<int>>& references) {
  pos.clear();
  node_references.clear();
  connectivities.clear();
  kinds.clear();
  references.clear();
  return -1;
}

int medit_input(const char* filename, dense2D<double>& pos,
                dense1D<dense2D<unsigned>>& connectivities, dense1D<int>& kinds) {
  dense1D<int> node_references;
  dense1D<dense1D<int>> references;
  return medit_input(filename, pos, node_references, connectivities, kinds, references);
}

int medit_solution_input(const char*, dense1D<dense2D<double>>& fields, dense1D<int>& field_kinds) {
  fields.clear();
  field_kinds.clear();
  return -1;
}

}  // namespace tessellix
}  // namespace qz4
