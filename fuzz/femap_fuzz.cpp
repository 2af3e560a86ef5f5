// FEMAP_input on any bytes, in the run form and the two-connectivity form.
// Node numbers are not compared with the node count by design, so the
// harness asks for a status and a run table that stays inside the
// connectivity.
#include <cstdio>

#include "fuzz_input.h"
#include "qz4/tessellix/formats.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string path = qz4fuzz::as_file("femap", data, size);
  qz4::dense2D<double> pos;
  qz4::dense2D<unsigned> conn, a, b;
  qz4::dense1D<unsigned> starts, properties;
  qz4::dense1D<int> kinds;
  qz4::element_type ta = qz4::ET_NONE, tb = qz4::ET_NONE;
  const int status =
      qz4::tessellix::FEMAP_input(path.c_str(), pos, conn, starts, kinds, properties);
  const int again = qz4::tessellix::FEMAP_input(path.c_str(), pos, a, b, ta, tb);
  std::remove(path.c_str());
  qz4fuzz::require(status == 0 || status == -1 || status == -199, "status");
  qz4fuzz::require(again == status || again == -199 || status == -199, "two-connectivity status");
  qz4fuzz::require(pos.empty() || pos.rows() == 3, "nodes");
  if (status != 0) return 0;
  qz4fuzz::require(properties.size() <= conn.cols(), "properties");
  for (unsigned i = 0; i < starts.size(); ++i)
    qz4fuzz::require(starts[i] <= conn.cols(), "run start");
  return 0;
}
