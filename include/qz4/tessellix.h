// qz4tessellix: mesh utilities for finite-element pre- and post-processing.
// Includes every public header of the library.
#ifndef QZ4_TESSELLIX_H
#define QZ4_TESSELLIX_H

#include "qz4/dense.h"
#include "qz4/element_type.h"
#include "qz4/fixed.h"
#include "qz4/histogram.h"
#include "qz4/tessellix/core.h"
#include "qz4/tessellix/editing.h"
#include "qz4/tessellix/formats.h"
#include "qz4/tessellix/metrics.h"
#include "qz4/tessellix/quality.h"
#include "qz4/tessellix/topology.h"

#endif
