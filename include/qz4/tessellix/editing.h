// Spatial search and mesh editing: the node detector, node merging,
// clean-up, clipping, transforms and copies.
#ifndef QZ4_TESSELLIX_EDITING_H
#define QZ4_TESSELLIX_EDITING_H

#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {}  // namespace tessellix
}  // namespace qz4

#endif
