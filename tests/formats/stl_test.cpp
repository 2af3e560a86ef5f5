// STL: exact files written, hand-written files read, welding on both sides
// of its tolerance, files cut short, statuses, out-of-memory paths.
#include <algorithm>
#include <cmath>
#include <tuple>

#include "files.h"
#include "structured_mesh.h"

namespace {

std::string facet(const std::string& normal, const std::string& a, const std::string& b,
                  const std::string& c) {
  return "   facet normal " + normal + "\n      outer loop\n         vertex " + a +
         "\n         vertex " + b + "\n         vertex " + c + "\n      endloop\n   endfacet\n";
}

// Records of twelve floats (normal, three vertices) with a 2-byte attribute
// each; `vertices_only` inserts zero normals before every nine floats.
std::string binary(const std::string& header, unsigned count, std::vector<float> f,
                   bool vertices_only = true, unsigned cut = 0) {
  std::string s = header + std::string(80 - header.size(), '\0');
  s.append(reinterpret_cast<const char*>(&count), 4);
  const unsigned per = vertices_only ? 9 : 12;
  for (unsigned k = 0; k < f.size(); ++k) {
    if (vertices_only && k % 9 == 0) s.append(12, '\0');
    s.append(reinterpret_cast<const char*>(&f[k]), 4);
    if ((k + 1) % per == 0) s.append(vertices_only ? "\x7f\x7f" : std::string(2, '\0'));
  }
  return s.substr(0, s.size() - cut);
}

struct surface {
  dense2D<double> p;
  dense2D<unsigned> t;
  int read(const std::string& bytes, bool text) {
    return STL_input(spit("in.stl", bytes).c_str(), p, t, text);
  }
};

}  // namespace

TEST(STL, WritesExactTextAndBinaryAndStatusesInOrder) {
  const dense2D<double> pos = points(2, {0, 0, 2, 0, 0, 2, 0, 0});
  const dense2D<unsigned> t = mat(3, {0, 1, 2, 0, 3, 1});  // the second is degenerate
  const std::string path = scratch("exact.stl"), z = "0.000000e+00", two = "2.000000e+00";
  const std::string v0 = z + " " + z + " " + z, v1 = two + " " + z + " " + z;
  const char* p = path.c_str();
  ASSERT_EQ(0, STL_output(p, pos, t, true));
  EXPECT_EQ(slurp(path), "solid QZ4\n" +
                             facet(z + " " + z + " 1.000000e+00", v0, v1, z + " " + two + " " + z) +
                             facet(v0, v0, v0, v1) + "endsolid QZ4\n");
  // A normal off the plane, then a degenerate triangle's zero normal.
  ASSERT_EQ(
      0, STL_output(p, points(3, {0, 0, 0, 1, 0, 0, 0, 0, 1}), mat(3, {0, 1, 2, 0, 0, 1}), false));
  EXPECT_EQ(slurp(path), binary("QZ4 STL Binary", 2, {0, -1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1,
                                                      0, 0,  0, 0, 0, 0, 0, 0, 0, 1, 0, 0},
                                false));
  ASSERT_EQ(0, STL_output(p, pos, dense2D<unsigned>(0, 5), true));  // no rows: no triangles
  EXPECT_EQ(slurp(path), "solid QZ4\nendsolid QZ4\n");

  const std::string bad = scratch("no/such/dir.stl");
  EXPECT_EQ(-1, STL_output(bad.c_str(), dense2D<double>(4, 3), mat(3, {0, 1, 7}), true));
  EXPECT_EQ(-2, STL_output(p, dense2D<double>(4, 3), mat(3, {0, 1, 7}), true));
  EXPECT_EQ(-3, STL_output(p, pos, mat(3, {0, 1, 4}), false));
  EXPECT_EQ(slurp(path), "");  // created, nothing written
  EXPECT_EQ(-3, STL_output(p, pos, dense2D<unsigned>(2, 1, 0u), false));
  for (bool text : {true, false}) EXPECT_EQ(-1, STL_output("/dev/full", pos, t, text));

  surface s;
  s.p.resize(3, 1, 1.0);
  EXPECT_EQ(-1, STL_input(bad.c_str(), s.p, s.t, true));
  EXPECT_TRUE(s.p.empty());  // emptied before the open
  EXPECT_EQ(-1, s.read("", true));
  EXPECT_EQ(-1, s.read(std::string(83, 'x'), false));
  EXPECT_EQ(0, s.read("solid x", true));
  EXPECT_EQ(0, s.read(binary("", 0x80000000u, {1, 2, 3, 4, 5, 6, 7, 8, 9}), false));
  EXPECT_EQ(0u, s.p.cols());
}

