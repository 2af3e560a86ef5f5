// The library's side of the viewing checks: `write <dir>` writes a grid of
// mixed solids (hexahedra, wedges, pyramids, tetrahedra in one connectivity)
// as MEDIT and as VTK with a size field appended, and a tensor field as a
// MEDIT solution; it prints "nodes cells" and the coordinates of node 1.
#include <cstdio>
#include <string>

#include "qz4/tessellix/formats.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;

int main(int argc, char** argv) {
  if (argc < 3 || std::string(argv[1]) != "write") return 2;
  const std::string dir = argv[2];
  support::mesh m = support::mixed_solid_grid(3, 2, 2);
  support::shuffle(m, 4);
  dense1D<double> H(m.pos.cols());
  dense2D<double> M(6, m.pos.cols(), 0.0);
  for (unsigned n = 0; n < H.size(); ++n) {
    H[n] = 0.1 + m.pos(0, n);
    M(0, n) = M(2, n) = M(5, n) = 1 / (H[n] * H[n]);
  }
  int s = medit_output((dir + "/mesh.mesh").c_str(), m.pos, m.conn, m.type) |
          medit_scalar((dir + "/size.sol").c_str(), 3, H) |
          medit_tensor((dir + "/metric.sol").c_str(), M) |
          vtk_output((dir + "/mesh.vtk").c_str(), m.pos, m.conn, m.type);
  if (std::FILE* f = std::fopen((dir + "/mesh.vtk").c_str(), "a")) {
    std::fprintf(f, "POINT_DATA %u\nSCALARS size double 1\nLOOKUP_TABLE default\n", H.size());
    for (unsigned n = 0; n < H.size(); ++n) std::fprintf(f, "%g\n", H[n]);
    std::fclose(f);
  } else {
    s = -1;
  }
  std::printf("%u %u %.9g %.9g %.9g\n", m.pos.cols(), m.conn.cols(), m.pos(0, 1), m.pos(1, 1),
              m.pos(2, 1));
  return s == 0 ? 0 : 1;
}
