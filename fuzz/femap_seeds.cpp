// Seeds for the FEMAP harness: files written by the library for several
// kinds, and a file with other blocks around the ones the reader takes.
#include "fuzz_input.h"
#include "qz4/tessellix/formats.h"

int main(int argc, char** argv) {
  if (argc < 2) return 1;
  const qz4::element_type kinds_of[4] = {qz4::ET_TRIA6, qz4::ET_TETRA10, qz4::ET_PENTA6,
                                         qz4::ET_HEXA20};
  qz4::dense2D<double> pos(3, 20, 0.25);
  qz4::dense2D<unsigned> conn(20, 4, qz4::NO_ID);
  qz4::dense1D<unsigned> starts(5, 0u), properties(4, 3u);
  qz4::dense1D<int> kinds(4, 0);
  for (unsigned e = 0; e < 4; ++e) {
    for (unsigned r = 0; r < qz4::element_nodes[kinds_of[e]]; ++r) conn(r, e) = r;
    kinds[e] = kinds_of[e];
    starts[e + 1] = e + 1;
  }
  const std::string tmp = std::string(argv[1]) + "/.tmp.neu";
  qz4::tessellix::FEMAP_output(tmp.c_str(), pos, conn, starts, kinds, properties);
  qz4fuzz::seed(argv[1], "written", qz4fuzz::bytes_of(tmp));
  qz4fuzz::seed(argv[1], "blocks",
                "-1\n100\nheader\n-1\n 404 \n0,3,0,32,2,1,0,0,0,0,0,0,0,\n1,2,3,0,0,0,0,0,0,0,\n"
                "0,0,0,0,0,0,0,0,0,0,\nx\nx\nx\nx\n1,4,0,32,11,1,\nx\nx\nx\nx\nx\nx\n-1\n403\n"
                "1,0,0,1,0,0,0,0,0,0,0,1.5,2.5,3.5,0,\n3,0,0,1,0,0,0,0,0,0,0,4,5,6,0,\n-1\n");
  return 0;
}
