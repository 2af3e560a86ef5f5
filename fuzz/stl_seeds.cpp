// Seeds for the STL harness: a tetrahedron's surface written by the library
// in both varieties, hand-written texts the reader tolerates, and files cut
// short.
#include "fuzz_input.h"
#include "qz4/tessellix/formats.h"

int main(int argc, char** argv) {
  if (argc < 2) return 1;
  qz4::dense2D<double> pos(3, 4, 0.0);
  pos(0, 1) = pos(1, 2) = pos(2, 3) = 1;
  qz4::dense2D<unsigned> t(3, 4);
  const unsigned faces[4][3] = {{0, 2, 1}, {0, 1, 3}, {1, 2, 3}, {0, 3, 2}};
  for (unsigned j = 0; j < 4; ++j)
    for (unsigned i = 0; i < 3; ++i) t(i, j) = faces[j][i];
  const std::string tmp = std::string(argv[1]) + "/.tmp.stl";
  for (int text = 0; text < 2; ++text) {
    qz4::tessellix::STL_output(tmp.c_str(), pos, t, text);
    const std::string file = std::string(1, char('0' + text)) + qz4fuzz::bytes_of(tmp);
    qz4fuzz::seed(argv[1], text ? "tetra_text" : "tetra_binary", file);
    qz4fuzz::seed(argv[1], text ? "cut_text" : "cut_binary", file.substr(0, file.size() * 2 / 3));
  }
  qz4fuzz::seed(
      argv[1], "loose_text",
      "1solid x\nfacet normal 0 0 1 outer loop\nvertex 0 0 0 vertex 1e0 0 0\n vertex +0 0x1p0 0\n"
      "endloop\nendfacet\n  facet normal 1 2 3\nouter\nvertex 1 0 0\nvertex -inf nan 1\n"
      "vertex 1 1 1\nend\nend\nendsolid\n");
  qz4fuzz::seed(argv[1], "flat_text",
                "1solid\nfacet normal 0 0 0\nouter loop\nvertex 0 0 0\n"
                "vertex 1 1 1\nvertex 2 2 2\nendloop\nendfacet\nendsolid\n");
  return 0;
}
