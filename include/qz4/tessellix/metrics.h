// Size metrics: tensors, validity and repair, intersection, gradation.
#ifndef QZ4_TESSELLIX_METRICS_H
#define QZ4_TESSELLIX_METRICS_H

#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {}  // namespace tessellix
}  // namespace qz4

#endif
