// vtk_input on any bytes: a status, or points of 3 rows and elements that
// name only points the file has.
#include <cstdio>

#include "qz4/tessellix/formats.h"
#include "viewing_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string path = qz4fuzz::as_file("vtk", data, size);
  qz4::dense2D<double> pos;
  qz4::dense1D<int> kinds;
  qz4::dense1D<qz4::dense2D<unsigned>> conns;
  unsigned skipped = 0;
  const int status = qz4::tessellix::vtk_input(path.c_str(), pos, conns, kinds, skipped);
  std::remove(path.c_str());
  if (status < 0) {
    qz4fuzz::require(pos.empty() && conns.empty() && skipped == 0, "cleared after a failure");
    return 0;
  }
  qz4fuzz::require(pos.cols() == 0 || pos.rows() == 3, "three rows");
  qz4fuzz::require_mesh(pos, conns, kinds);
  return 0;
}
