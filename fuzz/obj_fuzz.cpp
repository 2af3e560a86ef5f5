// WavefrontOBJ_input on any bytes. Face numbers are not checked against the
// nodes by design, so the harness asks for a status and matrices of the
// right shapes only.
#include <cstdio>

#include "fuzz_input.h"
#include "qz4/tessellix/formats.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string path = qz4fuzz::as_file("obj", data, size);
  qz4::dense2D<double> pos, normals, textures;
  qz4::dense2D<unsigned> triangles, quadrangles;
  const int status = qz4::tessellix::WavefrontOBJ_input(path.c_str(), pos, normals, textures,
                                                        triangles, quadrangles);
  std::remove(path.c_str());
  qz4fuzz::require(status == 0 || status == -1 || status == -199, "status");
  qz4fuzz::require(pos.empty() || pos.rows() == 3, "nodes");
  qz4fuzz::require(normals.empty() || normals.rows() == 3, "normals");
  qz4fuzz::require(textures.rows() <= 3, "textures");
  qz4fuzz::require(triangles.empty() || triangles.rows() == 3, "triangles");
  qz4fuzz::require(quadrangles.empty() || quadrangles.rows() == 4, "quadrangles");
  return 0;
}
