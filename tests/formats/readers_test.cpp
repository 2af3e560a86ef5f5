// MEDIT and legacy VTK readers: the same small mesh in every form the
// readers take (text with comments and CR LF, binary of each version and
// byte order), round trips through the library's writers, damaged files
// with their statuses, out-of-memory paths.
#include <cstring>

#include "files.h"
#include "meshb_writer.h"

namespace {

// What a mesh reader hands back, flattened for one comparison.
struct read_mesh {
  dense2D<double> pos;
  dense1D<int> node_refs, kinds;
  dense1D<dense2D<unsigned>> conns;
  dense1D<dense1D<int>> refs;
  unsigned skipped = 0;
  int medit(const std::string& path) {
    return medit_input(path.c_str(), pos, node_refs, conns, kinds, refs);
  }
  int vtk(const std::string& path) { return vtk_input(path.c_str(), pos, conns, kinds, skipped); }
  std::vector<double> all() const {
    std::vector<double> v = flat(pos);
    v.push_back(pos.rows());
    for (int r : node_refs) v.push_back(r);
    for (unsigned k = 0; k < conns.size(); ++k) {
      v.push_back(kinds[k]);
      for (unsigned x : shaped(conns[k])) v.push_back(x);
      for (unsigned e = 0; k < refs.size() && e < refs[k].size(); ++e) v.push_back(refs[k][e]);
    }
    return v;
  }
};

// A tetrahedron and two triangles on four nodes, with references.
const std::vector<double> expected_mesh = {0,
                                           0,
                                           0,
                                           1,
                                           0,
                                           0,
                                           0,
                                           1,
                                           0,
                                           0,
                                           0,
                                           0.5,
                                           /* rows */ 3,
                                           /* node refs */ 1,
                                           2,
                                           3,
                                           4,
                                           ET_TETRA4,
                                           4,
                                           1,
                                           0,
                                           1,
                                           3,
                                           2,
                                           7,
                                           ET_TRIA3,
                                           3,
                                           2,
                                           0,
                                           1,
                                           2,
                                           0,
                                           1,
                                           3,
                                           5,
                                           6};
const char* medit_text =
    "# comment\nMeshVersionFormatted 2\n\nDimension 3\nVertices\n4\n0 0 0 1\n1 0 0 2 # two\n"
    "0 1 0 3\n0 0 0.5e0 4\nCorners 2 1 2\nNormals 1 1 0 0\nIdentifier 12 3\n"
    "Tetrahedra\n1\n1 2 4 3 7\nTriangles 2\n1 2 3 5\n1 2 4 6\nEnd\n";

using support::meshb;

std::string medit_binary(unsigned version, bool swap) {
  meshb b{version, swap, ""};
  b.start();
  b.keyword(3, [&] { b.word(3); });
  b.keyword(4, [&] {
    b.integer(4);
    const double c[4][3] = {{0, 0, 0}, {1, 0, 0}, {0, 1, 0}, {0, 0, 0.5}};
    for (int n = 0; n < 4; ++n) b.real(c[n][0]), b.real(c[n][1]), b.real(c[n][2]), b.integer(n + 1);
  });
  b.keyword(13, [&] { b.integer(1), b.integer(2); });  // corners, passed over
  b.keyword(8, [&] {
    b.integer(1), b.integer(1), b.integer(2), b.integer(4), b.integer(3), b.integer(7);
  });
  b.keyword(6, [&] {
    b.integer(2);
    for (int v : {1, 2, 3, 5, 1, 2, 4, 6}) b.integer(v);
  });
  b.keyword(54, [] {});
  return b.bytes;
}

const char* vtk_ascii =
    "# vtk DataFile Version 3.0\ntitle\nASCII\nDATASET UNSTRUCTURED_GRID\n"
    "FIELD FieldData 1\nTIME 1 1 double\n0.5\nPOINTS 4 float\n0 0 0 1 0 0 0 1 0 0 0 0.5\n"
    "CELLS 6 25\n4 0 1 2 3\n3 0 1 2\n3 0 1 3\n5 0 1 2 3 0\n2 0 1\n2 0 1\n"
    "CELL_TYPES 6\n10\n5\n7\n7\n2\n4\nPOINT_DATA 4\nSCALARS s float\n";

}  // namespace

