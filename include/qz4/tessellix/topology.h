// Topology: node incidence graphs, element neighbours, boundaries and edges,
// subdomains and element sorting.
#ifndef QZ4_TESSELLIX_TOPOLOGY_H
#define QZ4_TESSELLIX_TOPOLOGY_H

#include "qz4/tessellix/core.h"

namespace qz4 {
namespace tessellix {}  // namespace tessellix
}  // namespace qz4

#endif
