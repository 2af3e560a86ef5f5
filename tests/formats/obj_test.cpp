// Wavefront OBJ: exact lines written, every statement form read, the writer's
// run-together faces that its reader refuses or drops, statuses in order.
#include <gtest/gtest.h>

#include <string>

#include "alloc_seam.h"
#include "files.h"
#include "qz4/tessellix/formats.h"

using namespace qz4;
using namespace qz4::tessellix;
using qz4test::scratch;
using qz4test::slurp;
using qz4test::spit;

namespace {

struct obj {
  dense2D<double> pos, normals, textures;
  dense2D<unsigned> tri, quad;
  int read(const std::string& text, const char* name = "in.obj") {
    return WavefrontOBJ_input(spit(name, text).c_str(), pos, normals, textures, tri, quad);
  }
};

std::string cols(const dense2D<unsigned>& m) {
  std::string s;
  for (unsigned j = 0; j < m.cols(); ++j)
    for (unsigned i = 0; i < m.rows(); ++i)
      s += std::to_string(int(m(i, j))) + (i + 1 < m.rows() ? " " : ";");
  return s;
}

}  // namespace

TEST(OBJ, WritesExactLines) {
  dense2D<double> pos(2, 3, 0.0), normals(3, 3, 0.0), textures(2, 3, 0.5);
  pos(0, 1) = 1.5;
  normals(2, 0) = -1;
  dense2D<unsigned> tri(3, 1), quad(4, 0), none;
  tri(0, 0) = 0, tri(1, 0) = 1, tri(2, 0) = 2;
  const std::string path = scratch("out.obj");
  ASSERT_EQ(WavefrontOBJ_output(path.c_str(), pos, dense2D<double>(), dense2D<double>(), tri, quad),
            0);
  const std::string z = "0.00000000e+00 ";
  EXPECT_EQ(slurp(path), " v " + z + z + z + "\n v 1.50000000e+00 " + z + z + "\n v " + z + z + z +
                             "\n f 1//2//3// \n");
  ASSERT_EQ(WavefrontOBJ_output(path.c_str(), pos, normals, textures, tri, quad), 0);
  const std::string all = slurp(path);
  EXPECT_NE(all.find(" vt 5.00000000e-01 5.00000000e-01 \n"), std::string::npos);
  EXPECT_NE(all.find(" vn " + z + z + "-1.00000000e+00 \n"), std::string::npos);
  EXPECT_EQ(all.substr(all.size() - 20), " f 1/1/12/2/23/3/3 \n");

  // The reader takes back nodes, normals and texture coordinates, not faces.
  obj r;
  EXPECT_EQ(WavefrontOBJ_input(path.c_str(), r.pos, r.normals, r.textures, r.tri, r.quad), 0);
  EXPECT_EQ(r.pos.rows() * 10 + r.pos.cols(), 33u);
  EXPECT_EQ(r.pos(0, 1), 1.5);
  EXPECT_EQ(r.normals(2, 0), -1.0);
  EXPECT_EQ(r.textures.rows(), 2u);
  EXPECT_EQ(r.tri.cols() + r.quad.cols(), 0u);
  ASSERT_EQ(WavefrontOBJ_output(path.c_str(), pos, dense2D<double>(), textures, tri, quad), 0);
  EXPECT_EQ(WavefrontOBJ_input(path.c_str(), r.pos, r.normals, r.textures, r.tri, r.quad), -1);

  const std::string bad = scratch("no/such/dir.obj");
  EXPECT_EQ(WavefrontOBJ_output(bad.c_str(), dense2D<double>(), normals, textures, tri, quad), -1);
  EXPECT_EQ(WavefrontOBJ_output(path.c_str(), dense2D<double>(), normals, textures, tri, quad), -2);
  EXPECT_EQ(WavefrontOBJ_output(path.c_str(), pos, dense2D<double>(3, 2), textures, tri, quad), -3);
  EXPECT_EQ(WavefrontOBJ_output(path.c_str(), pos, normals, dense2D<double>(3, 3), tri, quad), -4);
  EXPECT_EQ(WavefrontOBJ_output(path.c_str(), dense2D<double>(3, 0), dense2D<double>(),
                                dense2D<double>(), none, none),
            0);
  EXPECT_EQ(slurp(path), "");
}

TEST(OBJ, ReadsEveryStatementForm) {
  obj r;
  ASSERT_EQ(r.read("# comment\nmtllib x.mtl\n\n v 0 0 0\nv 1 0 0 7 trailing\nv 1 1 0\nv 0 1 0\n"
                   "vt 0.5\nvt 0.5 0.5\nvt 0.25 # note\nvn 0 0 1\ng group\nV 9 9 9\n"
                   "f 1 2 3\nf 1/1 2/2 3/3 4/4\nf 1//1 2//1 3//1\nf 4/1/1 3/1/1 2/1/1\n"
                   "f 0 1 2\nf -3 -2 -1\nf 1 2 3 4 1\nf 1\nf\t1   2 3\r\nf 1 2 3"),
            0);
  EXPECT_EQ(r.pos.cols(), 4u);
  EXPECT_EQ(r.pos(0, 1), 1.0);
  EXPECT_EQ(r.textures.rows() * 10 + r.textures.cols(), 12u);  // the 2-number line skipped
  EXPECT_EQ(r.textures(0, 1), 0.25);
  EXPECT_EQ(r.normals.cols(), 1u);
  EXPECT_EQ(cols(r.tri), "0 1 2;0 1 2;3 2 1;4 0 1;-4 -3 -2;0 1 2;");
  EXPECT_EQ(cols(r.quad), "0 1 2 3;");

  struct {
    const char* text;
    unsigned nodes;
  } failures[] = {
      {"v 1 2 3\nv\nv 4 5 6\n", 1},         // bare keyword
      {"v 1 2 3\nv 1 2\n", 1},              // too few numbers
      {"v 1 2 3\nv 1 2 inf\n", 1},          // not a number a stream reads
      {"# c\nvn 0 0\nv 1 2 3\n", 0},        // not 3 normal components
      {"vt 1 2 3 4\n", 0},                  // too many texture components
      {"v 1e-400 0 0\nv 1e400 0 0\n", 1},   // underflow reads as the C library does, overflow fails
      {"v 1 2 3\nf 1/1 1/1 1/1\n", 1},      // texture numbers before any "vt"
      {"v 1 2 3\nf 1 1 1x\n", 1},           // a bad character after a number
      {"f 1//1 1//1 1//1\nvn 0 0 1\n", 0},  // "vn" after the face that uses it
  };
  for (const auto& f : failures) {
    EXPECT_EQ(r.read(f.text), -1) << f.text;
    EXPECT_EQ(r.pos.cols(), f.nodes) << f.text;
  }
  EXPECT_EQ(WavefrontOBJ_input(scratch("no/such/dir.obj").c_str(), r.pos, r.normals, r.textures,
                               r.tri, r.quad),
            -1);
  EXPECT_EQ(r.read("o nothing\n"), 0);
  EXPECT_TRUE(r.pos.empty() && r.tri.empty() && r.textures.empty());

  std::string big = "v 0 0 0\nv 1 0 0\nv 0 1 0\nvn 0 0 1\nvt 0 0\n";
  for (int k = 0; k < 300; ++k) big += "f 1/1/1 2/1/1 3/1/1\nf 1 2 3 1\n";
  qz4test::expect_ok_or_out_of_memory([&](unsigned) {
    const int s = r.read(big, "big.obj");
    EXPECT_TRUE(s != 0 || r.tri.cols() + r.quad.cols() == 600);
    return s;
  });
}
