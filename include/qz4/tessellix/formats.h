// File formats: readers and writers of mesh files.
#ifndef QZ4_TESSELLIX_FORMATS_H
#define QZ4_TESSELLIX_FORMATS_H

#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {}  // namespace tessellix
}  // namespace qz4

#endif
