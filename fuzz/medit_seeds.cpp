// Seeds for the MEDIT mesh harness: a mixed mesh written by the library,
// hand-written text with every section and skipped keyword, and binary
// files of each version in both byte orders.
#include "fuzz_input.h"
#include "meshb_writer.h"
#include "qz4/tessellix/formats.h"

int main(int argc, char** argv) {
  if (argc < 2) return 1;
  qz4::dense2D<double> pos(3, 6, 0.5);
  qz4::dense2D<unsigned> solids(8, 2, qz4::NO_ID);
  for (unsigned i = 0; i < 6; ++i) solids(i, 0) = i;
  for (unsigned i = 0; i < 4; ++i) solids(i, 1) = i + 1;
  const std::string tmp = std::string(argv[1]) + "/.tmp.mesh";
  qz4::tessellix::medit_output(tmp.c_str(), pos, solids, qz4::ET_SOLID_MIXED);
  qz4fuzz::seed(argv[1], "written", qz4fuzz::bytes_of(tmp));
  qz4fuzz::seed(
      argv[1], "sections",
      "# c\nMeshVersionFormatted 2\nDimension\n2\nVertices 4\n0 0 1\n1 0 1\n1 1 1\n0 1 2\n"
      "Corners 1 1 Normals 1 0 1 Unknown 3 4\nEdges 1\n1 2 3\nEdges 1\n1 2 3 4\n"
      "Triangles 1 1 2 3 0\nQuadrilaterals 1\n1 2 3 4 5\nTrianglesP2 1 1 2 3 4 1 2 0\n"
      "QuadrilateralsQ2 1 1 2 3 4 1 2 3 4 1 0\nEnd\n");
  for (unsigned version = 1; version <= 4; ++version) {
    support::meshb b{version, version % 2 == 0, ""};
    b.start();
    b.keyword(3, [&] { b.word(3); });
    b.keyword(4, [&] {
      b.integer(5);
      for (int n = 0; n < 15; ++n) b.real(n % 3 == n / 5 ? 1 : 0);
      for (int n = 0; n < 5; ++n) b.integer(n);
    });
    b.keyword(13, [&] { b.integer(1), b.integer(1); });
    b.keyword(8, [&] {
      b.integer(1);
      for (int v : {1, 2, 3, 4, 9}) b.integer(v);
    });
    b.keyword(49, [&] {
      b.integer(1);
      for (int v : {1, 2, 3, 4, 5, 9}) b.integer(v);
    });
    b.keyword(54, [] {});
    qz4fuzz::seed(argv[1], "binary" + std::to_string(version), b.bytes);
  }
  return 0;
}
