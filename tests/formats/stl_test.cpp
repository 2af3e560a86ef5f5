// STL: exact files written, hand-written files read, welding on both sides
// of its tolerance, files cut short, statuses, out-of-memory paths.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "alloc_seam.h"
#include "files.h"
#include "qz4/tessellix/formats.h"
#include "structured_mesh.h"

using namespace qz4;
using namespace qz4::tessellix;
using qz4test::scratch;
using qz4test::slurp;
using qz4test::spit;

namespace {

dense2D<double> plane(std::initializer_list<double> xy) {
  dense2D<double> p(2, unsigned(xy.size() / 2));
  unsigned k = 0;
  for (double v : xy) p(k % 2, k / 2) = v, ++k;
  return p;
}

dense2D<unsigned> tris(std::initializer_list<unsigned> ids) {
  dense2D<unsigned> t(3, unsigned(ids.size() / 3));
  unsigned k = 0;
  for (unsigned v : ids) t(k % 3, k / 3) = v, ++k;
  return t;
}

std::string facet(const char* normal, const char* a, const char* b, const char* c) {
  return std::string("   facet normal ") + normal + "\n      outer loop\n         vertex " + a +
         "\n         vertex " + b + "\n         vertex " + c + "\n      endloop\n   endfacet\n";
}

std::string binary(unsigned count, std::initializer_list<float> vertices, unsigned cut = 0) {
  std::string s(84, '\0');
  std::memcpy(&s[0], "solid in a binary header", 24);
  std::memcpy(&s[80], &count, 4);
  unsigned k = 0;
  for (float v : vertices) {
    if (k % 9 == 0) s.append(12, '\0');  // the normal, never read
    s.append(reinterpret_cast<const char*>(&v), 4);
    if (++k % 9 == 0) s.append("\x7f\x7f", 2);
  }
  return s.substr(0, s.size() - cut);
}

}  // namespace

TEST(STL, WritesExactTextAndBinary) {
  // A unit right triangle in the plane and a degenerate one.
  const dense2D<double> pos = plane({0, 0, 2, 0, 0, 2, 0, 0});
  const dense2D<unsigned> t = tris({0, 1, 2, 0, 3, 1});
  const std::string path = scratch("exact.stl");
  ASSERT_EQ(STL_output(path.c_str(), pos, t, true), 0);
  const char* z = "0.000000e+00";
  const std::string v0 = std::string(z) + " " + z + " " + z,
                    v1 = std::string("2.000000e+00 ") + z + " " + z,
                    v2 = std::string(z) + " 2.000000e+00 " + z;
  EXPECT_EQ(slurp(path), "solid QZ4\n" +
                             facet((std::string(z) + " " + z + " 1.000000e+00").c_str(), v0.c_str(),
                                   v1.c_str(), v2.c_str()) +
                             facet(v0.c_str(), v0.c_str(), v0.c_str(), v1.c_str()) +
                             "endsolid QZ4\n");

  ASSERT_EQ(STL_output(path.c_str(), pos, t, false), 0);
  const std::string b = slurp(path);
  ASSERT_EQ(b.size(), 84u + 2 * 50);
  EXPECT_EQ(b.substr(0, 15), std::string("QZ4 STL Binary\0", 15));
  EXPECT_EQ(b.substr(15, 65), std::string(65, '\0'));
  std::uint32_t count;
  float rec[12];
  std::memcpy(&count, &b[80], 4);
  std::memcpy(rec, &b[84], 48);
  EXPECT_EQ(count, 2u);
  const float expected[12] = {0, 0, 1, 0, 0, 0, 2, 0, 0, 0, 2, 0};
  for (unsigned i = 0; i < 12; ++i) EXPECT_EQ(rec[i], expected[i]) << i;
  EXPECT_EQ(b.substr(132, 2), std::string("\0\0", 2));

  ASSERT_EQ(STL_output(path.c_str(), pos, dense2D<unsigned>(), true), 0);
  EXPECT_EQ(slurp(path), "solid QZ4\nendsolid QZ4\n");
  dense2D<double> p;
  dense2D<unsigned> r;
  EXPECT_EQ(STL_input(path.c_str(), p, r, true), 0);
  EXPECT_EQ(p.cols() + r.cols(), 0u);
}

