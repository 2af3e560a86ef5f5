// medit_solution_input on any bytes: a status, or fields of one column per
// vertex each, with as many rows as their kind has in some dimension.
#include <cstdio>

#include "fuzz_input.h"
#include "qz4/tessellix/formats.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string path = qz4fuzz::as_file("solution", data, size);
  qz4::dense1D<qz4::dense2D<double>> fields;
  qz4::dense1D<int> kinds;
  const int n = qz4::tessellix::medit_solution_input(path.c_str(), fields, kinds);
  std::remove(path.c_str());
  if (n < 0) {
    qz4fuzz::require(fields.empty() && kinds.empty(), "cleared after a failure");
    return 0;
  }
  qz4fuzz::require(fields.size() == kinds.size() && fields.size() > 0, "a kind per field");
  for (unsigned f = 0; f < fields.size(); ++f) {
    qz4fuzz::require(kinds[f] >= 1 && kinds[f] <= 3, "kind");
    qz4fuzz::require(fields[f].cols() == unsigned(n) || fields[f].rows() == 0,
                     "a column per vertex");
  }
  return 0;
}