TEST(MeditInput, EveryFormReadsTheSameMesh) {
  read_mesh m;
  EXPECT_EQ(0, m.medit(spit("a.mesh", medit_text)));
  EXPECT_EQ(m.all(), expected_mesh);
  EXPECT_EQ(0, m.medit(spit("crlf.mesh", crlf(medit_text))));
  EXPECT_EQ(m.all(), expected_mesh);
  for (unsigned version = 1; version <= 4; ++version)
    for (bool swap : {false, true}) {
      EXPECT_EQ(0, m.medit(spit("b.meshb", medit_binary(version, swap))));
      EXPECT_EQ(m.all(), expected_mesh) << "version " << version << " swapped " << swap;
    }
  // gmsh's second-order elements under first-order keywords, told by width.
  EXPECT_EQ(0, m.medit(spit("g.mesh",
                            "MeshVersionFormatted 2 Dimension 2 Vertices 3 0 0 0 1 0 0 0 1 0 "
                            "Edges 1\n1 2 3 9\nTrianglesP2 1 1 2 3 1 2 3 8 End")));
  EXPECT_EQ(m.all(), (std::vector<double>{0, 0, 1, 0,        0, 1, 2, 0, 0, 0, ET_EDGE3, 3, 1, 0,
                                          1, 2, 9, ET_TRIA6, 6, 1, 0, 1, 2, 0, 1,        2, 8}));
}

TEST(MeditInput, EverySectionTextAndBinary) {
  // One element of nodes 1, 2, ... (reference 5) per section, after 27
  // vertices; pyramids and wedges as the file has them.
  const std::tuple<const char*, int, element_type> sections[] = {{"Edges", 5, ET_EDGE2},
                                                                 {"Triangles", 6, ET_TRIA3},
                                                                 {"Quadrilaterals", 7, ET_QUAD4},
                                                                 {"Tetrahedra", 8, ET_TETRA4},
                                                                 {"Prisms", 9, ET_PENTA6},
                                                                 {"Hexahedra", 10, ET_HEXA8},
                                                                 {"TrianglesP2", 24, ET_TRIA6},
                                                                 {"EdgesP2", 25, ET_EDGE3},
                                                                 {"QuadrilateralsQ2", 27, ET_QUAD9},
                                                                 {"TetrahedraP2", 30, ET_TETRA10},
                                                                 {"HexahedraQ2", 33, ET_HEXA27},
                                                                 {"Pyramids", 49, ET_PYRA5},
                                                                 {"PrismsP2", 86, ET_PENTA18},
                                                                 {"PyramidsP2", 87, ET_PYRA14}};
  for (const auto& [name, code, kind] : sections) {
    const unsigned n = element_nodes[kind];
    std::string text = "MeshVersionFormatted 1 Dimension 3 Vertices 27\n";
    meshb b{2, false, ""};
    b.start();
    b.keyword(3, [&] { b.word(3); });
    b.keyword(4, [&] {
      b.integer(27);
      for (int v = 0; v < 27; ++v)
        b.real(v), b.real(0), b.real(0), b.integer(0), text += std::to_string(v) + " 0 0 0\n";
    });
    text += std::string(name) + " 1\n";
    b.keyword(code, [&] {
      b.integer(1);
      for (unsigned k = 1; k <= n; ++k) b.integer(k), text += std::to_string(k) + " ";
      b.integer(5);
    });
    b.keyword(54, [] {});
    std::vector<double> expected = {double(kind), double(n), 1};
    for (unsigned k = 0; k < n; ++k) expected.push_back(k);
    expected.push_back(5);
    for (const std::string& file : {text + "5\nEnd\n", b.bytes}) {
      read_mesh m;
      EXPECT_EQ(0, m.medit(spit("section.mesh", file))) << name;
      const std::vector<double> all = m.all();
      EXPECT_EQ(std::vector<double>(all.begin() + 3 * 27 + 1 + 27, all.end()), expected) << name;
    }
  }
}