TEST(STL, StatusesInOrder) {
  const dense2D<double> pos = plane({0, 0, 1, 0, 0, 1});
  const std::string bad = scratch("no/such/dir.stl"), path = scratch("status.stl");
  EXPECT_EQ(STL_output(bad.c_str(), dense2D<double>(4, 3), tris({0, 1, 7}), true), -1);
  EXPECT_EQ(STL_output(path.c_str(), dense2D<double>(4, 3), tris({0, 1, 7}), true), -2);
  EXPECT_EQ(STL_output(path.c_str(), pos, tris({0, 1, 3}), false), -3);
  EXPECT_EQ(slurp(path), "");  // created, nothing written
  EXPECT_EQ(STL_output(path.c_str(), pos, dense2D<unsigned>(2, 1, 0u), false), -3);
  for (bool text : {true, false})  // every write fails
    EXPECT_EQ(STL_output("/dev/full", pos, tris({0, 1, 2}), text), -1);

  dense2D<double> p(3, 1, 1.0);
  dense2D<unsigned> t(3, 1, 0u);
  EXPECT_EQ(STL_input(bad.c_str(), p, t, true), -1);
  EXPECT_TRUE(p.empty() && t.empty());  // emptied before the open
  EXPECT_EQ(STL_input(spit("empty.stl", "").c_str(), p, t, true), -1);
  EXPECT_EQ(STL_input(spit("short.stl", std::string(83, 'x')).c_str(), p, t, false), -1);
  EXPECT_EQ(STL_input(spit("solid.stl", "solid x").c_str(), p, t, true), 0);
  EXPECT_EQ(STL_input(spit("top.stl", binary(0x80000000u, {1, 2, 3, 4, 5, 6, 7, 8, 9})).c_str(), p,
                      t, false),
            0);
  EXPECT_EQ(p.cols(), 0u);
}

