// Mesh quality: edge lengths and qualities, shape qualities.
#ifndef QZ4_TESSELLIX_QUALITY_H
#define QZ4_TESSELLIX_QUALITY_H

#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {}  // namespace tessellix
}  // namespace qz4

#endif