TEST(MeditInput, RoundTripAndDamage) {
  // The writer's mesh comes back, wedges and pyramids as collapsed hexahedra.
  const dense2D<double> pos = points(2, {0, 0, 1.25, 0, 1, 1, 0, 1, 0.5, 2});
  const dense2D<unsigned> list[2] = {conn(3, {{0, 1, 2}, {0, 2, 3}}), conn(4, {{0, 1, 2, 3}})};
  const std::string path = scratch("rt.mesh");
  ASSERT_EQ(0, medit_output(path.c_str(), pos, list, list + 2,
                            vec(std::vector<int>{ET_TRIA3, ET_QUAD4})));
  read_mesh m;
  EXPECT_EQ(0, m.medit(path));
  EXPECT_EQ(m.all(), (std::vector<double>{0, 0, 1.25, 0,        1,        1, 0, 1, 0.5, 2, 2, 0,
                                          0, 0, 0,    0,        ET_TRIA3, 3, 2, 0, 1,   2, 0, 2,
                                          3, 0, 0,    ET_QUAD4, 4,        1, 0, 1, 2,   3, 1}));

  const std::string bin = medit_binary(2, false);
  std::string backwards = bin;
  backwards[12] = 4;  // the Dimension keyword sends the reader back
  const std::pair<std::string, int> damaged[] = {
      {"MeshVersionFormatted 2\nDimension 3\nVertices 1 0 0 0 0\n", -3},  // no End
      {"MeshVersionFormatted 2\nDimension 3\nVertices 9 0 0 0 0\nEnd\n",
       -3},  // count past the file
      {"MeshVersionFormatted 2\nDimension 3\nVertices 1 0 0 x 0\nEnd\n", -3},
      {"MeshVersionFormatted 2\nDimension 3\nVertices 1 0 0 0 0\nEdges 1 1 2 0\nEnd\n", -4},
      {"MeshVersionFormatted 2\nDimension 3\nVertices 1 0 0 0 0\nEdges 1 0 1 0\nEnd\n", -4},
      {"MeshVersionFormatted 2\nDimension 3\nVertices 2 0 0 0 0 1 0 0 0\nTriangles 1 1 2 2 0\n"
       "Edges 1 1 3 0\nEnd\n",
       -4},  // in the second kind met
      {"MeshVersionFormatted 2\nDimension 4\nEnd\n", -2},
      {"MeshVersion 2\n", -2},
      {bin.substr(0, 4) + std::string("\x05\0\0\0", 4) + bin.substr(8), -2},  // version 5
      {bin.substr(0, 7), -2},                                                 // a header cut short
      {bin.substr(0, bin.size() - 30), -3},
      {backwards, -3}};
  for (const auto& [bytes, status] : damaged) {
    EXPECT_EQ(status, m.medit(spit("d.mesh", bytes))) << bytes.substr(0, 60);
    EXPECT_TRUE(m.pos.empty() && m.conns.empty() && m.refs.empty() && m.node_refs.empty());
  }
  EXPECT_EQ(-1, m.medit(scratch("none.mesh")));
  const std::string binary_path = spit("b.meshb", bin);
  expect_ok_or_out_of_memory([&] { return m.medit(binary_path); }, 0, [&] { return m.all(); },
                             std::vector<double>{0});
}

