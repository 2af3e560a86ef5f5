// The library's side of the surface checks: `write <dir>` writes a closed box
// surface as text STL, binary STL and OBJ (with normals); `stl <file> text|
// binary` and `obj <file>` read a file and print "nodes triangles quads".
#include <cstdio>
#include <cstring>
#include <string>

#include "qz4/tessellix/formats.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const std::string what = argv[1], path = argv[2];
  dense2D<double> pos, normals, textures;
  dense2D<unsigned> tri, quad;
  if (what == "write") {
    const support::mesh m = support::box_surface(3, 4, 5);
    normals.resize(3, m.pos.cols(), 0.0);
    const int s =
        STL_output((path + "/ours_text.stl").c_str(), m.pos, m.conn, true) |
        STL_output((path + "/ours_binary.stl").c_str(), m.pos, m.conn, false) |
        WavefrontOBJ_output((path + "/ours.obj").c_str(), m.pos, normals, textures, m.conn, quad);
    std::printf("%u %u 0\n", m.pos.cols(), m.conn.cols());
    return s == 0 ? 0 : 1;
  }
  int s;
  if (what == "stl")
    s = STL_input(path.c_str(), pos, tri, argc > 3 && std::strcmp(argv[3], "text") == 0);
  else
    s = WavefrontOBJ_input(path.c_str(), pos, normals, textures, tri, quad);
  if (s < 0) return 1;
  std::printf("%u %u %u\n", pos.cols(), tri.cols(), quad.cols());
  return 0;
}
