// The library's side of the deck checks: `write <dir>` writes a mesh of two
// triangles and a quadrangle as a NASTRAN deck (ours.bdf) and prints "nodes
// elements"; `read <file>` reads a NASTRAN deck and prints "status nodes
// elements runs" and the nodes of the first element.
#include <cstdio>
#include <string>

#include "qz4/tessellix/formats.h"

using namespace qz4;
using namespace qz4::tessellix;

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const std::string what = argv[1], path = argv[2];
  dense2D<double> pos;
  dense2D<unsigned> conn;
  dense1D<unsigned> starts, props;
  dense1D<int> kinds;
  if (what == "write") {
    pos.resize(3, 5, 0.0);
    const double xy[5][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {2, 0}};
    for (unsigned n = 0; n < 5; ++n) pos(0, n) = xy[n][0], pos(1, n) = xy[n][1];
    conn.resize(4, 3, NO_ID);
    const unsigned cols[3][4] = {{1, 4, 2, NO_ID}, {4, 2, 1, NO_ID}, {0, 1, 2, 3}};
    for (unsigned e = 0; e < 3; ++e)
      for (unsigned r = 0; r < 4; ++r) conn(r, e) = cols[e][r];
    starts.resize(3, 0u);
    starts[1] = 2, starts[2] = 3;
    kinds.resize(2, int(ET_TRIA3));
    kinds[1] = ET_QUAD4;
    props.resize(3, 1u);
    const int s = NASTRAN_output((path + "/ours.bdf").c_str(), pos, conn, starts, kinds, props);
    std::printf("%u %u\n", pos.cols(), conn.cols());
    return s == 0 ? 0 : 1;
  }
  const int s = NASTRAN_input(path.c_str(), pos, conn, starts, kinds, props);
  std::printf("%d %u %u %u", s, pos.cols(), conn.cols(), kinds.size());
  for (unsigned r = 0; r < conn.rows() && conn.cols(); ++r)
    if (conn(r, 0) != NO_ID) std::printf(" %u", conn(r, 0));
  std::printf("\n");
  return 0;
}