TEST(MeditInput, Solutions) {
  // Scalar, vector and tensor fields; 3D tensors into the packed order.
  read_mesh m;
  dense1D<dense2D<double>> f;
  const std::string text =
      "MeshVersionFormatted 2\nDimension 3\nSolAtVertices\n2\n3 1 2 3\n"
      "1 2 3 4 11 12 13 22 23 33\n-1 -2 -3 -4 1 0 0 1 0 1\nEnd\n";
  EXPECT_EQ(2, medit_solution_input(spit("s.sol", text).c_str(), f, m.kinds));
  EXPECT_EQ(std_of(m.kinds), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(shaped(f[0]), (std::vector<double>{1, 2, 1, -1}));
  EXPECT_EQ(shaped(f[1]), (std::vector<double>{3, 2, 2, 3, 4, -2, -3, -4}));
  EXPECT_EQ(shaped(f[2]), (std::vector<double>{6, 2, 11, 12, 22, 13, 23, 33, 1, 0, 1, 0, 0, 1}));
  const std::vector<double> first = flat(f[2]);
  meshb b{3, true, ""};
  b.start();
  b.keyword(3, [&] { b.word(2); });
  b.keyword(62, [&] {
    b.integer(1), b.word(1), b.word(3);
    for (double v : {4.0, 5.0, 6.0}) b.real(v);
  });
  b.keyword(54, [] {});
  EXPECT_EQ(1, medit_solution_input(spit("s.solb", b.bytes).c_str(), f, m.kinds));
  EXPECT_EQ(shaped(f[0]), (std::vector<double>{3, 1, 4, 5, 6}));
  // The library's own solution files, in their packed order.
  const std::string path = scratch("t.sol");
  const dense2D<double> t = points(6, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
  ASSERT_EQ(0, medit_tensor(path.c_str(), t));
  EXPECT_EQ(2, medit_solution_input(path.c_str(), f, m.kinds));
  EXPECT_TRUE(f.size() == 1 && m.kinds[0] == 3 && flat(f[0]) == flat(t));
  ASSERT_EQ(0, medit_scalar(path.c_str(), 2, dense1D<double>(9, 0.5)));
  EXPECT_EQ(9, medit_solution_input(path.c_str(), f, m.kinds));
  EXPECT_TRUE(m.kinds[0] == 1 && flat(f[0]) == std::vector<double>(9, 0.5));

  const std::pair<std::string, int> damaged[] = {
      {"MeshVersionFormatted 2\nDimension 3\nEnd\n", -2},
      {"MeshVersionFormatted 2\nDimension 3\nSolAtVertices 1 1 4 1 2 3 4 5 6 7 8 9\nEnd\n", -2},
      {"MeshVersionFormatted 2\nDimension 3\nSolAtVertices 2 1 1 1\nEnd\n", -3},
      {"3 1 4 2\n1 2\n", -3},
      {"0 1 1 2\n5\n", -2}};
  for (const auto& [bytes, status] : damaged) {
    EXPECT_EQ(status, medit_solution_input(spit("d.sol", bytes).c_str(), f, m.kinds));
    EXPECT_TRUE(f.empty() && m.kinds.empty());
  }
  expect_ok_or_out_of_memory(
      [&] {
        dense1D<dense2D<double>> g;
        dense1D<int> k;
        const int n = medit_solution_input(scratch("s.sol").c_str(), g, k);
        EXPECT_TRUE(n == 2 ? g.size() == 3 && flat(g[2]) == first : g.empty() && k.empty());
        return n;
      },
      2);
}

TEST(VtkInput, CellsOfEveryLayout) {
  // Tetrahedron exchanged back, polygons of 3 and 5 corners (the second
  // skipped), a poly-vertex and a poly-line skipped; field and point data
  // passed over.
  read_mesh m;
  const std::vector<double> expected = {0,        0,   0, 1,         0, 0, 0, 1, 0, 0,
                                        0,        0.5, 3, ET_TETRA4, 4, 1, 0, 1, 3, 2,
                                        ET_TRIA3, 3,   2, 0,         1, 2, 0, 1, 3};
  for (const std::string& file : {std::string(vtk_ascii), crlf(vtk_ascii)}) {
    EXPECT_EQ(0, m.vtk(spit("a.vtk", file)));
    EXPECT_TRUE(m.all() == expected && m.skipped == 3);
  }
  // 5.1's offsets and connectivity, in binary: big-endian 64-bit numbers.
  std::string b =
      "# vtk DataFile Version 5.1\nt\nBINARY\nDATASET UNSTRUCTURED_GRID\nPOINTS 4 double\n";
  auto be = [&b](const void* p, std::size_t n) {
    for (std::size_t i = n; i-- > 0;) b += static_cast<const char*>(p)[i];
  };
  for (double v : {0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 1.0, 0.0, 0.0, 0.0, 0.5}) be(&v, 8);
  b += "\nMETADATA\nINFORMATION 0\n\nCELLS 4 10\nOFFSETS vtktypeint64\n";
  for (std::int64_t v : {0, 4, 7, 10}) be(&v, 8);
  b += "\nCONNECTIVITY vtktypeint64\n";
  for (std::int64_t v : {0, 1, 2, 3, 0, 1, 2, 0, 1, 3}) be(&v, 8);
  b += "\nCELL_TYPES 3\n";
  for (std::int32_t v : {10, 5, 5}) be(&v, 4);
  EXPECT_EQ(0, m.vtk(spit("b.vtk", b)));
  EXPECT_TRUE(m.all() == expected && m.skipped == 0);
  // Polygonal data: a vertex, a line, a pixel-free quad and a strip.
  EXPECT_EQ(0, m.vtk(spit("p.vtk",
                          "# vtk DataFile Version 2.0\n\nASCII\nDATASET POLYDATA\n"
                          "POINTS 4 int\n0 0 0 1 0 0 1 1 0 0 1 0\nVERTICES 1 2\n1 3\n"
                          "LINES 1 3\n2 0 1\nPOLYGONS 1 5\n4 0 1 2 3\n"
                          "TRIANGLE_STRIPS 1 5\n4 0 1 3 2\n")));
  EXPECT_EQ(m.all(),
            (std::vector<double>{0, 0, 0,        1, 0, 0, 1, 1,        0, 0, 1, 0, 3, ET_NODE, 1,
                                 1, 3, ET_EDGE2, 2, 1, 0, 1, ET_QUAD4, 4, 1, 0, 1, 2, 3}));
  EXPECT_EQ(1u, m.skipped);
}

TEST(VtkInput, RoundTripAndDamage) {
  // The writer's mixed solids come back by kind, ten-node tetrahedra as
  // their corners (the other nodes, a poly-vertex, skipped).
  const dense2D<double> pos = points(3, std::vector<double>(30, 0.25));
  const dense2D<unsigned> list[2] = {conn(8, {{0, 1, 2, 3, 4, 5}, {1, 2, 3, 4, 5, 6, 7, 8}}),
                                     conn(10, {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9}})};
  const std::string path = scratch("rt.vtk");
  ASSERT_EQ(0, vtk_output(path.c_str(), pos, list, list + 2,
                          vec(std::vector<int>{ET_SOLID_MIXED, ET_TETRA10})));
  read_mesh m;
  EXPECT_EQ(0, m.vtk(path));
  std::vector<double> expected(30, 0.25);
  for (double v :
       std::vector<double>{3, ET_HEXA8, 8, 1, 1, 2, 3, 4,         5, 6, 7, 8, ET_PENTA6, 6,
                           1, 0,        1, 2, 3, 4, 5, ET_TETRA4, 4, 1, 0, 1, 2,         3})
    expected.push_back(v);
  EXPECT_TRUE(m.all() == expected && m.skipped == 1);

  const std::string head = "# vtk DataFile Version 2.0\n\nASCII\nDATASET UNSTRUCTURED_GRID\n";
  const std::string v51 =
      "# vtk DataFile Version 5.1\n\nASCII\nDATASET UNSTRUCTURED_GRID\nPOINTS 0 float\nCELLS 1 0\n";
  const std::pair<std::string, int> damaged[] = {
      {"# vtk DataFile Version 2.0\n\nBINARY\nDATASET STRUCTURED_POINTS\n", -2},
      {"# vtk Data File\n", -2},
      {head + "POINTS 3 float\n0 0 0 1 0 0\n", -3},
      {head + "POINTS 99999 float\n0 0 0\n", -3},
      {head + "POINTS 1431655765 float\n0 0 0\n", -3},  // nothing allocated for it
      {"# vtk Data File Version 2.0\n\nASCII\nDATASET UNSTRUCTURED_GRID\nPOINTS 0 float\n", -2},
      {v51 + "OFFSETS vtktypeint64\n0\nCONNECTIVITY double\nCELL_TYPES 0\n", -3},
      {v51 + "OFFSETS double\nCELL_TYPES 0\n", -3},
      {head + "POINTS 1 float\n0 0 0\nCELLS 1 2\n1 1\nCELL_TYPES 1\n1\n", -4},
      {head + "POINTS 1 float\n0 0 0\nCELLS 1 3\n1 0\nCELL_TYPES 1\n1\n", -3},
      {head + "POINTS 1 float\n0 0 0\nCELLS 1 2\n1 0\n", -3},  // no types
      {head + "POINTS 1 float\n0 0 0\nSPLIT 1\n", -3}};
  for (const auto& [bytes, status] : damaged) {
    EXPECT_EQ(status, m.vtk(spit("d.vtk", bytes))) << bytes;
    EXPECT_TRUE(m.pos.empty() && m.conns.empty() && m.kinds.empty());
  }
  EXPECT_EQ(-1, m.vtk(scratch("none.vtk")));
  EXPECT_EQ(0, m.vtk(spit("e.vtk", head + "POINTS 1 float\n1 2 3")));  // no line end
  EXPECT_EQ(flat(m.pos), (std::vector<double>{1, 2, 3}));
  expect_ok_or_out_of_memory([&] { return m.vtk(path); }, 0, [&] { return m.all(); },
                             std::vector<double>{0});
}
