// The harness of both deck readers, in the run form and the two-connectivity
// form. Node numbers are not compared with the node count by design, so it
// asks for a status and a run table that stays inside the connectivity.
#ifndef QZ4_FUZZ_DECK_FUZZ_H
#define QZ4_FUZZ_DECK_FUZZ_H

#include <cstdio>

#include "fuzz_input.h"
#include "qz4/tessellix/formats.h"

namespace qz4fuzz {

template <class RunForm, class TwoForm>
int deck_harness(const char* name, const std::uint8_t* data, std::size_t size, RunForm run_form,
                 TwoForm two_form) {
  const std::string path = as_file(name, data, size);
  qz4::dense2D<double> pos;
  qz4::dense2D<unsigned> conn, a, b;
  qz4::dense1D<unsigned> starts, properties;
  qz4::dense1D<int> kinds;
  qz4::element_type ta = qz4::ET_NONE, tb = qz4::ET_NONE;
  const int status = run_form(path.c_str(), pos, conn, starts, kinds, properties);
  const int again = two_form(path.c_str(), pos, a, b, ta, tb);
  std::remove(path.c_str());
  require(status == 0 || status == -1 || status == -199, "status");
  require(again == status || again == -199 || status == -199, "two-connectivity status");
  require(pos.empty() || pos.rows() == 3, "nodes");
  if (status != 0) return 0;
  require(properties.size() <= conn.cols(), "properties");
  for (unsigned i = 0; i < starts.size(); ++i) require(starts[i] <= conn.cols(), "run start");
  return 0;
}

}  // namespace qz4fuzz

#endif
