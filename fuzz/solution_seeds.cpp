// Seeds for the MEDIT solution harness: the library's scalar and tensor
// files, a keyword form of every field type, and a binary one.
#include "fuzz_input.h"
#include "meshb_writer.h"
#include "qz4/tessellix/formats.h"

int main(int argc, char** argv) {
  if (argc < 2) return 1;
  const std::string tmp = std::string(argv[1]) + "/.tmp.sol";
  qz4::tessellix::medit_scalar(tmp.c_str(), 3, qz4::dense1D<double>(9, 0.5));
  qz4fuzz::seed(argv[1], "scalar", qz4fuzz::bytes_of(tmp));
  qz4::tessellix::medit_tensor(tmp.c_str(), qz4::dense2D<double>(6, 2, 1.5));
  qz4fuzz::seed(argv[1], "tensor", qz4fuzz::bytes_of(tmp));
  qz4fuzz::seed(argv[1], "keywords",
                "MeshVersionFormatted 2\nDimension 3\nTime 0.5\nSolAtVertices\n2\n3 1 2 3\n"
                "1 2 3 4 11 12 13 22 23 33\n-1 -2 -3 -4 1 0 0 1 0 1\nEnd\n");
  support::meshb b{2, true, ""};
  b.start();
  b.keyword(3, [&] { b.word(2); });
  b.keyword(62, [&] {
    b.integer(2), b.word(2), b.word(1), b.word(3);
    for (double v : {1, 2, 3, 4, 5, 6, 7, 8}) b.real(v);
  });
  b.keyword(54, [] {});
  qz4fuzz::seed(argv[1], "binary", b.bytes);
  return 0;
}