// Two triangles sharing an edge, written with three fresh vertices each and
// read in whatever layout the reader tolerates, weld into four nodes.
TEST(STL, ReadsTolerantTextAndWeldsWithinTolerance) {
  const std::string text =
      "anything at all\n"
      "facet normal 0 0 1\nouter loop whatever\n vertex 0 0 0\nvertex 1 0 0  vertex 0 1 0\n"
      "endloop\nendfacet\n"
      "  facet  normal 0 0 1\r\n outer loop\r\n vertex 1 0 0\r\n vertex +1 1 0\r\n"
      " vertex 0 1.0000001 0\r\n endloop\r\n endfacet\r\n"
      "endsolid\nsolid second\n" +
      facet("0 0 1", "5 5 5", "6 5 5", "5 6 5");
  dense2D<double> p;
  dense2D<unsigned> t;
  ASSERT_EQ(STL_input(spit("tolerant.stl", text).c_str(), p, t, true), 2);
  EXPECT_EQ(p.rows(), 3u);
  EXPECT_EQ(p.cols(), 4u);
  EXPECT_EQ(t(0, 1), t(1, 0));
  EXPECT_EQ(t(2, 1), t(2, 0));

  // 5% of the least height (1/sqrt(2) here) apart: welded or not.
  for (float gap : {0.03f, 0.04f}) {
    const std::string b = binary(2, {0, 0, 0, 1, 0, 0, 0, 1, 0, 1, 0, 0, 1, 1, 0, 0, 1 + gap, 0});
    ASSERT_EQ(STL_input(spit("gap.stl", b).c_str(), p, t, false), 2);
    EXPECT_EQ(p.cols(), gap < 0.035f ? 4u : 5u) << gap;
  }
  // Degenerate triangles only: no weld at all.
  ASSERT_EQ(
      STL_input(spit("flat.stl", binary(2, {0, 0, 0, 1, 0, 0, 2, 0, 0, 0, 0, 0, 1, 0, 0, 2, 0, 0}))
                    .c_str(),
                p, t, false),
      2);
  EXPECT_EQ(p.cols(), 6u);
  // A degenerate triangle among good ones collapses in the weld and goes.
  ASSERT_EQ(
      STL_input(spit("mixed.stl", binary(2, {0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0}))
                    .c_str(),
                p, t, false),
      1);
  EXPECT_EQ(p.cols(), 3u);
  // Cut inside the second record: the first stays; the stray vertex of the
  // second is among the nodes until the weld drops it.
  ASSERT_EQ(STL_input(spit("cut.stl",
                           binary(2, {0, 0, 0, 1, 0, 0, 0, 1, 0, 7, 7, 7, 8, 8, 8, 9, 9, 9}, 20))
                          .c_str(),
                      p, t, false),
            1);
  EXPECT_EQ(p.cols(), 3u);
  ASSERT_EQ(
      STL_input(spit("cutflat.stl", binary(2, {0, 0, 0, 1, 0, 0, 2, 0, 0, 7, 7, 7}, 0)).c_str(), p,
                t, false),
      1);
  EXPECT_EQ(p.cols(), 4u);

  // Text cut short or off its form: the whole facets before stay, the
  // vertices of the broken one stay only when no weld ran.
  const std::string good = facet("0 0 1", "0 0 0", "1 0 0", "0 1 0"),
                    flat = facet("0 0 0", "0 0 0", "1 0 0", "2 0 0");
  const std::string broken = "facet normal 0 0 1\nouter loop\nvertex 7 7 7\nvertex 8 8 8\n";
  struct {
    std::string text;
    int status;
    unsigned nodes;
  } cut[] = {
      {"solid\n" + good + broken + "endloop\nendfacet\n", 1, 3},
      {"solid\n" + flat + broken + "vertex 9 9 9\nendloop\n", 1, 6},
      {"solid\n" + flat + broken + "vertex 9 9\nendloop\nendfacet\n", 1, 5},
      {"solid\n" + flat + "FACET normal 0 0 1\n" + good, 1, 3},
      {"solid\n" + good + "facet normal 0 0\n" + good, 1, 3},
      {"solid\n" + flat + "facet normal ++0 0 1\n" + good, 1, 3},
      {"solid\n" + flat + "facet normal 0 x 1\n" + good, 1, 3},
      {"solid\n" + flat.substr(0, flat.size() - 13), 0, 3},
  };
  for (const auto& c : cut) {
    EXPECT_EQ(STL_input(spit("cut.stla", c.text).c_str(), p, t, true), c.status) << c.text;
    EXPECT_EQ(p.cols(), c.nodes) << c.text;
    EXPECT_EQ(t.cols(), unsigned(c.status)) << c.text;
  }
}

TEST(STL, RoundTripsAClosedSurfaceAndReportsExhaustedMemory) {
  support::mesh m = support::box_surface(4, 3, 5);
  support::shuffle(m, 9);
  for (bool text : {false, true}) {
    const std::string path = scratch(text ? "box.stla" : "box.stlb");
    ASSERT_EQ(STL_output(path.c_str(), m.pos, m.conn, text), 0);
    dense2D<double> p;
    dense2D<unsigned> t;
    ASSERT_EQ(STL_input(path.c_str(), p, t, text), int(m.conn.cols()));
    EXPECT_EQ(p.cols(), m.pos.cols());
    // The same triangles on new numbers: each node read stands for one
    // original node everywhere, at its place within the file's precision.
    std::vector<unsigned> original(p.cols(), NO_ID);
    for (unsigned e = 0; e < t.cols(); ++e)
      for (unsigned k = 0; k < 3; ++k) {
        const unsigned a = t(k, e), o = m.conn(k, e);
        ASSERT_LT(a, p.cols());
        if (original[a] == NO_ID) original[a] = o;
        EXPECT_EQ(original[a], o) << e << " " << k;
        for (unsigned r = 0; r < 3; ++r)
          EXPECT_NEAR(p(r, a), m.pos(r, o), 1e-6 * (1 + std::abs(m.pos(r, o))));
      }
    unsigned failures = 0;
    qz4test::for_each_failing_allocation([&](unsigned) {
      const int s = STL_input(path.c_str(), p, t, text);
      if (s == -199) {
        ++failures;
        EXPECT_TRUE(p.empty() && t.empty());
      } else {
        EXPECT_EQ(s, int(m.conn.cols()));
      }
    });
    EXPECT_GT(failures, 0u);
  }
}