// Two triangles sharing an edge, written with three fresh vertices each and
// read in whatever layout the reader tolerates, weld into four nodes.
TEST(STL, ReadsTolerantTextAndWeldsWithinTolerance) {
  surface s;
  ASSERT_EQ(2, s.read("anything at all\nfacet normal 0 0 1\nouter loop whatever\n vertex 0 0 0\n"
                      "vertex 1 0 0  vertex 0 1 0\nendloop\nendfacet\n"
                      "  facet  normal 0 0 1\r\n outer loop\r\n vertex 1 0 0\r\n vertex +1 1 0\r\n"
                      " vertex 0 1.0000001 0\r\n endloop\r\n endfacet\r\nendsolid\nsolid second\n" +
                          facet("0 0 1", "5 5 5", "6 5 5", "5 6 5"),
                      true));
  EXPECT_EQ(34u, s.p.rows() * 10 + s.p.cols());
  EXPECT_EQ(s.t(0, 1), s.t(1, 0));
  EXPECT_EQ(s.t(2, 1), s.t(2, 0));

  // Binary: {vertices, cut bytes, triangles, nodes}. 5% of the least height
  // (1/sqrt(2)) apart welds or not; degenerate triangles only: no weld; a
  // degenerate one among good ones collapses and goes; a cut record leaves
  // its stray vertex only when no weld ran.
  const std::tuple<std::vector<float>, unsigned, int, unsigned> bin[] = {
      {{0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 0, 0, 1, 1, 0, 0, 1.03f, 0}, 0, 2, 4},
      {{0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 0, 0, 1, 1, 0, 0, 1.04f, 0}, 0, 2, 5},
      {{0, 0, 0, 1, 0, 0, 2, 0, 0, 0, 0, 0, 1, 0, 0, 2, 0, 0}, 0, 2, 6},
      {{0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0}, 0, 1, 3},
      {{0, 0, 0, 1, 0, 0, 0, 1, 0, 7, 7, 7, 8, 8, 8, 9, 9, 9}, 20, 1, 3},
      {{0, 0, 0, 1, 0, 0, 2, 0, 0, 7, 7, 7}, 0, 1, 4},
  };
  for (const auto& [v, cut, status, nodes] : bin)
    EXPECT_EQ(results({status, nodes}),
              results({s.read(binary("solid", 2, v, true, cut), false), s.p.cols()}))
        << ::testing::PrintToString(v);

  // Text cut short or off its form: the whole facets before stay.
  const std::string good = facet("0 0 1", "0 0 0", "1 0 0", "0 1 0"),
                    flat = facet("0 0 0", "0 0 0", "1 0 0", "2 0 0");
  const std::string broken = "facet normal 0 0 1\nouter loop\nvertex 7 7 7\nvertex 8 8 8\n";
  const std::tuple<std::string, int, unsigned> cut[] = {
      {good + broken + "endloop\nendfacet\n", 1, 3},
      {flat + broken + "vertex 9 9 9\nendloop\n", 1, 6},
      {flat + broken + "vertex 9 9\nendloop\nendfacet\n", 1, 5},
      {flat + "FACET normal 0 0 1\n" + good, 1, 3},
      {good + "facet normal 0 0\n" + good, 1, 3},
      {flat + "facet normal ++0 0 1\n" + good, 1, 3},
      {flat + "facet normal 0 x 1\n" + good, 1, 3},
      {flat.substr(0, flat.size() - 13), 0, 3},
  };
  for (const auto& [text, status, nodes] : cut)
    EXPECT_EQ(results({status, nodes, status}),
              results({s.read("solid\n" + text, true), s.p.cols(), s.t.cols()}))
        << text;
}

TEST(STL, RoundTripsAClosedSurfaceAndReportsExhaustedMemory) {
  support::mesh m = support::box_surface(4, 3, 5);
  support::shuffle(m, 9);
  for (bool text : {false, true}) {
    const std::string path = scratch(text ? "box.stla" : "box.stlb");
    ASSERT_EQ(0, STL_output(path.c_str(), m.pos, m.conn, text));
    surface s;
    ASSERT_EQ(STL_input(path.c_str(), s.p, s.t, text), int(m.conn.cols()));
    ASSERT_EQ(m.pos.cols(), s.p.cols());
    surface twin;  // a text file saved on Windows (CR LF) reads the same
    EXPECT_TRUE(!text || (twin.read(crlf(slurp(path)), true) == int(m.conn.cols()) &&
                          flat(twin.p) == flat(s.p) && flat(twin.t) == flat(s.t)));
    // The same triangles on new numbers: every corner read lies where the
    // original corner does, within the file's precision. The box's nodes lie
    // far apart, so each node read stands for one original node.
    const std::vector<unsigned> corners = flat(s.t);
    ASSERT_LT(*std::max_element(corners.begin(), corners.end()), s.p.cols());
    for (unsigned k = 0; k < corners.size(); ++k)
      for (unsigned r = 0; r < 3; ++r) {
        const double want = m.pos(r, m.conn(k % 3, k / 3));
        EXPECT_NEAR(s.p(r, corners[k]), want, 1e-6 * (1 + std::abs(want))) << k;
      }
    expect_ok_or_out_of_memory([&] { return STL_input(path.c_str(), s.p, s.t, text); },
                               int(m.conn.cols()),
                               [&] {
                                 return std::pair{flat(s.p), flat(s.t)};
                               },
                               std::pair<std::vector<double>, std::vector<unsigned>>{});
  }
  // A text file larger than the reader's buffer: numbers cut by a refill
  // read whole.
  const support::mesh big = support::box_surface(24, 24, 24);
  const std::string path = scratch("big.stla");
  ASSERT_EQ(0, STL_output(path.c_str(), big.pos, big.conn, true));
  surface s;
  EXPECT_EQ(STL_input(path.c_str(), s.p, s.t, true), int(big.conn.cols()));
  EXPECT_EQ(s.p.cols(), big.pos.cols());
}
