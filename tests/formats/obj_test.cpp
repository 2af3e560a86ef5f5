// Wavefront OBJ: exact lines written, every statement form read, the writer's
// run-together faces that its reader refuses or drops, statuses in order.
#include "files.h"

namespace {

struct obj {
  dense2D<double> pos, normals, textures;
  dense2D<unsigned> tri, quad;
  int read(const std::string& path) {
    return WavefrontOBJ_input(path.c_str(), pos, normals, textures, tri, quad);
  }
  int read_text(const std::string& text) { return read(spit("in.obj", text)); }
};

}  // namespace

TEST(OBJ, WritesExactLines) {
  const dense2D<double> pos = points(2, {0, 0, 1.5, 0, 0, 0}), none,
                        normals = points(3, {0, 0, -1, 0, 0, 0, 0, 0, 0}), textures(2, 3, 0.5);
  const dense2D<unsigned> tri = mat(3, {0, 1, 2}), quad(4, 0), no_faces;
  const std::string path = scratch("out.obj");
  const char* p = path.c_str();
  ASSERT_EQ(0, WavefrontOBJ_output(p, pos, none, none, tri, quad));
  const std::string z = "0.00000000e+00 ";
  EXPECT_EQ(slurp(path), " v " + z + z + z + "\n v 1.50000000e+00 " + z + z + "\n v " + z + z + z +
                             "\n f 1//2//3// \n");
  ASSERT_EQ(0, WavefrontOBJ_output(p, pos, normals, textures, tri, quad));
  const std::string all = slurp(path);
  EXPECT_TRUE(has(all, " vt 5.00000000e-01 5.00000000e-01 \n"));
  EXPECT_TRUE(has(all, " vn " + z + z + "-1.00000000e+00 \n"));
  EXPECT_EQ(all.substr(all.size() - 20), " f 1/1/12/2/23/3/3 \n");

  // The reader takes back nodes, normals and texture coordinates, not faces;
  // a face of texture numbers alone reads as one with normals, none given.
  obj r;
  EXPECT_EQ(0, r.read(path));
  EXPECT_EQ(shaped(r.pos), (std::vector<double>{3, 3, 0, 0, 0, 1.5, 0, 0, 0, 0, 0}));
  EXPECT_EQ(shaped(r.normals), shaped(normals));
  EXPECT_EQ(shaped(r.textures), shaped(textures));
  EXPECT_TRUE(r.tri.empty() && r.quad.empty());
  ASSERT_EQ(0, WavefrontOBJ_output(p, pos, none, textures, tri, quad));
  EXPECT_EQ(-1, r.read(path));

  EXPECT_EQ(-1, WavefrontOBJ_output(scratch("no/such/dir.obj").c_str(), none, normals, textures,
                                    tri, quad));
  EXPECT_EQ(-2, WavefrontOBJ_output(p, none, normals, textures, tri, quad));
  EXPECT_EQ(-3, WavefrontOBJ_output(p, pos, dense2D<double>(3, 2), textures, tri, quad));
  EXPECT_EQ(-4, WavefrontOBJ_output(p, pos, normals, dense2D<double>(3, 3), tri, quad));
  EXPECT_EQ(0, WavefrontOBJ_output(p, dense2D<double>(3, 0), none, none, no_faces, no_faces));
  EXPECT_EQ(slurp(path), "");
}

TEST(OBJ, ReadsEveryStatementForm) {
  obj r;
  const std::string forms =
      "# comment\nmtllib x.mtl\n\n v 0 0 0\nv 1 0 0 7 trailing\nv +1 0.9 0\nv 0 1 0\n"
      "vt 0.5\nvt 0.5 0.5\nvt 0.25 # note\nvn 0 0 1\ng group\nV 9 9 9\n"
      "f 1 2 3\nf 1/1 2/2 3/3 4/4\nf 1//1 2//1 3//1\nf 4/1/1 3/1/1 2/1/1\n"
      "f 0 1 2\nf -3 -2 -1\nf 1 2 3 4 1\nf 1\nf\t1   2 3\r\nf 1 2 3";
  // Saved on Windows (CR LF) the file reads the same: CR is white space.
  obj twin;
  ASSERT_EQ(0, twin.read_text(crlf(forms)));
  ASSERT_EQ(0, r.read_text(forms));
  EXPECT_TRUE(flat(twin.pos) == flat(r.pos) && flat(twin.tri) == flat(r.tri) &&
              flat(twin.quad) == flat(r.quad) && flat(twin.textures) == flat(r.textures) &&
              flat(twin.normals) == flat(r.normals));
  EXPECT_EQ(shaped(r.pos), (std::vector<double>{3, 4, 0, 0, 0, 1, 0, 0, 1, 0.9, 0, 0, 1, 0}));
  EXPECT_EQ(shaped(r.textures), (std::vector<double>{1, 2, 0.5, 0.25}));  // 2 numbers: skipped
  EXPECT_EQ(shaped(r.normals), (std::vector<double>{3, 1, 0, 0, 1}));
  // Index 0 is the next node; negative ones wrap around; the last line,
  // without its end, is no face.
  EXPECT_EQ(flat(r.tri), (std::vector<unsigned>{0, 1, 2, 0, 1, 2, 3, 2, 1, 4, 0, 1, 0u - 4, 0u - 3,
                                                0u - 2, 0, 1, 2}));
  EXPECT_EQ(shaped(r.quad), (std::vector<unsigned>{4, 1, 0, 1, 2, 3}));

  const std::pair<const char*, unsigned> failures[] = {
      {"v 1 2 3\nv\nv 4 5 6\n", 1},         // bare keyword
      {"v 1 2 3\nv 1 2\n", 1},              // too few numbers
      {"v 1 2 3\nv 1 2 inf\n", 1},          // not a number a stream reads
      {"# c\nvn 0 0\nv 1 2 3\n", 0},        // not 3 normal components
      {"vt 1 2 3 4\n", 0},                  // too many texture components
      {"v 1e-400 0 0\nv 1e400 0 0\n", 1},   // underflow reads as the C library does, overflow fails
      {"v 1 2 3\nf 1/1 1/1 1/1\n", 1},      // texture numbers before any "vt"
      {"v 1 2 3\nf 1 1 1x\n", 1},           // a bad character after a number
      {"f 1//1 1//1 1//1\nvn 0 0 1\n", 0},  // "vn" after the face that uses it
      {nullptr, 0},                         // no file
  };
  for (const auto& [text, nodes] : failures)
    EXPECT_EQ(
        results({-1, nodes}),
        results({text ? r.read_text(text) : r.read(scratch("no/such/dir.obj")), r.pos.cols()}))
        << text;
  EXPECT_EQ(0, r.read_text("o nothing\n"));
  EXPECT_TRUE(r.pos.empty() && r.tri.empty() && r.textures.empty());

  std::string big = "v 0 0 0\nv 1 0 0\nv 0 1 0\nvn 0 0 1\nvt 0 0\n";
  for (int k = 0; k < 300; ++k) big += "f 1/1/1 2/1/1 3/1/1\nf 1 2 3 1\n";
  const std::string path = spit("big.obj", big);
  auto outputs = [&] {
    return std::tuple{flat(r.pos), flat(r.normals), flat(r.textures), flat(r.tri), flat(r.quad)};
  };
  expect_ok_or_out_of_memory([&] { return r.read(path); }, 0, outputs, decltype(outputs()){});
  EXPECT_EQ(r.tri.cols() + r.quad.cols(), 600u);
}
