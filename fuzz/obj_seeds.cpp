// Seeds for the OBJ harness: files written by the library, and a text with
// every statement form the reader takes.
#include "fuzz_input.h"
#include "qz4/tessellix/formats.h"

int main(int argc, char** argv) {
  if (argc < 2) return 1;
  qz4::dense2D<double> pos(3, 4, 0.0), normals(3, 4, 1.0), textures(2, 4, 0.5);
  pos(0, 1) = pos(1, 2) = pos(0, 3) = pos(1, 3) = 1;
  qz4::dense2D<unsigned> tri(3, 1), quad(4, 1), none;
  for (unsigned i = 0; i < 4; ++i) quad(i, 0) = i;
  for (unsigned i = 0; i < 3; ++i) tri(i, 0) = i;
  const std::string tmp = std::string(argv[1]) + "/.tmp.obj";
  qz4::tessellix::WavefrontOBJ_output(tmp.c_str(), pos, normals, textures, tri, quad);
  qz4fuzz::seed(argv[1], "written", qz4fuzz::bytes_of(tmp));
  qz4::tessellix::WavefrontOBJ_output(tmp.c_str(), pos, qz4::dense2D<double>(),
                                      qz4::dense2D<double>(), tri, none);
  qz4fuzz::seed(argv[1], "written_plain", qz4fuzz::bytes_of(tmp));
  qz4fuzz::seed(
      argv[1], "forms",
      "# c\nmtllib a.mtl\nv 0 0 0\nv 1 0 0 1\nv 1 1 0\nv 0 1 0\nvt 0 0\nvt 1 0\nvn 0 0 1\n"
      "g g\nf 1 2 3\nf 1/1 2/2 3/1 4/2\nf 1//1 2//1 3//1\nf 1/1/1 2/2/1 3/1/1\nf 0 -1 2\n"
      "f 1 2 3 4 1\nf 1 2 3");
  return 0;
}
