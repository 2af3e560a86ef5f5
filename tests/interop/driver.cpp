// The library's side of the interoperability checks. Writers take a folder:
// `decks <dir>` writes two triangles and a quadrangle as ours.bdf and prints
// "nodes elements"; `viewing <dir>` writes a shuffled grid of mixed solids as
// MEDIT (with a size and a tensor solution) and as VTK (with the sizes
// appended as point data) and prints "nodes cells" and node 1; `surface
// <dir>` writes a closed box as text and binary STL and as OBJ and prints
// "nodes triangles 0". Readers take a file and print what they found:
// `deck <file>` "status nodes elements runs" and the first element's nodes,
// `stl <file> text|binary` and `obj <file>` "nodes triangles quads".
#include <cstdio>
#include <string>

#include "qz4/tessellix/formats.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  const std::string what = argv[1], path = argv[2], dir = path + "/";
  dense2D<double> pos, normals, textures;
  dense2D<unsigned> conn, quad;
  dense1D<unsigned> starts, props;
  dense1D<int> kinds;
  int s = 0;
  if (what == "decks") {
    pos = dense2D<double>(3, 5, 0.0);
    conn = dense2D<unsigned>(4, 3, NO_ID);
    const unsigned xy[5][2] = {{0, 0}, {1, 0}, {1, 1}, {0, 1}, {2, 0}},
                   cols[3][4] = {{1, 4, 2, NO_ID}, {4, 2, 1, NO_ID}, {0, 1, 2, 3}};
    for (unsigned n = 0; n < 5; ++n) pos(0, n) = xy[n][0], pos(1, n) = xy[n][1];
    for (unsigned e = 0; e < 12; ++e) conn(e % 4, e / 4) = cols[e / 4][e % 4];
    starts = dense1D<unsigned>(3, 0u), kinds = dense1D<int>(2, int(ET_TRIA3));
    starts[1] = 2, starts[2] = 3, kinds[1] = ET_QUAD4;
    s = NASTRAN_output((dir + "ours.bdf").c_str(), pos, conn, starts, kinds,
                       dense1D<unsigned>(3, 1u));
    std::printf("%u %u\n", pos.cols(), conn.cols());
  } else if (what == "viewing") {
    support::mesh m = support::mixed_solid_grid(3, 2, 2);
    support::shuffle(m, 4);
    dense1D<double> H(m.pos.cols());
    dense2D<double> M(6, m.pos.cols(), 0.0);
    for (unsigned n = 0; n < H.size(); ++n) {
      H[n] = 0.1 + m.pos(0, n);
      M(0, n) = M(2, n) = M(5, n) = 1 / (H[n] * H[n]);
    }
    s = medit_output((dir + "mesh.mesh").c_str(), m.pos, m.conn, m.type) |
        medit_scalar((dir + "size.sol").c_str(), 3, H) |
        medit_tensor((dir + "metric.sol").c_str(), M) |
        vtk_output((dir + "mesh.vtk").c_str(), m.pos, m.conn, m.type);
    std::FILE* f = std::fopen((dir + "mesh.vtk").c_str(), "a");
    if (!f) return 1;
    std::fprintf(f, "POINT_DATA %u\nSCALARS size double 1\nLOOKUP_TABLE default\n", H.size());
    for (unsigned n = 0; n < H.size(); ++n) std::fprintf(f, "%g\n", H[n]);
    std::fclose(f);
    std::printf("%u %u %.9g %.9g %.9g\n", m.pos.cols(), m.conn.cols(), m.pos(0, 1), m.pos(1, 1),
                m.pos(2, 1));
  } else if (what == "surface") {
    const support::mesh m = support::box_surface(3, 4, 5);
    normals = dense2D<double>(3, m.pos.cols(), 0.0);
    s = STL_output((dir + "ours_text.stl").c_str(), m.pos, m.conn, true) |
        STL_output((dir + "ours_binary.stl").c_str(), m.pos, m.conn, false) |
        WavefrontOBJ_output((dir + "ours.obj").c_str(), m.pos, normals, textures, m.conn, quad);
    std::printf("%u %u 0\n", m.pos.cols(), m.conn.cols());
  } else if (what == "deck") {
    std::printf("%d", NASTRAN_input(path.c_str(), pos, conn, starts, kinds, props));
    std::printf(" %u %u %u", pos.cols(), conn.cols(), kinds.size());
    for (unsigned r = 0; r < conn.rows() && conn.cols(); ++r)
      if (conn(r, 0) != NO_ID) std::printf(" %u", conn(r, 0));
    std::printf("\n");
  } else if (what == "stl" || what == "obj") {
    s = what == "stl"
            ? STL_input(path.c_str(), pos, conn, argc > 3 && std::string(argv[3]) == "text")
            : WavefrontOBJ_input(path.c_str(), pos, normals, textures, conn, quad);
    if (s >= 0) std::printf("%u %u %u\n", pos.cols(), conn.cols(), quad.cols()), s = 0;
  } else if (what == "medit" || what == "vtk") {
    // "status nodes rows", the coordinates' sum, then per connectivity
    // "kind elements sum-of-indices sum-of-references".
    dense1D<dense2D<unsigned>> conns;
    dense1D<dense1D<int>> refs;
    dense1D<int> node_refs;
    unsigned skipped = 0;
    s = what == "medit" ? medit_input(path.c_str(), pos, node_refs, conns, kinds, refs)
                        : vtk_input(path.c_str(), pos, conns, kinds, skipped);
    double sum = 0;
    for (unsigned n = 0; n < pos.cols(); ++n)
      for (unsigned r = 0; r < pos.rows(); ++r) sum += pos(r, n);
    std::printf("%d %u %u %u %.9g\n", s, pos.cols(), pos.rows(), skipped, sum);
    for (unsigned k = 0; k < conns.size(); ++k) {
      unsigned long long ids = 0, refsum = 0;
      for (unsigned e = 0; e < conns[k].cols(); ++e)
        for (unsigned r = 0; r < conns[k].rows(); ++r) ids += conns[k](r, e);
      for (unsigned e = 0; k < refs.size() && e < refs[k].size(); ++e) refsum += refs[k][e];
      std::printf("%d %u %llu %llu\n", kinds[k], conns[k].cols(), ids, refsum);
    }
  } else if (what == "sol") {
    dense1D<dense2D<double>> fields;
    const int n = medit_solution_input(path.c_str(), fields, kinds);
    std::printf("%d", n);
    for (unsigned f = 0; f < fields.size(); ++f) {
      double sum = 0;
      for (unsigned c = 0; c < fields[f].cols(); ++c)
        for (unsigned r = 0; r < fields[f].rows(); ++r) sum += fields[f](r, c);
      std::printf(" %d %u %.9g", kinds[f], fields[f].rows(), sum);
    }
    std::printf("\n");
    s = n < 0;
  } else {
    return 2;
  }
  return s == 0 ? 0 : 1;
}
