// Makes a small structured triangle mesh, tears part of it off onto nodes of
// its own, welds it back, and reports at each step what the library can tell
// about the mesh: validity, extent, open boundary, connected parts; then the
// shape quality of the welded mesh, its edge lengths in a size field, and the
// gradation of a size field with a jump.
#include <algorithm>
#include <cstdio>

#include "qz4/tessellix.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;

namespace {

void report(const char* title, const dense2D<double>& pos, const dense2D<unsigned>& triangles) {
  std::printf("%s\n", title);
  std::printf("  nodes %u, triangles %u, nodes in use %d, valid: %s\n", pos.cols(),
              triangles.cols(), count_unique_indices(triangles),
              check_IDs(triangles, ET_TRIA3, pos.cols()) ? "yes" : "no");

  dense2D<unsigned> neighbors, open;
  dense1D<unsigned> elements, starts;
  if (get_neighbors(triangles, ET_TRIA3, false, neighbors) != 0 ||
      get_mesh_boundaries(triangles, neighbors, ET_TRIA3, open) != 0 ||
      get_subdomains(neighbors, elements, starts) != 0) {
    std::printf("  topology failed\n");
    return;
  }
  dense2D<unsigned> edges;
  copy_edges(triangles, ET_TRIA3, edges);
  std::printf("  edges %u, open boundary edges %u, connected parts %u\n", edges.cols(), open.cols(),
              starts.size() - 1);
}

}  // namespace

int main() {
  support::mesh m = support::tria_grid(8, 5);
  zoom(m.pos, vector_fixed<double, 2>{{0.0, 0.0}}, 8.0);
  std::printf("qz4tessellix %s\n", version());

  vector_fixed<double, 2> lo = {{1e300, 1e300}}, hi = {{-1e300, -1e300}};
  inc_bounding_box(m.pos, m.conn, lo, hi);
  std::printf("bounding box (%g, %g) - (%g, %g)\n", lo[0], lo[1], hi[0], hi[1]);
  report("structured grid", m.pos, m.conn);

  // Tear the first row of cells off: copy its triangles onto new nodes at the
  // same places and use the copy in place of the original triangles.
  const unsigned torn = 16;
  dense2D<unsigned> copy;
  if (copy_mesh(m.pos, copy, m.conn.sub_matrix(0, 0, 3, torn)) != 0) return 1;
  dense2D<unsigned> mesh(3, m.conn.cols());
  for (unsigned e = 0; e < mesh.cols(); ++e)
    for (unsigned r = 0; r < 3; ++r) mesh(r, e) = e < torn ? copy(r, e) : m.conn(r, e);
  report("first row torn off", m.pos, mesh);

  node_detector detector(m.pos, mesh);
  const unsigned long near = detector.find_closest(vector_fixed<double, 2>{{3.9, 0.2}});
  std::printf("  node closest to (3.9, 0.2): %lu at (%g, %g)\n", near, m.pos(0, unsigned(near)),
              m.pos(1, unsigned(near)));

  // Weld coincident nodes, drop the triangles that collapsed (none here) and
  // the nodes that nothing uses any more.
  const int merged = merge(m.pos, mesh, 1e-9, 0);
  dense1D<unsigned> element_map;
  const int degenerate = remove_degenerated(mesh, element_map, false);
  const int removed = simplify(m.pos, mesh, 0);
  std::printf("welded: %d nodes merged, %d triangles removed, %d nodes removed\n", merged,
              degenerate, removed);
  report("welded mesh", m.pos, mesh);

  // Shape quality of every triangle, and the length of every edge in a size
  // field that asks for edges of 1.8 on the left side and 1.2 on the right.
  misc::histogram shapes(0.0, 1.0, 5), lengths(0.0, 2.0, 4);
  dense1D<double> H(m.pos.cols());
  for (unsigned n = 0; n < H.size(); ++n) H[n] = 1.8 - 0.6 * m.pos(0, n) / 8;
  if (shape_qualities(m.pos, mesh, ET_TRIA3, shapes) != 0 ||
      edge_qualities(m.pos, mesh, ET_TRIA3, H, lengths) != 0)
    return 1;
  std::printf("shape quality (1 for an equilateral triangle):\n%s", shapes.summary().c_str());
  std::printf("edge lengths in the size field (1 where an edge has the size asked for):\n%s",
              lengths.summary().c_str());

  // A size field that jumps from 0.3 to 2 across x = 4, graded so that sizes
  // vary by at most 30% per unit of metric length: the H-shock measures that
  // rate at each node.
  dense2D<unsigned> edges;
  copy_edges(mesh, ET_TRIA3, edges);
  for (unsigned n = 0; n < H.size(); ++n) H[n] = m.pos(0, n) < 4 ? 0.3 : 2.0;
  dense1D<double> before, after;
  H_shock(m.pos, edges, H, before);
  const int changes = bound_metric_gradation(m.pos, mesh, ET_TRIA3, dense1D<unsigned>(), 0.3, H);
  if (changes < 0 || H_shock(m.pos, edges, H, after) != 0) return 1;
  std::printf("graded size field: %d sizes lowered, largest H-shock %.3g before, %.3g after\n",
              changes, *std::max_element(before.data(), before.data() + before.size()),
              *std::max_element(after.data(), after.data() + after.size()));
  return 0;
}
