#include "qz4/element_type.h"

namespace qz4 {

const unsigned element_nodes[21] = {0, 1, 0,  2, 3,  0, 3,  4, 6,  8, 9,
                                    0, 4, 10, 5, 14, 6, 18, 8, 20, 27};

const unsigned element_corners[21] = {0, 1, 2, 2, 2, 0, 3, 4, 3, 4, 4,
                                      0, 4, 4, 5, 5, 6, 6, 8, 8, 8};

}  // namespace qz4
