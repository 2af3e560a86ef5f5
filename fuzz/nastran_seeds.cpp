// Seeds for the NASTRAN harness: decks written by the library and a deck of
// every card and field form the reader takes.
#include "fuzz_input.h"
#include "qz4/tessellix/formats.h"

int main(int argc, char** argv) {
  if (argc < 2) return 1;
  qz4::dense2D<double> pos(3, 8, 0.5);
  qz4::dense2D<unsigned> conn(8, 3, qz4::NO_ID);
  for (unsigned r = 0; r < 8; ++r) conn(r, 2) = r;
  for (unsigned r = 0; r < 4; ++r) conn(r, 1) = r;
  for (unsigned r = 0; r < 3; ++r) conn(r, 0) = r + 1;
  qz4::dense1D<unsigned> starts(4, 0u), properties(3, 1u);
  qz4::dense1D<int> kinds(3, int(qz4::ET_TRIA3));
  starts[1] = 1, starts[2] = 2, starts[3] = 3;
  kinds[1] = qz4::ET_TETRA4, kinds[2] = qz4::ET_HEXA8;
  const std::string tmp = std::string(argv[1]) + "/.tmp.bdf";
  qz4::tessellix::NASTRAN_output(tmp.c_str(), pos, conn, starts, kinds, properties);
  qz4fuzz::seed(argv[1], "written", qz4fuzz::bytes_of(tmp));
  qz4fuzz::seed(
      argv[1], "forms",
      "$ deck\nBEGIN BULK\nGRID    1       0       1.5     2.5     3.5\nGRID,2,,1.,2.,3.\n"
      "GRID,3,5,1.,2.,3.\nGRID    4       1.0000002.0000003.000000\n"
      "GRID*   5               4.0             5.0             5\n*       5       6.0\n"
      "CTRIA3,0,7,1,2,3,\nQUAD4   1       8       1       2       3       4\n"
      "CHEXA*,2,9,1,2,3,4,5,6\n*,7,8\nPENTA,3,4,1,2,3,4,5,6\nCROD,4,1,1,2\nCTRIA6,5,1,1,2,3,4,5,1\n"
      "MAT1     1      1100.\nENDDATA\n");
  return 0;
}
