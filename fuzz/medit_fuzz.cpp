// medit_input on any bytes: a status, or a mesh of the file's dimension whose
// elements name nodes it has, with a reference per node and per element.
#include <cstdio>

#include "qz4/tessellix/formats.h"
#include "viewing_fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string path = qz4fuzz::as_file("medit", data, size);
  qz4::dense2D<double> pos;
  qz4::dense1D<int> node_refs, kinds;
  qz4::dense1D<qz4::dense2D<unsigned>> conns;
  qz4::dense1D<qz4::dense1D<int>> refs;
  const int status = qz4::tessellix::medit_input(path.c_str(), pos, node_refs, conns, kinds, refs);
  std::remove(path.c_str());
  if (status < 0) {
    qz4fuzz::require(pos.empty() && conns.empty() && refs.empty(), "cleared after a failure");
    return 0;
  }
  qz4fuzz::require(pos.cols() == 0 || pos.rows() == 2 || pos.rows() == 3, "dimension");
  qz4fuzz::require(node_refs.size() == pos.cols() && refs.size() == conns.size(), "references");
  qz4fuzz::require_mesh(pos, conns, kinds);
  for (unsigned k = 0; k < conns.size(); ++k)
    qz4fuzz::require(refs[k].size() == conns[k].cols(), "a reference per element");
  return 0;
}
