// The library's typical job, from a surface file to a checked mesh. The
// surface is the binary STL file named on the command line, or a torus with
// a hole that the program writes itself (example_torus.stl). It is read and
// welded; its open boundary, parts and shape quality are reported; and a size
// field with a sharp jump is graded over it, with the H-shock before and
// after; the mesh, the size field and the quality are written for MEDIT and
// VTK viewers.
#include <algorithm>
#include <cmath>
#include <cstdio>

#include "qz4/tessellix.h"

using namespace qz4;
using namespace qz4::tessellix;

namespace {

// A torus of nu x nv quadrangles split into triangles, two of which are left
// out, so that the surface has a hole with four open edges.
void make_torus(unsigned nu, unsigned nv, dense2D<double>& pos, dense2D<unsigned>& triangles) {
  const double pi = 3.14159265358979323846;
  pos.resize(3, nu * nv);
  for (unsigned i = 0; i < nu; ++i)
    for (unsigned j = 0; j < nv; ++j) {
      const double u = 2 * pi * i / nu, v = 2 * pi * j / nv, r = 3 + std::cos(v);
      pos(0, i * nv + j) = r * std::cos(u);
      pos(1, i * nv + j) = r * std::sin(u);
      pos(2, i * nv + j) = std::sin(v);
    }
  triangles.resize(3, 2 * nu * nv - 2);
  unsigned e = 0;
  for (unsigned i = 0; i < nu; ++i)
    for (unsigned j = 0; j < nv; ++j) {
      if (i == 0 && j == 0) continue;  // the hole
      const unsigned a = i * nv + j, b = ((i + 1) % nu) * nv + j,
                     c = ((i + 1) % nu) * nv + (j + 1) % nv, d = i * nv + (j + 1) % nv;
      const unsigned t[2][3] = {{a, b, c}, {a, c, d}};
      for (const auto& tri : t) {
        for (unsigned r = 0; r < 3; ++r) triangles(r, e) = tri[r];
        ++e;
      }
    }
}

double largest(const dense1D<double>& v) {
  return v.size() ? *std::max_element(v.data(), v.data() + v.size()) : 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::printf("qz4tessellix %s\n", version());
  const char* stl = argc > 1 ? argv[1] : "example_torus.stl";
  if (argc <= 1) {
    dense2D<double> pos;
    dense2D<unsigned> triangles;
    make_torus(48, 16, pos, triangles);
    if (STL_output(stl, pos, triangles, false) != 0) return 1;
    std::printf("wrote %s: %u triangles, each with three vertices of its own\n", stl,
                triangles.cols());
  }

  // 1. Read and weld: three fresh nodes per triangle, merged within 5% of the
  //    smallest triangle height.
  dense2D<double> pos;
  dense2D<unsigned> triangles;
  const int count = STL_input(stl, pos, triangles, false);
  if (count < 0) {
    std::printf("cannot read %s (status %d)\n", stl, count);
    return 1;
  }
  std::printf("read %s: %d triangles on %u welded nodes\n", stl, count, pos.cols());

  // 2. Topology: open boundary and connected parts.
  dense2D<unsigned> neighbors, open_edges, edges;
  dense1D<unsigned> elements, starts;
  if (get_neighbors(triangles, ET_TRIA3, false, neighbors) != 0 ||
      get_mesh_boundaries(triangles, neighbors, ET_TRIA3, open_edges) != 0 ||
      get_subdomains(neighbors, elements, starts) != 0 ||
      copy_edges(triangles, ET_TRIA3, edges) < 0)
    return 1;
  std::printf("edges %u, open boundary edges %u, connected parts %u\n", edges.cols(),
              open_edges.cols(), starts.size() - 1);

  // 3. Shape quality of every triangle (1 for an equilateral one).
  misc::histogram shapes(0.0, 1.0, 10);
  dense1D<double> quality;
  if (shape_qualities(pos, triangles, ET_TRIA3, shapes) != 0 ||
      shape_qualities(pos, triangles, ET_TRIA3, quality) != 0)
    return 1;
  std::printf("shape quality:\n%s", shapes.summary().c_str());

  // 4. A size field that jumps from 0.05 to 1 across the plane x = 0, graded
  //    so that sizes vary by at most 30% per unit of metric length; the
  //    H-shock measures that rate at each node (sizes only shrink, so a pair
  //    whose smaller end changed last may stay above the limit), and edge
  //    lengths in the field show how well the mesh fits it.
  dense1D<double> H(pos.cols()), shocks;
  for (unsigned n = 0; n < pos.cols(); ++n) H[n] = pos(0, n) < 0 ? 0.05 : 1.0;
  if (H_shock(pos, edges, H, shocks) != 0) return 1;
  const double before = largest(shocks);
  const int changes = bound_metric_gradation(pos, triangles, ET_TRIA3, dense1D<unsigned>(), 0.3, H);
  shocks.clear();
  if (changes < 0 || H_shock(pos, edges, H, shocks) != 0) return 1;
  std::printf("size field: largest H-shock %.3g; %d sizes lowered by the gradation; then %.3g\n",
              before, changes, largest(shocks));
  misc::histogram lengths(0.0, 16.0, 8);
  if (edge_qualities(pos, triangles, ET_TRIA3, H, lengths) != 0) return 1;
  std::printf("edge lengths in the graded field (1 where an edge has the size asked for):\n%s",
              lengths.summary().c_str());

  // 5. Files for viewing: the mesh and its size field for MEDIT; for VTK the
  //    mesh through the stream form, followed by the size at each node and
  //    the quality of each cell.
  if (medit_output("example.mesh", pos, triangles, ET_TRIA3) != 0 ||
      medit_scalar("example.sol", 3, H) != 0)
    return 1;
  unsigned cells = 0;
  dense1D<unsigned> cell_list, types;
  std::FILE* vtk = std::fopen("example.vtk", "w");
  if (!vtk || vtk_convert(triangles, ET_TRIA3, cells, cell_list, types) != 0 ||
      vtk_output(vtk, pos, cells, cell_list, types) != 0)
    return 1;
  std::fprintf(vtk, "POINT_DATA %u\nSCALARS size double 1\nLOOKUP_TABLE default\n", pos.cols());
  for (unsigned n = 0; n < H.size(); ++n) std::fprintf(vtk, "%g\n", H[n]);
  std::fprintf(vtk, "CELL_DATA %u\nSCALARS quality double 1\nLOOKUP_TABLE default\n", cells);
  for (unsigned e = 0; e < quality.size(); ++e) std::fprintf(vtk, "%g\n", quality[e]);
  std::fclose(vtk);
  std::printf(
      "wrote example.mesh and example.sol (MEDIT), example.vtk (VTK, with size and quality)\n");
  return 0;
}
