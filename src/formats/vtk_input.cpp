// Legacy VTK files, ASCII and binary.
#include "qz4/tessellix/formats.h"

namespace qz4 {
namespace tessellix {

int vtk_input(const char*, dense2D<double>& pos, dense1D<dense2D<unsigned>>& connectivities,
              dense1D<int>& kinds, unsigned& skipped) {
  pos.clear();
  connectivities.clear();
  kinds.clear();
  skipped = 0;
  return -1;
}

}  // namespace tessellix
}  // namespace qz4
