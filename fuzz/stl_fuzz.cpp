// STL_input on any bytes: the first byte picks text (odd) or binary (even),
// the rest is the file. The result must be a status, or a mesh whose
// triangles name nodes it has.
#include <cstdio>

#include "fuzz_input.h"
#include "qz4/tessellix/formats.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string path = qz4fuzz::as_file("stl", data + 1, size - 1);
  qz4::dense2D<double> pos;
  qz4::dense2D<unsigned> triangles;
  const int status = qz4::tessellix::STL_input(path.c_str(), pos, triangles, data[0] & 1);
  std::remove(path.c_str());
  if (status < 0) return 0;
  qz4fuzz::require(unsigned(status) == triangles.cols(), "count");
  qz4fuzz::require(triangles.empty() || (triangles.rows() == 3 && pos.rows() == 3), "shape");
  for (unsigned j = 0; j < triangles.cols(); ++j)
    for (unsigned i = 0; i < 3; ++i) qz4fuzz::require(triangles(i, j) < pos.cols(), "node index");
  return 0;
}
