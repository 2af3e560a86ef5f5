// Makes a small structured triangle mesh and reports what the library can
// tell about it.
#include <cstdio>

#include "qz4/tessellix.h"

using namespace qz4;

int main() {
  // An nx by ny grid of unit squares, each split into two triangles.
  const unsigned nx = 8, ny = 5;
  dense2D<double> pos(2, (nx + 1) * (ny + 1));
  for (unsigned j = 0; j <= ny; ++j)
    for (unsigned i = 0; i <= nx; ++i) {
      pos(0, j * (nx + 1) + i) = i;
      pos(1, j * (nx + 1) + i) = j;
    }
  dense2D<unsigned> triangles(3, 2 * nx * ny);
  unsigned e = 0;
  for (unsigned j = 0; j < ny; ++j)
    for (unsigned i = 0; i < nx; ++i) {
      const unsigned a = j * (nx + 1) + i, b = a + 1, c = a + nx + 2, d = a + nx + 1;
      triangles(0, e) = a, triangles(1, e) = b, triangles(2, e++) = c;
      triangles(0, e) = a, triangles(1, e) = c, triangles(2, e++) = d;
    }

  std::printf("qz4tessellix %s\n", tessellix::version());
  std::printf("nodes %u, triangles %u\n", pos.cols(), triangles.cols());
  std::printf("connectivity valid: %s\n",
              tessellix::check_IDs(triangles, ET_TRIA3, pos.cols()) ? "yes" : "no");
  std::printf("largest node ID %u, distinct nodes %d\n", tessellix::max_ID(triangles),
              tessellix::count_unique_indices(triangles));
  vector_fixed<double, 2> lo = {1e300, 1e300}, hi = {-1e300, -1e300};
  tessellix::inc_bounding_box(pos, triangles, lo, hi);
  std::printf("bounding box (%g, %g) - (%g, %g)\n", lo[0], lo[1], hi[0], hi[1]);
  return 0;
}
